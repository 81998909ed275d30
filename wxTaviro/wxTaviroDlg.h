/// @file
/// The dialog base of every client program: the registry of open dialogs (recoloured on a scheme
/// change, told of connection changes, closed all at once), a remembered position per dialog
/// name that cascades when several of the same name are open, OK and Cancel alike for modal and
/// modeless use, Escape and Enter on themed buttons, and small layout builders.
#pragma once

#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/Signal.h>

#include <wx/dialog.h>
#include <wx/sizer.h>

#include <set>

class wxTaviroDlg : public wxDialog, public wxsColorManaged {
public:
    /// Registration only: the derived class calls Create itself.
    wxTaviroDlg(const String& name, bool modal);
    /// Registers and creates the dialog on `parent` (the main frame when null). A non-empty name
    /// remembers the position and makes the dialog resizable.
    wxTaviroDlg(wxWindow* parent, const wxString& title, const String& name, bool modal);
    ~wxTaviroDlg() override;

    /// The messenger's connection state changed; called on the GUI thread.
    virtual void OnConnected(bool connected);

    /// A vertical sizer made the dialog's sizer.
    wxBoxSizer* StartControls();
    /// Themed OK (the default button) and Cancel buttons in `sizer`: pushed to the right end of
    /// a horizontal sizer, or in a right-aligned row of a vertical one when `rightAligned`.
    void AddButtons(wxBoxSizer* sizer, bool rightAligned = true);
    wxsStaticText* _NewStatic(wxWindow* parent, const wxString& text, bool bold, bool italic,
                              int sizeDelta, long style);
    wxsStaticText* NewStatic(const wxString& text, bool bold = false, bool italic = false,
                             int sizeDelta = 0, long style = 0, wxWindow* parent = nullptr);
    /// A static text in the palette colour named `colour`.
    wxsStaticText* NewStatic(const wxString& text, wxWindow* parent, const String& colour);
    /// A one-pixel horizontal rule in "TextGray".
    wxsPanel* NewLine(wxWindow* parent = nullptr);
    /// A section heading: italic grey text and a rule running to the right edge.
    wxBoxSizer* NewStaticLine(const wxString& text, wxWindow* parent = nullptr);

    /// Clicks an enabled, shown themed button of this dialog; false when there is none.
    bool EmulateWxsButtonClickIfPresent(int id);
    bool EmulateCancelButton();
    bool EmulateDefaultButton();

    static void NotifyConnected(bool connected);
    /// Recolours and repaints every open dialog.
    static void RefreshAll();
    static void CloseAll();

    const String& GetDlgName() const { return m_Name; }
    int GetOpenIndex() const { return m_OpenIndex; }
    bool IsModalDlg() const { return m_Modal; }
    /// How many dialogs of that name exist now.
    static int GetOpenCount(const String& name);
    static std::set<wxTaviroDlg*> GetDialogs();

    /// A modal dialog finished its initialisation / was closed through its close box; any
    /// dialog was destroyed.
    static Signal0<ThreadPolicy::LocalThreaded> s_ModalStarted;
    static Signal0<ThreadPolicy::LocalThreaded> s_ModalFinished;
    static Signal0<ThreadPolicy::LocalThreaded> s_DlgClosed;

    /// The palette's text colour is the window's own: native controls made on it later keep
    /// their theme's, instead of the colour of whichever scheme was in force at their creation.
    bool SetForegroundColour(const wxColour& colour) override;

    /// Event handlers.
    void OnInit(wxInitDialogEvent& e);
    void OnOK(wxCommandEvent& e);
    void OnCancel(wxCommandEvent& e);
    void OnClose(wxCloseEvent& e);
    void OnKey(wxKeyEvent& e);

private:
    void _Register(const String& name, bool modal);
    void _SavePosition();
    // The client area holds the content again (exactly, when the dialog cannot be resized);
    // an unnamed dialog goes back over its parent.
    void _Settle();

    String m_Name;
    int m_OpenIndex = 0;
    bool m_Modal = false;
    wxLongLong m_SettleUntil = 0;

    wxDECLARE_EVENT_TABLE();
};
