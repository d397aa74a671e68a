#include "res/layout_expr.h"

#include <climits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ozgi/cls_mem_mgr.h"

#include "ozgi/cls_event_handler.h"

namespace ozgi {

namespace {

// Parentheses and function calls open at once. Real layouts nest a handful; the
// bound only keeps a hostile text from exhausting the stack of the recursive parser.
constexpr int MAX_NESTING = 200;

struct token_t {
    enum kind_t { NUM, IDENT, OP, END } kind;
    long long num;
    cls_string text;
    char op;
};

// A value is a number or an item; an item may be a stand-in rectangle when the
// item does not exist (no container, no previous sibling).
struct value_t {
    bool is_item;
    long long num;
    cls_event_handler* item;
    int x, y, w, h;
};

value_t number(long long n) { return value_t{false, n, nullptr, 0, 0, 0, 0}; }
value_t item_value(cls_event_handler* item) {
    return value_t{true, 0, item, item->left(), item->top(), item->width(), item->height()};
}
value_t stand_in(int x, int y, int w, int h) { return value_t{true, 0, nullptr, x, y, w, h}; }

// Texts come from layouts and are few; the bound only guards against a program
// that makes up new ones without end.
const size_t MAX_CACHED_TEXTS = 4096;

class parser_t {
public:
    parser_t(const cls_string& text, cls_event_handler* self, int sw, int sh)
        : m_text(text), m_self(self), m_sw(sw), m_sh(sh), m_tokens(nullptr), m_pos(0), m_depth(0), m_failed(false) {}

    bool run(int* out, cls_string* error) {
        // Every item made from a layout evaluates the same few texts again, and a
        // long page makes thousands of items: each text is split into tokens once.
        typedef std::map<std::string, std::vector<token_t>, std::less<>> cache_t;
        static cache_t* cache = new cache_t();
        std::string_view key(m_text.c_str(), static_cast<size_t>(m_text.length()));
        auto hit = cache->find(key);
        if (hit != cache->end()) {
            m_tokens = &hit->second;
        } else {
            if (!tokenize()) {
                *error = m_error;
                return false;
            }
            m_tokens = &m_own;
            if (cache->size() < MAX_CACHED_TEXTS) {
                cls_mem_mgr::permanent_scope_t permanent;
                m_tokens = &cache->emplace(std::string(key), m_own).first->second;
            }
        }
        value_t v = parse_compare();
        if (!m_failed && (*m_tokens)[m_pos].kind == token_t::OP && (*m_tokens)[m_pos].op == ')' &&
            (*m_tokens)[m_pos + 1].kind == token_t::END)
            ++m_pos;  // The one surplus closing parenthesis a shipped layout has.
        if (!m_failed && (*m_tokens)[m_pos].kind != token_t::END) fail("unexpected %s", describe((*m_tokens)[m_pos]).c_str());
        if (!m_failed && v.is_item) fail("the result is an item, not a number");
        if (m_failed) {
            *error = m_error;
            return false;
        }
        *out = static_cast<int>(v.num);
        return true;
    }

private:
    void fail(const char* format, const char* arg = "") {
        if (m_failed) return;
        m_failed = true;
        m_error.print(format, arg);
    }
    static cls_string describe(const token_t& t) {
        cls_string s;
        switch (t.kind) {
        case token_t::NUM: s.print("number %lld", t.num); break;
        case token_t::IDENT: s.print("name \"%s\"", t.text.c_str()); break;
        case token_t::OP: s.print("\"%c\"", t.op); break;
        default: s = "end of text"; break;
        }
        return s;
    }

    bool tokenize() {
        const char* p = m_text.c_str();
        int n = m_text.length();
        int i = 0;
        while (i < n) {
            char c = p[i];
            if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
                ++i;
            } else if (c >= '0' && c <= '9') {
                long long v = 0;
                while (i < n && p[i] >= '0' && p[i] <= '9') {
                    v = v * 10 + (p[i] - '0');
                    if (v > 1000000000LL) {
                        m_error = "number too large";
                        return false;
                    }
                    ++i;
                }
                m_own.push_back(token_t{token_t::NUM, v, cls_string(), 0});
            } else if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_') {
                int start = i;
                while (i < n && ((p[i] >= 'a' && p[i] <= 'z') || (p[i] >= 'A' && p[i] <= 'Z') || p[i] == '_' ||
                                 (p[i] >= '0' && p[i] <= '9')))
                    ++i;
                m_own.push_back(token_t{token_t::IDENT, 0, cls_string(p + start, i - start), 0});
            } else if (c == '+' || c == '-' || c == '*' || c == '/' || c == '(' || c == ')' || c == ',' || c == '<') {
                m_own.push_back(token_t{token_t::OP, 0, cls_string(), c});
                ++i;
            } else {
                m_error.print("unexpected character \"%c\"", c);
                return false;
            }
        }
        m_own.push_back(token_t{token_t::END, 0, cls_string(), 0});
        m_own.push_back(token_t{token_t::END, 0, cls_string(), 0});
        return true;
    }

