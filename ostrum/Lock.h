/// @file
/// Locks: a recursive mutex that knows its owner, and a reader/writer lock whose writer may
/// re-enter and also read.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Recursive: the owning thread may enter again. Keeps the owner and the entry count so that
/// code can ask whether the current thread holds it.
class Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock();
    bool TryLock();
    void Unlock();
    bool IsLockedByCurrentThread() const;
    unsigned EntryCount() const;

    /// std::lock_guard compatibility.
    void lock() { Lock(); }
    void unlock() { Unlock(); }
    bool try_lock() { return TryLock(); }

    /// Holds the mutex for its lifetime.
    class Guard {
    public:
        explicit Guard(Mutex& m) : m_Mutex(m) { m_Mutex.Lock(); }
        ~Guard() { m_Mutex.Unlock(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        Mutex& m_Mutex;
    };

private:
    std::recursive_mutex m_Impl;
    std::atomic<std::thread::id> m_Owner{};
    unsigned m_Count = 0;
};

/// Many readers or one writer. The writer may take the lock again (read or write); a reader may
/// take further read locks. A reader must not ask for the write lock (that would deadlock with
/// another such reader), and readers go first: writers wait until no one reads.
class RWLock {
public:
    RWLock() = default;
    RWLock(const RWLock&) = delete;
    RWLock& operator=(const RWLock&) = delete;

    void ReadLock();
    void ReadUnlock();
    void WriteLock();
    void WriteUnlock();
    bool IsWriteLockedByCurrentThread() const;

    /// Holds a read lock for its lifetime.
    class ReadGuard {
    public:
        explicit ReadGuard(RWLock& l) : m_Lock(l) { m_Lock.ReadLock(); }
        ~ReadGuard() { m_Lock.ReadUnlock(); }
        ReadGuard(const ReadGuard&) = delete;
        ReadGuard& operator=(const ReadGuard&) = delete;

    private:
        RWLock& m_Lock;
    };
    /// Holds the write lock for its lifetime.
    class WriteGuard {
    public:
        explicit WriteGuard(RWLock& l) : m_Lock(l) { m_Lock.WriteLock(); }
        ~WriteGuard() { m_Lock.WriteUnlock(); }
        WriteGuard(const WriteGuard&) = delete;
        WriteGuard& operator=(const WriteGuard&) = delete;

    private:
        RWLock& m_Lock;
    };

private:
    mutable std::mutex m_Mutex;
    std::condition_variable m_Changed;
    unsigned m_Readers = 0;
    unsigned m_WriteDepth = 0;
    std::thread::id m_Writer{};
};
