/// @file
/// The farm client application: the jobs it knows (TaviroApp) and the client proper
/// (TaviroClientApp) with its start-up from the command line, the messenger, the message queue
/// and the worker pool.
///
/// Message flow: the messenger's thread calls ReceiveMessage (the client is the messenger's
/// sink), which applies the message to the job table (so handlers find the table at least as new
/// as their message) and emits MessageReceivedEvt::s_Signal there. A slot may take the message
/// out and pass it to CallMessageHandlers (the worker pool runs the handlers, in arrival order); a
/// message that no slot took is queued, and each DispatchMessage call handles exactly one queued
/// message. The queue lock is held across the emission, so a dispatcher woken by a slot always
/// finds the message already queued.
#pragma once

#include <taviro/Job.h>
#include <taviro/JobTable.h>
#include <taviro/Message.h>
#include <taviro/Messenger.h>

#include <ostrum/Application.h>
#include <ostrum/CommandLine.h>
#include <ostrum/Exception.h>
#include <ostrum/Signal.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <unordered_map>

class SimulatedMaster;

/// An application that knows the farm's jobs: the job table kept in step with the farm's
/// messages, readable from any thread.
/// @ingroup taviro
class TaviroApp : public Application {
public:
    /// With the farm log's levels for the file and the console.
    TaviroApp(LogLevel fileLevel, LogLevel echoLevel) : Application(fileLevel, echoLevel) {}

    /// A snapshot of every known job (in no particular order).
    std::vector<JobPtr> GetAllJobs() const;
    /// The job of that identifier; empty when the farm has none (any thread).
    JobPtr FindJob(const UID& id) const;
    /// The number of known jobs.
    size_t JobCount() const;
    /// Number of jobs per status value (kept up to date as jobs change, so cheap to ask).
    std::map<int, size_t> CountByStatus() const;

protected:
    /// Keeps the job table in step with a message (created, changed, removed, batch).
    void ApplyToJobs(const Message& message);
    /// Forgets every job (a fresh snapshot follows).
    void ClearJobs();

private:
    JobTable m_Jobs;
};

/// The farm client: start-up from the command line, the messenger, the message queue and
/// the worker pool, the client program's message handlers (see the file comment for the flow).
/// @ingroup taviro
class TaviroClientApp : public TaviroApp, public HasSlots, public MessageSink {
public:
    /// Not started yet: Startup reads the command line and connects.
    TaviroClientApp(LogLevel fileLevel, LogLevel echoLevel);
    ~TaviroClientApp() override;

    /// Reads the command line, opens the log and the options file, loads the job modules,
    /// starts the request listener, the worker pool (when asked for) and the messenger.
    /// Options: --name NAME, --options FILE, --log-dir DIR, --modules DIR,
    /// --master embedded|none|HOST:PORT (the embedded simulated master, none, or a
    /// taviro-master on the network), --seed N, --jobs N, --rate N (the embedded master's
    /// messages per second; 0: none but the snapshot, negative: as fast as possible), --workers N
    /// (worker pool threads; 0, the default, leaves the pool off), --allow-second (run even when a
    /// program of the same name is running; otherwise that is refused), --help (prints the options,
    /// answers false with IsHelpShown()). False, with GetStartupError(), on failure.
    virtual bool Startup(CommandLine& commandLine);
    /// The farm options, a line each, for a usage text.
    static String Usage();
    /// Whether Startup answered --help (and so returned false).
    bool IsHelpShown() const { return m_HelpShown; }
    /// A console program's main routine: handles queued messages until a stop is requested.
    virtual int Execute();
    /// Stops the messenger, the pool and the listener, and writes the options file (inside a
    /// pause, the end of the pause writes it).
    virtual void Cleanup();
    /// An exception escaped a handler or the main loop: reports it; true if the program may
    /// go on (a foundation exception), false otherwise (e is null for other exceptions).
    /// Does not delete e.
    virtual bool OnException(Exception* e);
    /// The master reports that a request failed; reports it and answers false.
    virtual bool RequestHasFailed(const String& text);

    /// The messenger's entry point for an arriving message (any thread).
    void ReceiveMessage(boost::shared_ptr<Message> message) override;
    /// Runs the message handlers on the worker pool, in arrival order; without a pool the
    /// message is queued for DispatchMessage instead.
    void CallMessageHandlers(boost::shared_ptr<Message> message);
    /// Handles the oldest queued message, if any; true if one was handled.
    bool DispatchMessage();
    size_t QueuedMessages() const override;
    std::vector<UID> KnownJobs() const override;

    /// The client program's message handlers (run on the pool or the dispatching thread).
    SlotId AddMessageHandler(std::function<void(const Message&)> handler,
                             HasSlots* owner = nullptr);
    /// Removes a handler that AddMessageHandler returned; it does not run afterwards.
    void RemoveMessageHandler(SlotId id);

    /// The link to the master; null with --master none or before Startup.
    Messenger* GetMessenger() const { return m_Messenger.get(); }
    /// The embedded master when that is the link; null otherwise.
    SimulatedMaster* GetSimulatedMaster() const;
    /// Why Startup failed; empty when it did not.
    const String& GetStartupError() const { return m_StartupError; }
    /// What start-up put up with but the user should know (an unusable options file); empty
    /// when nothing.
    const String& GetStartupWarning() const { return m_StartupWarning; }
    /// Messages handed to the handlers so far (any thread).
    uint64_t HandledMessages() const { return m_Handled.load(); }

    Signal0<> StartupComplete;  ///< emitted by the program once its start-up is done
    Signal0<> ExitBegins;       ///< emitted when the program starts to exit
    Signal0<> ShutdownComplete; ///< emitted last, after clean-up

private:
    void Handle(const boost::shared_ptr<Message>& message);
    bool Fail(const String& why);

    String m_StartupError;
    String m_StartupWarning;
    String m_ProgramName;
    bool m_HelpShown = false;
    std::unique_ptr<Messenger> m_Messenger;
    bool m_PoolStarted = false;
    Signal1<const Message&> m_Handlers;
    mutable std::recursive_mutex m_QueueMutex;
    std::condition_variable_any m_QueueChanged;
    std::deque<boost::shared_ptr<Message>> m_Queue;
    std::atomic<uint64_t> m_Handled{0};
};

/// The farm's programs, by index 0 to 5, for requests between them.
class Components {
public:
    enum { k_Count = 6 };
    /// The component name of index 0..5 ("" outside).
    static String GetName(int index);
    /// Whether a program of that component name is running (it answers requests).
    static bool DidStart(const String& name);
};
