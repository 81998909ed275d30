// Test environment: every test gets a private temporary HOME (with the XDG folders inside it),
// so options and colour files never leak between tests or into the developer's home.
#pragma once

#include <ostrum/String.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
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

} // namespace taviro_test
