// Checks the resource files themselves: the pictures' formats, the layouts'
// references and item names, the base dictionary, and their registration in the
// read-only file store, which the generated source does before main.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "ozgi/cls_rom_file_mgr.h"

namespace {

const std::string k_resource_dir = std::string(VESK_SOURCE_DIR) + "/resource/";

/// The registration order of the resources, as paths below resource/.
const std::vector<std::string> k_resources = {
    "xml/dict.xml",
    "xml/root_container.xml",
    "xml/output_page/page.xml",
    "xml/option_page/page.xml",
    "xml/option_page/option_button.xml",
    "xml/help_page/page.xml",
    "xml/cmn_items/focus_frame.xml",
    "xml/cmn_items/menu_button.xml",
    "xml/title_bar/title.xml",
    "xml/title_bar/clock.xml",
    "xml/title_bar/station.xml",
    "xml/title_bar/title_bar.xml",
    "xml/title_bar/option_button.xml",
    "xml/title_bar/help_button.xml",
    "xml/title_bar/battery.xml",
    "xml/title_bar/back_button.xml",
    "xml/list_arg_page/select_list_button.xml",
    "xml/list_arg_page/page.xml",
    "xml/exec_page/page.xml",
    "xml/exec_page/argu_button.xml",
    "xml/exec_page/panel.xml",
    "xml/select_device_page/page.xml",
    "xml/menu_page/executable_button.xml",
    "xml/menu_page/first_page.xml",
    "xml/menu_page/page.xml",
    "xml/numeric_arg_page/numeric_button.xml",
    "xml/numeric_arg_page/page.xml",
    "icon/marlo.bmp",
    "icon/focus_frame.bmp",
    "icon/fail.bmp",
    "icon/executable.bmp",
    "icon/left_arrow.bmp",
    "icon/battery.bmp",
    "icon/right_arrow.bmp",
    "icon/pass.bmp",
    "icon/option.bmp",
};

/// Reads a whole file; an unreadable file gives an empty string and a test failure.
std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in.good()) << "cannot open " << path;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool file_exists(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return in.good();
}

/// The layouts: every xml resource except the dictionary, as names below resource/xml/.
std::vector<std::string> layout_names() {
    std::vector<std::string> names;
    for (const std::string& r : k_resources) {
        if (r.rfind("xml/", 0) == 0 && r != "xml/dict.xml") names.push_back(r.substr(4));
    }
    return names;
}

uint32_t le32(const std::string& b, size_t at) {
    return static_cast<uint32_t>(static_cast<unsigned char>(b[at])) |
           static_cast<uint32_t>(static_cast<unsigned char>(b[at + 1])) << 8 |
           static_cast<uint32_t>(static_cast<unsigned char>(b[at + 2])) << 16 |
           static_cast<uint32_t>(static_cast<unsigned char>(b[at + 3])) << 24;
}

uint16_t le16(const std::string& b, size_t at) {
    return static_cast<uint16_t>(static_cast<unsigned char>(b[at]) | static_cast<unsigned char>(b[at + 1]) << 8);
}

// ------------------------------------------------------------------ pictures

struct picture_t {
    const char* name;
    int width;
    int height;
    int bits;
};

const picture_t k_pictures[] = {
    {"marlo.bmp", 64, 64, 24},       {"focus_frame.bmp", 16, 16, 32}, {"fail.bmp", 64, 64, 32},
    {"executable.bmp", 64, 64, 32},  {"left_arrow.bmp", 64, 64, 32},  {"battery.bmp", 24, 24, 32},
    {"right_arrow.bmp", 64, 64, 32}, {"pass.bmp", 64, 64, 32},        {"option.bmp", 66, 64, 32},
};

/// Names the picture in test output instead of dumping the record's bytes.
void PrintTo(const picture_t& p, std::ostream* os) { *os << p.name; }

class picture_test : public ::testing::TestWithParam<picture_t> {};

