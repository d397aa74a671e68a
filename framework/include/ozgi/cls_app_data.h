#pragma once
// A process-wide store of named texts shared between pages ("language", "output").
#include "ozgi/cls_dict.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_app_data {
public:
    /// The one store, made on first use with "language" set to "en_US" (or to "zh_CN"
    /// when the command line has "--ozgi-lang=zh_CN").
    static cls_app_data* ins();
    /// A new copy of the value of `key`; an empty string when it was never set.
    cls_sp<cls_string> get_data(const cls_string& key) const;
    /// Sets the value of `key`, replacing any earlier value.
    void set_data(const cls_string& key, const cls_string& value);

private:
    cls_app_data();
    cls_dict<cls_string, cls_string> m_data;
};

} // namespace ozgi
