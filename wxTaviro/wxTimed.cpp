// Sections: wxTimed; wxMasterTimer (registration, tick, clean-up).
#include <wxTaviro/wxTimed.h>

#include <wx/app.h>
#include <wx/thread.h>

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
        if (!IsRunning()) Start(k_TickMs, wxTIMER_CONTINUOUS);
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
        Start(k_TickMs, wxTIMER_CONTINUOUS);
}

namespace {
void SyncTimerState(wxMasterTimer* timer) {
    // The timer may have been cleaned up since the call was queued.
    if (timer == g_MasterTimer) timer->SyncState();
}
} // namespace

void wxMasterTimer::Notify() {
    const uint32_t t = m_tick;
    if (t % 2 == 0) wxTimed::s_Timer0100.Emit();
    if (t % 5 != 0) {
        m_tick = t + 1;
        return;
    }
    wxTimed::s_Timer0250.Emit();
    {
        Guard lock(*this);
        // A client may destroy itself or others inside OnTimer: walk a copy and skip the
        // ones that left meanwhile.
        const std::vector<wxTimed*> clients(begin(), end());
        for (wxTimed* client : clients)
            if (count(client)) client->OnTimer();
    }
    m_tick = t + 1;
}

void wxMasterTimer::OnLibCleanup() {
    wxTimed::s_Timer0100.DisconnectAll();
    wxTimed::s_Timer0250.DisconnectAll();
    if (g_MasterTimer == this) g_MasterTimer = nullptr;
    delete this;
}
