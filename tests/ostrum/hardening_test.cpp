// Hostile files, protected or linked options files, the request listener under idle connections.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <atomic>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace {
std::atomic<int> g_UmaskCalls{0};
}

// Counts umask calls: setting the umask, even briefly, races with threads that create files.
extern "C" mode_t umask(mode_t mask) noexcept {
    ++g_UmaskCalls;
    return (mode_t)syscall(SYS_umask, mask);
}

using taviro_test::CatchException;
using taviro_test::Home;

TEST(Hardening, FifosAndOversizedFilesAreRefusedWithoutBlocking) {
    const String fifo = Home() + "/Colors.ini";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    auto reading = std::async(std::launch::async, [&] {
        return CatchException([&] { File::ReadAll(fifo); }) != nullptr;
    });
    const bool returned = reading.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    if (!returned) close(open(fifo.c_str(), O_RDWR)); // lets a blocked reader go
    EXPECT_TRUE(returned);
    EXPECT_TRUE(reading.get());

    const String big = Home() + "/big.tjm";
    File::AtomicWrite(big, String(2000, 'x'));
    EXPECT_TRUE(CatchException([&] { File::ReadAll(big, 1999); }));
    EXPECT_EQ(File::ReadAll(big, 2000).size(), 2000u);
}

TEST(Hardening, ReadOnlyOptionsStayLinkedOnesAreWrittenThroughAndTheUmaskIsLeftAlone) {
    const String log = Home() + "/capture.log";
    Log::s_GlobalLog->Open(log);
    Log::s_GlobalLog->SetEchoLevel(-1);

    const String locked = Home() + "/locked.ini";
    File::AtomicWrite(locked, "a=1\n");
    ASSERT_EQ(chmod(locked.c_str(), 0444), 0);
    {
        OptionsFile options{Path(locked)};
        options.Load();
        options.SetValue("", "a", "2");
        options.SetValue("", "b", "3");
    }
    EXPECT_EQ(File::ReadAll(locked), "a=1\n");
    const String text = File::ReadAll(log), warning = "read-only"; // warned once, not per change
    EXPECT_EQ(text.find(warning, text.find(warning) + 1), String::npos) << text;
    EXPECT_NE(text.find(warning), String::npos) << text;

    File::CreateDirectories(Home() + "/real");
    const String target = Home() + "/real/options.ini", link = Home() + "/options.ini";
    File::AtomicWrite(target, "a=1\n");
    ASSERT_EQ(symlink("real/options.ini", link.c_str()), 0);
    OptionsFile options{Path(link)};
    options.Load();
    options.SetValue("", "a", "2");
    struct stat st {};
    EXPECT_TRUE(lstat(link.c_str(), &st) == 0 && S_ISLNK(st.st_mode));
    EXPECT_EQ(File::ReadAll(target), "a=2\n");

    // Saving a new file leaves the umask alone.
    const mode_t old = (mode_t)syscall(SYS_umask, 027);
    g_UmaskCalls = 0;
    const String path = Home() + "/new.ini";
    File::AtomicWrite(path, "x\n");
    EXPECT_EQ(g_UmaskCalls.load(), 0);
    EXPECT_TRUE(stat(path.c_str(), &st) == 0 && (st.st_mode & 0777) == 0640);
    syscall(SYS_umask, old);
}

