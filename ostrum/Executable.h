/// @file
/// The process as seen by the farm: it hears "please end" requests, whether they come from a
/// process signal (SIGINT, SIGTERM, SIGHUP), the desktop session or the farm master, as
/// Signal(0). Process signals are turned into calls on an ordinary thread (never inside the
/// signal handler), so Signal may do real work.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

class Application;

/// The process's "please end" requests (SIGINT, SIGTERM, SIGHUP, the desktop session, the farm
/// master) as Signal(0), an orderly stop that the program waits for or is told of.
/// @ingroup ostrum
class Executable {
public:
    explicit Executable(Application* app);
    virtual ~Executable();
    Executable(const Executable&) = delete;
    Executable& operator=(const Executable&) = delete;

    /// 0 asks for an orderly end; the base records it and wakes WaitForStop. Returns 0.
    /// May run on any thread.
    virtual int Signal(int sig);

    bool IsStopRequested() const { return m_Stop.load(); }
    /// Waits until a stop is requested or the time (ms, < 0: forever) runs out.
    bool WaitForStop(int timeoutMs);
    /// The raw number of the last process signal seen (0 if none).
    int GetLastProcessSignal() const { return m_LastProcessSignal.load(); }
    Application* GetApplication() const { return m_App; }

    /// The process's executable: the one that process signals reach. A signal that came while
    /// there was none is handed to the next one set.
    static void SetCurrent(Executable* executable);
    static Executable* GetCurrent();
    /// Routes SIGINT, SIGTERM and SIGHUP to GetCurrent()->Signal(0), and unblocks them on the
    /// calling thread. Idempotent; call it as early as possible (first thing in main).
    static void InstallSignalHandlers();

private:
    friend struct _SignalWatcher;
    Application* m_App;
    std::atomic<bool> m_Stop{false};
    std::atomic<int> m_LastProcessSignal{0};
    std::mutex m_WaitMutex;
    std::condition_variable m_WaitCond;
};
