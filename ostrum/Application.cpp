#include <ostrum/Application.h>
#include <ostrum/Exception.h>
#include <ostrum/Time.h>

#include <cerrno>
#include <condition_variable>
#include <deque>
#include <vector>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

Application* Application::the_Application = nullptr;

// ---- wire format ----
// request:  u32 length (big-endian) + text
// answer:   1 status byte ('1' true, '0' false, 'E' error) + u32 length + text
namespace {
const uint32_t k_MaxMessage = 1 << 20;

// Waits until fd is ready for the event or the deadline (monotonic us) passes.
bool WaitFd(int fd, short events, int64_t deadline) {
    for (;;) {
        const int64_t left = (deadline - Time::Monotonic()) / 1000;
        if (left <= 0) return false;
        pollfd p{fd, events, 0};
        const int r = ::poll(&p, 1, (int)std::min<int64_t>(left, 1000000));
        if (r > 0) return true;
        if (r < 0 && errno != EINTR) return false;
    }
}

bool SendAll(int fd, const char* data, size_t size, int64_t deadline) {
    while (size > 0) {
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
        if (n > 0) {
            data += n;
            size -= (size_t)n;
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && WaitFd(fd, POLLOUT, deadline))
            continue;
        return false;
    }
    return true;
}

bool RecvAll(int fd, char* data, size_t size, int64_t deadline) {
    while (size > 0) {
        const ssize_t n = ::recv(fd, data, size, 0);
        if (n > 0) {
            data += n;
            size -= (size_t)n;
            continue;
        }
        if (n == 0) return false;
        if (errno == EINTR) continue;
        if ((errno == EAGAIN || errno == EWOULDBLOCK) && WaitFd(fd, POLLIN, deadline)) continue;
        return false;
    }
    return true;
}

void PutU32(char* out, uint32_t v) {
    out[0] = (char)(v >> 24);
    out[1] = (char)(v >> 16);
    out[2] = (char)(v >> 8);
    out[3] = (char)v;
}

uint32_t GetU32(const char* in) {
    return ((uint32_t)(unsigned char)in[0] << 24) | ((uint32_t)(unsigned char)in[1] << 16) |
           ((uint32_t)(unsigned char)in[2] << 8) | (uint32_t)(unsigned char)in[3];
}

bool SendFrame(int fd, const String& text, int64_t deadline, char status = 0) {
    String frame;
    if (status) frame.push_back(status);
    char len[4];
    PutU32(len, (uint32_t)text.size());
    frame.append(len, 4);
    frame += text;
    return SendAll(fd, frame.data(), frame.size(), deadline);
}

bool RecvText(int fd, String& text, int64_t deadline) {
    char len[4];
    if (!RecvAll(fd, len, 4, deadline)) return false;
    const uint32_t n = GetU32(len);
    if (n > k_MaxMessage) return false;
    text.assign(n, '\0');
    return n == 0 || RecvAll(fd, &text[0], n, deadline);
}

String SocketFolder() {
    const char* runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime == '/') return String(runtime) + "/taviro";
    return SFormat("/tmp/taviro-%u", (unsigned)getuid());
}

// The folder must be ours and private, or another user could pose as a program of the suite.
bool PrepareSocketFolder(const String& folder, String* error) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        *error = folder + ": " + strerror(errno);
        return false;
    }
    struct stat st;
    if (::lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != getuid()) {
        *error = folder + ": not a private folder of this user";
        return false;
    }
    if ((st.st_mode & 077) != 0) ::chmod(folder.c_str(), 0700);
    return true;
}

bool MakeAddress(const String& path, sockaddr_un& addr, String* error) {
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) {
        if (error) *error = "socket path too long: " + path;
        return false;
    }
    memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    return true;
}

// Connects without blocking past the deadline; -1 with errno set and errno-based text on
// failure. A full backlog (EAGAIN) is retried until the deadline: the program is there, busy.
int ConnectTo(const String& path, int64_t deadline, String* error) {
    sockaddr_un addr;
    if (!MakeAddress(path, addr, error)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        if (error) *error = String("socket: ") + strerror(errno);
        return -1;
    }
    for (;;) {
        if (::connect(fd, (sockaddr*)&addr, sizeof addr) == 0) return fd;
        if (errno == EINTR) continue;
        if (errno == EAGAIN && Time::Monotonic() < deadline) {
            ::usleep(5000); // a Unix socket gives no readiness for a full backlog
            continue;
        }
        if (errno == EINPROGRESS && WaitFd(fd, POLLOUT, deadline)) {
            int err = 0;
            socklen_t len = sizeof err;
            getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len);
            if (err == 0) return fd;
            errno = err;
        }
        const int err = errno;
        if (error) *error = strerror(err);
        ::close(fd);
        errno = err;
        return -1;
    }
}

