#include "ozgi/cls_regex.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <memory>
#include <vector>

#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"

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

namespace ozgi {

namespace {

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

} // namespace

struct cls_regex::impl_t {
    // The compiled pattern.
    std::string pattern;
    std::vector<char_set_t> sets;
    std::vector<ast_t> ast;
    std::vector<node_t> nodes;
    std::string literals;
    std::vector<cls_string> names;
    std::vector<int> guard_pool;  // registers of guarded repetitions, per node
    std::vector<int> open_guards; // while building: the guarded repetitions being built
    // Per node: the characters a match from the node can begin with, and whether
    // it may succeed without consuming any. A try that can't begin at the next
    // character fails without reaching anything, so it is skipped.
    std::vector<char_set_t> first;
    std::vector<uint8_t> empty_ok;
    int start = 0;
    int memo_rows = 0;
    int reg_count = 0;
    int star_count = 0;
    bool memoise = true;

    // Matching buffers, kept between calls so that a match allocates nothing
    // once they have grown to the size the texts need.
    std::vector<frame_t> stack;
    std::vector<trail_t> trail;
    std::vector<cap_t> caps;
    std::vector<uint64_t> memo;
    std::vector<int> regs;
    int clr = -1; // where the capture begun by the latest <clr> starts; -1: none
    std::vector<star_cache_t> star_cache;

    // Parser state.
    size_t at = 0;
    int depth = 0;

    [[noreturn]] void fail(const char* reason, size_t where) const {
        OZGI_FATAL("Malformed regular expression \"%s\": %s at character %d.", pattern.c_str(), reason,
                   static_cast<int>(where));
    }

    int new_ast(ast_kind_t kind) {
        ast.push_back(ast_t());
        ast.back().kind = kind;
        return static_cast<int>(ast.size()) - 1;
    }
    int new_set_ast(const char_set_t& set) {
        sets.push_back(set);
        int a = new_ast(A_SET);
        ast[a].set = static_cast<int>(sets.size()) - 1;
        return a;
    }
    int new_char_ast(unsigned char c) {
        char_set_t set;
        set.clear();
        set.add(c);
        return new_set_ast(set);
    }

    bool at_end() const { return at >= pattern.size(); }
    unsigned char peek() const { return static_cast<unsigned char>(pattern[at]); }

    // ---- Parsing ----

    /// Adds the class named by a letter escape (\d, \s, \w and their capitals) to `set`;
    /// false when the letter names no class.
    static bool class_escape(unsigned char letter, char_set_t* set) {
        char_set_t part;
        part.clear();
        switch (letter | 0x20) {
        case 'd': part.add_range('0', '9'); break;
        case 's':
            part.add(' '); part.add('\t'); part.add('\n'); part.add('\r'); part.add('\f'); part.add('\v');
            break;
        case 'w':
            part.add_range('a', 'z'); part.add_range('A', 'Z'); part.add_range('0', '9'); part.add('_');
            break;
        default: return false;
        }
        if (letter >= 'A' && letter <= 'Z') part.invert();
        set->add_set(part);
        return true;
    }

    /// The character an escape of a single character stands for; the backslash
    /// has been consumed, `at` points at the escaped character. -1: a class escape.
    int escaped_char(bool class_allowed) {
        if (at_end()) fail("the pattern ends with a backslash", at - 1);
        unsigned char c = peek();
        switch (c) {
        case 't': ++at; return '\t';
        case 'n': ++at; return '\n';
        case 'r': ++at; return '\r';
        case 'f': ++at; return '\f';
        case 'v': ++at; return '\v';
        case 'd': case 'D': case 's': case 'S': case 'w': case 'W':
            if (!class_allowed) fail("a class escape can't end a range", at - 1);
            return -1;
        default: break;
        }
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
            fail("unknown escape", at - 1);
        ++at;
        return c;
    }

