/// @file
/// The application object of a farm program: its name, options file, log folder, and named
/// request handlers that other running programs of the suite reach with SendRequest.
///
/// Requests travel over a per-user local socket named after the receiving program's component
/// name ($XDG_RUNTIME_DIR/taviro/NAME.sock, else /tmp/taviro-UID/NAME.sock). The receiver's
/// listener thread reads the request and hands the handler call to the main-thread executor
/// that the program installed (a GUI program runs it on its GUI thread); without one the
/// handler runs on the listener thread. A request is "NAME" or "NAME argument"; the handler
/// registered under NAME (compared without case) gets the argument.
#pragma once

#include <ostrum/File.h>
#include <ostrum/IniFile.h>
#include <ostrum/Log.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

/// The running program of the suite: its name, options file and log folder, named request
/// handlers that the suite's other programs reach with SendRequest, and the main-thread
/// executor that runs those handlers (`the_Application` is the one object).
/// @ingroup ostrum
class Application {
public:
    Application(LogLevel fileLevel, LogLevel echoLevel);
    virtual ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /// The program's application object (the latest constructed one still alive).
    static Application* the_Application;

    const String& GetName() const { return m_Name; }
    void SetName(const String& name) { m_Name = name; }
    /// The name a person reads (window titles), in the user's language; the name itself until
    /// the program sets one.
    const String& GetDisplayName() const { return m_DisplayName.empty() ? m_Name : m_DisplayName; }
    void SetDisplayName(const String& name) { m_DisplayName = name; }
    OptionsFile* GetOptions() { return &m_Options; }
    const String& GetLogFolder() const { return m_LogFolder; }
    void SetLogFolder(const String& folder) { m_LogFolder = folder; }
    /// Opens "<log folder>/<name>.log" as the global log. Throws Exception* on failure.
    void OpenLog();

    using RequestHandler = std::function<bool(const String& argument)>;
    /// Registers a handler; one of the same name (without regard to case) is replaced.
    void SetRequestHandler(const String& name, RequestHandler handler);
    void RemoveRequestHandler(const String& name);
    bool HasRequestHandler(const String& name) const;
    /// Runs the handler for a request text on the calling thread. False with a reason for an
    /// unknown name, a handler that answered false or one that threw.
    bool HandleRequest(const String& request, String* error = nullptr);

    using Executor = std::function<void(std::function<void()>)>;
    void SetMainThreadExecutor(Executor executor);

    /// Starts answering requests on the socket of the component name. False (and a log line)
    /// when another running program already owns that name or the socket cannot be made.
    bool StartRequestListener(const String& componentName);
    void StopRequestListener();
    bool IsListening() const { return m_ListenFd >= 0; }

    /// Sends a request to another running program: `target` is its component name (or a
    /// socket path containing '/'). Answers within timeoutMs: true when the receiver's handler
    /// answered true; false with the reason in *error for an unknown handler, a false answer,
    /// a program that is not running or does not answer in time. Never hangs.
    static bool SendRequest(const Path& target, const String& request, String* error = nullptr,
                            int timeoutMs = 3000);
    /// Sends a request without waiting for it: the sending, and the wait for the answer, run
    /// on a thread of their own, so a busy or stopped receiver holds up nobody. A failure is
    /// only logged.
    static void PostRequest(const Path& target, const String& request, int timeoutMs = 10000);
    /// Whether a program listens under that component name (a busy one counts); *pid gets its
    /// process id when known, else 0.
    static bool IsRunning(const String& componentName, long* pid = nullptr);
    static Path RequestSocketPath(const String& componentName);
    /// How long the listener waits for the main thread to run a handler.
    void SetHandlerTimeout(int ms) { m_HandlerTimeoutMs = ms; }

private:
    void ListenLoop();
    void ServeConnection(int fd, const String& request);
    void Answer(int fd, const String& request);

    String m_Name;
    String m_DisplayName;
    String m_LogFolder;
    OptionsFile m_Options;

    mutable std::mutex m_HandlerMutex;
    std::map<String, RequestHandler, String::ciless> m_Handlers;
    Executor m_Executor;

    int m_ListenFd = -1;
    int m_WakePipe[2] = {-1, -1};
    String m_SocketPath;
    std::thread m_Listener;
    std::atomic<int> m_HandlerTimeoutMs{10000};
    // Requests being answered, each on a thread of its own.
    std::mutex m_ServeMutex;
    std::condition_variable m_ServeDone;
    int m_Serving = 0;
    std::atomic<bool> m_Stopping{false};
};
