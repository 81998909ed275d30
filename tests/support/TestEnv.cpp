#include "tests/support/TestEnv.h"

#include <ostrum/File.h>

#include <algorithm>
#include <cstdlib>
#include <dirent.h>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <sys/stat.h>
#include <unistd.h>

extern char** environ;

namespace taviro_test {
namespace {
String g_Home;
int g_Counter = 0;

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    return ::remove(path);
}

void RemoveTree(const String& path) {
    if (!path.empty()) nftw(path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

class _HomeListener : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo&) override {
        char tmpl[] = "/tmp/taviro-test-XXXXXX";
        const char* dir = mkdtemp(tmpl);
        ASSERT_NE(dir, nullptr);
        g_Home = dir;
        setenv("HOME", dir, 1);
        const String config = g_Home + "/.config", runtime = g_Home + "/run";
        mkdir(config.c_str(), 0700);
        mkdir(runtime.c_str(), 0700);
        setenv("XDG_CONFIG_HOME", config.c_str(), 1);
        setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
        setenv("XDG_CACHE_HOME", (g_Home + "/.cache").c_str(), 1);
        setenv("XDG_DATA_HOME", (g_Home + "/.local/share").c_str(), 1);
    }
    void OnTestEnd(const ::testing::TestInfo&) override {
        RemoveTree(g_Home);
        g_Home.clear();
    }
};
} // namespace

String TempHome() {
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
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d)) {
            const String name(e->d_name);
            if (name != "." && name != "..") out.push_back(name);
        }
        closedir(d);
    }
    std::sort(out.begin(), out.end());
    return out;
}

void WriteText(const String& path, const String& text) {
    File::AtomicWrite(path, text);
}

EnvVar::EnvVar(const char* name) : m_Name(name) {
    const char* v = getenv(name);
    m_Had = v != nullptr;
    if (v) m_Old = v;
}

EnvVar::~EnvVar() {
    if (m_Had)
        setenv(m_Name.c_str(), m_Old.c_str(), 1);
    else
        unsetenv(m_Name.c_str());
}

Child::Child(const String& program, std::vector<String> args, std::vector<String> env,
             bool blockTerm) {
    args.insert(args.begin(), program);
    int fds[2];
    EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
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
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, program.c_str(), &actions, &attr, argv.data(), envp.data()), 0);
    m_Pid = pid;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    close(fds[1]);
    m_Out = fds[0];
}

Child::~Child() {
    if (m_Pid > 0) {
        kill(m_Pid, SIGKILL);
        Wait();
    }
    close(m_Out);
}

String Child::ReadLine(int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const size_t nl = m_Buffer.find('\n');
        if (nl != String::npos) {
            String line = m_Buffer.substr(0, nl);
            m_Buffer.erase(0, nl + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              deadline - std::chrono::steady_clock::now())
                              .count();
        if (left <= 0) return String();
        pollfd p{m_Out, POLLIN, 0};
        if (poll(&p, 1, (int)left) <= 0) continue;
        char buf[256];
        const ssize_t n = read(m_Out, buf, sizeof buf);
        if (n <= 0) return String();
        m_Buffer.append(buf, (size_t)n);
    }
}

String Child::Output() {
    String out = m_Buffer;
    char buf[4096];
    for (ssize_t n; (n = read(m_Out, buf, sizeof buf)) > 0;)
        out.append(buf, (size_t)n);
    m_Buffer.clear();
    return out;
}

void Child::Kill(int sig) {
    if (m_Pid > 0) kill(m_Pid, sig);
}

int Child::Wait(int timeoutMs) {
    int status = 0;
    if (timeoutMs < 0) {
        waitpid(m_Pid, &status, 0);
    } else {
        for (int waited = 0; waitpid(m_Pid, &status, WNOHANG) == 0; waited += 20) {
            if (waited >= timeoutMs) return -1;
            usleep(20000);
        }
    }
    m_Pid = -1;
    return status;
}

bool WaitUntil(const std::function<bool()>& pred, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline) return pred();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace taviro_test
