// UID, Time, CommandLine, LibStatic, Mutex/RWLock, Log and Executable.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <atomic>
#include <ctime>
#include <set>
#include <unordered_map>

using taviro_test::CatchException;
using taviro_test::Home;
using taviro_test::WaitUntil;
using Strings = std::vector<String>;

// ---- UID ----

TEST(UID, GeneratedTextFormAndBadText) {
    std::set<UID> seen;
    for (int i = 0; i < 1000; ++i)
        seen.insert(UID(true));
    EXPECT_EQ(seen.size(), 1000u);
    EXPECT_EQ(seen.count(UID::Null), 0u);
    EXPECT_TRUE(UID(false).IsNull());
    const uint8_t bytes[16] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,
                               0x08, 0x09, 0xab, 0xcd, 0xef, 0x10, 0xfe, 0xff};
    const UID known = UID::FromBytes(bytes);
    EXPECT_EQ(known.ToString(), "00010203-0405-0607-0809-abcdef10feff");
    EXPECT_EQ(UID("{" + known.ToString().Upper() + "}", false), known);
    std::unordered_map<UID, int> hashed{{known, 1}, {UID(true), 2}};
    hashed[UID(known.ToString(), true)] = 10; // an equal copy replaces
    EXPECT_EQ(hashed.size(), 2u);
    for (const String text :
         {"", "00010203-0405-0607-0809-abcdef10fef", "00010203-0405-0607-0809-abcdef10feff0",
          "0001020304050607-0809-abcdef10feff-", "00010203-0405-0607-0809-abcdef10fefg",
          "{00010203-0405-0607-0809-abcdef10feff0", "00010203-0405-0607-0809+abcdef10feff"}) {
        EXPECT_TRUE(UID(text, false).IsNull()) << text;
        auto e = CatchException([&] { UID u(text, true); });
        ASSERT_TRUE(e) << text;
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrFormat);
    }
}

// ---- Time ----

TEST(Time, FormatDuration) {
    constexpr int64_t kSec = 1000000, kHour = 3600 * kSec;
    auto fmt = [](int64_t micros, int parts = 2, int smallest = Time::k_Second,
                  int largest = Time::k_Hour, bool shortNames = true, int width = 0,
                  int64_t limit = 0) {
        return Time::FormatDuration(micros, smallest, largest, parts, shortNames, width, '_',
                                    limit);
    };
    EXPECT_LT(std::llabs(Time::CurrentTime() - (int64_t)time(nullptr) * kSec), 5 * kSec);
    EXPECT_EQ(fmt(3723 * kSec), "1h 2m");
    EXPECT_EQ(fmt(3723 * kSec, 3), "1h 2m 3s");
    EXPECT_EQ(fmt(999999), "0s"); // below the smallest unit
    EXPECT_EQ(fmt(90 * 60 * kSec, 2, Time::k_Second, Time::k_Minute), "90m");
    EXPECT_EQ(fmt(1500, 2, Time::k_Micro, Time::k_Milli), "1ms 500us");
    EXPECT_EQ(fmt(2 * 86400 * kSec + 3 * kHour, 2, Time::k_Second, Time::k_Day), "2d 3h");
    EXPECT_EQ(fmt(3605 * kSec, 3), "1h 0m 5s"); // a zero between shown parts stays
    EXPECT_EQ(fmt(3605 * kSec, 2), "1h");       // trailing zero parts go
    EXPECT_EQ(fmt(3661 * kSec, 3, Time::k_Second, Time::k_Hour, false), "1 hour 1 minute 1 second");
    EXPECT_EQ(fmt(7322 * kSec, 3, Time::k_Second, Time::k_Hour, false),
              "2 hours 2 minutes 2 seconds");
    EXPECT_EQ(fmt(-3723 * kSec), "-1h 2m");
    EXPECT_EQ(fmt(-500000), "0s"); // rounds to zero: no "-0s"
    EXPECT_EQ(fmt(INT64_MIN, 1, Time::k_Day, Time::k_Day), "-106751991d");
    EXPECT_EQ(fmt(-45 * kSec, 2, Time::k_Second, Time::k_Hour, true, 6), "__-45s");
    EXPECT_EQ(fmt(45 * kSec, 2, Time::k_Second, Time::k_Hour, true, 2), "45s"); // never cut
    EXPECT_EQ(fmt(2 * kHour, 2, Time::k_Second, Time::k_Hour, true, 7, kHour), "___> 1h");
    EXPECT_EQ(fmt(kHour, 2, Time::k_Second, Time::k_Hour, true, 0, kHour), "1h");
    EXPECT_EQ(fmt(-2 * kHour, 2, Time::k_Second, Time::k_Hour, true, 0, kHour), "< -1h");
    EXPECT_EQ(fmt(90 * kSec, 0, Time::k_Minute, Time::k_Second), "1m"); // bounds, parts clamped
}

