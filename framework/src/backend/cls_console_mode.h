#pragma once
// The text console under a framebuffer we draw on: while we own the screen the
// active virtual terminal is switched to graphics mode (so that it neither
// prints over the picture nor blinks its cursor on it) and its keyboard is
// turned off (the keys are read from the input devices), and both are switched
// back at exit, on a fatal error, on a terminating signal and, through a
// watcher process, when the program is killed outright.
namespace ozgi {

class cls_console_mode {
public:
    cls_console_mode() = default;
    /// Puts the console back when it was taken.
    ~cls_console_mode();
    cls_console_mode(const cls_console_mode&) = delete;
    cls_console_mode& operator=(const cls_console_mode&) = delete;

    /// Switches the active virtual terminal (/dev/tty0, else the controlling
    /// terminal when it is a virtual one) to graphics mode and hides its cursor.
    /// Returns whether a terminal was taken; without one (no permission, no
    /// virtual terminals) nothing changes and the picture is drawn all the same.
    bool take();
    /// Puts the terminal back as take() found it; nothing when it was not taken.
    void give_back();
    /// Whether a terminal is held now.
    bool is_taken() const;

private:
    bool m_owner = false;
};

} // namespace ozgi
