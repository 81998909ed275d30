// Start-up of real client programs: the name option, a second program of the same name, --help
// without a display, stop signals at any moment of the start, and module files that are not
// what their name promises.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>

#include <ostrum/Ostrum.h>

#include <gtest/gtest.h>

#include <random>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using taviro_test::Child;
const std::vector<String> k_Quiet = {"--master", "none", "--exit-after", "60"};

std::vector<String> Args(std::vector<String> args) {
    args.insert(args.end(), k_Quiet.begin(), k_Quiet.end());
    return args;
}

} // namespace

TEST(Startup, TheNameOptionNamesTheRunningProgram) {
    Child demo(TAVIRO_DEMO, Args({"--name", "NamedDemo"}));
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
    Child demo(TAVIRO_DEMO, {"--help"}, {"DISPLAY=", "WAYLAND_DISPLAY="});
    EXPECT_EQ(demo.Wait(15000), 0);
    const String out = demo.Output();
    EXPECT_NE(out.find("--allow-second"), String::npos) << out;
    EXPECT_NE(out.find("--exit-after"), String::npos) << out;
}

TEST(Startup, AStopAtAnyMomentEndsTheProgramInOrder) {
    std::mt19937 random(20261122);
    for (int trial = 0; trial < 20; ++trial) {
        Child demo(TAVIRO_DEMO, Args({"--name", "StopDemo"}), {}, true);
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
        EXPECT_NE(second.GetStartupError().find(SFormat("(process %d)", (int)getpid())),
                  String::npos);
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

TEST(Startup, ACommandLineRefusedBeforeAnyLogIsOpenIsStillLogged) {
    // In the program's own log of the user folder (the program then waits on its error box).
    Child demo(TAVIRO_DEMO, {"--jobs", "many"});
    const String log = String(getenv("XDG_CONFIG_HOME")) + "/taviro/logs/taviro-demo.log";
    EXPECT_TRUE(taviro_test::WaitUntil(
        [&] { return File::Exists(log) && File::ReadAll(log).find("--jobs") != String::npos; },
        15000));
}