// The process id of the program listening on a connected socket (0 when unknown).
long PeerPid(int fd) {
    ucred cred{};
    socklen_t len = sizeof cred;
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) == 0 ? (long)cred.pid : 0;
}

// How long a connection may take to deliver its request, and how many may wait at once.
const int64_t k_RequestDeadlineUs = 2000000;
const size_t k_MaxPendingConnections = 256;
const int k_MaxServing = 16;
} // namespace

// ---- Application ----

Application::Application(LogLevel fileLevel, LogLevel echoLevel) {
    Log::s_GlobalLog->SetLevel(fileLevel);
    Log::s_GlobalLog->SetEchoLevel(echoLevel);
    the_Application = this;
}

Application::~Application() {
    StopRequestListener();
    if (the_Application == this) the_Application = nullptr;
}

void Application::OpenLog() {
    const String name = m_Name.empty() ? String("taviro") : m_Name;
    Log::s_GlobalLog->Open((Path(m_LogFolder) / (name + ".log")).ToString());
}

void Application::SetRequestHandler(const String& name, RequestHandler handler) {
    std::lock_guard<std::mutex> l(m_HandlerMutex);
    m_Handlers[name] = std::move(handler);
}

void Application::RemoveRequestHandler(const String& name) {
    std::lock_guard<std::mutex> l(m_HandlerMutex);
    m_Handlers.erase(name);
}

bool Application::HasRequestHandler(const String& name) const {
    std::lock_guard<std::mutex> l(m_HandlerMutex);
    return m_Handlers.count(name) > 0;
}

bool Application::HandleRequest(const String& request, String* error) {
    const size_t space = request.find(' ');
    const String name = request.substr(0, space);
    const String argument = space == String::npos ? String() : request.substr(space + 1);
    RequestHandler handler;
    {
        std::lock_guard<std::mutex> l(m_HandlerMutex);
        auto it = m_Handlers.find(name);
        if (it != m_Handlers.end()) handler = it->second;
    }
    if (!handler) {
        if (error) *error = "Unknown request: " + name;
        return false;
    }
    try {
        if (handler(argument)) return true;
        if (error) *error = "Request refused: " + name;
    } catch (Exception* e) {
        if (error) *error = "Request failed: " + name + ": " + e->Format();
        delete e;
    } catch (std::exception& e) {
        if (error) *error = "Request failed: " + name + ": " + e.what();
    }
    return false;
}

void Application::SetMainThreadExecutor(Executor executor) {
    std::lock_guard<std::mutex> l(m_HandlerMutex);
    m_Executor = std::move(executor);
}

Path Application::RequestSocketPath(const String& componentName) {
    return Path(SocketFolder()) / (componentName + ".sock");
}

bool Application::IsRunning(const String& componentName, long* pid) {
    if (pid) *pid = 0;
    if (componentName.empty()) return false;
    const int fd =
        ConnectTo(RequestSocketPath(componentName).ToString(), Time::Monotonic() + 500000, nullptr);
    if (fd < 0) {
        // Only a socket nobody listens on, or none at all, means gone; a busy program whose
        // backlog stays full past the deadline (EAGAIN) is still running.
        return errno != ECONNREFUSED && errno != ENOENT && errno != ENAMETOOLONG &&
               errno != ENOTDIR;
    }
    if (pid) *pid = PeerPid(fd);
    ::close(fd);
    return true;
}

