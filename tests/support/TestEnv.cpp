#include "tests/support/TestEnv.h"

#include <ostrum/File.h>

#include <algorithm>
#include <cstdlib>
#include <dirent.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

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

bool WaitUntil(const std::function<bool()>& pred, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline) return pred();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace taviro_test
