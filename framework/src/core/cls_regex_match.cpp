#include "core/regex_program.h"

namespace ozgi {

using namespace regex_detail;

/// Whether a match from `node` could begin at `pos` of `s` (`len` long).
/// Without the memo every shortcut is off, so that plain backtracking can be compared.
bool cls_regex::impl_t::can_start(int node, const unsigned char* s, int pos, int len) const {
    return !memoise || empty_ok[node] || (pos < len && first[node].has(s[pos]));
}

void cls_regex::impl_t::undo(const frame_t& f) {
    while (static_cast<int>(trail.size()) > f.trail) {
        regs[trail.back().reg] = trail.back().old;
        trail.pop_back();
    }
    caps.resize(f.caps);
    clr = f.clr;
}

void cls_regex::impl_t::set_reg(int reg, int value) {
    trail.push_back(trail_t{reg, regs[reg]});
    regs[reg] = value;
}

/// Runs the walk over `s`; returns RUN_MATCHED or RUN_FAILED and sets
/// `furthest`. With `use_table` false the memo table is left out; the walk then
/// gives up (RUN_GAVE_UP) once it has taken more than `budget` steps.
int cls_regex::impl_t::run(const unsigned char* s, int len, int* furthest, bool use_table, long long budget) {
    stack.clear();
    trail.clear();
    caps.clear();
    regs.assign(reg_count, -1);
    clr = -1;
    star_cache.assign(star_count, star_cache_t{false, 0, 0, 0});
    const size_t stride = static_cast<size_t>(len) + 1;
    const bool use_memo = memoise && memo_rows > 0;
    use_table = use_table && use_memo;
    const bool limited = use_memo && !use_table;
    if (use_table) {
        size_t words = (stride * memo_rows + 63) / 64;
        if (memo.size() < words) memo.resize(words);
        std::memset(memo.data(), 0, words * sizeof(uint64_t));
    }
    const node_t* ns = nodes.data();
    const char_set_t* cs = sets.data();
    int max = 0;
    int node = start;
    int pos = 0;
    for (;;) {
        const node_t& n = ns[node];
        if (limited && --budget < 0) return RUN_GAVE_UP;
        if (use_table && n.memo >= 0) {
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
            return RUN_MATCHED;
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
                return RUN_FAILED;
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

bool cls_regex::match(const cls_string& text, cls_array<name_val_t>* captures, cls_dict<cls_string, cls_string>* dict) {
    const unsigned char* s = reinterpret_cast<const unsigned char*>(text.c_str());
    int furthest = 0;
    // Most patterns cannot make the walk backtrack much: the arguments' pattern
    // takes a few steps per character of any line. Such a walk runs faster
    // without filling and reading the memo table. A walk that takes more steps
    // than a few times the table's size (rows times positions: a walk with the
    // table enters each memoised state once) may be one of those that grow
    // exponentially, and starts again with the table. Both walks find the same
    // match, the same captures and the same furthest position.
    long long budget = 4 * (static_cast<long long>(m_impl->memo_rows) + 1) * (text.length() + 1);
    int result = m_impl->run(s, text.length(), &furthest, false, budget);
    if (result == impl_t::RUN_GAVE_UP) result = m_impl->run(s, text.length(), &furthest, true, 0);
    bool ok = result == impl_t::RUN_MATCHED;
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
