// The application base: start and exit, the failure box, the log bridge, the main loop
// surviving exceptions, Control+Shift+C and activation, and closes from outside.
#include "tests/wxTaviro/AppFixture.h"

#include <taviro/ThreadPool.h>

#include <wx/renderer.h>
#include <wx/tooltip.h>

#include <csignal>
#include <dlfcn.h>
#include <thread>

using namespace taviro_test;

wxAppConsole* taviro_test::CreateTestApp() {
    return new TestTaviroApp;
}

namespace {

// The toolkit keeps the tooltip settings in GTK's settings object: read them back there.
int GtkSetting(const char* name) {
    auto getDefault = (void* (*)())dlsym(RTLD_DEFAULT, "gtk_settings_get_default");
    auto get = (void (*)(void*, const char*, ...))dlsym(RTLD_DEFAULT, "g_object_get");
    int value = -1;
    if (getDefault && get) get(getDefault(), name, &value, nullptr);
    return value;
}

TEST_F(AppTest, ToolkitLogRecordsReachTheFarmLogAtTheirLevels) {
    wxLogWarning("record!");
    EXPECT_NE(LogText().find("] WARNING wxWidgets 3.1.0: record!\n"), String::npos);
    const std::pair<wxLogLevel, int> cases[] = {
        {wxLOG_FatalError, 0}, {wxLOG_Error, 1}, {wxLOG_Warning, 3}, {wxLOG_Message, 4},
        {wxLOG_Status, 4},     {wxLOG_Info, 5},  {wxLOG_Debug, 6},   {wxLOG_Trace, 6},
        {wxLOG_Progress, 5},   {wxLOG_User, 5},  {wxLOG_User + 7, 5}};
    for (const auto& c : cases)
        EXPECT_EQ(wxTaviroLog::MapLevel(c.first), c.second) << "wx level " << c.first;
}

TEST_F(AppTest, ExitUndoesTheStartAndAFailedStartIsShownAndCleanedUp) {
    Stop();
    std::string seen; // s: start-up complete, e: exit begins, d: shutdown complete (done)
    const SlotId a = App().StartupComplete.Connect([&] { seen += 's'; });
    const SlotId b = App().ExitBegins.Connect([&] { seen += 'e'; });
    const SlotId c = App().ShutdownComplete.Connect([&] { seen += 'd'; });
    wxToolTip::Enable(false);
    wxToolTip::SetDelay(1);
    ASSERT_TRUE(Start());
    EXPECT_EQ(GtkSetting("gtk-enable-tooltips"), 1);
    EXPECT_EQ(GtkSetting("gtk-tooltip-timeout"), 330);
    wxOpenUserWindow(new wxFrame(nullptr, wxID_ANY, "registered"), "group");
    Stop();
    EXPECT_EQ(seen, "sed");
    EXPECT_TRUE(OpenWindows::_this->GetEntries().empty());
    EXPECT_EQ(App().ConnectedSignalCount() + MessengerConnectedEvt::s_Signal.ConnectionCount(), 0u);

    DialogRecorder dialogs;
    // An unknown option fails before the client has a name: argv[0] stands in for it.
    EXPECT_FALSE(App().RealOnInit({"/opt/taviro/bin/failing-app", "--no-such-option"}));
    ASSERT_EQ(dialogs.m_Shown.size(), 1u);
    EXPECT_EQ(dialogs.m_Shown[0].first, "Startup Error");
    // The reason first, then the advice.
    EXPECT_EQ(dialogs.m_Shown[0].second,
              wxFromString(App().GetStartupError()) + "\n\n" +
              "/opt/taviro/bin/failing-app failed to start:\n\nPlease check the following:\n1. "
              "Taviro is correctly installed and all libraries and modules are accessible\n\n2. "
              "The current user '" +
                  wxFromString(Platform::GetCurrentUserName()) +
                  "' has permission to create and delete log files in the folder:\n" +
                  wxFromString(App().GetLogFolder()) +
                  "\n\nCheck the startup log file for more information:\n" +
                  wxFromString(Log::s_GlobalLog->GetFileName()));
    EXPECT_EQ(seen, "sedd"); // cleaned up and announced
    // A client that started its pool and then failed: no box (the program asked for none),
    // the pool stopped again, the options changed during the start written once, after.
    App().SetShowStartupError(false);
    bool poolRan = false, writtenDuringStart = true;
    const String options = m_Dir + "/apptest.ini";
    App().m_AfterStartup = [&](bool ok) {
        poolRan = ok && ThreadPool::IsReady();
        App().GetOptions()->SetValue("State", "a", "1");
        App().GetOptions()->SetValue("State", "b", "2");
        writtenDuringStart = File::Exists(options);
        return false;
    };
    EXPECT_FALSE(App().RealOnInit({"/opt/taviro/bin/apptest", "--name", "apptest", "--master",
                                   "none", "--workers", "2", "--options", options}));
    App().m_AfterStartup = nullptr;
    EXPECT_EQ(dialogs.m_Shown.size(), 1u);
    EXPECT_TRUE(poolRan && !ThreadPool::IsReady()); // cleaned up
    EXPECT_FALSE(writtenDuringStart);
    EXPECT_EQ(File::ReadAll(options), "[State]\na=1\nb=2\n");
    App().StartupComplete.Disconnect(a);
    App().ExitBegins.Disconnect(b);
    App().ShutdownComplete.Disconnect(c);
}

TEST_F(AppTest, MainLoopRestartsAfterARecoverableException) {
    wxWindow* top = TopWindow();
    int afterwards = 0;
    top->Bind(
        wxEVT_MENU, [](wxCommandEvent&) { throw new Exception(0x1234, "boom"); }, 7001);
    // Queued once the exception is handed over: only a restarted loop can run it.
    App().m_OnException = [&] {
        App().CallAfter([&] {
            ++afterwards;
            App().ExitMainLoop();
        });
    };
    top->GetEventHandler()->QueueEvent(new wxCommandEvent(wxEVT_MENU, 7001));
    EXPECT_EQ(App().OnRun(), 0);
    EXPECT_EQ(App().m_LastExceptionCode, 0x1234u);
    EXPECT_EQ(afterwards, 1);
    // An exception the client does not accept ends the run at once.
    App().m_ExceptionsRecoverable = false;
    top->GetEventHandler()->QueueEvent(new wxCommandEvent(wxEVT_MENU, 7001));
    EXPECT_EQ(App().OnRun(), 0);
    EXPECT_EQ(afterwards, 1);
    PumpEvents(); // the queued exit runs outside any main loop, harmlessly
}

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
    return WaitFor([&] { return w->GetRect() == CentredOn(w, w->GetSize()); }, 3000);
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
    EXPECT_FALSE(SendKey('C')); // consumed
    EXPECT_TRUE(IsScreenCentred(top));

