#include "ui/cls_vnc_listener.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <fstream>
#include <sstream>

namespace ozgi {

namespace {

// A VNC viewer waits for the server to speak; a browser sends its request at
// once. When a page is served, this long is waited for a request before a
// connection counts as VNC: long enough for a browser on a loaded machine (at
// 150 ms a page load was now and then taken for a viewer), short enough for a
// viewer not to notice. Without a page there is nothing to wait for: a
// WebSocket viewer is recognised by the VNC server itself.
const int FIRST_BYTES_MS = 1000;
// A request's head larger than this, or slower than the timeout, is not served.
const size_t MAX_HEAD = 8192;
const int HTTP_TIMEOUT_MS = 5000;
// Connections being told apart or answered with a page at once; more are
// closed unanswered.
const int MAX_SORTING = 16;

bool lower_contains(std::string text, const char* what) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text.find(what) != std::string::npos;
}

// What the client has sent so far, left unread; empty on timeout or close.
std::string peek_head(int fd, int timeout_ms) {
    char buf[MAX_HEAD];
    for (int waited = 0;; waited += 50) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, 50) < 0) return std::string();
        ssize_t n = recv(fd, buf, sizeof buf, MSG_PEEK | MSG_DONTWAIT);
        if (n == 0) return std::string();
        std::string head = n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
        if (head.find("\r\n\r\n") != std::string::npos || head.size() >= MAX_HEAD) return head;
        if (waited >= timeout_ms) return head;
    }
}

const char* content_type(const std::string& name) {
    size_t dot = name.rfind('.');
    std::string ext = dot == std::string::npos ? "" : name.substr(dot + 1);
    if (ext == "html") return "text/html; charset=utf-8";
    if (ext == "js") return "text/javascript; charset=utf-8";
    if (ext == "css") return "text/css";
    if (ext == "png") return "image/png";
    if (ext == "svg") return "image/svg+xml";
    return "text/plain; charset=utf-8";
}

void send_all(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = send(fd, data.data() + done, data.size() - done, MSG_NOSIGNAL);
        if (n <= 0) return;
        done += static_cast<size_t>(n);
    }
}

// Answers one GET with a file of `dir` (the page: only plain names, no "..").
void serve_file(int fd, const std::string& dir) {
    timeval tv{HTTP_TIMEOUT_MS / 1000, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    std::string head = peek_head(fd, HTTP_TIMEOUT_MS);
    std::string path;
    if (head.compare(0, 4, "GET ") == 0) {
        size_t end = head.find(' ', 4);
        if (end != std::string::npos) path = head.substr(4, end - 4);
    }
    size_t query = path.find('?');
    if (query != std::string::npos) path.erase(query);
    if (path == "/") path = "/index.html";
    bool ok = !dir.empty() && path.size() > 1 && path[0] == '/' && path.find("..") == std::string::npos;
    for (char c : path)
        if (!std::isalnum(static_cast<unsigned char>(c)) && !std::strchr("/._-", c)) ok = false;
    std::string body;
    if (ok) {
        std::ifstream in(dir + path, std::ios::binary);
        std::ostringstream s;
        if (in && (s << in.rdbuf())) body = s.str();
        else ok = false;
    }
    std::ostringstream reply;
    if (ok) {
        reply << "HTTP/1.0 200 OK\r\nContent-Type: " << content_type(path) << "\r\nContent-Length: " << body.size()
              << "\r\nCache-Control: no-cache\r\nConnection: close\r\n\r\n";
    } else {
        body = "Not found\n";
        reply << "HTTP/1.0 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: " << body.size()
              << "\r\nConnection: close\r\n\r\n";
    }
    send_all(fd, reply.str() + body);
    shutdown(fd, SHUT_WR);
    // What is left of the request is read away, so that closing does not reset the reply.
    char sink[4096];
    pollfd p{fd, POLLIN, 0};
    while (poll(&p, 1, 200) > 0 && recv(fd, sink, sizeof sink, 0) > 0) {
    }
    close(fd);
}

} // namespace

bool cls_vnc_listener::listen(const std::string& address, int port, std::string* error) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    if (inet_pton(AF_INET, address.c_str(), &a.sin_addr) != 1) {
        *error = "not an IPv4 address";
        return false;
    }
    m_listen_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int one = 1;
    setsockopt(m_listen_fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (m_listen_fd < 0 || bind(m_listen_fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        ::listen(m_listen_fd, 32) != 0) {
        *error = std::strerror(errno);
        return false;
    }
    if (pipe2(m_stop_fds, O_CLOEXEC) != 0) {
        *error = std::strerror(errno);
        return false;
    }
    return true;
}

void cls_vnc_listener::start(const std::string& web_dir, handler_t to_vnc) {
    m_shared = std::make_shared<shared_t>();
    m_shared->web_dir = web_dir;
    m_shared->to_vnc = to_vnc;
    m_thread = std::thread([this] { run(); });
}

void cls_vnc_listener::stop() {
    if (m_shared) {
        // Connections still being told apart are closed from now on; one being
        // handed over finishes first.
        std::lock_guard<std::mutex> lock(m_shared->lock);
        m_shared->stopped = true;
    }
    if (m_thread.joinable()) {
        char c = 0;
        ssize_t n = write(m_stop_fds[1], &c, 1);
        (void)n;
        m_thread.join();
    }
    for (int* fd : {&m_listen_fd, &m_stop_fds[0], &m_stop_fds[1]}) {
        if (*fd >= 0) close(*fd);
        *fd = -1;
    }
}

cls_vnc_listener::~cls_vnc_listener() { stop(); }

void cls_vnc_listener::run() {
    for (;;) {
        pollfd p[2] = {{m_listen_fd, POLLIN, 0}, {m_stop_fds[0], POLLIN, 0}};
        if (poll(p, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (p[1].revents) return;
        int fd = accept4(m_listen_fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        if (m_shared->web_dir.empty()) {
            hand_over(*m_shared, fd);
            continue;
        }
        // Each connection is told apart on a thread of its own, so that one that
        // says nothing holds up nobody else.
        if (m_shared->sorting.fetch_add(1) >= MAX_SORTING) {
            m_shared->sorting.fetch_sub(1);
            close(fd);
            continue;
        }
        std::shared_ptr<shared_t> shared = m_shared;
        std::thread([fd, shared] {
            sort(*shared, fd);
            shared->sorting.fetch_sub(1);
        }).detach();
    }
}

void cls_vnc_listener::sort(shared_t& shared, int fd) {
    // A VNC viewer waits for the server to speak; a browser sends its request at once.
    pollfd first{fd, POLLIN, 0};
    char start[4];
    bool http = false;
    if (poll(&first, 1, FIRST_BYTES_MS) > 0) {
        ssize_t n = recv(fd, start, sizeof start, MSG_PEEK | MSG_DONTWAIT);
        http = n == 4 && std::memcmp(start, "GET ", 4) == 0;
    }
    if (http) {
        // A WebSocket upgrade is a VNC connection; the server reads the request itself.
        std::string head = peek_head(fd, FIRST_BYTES_MS);
        if (lower_contains(head, "upgrade: websocket")) http = false;
    }
    if (http) serve_file(fd, shared.web_dir);
    else hand_over(shared, fd);
}

void cls_vnc_listener::hand_over(shared_t& shared, int fd) {
    std::lock_guard<std::mutex> lock(shared.lock);
    if (shared.stopped) close(fd);
    else shared.to_vnc(fd);
}

} // namespace ozgi
