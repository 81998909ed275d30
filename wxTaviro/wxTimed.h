/// @file
/// One process-wide 50 ms GUI timer that paces every periodic activity of a client program:
/// objects derived from wxTimed are called every 250 ms while they exist, and any slot holder
/// may connect to the 100 ms and 250 ms signals.
#pragma once

#include <ostrum/LibStatic.h>
#include <ostrum/Lock.h>
#include <ostrum/Signal.h>

#include <wx/timer.h>

#include <cstdint>
#include <set>
#include <vector>

/// @addtogroup views
/// @{

/// A base for objects with periodic GUI work (a view's refresh, a blinking mark): OnTimer runs
/// every 250 ms on the GUI thread for as long as the object exists, paced by the one master
/// timer of the process instead of a wxTimer each.
class wxTimed {
public:
    /// Registers with the master timer, creating and starting it when needed.
    wxTimed();
    /// Leaves the master timer (StopTimer), if the derived destructor did not already.
    virtual ~wxTimed();
    wxTimed(const wxTimed&) = delete;
    wxTimed& operator=(const wxTimed&) = delete;

    /// Every 250 ms on the GUI thread.
    virtual void OnTimer() = 0;

    /// Leaves the master timer: once it returns, OnTimer is neither running nor called again.
    /// A client calls it first thing in its own destructor, since the base destructor runs
    /// only after the derived part is gone (a tick in between, from a destructor that pumps
    /// events or one running on another thread, would call a half-destroyed object).
    /// Idempotent; the base destructor calls it too.
    void StopTimer();

    /// Emitted every 100 ms on the GUI thread while the master timer runs.
    static Signal0<ThreadPolicy::LocalThreaded> s_Timer0100;
    /// Emitted every 250 ms on the GUI thread, just before the clients' OnTimer.
    static Signal0<ThreadPolicy::LocalThreaded> s_Timer0250;
};

/// The process-wide 50 ms timer behind wxTimed and its two signals (g_MasterTimer). It runs
/// only while it has clients; the library's clean-up deletes it.
class wxMasterTimer : private wxTimer,
                      private std::set<wxTimed*>,
                      private Mutex,
                      private LibStatic {
public:
    /// Made by the first wxTimed; registers for the library's clean-up.
    wxMasterTimer();
    ~wxMasterTimer() override;

    /// Adds a client; the timer starts if it was idle. Any thread (the timer itself runs on
    /// the GUI thread).
    void Insert(wxTimed* client);
    /// Removes a client; once it returns, the client's OnTimer is not running. Any thread.
    void Erase(wxTimed* client);

    /// One 50 ms tick: the 100 ms signal on even ticks; on every fifth tick the 250 ms signal,
    /// then the clients in address order. Clients that take long hand the rest of the tick
    /// to the next idle turn, so that input and painting come in between.
    void Notify() override;
    /// One 50 ms tick (Notify takes five at once while nobody listens to the 100 ms signal).
    void Tick();
    /// The library's clean-up: disconnects both signals and deletes the timer.
    void OnLibCleanup() override;

    /// Ticks so far.
    uint32_t GetTick() const { return m_tick; }
    /// Whether the underlying timer runs.
    bool IsTicking() const { return IsRunning(); }
    /// The wxTimed objects registered now.
    size_t GetClientCount();
    /// Runs the timer exactly when there are clients; GUI thread only (other threads reach it
    /// through Insert/Erase, which hand it over).
    void SyncState();

private:
    /// Calls the clients of this tick still due, until they are done or a turn is used up.
    void _RunDue();

    uint32_t m_tick = 0;
    std::vector<wxTimed*> m_due; ///< the clients of the last tick, in order
    size_t m_next = 0;           ///< the first of them not yet called
    bool m_turnQueued = false;
};

/// The one master timer; null until the first wxTimed and again after library clean-up.
extern wxMasterTimer* g_MasterTimer;

/// @}
