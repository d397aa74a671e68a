#include "ozgi/cls_process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>
#if defined(__x86_64__)
#include <emmintrin.h>
#endif

#include "io/process_group.h"
#include "ozgi/cls_stop_signal.h"
#include "ozgi/cls_time.h"

extern char** environ;

namespace ozgi {
namespace {

// Reads are done in chunks this large. Each read takes the pipe's lock from the
// writer, so a fast writer runs at the pipe's speed only when we read much at a
// time (64 KiB reads made a writer of 200 MB spend a tenth of its time spinning
// on that lock).
constexpr int READ_CHUNK = 256 * 1024;
// A bigger pipe lets a fast writer run longer between two of our reads. The
// kernel may refuse it (pipe-max-size); the default then stays.
constexpr int WANTED_PIPE_SIZE = 1024 * 1024;
// Most output held for one stream before the pipe is left to fill up.
constexpr int MAX_PENDING = 1 << 30;
// Longest pause between two exit checks while waiting for a child.
constexpr int MAX_EXIT_POLL_MS = 10;
// How long after an interrupt its group is watched for a member that lost it,
// and how often it is looked at meanwhile (each look reads /proc).
constexpr long long INTERRUPT_WATCH_MS = 5000;
constexpr long long INTERRUPT_LOOK_MS = 50;

// One captured stream of a child: the read end of its pipe and what has been
// read from it but not yet handed out.
//
// A stream with a limit holds at most about that much, so memory stays bounded
// whatever the child writes:
//  - keeping the tail, the pending output is a ring of the limit plus one read:
//    a read goes into it, over the oldest bytes once it is full, and those are
//    counted as dropped. The writer is never held up; the ring is put in order
//    only when it is handed out.
//  - otherwise reading stops at the limit until the output is taken, which holds
//    the writer up at the pipe (for a caller that passes everything on).
// The string handed out is taken back for the next reads once the caller has let
// go of it, so a steady stream of output reads into memory that is already there.
struct stream_t {
    int fd = -1;                // -1 once the pipe reached end of file or was closed
    int pipe_size = 65536;      // most the pipe can hold, so most a child can leave behind
    int limit = 0;              // most bytes held (about); 0: MAX_PENDING
    bool keep_tail = false;     // at the limit, drop the oldest instead of reading no more
    cls_sp<cls_string> store;   // the pending output, or the string handed out last
    bool lent = false;          // `store` was handed out and holds nothing pending
    bool wrapped = false;       // `store` is a full ring: the pending bytes are ring_len from ring_start
    int ring_start = 0;
    int ring_len = 0;
    bool start_at_line = true;  // the byte before the oldest pending one was a newline (valid after a drop)
    long long dropped = 0;          // bytes dropped in all
    long long dropped_handed = 0;   // bytes dropped before the output handed out so far
    long long received = 0;         // bytes read in all
};

// Everything known about one started child. The registry below points at the
// states of all children whose objects are alive.
struct child_state_t {
    pid_t pid = -1;
    bool exited = false;  // reaped, and its pipes drained after the exit was seen
    int status = 0;       // exit status as shells report it, valid once exited
    stream_t out;
    stream_t err;         // used only by execute_cmd when it is asked for standard error
    // The last interrupt of the group, while it is watched (see send_int_signal).
    long long interrupt_ms = -1;       // when it was sent; -1: not watched
    long long next_look_ms = 0;
    int last_pid_at_interrupt = -1;    // the pid most recently handed out just before it
    std::vector<group_member_t> before_interrupt;
    std::vector<int> interrupted_again;
};

// All children of the process that still need attention: the live ones whose
// pipes are drained and that are reaped when they end, and the pids of children
// whose objects were destroyed while they ran, which are only reaped.
// It lives outside the tracked allocator: it is made on first use and never
// freed, and must not show up as a leak of whoever started the first child.
struct registry_t {
    std::vector<child_state_t*> live;
    std::vector<pid_t> orphans;
    std::vector<struct pollfd> poll_set;  // kept between calls so that polling allocates nothing
    std::vector<stream_t*> poll_streams;  // the stream each poll_set entry belongs to
};

registry_t& registry() {
    // Never destroyed: children may still be reaped from static destructors.
    static registry_t* r = new registry_t();
    return *r;
}

int shell_status(int wait_status) {
    if (WIFEXITED(wait_status)) return WEXITSTATUS(wait_status);
    if (WIFSIGNALED(wait_status)) return 128 + WTERMSIG(wait_status);
    return 127;
}

void close_stream(stream_t* s) {
    if (s->fd >= 0) ::close(s->fd);
    s->fd = -1;
}

// Bytes read from the stream and not yet handed out.
int pending_length(const stream_t* s) {
    if (s->lent || s->store.is_null()) return 0;
    return s->wrapped ? s->ring_len : s->store->length();
}

// Most bytes the stream's ring holds: the limit and one read more, so that a full
// ring still keeps the newest `limit` bytes whatever a read brings.
int ring_size(const stream_t* s) { return s->limit + READ_CHUNK; }

// Whether the stream holds all it may until its output is taken.
bool is_full(const stream_t* s) {
    if (s->keep_tail) return false;
    return pending_length(s) >= (s->limit > 0 ? s->limit : MAX_PENDING);
}

// Makes `store` ready to take pending output. The string handed out last is
// reused when the caller has let go of it; one the caller still holds is left to
// it and a new one is started.
void prepare_store(stream_t* s) {
    if (!s->lent && s->store.is_not_null()) return;
    if (s->store.is_not_null() && s->store.ref_count() == 1) s->store->clear();
    else s->store = OZGI_NEW(cls_string)();
    s->lent = false;
    s->wrapped = false;
}

// Drops the `count` oldest bytes of a full ring.
void drop_oldest(stream_t* s, int count) {
    int size = ring_size(s);
    s->start_at_line = s->store->c_str()[(s->ring_start + count - 1) % size] == '\n';
    s->ring_start = (s->ring_start + count) % size;
    s->ring_len -= count;
    s->dropped += count;
}

// Where the next read goes and how much it may bring (0: the stream is full).
char* read_place(stream_t* s, int* room) {
    prepare_store(s);
    cls_string* text = s->store.get();
    if (!s->keep_tail || s->limit <= 0) {
        *room = is_full(s) ? 0 : READ_CHUNK;
        return *room ? text->append_buffer(READ_CHUNK) : nullptr;
    }
    int size = ring_size(s);
    if (!s->wrapped) {
        // Filled in order until the ring is whole; then it turns.
        int left = size - text->length();
        if (left > 0) {
            *room = left < READ_CHUNK ? left : READ_CHUNK;
            return text->append_buffer(*room);
        }
        s->wrapped = true;
        s->ring_start = 0;
        s->ring_len = size;
    }
    int end = (s->ring_start + s->ring_len) % size;
    *room = size - end < READ_CHUNK ? size - end : READ_CHUNK;
    int over = s->ring_len + *room - size;
    if (over > 0) drop_oldest(s, over);
    return text->data() + end;
}

// Counts `count` bytes read at read_place as pending.
void commit_read(stream_t* s, int count) {
    s->received += count;
    if (s->wrapped) s->ring_len += count;
    else s->store->commit_append(count);
}

#if defined(__x86_64__)
// A ring bigger than this does not stay in the cache. It is read through a small
// buffer that does, and copied on with stores that go around the cache: an
// ordinary store to a cold line first reads the line from memory, only to
// replace it. Reading straight into a 16 MiB ring kept a fast writer waiting a
// fifth longer than behind cat; through the buffer it is a tenth.
// FIXME: ARM has such stores too (STNP); without a board to measure them on,
// a ring there is read into directly.
constexpr int COLD_RING = 2 * 1024 * 1024;
char g_read_buffer[READ_CHUNK];

void copy_around_cache(char* to, const char* from, int count) {
    int done = 0;
    while (done < count && (reinterpret_cast<uintptr_t>(to + done) & 15) != 0) {
        to[done] = from[done];
        ++done;
    }
    for (; done + 64 <= count; done += 64) {
        const __m128i* in = reinterpret_cast<const __m128i*>(from + done);
        __m128i* out = reinterpret_cast<__m128i*>(to + done);
        __m128i a = _mm_loadu_si128(in), b = _mm_loadu_si128(in + 1);
        __m128i c = _mm_loadu_si128(in + 2), d = _mm_loadu_si128(in + 3);
        _mm_stream_si128(out, a);
        _mm_stream_si128(out + 1, b);
        _mm_stream_si128(out + 2, c);
        _mm_stream_si128(out + 3, d);
    }
    _mm_sfence();
    std::memcpy(to + done, from + done, static_cast<size_t>(count - done));
}

// Where a read for `place` goes: the cached buffer when `place` is in a cold ring.
char* read_target(const stream_t* s, char* place) {
    return s->keep_tail && s->limit > COLD_RING ? g_read_buffer : place;
}
#else
char* read_target(const stream_t*, char* place) { return place; }
void copy_around_cache(char*, const char*, int) {}
#endif

// Reads what the pipe holds now, at most about `limit` bytes (a writer that never
// pauses must not keep us here forever). End of file closes the stream.
void drain_stream(stream_t* s, long limit) {
    long total = 0;
    while (s->fd >= 0 && total < limit) {
        int room = 0;
        // The pipe is read into the string that is handed out (straight, or
        // through the cached buffer for a cold ring), so the output is copied
        // nowhere else on its way to the caller. Output that does not fit stays
        // in the pipe, which holds the writer up.
        char* place = read_place(s, &room);
        if (room == 0) break;
        char* target = read_target(s, place);
        ssize_t n = ::read(s->fd, target, room);
        if (n > 0) {
            if (target != place) copy_around_cache(place, target, static_cast<int>(n));
            commit_read(s, static_cast<int>(n));
            total += n;
        } else if (n == 0) {
            close_stream(s);
        } else if (errno == EINTR) {
            continue;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            break;
        } else {
            close_stream(s);
        }
    }
}

// Everything the child wrote before it ended is in its pipe by now, at most one
// pipe's worth; reading that much takes all of it even if a grandchild that
// inherited the pipe keeps writing.
void note_exit(child_state_t* c, int wait_status) {
    drain_stream(&c->out, c->out.pipe_size);
    drain_stream(&c->err, c->err.pipe_size);
    c->status = shell_status(wait_status);
    c->exited = true;
}

void check_exit(child_state_t* c) {
    if (c->exited) return;
    int ws = 0;
    pid_t got = ::waitpid(c->pid, &ws, WNOHANG);
    if (got == c->pid) note_exit(c, ws);
    else if (got < 0 && errno == ECHILD) note_exit(c, 127 << 8);  // someone else reaped it
}

// A shell catches SIGINT, and a child it has just forked runs the shell's
// handler until it calls exec: a group interrupt that lands in between is taken
// by that handler and forgotten at the exec, and the program then runs with
// SIGINT at its default, uninterrupted, while the shell waits for it. Such a
// member is interrupted once more on its own: one that has SIGINT at its default
// and is still there, and that either was not yet to be seen before the
// interrupt although its pid had been handed out (a fork under way), or has run
// another program since. Members made after the interrupt (by a trap handling
// it, say) and members that handle SIGINT themselves are left alone. (A fork
// that gets its pid in the microseconds between the reading of the newest pid
// and the signal is not covered.)
void watch_interrupt(child_state_t* c) {
    if (c->interrupt_ms < 0) return;
    long long now = cls_time::now_ms();
    if (c->exited || now - c->interrupt_ms > INTERRUPT_WATCH_MS) {
        c->interrupt_ms = -1;
        c->before_interrupt.clear();
        c->interrupted_again.clear();
        return;
    }
    if (now < c->next_look_ms) return;
    c->next_look_ms = now + INTERRUPT_LOOK_MS;
    for (const group_member_t& m : list_process_group(c->pid)) {
        if (!m.sigint_default) continue;
        if (std::find(c->interrupted_again.begin(), c->interrupted_again.end(), m.pid) != c->interrupted_again.end())
            continue;
        const group_member_t* was = nullptr;
        for (const group_member_t& b : c->before_interrupt)
            if (b.pid == m.pid) was = &b;
        bool missed = was ? was->exe != m.exe : created_by(m.pid, c->last_pid_at_interrupt);
        if (!missed) continue;
        ::kill(m.pid, SIGINT);
        c->interrupted_again.push_back(m.pid);
    }
}

void reap_orphans() {
    std::vector<pid_t>& orphans = registry().orphans;
    for (size_t i = orphans.size(); i-- > 0;) {
        pid_t got = ::waitpid(orphans[i], nullptr, WNOHANG);
        if (got == orphans[i] || (got < 0 && errno == ECHILD)) orphans.erase(orphans.begin() + i);
    }
}

void unregister(child_state_t* c) {
    std::vector<child_state_t*>& live = registry().live;
    for (size_t i = 0; i < live.size(); ++i) {
        if (live[i] == c) {
            live.erase(live.begin() + i);
            return;
        }
    }
}

int open_pipe(stream_t* s) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return -1;
    ::fcntl(fds[0], F_SETFL, ::fcntl(fds[0], F_GETFL) | O_NONBLOCK);
    ::fcntl(fds[0], F_SETPIPE_SZ, WANTED_PIPE_SIZE);
    int size = ::fcntl(fds[0], F_GETPIPE_SZ);
    if (size > 0) s->pipe_size = size;
    s->fd = fds[0];
    return fds[1];
}

// `at` moved forward past UTF-8 continuation bytes, so that a cut inside an
// endless line does not split a character.
int character_start(const cls_string& text, int at) {
    while (at < text.length() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
    return at;
}

// Where the output handed out begins when the stream dropped some or holds more
// than its limit: the first line start that leaves at most the limit, or, in a
// line longer than that, the first character that does.
int tail_start(const stream_t* s, const cls_string& text, bool gap) {
    int skip = text.length() > s->limit ? text.length() - s->limit : 0;
    if (skip == 0 && (!gap || s->start_at_line)) return 0;
    // A line starts at i when byte i - 1 is a newline; with nothing to skip, the
    // first byte begins one only when the dropped output ended with a newline.
    int nl = text.find('\n', skip > 0 ? skip - 1 : 0);
    return nl == cls_string::NOT_FOUND ? character_start(text, skip) : nl + 1;
}

cls_sp<cls_string> take(stream_t* s) {
    if (pending_length(s) == 0) return cls_sp<cls_string>(OZGI_NEW(cls_string)());
    cls_string* text = s->store.get();
    if (s->wrapped) {
        // The ring is put in order where it is; the oldest byte comes first.
        char* bytes = text->data();
        std::rotate(bytes, bytes + s->ring_start, bytes + ring_size(s));
        text->replace(s->ring_len, -1, nullptr, 0);
        s->wrapped = false;
    }
    bool gap = s->dropped > s->dropped_handed;
    if (s->keep_tail && s->limit > 0 && (gap || text->length() > s->limit)) {
        int cut = tail_start(s, *text, gap);
        s->dropped += cut;
        text->replace(0, cut, nullptr, 0);
    }
    s->dropped_handed = s->dropped;
    s->lent = true;
    // The buffer itself is handed over, so even a large amount of output is never copied.
    return s->store;
}

// Starts the child; false when it could not be started at all.
bool spawn(child_state_t* c, const cls_array<cls_string>& argv, const cls_string& work_dir, bool capture_err) {
    if (argv.is_empty()) return false;
    int out_w = open_pipe(&c->out);
    if (out_w < 0) return false;
    int err_w = -1;
    if (capture_err) {
        err_w = open_pipe(&c->err);
        if (err_w < 0) {
            ::close(out_w);
            return false;
        }
    }

    // Built before the spawn: the child may only call exec.
    char** args = static_cast<char**>(
        cls_mem_mgr::alloc_buf(sizeof(char*) * (argv.count() + 1), __FILE__, __func__, __LINE__));
    for (int i = 0; i < argv.count(); ++i) args[i] = const_cast<char*>(argv[i].c_str());
    args[argv.count()] = nullptr;

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (work_dir.is_not_empty()) posix_spawn_file_actions_addchdir_np(&actions, work_dir.c_str());
    // dup2 leaves the copy without close-on-exec; the originals close at exec.
    posix_spawn_file_actions_adddup2(&actions, out_w, STDOUT_FILENO);
    if (err_w >= 0) posix_spawn_file_actions_adddup2(&actions, err_w, STDERR_FILENO);

    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    // Its own process group, so an interrupt reaches the child and all it starts.
    posix_spawnattr_setpgroup(&attr, 0);
    // The child starts with ordinary signal handling whatever this program
    // ignores or blocks; a test that ignored SIGINT or SIGPIPE could not be stopped.
    sigset_t defaults;
    sigemptyset(&defaults);
    for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD, SIGTSTP, SIGTTIN,
                    SIGTTOU})
        sigaddset(&defaults, sig);
    posix_spawnattr_setsigdefault(&attr, &defaults);
    sigset_t no_mask;
    sigemptyset(&no_mask);
    posix_spawnattr_setsigmask(&attr, &no_mask);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

