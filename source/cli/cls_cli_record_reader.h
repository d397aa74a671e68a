#pragma once
// Reads back a run record from the JSON line cls_vesk_run_record::to_json
// wrote: how the per-device workers of "run --all" on several devices hand
// their results to the program that started them.
#include "devices/cls_vesk_run_record.h"
#include "ozgi/cls_string.h"

class cls_cli_record_reader {
public:
    /// Fills *out from one line of to_json (the output kept is what the line
    /// holds: its head and its tail). False for a line in any other form.
    static bool read(const ozgi::cls_string& line, cls_vesk_run_record* out);

private:
    /// Reads a JSON string literal at *pos (at its opening quote) into *out.
    static bool string_at(const ozgi::cls_string& line, int* pos, ozgi::cls_string* out);
    /// Reads a JSON number or literal word at *pos into *out, as written.
    static void word_at(const ozgi::cls_string& line, int* pos, ozgi::cls_string* out);
};
