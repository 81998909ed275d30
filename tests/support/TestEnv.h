// Test environment: every test gets a private temporary HOME (with the XDG folders inside it),
// so options and colour files never leak between tests or into the developer's home.
#pragma once

#include <ostrum/Exception.h>
#include <ostrum/String.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace taviro_test {

// The current test's private HOME.
String TempHome();
// A fresh folder inside the current test's HOME.
String MakeTempDir(const char* prefix = "dir");

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
