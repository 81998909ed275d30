// The dialog base: registry, open counts and cascade, OK/Cancel, keys and layout builders.
//
// Sections: registry; construction; layout builders; button emulation; event handlers.
#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroDlg.h>
#include <wxTaviro/wxTaviroFrame.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>

#include <wx/settings.h>
#include <wx/textctrl.h>

#include <map>
#include <mutex>

// ---- registry ----

Signal0<ThreadPolicy::LocalThreaded> wxTaviroDlg::s_ModalStarted;
Signal0<ThreadPolicy::LocalThreaded> wxTaviroDlg::s_ModalFinished;
Signal0<ThreadPolicy::LocalThreaded> wxTaviroDlg::s_DlgClosed;

namespace {
// The messenger's thread walks the registry (NotifyConnected) while the GUI thread opens and
// closes dialogs: both go through this lock.
std::recursive_mutex s_DialogsMutex;
std::set<wxTaviroDlg*> s_Dialogs;

struct _Count {
    int count = 0;
};
std::map<String, _Count> s_OpenCounts;

bool _IsRegistered(wxTaviroDlg* dlg) {
    std::lock_guard<std::recursive_mutex> l(s_DialogsMutex);
    return s_Dialogs.count(dlg) > 0;
}
} // namespace

std::set<wxTaviroDlg*> wxTaviroDlg::GetDialogs() {
    std::lock_guard<std::recursive_mutex> l(s_DialogsMutex);
    return s_Dialogs;
}

int wxTaviroDlg::GetOpenCount(const String& name) {
    std::lock_guard<std::recursive_mutex> l(s_DialogsMutex);
    auto it = s_OpenCounts.find(name);
    return it == s_OpenCounts.end() ? 0 : it->second.count;
}

void wxTaviroDlg::NotifyConnected(bool connected) {
    CALL_ENTRY("wxTaviroDlg::NotifyConnected");
    // On the GUI thread, where dialogs are destroyed: a dialog leaves the registry only in the
    // base destructor, after its derived part is gone, so a call from the messenger's thread
    // could reach a half-destroyed dialog. Each dialog is looked up again before its turn.
    auto tell = [connected] {
        for (wxTaviroDlg* dlg : GetDialogs())
            if (_IsRegistered(dlg)) dlg->OnConnected(connected);
    };
    if (wxThread::IsMain())
        tell();
    else if (wxTheApp)
        wxTheApp->CallAfter(tell);
}

void wxTaviroDlg::RefreshAll() {
    CALL_ENTRY("wxTaviroDlg::RefreshAll");
    // A handler may destroy a dialog meanwhile: each one is looked up again before its turn.
    for (wxTaviroDlg* dlg : GetDialogs()) {
        if (!_IsRegistered(dlg) || !dlg->GetHandle()) continue;
        wxSysColourChangedEvent event;
        event.SetId(0);
        event.SetEventObject(dlg);
        dlg->GetEventHandler()->ProcessEvent(event);
        if (_IsRegistered(dlg)) dlg->Refresh(true);
    }
}

void wxTaviroDlg::CloseAll() {
    CALL_ENTRY("wxTaviroDlg::CloseAll");
    std::set<wxTaviroDlg*> all;
    {
        std::lock_guard<std::recursive_mutex> l(s_DialogsMutex);
        all.swap(s_Dialogs);
    }
    for (wxTaviroDlg* dlg : all) {
        if (!dlg->GetHandle() || dlg->IsBeingDeleted()) continue;
        // A modal dialog belongs to whoever runs it (often on the stack): it is ended, and its
        // owner deletes it.
        if (dlg->IsModal())
            dlg->EndModal(0);
        else if (dlg->m_Modal)
            dlg->Hide();
        else
            dlg->Destroy();
    }
}

// ---- construction ----

wxBEGIN_EVENT_TABLE(wxTaviroDlg, wxDialog)
    EVT_CLOSE(wxTaviroDlg::OnClose)
    EVT_BUTTON(wxID_OK, wxTaviroDlg::OnOK)
    EVT_BUTTON(wxID_CANCEL, wxTaviroDlg::OnCancel)
    EVT_INIT_DIALOG(wxTaviroDlg::OnInit)
    EVT_CHAR_HOOK(wxTaviroDlg::OnKey)
wxEND_EVENT_TABLE()

namespace {
// How long after showing a dialog keeps its content's size (and an unnamed one its place)
// against the window manager.
constexpr int k_SettleMs = 1000;
} // namespace