TEST_P(picture_test, header_matches_the_picture_table) {
    const picture_t& p = GetParam();
    const std::string bmp = read_file(k_resource_dir + "icon/" + p.name);
    const size_t expected_size = 54 + static_cast<size_t>(p.width) * p.height * (p.bits / 8);
    ASSERT_EQ(bmp.size(), expected_size);
    EXPECT_EQ(bmp.substr(0, 2), "BM");
    EXPECT_EQ(le32(bmp, 2), expected_size);  // file size
    EXPECT_EQ(le32(bmp, 6), 0u);             // reserved
    EXPECT_EQ(le32(bmp, 10), 54u);           // pixel data offset
    EXPECT_EQ(le32(bmp, 14), 40u);           // BITMAPINFOHEADER
    EXPECT_EQ(static_cast<int32_t>(le32(bmp, 18)), p.width);
    EXPECT_EQ(static_cast<int32_t>(le32(bmp, 22)), p.height);  // positive: bottom-up
    EXPECT_EQ(le16(bmp, 26), 1);                               // planes
    EXPECT_EQ(le16(bmp, 28), p.bits);
    EXPECT_EQ(le32(bmp, 30), 0u);  // BI_RGB
    EXPECT_EQ(le32(bmp, 46), 0u);  // no palette
}

INSTANTIATE_TEST_SUITE_P(icons, picture_test, ::testing::ValuesIn(k_pictures),
                         [](const ::testing::TestParamInfo<picture_t>& info) {
                             std::string n = info.param.name;
                             return n.substr(0, n.find('.'));
                         });

/// The alpha byte of pixel (x, y), y counted from the top, of a 32-bit bottom-up BMP.
int alpha_at(const std::string& bmp, int width, int height, int x, int y) {
    const size_t row = static_cast<size_t>(height - 1 - y);
    return static_cast<unsigned char>(bmp[54 + (row * width + x) * 4 + 3]);
}

TEST(pictures, focus_frame_has_only_opaque_or_clear_pixels_and_a_four_pixel_border) {
    const std::string bmp = read_file(k_resource_dir + "icon/focus_frame.bmp");
    ASSERT_EQ(bmp.size(), 54u + 16 * 16 * 4);
    int opaque = 0;
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            const int a = alpha_at(bmp, 16, 16, x, y);
            EXPECT_TRUE(a == 0 || a == 255) << "alpha " << a << " at " << x << "," << y;
            const int edge = std::min(std::min(x, y), std::min(15 - x, 15 - y));
            if (edge >= 4) {
                EXPECT_EQ(a, 0) << "inside the border at " << x << "," << y;
            }
            if (a == 255) ++opaque;
        }
    }
    // The border (16*16 - 8*8 = 192 pixels) is drawn, apart from at most its outer corners.
    EXPECT_GE(opaque, 192 - 4);
    // Every side is drawn across its middle, all four pixels deep.
    for (int d = 0; d < 4; ++d) {
        EXPECT_EQ(alpha_at(bmp, 16, 16, 8, d), 255);
        EXPECT_EQ(alpha_at(bmp, 16, 16, 8, 15 - d), 255);
        EXPECT_EQ(alpha_at(bmp, 16, 16, d, 8), 255);
        EXPECT_EQ(alpha_at(bmp, 16, 16, 15 - d, 8), 255);
    }
}

TEST(pictures, drawn_icons_have_clear_surroundings_and_smoothed_edges) {
    for (const picture_t& p : k_pictures) {
        if (p.bits != 32 || std::string(p.name) == "focus_frame.bmp") continue;
        const std::string bmp = read_file(k_resource_dir + "icon/" + p.name);
        ASSERT_EQ(bmp.size(), 54u + static_cast<size_t>(p.width) * p.height * 4) << p.name;
        int clear = 0, opaque = 0, partial = 0;
        for (int y = 0; y < p.height; ++y) {
            for (int x = 0; x < p.width; ++x) {
                const int a = alpha_at(bmp, p.width, p.height, x, y);
                if (a == 0) ++clear;
                else if (a == 255) ++opaque;
                else ++partial;
            }
        }
        EXPECT_GT(clear, 0) << p.name;
        EXPECT_GT(opaque, 0) << p.name;
        EXPECT_GT(partial, 0) << p.name << " has no anti-aliased edge";
        EXPECT_EQ(alpha_at(bmp, p.width, p.height, 0, 0), 0) << p.name << " top left corner";
    }
}

