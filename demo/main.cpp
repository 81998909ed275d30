// The demo client: a farm program built on the library, running on the embedded simulated
// master or, with --master HOST:PORT, on a taviro-master that other programs share. Its main window
// shows the connection state, the live number of jobs by status and the latest messages; the View
// menu opens secondary windows that the Window menu lists, collects and closes; every window comes
// back where it was left.
//
//   taviro-demo [farm options] [--screenshot FILE] [--screenshots PREFIX]
//               [--exit-after SECONDS] [--scheme 1..5] [--page jobs|bytype|log|activity|colours]
//               [--open-windows] [--open-dialog settings|rename|find|newjob|hide]
//               [--log-refreshes]
// Farm options are the farm core's (--jobs N, --seed N, --rate N, --modules DIR, ...).
// --log-refreshes writes a line per refresh of the main window, and per update and sort of the
// jobs page, to the log, to watch that the views keep up with a busy farm.
//
// Threads: the library's bridge turns the messenger's signals into events for the main window
// and dispatches one farm message per event on the GUI thread.
//
// Sections: the side bar; the settings dialog; the main window; the application (its options
// and the screenshot tour).
#include "demo/ColorsView.h"
#include "demo/JobDialogs.h"
#include "demo/JobsView.h"
#include "demo/LoadPane.h"
#include "demo/LogView.h"
#include "demo/SideBar.h"
#include "demo/TypeTreeView.h"
#include "demo/Windows.h"

#include <wxTaviro/JobCommandMenu.h>
#include <wxTaviro/wxBarHistoryCtrl.h>
#include <wxTaviro/wxConfirmDlg.h>
#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroDlg.h>
#include <wxTaviro/wxTaviroFrame.h>
#include <wxTaviro/wxTaviroText.h>
#include <wxTaviro/wxTextLineCtrl.h>
#include <wxTaviro/wxTimed.h>

#include <taviro/JobFactory.h>
#include <taviro/Messenger.h>

#include <wx/dcscreen.h>
#include <wx/imagpng.h>
#include <wx/filename.h>
#include <wx/aui/auibook.h>
#include <wx/aui/framemanager.h>
#include <wx/stdpaths.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <dlfcn.h>

