// The layout loader: the input is a layout file, loaded under a container the
// size of the screen. Includes may name the program's own layouts (the system's
// resources are linked in); a malformed layout, an unknown class or a bad
// attribute is a clean fatal.
#include <cstdint>

#include "fuzz_support.h"
#include "ozgi/cls_cmn_item.h"
#include "ozgi/cls_event_handler.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ozgi/cls_ui_res_loader.h"
#include "ozgi/cls_xml_parser.h"

using namespace ozgi;

namespace {

typedef cls_xml_parser::xml_tree_t tree_t;

// Whether every file the layout includes is a registered resource (a name that
// would be read from the file system could be any file of the machine, a device
// or a FIFO, which says nothing about the loader).
bool fit_to_load(const tree_t& tree) {
    cls_rom_file_mgr* rom = cls_rom_file_mgr::ins();
    cls_array<const tree_t::node_t*> stack;
    if (tree.root()) stack.append(tree.root());
    while (!stack.is_empty()) {
        const tree_t::node_t* node = stack.last();
        stack.remove_at(stack.count() - 1);
        const cls_string* file = node->data.attr("file_name");
        if (file && !rom->has(cls_string(cls_ui_res_loader::XML_DIR) + *file) && !rom->has(*file)) return false;
        for (const tree_t::node_t* c = node->first_child; c; c = c->next_sibling) stack.append(c);
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cls_sp<tree_t> tree;
    bool parsed = vesk_fuzz::run_allowing_fatal([&] {
        cls_string error;
        tree = cls_xml_parser::parse(data, static_cast<long long>(size), "fuzz.xml", &error);
        vesk_fuzz::check(tree.is_not_null() || error.is_not_empty(), "a rejected layout says why");
    });
    if (!parsed || tree.is_null() || !fit_to_load(*tree)) return 0;

    cls_event_handler* container = OZGI_NEW(cls_cmn_item)();
    container->set_geometry(0, 0, 640, 800);
    vesk_fuzz::run_allowing_fatal([&] {
        cls_array<cls_event_handler*> created;
        cls_ui_res_loader::ins()->load_resource(tree, container, &created);
        for (int i = 0; i < created.count(); ++i) {
            cls_event_handler* item = created[i];
            vesk_fuzz::check(item->parent() != nullptr, "a created item has a container");
            item->is_visible();
        }
        container->relayout(true);
    });
    ozgi_delete(container);
    return 0;
}
