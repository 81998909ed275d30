// The application base and the messenger bridge.
//
// Sections: event types and helpers; wxTaviroLog; wxTaviroExecutable; wxsTraits;
// wxTaviroApp: construction, start, run, exit; messenger bridge; event handlers.
#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxConfirmDlg.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroDlg.h>

#include <ostrum/CallTrace.h>
#include <ostrum/Log.h>
#include <taviro/ThreadPool.h>

#include <wx/display.h>
#include <wx/evtloop.h>
#include <wx/generic/msgdlgg.h>
#include <wx/translation.h>

#include <chrono>
#include <clocale>
#include <wx/sysopt.h>
#include <wx/tooltip.h>
#include <wx/weakref.h>

// ---- event types and helpers ----

// In this order, once.
const wxEventType wxTAVIRO_MESSAGE_EVENT = wxNewEventType();
const wxEventType wxTAVIRO_CONNECT_EVENT = wxNewEventType();
const wxEventType wxTAVIRO_DISCONNECT_EVENT = wxNewEventType();

namespace {
// The registered application: written on the GUI thread, read by the messenger's threads
// without a lock (atomic only so that the read is well-defined).
std::atomic<wxTaviroApp*> g_Registered{nullptr};
wxTaviroExecutable* g_Executable = nullptr;
wxWeakRef<wxWindow> g_ActiveWindow; // weak: cleared when that window is destroyed
// Set once a stop has posted a close to the top window, so that it is posted only once.
std::atomic<bool> g_ClosePosted{false};

// A modal loop runs above the main loop: a modal dialog of ours, a file dialog, a prompt.
bool InModalLoop() {
    const wxEventLoopBase* active = wxEventLoopBase::GetActive();
    const wxEventLoopBase* main = wxTheApp ? wxTheApp->GetMainLoop() : nullptr;
    if (active && main && active != main) return true;
    for (wxWindow* w : wxTopLevelWindows)
        if (auto* d = dynamic_cast<wxDialog*>(w); d && d->IsModal()) return true;
    return false;
}

// Ends every modal dialog's loop as a Cancel would (ours answer 0 to that).
void EndModalLoops() {
    for (wxWindow* w : wxTopLevelWindows)
        if (auto* d = dynamic_cast<wxDialog*>(w); d && d->IsModal())
            d->EndModal(dynamic_cast<wxTaviroDlg*>(d) ? 0 : wxID_CANCEL);
}

// Retries a close of the top window that came while a modal loop ran, once the loops are
// gone. A timer, not a posted event: the modal loop must get its turn to return first.
class _DeferredClose : public wxTimer {
public:
    void Notify() override {
        wxWindow* top = wxTheApp ? wxTheApp->GetTopWindow() : nullptr;
        if (!top) return;
        wxCloseEvent close(wxEVT_CLOSE_WINDOW, top->GetId());
        close.SetEventObject(top);
        close.SetCanVeto(m_CanVeto);
        top->GetEventHandler()->AddPendingEvent(close);
    }
    bool m_CanVeto = true;
};
_DeferredClose* g_DeferredClose = nullptr;

// Message events owed to the GUI thread: counted by the messenger's threads, handed out by the
// application's idle handler in turns of at most k_MessageTurnMs, so that input and painting
// (which GTK serves before idle work) never wait behind a backlog of farm messages.
std::atomic<uint64_t> g_MessageEvents{0};
constexpr int k_MessageTurnMs = 8;
// The least time between two rounds of update-UI events.
constexpr long k_UpdateUIMs = 100;

// Settings readers of windows built before the options file was loaded.
bool g_OptionsLoaded = false;
std::vector<std::pair<wxWeakRef<wxWindow>, std::function<void()>>> g_OptionReaders;

bool IsTopLevel(wxWindow* w) {
    for (wxWindow* t : wxTopLevelWindows)
        if (t == w) return true;
    return false;
}

// Messenger threads never touch a window: a window may be in its destructor on the GUI thread
// at that very moment. The hand-over goes through the application object, which outlives every
// farm slot (OnExit disconnects them), and the GUI thread gives the event to the top window of
// the moment (or to the application itself when there is none any more).
void PostCommand(wxEventType type) {
    if (!wxTheApp) return;
    wxTheApp->CallAfter([type] {
        wxCommandEvent e(type, 0);
        if (wxWindow* top = wxTheApp->GetTopWindow())
            top->GetEventHandler()->ProcessEvent(e);
        else
            wxTheApp->ProcessEvent(e);
    });
}
} // namespace

