#include "ozgi/cls_xml_parser.h"

#include <pugixml.hpp>

#include <vector>

namespace ozgi {

const cls_string* cls_xml_parser::xml_elem_t::attr(const char* attr_name) const {
    // A repeated attribute keeps every copy; the last one counts, as in an attr list.
    for (int i = attr_names.count() - 1; i >= 0; --i)
        if (attr_names[i] == attr_name) return &attr_values[i];
    return nullptr;
}

cls_sp<cls_string> cls_xml_parser::xml_elem_t::to_string() const {
    cls_string* out = OZGI_NEW(cls_string)();
    out->print("%s (%s:%d)", name.c_str(), file.c_str(), line);
    return cls_sp<cls_string>(out);
}

namespace {

// Line numbers come from byte offsets; this finds them without re-scanning the
// text for every element.
class line_finder_t {
public:
    line_finder_t(const char* text, long long size) {
        m_starts.append(0);
        for (long long i = 0; i < size; ++i)
            if (text[i] == '\n') m_starts.append(i + 1);
    }
    int line_of(long long offset) const {
        int lo = 0, hi = m_starts.count() - 1;
        while (lo < hi) {
            int mid = (lo + hi + 1) / 2;
            if (m_starts[mid] <= offset) lo = mid;
            else hi = mid - 1;
        }
        return lo + 1;
    }

private:
    cls_array<long long> m_starts;
};

cls_xml_parser::xml_elem_t make_elem(const pugi::xml_node& node, const cls_string& file, const line_finder_t& lines) {
    cls_xml_parser::xml_elem_t e;
    e.name = node.name();
    e.file = file;
    e.line = lines.line_of(node.offset_debug());
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
        e.attr_names.append(cls_string(a.name()));
        e.attr_values.append(cls_string(a.value()));
    }
    return e;
}

} // namespace

cls_sp<cls_xml_parser::xml_tree_t> cls_xml_parser::parse(const void* data, long long size, const cls_string& file,
                                                        cls_string* error) {
    pugi::xml_document doc;
    // The text is copied by pugixml, so a resource without a terminator is fine.
    pugi::xml_parse_result res = doc.load_buffer(data, static_cast<size_t>(size), pugi::parse_default, pugi::encoding_utf8);
    line_finder_t lines(static_cast<const char*>(data), size);
    if (!res) {
        if (error) error->print("%s:%d: %s", file.c_str(), lines.line_of(res.offset), res.description());
        return cls_sp<xml_tree_t>();
    }
    pugi::xml_node root = doc.document_element();
    if (!root) {
        if (error) error->print("%s: no root element", file.c_str());
        return cls_sp<xml_tree_t>();
    }
    cls_sp<xml_tree_t> tree(OZGI_NEW(xml_tree_t)());
    tree->set_root_data(make_elem(root, file, lines));
    // Depth-first copy with an explicit stack: element node, tree node.
    struct pending_t {
        pugi::xml_node node;
        xml_tree_t::node_t* parent;
    };
    std::vector<pending_t> stack;
    for (pugi::xml_node c = root.last_child(); c; c = c.previous_sibling())
        if (c.type() == pugi::node_element) stack.push_back(pending_t{c, tree->root()});
    while (!stack.empty()) {
        pending_t p = stack.back();
        stack.pop_back();
        xml_tree_t::node_t* n = tree->add_last_child(p.parent, make_elem(p.node, file, lines));
        for (pugi::xml_node c = p.node.last_child(); c; c = c.previous_sibling())
            if (c.type() == pugi::node_element) stack.push_back(pending_t{c, n});
    }
    return tree;
}

} // namespace ozgi
