// Test environment: every test gets a private temporary HOME (with the XDG folders inside it),
// so options and colour files never leak between tests or into the developer's home.
#pragma once

#include <ostrum/Exception.h>
#include <ostrum/String.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

// Failure messages show a String as text, not as a list of characters.
inline void PrintTo(const String& s, std::ostream* os) {
    *os << ::testing::PrintToString(static_cast<const std::string&>(s));
}

namespace taviro_test {

// The current test's private HOME, and a fresh folder inside it.
String Home();
String MakeTempDir(const char* prefix = "dir");
// Entry names of a folder without "." and "..", sorted.
std::vector<String> ListDir(const String& dir);

// Sets or removes an environment variable for one scope and puts the old state back.
class EnvVar {
public:
    explicit EnvVar(const char* name) : m_Name(name) {
        if (const char* v = getenv(name)) m_Old = String(v);
    }
    EnvVar(const char* name, const String& value) : EnvVar(name) { Set(value); }
    ~EnvVar() { m_Old ? Set(*m_Old) : Unset(); }
    void Set(const String& value) { setenv(m_Name.c_str(), value.c_str(), 1); }
    void Unset() { unsetenv(m_Name.c_str()); }
    EnvVar(const EnvVar&) = delete;
    EnvVar& operator=(const EnvVar&) = delete;

private:
    String m_Name;
    std::optional<String> m_Old;
};

// A child program with its standard input writable and its standard output readable; killed
// (SIGKILL) if still running when the object goes. env entries "NAME=value" replace or add
// variables; blockTerm starts it with SIGTERM blocked, as from a parent that blocks it around fork.
class Child {
public:
    Child(const String& program, std::vector<String> args, std::vector<String> env = {},
          bool blockTerm = false);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    // Writes a line to the child's standard input.
    void Write(const String& line);
    // The next line of output, or "" after the time-out or at the end.
    String ReadLine(int timeoutMs = 10000);
    // All the output up to the end.
    String Output();
    void Kill(int sig);
    int GetPid() const { return m_Pid; }
    // The wait status; -1 when still running after timeoutMs (< 0: wait as long as it takes).
    int Wait(int timeoutMs = -1);

private:
    int m_Pid = -1;
    int m_Out = -1, m_In = -1;
    String m_Buffer;
};

// Installs the per-test HOME. Called by the test mains.
void InstallTestEnvironment();

// Waits without an event loop until pred holds or the deadline passes (toolkit-free code).
bool WaitUntil(const std::function<bool()>& pred, int timeoutMs = 10000);

// Runs f, which is expected to throw Exception*; returns it (owned) or null when nothing was
// thrown, so a test can check code, message and detail and never leaks the pointer.
template <class F>
std::unique_ptr<Exception> CatchException(F&& f) {
    try {
        f();
    } catch (Exception* e) {
        return std::unique_ptr<Exception>(e);
    }
    return nullptr;
}

} // namespace taviro_test
