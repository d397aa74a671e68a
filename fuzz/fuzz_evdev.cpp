// The evdev decoder: the input is a stream of input_event records as a device
// gives them (any types, codes and values, SYN_DROPPED anywhere), the first
// bytes choosing the ranges and a state snapshot handed over after dropped
// records. Touches must come out inside the panel, in order (no MOVE or
// RELEASE without a PRESS before it, no PRESS while pressed), and keys by name.
#include <cstdint>
#include <cstring>
#include <vector>

#include "backend/cls_evdev_decoder.h"
#include "fuzz_support.h"
// After the framework's headers: the kernel's KEY_UP and KEY_DOWN are the
// names of two of its input types.
#include <linux/input.h>
#undef KEY_UP
#undef KEY_DOWN

using namespace ozgi;

namespace {

const int PANEL_W = 640;
const int PANEL_H = 800;

int take_int(const uint8_t*& data, size_t& size) {
    int32_t v = 0;
    if (size >= sizeof v) {
        std::memcpy(&v, data, sizeof v);
        data += sizeof v;
        size -= sizeof v;
    }
    return v;
}

void check_order(const std::vector<input_t>& out, bool* down) {
    for (const input_t& in : out) {
        switch (in.type) {
        case input_t::PRESS:
            vesk_fuzz::check(!*down, "no press while pressed");
            *down = true;
            break;
        case input_t::MOVE:
        case input_t::RELEASE:
            vesk_fuzz::check(*down, "a move or release follows a press");
            *down = in.type == input_t::MOVE;
            break;
        case input_t::KEY_DOWN:
        case input_t::KEY_UP:
            vesk_fuzz::check(in.key_name.is_not_empty(), "keys have names");
            continue;
        default:
            vesk_fuzz::check(false, "only touches and keys");
        }
        vesk_fuzz::check(in.x >= 0 && in.x < PANEL_W && in.y >= 0 && in.y < PANEL_H, "touches inside the panel");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vesk_fuzz::run_allowing_fatal([&] {
        cls_evdev_decoder::range_t r, mt;
        r.xmin = take_int(data, size);
        r.xmax = take_int(data, size);
        r.ymin = take_int(data, size);
        r.ymax = take_int(data, size);
        mt.xmin = take_int(data, size);
        mt.xmax = take_int(data, size);
        mt.ymin = take_int(data, size);
        mt.ymax = take_int(data, size);
        cls_evdev_decoder d;
        d.setup(r, mt, PANEL_W, PANEL_H);
        // The state after lost records: a few slots and keys from the input.
        cls_evdev_decoder::snapshot_t snap;
        int slots = take_int(data, size) & 15;
        snap.slot = take_int(data, size);
        snap.abs_x = take_int(data, size);
        snap.abs_y = take_int(data, size);
        for (int i = 0; i < slots; ++i) {
            cls_evdev_decoder::slot_t s;
            s.id = take_int(data, size);
            s.x = take_int(data, size);
            s.y = take_int(data, size);
            snap.slots.push_back(s);
        }
        snap.keys.assign(KEY_CNT, false);
        for (int i = 0; i < 4; ++i) snap.keys[static_cast<size_t>(take_int(data, size)) % KEY_CNT] = true;
        d.start(snap);
        std::vector<input_t> out;
        bool down = false;
        // The records: type, code (16 bits each) and value (32 bits), as in input_event.
        while (size >= 8) {
            input_event e{};
            uint16_t type, code;
            std::memcpy(&type, data, 2);
            std::memcpy(&code, data + 2, 2);
            std::memcpy(&e.value, data + 4, 4);
            data += 8;
            size -= 8;
            e.type = type;
            e.code = code;
            out.clear();
            if (!d.feed(e, &out)) d.resync(snap, &out);
            check_order(out, &down);
        }
        vesk_fuzz::check(d.is_down() == down, "the decoder's touch is the one reported");
    });
    return 0;
}