// ---- CommandLine ----

TEST(CommandLine, ParsesOptionsFlagsAndPositionals) {
    const char* argv[] = {"./bin/taviro", "--name", "x",  "pos1",     "--level=a=3", "--verbose",
                          "-5",           "-",      "--", "--notopt", nullptr};
    CommandLine cl(10, argv);
    cl.ParseOptions({"name", "level", "path"}, {"verbose", "quiet"});
    EXPECT_EQ(cl.GetProgramName(), "taviro");
    EXPECT_EQ(cl.GetOption("name"), "x");
    EXPECT_EQ(cl.GetOption("level"), "a=3");
    EXPECT_TRUE(cl.HasOption("verbose"));
    EXPECT_FALSE(cl.HasOption("quiet"));
    EXPECT_EQ(cl.GetOption("path", "def"), "def");
    EXPECT_EQ(cl.GetPositional(), (Strings{"pos1", "-5", "-", "--notopt"}));
    CommandLine last({"prog", "--name=", "--name=last"});
    last.ParseOptions({"name"}, {});
    EXPECT_EQ(last.GetOption("name", "def"), "last");
    // Bad options throw, naming the option; an option is no value.
    for (const Strings& args : std::vector<Strings>{{"prog", "--bogus"},
                                                    {"prog", "-v"},
                                                    {"prog", "--name"},
                                                    {"prog", "--verbose=1"},
                                                    {"prog", "--name", "--verbose"}}) {
        CommandLine bad(args);
        auto e = CatchException([&] { bad.ParseOptions({"name"}, {"verbose"}); });
        ASSERT_TRUE(e) << args[1];
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrArgument);
        EXPECT_NE(e->GetDetail().find(args[1].substr(0, args[1].find('='))), String::npos)
            << e->Format();
    }
}

// ---- LibStatic ----

namespace {
struct Probe : LibStatic {
    Probe(const String& name, const String& tag, Strings* calls, bool selfDelete = false)
        : LibStatic(name), m_Tag(tag), m_Calls(calls), m_SelfDelete(selfDelete) {}
    void OnLibCleanup() override {
        m_Calls->push_back(m_Tag);
        if (m_SelfDelete) delete this;
    }
    String m_Tag;
    Strings* m_Calls;
    bool m_SelfDelete;
};
} // namespace

TEST(LibStatic, CleanupRunsNewestFirstOnceAndOnlyForLiveObjects) {
    Strings calls;
    { Probe gone("lib", "gone", &calls); }
    Probe a1("alpha", "a1", &calls);
    Probe b("beta", "b", &calls);
    delete new Probe("beta", "deleted", &calls);
    Probe a2("alpha", "a2", &calls);
    new Probe("beta", "self", &calls, true); // deletes itself when cleaned
    LibStatic::Cleanup("alpha");
    EXPECT_EQ(calls, (Strings{"a2", "a1"}));
    LibStatic::Cleanup("alpha");
    LibStatic::CleanupAll();
    LibStatic::CleanupAll();
    EXPECT_EQ(calls, (Strings{"a2", "a1", "self", "b"}));
    EXPECT_EQ(LibStatic::Count(), 0u);
}

// ---- Mutex and RWLock ----

namespace {
template <class F>
auto OnOtherThread(F f) -> decltype(f()) {
    decltype(f()) r{};
    std::thread([&] { r = f(); }).join();
    return r;
}
} // namespace

