// The automation script: one command per line, run between loop turns.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "ozgi/cls_label.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_png_writer.h"
#include "ui/gui_clock.h"
#include "ui/gui_dump.h"
#include "ui/gui_loop.h"

namespace ozgi {
namespace {

// ---- Automation script ----------------------------------------------------

[[noreturn]] void script_fail(impl_t* d, const cls_string& reason) {
    std::fflush(stdout);
    std::fprintf(stderr, "Script line %d: %s\n", d->script_line, reason.c_str());
    std::fflush(stderr);
    cls_log::run_exit_hook();
    std::_Exit(3);
}

void split_words(const cls_string& text, std::vector<cls_string>* words) {
    int i = 0;
    while (i < text.length()) {
        while (i < text.length() && (text[i] == ' ' || text[i] == '\t')) ++i;
        int start = i;
        while (i < text.length() && text[i] != ' ' && text[i] != '\t') ++i;
        if (i > start) words->push_back(text.sub_str(start, i - start));
    }
}

void inject_touch(impl_t* d, input_t::type_t type, int px, int py) {
    input_t in;
    in.type = type;
    in.x = px;
    in.y = py;
    d->backend->inject_input(in);
}

bool label_shows(const cls_label* l, const cls_string& text) {
    if (l->text() == text || l->shown_text() == text) return true;
    return false;
}

// The item tap_text aims at: the first visible, enabled item of the top page, in
// creation order, whose own label text or a child label's text is `text`.
cls_event_handler* find_text_item(cls_event_handler* item, const cls_string& text) {
    for (int i = 0; i < item->child_count(); ++i) {
        cls_event_handler* c = item->child(i);
        if (c->is_visible() && c->is_enabled()) {
            const cls_label* l = dynamic_cast<const cls_label*>(c);
            if (l && label_shows(l, text)) return c;
            for (int j = 0; j < c->child_count(); ++j) {
                const cls_label* cl = dynamic_cast<const cls_label*>(c->child(j));
                if (cl && cl->is_visible() && label_shows(cl, text)) return c;
            }
        }
        cls_event_handler* deeper = find_text_item(c, text);
        if (deeper) return deeper;
    }
    return nullptr;
}

// Whether a visible label of the top page shows `text`, whole or as one of its lines.
bool page_shows(cls_event_handler* item, const cls_string& text) {
    for (int i = 0; i < item->child_count(); ++i) {
        cls_event_handler* c = item->child(i);
        const cls_label* l = dynamic_cast<const cls_label*>(c);
        if (l && l->is_visible()) {
            if (l->shown_text() == text) return true;
            if (l->is_multi_line() && l->shown_text().has_line(text)) return true;
        }
        if (page_shows(c, text)) return true;
    }
    return false;
}

void run_command(impl_t* d, const cls_string& line) {
    std::vector<cls_string> words;
    split_words(line, &words);
    const cls_string& cmd = words[0];
    // The text after the command word, as written (tap_text and wait_text take
    // texts with blanks).
    cls_string rest = line;
    rest.trim_to_str(" \t", true, false);
    rest = rest.sub_str(cmd.length());
    rest.trim_to_str(" \t", true, true);
    cls_page* top = d->root ? d->root->top_page() : nullptr;
    if (cmd == "tap" || cmd == "press" || cmd == "move" || cmd == "release") {
        int x = 0, y = 0;
        if (words.size() != 3 || !parse_number(words[1], &x) || !parse_number(words[2], &y))
            script_fail(d, cmd + " needs two numbers: " + cmd + " X Y");
        if (cmd == "tap") {
            inject_touch(d, input_t::PRESS, x, y);
            inject_touch(d, input_t::RELEASE, x, y);
        } else {
            inject_touch(d, cmd == "press" ? input_t::PRESS : cmd == "move" ? input_t::MOVE : input_t::RELEASE, x, y);
        }
    } else if (cmd == "wheel") {
        int x = 0, y = 0, dy = 0;
        if (words.size() != 4 || !parse_number(words[1], &x) || !parse_number(words[2], &y) ||
            !parse_number(words[3], &dy))
            script_fail(d, "wheel needs three numbers: wheel X Y DY");
        input_t in;
        in.type = input_t::WHEEL;
        in.x = x;
        in.y = y;
        in.wheel_dy = dy;
        d->backend->inject_input(in);
    } else if (cmd == "tap_text") {
        if (rest.is_empty()) script_fail(d, "tap_text needs a text");
        cls_event_handler* item = top ? find_text_item(top, rest) : nullptr;
        if (!item) script_fail(d, cls_string("no visible, enabled item shows \"") + rest + "\"");
        top->scroll_into_view(item);
        int x, y, w, h;
        item->screen_rect(&x, &y, &w, &h);
        int px, py;
        d->backend->to_physical(x + w / 2, y + h / 2, &px, &py);
        inject_touch(d, input_t::PRESS, px, py);
        inject_touch(d, input_t::RELEASE, px, py);
    } else if (cmd == "key") {
        if (rest.is_empty()) script_fail(d, "key needs a key name");
        input_t in;
        in.type = input_t::KEY_PRESS;
        in.key_name = rest;
        d->backend->inject_input(in);
        in.type = input_t::KEY_RELEASE;
        d->backend->inject_input(in);
    } else if (cmd == "wait") {
        int ms = 0;
        if (words.size() != 2 || !parse_number(words[1], &ms) || ms < 0) script_fail(d, "wait needs milliseconds: wait MS");
        long long deadline = gui_now_ms() + ms;
        for (long long now = gui_now_ms(); now < deadline && !d->quit; now = gui_now_ms())
            loop_turn(d, static_cast<int>(deadline - now));
    } else if (cmd == "wait_text") {
        int ms = 0;
        int cut = rest.rfind(" ");
        if (cut <= 0 || !parse_number(rest.sub_str(cut + 1), &ms) || ms < 0)
            script_fail(d, "wait_text needs a text and milliseconds: wait_text TEXT MS");
        cls_string text = rest.sub_str(0, cut);
        text.trim_to_str(" \t", false, true);
        long long deadline = gui_now_ms() + ms;
        // A text shown already ends the wait before anything runs, so that a
        // timer that happens to be due by now does not fire. Afterwards the text
        // is looked for right after each turn's work and before its wait, so a
        // change made by a timer or an input is seen at once, not only when the
        // next wait has run out.
        cls_page* top = d->root ? d->root->top_page() : nullptr;
        bool shown = top && page_shows(top, text);
        while (!shown && !d->quit) {
            run_due(d);
            cls_page* p = d->root ? d->root->top_page() : nullptr;
            if (p && page_shows(p, text)) break;
            long long now = gui_now_ms();
            if (now >= deadline) {
                cls_string why;
                why.print("\"%s\" was not shown within %d ms", text.c_str(), ms);
                script_fail(d, why);
            }
            wait_for_activity(d, static_cast<int>(deadline - now));
        }
    } else if (cmd == "dump") {
        if (words.size() != 2) script_fail(d, "dump needs a file name: dump FILE");
        settle(d);
        cls_string json = gui_dump_json(d->root);
        if (words[1] == "-") {
            std::fwrite(json.c_str(), 1, static_cast<size_t>(json.length()), stdout);
            std::fflush(stdout);
        } else {
            std::ofstream out(words[1].c_str(), std::ios::binary);
            out.write(json.c_str(), json.length());
            if (!out) script_fail(d, cls_string("can't write ") + words[1]);
        }
    } else if (cmd == "screenshot") {
        if (words.size() != 2) script_fail(d, "screenshot needs a file name: screenshot FILE");
        settle(d);
        cls_array<uint32_t> pixels;
        int w = 0, h = 0;
        if (!d->backend->read_physical(&pixels, &w, &h)) script_fail(d, "the display shows nothing to capture");
        cls_string error;
        if (!cls_png_writer::write(words[1], pixels.begin(), w, h, w, &error))
            script_fail(d, cls_string("can't write ") + words[1] + ": " + error);
    } else if (cmd == "quit") {
        cls_ozgi_gui::ins()->quit();
    } else {
        script_fail(d, cls_string("unknown command \"") + cmd + "\"");
    }
    settle(d);
}
} // namespace

void run_script(impl_t* d) {
    settle(d);
    std::string raw;
    while (!d->quit && std::getline(*d->script, raw)) {
        ++d->script_line;
        cls_string line(raw.c_str(), static_cast<int>(raw.size()));
        line.trim_to_str(" \t\r", true, true);
        if (line.is_empty() || line[0] == '#') continue;
        run_command(d, line);
    }
    // The end of the script is a quit.
    cls_ozgi_gui::ins()->quit();
}

} // namespace ozgi