namespace {

// The job modules shipped with the demo: those installed beside the binary (the install's data
// folder, found relative to the executable so an installed tree can be moved), else the source
// tree's, for a binary run from the build tree.
std::string _ModulesDir() {
    wxFileName installed(wxFileName(wxStandardPaths::Get().GetExecutablePath()).GetPath() + "/" +
                             DEMO_INSTALLED_MODULES,
                         "");
    installed.Normalize(wxPATH_NORM_DOTS | wxPATH_NORM_ABSOLUTE);
    if (installed.DirExists()) return installed.GetPath().utf8_str().data();
    return DEMO_MODULES;
}

enum {
    ID_LINK = wxID_HIGHEST + 1,
    ID_SHUTDOWN,
    ID_OPEN_JOBS,
    ID_OPEN_LOG,
    ID_OPEN_LOAD,
    ID_RENAME_VIEW,
    ID_SETTINGS,
    ID_RESET_QUESTIONS,
    ID_FIND_JOB,
    ID_NEW_JOB,
    ID_SCHEME_FIRST, // five scheme items follow
};
const char* const k_SchemeNames[] = {wxTRANSLATE("&Light"), wxTRANSLATE("L&ighter"),
                                     wxTRANSLATE("&Dark"), wxTRANSLATE("D&arker"),
                                     wxTRANSLATE("&Custom (Colors.ini)")};
// Where the pane layout is kept in the options file.
const char* const k_LayoutSection = "Demo Layout";
// The remembered answer of the shutdown question.
const char* const k_ShutdownKey = "OrderShutdown";

// The scheme shown as chosen: any number but 1 to 5 shows Dark.
int ShownScheme() {
    return g_Scheme >= 1 && g_Scheme <= 5 ? g_Scheme : 3;
}

// What the screen shows in `r`. Read through GDK itself (looked up at run time, so building
// needs no GTK headers): the toolkit's screen DC keeps showing its first picture under GTK 3.
wxBitmap GrabScreen(const wxRect& r) {
#ifdef __WXGTK3__
    using RootWindow = void* (*)();
    using FromWindow = GdkPixbuf* (*)(void*, int, int, int, int);
    static auto root = (RootWindow)dlsym(RTLD_DEFAULT, "gdk_get_default_root_window");
    static auto grab = (FromWindow)dlsym(RTLD_DEFAULT, "gdk_pixbuf_get_from_window");
    if (root && grab)
        if (GdkPixbuf* pixbuf = grab(root(), r.x, r.y, r.width, r.height))
            return wxBitmap(pixbuf); // the bitmap takes it over
#endif
    wxBitmap bmp(r.width, r.height, 24);
    wxScreenDC screen;
    wxMemoryDC mem(bmp);
    mem.Blit(0, 0, r.width, r.height, &screen, r.x, r.y);
    return bmp;
}

// ---- the side bar ----

// Scrolls when the window is too short for its panels, rather than cutting the last one off.
class _SideBar : public wxScrolledWindow, public wxsColorManaged {
public:
    explicit _SideBar(wxWindow* parent)
        : wxScrolledWindow(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                           wxVSCROLL | wxTAB_TRAVERSAL | wxNO_BORDER) {
        Manage(this);
        SetScrollRate(0, FromDIP(10));
    }
    // A panel folded or unfolded: the scrolled extent follows (setting it lays out again).
    bool Layout() override {
        if (GetSizer() && !m_Fitting) {
            m_Fitting = true;
            SetVirtualSize(GetBestVirtualSize());
            m_Fitting = false;
        }
        return wxScrolledWindow::Layout();
    }

private:
    bool m_Fitting = false;
};

// ---- the settings dialog ----

// Built from the dialog base's layout helpers only. Modeless and named, so a second one opened
// beside the first steps away from it, and each comes back where it was left.
class _SettingsDlg : public wxTaviroDlg {
public:
    explicit _SettingsDlg(wxWindow* parent)
        : wxTaviroDlg(parent, _("Settings"), "Settings", false) {
        wxBoxSizer* top = StartControls();
        const int gap = FromDIP(10);
        top->Add(NewStaticLine(_("Colour scheme")), 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, gap);
        auto* schemes = new wxBoxSizer(wxVERTICAL);
        for (int i = 0; i < 5; ++i) {
            wxString label = wxGetTranslation(k_SchemeNames[i]);
            label.Replace("&", "");
            auto* radio = new wxsRadioButton(this, wxID_ANY, label, wxDefaultPosition,
                                             wxDefaultSize, i == 0 ? wxRB_GROUP : 0);
            radio->SetValue(i + 1 == ShownScheme());
            schemes->Add(radio, 0, wxTOP, FromDIP(4));
            m_Schemes.push_back(radio);
        }
        top->Add(schemes, 0, wxLEFT | wxRIGHT, gap * 2);
        top->Add(NewStaticLine(_("Client")), 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, gap);
        auto* client = new wxFlexGridSizer(2, FromDIP(6), gap);
        client->AddGrowableCol(1);
        client->Add(NewStatic(_("User name")), 0, wxALIGN_CENTER_VERTICAL);
        client->Add(new wxsTextCtrl(this, wxID_ANY, wxGetUserId()), 0, wxEXPAND);
        client->Add(NewStatic(_("Log detail")), 0, wxALIGN_CENTER_VERTICAL);
        const wxString details[] = {_("Errors only"), _("Warnings and errors"), _("Everything")};
        auto* detail = new wxsChoice(this, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                     wxArrayString(3, details));
        detail->SetSelection(1);
        client->Add(detail, 0, wxEXPAND);
        client->Add(NewStatic(_("Default pool")), 0, wxALIGN_CENTER_VERTICAL);
        const wxString pools[] = {"all", "render", "render.gpu", "simulation"};
        for (const wxString& pool : pools)
            wxsAutoCompleter::AddWord(pool);
        auto* pool = new wxsComboBox(this, wxID_ANY, "render", wxDefaultPosition, wxDefaultSize,
                                     wxArrayString(4, pools));
        pool->GetTextCtrl()->AutoComplete(new wxsAutoCompleter);
        client->Add(pool, 0, wxEXPAND);
        top->Add(client, 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, gap * 2);
        top->Add(NewStaticLine(_("Questions")), 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, gap);
        m_AskShutdown = new wxsCheckBox(this, wxID_ANY, _("Ask before ordering a shutdown"));
        Application* app = Application::the_Application;
        m_AskShutdown->SetValue(!app->GetOptions()->GetValue("Confirm", k_ShutdownKey, false));
        top->Add(m_AskShutdown, 0, wxLEFT | wxRIGHT | wxTOP, gap * 2);
        top->Add(NewStatic(_("Remembered answers are kept in this program's options file."), false,
                           true, -1),
                 0, wxLEFT | wxRIGHT | wxTOP, gap * 2);
        top->Add(NewLine(), 0, wxEXPAND | wxALL, gap);
        AddButtons(top, true);
        top->AddSpacer(FromDIP(4));
    }

    bool TransferDataFromWindow() override {
        Application* app = Application::the_Application;
        app->GetOptions()->SetValue("Confirm", k_ShutdownKey,
                                    m_AskShutdown->GetValue() ? "0" : "1");
        for (size_t i = 0; i < m_Schemes.size(); ++i)
            if (m_Schemes[i]->GetValue() && (int)i + 1 != ShownScheme())
                wxTaviroFrame::SetColorScheme((int)i + 1);
        return true;
    }

private:
    std::vector<wxsRadioButton*> m_Schemes;
    wxsCheckBox* m_AskShutdown = nullptr;
};

// ---- the main window ----

class _MainFrame : public wxTaviroFrame {
public:
    _MainFrame(wxTaviroApp* app, bool logRefreshes)
        : wxTaviroFrame(_("Taviro demo"), wxDefaultPosition, wxSize(980, 640)), m_App(app),
          m_LogRefreshes(logRefreshes) {
        BuildMenus();
        BuildControls();
        // The scheme loaded from Colors.ini, and later ones picked here or in another program.
        GetMenuBar()->Check(ID_SCHEME_FIRST + ShownScheme() - 1, true);
        Bind(wxEVT_SYS_COLOUR_CHANGED, [this](wxSysColourChangedEvent& e) {
            GetMenuBar()->Check(ID_SCHEME_FIRST + ShownScheme() - 1, true);
            e.Skip();
        });
        m_GuiBuilt = true;
        Bind(wxEventTypeTag<wxCommandEvent>(wxTAVIRO_CONNECT_EVENT),
             [this](wxCommandEvent&) { ShowConnection(true); });
        Bind(wxEventTypeTag<wxCommandEvent>(wxTAVIRO_DISCONNECT_EVENT),
             [this](wxCommandEvent&) { ShowConnection(false); });
        Bind(wxEVT_CLOSE_WINDOW, &_MainFrame::OnClose, this);
        Bind(wxEVT_MENU_OPEN, [this](wxMenuEvent& e) {
            if (e.GetMenu() == m_WindowMenu) wxGetOpenWindowMenu(); // refilled on each opening
            e.Skip();
        });
        m_Refresh.m_Tick = [this] { RefreshView(); };
    }