// ---- wxTaviroLog ----

LogLevel wxTaviroLog::MapLevel(wxLogLevel level) {
    switch (level) {
    case wxLOG_FatalError:
        return (LogLevel)0;
    case wxLOG_Error:
        return (LogLevel)1;
    case wxLOG_Warning:
        return (LogLevel)3;
    case wxLOG_Message:
        return (LogLevel)4;
    case wxLOG_Status:
        return (LogLevel)4;
    case wxLOG_Info:
        return (LogLevel)5;
    case wxLOG_Debug:
        return (LogLevel)6;
    case wxLOG_Trace:
        return (LogLevel)6;
    default:
        return (LogLevel)5;
    }
}

void wxTaviroLog::DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo&) {
    CALL_ENTRY("wxTaviroLog::DoLogRecord");
    GlobalLog(MapLevel(level), "wxWidgets 3.1.0: " + wxToString(msg));
}

// ---- wxTaviroExecutable ----

int wxTaviroExecutable::Signal(int sig) {
    CALL_ENTRY("wxTaviroExecutable::Signal");
    const int result = Executable::Signal(sig);
    if (sig == 0 && g_Registered.load() && wxTheApp) {
        if (wxWindow* top = wxTheApp->GetTopWindow()) {
            // Posted, never processed here: this may run on any thread.
            wxCloseEvent close(wxEVT_CLOSE_WINDOW, top->GetId());
            close.SetEventObject(top);
            top->GetEventHandler()->AddPendingEvent(close);
            g_ClosePosted = true;
        }
    }
    return result;
}

// ---- wxsTraits ----

wxRendererNative* wxsTraits::CreateRenderer() {
    CALL_ENTRY("wxsTraits::CreateRenderer");
    // The generic renderer, not the native one, so themed drawing looks alike everywhere.
    return new wxsRenderer(wxRendererNative::GetGeneric());
}

// ---- wxTaviroApp: construction, start, run, exit ----

wxBEGIN_EVENT_TABLE(wxTaviroApp, wxApp)
    EVT_COMMAND(wxID_ANY, wxTAVIRO_MESSAGE_EVENT, wxTaviroApp::OnMessage)
    EVT_QUERY_END_SESSION(wxTaviroApp::_EndSession)
    EVT_CHAR_HOOK(wxTaviroApp::KeyboardHook)
wxEND_EVENT_TABLE()

// The library's catalog was added (once per process is enough).
static bool s_LibraryAdded = false;

wxTaviroApp::wxTaviroApp(LogLevel fileLevel, LogLevel echoLevel)
    : TaviroClientApp(fileLevel, echoLevel) {
    CALL_ENTRY("wxTaviroApp::wxTaviroApp");
    // A static member function cannot sit in the event table; bound here instead.
    Bind(wxEVT_ACTIVATE, &wxTaviroApp::ActivateEvent);
    Bind(wxEVT_IDLE, &wxTaviroApp::_DeliverMessageEvents, this);
    g_Executable = new wxTaviroExecutable(this);
    Executable::SetCurrent(g_Executable);
    Executable::InstallSignalHandlers();
    EnableMessageProcessing();
    m_ShowStartupError = true;
    static wxLocale s_Locale(wxLANGUAGE_DEFAULT, wxLOCALE_LOAD_DEFAULT);
    // Numbers keep the "C" format whatever the user's language: the farm's texts, the options
    // and the colour files are written and parsed in it.
    setlocale(LC_NUMERIC, "C");
}

wxTaviroApp::~wxTaviroApp() {
    CALL_ENTRY("wxTaviroApp::~wxTaviroApp");
    DisableMessageProcessing();
    Executable::SetCurrent(nullptr);
    delete g_Executable;
    g_Executable = nullptr;
}

int wxTaviroApp::PreInit(int argc, char** argv, const String& ownOptions) {
    CALL_ENTRY("wxTaviroApp::PreInit");
    Executable::InstallSignalHandlers();
    for (int i = 1; i < argc && String(argv[i]) != "--"; ++i) {
        if (String(argv[i]) != "--help") continue;
        const String program = CommandLine(argc, argv).GetProgramName();
        printf("Usage: %s [options]\n%s%s", program.c_str(), TaviroClientApp::Usage().c_str(),
               ownOptions.c_str());
        fflush(stdout);
        return 0;
    }
    return -1;
}

