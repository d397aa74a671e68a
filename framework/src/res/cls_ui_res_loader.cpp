#include "ozgi/cls_ui_res_loader.h"

#include <fstream>
#include <sstream>
#include <vector>

#include "ozgi/cls_button.h"
#include "ozgi/cls_cmn_item.h"
#include "ozgi/cls_event_handler.h"
#include "ozgi/cls_icon.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_tile_icon.h"
#include "ozgi/cls_timer.h"

namespace ozgi {

const char* const cls_ui_res_loader::XML_DIR = "vesk/resource/xml/";

namespace {

typedef cls_xml_parser::xml_tree_t tree_t;
typedef tree_t::node_t node_t;

template <typename T>
cls_event_handler* create_builtin() {
    return OZGI_NEW(T)();
}

struct attr_t {
    cls_string name;
    cls_string value;
    cls_string file;
    int line;
};

bool is_geometry(const cls_string& name) {
    return name == "left" || name == "top" || name == "width" || name == "height";
}

bool parse_bool(const cls_string& value, bool* out) {
    if (value == "true") *out = true;
    else if (value == "false") *out = false;
    else return false;
    return true;
}

// The attributes of an item element: those written on the element itself (but
// cls_name and file_name), then those of its attr children, in file order.
void gather_attrs(const node_t* node, std::vector<attr_t>* out) {
    const cls_xml_parser::xml_elem_t& e = node->data;
    out->reserve(16);
    for (int i = 0; i < e.attr_names.count(); ++i) {
        if (e.attr_names[i] == "cls_name" || e.attr_names[i] == "file_name") continue;
        out->push_back(attr_t{e.attr_names[i], e.attr_values[i], e.file, e.line});
    }
    for (const node_t* c = node->first_child; c; c = c->next_sibling) {
        if (c->data.name != "attr") continue;
        for (int i = 0; i < c->data.attr_names.count(); ++i)
            out->push_back(attr_t{c->data.attr_names[i], c->data.attr_values[i], c->data.file, c->data.line});
    }
}

// One attribute that is not geometry.
void apply_one(cls_event_handler* item, const attr_t& a) {
    bool flag = false;
    if (a.name == "item_name") {
        item->set_item_name(a.value);
        return;
    }
    if (a.name == "group_name") {
        item->add_group(a.value);
        return;
    }
    if (a.name == "visible" || a.name == "show_on_focus") {
        if (!parse_bool(a.value, &flag))
            OZGI_FATAL("Bad value of the attribute %s in %s:%d: \"%s\"", a.name.c_str(), a.file.c_str(), a.line,
                       a.value.c_str());
        if (a.name == "visible") item->set_visible(flag);
        else item->set_show_on_focus(flag);
        return;
    }
    switch (item->apply_attr(a.name, a.value)) {
    case ATTR_OK: break;
    case ATTR_UNKNOWN:
        cls_log::log_warning("Unknown attribute %s of %s in %s:%d ignored", a.name.c_str(), item->class_name().c_str(),
                             a.file.c_str(), a.line);
        break;
    case ATTR_BAD_VALUE:
        OZGI_FATAL("Bad value of the attribute %s in %s:%d: \"%s\"", a.name.c_str(), a.file.c_str(), a.line,
                   a.value.c_str());
    }
}

void apply_attrs(cls_event_handler* item, const std::vector<attr_t>& attrs, const cls_string& file) {
    bool given[4] = {false, false, false, false};
    const char* geometry[4] = {"width", "height", "left", "top"};
    for (const attr_t& a : attrs) {
        if (is_geometry(a.name)) {
            item->set_layout_expr(a.name, a.value, a.file);
            for (int i = 0; i < 4; ++i)
                if (a.name == geometry[i]) given[i] = true;
        } else {
            apply_one(item, a);
        }
    }
    // What a layout leaves out: the natural size of the content, or the
    // container's size for items without content; the container's corner.
    int cw = 0, ch = 0;
    bool has_content = item->content_size(&cw, &ch);
    if (!given[0]) item->set_layout_expr("width", has_content ? "content_width()" : "width(container())", file);
    if (!given[1]) item->set_layout_expr("height", has_content ? "content_height()" : "height(container())", file);
    if (!given[2]) item->set_layout_expr("left", "left(container())", file);
    if (!given[3]) item->set_layout_expr("top", "top(container())", file);
    item->relayout(false);
}

void apply_child_attr(cls_event_handler* base, const node_t* node) {
    const cls_string* name = node->data.attr("name");
    const cls_string* value = node->data.attr("value");
    if (!name || !value)
        OZGI_FATAL("A child_attr in %s:%d lacks its name or value.", node->data.file.c_str(), node->data.line);
    int dot = name->rfind(".");
    if (dot < 0)
        OZGI_FATAL("The child_attr name \"%s\" in %s:%d has no \".\" before the attribute.", name->c_str(),
                   node->data.file.c_str(), node->data.line);
    cls_string path = name->sub_str(0, dot);
    attr_t a{name->sub_str(dot + 1), *value, node->data.file, node->data.line};
    cls_event_handler* target = path.is_empty() ? base : base->member_item(path, false);
    // A path that names no item is ignored: one page names a part its title bar lacks.
    if (!target) return;
    if (is_geometry(a.name)) target->set_layout_expr(a.name, a.value, a.file);
    else apply_one(target, a);
    target->relayout(true);
}

} // namespace

cls_ui_res_loader* cls_ui_res_loader::ins() {
    // Page classes register from static initialisers, so the loader is made on
    // first use and never destroyed.
    static cls_ui_res_loader* instance = new cls_ui_res_loader();
    return instance;
}

cls_ui_res_loader::cls_ui_res_loader() : m_count(0), m_screen_w(640), m_screen_h(800) {
    register_gui_class(&create_builtin<cls_root_container>, "cls_root_container");
    register_gui_class(&create_builtin<cls_page>, "cls_page");
    register_gui_class(&create_builtin<cls_button>, "cls_button");
    register_gui_class(&create_builtin<cls_label>, "cls_label");
    register_gui_class(&create_builtin<cls_icon>, "cls_icon");
    register_gui_class(&create_builtin<cls_tile_icon>, "cls_tile_icon");
    register_gui_class(&create_builtin<cls_cmn_item>, "cls_cmn_item");
    register_gui_class(&create_builtin<cls_timer>, "cls_timer");
}

cls_ui_res_loader::reg_token_t cls_ui_res_loader::register_gui_class(create_gui_func_t create, const char* class_name) {
    m_classes.set(cls_string(class_name), create);
    return reg_token_t{m_count++};
}

bool cls_ui_res_loader::has_gui_class(const cls_string& class_name) const { return m_classes.has(class_name); }

cls_event_handler* cls_ui_res_loader::create_item(const cls_string& class_name) const {
    const create_gui_func_t* f = m_classes.get(class_name);
    return f ? (*f)() : nullptr;
}

void cls_ui_res_loader::set_screen_size(int width, int height) {
    m_screen_w = width;
    m_screen_h = height;
}

cls_sp<cls_xml_parser::xml_tree_t> cls_ui_res_loader::load_xml(const cls_string& name) {
    const void* data = nullptr;
    long long size = 0;
    cls_string error;
    cls_sp<tree_t> tree;
    cls_rom_file_mgr* rom = cls_rom_file_mgr::ins();
    if (rom->find(cls_string(XML_DIR) + name, &data, &size) || rom->find(name, &data, &size)) {
        // A registered layout never changes, and a long menu loads the same button
        // layout once per entry: it is parsed once and kept. The cache is checked
        // against the registered block, which a test may register anew.
        std::string key(name.c_str());
        auto hit = m_parsed.find(key);
        if (hit != m_parsed.end() && hit->second.data == data && hit->second.size == size) return hit->second.tree;
        {
            cls_mem_mgr::permanent_scope_t permanent;
            tree = cls_xml_parser::parse(data, size, name, &error);
            if (tree.is_not_null()) m_parsed[key] = parsed_t{data, size, tree};
        }
    } else {
        std::ifstream in(name.c_str(), std::ios::binary);
        if (!in) OZGI_FATAL("Can't find the layout %s.", name.c_str());
        std::stringstream text;
        text << in.rdbuf();
        std::string s = text.str();
        tree = cls_xml_parser::parse(s.data(), static_cast<long long>(s.size()), name, &error);
    }
    if (tree.is_null()) OZGI_FATAL("Malformed layout %s", error.c_str());
    return tree;
}

namespace {

// Layouts included inside each other at once. The shipped ones go three deep; the
// bound only stops a layout that includes itself, directly or through others,
// before it exhausts the stack.
constexpr size_t MAX_INCLUDE_DEPTH = 32;
// Item elements inside each other at once, an include counting as one more. The
// shipped pages go about ten deep; creating, laying out and drawing items recurse
// over this depth.
constexpr int MAX_ITEM_DEPTH = 256;

// Where the creation of a layout is: the names of the layouts being created, the
// outermost first, and the number of item elements open.
struct include_chain_t {
    std::vector<cls_string> files;
    int items = 0;
};

cls_string chain_text(const include_chain_t& chain, const cls_string& next) {
    cls_string text;
    for (const cls_string& name : chain.files) text += name + " -> ";
    return text + next;
}

// Fatal when including `name` from the innermost layout of `chain` would recurse
// without end or nest too deep.
void check_include(const include_chain_t& chain, const cls_string& name) {
    for (const cls_string& outer : chain.files)
        if (outer == name)
            OZGI_FATAL("The layout %s includes itself: %s.", name.c_str(), chain_text(chain, name).c_str());
    if (chain.files.size() > MAX_INCLUDE_DEPTH)
        OZGI_FATAL("Layouts are included more than %d deep: %s.", static_cast<int>(MAX_INCLUDE_DEPTH),
                   chain_text(chain, name).c_str());
}

cls_event_handler* create_elem(cls_ui_res_loader* loader, const node_t* node, cls_event_handler* parent,
                               cls_array<cls_event_handler*>* created, const std::vector<attr_t>& overrides,
                               include_chain_t* chain);

// Creates the top-level items of a layout under `parent`; `overrides` go to the
// first of them. Returns the first.
cls_event_handler* create_tree(cls_ui_res_loader* loader, const tree_t& tree, cls_event_handler* parent,
                               cls_array<cls_event_handler*>* created, const std::vector<attr_t>& overrides,
                               include_chain_t* chain) {
    const node_t* root = tree.root();
    if (root->data.name == "item") return create_elem(loader, root, parent, created, overrides, chain);
    if (root->data.name != "ui_res_file")
        OZGI_FATAL("The layout %s has the root element %s, not item or ui_res_file.", root->data.file.c_str(),
                   root->data.name.c_str());
    cls_event_handler* first = nullptr;
    std::vector<attr_t> none;
    for (const node_t* c = root->first_child; c; c = c->next_sibling) {
        if (c->data.name != "item") continue;
        cls_event_handler* made = create_elem(loader, c, parent, created, first ? none : overrides, chain);
        if (!first) first = made;
    }
    return first;
}

cls_event_handler* create_elem(cls_ui_res_loader* loader, const node_t* node, cls_event_handler* parent,
                               cls_array<cls_event_handler*>* created, const std::vector<attr_t>& overrides,
                               include_chain_t* chain) {
    const cls_xml_parser::xml_elem_t& e = node->data;
    if (++chain->items > MAX_ITEM_DEPTH)
        OZGI_FATAL("Items nest deeper than %d levels in %s:%d.", MAX_ITEM_DEPTH, e.file.c_str(), e.line);
    std::vector<attr_t> attrs;
    gather_attrs(node, &attrs);
    attrs.insert(attrs.end(), overrides.begin(), overrides.end());
    const cls_string* cls_name = e.attr("cls_name");
    const cls_string* file_name = e.attr("file_name");
    cls_event_handler* item = nullptr;
    if (cls_name) {
        item = loader->create_item(*cls_name);
        if (!item) OZGI_FATAL("Unregistered class %s in the layout %s.", cls_name->c_str(), e.file.c_str());
        if (parent) parent->add_child(item);
        if (created) created->append(item);
        apply_attrs(item, attrs, e.file);
    } else if (file_name) {
        // The included items are created in place; this element's attributes
        // override those of the included root.
        check_include(*chain, *file_name);
        cls_sp<tree_t> sub = loader->load_xml(*file_name);
        chain->files.push_back(*file_name);
        item = create_tree(loader, *sub, parent, created, attrs, chain);
        chain->files.pop_back();
        if (!item) {
            --chain->items;
            return nullptr;
        }
    } else {
        OZGI_FATAL("An item in %s:%d has neither cls_name nor file_name.", e.file.c_str(), e.line);
    }
    std::vector<attr_t> none;
    for (const node_t* c = node->first_child; c; c = c->next_sibling)
        if (c->data.name == "item") create_elem(loader, c, item, created, none, chain);
    for (const node_t* c = node->first_child; c; c = c->next_sibling)
        if (c->data.name == "child_attr") apply_child_attr(item, c);
    if (cls_name) item->bind_members();
    --chain->items;
    return item;
}

} // namespace

void cls_ui_res_loader::load_resource(const cls_sp<cls_xml_parser::xml_tree_t>& tree, cls_event_handler* parent,
                                      cls_array<cls_event_handler*>* created) {
    if (tree.is_null() || tree->is_empty()) OZGI_FATAL("No layout to load.");
    std::vector<attr_t> none;
    include_chain_t chain;
    chain.files.push_back(tree->root()->data.file);
    cls_array<cls_event_handler*> made;
    cls_event_handler* first = create_tree(this, *tree, parent, &made, none, &chain);
    // Only the new items need painting: invalidating the whole parent for each
    // item added would make building a long page quadratic.
    if (first && parent)
        for (int i = 0; i < made.count(); ++i)
            if (made[i]->parent() == parent) made[i]->invalidate(true);
    if (created)
        for (int i = 0; i < made.count(); ++i) created->append(made[i]);
}

cls_event_handler* cls_ui_res_loader::load_layout(const cls_string& name, cls_event_handler* parent,
                                                  cls_array<cls_event_handler*>* created) {
    cls_array<cls_event_handler*> made;
    load_resource(load_xml(name), parent, &made);
    if (created)
        for (int i = 0; i < made.count(); ++i) created->append(made[i]);
    return made.is_empty() ? nullptr : made[0];
}

} // namespace ozgi
