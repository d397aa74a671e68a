// The automation dump is valid JSON whatever bytes names and texts hold: bytes
// that are not well-formed UTF-8 are written as \u00XX, one escape per byte.
#include <gtest/gtest.h>

#include "exec_test_util.h"

using namespace exec_test;

namespace {

class DumpJson : public ::testing::Test, public vesk_fixture {};

#define ASSERT_RAN(r) ASSERT_EQ((r).status, 0) << (r).err

// Runs python3's strict JSON parser on `path`; returns what the Python snippet
// `expr` (with the parsed dump as `d`) prints, or "invalid: ..." when parsing fails.
std::string python_json(const std::string& path, const std::string& expr) {
    std::string cmd = "python3 -c 'import json,sys\n"
                      "try:\n"
                      "    d = json.loads(open(sys.argv[1], \"rb\").read().decode(\"utf-8\", \"strict\"))\n"
                      "except Exception as e:\n"
                      "    print(\"invalid:\", e); sys.exit(0)\n"
                      "print(" + expr + ")' '" + path + "'";
    std::string out;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (!p) return "popen failed";
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    ::pclose(p);
    return out;
}

TEST_F(DumpJson, InvalidUtf8AndControlCharactersInNamesAndTextsGiveValidJson) {
    // A name with a lone continuation byte, an overlong slash and a cut sequence.
    std::string name = std::string("bad\x80name\xC0\xAF") + "\xE4\xB8";
    m.script(name, "[ \"$1\" = \"--help\" ] && exit 1\n"
                   "printf 'ok \\344\\270\\255 \\377\\376 bell\\007 esc\\033[1m nul\\000 del\\177 surrogate\\355\\240\\200 end\\n'\n");
    ASSERT_RAN(run(dump("menu.json")));
    std::string menu = python_json(m.work("menu.json"), "\"ok\"");
    EXPECT_EQ(menu, "ok\n");
    ASSERT_RAN(run("tap_text " + name + "\ntap_text Execute test\nwait_text Exit code:0 3000\n" + dump("exec.json")));
    // The title shows the name; its bytes come back one escape each.
    EXPECT_EQ(label_text(top_page(load("exec.json")), "TITLE_LABEL"), name);
    // The output's valid character stays as it is; every other byte is escaped.
    std::string raw = read_file(m.work("exec.json"));
    EXPECT_NE(raw.find("ok \xE4\xB8\xAD \\u00ff\\u00fe bell\\u0007 esc\\u001b[1m nul\\u0000 del\x7F"
                       " surrogate\\u00ed\\u00a0\\u0080 end\\n"),
              std::string::npos);
    EXPECT_EQ(python_json(m.work("exec.json"), "\"ok\""), "ok\n");
}

} // namespace