TEST(pictures, right_arrow_mirrors_left_arrow) {
    const std::string left = read_file(k_resource_dir + "icon/left_arrow.bmp");
    const std::string right = read_file(k_resource_dir + "icon/right_arrow.bmp");
    ASSERT_EQ(left.size(), right.size());
    ASSERT_EQ(left.size(), 54u + 64 * 64 * 4);
    int differences = 0;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            if (alpha_at(left, 64, 64, x, y) != alpha_at(right, 64, 64, 63 - x, y)) ++differences;
        }
    }
    EXPECT_EQ(differences, 0);
    EXPECT_NE(left, right);
}

// ------------------------------------------------------------------ layouts

/// One item of a layout after its includes are expanded, enough to follow item names.
struct node_t {
    std::string source;  // the layout file it comes from
    std::string cls_name;
    std::string item_name;
    std::string group_name;
    std::vector<node_t> children;
};

/// The last value of an attribute over all `attr` children of an item (later ones win).
std::string item_attr(const pugi::xml_node& item, const char* name) {
    std::string value;
    for (pugi::xml_node attr : item.children("attr")) {
        for (pugi::xml_attribute a : attr.attributes()) {
            if (std::strcmp(a.name(), name) == 0) value = a.value();
        }
    }
    return value;
}

class layout_set_t {
public:
    /// Parses a layout (once) and returns its document; a parse error fails the test.
    const pugi::xml_document& doc(const std::string& name) {
        auto it = m_docs.find(name);
        if (it != m_docs.end()) return *it->second;
        auto* d = new pugi::xml_document();
        m_owned.emplace_back(d);
        const pugi::xml_parse_result r = d->load_file((k_resource_dir + "xml/" + name).c_str());
        EXPECT_TRUE(r) << name << ": " << r.description() << " at offset " << r.offset;
        m_docs[name] = d;
        return *d;
    }

    /// The top-level items of a layout, with includes expanded.
    std::vector<node_t> expand(const std::string& name, int depth = 0) {
        std::vector<node_t> out;
        if (depth > 16) {
            ADD_FAILURE() << "includes nested too deeply at " << name;
            return out;
        }
        const pugi::xml_node root = doc(name).document_element();
        if (std::string(root.name()) == "ui_res_file") {
            for (pugi::xml_node item : root.children("item")) expand_item(name, item, depth, &out);
        } else {
            expand_item(name, root, depth, &out);
        }
        return out;
    }

private:
    void expand_item(const std::string& source, const pugi::xml_node& item, int depth, std::vector<node_t>* out) {
        const std::string file_name = item.attribute("file_name").value();
        if (!file_name.empty()) {
            std::vector<node_t> included = expand(file_name, depth + 1);
            const std::string own_name = item_attr(item, "item_name");
            if (!own_name.empty() && !included.empty()) included.front().item_name = own_name;
            for (node_t& n : included) out->push_back(n);
            return;
        }
        node_t n;
        n.source = source;
        n.cls_name = item.attribute("cls_name").value();
        n.item_name = item_attr(item, "item_name");
        n.group_name = item_attr(item, "group_name");
        for (pugi::xml_node child : item.children("item")) expand_item(source, child, depth, &n.children);
        out->push_back(n);
    }

    std::map<std::string, const pugi::xml_document*> m_docs;
    std::vector<std::unique_ptr<pugi::xml_document>> m_owned;
};