    int parse_class() {
        size_t open = at;
        ++at; // '['
        char_set_t set;
        set.clear();
        bool negate = false;
        if (!at_end() && peek() == '^') {
            negate = true;
            ++at;
        }
        bool first = true;
        for (;;) {
            if (at_end()) fail("unterminated character class", open);
            unsigned char c = peek();
            if (c == ']' && !first) {
                ++at;
                break;
            }
            first = false;
            int lo;
            ++at;
            if (c == '\\') {
                lo = escaped_char(true);
                if (lo < 0) {
                    class_escape(peek(), &set);
                    ++at;
                    continue;
                }
            } else {
                lo = c;
            }
            // A '-' just before the closing bracket is a plain character.
            if (at + 1 < pattern.size() && peek() == '-' && pattern[at + 1] != ']') {
                size_t dash = at;
                ++at;
                unsigned char h = peek();
                int hi;
                ++at;
                if (h == '\\') hi = escaped_char(false);
                else hi = h;
                if (hi < lo) fail("range out of order", dash);
                set.add_range(static_cast<unsigned char>(lo), static_cast<unsigned char>(hi));
            } else {
                set.add(static_cast<unsigned char>(lo));
            }
        }
        if (negate) set.invert();
        return new_set_ast(set);
    }

    /// `<clr>` or `<name>`; `at` points at the '<'.
    int parse_name() {
        size_t open = at;
        ++at;
        size_t begin = at;
        while (!at_end() && peek() != '>') {
            unsigned char c = peek();
            bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
            if (!ok) fail("'<' must begin <clr> or a <name> (a plain '<' is written \\<)", open);
            ++at;
        }
        if (at_end()) fail("unterminated <name> (a plain '<' is written \\<)", open);
        if (at == begin) fail("empty <name>", open);
        std::string word = pattern.substr(begin, at - begin);
        ++at; // '>'
        if (word == "clr") return new_ast(A_CLR);
        int a = new_ast(A_NAME);
        int id = -1;
        for (size_t i = 0; i < names.size(); ++i)
            if (names[i] == word.c_str()) id = static_cast<int>(i);
        if (id < 0) {
            names.push_back(cls_string(word.c_str()));
            id = static_cast<int>(names.size()) - 1;
        }
        ast[a].name = id;
        return a;
    }

    int parse_atom() {
        unsigned char c = peek();
        switch (c) {
        case '(': {
            size_t open = at;
            ++at;
            if (++depth > MAX_DEPTH) fail("groups nested too deeply", open);
            int inner = parse_alt();
            --depth;
            if (at_end()) fail("unmatched '('", open);
            ++at; // ')'
            return inner;
        }
        case '[': return parse_class();
        case '.': {
            ++at;
            char_set_t set;
            set.clear();
            set.invert();
            set.remove('\n');
            return new_set_ast(set);
        }
        case '\\': {
            ++at;
            int e = escaped_char(true);
            if (e >= 0) return new_char_ast(static_cast<unsigned char>(e));
            char_set_t set;
            set.clear();
            class_escape(peek(), &set);
            ++at;
            return new_set_ast(set);
        }
        case '<': return parse_name();
        case '>': fail("a plain '>' is written \\>", at);
        case '*': case '+': case '?': fail("nothing to repeat", at);
        default: ++at; return new_char_ast(c);
        }
    }

    static bool zero_width(const ast_t& a) { return a.kind == A_CLR || a.kind == A_NAME; }

    int parse_seq() {
        std::vector<int> items;
        while (!at_end() && peek() != '|' && peek() != ')') {
            int item = parse_atom();
            if (!at_end() && (peek() == '*' || peek() == '+' || peek() == '?')) {
                if (zero_width(ast[item])) fail("nothing to repeat", at);
                unsigned char q = peek();
                ++at;
                if (!at_end() && (peek() == '*' || peek() == '+' || peek() == '?'))
                    fail("a repetition can't be repeated directly", at);
                int r = new_ast(A_REPEAT);
                ast[r].min = q == '+' ? 1 : 0;
                ast[r].unbounded = q != '?';
                ast[r].kids.push_back(item);
                item = r;
                if (guard_depth(item) > MAX_GUARDS) fail("too many nested repetitions that can match nothing", at - 1);
            }
            items.push_back(item);
        }
        if (items.empty()) return new_ast(A_EMPTY);
        if (items.size() == 1) return items[0];
        int s = new_ast(A_SEQ);
        ast[s].kids = std::move(items);
        return s;
    }

