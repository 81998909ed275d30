// The application base: start-up (success, the failure box, the options file written once),
// the log bridge, the main loop surviving exceptions, exit, the keyboard hook, activation,
// the end of the session and process signals.
#include "tests/wxTaviro/AppFixture.h"

#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/Log.h>
#include <taviro/ThreadPool.h>

#include <wx/display.h>

#include <csignal>

using namespace taviro_test;

wxAppConsole* taviro_test::CreateTestApp() {
    return new TestTaviroApp;
}

namespace {

TEST(AppLog, LevelTableAndPrefix) {
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_FatalError), 0);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Error), 1);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Warning), 3); // level 2 is skipped on purpose
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Message), 4);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Status), 4);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Info), 5);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Debug), 6);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Trace), 6);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_Progress), 5);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_User), 5);
    EXPECT_EQ(wxTaviroLog::MapLevel(wxLOG_User + 7), 5);
}

TEST_F(AppTest, ToolkitLogRecordsReachTheFarmLogWithTheirLevels) {
    // OnInit made the bridge the active target and announced it.
    const String file = Log::s_GlobalLog->GetFileName();
    ASSERT_EQ(file, m_Dir + "/logs/apptest.log");
    wxLogGeneric(wxLOG_Warning, "a warning");
    wxLogGeneric(wxLOG_Trace, "a trace");
    wxLogGeneric(wxLOG_User, "a user record");
    const String text = File::ReadAll(file);
    EXPECT_NE(text.find("MESSAGE wxWidgets 3.1.0: Set wxLog to use Ostrum Log"), String::npos)
        << text;
    EXPECT_NE(text.find("WARNING wxWidgets 3.1.0: a warning"), String::npos) << text;
    EXPECT_NE(text.find("DEBUG   wxWidgets 3.1.0: a trace"), String::npos) << text;
    EXPECT_NE(text.find("INFO    wxWidgets 3.1.0: a user record"), String::npos) << text;
}

TEST_F(AppTest, FailedStartupShowsTheBoxCleansUpAndAnnouncesShutdown) {
    App().OnExit();
    m_Started = false;
    int shutdowns = 0;
    const SlotId id = App().ShutdownComplete.Connect([&] { ++shutdowns; });
    DialogRecorder dialogs;
    // An unknown option fails before the client has a name: argv[0] stands in for it.
    EXPECT_FALSE(App().RealOnInit({"/opt/taviro/bin/failing-app", "--no-such-option"}));
    ASSERT_EQ(dialogs.m_Shown.size(), 1u);
    EXPECT_EQ(dialogs.m_Shown[0].title, "Startup Error");
    const wxString expected = wxString::Format(
        "%s failed to start:\n\nPlease check the following:\n1. Taviro is correctly installed and "
        "all "
        "libraries and modules are accessible\n\n2. The current user '%s' has permission to create "
        "and delete log files in the folder:\n%s\n\nCheck the startup log file for more "
        "information:\n%s",
        "/opt/taviro/bin/failing-app", wxFromString(Platform::GetCurrentUserName()),
        wxFromString(App().GetLogFolder()), wxFromString(Log::s_GlobalLog->GetFileName()));
    // The fixed text, then the reason; the folder and the log file are named.
    EXPECT_TRUE(dialogs.m_Shown[0].message.StartsWith(expected + "\n\n"));
    EXPECT_NE(dialogs.m_Shown[0].message.Find("--no-such-option"), wxNOT_FOUND);
    EXPECT_FALSE(App().GetLogFolder().empty() || Log::s_GlobalLog->GetFileName().empty());
    EXPECT_EQ(shutdowns, 1);
    EXPECT_NE(App().GetStartupError().find("--no-such-option"), String::npos);

    // A program that clears the flag fails silently.
    App().SetShowStartupError(false);
    EXPECT_FALSE(App().RealOnInit({"/opt/taviro/bin/failing-app", "--no-such-option"}));
    EXPECT_EQ(dialogs.m_Shown.size(), 1u);
    EXPECT_EQ(shutdowns, 2);
    App().SetShowStartupError(true);
    App().ShutdownComplete.Disconnect(id);
}