TEST(Mutex, IsRecursiveAndKnowsItsOwner) {
    Mutex m;
    m.Lock();
    EXPECT_TRUE(m.IsLockedByCurrentThread());
    EXPECT_TRUE(m.TryLock()); // the owner may enter again
    EXPECT_FALSE(OnOtherThread([&] { return m.TryLock() || m.IsLockedByCurrentThread(); }));
    EXPECT_EQ(OnOtherThread([&] { return m.EntryCount(); }), 0u);
    m.Unlock();
    EXPECT_FALSE(OnOtherThread([&] { return m.TryLock(); })); // still held once
    m.Unlock();
    EXPECT_FALSE(m.IsLockedByCurrentThread());
    EXPECT_TRUE(OnOtherThread([&] { return m.TryLock() && (m.Unlock(), true); }));
}

TEST(RWLock, WriterMayReenterAndWaitsForEveryReadEntry) {
    RWLock l;
    l.WriteLock();
    std::atomic<bool> reading{false}, writing{false};
    std::thread reader([&] {
        RWLock::ReadGuard g(l);
        reading = true;
    });
    l.ReadLock();
    l.WriteLock();
    EXPECT_FALSE(OnOtherThread([&] { return l.IsWriteLockedByCurrentThread(); }));
    l.WriteUnlock();
    l.ReadUnlock();
    EXPECT_TRUE(l.IsWriteLockedByCurrentThread());
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(reading.load()); // another thread's reader waits for the writer
    l.WriteUnlock();
    EXPECT_FALSE(l.IsWriteLockedByCurrentThread());
    EXPECT_TRUE(WaitUntil([&] { return reading.load(); }));
    reader.join();

    l.ReadLock();
    l.ReadLock(); // a reader may read again, and readers share
    EXPECT_TRUE(OnOtherThread([&] { return RWLock::ReadGuard(l), true; }));
    std::thread writer([&] {
        RWLock::WriteGuard g(l);
        writing = true;
    });
    l.ReadUnlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(writing.load()); // one read entry is still held
    l.ReadUnlock();
    EXPECT_TRUE(WaitUntil([&] { return writing.load(); }));
    writer.join();
}

// ---- Log ----

TEST(Log, WritesRecordsAtOrBelowTheLevelAndAppends) {
    const String path = Home() + "/logs/sub/farm.log";
    Log log;
    log.SetEchoLevel(-1);
    log.SetLevel(LL_Debug);
    log.Write(LL_Debug, "early"); // kept until the first Open
    log.SetLevel(LL_Warning);
    log.Open(path); // creates the folders
    const int fd = log.GetFd();
    log.Open(path);
    log.Open(path); // each Open closes the replaced file: the lowest free number comes back
    EXPECT_EQ(log.GetFd(), fd);
    log.Write(LL_Error, "first");
    log.Write(LL_Debug, "dropped");
    EXPECT_TRUE(CatchException([&] { log.Open(path + "/not-a-folder/x.log"); }));
    log.Write(LL_Warning, "second"); // still into the first file
    log.Close();
    log.Write(LL_Fatal, "after close");
    log.Open(path);
    log.Write(LL_Fatal, "appended");
    log.Close();
    // One line per record, in order, each with its level name and its text.
    const Strings lines = StringTokenizer(File::ReadAll(path), "\n", true).GetTokens();
    ASSERT_EQ(lines.size(), 4u);
    const char* expected[] = {"DEBUG",   "early",  "ERROR", "first",
                              "WARNING", "second", "FATAL", "appended"};
    for (int i = 0; i < 8; ++i)
        EXPECT_NE(lines[i / 2].find(expected[i]), String::npos) << lines[i / 2];
}

// ---- Executable ----

TEST(Executable, StopWakesTheWaiterAndADeadExecutableIsNoLongerCurrent) {
    {
        Executable exe(nullptr);
        Executable::SetCurrent(&exe);
        std::atomic<bool> woke{false};
        std::thread waiter([&] { woke = exe.WaitForStop(20000); });
        std::this_thread::sleep_for(std::chrono::milliseconds(30)); // let it wait first
        exe.Signal(0);
        EXPECT_TRUE(WaitUntil([&] { return woke.load(); })); // long before its own time-out
        waiter.join();
    }
    EXPECT_EQ(Executable::GetCurrent(), nullptr);
}
