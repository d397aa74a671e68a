#include "ozgi/cls_ui_text_dict.h"

#include <pugixml.hpp>

#include "ozgi/cls_app_data.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_rom_file_mgr.h"

namespace ozgi {

namespace {
const char* const BASE_DICT = "vesk/resource/xml/dict.xml";
} // namespace

cls_ui_text_dict* cls_ui_text_dict::ins() {
    static cls_ui_text_dict* instance = new cls_ui_text_dict();
    return instance;
}

cls_ui_text_dict::cls_ui_text_dict() : m_base_loaded(false) {}

namespace {

// Reads one dictionary document into the two maps; false (maps untouched) when
// the document is not a text dictionary.
bool merge(const pugi::xml_document& doc, cls_dict<cls_string, cls_string>* en, cls_dict<cls_string, cls_string>* zh,
           cls_string* why) {
    pugi::xml_node root = doc.document_element();
    if (!root || cls_string(root.name()) != "ui_text_dict") {
        *why = "the root element is not ui_text_dict";
        return false;
    }
    for (pugi::xml_node e = root.child("dict_entry"); e; e = e.next_sibling("dict_entry")) {
        pugi::xml_attribute key = e.attribute("en_US");
        if (!key) continue;
        en->set(cls_string(key.value()), cls_string(key.value()));
        pugi::xml_attribute zh_text = e.attribute("zh_CN");
        if (zh_text) zh->set(cls_string(key.value()), cls_string(zh_text.value()));
    }
    return true;
}

} // namespace

void cls_ui_text_dict::load_base() {
    if (m_base_loaded) return;
    m_base_loaded = true;
    const void* data = nullptr;
    long long size = 0;
    if (!cls_rom_file_mgr::ins()->find(BASE_DICT, &data, &size)) return;
    pugi::xml_document doc;
    cls_string why;
    pugi::xml_parse_result res = doc.load_buffer(data, static_cast<size_t>(size));
    if (!res) {
        cls_log::log_warning("Ignoring the dictionary %s: %s", BASE_DICT, res.description());
        return;
    }
    if (!merge(doc, &m_en_us, &m_zh_cn, &why)) cls_log::log_warning("Ignoring the dictionary %s: %s", BASE_DICT, why.c_str());
}

void cls_ui_text_dict::add_dict(const cls_string& path_or_text) {
    load_base();
    int i = 0;
    while (i < path_or_text.length() && (path_or_text[i] == ' ' || path_or_text[i] == '\t' || path_or_text[i] == '\n' ||
                                         path_or_text[i] == '\r'))
        ++i;
    bool is_text = i < path_or_text.length() && path_or_text[i] == '<';
    cls_string name = is_text ? cls_string("(dictionary text)") : path_or_text;
    pugi::xml_document doc;
    pugi::xml_parse_result res;
    const void* data = nullptr;
    long long size = 0;
    if (is_text) {
        res = doc.load_buffer(path_or_text.c_str(), static_cast<size_t>(path_or_text.length()));
    } else if (cls_rom_file_mgr::ins()->find(path_or_text, &data, &size)) {
        res = doc.load_buffer(data, static_cast<size_t>(size));
    } else {
        res = doc.load_file(path_or_text.c_str());
    }
    if (!res) {
        cls_log::log_warning("Ignoring the dictionary %s: %s", name.c_str(), res.description());
        return;
    }
    // Parse into copies so that a dictionary that turns out not to be one changes nothing.
    cls_dict<cls_string, cls_string> en = m_en_us, zh = m_zh_cn;
    cls_string why;
    if (!merge(doc, &en, &zh, &why)) {
        cls_log::log_warning("Ignoring the dictionary %s: %s", name.c_str(), why.c_str());
        return;
    }
    m_en_us = en;
    m_zh_cn = zh;
}

bool cls_ui_text_dict::check_dict(const cls_string& text, cls_string* why, int* offset) {
    pugi::xml_document doc;
    pugi::xml_parse_result res = doc.load_buffer(text.c_str(), static_cast<size_t>(text.length()));
    if (!res) {
        *why = res.description();
        *offset = static_cast<int>(res.offset);
        return false;
    }
    cls_dict<cls_string, cls_string> en, zh;
    if (!merge(doc, &en, &zh, why)) {
        *offset = -1;
        return false;
    }
    return true;
}

cls_string cls_ui_text_dict::translate(const cls_string& key, const cls_string& language) {
    load_base();
    const cls_string* text = nullptr;
    if (language == "zh_CN") text = m_zh_cn.get(key);
    else if (language == "en_US") text = m_en_us.get(key);
    return text ? *text : key;
}

const cls_string* cls_ui_text_dict::find(const cls_string& key) {
    load_base();
    cls_sp<cls_string> language = cls_app_data::ins()->get_data("language");
    if (*language == "zh_CN") return m_zh_cn.get(key);
    if (*language == "en_US") return m_en_us.get(key);
    return nullptr;
}

void cls_ui_text_dict::reset() {
    m_base_loaded = false;
    m_en_us = cls_dict<cls_string, cls_string>();
    m_zh_cn = cls_dict<cls_string, cls_string>();
}

cls_string cls_ui_text_dict::translate(const cls_string& key) {
    return translate(key, *cls_app_data::ins()->get_data("language"));
}

} // namespace ozgi
