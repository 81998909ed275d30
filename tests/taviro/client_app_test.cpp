// The client application: start-up from the command line, options and log, and job commands
// sent to the embedded master.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/Job.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>

#include <ostrum/CommandLine.h>
#include <ostrum/Exception.h>
#include <ostrum/File.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace {

using Strings = std::vector<String>;
const char* const k_FrameRender = "6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01";

// One client at a time; Cleanup always runs before it is destroyed, even when a check fails
// half-way.
class Client {
public:
    Client() : m_App(new TaviroClientApp(LL_Debug, (LogLevel)-1)) {}
    ~Client() { m_App->Cleanup(); }
    TaviroClientApp* operator->() const { return m_App.get(); }
    TaviroClientApp* get() const { return m_App.get(); }
    bool Start(const Strings& args) {
        CommandLine line(args);
        return m_App->Startup(line);
    }

private:
    std::unique_ptr<TaviroClientApp> m_App;
};

using taviro_test::CatchException;
using taviro_test::WriteText;

} // namespace

// ---- start-up ----

TEST(ClientStartup, BadCommandLinesAreRefusedWithTheOption) {
    struct Case {
        Strings args;
        Strings inError;
    };
    const std::vector<Case> cases = {
        {{"/usr/bin/taviro", "--bogus", "1"}, {"--bogus"}},
        {{"/usr/bin/taviro", "--master", "none", "--name"}, {"--name"}},
        {{"/usr/bin/taviro", "--master", "none", "--seed=-3"}, {"--seed", "-3"}},
        {{"/usr/bin/taviro", "--master", "none", "--jobs", "12x"}, {"--jobs", "12x"}},
        {{"/usr/bin/taviro", "--master", "none", "--workers", "100"}, {"--workers", "100"}},
        {{"/usr/bin/taviro", "--master", "remote"}, {"--master", "remote"}},
    };
    for (const Case& c : cases) {
        Client app;
        EXPECT_FALSE(app.Start(c.args)) << c.args[1];
        const String error = app->GetStartupError();
        for (const String& part : c.inError)
            EXPECT_NE(error.find(part), String::npos) << error;
        EXPECT_EQ(app->GetMessenger(), nullptr);
    }
}

TEST(ClientStartup, ExplicitNameLogAndOptions) {
    const String logDir = taviro_test::MakeTempDir("logs") + "/nested";
    const String options = taviro_test::MakeTempDir("opts") + "/farmtool.ini";
    WriteText(options, "[Display]\nTheme=dark\n");

    // Both given, so no user folder is needed.
    taviro_test::EnvVar noHome("HOME", ""), noConfig("XDG_CONFIG_HOME", "");
    Client app;
    EXPECT_EQ(Application::the_Application, app.get());
    ASSERT_TRUE(app.Start({"/opt/x/taviro-gui", "--master", "none", "--log-dir", logDir,
                           "--options", options, "--name", "farmtool", "--modules", DEMO_MODULES}))
        << app->GetStartupError();
    EXPECT_EQ(app->GetName(), "farmtool");
    EXPECT_EQ(app->GetMessenger(), nullptr);
    EXPECT_EQ(JobFactory::s_JobFactory.Count(), 3u);

    ASSERT_TRUE(File::Exists(logDir + "/farmtool.log"));
    EXPECT_NE(File::ReadAll(logDir + "/farmtool.log").find("farmtool"), String::npos);
    EXPECT_EQ(app->GetOptions()->GetFilename().ToString(), options);
    EXPECT_EQ(app->GetOptions()->GetValue("Display", "Theme", ""), "dark");
}

TEST(ClientStartup, DefaultsComeFromTheProgramAndTheUserFolder) {
    const char* xdg = getenv("XDG_CONFIG_HOME");
    ASSERT_NE(xdg, nullptr);
    const String userDir = String(xdg) + "/taviro";
    File::CreateDirectories(userDir);
    WriteText(userDir + "/renderwatch.ini", "Colour=teal\n");

    // Modules loaded earlier do not survive a start-up that names none.
    JobFactory::s_JobFactory.LoadModules(DEMO_MODULES);
    ASSERT_GT(JobFactory::s_JobFactory.Count(), 0u);

    Client app;
    ASSERT_TRUE(app.Start({"/opt/farm/bin/renderwatch", "--master", "none"}))
        << app->GetStartupError();
    EXPECT_EQ(app->GetName(), "renderwatch");
    EXPECT_EQ(app->GetOptions()->GetFilename().ToString(), userDir + "/renderwatch.ini");
    EXPECT_EQ(app->GetOptions()->GetValue("", "Colour", ""), "teal");
    EXPECT_TRUE(File::Exists(userDir + "/logs/renderwatch.log"));
    EXPECT_EQ(JobFactory::s_JobFactory.Count(), 0u);

    app->GetOptions()->SetValue("", "Colour", "plum");
    app->Cleanup();
    EXPECT_NE(File::ReadAll(userDir + "/renderwatch.ini").find("Colour=plum"), String::npos);
}

// ---- commands through the embedded master ----

TEST(ClientCommands, EndToEndThroughTheEmbeddedMaster) {
    Client app;
    ASSERT_TRUE(app.Start({"/usr/bin/taviro-test", "--modules", DEMO_MODULES, "--master",
                           "embedded", "--jobs", "50", "--rate", "0", "--seed", "3", "--log-dir",
                           taviro_test::MakeTempDir("logs")}))
        << app->GetStartupError();
    SimulatedMaster* master = app->GetSimulatedMaster();
    ASSERT_NE(master, nullptr);
    auto drain = [&] {
        while (app->DispatchMessage()) {
        }
    };
    ASSERT_TRUE(taviro_test::WaitUntil(
        [&] {
            drain();
            return app->GetAllJobs().size() == 50;
        },
        30000));
    EXPECT_TRUE(master->IsConnected());

    const UID renderType(k_FrameRender, true);
    JobPtr active, idle;
    for (const JobPtr& j : app->GetAllJobs()) {
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
    EXPECT_TRUE(taviro_test::WaitUntil(
        [&] {
            drain();
            return active->GetParameter(p_Status) == "3";
        },
        30000))
        << "status " << active->GetParameter(p_Status);

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

    // Once the master is gone, commands are refused on the spot.
    master->Disconnect();
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return !master->IsConnected(); }, 30000));
    auto offline = CatchException([&] { active->ExecuteCommand("Resume", ""); });
    ASSERT_TRUE(offline);
    EXPECT_EQ(offline->GetCode(), (uint32_t)k_ErrRequest);
    EXPECT_EQ(offline->GetMessage(), "Not connected to the farm master"); // not sent at all
    EXPECT_EQ(active->GetParameter(p_Status), "3");
    EXPECT_FALSE(master->SendCommand(active->GetID(), "Resume", "", nullptr)); // nor directly
}
