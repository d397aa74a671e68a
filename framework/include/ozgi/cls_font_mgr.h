#pragma once
// The fonts used to draw text. By default the fonts are found through fontconfig:
// a Latin sans-serif first, then a font covering Simplified Chinese (zh-cn). A
// character is drawn with the first font that has it. Rendered glyphs are cached
// per character and pixel size, a bounded number per size.
#include <cstdint>
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_canvas;
struct cls_color;

class cls_font_mgr {
public:
    /// One rendered glyph: an 8-bit anti-aliased coverage mask and its placement.
    struct glyph_t {
        /// Horizontal distance to the next character's pen position, in pixels.
        int advance;
        /// Offset of the mask's left column from the pen position.
        int bearing_x;
        /// Offset of the mask's top row above the baseline.
        int bearing_y;
        int width;
        int height;
        /// Bytes from one mask row to the next.
        int pitch;
        /// The coverage mask (null when the glyph has no pixels, e.g. a space).
        const uint8_t* mask;
    };

    /// The one font manager of the process.
    static cls_font_mgr* ins();

    /// Replaces the font list with the files in `paths`, separated by ":" (the value
    /// of --ozgi-font=), in fallback order. Files that cannot be loaded are skipped
    /// with a warning. Cached glyphs are dropped.
    void set_font_paths(const cls_string& paths);
    /// The font files in use, in fallback order. Loads the fonts when not done yet;
    /// no usable font is fatal, naming the fonts looked for and --ozgi-font=.
    const cls_array<cls_string>& font_paths();

    /// Width in pixels of one line of UTF-8 `text` at `px_size` (newlines are not
    /// treated specially; use cls_text_layout for several lines).
    int text_width(const cls_string& text, int px_size);
    /// Distance in pixels between the baselines of two lines at `px_size`.
    int line_height(int px_size);
    /// Height in pixels from the top of a line to its baseline at `px_size`.
    int ascent(int px_size);
    /// The glyph of the Unicode character `code_point` at `px_size`, from the first
    /// font that has it; characters no font has come out as the replacement mark.
    /// The glyph stays valid until the next call that may render a glyph (the
    /// cache holds a bounded number per size and drops the least recently used);
    /// printable ASCII glyphs and the replacement mark stay until the font list changes.
    const glyph_t* glyph(uint32_t code_point, int px_size);
    /// How many glyphs the cache holds now, all sizes together.
    int cached_glyph_count() const;
    /// The most glyphs beyond printable ASCII the cache keeps for one pixel size.
    static int max_glyphs_per_size();
    /// The glyph drawn for invalid UTF-8 and control characters.
    const glyph_t* replacement_glyph(int px_size);
    /// Draws one line of text with its baseline at y = `baseline`, the pen starting
    /// at x = `x`. Returns the x after the last character.
    int draw_text(cls_canvas* canvas, const char* text, int length, int x, int baseline, const cls_color& color,
                  int px_size);

    /// Decodes one UTF-8 character from text[*pos] (the text has `length` bytes) and
    /// moves *pos past it. Invalid or truncated sequences give -1 and skip one byte.
    static int32_t decode_utf8(const char* text, int length, int* pos);

    cls_font_mgr(const cls_font_mgr&) = delete;
    cls_font_mgr& operator=(const cls_font_mgr&) = delete;

private:
    cls_font_mgr();
    ~cls_font_mgr();
    struct impl_t;
    impl_t* m_impl;
};

} // namespace ozgi
