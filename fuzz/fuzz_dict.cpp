// The text dictionary loader: the input is a dictionary file, merged once as
// its text (when it starts like XML) and once as a registered resource. Bad
// input prints one warning and changes nothing.
#include <cstdint>
#include <vector>

#include "fuzz_support.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ozgi/cls_ui_text_dict.h"

using namespace ozgi;

namespace {
const char* const RESOURCE_NAME = "fuzz/dict.xml";
// The registered bytes must outlive the registration: one buffer, reused.
std::vector<char>* s_bytes = new std::vector<char>();
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cls_ui_text_dict* dict = cls_ui_text_dict::ins();
    vesk_fuzz::run_allowing_fatal([&] {
        dict->reset();
        cls_string text(reinterpret_cast<const char*>(data), static_cast<int>(size));
        int i = 0;
        while (i < text.length() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r')) ++i;
        // Text that does not start like XML would be taken as a file path.
        if (i < text.length() && text[i] == '<') dict->add_dict(text);

        s_bytes->assign(data, data + size);
        cls_rom_file_mgr::ins()->register_file(RESOURCE_NAME, s_bytes->data(), static_cast<long long>(size));
        dict->add_dict(RESOURCE_NAME);

        // A language without a dictionary shows every key as itself.
        vesk_fuzz::check(dict->translate("Back", "fr_FR") == "Back", "a key in an unknown language is itself");
        dict->translate("Back", "zh_CN");
        dict->translate("Back", "en_US");
    });
    return 0;
}