TEST(Hardening, GarbledSettingsAreToldOnceAndAByteOrderMarkHidesNothing) {
    const String log = Home() + "/garbled.log";
    Log::s_GlobalLog->Open(log);
    Log::s_GlobalLog->SetEchoLevel(-1);
    auto count = [&](const String& text) {
        const String all = File::ReadAll(log);
        int n = 0;
        for (size_t at = all.find(text); at != String::npos; at = all.find(text, at + 1))
            ++n;
        return n;
    };
    IniFile ini;
    ini.LoadFromString("\xEF\xBB\xBF[Window]\nWidth=wide\nShown=maybe\nOk=No\nRatio=1.5x\n");
    EXPECT_EQ(ini.GetSections(), (std::vector<String>{"", "Window"})); // no section hidden
    IniFile twice; // a second mark is a line of text: written and read back, it stays one
    twice.LoadFromString("\xEF\xBB\xBF\xEF\xBB\xBF\n[A]\nk=v\n");
    IniFile again;
    again.LoadFromString(twice.ToString());
    EXPECT_EQ(again.ToString(), twice.ToString());
    for (int i = 0; i < 3; ++i) // read again and again: one line per value, naming the place
        EXPECT_TRUE(ini.GetValue("WINDOW", "width", 7) == 7 &&
                    !ini.GetValue("window", "SHOWN", true) && !ini.GetValue("Window", "Ok", true) &&
                    ini.GetValue("Window", "Ratio", 2.0) == 2.0);
    EXPECT_EQ(count("[WINDOW] width = 'wide' is not a whole number"), 1);
    EXPECT_EQ(count("[window] SHOWN = 'maybe' is not a yes/no value"), 1);
    EXPECT_EQ(count("'1.5x' is not a number"), 1);
    EXPECT_EQ(count("'No'"), 0); // a known text is no complaint

    // A failed save is said once, however many changes and pauses end after it.
    OptionsFile options;
    options.SetFilename(Home() + "/missing/options.ini");
    for (int i = 0; i < 4; ++i) {
        OptionsFile::Pause pause(&options);
        options.SetValue("s", "k", String::FromInt(i));
    }
    EXPECT_EQ(count("Cannot write options file"), 1);
}

TEST(Hardening, IdleConnectionsDoNotHoldUpRequestsOrHideTheProgram) {
    Application app(LL_Info, (LogLevel)-1);
    const String name = SFormat("Hardening%d", (int)getpid());
    app.SetRequestHandler("Ping", [](const String&) { return true; });
    ASSERT_TRUE(app.StartRequestListener(name));
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    const String path = Application::RequestSocketPath(name).ToString();
    memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    std::vector<int> idle;
    for (int i = 0; i < 80; ++i) {
        if (i == 70) usleep(100000); // the listener takes what it takes; then more come
        idle.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        connect(idle.back(), (sockaddr*)&addr, sizeof addr); // the backlog may be full
    }
    EXPECT_TRUE(Application::IsRunning(name));
    String error;
    EXPECT_TRUE(app.SendRequest(name, "Ping", &error)) << error;
    EXPECT_TRUE(app.SendRequest(path, "Ping", &error)) << error; // by its socket path
    pollfd first{idle.front(), POLLIN, 0}; // a connection that never asks is dropped in time
    EXPECT_EQ(poll(&first, 1, 10000), 1);
    char byte;
    EXPECT_EQ(recv(idle.front(), &byte, 1, 0), 0);
    for (int fd : idle)
        close(fd);

    // Requests are served a few at a time; more at once are told the program is busy.
    std::atomic<int> holding{0}, busy{0};
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    app.SetRequestHandler("Hold", [&](const String&) {
        ++holding;
        released.wait();
        return true;
    });
    std::vector<std::future<bool>> held;
    for (int i = 0; i < 64; ++i)
        held.push_back(std::async(std::launch::async, [&] {
            return app.SendRequest(name, "Hold", nullptr, 20000) || (++busy, false);
        }));
    EXPECT_TRUE(taviro_test::WaitUntil([&] { return holding + busy == 64; }, 20000));
    release.set_value();
    for (auto& f : held)
        f.get();
    EXPECT_GT(busy.load(), 0);
    // A posted request waits for nobody: it returns while the receiver still holds it.
    std::atomic<bool> posted{false}, heldPastPost{false};
    app.SetRequestHandler("Hold", [&](const String&) {
        heldPastPost = taviro_test::WaitUntil([&] { return posted.load(); }, 5000);
        return true;
    });
    Application::PostRequest(name, "Hold");
    posted = true;
    EXPECT_TRUE(taviro_test::WaitUntil([&] { return heldPastPost.load(); }, 10000));
    app.RemoveRequestHandler("Hold");
    EXPECT_FALSE(app.SendRequest(name, "Hold", &error)); // unknown now

    // The socket folder is made private again; a name cannot lead out of it.
    const String folder = Path(path).Branch(false, false).ToString();
    app.StopRequestListener();
    ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
    ASSERT_TRUE(app.StartRequestListener(name));
    struct stat st {};
    EXPECT_TRUE(stat(folder.c_str(), &st) == 0 && (st.st_mode & 077) == 0);
    EXPECT_FALSE(app.StartRequestListener("../" + name));
}
