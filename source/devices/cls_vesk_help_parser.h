#pragma once
// The one reader of a test's help text, shared by the panel and vesk-cli: which
// help texts are used at all, how each line after "Arguments:" becomes an
// argument record, and how a refused line is shown with a caret under the first
// character that could not be matched. The panel stops at the first refused
// line (it is fatal there); "vesk-cli check" goes on and collects them all.
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_vesk_help_parser {
public:
    /// A line after "Arguments:" that is not an argument line.
    struct refused_t {
        /// The line as written.
        ozgi::cls_string line;
        /// Byte offset of the first character that could not be matched.
        int column;
        refused_t() : column(0) {}
    };

    /// Whether a help run is read for arguments at all: exit code 0 and a text
    /// that begins with "Usage:". Any other help means a test without arguments.
    static bool usable(int exit_code, const ozgi::cls_string& text);

    /// Parses every line after the first line "Arguments:" of `help_msg` and
    /// appends one record per argument line to *args (and the line itself to
    /// *lines, when not null). A record without a written default takes the first
    /// value of its range or list. A refused line goes to *refused; with
    /// `stop_at_first` parsing ends there. Returns true when no line was refused.
    static bool parse(const ozgi::cls_string& help_msg, bool stop_at_first,
                      ozgi::cls_array<cls_vesk_device::arg_info_t>* args, ozgi::cls_array<ozgi::cls_string>* lines,
                      ozgi::cls_array<refused_t>* refused);

    /// The record of one argument line from the captures of the argument line
    /// pattern, as matched; the default is left empty when the line gives none.
    static cls_vesk_device::arg_info_t arg_of_captures(const ozgi::cls_array<ozgi::name_val_t>& captures);

    /// `line`, a line break, and a marker line with a "^" under byte `column`.
    /// The marker copies the line's TABs so that the caret stands under the right
    /// character whatever the terminal's tab width.
    static ozgi::cls_string with_caret(const ozgi::cls_string& line, int column);
};
