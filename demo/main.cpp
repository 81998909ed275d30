// The demo client: a farm program on the embedded simulated master. It shows the connection
// state, the live number of jobs by status and the latest messages, with plain wx controls
// (the library's own controls replace them as they arrive).
//
//   taviro-demo [farm options] [--screenshot FILE] [--exit-after SECONDS]
// Farm options are the farm core's (--jobs N, --seed N, --rate N, --modules DIR, ...).
//
// Threads: the messenger's signals arrive on its thread; the bridge below only posts wx
// events to the frame. Messages are dispatched one per event on the GUI thread.
#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>

#include <ostrum/Ostrum.h>

#include <wx/dcscreen.h>
#include <wx/listctrl.h>
#include <wx/wx.h>

#include <deque>

namespace {

wxDEFINE_EVENT(EVT_FARM_CONNECTED, wxThreadEvent);
wxDEFINE_EVENT(EVT_FARM_DISCONNECTED, wxThreadEvent);
wxDEFINE_EVENT(EVT_FARM_MESSAGE, wxThreadEvent);
wxDEFINE_EVENT(EVT_FARM_SHUTDOWN, wxThreadEvent);

wxString ToWx(const String& s) {
    return wxString(s.c_str(), wxConvUTF8);
}

class _DemoFrame;

// Messenger thread -> wx event queue; nothing else.
class _Bridge : public HasSlots {
public:
    explicit _Bridge(wxEvtHandler* target) : m_Target(target) {
        MessengerConnectedEvt::s_Signal.Connect(this, &_Bridge::OnConnected);
        MessengerDisconnectedEvt::s_Signal.Connect(this, &_Bridge::OnDisconnected);
        MessageReceivedEvt::s_Signal.Connect(this, &_Bridge::OnMessage);
        ShutdownMsg::s_Signal.Connect(this, &_Bridge::OnShutdown);
    }
    ~_Bridge() override { DisconnectAll(); }

private:
    void Post(wxEventType type, const String& text = String()) {
        auto* e = new wxThreadEvent(type);
        e->SetString(ToWx(text));
        m_Target->QueueEvent(e);
    }
    void OnConnected(MessengerConnectedEvt& e) { Post(EVT_FARM_CONNECTED, e.GetMaster()); }
    void OnDisconnected(MessengerDisconnectedEvt& e) { Post(EVT_FARM_DISCONNECTED, e.GetReason()); }
    void OnMessage(MessageReceivedEvt&) { Post(EVT_FARM_MESSAGE); } // the message stays queued
    void OnShutdown(const boost::shared_ptr<ShutdownMsg>&) { Post(EVT_FARM_SHUTDOWN); }
    wxEvtHandler* m_Target;
};

class _DemoFrame : public wxFrame {
public:
    explicit _DemoFrame(TaviroClientApp* farm)
        : wxFrame(nullptr, wxID_ANY, "Taviro demo", wxDefaultPosition, wxSize(980, 640)),
          m_Farm(farm), m_Bridge(this) {
        BuildControls();
        Bind(EVT_FARM_CONNECTED, [this](wxThreadEvent& e) { ShowConnection(true, e.GetString()); });
        Bind(EVT_FARM_DISCONNECTED,
             [this](wxThreadEvent& e) { ShowConnection(false, e.GetString()); });
        Bind(EVT_FARM_MESSAGE, [this](wxThreadEvent&) { m_Farm->DispatchMessage(); });
        Bind(EVT_FARM_SHUTDOWN, [this](wxThreadEvent&) {
            AddLine("The master ordered a shutdown: closing");
            Close(false);
        });
        m_Farm->AddMessageHandler([this](const Message& m) { OnFarmMessage(m); }, &m_Bridge);
        m_Refresh.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { RefreshCounts(); });
        m_Refresh.Start(250);
        m_State->SetLabel("Connecting...");
    }
    ~_DemoFrame() override { m_Bridge.DisconnectAll(); }

private:
    void BuildControls() {
        auto* panel = new wxPanel(this);
        const int gap = FromDIP(8);
        auto* top = new wxBoxSizer(wxHORIZONTAL);
        m_State = new wxStaticText(panel, wxID_ANY, "", wxDefaultPosition, wxDefaultSize,
                                   wxST_NO_AUTORESIZE);
        m_State->SetFont(m_State->GetFont().Bold().Scaled(1.3f));
        top->Add(m_State, 1, wxALIGN_CENTER_VERTICAL | wxALL, gap);
        auto* link = new wxButton(panel, wxID_ANY, "&Disconnect");
        auto* shutdown = new wxButton(panel, wxID_ANY, "Order &shutdown");
        top->Add(link, 0, wxALL, gap);
        top->Add(shutdown, 0, wxALL, gap);
        link->Bind(wxEVT_BUTTON, [this, link](wxCommandEvent&) {
            if (auto* master = m_Farm->GetSimulatedMaster()) {
                if (master->IsConnected())
                    master->Disconnect();
                else
                    master->Reconnect();
            }
        });
        shutdown->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) {
            if (auto* master = m_Farm->GetSimulatedMaster()) master->OrderShutdown();
        });
        m_LinkButton = link;

        auto* body = new wxBoxSizer(wxHORIZONTAL);
        m_Counts = new wxListCtrl(panel, wxID_ANY, wxDefaultPosition, FromDIP(wxSize(260, -1)),
                                  wxLC_REPORT | wxLC_SINGLE_SEL);
        m_Counts->AppendColumn("Status", wxLIST_FORMAT_LEFT, FromDIP(140));
        m_Counts->AppendColumn("Jobs", wxLIST_FORMAT_RIGHT, FromDIP(100));
        for (int s = k_JobWaiting; s <= k_JobArchived; ++s) {
            m_Counts->InsertItem(s - k_JobWaiting, JobStatusName(s));
            m_Counts->SetItem(s - k_JobWaiting, 1, "0");
        }
        m_Counts->InsertItem(k_JobArchived, "All");
        m_Counts->SetItem(k_JobArchived, 1, "0");
        body->Add(m_Counts, 0, wxEXPAND | wxLEFT | wxBOTTOM, gap);
        m_Lines = new wxListBox(panel, wxID_ANY);
        body->Add(m_Lines, 1, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, gap);

        auto* outer = new wxBoxSizer(wxVERTICAL);
        outer->Add(top, 0, wxEXPAND);
        outer->Add(body, 1, wxEXPAND);
        panel->SetSizer(outer);
        CreateStatusBar(2);
    }

    void ShowConnection(bool connected, const wxString& detail) {
        m_State->SetLabel(connected ? "Connected to the " + detail + " master"
                                    : "Disconnected (" + detail + ")");
        m_State->SetForegroundColour(connected ? wxColour(0, 130, 60) : wxColour(190, 40, 30));
        m_LinkButton->SetLabel(connected ? "&Disconnect" : "&Reconnect");
        AddLine(connected ? "Connected" : "Disconnected: " + detail);
        Layout();
    }

    void OnFarmMessage(const Message& m) {
        ++m_Messages;
        switch (m.GetType()) {
        case k_MsgLogLine:
            AddLine(ToWx(m.Get("Text")));
            break;
        case k_MsgJobRemoved:
            AddLine("Removed job " + ToWx(m.GetJob().ToString()));
            break;
        case k_MsgJobBatch:
            AddLine(wxString::Format("Received %zu jobs", m.m_Batch.size()));
            break;
        case k_MsgEngineLoad:
            m_Load = ToWx(m.Get("Load"));
            break;
        case k_MsgJobChanged:
            if (m.m_Params.count(p_Status))
                if (JobPtr job = m_Farm->FindJob(m.GetJob()))
                    AddLine(ToWx(job->Name()) + " is now " + JobStatusName(job->GetStatus()));
            break;
        default:
            break;
        }
    }

    void AddLine(const wxString& line) {
        m_Pending.push_back(line);
        if (m_Pending.size() > 200) m_Pending.pop_front();
    }

    void RefreshCounts() {
        const auto counts = m_Farm->CountByStatus();
        size_t all = 0;
        for (int s = k_JobWaiting; s <= k_JobArchived; ++s) {
            auto it = counts.find(s);
            const size_t n = it == counts.end() ? 0 : it->second;
            all += n;
            m_Counts->SetItem(s - k_JobWaiting, 1, wxString::Format("%zu", n));
        }
        m_Counts->SetItem(k_JobArchived, 1, wxString::Format("%zu", all));
        if (!m_Pending.empty()) {
            m_Lines->Freeze();
            for (auto& l : m_Pending)
                m_Lines->Append(l);
            m_Pending.clear();
            while (m_Lines->GetCount() > 200)
                m_Lines->Delete(0);
            m_Lines->EnsureVisible(m_Lines->GetCount() - 1);
            m_Lines->Thaw();
        }
        SetStatusText(wxString::Format("%zu jobs, %llu messages handled", all,
                                       (unsigned long long)m_Messages),
                      0);
        SetStatusText("Engine load: " + (m_Load.empty() ? wxString("-") : m_Load + "%"), 1);
    }

    TaviroClientApp* m_Farm;
    _Bridge m_Bridge;
    wxStaticText* m_State = nullptr;
    wxButton* m_LinkButton = nullptr;
    wxListCtrl* m_Counts = nullptr;
    wxListBox* m_Lines = nullptr;
    std::deque<wxString> m_Pending;
    unsigned long long m_Messages = 0;
    wxString m_Load;
    wxTimer m_Refresh;
};