    int parse_alt() {
        std::vector<int> alts;
        alts.push_back(parse_seq());
        while (!at_end() && peek() == '|') {
            ++at;
            alts.push_back(parse_seq());
        }
        if (alts.size() == 1) return alts[0];
        // Alternatives of single characters are one character set: the same
        // matches and the same captures, and the set can be scanned in a run.
        bool all_sets = true;
        for (int a : alts) all_sets = all_sets && ast[a].kind == A_SET;
        if (all_sets) {
            char_set_t set;
            set.clear();
            for (int a : alts) set.add_set(sets[ast[a].set]);
            return new_set_ast(set);
        }
        int a = new_ast(A_ALT);
        ast[a].kids = std::move(alts);
        return a;
    }

    // ---- Building the node graph ----

    bool nullable(int a) const {
        const ast_t& n = ast[a];
        switch (n.kind) {
        case A_SET: return false;
        case A_SEQ:
            for (int k : n.kids)
                if (!nullable(k)) return false;
            return true;
        case A_ALT:
            for (int k : n.kids)
                if (nullable(k)) return true;
            return false;
        case A_REPEAT: return n.min == 0 || nullable(n.kids[0]);
        default: return true;
        }
    }

    /// Whether `a` becomes a loop that must check each iteration consumed something.
    bool guarded(int a) const {
        const ast_t& n = ast[a];
        return n.kind == A_REPEAT && n.unbounded && ast[n.kids[0]].kind != A_SET && nullable(n.kids[0]);
    }

    /// The largest number of guarded loops nested in one another in `a`.
    int guard_depth(int a) const {
        int deepest = 0;
        for (int k : ast[a].kids) {
            int d = guard_depth(k);
            if (d > deepest) deepest = d;
        }
        return deepest + (guarded(a) ? 1 : 0);
    }

    int new_node(node_kind_t kind, int next) {
        nodes.push_back(node_t());
        node_t& n = nodes.back();
        n.kind = kind;
        n.next = next;
        if (!open_guards.empty()) {
            n.guard_off = static_cast<int>(guard_pool.size());
            n.guard_cnt = static_cast<int>(open_guards.size());
            guard_pool.insert(guard_pool.end(), open_guards.begin(), open_guards.end());
        }
        return static_cast<int>(nodes.size()) - 1;
    }

    int single_char(int a) const { return ast[a].kind == A_SET ? sets[ast[a].set].single() : -1; }

    /// Builds the nodes of `a` in front of `next` and returns the first of them.
    int build(int a, int next) {
        const ast_t& n = ast[a];
        switch (n.kind) {
        case A_EMPTY: return next;
        case A_SET: {
            int s = new_node(N_SET, next);
            nodes[s].set = n.set;
            return s;
        }
        case A_CLR: return new_node(N_CLR, next);
        case A_NAME: {
            int s = new_node(N_NAME, next);
            nodes[s].name = n.name;
            return s;
        }
        case A_SEQ: {
            std::vector<int> kids = n.kids;
            int i = static_cast<int>(kids.size()) - 1;
            while (i >= 0) {
                // Consecutive literal characters are compared in one step.
                int j = i;
                while (j >= 0 && single_char(kids[j]) >= 0) --j;
                if (i - j >= 2) {
                    int s = new_node(N_STR, next);
                    nodes[s].lit_off = static_cast<int>(literals.size());
                    nodes[s].lit_len = i - j;
                    for (int k = j + 1; k <= i; ++k) literals += static_cast<char>(single_char(kids[k]));
                    next = s;
                    i = j;
                } else {
                    next = build(kids[i], next);
                    --i;
                }
            }
            return next;
        }
        case A_ALT: {
            std::vector<int> kids = n.kids;
            int entry = build(kids.back(), next);
            for (int i = static_cast<int>(kids.size()) - 2; i >= 0; --i) {
                int first = build(kids[i], next);
                int s = new_node(N_SPLIT, first);
                nodes[s].alt = entry;
                entry = s;
            }
            return entry;
        }
        case A_REPEAT: {
            int kid = n.kids[0];
            int min = n.min;
            if (!n.unbounded) {
                int body = build(kid, next);
                int s = new_node(N_SPLIT, body);
                nodes[s].alt = next;
                return s;
            }
            if (ast[kid].kind == A_SET) {
                int s = new_node(N_STAR, next);
                nodes[s].set = ast[kid].set;
                nodes[s].min = min;
                nodes[s].star = star_count++;
                return s;
            }
            bool empty_ok = nullable(kid);
            if (min == 1 && empty_ok) {
                // The first iteration may match nothing; only the further ones
                // are held to consuming something, so it is built separately.
                int loop = build_loop(kid, next, true);
                return build(kid, loop);
            }
            int loop = build_loop(kid, next, empty_ok);
            if (min == 0) return loop;
            // One or more of a body that always consumes: the body leads into the loop.
            return nodes[loop].next;
        }
        }
        return next;
    }

