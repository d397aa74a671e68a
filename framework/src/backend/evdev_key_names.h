#pragma once
// Linux input key codes (KEY_*) turned into the framework's key names, so that a
// key means the same on every backend.
#include "ozgi/cls_string.h"

namespace ozgi {

/// Whether `code` is a key of a keyboard or a key panel (not a mouse, joystick
/// or touch button).
bool evdev_is_key(int code);
/// The name of the key `code` ("Return", "Escape", "AC Back", "A", "F5", ...).
/// Keys the framework has no name for are called "Key N" with their decimal code.
cls_string evdev_key_name(int code);

} // namespace ozgi