bool wxTaviroApp::Initialize(int& argcIn, wxChar** argvIn) {
    CALL_ENTRY("wxTaviroApp::Initialize");
    const std::vector<wxString> original(argvIn, argvIn + argcIn);
    if (!wxApp::Initialize(argcIn, argvIn)) return false;
    // GTK takes "--name VALUE" and "--name=VALUE" out as its own; the farm client's name
    // option goes back where it was (into the caller's array, from which the application's
    // arguments are taken next). What else the toolkit took stays its own.
    static std::vector<std::wstring> s_Kept; // the array's entries must outlive start-up
    s_Kept.clear();
    for (size_t i = 0, left = 0; i < original.size(); ++i) {
        if ((int)left < argcIn && original[i] == argvIn[left]) {
            s_Kept.push_back(original[i].ToStdWstring());
            ++left;
        } else if (original[i] == "--name" && i + 1 < original.size()) {
            s_Kept.push_back(original[i].ToStdWstring());
            s_Kept.push_back(original[++i].ToStdWstring());
        } else if (original[i].StartsWith("--name=")) {
            s_Kept.push_back(original[i].ToStdWstring());
        }
    }
    argcIn = (int)s_Kept.size(); // never more than there were
    for (int i = 0; i < argcIn; ++i)
        argvIn[i] = &s_Kept[(size_t)i][0];
    argvIn[argcIn] = nullptr;
    argc = argcIn;
    argv.Init(argc, argvIn);
    return true;
}

void wxTaviroApp::SetArguments(const std::vector<String>& args) {
    CALL_ENTRY("wxTaviroApp::SetArguments");
    m_Args = args;
    m_ArgPointers.clear();
    for (String& a : m_Args)
        m_ArgPointers.push_back(&a[0]);
    m_ArgPointers.push_back(nullptr);
    argc = (int)m_Args.size();
    argv.Init(argc, m_ArgPointers.data());
}

void wxTaviroApp::OnEventLoopEnter(wxEventLoopBase* loop) {
    CALL_ENTRY("wxTaviroApp::OnEventLoopEnter");
    if (!loop || !loop->IsMain() || !g_Executable || !g_Executable->IsStopRequested()) return;
    if (g_ClosePosted) return; // the close is already on its way
    LogSystem("A stop came during start-up: closing now");
    if (wxWindow* top = GetTopWindow()) {
        wxCloseEvent close(wxEVT_CLOSE_WINDOW, top->GetId());
        close.SetEventObject(top);
        top->GetEventHandler()->AddPendingEvent(close);
        g_ClosePosted = true;
    } else {
        ExitMainLoop();
    }
}

bool wxTaviroApp::AddTranslations(const String& domain) {
    CALL_ENTRY("wxTaviroApp::AddTranslations");
    static bool s_PathsAdded = false;
    if (!s_PathsAdded) {
        s_PathsAdded = true;
        wxFileTranslationsLoader::AddCatalogLookupPathPrefix(TAVIRO_INSTALLED_LOCALE_DIR);
        wxFileTranslationsLoader::AddCatalogLookupPathPrefix(TAVIRO_BUILD_LOCALE_DIR);
    }
    // The application's locale made one, with wx's own catalog; a program without it gets one.
    wxTranslations* translations = wxTranslations::Get();
    if (!translations) {
        translations = new wxTranslations;
        wxTranslations::Set(translations);
        translations->AddStdCatalog();
    }
    if (domain != "wxTaviro" && !s_LibraryAdded) AddTranslations("wxTaviro");
    const bool found = translations->AddCatalog(wxFromString(domain));
    if (domain == "wxTaviro") s_LibraryAdded = true;
    LogDebug("Translations of " + domain + (found ? " loaded" : " not found"));
    return found;
}

