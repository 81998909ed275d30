// Files that are not what their name promises, options files the user protected or linked, and
// the request listener under many idle connections.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <atomic>
#include <fcntl.h>
#include <future>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace {
std::atomic<int> g_UmaskCalls{0};
}

// Counts every umask call of the process: setting the umask, even briefly, races with other
// threads that create files.
extern "C" mode_t umask(mode_t mask) noexcept {
    ++g_UmaskCalls;
    return (mode_t)syscall(SYS_umask, mask);
}

namespace {
using taviro_test::CatchException;
using taviro_test::Home;

String Text(const String& path) {
    return File::ReadAll(path);
}

int Count(const String& text, const String& part) {
    int n = 0;
    for (size_t at = text.find(part); at != String::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}
} // namespace

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

TEST(Hardening, ReadOnlyOptionsStayAndLinkedOptionsAreWrittenThroughTheLink) {
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
    EXPECT_EQ(Text(locked), "a=1\n");
    EXPECT_EQ(Count(Text(log), "read-only"), 1) << Text(log);

    File::CreateDirectories(Home() + "/real");
    const String target = Home() + "/real/options.ini", link = Home() + "/options.ini";
    File::AtomicWrite(target, "a=1\n");
    ASSERT_EQ(symlink("real/options.ini", link.c_str()), 0);
    OptionsFile options{Path(link)};
    options.Load();
    options.SetValue("", "a", "2");
    struct stat st;
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(Text(target), "a=2\n");
}

TEST(Hardening, SavingANewFileLeavesTheUmaskAlone) {
    const mode_t old = (mode_t)syscall(SYS_umask, 027);
    g_UmaskCalls = 0;
    const String path = Home() + "/new.ini";
    File::AtomicWrite(path, "x\n");
    EXPECT_EQ(g_UmaskCalls.load(), 0);
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    syscall(SYS_umask, old);
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
    auto connectIdle = [&](int count) {
        for (int i = 0; i < count; ++i) {
            idle.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            connect(idle.back(), (sockaddr*)&addr, sizeof addr); // the backlog may be full
        }
    };
    connectIdle(70);
    usleep(100000); // the listener takes what it takes; then more come
    connectIdle(10);
    EXPECT_TRUE(Application::IsRunning(name));
    String error;
    EXPECT_TRUE(app.SendRequest(name, "Ping", &error)) << error;
    for (int fd : idle)
        close(fd);
}
