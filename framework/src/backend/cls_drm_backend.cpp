#include "backend/cls_drm_backend.h"

#include <cstring>

#include "backend/cls_drm_device.h"
#include "ozgi/cls_mem_mgr.h"

namespace ozgi {

namespace {

// More separate rectangles than this are copied as the one that holds them all.
constexpr size_t MAX_DAMAGE_RECTS = 16;

cls_rect bounding(const cls_rect& a, const cls_rect& b) {
    int x = a.x < b.x ? a.x : b.x, y = a.y < b.y ? a.y : b.y;
    int r = a.right() > b.right() ? a.right() : b.right(), btm = a.bottom() > b.bottom() ? a.bottom() : b.bottom();
    return cls_rect{x, y, r - x, btm - y};
}

bool contains(const cls_rect& outer, const cls_rect& inner) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.right() <= outer.right() &&
           inner.bottom() <= outer.bottom();
}

} // namespace

cls_sp<if_display_backend> cls_drm_backend::create(const display_options_t& options, cls_string* error) {
    cls_string format;
    if (options.value("--ozgi-drm-format=", &format) && format != "XRGB8888" && format != "RGB565") {
        cls_string reason;
        if (error) *error = reason.print("Unsupported --ozgi-drm-format=%s (XRGB8888 or RGB565).", format.c_str());
        return cls_sp<if_display_backend>();
    }
    return cls_sp<if_display_backend>(OZGI_NEW(cls_drm_backend)(options, OZGI_NEW(cls_drm_device)(), true));
}

cls_drm_backend::cls_drm_backend(const display_options_t& options, if_drm_device* device, bool own_terminal)
    : cls_display_backend(options), m_device(device), m_own_terminal(own_terminal) {}

cls_drm_backend::~cls_drm_backend() {
    m_vt.give_back();
    m_console.give_back();
    m_input.close_all();
    close_card();
    ozgi_delete(m_device);
}

const if_drm_device::mode_t* cls_drm_backend::choose_mode(const if_drm_device::connector_t& connector) {
    for (const if_drm_device::mode_t& m : connector.modes)
        if (m.preferred) return &m;
    return connector.modes.empty() ? nullptr : &connector.modes[0];
}

bool cls_drm_backend::open_card(const cls_string& path, const cls_string& wanted, bool* usable, cls_string* error) {
    *usable = false;
    if (!m_device->open(path, error)) return false;
    std::vector<if_drm_device::connector_t> list;
    if (!m_device->connectors(&list, error)) return false;
    cls_string reason, names;
    const if_drm_device::connector_t* chosen = nullptr;
    for (const if_drm_device::connector_t& c : list) {
        if (names.is_not_empty()) names += ", ";
        names += c.name;
        if (c.connected) *usable = true;
        if (!chosen && (wanted.is_empty() ? c.connected : c.name == wanted)) chosen = &c;
    }
    if (!chosen) {
        if (error) {
            if (wanted.is_not_empty())
                *error = reason.print("The display card %s has no output %s (it has: %s).", path.c_str(),
                                      wanted.c_str(), names.is_empty() ? "none" : names.c_str());
            else
                *error = reason.print("The display card %s has no connected output (it has: %s).", path.c_str(),
                                      names.is_empty() ? "none" : names.c_str());
        }
        return false;
    }
    const if_drm_device::mode_t* mode = choose_mode(*chosen);
    if (!chosen->connected || !mode) {
        if (error)
            *error = reason.print("The output %s of the display card %s is not connected.", chosen->name.c_str(),
                                  path.c_str());
        return false;
    }
    if (!chosen->crtc) {
        if (error)
            *error = reason.print("The output %s of the display card %s has no display controller free to drive it.",
                                  chosen->name.c_str(), path.c_str());
        return false;
    }
    m_card = path;
    m_output = chosen->name;
    m_connector = chosen->id;
    m_crtc = chosen->crtc;
    m_mode = *mode;
    return true;
}