TEST_F(AppTest, OptionsAreWrittenOnceAfterStartupEvenWhenItFails) {
    const String options = m_Dir + "/second.ini";
    DialogRecorder dialogs;
    App().OnExit();
    m_Started = false;
    bool duringStart = true;
    App().m_AfterStartup = [&](bool) {
        App().GetOptions()->SetValue("State", "a", "1");
        App().GetOptions()->SetValue("State", "b", "2");
        duringStart = File::Exists(options);
        return false; // fail after changing the options
    };
    EXPECT_FALSE(App().RealOnInit(
        {"/x/apptest", "--master", "none", "--log-dir", m_Dir, "--options", options}));
    EXPECT_FALSE(duringStart);
    EXPECT_EQ(File::ReadAll(options), "[State]\na=1\nb=2\n"); // written once the pause ended

    // With an outer pause still active, the start writes nothing.
    const String third = m_Dir + "/third.ini";
    App().m_AfterStartup = [&](bool) {
        App().GetOptions()->PauseAutoWrite(true); // the outer pause, left open
        App().GetOptions()->SetValue("State", "c", "3");
        return false;
    };
    EXPECT_FALSE(App().RealOnInit(
        {"/x/apptest", "--master", "none", "--log-dir", m_Dir, "--options", third}));
    EXPECT_FALSE(File::Exists(third));
    App().GetOptions()->PauseAutoWrite(false);
    EXPECT_EQ(File::ReadAll(third), "[State]\nc=3\n");
}

TEST_F(AppTest, SuccessfulStartAnnouncesItself) {
    App().OnExit();
    m_Started = false;
    int started = 0, exits = 0, shutdowns = 0;
    const SlotId a = App().StartupComplete.Connect([&] { ++started; });
    const SlotId b = App().ExitBegins.Connect([&] { ++exits; });
    const SlotId c = App().ShutdownComplete.Connect([&] { ++shutdowns; });
    ASSERT_TRUE(Start({}));
    EXPECT_EQ(started, 1);
    wxOpenUserWindow(new wxFrame(nullptr, wxID_ANY, "registered"), "group");
    ASSERT_EQ(OpenWindows::_this->GetEntries().size(), 1u);
    EXPECT_EQ(App().GetName(), "apptest");
    EXPECT_EQ(wxLog::GetActiveTarget() != nullptr &&
                  dynamic_cast<wxTaviroLog*>(wxLog::GetActiveTarget()) != nullptr,
              true);
    App().OnExit();
    m_Started = false;
    EXPECT_EQ(exits, 1);
    EXPECT_EQ(shutdowns, 1);
    EXPECT_TRUE(OpenWindows::_this->GetEntries().empty()); // the registry was cleared
    // OnExit dropped every connection of the application, the test's ones included.
    EXPECT_EQ(App().ConnectedSignalCount(), 0u);
    EXPECT_EQ(MessengerConnectedEvt::s_Signal.ConnectionCount(), 0u);
    EXPECT_EQ(MessageReceivedEvt::s_Signal.ConnectionCount(), 0u);
    App().StartupComplete.Disconnect(a);
    App().ExitBegins.Disconnect(b);
    App().ShutdownComplete.Disconnect(c);
}

TEST(AppTraits, CreateTheThemedRendererOverTheGenericOne) {
    std::unique_ptr<wxAppTraits> traits(App().CreateTraits());
    ASSERT_TRUE(dynamic_cast<wxsTraits*>(traits.get()));
    std::unique_ptr<wxRendererNative> renderer(traits->CreateRenderer());
    EXPECT_TRUE(dynamic_cast<wxsRenderer*>(renderer.get()));
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
    App().m_OnException = nullptr;
    App().m_ExceptionsRecoverable = true;
    PumpEvents(); // the queued exit runs outside any main loop, harmlessly
}

// ---- keyboard and activation ----

wxKeyEvent CtrlShift(int key) {
    wxKeyEvent e(wxEVT_CHAR_HOOK);
    e.m_keyCode = key;
    e.SetControlDown(true);
    e.SetShiftDown(true);
    return e;
}

void Activate(wxWindow* w, bool active) {
    wxActivateEvent e(wxEVT_ACTIVATE, active);
    e.SetEventObject(w);
    App().ProcessEvent(e);
}

wxPoint ScreenCentredPosition(wxWindow* w) {
    const wxRect area = wxDisplay((unsigned)std::max(0, wxDisplay::GetFromWindow(w))).GetGeometry();
    const wxSize s = w->GetSize();
    return wxPoint(area.x + (area.width - s.x) / 2, area.y + (area.height - s.y) / 2);
}

