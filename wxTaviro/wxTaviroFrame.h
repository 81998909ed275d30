/// @file
/// The frame base of every client program: the main frame and its child frames, placement that
/// survives restarts, a size-event filter around maximising and full-screen changes, the
/// menu-open state, and the program-wide colour scheme switch that reaches every running program
/// of the suite.
#pragma once

#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/Signal.h>

#include <wx/frame.h>
#include <wx/timer.h>

#include <set>

class wxTaviroFrame : public wxFrame, public wxsColorManaged {
public:
    /// A full frame. The first one becomes the main frame (loads the colour scheme, answers the
    /// "COLORS" request); later ones are its child frames and die with it.
    wxTaviroFrame(const wxString& title, const wxPoint& pos = wxDefaultPosition,
                  const wxSize& size = wxDefaultSize, long style = wxDEFAULT_FRAME_STYLE);
    /// A small frame floating on `parent`: neither the main frame nor a child frame.
    wxTaviroFrame(wxWindow* parent, const wxString& title, long style);
    ~wxTaviroFrame() override;

    /// Hooks for derived frames, called only once the GUI is built. `restoring` is true for the
    /// first size accepted after leaving the maximised or full-screen state.
    virtual void SizeHasChanged(const wxSize& newSize, const wxSize& oldSize, bool restoring);
    virtual void PositionHasChanged(const wxPoint& newPos, const wxPoint& oldPos);

    /// Places the frame from section "Window" of the options (or centres it) and restores the
    /// maximised and full-screen states. Holds across the first Show(), where GTK places a new
    /// frame itself.
    void LoadWindowPosition();
    /// Writes the position, the normal (not maximised) size and the three states.
    void SaveWindowPosition() const;

    static bool IsMenuOpen();
    /// Applies and saves a scheme, recolours every frame and dialog and tells the other running
    /// programs; a negative number changes nothing. Returns the scheme in force.
    static int SetColorScheme(int scheme);
    /// Sends a system-colour-changed event to the main frame, every child frame and every dialog.
    static void ProcessColorChange();

    bool Show(bool show = true) override;

    /// The palette's text colour is the window's own: native controls made on it later keep
    /// their theme's, instead of the colour of whichever scheme was in force at their creation.
    bool SetForegroundColour(const wxColour& colour) override;

    /// Event handlers.
    void OnMove(wxMoveEvent& e);
    void OnSize(wxSizeEvent& e);
    void OnMenuOpen(wxMenuEvent& e);
    void OnMenuClose(wxMenuEvent& e);

    /// What the size filter and the placement keep.
    const wxPoint& GetStoredPosition() const { return m_Position; }
    const wxSize& GetStoredSize() const { return m_Size; }
    const wxSize& GetNormalSize() const { return m_NormalSize; }
    bool WasMaximized() const { return m_WasMaximized; }
    bool WasFullScreen() const { return m_WasFullScreen; }

    static wxTaviroFrame* s_Frame;
    static const std::set<wxTaviroFrame*>& GetChildFrames();
    static Signal0<ThreadPolicy::LocalThreaded> s_WinClosed;

protected:
    /// Set by the derived frame once its controls exist; until then moves and sizes are ignored.
    bool m_GuiBuilt = false;

private:
    void _ApplyPosition();

    wxPoint m_Position{0, 0};
    wxSize m_Size{0, 0};
    wxSize m_NormalSize{0, 0};
    bool m_WasMaximized = false;
    bool m_WasFullScreen = false;
    bool m_PlaceOnShow = false;
    void _TakeBackDecorations();
    wxTimer m_DecorTimer;
    wxSize m_RestoredSize;        // the size the options gave
    wxLongLong m_RestoreUntil = 0; // while the frame's decorations may still be added to it

    wxDECLARE_EVENT_TABLE();
};

/// Whether timers and tooltips of `w` may act: false when its top-level window is not active or
/// a menu is open.
bool ParentIsActive(wxWindow* w);
