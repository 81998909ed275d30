// Small helpers shared by the ostrum unit tests.
#pragma once

#include "tests/support/TestEnv.h"

#include <ostrum/Exception.h>
#include <ostrum/String.h>

#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

// Failure messages show a String as text, not as a list of characters.
inline void PrintTo(const String& s, std::ostream* os) {
    *os << ::testing::PrintToString(static_cast<const std::string&>(s));
}

namespace ostrum_test {

using taviro_test::CatchException;

// The test's private home folder (fresh per test).
inline String Home() {
    const char* h = getenv("HOME");
    return String(h ? h : "");
}

// Entry names of a folder without "." and "..", sorted.
inline std::vector<String> ListDir(const String& dir) {
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

// Sets or removes an environment variable for one scope and puts the old state back.
class EnvVar {
public:
    explicit EnvVar(const char* name) : m_Name(name) {
        const char* v = getenv(name);
        m_Had = v != nullptr;
        if (v) m_Old = v;
    }
    EnvVar(const char* name, const String& value) : EnvVar(name) { Set(value); }
    ~EnvVar() {
        if (m_Had)
            setenv(m_Name.c_str(), m_Old.c_str(), 1);
        else
            unsetenv(m_Name.c_str());
    }
    void Set(const String& value) { setenv(m_Name.c_str(), value.c_str(), 1); }
    void Unset() { unsetenv(m_Name.c_str()); }
    EnvVar(const EnvVar&) = delete;
    EnvVar& operator=(const EnvVar&) = delete;

private:
    String m_Name;
    String m_Old;
    bool m_Had = false;
};

} // namespace ostrum_test
