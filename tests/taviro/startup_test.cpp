// Start-up of real client programs: the name option, a second program of the same name, --help
// without a display, stop signals at any moment of the start, and module files that are not
// what their name promises.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>

#include <ostrum/Ostrum.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// The demo program as a child, its standard output readable. With blockStop, it starts with
// SIGTERM blocked, as from a parent that blocks it around fork: a SIGTERM sent at any moment
// then waits, however early, for the program to take it.
class _Demo {
public:
    explicit _Demo(std::vector<std::string> args, bool blockStop = false,
                   std::vector<std::string> env = {}) {
        args.insert(args.begin(), TAVIRO_DEMO);
        int fds[2];
        EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
        posix_spawnattr_t attr;
        posix_spawnattr_init(&attr);
        sigset_t mask;
        sigemptyset(&mask);
        if (blockStop) sigaddset(&mask, SIGTERM);
        posix_spawnattr_setsigmask(&attr, &mask);
        posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK);
        std::vector<char*> argv, envp;
        for (auto& a : args)
            argv.push_back(&a[0]);
        argv.push_back(nullptr);
        for (char** e = environ; *e; ++e) {
            bool replaced = false;
            for (auto& v : env)
                replaced = replaced || strncmp(*e, v.c_str(), v.find('=') + 1) == 0;
            if (!replaced) envp.push_back(*e);
        }
        for (auto& e : env)
            envp.push_back(&e[0]);
        envp.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&m_Pid, TAVIRO_DEMO, &actions, &attr, argv.data(), envp.data()), 0);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attr);
        close(fds[1]);
        m_Out = fds[0];
    }
    ~_Demo() {
        if (m_Pid > 0) {
            kill(m_Pid, SIGKILL);
            waitpid(m_Pid, nullptr, 0);
        }
        close(m_Out);
    }
    void Kill(int sig) { kill(m_Pid, sig); }
    // The exit status, or -1 when the program is still running after the time.
    int Wait(int timeoutMs) {
        int status = 0;
        for (int waited = 0; waitpid(m_Pid, &status, WNOHANG) == 0; waited += 20) {
            if (waited >= timeoutMs) return -1;
            usleep(20000);
        }
        m_Pid = -1;
        return status;
    }
    std::string Output() {
        std::string out;
        char buf[4096];
        for (ssize_t n; (n = read(m_Out, buf, sizeof buf)) > 0;)
            out.append(buf, (size_t)n);
        return out;
    }

private:
    pid_t m_Pid = -1;
    int m_Out = -1;
};

const std::vector<std::string> k_Quiet = {"--master", "none", "--exit-after", "60"};

std::vector<std::string> Args(std::vector<std::string> args) {
    args.insert(args.end(), k_Quiet.begin(), k_Quiet.end());
    return args;
}

} // namespace

TEST(Startup, TheNameOptionNamesTheRunningProgram) {
    _Demo demo(Args({"--name", "NamedDemo"}));
    ASSERT_TRUE(taviro_test::WaitUntil([] { return Application::IsRunning("NamedDemo"); }, 15000));
    // An unknown request, answered by the program itself.
    String error;
    Application probe(LL_Info, (LogLevel)-1);
    EXPECT_FALSE(probe.SendRequest("NamedDemo", "NoSuchRequest", &error));
    EXPECT_NE(error.find("Unknown request"), String::npos) << error;
    demo.Kill(SIGTERM);
    EXPECT_EQ(demo.Wait(15000), 0);
}

TEST(Startup, HelpNeedsNoDisplay) {
    _Demo demo({"--help"}, false, {"DISPLAY=", "WAYLAND_DISPLAY="});
    EXPECT_EQ(demo.Wait(15000), 0);
    const std::string out = demo.Output();
    EXPECT_NE(out.find("--allow-second"), std::string::npos) << out;
    EXPECT_NE(out.find("--exit-after"), std::string::npos) << out;
}

TEST(Startup, AStopAtAnyMomentEndsTheProgramInOrder) {
    std::mt19937 random(20261122);
    for (int trial = 0; trial < 20; ++trial) {
        _Demo demo(Args({"--name", "StopDemo"}), true);
        usleep((useconds_t)std::uniform_int_distribution<int>(0, 300)(random) * 1000);
        demo.Kill(SIGTERM);
        EXPECT_EQ(demo.Wait(15000), 0) << "trial " << trial;
    }
}

TEST(Startup, ASecondProgramOfTheSameNameIsRefusedUnlessAllowed) {
    const String dir = taviro_test::MakeTempDir();
    auto args = [&](const char* options, bool allow) {
        std::vector<String> a = {
            "client",    "--name", "Twice", "--master", "none", "--options", dir + "/" + options,
            "--log-dir", dir};
        if (allow) a.push_back("--allow-second");
        return a;
    };
    TaviroClientApp first(LL_Info, (LogLevel)-1);
    CommandLine one(args("first.ini", false));
    ASSERT_TRUE(first.Startup(one));
    {
        TaviroClientApp second(LL_Info, (LogLevel)-1);
        CommandLine two(args("second.ini", false));
        EXPECT_FALSE(second.Startup(two));
        EXPECT_NE(second.GetStartupError().find("already running as Twice"), String::npos)
            << second.GetStartupError();
        EXPECT_FALSE(File::Exists(dir + "/second.ini"));
        CommandLine allowed(args("second.ini", true));
        EXPECT_TRUE(second.Startup(allowed)) << second.GetStartupError();
        second.Cleanup();
    }
    first.Cleanup();
}

TEST(Startup, ModuleFilesThatAreNoFilesOrTooLargeAreSkipped) {
    const String dir = taviro_test::MakeTempDir();
    ASSERT_EQ(mkfifo((dir + "/a.tjm").c_str(), 0600), 0);
    String big = "type Big\nid 6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a09\n";
    while (big.size() <= (2u << 20))
        big += "# padding padding padding padding padding padding padding padding padding\n";
    File::AtomicWrite(dir + "/b.tjm", big);
    File::AtomicWrite(dir + "/c.tjm", "type Small\nid 6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a08\n");
    EXPECT_EQ(JobFactory::s_JobFactory.LoadModules(dir), 1u);
    JobFactory::s_JobFactory.Clear();
}
