#pragma once
// Turns layout files into items: the registry of item classes by name, layout
// reading, item creation with attributes and expressions, includes, child_attr
// and the binding of member items and events.
#include <map>
#include <string>

#include "ozgi/cls_array.h"
#include "ozgi/cls_dict.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_xml_parser.h"

namespace ozgi {

class cls_event_handler;

/// Creates one item of a registered class (made with OZGI_NEW).
typedef cls_event_handler* (*create_gui_func_t)();

class cls_ui_res_loader {
public:
    /// What register_gui_class returns; kept by the registering code, never used again.
    struct reg_token_t {
        int index;
    };

    static cls_ui_res_loader* ins();

    /// Registers `create` under `class_name`, so that a layout item with that
    /// cls_name is made by it. A later registration of a name wins.
    reg_token_t register_gui_class(create_gui_func_t create, const char* class_name);
    /// Whether `class_name` is registered.
    bool has_gui_class(const cls_string& class_name) const;
    /// A new item of the registered class; null when it is not registered.
    cls_event_handler* create_item(const cls_string& class_name) const;

    /// Reads and parses the layout `name`: a relative name is looked for below
    /// "vesk/resource/xml/" among the registered resources, then as given (resource,
    /// then file). A missing or malformed layout is fatal.
    cls_sp<cls_xml_parser::xml_tree_t> load_xml(const cls_string& name);
    /// Creates the items of `tree` under `parent` (null: no parent), evaluates their
    /// attributes, binds the member items and events of every created item and
    /// appends every created handler to `created` (if not null) in creation order,
    /// the outermost first. Unregistered classes, unknown layouts, malformed
    /// expressions and bad attribute values are fatal, naming the file.
    void load_resource(const cls_sp<cls_xml_parser::xml_tree_t>& tree, cls_event_handler* parent,
                       cls_array<cls_event_handler*>* created);
    /// load_xml then load_resource; returns the first created item (null if none).
    cls_event_handler* load_layout(const cls_string& name, cls_event_handler* parent,
                                   cls_array<cls_event_handler*>* created = nullptr);

    /// The screen size that screen_width() and screen_height() give in expressions.
    void set_screen_size(int width, int height);
    int screen_width() const { return m_screen_w; }
    int screen_height() const { return m_screen_h; }

    /// The prefix under which relative layout names are registered.
    static const char* const XML_DIR;

private:
    cls_ui_res_loader();
    // A registered layout as parsed, with the block it was parsed from.
    struct parsed_t {
        const void* data;
        long long size;
        cls_sp<cls_xml_parser::xml_tree_t> tree;
    };
    std::map<std::string, parsed_t> m_parsed;
    cls_dict<cls_string, create_gui_func_t> m_classes;
    int m_count;
    int m_screen_w, m_screen_h;
};

} // namespace ozgi
