// The DRM/KMS backend over a pretend card: the choice of card, output and mode,
// the messages when none can be used, the pixel formats, centring, and the
// damage each of the two buffers must catch up with between page flips.
#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "backend/cls_drm_backend.h"
#include "ozgi/cls_mem_mgr.h"

using namespace ozgi;

namespace {

typedef if_drm_device::connector_t connector_t;
typedef if_drm_device::mode_t mode_t;
typedef if_drm_device::buffer_t buffer_t;

mode_t make_mode(int w, int h, bool preferred, int index) {
    mode_t m;
    m.width = w;
    m.height = h;
    m.refresh_hz = 60;
    m.preferred = preferred;
    m.index = index;
    return m;
}

connector_t make_output(uint32_t id, const char* name, bool connected, std::vector<mode_t> modes, uint32_t crtc = 31) {
    connector_t c;
    c.id = id;
    c.name = name;
    c.connected = connected;
    c.modes = modes;
    c.crtc = crtc;
    return c;
}

// A card that keeps its buffers in memory and records what it was asked to do.
// Flips complete only when the test says so.
class fake_card_t : public if_drm_device {
public:
    // The outputs of each card, by its path.
    std::map<std::string, std::vector<connector_t>> outputs;
    std::vector<uint32_t> formats{XRGB8888, RGB565};
    bool busy = false;
    cls_string holder;
    // Bytes of padding at the end of each buffer row.
    int row_padding = 12;
    // What happened.
    std::vector<uint32_t> flipped;
    std::vector<uint32_t> set_fbs;
    std::string opened;
    int completed = 0;
    std::vector<std::vector<unsigned char>*> memory;

    fake_card_t() { EXPECT_EQ(::pipe(m_pipe), 0); }
    ~fake_card_t() override {
        for (auto* m : memory) delete m;
        ::close(m_pipe[0]);
        ::close(m_pipe[1]);
    }
    std::vector<cls_string> cards() override {
        std::vector<cls_string> out;
        for (auto& c : outputs) out.push_back(cls_string(c.first.c_str()));
        return out;
    }
    bool open(const cls_string& path, cls_string* error) override {
        if (!outputs.count(path.c_str())) {
            *error = cls_string("Can't open the display card ") + path + ": No such file or directory.";
            return false;
        }
        opened = path.c_str();
        return true;
    }
    int fd() const override { return m_pipe[0]; }
    bool connectors(std::vector<connector_t>* out, cls_string*) override {
        *out = outputs[opened];
        return true;
    }
    master_t take_master() override { return busy ? MASTER_BUSY : MASTER_TAKEN; }
    void drop_master() override {}
    cls_string master_holder(const cls_string&) override { return holder; }
    bool create_buffer(int w, int h, uint32_t fourcc, buffer_t* out, cls_string* error) override {
        bool ok = false;
        for (uint32_t f : formats) ok = ok || f == fourcc;
        if (!ok) {
            *error = "The display card does not show this pixel format: Invalid argument.";
            return false;
        }
        int bytes = fourcc == RGB565 ? 2 : 4;
        out->pitch = w * bytes + row_padding;
        out->size = static_cast<size_t>(out->pitch) * h;
        memory.push_back(new std::vector<unsigned char>(out->size, 0xEE));
        out->pixels = memory.back()->data();
        out->handle = static_cast<uint32_t>(memory.size());
        out->fb = 100 + out->handle;
        return true;
    }
    void destroy_buffer(buffer_t* b) override { *b = buffer_t(); }
    bool set_crtc(uint32_t, uint32_t fb, uint32_t, const mode_t&, cls_string*) override {
        set_fbs.push_back(fb);
        return true;
    }
    bool page_flip(uint32_t, uint32_t fb) override {
        flipped.push_back(fb);
        return true;
    }
    int read_flips() override {
        int n = completed;
        completed = 0;
        return n;
    }
    void close() override { opened.clear(); }

private:
    int m_pipe[2];
};

display_options_t options(std::initializer_list<const char*> settings, int rotate = 0) {
    display_options_t o;
    o.video = "drm";
    o.rotate = rotate;
    o.settings.append(cls_string("--ozgi-input="));
    for (const char* s : settings) o.settings.append(cls_string(s));
    return o;
}

// A backend over `card` (made with OZGI_NEW, which it takes); `error` gets the reason when open fails.
struct opened_t {
    cls_drm_backend* backend = nullptr;
    bool ok = false;
    std::string error;
    opened_t(fake_card_t* card, const display_options_t& o, int w, int h) {
        backend = OZGI_NEW(cls_drm_backend)(o, card, false);
        cls_string why;
        ok = backend->open(w, h, "test", &why);
        error = why.c_str();
    }
    ~opened_t() { ozgi_delete(backend); }
};

// The colour of the XRGB8888 pixel (x, y) of the card's buffer `i` (0 or 1), without its unused
// byte; 0xEEEEEE where nothing was written.
uint32_t pixel(const fake_card_t& card, int i, int x, int y, int width) {
    int pitch = width * 4 + card.row_padding;
    const unsigned char* p = card.memory[static_cast<size_t>(i)]->data() + static_cast<size_t>(y) * pitch + x * 4;
    return static_cast<uint32_t>(p[0]) | p[1] << 8 | p[2] << 16;
}

// Tells the backend that the flip it asked for has completed.
void complete_flip(fake_card_t* card, cls_drm_backend* backend) {
    card->completed = 1;
    backend->handle_events();
}

} // namespace