bool wxTaviroApp::OnInit() {
    CALL_ENTRY("wxTaviroApp::OnInit");
    // First: the toolkit's records carry a fixed "wxWidgets 3.1.0" tag, whatever is linked.
    LogInfo(SFormat("Running on %s (runtime %d.%d.%d)", wxToString(wxVERSION_STRING).c_str(),
                    wxGetLibraryVersionInfo().GetMajor(), wxGetLibraryVersionInfo().GetMinor(),
                    wxGetLibraryVersionInfo().GetMicro()));
    wxLog::SetActiveTarget(new wxTaviroLog);
    wxLogStatus("Set wxLog to use Ostrum Log");

    ShutdownMsg::s_Signal.Connect(this, &wxTaviroApp::OnShutdownMsg);
    MessageReceivedEvt::s_Signal.Connect(this, &wxTaviroApp::_CheckReceive);
    MessengerConnectedEvt::s_Signal.Connect(this, &wxTaviroApp::_Connect);
    MessengerDisconnectedEvt::s_Signal.Connect(this, &wxTaviroApp::_Disconnect);

    if (!s_LibraryAdded) AddTranslations("wxTaviro");
    wxSystemOptions::SetOption("msw.notebook.themed-background", 0);
    // wx sends update-UI events to every window after every event; with farm messages waking
    // the loop hundreds of times a second that walk was a fifth of the GUI thread. Ten times a
    // second is still immediate to the eye (a menu is brought up to date when it opens).
    wxUpdateUIEvent::SetUpdateInterval(k_UpdateUIMs);
    // Requests from the suite's other programs are GUI work: run them on this thread.
    SetMainThreadExecutor([](std::function<void()> task) {
        if (wxTheApp) wxTheApp->CallAfter(task);
    });

    std::vector<String> args;
    for (int i = 0; i < argc; ++i)
        args.push_back(wxToString(argv[i]));
    CommandLine commandLine(args);

    OptionsFile* options =
        Application::the_Application ? Application::the_Application->GetOptions() : nullptr;
    bool started;
    {
        OptionsFile::Pause pause(options); // one write at the end, success or not
        started = Startup(commandLine);
    }
    if (started) {
        wxToolTip::Enable(true);
        wxToolTip::SetAutoPop(10000);
        wxToolTip::SetDelay(330);
        wxToolTip::SetReshow(0);
        g_OptionsLoaded = true;
        auto readers = std::move(g_OptionReaders);
        g_OptionReaders.clear();
        for (auto& r : readers)
            if (r.first) r.second();
        StartupComplete.Emit();
        if (!GetStartupWarning().empty()) {
            const wxString warning = wxFromString(GetStartupWarning());
            CallAfter([warning] {
                wxTaviroMessageBox(warning, "OptionsUnusable", wxTheApp->GetTopWindow());
            });
        }
        return true;
    }
    if (m_ShowStartupError && !IsHelpShown()) _ReportStartupError();
    Cleanup();
    ShutdownComplete.Emit();
    return false;
}

void wxTaviroApp::_ReportStartupError() {
    const String name = GetName().empty() ? wxToString(argc > 0 ? argv[0] : wxString()) : GetName();
    const wxString text = wxString::Format(
        wxGetTranslation(
            "%s failed to start:\n\nPlease check the following:\n1. Taviro is correctly "
            "installed and all libraries and modules are accessible\n\n2. The current "
            "user '%s' has permission to create and delete log files in the folder:\n%s"
            "\n\nCheck the startup log file for more information:\n%s"),
        wxFromString(name), wxFromString(Platform::GetCurrentUserName()),
        wxFromString(GetLogFolder()), wxFromString(Log::s_GlobalLog->GetFileName()));
    // The real reason leads; the general advice follows it.
    const String reason = GetStartupError();
    const wxString shown = reason.empty() ? text : wxFromString(reason) + "\n\n" + text;
    // wx's own dialog, not the native box: its loop can be ended when a stop comes (SIGTERM,
    // SIGINT, the end of the session), which the box watches for.
    wxGenericMessageDialog box(nullptr, shown, wxGetTranslation("Startup Error"), wxOK | wxCENTRE);
    wxTimer watch;
    watch.Bind(wxEVT_TIMER, [&box](wxTimerEvent&) {
        if (g_Executable && g_Executable->IsStopRequested() && box.IsModal())
            box.EndModal(wxID_CANCEL);
    });
    watch.Start(100);
    box.ShowModal();
}

int wxTaviroApp::FilterEvent(wxEvent& e) {
    // A close of the main window while a modal dialog runs would free that dialog (a child of
    // the window) under its own loop: the dialogs end first, and the close comes again after.
    if (e.GetEventType() == wxEVT_CLOSE_WINDOW && e.GetEventObject() == GetTopWindow() &&
        InModalLoop()) {
        LogSystem("Closing the modal dialogs before the main window");
        EndModalLoops();
        if (!g_DeferredClose) g_DeferredClose = new _DeferredClose;
        g_DeferredClose->m_CanVeto = static_cast<wxCloseEvent&>(e).CanVeto();
        g_DeferredClose->StartOnce(50);
        return Event_Processed;
    }
    return wxApp::FilterEvent(e);
}

