// The memo of failed (node, position) pairs must change nothing but speed: random
// patterns are matched with and without it and must give the same success, the
// same captures and the same max_matched_len. Whether a text matches at all is
// also checked against std::regex, whose ECMAScript dialect agrees with ours on
// that for these patterns.
#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <string>
#include <vector>

#include "ozgi/cls_regex.h"
#include "regex_test_util.h"

using namespace ozgi;

namespace {

/// Builds a random pattern in our dialect and the same pattern, without the
/// captures, for std::regex.
class pattern_maker {
public:
    explicit pattern_maker(unsigned seed) : m_rng(seed) {}

    void make(int depth, std::string* ours, std::string* ecma) {
        int choice = pick(depth > 0 ? 13 : 6);
        switch (choice) {
        case 0: both("a", ours, ecma); break;
        case 1: both("b", ours, ecma); break;
        case 2: both(".", ours, ecma); break;
        case 3: both(pick(2) ? "[ab]" : "[^a]", ours, ecma); break;
        case 4: both(pick(2) ? "a*" : "[ab]+", ours, ecma); break;
        case 5: both(pick(2) ? "ab" : "b?", ours, ecma); break;
        case 6:
        case 7:
            make(depth - 1, ours, ecma);
            make(depth - 1, ours, ecma);
            break;
        case 8:
            both("(", ours, ecma);
            make(depth - 1, ours, ecma);
            both("|", ours, ecma);
            if (pick(4)) make(depth - 1, ours, ecma);
            both(")", ours, ecma);
            break;
        case 9:
        case 10:
        case 11: {
            both("(", ours, ecma);
            make(depth - 1, ours, ecma);
            both(choice == 9 ? ")*" : choice == 10 ? ")+" : ")?", ours, ecma);
            break;
        }
        default: {
            std::string name = "n" + std::to_string(pick(3));
            *ours += "<clr>(";
            *ecma += "(";
            make(depth - 1, ours, ecma);
            *ours += ")<" + name + ">";
            *ecma += ")";
            break;
        }
        }
    }

private:
    int pick(int n) { return static_cast<int>(m_rng() % static_cast<unsigned>(n)); }
    static void both(const char* text, std::string* ours, std::string* ecma) {
        *ours += text;
        *ecma += text;
    }
    std::mt19937 m_rng;
};

std::vector<std::string> all_texts(int max_len) {
    std::vector<std::string> texts{""};
    for (size_t i = 0; i < texts.size(); ++i) {
        if (static_cast<int>(texts[i].size()) == max_len) continue;
        texts.push_back(texts[i] + "a");
        texts.push_back(texts[i] + "b");
    }
    return texts;
}

} // namespace

TEST(regex_memo, random_patterns_give_the_same_results_with_and_without_the_memo) {
    pattern_maker maker(20240601u);
    std::vector<std::string> texts = all_texts(6);
    texts.push_back("aaaaaaaaaaab");
    texts.push_back("abababababba");
    int compared = 0;
    int matched = 0;
    for (int i = 0; i < 1500; ++i) {
        std::string ours;
        std::string ecma;
        maker.make(4, &ours, &ecma);
        cls_regex re(cls_string(ours.c_str()));
        std::regex std_re(ecma, std::regex::ECMAScript);
        for (const std::string& text : texts) {
            re.set_memoise(true);
            std::string with = regex_test::captures_of(re, text);
            int with_len = re.max_matched_len();
            re.set_memoise(false);
            std::string without = regex_test::captures_of(re, text);
            int without_len = re.max_matched_len();
            ASSERT_EQ(with, without) << "pattern " << ours << " text " << text;
            ASSERT_EQ(with_len, without_len) << "pattern " << ours << " text " << text;
            bool std_ok = std::regex_search(text, std_re, std::regex_constants::match_continuous);
            ASSERT_EQ(with != "FAIL", std_ok) << "pattern " << ours << " text " << text;
            ++compared;
            if (std_ok) ++matched;
        }
    }
    // Both outcomes must have been exercised plentifully.
    EXPECT_GT(matched, compared / 10);
    EXPECT_LT(matched, compared - compared / 10);
}

TEST(regex_memo, a_node_revisited_at_the_same_position_in_a_new_iteration_is_not_a_failure) {
    // The second iteration reaches <clr> at the position where the first left
    // it; it has consumed nothing yet, so it is a different state, not a repeat.
    EXPECT_EQ(regex_test::run("(b?<clr>(b?|a*)<n2>)*", "ba"), "n2=;n2=a;");
    EXPECT_EQ(regex_test::run("(b?<clr>(b?|a*)<n2>)*$", "baa$"), "n2=;n2=aa;");
    EXPECT_EQ(regex_test::run("((b|)<clr>(|a)<x>)*", "bab"), "x=;x=a;x=;");
}

TEST(regex_memo, exponential_pattern_without_the_memo_agrees_on_a_short_text) {
    cls_regex re("(<clr>(a|a?a)<x>)*b");
    std::string text(14, 'a');
    re.set_memoise(false);
    EXPECT_EQ(regex_test::captures_of(re, text), "FAIL");
    re.set_memoise(true);
    EXPECT_EQ(regex_test::captures_of(re, text), "FAIL");
    EXPECT_EQ(re.max_matched_len(), 14);
    EXPECT_EQ(regex_test::captures_of(re, "aab"), "x=a;x=a;");
}
