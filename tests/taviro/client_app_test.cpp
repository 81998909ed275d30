// The client application's start-up from the command line: refusals, names, log and options.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>

#include <ostrum/File.h>

namespace {

using Strings = std::vector<String>;

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
    File::AtomicWrite(options, "[Display]\nTheme=dark\n");
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
    File::AtomicWrite(userDir + "/renderwatch.ini", "Colour=teal\n");
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