TEST(drm, uses_the_preferred_mode_of_the_first_connected_output) {
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "Virtual-1", false, {make_mode(1024, 768, true, 0)})};
    card->outputs["/dev/dri/card1"] = {
        make_output(2, "HDMI-A-1", false, {make_mode(1920, 1080, true, 0)}),
        make_output(3, "DSI-1", true, {make_mode(1280, 1024, false, 0), make_mode(640, 800, true, 1)})};
    opened_t o(card, options({}), 640, 800);
    ASSERT_TRUE(o.ok) << o.error;
    EXPECT_EQ(o.backend->output_name(), "DSI-1");
    EXPECT_EQ(o.backend->mode().width, 640);
    EXPECT_EQ(o.backend->mode().height, 800);
    EXPECT_EQ(o.backend->mode().index, 1);
    EXPECT_EQ(o.backend->format(), if_drm_device::XRGB8888);
}

TEST(drm, without_a_preferred_mode_takes_the_first) {
    connector_t c = make_output(1, "DPI-1", true, {make_mode(800, 600, false, 0), make_mode(1024, 768, false, 1)});
    ASSERT_NE(cls_drm_backend::choose_mode(c), nullptr);
    EXPECT_EQ(cls_drm_backend::choose_mode(c)->width, 800);
    c.modes.clear();
    EXPECT_EQ(cls_drm_backend::choose_mode(c), nullptr);
}

TEST(drm, an_output_can_be_named) {
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "HDMI-A-1", true, {make_mode(1920, 1080, true, 0)}),
                                      make_output(2, "DSI-1", true, {make_mode(720, 1280, true, 0)})};
    opened_t o(card, options({"--ozgi-drm=/dev/dri/card0", "--ozgi-drm-connector=DSI-1"}), 640, 800);
    ASSERT_TRUE(o.ok) << o.error;
    EXPECT_EQ(o.backend->output_name(), "DSI-1");
    EXPECT_EQ(o.backend->mode().width, 720);
}

TEST(drm, says_why_no_output_can_be_used) {
    {
        fake_card_t* card = OZGI_NEW(fake_card_t)();
        card->outputs["/dev/dri/card0"] = {make_output(1, "HDMI-A-1", true, {make_mode(1920, 1080, true, 0)})};
        opened_t o(card, options({"--ozgi-drm-connector=DSI-1"}), 640, 800);
        EXPECT_FALSE(o.ok);
        EXPECT_EQ(o.error, "The display card /dev/dri/card0 has no output DSI-1 (it has: HDMI-A-1).");
    }
    {
        fake_card_t* card = OZGI_NEW(fake_card_t)();
        card->outputs["/dev/dri/card0"] = {make_output(1, "HDMI-A-1", false, {}), make_output(2, "VGA-1", false, {})};
        opened_t o(card, options({}), 640, 800);
        EXPECT_FALSE(o.ok);
        EXPECT_EQ(o.error, "The display card /dev/dri/card0 has no connected output (it has: HDMI-A-1, VGA-1).");
    }
    {
        fake_card_t* card = OZGI_NEW(fake_card_t)();
        card->outputs["/dev/dri/card0"] = {make_output(1, "HDMI-A-1", false, {})};
        opened_t o(card, options({"--ozgi-drm-connector=HDMI-A-1"}), 640, 800);
        EXPECT_FALSE(o.ok);
        EXPECT_EQ(o.error, "The output HDMI-A-1 of the display card /dev/dri/card0 is not connected.");
    }
    {
        fake_card_t* card = OZGI_NEW(fake_card_t)();
        opened_t o(card, options({}), 640, 800);
        EXPECT_FALSE(o.ok);
        EXPECT_EQ(o.error, "There is no display card (/dev/dri/card*): the kernel has no mode-setting driver for "
                           "the display.");
    }
}

