#include <ostrum/Exception.h>
#include <ostrum/File.h>
#include <ostrum/Log.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

void MakeFolders(const String& fileName) {
    for (size_t i = 1; i < fileName.size(); ++i)
        if (fileName[i] == '/') mkdir(fileName.substr(0, i).c_str(), 0755);
}

} // namespace

// Never destroyed: static destructors and detached threads may still log at exit.
Log* const Log::s_GlobalLog = new Log();

Log::Log() = default;

Log::~Log() {
    Close();
}

void Log::Open(const String& fileName) {
    MakeFolders(fileName);
    const int fd = ::open(fileName.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        throw new Exception(k_ErrIO, "Cannot open log file", fileName + ": " + strerror(errno));
    std::lock_guard<std::mutex> l(m_Mutex);
    if (m_Fd >= 0) ::close(m_Fd);
    m_Fd = fd;
    m_FileName = fileName;
    if (!m_EverOpened && !m_Early.empty()) WriteAllFd(m_Fd, m_Early.data(), m_Early.size());
    m_EverOpened = true;
    std::string().swap(m_Early);
}

void Log::Close() {
    std::lock_guard<std::mutex> l(m_Mutex);
    if (m_Fd >= 0) ::close(m_Fd);
    m_Fd = -1;
}

const char* Log::LevelName(LogLevel level) {
    static const char* const names[] = {"FATAL",   "ERROR", "SYSTEM", "WARNING",
                                        "MESSAGE", "INFO",  "DEBUG"};
    return (level >= 0 && level <= 6) ? names[level] : "?";
}

void Log::Write(LogLevel level, const String& text) {
    const bool toFile = (int)level <= m_Level.load(std::memory_order_relaxed);
    const bool toEcho = (int)level <= m_EchoLevel.load(std::memory_order_relaxed);
    if (!toFile && !toEcho) return;

    struct timeval tv;
    gettimeofday(&tv, nullptr);
    struct tm tmv;
    localtime_r(&tv.tv_sec, &tmv);
    char head[96];
    const int n =
        snprintf(head, sizeof head, "%04d-%02d-%02d %02d:%02d:%02d.%06ld [%ld] %-7s ",
                 tmv.tm_year + 1900, tmv.tm_mon + 1, tmv.tm_mday, tmv.tm_hour, tmv.tm_min,
                 tmv.tm_sec, (long)tv.tv_usec, (long)syscall(SYS_gettid), LevelName(level));
    std::string line;
    line.reserve((size_t)n + text.size() + 1);
    line.append(head, (size_t)n);
    line.append(text);
    line.push_back('\n');

    std::lock_guard<std::mutex> l(m_Mutex);
    if (toFile && m_Fd >= 0)
        WriteAllFd(m_Fd, line.data(), line.size());
    else if (toFile && !m_EverOpened && m_Early.size() < 256 * 1024)
        m_Early += line;
    if (toEcho) WriteAllFd(2, line.data(), line.size());
}

void GlobalLog(LogLevel level, const String& text) {
    Log::s_GlobalLog->Write(level, text);
}
void LogDebug(const String& text) {
    GlobalLog(LL_Debug, text);
}
void LogInfo(const String& text) {
    GlobalLog(LL_Info, text);
}
void LogSystem(const String& text) {
    GlobalLog(LL_System, text);
}
