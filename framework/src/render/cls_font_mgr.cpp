#include "ozgi/cls_font_mgr.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include <fontconfig/fontconfig.h>

#include <list>
#include <unordered_map>
#include <vector>

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_color.h"
#include "ozgi/cls_log.h"

namespace ozgi {

namespace {

constexpr uint32_t REPLACEMENT_CHAR = 0xFFFD;
constexpr int TAB_SPACES = 4;

// A glyph as kept in the cache: the description handed out and the mask it points to.
struct cached_glyph_t {
    cls_font_mgr::glyph_t glyph;
    std::vector<uint8_t> mask;
    // Its place in the use order of its size; pinned glyphs (ASCII, the
    // replacement mark) have none and are never evicted.
    std::list<uint64_t>::iterator use;
    bool pinned = true;
};

// Glyphs kept per pixel size beyond the pinned ones. Output in Chinese uses a few
// thousand distinct characters at most; a text with more evicts the least
// recently used instead of growing without end.
constexpr size_t MAX_GLYPHS_PER_SIZE = 2048;

struct face_t {
    cls_string path;
    FT_Face face;
    int px_size;
};

struct metrics_t {
    int ascent;
    int line_height;
};

// Characters drawn as the replacement mark instead of looking them up: C0 and C1
// controls, DEL, UTF-16 surrogates and anything beyond Unicode.
bool is_unprintable(uint32_t cp) {
    return cp < 0x20 || cp == 0x7F || (cp >= 0x80 && cp < 0xA0) || (cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF;
}

uint64_t cache_key(uint32_t cp, int px_size) { return (static_cast<uint64_t>(px_size) << 32) | cp; }

} // namespace

struct cls_font_mgr::impl_t {
    FT_Library library = nullptr;
    bool loaded = false;
    // Whether fontconfig was started and must be shut down with the font manager.
    bool fc_started = false;
    /// Set by set_font_paths; empty means fontconfig discovery.
    cls_array<cls_string> requested;
    /// What was looked for, for the message when nothing usable was found.
    cls_string looked_for;
    cls_array<cls_string> paths;
    std::vector<face_t> faces;
    std::unordered_map<uint64_t, cached_glyph_t> cache;
    // Per pixel size, the keys of the evictable glyphs, most recently used first.
    std::unordered_map<int, std::list<uint64_t>> use_order;
    std::unordered_map<int, metrics_t> metrics;
    /// Printable ASCII glyphs of the most recently used size, for the common case.
    int fast_px = -1;
    const glyph_t* fast[128] = {};

    void unload() {
        for (face_t& f : faces) FT_Done_Face(f.face);
        faces.clear();
        paths.clear();
        cache.clear();
        use_order.clear();
        metrics.clear();
        fast_px = -1;
        loaded = false;
    }

    bool add_face(const cls_string& path, int index) {
        for (const face_t& f : faces)
            if (f.path == path) return true;
        FT_Face face = nullptr;
        if (FT_New_Face(library, path.c_str(), index, &face) != 0) {
            cls_log::log_warning("Can't load the font %s.", path.c_str());
            return false;
        }
        if (FT_Select_Charmap(face, FT_ENCODING_UNICODE) != 0) {
            cls_log::log_warning("The font %s has no Unicode character map.", path.c_str());
            FT_Done_Face(face);
            return false;
        }
        faces.push_back(face_t{path, face, 0});
        paths.append(path);
        return true;
    }

    // Asks fontconfig for the best font matching `pattern_text` that has `probe`.
    void discover(const char* pattern_text, uint32_t probe) {
        FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>(pattern_text));
        if (!pattern) return;
        FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result = FcResultNoMatch;
        FcPattern* match = FcFontMatch(nullptr, pattern, &result);
        FcPatternDestroy(pattern);
        if (!match) return;
        FcChar8* file = nullptr;
        int index = 0;
        FcCharSet* charset = nullptr;
        // Fontconfig always answers with something; a font without the probe
        // character (e.g. a Latin font offered for Chinese) is no use.
        if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch &&
            FcPatternGetCharSet(match, FC_CHARSET, 0, &charset) == FcResultMatch && FcCharSetHasChar(charset, probe)) {
            FcPatternGetInteger(match, FC_INDEX, 0, &index);
            add_face(reinterpret_cast<const char*>(file), index);
        }
        FcPatternDestroy(match);
    }