    // Applies one of the five colour schemes (1 to 5) here and in every running program.
    void SetScheme(int scheme) { wxTaviroFrame::SetColorScheme(scheme); }

    // Each dialog is open once at most: asked again, the open one comes to the front.
    void OpenSettings() {
        ShowDialogOnce("Settings", [this] { return new _SettingsDlg(this); });
        LogInfo("Opened the Settings dialog");
    }
    void OpenFindJob() {
        ShowDialogOnce("Find Job", [this] {
            return new FindJobDlg(this, [this](const UID& job) {
                ShowPage("jobs");
                m_Jobs->ShowJob(job);
            });
        });
    }
    void OpenNewJob() {
        ShowDialogOnce("New Job", [this] {
            return new NewJobDlg(
                this, [this](const UID& type, const UID& after) { SubmitJob(type, after); });
        });
    }
    void OpenHideProducts() {
        ShowDialogOnce("Hide Products", [this] { return new HideProductsDlg(this); });
    }
    // By its --open-dialog name.
    void OpenDialog(const wxString& name) {
        if (name == "settings") OpenSettings();
        if (name == "find") OpenFindJob();
        if (name == "newjob") OpenNewJob();
        if (name == "hide") OpenHideProducts();
        if (name == "rename")
            GetEventHandler()->QueueEvent(new wxCommandEvent(wxEVT_MENU, ID_RENAME_VIEW));
    }
    // Opens the Farm log page's search bar with `text` in it; with `search`, looks for it.
    void ShowLogSearch(const wxString& text, bool search) {
        ShowPage("log");
        ::ShowLogSearch(m_Log, text, search);
    }
    // By the page's window name (its title is translated and can be renamed).
    void ShowPage(const wxString& name) {
        for (size_t i = 0; i < m_Book->GetPageCount(); ++i)
            if (m_Book->GetPage(i)->GetName() == name.Lower()) m_Book->SetSelection(i);
    }

    // The secondary windows, each saving its own place.
    void CloseWindows() {
        wxCommandEvent closeAll(wxEVT_MENU, wxID_OPENWIN_CLOSEALL);
        OpenWindows::_this->OnCommand(closeAll);
    }

    void OpenJobsWindow() {
        auto* window = new JobsWindow([this](const UID& id) { return m_App->FindJob(id); },
                                      m_App->GetAllJobs());
        JobsView* view = window->GetView();
        view->Bind(wxEVT_LIST_ITEM_RIGHT_CLICK, [this, view](wxListEvent& e) {
            if (JobPtr job = view->GetJob((int)e.GetIndex())) ShowJobMenu(view, job);
        });
        window->Show();
    }

    // The log of the first script job on the Jobs page that has written some, as its menu
    // would open it.
    void ShowFirstScriptLog() {
        for (int row = 0; row < m_Jobs->GetItemCount(); ++row)
            if (JobPtr job = m_Jobs->GetJob(row))
                if (job->Name().StartsWith("Script") &&
                    !FindLogLines(m_Log, job->Name() + ": ").empty()) {
                    OpenOutput(job, "log.txt");
                    return;
                }
    }

    // Where the parts a user works with are on the screen, a line each on standard output:
    // for the latency benchmark, which drives the program through the X server.
    void ReportLayout() {
        auto line = [](const char* what, const wxRect& r) {
            printf("LAYOUT %s %d %d %d %d\n", what, r.x, r.y, r.width, r.height);
        };
        line("header", m_Jobs->GetHeader()->GetScreenRect());
        line("body", m_Jobs->GetBody()->GetScreenRect());
        int x = m_Jobs->GetBody()->GetScreenPosition().x;
        for (int i = 0; i < m_Jobs->GetColumnCount(); ++i) {
            const int w = m_Jobs->GetColumnWidth(i);
            printf("LAYOUT column %d %d %d\n", m_Jobs->GetColumn(i).type, x, w);
            x += w;
        }
        for (wxWindow* child : m_Book->GetChildren())
            if (auto* tabs = dynamic_cast<wxAuiTabCtrl*>(child))
                for (size_t i = 0; i < tabs->GetPageCount(); ++i) {
                    const wxAuiNotebookPage& page = tabs->GetPage(i);
                    const wxRect r(tabs->ClientToScreen(page.rect.GetPosition()),
                                   page.rect.GetSize());
                    line(("tab-" + page.window->GetName()).mb_str().data(), r);
                }
        if (wxWindow* filter = wxWindow::FindWindowByName("jobfilter", this))
            line("filter", filter->GetScreenRect());
        fflush(stdout);
    }

