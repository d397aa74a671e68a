#pragma once
// Parsing of the attribute values that several item classes share.
#include <cstdint>
#include "ozgi/cls_string.h"

namespace ozgi {

/// "true" or "false".
bool parse_bool_attr(const cls_string& value, bool* out);
/// A decimal integer, optionally signed, nothing else.
bool parse_int_attr(const cls_string& value, int* out);
/// A colour ("r,g,b,a", "white", "black") as 0xAARRGGBB.
bool parse_color_attr(const cls_string& value, uint32_t* argb);
/// "h,v": left, middle or right, then top, middle or bottom (0, 1, 2 each).
bool parse_alignment_attr(const cls_string& value, int* h_align, int* v_align);

} // namespace ozgi
