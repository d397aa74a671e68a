#pragma once
// The panel served over RFB (VNC) while the program runs, on any display backend.
// The server's threads talk to the viewers; the GUI thread only copies what it
// repainted into the server's picture and takes the viewers' input from a queue,
// so a slow or stuck viewer never holds up the panel.
#include <cstdint>
#include <deque>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "ozgi/cls_rect.h"
#include "ozgi/cls_string.h"
#include "ozgi/if_display_backend.h"

namespace ozgi {

/// What --ozgi-vnc and its companion options ask for.
struct vnc_options_t {
    /// Dotted IPv4 address to listen on.
    cls_string address = "127.0.0.1";
    int port = 0;
    /// The file whose first line is the VNC password; empty: no authentication.
    cls_string password_file;
    /// Directory served over HTTP on the same port (the browser page); empty: none.
    cls_string web_dir;
    bool view_only = false;
};

class cls_vnc_server {
public:
    /// Viewers connected at once; more are turned away at connection.
    static const int MAX_VIEWERS = 8;
    /// Time a viewer has from connecting to its first picture (a password typed
    /// included); one that takes longer is disconnected and frees its place.
    static const int HANDSHAKE_MS = 30000;

    /// Reads the --ozgi-vnc options of the command line into *out. False when
    /// --ozgi-vnc= is not given; a bad value or an unsafe combination is fatal.
    static bool read_options(vnc_options_t* out);
    /// Starts serving a `width` x `height` picture as `options` say; fatal when
    /// the port can't be opened or the password can't be read.
    cls_vnc_server(const vnc_options_t& options, int width, int height, const cls_string& title);
    /// Disconnects every viewer and stops the server's threads.
    ~cls_vnc_server();
    cls_vnc_server(const cls_vnc_server&) = delete;
    cls_vnc_server& operator=(const cls_vnc_server&) = delete;

    /// Copies the rectangles `rects` of the framebuffer `argb` (`stride` pixels per
    /// row, the served size) to the viewers' picture and tells them they changed.
    void update(const uint32_t* argb, int stride, const cls_rect* rects, int count);
    /// Readable when viewer input is waiting: for the GUI loop's wait.
    int wake_fd() const { return m_wake_fd; }
    /// Takes the next viewer input (logical coordinates) without blocking; false when there is none.
    bool poll_input(input_t* out);

    /// Called on the server's threads: queues one input and wakes the GUI loop.
    void push_input(const input_t& in);
    /// Called on the server's threads for a new connection on socket `sock`:
    /// whether one more viewer may connect. An admitted one gets a key (>= 0) for
    /// the calls below, else -1.
    int admit_viewer(int sock);
    /// Called on the server's threads when the admitted viewer `key` has gone.
    void viewer_gone(int key);
    /// Called on the server's threads when the admitted viewer `key` gets a picture.
    void viewer_shown(int key);
    /// Whether viewer input is ignored.
    bool view_only() const { return m_view_only; }
    /// The served picture's size.
    int width() const { return m_width; }
    int height() const { return m_height; }

private:
    struct screen_t;
    screen_t* m_screen = nullptr;
    int m_width = 0;
    int m_height = 0;
    bool m_view_only = false;
    int m_wake_fd = -1;
    std::mutex m_mutex;
    std::deque<input_t> m_inputs;
    // The admitted viewers by key (a duplicate of their socket, so that the
    // number stays theirs until they have gone), and the thread that
    // disconnects those that take too long to a picture; it sleeps while every
    // viewer has had one.
    struct viewer_state_t {
        std::chrono::steady_clock::time_point since;
        bool shown = false;
        bool cut_off = false;
    };
    std::map<int, viewer_state_t> m_viewers;
    int m_handshaking = 0;
    bool m_stopping = false;
    std::condition_variable m_changed;
    std::thread m_watchdog;
    void watch_handshakes();
    std::vector<char*> m_passwords;
    cls_string m_title;
    cls_string m_web_dir;
};

} // namespace ozgi