    // Called once the farm client has started (its handlers exist from then on).
    void Attach() {
        m_App->AddMessageHandler([this](const Message& m) { OnFarmMessage(m); });
        m_Jobs->RestoreLayout(); // the options file is open from now on
        RestorePaneLayout();
        m_Jobs->LogTicks(m_LogRefreshes);
    }

private:
    void BuildMenus() {
        auto* farm = new wxMenu;
        farm->Append(ID_LINK, _("&Disconnect\tCtrl+D"));
        farm->Append(ID_SHUTDOWN, _("Order &shutdown"));
        farm->AppendSeparator();
        farm->Append(ID_FIND_JOB, _("&Find job...\tCtrl+F"));
        farm->Append(ID_NEW_JOB, _("&New job...\tCtrl+N"));
        farm->AppendSeparator();
        farm->Append(ID_SETTINGS, _("S&ettings...\tCtrl+,"));
        farm->Append(ID_RESET_QUESTIONS, _("Ask all &questions again"));
        farm->AppendSeparator();
        farm->Append(wxID_EXIT, _("&Quit\tCtrl+Q"));
        auto* view = new wxMenu;
        view->Append(ID_OPEN_JOBS, _("&Jobs\tCtrl+J"));
        view->Append(ID_OPEN_LOG, _("Farm &log\tCtrl+L"));
        view->Append(ID_OPEN_LOAD, _("Engine load &history"));
        view->AppendSeparator();
        view->Append(ID_RENAME_VIEW, _("&Rename view..."));
        auto* colours = new wxMenu;
        for (int i = 0; i < 5; ++i)
            colours->AppendRadioItem(ID_SCHEME_FIRST + i, wxGetTranslation(k_SchemeNames[i]));
        auto* bar = new wxMenuBar;
        bar->Append(farm, _("&Farm"));
        bar->Append(view, _("&View"));
        bar->Append(colours, _("&Colours"));
        m_WindowMenu = wxGetOpenWindowMenu();
        bar->Append(m_WindowMenu, _("&Window"));
        SetMenuBar(bar);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { ToggleLink(); }, ID_LINK);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { OrderShutdown(); }, ID_SHUTDOWN);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { OpenSettings(); }, ID_SETTINGS);
        Bind(
            wxEVT_MENU,
            [this](wxCommandEvent&) {
                const int page = m_Book->GetSelection();
                if (page == wxNOT_FOUND) return;
                LogInfo("Asking for a new name of the view");
                const String name = wxsGetTextFromUser(
                    _("New name of this view:"), _("Rename view"), m_Book->GetPageText(page), this);
                if (!name.empty()) m_Book->SetPageText(page, wxString::FromUTF8(name.c_str()));
            },
            ID_RENAME_VIEW);
        Bind(
            wxEVT_MENU, [](wxCommandEvent&) { wxConfirmDlg::ResetAll(); }, ID_RESET_QUESTIONS);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { OpenFindJob(); }, ID_FIND_JOB);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { OpenNewJob(); }, ID_NEW_JOB);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { Close(); }, wxID_EXIT);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent& e) { SetScheme(e.GetId() - ID_SCHEME_FIRST + 1); },
            ID_SCHEME_FIRST, ID_SCHEME_FIRST + 4);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { OpenJobsWindow(); }, ID_OPEN_JOBS);
        Bind(
            wxEVT_MENU,
            [this](wxCommandEvent&) {
                OpenFollowing(_("Farm log"), "Log Window", wxToString(_("Logs")), m_Lines,
                              m_LinesTotal);
            },
            ID_OPEN_LOG);
        Bind(
            wxEVT_MENU,
            [this](wxCommandEvent&) {
                OpenFollowing(_("Engine load history"), "Load Window", wxToString(_("Monitors")),
                              m_LoadHistory, m_LoadTotal);
            },
            ID_OPEN_LOAD);
    }

    // A window that follows a growing list of lines (kept here: the main window outlives it).
    void OpenFollowing(const wxString& title, const String& section, const String& group,
                       const std::deque<wxString>& lines, const size_t& total) {
        // Numbered from the first line ever added: the oldest ones may be gone meanwhile.
        auto seen = std::make_shared<size_t>(total - std::min(total, lines.size()));
        auto follow = [&lines, &total, seen] {
            std::vector<String> add;
            const size_t first = total - lines.size(); // number of the oldest line still kept
            for (size_t n = std::max(*seen, first); n < total; ++n)
                add.push_back(wxToString(lines[n - first]));
            *seen = total;
            return add;
        };
        (new TextWindow(title, section, group, follow(), follow))->Show();
    }

    // The frame's panes: the views in a themed notebook in the centre, the side bar of folding
    // panels on the left, the engine load along the bottom, all in the themed dock art.
    void BuildControls() {
        m_Aui.SetManagedWindow(this);
        m_Aui.SetArtProvider(new wxsDockArt);
        m_Book = new wxsNotebook(this, wxID_ANY);
        m_Jobs = new JobsView(m_Book, [this](const UID& id) { return m_App->FindJob(id); });
        m_Book->AddPage(m_Jobs, _("Jobs"));
        m_Jobs->Bind(wxEVT_LIST_ITEM_RIGHT_CLICK, [this](wxListEvent& e) {
            if (JobPtr job = m_Jobs->GetJob((int)e.GetIndex())) ShowJobMenu(m_Jobs, job);
        });
        m_ByType = new TypeTreeView(m_Book, [this](const UID& id) { return m_App->FindJob(id); });
        m_Book->AddPage(m_ByType, _("By type"));
        m_ByType->Bind(wxEVT_LIST_ITEM_RIGHT_CLICK, [this](wxListEvent& e) {
            if (JobPtr job = m_ByType->GetJob((int)e.GetIndex())) ShowJobMenu(m_ByType, job);
        });
        m_Book->AddPage(m_Log = CreateLogView(m_Book), _("Farm log"));
        // The same viewer as the log: its lines keep their height however fast they come.
        auto* activity = new wxsPanel(m_Book);
        m_Activity = new wxTextLineCtrl(activity);
        m_Activity->SetLineLimit(k_ActivityLines);
        auto* activitySizer = new wxBoxSizer(wxVERTICAL);
        activitySizer->Add(m_Activity, 1, wxEXPAND);
        activitySizer->Add(m_Activity->GetSearchPanel(), 0, wxEXPAND | wxTOP | wxBOTTOM, 2);
        activity->SetSizer(activitySizer);
        m_Book->AddPage(activity, _("Activity"));
        m_Book->AddPage(CreateColorsView(m_Book), _("Colours"));
        const char* const names[] = {"jobs", "bytype", "log", "activity", "colours"};
        for (size_t i = 0; i < m_Book->GetPageCount(); ++i)
            m_Book->GetPage(i)->SetName(names[i]);

        auto* side = new _SideBar(this);
        auto* bar = new wxBoxSizer(wxVERTICAL);
        m_Connection = new ConnectionPanel(side);
        bar->Add(m_Connection, 0, wxEXPAND | wxALL, FromDIP(4));
        bar->Add(new FiltersPanel(side, [this](const wxString& text) { FilterByName(text); }), 0,
                 wxEXPAND | wxALL, FromDIP(4));
        m_Totals = new TotalsPanel(side);
        bar->Add(m_Totals, 0, wxEXPAND | wxALL, FromDIP(4));
        side->SetSizer(bar);
        Bind(
            wxEVT_BUTTON, [this](wxCommandEvent&) { ToggleLink(); }, ID_SIDE_LINK);
        Bind(
            wxEVT_BUTTON, [this](wxCommandEvent&) { OrderShutdown(); }, ID_SIDE_SHUTDOWN);
        Bind(
            wxEVT_BUTTON, [this](wxCommandEvent&) { OpenHideProducts(); }, ID_SIDE_HIDE_PRODUCTS);

        m_LoadBars = new LoadPane(this);

        m_Aui.AddPane(m_Book, wxAuiPaneInfo().Name("views").CenterPane().PaneBorder(false));
        m_Aui.AddPane(side, wxAuiPaneInfo()
                                .Name("sidebar")
                                .Caption(_("Farm"))
                                .Left()
                                .BestSize(FromDIP(wxSize(250, -1)))
                                .MinSize(FromDIP(wxSize(180, -1)))
                                .CloseButton(false));
        m_Aui.AddPane(m_LoadBars, wxAuiPaneInfo()
                                      .Name("load")
                                      .Caption(_("Engine load"))
                                      .Bottom()
                                      .BestSize(FromDIP(wxSize(-1, 60)))
                                      .MinSize(FromDIP(wxSize(-1, 30)))
                                      .CloseButton(false));
        m_DefaultLayout = m_Aui.SavePerspective();
        m_Aui.Update();
        CreateStatusBar(1); // the load has its own pane
        // Room for the side bar beside a usable job list, whatever size was saved or dragged.
        SetMinSize(FromDIP(wxSize(720, 480)));
    }

    // The pane layout saved at the last close; the default one when there is none, or when it
    // is not a layout of exactly these panes (garbled, or from another version of the demo).
    void RestorePaneLayout() {
        Application* app = Application::the_Application;
        const String saved =
            app ? app->GetOptions()->GetValue(k_LayoutSection, "Panes", String()) : String();
        if (saved.empty()) return;
        if (!IsPaneLayoutOf(saved, {"views", "sidebar", "load"}) ||
            !m_Aui.LoadPerspective(wxFromString(saved), true)) {
            LogInfo("The saved pane layout is not usable; the default one is shown");
            m_Aui.LoadPerspective(m_DefaultLayout, true);
        }
        // A layout keeps the captions it was saved with, perhaps in another language.
        m_Aui.GetPane("sidebar").Caption(_("Farm"));
        m_Aui.GetPane("load").Caption(_("Engine load"));
        m_Aui.Update();
    }

    void SavePaneLayout() {
        if (Application* app = Application::the_Application)
            app->GetOptions()->SetValue(k_LayoutSection, "Panes",
                                        wxToString(m_Aui.SavePerspective()));
    }

    // The Jobs page shows only the jobs whose name holds the text (ignoring case).
    void FilterByName(const wxString& text) {
        m_Jobs->SetNameFilter(wxToString(text));
        if (!text.empty()) ShowPage("jobs");
        RefreshView();
    }

    void OrderShutdown() {
        wxConfirmDlg ask(
            this, _("Order the farm master to shut down?\nEvery program of the farm closes."),
            k_ShutdownKey, true);
        if (!ask.Confirm()) return;
        if (Messenger* master = m_App->GetMessenger()) master->OrderShutdown();
    }

    // The job's commands under the frame's own job items; a command picked runs on the job.
    void ShowJobMenu(wxWindow* where, const JobPtr& job) {
        if (!m_JobMenu) {
            m_JobMenu.reset(new JobMenu(
                [this](const JobPtr& owner, const String& file) { OpenOutput(owner, file); }));
            m_JobMenu->Append(ID_FIND_JOB, _("&Find job..."));
            m_JobMenu->Append(ID_NEW_JOB, _("&New job..."));
        }
        m_JobMenu->FillFor(job);
        const int id = where->GetPopupMenuSelectionFromUser(*m_JobMenu);
        if (id == wxID_NONE) return;
        if (!m_JobMenu->TryCommand(id)) {
            wxCommandEvent own(wxEVT_MENU, id);
            ProcessWindowEvent(own);
        }
    }

    // An output of a job in a viewer window. The simulated farm writes no files: its log is
    // what the farm log holds about the job, its report what the farm knows of it.
    void OpenOutput(const JobPtr& job, const String& file) {
        const String name = job->Name();
        std::vector<String> lines;
        if (file == "report.txt") {
            lines.push_back(name);
            for (const auto& p : job->GetParameters()) {
                String value = p.second;
                if (p.first == p_Type)
                    value = JobFactory::s_JobFactory.GetTypeInfo(UID(value, false), false).name;
                if (p.first == p_Status) value = JobStatusName(job->GetStatus());
                lines.push_back("    " + p.first + " = " + value);
            }
        } else {
            lines = FindLogLines(m_Log, name + ": ");
            if (lines.empty())
                lines.push_back(wxToString(_("The farm log holds no lines of this job yet.")));
        }
        (new TextWindow(wxString::Format(_("%s of %s"), wxFromString(file), wxFromString(name)),
                        "Output Window", wxToString(_("Outputs")), lines))
            ->Show();
        LogInfo("Opened " + file + " of " + name);
    }

    void SubmitJob(const UID& type, const UID& after) {
        Messenger* master = m_App->GetMessenger();
        String error = "There is no farm master to send it to";
        if (!master || !master->SubmitJob(type, &error)) {
            wxTaviroMessageBox(_("Unable to submit the job:") + "\n" + wxFromString(error),
                               "SubmitFailed", this);
            return;
        }
        const JobPtr waitFor = after.IsNull() ? JobPtr() : m_App->FindJob(after);
        const wxString typeName =
            wxFromString(JobFactory::s_JobFactory.GetTypeInfo(type, false).name);
        AddLine(waitFor ? wxString::Format(_("Submitted a %s job to run after %s"), typeName,
                                           wxFromString(waitFor->Name()))
                        : wxString::Format(_("Submitted a %s job"), typeName));
    }

    void ToggleLink() {
        if (Messenger* master = m_App->GetMessenger()) {
            if (master->IsConnected())
                master->Disconnect();
            else
                master->Reconnect();
        }
    }

    void ShowConnection(bool connected) {
        const String master =
            m_App->GetMessenger() ? m_App->GetMessenger()->GetMasterName() : String("no");
        m_Connection->ShowConnection(connected, wxFromString(master));
        GetMenuBar()->SetLabel(ID_LINK,
                               connected ? _("&Disconnect\tCtrl+D") : _("&Reconnect\tCtrl+D"));
        AddLine(connected ? _("Connected") : _("Disconnected"));
    }

    void OnFarmMessage(const Message& m) {
        ++m_Messages;
        m_Jobs->OnFarmMessage(m);
        JobsWindow::Forward(m);
        m_ByType->OnFarmMessage(m);
        switch (m.GetType()) {
        case k_MsgLogLine:
            AddLine(wxFromString(m.Get("Text")));
            break;
        case k_MsgJobRemoved: {
            // The farm has let it go already; the Jobs page still holds it until its next tick.
            const JobPtr job = m_Jobs->FindJob(m.GetJob());
            AddLine(wxString::Format(_("Removed %s"), job ? wxFromString(job->Name())
                                                          : wxFromString(m.GetJob().ToString())));
            break;
        }
        case k_MsgJobBatch:
            AddLine(wxString::Format(_("Received %zu jobs"), m.m_Batch.size()));
            break;
        case k_MsgEngineLoad:
            m_Load = wxFromString(m.Get("Load"));
            m_LoadBars->Push((unsigned)std::max(0, m.Get("Load").ToInt(0)));
            m_LoadHistory.push_back(wxDateTime::Now().FormatISOTime() + "  " + m_Load + "%");
            ++m_LoadTotal;
            if (m_LoadHistory.size() > 500) m_LoadHistory.pop_front();
            break;
        case k_MsgJobChanged:
            if (m.m_Params.count(p_Status))
                if (JobPtr job = m_App->FindJob(m.GetJob()))
                    AddLine(wxString::Format(_("%s is now %s"), wxFromString(job->Name()),
                                             wxGetTranslation(JobStatusName(job->GetStatus()))));
            break;
        default:
            break;
        }
    }

    void AddLine(const wxString& line) {
        m_Lines.push_back(wxDateTime::Now().FormatISOTime() + "  " + line);
        ++m_LinesTotal;
        if (m_Lines.size() > 1000) m_Lines.pop_front();
        ++m_NewLines;
    }

    // Paced: the view follows the farm four times a second, however busy it is. Its cost does
    // not grow with the farm: the counts are kept by the job table, and at most a screenful
    // of new lines is shown.
    void RefreshView() {
        m_Totals->SetCounts(m_App->CountByStatus());
        const size_t all = m_Totals->GetAll();
        if (m_NewLines > 0) {
            const size_t add = std::min({m_NewLines, m_Lines.size(), k_ActivityLines});
            for (size_t i = m_Lines.size() - add; i < m_Lines.size(); ++i)
                m_Activity->Append(wxToString(m_Lines[i]));
            m_NewLines = 0;
        }
        const wxString jobs =
            m_Jobs->GetNameFilter().empty()
                ? wxString::Format(_("%zu jobs"), all)
                : wxString::Format(_("%zu jobs, %d shown"), all, m_Jobs->GetItemCount());
        const wxString status =
            jobs + ", " +
            wxString::Format(_("%llu messages handled, %zu open windows"), m_Messages,
                             OpenWindows::_this->GetEntries().size());
        if (status != GetStatusBar()->GetStatusText(0)) SetStatusText(status, 0);
        ++m_Refreshes;
        if (m_LogRefreshes)
            LogInfo(SFormat("Refresh %llu: %zu jobs, %llu messages handled, %zu queued",
                            m_Refreshes, all, m_Messages, m_App->QueuedMessages()));
    }

    void OnClose(wxCloseEvent& e) {
        SaveWindowPosition();
        m_Jobs->SaveLayout();
        wxTaviroDlg::CloseAll();
        CloseWindows(); // first
        // The registry owns the window menu; take it back from the menu bar before it goes.
        if (wxMenuBar* bar = GetMenuBar()) {
            // By the menu, not its (translated) title.
            for (size_t i = 0; i < bar->GetMenuCount(); ++i)
                if (bar->GetMenu(i) == m_WindowMenu) {
                    bar->Remove(i);
                    break;
                }
        }
        m_Refresh.StopTimer();
        SavePaneLayout();
        m_Aui.UnInit();
        e.Skip();
    }

    static constexpr size_t k_ActivityLines = 1000;
    wxTaviroApp* m_App;
    const bool m_LogRefreshes;
    unsigned long long m_Refreshes = 0;
    wxAuiManager m_Aui;
    wxString m_DefaultLayout;
    wxsNotebook* m_Book = nullptr;
    ConnectionPanel* m_Connection = nullptr;
    TotalsPanel* m_Totals = nullptr;
    LoadPane* m_LoadBars = nullptr;
    JobsView* m_Jobs = nullptr;
    TypeTreeView* m_ByType = nullptr;
    wxTextLineCtrl* m_Activity = nullptr;
    wxWindow* m_Log = nullptr;
    wxMenu* m_WindowMenu = nullptr;
    std::unique_ptr<JobMenu> m_JobMenu;
    std::deque<wxString> m_Lines, m_LoadHistory;
    size_t m_LinesTotal = 0, m_LoadTotal = 0;
    size_t m_NewLines = 0;
    unsigned long long m_Messages = 0;
    wxString m_Load;
    // Paced by the library's timer, with the views' ticks: a quiet program wakes up less often.
    struct _Pacer : wxTimed {
        std::function<void()> m_Tick;
        void OnTimer() override {
            if (m_Tick) m_Tick();
        }
    } m_Refresh;
};

