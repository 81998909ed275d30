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

/// @addtogroup windows
/// @{

/// The frame base: derive the main window and secondary frames from it. The first full frame
/// made is the main frame (s_Frame); it loads the colour scheme and answers the suite's scheme
/// request, and the full frames made after it die with it. A derived frame sets m_GuiBuilt
/// once its controls exist and calls LoadWindowPosition before the first Show and
/// SaveWindowPosition when it closes. GUI thread only.
class wxTaviroFrame : public wxFrame, public wxsColorManaged {
public:
    /// A full frame. The first one becomes the main frame (loads the colour scheme, answers the
    /// "COLORS" request); later ones are its child frames and die with it.
    wxTaviroFrame(const wxString& title, const wxPoint& pos = wxDefaultPosition,
                  const wxSize& size = wxDefaultSize, long style = wxDEFAULT_FRAME_STYLE);
    /// A small frame floating on `parent`: neither the main frame nor a child frame.
    wxTaviroFrame(wxWindow* parent, const wxString& title, long style);
    /// The main frame takes its child frames with it.
    ~wxTaviroFrame() override;

    /// Hooks for derived frames, called only once the GUI is built. `restoring` is true for the
    /// first size accepted after leaving the maximised or full-screen state.
    virtual void SizeHasChanged(const wxSize& newSize, const wxSize& oldSize, bool restoring);
    /// The frame moved (not while iconized or maximised).
    virtual void PositionHasChanged(const wxPoint& newPos, const wxPoint& oldPos);

    /// Places the frame from section "Window" of the options (or centres it) and restores the
    /// maximised and full-screen states. Holds across the first Show(), where GTK places a new
    /// frame itself.
    void LoadWindowPosition();
    /// Writes the position, the normal (not maximised) size and the three states.
    void SaveWindowPosition() const;

    /// Whether a menu of any frame is open now (timers and tooltips hold back meanwhile).
    static bool IsMenuOpen();
    /// Applies and saves a scheme, recolours every frame and dialog and tells the other running
    /// programs; a negative number changes nothing. Returns the scheme in force.
    static int SetColorScheme(int scheme);
    /// Sends a system-colour-changed event to the main frame, every child frame and every dialog.
    static void ProcessColorChange();

    /// Shows the frame; the first showing puts back the place LoadWindowPosition read, after
    /// GTK placed the frame itself.
    bool Show(bool show = true) override;

    /// The palette's text colour is the window's own: native controls made on it later keep
    /// their theme's, instead of the colour of whichever scheme was in force at their creation.
    bool SetForegroundColour(const wxColour& colour) override;

    /// @name Event handlers
    /// @{
    /// Keeps the position and calls PositionHasChanged.
    void OnMove(wxMoveEvent& e);
    /// The size filter: drops duplicates and sizes before the GUI is built, puts the normal
    /// size back when leaving the maximised or full-screen state, then calls SizeHasChanged.
    void OnSize(wxSizeEvent& e);
    /// A menu opened (see IsMenuOpen).
    void OnMenuOpen(wxMenuEvent& e);
    /// The menu closed.
    void OnMenuClose(wxMenuEvent& e);
    /// @}

    /// @name What the size filter and the placement keep
    /// @{
    /// The position as last moved to.
    const wxPoint& GetStoredPosition() const { return m_Position; }
    /// The size as last accepted by the size filter.
    const wxSize& GetStoredSize() const { return m_Size; }
    /// The size when neither maximised nor full-screen (what is saved).
    const wxSize& GetNormalSize() const { return m_NormalSize; }
    /// Maximised at the last accepted size.
    bool WasMaximized() const { return m_WasMaximized; }
    /// Full-screen at the last accepted size.
    bool WasFullScreen() const { return m_WasFullScreen; }
    /// @}

    /// The main frame; null before the first full frame and after it is destroyed.
    static wxTaviroFrame* s_Frame;
    /// The full frames made after the main frame, alive now.
    static const std::set<wxTaviroFrame*>& GetChildFrames();
    /// Emitted on the GUI thread whenever a frame of this kind is destroyed.
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
    wxSize m_RestoredSize;         // the size the options gave
    wxLongLong m_RestoreUntil = 0; // while the frame's decorations may still be added to it

    wxDECLARE_EVENT_TABLE();
};

/// Whether timers and tooltips of `w` may act: false when its top-level window is not active or
/// a menu is open.
bool ParentIsActive(wxWindow* w);

/// @}
