// A small program that the process tests start as a child, in one of several roles.
#include <ostrum/Ostrum.h>

#include <cstdio>
#include <thread>
#include <unistd.h>

namespace {
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
            puts("ready");
        }
    }
}

// Answers requests; handlers run on the main thread through an executor, like a GUI program.
int Listen(const char* name) {
    Application app(LL_Info, LL_Error);
    bool quit = false;
    const auto mainThread = std::this_thread::get_id();
    int tasks[2]; // a pipe of task pointers to the main thread
    if (pipe(tasks) != 0) return 4;
    app.SetMainThreadExecutor([&](std::function<void()> task) {
        auto* p = new std::function<void()>(std::move(task));
        if (write(tasks[1], &p, sizeof p) != sizeof p) delete p;
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
    puts("ready");
    for (std::function<void()>* task; !quit && read(tasks[0], &task, sizeof task) == sizeof task;)
        (*std::unique_ptr<std::function<void()>>(task))();
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
    puts("ready");
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
    puts("ready");
    // Short waits: under ThreadSanitizer a signal is handled only when a blocking call returns.
    bool stopped = false;
    for (int i = 0; i < 100 && !stopped; ++i)
        stopped = exe.WaitForStop(200);
    printf("stopped=%d signal=%d\n", stopped ? 1 : 0, exe.GetLastProcessSignal());
    return stopped ? 0 : 4;
}
} // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    setvbuf(stdout, nullptr, _IONBF, 0); // each line reaches the test at once
    const String mode = argv[1];
    if (mode == "save-loop" && argc > 2) return SaveLoop(argv[2]);
    if (mode == "listen" && argc > 2) return Listen(argv[2]);
    if (mode == "crash" && argc > 2) return Crash(argv[2]);
    if (mode == "signal") return WaitForSignal();
    if (mode == "exit") return new _Late, 0;
    return 2;
}
