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

/// @addtogroup windows
/// @{

/// The dialog base. Modal or modeless, OK and Cancel end it alike: OK validates and transfers
/// the data, then ends a modal dialog with wxID_OK (a modeless one closes itself); Cancel, Escape
/// and the close box end it with 0. Return clicks the default themed button unless the focused
/// control takes Return itself. A named dialog remembers its position (section `name` of the
/// options) and is placed one caption lower for each open dialog of the same name. Every open
/// dialog is recoloured on a scheme change and told of connection changes. GUI thread only.
class wxTaviroDlg : public wxDialog, public wxsColorManaged {
public:
    /// Registration only: the derived class calls Create itself.
    wxTaviroDlg(const String& name, bool modal);
    /// Registers and creates the dialog on `parent` (the main frame when null). A non-empty name
    /// remembers the position and makes the dialog resizable.
    wxTaviroDlg(wxWindow* parent, const wxString& title, const String& name, bool modal);
    /// Leaves the registry; emits s_DlgClosed.
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
    /// A themed static text on `parent` (the dialog when null), bold or italic, its font
    /// `sizeDelta` points larger.
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
    /// What Escape does: clicks the dialog's escape button (Cancel by default); false when none.
    bool EmulateCancelButton();
    /// What Return does: clicks the default item when it is an enabled, shown themed button.
    bool EmulateDefaultButton();

    /// Calls OnConnected on every open dialog, on the GUI thread. Safe from any thread (the
    /// application calls it from the messenger's).
    static void NotifyConnected(bool connected);
    /// Recolours and repaints every open dialog.
    static void RefreshAll();
    /// Ends every modal dialog (with 0; its owner deletes it) and destroys the modeless ones.
    static void CloseAll();

    /// The name the position is remembered under; empty for an unnamed dialog.
    const String& GetDlgName() const { return m_Name; }
    /// How many dialogs of the same name were open when this one was made (its cascade step).
    int GetOpenIndex() const { return m_OpenIndex; }
    /// Whether the dialog was made modal (it may not be running modally yet).
    bool IsModalDlg() const { return m_Modal; }
    /// How many dialogs of that name exist now.
    static int GetOpenCount(const String& name);
    /// The dialogs open now (a copy).
    static std::set<wxTaviroDlg*> GetDialogs();

    /// A modal dialog finished its initialisation.
    static Signal0<ThreadPolicy::LocalThreaded> s_ModalStarted;
    /// A modal dialog was closed through its close box.
    static Signal0<ThreadPolicy::LocalThreaded> s_ModalFinished;
    /// A dialog was destroyed.
    static Signal0<ThreadPolicy::LocalThreaded> s_DlgClosed;

    /// The palette's text colour is the window's own: native controls made on it later keep
    /// their theme's, instead of the colour of whichever scheme was in force at their creation.
    bool SetForegroundColour(const wxColour& colour) override;

    /// @name Event handlers
    /// @{
    /// Colours, layout and fit, then the remembered (or cascaded) place.
    void OnInit(wxInitDialogEvent& e);
    /// Validates and transfers the data, then ends the dialog with wxID_OK.
    void OnOK(wxCommandEvent& e);
    /// Ends the dialog with 0.
    void OnCancel(wxCommandEvent& e);
    /// The close box: Cancel for a modal dialog; a modeless one is destroyed.
    void OnClose(wxCloseEvent& e);
    /// Escape cancels; Return clicks the default button (see the class).
    void OnKey(wxKeyEvent& e);
    /// @}

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

/// @}
