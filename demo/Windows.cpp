#include "demo/Windows.h"

#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxTaviroString.h>
#include <wxTaviro/wxTextLineCtrl.h>

#include <wx/sizer.h>

#include <mutex>
#include <set>

// ---- dialogs ----

wxTaviroDlg* ShowDialogOnce(const String& name, const std::function<wxTaviroDlg*()>& make) {
    for (wxTaviroDlg* dlg : wxTaviroDlg::GetDialogs())
        if (dlg->GetDlgName() == name && !dlg->IsBeingDeleted() && dlg->GetHandle()) {
            dlg->Show();
            dlg->Raise();
            return dlg;
        }
    wxTaviroDlg* dlg = make();
    dlg->Show();
    return dlg;
}

// ---- secondary windows ----

UserWindow::UserWindow(const wxString& title, const String& section, const String& group)
    : wxTaviroFrame(title, wxDefaultPosition, wxWindow::FromDIP(wxSize(460, 320), nullptr)),
      m_Section(section) {
    SetMinSize(FromDIP(wxSize(240, 160)));
    static int s_Cascade = 0;
    wxSetWindowPos(this, section, 20 * (s_Cascade++ % 8));
    Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent& e) {
        wxSaveWindowPos(this, m_Section);
        e.Skip();
    });
    wxOpenUserWindow(this, group);
}

namespace {
std::mutex s_JobsWindowsMutex;
std::set<JobsWindow*> s_JobsWindows;
} // namespace

JobsWindow::JobsWindow(JobsView::JobFinder find, const std::vector<JobPtr>& jobs)
    : UserWindow(_("Jobs"), "Jobs Window", wxToString(_("Jobs"))) {
    m_View = new JobsView(this, std::move(find));
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(m_View, 1, wxEXPAND);
    SetSizer(sizer);
    {
        // From now on every farm message reaches this view too; the jobs there already come
        // after them, so none falls between the two.
        std::lock_guard<std::mutex> lock(s_JobsWindowsMutex);
        s_JobsWindows.insert(this);
    }
    for (const JobPtr& job : jobs)
        m_View->OnFarmMessage(Message(k_MsgJobCreated, job->GetID()));
    m_View->SortBy(k_JobsName, true);
    m_View->Update(std::time(nullptr)); // shown filled, not a tick later
}

JobsWindow::~JobsWindow() {
    // Before the view goes: no message is handed to it any more.
    std::lock_guard<std::mutex> lock(s_JobsWindowsMutex);
    s_JobsWindows.erase(this);
}

void JobsWindow::Forward(const Message& message) {
    std::lock_guard<std::mutex> lock(s_JobsWindowsMutex);
    for (JobsWindow* window : s_JobsWindows)
        window->m_View->OnFarmMessage(message);
}

TextWindow::TextWindow(const wxString& title, const String& section, const String& group,
                       const std::vector<String>& lines, Source follow)
    : UserWindow(title, section, group), m_Follow(std::move(follow)) {
    auto* panel = new wxsPanel(this);
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    // The viewer makes its search bar (Ctrl+F) on the panel; it goes below the lines.
    m_Lines = new wxTextLineCtrl(panel);
    sizer->Add(m_Lines, 1, wxEXPAND);
    sizer->Add(m_Lines->GetSearchPanel(), 0, wxEXPAND | wxTOP | wxBOTTOM, 2);
    panel->SetSizer(sizer);
    for (const String& line : lines)
        m_Lines->Append(line);
    if (m_Follow) {
        m_Timer.Bind(wxEVT_TIMER, [this](wxTimerEvent&) {
            for (const String& line : m_Follow())
                m_Lines->Append(line);
        });
        m_Timer.Start(500);
    }
}

// ---- the job command menu ----

bool CommandAllowed(const String& command, int status) {
    const bool finished = status == k_JobDone || status == k_JobFailed || status == k_JobAborted ||
                          status == k_JobArchived;
    if (command == "Pause") return status == k_JobRunning || status == k_JobWaiting;
    if (command == "Resume") return status == k_JobPaused;
    if (command == "Abort") return !finished;
    if (command == "Restart" || command == "Archive") return finished && status != k_JobArchived;
    if (command == "Remove" || command == "Open Output") return true;
    // Anything else changes how the job runs: not once it is kept for history only.
    return status != k_JobArchived;
}

void JobMenu::FillFor(const JobPtr& job) {
    Fill(job, ~0); // every command group
    if (job) MakePlain(this, (size_t)m_FixedCount, job->GetStatus());
}

void JobMenu::MakePlain(wxMenu* menu, size_t from, int status) {
    for (size_t pos = from; pos < menu->GetMenuItemCount(); ++pos) {
        wxMenuItem* item = menu->FindItemByPosition(pos);
        if (wxMenu* sub = item->GetSubMenu()) {
            MakePlain(sub, 0, status);
            // Its items run one command; the first one tells which.
            auto known = sub->GetMenuItemCount() > 0
                             ? m_Commands.find(sub->FindItemByPosition(0)->GetId())
                             : m_Commands.end();
            if (known != m_Commands.end() && !CommandAllowed(known->second.command, status))
                item->Enable(false);
            continue;
        }
        auto known = m_Commands.find(item->GetId());
        if (known == m_Commands.end()) continue; // a separator
        const int id = item->GetId();
        const wxString label = item->GetItemLabel(), help = item->GetHelp();
        const bool enabled = item->IsEnabled();
        if (item->IsCheckable()) {
            menu->Destroy(item);
            item = menu->Insert(pos, id, label, help, wxITEM_NORMAL);
        }
        item->Enable(enabled && CommandAllowed(known->second.command, status));
    }
}

bool JobMenu::PreProcessCommand(const String& command, const String& item) {
    if (command != "Open Output") return true;
    if (m_Open && m_Job) m_Open(m_Job, item);
    return false;
}
