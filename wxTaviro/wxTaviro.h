/// @file
/// The registry of a program's open secondary windows with its window menu, and the saving and
/// restoring of window placement in the options file.
#pragma once

#include <ostrum/String.h>

#include <wx/weakref.h>
#include <wx/wx.h>

#include <vector>

// ---- open windows ----

/// @addtogroup windows
/// @{

/// Fixed menu ids of the window menu.
enum {
    wxID_OPENWIN_MAIN = 24000,       ///< "Main Window": raises the top window
    wxID_OPENWIN_FIRST = 24001,      ///< the registered windows, up to wxID_OPENWIN_LAST
    wxID_OPENWIN_LAST = 24100,       ///< the last id a registered window gets
    wxID_OPENWIN_CLOSEALL = 24101,   ///< "Close All": closes every registered window
    wxID_OPENWIN_COLLECTALL = 24102, ///< "Collect All": centres them on the main window's display
};

/// The registry of a program's open secondary windows (viewers, job lists, logs) and its
/// Window menu, grouped by a label the program chooses. A registered window leaves the
/// registry when it closes. Reached through wxOpenUserWindow and wxGetOpenWindowMenu (or the
/// one object, `OpenWindows::_this`). GUI thread only.
class OpenWindows : public wxEvtHandler {
public:
    /// One registered window.
    struct Datum {
        wxTopLevelWindow* window; ///< not owned
        String label;             ///< "   " + group, or empty
    };

    /// The one registry of the process.
    static OpenWindows* const _this;

    /// Registers the window under `group` (empty: no group); a shown window smaller than 100
    /// pixels either way is given a proper size and centred.
    void AddWindow(wxTopLevelWindow* window, const String& group);
    /// The window menu, refilled on every call; owned by the registry until a menu bar takes
    /// it. A menu destroyed with its menu bar is noticed and replaced by a new one. The
    /// commands go to the application's current top window.
    wxMenu* GetMenu();
    /// A registered window closes: it leaves the registry (and comes back if the close is vetoed).
    void OnClose(wxCloseEvent& e);
    /// The window menu's commands: raise one window, collect or close them all.
    void OnCommand(wxCommandEvent& e);
    /// Grows the window to at least half the reference's size and centres it in the client
    /// area of the reference's display.
    void CenterOnDisplay(wxWindow* reference, wxWindow* window);
    /// Forgets every window (the application does it on exit); closes none.
    void Clear();
    /// The registered windows, in registration order.
    const std::vector<Datum>& GetEntries() const { return m_Entries; }

private:
    void RecheckClosed(wxTopLevelWindow* window, size_t index, Datum datum);

    std::vector<Datum> m_Entries;
    wxWeakRef<wxMenu> m_Menu;            // weak: a menu bar that took it deletes it
    wxWeakRef<wxWindow> m_CommandTarget; // the top window the commands are bound to
};

/// Registers a secondary window in the Window menu, under `group`.
void wxOpenUserWindow(wxTopLevelWindow* window, const String& group);
/// The Window menu, refilled: append it to the menu bar once, and call this again whenever the
/// menu opens so that it lists the windows open now.
wxMenu* wxGetOpenWindowMenu();

// ---- window placement ----

/// Stores the window's rectangle as "x, y, width, height" under key "Window" of `section` in
/// the application's options file.
void wxSaveWindowPos(wxWindow* window, const String& section);
/// Restores it (moved by `offset` in both directions); a window with no usable rectangle, or
/// shown with no reachable part on any display (its title bar strip lies off every display's
/// client area), is centred on its parent. Always raises the window.
void wxSetWindowPos(wxWindow* window, const String& section, int offset);

/// @}