/// Follows a "/"-separated chain of item names, each a direct child of the one before.
const node_t* find_path(const std::vector<node_t>& items, const std::string& path) {
    const std::vector<node_t>* level = &items;
    const node_t* found = nullptr;
    std::stringstream parts(path);
    std::string part;
    while (std::getline(parts, part, '/')) {
        found = nullptr;
        for (const node_t& n : *level) {
            if (n.item_name == part) {
                found = &n;
                break;
            }
        }
        if (!found) return nullptr;
        level = &found->children;
    }
    return found;
}

const std::set<std::string> k_item_classes = {
    "cls_root_container", "cls_button", "cls_label", "cls_icon", "cls_tile_icon", "cls_cmn_item", "cls_timer",
    "cls_vesk_select_device_page", "cls_vesk_page", "cls_vesk_exec_page", "cls_vesk_select_numeric_arg_page",
    "cls_vesk_select_list_arg_page", "cls_vesk_output_page", "cls_vesk_help_page", "cls_vesk_option_page",
};

/// Checks one element and its descendants; collects the includes and pictures it names.
void check_element(const std::string& file, const pugi::xml_node& node, std::set<std::string>* includes,
                   std::set<std::string>* pictures) {
    const std::string tag = node.name();
    if (tag == "item") {
        const bool has_cls = !node.attribute("cls_name").empty();
        const bool has_file = !node.attribute("file_name").empty();
        EXPECT_NE(has_cls, has_file) << file << ": an item needs exactly one of cls_name and file_name";
        if (has_cls) {
            EXPECT_EQ(k_item_classes.count(node.attribute("cls_name").value()), 1u)
                << file << ": unknown class " << node.attribute("cls_name").value();
        }
        if (has_file) includes->insert(node.attribute("file_name").value());
    } else if (tag == "attr") {
        for (pugi::xml_attribute a : node.attributes()) {
            if (std::string(a.name()) == "picture") pictures->insert(a.value());
        }
        EXPECT_TRUE(node.first_child().empty()) << file << ": attr elements hold no children";
    } else if (tag == "child_attr") {
        const std::string name = node.attribute("name").value();
        EXPECT_NE(name.find('.'), std::string::npos) << file << ": child_attr " << name;
        EXPECT_FALSE(node.attribute("value").empty()) << file << ": child_attr " << name << " has no value";
    } else {
        ADD_FAILURE() << file << ": unexpected element " << tag;
    }
    for (pugi::xml_node child : node.children()) {
        if (child.type() == pugi::node_element) check_element(file, child, includes, pictures);
    }
}

TEST(layouts, every_layout_parses_and_names_only_existing_includes_and_pictures) {
    layout_set_t layouts;
    const std::vector<std::string> names = layout_names();
    ASSERT_EQ(names.size(), 26u);  // with dict.xml, 27 files below resource/xml/
    std::set<std::string> all_pictures;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const pugi::xml_node root = layouts.doc(name).document_element();
        const std::string root_tag = root.name();
        ASSERT_TRUE(root_tag == "item" || root_tag == "ui_res_file") << root_tag;
        std::set<std::string> includes, pictures;
        if (root_tag == "item") {
            check_element(name, root, &includes, &pictures);
        } else {
            for (pugi::xml_node child : root.children()) {
                if (child.type() != pugi::node_element) continue;
                EXPECT_STREQ(child.name(), "item");
                check_element(name, child, &includes, &pictures);
            }
        }
        for (const std::string& inc : includes) {
            EXPECT_TRUE(file_exists(k_resource_dir + "xml/" + inc)) << "missing include " << inc;
            EXPECT_TRUE(ozgi::cls_rom_file_mgr::ins()->has(ozgi::cls_string(("vesk/resource/xml/" + inc).c_str())))
                << inc << " is not registered";
        }
        for (const std::string& pic : pictures) {
            EXPECT_TRUE(file_exists(k_resource_dir + "icon/" + pic)) << "missing picture " << pic;
            EXPECT_TRUE(ozgi::cls_rom_file_mgr::ins()->has(ozgi::cls_string(("vesk/resource/icon/" + pic).c_str())))
                << pic << " is not registered";
            all_pictures.insert(pic);
        }
    }
    // Every picture is named by some layout (the battery only by its unused layout).
    for (const picture_t& p : k_pictures) EXPECT_EQ(all_pictures.count(p.name), 1u) << p.name;
}

