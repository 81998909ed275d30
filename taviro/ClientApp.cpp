#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>
#include <taviro/NetMessenger.h>
#include <taviro/SimulatedMaster.h>
#include <taviro/ThreadPool.h>

#include <ostrum/CallTrace.h>
#include <ostrum/Executable.h>
#include <ostrum/File.h>
#include <ostrum/Log.h>

#include <climits>
#include <cstdio>

// ---- TaviroApp ----

std::vector<JobPtr> TaviroApp::GetAllJobs() const {
    CALL_ENTRY("TaviroApp::GetAllJobs");
    return m_Jobs.GetAll();
}

JobPtr TaviroApp::FindJob(const UID& id) const {
    CALL_ENTRY("TaviroApp::FindJob");
    return m_Jobs.Find(id);
}

size_t TaviroApp::JobCount() const {
    CALL_ENTRY("TaviroApp::JobCount");
    return m_Jobs.Count();
}

std::map<int, size_t> TaviroApp::CountByStatus() const {
    CALL_ENTRY("TaviroApp::CountByStatus");
    return m_Jobs.CountByStatus();
}

void TaviroApp::ApplyToJobs(const Message& m) {
    m_Jobs.Apply(m);
}

void TaviroApp::ClearJobs() {
    m_Jobs.Clear();
}

// ---- TaviroClientApp: start and stop ----

TaviroClientApp::TaviroClientApp(LogLevel fileLevel, LogLevel echoLevel)
    : TaviroApp(fileLevel, echoLevel) {}

TaviroClientApp::~TaviroClientApp() {
    DisconnectAll(); // no farm signal may reach a half-destroyed client
    if (m_Messenger) {
        Job::SetMessenger(nullptr);
        m_Messenger->Stop();
    }
    if (m_PoolStarted) ThreadPool::Stop();
}

bool TaviroClientApp::Fail(const String& why) {
    m_StartupError = why;
    // Even a failure before the log was opened goes into a log file that the report can name:
    // the program's own in the default log folder.
    if (Log::s_GlobalLog->GetFileName().empty()) {
        const String name = GetName(); // stays empty when the command line gave none
        if (name.empty()) SetName(m_ProgramName.empty() ? String("taviro") : m_ProgramName);
        if (GetLogFolder().empty()) {
            try {
                SetLogFolder((Path(File::GetUserDir()) / "logs").ToString());
            } catch (Exception* e) {
                delete e;
            }
        }
        try {
            if (!GetLogFolder().empty()) OpenLog();
        } catch (Exception* e) {
            delete e;
        }
        SetName(name);
    }
    GlobalLog(LL_Error, "Startup failed: " + why);
    return false;
}

String TaviroClientApp::Usage() {
    CALL_ENTRY("TaviroClientApp::Usage");
    return "  --name NAME          the program's name: its log, options file and requests\n"
           "  --options FILE       the options file (default: <user folder>/NAME.ini)\n"
           "  --log-dir DIR        the log folder (default: <user folder>/logs)\n"
           "  --modules DIR        the job module folder\n"
           "  --master embedded|none|HOST:PORT\n"
           "                       the embedded simulated master (default), none, or a\n"
           "                       taviro-master on the network\n"
           "  --seed N --jobs N --rate N  the embedded master's farm and messages per second\n"
           "  --workers N          worker pool threads (default 0: handlers on the GUI thread)\n"
           "  --log-rate N         the embedded master's own log lines per second (default 0)\n"
           "  --allow-second       run even when a program of the same name is running\n"
           "  --help               show this and exit\n";
}

