#pragma once
// XML text to an element tree. Comments and text content are dropped; every
// element keeps its attributes in file order (a repeated attribute stays
// repeated), the name of its file and its line.
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_tree.h"
#include "ozgi/if_to_string.h"

namespace ozgi {

class cls_xml_parser {
public:
    /// One element.
    struct xml_elem_t : public if_to_string {
        /// The element name ("item", "attr", ...).
        cls_string name;
        /// Attribute names and values, in file order.
        cls_array<cls_string> attr_names;
        cls_array<cls_string> attr_values;
        /// The file the element comes from, as named to the parser.
        cls_string file;
        /// Its line in that file (1 is the first).
        int line;

        xml_elem_t() : line(0) {}
        /// The value of the last attribute called `attr_name`, or null.
        const cls_string* attr(const char* attr_name) const;
        /// "name (file:line)".
        cls_sp<cls_string> to_string() const override;
    };
    typedef cls_tree<xml_elem_t> xml_tree_t;

    /// Parses `size` bytes of XML (no terminator needed). Returns null and fills
    /// `error` (if not null) with the reason and line when the text is not well formed.
    static cls_sp<xml_tree_t> parse(const void* data, long long size, const cls_string& file, cls_string* error);
};

} // namespace ozgi