TEST(layouts, the_two_written_oddities_stay_as_they_are) {
    const std::string title = read_file(k_resource_dir + "xml/title_bar/title.xml");
    EXPECT_NE(title.find("top=\"top(container()))\""), std::string::npos);

    layout_set_t layouts;
    const pugi::xml_node help = layouts.doc("title_bar/help_button.xml").document_element();
    int elements_with_two_texts = 0;
    for (pugi::xpath_node attr : help.select_nodes("//attr")) {
        int texts = 0;
        for (pugi::xml_attribute a : attr.node().attributes()) {
            if (std::string(a.name()) == "text") {
                ++texts;
                EXPECT_STREQ(a.value(), "Help");
            }
        }
        if (texts == 2) ++elements_with_two_texts;
    }
    EXPECT_EQ(elements_with_two_texts, 1);
}

struct page_t {
    const char* layout;
    const char* cls_name;
};

const page_t k_pages[] = {
    {"select_device_page/page.xml", "cls_vesk_select_device_page"},
    {"menu_page/first_page.xml", "cls_vesk_page"},
    {"menu_page/page.xml", "cls_vesk_page"},
    {"exec_page/page.xml", "cls_vesk_exec_page"},
    {"numeric_arg_page/page.xml", "cls_vesk_select_numeric_arg_page"},
    {"list_arg_page/page.xml", "cls_vesk_select_list_arg_page"},
    {"output_page/page.xml", "cls_vesk_output_page"},
    {"help_page/page.xml", "cls_vesk_help_page"},
    {"option_page/page.xml", "cls_vesk_option_page"},
};

TEST(layouts, every_page_names_its_class_and_starts_with_the_title_bar) {
    layout_set_t layouts;
    for (const page_t& page : k_pages) {
        SCOPED_TRACE(page.layout);
        const pugi::xml_node root = layouts.doc(page.layout).document_element();
        EXPECT_STREQ(root.name(), "item");
        EXPECT_STREQ(root.attribute("cls_name").value(), page.cls_name);
        EXPECT_EQ(item_attr(root, "width"), "screen_width()");
        EXPECT_EQ(item_attr(root, "height"), "screen_height()");
        EXPECT_EQ(item_attr(root, "bg_color"), "239,239,244,255");
        EXPECT_STREQ(root.child("item").attribute("file_name").value(), "title_bar/title_bar.xml");

        const std::vector<node_t> items = layouts.expand(page.layout);
        ASSERT_EQ(items.size(), 1u);
        for (const char* path : {"TITLE_BAR/TITLE_ITEMS/TITLE_LABEL", "TITLE_BAR/TITLE_ITEMS/BACK_BUTTON",
                                 "TITLE_BAR/TITLE_ITEMS/OPTION_BUTTON", "TITLE_BAR/TITLE_ITEMS/HELP_BUTTON"}) {
            EXPECT_NE(find_path(items.front().children, path), nullptr) << path;
        }
        // Every child_attr of the title bar include names an item, but for the status items, which no title
        // bar has and which the loader must skip.
        for (pugi::xml_node ca : root.child("item").children("child_attr")) {
            const std::string name = ca.attribute("name").value();
            const std::string path = name.substr(0, name.find('.'));
            const node_t* target = find_path(items.front().children.front().children, path);
            if (path == "STATUS_ITEMS") {
                EXPECT_EQ(target, nullptr);
            } else {
                EXPECT_NE(target, nullptr) << name;
            }
        }
    }
}