    // The program path is the caller's: a relative path with a "/" names a file
    // from the program's own directory, not from the child's working directory
    // (the spawn changes directory before it looks the program up).
    cls_string program = argv[0];
    if (work_dir.is_not_empty() && program.has('/') && program.not_begin_with("/")) {
        char cwd[4096];
        if (::getcwd(cwd, sizeof(cwd))) program = cls_string(cwd) + "/" + program;
    }

    pid_t pid = -1;
    // A failed chdir or exec is reported here, and the failed child is already reaped.
    int rc = ::posix_spawnp(&pid, program.c_str(), &actions, &attr, args, environ);

    posix_spawnattr_destroy(&attr);
    posix_spawn_file_actions_destroy(&actions);
    cls_mem_mgr::release_buf(args);
    ::close(out_w);
    if (err_w >= 0) ::close(err_w);
    if (rc != 0) {
        close_stream(&c->out);
        close_stream(&c->err);
        return false;
    }
    c->pid = pid;
    return true;
}

} // namespace

struct cls_process::impl_t : child_state_t {};

/// Starts the child at once; see the header for what it inherits.
cls_process::cls_process(const cls_array<cls_string>& argv, const cls_string& work_dir)
    : cls_process(argv, work_dir, false) {}

/// Starts the child, with its standard error captured as well when `capture_err`.
cls_process::cls_process(const cls_array<cls_string>& argv, const cls_string& work_dir, bool capture_err)
    : m_impl(OZGI_NEW(impl_t)()), m_pid(-1) {
    if (spawn(m_impl, argv, work_dir, capture_err)) {
        m_pid = m_impl->pid;
        registry().live.push_back(m_impl);
    } else {
        // Like a shell that cannot find the program: status 127, nothing written.
        m_impl->exited = true;
        m_impl->status = 127;
    }
}

