#pragma once
// The open pages as JSON, for automation scripts and tests.
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_root_container;

/// {"language": ..., "pages": [bottom to top]}, each item with its class, name,
/// screen rectangle, state, texts, picture, item data, groups and children.
cls_string gui_dump_json(cls_root_container* root);

} // namespace ozgi
