#pragma once
// Texts that many items share for the life of the process (layout expressions
// and the names of the files they come from), held once.
#include "ozgi/cls_string.h"

namespace ozgi {

/// The one copy of `text`, valid until the process ends. Meant for texts that
/// come from layouts, whose number is bounded by the layouts themselves.
const cls_string* intern_text(const cls_string& text);

} // namespace ozgi