    bool at_op(char op) const { return (*m_tokens)[m_pos].kind == token_t::OP && (*m_tokens)[m_pos].op == op; }
    void expect(char op) {
        if (m_failed) return;
        if (!at_op(op)) {
            cls_string want;
            want.print("expected \"%c\" but found %s", op, describe((*m_tokens)[m_pos]).c_str());
            fail("%s", want.c_str());
            return;
        }
        ++m_pos;
    }
    long long num_of(const value_t& v, const char* where) {
        if (v.is_item) fail("an item is used as a number in %s", where);
        return v.num;
    }

    // Geometry is int, so every intermediate result must be one: operands always
    // are, so the exact result fits a long long and is checked against int.
    // `op` is the operator, or 0 for a negation of x.
    value_t checked(long long result, char op, long long x, long long y) {
        if (m_failed) return number(0);
        if (result < INT_MIN || result > INT_MAX) {
            cls_string what;
            if (op) what.print("integer overflow in %lld %c %lld", x, op, y);
            else what.print("integer overflow in -(%lld)", x);
            fail("%s", what.c_str());
            return number(0);
        }
        return number(result);
    }

    value_t parse_compare() {
        value_t a = parse_sum();
        while (!m_failed && at_op('<')) {
            ++m_pos;
            value_t b = parse_sum();
            a = number(num_of(a, "\"<\"") < num_of(b, "\"<\"") ? 1 : 0);
        }
        return a;
    }
    value_t parse_sum() {
        value_t a = parse_product();
        while (!m_failed && (at_op('+') || at_op('-'))) {
            char op = (*m_tokens)[m_pos++].op;
            value_t b = parse_product();
            long long x = num_of(a, op == '+' ? "\"+\"" : "\"-\""), y = num_of(b, op == '+' ? "\"+\"" : "\"-\"");
            if (m_failed) return number(0);
            a = checked(op == '+' ? x + y : x - y, op, x, y);
        }
        return a;
    }
    value_t parse_product() {
        value_t a = parse_unary();
        while (!m_failed && (at_op('*') || at_op('/'))) {
            char op = (*m_tokens)[m_pos++].op;
            value_t b = parse_unary();
            long long x = num_of(a, op == '*' ? "\"*\"" : "\"/\""), y = num_of(b, op == '*' ? "\"*\"" : "\"/\"");
            if (m_failed) return number(0);
            if (op == '/' && y == 0) {
                fail("division by zero");
                return number(0);
            }
            a = checked(op == '*' ? x * y : x / y, op, x, y);
        }
        return a;
    }
    // A run of minus signs is counted, not recursed into: "- - - 1" must not
    // cost one stack frame per sign.
    value_t parse_unary() {
        int signs = 0;
        while (!m_failed && at_op('-')) {
            ++m_pos;
            ++signs;
        }
        value_t v = parse_primary();
        for (int i = 0; i < signs && !m_failed; ++i) {
            long long x = num_of(v, "\"-\"");
            v = checked(-x, 0, x, 0);
        }
        return v;
    }
    // Entered before a parenthesis or a function call is parsed; false (with the
    // failure noted) when that would nest too deep.
    bool enter() {
        if (++m_depth <= MAX_NESTING) return true;
        cls_string why;
        why.print("nesting deeper than %d levels", MAX_NESTING);
        fail("%s", why.c_str());
        return false;
    }
    value_t parse_primary() {
        if (m_failed) return number(0);
        const token_t& t = (*m_tokens)[m_pos];
        if (t.kind == token_t::NUM) {
            ++m_pos;
            return number(t.num);
        }
        if (at_op('(')) {
            ++m_pos;
            if (!enter()) return number(0);
            value_t v = parse_compare();
            --m_depth;
            expect(')');
            return v;
        }
        if (t.kind == token_t::IDENT) {
            cls_string name = t.text;
            ++m_pos;
            if (!at_op('(')) {
                fail("\"%s\" must be followed by \"(\"", name.c_str());
                return number(0);
            }
            ++m_pos;
            if (!enter()) return number(0);
            std::vector<value_t> args;
            if (!at_op(')')) {
                args.push_back(parse_compare());
                while (!m_failed && at_op(',')) {
                    ++m_pos;
                    args.push_back(parse_compare());
                }
            }
            --m_depth;
            expect(')');
            if (m_failed) return number(0);
            return call(name, args);
        }
        fail("unexpected %s", describe(t).c_str());
        return number(0);
    }

