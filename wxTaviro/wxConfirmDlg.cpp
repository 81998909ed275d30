// The confirmation dialog and the message box.
#include <wxTaviro/wxConfirmDlg.h>
#include <wxTaviro/wxTaviroString.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/Log.h>

namespace {
const char* const k_Section = "Confirm";

// The title: the name a person reads, not the program's file name.
wxString _AppName() {
    Application* app = Application::the_Application;
    return app ? wxFromString(app->GetDisplayName()) : wxString();
}

} // namespace

wxConfirmDlg::wxConfirmDlg(wxWindow* parent, const wxString& message, const String& key,
                           bool canCancel)
    : wxTaviroDlg(parent, _AppName(), String(), true), m_Key(key) {
    CALL_ENTRY("wxConfirmDlg::wxConfirmDlg");
    SetBackgroundSlot(color_WindowBGDarker);
    RefreshColors();
    Application* app = Application::the_Application;
    // Anything but a true text (a garbled value included) asks again.
    m_Remembered = app && app->GetOptions()->GetValue(k_Section, m_Key, false);
    if (!m_Remembered) CreateControls(parent, message, canCancel);
}

// The dialog's parent (the given one, else the main frame) is what it centres on.
void wxConfirmDlg::CreateControls(wxWindow*, const wxString& message, bool canCancel) {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    SetSizer(sizer);
    sizer->Add(new wxsStaticText(this, wxID_ANY, message, wxDefaultPosition, wxDefaultSize, 0,
                                 "staticText"),
               0, wxEXPAND | wxALL, 20);
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    sizer->Add(row, 0, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, 10);
    row->AddSpacer(10);
    m_CheckBox =
        new wxsCheckBox(this, wxID_ANY, wxGetTranslation("Don't tell me again"), wxDefaultPosition,
                        wxDefaultSize, 0, wxDefaultValidator, "checkBox");
    row->Add(m_CheckBox, 0, wxALIGN_CENTER_VERTICAL);
    row->AddStretchSpacer(1);
    row->AddSpacer(10);
    auto* ok = new wxsButton(this, wxID_OK, wxGetTranslation("OK"));
    ok->SetDefault();
    // The question starts on its default button, so that a stray Space cannot tick the box.
    ok->SetFocus();
    row->Add(ok);
    if (canCancel) {
        row->AddSpacer(5);
        row->Add(new wxsButton(this, wxID_CANCEL, wxGetTranslation("Cancel")));
        m_CheckBox->SetLabel(wxGetTranslation("This is always OK"));
    }
    row->AddSpacer(10);
    Fit();
    CentreOnParent(wxBOTH);
}

bool wxConfirmDlg::Confirm() {
    CALL_ENTRY("wxConfirmDlg::Confirm");
    if (m_Remembered) return true;
    return ShowModal() == wxID_OK;
}

bool wxConfirmDlg::TransferDataFromWindow() {
    CALL_ENTRY("wxConfirmDlg::TransferDataFromWindow");
    Application* app = Application::the_Application;
    if (!app || !m_CheckBox) return true;
    OptionsFile* options = app->GetOptions();
    try {
        RWLock::WriteGuard lock(*options->GetRWLock());
        options->SetValue(k_Section, m_Key, m_CheckBox->GetValue() ? "1" : "0");
    } catch (Exception* e) {
        LogInfo("Cannot remember the answer: " + e->Format());
        delete e;
    }
    return true;
}

void wxConfirmDlg::ResetAll() {
    CALL_ENTRY("wxConfirmDlg::ResetAll");
    Application* app = Application::the_Application;
    if (!app) return;
    try {
        app->GetOptions()->ClearSection(k_Section);
    } catch (Exception* e) {
        LogInfo("Cannot forget the remembered answers: " + e->Format());
        delete e;
    }
}

void wxConfirmDlg::_SetLabel(int id, const String& label) {
    // This dialog's own button only: a search over every window would relabel another
    // dialog's button when this one has none (a remembered dialog, or Cancel on a notice).
    if (wxWindow* w = FindWindow(id)) w->SetLabel(wxFromString(label));
}

void wxConfirmDlg::SetOK(const String& label) {
    CALL_ENTRY("wxConfirmDlg::SetOK");
    _SetLabel(wxID_OK, label);
}

void wxConfirmDlg::SetCancel(const String& label) {
    CALL_ENTRY("wxConfirmDlg::SetCancel");
    _SetLabel(wxID_CANCEL, label);
}

bool wxTaviroMessageBox(const wxString& message, const String& title, wxWindow* parent) {
    CALL_ENTRY("wxTaviroMessageBox");
    LogInfo(wxToString(message));
    return wxConfirmDlg(parent, message, title, false).Confirm();
}