TEST(drm, a_smaller_panel_names_both_sizes) {
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(800, 600, true, 0)})};
    opened_t o(card, options({}), 640, 800);
    EXPECT_FALSE(o.ok);
    EXPECT_EQ(o.error, "The display DSI-1 on /dev/dri/card0 is 800x600 pixels, smaller than the 640x800 picture.");
    // Turned a quarter, the same picture fits.
    fake_card_t* card2 = OZGI_NEW(fake_card_t)();
    card2->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(800, 640, true, 0)})};
    opened_t turned(card2, options({}, 90), 640, 800);
    EXPECT_TRUE(turned.ok) << turned.error;
}

TEST(drm, a_display_held_by_another_program_is_named) {
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(640, 800, true, 0)})};
    card->busy = true;
    card->holder = "weston (pid 412)";
    opened_t o(card, options({}), 640, 800);
    EXPECT_FALSE(o.ok);
    EXPECT_EQ(o.error, "The display card /dev/dri/card0 is held by another program (weston (pid 412)); stop it first.");
    fake_card_t* unknown = OZGI_NEW(fake_card_t)();
    unknown->outputs["/dev/dri/card0"] = card->outputs["/dev/dri/card0"];
    unknown->busy = true;
    opened_t o2(unknown, options({}), 640, 800);
    EXPECT_EQ(o2.error, "The display card /dev/dri/card0 is held by another program (a display server or another "
                        "graphical program); stop it first.");
}

TEST(drm, formats_xrgb8888_and_rgb565) {
    const uint32_t color = 0xFF3366CCu;
    std::vector<uint32_t> picture(4 * 2, color);
    {
        fake_card_t* card = OZGI_NEW(fake_card_t)();
        card->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(4, 2, true, 0)})};
        opened_t o(card, options({}), 4, 2);
        ASSERT_TRUE(o.ok) << o.error;
        o.backend->present(picture.data(), 4, cls_rect{0, 0, 4, 2});
        // The back buffer (the second) got the picture, as 0x00RRGGBB.
        const unsigned char* p = card->memory[1]->data();
        EXPECT_EQ(p[0], 0xCC);
        EXPECT_EQ(p[1], 0x66);
        EXPECT_EQ(p[2], 0x33);
    }
    // A card that can't show XRGB8888 gets RGB565.
    for (bool asked : {false, true}) {
        fake_card_t* card = OZGI_NEW(fake_card_t)();
        card->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(4, 2, true, 0)})};
        if (!asked) card->formats = {if_drm_device::RGB565};
        opened_t o(card, asked ? options({"--ozgi-drm-format=RGB565"}) : options({}), 4, 2);
        ASSERT_TRUE(o.ok) << o.error;
        EXPECT_EQ(o.backend->format(), if_drm_device::RGB565);
        o.backend->present(picture.data(), 4, cls_rect{0, 0, 4, 2});
        const unsigned char* p = card->memory[1]->data();
        uint16_t v = static_cast<uint16_t>(p[0] | p[1] << 8);
        EXPECT_EQ(v, ((0x33 >> 3) << 11) | ((0x66 >> 2) << 5) | (0xCC >> 3));
    }
    // Asked for a format the card can't show, it says so.
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(4, 2, true, 0)})};
    card->formats = {if_drm_device::XRGB8888};
    opened_t o(card, options({"--ozgi-drm-format=RGB565"}), 4, 2);
    EXPECT_FALSE(o.ok);
    EXPECT_EQ(o.error, "The display card does not show this pixel format: Invalid argument.");
    cls_string error;
    EXPECT_TRUE(cls_drm_backend::create(options({"--ozgi-drm-format=BGR888"}), &error).is_null());
    EXPECT_STREQ(error.c_str(), "Unsupported --ozgi-drm-format=BGR888 (XRGB8888 or RGB565).");
}

