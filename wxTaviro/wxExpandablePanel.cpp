// The expandable panel and its clickable label.
#include <wxTaviro/wxExpandablePanel.h>
#include <wxTaviro/wxTaviroApp.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/IniFile.h>
#include <ostrum/Log.h>

#include <wx/bitmap.h>

// ---- _ClickStatic ----

// The header label: a click on it acts exactly like a click on the expand button.
class _ClickStatic : public wxsStaticText {
public:
    _ClickStatic(wxWindow* parent, wxWindowID id, const wxString& label)
        : wxsStaticText(parent, id, label) {}
    void OnClick(wxMouseEvent& event);

private:
    wxDECLARE_EVENT_TABLE();
};

wxBEGIN_EVENT_TABLE(_ClickStatic, wxsStaticText)
    EVT_LEFT_UP(_ClickStatic::OnClick)
wxEND_EVENT_TABLE()

void _ClickStatic::OnClick(wxMouseEvent& event) {
    // A disabled label (a panel that cannot fold) takes no clicks.
    if (event.LeftIsDown() || !IsEnabled()) return;
    wxCommandEvent click(wxEVT_BUTTON, wxExpandablePanel::k_ExpandId);
    click.SetEventObject(this);
    ProcessWindowEvent(click); // propagates up to the panel
}

// ---- images ----

namespace {

// 11 x 11 boxes with a plus (expand) and a minus (collapse) in dark grey.
const char* const k_ExpandXpm[] = {
    "11 11 6 1",   "  c #808080", ". c #F0F0F0", "+ c #E0E0E0", "@ c #D0D0D0", "# c #B0B0B0",
    "$ c #646464", "           ", " ........# ", " .+++++++# ", " .+++$+++# ", " .+++$+++# ",
    " .@$$$$$@# ", " .@@@$@@@# ", " .@@@$@@@# ", " .@@@@@@@# ", " ######### ", "           "};
const char* const k_CollapseXpm[] = {
    "11 11 6 1",   "  c #808080", ". c #F0F0F0", "+ c #E0E0E0", "@ c #D0D0D0", "# c #B0B0B0",
    "$ c #646464", "           ", " ........# ", " .+++++++# ", " .+++++++# ", " .+++++++# ",
    " .@$$$$$@# ", " .@@@@@@@# ", " .@@@@@@@# ", " .@@@@@@@# ", " ######### ", "           "};

// Shared by every panel and never freed: a bitmap must not outlive the toolkit's clean-up.
wxBitmap* s_ExpandImage = nullptr;
wxBitmap* s_CollapseImage = nullptr;

void _CreateImages() {
    if (!s_ExpandImage) s_ExpandImage = new wxBitmap(k_ExpandXpm);
    if (!s_CollapseImage) s_CollapseImage = new wxBitmap(k_CollapseXpm);
}

} // namespace

// ---- wxExpandablePanel ----

wxBEGIN_EVENT_TABLE(wxExpandablePanel, wxsPanel)
    EVT_BUTTON(wxExpandablePanel::k_ExpandId, wxExpandablePanel::OnExpand)
wxEND_EVENT_TABLE()

wxExpandablePanel::wxExpandablePanel(wxWindow* parent, wxOrientation orientation)
    : wxsPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL, "panel"),
      m_Orientation(orientation) {
    CALL_ENTRY("wxExpandablePanel::wxExpandablePanel");
}

wxsStaticText* wxExpandablePanel::GetHeaderLabel() const {
    return m_Label;
}

void wxExpandablePanel::SetSettings(const String& section, const String& key) {
    m_Section = section;
    m_Key = key;
}

void wxExpandablePanel::SetLabels(const wxString& collapsed, const wxString& expanded) {
    m_CollapsedLabel = collapsed;
    m_ExpandedLabel = expanded;
}

void wxExpandablePanel::CreateInfrastructure(wxString tooltip, bool expandable) {
    CALL_ENTRY("wxExpandablePanel::CreateInfrastructure");
    _CreateImages();
    auto* main = new wxBoxSizer(m_Orientation);
    SetSizer(main);
    SetToolTip(tooltip);
    auto* header = new wxBoxSizer(wxHORIZONTAL);
    main->Add(header);
    if (expandable) {
        // Without an application (and so without options) the state lives in memory only.
        Application* app = Application::the_Application;
        m_Expanded = app && app->GetOptions()->GetValue(m_Section, m_Key, false);
        // Built before the options were loaded: the loaded state applies once it is there.
        wxTaviroApp::WhenOptionsLoaded(this, [this] {
            Application* a = Application::the_Application;
            const bool expanded = a && a->GetOptions()->GetValue(m_Section, m_Key, false);
            if (expanded == m_Expanded || !m_Content) return;
            m_Expanded = expanded;
            Expand();
        });
        m_Button =
            new wxsBitmapButton(this, k_ExpandId, m_Expanded ? *s_CollapseImage : *s_ExpandImage,
                                wxDefaultPosition, wxDefaultSize, wxBORDER_NONE | wxBU_EXACTFIT);
        m_Button->SetBackgroundSlot(color_WindowBG);
        m_Button->RefreshColors();
        m_Button->SetToolTip(tooltip);
        header->Add(m_Button, 0, wxALIGN_CENTER_VERTICAL);
        header->AddSpacer(FromDIP(5));
    } else {
        m_Expanded = true;
    }
    m_Label = new _ClickStatic(this, k_LabelId, m_Expanded ? m_ExpandedLabel : m_CollapsedLabel);
    m_Label->SetToolTip(tooltip);
    m_Label->Enable(expandable);
    header->Add(m_Label, 0, wxALIGN_CENTER_VERTICAL);

    main->AddSpacer(FromDIP(5));
    m_Content = new wxBoxSizer(wxVERTICAL);
    main->Add(m_Content, 1, wxEXPAND);
    main->Show(m_Content, m_Expanded);
    Layout();
}

void wxExpandablePanel::Expand() {
    CALL_ENTRY("wxExpandablePanel::Expand");
    if (!m_Content) return; // before CreateInfrastructure there is nothing to show
    wxWindow* parent = GetParent() ? GetParent() : this;
    parent->Freeze();
    GetSizer()->Show(m_Content, m_Expanded);
    if (m_Button) m_Button->SetBitmap(m_Expanded ? *s_CollapseImage : *s_ExpandImage);
    m_Label->SetLabel(m_Expanded ? m_ExpandedLabel : m_CollapsedLabel);
    InvalidateBestSize();
    parent->Layout();
    Layout(); // also when the parent leaves the panel's size as it was
    parent->Thaw();
}

void wxExpandablePanel::OnExpand(wxCommandEvent&) {
    CALL_ENTRY("wxExpandablePanel::OnExpand");
    m_Expanded = !m_Expanded;
    Expand();
    Application* app = Application::the_Application;
    if (!app) return;
    OptionsFile* options = app->GetOptions();
    try {
        RWLock::WriteGuard lock(*options->GetRWLock());
        options->SetValue(m_Section, m_Key, m_Expanded ? "1" : "0");
    } catch (Exception* e) {
        LogInfo("Cannot remember whether a panel is expanded: " + e->Format());
        delete e;
    }
}
