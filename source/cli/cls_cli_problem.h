#pragma once
// One finding of "vesk-cli check": an error or a warning about one path, with
// the offending line and the place in it when there is one.
#include "ozgi/cls_string.h"

class cls_cli_problem {
public:
    /// An error without a message or a line.
    cls_cli_problem() : error(true), caret(-1) {}
    /// A finding without a line.
    cls_cli_problem(bool is_error, const ozgi::cls_string& text) : error(is_error), message(text), caret(-1) {}
    /// A finding that points at byte `position` of `offending_line`.
    cls_cli_problem(bool is_error, const ozgi::cls_string& text, const ozgi::cls_string& offending_line, int position)
        : error(is_error), message(text), line(offending_line), caret(position) {}

    /// "PATH: error: MESSAGE" or "PATH: warning: MESSAGE", then the line and a
    /// caret under the place (the marker copies the line's TABs, as the panel's
    /// fatal message does, so the caret stands right whatever the tab width).
    ozgi::cls_string format(const ozgi::cls_string& path) const;

    bool error;
    ozgi::cls_string message;
    ozgi::cls_string line;
    /// Byte offset into `line`; -1: no line is shown.
    int caret;
};
