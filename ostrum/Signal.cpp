#include <ostrum/Signal.h>

void HasSlots::ConnectSignal(const std::shared_ptr<_SignalCoreBase>& signal) {
    Mutex::Guard g(m_SlotsLock);
    // Forget signals that died, and record each live one once.
    m_Signals.erase(
        std::remove_if(m_Signals.begin(), m_Signals.end(),
                       [](const std::weak_ptr<_SignalCoreBase>& w) { return w.expired(); }),
        m_Signals.end());
    for (auto& w : m_Signals)
        if (w.lock() == signal) return;
    m_Signals.push_back(signal);
}

void HasSlots::DisconnectAll() {
    std::vector<std::weak_ptr<_SignalCoreBase>> signals;
    {
        Mutex::Guard g(m_SlotsLock);
        signals.swap(m_Signals);
    }
    // Outside our own lock: a signal's mutex is always taken before an owner's.
    for (auto& w : signals)
        if (auto s = w.lock()) s->DisconnectOwner(this);
}

size_t HasSlots::ConnectedSignalCount() {
    Mutex::Guard g(m_SlotsLock);
    size_t n = 0;
    for (auto& w : m_Signals)
        n += w.expired() ? 0 : 1;
    return n;
}