    void load() {
        if (loaded) return;
        loaded = true;
        if (!library && FT_Init_FreeType(&library) != 0) OZGI_FATAL("Can't start FreeType.");
        if (!requested.is_empty()) {
            looked_for = "the files given by --ozgi-font= (";
            for (int i = 0; i < requested.count(); ++i) {
                if (i) looked_for += ":";
                looked_for += requested[i];
                add_face(requested[i], 0);
            }
            looked_for += ")";
        } else {
            looked_for = "fontconfig's \"sans-serif\" (e.g. DejaVu Sans) and a font for \"zh-cn\" (e.g. WenQuanYi Micro Hei)";
            if (FcInit()) {
                fc_started = true;
                discover("sans-serif:lang=en", 'A');
                discover(":lang=zh-cn", 0x4E2D);
            }
        }
        if (faces.empty())
            OZGI_FATAL("No usable font: looked for %s. Install fonts-dejavu-core and fonts-wqy-microhei, or give font "
                       "files with --ozgi-font=PATH[:PATH...].",
                       looked_for.c_str());
    }

    void set_size(face_t* f, int px_size) {
        if (f->px_size == px_size) return;
        FT_Set_Pixel_Sizes(f->face, 0, static_cast<FT_UInt>(px_size));
        f->px_size = px_size;
    }

    const metrics_t& metrics_of(int px_size) {
        auto it = metrics.find(px_size);
        if (it != metrics.end()) return it->second;
        load();
        int ascent = 0;
        int descent = 0;
        // The line must hold the tallest of the fonts, since any may be mixed in.
        for (face_t& f : faces) {
            set_size(&f, px_size);
            int a = static_cast<int>((f.face->size->metrics.ascender + 63) >> 6);
            int d = static_cast<int>((-f.face->size->metrics.descender + 63) >> 6);
            if (a > ascent) ascent = a;
            if (d > descent) descent = d;
        }
        if (ascent + descent <= 0) ascent = px_size;
        return metrics[px_size] = metrics_t{ascent, ascent + descent};
    }

    // Renders `cp` with the first font that has it; false when none has it.
    bool render(uint32_t cp, int px_size, cached_glyph_t* out) {
        for (face_t& f : faces) {
            FT_UInt index = FT_Get_Char_Index(f.face, cp);
            if (index == 0) continue;
            set_size(&f, px_size);
            if (FT_Load_Glyph(f.face, index, FT_LOAD_DEFAULT | FT_LOAD_TARGET_LIGHT) != 0) continue;
            if (FT_Render_Glyph(f.face->glyph, FT_RENDER_MODE_NORMAL) != 0) continue;
            FT_GlyphSlot slot = f.face->glyph;
            const FT_Bitmap& bm = slot->bitmap;
            glyph_t& g = out->glyph;
            g.advance = static_cast<int>((slot->advance.x + 32) >> 6);
            g.bearing_x = slot->bitmap_left;
            g.bearing_y = slot->bitmap_top;
            g.width = static_cast<int>(bm.width);
            g.height = static_cast<int>(bm.rows);
            g.pitch = g.width;
            out->mask.assign(static_cast<size_t>(g.width) * g.height, 0);
            if (bm.pixel_mode == FT_PIXEL_MODE_GRAY) {
                for (int y = 0; y < g.height; ++y) {
                    const unsigned char* row = bm.buffer + static_cast<long>(y) * bm.pitch;
                    for (int x = 0; x < g.width; ++x) out->mask[y * g.width + x] = row[x];
                }
            } else if (bm.pixel_mode == FT_PIXEL_MODE_MONO) {
                for (int y = 0; y < g.height; ++y) {
                    const unsigned char* row = bm.buffer + static_cast<long>(y) * bm.pitch;
                    for (int x = 0; x < g.width; ++x)
                        out->mask[y * g.width + x] = (row[x >> 3] & (0x80 >> (x & 7))) ? 255 : 0;
                }
            }
            g.mask = out->mask.empty() ? nullptr : out->mask.data();
            return true;
        }
        return false;
    }

