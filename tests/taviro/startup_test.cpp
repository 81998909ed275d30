// Start-up of real client programs: the name option, a second program of the same name, --help
// without a display, stop signals at any moment of the start.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>

#include <ostrum/File.h>

#include <random>
#include <signal.h>
#include <unistd.h>

using taviro_test::Child;
using taviro_test::WaitUntil;

TEST(Startup, TheNameOptionNamesTheRunningProgram) {
    Child demo(TAVIRO_DEMO, {"--name", "NamedDemo", "--master", "none", "--exit-after", "60"});
    ASSERT_TRUE(WaitUntil([] { return Application::IsRunning("NamedDemo"); }, 15000));
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
        Child demo(TAVIRO_DEMO, {"--name", "StopDemo", "--master", "none", "--exit-after", "60"},
                   {}, true);
        usleep((useconds_t)std::uniform_int_distribution<int>(0, 300)(random) * 1000);
        demo.Kill(SIGTERM);
        EXPECT_EQ(demo.Wait(15000), 0) << "trial " << trial;
    }
}

TEST(Startup, ASecondProgramOfTheSameNameIsRefusedUnlessAllowed) {
    const String dir = taviro_test::MakeTempDir();
    auto start = [&](TaviroClientApp& app, const char* options, bool allow) {
        std::vector<String> args = {
            "client",    "--name", "Twice", "--master", "none", "--options", dir + "/" + options,
            "--log-dir", dir};
        if (allow) args.push_back("--allow-second");
        CommandLine line(args);
        return app.Startup(line);
    };
    TaviroClientApp first(LL_Info, (LogLevel)-1);
    ASSERT_TRUE(start(first, "first.ini", false));
    {
        TaviroClientApp second(LL_Info, (LogLevel)-1);
        EXPECT_FALSE(start(second, "second.ini", false));
        EXPECT_NE(second.GetStartupError().find("already running as Twice"), String::npos)
            << second.GetStartupError();
        EXPECT_NE(second.GetStartupError().find(SFormat("(process %d)", (int)getpid())),
                  String::npos);
        EXPECT_FALSE(File::Exists(dir + "/second.ini"));
        EXPECT_TRUE(start(second, "second.ini", true)) << second.GetStartupError();
        second.Cleanup();
    }
    first.Cleanup();
}

TEST(Startup, ACommandLineRefusedBeforeAnyLogIsOpenIsStillLogged) {
    // In the program's own log of the user folder (the program then waits on its error box).
    Child demo(TAVIRO_DEMO, {"--jobs", "many"});
    const String log = String(getenv("XDG_CONFIG_HOME")) + "/taviro/logs/taviro-demo.log";
    EXPECT_TRUE(WaitUntil(
        [&] { return File::Exists(log) && File::ReadAll(log).find("--jobs") != String::npos; },
        15000));
}
