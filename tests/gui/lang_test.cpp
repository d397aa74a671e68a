// The start-up language option, through the real program: the dump names the
// language and the labels show its translations.
#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Runs the program headless with `options`, feeding it `script`; returns what it
// writes to standard output.
std::string run_program(const std::string& options, const std::string& script) {
    // An empty menu directory keeps the program from scanning the working directory.
    char dir[] = "/tmp/vesk_lang_XXXXXX";
    if (!::mkdtemp(dir)) return "";
    std::string command = std::string("cd ") + dir + " && printf '" + script + "' | " + VESK_PROGRAM +
                          " --ozgi-video=headless --ozgi-script=- " + options + " 2>/dev/null";
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return "";
    std::string out;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) out.append(buf, n);
    ::pclose(pipe);
    ::rmdir(dir);
    return out;
}

TEST(lang_option_test, zh_cn_starts_in_chinese) {
    std::string json = run_program("--ozgi-lang=zh_CN", "dump -\\n");
    EXPECT_EQ(json.find("{\"language\": \"zh_CN\", \"pages\": ["), 0u) << json;
    EXPECT_NE(json.find("\"text\": \"Back\", \"shown_text\": \"返回\""), std::string::npos) << json;
}

TEST(lang_option_test, the_default_is_english) {
    std::string json = run_program("", "dump -\\n");
    EXPECT_EQ(json.find("{\"language\": \"en_US\", \"pages\": ["), 0u) << json;
    EXPECT_NE(json.find("\"text\": \"Back\", \"shown_text\": \"Back\""), std::string::npos) << json;
}

TEST(lang_option_test, another_language_name_keeps_english) {
    std::string json = run_program("--ozgi-lang=fr_FR", "dump -\\n");
    EXPECT_EQ(json.find("{\"language\": \"en_US\", \"pages\": ["), 0u) << json;
}

} // namespace
