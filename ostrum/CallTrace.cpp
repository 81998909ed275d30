#include <ostrum/CallTrace.h>
#include <ostrum/Log.h>

#include <csignal>
#include <cstring>
#include <unistd.h>

thread_local _CallStack t_CallStack __attribute__((tls_model("initial-exec")));

namespace {
// Async-signal-safe formatting helpers: no allocation, no stdio.
struct _SafeWriter {
    explicit _SafeWriter(int f) : fd(f) {}
    int fd;
    char buf[512];
    size_t used = 0;
    void Put(const char* s) {
        if (!s) s = "(null)";
        while (*s) {
            if (used == sizeof buf) Flush();
            buf[used++] = *s++;
        }
    }
    void PutInt(long v) {
        char tmp[24];
        int i = 0;
        const bool neg = v < 0;
        unsigned long u = neg ? (unsigned long)(-v) : (unsigned long)v;
        do {
            tmp[i++] = (char)('0' + u % 10);
            u /= 10;
        } while (u);
        if (neg) tmp[i++] = '-';
        char out[24];
        for (int k = 0; k < i; ++k)
            out[k] = tmp[i - 1 - k];
        out[i] = 0;
        Put(out);
    }
    void Flush() {
        size_t off = 0;
        while (off < used) {
            const ssize_t n = ::write(fd, buf + off, used - off);
            if (n <= 0) break;
            off += (size_t)n;
        }
        used = 0;
    }
};

const char* SignalName(int sig) {
    switch (sig) {
    case SIGSEGV:
        return "SIGSEGV";
    case SIGABRT:
        return "SIGABRT";
    case SIGBUS:
        return "SIGBUS";
    case SIGFPE:
        return "SIGFPE";
    default:
        return "signal";
    }
}

void CrashHandler(int sig) {
    const int fds[2] = {Log::s_GlobalLog->GetFd(), 2};
    for (int fd : fds) {
        if (fd < 0) continue;
        _SafeWriter w(fd);
        w.Put("FATAL crash: ");
        w.Put(SignalName(sig));
        w.Put("\n");
        w.Flush();
        _CallEntry::WriteTrace(fd);
    }
    // Die by the same signal with the default action, so the exit status and core are right.
    signal(sig, SIG_DFL);
    raise(sig);
}

char g_AltStack[64 * 1024];
} // namespace

void _CallEntry::WriteTrace(int fd) noexcept {
    _SafeWriter w(fd);
    const _CallStack& s = t_CallStack;
    w.Put("Call trace (innermost last), depth ");
    w.PutInt((long)s.depth);
    w.Put(":\n");
    const unsigned n =
        s.depth < (unsigned)_CallStack::k_Capacity ? s.depth : (unsigned)_CallStack::k_Capacity;
    for (unsigned i = 0; i < n; ++i) {
        w.Put("  #");
        w.PutInt((long)i);
        w.Put(" ");
        w.Put(s.frames[i].text);
        w.Put(" (");
        w.Put(s.frames[i].file);
        w.Put(":");
        w.PutInt(s.frames[i].line);
        w.Put(")\n");
    }
    w.Flush();
}

void _CallEntry::InstallCrashHandler() {
    // An alternate stack lets the handler run after a stack overflow on the main thread.
    stack_t ss{};
    ss.ss_sp = g_AltStack;
    ss.ss_size = sizeof g_AltStack;
    sigaltstack(&ss, nullptr);
    struct sigaction sa {};
    sa.sa_handler = CrashHandler;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_ONSTACK | SA_RESETHAND;
    for (int sig : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE})
        sigaction(sig, &sa, nullptr);
}
