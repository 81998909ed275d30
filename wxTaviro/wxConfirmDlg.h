/// @file
/// The confirmation dialog (OK/Cancel, "This is always OK") and the program's message box (OK,
/// "Don't tell me again"). A ticked answer is remembered per key in section "Confirm" of the
/// options, and later calls with that key return at once without showing anything.
#pragma once

#include <wxTaviro/wxTaviroDlg.h>

/// @addtogroup windows
/// @{

/// A question with OK and Cancel (or OK alone) and a "This is always OK" box: once ticked and
/// confirmed, the question under that key is not asked again until ResetAll.
///
///     if (wxConfirmDlg(this, _("Delete the job?"), "DeleteJob").Confirm()) DeleteJob();
class wxConfirmDlg : public wxTaviroDlg {
public:
    /// Modal and unnamed; titled with the application's display name, sized to its content and
    /// centred on the parent. A remembered key builds nothing.
    wxConfirmDlg(wxWindow* parent, const wxString& message, const String& key,
                 bool canCancel = true);

    /// True at once when remembered; otherwise asks, and is true when the user pressed OK.
    bool Confirm();
    /// Writes the check box as "1" or "0" under the key (only OK gets here).
    bool TransferDataFromWindow() override;

    /// Forgets every remembered answer.
    static void ResetAll();
    /// Relabels the OK button.
    void SetOK(const String& label);
    /// Relabels the Cancel button.
    void SetCancel(const String& label);

    /// Whether the answer under the key was remembered (nothing was built then).
    bool IsRemembered() const { return m_Remembered; }
    /// The "This is always OK" box; null when remembered.
    wxsCheckBox* GetCheckBox() const { return m_CheckBox; }

private:
    void CreateControls(wxWindow* parent, const wxString& message, bool canCancel);
    void _SetLabel(int id, const String& label);

    String m_Key;
    bool m_Remembered = false;
    wxsCheckBox* m_CheckBox = nullptr;
};

/// Logs the message, then shows it with "Don't tell me again" remembered under `title` (the key,
/// not the caption: the caption is the application's name). True when the user saw it and
/// pressed OK, or when it is silenced.
bool wxTaviroMessageBox(const wxString& message, const String& title, wxWindow* parent = nullptr);

/// @}
