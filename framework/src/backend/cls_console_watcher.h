#pragma once
// A small process that puts the console back when the program is killed
// outright (SIGKILL from the OOM killer or a stop timeout), where no handler
// of the program's own runs. It is forked when the console is taken, waits
// for the program's end on a pipe, and then, unless the program said it put
// the console back itself, restores the terminal's display and keyboard modes.
namespace ozgi {

class cls_console_watcher {
public:
    /// Starts the watcher of the terminal `tty_fd`, to restore `mode`
    /// (KDSETMODE) and `kb_mode` (KDSKBMODE). False when it cannot be started
    /// (then only the program's own handlers restore the console).
    static bool start(int tty_fd, int mode, int kb_mode);
    /// Tells the watcher the console is back (it ends without touching it).
    /// Async-signal-safe.
    static void stop();
};

} // namespace ozgi
