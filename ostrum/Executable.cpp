#include <ostrum/Executable.h>
#include <ostrum/Log.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace {
std::recursive_mutex
    g_CurrentMutex; // held while a process signal is delivered, so the target stays alive
Executable* g_Current = nullptr;
int g_Pipe[2] = {-1, -1};
// A process signal that came while no executable was current (start-up, before the program's
// executable exists): handed to the next one made current.
int g_PendingSignal = 0;

void OnProcessSignal(int sig) {
    const int saved = errno;
    const unsigned char b = (unsigned char)sig;
    if (g_Pipe[1] >= 0) (void)!::write(g_Pipe[1], &b, 1);
    errno = saved;
}
} // namespace

struct _SignalWatcher {
    static void Run() {
        for (;;) {
            unsigned char b;
            const ssize_t n = ::read(g_Pipe[0], &b, 1);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return;
            GlobalLog(LL_System, SFormat("Received process signal %d", (int)b));
            std::lock_guard<std::recursive_mutex> l(g_CurrentMutex);
            if (g_Current) {
                g_Current->m_LastProcessSignal = (int)b;
                g_Current->Signal(0);
            } else {
                g_PendingSignal = (int)b;
            }
        }
    }
};

Executable::Executable(Application* app) : m_App(app) {}

Executable::~Executable() {
    std::lock_guard<std::recursive_mutex> l(g_CurrentMutex);
    if (g_Current == this) g_Current = nullptr;
}

int Executable::Signal(int sig) {
    if (sig == 0) {
        {
            std::lock_guard<std::mutex> l(m_WaitMutex);
            m_Stop = true;
        }
        m_WaitCond.notify_all();
    }
    return 0;
}

bool Executable::WaitForStop(int timeoutMs) {
    std::unique_lock<std::mutex> l(m_WaitMutex);
    if (timeoutMs < 0) {
        m_WaitCond.wait(l, [&] { return m_Stop.load(); });
        return true;
    }
    return m_WaitCond.wait_for(l, std::chrono::milliseconds(timeoutMs),
                               [&] { return m_Stop.load(); });
}

void Executable::SetCurrent(Executable* executable) {
    std::lock_guard<std::recursive_mutex> l(g_CurrentMutex);
    g_Current = executable;
    if (g_Current && g_PendingSignal) {
        g_Current->m_LastProcessSignal = g_PendingSignal;
        g_PendingSignal = 0;
        g_Current->Signal(0);
    }
}

Executable* Executable::GetCurrent() {
    std::lock_guard<std::recursive_mutex> l(g_CurrentMutex);
    return g_Current;
}

void Executable::InstallSignalHandlers() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (::pipe2(g_Pipe, O_CLOEXEC) != 0) return;
        // The watcher is started with these signals blocked so the kernel never picks it: a signal
        // landing on a thread parked in read() may be deferred until that read returns (sanitizer
        // runtimes do this), and only the handler's own write would end it.
        sigset_t stop, old;
        sigemptyset(&stop);
        for (int sig : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&stop, sig);
        pthread_sigmask(SIG_BLOCK, &stop, &old);
        std::thread(&_SignalWatcher::Run).detach();
        pthread_sigmask(SIG_SETMASK, &old, nullptr);
        struct sigaction sa {};
        sa.sa_handler = OnProcessSignal;
        sigemptyset(&sa.sa_mask);
        sa.sa_flags = SA_RESTART;
        for (int sig : {SIGINT, SIGTERM, SIGHUP})
            sigaction(sig, &sa, nullptr);
        // A parent may start us with these blocked (some block them around fork and exec); a
        // stop that is pending from then on arrives now, and later ones are heard.
        pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);
    });
}
