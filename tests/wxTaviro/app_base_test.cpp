// The application base: start-up (success, the failure box and its clean-up), the log bridge,
// the renderer, the main loop surviving exceptions, the keyboard hook and activation, and the
// ways a close reaches the top window from outside.
#include "tests/wxTaviro/AppFixture.h"

#include <wxTaviro/wxTaviroColors.h>

#include <taviro/ThreadPool.h>

#include <wx/tooltip.h>

#include <csignal>
#include <thread>

#include <dlfcn.h>

using namespace taviro_test;

wxAppConsole* taviro_test::CreateTestApp() {
    return new TestTaviroApp;
}

namespace {

// The level of the farm log line that holds text ("" when no line does).
std::string LogLevelOf(const std::string& text) {
    const std::string log = LogText();
    const size_t at = log.find(text);
    if (at == std::string::npos) return std::string();
    const size_t head = log.find("] ", log.rfind('\n', at) + 1) + 2; // after "[thread] "
    return head > at ? std::string() : log.substr(head, log.find(' ', head) - head);
}

TEST_F(AppTest, ToolkitLogRecordsReachTheFarmLogAtTheirLevels) {
    EXPECT_EQ(Log::s_GlobalLog->GetFileName(), m_Dir + "/logs/apptest.log");
    EXPECT_EQ(LogLevelOf("wxWidgets 3.1.0: Set wxLog to use Ostrum Log"), "MESSAGE");
    const struct {
        wxLogLevel level;
        const char* farmLevel;
    } cases[] = {{wxLOG_Error, "ERROR"},    {wxLOG_Warning, "WARNING"}, {wxLOG_Message, "MESSAGE"},
                 {wxLOG_Status, "MESSAGE"}, {wxLOG_Info, "INFO"},       {wxLOG_Debug, "DEBUG"},
                 {wxLOG_Trace, "DEBUG"},    {wxLOG_Progress, "INFO"},   {wxLOG_User + 7, "INFO"}};
    int n = 0;
    for (const auto& c : cases) {
        const std::string text = "record " + std::to_string(++n) + "!";
        wxLogGeneric(c.level, "%s", text);
        EXPECT_EQ(LogLevelOf("wxWidgets 3.1.0: " + text), c.farmLevel) << "wx level " << c.level;
    }
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_FatalError), 0); // a fatal record ends the process
}

TEST_F(AppTest, FailedStartupShowsTheBoxCleansUpAndAnnouncesShutdown) {
    Stop();
    int shutdowns = 0;
    const SlotId id = App().ShutdownComplete.Connect([&] { ++shutdowns; });
    DialogRecorder dialogs;
    // An unknown option fails before the client has a name: argv[0] stands in for it.
    EXPECT_FALSE(App().RealOnInit({"/opt/taviro/bin/failing-app", "--no-such-option"}));
    ASSERT_EQ(dialogs.m_Shown.size(), 1u);
    EXPECT_EQ(dialogs.m_Shown[0].title, "Startup Error");
    // The fixed text, then the reason; the folder and the log file are named.
    EXPECT_TRUE(dialogs.m_Shown[0].message.StartsWith(
        "/opt/taviro/bin/failing-app failed to start:\n\nPlease check the following:\n1. "
        "Taviro is correctly installed and all libraries and modules are accessible\n\n2. "
        "The current user '" +
        wxFromString(Platform::GetCurrentUserName()) +
        "' has permission to create and delete log files in the folder:\n" +
        wxFromString(App().GetLogFolder()) +
        "\n\nCheck the startup log file for more information:\n" +
        wxFromString(Log::s_GlobalLog->GetFileName()) + "\n\n"));
    EXPECT_NE(dialogs.m_Shown[0].message.Find("--no-such-option"), wxNOT_FOUND);
    EXPECT_FALSE(App().GetLogFolder().empty() || Log::s_GlobalLog->GetFileName().empty());
    EXPECT_EQ(shutdowns, 1);

    // A client that started its pool and then failed: no box (the program asked for none),
    // the pool stopped again, and the options changed during the start written once, after.
    App().SetShowStartupError(false);
    const String options = m_Dir + "/second.ini";
    bool poolRan = false, writtenDuringStart = true;
    App().m_AfterStartup = [&](bool ok) {
        poolRan = ok && ThreadPool::IsReady();
        App().GetOptions()->SetValue("State", "a", "1");
        App().GetOptions()->SetValue("State", "b", "2");
        writtenDuringStart = File::Exists(options);
        return false;
    };
    EXPECT_FALSE(Start({"--workers", "2"}, options));
    EXPECT_EQ(dialogs.m_Shown.size(), 1u);
    EXPECT_EQ(shutdowns, 2);
    EXPECT_TRUE(poolRan);
    EXPECT_FALSE(ThreadPool::IsReady()); // cleaned up
    EXPECT_NE(LogText().find("Stopped apptest"), String::npos);
    EXPECT_FALSE(writtenDuringStart);
    EXPECT_EQ(File::ReadAll(options), "[State]\na=1\nb=2\n");
    App().ShutdownComplete.Disconnect(id);
}

