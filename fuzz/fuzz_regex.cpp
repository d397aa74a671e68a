// The regular-expression dialect: the input's first line is the pattern, the
// rest the text it is matched against. A malformed pattern is a clean fatal.
#include <cstdint>
#include <cstring>

#include "fuzz_support.h"
#include "ozgi/cls_regex.h"

using namespace ozgi;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* bytes = reinterpret_cast<const char*>(data);
    const char* newline = static_cast<const char*>(std::memchr(bytes, '\n', size));
    size_t pattern_len = newline ? static_cast<size_t>(newline - bytes) : size;
    cls_string pattern(bytes, static_cast<int>(pattern_len));
    cls_string text;
    if (newline) text = cls_string(newline + 1, static_cast<int>(size - pattern_len - 1));

    vesk_fuzz::run_allowing_fatal([&] {
        cls_regex re(pattern);
        cls_array<name_val_t> captures;
        cls_dict<cls_string, cls_string> dict;
        bool matched = re.match(text, &captures, &dict);
        vesk_fuzz::check(re.max_matched_len() >= 0 && re.max_matched_len() <= text.length(),
                         "max_matched_len lies within the text");
        if (!matched) {
            vesk_fuzz::check(captures.is_empty(), "a failed match records no capture");
            return;
        }
        for (int i = 0; i < captures.count(); ++i) {
            // Every captured text is a piece of the text.
            const cls_string& value = captures[i].value;
            vesk_fuzz::check(value.length() <= text.length(), "a capture is no longer than the text");
            vesk_fuzz::check(value.is_empty() || text.find(value.c_str()) != cls_string::NOT_FOUND ||
                                 value.has('\0'),
                             "a capture is a piece of the text");
            vesk_fuzz::check(dict.has(captures[i].name), "every captured name is in the dictionary");
        }
        // A second match of the same text gives the same answer.
        cls_array<name_val_t> again;
        vesk_fuzz::check(re.match(text, &again, nullptr) && again.count() == captures.count(),
                         "matching is repeatable");
    });
    return 0;
}
