/// @file
/// The application base of every farm client program, and the bridge from the messenger's
/// threads to the GUI thread.
///
/// Sections: event types; wxTaviroLog; wxTaviroExecutable; wxsTraits; wxTaviroApp.
///
/// The string conversions that used to be declared here live in wxTaviroString.h, which this
/// header still includes.
#pragma once

#include <wxTaviro/wxTaviroString.h>

#include <taviro/ClientApp.h>

#include <ostrum/Executable.h>

#include <wx/apptrait.h>
#include <wx/log.h>
#include <wx/wx.h>

#include <atomic>

// ---- event types ----
/// @addtogroup app
/// @{

/// A farm message is waiting in the client's queue: one event per message, handed to the top
/// window (the application answers it with ProcessNextMessage when the window does not).
///
/// The three event types are created once at start, in this order, and carried by a plain
/// wxCommandEvent with id 0 and no payload (the message itself stays in the farm client's queue).
extern const wxEventType wxTAVIRO_MESSAGE_EVENT;
/// The messenger has connected to the farm master; sent to the top window.
extern const wxEventType wxTAVIRO_CONNECT_EVENT;
/// The messenger has lost or dropped the link to the master; sent to the top window.
extern const wxEventType wxTAVIRO_DISCONNECT_EVENT;

// ---- wxTaviroLog ----
/// Forwards the toolkit's log records into the farm log, prefixed "wxWidgets 3.1.0: ".
class wxTaviroLog : public wxLog {
public:
    /// The farm log level for a toolkit level (warnings skip level 2 on purpose).
    static LogLevel MapLevel(wxLogLevel level);

protected:
    /// Writes one toolkit record into the farm log at the mapped level.
    void DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo& info) override;
};

// ---- wxTaviroExecutable ----
/// Signal(0) (the end of the desktop session, the farm's shutdown order, SIGINT/SIGTERM) posts
/// a close to the top window, to be carried out later on the GUI thread.
class wxTaviroExecutable : public Executable {
public:
    /// The process signal handler object of `app`; wxTaviroApp makes the one a program has.
    explicit wxTaviroExecutable(TaviroClientApp* app) : Executable(app) {}
    /// Records the stop (see Executable) and, for 0, posts the close. Safe from any thread.
    int Signal(int sig) override;
};

// ---- wxsTraits ----
/// Makes the themed renderer the application's renderer.
class wxsTraits : public wxGUIAppTraits {
public:
    /// A wxsRenderer over the generic renderer, so themed drawing looks alike everywhere.
    wxRendererNative* CreateRenderer() override;
};

// ---- wxTaviroApp ----
/// Order of start-up in a client program: create the main window and make it the top window
/// (SetTopWindow) BEFORE calling wxTaviroApp::OnInit, then show it after. OnInit starts the farm
/// client, which connects at once and starts receiving; the bridge hands the connect event and
/// the messages only to a top window, and drops them while there is none. A main window created
/// after OnInit therefore misses the connect event and the start of the first job snapshot:
///
///     bool MyApp::OnInit() {
///         auto* frame = new MyFrame;       // 1. the main window first
///         SetTopWindow(frame);
///         if (!wxTaviroApp::OnInit()) {     // 2. then the farm client
///             frame->Destroy();
///             return false;
///         }
///         frame->Show();                   // 3. then show it
///         return true;
///     }
///
/// Threads: the farm's slots (_Connect, _Disconnect, _CheckReceive, OnShutdownMsg) run on the
/// messenger's threads and only hand work over; everything else here is for the GUI thread,
/// except GetUndeliveredMessageEvents, GetRegistered and the executable's Signal.
class wxTaviroApp : public wxApp, public TaviroClientApp {
public:
    /// Installs the signal handlers and the locale and registers for message processing;
    /// `fileLevel` and `echoLevel` are the farm log's thresholds for the file and the console.
    wxTaviroApp(LogLevel fileLevel, LogLevel echoLevel);
    /// Leaves message processing and removes the signal handlers' target.
    ~wxTaviroApp() override;

    /// Unused in a GUI program (the toolkit's main loop runs instead); returns 0.
    virtual int Execute() override;
    /// Shows the master's report in a message box the user may silence, on the GUI thread
    /// whichever thread reports it; answers false.
    virtual bool RequestHasFailed(const String& text) override;

    /// For a client program's main, before wxEntry: installs the process signal handlers, so
    /// that a stop from then on ends the program in order, and answers --help (the farm
    /// options, then ownOptions) without needing a display. Returns the exit code when the
    /// program is to end now, otherwise -1.
    static int PreInit(int argc, char** argv, const String& ownOptions = String());