bool Application::StartRequestListener(const String& componentName) {
    StopRequestListener();
    String error;
    const String folder = SocketFolder();
    const String path = RequestSocketPath(componentName).ToString();
    sockaddr_un addr;
    if (componentName.empty() || componentName.find('/') != String::npos) {
        error = "invalid component name '" + componentName + "'";
    } else if (PrepareSocketFolder(folder, &error) && MakeAddress(path, addr, &error)) {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (fd < 0) {
            GlobalLog(LL_Warning, String("Cannot listen for requests: socket: ") + strerror(errno));
            return false;
        }
        int rc = ::bind(fd, (sockaddr*)&addr, sizeof addr);
        if (rc != 0 && errno == EADDRINUSE) {
            // A socket file is left: take it over only if nobody answers on it.
            long pid = 0;
            if (IsRunning(componentName, &pid))
                error =
                    SFormat("another program runs as %s (process %ld)", componentName.c_str(), pid);
            else {
                ::unlink(path.c_str());
                rc = ::bind(fd, (sockaddr*)&addr, sizeof addr);
            }
        }
        if (rc == 0 && ::listen(fd, 64) == 0 && ::pipe2(m_WakePipe, O_CLOEXEC) == 0) {
            m_ListenFd = fd;
            m_Stopping = false;
            m_SocketPath = path;
            m_Listener = std::thread(&Application::ListenLoop, this);
            LogInfo("Listening for requests on " + path);
            return true;
        }
        if (error.empty()) error = path + ": " + strerror(errno);
        ::close(fd);
    }
    GlobalLog(LL_Warning, "Cannot listen for requests: " + error);
    return false;
}

void Application::StopRequestListener() {
    if (m_ListenFd < 0) return;
    const char b = 0;
    (void)!::write(m_WakePipe[1], &b, 1);
    if (m_Listener.joinable()) m_Listener.join();
    {
        // Requests still being served give up waiting for their handler and end.
        std::unique_lock<std::mutex> l(m_ServeMutex);
        m_Stopping = true;
        m_ServeDone.notify_all();
        m_ServeDone.wait(l, [&] { return m_Serving == 0; });
    }
    ::close(m_ListenFd);
    ::close(m_WakePipe[0]);
    ::close(m_WakePipe[1]);
    m_ListenFd = -1;
    m_WakePipe[0] = m_WakePipe[1] = -1;
    ::unlink(m_SocketPath.c_str());
}