bool cls_drm_backend::make_buffers(cls_string* error) {
    cls_string asked;
    options().value("--ozgi-drm-format=", &asked);
    uint32_t formats[2] = {if_drm_device::XRGB8888, if_drm_device::RGB565};
    int count = 2;
    if (asked == "RGB565") formats[0] = if_drm_device::RGB565;
    if (asked.is_not_empty()) count = 1;
    for (int f = 0; f < count; ++f) {
        cls_string why;
        bool made = m_device->create_buffer(m_mode.width, m_mode.height, formats[f], &m_buffers[0], &why) &&
                    m_device->create_buffer(m_mode.width, m_mode.height, formats[f], &m_buffers[1], &why);
        if (made) {
            m_fourcc = formats[f];
            return m_format.set_default(formats[f] == if_drm_device::RGB565 ? 16 : 32, error);
        }
        for (if_drm_device::buffer_t& b : m_buffers)
            if (b.fb || b.handle || b.pixels) m_device->destroy_buffer(&b);
        if (f + 1 == count && error) *error = why;
    }
    return false;
}

bool cls_drm_backend::open(int width, int height, const cls_string&, cls_string* error) {
    cls_string reason;
    if (width <= 0 || height <= 0) {
        if (error) error->print("Can't open a %d x %d screen.", width, height);
        return false;
    }
    setup_screen(width, height);
    cls_string path, wanted;
    options().value("--ozgi-drm-connector=", &wanted);
    if (options().value("--ozgi-drm=", &path)) {
        bool usable = false;
        if (!open_card(path, wanted, &usable, error)) {
            close_card();
            return false;
        }
    } else {
        std::vector<cls_string> cards = m_device->cards();
        cls_string first_reason, tried;
        bool found = false;
        for (const cls_string& card : cards) {
            bool usable = false;
            cls_string why;
            if (open_card(card, wanted, &usable, &why)) {
                found = true;
                break;
            }
            close_card();
            if (tried.is_not_empty()) tried += ", ";
            tried += card;
            // A card with a connected output says best why it can't be used.
            if (first_reason.is_empty() || usable) first_reason = why;
            if (usable) break;
        }
        if (!found) {
            if (error) {
                if (cards.empty())
                    *error = "There is no display card (/dev/dri/card*): the kernel has no mode-setting driver for "
                             "the display.";
                else
                    *error = first_reason;
            }
            return false;
        }
    }
    if (m_mode.width < screen().physical_width() || m_mode.height < screen().physical_height()) {
        if (error)
            *error = reason.print("The display %s on %s is %dx%d pixels, smaller than the %dx%d picture.",
                                  m_output.c_str(), m_card.c_str(), m_mode.width, m_mode.height,
                                  screen().physical_width(), screen().physical_height());
        close_card();
        return false;
    }
    if_drm_device::master_t master = m_device->take_master();
    if (master != if_drm_device::MASTER_TAKEN) {
        if (error) {
            if (master == if_drm_device::MASTER_DENIED)
                *error = reason.print("Not allowed to drive the display card %s: run as root, or from the console "
                                      "that shows.",
                                      m_card.c_str());
            else {
                cls_string holder = m_device->master_holder(m_card);
                *error = reason.print("The display card %s is held by another program (%s); stop it first.",
                                      m_card.c_str(),
                                      holder.is_empty() ? "a display server or another graphical program"
                                                        : holder.c_str());
            }
        }
        close_card();
        return false;
    }
    if (!make_buffers(error)) {
        close_card();
        return false;
    }
    for (if_drm_device::buffer_t& b : m_buffers) std::memset(b.pixels, 0, b.size);
    place_on_panel(m_mode.width, m_mode.height);
    if (!m_device->set_crtc(m_crtc, m_buffers[0].fb, m_connector, m_mode, error)) {
        close_card();
        return false;
    }
    m_front = 0;
    m_active = true;
    if (!m_input.open(options(), m_mode.width, m_mode.height, error)) {
        close_card();
        return false;
    }
    if (m_own_terminal) {
        m_console.take();
        m_vt.take();
    }
    return true;
}

