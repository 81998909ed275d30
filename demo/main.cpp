// The demo client. For now a plain window over the foundation library; it grows into a farm
// control program as the farm core and the library's controls arrive.
//   --screenshot FILE   save a PNG of the main window once it is shown
//   --exit-after SECS   close by itself (for headless runs)
#include <ostrum/Ostrum.h>

#include <wx/cmdline.h>
#include <wx/dcscreen.h>
#include <wx/listctrl.h>
#include <wx/wx.h>

namespace {

class _DemoFrame : public wxFrame {
public:
    _DemoFrame() : wxFrame(nullptr, wxID_ANY, "Taviro demo", wxDefaultPosition, wxSize(720, 420)) {
        auto* panel = new wxPanel(this);
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        auto* title = new wxStaticText(panel, wxID_ANY, "Taviro farm client (demo)");
        title->SetFont(title->GetFont().Bold().Scaled(1.4f));
        sizer->Add(title, 0, wxALL, FromDIP(12));
        auto* list = new wxListCtrl(panel, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                    wxLC_REPORT | wxLC_SINGLE_SEL);
        list->AppendColumn("Item", wxLIST_FORMAT_LEFT, FromDIP(200));
        list->AppendColumn("Value", wxLIST_FORMAT_LEFT, FromDIP(460));
        auto add = [&](const char* k, const String& v) {
            const long row = list->InsertItem(list->GetItemCount(), k);
            list->SetItem(row, 1, wxString(v.c_str(), wxConvLibc));
        };
        String userDir;
        try {
            userDir = File::GetUserDir();
            Log::s_GlobalLog->Open(userDir + "/logs/taviro-demo.log");
            LogInfo("Demo started");
        } catch (Exception* e) {
            userDir = e->Format();
            delete e;
        }
        add("User", Platform::GetCurrentUserName());
        add("User folder", userDir);
        add("Log file", Log::s_GlobalLog->GetFileName());
        add("Session identifier", UID(true).ToString());
        add("Started", Time::FormatDuration(0, Time::k_Second, Time::k_Hour, 2, true, 0, ' ', 0) + " ago");
        add("Farm connection", "not connected (the farm core is not built yet)");
        sizer->Add(list, 1, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, FromDIP(12));
        panel->SetSizer(sizer);
    }
};

class _DemoApp : public wxApp {
public:
    bool OnInit() override {
        if (!wxApp::OnInit()) return false;
        wxInitAllImageHandlers();
        Log::s_GlobalLog->SetEchoLevel(LL_Warning);
        auto* frame = new _DemoFrame();
        frame->Show();
        if (!m_Screenshot.empty()) CallAfter([this, frame] { ScheduleShot(frame); });
        if (m_ExitAfter > 0) {
            m_ExitTimer.Bind(wxEVT_TIMER, [frame](wxTimerEvent&) { frame->Close(true); });
            m_ExitTimer.StartOnce(m_ExitAfter * 1000);
        }
        return true;
    }
    void OnInitCmdLine(wxCmdLineParser& parser) override {
        wxApp::OnInitCmdLine(parser);
        parser.AddOption("", "screenshot", "save a PNG of the main window", wxCMD_LINE_VAL_STRING);
        parser.AddOption("", "exit-after", "close after this many seconds", wxCMD_LINE_VAL_NUMBER);
    }
    bool OnCmdLineParsed(wxCmdLineParser& parser) override {
        wxString shot;
        if (parser.Found("screenshot", &shot)) m_Screenshot = shot;
        long secs = 0;
        if (parser.Found("exit-after", &secs)) m_ExitAfter = (int)secs;
        return wxApp::OnCmdLineParsed(parser);
    }

private:
    void ScheduleShot(wxFrame* frame) {
        // Give the window a moment to lay out and paint before grabbing it.
        m_ShotTimer.Bind(wxEVT_TIMER, [this, frame](wxTimerEvent&) { TakeShot(frame); });
        m_ShotTimer.StartOnce(1500);
    }
    void TakeShot(wxFrame* frame) {
        frame->Update();
        const wxRect r = frame->GetScreenRect();
        wxBitmap bmp(r.width, r.height, 24);
        wxScreenDC screen;
        wxMemoryDC mem(bmp);
        mem.Blit(0, 0, r.width, r.height, &screen, r.x, r.y);
        mem.SelectObject(wxNullBitmap);
        if (!bmp.SaveFile(m_Screenshot, wxBITMAP_TYPE_PNG))
            wxLogError("Cannot save the screenshot to %s", m_Screenshot);
    }

    wxString m_Screenshot;
    int m_ExitAfter = 0;
    wxTimer m_ShotTimer, m_ExitTimer;
};

} // namespace

wxIMPLEMENT_APP(_DemoApp);
