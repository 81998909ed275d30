// A minimal farm monitor: the application, a themed main window, a list of the farm's jobs kept
// up to date from farm messages, and the Window menu with a details window per job. Usage:
//   farm_monitor [--master embedded|HOST:PORT] [--jobs N] [--rate N] ...   (--help lists them)
#include <wxTaviro/wxDBListCtrl.h>
#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroFrame.h>
#include <wxTaviro/wxTimed.h>

#include <taviro/Job.h>

#include <wx/menu.h>

#include <algorithm>
#include <vector>

namespace {

enum { ID_DETAILS = wxID_HIGHEST + 1 };
// The columns: a job parameter each, the status shown by its name.
const char* const k_Labels[] = {"Name", "Status", "Progress %", "Owner"};
const String* const k_Params[] = {&p_Name, &p_Status, &p_Progress, &p_Owner};

// The farm's jobs by name. Farm messages only mark the list stale; four times a second (wxTimed)
// it takes the farm's job table afresh. The list keeps no text: it asks for the cells it shows.
// Fine for thousands of jobs; a farm of millions wants its rows changed message by message.
class JobList : public wxDBListCtrl, public wxTimed {
public:
    JobList(wxWindow* parent, TaviroApp& farm)
        : wxDBListCtrl(parent, wxID_ANY, true), m_Farm(farm) {
        for (int i = 0; i < 4; ++i)
            AddColumn(i, k_Labels[i], i == 0 ? 240 : 100);
        // The selection is ours to keep (by job, as rows move): the list reports clicks and keys.
        Bind(wxEVT_LIST_ITEM_SELECTED, [this](wxListEvent& e) { Select(m_Jobs[e.GetIndex()]); });
        Bind(wxEVT_LIST_ITEM_DESELECTED, [this](wxListEvent&) { Select(JobPtr()); });
    }
    ~JobList() override { StopTimer(); } // first: a tick must not reach a half-destroyed list

    void MarkStale() { m_Stale = true; }
    const JobPtr& GetSelectedJob() const { return m_Selected; }

    bool IsRowSelected(int row) override {
        return m_Selected && size_t(row) < m_Jobs.size() && m_Jobs[size_t(row)] == m_Selected;
    }
    std::vector<int> GetSelection() override {
        const auto at = std::find(m_Jobs.begin(), m_Jobs.end(), m_Selected);
        return m_Selected && at != m_Jobs.end() ? std::vector<int>{int(at - m_Jobs.begin())}
                                                : std::vector<int>();
    }
    String GetDisplayText(int row, int column) override {
        const JobPtr& job = m_Jobs[size_t(row)];
        return column == 1 ? JobStatusName(job->GetStatus()) : job->GetParameter(*k_Params[column]);
    }
    // Read from the palette at paint time, so that the colours follow the scheme.
    wxColour GetRowColor(int row) override {
        const int status = m_Jobs[size_t(row)]->GetStatus();
        return wxsGetColor(status == k_JobFailed ? color_TextRed
                           : status == k_JobDone ? color_TextGreen
                                                 : color_Text);
    }

private:
    void OnTimer() override {
        if (!m_Stale) return;
        m_Stale = false;
        m_Jobs = m_Farm.GetAllJobs();
        std::sort(m_Jobs.begin(), m_Jobs.end(),
                  [](const JobPtr& a, const JobPtr& b) { return a->Name() < b->Name(); });
        SetItemCount(int(m_Jobs.size()));
        Redraw();
        if (auto* frame = dynamic_cast<wxFrame*>(GetParent()))
            frame->SetStatusText(wxString::Format("%zu jobs", m_Jobs.size()), 1);
    }
    void Select(const JobPtr& job) {
        m_Selected = job;
        Redraw();
    }