int wxTaviroApp::OnRun() {
    CALL_ENTRY("wxTaviroApp::OnRun");
    for (;;) {
        try {
            return wxAppBase::OnRun();
        } catch (Exception* e) {
            const bool goOn = OnException(e);
            delete e;
            if (!goOn) return 0;
        } catch (...) {
            if (!OnException(nullptr)) return 0;
        }
    }
}

bool wxTaviroApp::OnExceptionInMainLoop() {
    throw;
}

int wxTaviroApp::OnExit() {
    CALL_ENTRY("wxTaviroApp::OnExit");
    g_OptionsLoaded = false; // a window built from now on waits for the next start
    ExitBegins.Emit();
    OpenWindows::_this->Clear();
    int result;
    {
        OptionsFile* options =
            Application::the_Application ? Application::the_Application->GetOptions() : nullptr;
        OptionsFile::Pause pause(options);
        Cleanup();
        result = wxAppBase::OnExit();
    }
    delete g_DeferredClose;
    g_DeferredClose = nullptr;
    // No farm signal reaches the application after this. DisconnectAll holds the slots lock
    // only while it takes the list of signals: holding it across the disconnects would take
    // the locks in the opposite order to Connect and could deadlock with it.
    DisconnectAll();
    ShutdownComplete.Emit();
    return result;
}

int wxTaviroApp::Execute() {
    return 0;
}

bool wxTaviroApp::RequestHasFailed(const String& text) {
    CALL_ENTRY("wxTaviroApp::RequestHasFailed");
    const wxString message = _("Master reports error:") + "\n" + wxFromString(text);
    // Shown on the GUI thread whichever thread reports it; the user may silence it.
    auto show = [message] { wxTaviroMessageBox(message, "RequestFailed", nullptr); };
    if (wxThread::IsMain())
        show();
    else
        CallAfter(show);
    return false;
}

wxAppTraits* wxTaviroApp::CreateTraits() {
    return new wxsTraits;
}

void wxTaviroApp::WhenOptionsLoaded(wxWindow* window, const std::function<void()>& read) {
    CALL_ENTRY("wxTaviroApp::WhenOptionsLoaded");
    read();
    if (!g_OptionsLoaded && dynamic_cast<wxTaviroApp*>(wxTheApp))
        g_OptionReaders.emplace_back(wxWeakRef<wxWindow>(window), read);
}

wxTaviroExecutable* wxTaviroApp::GetExecutable() {
    return g_Executable;
}

// ---- messenger bridge ----

void wxTaviroApp::EnableMessageProcessing() {
    CALL_ENTRY("wxTaviroApp::EnableMessageProcessing");
    g_Registered = dynamic_cast<wxTaviroApp*>(Application::the_Application);
}

void wxTaviroApp::DisableMessageProcessing() {
    CALL_ENTRY("wxTaviroApp::DisableMessageProcessing");
    g_Registered = nullptr;
}

wxTaviroApp* wxTaviroApp::GetRegistered() {
    return g_Registered.load();
}

bool wxTaviroApp::IsMessageProcessingEnabled() const {
    wxTaviroApp* registered = g_Registered.load();
    // Literal: with nothing registered and no application this also answers true.
    return static_cast<Application*>(registered ? static_cast<TaviroClientApp*>(registered)
                                                : nullptr) == Application::the_Application;
}

void wxTaviroApp::ProcessNextMessage() {
    CALL_ENTRY("wxTaviroApp::ProcessNextMessage");
    if (!IsMessageProcessingEnabled()) return;
    if (wxTaviroApp* app = g_Registered.load()) app->DispatchMessage();
}

void wxTaviroApp::OnMessage(wxCommandEvent&) {
    CALL_ENTRY("wxTaviroApp::OnMessage");
    ProcessNextMessage();
}