void wxTaviroDlg::_Register(const String& name, bool modal) {
    // A static member function cannot sit in the event table.
    Bind(wxEVT_ACTIVATE, &wxTaviroApp::ActivateEvent);
    // A window manager frames and places a new window itself once it is shown: the frame's
    // decorations may come out of the size given (cutting the buttons at the bottom in half)
    // and the place may be a corner of the screen. Until that has settled, the dialog takes
    // its size back. New fonts and colours (a scheme change) change the controls' sizes: the
    // layout follows them.
    Bind(wxEVT_SHOW, [this](wxShowEvent& e) {
        e.Skip();
        if (!e.IsShown()) return;
        m_SettleUntil = wxGetLocalTimeMillis() + k_SettleMs;
        CallAfter([this] { _Settle(); });
    });
    auto whileSettling = [this](wxEvent& e) {
        e.Skip();
        if (wxGetLocalTimeMillis() < m_SettleUntil) CallAfter([this] { _Settle(); });
    };
    Bind(wxEVT_SIZE, whileSettling);
    Bind(wxEVT_MOVE, whileSettling);
    Bind(wxEVT_SYS_COLOUR_CHANGED, [this](wxSysColourChangedEvent& e) {
        e.Skip();
        CallAfter([this] { _Settle(); });
    });
    std::lock_guard<std::recursive_mutex> l(s_DialogsMutex);
    s_Dialogs.insert(this);
    m_Name = name;
    m_OpenIndex = s_OpenCounts[name].count++;
    m_Modal = modal;
}

wxTaviroDlg::wxTaviroDlg(const String& name, bool modal) {
    CALL_ENTRY("wxTaviroDlg::wxTaviroDlg");
    _Register(name, modal);
    // There is no window to colour before the derived class creates it: the roles are set now
    // (controls made on the dialog take them over) and applied in OnInit.
    SetForegroundSlot(color_Text);
    SetBackgroundSlot(color_WindowBG);
    SetDisabledForegroundSlot(color_TextGrey);
    SetDisabledBackgroundSlot(color_WindowBGLighter, 50);
}

wxTaviroDlg::wxTaviroDlg(wxWindow* parent, const wxString& title, const String& name, bool modal) {
    CALL_ENTRY("wxTaviroDlg::wxTaviroDlg");
    _Register(name, modal);
    if (!parent) parent = wxTaviroFrame::s_Frame;
    SetExtraStyle(GetExtraStyle() | 8);
    long style = wxCAPTION | wxSYSTEM_MENU | wxCLOSE_BOX | wxTAB_TRAVERSAL | 0x0008;
    if (!name.empty()) style |= wxRESIZE_BORDER;
    if (Create(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize, style)) {
        if (!name.empty()) SetFont(wxSystemSettings::GetFont(wxSYS_DEFAULT_GUI_FONT));
        wxFont font = GetFont();
        font.SetPointSize(font.GetPointSize() - 1);
        SetFont(font);
        // Command events travel on to the parent.
        SetExtraStyle(GetExtraStyle() & ~2L);
    }
    Manage(this);
}

wxTaviroDlg::~wxTaviroDlg() {
    CALL_ENTRY("wxTaviroDlg::~wxTaviroDlg");
    {
        std::lock_guard<std::recursive_mutex> l(s_DialogsMutex);
        s_Dialogs.erase(this);
        auto it = s_OpenCounts.find(m_Name);
        if (it != s_OpenCounts.end() && --it->second.count <= 0) s_OpenCounts.erase(it);
    }
    s_DlgClosed.Emit();
    for (wxTaviroDlg* dlg : GetDialogs())
        if (dlg->GetHandle()) dlg->Refresh(true);
}

void wxTaviroDlg::OnConnected(bool) {}

// ---- layout builders ----

wxBoxSizer* wxTaviroDlg::StartControls() {
    CALL_ENTRY("wxTaviroDlg::StartControls");
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    SetSizer(sizer);
    return sizer;
}