// The toolkit keeps the tooltip settings in GTK's settings object: read them back there.
int GtkSetting(const char* name) {
    auto getDefault = (void* (*)())dlsym(RTLD_DEFAULT, "gtk_settings_get_default");
    auto get = (void (*)(void*, const char*, ...))dlsym(RTLD_DEFAULT, "g_object_get");
    int value = -1;
    if (getDefault && get) get(getDefault(), name, &value, nullptr);
    return value;
}

TEST_F(AppTest, SuccessfulStartEnablesTooltipsAndExitUndoesEverything) {
    Stop();
    wxToolTip::Enable(false);
    wxToolTip::SetDelay(1);
    int started = 0, exits = 0, shutdowns = 0;
    const SlotId a = App().StartupComplete.Connect([&] { ++started; });
    const SlotId b = App().ExitBegins.Connect([&] { ++exits; });
    const SlotId c = App().ShutdownComplete.Connect([&] { ++shutdowns; });
    ASSERT_TRUE(Start({}));
    EXPECT_EQ(started, 1);
    EXPECT_TRUE(dynamic_cast<wxTaviroLog*>(wxLog::GetActiveTarget()));
    EXPECT_EQ(GtkSetting("gtk-enable-tooltips"), 1);
    EXPECT_EQ(GtkSetting("gtk-tooltip-timeout"), 330);
    wxOpenUserWindow(new wxFrame(nullptr, wxID_ANY, "registered"), "group");
    EXPECT_EQ(MessengerConnectedEvt::s_Signal.ConnectionCount(), 1u);
    Stop();
    EXPECT_EQ(exits, 1);
    EXPECT_EQ(shutdowns, 1);
    EXPECT_TRUE(OpenWindows::_this->GetEntries().empty());
    // Every connection of the application is gone, the test's own ones included.
    EXPECT_EQ(App().ConnectedSignalCount(), 0u);
    for (size_t n :
         {ShutdownMsg::s_Signal.ConnectionCount(), MessageReceivedEvt::s_Signal.ConnectionCount(),
          MessengerConnectedEvt::s_Signal.ConnectionCount(),
          MessengerDisconnectedEvt::s_Signal.ConnectionCount()})
        EXPECT_EQ(n, 0u);
    App().StartupComplete.Disconnect(a);
    App().ExitBegins.Disconnect(b);
    App().ShutdownComplete.Disconnect(c);
}

bool SameImage(const wxImage& a, const wxImage& b) {
    return a.GetSize() == b.GetSize() &&
           memcmp(a.GetData(), b.GetData(), (size_t)a.GetWidth() * a.GetHeight() * 3) == 0;
}

TEST(AppTraits, TheThemedRendererDrawsEverythingElseLikeTheGenericOne) {
    std::unique_ptr<wxAppTraits> traits(App().CreateTraits());
    std::unique_ptr<wxRendererNative> themed(traits->CreateRenderer());
    ASSERT_TRUE(dynamic_cast<wxsRenderer*>(themed.get()));
    auto header = [](wxRendererNative& r) {
        return RenderToImage(80, 30, [&](wxDC& dc) {
            r.DrawHeaderButton(TopWindow(), dc, wxRect(2, 2, 76, 26), wxCONTROL_CURRENT);
        });
    };
    const wxImage generic = header(wxRendererNative::GetGeneric());
    ASSERT_FALSE(SameImage(generic, header(wxRendererNative::GetDefault())))
        << "the native renderer draws like the generic one here: nothing to tell apart";
    EXPECT_TRUE(SameImage(header(*themed), generic));
}