TEST_F(AppTest, ControlShiftCCentresTheActiveWindowOrElseTheTopWindow) {
    wxFrame* top = TopWindow();
    top->SetSize(0, 0, 500, 300);
    auto* other = new wxDialog(top, wxID_ANY, "active", wxDefaultPosition, wxSize(300, 200));
    other->Show();
    PumpEvents();
    other->Move(5, 5);
    ASSERT_TRUE(WaitFor([&] { return other->GetPosition() == wxPoint(5, 5); }, 3000));

    // No recorded window: the top window.
    Activate(top, false);
    ASSERT_EQ(wxTaviroApp::GetActiveWindow(), nullptr);
    wxKeyEvent key = CtrlShift('C');
    App().ProcessEvent(key);
    EXPECT_FALSE(key.GetSkipped()); // consumed
    EXPECT_TRUE(WaitFor([&] { return top->GetPosition() == ScreenCentredPosition(top); }, 3000))
        << top->GetPosition().x << "," << top->GetPosition().y;
    EXPECT_EQ(other->GetPosition(), wxPoint(5, 5));

    // An active dialog: the dialog.
    Activate(other, true);
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), other);
    wxKeyEvent again = CtrlShift('C');
    App().ProcessEvent(again);
    EXPECT_TRUE(
        WaitFor([&] { return other->GetPosition() == ScreenCentredPosition(other); }, 3000));

    // Other keys go on to the window.
    wxKeyEvent plain = CtrlShift('D');
    App().ProcessEvent(plain);
    EXPECT_TRUE(plain.GetSkipped());
    wxKeyEvent noShift(wxEVT_CHAR_HOOK);
    noShift.m_keyCode = 'C';
    noShift.SetControlDown(true);
    App().ProcessEvent(noShift);
    EXPECT_TRUE(noShift.GetSkipped());
}

TEST_F(AppTest, DeactivatingAnotherWindowKeepsTheActiveOne) {
    wxFrame* top = TopWindow();
    auto* other = new wxFrame(nullptr, wxID_ANY, "other");
    Activate(top, true);
    Activate(other, false);
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), top);
    Activate(top, false);
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), nullptr);
    // A destroyed active window is not used later.
    Activate(other, true);
    other->Destroy();
    ASSERT_TRUE(WaitFor([&] { return wxTopLevelWindows.GetCount() == 1; }));
    top->SetSize(10, 10, 400, 300);
    wxKeyEvent key = CtrlShift('C');
    App().ProcessEvent(key);
    EXPECT_TRUE(WaitFor([&] { return top->GetPosition() == ScreenCentredPosition(top); }, 3000));
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

TEST_F(AppTest, EndOfSessionPostsACloseToTheTopWindow) {
    CloseCounter closes(TopWindow());
    wxCloseEvent query(wxEVT_QUERY_END_SESSION);
    App().ProcessEvent(query);
    EXPECT_FALSE(query.GetVeto());
    EXPECT_EQ(closes.count, 0); // posted, not sent
    EXPECT_TRUE(WaitFor([&] { return closes.count == 1; }));
    EXPECT_TRUE(closes.canVeto);
}

TEST_F(AppTest, ShutdownOrderFromAnotherThreadClosesThroughTheEventQueue) {
    CloseCounter closes(TopWindow());
    std::thread messenger(
        [] { App().ReceiveMessage(boost::shared_ptr<Message>(new ShutdownMsg())); });
    messenger.join();
    EXPECT_TRUE(WaitFor([&] { return closes.count == 1; }));
    EXPECT_TRUE(closes.onMainThread);

    // With message processing disabled only the base executable hears it.
    App().DisableMessageProcessing();
    std::thread again([] { App().ReceiveMessage(boost::shared_ptr<Message>(new ShutdownMsg())); });
    again.join();
    PumpEvents(5);
    EXPECT_EQ(closes.count, 1);
    EXPECT_TRUE(wxTaviroApp::GetExecutable()->IsStopRequested());
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
    EXPECT_EQ(dialogs.m_Shown[0].message, "Master reports error:\ndisk full");
    // Reported from another thread: shown later on the GUI thread.
    std::thread worker([] { App().RequestHasFailed("later"); });
    worker.join();
    EXPECT_TRUE(WaitFor([&] { return dialogs.m_Shown.size() == 2; }));
    EXPECT_EQ(dialogs.m_Shown[1].message, "Master reports error:\nlater");
}

} // namespace