void cls_drm_backend::add_damage(int i, const cls_rect& r) {
    std::vector<cls_rect>& list = m_damage[i];
    for (const cls_rect& d : list)
        if (contains(d, r)) return;
    list.push_back(r);
    if (list.size() > MAX_DAMAGE_RECTS) {
        cls_rect all = list[0];
        for (const cls_rect& d : list) all = bounding(all, d);
        list.assign(1, all);
    }
}

void cls_drm_backend::present(const uint32_t* argb, int stride, const cls_rect& dirty) {
    if (!m_buffers[0].pixels) return;
    cls_rect r = screen().update(argb, stride, dirty);
    if (r.is_empty()) return;
    add_damage(0, r);
    add_damage(1, r);
    if (!m_active) return;
    if (m_flip_pending) {
        m_frame_wanted = true;
        return;
    }
    draw_and_flip();
}

void cls_drm_backend::draw_and_flip() {
    int back = 1 - m_front;
    if_drm_device::buffer_t& b = m_buffers[back];
    const uint32_t* picture = screen().physical();
    int pw = screen().physical_width();
    int bytes = m_format.bytes_per_pixel();
    for (const cls_rect& r : m_damage[back])
        for (int y = r.y; y < r.bottom(); ++y)
            m_format.convert(picture + static_cast<long>(y) * pw + r.x, r.w,
                             b.pixels + static_cast<size_t>(panel_top() + y) * b.pitch +
                                 static_cast<size_t>(panel_left() + r.x) * bytes);
    m_damage[back].clear();
    m_frame_wanted = false;
    if (m_device->page_flip(m_crtc, b.fb)) {
        m_flip_pending = true;
    } else {
        // A driver that cannot flip shows the buffer at once.
        m_device->set_crtc(m_crtc, b.fb, m_connector, m_mode, nullptr);
    }
    m_front = back;
}

void cls_drm_backend::release() {
    if (!m_active) return;
    m_active = false;
    m_device->drop_master();
    m_vt.allow_release();
}

void cls_drm_backend::acquire() {
    m_vt.confirm_acquire();
    if (m_active || !m_buffers[0].pixels) return;
    if (m_device->take_master() != if_drm_device::MASTER_TAKEN) return;
    m_active = true;
    // Flips asked for before the switch are not reported any more.
    m_flip_pending = false;
    m_device->set_crtc(m_crtc, m_buffers[m_front].fb, m_connector, m_mode, nullptr);
    // Whatever showed meanwhile may have drawn anywhere: everything is painted again.
    cls_rect all{0, 0, screen().physical_width(), screen().physical_height()};
    m_damage[0].assign(1, all);
    m_damage[1].assign(1, all);
    draw_and_flip();
}

void cls_drm_backend::handle_events() {
    for (cls_vt_switch::request_t r = m_vt.next_request(); r != cls_vt_switch::NONE; r = m_vt.next_request()) {
        if (r == cls_vt_switch::RELEASE) release();
        else acquire();
    }
    if (m_device->fd() >= 0 && m_flip_pending && m_device->read_flips() > 0) {
        m_flip_pending = false;
        if (m_frame_wanted && m_active) draw_and_flip();
    }
}

bool cls_drm_backend::read_device_input(input_t* out) {
    handle_events();
    while (m_input.read(out))
        if (panel_to_logical(out)) return true;
    return false;
}

void cls_drm_backend::wait(int timeout_ms, const int* fds, int nfds) {
    handle_events();
    if (has_queued_input()) return;
    m_polled.clear();
    m_input.add_poll_fds(&m_polled);
    if (m_device->fd() >= 0) m_polled.push_back(pollfd{m_device->fd(), POLLIN, 0});
    if (m_vt.fd() >= 0) m_polled.push_back(pollfd{m_vt.fd(), POLLIN, 0});
    // A signal ends the wait early; the caller's loop simply comes round again.
    poll_with(&m_polled, timeout_ms, fds, nfds);
    handle_events();
}

void cls_drm_backend::close_card() {
    for (if_drm_device::buffer_t& b : m_buffers)
        if (b.fb || b.handle || b.pixels) m_device->destroy_buffer(&b);
    m_damage[0].clear();
    m_damage[1].clear();
    m_flip_pending = m_frame_wanted = m_active = false;
    m_device->close();
}

} // namespace ozgi
