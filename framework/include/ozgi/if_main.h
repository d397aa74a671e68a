#pragma once

namespace ozgi {

class if_main {
public:
    /// Sets the framework up, calls `main` as the program's main function, releases
    /// the registered singletons and returns main's result unchanged; a program
    /// that SIGTERM or SIGINT stopped ends by that signal instead (cls_stop_signal).
    static int main_func(int (*main)());
};

} // namespace ozgi
