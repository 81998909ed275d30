// A farm client without a window for the network tests: the client application on the farm
// options it is given (--master HOST:PORT), printing its connection changes as they happen
// ("connected MASTER", "disconnected REASON") and answering lines on standard input:
//   digest        -> "digest JOBS HASH LOGLINES LAST MISSED": the jobs as this client knows
//                    them, the master's own log lines it handled, the last stream number, and
//                    the stream messages it missed
//   pause         -> "paused ID", or "error MESSAGE: DETAIL": pauses a running or waiting job
//   status ID     -> "status ID STATUS"
#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>
#include <taviro/NetMessenger.h>

#include <ostrum/Executable.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace {
std::mutex g_Out;

void Say(const String& line) {
    std::lock_guard<std::mutex> l(g_Out);
    printf("%s\n", line.c_str());
    fflush(stdout);
}

String Answer(TaviroClientApp& app, const String& line, uint64_t logLines, uint64_t last) {
    if (line == "digest") {
        uint64_t sum = 0; // order-free, so two clients' tables compare however they were filled
        const auto jobs = app.GetAllJobs();
        for (const JobPtr& j : jobs) {
            String text = j->GetID().ToString();
            for (const auto& kv : j->GetParameters())
                text += "|" + kv.first + "=" + kv.second;
            sum += std::hash<std::string>()(text);
        }
        const auto* link = dynamic_cast<NetMessenger*>(app.GetMessenger());
        return SFormat("digest %zu %016llx %llu %llu %llu", jobs.size(), (unsigned long long)sum,
                       (unsigned long long)logLines, (unsigned long long)last,
                       (unsigned long long)(link ? link->GetStats().missed : 0));
    }
    if (line == "pause") {
        for (const JobPtr& j : app.GetAllJobs()) {
            const auto& type =
                JobFactory::s_JobFactory.GetTypeInfo(UID(j->GetParameter(p_Type), false), false);
            if ((j->GetStatus() != k_JobRunning && j->GetStatus() != k_JobWaiting) ||
                !type.FindCommand("Pause"))
                continue;
            try {
                j->ExecuteCommand("Pause", "");
                return "paused " + j->GetID().ToString();
            } catch (Exception* e) {
                const String why = "error " + e->GetMessage() + ": " + e->GetDetail();
                delete e;
                return why;
            }
        }
        return "error no job to pause";
    }
    if (line.StartsWith("status ")) {
        const JobPtr j = app.FindJob(UID(line.substr(7), false));
        return line + " " + (j ? j->GetParameter(p_Status) : String("gone"));
    }
    return "error unknown request " + line;
}
} // namespace

int main(int argc, char** argv) {
    Executable::InstallSignalHandlers();
    TaviroClientApp app(LL_Info, LL_Error);
    HasSlots slots;
    MessengerConnectedEvt::s_Signal.Connect(
        [](MessengerConnectedEvt& e) { Say("connected " + e.GetMaster()); }, &slots);
    MessengerDisconnectedEvt::s_Signal.Connect(
        [](MessengerDisconnectedEvt& e) { Say("disconnected " + e.GetReason()); }, &slots);
    uint64_t logLines = 0, last = 0;
    app.AddMessageHandler([&](const Message& m) {
        logLines += m.GetType() == k_MsgLogLine && m.GetJob().IsNull();
        if (m.m_Sequence) last = m.m_Sequence; // snapshot parts and removals carry none
    });
    CommandLine commandLine(argc, argv);
    if (!app.Startup(commandLine)) {
        Say("startup failed: " + app.GetStartupError());
        return 2;
    }
    String input;
    for (bool open = true; open;) {
        while (app.DispatchMessage()) {
        }
        pollfd p{0, POLLIN, 0};
        if (poll(&p, 1, 5) <= 0) continue;
        char buf[256];
        const ssize_t n = read(0, buf, sizeof buf);
        open = n > 0;
        input.append(buf, (size_t)std::max<ssize_t>(n, 0));
        for (size_t nl; (nl = input.find('\n')) != String::npos; input.erase(0, nl + 1)) {
            while (app.DispatchMessage()) { // answers reflect everything received so far
            }
            Say(Answer(app, input.substr(0, nl), logLines, last));
        }
    }
    app.Cleanup();
    return 0;
}