void wxTaviroApp::_Connect(MessengerConnectedEvt&) {
    CALL_ENTRY("wxTaviroApp::_Connect");
    if (GetTopWindow()) {
        LogDebug("... Messenger Connected: translating to wxTAVIRO_CONNECT_EVENT");
        PostCommand(wxTAVIRO_CONNECT_EVENT);
    } else {
        LogDebug("... Ignoring MessageConnectedEvt because app has no top window");
    }
    wxTaviroDlg::NotifyConnected(true);
}

void wxTaviroApp::_Disconnect(MessengerDisconnectedEvt&) {
    CALL_ENTRY("wxTaviroApp::_Disconnect");
    if (GetTopWindow()) {
        LogDebug("... Messenger Disconnected: translating to wxTAVIRO_DISCONNECT_EVENT");
        PostCommand(wxTAVIRO_DISCONNECT_EVENT);
    } else {
        LogDebug("... Ignoring MessageDisconnectedEvt because app has no top window");
    }
    wxTaviroDlg::NotifyConnected(false);
}

void wxTaviroApp::_CheckReceive(MessageReceivedEvt& e) {
    CALL_ENTRY("wxTaviroApp::_CheckReceive");
    if (!GetTopWindow()) {
        LogDebug("... Ignoring MessageReceivedEvt because app has no top window");
        e.TakeMessage(); // dropped
        return;
    }
    wxTaviroApp* registered = g_Registered.load();
    if (ThreadPool::IsReady() && IsMessageProcessingEnabled() && registered) {
        LogDebug("... Received message: initiating deferred processing");
        registered->CallMessageHandlers(e.TakeMessage());
    } else {
        LogDebug("... Received message: translating to wxTAVIRO_MESSAGE_EVENT");
        // One event per message, as ever; handed over in turns (see _DeliverMessageEvents).
        if (g_MessageEvents.fetch_add(1) == 0 && wxTheApp) wxTheApp->WakeUpIdle();
    }
}

void wxTaviroApp::_DeliverMessageEvents(wxIdleEvent& e) {
    e.Skip();
    if (g_MessageEvents.load() == 0) return;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(k_MessageTurnMs);
    // Each event goes to the top window of the moment (or the application when there is none),
    // as a posted one would, and each dispatches one message through OnMessage.
    do {
        g_MessageEvents.fetch_sub(1);
        wxCommandEvent event(wxTAVIRO_MESSAGE_EVENT, 0);
        if (wxWindow* top = GetTopWindow())
            top->GetEventHandler()->ProcessEvent(event);
        else
            ProcessEvent(event);
    } while (g_MessageEvents.load() > 0 && std::chrono::steady_clock::now() < end);
    if (g_MessageEvents.load() > 0) e.RequestMore(); // the rest after input and painting
}

uint64_t wxTaviroApp::GetUndeliveredMessageEvents() {
    return g_MessageEvents.load();
}

void wxTaviroApp::OnShutdownMsg(const boost::shared_ptr<ShutdownMsg>&) {
    CALL_ENTRY("wxTaviroApp::OnShutdownMsg");
    LogSystem("Received Shutdown request");
    if (g_Executable) g_Executable->Signal(0);
}

// ---- event handlers ----

void wxTaviroApp::_EndSession(wxCloseEvent&) {
    CALL_ENTRY("wxTaviroApp::_EndSession");
    LogSystem("Notified of user request to log out or shut down the system");
    if (g_Executable) g_Executable->Signal(0);
}

void wxTaviroApp::KeyboardHook(wxKeyEvent& e) {
    CALL_ENTRY("wxTaviroApp::KeyboardHook");
    if (e.GetKeyCode() == 67 && e.ControlDown() && e.ShiftDown()) {
        // The recorded window may have gone since; only a live top-level window is used.
        wxWindow* w = g_ActiveWindow && IsTopLevel(g_ActiveWindow.get()) ? g_ActiveWindow.get()
                                                                         : GetTopWindow();
        if (w) w->Centre(wxBOTH | wxCENTRE_ON_SCREEN);
        return;
    }
    e.Skip();
}

void wxTaviroApp::ActivateEvent(wxActivateEvent& e) {
    CALL_ENTRY("wxTaviroApp::ActivateEvent");
    e.Skip();
    wxWindow* w = dynamic_cast<wxWindow*>(e.GetEventObject());
    if (e.GetActive())
        g_ActiveWindow = w;
    else if (w && w == g_ActiveWindow.get())
        g_ActiveWindow = nullptr;
}

wxWindow* wxTaviroApp::GetActiveWindow() {
    return g_ActiveWindow.get();
}