/// Closes the pipes and forgets the child; a running child is left running and
/// reaped by a later pump().
cls_process::~cls_process() {
    unregister(m_impl);
    if (!m_impl->exited && ::waitpid(m_impl->pid, nullptr, WNOHANG) == 0) registry().orphans.push_back(m_impl->pid);
    close_stream(&m_impl->out);
    close_stream(&m_impl->err);
    ozgi_delete(m_impl);
}

/// Bounds what is held of the standard output; see the header.
void cls_process::set_output_limit(int limit, bool keep_tail) {
    stream_t* s = &m_impl->out;
    // A ring cannot be laid over output already read.
    if (s->received > 0) return;
    s->limit = limit <= 0 ? 0 : (limit < MAX_PENDING ? limit : MAX_PENDING);
    s->keep_tail = keep_tail && s->limit > 0;
}

/// Bytes of output dropped before the output read_to_str has handed out so far.
long long cls_process::dropped_bytes() const { return m_impl->out.dropped_handed; }

/// Output that arrived since the previous call (possibly empty, never null).
cls_sp<cls_string> cls_process::read_to_str() {
    pump(0);
    return take(&m_impl->out);
}

/// Polls for the end without blocking. The child counts as ended only once its
/// output up to the exit has been read from the pipe, so a read_to_str after a
/// true answer still returns everything it wrote. When this very call collected
/// output and saw the end, it answers false once more: a caller that reads and
/// then asks on every tick gets that last output with its next read instead of
/// losing it to a process it deletes as soon as it hears "ended".
bool cls_process::is_ended() {
    bool ended_before = m_impl->exited;
    long long received_before = m_impl->out.received;
    pump(0);
    check_exit(m_impl);
    if (!m_impl->exited) return false;
    // A stream that holds all it may leaves the rest of the output in the pipe
    // until it is read.
    if (is_full(&m_impl->out)) return false;
    if (ended_before) return true;
    return m_impl->out.received == received_before;
}

