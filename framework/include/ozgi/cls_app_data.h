#pragma once
// A process-wide store of named texts shared between pages ("language", "output").
#include "ozgi/cls_dict.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_app_data {
public:
    static cls_app_data* ins();
    /// A new copy of the value of `key`; an empty string when it was never set.
    cls_sp<cls_string> get_data(const cls_string& key) const;
    void set_data(const cls_string& key, const cls_string& value);

private:
    cls_app_data();
    cls_dict<cls_string, cls_string> m_data;
};

} // namespace ozgi
