#include "cli/cls_cli_problem.h"

#include "devices/cls_vesk_text_escape.h"

using ozgi::cls_string;

cls_string cls_cli_problem::format(const cls_string& path) const {
    cls_string out = cls_vesk_text_escape::printable(path);
    out += error ? ": error: " : ": warning: ";
    out += message;
    out += "\n";
    if (caret < 0) return out;
    out += line;
    out += "\n";
    for (int i = 0; i < caret && i < line.length(); ++i) out += line[i] == '\t' ? '\t' : ' ';
    out += "^\n";
    return out;
}