/// Blocks until the child ends, draining every live pipe meanwhile, and returns
/// its status (128 + signal number for a child killed by a signal).
int cls_process::wait_for_exit() {
    int pause_ms = 1;
    for (;;) {
        // Nothing returns to the event loop while this waits: a stop signal ends the program here.
        cls_stop_signal::end_if_received();
        check_exit(m_impl);
        if (m_impl->exited) return m_impl->status;
        // Output wakes the poll at once; the exit itself is only seen by the
        // next check, so the pause grows to a small bound.
        pump(pause_ms);
        if (pause_ms < MAX_EXIT_POLL_MS) pause_ms *= 2;
    }
}

/// Sends SIGINT to the child's process group; nothing once the child is reaped,
/// since its ids may belong to someone else by then.
void cls_process::send_int_signal() {
    check_exit(m_impl);
    if (m_impl->exited || m_impl->pid <= 0) return;
    // The group as it is before the interrupt, and the newest pid just before
    // it, tell later which members can have missed it (see watch_interrupt). The
    // pid is read last and before the signal: a process that a member makes in
    // answer to the signal always comes after it.
    m_impl->before_interrupt = list_process_group(m_impl->pid);
    m_impl->interrupted_again.clear();
    m_impl->last_pid_at_interrupt = last_created_pid();
    if (::kill(-m_impl->pid, SIGINT) != 0) ::kill(m_impl->pid, SIGINT);
    m_impl->interrupt_ms = cls_time::now_ms();
    m_impl->next_look_ms = m_impl->interrupt_ms;
}

