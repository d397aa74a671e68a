#include "backend/evdev_key_names.h"

#include <linux/input-event-codes.h>

namespace ozgi {

namespace {

struct key_name_t {
    int code;
    const char* name;
};

// The first group are the keys the pages act on (see README.md, "Keys").
const key_name_t KEY_NAMES[] = {
    {KEY_ENTER, "Return"}, {KEY_SPACE, "Space"}, {KEY_ESC, "Escape"}, {KEY_BACKSPACE, "Backspace"},
    {KEY_BACK, "AC Back"}, {KEY_UP, "Up"}, {KEY_DOWN, "Down"}, {KEY_LEFT, "Left"}, {KEY_RIGHT, "Right"},
    {KEY_KPENTER, "Keypad Enter"}, {KEY_OK, "Return"}, {KEY_SELECT, "Return"},
    {KEY_TAB, "Tab"}, {KEY_HOME, "Home"}, {KEY_END, "End"}, {KEY_PAGEUP, "PageUp"}, {KEY_PAGEDOWN, "PageDown"},
    {KEY_DELETE, "Delete"}, {KEY_INSERT, "Insert"}, {KEY_MENU, "Menu"}, {KEY_COMPOSE, "Menu"},
    {KEY_HOMEPAGE, "AC Home"}, {KEY_POWER, "Power"}, {KEY_VOLUMEUP, "VolumeUp"}, {KEY_VOLUMEDOWN, "VolumeDown"},
    {KEY_MUTE, "Mute"}, {KEY_SEARCH, "AC Search"}, {KEY_SLEEP, "Sleep"}, {KEY_HELP, "Help"},
    {KEY_F1, "F1"}, {KEY_F2, "F2"}, {KEY_F3, "F3"}, {KEY_F4, "F4"}, {KEY_F5, "F5"}, {KEY_F6, "F6"},
    {KEY_F7, "F7"}, {KEY_F8, "F8"}, {KEY_F9, "F9"}, {KEY_F10, "F10"}, {KEY_F11, "F11"}, {KEY_F12, "F12"},
    {KEY_A, "A"}, {KEY_B, "B"}, {KEY_C, "C"}, {KEY_D, "D"}, {KEY_E, "E"}, {KEY_F, "F"}, {KEY_G, "G"},
    {KEY_H, "H"}, {KEY_I, "I"}, {KEY_J, "J"}, {KEY_K, "K"}, {KEY_L, "L"}, {KEY_M, "M"}, {KEY_N, "N"},
    {KEY_O, "O"}, {KEY_P, "P"}, {KEY_Q, "Q"}, {KEY_R, "R"}, {KEY_S, "S"}, {KEY_T, "T"}, {KEY_U, "U"},
    {KEY_V, "V"}, {KEY_W, "W"}, {KEY_X, "X"}, {KEY_Y, "Y"}, {KEY_Z, "Z"},
    {KEY_1, "1"}, {KEY_2, "2"}, {KEY_3, "3"}, {KEY_4, "4"}, {KEY_5, "5"}, {KEY_6, "6"}, {KEY_7, "7"},
    {KEY_8, "8"}, {KEY_9, "9"}, {KEY_0, "0"},
    {KEY_MINUS, "-"}, {KEY_EQUAL, "="}, {KEY_LEFTBRACE, "["}, {KEY_RIGHTBRACE, "]"}, {KEY_BACKSLASH, "\\"},
    {KEY_SEMICOLON, ";"}, {KEY_APOSTROPHE, "'"}, {KEY_GRAVE, "`"}, {KEY_COMMA, ","}, {KEY_DOT, "."},
    {KEY_SLASH, "/"}, {KEY_CAPSLOCK, "CapsLock"}, {KEY_NUMLOCK, "Numlock"}, {KEY_SCROLLLOCK, "ScrollLock"},
    {KEY_SYSRQ, "PrintScreen"}, {KEY_PAUSE, "Pause"},
    {KEY_LEFTCTRL, "Left Ctrl"}, {KEY_LEFTSHIFT, "Left Shift"}, {KEY_LEFTALT, "Left Alt"},
    {KEY_LEFTMETA, "Left GUI"}, {KEY_RIGHTCTRL, "Right Ctrl"}, {KEY_RIGHTSHIFT, "Right Shift"},
    {KEY_RIGHTALT, "Right Alt"}, {KEY_RIGHTMETA, "Right GUI"},
    {KEY_KP0, "Keypad 0"}, {KEY_KP1, "Keypad 1"}, {KEY_KP2, "Keypad 2"}, {KEY_KP3, "Keypad 3"},
    {KEY_KP4, "Keypad 4"}, {KEY_KP5, "Keypad 5"}, {KEY_KP6, "Keypad 6"}, {KEY_KP7, "Keypad 7"},
    {KEY_KP8, "Keypad 8"}, {KEY_KP9, "Keypad 9"}, {KEY_KPDOT, "Keypad ."}, {KEY_KPSLASH, "Keypad /"},
    {KEY_KPASTERISK, "Keypad *"}, {KEY_KPMINUS, "Keypad -"}, {KEY_KPPLUS, "Keypad +"},
    {KEY_NEXTSONG, "AudioNext"}, {KEY_PREVIOUSSONG, "AudioPrev"}, {KEY_STOPCD, "AudioStop"},
    {KEY_PLAYPAUSE, "AudioPlay"},
};

} // namespace

bool evdev_is_key(int code) {
    return (code > KEY_RESERVED && code < BTN_MISC) || (code >= KEY_OK && code < BTN_TRIGGER_HAPPY);
}

cls_string evdev_key_name(int code) {
    for (const key_name_t& k : KEY_NAMES)
        if (k.code == code) return cls_string(k.name);
    cls_string name;
    name.print("Key %d", code);
    return name;
}

} // namespace ozgi
