#include "cli/cls_cli_list_cmd.h"

#include <cstdio>

#include "devices/cls_vesk_text_escape.h"
#include "ozgi/cls_ui_text_dict.h"

using ozgi::cls_array;
using ozgi::cls_string;
typedef cls_vesk_device::menu_tree_node_t node_t;

namespace {

// "menu", "test" or "direct".
const char* kind_of(const node_t* node) {
    if (!node->data.is_exec) return "menu";
    return node->data.name.begin_with(cls_vesk_device::DIRECT_EXEC_PREFIX) ? "direct" : "test";
}

// The name as the panel shows it: a direct test without its prefix, translated.
cls_string title_of(const node_t* node, const cls_string& language) {
    cls_string name = node->data.name;
    if (node->data.is_exec) name.begin_with(cls_vesk_device::DIRECT_EXEC_PREFIX, &name);
    return ozgi::cls_ui_text_dict::ins()->translate(name, language);
}

} // namespace

int cls_cli_list_cmd::run(const cls_cli_options& options, const cls_cli_menu& menu) {
    cls_string language = options.lang.is_empty() ? cls_string("en_US") : options.lang;
    cls_string out;
    const node_t* root = menu.root();
    if (options.json) {
        json(menu, root, "", language, &out);
        out += "\n";
    } else {
        out += cls_vesk_text_escape::printable(title_of(root, language));
        out += "\n";
        draw(menu, root, "", language, &out);
    }
    std::fwrite(out.c_str(), 1, static_cast<size_t>(out.length()), stdout);
    return 0;
}

void cls_cli_list_cmd::draw(const cls_cli_menu& menu, const node_t* node, const cls_string& indent, const cls_string& language, cls_string* out) {
    cls_array<const node_t*> kids;
    menu.children(node, &kids);
    for (int i = 0; i < kids.count(); ++i) {
        bool last = i == kids.count() - 1;
        *out += indent;
        *out += last ? "└── " : "├── ";
        *out += cls_vesk_text_escape::printable(title_of(kids[i], language));
        *out += "  [";
        *out += kind_of(kids[i]);
        *out += "]\n";
        if (!kids[i]->data.is_exec) draw(menu, kids[i], indent + (last ? "    " : "│   "), language, out);
    }
}

void cls_cli_list_cmd::json(const cls_cli_menu& menu, const node_t* node, const cls_string& path, const cls_string& language, cls_string* out) {
    typedef cls_vesk_text_escape esc;
    *out += "{\"name\":";
    *out += esc::json(node->data.name);
    *out += ",\"title\":";
    *out += esc::json(title_of(node, language));
    *out += ",\"kind\":\"";
    *out += kind_of(node);
    *out += "\",\"path\":";
    *out += esc::json(path);
    if (node->data.is_exec) {
        *out += "}";
        return;
    }
    *out += ",\"children\":[";
    cls_array<const node_t*> kids;
    menu.children(node, &kids);
    for (int i = 0; i < kids.count(); ++i) {
        if (i) *out += ",";
        json(menu, kids[i], path.is_empty() ? kids[i]->data.name : path + "/" + kids[i]->data.name, language, out);
    }
    *out += "]}";
}