/// Runs `command_line` through /bin/sh -c and returns its standard output.
cls_sp<cls_string> cls_process::execute_cmd(const cls_string& command_line) {
    cls_array<cls_string> argv;
    argv.append("/bin/sh").append("-c").append(command_line);
    return execute_cmd(argv);
}

/// Runs argv to completion and returns its standard output (empty when it could not start).
cls_sp<cls_string> cls_process::execute_cmd(const cls_array<cls_string>& argv) {
    cls_string* out = OZGI_NEW(cls_string)();
    execute_cmd(argv, out, nullptr);
    return cls_sp<cls_string>(out);
}

/// Runs argv to completion; `out` gets its standard output and `err` its standard
/// error (which is otherwise inherited). Returns the exit status.
int cls_process::execute_cmd(const cls_array<cls_string>& argv, cls_string* out, cls_string* err) {
    cls_process p(argv, cls_string(), err != nullptr);
    int status = p.wait_for_exit();
    if (out) *out = *p.read_to_str();
    if (err) *err = *take(&p.m_impl->err);
    return status;
}

/// Waits up to `timeout_ms` for output on any live pipe, drains whatever is
/// there, notes children that ended and reaps orphaned ones.
void cls_process::pump(int timeout_ms) {
    registry_t& r = registry();
    reap_orphans();
    r.poll_set.clear();
    r.poll_streams.clear();
    for (child_state_t* c : r.live) {
        for (stream_t* s : {&c->out, &c->err}) {
            // A stream holding the most it may is left out, or the poll would spin.
            if (s->fd < 0 || is_full(s)) continue;
            struct pollfd p;
            p.fd = s->fd;
            p.events = POLLIN;
            p.revents = 0;
            r.poll_set.push_back(p);
            r.poll_streams.push_back(s);
        }
    }
    if (r.poll_set.empty()) {
        // Nothing to wait for; an endless wait would never end.
        if (timeout_ms > 0) ::poll(nullptr, 0, timeout_ms);
    } else if (::poll(r.poll_set.data(), r.poll_set.size(), timeout_ms) > 0) {
        for (size_t i = 0; i < r.poll_set.size(); ++i) {
            if (r.poll_set[i].revents == 0) continue;
            stream_t* s = r.poll_streams[i];
            // Twice the pipe's size: enough to empty it even while the writer refills it.
            drain_stream(s, 2L * s->pipe_size);
        }
    }
    for (child_state_t* c : r.live) {
        check_exit(c);
        watch_interrupt(c);
    }
    reap_orphans();
}

