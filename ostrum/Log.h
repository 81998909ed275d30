/// @file
/// The farm log: one file in the log folder, a line per record (time, thread, level, text),
/// safe to write from any thread.
#pragma once

#include <ostrum/String.h>

#include <atomic>
#include <mutex>

enum LogLevel {
    LL_Fatal = 0,
    LL_Error = 1,
    LL_System = 2,
    LL_Warning = 3,
    LL_Message = 4,
    LL_Info = 5,
    LL_Debug = 6,
};

/// The farm log file: one line per record (time, thread, level, text), written from any
/// thread; records above the level threshold are dropped.
/// @ingroup ostrum
class Log {
public:
    Log();
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// Opens (appending) or creates the file; the folder is created when missing. Throws
    /// Exception* when the file cannot be opened; the previous file stays in use then.
    void Open(const String& fileName);
    void Close();
    const String& GetFileName() const { return m_FileName; }

    /// Records at or below the threshold are written; the rest are dropped.
    void SetLevel(LogLevel level) { m_Level = level; }
    LogLevel GetLevel() const { return (LogLevel)m_Level.load(); }
    /// Records at or below this level are also echoed to standard error (-1: none).
    void SetEchoLevel(int level) { m_EchoLevel = level; }

    void Write(LogLevel level, const String& text);

    /// For the crash handler: the raw descriptor, or -1.
    int GetFd() const { return m_Fd; }

    static const char* LevelName(LogLevel level);

    /// The process's log. It lives as long as the process, so any thread may log at any time.
    static Log* const s_GlobalLog;

private:
    std::mutex m_Mutex;
    String m_FileName;
    // Records made before any file was opened (start-up), written into the first file.
    std::string m_Early;
    bool m_EverOpened = false;
    int m_Fd = -1;
    std::atomic<int> m_Level{LL_Info};
    std::atomic<int> m_EchoLevel{LL_Warning};
};

void GlobalLog(LogLevel level, const String& text);
void LogDebug(const String& text);
void LogInfo(const String& text);
void LogSystem(const String& text);
