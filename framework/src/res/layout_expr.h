#pragma once
// The expression language of layout geometry attributes: integers with + - * /,
// parentheses, the comparison <, and the functions screen_width(), screen_height(),
// container(), prev([item]), left/top/right/bottom/width/height([item]),
// content_width([item]), content_height([item]), max(a,b), min(a,b), select(i,a,b).
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_event_handler;

/// Evaluates `text` for the item `self` (already attached to its container).
/// Returns false with the reason in *error when the text is malformed or cannot
/// be evaluated. One surplus ")" at the very end is tolerated (a shipped layout
/// has one).
bool eval_layout_expr(const cls_string& text, cls_event_handler* self, int screen_w, int screen_h, int* out,
                      cls_string* error);

} // namespace ozgi