TEST_F(AppTest, MainLoopRestartsAfterARecoverableException) {
    wxWindow* top = TopWindow();
    int afterwards = 0;
    top->Bind(
        wxEVT_MENU, [](wxCommandEvent&) { throw new Exception(0x1234, "boom"); }, 7001);
    // Queued once the exception has been handed over: only a restarted loop can run it.
    App().m_OnException = [&] {
        App().CallAfter([&] {
            ++afterwards;
            App().ExitMainLoop();
        });
    };
    top->GetEventHandler()->QueueEvent(new wxCommandEvent(wxEVT_MENU, 7001));
    EXPECT_EQ(App().OnRun(), 0);
    EXPECT_EQ(App().m_Exceptions, 1);
    EXPECT_EQ(App().m_LastExceptionCode, 0x1234u);
    EXPECT_EQ(afterwards, 1);

    // An exception the client does not accept ends the run at once.
    App().m_ExceptionsRecoverable = false;
    top->GetEventHandler()->QueueEvent(new wxCommandEvent(wxEVT_MENU, 7001));
    EXPECT_EQ(App().OnRun(), 0);
    EXPECT_EQ(App().m_Exceptions, 2);
    EXPECT_EQ(afterwards, 1);
    PumpEvents(); // the queued exit runs outside any main loop, harmlessly
}

// ---- keyboard and activation ----

bool SendKey(int key, bool control = true) {
    wxKeyEvent e(wxEVT_CHAR_HOOK);
    e.m_keyCode = key;
    e.SetControlDown(control);
    e.SetShiftDown(true);
    App().ProcessEvent(e);
    return e.GetSkipped();
}

void Activate(wxWindow* w, bool active) {
    wxActivateEvent e(wxEVT_ACTIVATE, active);
    e.SetEventObject(w);
    App().ProcessEvent(e);
}

bool IsScreenCentred(wxWindow* w) {
    const wxRect screen =
        wxDisplay((unsigned)std::max(0, wxDisplay::GetFromWindow(w))).GetGeometry();
    return WaitFor([&] { return w->GetPosition() == CentredIn(screen, w->GetSize()); }, 3000);
}

TEST_F(AppTest, ControlShiftCCentresTheActiveWindowOrElseTheTopWindow) {
    wxFrame* top = TopWindow();
    top->SetSize(0, 0, 500, 300);
    auto* other = new wxDialog(top, wxID_ANY, "active", wxDefaultPosition, wxSize(300, 200));
    other->Show();
    PumpEvents();
    other->Move(5, 5);
    ASSERT_TRUE(WaitFor([&] { return other->GetPosition() == wxPoint(5, 5); }, 3000));

    // Deactivating another window keeps the active one; deactivating it leaves none.
    Activate(top, true);
    Activate(other, false);
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), top);
    Activate(top, false);
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), nullptr);
    EXPECT_FALSE(SendKey('C')); // consumed
    EXPECT_TRUE(IsScreenCentred(top)) << top->GetPosition().x << "," << top->GetPosition().y;
    EXPECT_EQ(other->GetPosition(), wxPoint(5, 5));

    top->Move(0, 0); // so that centring on the parent would not centre on the screen
    ASSERT_TRUE(WaitFor([&] { return top->GetPosition() == wxPoint(0, 0); }, 3000));
    Activate(other, true);
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), other);
    EXPECT_FALSE(SendKey('C'));
    EXPECT_TRUE(IsScreenCentred(other));
    EXPECT_TRUE(SendKey('D'));        // other keys go on to the window
    EXPECT_TRUE(SendKey('C', false)); // and so does Shift+C alone

    // A destroyed active window is not used later: the top window is.
    other->Destroy();
    ASSERT_TRUE(WaitFor([&] { return wxTopLevelWindows.GetCount() == 1; }));
    top->Move(10, 10);
    EXPECT_FALSE(SendKey('C'));
    EXPECT_TRUE(IsScreenCentred(top));
}