class _DemoApp : public wxApp {
public:
    bool OnInit() override {
        // The farm core reads the command line; only the demo's own two options are ours.
        std::vector<String> args = {String(argv[0].utf8_str().data())};
        for (int i = 1; i < argc; ++i) {
            const String a = argv[i].utf8_str().data();
            if ((a == "--screenshot" || a == "--exit-after") && i + 1 < argc) {
                const String v = argv[++i].utf8_str().data();
                if (a == "--screenshot")
                    m_Screenshot = ToWx(v);
                else
                    m_ExitAfter = v.ToInt(0);
            } else {
                args.push_back(a);
            }
        }
        bool hasModules = false;
        for (auto& a : args)
            hasModules = hasModules || a.StartsWith("--modules");
        if (!hasModules) {
            args.push_back("--modules");
            args.push_back(DEMO_MODULES);
        }
        wxInitAllImageHandlers();
        m_Farm.reset(new TaviroClientApp(LL_Info, LL_Warning));
        // The frame's bridge must listen before the messenger starts, or its first signals
        // (the connection, the snapshot) would reach no one.
        auto* frame = new _DemoFrame(m_Farm.get());
        CommandLine commandLine(args);
        if (!m_Farm->Startup(commandLine)) {
            frame->Destroy();
            wxMessageBox("The farm client failed to start:\n\n" + ToWx(m_Farm->GetStartupError()),
                         "Startup Error", wxOK | wxCENTRE);
            m_Farm->Cleanup();
            return false;
        }
        frame->Show();
        m_Farm->StartupComplete.Emit();
        if (!m_Screenshot.empty()) {
            m_ShotTimer.Bind(wxEVT_TIMER, [this, frame](wxTimerEvent&) { TakeShot(frame); });
            m_ShotTimer.StartOnce(2500);
        }
        if (m_ExitAfter > 0) {
            m_ExitTimer.Bind(wxEVT_TIMER, [frame](wxTimerEvent&) { frame->Close(true); });
            m_ExitTimer.StartOnce(m_ExitAfter * 1000);
        }
        return true;
    }
    int OnExit() override {
        if (m_Farm) {
            m_Farm->ExitBegins.Emit();
            m_Farm->Cleanup();
            m_Farm->ShutdownComplete.Emit();
            m_Farm.reset();
        }
        return wxApp::OnExit();
    }

private:
    void TakeShot(wxFrame* frame) {
        frame->Update();
        const wxRect r = frame->GetScreenRect();
        wxBitmap bmp(r.width, r.height, 24);
        {
            wxScreenDC screen;
            wxMemoryDC mem(bmp);
            mem.Blit(0, 0, r.width, r.height, &screen, r.x, r.y);
        }
        if (!bmp.SaveFile(m_Screenshot, wxBITMAP_TYPE_PNG))
            wxLogError("Cannot save the screenshot to %s", m_Screenshot);
    }

    std::unique_ptr<TaviroClientApp> m_Farm;
    wxString m_Screenshot;
    int m_ExitAfter = 0;
    wxTimer m_ShotTimer, m_ExitTimer;
};

} // namespace

wxIMPLEMENT_APP(_DemoApp);
