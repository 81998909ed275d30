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

// A stop while a modal prompt is open, a start-up failure's box, and an options file that is
// no file: each program ends on its own, in order.
TEST(Startup, StopsReachModalPromptsAndStartupErrorsAndBadOptionsAreSurvived) {
    const String dir = taviro_test::MakeTempDir();
    const String log = dir + "/Hostile.log";
    auto logged = [&](const char* text) {
        return WaitUntil(
            [&] { return File::Exists(log) && File::ReadAll(log).find(text) != String::npos; },
            15000);
    };
    auto demo = [&](std::vector<String> more) {
        std::vector<String> args = {"--name", "Hostile", "--master", "none", "--log-dir", dir};
        args.insert(args.end(), more.begin(), more.end());
        return std::make_unique<Child>(TAVIRO_DEMO, args);
    };
    auto first = demo({"--options", dir + "/o.ini", "--open-dialog", "rename"});
    ASSERT_TRUE(logged("Asking for a new name of the view"));
    // Refused: its box ends on SIGTERM, and on --exit-after.
    for (const char* exitAfter : {"", "1"}) {
        auto second = demo(*exitAfter ? std::vector<String>{"--exit-after", exitAfter}
                                      : std::vector<String>{});
        ASSERT_TRUE(logged("already running as Hostile"));
        if (!*exitAfter) usleep(500000), second->Kill(SIGTERM);
        EXPECT_NE(second->Wait(15000), -1) << "refused program still running " << exitAfter;
    }
    first->Kill(SIGTERM); // the prompt ends first, then the window closes
    EXPECT_EQ(first->Wait(15000), 0);
    EXPECT_TRUE(logged("Closing the modal dialogs before the main window"));
    EXPECT_TRUE(logged("Stopped Hostile"));

    // A huge file as the options file: defaults, a report, and the file left as it was.
    const String huge = dir + "/huge.ini";
    File::AtomicWrite(huge, String(17 << 20, 'x'));
    auto third = demo({"--options", huge, "--exit-after", "2"});
    EXPECT_EQ(third->Wait(20000), 0);
    EXPECT_TRUE(logged("The options file cannot be used"));
    EXPECT_EQ(File::ReadAll(huge), String(17 << 20, 'x'));
}
