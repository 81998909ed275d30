#include <ostrum/Lock.h>

void Mutex::Lock() {
    m_Impl.lock();
    m_Owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    ++m_Count;
}

bool Mutex::TryLock() {
    if (!m_Impl.try_lock()) return false;
    m_Owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    ++m_Count;
    return true;
}

void Mutex::Unlock() {
    if (--m_Count == 0) m_Owner.store(std::thread::id(), std::memory_order_relaxed);
    m_Impl.unlock();
}

bool Mutex::IsLockedByCurrentThread() const {
    return m_Owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

unsigned Mutex::EntryCount() const {
    return IsLockedByCurrentThread() ? m_Count : 0;
}

void RWLock::ReadLock() {
    std::unique_lock<std::mutex> l(m_Mutex);
    const auto me = std::this_thread::get_id();
    // The writer reading its own data must not wait for itself.
    if (m_WriteDepth == 0 || m_Writer != me) m_Changed.wait(l, [&] { return m_WriteDepth == 0; });
    ++m_Readers;
}

void RWLock::ReadUnlock() {
    std::lock_guard<std::mutex> l(m_Mutex);
    if (--m_Readers == 0) m_Changed.notify_all();
}

void RWLock::WriteLock() {
    std::unique_lock<std::mutex> l(m_Mutex);
    const auto me = std::this_thread::get_id();
    if (m_WriteDepth > 0 && m_Writer == me) {
        ++m_WriteDepth;
        return;
    }
    m_Changed.wait(l, [&] { return m_WriteDepth == 0 && m_Readers == 0; });
    m_Writer = me;
    m_WriteDepth = 1;
}

void RWLock::WriteUnlock() {
    std::lock_guard<std::mutex> l(m_Mutex);
    if (--m_WriteDepth == 0) {
        m_Writer = std::thread::id();
        m_Changed.notify_all();
    }
}

bool RWLock::IsWriteLockedByCurrentThread() const {
    std::lock_guard<std::mutex> l(m_Mutex);
    return m_WriteDepth > 0 && m_Writer == std::this_thread::get_id();
}