TEST(layouts, root_container_opens_the_device_selection_page) {
    layout_set_t layouts;
    const pugi::xml_node root = layouts.doc("root_container.xml").document_element();
    EXPECT_STREQ(root.attribute("cls_name").value(), "cls_root_container");
    EXPECT_EQ(item_attr(root, "screen_resolution"), "640,800");
    EXPECT_EQ(item_attr(root, "window_title"), "vesk");
    EXPECT_EQ(item_attr(root, "first_page"), "select_device_page/page.xml");
}

TEST(layouts, items_that_the_pages_look_up_exist) {
    layout_set_t layouts;
    const std::map<std::string, std::vector<std::string>> wanted = {
        {"exec_page/page.xml", {"STATUS_TIMER"}},
        {"exec_page/panel.xml",
         {"EXECUTE_BUTTON", "EXECUTE_BUTTON/LABEL", "STOP_BUTTON", "STOP_BUTTON/LABEL", "EXEC_RESULT/PASS_ICON",
          "EXEC_RESULT/FAIL_ICON", "EXEC_RESULT/LABEL", "OUTPUT_BUTTON", "OUTPUT_BUTTON/LABEL"}},
        {"exec_page/argu_button.xml", {"ARG_NAME_LABEL", "ARG_VALUE_LABEL"}},
        {"numeric_arg_page/page.xml", {"ARG_PROMPT_LABEL", "ARG_VALUE_LABEL"}},
        {"numeric_arg_page/numeric_button.xml", {"BUTTON_LABEL"}},
        {"list_arg_page/select_list_button.xml", {"BUTTON_LABEL", "CHECK_ICON"}},
        {"output_page/page.xml", {"OUTPUT_LABEL"}},
        {"help_page/page.xml", {"HELP_LABEL"}},
        {"option_page/page.xml",
         {"LANGUAGE_BUTTON/BUTTON_LABEL", "REFRESH_BUTTON/BUTTON_LABEL", "EXIT_BUTTON/BUTTON_LABEL"}},
        {"cmn_items/menu_button.xml", {"BUTTON_LABEL"}},
        {"menu_page/executable_button.xml", {"BUTTON_LABEL"}},
    };
    for (const auto& [layout, paths] : wanted) {
        const std::vector<node_t> items = layouts.expand(layout);
        ASSERT_FALSE(items.empty()) << layout;
        // Parts are searched from the part's root; pages and panels from their top level.
        const bool is_page = items.front().cls_name.rfind("cls_vesk_", 0) == 0;
        const bool is_part = items.size() == 1 && !is_page;
        const std::vector<node_t>& scope = (is_page || is_part) ? items.front().children : items;
        for (const std::string& path : paths) {
            EXPECT_NE(find_path(scope, path), nullptr) << layout << ": " << path;
        }
    }
    // The execution page takes the execute button as the panel's first item.
    EXPECT_EQ(layouts.expand("exec_page/panel.xml").front().item_name, "EXECUTE_BUTTON");
    EXPECT_EQ(layouts.expand("exec_page/argu_button.xml").front().group_name, "ARGU_BUTTONS");
}

TEST(layouts, every_button_has_a_focus_frame_and_a_press_overlay) {
    layout_set_t layouts;
    int buttons = 0;
    for (const std::string& name : layout_names()) {
        std::vector<const node_t*> stack;
        const std::vector<node_t> items = layouts.expand(name);
        for (const node_t& n : items) stack.push_back(&n);
        while (!stack.empty()) {
            const node_t* n = stack.back();
            stack.pop_back();
            for (const node_t& c : n->children) stack.push_back(&c);
            if (n->cls_name != "cls_button") continue;
            ++buttons;
            bool frame = false, overlay = false;
            for (const node_t& c : n->children) {
                if (c.cls_name == "cls_tile_icon" && c.item_name == "FOCUS_FRAME") frame = true;
                if (c.cls_name == "cls_cmn_item" && c.group_name == "show_on_press") overlay = true;
            }
            EXPECT_TRUE(frame) << name << ": " << n->item_name;
            EXPECT_TRUE(overlay) << name << ": " << n->item_name;
        }
    }
    EXPECT_GE(buttons, 12);
}