// ---- closing from outside: end of session, shutdown order, process signals ----

class CloseCounter {
public:
    explicit CloseCounter(wxWindow* w) : m_Window(w) {
        // Vetoes, so the window stays for the next check.
        w->Bind(wxEVT_CLOSE_WINDOW, &CloseCounter::OnClose, this);
    }
    ~CloseCounter() { m_Window->Unbind(wxEVT_CLOSE_WINDOW, &CloseCounter::OnClose, this); }
    int count = 0;
    bool canVeto = false;
    bool onMainThread = true;

private:
    void OnClose(wxCloseEvent& e) {
        ++count;
        canVeto = e.CanVeto();
        onMainThread = onMainThread && wxThread::IsMain();
        e.Veto();
    }
    wxWindow* m_Window;
};

TEST_F(AppTest, EndOfSessionPostsAVetoableCloseToTheTopWindow) {
    CloseCounter closes(TopWindow());
    wxCloseEvent query(wxEVT_QUERY_END_SESSION);
    App().ProcessEvent(query);
    EXPECT_FALSE(query.GetVeto());
    EXPECT_EQ(closes.count, 0); // posted, not sent
    EXPECT_TRUE(WaitFor([&] { return closes.count == 1; }));
    EXPECT_TRUE(closes.canVeto);
    EXPECT_EQ(LogLevelOf("Notified of user request to log out or shut down the system"), "SYSTEM");
}

TEST_F(AppTest, ShutdownOrderFromAnotherThreadClosesThroughTheEventQueue) {
    CloseCounter closes(TopWindow());
    std::thread([] { App().ReceiveMessage(boost::shared_ptr<Message>(new ShutdownMsg())); }).join();
    EXPECT_TRUE(WaitFor([&] { return closes.count == 1; }));
    EXPECT_TRUE(closes.onMainThread);
    EXPECT_EQ(LogLevelOf("Received Shutdown request"), "SYSTEM");
}

TEST_F(AppTest, OnlySignalZeroWithProcessingEnabledPostsAClose) {
    CloseCounter closes(TopWindow());
    // Fresh executables, so that the base's stop flag tells whether the base ran.
    wxTaviroExecutable other(&App()), disabled(&App());
    EXPECT_EQ(other.Signal(SIGUSR1), 0);
    App().DisableMessageProcessing();
    EXPECT_EQ(disabled.Signal(0), 0);
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(closes.count, 0);
    EXPECT_FALSE(other.IsStopRequested());
    EXPECT_TRUE(disabled.IsStopRequested());
}

TEST_F(AppTest, TerminationSignalClosesTheTopWindow) {
    CloseCounter closes(TopWindow());
    raise(SIGTERM); // handled on the foundation's signal thread, then posted
    EXPECT_TRUE(WaitFor([&] { return closes.count == 1; }));
    EXPECT_EQ(wxTaviroApp::GetExecutable()->GetLastProcessSignal(), SIGTERM);
}

TEST_F(AppTest, MasterErrorsAreShownAndAnsweredFalse) {
    DialogRecorder dialogs;
    EXPECT_FALSE(App().RequestHasFailed("disk full"));
    ASSERT_EQ(dialogs.m_Shown.size(), 1u);
    EXPECT_EQ(dialogs.m_Shown[0].title, wxFromString(App().GetName())); // the program's name
    EXPECT_EQ(dialogs.m_Shown[0].message, "Master reports error:\ndisk full");
    // Reported from another thread: shown later on the GUI thread.
    std::thread([] { App().RequestHasFailed("later"); }).join();
    EXPECT_TRUE(WaitFor([&] { return dialogs.m_Shown.size() == 2; }));
    EXPECT_EQ(dialogs.m_Shown[1].message, "Master reports error:\nlater");
    // "RequestFailed" is the key under which the user silences these boxes.
    App().GetOptions()->SetValue("Confirm", "RequestFailed", "1");
    EXPECT_FALSE(App().RequestHasFailed("silenced"));
    EXPECT_EQ(dialogs.m_Shown.size(), 2u);
}

} // namespace