bool TaviroClientApp::Startup(CommandLine& commandLine) {
    CALL_ENTRY("TaviroClientApp::Startup");
    m_StartupError.clear();
    m_HelpShown = false;
    m_ProgramName = commandLine.GetProgramName();
    SetName(String()); // known only once the command line is read
    try {
        commandLine.ParseOptions({"name", "options", "log-dir", "modules", "master", "seed", "jobs",
                                  "rate", "workers", "log-rate"},
                                 {"allow-second", "help"});
    } catch (Exception* e) {
        const String why = e->GetMessage() + ": " + e->GetDetail();
        delete e;
        return Fail(why + " (--help lists the options)");
    }
    if (commandLine.HasOption("help")) {
        printf("Usage: %s [options]\n%s", m_ProgramName.c_str(), Usage().c_str());
        fflush(stdout);
        m_HelpShown = true;
        return false;
    }
    auto number = [&](const char* option, long def, long lo, long hi, long& out) {
        bool ok = true;
        out = commandLine.HasOption(option) ? commandLine.GetOption(option).ToLong(0, &ok) : def;
        if (!ok || out < lo || out > hi) {
            Fail(SFormat("--%s wants a whole number from %ld to %ld, not '%s'", option, lo, hi,
                         commandLine.GetOption(option).c_str()));
            return false;
        }
        return true;
    };
    long seed, jobs, rate, workers, logRate;
    if (!number("seed", 1, 0, LONG_MAX, seed) || !number("jobs", 200, 0, 10000000, jobs) ||
        !number("rate", 40, -1, 1000000, rate) || !number("workers", 0, 0, 64, workers) ||
        !number("log-rate", 0, 0, 10000000, logRate))
        return false;
    const String master = commandLine.GetOption("master", "embedded");
    String masterHost;
    int masterPort = 0;
    if (master != "embedded" && master != "none" &&
        !NetMessenger::ParseAddress(master, &masterHost, &masterPort))
        return Fail("--master wants 'embedded', 'none' or HOST:PORT, not '" + master + "'");

    String name = commandLine.GetOption("name", commandLine.GetProgramName());
    if (name.empty()) name = "taviro";
    SetName(name);
    // A refusal below is logged where the command line asked for the log.
    if (commandLine.HasOption("log-dir")) SetLogFolder(commandLine.GetOption("log-dir"));
    // A second program of the same name would share the first one's options file and log, and
    // overwrite its options when it ends.
    const bool allowSecond = commandLine.HasOption("allow-second");
    auto secondProgram = [&] {
        long pid = 0;
        if (allowSecond || !Application::IsRunning(name, &pid)) return false;
        Fail(SFormat("another program is already running as %s (process %ld); "
                     "--allow-second runs this one as well",
                     name.c_str(), pid));
        return true;
    };
    if (secondProgram()) return false;

    // The user folder is needed only for what the command line leaves to defaults.
    String userDir;
    if (!commandLine.HasOption("options") || !commandLine.HasOption("log-dir")) {
        try {
            userDir = File::GetUserDir();
        } catch (Exception* e) {
            const String why = e->Format();
            delete e;
            return Fail(why);
        }
    }
    SetLogFolder(commandLine.GetOption("log-dir", (Path(userDir) / "logs").ToString()));
    try {
        OpenLog();
    } catch (Exception* e) {
        const String why = e->Format();
        delete e;
        return Fail(why);
    }
    LogInfo("Starting " + name);

    const String options =
        commandLine.GetOption("options", (Path(userDir) / (name + ".ini")).ToString());
    m_StartupWarning.clear();
    try {
        GetOptions()->SetFilename(Path(options));
        GetOptions()->Load(false, true);
    } catch (Exception* e) {
        // Not fatal: the program runs on its defaults, and the file, which may be a folder, a
        // device or a link to one, is never written over.
        m_StartupWarning = "The options file cannot be used: " + e->Format() +
                           ". The program runs on default settings and saves none of them.";
        delete e;
        GlobalLog(LL_Error, m_StartupWarning);
        GetOptions()->Clear();
        GetOptions()->SetFilename(Path());
    }

    if (commandLine.HasOption("modules"))
        JobFactory::s_JobFactory.LoadModules(commandLine.GetOption("modules"));
    else
        JobFactory::s_JobFactory.Clear();

    // Not fatal, the program works alone without it; unless another program of the name won
    // the race since the check above.
    if (!StartRequestListener(name) && secondProgram()) return false;

    if (workers > 0) m_PoolStarted = ThreadPool::Start((int)workers);

    if (master == "embedded")
        m_Messenger.reset(
            new SimulatedMaster(this, (uint64_t)seed, (int)jobs, (double)rate, (double)logRate));
    else if (master != "none")
        m_Messenger.reset(new NetMessenger(this, masterHost, masterPort));
    if (master != "embedded")
        for (const char* option : {"seed", "jobs", "rate", "log-rate"})
            if (commandLine.HasOption(option))
                GlobalLog(LL_Warning, SFormat("--%s is the embedded master's; ignored", option));
    if (m_Messenger) {
        Job::SetMessenger(m_Messenger.get());
        m_Messenger->Start();
    }
    LogInfo("Started " + name);
    return true;
}

int TaviroClientApp::Execute() {
    CALL_ENTRY("TaviroClientApp::Execute");
    Executable* exe = Executable::GetCurrent();
    while (!exe || !exe->IsStopRequested()) {
        while (DispatchMessage()) {
        }
        std::unique_lock<std::recursive_mutex> l(m_QueueMutex);
        m_QueueChanged.wait_for(l, std::chrono::milliseconds(100),
                                [&] { return !m_Queue.empty(); });
    }
    return 0;
}

