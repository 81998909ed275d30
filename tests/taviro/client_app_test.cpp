// The client application: start-up from the command line, options and log, and job commands
// sent to the embedded master.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/Job.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>

#include <ostrum/File.h>

namespace {

using Strings = std::vector<String>;
using taviro_test::CatchException;
using taviro_test::WaitUntil;
using taviro_test::WriteText;

// Cleanup always runs before a client goes, even when a check fails half-way.
struct Client : TaviroClientApp {
    Client() : TaviroClientApp(LL_Debug, (LogLevel)-1) {}
    ~Client() override { Cleanup(); }
    bool Start(const Strings& args) {
        CommandLine line(args);
        return Startup(line);
    }
};

} // namespace

// ---- start-up ----

TEST(ClientStartup, BadCommandLinesAreRefusedWithTheOption) {
    const std::vector<std::pair<Strings, Strings>> cases = {
        // arguments, parts of the error
        {{"--bogus", "1"}, {"--bogus"}},
        {{"--master", "none", "--name"}, {"--name"}},
        {{"--master", "none", "--seed=-3"}, {"--seed", "-3"}},
        {{"--master", "none", "--jobs", "12x"}, {"--jobs", "12x"}},
        {{"--master", "none", "--workers", "100"}, {"--workers", "100"}},
        {{"--master", "remote"}, {"--master", "remote"}},
    };
    for (auto [args, inError] : cases) {
        Client app;
        args.insert(args.begin(), "/usr/bin/taviro");
        EXPECT_FALSE(app.Start(args)) << args[1];
        for (const String& part : inError)
            EXPECT_NE(app.GetStartupError().find(part), String::npos) << app.GetStartupError();
        EXPECT_EQ(app.GetMessenger(), nullptr);
    }
}

TEST(ClientStartup, ExplicitNameLogAndOptions) {
    const String logDir = taviro_test::MakeTempDir("logs") + "/nested";
    const String options = taviro_test::MakeTempDir("opts") + "/farmtool.ini";
    WriteText(options, "[Display]\nTheme=dark\n");
    // Both given, so no user folder is needed.
    taviro_test::EnvVar noHome("HOME", ""), noConfig("XDG_CONFIG_HOME", "");
    Client app;
    EXPECT_EQ(Application::the_Application, &app);
    ASSERT_TRUE(app.Start({"/opt/x/taviro-gui", "--master", "none", "--log-dir", logDir,
                           "--options", options, "--name", "farmtool", "--modules", DEMO_MODULES}))
        << app.GetStartupError();
    EXPECT_EQ(app.GetName(), "farmtool");
    EXPECT_EQ(app.GetMessenger(), nullptr);
    EXPECT_EQ(JobFactory::s_JobFactory.Count(), 3u);
    EXPECT_NE(File::ReadAll(logDir + "/farmtool.log").find("farmtool"), String::npos);
    EXPECT_EQ(app.GetOptions()->GetFilename().ToString(), options);
    EXPECT_EQ(app.GetOptions()->GetValue("Display", "Theme", ""), "dark");
}

TEST(ClientStartup, DefaultsComeFromTheProgramAndTheUserFolder) {
    const String userDir = String(getenv("XDG_CONFIG_HOME")) + "/taviro";
    File::CreateDirectories(userDir);
    WriteText(userDir + "/renderwatch.ini", "Colour=teal\n");
    // Modules loaded earlier do not survive a start-up that names none.
    ASSERT_GT(JobFactory::s_JobFactory.LoadModules(DEMO_MODULES), 0u);

    Client app;
    ASSERT_TRUE(app.Start({"/opt/farm/bin/renderwatch", "--master", "none"}))
        << app.GetStartupError();
    EXPECT_EQ(app.GetName(), "renderwatch");
    EXPECT_EQ(app.GetOptions()->GetFilename().ToString(), userDir + "/renderwatch.ini");
    EXPECT_EQ(app.GetOptions()->GetValue("", "Colour", ""), "teal");
    EXPECT_TRUE(File::Exists(userDir + "/logs/renderwatch.log"));
    EXPECT_EQ(JobFactory::s_JobFactory.Count(), 0u);
    app.GetOptions()->SetValue("", "Colour", "plum");
    app.Cleanup();
    EXPECT_NE(File::ReadAll(userDir + "/renderwatch.ini").find("Colour=plum"), String::npos);
}

// ---- commands through the embedded master ----

TEST(ClientCommands, EndToEndThroughTheEmbeddedMaster) {
    Client app;
    ASSERT_TRUE(app.Start({"/usr/bin/taviro-test", "--modules", DEMO_MODULES, "--master",
                           "embedded", "--jobs", "50", "--rate", "0", "--seed", "3", "--log-dir",
                           taviro_test::MakeTempDir("logs")}))
        << app.GetStartupError();
    SimulatedMaster* master = app.GetSimulatedMaster();
    ASSERT_NE(master, nullptr);
    auto drainUntil = [&](const std::function<bool()>& pred) {
        return WaitUntil([&] {
            while (app.DispatchMessage()) {
            }
            return pred();
        });
    };
    ASSERT_TRUE(drainUntil([&] { return app.GetAllJobs().size() == 50; }));
    EXPECT_TRUE(master->IsConnected());

    const UID renderType("6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01", true); // Frame Render
    JobPtr active, idle;
    for (const JobPtr& j : app.GetAllJobs()) {
        if (UID(j->GetParameter(p_Type), false) != renderType) continue;
        const int st = j->GetStatus();
        if (!active && (st == k_JobRunning || st == k_JobWaiting))
            active = j;
        else if (!idle && st != k_JobPaused)
            idle = j;
    }
    ASSERT_TRUE(active && idle) << "seed 3 no longer gives enough render jobs";

    // Pause: the master's answer arrives as a change of the job's status.
    active->ExecuteCommand("Pause", "");
    EXPECT_TRUE(drainUntil([&] { return active->GetParameter(p_Status) == "3"; }));

    // Resume on a job that is not paused: the master's reason comes back as the detail. The
    // farm is a function of its seed, so a twin schedule tells what the master says.
    FarmSchedule twin(3, 50, JobFactory::s_JobFactory.ListTypes());
    std::vector<boost::shared_ptr<Message>> ignored;
    String reason;
    ASSERT_FALSE(twin.ApplyCommand(idle->GetID(), "Resume", "", &reason, ignored));
    auto refused = CatchException([&] { idle->ExecuteCommand("Resume", ""); });
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->GetCode(), (uint32_t)k_ErrRequest);
    EXPECT_EQ(refused->GetDetail(), reason);

    // Once the master is gone, commands are refused on the spot, not sent at all.
    master->Disconnect();
    ASSERT_TRUE(WaitUntil([&] { return !master->IsConnected(); }));
    auto offline = CatchException([&] { active->ExecuteCommand("Resume", ""); });
    ASSERT_TRUE(offline);
    EXPECT_EQ(offline->GetCode(), (uint32_t)k_ErrRequest);
    EXPECT_EQ(offline->GetMessage(), "Not connected to the farm master");
    EXPECT_EQ(active->GetParameter(p_Status), "3");
    EXPECT_FALSE(master->SendCommand(active->GetID(), "Resume", "", nullptr));
}