void wxTaviroDlg::AddButtons(wxBoxSizer* sizer, bool rightAligned) {
    CALL_ENTRY("wxTaviroDlg::AddButtons");
    if (!sizer) return;
    wxBoxSizer* row = sizer;
    if (sizer->GetOrientation() == wxHORIZONTAL) {
        sizer->AddStretchSpacer(1);
    } else if (rightAligned) {
        row = new wxBoxSizer(wxHORIZONTAL);
        sizer->Add(row, 0, wxALIGN_RIGHT, 0);
    }
    auto* ok = new wxsButton(this, wxID_OK, wxGetTranslation("OK"));
    ok->SetDefault();
    row->Add(ok, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
    auto* cancel = new wxsButton(this, wxID_CANCEL, wxGetTranslation("Cancel"));
    row->Add(cancel, 0, wxALL | wxALIGN_CENTER_VERTICAL, 5);
}

wxsStaticText* wxTaviroDlg::_NewStatic(wxWindow* parent, const wxString& text, bool bold,
                                       bool italic, int sizeDelta, long style) {
    CALL_ENTRY("wxTaviroDlg::_NewStatic");
    auto* label = new wxsStaticText(parent, wxID_ANY, text, wxDefaultPosition, wxDefaultSize, style,
                                    "staticText");
    if (bold || italic || sizeDelta != 0) {
        wxFont font = label->GetFont();
        if (bold) font.SetWeight(wxFONTWEIGHT_BOLD);
        if (italic) font.SetStyle(wxFONTSTYLE_ITALIC);
        font.SetPointSize(font.GetPointSize() + sizeDelta);
        label->SetFont(font);
    }
    return label;
}

wxsStaticText* wxTaviroDlg::NewStatic(const wxString& text, bool bold, bool italic, int sizeDelta,
                                      long style, wxWindow* parent) {
    CALL_ENTRY("wxTaviroDlg::NewStatic");
    return _NewStatic(parent ? parent : this, text, bold, italic, sizeDelta, style);
}

wxsStaticText* wxTaviroDlg::NewStatic(const wxString& text, wxWindow* parent,
                                      const String& colour) {
    CALL_ENTRY("wxTaviroDlg::NewStatic");
    wxsStaticText* label = _NewStatic(parent ? parent : this, text, false, false, 0, 0);
    label->SetForegroundSlot(colour);
    label->RefreshColors();
    return label;
}

wxsPanel* wxTaviroDlg::NewLine(wxWindow* parent) {
    CALL_ENTRY("wxTaviroDlg::NewLine");
    auto* line = new wxsPanel(parent ? parent : this, wxID_ANY, wxDefaultPosition, wxSize(-1, 1),
                              wxTAB_TRAVERSAL, "panel");
    line->SetBackgroundSlot(color_TextGrey);
    line->RefreshColors();
    return line;
}

wxBoxSizer* wxTaviroDlg::NewStaticLine(const wxString& text, wxWindow* parent) {
    CALL_ENTRY("wxTaviroDlg::NewStaticLine");
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    wxsStaticText* label = _NewStatic(parent ? parent : this, text, false, true, 0, 0);
    label->SetForegroundSlot(color_TextGrey);
    label->RefreshColors();
    row->Add(label, 0, wxALIGN_CENTER_VERTICAL, 0);
    row->Add(NewLine(parent), 1, wxALIGN_CENTER_VERTICAL, 0);
    return row;
}

// ---- button emulation ----

bool wxTaviroDlg::EmulateWxsButtonClickIfPresent(int id) {
    CALL_ENTRY("wxTaviroDlg::EmulateWxsButtonClickIfPresent");
    // Only this dialog's own children: another window's button of the same id is not ours.
    auto* button = dynamic_cast<wxsButton*>(FindWindow(id));
    if (!button || !button->IsEnabled() || !button->IsShown()) return false;
    wxCommandEvent event(wxEVT_BUTTON, id);
    event.SetEventObject(button);
    button->GetEventHandler()->ProcessEvent(event);
    return true;
}

bool wxTaviroDlg::EmulateCancelButton() {
    CALL_ENTRY("wxTaviroDlg::EmulateCancelButton");
    const int id = GetEscapeId();
    if (id == wxID_NONE) return false;
    if (id == wxID_ANY && EmulateWxsButtonClickIfPresent(wxID_CANCEL)) return true;
    return EmulateWxsButtonClickIfPresent(id);
}

bool wxTaviroDlg::EmulateDefaultButton() {
    CALL_ENTRY("wxTaviroDlg::EmulateDefaultButton");
    auto* button = dynamic_cast<wxsButton*>(GetDefaultItem());
    if (!button || !button->IsEnabled() || !button->IsShown()) return false;
    wxCommandEvent event(wxEVT_BUTTON, button->GetId());
    event.SetEventObject(button);
    button->GetEventHandler()->ProcessEvent(event);
    return true;
}

// ---- event handlers ----

void wxTaviroDlg::_SavePosition() {
    if (!m_Name.empty()) wxSaveWindowPos(this, m_Name);
}

void wxTaviroDlg::_Settle() {
    if (!GetSizer() || IsBeingDeleted() || !GetHandle()) return;
    Layout();
    const wxSize content = GetSizer()->GetMinSize(), client = GetClientSize();
    if (!HasFlag(wxRESIZE_BORDER)) {
        if (client != content) SetClientSize(content);
    } else {
        SetMinClientSize(content); // a resizable one is not dragged smaller than its content
        if (client.x < content.x || client.y < content.y)
            SetClientSize(wxSize(std::max(client.x, content.x), std::max(client.y, content.y)));
    }
    // Only while settling: later, a box the user moved stays where it was put.
    if (m_Name.empty() && GetParent() && wxGetLocalTimeMillis() < m_SettleUntil)
        CentreOnParent(wxBOTH);
}

void wxTaviroDlg::OnInit(wxInitDialogEvent& e) {
    CALL_ENTRY("wxTaviroDlg::OnInit");
    if (!GetManagedWindow()) Manage(this);
    Layout();
    Fit();
    if (!m_Name.empty()) {
        int step = wxSystemSettings::GetMetric(wxSYS_CAPTION_Y, this);
        if (step <= 0) step = 20;
        const int offset = step * m_OpenIndex;
        Application* app = Application::the_Application;
        const bool stored = app && !app->GetOptions()->GetValue(m_Name, "Window", "").empty();
        wxSetWindowPos(this, m_Name, offset);
        // Never placed before, so centred: later instances still step away from the first.
        if (!stored && offset > 0) Move(GetPosition() + wxPoint(offset, offset));
    }
    e.Skip();
    NavigateIn(wxNavigationKeyEvent::IsForward);
    if (m_Modal) s_ModalStarted.Emit();
}

void wxTaviroDlg::OnOK(wxCommandEvent&) {
    CALL_ENTRY("wxTaviroDlg::OnOK");
    if (!Validate() || !TransferDataFromWindow()) return;
    if (!m_Modal) {
        SetReturnCode(wxID_OK);
        Close(true);
    } else {
        _SavePosition();
        if (IsModal()) EndModal(wxID_OK);
    }
}

void wxTaviroDlg::OnCancel(wxCommandEvent&) {
    CALL_ENTRY("wxTaviroDlg::OnCancel");
    // 0, not wxID_CANCEL: callers test for wxID_OK only.
    if (!m_Modal) {
        SetReturnCode(0);
        Close(true);
    } else {
        _SavePosition();
        if (IsModal()) EndModal(0);
    }
}

void wxTaviroDlg::OnClose(wxCloseEvent& e) {
    CALL_ENTRY("wxTaviroDlg::OnClose");
    _SavePosition();
    if (m_Modal) {
        // Through the cancel path, so the close box ends the dialog with 0 as Cancel does
        // (wx's own default would end it with wxID_CANCEL, passing OnCancel by).
        if (IsModal() && !EmulateCancelButton()) {
            wxCommandEvent cancel(wxEVT_BUTTON, wxID_CANCEL);
            OnCancel(cancel);
        }
        if (!IsModal()) e.Skip();
        s_ModalFinished.Emit();
    } else {
        Destroy();
    }
}

namespace {
// The focused control takes Return itself: a multi-line text, a field that processes Enter,
// or a control that asks for every key.
bool _WantsReturn(wxWindow* focus, wxWindow* dialog) {
    for (wxWindow* w = focus; w && w != dialog && !w->IsTopLevel(); w = w->GetParent()) {
        if (auto* text = dynamic_cast<wxTextCtrl*>(w))
            if (text->IsMultiLine() || text->HasFlag(wxTE_PROCESS_ENTER)) return true;
        if (w->HasFlag(wxWANTS_CHARS)) return true;
    }
    return false;
}
} // namespace

void wxTaviroDlg::OnKey(wxKeyEvent& e) {
    CALL_ENTRY("wxTaviroDlg::OnKey");
    switch (e.GetKeyCode()) {
    case WXK_ESCAPE:
        EmulateCancelButton();
        break;
    case WXK_RETURN:
    case WXK_NUMPAD_ENTER:
        if (_WantsReturn(wxWindow::FindFocus(), this))
            e.Skip();
        else
            EmulateDefaultButton();
        break;
    default:
        e.Skip();
    }
}

bool wxTaviroDlg::SetForegroundColour(const wxColour& colour) {
    const bool changed = wxDialog::SetForegroundColour(colour);
    m_inheritFgCol = false;
    return changed;
}