    // Moves an evictable glyph to the front of its size's use order.
    void touch(cached_glyph_t* g, int px_size) {
        if (g->pinned) return;
        std::list<uint64_t>& order = use_order[px_size];
        order.splice(order.begin(), order, g->use);
    }

    // Makes room for one more evictable glyph of `px_size`.
    void evict_for(int px_size) {
        std::list<uint64_t>& order = use_order[px_size];
        while (order.size() >= MAX_GLYPHS_PER_SIZE) {
            cache.erase(order.back());
            order.pop_back();
        }
    }

    const glyph_t* lookup(uint32_t cp, int px_size) {
        uint64_t key = cache_key(cp, px_size);
        auto it = cache.find(key);
        if (it != cache.end()) {
            touch(&it->second, px_size);
            return &it->second.glyph;
        }
        load();
        cached_glyph_t entry;
        if (cp == '\t') {
            const glyph_t* space = lookup(' ', px_size);
            entry.glyph = glyph_t{space->advance * TAB_SPACES, 0, 0, 0, 0, 0, nullptr};
        } else if (is_unprintable(cp) || !render(cp, px_size, &entry)) {
            return replacement(px_size);
        }
        // ASCII glyphs are few and the fast table points at them: they stay.
        bool pinned = cp < 128;
        if (!pinned) evict_for(px_size);
        cached_glyph_t& stored = cache[key];
        stored = std::move(entry);
        stored.glyph.mask = stored.mask.empty() ? nullptr : stored.mask.data();
        stored.pinned = pinned;
        if (!pinned) {
            std::list<uint64_t>& order = use_order[px_size];
            order.push_front(key);
            stored.use = order.begin();
        }
        return &stored.glyph;
    }

    /// Glyphs held now (for tests and measurements).
    size_t cached_count() const { return cache.size(); }

    const glyph_t* replacement(int px_size) {
        // The key of a code point that cannot exist holds the mark of this size.
        uint64_t key = cache_key(0xFFFFFFFFu, px_size);
        auto it = cache.find(key);
        if (it != cache.end()) return &it->second.glyph;
        load();
        cached_glyph_t entry;
        if (!render(REPLACEMENT_CHAR, px_size, &entry) && !render('?', px_size, &entry)) {
            // No font has even "?": draw an outlined box.
            int w = px_size / 2 > 2 ? px_size / 2 : 3;
            int h = px_size * 2 / 3 > 3 ? px_size * 2 / 3 : 4;
            entry.mask.assign(static_cast<size_t>(w) * h, 0);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    if (x == 0 || y == 0 || x == w - 1 || y == h - 1) entry.mask[y * w + x] = 255;
            entry.glyph = glyph_t{w + 2, 1, h, w, h, w, nullptr};
        }
        cached_glyph_t& stored = cache[key];
        stored = std::move(entry);
        stored.glyph.mask = stored.mask.empty() ? nullptr : stored.mask.data();
        return &stored.glyph;
    }
};

cls_font_mgr::cls_font_mgr() : m_impl(new impl_t) {}

cls_font_mgr::~cls_font_mgr() {
    m_impl->unload();
    if (m_impl->library) FT_Done_FreeType(m_impl->library);
    // Fontconfig keeps its configuration until it is told to let go; without this
    // a leak checker reports it at every exit. Every pattern is destroyed by now.
    if (m_impl->fc_started) FcFini();
    delete m_impl;
}

