// Idle cost: the CPU time the real program uses while it shows a page and nothing
// happens. The program is started as a child, left 2 s to settle, and then its
// CPU time is read from /proc before and after 10 s of idling.
//
// The headless display and the framebuffer backend (on a file standing in for
// the panel, with a FIFO as its silent touch screen) are always measured; the
// SDL window only when DISPLAY is set (run the benchmark under `xvfb-run -a -s "-screen 0 640x800x24"`). The
// program is build/vesk next to this benchmark's directory; the environment
// variable VESK_IDLE_PROGRAM names another one.
#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "bench_menu.h"
#include "ozgi/if_display_backend.h"

namespace {

constexpr int SETTLE_MS = 2000;
constexpr int IDLE_MS = 10000;


// CPU time (user and system) that process `pid` has used so far, all its threads
// together (SDL may start threads of its own), in nanoseconds. The scheduler's own
// per-thread counts are exact; /proc/PID/stat's clock ticks are the fallback.
long long cpu_ns(pid_t pid) {
    std::string task_dir = "/proc/" + std::to_string(pid) + "/task";
    if (DIR* tasks = ::opendir(task_dir.c_str())) {
        long long total = 0;
        bool any = false;
        while (dirent* e = ::readdir(tasks)) {
            if (e->d_name[0] == '.') continue;
            std::ifstream sched(task_dir + "/" + e->d_name + "/schedstat");
            long long ns = 0;
            if (sched >> ns) {
                total += ns;
                any = true;
            }
        }
        ::closedir(tasks);
        if (any) return total;
    }
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string all((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    size_t close = all.rfind(')');
    if (close == std::string::npos) return -1;
    std::istringstream rest(all.substr(close + 2));
    std::string field;
    long long utime = 0, stime = 0;
    // After the name come the state (field 3) and fields 4 to 13; 14 and 15 are the times.
    for (int i = 3; i <= 15 && rest >> field; ++i) {
        if (i == 14) utime = std::atoll(field.c_str());
        if (i == 15) stime = std::atoll(field.c_str());
    }
    return (utime + stime) * (1000000000LL / ::sysconf(_SC_CLK_TCK));
}

// Starts the program on its first page with `video`, idles it and returns the CPU
// time it used over IDLE_MS, in nanoseconds (-1 when it could not be measured).
// With `fbdev` the program draws on a file and reads a FIFO that stays silent.
long long idle_cpu_ns(const std::string& video, bool fbdev = false) {
    char dir[] = "/tmp/vesk_idle_XXXXXX";
    if (!::mkdtemp(dir)) return -1;
    std::vector<std::string> extra;
    std::string fb = std::string(dir) + "/fb", fifo = std::string(dir) + "/touch";
    int fifo_fd = -1;
    if (fbdev) {
        if (::mkfifo(fifo.c_str(), 0600) != 0) return -1;
        // Held open here so that the program's input is a live, quiet device.
        fifo_fd = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
        std::ofstream(fb.c_str());
        extra = {"--ozgi-fbdev=" + fb, "--ozgi-fb-geometry=640x800:32", "--ozgi-input=" + fifo};
    }
    // The script keeps the program running (waiting is idling) well past the measurement.
    std::string script = std::string(dir) + "/idle.script";
    {
        std::ofstream out(script);
        out << "wait " << (SETTLE_MS + IDLE_MS + 5000) << "\nquit\n";
    }
    std::string program = bench::program_path("VESK_IDLE_PROGRAM");
    pid_t pid = ::fork();
    if (pid == 0) {
        // An empty menu directory: the local device finds nothing to list.
        if (::chdir(dir) != 0) ::_exit(127);
        std::string video_arg = "--ozgi-video=" + video, script_arg = "--ozgi-script=" + script;
        std::vector<char*> argv = {&program[0], &video_arg[0], &script_arg[0]};
        for (std::string& a : extra) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    long long used = -1;
    if (pid > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(SETTLE_MS));
        long long before = cpu_ns(pid);
        std::this_thread::sleep_for(std::chrono::milliseconds(IDLE_MS));
        long long after = cpu_ns(pid);
        int status = 0;
        // Still running (not a zombie that failed at start-up) when the figures were taken.
        bool alive = ::waitpid(pid, &status, WNOHANG) == 0;
        if (alive) {
            ::kill(pid, SIGTERM);
            ::waitpid(pid, &status, 0);
        }
        if (alive && before >= 0 && after >= before) used = after - before;
    }
    std::remove(script.c_str());
    if (fifo_fd >= 0) ::close(fifo_fd);
    std::remove(fb.c_str());
    std::remove(fifo.c_str());
    ::rmdir(dir);
    return used;
}

void run_idle(benchmark::State& state, const char* video, bool fbdev = false) {
    long long used = -1;
    for (auto _ : state) used = idle_cpu_ns(video, fbdev);
    if (used < 0) {
        state.SkipWithError("the program could not be started or measured");
        return;
    }
    state.counters["cpu_ms_in_10s"] = static_cast<double>(used) / 1e6;
    state.counters["percent_of_a_core"] = 100.0 * static_cast<double>(used) / (IDLE_MS * 1e6);
}

void BM_idle_headless(benchmark::State& state) { run_idle(state, "headless"); }
BENCHMARK(BM_idle_headless)->Iterations(1)->Unit(benchmark::kSecond);

void BM_idle_fbdev(benchmark::State& state) { run_idle(state, "fbdev", true); }
BENCHMARK(BM_idle_fbdev)->Iterations(1)->Unit(benchmark::kSecond);

void BM_idle_sdl(benchmark::State& state) {
    ozgi::cls_string error;
    ozgi::display_options_t sdl;
    sdl.video = "sdl";
    if (ozgi::create_display_backend(sdl, &error).is_null()) {
        state.SkipWithError("built without SDL");
        for (auto _ : state) {
        }
        return;
    }
    if (!std::getenv("DISPLAY")) {
        state.SkipWithError("DISPLAY is not set: run under xvfb-run for the SDL figure");
        for (auto _ : state) {
        }
        return;
    }
    run_idle(state, "sdl");
}
BENCHMARK(BM_idle_sdl)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace

BENCHMARK_MAIN();
