// The expression language of layout geometry: the input is one expression,
// evaluated for an item that has a container and a sibling before it.
#include <cstdint>

#include "fuzz_support.h"
#include "ozgi/cls_cmn_item.h"
#include "ozgi/cls_mem_mgr.h"
#include "res/layout_expr.h"

using namespace ozgi;

namespace {

cls_event_handler* s_self = nullptr;

// A container at (10, 20) of 300 x 400 holding a sibling and the item itself.
void make_items() {
    cls_event_handler* container = OZGI_NEW(cls_cmn_item)();
    container->set_geometry(10, 20, 300, 400);
    cls_event_handler* sibling = OZGI_NEW(cls_cmn_item)();
    container->add_child(sibling);
    sibling->set_geometry(10, 20, 300, 48);
    s_self = OZGI_NEW(cls_cmn_item)();
    container->add_child(s_self);
    s_self->set_geometry(10, 68, 300, 48);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (!s_self) make_items();
    cls_string text(reinterpret_cast<const char*>(data), static_cast<int>(size));
    vesk_fuzz::run_allowing_fatal([&] {
        int value = 0;
        cls_string error;
        bool ok = eval_layout_expr(text, s_self, 640, 800, &value, &error);
        vesk_fuzz::check(ok || error.is_not_empty(), "a rejected expression says why");
    });
    return 0;
}