// FIXME: load every layout with ozgi::cls_ui_res_loader and check the created items and their
// geometry once the loader is in place.

// ------------------------------------------------------------------ dictionary

TEST(dictionary, base_dictionary_has_the_fourteen_entries_in_order) {
    pugi::xml_document doc;
    ASSERT_TRUE(doc.load_file((k_resource_dir + "xml/dict.xml").c_str()));
    const pugi::xml_node root = doc.document_element();
    EXPECT_STREQ(root.name(), "ui_text_dict");
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"Diagnostic", u8"诊断模式"},
        {"Back", u8"返回"},
        {"Help", u8"帮助"},
        {"Arguments:", u8"参数设定:"},
        {"Execute test", u8"开始测试"},
        {"Stop execution", u8"停止测试"},
        {"Execute result:", u8"测试结果:"},
        {"Executing...", u8"测试进行中..."},
        {"Execute output (Click for more):", u8"测试输出 (点击放大):"},
        {"Execute output", u8"测试输出"},
        {"Option", u8"选项"},
        {u8"切换至中文", "Switch to English"},
        {"Refresh menu", u8"刷新菜单"},
        {"Exit vesk", u8"退出诊断菜单"},
    };
    std::vector<std::pair<std::string, std::string>> found;
    for (pugi::xml_node e : root.children()) {
        if (e.type() != pugi::node_element) continue;
        EXPECT_STREQ(e.name(), "dict_entry");
        EXPECT_TRUE(e.first_child().empty());
        int attributes = 0;
        for (pugi::xml_attribute a : e.attributes()) {
            (void)a;
            ++attributes;
        }
        EXPECT_EQ(attributes, 2);
        found.emplace_back(e.attribute("en_US").value(), e.attribute("zh_CN").value());
    }
    EXPECT_EQ(found, expected);
    // The colons are ASCII, never the full-width ones.
    const std::string text = read_file(k_resource_dir + "xml/dict.xml");
    EXPECT_EQ(text.find(u8"："), std::string::npos);
    EXPECT_EQ(text.find(u8"（"), std::string::npos);
}

// ------------------------------------------------------------------ registration

TEST(registration, every_resource_is_registered_in_order_with_its_exact_bytes) {
    ozgi::cls_rom_file_mgr* store = ozgi::cls_rom_file_mgr::ins();
    const ozgi::cls_array<ozgi::cls_string> names = store->names();
    ASSERT_EQ(names.count(), 36);
    ASSERT_EQ(k_resources.size(), 36u);
    for (int i = 0; i < names.count(); ++i) {
        const std::string expected_name = "vesk/resource/" + k_resources[i];
        EXPECT_EQ(std::string(names[i].c_str()), expected_name) << "registration " << i + 1;
        const void* data = nullptr;
        long long size = -1;
        ASSERT_TRUE(store->find(ozgi::cls_string(expected_name.c_str()), &data, &size)) << expected_name;
        const std::string file = read_file(k_resource_dir + k_resources[i]);
        ASSERT_EQ(size, static_cast<long long>(file.size())) << expected_name;
        EXPECT_EQ(std::memcmp(data, file.data(), file.size()), 0) << expected_name << " differs from the file";
    }
}

TEST(registration, names_below_the_two_directories_only) {
    ozgi::cls_rom_file_mgr* store = ozgi::cls_rom_file_mgr::ins();
    EXPECT_TRUE(store->has(ozgi::cls_string("vesk/resource/xml/menu_page/first_page.xml")));
    EXPECT_TRUE(store->has(ozgi::cls_string("vesk/resource/icon/pass.bmp")));
    EXPECT_FALSE(store->has(ozgi::cls_string("menu_page/first_page.xml")));
    EXPECT_FALSE(store->has(ozgi::cls_string("vesk/resource/pass.bmp")));
}

}  // namespace
