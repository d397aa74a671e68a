// The smallest program on the installed ozgi framework: one page with one label,
// its layouts registered from memory. The install test runs it headless and
// checks that the label is on the page.
#include <cstring>

#include "ozgi/cls_fixed_point.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_rom_file_mgr.h"
#include "ozgi/if_main.h"

namespace {

const char* const ROOT = R"X(<item cls_name="cls_root_container">
  <attr screen_resolution="320,240" window_title="hello" first_page="hello/page.xml"/>
</item>)X";

const char* const PAGE = R"X(<item cls_name="cls_page">
  <attr left="0" top="0" width="screen_width()" height="screen_height()" bg_color="white"/>
  <item cls_name="cls_label">
    <attr item_name="GREETING" left="0" top="0" width="320" height="60" text="Hello from ozgi"/>
  </item>
</item>)X";

void add_layout(const char* name, const char* text) {
    ozgi::cls_rom_file_mgr::ins()->register_file(name, text, static_cast<long long>(std::strlen(text)));
}

int hello_main() {
    add_layout("vesk/resource/xml/root_container.xml", ROOT);
    add_layout("vesk/resource/xml/hello/page.xml", PAGE);
    // Something of the library besides the GUI: 0.1 + 0.2 is exactly 0.3 here.
    if (ozgi::cls_fixed_point("0.1") + ozgi::cls_fixed_point("0.2") != ozgi::cls_fixed_point("0.3")) return 1;
    return ozgi::cls_ozgi_gui::ins()->start_gui();
}

} // namespace

int main() { return ozgi::if_main::main_func(hello_main); }