// One thread waits on every connection at once, each with its own deadline to deliver its
// request, so that idle or slow clients cannot hold up the others or fill the backlog. A
// complete request is served on a thread of its own (a few at a time).
void Application::ListenLoop() {
    struct _Pending {
        int fd;
        int64_t deadline;
        String data;
    };
    std::deque<_Pending> pending;
    for (;;) {
        std::vector<pollfd> p{{m_ListenFd, POLLIN, 0}, {m_WakePipe[0], POLLIN, 0}};
        int64_t next = INT64_MAX;
        for (const _Pending& c : pending) {
            p.push_back({c.fd, POLLIN, 0});
            next = std::min(next, c.deadline);
        }
        const int64_t waitMs =
            next == INT64_MAX ? -1 : std::max<int64_t>(0, (next - Time::Monotonic()) / 1000 + 1);
        const int r = ::poll(p.data(), p.size(), (int)std::min<int64_t>(waitMs, 1000000));
        if (r < 0 && errno != EINTR) break;
        if (r > 0 && p[1].revents) break;
        const int64_t now = Time::Monotonic();
        // Read what arrived; a whole request leaves the list to be served.
        std::deque<_Pending> kept;
        for (size_t i = 0; i < pending.size(); ++i) {
            _Pending& c = pending[i];
            bool drop = false;
            if (r > 0 && (p[i + 2].revents & (POLLIN | POLLHUP | POLLERR))) {
                char buf[4096];
                const ssize_t n = ::recv(c.fd, buf, sizeof buf, 0);
                if (n > 0)
                    c.data.append(buf, (size_t)n);
                else if (n == 0 || (errno != EAGAIN && errno != EINTR))
                    drop = true; // a probe (IsRunning) or a broken sender
            }
            const uint32_t size = c.data.size() >= 4 ? GetU32(c.data.data()) : 0;
            if (!drop && size > k_MaxMessage) drop = true;
            if (!drop && c.data.size() >= 4 && c.data.size() >= 4 + (size_t)size) {
                ServeConnection(c.fd, c.data.substr(4, size));
                continue;
            }
            if (drop || now >= c.deadline)
                ::close(c.fd);
            else
                kept.push_back(std::move(c));
        }
        pending.swap(kept);
        if (r > 0 && (p[0].revents & POLLIN)) {
            for (;;) {
                const int fd =
                    ::accept4(m_ListenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
                if (fd < 0 && (errno == EMFILE || errno == ENFILE) && !pending.empty()) {
                    ::close(pending.front().fd); // out of descriptors: the oldest gives way
                    pending.pop_front();
                    continue;
                }
                if (fd < 0) break;
                if (pending.size() >= k_MaxPendingConnections) {
                    ::close(pending.front().fd); // the longest waiting makes room
                    pending.pop_front();
                }
                pending.push_back({fd, now + k_RequestDeadlineUs, String()});
            }
        }
    }
    for (const _Pending& c : pending)
        ::close(c.fd);
}

// Takes over fd: answers the request from a thread of its own and closes it.
void Application::ServeConnection(int fd, const String& request) {
    bool busy;
    {
        std::lock_guard<std::mutex> l(m_ServeMutex);
        busy = m_Serving >= k_MaxServing;
        if (!busy) ++m_Serving;
    }
    if (busy) {
        SendFrame(fd, "The program is busy", Time::Monotonic() + 100000, 'E');
        ::close(fd);
        return;
    }
    std::thread([this, fd, request] {
        Answer(fd, request);
        ::close(fd);
        std::lock_guard<std::mutex> l(m_ServeMutex);
        --m_Serving;
        m_ServeDone.notify_all();
    }).detach();
}

void Application::Answer(int fd, const String& request) {
    struct _Outcome {
        std::mutex mutex;
        std::condition_variable done;
        bool finished = false;
        bool ok = false;
        String error;
    };
    auto outcome = std::make_shared<_Outcome>();
    auto run = [this, request, outcome] {
        String error;
        const bool ok = HandleRequest(request, &error);
        std::lock_guard<std::mutex> l(outcome->mutex);
        outcome->ok = ok;
        outcome->error = error;
        outcome->finished = true;
        outcome->done.notify_all();
    };
    Executor executor;
    {
        std::lock_guard<std::mutex> l(m_HandlerMutex);
        executor = m_Executor;
    }
    if (executor)
        executor(run);
    else
        run();

    std::unique_lock<std::mutex> l(outcome->mutex);
    const auto until =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(m_HandlerTimeoutMs.load());
    bool finished = outcome->finished;
    while (!finished && !m_Stopping && std::chrono::steady_clock::now() < until)
        finished = outcome->done.wait_for(l, std::chrono::milliseconds(50),
                                          [&] { return outcome->finished; });
    const char status =
        !finished
            ? 'E'
            : (outcome->ok ? '1' : (outcome->error.StartsWith("Request refused") ? '0' : 'E'));
    const String text =
        finished ? outcome->error : String("The program did not handle the request in time");
    l.unlock();
    SendFrame(fd, text, Time::Monotonic() + 2000000, status);
}

void Application::PostRequest(const Path& target, const String& request, int timeoutMs) {
    // Detached: it touches no object of ours, only the socket and the process's log.
    std::thread([target, request, timeoutMs] { SendRequest(target, request, nullptr, timeoutMs); })
        .detach();
}

bool Application::SendRequest(const Path& target, const String& request, String* error,
                              int timeoutMs) {
    const String& t = target.ToString();
    const String path = t.find('/') != String::npos ? t : RequestSocketPath(t).ToString();
    const int64_t deadline = Time::Monotonic() + (int64_t)std::max(timeoutMs, 1) * 1000;
    String why;
    const int fd = ConnectTo(path, deadline, &why);
    bool ok = false;
    if (fd < 0) {
        why = "Program not running: " + t + " (" + why + ")";
    } else {
        char status = 0;
        String answer;
        if (!SendFrame(fd, request, deadline))
            why = "Cannot send the request to " + t;
        else if (!RecvAll(fd, &status, 1, deadline) || !RecvText(fd, answer, deadline))
            why = SFormat("No answer from %s within %d ms", t.c_str(), timeoutMs);
        else if (status == '1')
            ok = true;
        else
            why = answer.empty() ? String("Request failed") : answer;
        ::close(fd);
    }
    if (!ok) {
        LogInfo("Request '" + request + "' to " + t + " failed: " + why);
        if (error) *error = why;
    }
    return ok;
}
