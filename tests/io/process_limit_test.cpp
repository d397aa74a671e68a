// A process whose standard output is bounded: what it keeps of a writer that
// writes more than the bound, and what it says it dropped.
#include <gtest/gtest.h>

#include <string>

#include "ozgi/cls_process.h"
#include "ozgi/cls_time.h"

using namespace ozgi;

namespace {

cls_array<cls_string> shell(const std::string& command) {
    cls_array<cls_string> a;
    a.append("/bin/sh").append("-c").append(command.c_str());
    return a;
}

std::string str(const cls_sp<cls_string>& s) { return std::string(s->c_str(), s->length()); }

// Everything the child wrote as the caller sees it: the pieces it got, and for
// each piece the bytes dropped before it.
struct seen_t {
    std::string text;          // the pieces, joined
    long long dropped = 0;     // dropped in all
    int gaps = 0;              // pieces that came after a drop
    size_t largest_piece = 0;
    bool piece_after_gap_starts_a_line = true;
};

// Reads until the end, sleeping `pause_ms` between two reads so that output piles up.
seen_t read_all(cls_process& p, int pause_ms) {
    seen_t seen;
    for (;;) {
        cls_time::sleep_ms(pause_ms);
        bool ended = p.is_ended();
        cls_sp<cls_string> piece = p.read_to_str();
        if (p.dropped_bytes() > seen.dropped) {
            ++seen.gaps;
            // After a drop the piece begins a line (the writer's lines are short).
            if (piece->is_not_empty() && seen.text.size() > 0 && seen.text.back() != '\n')
                seen.piece_after_gap_starts_a_line = false;
            seen.dropped = p.dropped_bytes();
        }
        if (static_cast<size_t>(piece->length()) > seen.largest_piece) seen.largest_piece = piece->length();
        seen.text += str(piece);
        if (ended) break;
    }
    p.wait_for_exit();
    seen.text += str(p.read_to_str());
    return seen;
}

// Lines "n\n" for n from 0 to count - 1, as seq writes them.
std::string numbers(int count) {
    std::string out;
    for (int i = 0; i < count; ++i) out += std::to_string(i) + "\n";
    return out;
}

} // namespace

TEST(process_limit, without_a_limit_everything_is_kept) {
    cls_process p(shell("seq 0 199999"), "");
    seen_t seen = read_all(p, 50);
    EXPECT_EQ(seen.dropped, 0);
    EXPECT_TRUE(seen.text == numbers(200000)) << seen.text.size();
}

TEST(process_limit, keeping_the_tail_drops_the_oldest_whole_lines_and_counts_them) {
    const int limit = 64 * 1024;
    cls_process p(shell("seq 0 999999"), "");
    p.set_output_limit(limit, true);
    seen_t seen = read_all(p, 200);
    std::string full = numbers(1000000);
    // Every piece is at most the limit; what is missing is exactly what was counted.
    EXPECT_LE(seen.largest_piece, static_cast<size_t>(limit));
    EXPECT_GT(seen.gaps, 0);
    EXPECT_EQ(seen.text.size() + seen.dropped, full.size());
    EXPECT_TRUE(seen.piece_after_gap_starts_a_line);
    // The newest output is there, ending where the writer ended.
    ASSERT_GE(seen.text.size(), static_cast<size_t>(limit / 2));
    EXPECT_EQ(full.substr(full.size() - limit / 2), seen.text.substr(seen.text.size() - limit / 2));
}

TEST(process_limit, the_pieces_are_the_output_with_only_the_counted_gaps_missing) {
    // Each piece, placed after the bytes dropped before it, is found at that very
    // place in the whole output.
    const int limit = 10000;
    cls_process p(shell("seq 0 299999"), "");
    p.set_output_limit(limit, true);
    std::string full = numbers(300000);
    long long position = 0;
    long long last_dropped = 0;
    bool ended = false;
    while (!ended) {
        cls_time::sleep_ms(30);
        ended = p.is_ended();
        cls_sp<cls_string> piece = p.read_to_str();
        position += p.dropped_bytes() - last_dropped;
        last_dropped = p.dropped_bytes();
        ASSERT_LE(piece->length(), limit);
        ASSERT_EQ(full.substr(position, piece->length()), str(piece)) << "at " << position;
        position += piece->length();
    }
    p.wait_for_exit();
    position += p.read_to_str()->length();
    EXPECT_EQ(position, static_cast<long long>(full.size()));
}

