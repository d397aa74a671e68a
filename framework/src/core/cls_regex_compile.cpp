#include "core/regex_program.h"

#include <memory>

#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"

namespace ozgi {

using namespace regex_detail;

[[noreturn]] void cls_regex::impl_t::fail(const char* reason, size_t where) const {
    OZGI_FATAL("Malformed regular expression \"%s\": %s at character %d.", pattern.c_str(), reason,
               static_cast<int>(where));
}

int cls_regex::impl_t::new_ast(ast_kind_t kind) {
    ast.push_back(ast_t());
    ast.back().kind = kind;
    return static_cast<int>(ast.size()) - 1;
}

int cls_regex::impl_t::new_set_ast(const char_set_t& set) {
    sets.push_back(set);
    int a = new_ast(A_SET);
    ast[a].set = static_cast<int>(sets.size()) - 1;
    return a;
}

int cls_regex::impl_t::new_char_ast(unsigned char c) {
    char_set_t set;
    set.clear();
    set.add(c);
    return new_set_ast(set);
}

bool cls_regex::impl_t::at_end() const { return at >= pattern.size(); }

unsigned char cls_regex::impl_t::peek() const { return static_cast<unsigned char>(pattern[at]); }

// ---- Parsing ----

/// Adds the class named by a letter escape (\d, \s, \w and their capitals) to `set`;
/// false when the letter names no class.
bool cls_regex::impl_t::class_escape(unsigned char letter, char_set_t* set) {
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
int cls_regex::impl_t::escaped_char(bool class_allowed) {
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

int cls_regex::impl_t::parse_class() {
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
int cls_regex::impl_t::parse_name() {
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

int cls_regex::impl_t::parse_atom() {
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

bool cls_regex::impl_t::zero_width(const ast_t& a) { return a.kind == A_CLR || a.kind == A_NAME; }

int cls_regex::impl_t::parse_seq() {
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

int cls_regex::impl_t::parse_alt() {
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

bool cls_regex::impl_t::nullable(int a) const {
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
bool cls_regex::impl_t::guarded(int a) const {
    const ast_t& n = ast[a];
    return n.kind == A_REPEAT && n.unbounded && ast[n.kids[0]].kind != A_SET && nullable(n.kids[0]);
}

/// The largest number of guarded loops nested in one another in `a`.
int cls_regex::impl_t::guard_depth(int a) const {
    int deepest = 0;
    for (int k : ast[a].kids) {
        int d = guard_depth(k);
        if (d > deepest) deepest = d;
    }
    return deepest + (guarded(a) ? 1 : 0);
}

int cls_regex::impl_t::new_node(node_kind_t kind, int next) {
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

int cls_regex::impl_t::single_char(int a) const { return ast[a].kind == A_SET ? sets[ast[a].set].single() : -1; }

/// Builds the nodes of `a` in front of `next` and returns the first of them.
int cls_regex::impl_t::build(int a, int next) {
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
int cls_regex::impl_t::build_loop(int kid, int next, bool guard) {
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

void cls_regex::impl_t::assign_memo_rows() {
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

void cls_regex::impl_t::compute_first_sets() {
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

void cls_regex::impl_t::compile() {
    int root = parse_alt();
    if (!at_end()) fail("unmatched ')'", at);
    int match = new_node(N_MATCH, -1);
    start = build(root, match);
    assign_memo_rows();
    compute_first_sets();
    ast.clear();
    ast.shrink_to_fit();
}

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

} // namespace ozgi