    top->Move(0, 0); // so that centring on the parent would not centre on the screen
    ASSERT_TRUE(WaitFor([&] { return top->GetPosition() == wxPoint(0, 0); }, 3000));
    Activate(other, true);
    EXPECT_FALSE(SendKey('C'));
    EXPECT_TRUE(IsScreenCentred(other));
    EXPECT_TRUE(SendKey('C', false)); // Shift+C alone goes on to the window
    other->Destroy();                 // its record goes with it
    ASSERT_TRUE(WaitFor([&] { return wxTopLevelWindows.GetCount() == 1; }));
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), nullptr);
}

TEST_F(AppTest, EndOfSessionShutdownAndSigtermPostAVetoableCloseToTheTopWindow) {
    int closes = 0;
    bool canVeto = true, onMainThread = true;
    TopWindow()->Bind(wxEVT_CLOSE_WINDOW, [&](wxCloseEvent& e) {
        ++closes;
        canVeto = canVeto && e.CanVeto();
        onMainThread = onMainThread && wxThread::IsMain();
        e.Veto(); // the window stays for the next check
    });
    wxCloseEvent query(wxEVT_QUERY_END_SESSION);
    App().ProcessEvent(query);
    EXPECT_FALSE(query.GetVeto());
    EXPECT_EQ(closes, 0); // posted, not sent
    EXPECT_TRUE(WaitFor([&] { return closes == 1; }));
    std::thread([] { App().ReceiveMessage(boost::shared_ptr<Message>(new ShutdownMsg())); }).join();
    EXPECT_TRUE(WaitFor([&] { return closes == 2; }));
    EXPECT_NE(LogText().find("] SYSTEM  Received Shutdown request"), String::npos);
    raise(SIGTERM); // handled on the foundation's signal thread
    EXPECT_TRUE(WaitFor([&] { return closes == 3; }));
    EXPECT_TRUE(canVeto && onMainThread);
    // Only a stop (signal 0) of an application that processes messages posts a close; fresh
    // executables, so that the base's stop flag tells whether the base ran.
    wxTaviroExecutable other(&App()), disabled(&App());
    EXPECT_EQ(other.Signal(SIGUSR1), 0);
    App().DisableMessageProcessing();
    EXPECT_EQ(disabled.Signal(0), 0);
    App().EnableMessageProcessing();
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(closes, 3);
    EXPECT_FALSE(other.IsStopRequested());
    EXPECT_TRUE(disabled.IsStopRequested());
}

TEST(AppTraits, TheThemedRendererDelegatesToTheGenericOne) {
    std::unique_ptr<wxAppTraits> traits(App().CreateTraits());
    std::unique_ptr<wxRendererNative> themed(traits->CreateRenderer());
    auto header = [](wxRendererNative& r) {
        return RenderToImage(80, 30, [&](wxDC& dc) {
            r.DrawHeaderButton(TopWindow(), dc, wxRect(2, 2, 76, 26), wxCONTROL_CURRENT);
        });
    };
    auto same = [](const wxImage& a, const wxImage& b) {
        return memcmp(a.GetData(), b.GetData(), (size_t)a.GetWidth() * a.GetHeight() * 3) == 0;
    };
    const wxImage generic = header(wxRendererNative::GetGeneric());
    ASSERT_FALSE(same(generic, header(wxRendererNative::GetDefault()))); // they can be told apart
    EXPECT_TRUE(same(header(*themed), generic));
}

TEST_F(AppTest, MasterErrorsAreShownOnTheGuiThreadAndAnsweredFalse) {
    DialogRecorder dialogs;
    EXPECT_FALSE(App().RequestHasFailed("disk full"));
    std::thread([] { App().RequestHasFailed("disk full"); }).join(); // shown on the GUI thread
    EXPECT_TRUE(WaitFor([&] { return dialogs.m_Shown.size() == 2; }));
    for (const auto& shown : dialogs.m_Shown)
        EXPECT_EQ(shown, std::make_pair(wxString("apptest"),
                                        wxString("Master reports error:\ndisk full")));
    // "RequestFailed" is the key under which the user silences these boxes; still logged.
    App().GetOptions()->SetValue("Confirm", "RequestFailed", "1");
    EXPECT_FALSE(App().RequestHasFailed("silenced"));
    EXPECT_EQ(dialogs.m_Shown.size(), 2u);
    EXPECT_NE(LogText().find("Master reports error:\nsilenced"), String::npos);
}

} // namespace
