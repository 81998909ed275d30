// taviro-master: the simulated farm in a process of its own, serving any number of client
// programs over the network (see taviro/FarmServer.h). Runs until SIGINT or SIGTERM.
//
//   taviro-master [--bind ADDR] [--port N] [--pub-port N] [--seed N] [--jobs N] [--rate N]
//                 [--log-rate N] [--send-queue N] [--modules DIR] [--log-dir DIR]
//
// Once it listens it prints one line: "taviro-master: listening on ADDR:PORT (stream PORT2)".
#include <taviro/FarmServer.h>
#include <taviro/JobFactory.h>

#include <ostrum/Application.h>
#include <ostrum/CommandLine.h>
#include <ostrum/Exception.h>
#include <ostrum/Executable.h>
#include <ostrum/File.h>
#include <ostrum/Log.h>

#include <climits>
#include <cstdio>
#include <unistd.h>

namespace {

const char k_Usage[] =
    "Usage: taviro-master [options]\n"
    "  --bind ADDR       the address to listen on (default *: every interface)\n"
    "  --port N          the request port clients connect to (default 7420; 0: any free)\n"
    "  --pub-port N      the stream port (default: the request port + 1; 0: any free)\n"
    "  --seed N          the farm's schedule (default 1)\n"
    "  --jobs N          jobs in the farm at start (default 200)\n"
    "  --rate N          farm messages per second (default 40; 0: none; -1: as fast as it can)\n"
    "  --log-rate N      the master's own log lines per second (default 0)\n"
    "  --send-queue N    stream frames kept for a slow client before it misses some (2000)\n"
    "  --modules DIR     the job module folder (default: the demo's)\n"
    "  --log-dir DIR     the log folder (default <user folder>/logs)\n";

// The job modules beside an installed binary, else the source tree's.
String ModulesDir() {
    char self[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        String dir(std::string(self, (size_t)n));
        dir = dir.substr(0, dir.rfind('/') + 1) + MASTER_INSTALLED_MODULES;
        if (access(dir.c_str(), R_OK) == 0) return dir;
    }
    return MASTER_MODULES;
}

int Fail(const String& why) {
    fprintf(stderr, "taviro-master: %s\n", why.c_str());
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    Executable::InstallSignalHandlers();
    CommandLine commandLine(argc, argv);
    try {
        commandLine.ParseOptions({"bind", "port", "pub-port", "seed", "jobs", "rate", "log-rate",
                                  "send-queue", "modules", "log-dir"},
                                 {"help"});
    } catch (Exception* e) {
        const String why = e->GetMessage() + ": " + e->GetDetail();
        delete e;
        return Fail(why + " (--help lists the options)");
    }
    if (commandLine.HasOption("help")) {
        printf("%s", k_Usage);
        return 0;
    }
    FarmServer::Options o;
    bool ok = true;
    auto number = [&](const char* option, long def, long lo, long hi) {
        bool valid = true;
        const long v =
            commandLine.HasOption(option) ? commandLine.GetOption(option).ToLong(0, &valid) : def;
        if (!valid || v < lo || v > hi) {
            Fail(SFormat("--%s wants a whole number from %ld to %ld, not '%s'", option, lo, hi,
                         commandLine.GetOption(option).c_str()));
            ok = false;
        }
        return v;
    };
    o.bind = commandLine.GetOption("bind", "*");
    o.port = (int)number("port", 7420, 0, 65535);
    o.pubPort = (int)number("pub-port", -1, -1, 65535);
    o.seed = (uint64_t)number("seed", 1, 0, LONG_MAX);
    o.jobs = (int)number("jobs", 200, 0, 10000000);
    o.rate = (double)number("rate", 40, -1, 10000000);
    o.logRate = (double)number("log-rate", 0, 0, 10000000);
    o.sendQueue = (int)number("send-queue", 2000, 1, 1000000);
    if (!ok) return 2;

    Application app(LL_Info, LL_Warning);
    app.SetName("taviro-master");
    try {
        app.SetLogFolder(commandLine.GetOption("log-dir", File::GetUserDir() + "/logs"));
        app.OpenLog();
    } catch (Exception* e) { // the master still runs, its warnings on standard error
        fprintf(stderr, "taviro-master: no log file: %s\n", e->Format().c_str());
        delete e;
    }
    JobFactory::s_JobFactory.LoadModules(commandLine.GetOption("modules", ModulesDir()));
    Executable exe(&app);
    Executable::SetCurrent(&exe);

    FarmServer server(o);
    String error;
    if (!server.Start(&error)) return Fail(error);
    printf("taviro-master: listening on %s:%d (stream %d), %zu jobs\n", o.bind.c_str(),
           server.GetPort(), server.GetPubPort(), server.JobCount());
    fflush(stdout);
    exe.WaitForStop(-1);
    server.Stop();
    Executable::SetCurrent(nullptr);
    printf("taviro-master: stopped\n");
    return 0;
}