cls_font_mgr* cls_font_mgr::ins() {
    static cls_font_mgr instance;
    return &instance;
}

void cls_font_mgr::set_font_paths(const cls_string& paths) {
    m_impl->unload();
    m_impl->requested.clear();
    cls_string part;
    for (int i = 0; paths.get_sub_str(i, ':', &part); ++i)
        if (part.is_not_empty()) m_impl->requested.append(part);
}

const cls_array<cls_string>& cls_font_mgr::font_paths() {
    m_impl->load();
    return m_impl->paths;
}

const cls_font_mgr::glyph_t* cls_font_mgr::glyph(uint32_t code_point, int px_size) {
    if (code_point < 128) {
        if (m_impl->fast_px != px_size) {
            for (const glyph_t*& g : m_impl->fast) g = nullptr;
            m_impl->fast_px = px_size;
        }
        const glyph_t*& slot = m_impl->fast[code_point];
        if (!slot) slot = m_impl->lookup(code_point, px_size);
        return slot;
    }
    return m_impl->lookup(code_point, px_size);
}

const cls_font_mgr::glyph_t* cls_font_mgr::replacement_glyph(int px_size) { return m_impl->replacement(px_size); }

int cls_font_mgr::cached_glyph_count() const { return static_cast<int>(m_impl->cached_count()); }

int cls_font_mgr::max_glyphs_per_size() { return static_cast<int>(MAX_GLYPHS_PER_SIZE); }

int cls_font_mgr::text_width(const cls_string& text, int px_size) {
    int width = 0;
    int pos = 0;
    while (pos < text.length()) {
        int32_t cp = decode_utf8(text.c_str(), text.length(), &pos);
        width += glyph(static_cast<uint32_t>(cp), px_size)->advance;
    }
    return width;
}

int cls_font_mgr::line_height(int px_size) { return m_impl->metrics_of(px_size).line_height; }

int cls_font_mgr::ascent(int px_size) { return m_impl->metrics_of(px_size).ascent; }

int cls_font_mgr::draw_text(cls_canvas* canvas, const char* text, int length, int x, int baseline,
                            const cls_color& color, int px_size) {
    int pos = 0;
    int limit = canvas->clip().right();
    while (pos < length && x < limit) {
        int32_t cp = decode_utf8(text, length, &pos);
        const glyph_t* g = glyph(static_cast<uint32_t>(cp), px_size);
        if (g->mask)
            canvas->draw_mask(g->mask, g->width, g->height, g->pitch, x + g->bearing_x, baseline - g->bearing_y, color);
        x += g->advance;
    }
    // What was not drawn still counts, so the result is the pen position.
    while (pos < length) {
        int32_t cp = decode_utf8(text, length, &pos);
        x += glyph(static_cast<uint32_t>(cp), px_size)->advance;
    }
    return x;
}

int32_t cls_font_mgr::decode_utf8(const char* text, int length, int* pos) {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
    int i = *pos;
    unsigned char c = s[i];
    if (c < 0x80) {
        *pos = i + 1;
        return c;
    }
    int extra;
    uint32_t cp;
    uint32_t min;
    if (c >= 0xC2 && c <= 0xDF) { extra = 1; cp = c & 0x1F; min = 0x80; }
    else if (c >= 0xE0 && c <= 0xEF) { extra = 2; cp = c & 0x0F; min = 0x800; }
    else if (c >= 0xF0 && c <= 0xF4) { extra = 3; cp = c & 0x07; min = 0x10000; }
    else { *pos = i + 1; return -1; }
    // A broken sequence is one mark: the lead byte and the continuation bytes that follow it.
    for (int k = 1; k <= extra; ++k) {
        if (i + k >= length || (s[i + k] & 0xC0) != 0x80) { *pos = i + k; return -1; }
        cp = (cp << 6) | (s[i + k] & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) { *pos = i + 1; return -1; }
    *pos = i + extra + 1;
    return static_cast<int32_t>(cp);
}

} // namespace ozgi
