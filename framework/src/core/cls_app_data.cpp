#include "ozgi/cls_app_data.h"

#include "ozgi/cls_input_args.h"

namespace ozgi {

cls_app_data* cls_app_data::ins() {
    static cls_app_data* instance = new cls_app_data();
    return instance;
}

cls_app_data::cls_app_data() {
    cls_string lang;
    if (cls_input_args::ins()->has_arg("--ozgi-lang=", false, &lang) && lang == "zh_CN")
        m_data.set("language", "zh_CN");
    else
        m_data.set("language", "en_US");
}

cls_sp<cls_string> cls_app_data::get_data(const cls_string& key) const {
    const cls_string* v = m_data.get(key);
    return cls_sp<cls_string>(v ? OZGI_NEW(cls_string)(*v) : OZGI_NEW(cls_string)());
}

void cls_app_data::set_data(const cls_string& key, const cls_string& value) { m_data.set(key, value); }

} // namespace ozgi