    /// Zero or more iterations of `kid`, then `next`. With `guard`, an iteration
    /// that consumed nothing fails, so that the loop can't spin in place.
    int build_loop(int kid, int next, bool guard) {
        int loop = new_node(N_SPLIT, -1);
        nodes[loop].alt = next;
        int body;
        if (guard) {
            int reg = reg_count++;
            open_guards.push_back(reg);
            int check = new_node(N_CHECK, loop);
            nodes[check].reg = reg;
            int inner = build(kid, check);
            open_guards.pop_back();
            body = new_node(N_ENTER, inner);
            nodes[body].reg = reg;
        } else {
            body = build(kid, loop);
        }
        nodes[loop].next = body;
        return loop;
    }

    void assign_memo_rows() {
        std::vector<int> in(nodes.size(), 0);
        std::vector<bool> after_star(nodes.size(), false);
        in[start]++;
        for (const node_t& n : nodes) {
            if (n.next >= 0) in[n.next]++;
            if (n.kind == N_SPLIT && n.alt >= 0) in[n.alt]++;
            if (n.kind == N_STAR) after_star[n.next] = true;
        }
        for (size_t i = 0; i < nodes.size(); ++i) {
            if (nodes[i].kind == N_MATCH) continue;
            if (in[i] < 2 && !after_star[i]) continue;
            // Inside guarded repetitions, whether the rest can match also depends
            // on whether each current iteration has consumed anything yet, so the
            // node gets one row per combination of those facts.
            nodes[i].memo = memo_rows;
            memo_rows += 1 << nodes[i].guard_cnt;
        }
    }

    void compute_first_sets() {
        size_t count = nodes.size();
        first.assign(count, char_set_t());
        for (char_set_t& f : first) f.clear();
        empty_ok.assign(count, 0);
        // Loops make the graph cyclic; the sets only grow, so repeat until stable.
        for (bool changed = true; changed;) {
            changed = false;
            for (size_t i = 0; i < count; ++i) {
                const node_t& n = nodes[i];
                char_set_t f;
                f.clear();
                bool e = false;
                switch (n.kind) {
                case N_MATCH: e = true; break;
                case N_SET: f = sets[n.set]; break;
                case N_STR: f.add(static_cast<unsigned char>(literals[n.lit_off])); break;
                case N_STAR:
                    f = sets[n.set];
                    if (n.min == 0) {
                        f.add_set(first[n.next]);
                        e = empty_ok[n.next];
                    }
                    break;
                case N_SPLIT:
                    f = first[n.next];
                    f.add_set(first[n.alt]);
                    e = empty_ok[n.next] || empty_ok[n.alt];
                    break;
                default:
                    f = first[n.next];
                    e = empty_ok[n.next];
                    break;
                }
                if (std::memcmp(&f, &first[i], sizeof(f)) != 0 || e != static_cast<bool>(empty_ok[i])) {
                    first[i] = f;
                    empty_ok[i] = e;
                    changed = true;
                }
            }
        }
    }