TEST(process_limit, a_line_longer_than_the_limit_is_cut_inside_exactly) {
    const int limit = 100000;
    // 3 MB without a newline.
    cls_process p(shell("head -c 3000000 /dev/zero | tr '\\0' x"), "");
    p.set_output_limit(limit, true);
    cls_time::sleep_ms(500);
    p.wait_for_exit();
    cls_sp<cls_string> piece = p.read_to_str();
    EXPECT_EQ(p.dropped_bytes() + piece->length(), 3000000);
    EXPECT_EQ(piece->length(), limit);
    EXPECT_EQ(str(piece).find_first_not_of('x'), std::string::npos);
}

TEST(process_limit, after_a_long_line_the_piece_begins_with_the_next_line) {
    const int limit = 100000;
    cls_process p(shell("head -c 3000000 /dev/zero | tr '\\0' x; echo; echo end"), "");
    p.set_output_limit(limit, true);
    cls_time::sleep_ms(500);
    p.wait_for_exit();
    cls_sp<cls_string> piece = p.read_to_str();
    EXPECT_EQ(str(piece), "end\n");
    EXPECT_EQ(p.dropped_bytes(), 3000001);
}

TEST(process_limit, a_cut_inside_a_line_does_not_split_a_character) {
    const int limit = 1001;
    // Two-byte characters without a newline: a cut at an odd place would split one.
    cls_process p(shell("i=0; while [ $i -lt 2000 ]; do printf '\\303\\251'; i=$((i+1)); done"), "");
    p.set_output_limit(limit, true);
    p.wait_for_exit();
    cls_sp<cls_string> piece = p.read_to_str();
    EXPECT_EQ(p.dropped_bytes() + piece->length(), 4000);
    EXPECT_EQ(piece->length() % 2, 0);
    ASSERT_GT(piece->length(), 0);
    EXPECT_EQ(static_cast<unsigned char>((*piece)[0]), 0xC3);
}

TEST(process_limit, holding_keeps_everything_and_waits_for_the_reader) {
    const int limit = 64 * 1024;
    cls_process p(shell("seq 0 299999"), "");
    p.set_output_limit(limit, false);
    seen_t seen = read_all(p, 5);
    EXPECT_EQ(seen.dropped, 0);
    EXPECT_TRUE(seen.text == numbers(300000)) << seen.text.size();
    // One read more than the limit at most.
    EXPECT_LE(seen.largest_piece, static_cast<size_t>(limit + 256 * 1024));
}

TEST(process_limit, a_limit_set_after_output_was_read_changes_nothing) {
    cls_process p(shell("echo first; sleep 0.3; seq 0 99999"), "");
    std::string got;
    for (int i = 0; i < 400 && got.empty(); ++i) {
        cls_time::sleep_ms(5);
        got += str(p.read_to_str());
    }
    ASSERT_EQ(got, "first\n");
    p.set_output_limit(100, true);
    p.wait_for_exit();
    got += str(p.read_to_str());
    EXPECT_EQ(p.dropped_bytes(), 0);
    EXPECT_TRUE(got == "first\n" + numbers(100000)) << got.size();
}

TEST(process_limit, a_piece_still_held_by_the_caller_is_left_alone) {
    const int limit = 4096;
    cls_process p(shell("seq 0 999; sleep 0.2; seq 1000 1999"), "");
    p.set_output_limit(limit, true);
    cls_time::sleep_ms(100);
    cls_sp<cls_string> first = p.read_to_str();
    std::string before = str(first);
    p.wait_for_exit();
    cls_sp<cls_string> second = p.read_to_str();
    // The later output went elsewhere: the first piece is unchanged.
    EXPECT_EQ(str(first), before);
    EXPECT_NE(first.get(), second.get());
    std::string full = numbers(2000);
    EXPECT_EQ(before.size() + p.dropped_bytes() + second->length(), full.size());
    EXPECT_EQ(full.substr(full.size() - second->length()), str(second));
}