    /// Keeps the options that the toolkit takes for itself but that are the farm client's.
    bool Initialize(int& argc, wxChar** argv) override;
    /// Starts the farm client from the command line: the toolkit's log into the farm log, the
    /// messenger's signals, the library's translations, then TaviroClientApp::Startup. False
    /// (after an error box, see SetShowStartupError) when start-up failed. A derived OnInit
    /// builds and sets its top window before calling this.
    bool OnInit() override;
    /// A stop that came before the main loop ran is carried out when it starts.
    void OnEventLoopEnter(wxEventLoopBase* loop) override;
    /// The main loop, restarted after an exception that OnException lets the program survive.
    int OnRun() override;
    /// Holds back a close of the top window while a modal loop runs (see the source).
    int FilterEvent(wxEvent& e) override;
    /// Empties the open windows registry, cleans up the farm client and disconnects every farm
    /// slot: no farm signal reaches the application afterwards.
    int OnExit() override;
    /// Rethrows the exception in flight, so that OnRun sees it.
    bool OnExceptionInMainLoop() override;
    /// wxsTraits, which make wxsRenderer the application's renderer.
    wxAppTraits* CreateTraits() override;

    /// @name The messenger bridge
    /// @{
    /// Makes this application the one whose queue message events drain (the constructor does).
    void EnableMessageProcessing();
    /// Stops handing messages to this application: message events then dispatch nothing.
    void DisableMessageProcessing();
    /// Whether this application is the one registered for message processing.
    bool IsMessageProcessingEnabled() const;
    /// Dispatches one queued farm message to the message handlers, when enabled.
    void ProcessNextMessage();
    /// A wxTAVIRO_MESSAGE_EVENT that no window handled: ProcessNextMessage.
    void OnMessage(wxCommandEvent& e);
    /// @}

    // The four slots, run on the messenger's thread.
    void _Connect(MessengerConnectedEvt& e);
    void _Disconnect(MessengerDisconnectedEvt& e);
    void _CheckReceive(MessageReceivedEvt& e);
    /// The master ordered a shutdown (messenger thread): a stop, as SIGTERM would.
    void OnShutdownMsg(const boost::shared_ptr<ShutdownMsg>& msg);
    /// Message events not handed to the GUI thread yet (the backlog a busy farm leaves). Any
    /// thread.
    static uint64_t GetUndeliveredMessageEvents();

    void _EndSession(wxCloseEvent& e);
    /// Ctrl+Shift+C centres the active window on its screen (one lost off every display).
    void KeyboardHook(wxKeyEvent& e);
    /// Keeps the active top-level window; bound by the application and by the window bases.
    static void ActivateEvent(wxActivateEvent& e);
    /// The last window activated, or null once it was deactivated or destroyed.
    static wxWindow* GetActiveWindow();

    /// Adds a text domain's catalog in the language the environment asks for (LANGUAGE,
    /// LC_ALL, LC_MESSAGES, LANG), from the build tree or the installed locale folder, and the
    /// library's own ("wxTaviro") with the first. OnInit adds the library's; a program adds
    /// its own domain (before building windows). False when there is no catalog of that
    /// domain for the language.
    static bool AddTranslations(const String& domain);

    /// A derived application that clears this fails silently when start-up fails.
    void SetShowStartupError(bool show) { m_ShowStartupError = show; }
    /// Whether a failed start-up shows its error box (true unless cleared).
    bool GetShowStartupError() const { return m_ShowStartupError; }

    /// For a window that reads settings while it is built: runs `read` now and, when the
    /// options file is not loaded yet (windows are built before the farm client starts), once
    /// more after a successful start-up, if the window still exists then.
    static void WhenOptionsLoaded(wxWindow* window, const std::function<void()>& read);

    /// The process signal handler object; Signal(0) on it ends the program in order.
    static wxTaviroExecutable* GetExecutable();
    /// The application registered for message processing (null when disabled). Any thread.
    static wxTaviroApp* GetRegistered();

protected:
    /// Replaces the program's arguments (argc, argv) with these, for a program that takes its
    /// own options out before OnInit reads the rest.
    void SetArguments(const std::vector<String>& args);

private:
    void _ReportStartupError();
    // Hands out the message events owed to the GUI thread, a turn at a time.
    void _DeliverMessageEvents(wxIdleEvent& e);

    bool m_ShowStartupError = true;
    std::vector<String> m_Args;       // the strings behind argv after SetArguments
    std::vector<char*> m_ArgPointers; // argv's array, null-terminated
    wxDECLARE_EVENT_TABLE();
};

/// @}
