#include "demo/SideBar.h"

#include "demo/JobsView.h"

#include <wxTaviro/ProductChoice.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroText.h>

#include <taviro/Job.h>
#include <taviro/JobFactory.h>

#include <ostrum/Application.h>
#include <ostrum/StringTokenizer.h>

#include <algorithm>

namespace {
const char k_Section[] = "Side Bar";

// The farm's status names as the totals show them, for the catalog (the farm core names them
// in English).
[[maybe_unused]] const char* const k_StatusNames[] = {
    wxTRANSLATE("Waiting"), wxTRANSLATE("Running"), wxTRANSLATE("Paused"),  wxTRANSLATE("Done"),
    wxTRANSLATE("Failed"),  wxTRANSLATE("Aborted"), wxTRANSLATE("Archived")};

// A panel opens the first time; from then on as it was left. Panels are built before the
// options file is read: the default goes in once it is (before the panel reads its state).
void OpenAtFirst(wxWindow* panel, const String& key) {
    wxTaviroApp::WhenOptionsLoaded(panel, [key] {
        Application* app = Application::the_Application;
        if (app && app->GetOptions()->GetValue(k_Section, key, String()).empty())
            app->GetOptions()->SetValue(k_Section, key, "1");
    });
}
} // namespace

// ---- ConnectionPanel ----

ConnectionPanel::ConnectionPanel(wxWindow* parent) : wxExpandablePanel(parent, wxVERTICAL) {
    OpenAtFirst(this, "Connection");
    SetSettings(k_Section, "Connection");
    SetLabels(_("Connection"), _("Connection"));
    CreateInfrastructure(_("Show or hide the connection"), true);
    const int gap = FromDIP(4);
    m_State = new wxsStaticText(this, wxID_ANY, _("Connecting..."));
    m_State->SetFont(m_State->GetFont().Bold());
    GetContentSizer()->Add(m_State, 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, gap);
    m_Master = new wxsStaticText(this, wxID_ANY, wxEmptyString);
    GetContentSizer()->Add(m_Master, 0, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, gap);
    m_Link = new wxsButton(this, ID_SIDE_LINK, _("&Disconnect"));
    GetContentSizer()->Add(m_Link, 0, wxEXPAND | wxALL, gap);
    GetContentSizer()->Add(new wxsButton(this, ID_SIDE_SHUTDOWN, _("Order &shutdown")), 0,
                           wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, gap);
    Expand(); // the remembered state, now that the content exists
}

void ConnectionPanel::ShowConnection(bool connected, const wxString& master) {
    m_State->SetLabel(connected ? _("Connected") : _("Disconnected"));
    // The simulated master's name is a word of the program, not a host: said in the language.
    m_Master->SetLabel(wxString::Format(_("Master: %s"),
                                        master == "embedded" ? _("embedded (simulated)") : master));
    // A palette role, not a colour: a later scheme change recolours it with the rest.
    m_State->SetForegroundSlot(connected ? color_TextGreen : color_TextRed);
    m_State->RefreshColors();
    m_Link->SetLabel(connected ? _("&Disconnect") : _("&Reconnect"));
    Layout();
}

// ---- FiltersPanel ----

FiltersPanel::FiltersPanel(wxWindow* parent, std::function<void(const wxString&)> filter)
    : wxExpandablePanel(parent, wxVERTICAL) {
    OpenAtFirst(this, "Filters");
    SetSettings(k_Section, "Filters");
    SetLabels(_("Filters"), _("Filters"));
    CreateInfrastructure(_("Show or hide the filters"), true);
    const int gap = FromDIP(4);
    m_Find = new wxsTextCtrl(this, wxID_ANY);
    m_Find->SetName("jobfilter");
    m_Find->SetHint(_("Filter the jobs by name"));
    m_Find->SetToolTip(_("Shows only the jobs whose name holds this text, as you type"));
    m_Find->Bind(wxEVT_TEXT, [this, filter](wxCommandEvent& e) {
        filter(m_Find->GetValue());
        e.Skip();
    });
    GetContentSizer()->Add(m_Find, 0, wxEXPAND | wxALL, gap);
    GetContentSizer()->Add(new wxsButton(this, ID_SIDE_HIDE_PRODUCTS, _("&Hide products...")), 0,
                           wxEXPAND | wxALL, gap);
    Expand();
}

// ---- TotalsPanel ----

