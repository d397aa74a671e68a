#include "ozgi/cls_terminal.h"

#include <cstdio>
#include <unistd.h>

namespace ozgi {

/// isatty() on descriptor 1.
bool cls_terminal::stdout_is_terminal() { return ::isatty(STDOUT_FILENO) == 1; }

/// Goes through stdio and flushes at once, so a line without "\n" shows now.
void cls_terminal::write_stdout(const char* text) {
    std::fputs(text, stdout);
    std::fflush(stdout);
}

} // namespace ozgi
