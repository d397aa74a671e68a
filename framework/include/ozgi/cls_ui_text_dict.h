#pragma once
// The text dictionary: English keys with their Simplified Chinese texts. The
// base dictionary is the registered "vesk/resource/xml/dict.xml", read before
// any other; menu directories may add their own.
#include "ozgi/cls_dict.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_ui_text_dict {
public:
    static cls_ui_text_dict* ins();
    /// Merges a dictionary given as a file path (file system, or a registered
    /// resource name) or as its XML text (text whose first non-blank is '<').
    /// Later entries win. A malformed or unreadable dictionary prints one warning
    /// to standard error, naming it, and is ignored.
    void add_dict(const cls_string& path_or_text);
    /// Whether `text` is a dictionary add_dict would take. When it is not, `why`
    /// gets the reason and `offset` the byte offset of the fault in `text` (-1 when
    /// the fault has no place, such as a wrong root element).
    static bool check_dict(const cls_string& text, cls_string* why, int* offset);
    /// The text of `key` in `language` ("en_US" or "zh_CN"); the key itself when
    /// it has no entry or no text for that language.
    cls_string translate(const cls_string& key, const cls_string& language);
    /// translate() in the language of the application data's "language".
    cls_string translate(const cls_string& key);
    /// The text of `key` in the application data's "language", or null when the
    /// key has no entry there (translate() would give the key itself). Nothing is
    /// copied, so a long key costs only its lookup.
    const cls_string* find(const cls_string& key);
    /// Forgets every merged dictionary; the base dictionary is read again on the
    /// next use. For tests and fuzzing, which merge many dictionaries in one process.
    void reset();

private:
    cls_ui_text_dict();
    void load_base();
    bool m_base_loaded;
    cls_dict<cls_string, cls_string> m_zh_cn;
    cls_dict<cls_string, cls_string> m_en_us;
};

} // namespace ozgi