TotalsPanel::TotalsPanel(wxWindow* parent) : wxExpandablePanel(parent, wxVERTICAL) {
    OpenAtFirst(this, "Totals");
    SetSettings(k_Section, "Totals");
    SetLabels(_("Totals"), _("Totals"));
    CreateInfrastructure(_("Show or hide the jobs by status"), true);
    m_Counts = new wxsListCtrl(this, wxID_ANY);
    m_Counts->AddColumn(0, wxToString(_("Status")),
                        std::max(FromDIP(120), StatusColumnWidth(m_Counts)));
    m_Counts->AddColumn(1, wxToString(_("Jobs")), FromDIP(80));
    m_Counts->SetTooltipsOnlyWhenShortened(true);
    for (int s = k_JobWaiting; s <= k_JobArchived + 1; ++s) {
        m_Counts->InsertItem(s - k_JobWaiting, s <= k_JobArchived
                                                   ? wxToString(wxGetTranslation(JobStatusName(s)))
                                                   : wxToString(_("All")));
        m_Counts->SetItem(s - k_JobWaiting, 1, "0");
    }
    // Nine rows, no more: the header and the rows without scrolling.
    m_Counts->SetMinSize(wxSize(FromDIP(200), m_Counts->GetRowHeight() * 11));
    GetContentSizer()->Add(m_Counts, 1, wxEXPAND | wxALL, FromDIP(4));
    Expand();
}

void TotalsPanel::SetCounts(const std::map<int, size_t>& counts) {
    if (counts == m_Last) return; // a quiet farm: nothing to redraw
    m_Last = counts;
    m_All = 0;
    for (int s = k_JobWaiting; s <= k_JobArchived; ++s) {
        auto it = counts.find(s);
        const size_t n = it == counts.end() ? 0 : it->second;
        m_All += n;
        m_Counts->SetItem(s - k_JobWaiting, 1, SFormat("%zu", n));
    }
    m_Counts->SetItem(k_JobArchived, 1, SFormat("%zu", m_All));
}

// ---- pane layout ----

bool IsPaneLayoutOf(const String& layout, std::vector<String> panes) {
    const std::vector<String> parts = StringTokenizer(layout, "|", true, 0, 0).GetTokens();
    if (parts.empty() || parts[0] != "layout2") return false;
    std::vector<String> names;
    for (size_t i = 1; i < parts.size(); ++i) {
        if (parts[i].StartsWith("dock_size(")) continue;
        if (!parts[i].StartsWith("name=")) return false;
        names.push_back(parts[i].substr(5, parts[i].find(';') - 5));
    }
    std::sort(names.begin(), names.end());
    std::sort(panes.begin(), panes.end());
    return names == panes;
}

// ---- HideProductsDlg ----

HideProductsDlg::HideProductsDlg(wxWindow* parent)
    : wxTaviroDlg(parent, _("Hide products"), "Hide Products", false) {
    wxBoxSizer* top = StartControls();
    const int gap = FromDIP(10);
    top->Add(NewStatic(_("Ticked job types are not offered for new jobs.")), 0, wxALL, gap);
    m_List = new wxsCheckListBox(this, wxID_ANY, wxDefaultPosition, FromDIP(wxSize(280, 160)));
    Application* app = Application::the_Application;
    for (const UID& type : JobFactory::s_JobFactory.ListTypes()) {
        const JobTypeInfo& info = JobFactory::s_JobFactory.GetTypeInfo(type, false);
        if (info.name.empty()) continue;
        const String key = info.hideId.ToString();
        const unsigned row = (unsigned)m_List->Append(wxFromString(info.name));
        m_List->Check(row,
                      app && app->GetOptions()->GetValue(ProductChoice::k_HideSection, key, false));
        m_Keys.push_back(key);
    }
    top->Add(m_List, 1, wxEXPAND | wxLEFT | wxRIGHT, gap);
    top->Add(NewStatic(_("Right click for Check All and Check None."), false, true), 0,
             wxLEFT | wxRIGHT | wxTOP, gap);
    top->Add(NewLine(), 0, wxEXPAND | wxALL, gap);
    AddButtons(top, true);
    top->AddSpacer(FromDIP(4));
}

bool HideProductsDlg::TransferDataFromWindow() {
    Application* app = Application::the_Application;
    if (!app) return true;
    OptionsFile::Pause pause(app->GetOptions()); // one write for all
    for (size_t i = 0; i < m_Keys.size(); ++i)
        app->GetOptions()->SetValue(ProductChoice::k_HideSection, m_Keys[i],
                                    m_List->IsChecked((unsigned)i) ? "1" : "0");
    return true;
}