    value_t container_of(cls_event_handler* item) {
        if (item && item->parent()) return item_value(item->parent());
        return stand_in(0, 0, m_sw, m_sh);
    }
    // The item itself, or its only argument which must be an item.
    bool item_arg(const cls_string& name, const std::vector<value_t>& args, bool self_allowed, value_t* out) {
        if (args.empty() && self_allowed) {
            *out = item_value(m_self);
            return true;
        }
        if (args.size() != 1 || !args[0].is_item) {
            fail("%s() takes one item", name.c_str());
            return false;
        }
        *out = args[0];
        return true;
    }
    value_t call(const cls_string& name, const std::vector<value_t>& args) {
        value_t it;
        if (name == "screen_width" || name == "screen_height") {
            if (!args.empty()) fail("%s() takes no argument", name.c_str());
            return number(name == "screen_width" ? m_sw : m_sh);
        }
        if (name == "container") {
            if (!args.empty()) fail("container() takes no argument");
            return container_of(m_self);
        }
        if (name == "prev") {
            value_t of = item_value(m_self);
            if (!args.empty() && !item_arg(name, args, false, &of)) return number(0);
            if (!of.item) return of;  // The stand-in before a stand-in is itself.
            cls_event_handler* p = of.item->prev_sibling();
            if (p) return item_value(p);
            // Nothing before: an empty rectangle at the container's top left corner.
            value_t c = container_of(of.item);
            return stand_in(c.x, c.y, 0, 0);
        }
        if (name == "left" || name == "top" || name == "right" || name == "bottom") {
            if (!item_arg(name, args, false, &it)) return number(0);
            if (name == "left") return number(it.x);
            if (name == "top") return number(it.y);
            if (name == "right") return number(it.x + it.w);
            return number(it.y + it.h);
        }
        if (name == "width" || name == "height") {
            if (!item_arg(name, args, true, &it)) return number(0);
            return number(name == "width" ? it.w : it.h);
        }
        if (name == "content_width" || name == "content_height") {
            if (!item_arg(name, args, true, &it)) return number(0);
            int w = 0, h = 0;
            if (it.item) it.item->content_size(&w, &h);
            return number(name == "content_width" ? w : h);
        }
        if (name == "max" || name == "min") {
            if (args.size() != 2) {
                fail("%s() takes two numbers", name.c_str());
                return number(0);
            }
            long long a = num_of(args[0], name.c_str()), b = num_of(args[1], name.c_str());
            return number(name == "max" ? (a > b ? a : b) : (a < b ? a : b));
        }
        if (name == "select") {
            if (args.size() != 3) {
                fail("select() takes three arguments");
                return number(0);
            }
            long long i = num_of(args[0], "select()");
            if (m_failed) return number(0);
            if (i != 0 && i != 1) {
                cls_string s;
                s.print("select() index %lld is neither 0 nor 1", i);
                fail("%s", s.c_str());
                return number(0);
            }
            return args[i == 0 ? 1 : 2];
        }
        fail("unknown function \"%s\"", name.c_str());
        return number(0);
    }

    const cls_string& m_text;
    cls_event_handler* m_self;
    int m_sw, m_sh;
    std::vector<token_t> m_own;
    const std::vector<token_t>* m_tokens;
    size_t m_pos;
    int m_depth;  // parentheses and calls open at m_pos
    bool m_failed;
    cls_string m_error;
};

} // namespace

bool eval_layout_expr(const cls_string& text, cls_event_handler* self, int screen_w, int screen_h, int* out,
                      cls_string* error) {
    parser_t p(text, self, screen_w, screen_h);
    return p.run(out, error);
}

} // namespace ozgi
