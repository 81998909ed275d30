// Sections: wxTimed; wxMasterTimer (registration, tick, clean-up).
#include <wxTaviro/wxTimed.h>

#include <wx/app.h>
#include <wx/thread.h>

#include <algorithm>
#include <chrono>
#include <vector>

wxMasterTimer* g_MasterTimer = nullptr;

Signal0<ThreadPolicy::LocalThreaded> wxTimed::s_Timer0100;
Signal0<ThreadPolicy::LocalThreaded> wxTimed::s_Timer0250;

// ---- wxTimed ----

wxTimed::wxTimed() {
    if (!g_MasterTimer) g_MasterTimer = new wxMasterTimer;
    g_MasterTimer->Insert(this);
}

wxTimed::~wxTimed() {
    StopTimer();
}

void wxTimed::StopTimer() {
    // Null after library clean-up: nothing left to leave. Erase waits for a tick in progress.
    if (g_MasterTimer) g_MasterTimer->Erase(this);
}

// ---- wxMasterTimer ----

namespace {
constexpr int k_TickMs = 50;
constexpr int k_ClientMs = 250;
// The clients of a tick that together take longer wait for the next idle turn.
constexpr std::chrono::milliseconds k_TurnTime(8);

// Without a slot on the 100 ms signal the 50 ms ticks in between have nothing to do: the timer
// then wakes every 250 ms and takes five ticks at once, so a quiet program sleeps.
int WantedInterval() {
    return wxTimed::s_Timer0100.ConnectionCount() > 0 ? k_TickMs : k_ClientMs;
}

// wx timers may only be started and stopped on the GUI thread: other threads hand the change
// over, and the handed-over call re-reads the set, so that it applies the latest state.
void SyncTimerState(wxMasterTimer* timer);
} // namespace

wxMasterTimer::wxMasterTimer() : LibStatic("wxMasterTimer") {}

wxMasterTimer::~wxMasterTimer() {
    Stop();
}

void wxMasterTimer::Insert(wxTimed* client) {
    Guard lock(*this);
    insert(client);
    if (wxThread::IsMain()) {
        if (!IsRunning()) Start(WantedInterval(), wxTIMER_CONTINUOUS);
    } else if (wxTheApp) {
        wxTheApp->CallAfter([this] { SyncTimerState(this); });
    }
}

void wxMasterTimer::Erase(wxTimed* client) {
    Guard lock(*this);
    erase(client);
    if (!empty()) return;
    if (wxThread::IsMain())
        Stop();
    else if (wxTheApp)
        wxTheApp->CallAfter([this] { SyncTimerState(this); });
}

size_t wxMasterTimer::GetClientCount() {
    Guard lock(*this);
    return size();
}

void wxMasterTimer::SyncState() {
    Guard lock(*this);
    if (empty())
        Stop();
    else if (!IsRunning())
        Start(WantedInterval(), wxTIMER_CONTINUOUS);
}

namespace {
void SyncTimerState(wxMasterTimer* timer) {
    // The timer may have been cleaned up since the call was queued.
    if (timer == g_MasterTimer) timer->SyncState();
}
} // namespace

void wxMasterTimer::Notify() {
    // As many 50 ms ticks as the timer's interval holds.
    const int ticks = IsRunning() ? std::max(1, GetInterval() / k_TickMs) : 1;
    for (int i = 0; i < ticks; ++i)
        Tick();
    if (IsRunning() && GetInterval() != WantedInterval())
        Start(WantedInterval(), wxTIMER_CONTINUOUS);
}

void wxMasterTimer::Tick() {
    const uint32_t t = m_tick;
    if (t % 2 == 0) wxTimed::s_Timer0100.Emit();
    if (t % 5 != 0) {
        m_tick = t + 1;
        return;
    }
    wxTimed::s_Timer0250.Emit();
    {
        // A client may destroy itself or others inside OnTimer: walk a copy and skip the
        // ones that left meanwhile. Clients still due from the last tick are called with this.
        Guard lock(*this);
        m_due.assign(begin(), end());
        m_next = 0;
    }
    _RunDue();
    m_tick = t + 1;
}

void wxMasterTimer::_RunDue() {
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        Guard lock(*this);
        if (m_next >= m_due.size()) return;
        wxTimed* client = m_due[m_next++];
        if (count(client)) client->OnTimer();
        if (m_next < m_due.size() && std::chrono::steady_clock::now() - start > k_TurnTime) {
            if (!m_turnQueued) {
                m_turnQueued = true;
                CallAfter([this] {
                    m_turnQueued = false;
                    _RunDue();
                });
            }
            return;
        }
    }
}

void wxMasterTimer::OnLibCleanup() {
    wxTimed::s_Timer0100.DisconnectAll();
    wxTimed::s_Timer0250.DisconnectAll();
    if (g_MasterTimer == this) g_MasterTimer = nullptr;
    delete this;
}