/// SIGTERM to the group of every child not yet reaped, a grace time, SIGKILL to
/// the groups that still have members, then reaping. Leaders stay unreaped until
/// the end, so their ids cannot be handed to anyone else while they are signalled.
void cls_process::stop_all(int grace_ms) {
    registry_t& r = registry();
    reap_orphans();
    std::vector<pid_t> leaders(r.orphans);
    for (child_state_t* c : r.live)
        if (!c->exited && c->pid > 0) leaders.push_back(c->pid);
    if (leaders.empty()) return;
    for (pid_t pid : leaders)
        if (::kill(-pid, SIGTERM) != 0) ::kill(pid, SIGTERM);
    long long deadline = cls_time::now_ms() + (grace_ms > 0 ? grace_ms : 0);
    std::vector<pid_t> running(leaders);
    while (!running.empty()) {
        for (size_t i = running.size(); i-- > 0;)
            if (list_process_group(running[i]).empty()) running.erase(running.begin() + i);
        if (running.empty() || cls_time::now_ms() >= deadline) break;
        ::poll(nullptr, 0, MAX_EXIT_POLL_MS);
    }
    for (pid_t pid : running)
        if (::kill(-pid, SIGKILL) != 0) ::kill(pid, SIGKILL);
    // Killed children end at once unless stuck in the kernel; one that is still
    // there after a while is left to init rather than holding the program up.
    deadline = cls_time::now_ms() + grace_ms;
    for (;;) {
        bool waiting = false;
        for (child_state_t* c : r.live) {
            check_exit(c);
            waiting = waiting || !c->exited;
        }
        reap_orphans();
        if ((!waiting && r.orphans.empty()) || cls_time::now_ms() >= deadline) break;
        ::poll(nullptr, 0, 1);
    }
}

/// Copies the read ends of the live pipes into `fds`; returns how many.
int cls_process::pipe_fds(int* fds, int max) {
    int n = 0;
    for (child_state_t* c : registry().live) {
        if (c->out.fd >= 0 && n < max) fds[n++] = c->out.fd;
        if (c->err.fd >= 0 && n < max) fds[n++] = c->err.fd;
    }
    return n;
}

/// Copies the pids of the live children that have not ended into `pids`; returns how many.
int cls_process::live_pids(int* pids, int max) {
    int n = 0;
    for (child_state_t* c : registry().live) {
        if (!c->exited && c->pid > 0 && n < max) pids[n++] = c->pid;
    }
    return n;
}

} // namespace ozgi
