#include "cli/cls_cli_problem.h"

#include "devices/cls_vesk_help_parser.h"
#include "devices/cls_vesk_text_escape.h"

using ozgi::cls_string;

cls_string cls_cli_problem::format(const cls_string& path) const {
    cls_string out = cls_vesk_text_escape::printable(path);
    out += error ? ": error: " : ": warning: ";
    out += message;
    out += "\n";
    if (caret < 0) return out;
    out += cls_vesk_help_parser::with_caret(line, caret);
    out += "\n";
    return out;
}
