#pragma once
// The remote panel's one port: VNC viewers, and browsers that fetch the page
// and then talk VNC over a WebSocket. A thread accepts the connections; each is
// handed to the VNC server, or, when it is a plain HTTP request, answered with
// a file of the page's directory and closed.
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace ozgi {

class cls_vnc_listener {
public:
    /// Where a connection that is not a plain HTTP request goes (takes the socket).
    typedef std::function<void(int)> handler_t;

    /// Listens on the dotted IPv4 `address` and `port`; false with the reason in *error when it can't.
    bool listen(const std::string& address, int port, std::string* error);
    /// Starts accepting: VNC connections go to `to_vnc`, HTTP requests get files of `web_dir`. With an
    /// empty `web_dir` every connection goes to `to_vnc` at once (no page: nothing to tell apart).
    void start(const std::string& web_dir, handler_t to_vnc);
    /// Stops accepting and closes the port; connections already handed over stay,
    /// and none is handed over after it returns.
    void stop();
    /// Stops as stop() does.
    ~cls_vnc_listener();

private:
    // What the threads telling connections apart share with the listener; they
    // may outlive it by the time a silent client takes.
    struct shared_t {
        std::mutex lock;       // held while a connection is handed over
        bool stopped = false;  // no more handing over
        std::string web_dir;
        handler_t to_vnc;
        std::atomic<int> sorting{0};
    };

    void run();
    static void sort(shared_t& shared, int fd);
    static void hand_over(shared_t& shared, int fd);
    int m_listen_fd = -1;
    int m_stop_fds[2] = {-1, -1};
    std::shared_ptr<shared_t> m_shared;
    std::thread m_thread;
};

} // namespace ozgi