    /// Whether a match from `node` could begin at `pos` of `s` (`len` long).
    /// Without the memo every shortcut is off, so that plain backtracking can be compared.
    bool can_start(int node, const unsigned char* s, int pos, int len) const {
        return !memoise || empty_ok[node] || (pos < len && first[node].has(s[pos]));
    }

    void compile() {
        int root = parse_alt();
        if (!at_end()) fail("unmatched ')'", at);
        int match = new_node(N_MATCH, -1);
        start = build(root, match);
        assign_memo_rows();
        compute_first_sets();
        ast.clear();
        ast.shrink_to_fit();
    }

    // ---- Matching ----

    void undo(const frame_t& f) {
        while (static_cast<int>(trail.size()) > f.trail) {
            regs[trail.back().reg] = trail.back().old;
            trail.pop_back();
        }
        caps.resize(f.caps);
        clr = f.clr;
    }

    void set_reg(int reg, int value) {
        trail.push_back(trail_t{reg, regs[reg]});
        regs[reg] = value;
    }

    /// Runs the walk over `s`; returns success and sets `furthest`.
    bool run(const unsigned char* s, int len, int* furthest) {
        stack.clear();
        trail.clear();
        caps.clear();
        regs.assign(reg_count, -1);
        clr = -1;
        star_cache.assign(star_count, star_cache_t{false, 0, 0, 0});
        const size_t stride = static_cast<size_t>(len) + 1;
        if (memoise && memo_rows > 0) {
            size_t words = (stride * memo_rows + 63) / 64;
            if (memo.size() < words) memo.resize(words);
            std::memset(memo.data(), 0, words * sizeof(uint64_t));
        }
        const bool use_memo = memoise && memo_rows > 0;
        const node_t* ns = nodes.data();
        const char_set_t* cs = sets.data();
        int max = 0;
        int node = start;
        int pos = 0;
        for (;;) {
            const node_t& n = ns[node];
            if (use_memo && n.memo >= 0) {
                int row = n.memo;
                for (int g = 0; g < n.guard_cnt; ++g)
                    if (regs[guard_pool[n.guard_off + g]] == pos) row += 1 << g;
                size_t bit = static_cast<size_t>(row) * stride + pos;
                uint64_t mask = uint64_t(1) << (bit & 63);
                if (memo[bit >> 6] & mask) goto failed;
                memo[bit >> 6] |= mask;
            }
            switch (n.kind) {
            case N_MATCH:
                *furthest = max;
                return true;
            case N_SET:
                if (pos < len && cs[n.set].has(s[pos])) {
                    ++pos;
                    if (pos > max) max = pos;
                    node = n.next;
                    continue;
                }
                goto failed;
            case N_STR: {
                const char* lit = literals.data() + n.lit_off;
                int k = 0;
                while (k < n.lit_len && pos + k < len && s[pos + k] == static_cast<unsigned char>(lit[k])) ++k;
                if (pos + k > max) max = pos + k;
                if (k < n.lit_len) goto failed;
                pos += k;
                node = n.next;
                continue;
            }
            case N_SPLIT:
                if (!can_start(n.next, s, pos, len)) {
                    node = n.alt;
                    continue;
                }
                if (can_start(n.alt, s, pos, len))
                    stack.push_back(frame_t{n.alt, pos, static_cast<int>(caps.size()), static_cast<int>(trail.size()), -1, clr});
                node = n.next;
                continue;
            case N_STAR: {
                star_cache_t& c = star_cache[n.star];
                const char_set_t& set = cs[n.set];
                int end;
                if (c.valid && pos >= c.lo && pos <= c.hi) {
                    end = c.hi;
                } else {
                    // A scan that runs into the cached run ends where that run ends,
                    // so a run is scanned about once however often it is entered.
                    int stop = c.valid && c.lo > pos ? c.lo : len;
                    int q = pos;
                    while (q < stop && set.has(s[q])) ++q;
                    if (q == stop && stop != len) q = c.hi;
                    end = q;
                    if (c.valid && end == c.hi) c.lo = pos;
                    else c = star_cache_t{true, pos, end, end + 1};
                }
                if (end > max) max = end;
                // Skipping the positions the successor was already tried from is
                // what the memo would do, only faster. Inside a guarded loop the
                // memo distinguishes more than positions, so it is left to decide.
                const bool skip = use_memo && n.guard_cnt == 0;
                int lowest = pos + n.min;
                int j = end;
                if (skip && c.tried - 1 < j) j = c.tried - 1;
                while (j >= lowest && !can_start(n.next, s, j, len)) --j;
                if (skip) c.tried = j < lowest ? lowest : j;
                if (j < lowest) goto failed;
                if (j > lowest)
                    stack.push_back(frame_t{node, j - 1, static_cast<int>(caps.size()), static_cast<int>(trail.size()), lowest, clr});
                pos = j;
                node = n.next;
                continue;
            }
            case N_CLR:
                clr = pos;
                node = n.next;
                continue;
            case N_NAME: {
                int from = clr < 0 ? pos : clr;
                caps.push_back(cap_t{n.name, from, pos});
                node = n.next;
                continue;
            }
            case N_ENTER:
                set_reg(n.reg, pos);
                node = n.next;
                continue;
            case N_CHECK:
                if (regs[n.reg] == pos) goto failed;
                node = n.next;
                continue;
            }
        failed:
            for (;;) {
                if (stack.empty()) {
                    *furthest = max;
                    return false;
                }
                frame_t f = stack.back();
                stack.pop_back();
                undo(f);
                if (f.aux < 0) {
                    node = f.node;
                    pos = f.pos;
                    break;
                }
                // Give back one more character of a run.
                const node_t& star = ns[f.node];
                star_cache_t& c = star_cache[star.star];
                int j = f.pos;
                bool same_run = use_memo && star.guard_cnt == 0 && c.valid && j >= c.lo && j <= c.hi;
                if (same_run && c.tried - 1 < j) j = c.tried - 1;
                // Positions skipped as hopeless may join the tried ones.
                bool adjoins = same_run && j == c.tried - 1;
                while (j >= f.aux && !can_start(star.next, s, j, len)) --j;
                if (adjoins) c.tried = j < f.aux ? f.aux : j;
                if (j < f.aux) continue;
                if (j > f.aux) {
                    f.pos = j - 1;
                    stack.push_back(f);
                }
                node = star.next;
                pos = j;
                break;
            }
        }
    }
};

cls_regex::cls_regex(const cls_string& pattern) : m_impl(nullptr), m_max_matched_len(0) {
    // Held by a guard until it compiled: in the fuzzing build a malformed pattern's
    // fatal report throws, and the half-made matcher must not be lost.
    std::unique_ptr<impl_t, void (*)(impl_t*)> impl(OZGI_NEW(impl_t)(), &ozgi_delete<impl_t>);
    impl->pattern.assign(pattern.c_str(), static_cast<size_t>(pattern.length()));
    impl->compile();
    m_impl = impl.release();
}

cls_regex::~cls_regex() { ozgi_delete(m_impl); }

void cls_regex::set_memoise(bool enabled) { m_impl->memoise = enabled; }

bool cls_regex::match(const cls_string& text, cls_array<name_val_t>* captures, cls_dict<cls_string, cls_string>* dict) {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(text.c_str());
    int furthest = 0;
    bool ok = m_impl->run(s, text.length(), &furthest);
    m_max_matched_len = furthest;
    if (!ok) return false;
    if (dict) dict->clear();
    if (captures) captures->reserve(captures->count() + static_cast<int>(m_impl->caps.size()));
    for (const cap_t& c : m_impl->caps) {
        const cls_string& name = m_impl->names[c.name];
        if (captures) {
            captures->append(name_val_t());
            name_val_t& nv = captures->last();
            nv.name = name;
            nv.value.append(text.c_str() + c.from, c.to - c.from);
        }
        if (dict) dict->set(name, cls_string(text.c_str() + c.from, c.to - c.from));
    }
    return true;
}

} // namespace ozgi