// ---- the application ----

class _DemoApp : public wxTaviroApp {
public:
    _DemoApp() : wxTaviroApp(LL_Info, LL_Warning) {}

    bool OnInit() override {
        TakeDemoOptions();
        AddTranslations("taviro-demo"); // and the library's, before the first window
        // What message boxes are titled with, in the user's language.
        SetDisplayName(wxToString(_("Taviro demo")));
        wxInitAllImageHandlers();
        // The main window must exist before the farm client starts: the bridge hands connection
        // changes and messages only to a top window.
        // The same path as SIGTERM: it also ends a start-up error box or an open modal dialog.
        if (m_ExitAfter > 0) {
            m_ExitTimer.Bind(wxEVT_TIMER, [](wxTimerEvent&) {
                if (wxTaviroExecutable* exe = GetExecutable()) exe->Signal(0);
            });
            m_ExitTimer.StartOnce(m_ExitAfter * 1000);
        }
        m_Frame = new _MainFrame(this, m_LogRefreshes);
        SetTopWindow(m_Frame);
        if (!wxTaviroApp::OnInit()) {
            m_Frame->Destroy();
            return false;
        }
        m_Frame->Attach();
        if (m_Scheme > 0) m_Frame->SetScheme(m_Scheme);
        if (!m_Page.empty()) m_Frame->ShowPage(m_Page);
        m_Frame->LoadWindowPosition();
        m_Frame->Show();
        m_Frame->OpenDialog(m_OpenDialog);
        if (m_OpenWindows) {
            for (int id : {ID_OPEN_JOBS, ID_OPEN_LOG})
                m_Frame->GetEventHandler()->QueueEvent(new wxCommandEvent(wxEVT_MENU, id));
        }
        if (m_ReportLayout) {
            m_LayoutTimer.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { m_Frame->ReportLayout(); });
            m_LayoutTimer.StartOnce(1500);
        }
        if (!m_Screenshot.empty()) {
            m_ShotTimer.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { TakeShot(m_Screenshot); });
            m_ShotTimer.StartOnce(2500);
        } else if (!m_Tour.empty()) {
            m_ShotTimer.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { TourStep(); });
            m_ShotTimer.StartOnce(2500);
        }
        return true;
    }