TEST(drm, a_larger_panel_shows_the_picture_centred_on_black) {
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "HDMI-A-1", true, {make_mode(10, 8, true, 0)})};
    opened_t o(card, options({}), 4, 2);
    ASSERT_TRUE(o.ok) << o.error;
    std::vector<uint32_t> picture(8, 0xFF123456u);
    o.backend->present(picture.data(), 4, cls_rect{0, 0, 4, 2});
    // (10 - 4) / 2 = 3 across, (8 - 2) / 2 = 3 down.
    EXPECT_EQ(pixel(*card, 1, 3, 3, 10), 0x00123456u);
    EXPECT_EQ(pixel(*card, 1, 6, 4, 10), 0x00123456u);
    EXPECT_EQ(pixel(*card, 1, 2, 3, 10), 0u);
    EXPECT_EQ(pixel(*card, 1, 7, 4, 10), 0u);
    EXPECT_EQ(pixel(*card, 1, 3, 5, 10), 0u);
}

TEST(drm, each_buffer_catches_up_with_what_changed_while_the_other_showed) {
    const int W = 8, H = 4;
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(W, H, true, 0)})};
    opened_t o(card, options({}), W, H);
    ASSERT_TRUE(o.ok) << o.error;
    ASSERT_EQ(card->set_fbs.size(), 1u);
    uint32_t fb0 = card->set_fbs[0];
    std::vector<uint32_t> picture(W * H, 0xFF000001u);
    // The whole first frame goes to the back buffer, which is flipped to.
    o.backend->present(picture.data(), W, cls_rect{0, 0, W, H});
    ASSERT_EQ(card->flipped.size(), 1u);
    uint32_t fb1 = card->flipped[0];
    EXPECT_NE(fb1, fb0);
    EXPECT_EQ(o.backend->front(), 1);
    EXPECT_EQ(pixel(*card, 1, 7, 3, W), 0x00000001u);
    // A change while the flip is pending waits for it: the shown buffer is not drawn on.
    for (int x = 0; x < 2; ++x) picture[x] = 0xFF0000AAu;
    o.backend->present(picture.data(), W, cls_rect{0, 0, 2, 1});
    EXPECT_EQ(card->flipped.size(), 1u);
    complete_flip(card, o.backend);
    // Once it completed, buffer 0 gets the first frame it missed together with the change.
    ASSERT_EQ(card->flipped.size(), 2u);
    EXPECT_EQ(card->flipped[1], fb0);
    EXPECT_EQ(pixel(*card, 0, 0, 0, W), 0x000000AAu);
    EXPECT_EQ(pixel(*card, 0, 7, 3, W), 0x00000001u);
    complete_flip(card, o.backend);
    EXPECT_EQ(card->flipped.size(), 2u);
    EXPECT_FALSE(o.backend->flip_pending());
    // Buffer 1 then gets the change it missed and the new one, and nothing else.
    *(card->memory[1]->data() + (3 * (W * 4 + card->row_padding)) + 7 * 4) = 0x77;
    picture[W * 2 + 5] = 0xFF0000BBu;
    o.backend->present(picture.data(), W, cls_rect{5, 2, 1, 1});
    ASSERT_EQ(card->flipped.size(), 3u);
    EXPECT_EQ(card->flipped[2], fb1);
    EXPECT_EQ(pixel(*card, 1, 0, 0, W), 0x000000AAu);
    EXPECT_EQ(pixel(*card, 1, 1, 0, W), 0x000000AAu);
    EXPECT_EQ(pixel(*card, 1, 5, 2, W), 0x000000BBu);
    EXPECT_EQ(pixel(*card, 1, 7, 3, W) & 0xFF, 0x77u);
    // The shown buffer 0 was left alone.
    EXPECT_EQ(pixel(*card, 0, 5, 2, W), 0x00000001u);
}

TEST(drm, the_picture_is_turned_as_asked) {
    fake_card_t* card = OZGI_NEW(fake_card_t)();
    card->outputs["/dev/dri/card0"] = {make_output(1, "DSI-1", true, {make_mode(2, 4, true, 0)})};
    opened_t o(card, options({}, 90), 4, 2);
    ASSERT_TRUE(o.ok) << o.error;
    std::vector<uint32_t> picture(8, 0xFF000000u);
    picture[0] = 0xFF00FF00u;
    o.backend->present(picture.data(), 4, cls_rect{0, 0, 4, 2});
    // Logical (0, 0) turned a quarter clockwise lands at the top right of the panel.
    EXPECT_EQ(pixel(*card, 1, 1, 0, 2), 0x0000FF00u);
    EXPECT_EQ(pixel(*card, 1, 0, 0, 2), 0u);
}
