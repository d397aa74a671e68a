#pragma once
// The compiled form of a regular expression, shared by the compiler
// (cls_regex_compile.cpp) and the matcher (cls_regex_match.cpp).
//
// The pattern is parsed into a small syntax tree, which is then turned into a
// graph of nodes, built from the end of the pattern backwards so that every node
// knows its successor. Matching walks the graph depth first with an explicit
// stack of choice points, so the text length never shows up as C++ recursion.
//
// Why the memo keeps the results of plain backtracking: nothing in the dialect
// lets an earlier capture influence what can match later. What the rest of the
// pattern can match from a node depends only on the position and, inside a
// repetition whose body can match nothing, on whether the current iteration has
// consumed anything yet (an iteration that consumed nothing fails at its end).
// That state is part of the memo key. A second arrival in the same state can
// only repeat a failure (a success would have ended the walk), so skipping it
// changes neither the result, nor the captures, nor the furthest position
// reached. Only nodes that can be reached from more than one place, and the
// successors of character runs (which hand them many positions), need a memo
// row: any other node is re-entered only when its single predecessor is.
//
// The other shortcuts follow the same rule of changing nothing but speed: a try
// whose first character can't be matched is skipped, and a run of characters
// gives back only positions its successor has not been tried from yet.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ozgi/cls_regex.h"
#include "ozgi/cls_string.h"

namespace ozgi {

namespace regex_detail {

/// A set of byte values, as a table: one load per test in the scanning loops.
struct char_set_t {
    uint8_t in[256];

    void clear() { std::memset(in, 0, sizeof(in)); }
    void add(unsigned char c) { in[c] = 1; }
    void remove(unsigned char c) { in[c] = 0; }
    void add_range(unsigned char lo, unsigned char hi) {
        for (int c = lo; c <= hi; ++c) add(static_cast<unsigned char>(c));
    }
    void add_set(const char_set_t& other) {
        for (int i = 0; i < 256; ++i) in[i] |= other.in[i];
    }
    void invert() {
        for (int i = 0; i < 256; ++i) in[i] ^= 1;
    }
    bool has(unsigned char c) const { return in[c] != 0; }
    /// The only member, or -1 when the set holds none or several.
    int single() const {
        int found = -1;
        for (int c = 0; c < 256; ++c) {
            if (!has(static_cast<unsigned char>(c))) continue;
            if (found >= 0) return -1;
            found = c;
        }
        return found;
    }
};

enum ast_kind_t { A_EMPTY, A_SET, A_SEQ, A_ALT, A_REPEAT, A_CLR, A_NAME };

struct ast_t {
    ast_kind_t kind;
    int set = -1;          // A_SET: index into the set table
    int name = -1;         // A_NAME: index into the name table
    int min = 0;           // A_REPEAT: 0 or 1
    bool unbounded = false; // A_REPEAT: false for ?
    std::vector<int> kids; // A_SEQ, A_ALT: members; A_REPEAT: the repeated item
};

enum node_kind_t : uint8_t {
    N_MATCH,  // the whole pattern has matched
    N_SET,    // one character from a set
    N_STR,    // a run of literal characters
    N_SPLIT,  // try `next`, then `alt`
    N_STAR,   // a greedy run of characters from a set, at least `min` long
    N_CLR,    // remember the position where the next capture begins
    N_NAME,   // record a capture from the remembered position to here
    N_ENTER,  // an iteration of a repetition whose body can match nothing starts
    N_CHECK,  // that iteration ends; it must have consumed something
};

struct node_t {
    node_kind_t kind;
    int next = -1;
    int alt = -1;      // N_SPLIT: the second choice
    int set = -1;      // N_SET, N_STAR
    int min = 0;       // N_STAR
    int star = -1;     // N_STAR: index of its scan cache
    int lit_off = 0;   // N_STR: offset into the literal pool
    int lit_len = 0;   // N_STR
    int name = -1;     // N_NAME
    int reg = -1;      // N_ENTER, N_CHECK: register holding the iteration start
    int memo = -1;     // first memo row, or -1 when the node needs none
    int guard_off = 0; // the guarded repetitions around the node: offset into the guard pool
    int guard_cnt = 0; // and their number
};

/// A choice point. `aux` is -1 for "resume at node `node`, position `pos`";
/// otherwise the frame belongs to the N_STAR node `node`, which should next hand
/// position `pos` to its successor, and `aux` is the shortest run it may give.
struct frame_t {
    int node;
    int pos;
    int caps;
    int trail;
    int aux;
    int clr; // the capture start when the frame was made (it changes too often for the trail)
};

/// A write to an iteration-start register, to undo on backtracking.
struct trail_t {
    int reg;
    int old;
};

struct cap_t {
    int name;
    int from;
    int to;
};

/// What is known about the last run of characters an N_STAR node scanned:
/// positions lo..hi all lie in one maximal run ending at hi (the character at hi
/// is not in the set), and the successor has already been tried from every
/// position in tried..hi.
struct star_cache_t {
    bool valid;
    int lo;
    int hi;
    int tried;
};

/// Nesting of groups deeper than this is refused: parsing recurses per level.
constexpr int MAX_DEPTH = 256;
/// A node's memo needs 2^n rows for n guarded repetitions around it.
constexpr int MAX_GUARDS = 8;

} // namespace regex_detail

struct cls_regex::impl_t {
    // The compiled pattern.
    std::string pattern;
    std::vector<regex_detail::char_set_t> sets;
    std::vector<regex_detail::ast_t> ast;
    std::vector<regex_detail::node_t> nodes;
    std::string literals;
    std::vector<cls_string> names;
    std::vector<int> guard_pool;  // registers of guarded repetitions, per node
    std::vector<int> open_guards; // while building: the guarded repetitions being built
    // Per node: the characters a match from the node can begin with, and whether
    // it may succeed without consuming any. A try that can't begin at the next
    // character fails without reaching anything, so it is skipped.
    std::vector<regex_detail::char_set_t> first;
    std::vector<uint8_t> empty_ok;
    int start = 0;
    int memo_rows = 0;
    int reg_count = 0;
    int star_count = 0;
    bool memoise = true;

