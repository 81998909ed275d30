// A small program that the process tests start as a child, in one of several roles.
#include <ostrum/Ostrum.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <thread>
#include <unistd.h>

namespace {
void Ready() {
    printf("ready\n");
    fflush(stdout);
}

// Writes whole versions of an options file as fast as it can, until killed.
int SaveLoop(const char* file) {
    OptionsFile options{Path(file)};
    for (long version = 1;; ++version) {
        OptionsFile::Pause pause(&options);
        options.InsertSection("State");
        options.SetValue("version", String::FromInt(version));
        for (int k = 0; k < 200; ++k)
            options.SetValue(SFormat("k%03d", k),
                             SFormat("%ld-%d-padding-padding-padding", version, k));
        if (version == 1) {
            options.WriteOut();
            Ready();
        }
    }
}

// Answers requests; handlers run on the main thread through an executor, like a GUI program.
int Listen(const char* name) {
    Application app(LL_Info, LL_Error);
    std::mutex m;
    std::condition_variable cv;
    std::deque<std::function<void()>> queue;
    bool quit = false;
    const auto mainThread = std::this_thread::get_id();
    app.SetMainThreadExecutor([&](std::function<void()> task) {
        std::lock_guard<std::mutex> l(m);
        queue.push_back(std::move(task));
        cv.notify_all();
    });
    app.SetRequestHandler("Expect", [](const String& arg) { return arg == "a b;c"; });
    app.SetRequestHandler("WHERE",
                          [&](const String&) { return std::this_thread::get_id() == mainThread; });
    app.SetRequestHandler("FAIL", [](const String&) { return false; });
    app.SetRequestHandler("THROW", [](const String&) -> bool {
        throw new Exception(k_ErrGeneral, "boom", "detail");
    });
    app.SetRequestHandler("SLOW", [](const String&) { return sleep(3), true; });
    app.SetRequestHandler("QUIT", [&](const String&) { return quit = true; });
    if (!app.StartRequestListener(name)) return 3;
    Ready();
    while (!quit) {
        std::unique_lock<std::mutex> l(m);
        cv.wait(l, [&] { return !queue.empty(); });
        std::function<void()> task = std::move(queue.front());
        queue.pop_front();
        l.unlock();
        task();
    }
    return 0;
}

// A real invalid store; the undefined-behaviour checker must not stop it before it faults.
__attribute__((no_sanitize("undefined"))) void Inner(volatile int* p) {
    CALL_ENTRY("Inner::Method");
    *p = 42; // the crash
}

int Crash(const char* logFile) {
    Log::s_GlobalLog->Open(logFile);
    _CallEntry::InstallCrashHandler();
    CALL_ENTRY("Outer::Method");
    Ready();
    Inner(nullptr);
    return 0;
}

// An object still registered when the program ends is cleaned up on the way out.
struct _Late : LibStatic {
    _Late() : LibStatic("child") {}
    void OnLibCleanup() override { printf("cleaned\n"), delete this; }
};

int WaitForSignal() {
    Executable exe(nullptr);
    Executable::SetCurrent(&exe);
    Executable::InstallSignalHandlers();
    Ready();
    // Short waits: under ThreadSanitizer a signal that lands on a thread blocked in a call it does
    // not intercept is handled only when that call returns.
    bool stopped = false;
    for (int i = 0; i < 100 && !stopped; ++i)
        stopped = exe.WaitForStop(200);
    printf("stopped=%d signal=%d\n", stopped ? 1 : 0, exe.GetLastProcessSignal());
    return stopped ? 0 : 4;
}
} // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    const String mode = argv[1];
    if (mode == "save-loop" && argc > 2) return SaveLoop(argv[2]);
    if (mode == "listen" && argc > 2) return Listen(argv[2]);
    if (mode == "crash" && argc > 2) return Crash(argv[2]);
    if (mode == "signal") return WaitForSignal();
    if (mode == "exit") return new _Late, 0;
    return 2;
}
