// What a user feels: a real client program (the demo) driven through the X server (XTest)
// while a farm of a million jobs changes 5,000 times a second, and the time from each input to
// the screen showing its result (the pixels of the rows, not the header's arrow). The farm runs
// in its own process (taviro-master), and beside it as the demo's embedded master.
//
// Sections: processes and their load; the screen; input; one interaction; the runs; main.
//
//   bench_latency [--quick] [--tries N] [--jobs N] [--rate N]
//   BENCH_LATENCY_DUMP=/tmp/x saves the screen (x-1.png ...) of the first three tries that saw no
//   change (needs xwd and netpbm). BENCH_LATENCY_ONLY=L1,L6 measures those figures alone.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <map>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

double NowMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void SleepMs(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

// ---- processes and their load ----

struct Process {
    pid_t pid = -1;
    int out = -1;
    std::string buffer;

    Process(const std::string& program, const std::vector<std::string>& args) {
        int fds[2];
        if (pipe(fds) != 0) return;
        pid = fork();
        if (pid == 0) {
            dup2(fds[1], 1);
            close(fds[0]);
            close(fds[1]);
            std::vector<char*> argv{const_cast<char*>(program.c_str())};
            for (const std::string& a : args)
                argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            execv(program.c_str(), argv.data());
            _exit(127);
        }
        close(fds[1]);
        out = fds[0];
    }
    ~Process() {
        if (pid > 0) {
            kill(pid, SIGTERM);
            for (int i = 0; i < 100 && waitpid(pid, nullptr, WNOHANG) == 0; ++i)
                SleepMs(100);
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        if (out >= 0) close(out);
    }
    // The next line of output, or "" after the time-out.
    std::string Line(int timeoutMs) {
        const double end = NowMs() + timeoutMs;
        for (;;) {
            const size_t nl = buffer.find('\n');
            if (nl != std::string::npos) {
                std::string line = buffer.substr(0, nl);
                buffer.erase(0, nl + 1);
                return line;
            }
            const int left = int(end - NowMs());
            pollfd p{out, POLLIN, 0};
            if (left <= 0 || poll(&p, 1, left) <= 0) return std::string();
            char chunk[4096];
            const ssize_t n = read(out, chunk, sizeof chunk);
            if (n <= 0) return std::string();
            buffer.append(chunk, size_t(n));
        }
    }
    // CPU seconds used so far.
    double Cpu() const {
        char path[64];
        snprintf(path, sizeof path, "/proc/%d/stat", int(pid));
        FILE* f = fopen(path, "r");
        if (!f) return 0;
        char text[1024] = {};
        const size_t n = fread(text, 1, sizeof text - 1, f);
        fclose(f);
        text[n] = 0;
        const char* p = strrchr(text, ')');
        unsigned long utime = 0, stime = 0;
        if (p) sscanf(p + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &utime, &stime);
        return double(utime + stime) / double(sysconf(_SC_CLK_TCK));
    }
};

double LoadAverage() {
    double load = 0;
    if (FILE* f = fopen("/proc/loadavg", "r")) {
        if (fscanf(f, "%lf", &load) != 1) load = 0;
        fclose(f);
    }
    return load;
}

// ---- the screen ----

struct Rect {
    int x = 0, y = 0, w = 0, h = 0;
};

Display* g_Display = nullptr;

// One grab: the luminance of every pixel of the rectangle.
std::vector<uint8_t> Grab(const Rect& r) {
    std::vector<uint8_t> lum;
    XImage* image = XGetImage(g_Display, DefaultRootWindow(g_Display), r.x, r.y, unsigned(r.w),
                              unsigned(r.h), AllPlanes, ZPixmap);
    if (!image) return lum;
    lum.resize(size_t(r.w) * size_t(r.h));
    for (int y = 0; y < r.h; ++y)
        for (int x = 0; x < r.w; ++x) {
            const unsigned long p = XGetPixel(image, x, y);
            lum[size_t(y) * size_t(r.w) + size_t(x)] = uint8_t(
                (((p >> 16) & 255) * 299 + ((p >> 8) & 255) * 587 + (p & 255) * 114) / 1000);
        }
    XDestroyImage(image);
    return lum;
}

// What the rows show, whatever colour the farm gives them now: a pixel is ink when it stands
// out from its scanline's background (taken at the region's left edge, in a cell's padding).
std::vector<uint8_t> Ink(const std::vector<uint8_t>& lum, const Rect& r) {
    std::vector<uint8_t> ink(lum.size());
    for (int y = 0; y < r.h; ++y) {
        const int bg = lum[size_t(y) * size_t(r.w)];
        for (int x = 0; x < r.w; ++x) {
            const size_t i = size_t(y) * size_t(r.w) + size_t(x);
            ink[i] = std::abs(int(lum[i]) - bg) > 60;
        }
    }
    return ink;
}

// ---- input ----

void Flush() {
    XSync(g_Display, False);
}

void MoveTo(int x, int y) {
    XTestFakeMotionEvent(g_Display, -1, x, y, 0);
    Flush();
}

// There is no window manager to give a clicked window the keyboard: do as one would.
void FocusWindowAt(int x, int y) {
    const Window root = DefaultRootWindow(g_Display);
    Window top = 0;
    int wx = 0, wy = 0;
    XTranslateCoordinates(g_Display, root, root, x, y, &wx, &wy, &top);
    if (top) XSetInputFocus(g_Display, top, RevertToPointerRoot, CurrentTime);
}

void Click(int x, int y, unsigned button = 1) {
    MoveTo(x, y);
    if (button == 1) FocusWindowAt(x, y);
    XTestFakeButtonEvent(g_Display, button, True, 0);
    XTestFakeButtonEvent(g_Display, button, False, 0);
    Flush();
}

void Key(KeySym sym) {
    const KeyCode code = XKeysymToKeycode(g_Display, sym);
    XTestFakeKeyEvent(g_Display, code, True, 0);
    XTestFakeKeyEvent(g_Display, code, False, 0);
    Flush();
}

void Drag(int x, int y, int dx) {
    MoveTo(x, y);
    XTestFakeButtonEvent(g_Display, 1, True, 0);
    Flush();
    for (int i = 1; i <= 4; ++i)
        MoveTo(x + dx * i / 4, y);
    XTestFakeButtonEvent(g_Display, 1, False, 0);
    Flush();
}

// ---- one interaction ----

struct Figure {
    std::string name;
    std::vector<double> ms;
};

double Percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    const size_t i = size_t(std::ceil(p * double(v.size()))) - 1;
    return v[std::min(i, v.size() - 1)];
}

// Sends the input and times until the region differs from before by more than `share` of its
// ink (rows), or of its pixels (`ink` false: a page or a menu); 5 s when it never does.
double TimeToPixels(const Rect& region, bool ink, double share,
                    const std::function<void()>& input) {
    auto view = [&] {
        const std::vector<uint8_t> lum = Grab(region);
        return ink ? Ink(lum, region) : lum;
    };
    const std::vector<uint8_t> before = view();
    size_t base = 0;
    for (uint8_t v : before)
        base += ink ? v : 1;
    const size_t needed = std::max<size_t>(40, size_t(share * double(std::max<size_t>(base, 1))));
    const double start = NowMs();
    input();
    while (NowMs() - start < 5000) {
        const std::vector<uint8_t> now = view();
        size_t differ = 0;
        for (size_t i = 0; i < now.size() && i < before.size(); ++i)
            differ += ink ? now[i] != before[i] : std::abs(int(now[i]) - int(before[i])) > 24;
        if (differ >= needed) return NowMs() - start;
        // Grabbing without a pause would take a core and the X server from the client measured.
        SleepMs(2);
    }
    if (const char* dump = getenv("BENCH_LATENCY_DUMP")) { // what the screen showed instead
        static int n = 0;
        const std::string command = "xwd -root -silent | xwdtopnm 2>/dev/null | pnmtopng > " +
                                    std::string(dump) + "-" + std::to_string(++n) + ".png";
        if (n <= 3 && system(command.c_str()) != 0) fprintf(stderr, "no picture taken\n");
    }
    return 5000;
}

// ---- the runs ----

struct Layout {
    Rect header, body, filter;
    std::map<int, std::pair<int, int>> columns; // type -> screen x, width
    std::map<std::string, Rect> tabs;           // page name -> tab
};

bool ReadLayout(Process& demo, Layout& layout) {
    bool any = false;
    for (std::string line = demo.Line(120000); !line.empty(); line = demo.Line(3000)) {
        char what[64] = {};
        Rect r;
        int type = 0, x = 0, w = 0;
        if (sscanf(line.c_str(), "LAYOUT column %d %d %d", &type, &x, &w) == 3) {
            layout.columns[type] = {x, w};
        } else if (sscanf(line.c_str(), "LAYOUT %63s %d %d %d %d", what, &r.x, &r.y, &r.w, &r.h) ==
                   5) {
            const std::string name(what);
            if (name == "header") layout.header = r;
            if (name == "body") layout.body = r;
            if (name == "filter") layout.filter = r;
            if (name.rfind("tab-", 0) == 0) layout.tabs[name.substr(4)] = r;
            any = true;
        }
        if (layout.filter.w > 0 && !layout.columns.empty()) break;
    }
    return any && layout.body.w > 0;
}

// The refresh intervals of the main window (ms) from the demo's log, after `fromLine`.
std::vector<double> RefreshIntervals(const std::string& log, size_t fromLine) {
    std::vector<double> times, gaps;
    FILE* f = fopen(log.c_str(), "r");
    if (!f) return gaps;
    char line[512];
    size_t n = 0;
    while (fgets(line, sizeof line, f)) {
        if (n++ < fromLine || !strstr(line, "INFO    Refresh ")) continue;
        int h = 0, m = 0;
        double s = 0;
        if (sscanf(line, "%*d-%*d-%*d %d:%d:%lf", &h, &m, &s) == 3)
            times.push_back(((h * 60 + m) * 60 + s) * 1000);
    }
    fclose(f);
    for (size_t i = 1; i < times.size(); ++i)
        gaps.push_back(times[i] - times[i - 1]);
    return gaps;
}

size_t LineCount(const std::string& path) {
    size_t n = 0;
    if (FILE* f = fopen(path.c_str(), "r")) {
        for (int c; (c = fgetc(f)) != EOF;)
            n += c == '\n';
        fclose(f);
    }
    return n;
}

struct Run {
    const char* label;
    long jobs;
    int rate;
    bool process; // the farm in taviro-master
};

std::string g_Bin;     // where the demo and the master were built
std::string g_Scratch; // options, logs

void Print(const Run& run, const std::string& name, const std::vector<double>& ms, const char* goal,
           const std::string& load) {
    printf("%-34s %-26s p50 %7.1f ms  p95 %7.1f ms  worst %7.1f ms  (n=%zu)  goal %s  [%s]\n",
           name.c_str(), run.label, Percentile(ms, 0.5), Percentile(ms, 0.95),
           ms.empty() ? 0 : *std::max_element(ms.begin(), ms.end()), ms.size(), goal, load.c_str());
    fflush(stdout);
}

// Starts taviro-master on free loopback ports; the port clients connect to, 0 when it failed.
int StartMaster(std::unique_ptr<Process>& master, long jobs, int rate, const std::string& dir) {
    master.reset(
        new Process(g_Bin + "/master/taviro-master",
                    {"--port", "0", "--pub-port", "0", "--bind", "127.0.0.1", "--jobs",
                     std::to_string(jobs), "--rate", std::to_string(rate), "--log-dir", dir}));
    for (std::string line = master->Line(30000); !line.empty(); line = master->Line(30000)) {
        const size_t at = line.find("127.0.0.1:");
        if (at != std::string::npos) return atoi(line.c_str() + at + 10);
    }
    return 0;
}

void Measure(const Run& run, int tries) {
    static int serial = 0;
    const std::string dir = g_Scratch + "/run" + std::to_string(++serial);
    mkdir(dir.c_str(), 0700);
    {
        // A known place and size; arrival order to start with.
        FILE* f = fopen((dir + "/options.ini").c_str(), "w");
        fprintf(f, "[Window]\nWindow = 0, 0, 1400, 950\nIsMaximized = No\n");
        fclose(f);
    }
    std::unique_ptr<Process> master;
    std::vector<std::string> args = {"--name",
                                     "LatencyBench" + std::to_string(serial),
                                     "--allow-second",
                                     "--options",
                                     dir + "/options.ini",
                                     "--log-dir",
                                     dir,
                                     "--log-refreshes",
                                     "--page",
                                     "jobs",
                                     "--report-layout",
                                     "--scheme",
                                     "3"};
    if (run.process) {
        const int port = StartMaster(master, run.jobs, run.rate, dir);
        if (!port) {
            printf("%s: the master did not start\n", run.label);
            return;
        }
        args.insert(args.end(), {"--master", "127.0.0.1:" + std::to_string(port)});
    } else {
        args.insert(args.end(),
                    {"--jobs", std::to_string(run.jobs), "--rate", std::to_string(run.rate)});
    }
    const std::string log = dir + "/LatencyBench" + std::to_string(serial) + ".log";
    Process demo(g_Bin + "/demo/taviro-demo", args);
    Layout layout;
    if (!ReadLayout(demo, layout)) {
        printf("%s: the demo reported no layout\n", run.label);
        return;
    }
    // The whole farm in, and the messages that came meanwhile handled: the refresh lines count
    // the jobs and the messages still queued (steady state, not the minute after joining).
    const double joinStart = NowMs(), waitEnd = NowMs() + 300000;
    double joined = 0;
    for (;;) {
        long jobs = 0, queued = 0;
        if (FILE* f = fopen(log.c_str(), "r")) {
            char line[512];
            while (fgets(line, sizeof line, f))
                if (const char* p = strstr(line, "INFO    Refresh ")) {
                    sscanf(strchr(p, ':') + 1, "%ld", &jobs);
                    if (const char* q = strstr(p, "handled, ")) sscanf(q + 9, "%ld", &queued);
                }
            fclose(f);
        }
        if (jobs >= run.jobs * 99 / 100 && !joined) joined = NowMs();
        // The live stream of the joining minutes is queued when the snapshot ends: a while.
        if ((joined && NowMs() - joined > 5000 && queued < 2000) || NowMs() > waitEnd) break;
        SleepMs(500);
    }
    printf("%-34s %-26s the farm in after %.1f s, its backlog handled %.1f s later (info)\n",
           "L0 join", run.label, ((joined ? joined : NowMs()) - joinStart) / 1000,
           joined ? (NowMs() - joined) / 1000 : 0.0);
    SleepMs(2000);
    const size_t logFrom = LineCount(log);
    const double cpu0 = demo.Cpu(), master0 = master ? master->Cpu() : 0, t0 = NowMs();

    auto column = [&](int type) {
        const auto c = layout.columns[type];
        return Rect{c.first + 1, layout.body.y + 2, std::min(c.second - 2, 160),
                    std::min(layout.body.h - 4, 400)};
    };
    const Rect names = column(0);
    const int headerY = layout.header.y + layout.header.h / 2;
    const int aside = layout.filter.x + 10, asideY = layout.filter.y - 40; // off the list
    std::vector<std::pair<std::string, std::vector<double>>> figures;
    auto tryEach = [&](const std::string& name, const Rect& region, bool ink, double share,
                       const std::function<void(int)>& input,
                       const std::function<void(int)>& after) {
        const char* only = getenv("BENCH_LATENCY_ONLY"); // "L1,L5": those figures alone
        if (only && !strstr(only, name.substr(0, 2).c_str())) return;
        std::vector<double> ms;
        for (int i = 0; i < tries; ++i) {
            SleepMs(250); // what the last input asked for is on screen by now
            ms.push_back(TimeToPixels(region, ink, share, [&] { input(i); }));
            if (after) after(i);
        }
        figures.emplace_back(name, ms);
    };
    // Sorting: each click turns the order, so each shows other rows.
    for (const auto& [type, label] :
         std::vector<std::pair<int, const char*>>{{0, "Name"}, {2, "Status"}, {3, "Progress"}}) {
        const auto c = layout.columns[type];
        Click(c.first + c.second / 2, headerY); // sorted by it: each timed click turns the order
        MoveTo(aside, asideY);
        SleepMs(1500);
        tryEach(
            std::string("L1 sort by ") + label + ": click to rows", column(type), true, 0.15,
            [&](int) {
                Click(c.first + c.second / 2, headerY);
                MoveTo(aside, asideY);
            },
            nullptr);
    }
    const int bodyX = names.x + names.w / 2, bodyY = layout.body.y + layout.body.h / 3;
    tryEach(
        "L2 wheel notch: to new rows", names, true, 0.15,
        [&](int i) {
            MoveTo(bodyX, bodyY);
            Click(bodyX, bodyY, i % 2 ? 4 : 5);
        },
        nullptr);
    Click(bodyX, layout.body.y + 3 * 10); // a row selected: the keys go to the list
    MoveTo(aside, asideY);
    Key(XK_Page_Down); // the selection at the bottom of the view: each Page Down scrolls
    tryEach(
        "L3 Page Down: to new rows", names, true, 0.15, [&](int) { Key(XK_Page_Down); }, nullptr);
    tryEach(
        "L4 Home/End: to new rows", names, true, 0.15,
        [&](int i) { Key(i % 2 ? XK_Home : XK_End); }, nullptr);
    const Rect page{layout.body.x + 20, layout.body.y + 20, 300, 200};
    tryEach(
        "L5 tab switch: to the page", page, true, 0.15,
        [&](int i) {
            const Rect& t = layout.tabs[i % 2 ? "jobs" : "bytype"];
            Click(t.x + t.w / 2, t.y + t.h / 2);
            MoveTo(aside, asideY);
        },
        nullptr);
    if (!figures.empty() && figures.back().first.rfind("L5", 0) == 0 &&
        figures.back().second.size() % 2) { // back on Jobs
        const Rect& t = layout.tabs["jobs"];
        Click(t.x + t.w / 2, t.y + t.h / 2);
    }
    const int rowY = layout.body.y + 40;
    tryEach(
        "L6 job menu: right click to menu", Rect{bodyX, rowY, 200, 150}, false, 0.2,
        [&](int) { Click(bodyX, rowY, 3); },
        [&](int) {
            SleepMs(150);
            Key(XK_Escape);
            MoveTo(aside, asideY);
            SleepMs(300);
        });
    Click(layout.filter.x + layout.filter.w / 2, layout.filter.y + layout.filter.h / 2);
    tryEach(
        "L7 job filter keystroke: to rows", names, true, 0.15,
        [&](int i) { Key(i % 2 ? XK_BackSpace : XK_7); }, nullptr);
    const auto c0 = layout.columns[0];
    const Rect across{c0.first + 1, layout.body.y + 2, c0.second + 100,
                      std::min(layout.body.h - 4, 300)};
    tryEach(
        "L8 column width drag: to rows", across, true, 0.1,
        [&](int i) {
            Drag(c0.first + c0.second - 1 + (i % 2 ? 40 : 0), headerY, i % 2 ? -40 : 40);
        },
        nullptr);

    const double seconds = (NowMs() - t0) / 1000;
    char load[160];
    snprintf(load, sizeof load, "client %.0f%% of a core, farm %s %.0f%%, load %.1f",
             100 * (demo.Cpu() - cpu0) / seconds, run.process ? "process" : "in client",
             run.process ? 100 * (master->Cpu() - master0) / seconds : 0.0, LoadAverage());
    auto goal = [](const std::string& name) { // by the figure's number
        const int n = atoi(name.c_str() + 1);
        return n == 1   ? "p95 <= 150 ms (aim 50)"
               : n <= 4 ? "p95 <= 50 ms (aim 16)"
                        : "p95 <= 100 ms";
    };
    for (const auto& [name, ms] : figures)
        Print(run, name, ms, goal(name), load);
    const std::vector<double> gaps = RefreshIntervals(log, logFrom);
    printf("%-34s %-26s p50 %7.1f ms  p99 %7.1f ms  (n=%zu)  goal p99 <= 400 ms  [%s]\n",
           "L9 live view refresh interval", run.label, Percentile(gaps, 0.5),
           Percentile(gaps, 0.99), gaps.size(), load);
    fflush(stdout);
}

// The client with nothing to do: its CPU over ten quiet seconds.
void MeasureIdle(bool process) {
    const std::string dir = g_Scratch + "/idle" + std::to_string(process);
    mkdir(dir.c_str(), 0700);
    std::unique_ptr<Process> master;
    std::vector<std::string> args = {"--name",
                                     "IdleBench" + std::to_string(process),
                                     "--allow-second",
                                     "--options",
                                     dir + "/o.ini",
                                     "--log-dir",
                                     dir};
    if (process) {
        const int port = StartMaster(master, 100000, 0, dir);
        args.insert(args.end(), {"--master", "127.0.0.1:" + std::to_string(port)});
    } else {
        args.insert(args.end(), {"--jobs", "100000", "--rate", "0"});
    }
    Process demo(g_Bin + "/demo/taviro-demo", args);
    SleepMs(15000); // started, the farm in, the first pictures drawn
    const double cpu0 = demo.Cpu(), t0 = NowMs();
    SleepMs(10000);
    printf("%-34s %-26s %.2f%% of a core  goal <= 0.5%%\n", "L10 idle CPU, quiet farm",
           process ? "100k jobs, farm process" : "100k jobs, embedded",
           100 * (demo.Cpu() - cpu0) / ((NowMs() - t0) / 1000));
    fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    int tries = 20;
    long jobs = 1000000;
    int rate = 5000;
    bool quick = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--quick") quick = true, tries = 5;
        if (a == "--tries" && i + 1 < argc) tries = atoi(argv[++i]);
        if (a == "--jobs" && i + 1 < argc) jobs = atol(argv[++i]);
        if (a == "--rate" && i + 1 < argc) rate = atoi(argv[++i]);
    }
    g_Display = XOpenDisplay(nullptr);
    int event = 0, error = 0, major = 0, minor = 0;
    if (!g_Display || !XTestQueryExtension(g_Display, &event, &error, &major, &minor)) {
        printf("L*: no X server with XTest: latency not measured\n");
        return 0;
    }
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0) return 1;
    g_Bin = std::string(self).substr(0, std::string(self).rfind('/'));
    g_Bin = g_Bin.substr(0, g_Bin.rfind('/')); // bench/.. is the build folder
    char scratch[] = "/tmp/bench-latency-XXXXXX";
    g_Scratch = mkdtemp(scratch);
    setenv("HOME", g_Scratch.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (g_Scratch + "/config").c_str(), 1);

    printf("Input to pixels through the X server (XTest), %d tries each; jobs and messages/s "
           "of the farm beside each figure\n",
           tries);
    char label[4][64];
    snprintf(label[0], 64, "%ldk jobs %d/s, farm process", jobs / 1000, rate);
    snprintf(label[1], 64, "%ldk jobs %d/s, embedded", jobs / 1000, rate);
    snprintf(label[2], 64, "%ldk jobs %d/s, farm process", jobs / 10000, rate);
    snprintf(label[3], 64, "%ldk jobs idle, farm process", jobs / 1000);
    std::vector<Run> runs = {{label[0], jobs, rate, true}};
    if (!quick) {
        runs.push_back({label[1], jobs, rate, false});
        runs.push_back({label[2], jobs / 10, rate, true});
        runs.push_back({label[3], jobs, 0, true});
    }
    for (const Run& run : runs)
        Measure(run, tries);
    MeasureIdle(true);
    if (!quick) MeasureIdle(false);
    XCloseDisplay(g_Display);
    return 0;
}