    // Matching buffers, kept between calls so that a match allocates nothing
    // once they have grown to the size the texts need.
    std::vector<regex_detail::frame_t> stack;
    std::vector<regex_detail::trail_t> trail;
    std::vector<regex_detail::cap_t> caps;
    std::vector<uint64_t> memo;
    std::vector<int> regs;
    int clr = -1; // where the capture begun by the latest <clr> starts; -1: none
    std::vector<regex_detail::star_cache_t> star_cache;

    // Parser state.
    size_t at = 0;
    int depth = 0;

    // Compiling (cls_regex_compile.cpp).
    [[noreturn]] void fail(const char* reason, size_t where) const;
    int new_ast(regex_detail::ast_kind_t kind);
    int new_set_ast(const regex_detail::char_set_t& set);
    int new_char_ast(unsigned char c);
    bool at_end() const;
    unsigned char peek() const;
    static bool class_escape(unsigned char letter, regex_detail::char_set_t* set);
    int escaped_char(bool class_allowed);
    int parse_class();
    int parse_name();
    int parse_atom();
    static bool zero_width(const regex_detail::ast_t& a);
    int parse_seq();
    int parse_alt();
    bool nullable(int a) const;
    bool guarded(int a) const;
    int guard_depth(int a) const;
    int new_node(regex_detail::node_kind_t kind, int next);
    int single_char(int a) const;
    int build(int a, int next);
    int build_loop(int kid, int next, bool guard);
    void assign_memo_rows();
    void compute_first_sets();
    void compile();

    // Matching (cls_regex_match.cpp).
    bool can_start(int node, const unsigned char* s, int pos, int len) const;
    void undo(const regex_detail::frame_t& f);
    void set_reg(int reg, int value);
    enum { RUN_FAILED = 0, RUN_MATCHED = 1, RUN_GAVE_UP = 2 };
    int run(const unsigned char* s, int len, int* furthest, bool use_table, long long budget);
};

} // namespace ozgi