    TaviroApp& m_Farm;
    std::vector<JobPtr> m_Jobs;
    JobPtr m_Selected;
    bool m_Stale = true;
};

// The main window. A HasSlots, so that its message handler goes when it does.
class MonitorFrame : public wxTaviroFrame, public HasSlots {
public:
    explicit MonitorFrame(wxTaviroApp& app)
        : wxTaviroFrame("Farm monitor", wxDefaultPosition, wxSize(640, 420)), m_App(app) {
        auto* farm = new wxMenu;
        farm->Append(ID_DETAILS, "Job &details\tCtrl+D");
        auto* bar = new wxMenuBar;
        bar->Append(farm, "&Farm");
        bar->Append(wxGetOpenWindowMenu(), "&Window"); // lists the open details windows
        SetMenuBar(bar);
        m_Jobs = new JobList(this, app);
        CreateStatusBar(2);
        Bind(wxEVT_MENU_OPEN, [](wxMenuEvent& e) {
            wxGetOpenWindowMenu(); // refilled whenever a menu opens
            e.Skip();
        });
        Bind(wxEVT_MENU, &MonitorFrame::OpenDetails, this, ID_DETAILS);
        Bind(wxEVT_LIST_ITEM_ACTIVATED, &MonitorFrame::OpenDetails, this); // a double click
        // Connection changes come to the top window as events, on the GUI thread.
        Bind(wxEventTypeTag<wxCommandEvent>(wxTAVIRO_CONNECT_EVENT), [this](wxCommandEvent&) {
            SetStatusText("Connected to " + wxFromString(m_App.GetMessenger()->GetMasterName()));
        });
        Bind(wxEventTypeTag<wxCommandEvent>(wxTAVIRO_DISCONNECT_EVENT),
             [this](wxCommandEvent&) { SetStatusText("Disconnected"); });
        Bind(wxEVT_CLOSE_WINDOW, &MonitorFrame::OnClose, this);
        m_GuiBuilt = true; // from now on moves and sizes are the user's
    }

    // Once the farm client has started: the options are loaded and messages may come.
    void Attach() {
        LoadWindowPosition();
        m_Jobs->RestoreColumnSizes("Farm monitor", "Columns");
        // Run on the GUI thread, one message per event, in the order they arrived.
        m_App.AddMessageHandler([this](const Message&) { m_Jobs->MarkStale(); }, this);
    }

private:
    void OpenDetails(wxCommandEvent&) {
        const JobPtr job = m_Jobs->GetSelectedJob();
        if (!job) return;
        auto* window = new wxTaviroFrame(this, wxFromString(job->Name()), wxDEFAULT_FRAME_STYLE);
        String text;
        for (const auto& [name, value] : job->GetParameters())
            text += "  " + name + ": " + value + "  \n";
        auto* label = new wxsStaticText(window, wxID_ANY, wxFromString(text));
        window->SetClientSize(label->GetBestSize());
        wxOpenUserWindow(window, "Job details"); // into the Window menu until it closes
        window->Show();
    }

    void OnClose(wxCloseEvent& e) {
        SaveWindowPosition();
        m_Jobs->SaveColumnSizes("Farm monitor", "Columns");
        e.Skip(); // the details windows are its children and go with it
    }

    wxTaviroApp& m_App;
    JobList* m_Jobs = nullptr;
};

class MonitorApp : public wxTaviroApp {
public:
    MonitorApp() : wxTaviroApp(LL_Info, LL_Warning) {}

    bool OnInit() override {
        //! [order]
        auto* frame = new MonitorFrame(*this); // 1. the main window first
        SetTopWindow(frame);
        if (!wxTaviroApp::OnInit()) { // 2. then the farm client, which connects at once
            frame->Destroy();
            return false;
        }
        frame->Attach(); // 3. settings and the message handler, then show it
        frame->Show();
        //! [order]
        return true;
    }
};

} // namespace

wxIMPLEMENT_APP_NO_MAIN(MonitorApp);

int main(int argc, char** argv) {
    // Signal handlers and --help, before the toolkit wants a display.
    const int code = wxTaviroApp::PreInit(argc, argv);
    return code >= 0 ? code : wxEntry(argc, argv);
}