void TaviroClientApp::Cleanup() {
    CALL_ENTRY("TaviroClientApp::Cleanup");
    if (m_Messenger) {
        Job::SetMessenger(nullptr);
        m_Messenger->Stop();
        m_Messenger.reset();
    }
    if (m_PoolStarted) {
        ThreadPool::Stop();
        m_PoolStarted = false;
    }
    StopRequestListener();
    {
        std::lock_guard<std::recursive_mutex> l(m_QueueMutex);
        m_Queue.clear();
    }
    // Inside a pause the outermost end writes; otherwise now.
    if (!GetOptions()->IsAutoWritePaused()) GetOptions()->WriteOut();
    LogInfo("Stopped " + GetName());
}

bool TaviroClientApp::OnException(Exception* e) {
    if (!e) {
        GlobalLog(LL_Error, "Unexpected exception");
        return false;
    }
    GlobalLog(LL_Error, SFormat("Exception 0x%08x: ", e->GetCode()) + e->Format());
    return true;
}

bool TaviroClientApp::RequestHasFailed(const String& text) {
    GlobalLog(LL_Error, "Master reports error: " + text);
    return false;
}

SimulatedMaster* TaviroClientApp::GetSimulatedMaster() const {
    return dynamic_cast<SimulatedMaster*>(m_Messenger.get());
}

// ---- TaviroClientApp: messages ----

void TaviroClientApp::ReceiveMessage(boost::shared_ptr<Message> message) {
    if (!message) return;
    if (message->GetType() == k_MsgShutdown) {
        boost::shared_ptr<ShutdownMsg> order = boost::dynamic_pointer_cast<ShutdownMsg>(message);
        if (!order) order.reset(new ShutdownMsg());
        ShutdownMsg::s_Signal.Emit(order);
        return;
    }
    // The job table follows the message here, on the messenger's thread: the thread that
    // runs the handlers (a GUI's) then has no table work, however big the farm or the batch.
    ApplyToJobs(*message);
    std::lock_guard<std::recursive_mutex> l(m_QueueMutex);
    MessageReceivedEvt evt(std::move(message));
    MessageReceivedEvt::s_Signal.Emit(evt);
    if (evt.GetMessage()) {
        m_Queue.push_back(evt.TakeMessage());
        m_QueueChanged.notify_all();
    }
}

void TaviroClientApp::CallMessageHandlers(boost::shared_ptr<Message> message) {
    if (!message) return;
    auto self = this;
    if (!ThreadPool::PostOrdered([self, message] { self->Handle(message); })) {
        std::lock_guard<std::recursive_mutex> l(m_QueueMutex);
        m_Queue.push_back(std::move(message));
        m_QueueChanged.notify_all();
    }
}

bool TaviroClientApp::DispatchMessage() {
    boost::shared_ptr<Message> message;
    {
        std::lock_guard<std::recursive_mutex> l(m_QueueMutex);
        if (m_Queue.empty()) return false;
        message = std::move(m_Queue.front());
        m_Queue.pop_front();
    }
    Handle(message);
    return true;
}

std::vector<UID> TaviroClientApp::KnownJobs() const {
    std::vector<UID> ids;
    for (const JobPtr& job : GetAllJobs())
        ids.push_back(job->GetID());
    return ids;
}

size_t TaviroClientApp::QueuedMessages() const {
    std::lock_guard<std::recursive_mutex> l(m_QueueMutex);
    return m_Queue.size();
}

void TaviroClientApp::Handle(const boost::shared_ptr<Message>& message) {
    try {
        if (message->GetType() == k_MsgRequestFailed) RequestHasFailed(message->Get("Text"));
        m_Handlers.Emit(*message);
    } catch (Exception* e) {
        OnException(e);
        delete e;
    }
    m_Handled.fetch_add(1);
}

SlotId TaviroClientApp::AddMessageHandler(std::function<void(const Message&)> handler,
                                          HasSlots* owner) {
    return m_Handlers.Connect(std::move(handler), owner);
}

void TaviroClientApp::RemoveMessageHandler(SlotId id) {
    m_Handlers.Disconnect(id);
}

// ---- Components ----

String Components::GetName(int index) {
    static const char* const names[k_Count] = {"TaviroGui",       "TaviroMonitor", "TaviroSubmit",
                                               "TaviroLogViewer", "TaviroConfig",  "TaviroAdmin"};
    return index >= 0 && index < k_Count ? String(names[index]) : String();
}

bool Components::DidStart(const String& name) {
    return Application::IsRunning(name);
}