private:
    // Takes the demo's own options out of argv; the rest goes to the farm client.
    void TakeDemoOptions() {
        std::vector<String> args = {String(argv[0].utf8_str().data())};
        bool hasModules = false;
        for (int i = 1; i < argc; ++i) {
            const wxString a = argv[i];
            if ((a == "--screenshot" || a == "--exit-after") && i + 1 < argc) {
                const wxString v = argv[++i];
                if (a == "--screenshot")
                    m_Screenshot = v;
                else
                    m_ExitAfter = wxAtoi(v);
            } else if ((a == "--scheme" || a == "--page") && i + 1 < argc) {
                if (a == "--scheme")
                    m_Scheme = wxAtoi(argv[++i]);
                else
                    m_Page = argv[++i];
            } else if (a == "--screenshots" && i + 1 < argc) {
                m_Tour = argv[++i];
            } else if (a == "--open-dialog" && i + 1 < argc) {
                m_OpenDialog = argv[++i];
            } else if (a == "--open-windows") {
                m_OpenWindows = true;
            } else if (a == "--log-refreshes") {
                m_LogRefreshes = true;
            } else if (a == "--report-layout") {
                m_ReportLayout = true;
            } else {
                hasModules = hasModules || a.StartsWith("--modules");
                args.push_back(String(a.utf8_str().data()));
            }
        }
        if (!hasModules) {
            args.push_back("--modules");
            args.push_back(String(_ModulesDir()));
        }
        SetArguments(args);
    }

    // One picture of each page, then of each dialog over the Jobs page, a step at a time so
    // that every view has drawn what it shows; the program ends after the last.
    void TourStep() {
        static const char* const pages[] = {"jobs", "bytype", "log", "activity", "colours"};
        static const char* const dialogs[] = {"settings", "newjob",     "hide",
                                              "notfound", "jobswindow", "output"};
        const int step = m_TourStep++;
        const int shot = step / 2, pageCount = 5, dialogCount = 6;
        if (shot >= pageCount + dialogCount) {
            m_Frame->Close();
            return;
        }
        const wxString name = shot < pageCount ? pages[shot] : dialogs[shot - pageCount];
        if (step % 2 == 0) { // set the scene
            wxTaviroDlg::CloseAll();
            m_Frame->ShowPage(shot < pageCount ? name : wxString("jobs"));
            if (name == "log") m_Frame->ShowLogSearch("node-07", false);
            if (shot >= pageCount) m_Frame->OpenDialog(name);
            // Modal: opened once this step is over, and ended by the next one.
            if (name == "notfound")
                m_Frame->CallAfter([this] { m_Frame->ShowLogSearch("no such line", true); });
            if (name == "jobswindow") m_Frame->OpenJobsWindow();
            if (name == "output") {
                m_Frame->CloseWindows();
                m_Frame->ShowFirstScriptLog();
            }
        } else {
            TakeShot(m_Tour + "-" + name + ".png");
        }
        m_ShotTimer.StartOnce(step % 2 == 0 ? 900 : 100);
    }

    void TakeShot(const wxString& file) {
        // The main window and whatever is open over it.
        wxRect r = m_Frame->GetScreenRect();
        for (wxWindow* w : wxTopLevelWindows)
            if (w->IsShown()) {
                w->Update();
                r.Union(w->GetScreenRect());
            }
        const wxBitmap bmp = GrabScreen(r);
        wxImage image = bmp.IsOk() ? bmp.ConvertToImage() : wxImage();
        image.SetOption(wxIMAGE_OPTION_PNG_COMPRESSION_LEVEL, 9); // small, for the README
        if (!image.IsOk() || !image.SaveFile(file, wxBITMAP_TYPE_PNG))
            wxLogError("Cannot save the screenshot to %s", file);
    }

    _MainFrame* m_Frame = nullptr;
    wxString m_Screenshot;
    wxString m_Tour; // the path and name prefix of a series of screenshots
    int m_TourStep = 0;
    int m_ExitAfter = 0;
    bool m_OpenWindows = false;
    bool m_LogRefreshes = false;
    bool m_ReportLayout = false;
    wxTimer m_LayoutTimer;
    wxString m_OpenDialog;
    int m_Scheme = 0;
    wxString m_Page;
    wxTimer m_ShotTimer, m_ExitTimer;
};

} // namespace

wxIMPLEMENT_APP_NO_MAIN(_DemoApp);

int main(int argc, char** argv) {
    const int code = wxTaviroApp::PreInit(
        argc, argv,
        "  --screenshot FILE    save a screenshot of the main window 2.5 s after start\n"
        "  --screenshots PREFIX save PREFIX-<page>.png of every page and dialog, then quit\n"
        "  --exit-after SECONDS close the main window after that time\n"
        "  --scheme 1..5        the colour scheme\n"
        "  --page farm|jobs|bytype|colours|log  the page to show\n"
        "  --open-windows       open the jobs and log windows\n"
        "  --open-dialog settings  open the Settings dialog\n"
        "  --open-dialog rename    ask for a new name of the current view\n"
        "  --open-dialog find|newjob|hide  open Find job, New job or Hide products\n"
        "  --log-refreshes      log a line per refresh of the main window\n"
        "  --report-layout      print where the views are on the screen (for benchmarks)\n");
    return code >= 0 ? code : wxEntry(argc, argv);
}
