#include "tests/support/TestEnv.h"

#include <ostrum/File.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace taviro_test {
namespace {
String g_Home;
int g_Counter = 0;

class _HomeListener : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo&) override {
        char tmpl[] = "/tmp/taviro-test-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        g_Home = tmpl;
        setenv("HOME", tmpl, 1);
        for (const char* dir : {"/.config", "/run"})
            mkdir((g_Home + dir).c_str(), 0700);
        for (auto [name, dir] : {std::pair{"XDG_CONFIG_HOME", "/.config"},
                                 {"XDG_RUNTIME_DIR", "/run"},
                                 {"XDG_CACHE_HOME", "/.cache"},
                                 {"XDG_DATA_HOME", "/.local/share"}})
            setenv(name, (g_Home + dir).c_str(), 1);
    }
    void OnTestEnd(const ::testing::TestInfo&) override {
        std::error_code ignored;
        std::filesystem::remove_all(g_Home.c_str(), ignored);
        g_Home.clear();
    }
};
} // namespace

String Home() {
    return g_Home;
}

String MakeTempDir(const char* prefix) {
    const String dir = g_Home + "/" + prefix + "-" + String::FromInt(++g_Counter);
    mkdir(dir.c_str(), 0700);
    return dir;
}

void InstallTestEnvironment() {
    ::testing::UnitTest::GetInstance()->listeners().Append(new _HomeListener);
}

std::vector<String> ListDir(const String& dir) {
    std::vector<String> out;
    std::error_code ignored;
    for (const auto& e : std::filesystem::directory_iterator(dir.c_str(), ignored))
        out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

Child::Child(const String& program, std::vector<String> args, std::vector<String> env,
             bool blockTerm) {
    args.insert(args.begin(), program);
    int fds[2], in[2];
    EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t mask;
    sigemptyset(&mask);
    if (blockTerm) sigaddset(&mask, SIGTERM);
    posix_spawnattr_setsigmask(&attr, &mask);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK);
    std::vector<char*> argv, envp;
    for (auto& a : args)
        argv.push_back(&a[0]);
    for (char** e = environ; *e; ++e)
        if (std::none_of(env.begin(), env.end(), [&](const String& v) {
                return strncmp(*e, v.c_str(), v.find('=') + 1) == 0;
            }))
            envp.push_back(*e);
    for (auto& e : env)
        envp.push_back(&e[0]);
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, program.c_str(), &actions, &attr, argv.data(), envp.data()), 0);
    m_Pid = pid;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    close(fds[1]);
    close(in[0]);
    m_Out = fds[0];
    m_In = in[1];
}

Child::~Child() {
    Kill(SIGKILL);
    if (m_Pid > 0) Wait();
    close(m_Out);
    close(m_In);
}

void Child::Write(const String& line) {
    signal(SIGPIPE, SIG_IGN); // a child that died answers nothing; the test notices that
    const String text = line + "\n";
    EXPECT_EQ(write(m_In, text.data(), text.size()), (ssize_t)text.size());
}

String Child::ReadLine(int timeoutMs) {
    using namespace std::chrono;
    const auto deadline = steady_clock::now() + milliseconds(timeoutMs);
    size_t nl;
    while ((nl = m_Buffer.find('\n')) == String::npos) {
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        if (left <= 0) return String();
        pollfd p{m_Out, POLLIN, 0};
        if (poll(&p, 1, (int)left) <= 0) continue;
        char buf[256];
        const ssize_t n = read(m_Out, buf, sizeof buf);
        if (n <= 0) return String();
        m_Buffer.append(buf, (size_t)n);
    }
    String line = m_Buffer.substr(0, nl);
    m_Buffer.erase(0, nl + 1);
    return line;
}

String Child::Output() {
    char buf[4096];
    for (ssize_t n; (n = read(m_Out, buf, sizeof buf)) > 0;)
        m_Buffer.append(buf, (size_t)n);
    return std::exchange(m_Buffer, String());
}

void Child::Kill(int sig) {
    if (m_Pid > 0) kill(m_Pid, sig);
}

int Child::Wait(int timeoutMs) {
    int status = 0;
    for (int waited = 0; waitpid(m_Pid, &status, timeoutMs < 0 ? 0 : WNOHANG) == 0; waited += 20) {
        if (waited >= timeoutMs) return -1;
        usleep(20000);
    }
    m_Pid = -1;
    return status;
}

bool WaitUntil(const std::function<bool()>& pred, int timeoutMs) {
    using namespace std::chrono;
    for (const auto deadline = steady_clock::now() + milliseconds(timeoutMs);
         steady_clock::now() < deadline; std::this_thread::sleep_for(milliseconds(1)))
        if (pred()) return true;
    return pred();
}

} // namespace taviro_test
