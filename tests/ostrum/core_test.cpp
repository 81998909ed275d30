// UID, Time, CommandLine, LibStatic, Mutex/RWLock and Log.
#include "tests/ostrum/TestUtil.h"
#include "tests/support/TestEnv.h"

#include <ostrum/CommandLine.h>
#include <ostrum/Exception.h>
#include <ostrum/File.h>
#include <ostrum/LibStatic.h>
#include <ostrum/Lock.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>
#include <ostrum/Time.h>
#include <ostrum/UID.h>

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <map>
#include <set>
#include <thread>
#include <unordered_map>

using ostrum_test::CatchException;
using ostrum_test::Home;
using taviro_test::WaitUntil;
using Strings = std::vector<String>;

// ---- UID ----

TEST(UID, GeneratedIdentifiersAreDistinctAndNotNull) {
    std::set<UID> seen;
    for (int i = 0; i < 1000; ++i)
        seen.insert(UID(true));
    EXPECT_EQ(seen.size(), 1000u);
    EXPECT_EQ(seen.count(UID::Null), 0u);
    EXPECT_TRUE(UID(false).IsNull());
    EXPECT_TRUE(UID().IsNull());
    EXPECT_EQ(UID::Null.ToString(), "00000000-0000-0000-0000-000000000000");
}

TEST(UID, TextFormRoundTrips) {
    const uint8_t bytes[16] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07,
                               0x08, 0x09, 0xab, 0xcd, 0xef, 0x10, 0xfe, 0xff};
    const UID known = UID::FromBytes(bytes);
    EXPECT_EQ(known.ToString(), "00010203-0405-0607-0809-abcdef10feff");
    EXPECT_EQ(memcmp(known.Bytes(), bytes, 16), 0);
    for (int i = 0; i < 20; ++i) {
        const UID u(true);
        const String text = u.ToString();
        EXPECT_EQ(UID(text, true), u);
        EXPECT_EQ(UID("{" + text.Upper() + "}", false), u);
    }
}

TEST(UID, BadTextGivesNullOrThrows) {
    const Strings bad = {
        "",
        "00010203-0405-0607-0809-abcdef10fef",   // one digit short
        "00010203-0405-0607-0809-abcdef10feff0", // one digit too many
        "0001020304050607-0809-abcdef10feff-",   // dashes misplaced
        "00010203-0405-0607-0809-abcdef10fefg",  // not hex
        "00010203_0405_0607_0809_abcdef10feff",  // wrong separator
        "00010203-0405-0607-0809- bcdef10feff",  // no white space inside
        "{00010203-0405-0607-0809-abcdef10feff", // unbalanced brace
        "00010203-0405-0607-0809-abcdef10feff}",
    };
    for (const String& text : bad) {
        EXPECT_TRUE(UID(text, false).IsNull()) << text;
        auto e = CatchException([&] { UID u(text, true); });
        ASSERT_TRUE(e) << text;
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrFormat);
    }
}

TEST(UID, UsableAsMapKey) {
    const UID a(true), b(true);
    std::map<UID, int> ordered{{a, 1}, {b, 2}};
    std::unordered_map<UID, int> hashed{{a, 1}, {b, 2}};
    hashed[UID(a.ToString(), true)] = 10; // an equal copy replaces
    ordered[UID(a.ToString(), true)] = 10;
    EXPECT_EQ(hashed.size(), 2u);
    EXPECT_EQ(ordered.at(a), 10);
    EXPECT_EQ(hashed.at(a), 10);
    EXPECT_EQ(hashed.at(b), 2);
    EXPECT_NE(a < b, b < a);
}

// ---- Time ----

TEST(Time, CurrentTimeIsMicrosecondsSinceEpoch) {
    const int64_t now = Time::CurrentTime();
    const int64_t ref = (int64_t)time(nullptr) * 1000000;
    EXPECT_LT(std::llabs(now - ref), 5LL * 1000000);
    const int64_t a = Time::Monotonic(), b = Time::Monotonic();
    EXPECT_LE(a, b);
}

namespace {
constexpr int64_t kSec = 1000000;

String Short(int64_t micros, int maxParts = 2, int smallest = Time::k_Second,
             int largest = Time::k_Hour) {
    return Time::FormatDuration(micros, smallest, largest, maxParts, true, 0, ' ', 0);
}
String Long(int64_t micros, int maxParts = 3) {
    return Time::FormatDuration(micros, Time::k_Second, Time::k_Hour, maxParts, false, 0, ' ', 0);
}
} // namespace

TEST(Time, FormatDurationParts) {
    EXPECT_EQ(Short(3723 * kSec), "1h 2m");
    EXPECT_EQ(Short(3723 * kSec, 3), "1h 2m 3s");
    EXPECT_EQ(Short(3723 * kSec, 1), "1h");
    EXPECT_EQ(Short(999999), "0s"); // below the smallest unit
    EXPECT_EQ(Short(59 * kSec + 999999, 2, Time::k_Minute), "0m");
    EXPECT_EQ(Short(90 * 60 * kSec, 2, Time::k_Second, Time::k_Minute), "90m");
    EXPECT_EQ(Short(1500, 2, Time::k_Micro, Time::k_Milli), "1ms 500us");
    EXPECT_EQ(Short(2 * 86400 * kSec + 3 * 3600 * kSec, 2, Time::k_Second, Time::k_Day), "2d 3h");
    // A zero part between two shown ones stays; trailing zero parts go.
    EXPECT_EQ(Short(3605 * kSec, 3), "1h 0m 5s");
    EXPECT_EQ(Short(3605 * kSec, 2), "1h");
    EXPECT_EQ(Short(86400 * kSec, 3, Time::k_Second, Time::k_Day), "1d");
    // Long names pluralise.
    EXPECT_EQ(Long(3661 * kSec), "1 hour 1 minute 1 second");
    EXPECT_EQ(Long(7322 * kSec), "2 hours 2 minutes 2 seconds");
    EXPECT_EQ(Long(0), "0 seconds");
}

TEST(Time, FormatDurationNegative) {
    EXPECT_EQ(Short(-3723 * kSec), "-1h 2m");
    EXPECT_EQ(Short(-500000), "0s"); // rounds to zero: no "-0s"
    EXPECT_EQ(Long(-500000), "0 seconds");
    EXPECT_EQ(Long(-2 * kSec), "-2 seconds");
    EXPECT_EQ(Short(INT64_MIN, 1, Time::k_Day, Time::k_Day), "-106751991d");
}

TEST(Time, FormatDurationWidthAndLimit) {
    auto format = [](int64_t micros, int width, char fill, int64_t limit) {
        return Time::FormatDuration(micros, Time::k_Second, Time::k_Hour, 2, true, width, fill,
                                    limit);
    };
    const int64_t hour = 3600 * kSec;
    EXPECT_EQ(format(45 * kSec, 6, '.', 0), "...45s");
    EXPECT_EQ(format(45 * kSec, 2, '.', 0), "45s"); // never cut
    EXPECT_EQ(format(-45 * kSec, 6, ' ', 0), "  -45s");
    EXPECT_EQ(format(2 * hour, 0, ' ', hour), "> 1h");
    EXPECT_EQ(format(hour, 0, ' ', hour), "1h"); // at the limit is not beyond it
    EXPECT_EQ(format(2 * hour, 7, '_', hour), "___> 1h");
}

// ---- CommandLine ----

TEST(CommandLine, ParsesOptionsFlagsAndPositionals) {
    CommandLine cl({"/usr/local/bin/taviro", "--name", "x", "pos1", "--level=3", "--verbose",
                    "pos2", "-", "--", "--notopt", "-x"});
    EXPECT_EQ(cl.GetProgram(), "/usr/local/bin/taviro");
    EXPECT_EQ(cl.GetArguments().size(), 10u);
    cl.ParseOptions({"name", "level"}, {"verbose", "quiet"});
    EXPECT_EQ(cl.GetOption("name"), "x");
    EXPECT_EQ(cl.GetOption("level"), "3");
    EXPECT_TRUE(cl.HasOption("verbose"));
    EXPECT_FALSE(cl.HasOption("quiet"));
    EXPECT_EQ(cl.GetOption("quiet", "def"), "def");
    EXPECT_EQ(cl.GetPositional(), (Strings{"pos1", "pos2", "-", "--notopt", "-x"}));
}

TEST(CommandLine, ValuesAfterEqualsSign) {
    CommandLine cl({"prog", "--name=", "--path=a=b", "--name=last"});
    cl.ParseOptions({"name", "path"}, {});
    EXPECT_EQ(cl.GetOption("path"), "a=b");
    EXPECT_EQ(cl.GetOption("name", "def"), "last");
    EXPECT_TRUE(cl.GetPositional().empty());
    CommandLine empty({"prog", "--name="});
    empty.ParseOptions({"name"}, {});
    EXPECT_TRUE(empty.HasOption("name"));
    EXPECT_EQ(empty.GetOption("name", "def"), "");
}

TEST(CommandLine, BadOptionsThrowNamingTheOption) {
    struct Case {
        Strings args;
        const char* option;
    };
    const Case cases[] = {
        {{"prog", "--bogus"}, "--bogus"},
        {{"prog", "-v"}, "-v"},
        {{"prog", "--name"}, "--name"},
        {{"prog", "--verbose=1"}, "--verbose"},
        {{"prog", "--name", "--verbose"}, "--name"}, // an option is no value
    };
    for (const Case& c : cases) {
        CommandLine cl(c.args);
        auto e = CatchException([&] { cl.ParseOptions({"name"}, {"verbose"}); });
        ASSERT_TRUE(e) << c.option;
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrArgument);
        EXPECT_NE(e->GetDetail().find(c.option), String::npos) << e->Format();
    }
}

TEST(CommandLine, NegativeNumbersArePositionalAndArgvWorks) {
    const char* argv[] = {"./build/bin/tool", "-5", "--name", "x", "-0.5", nullptr};
    CommandLine cl(5, argv);
    cl.ParseOptions({"name"}, {});
    EXPECT_EQ(cl.GetProgramName(), "tool");
    EXPECT_EQ(cl.GetOption("name"), "x");
    EXPECT_EQ(cl.GetPositional(), (Strings{"-5", "-0.5"}));
    EXPECT_EQ(CommandLine({"plain"}).GetProgramName(), "plain");
    EXPECT_EQ(CommandLine().GetProgramName(), "");
}

// ---- LibStatic ----

namespace {
class Probe : public LibStatic {
public:
    Probe(const String& name, const String& tag, Strings* calls, bool selfDelete = false,
          bool* destroyed = nullptr)
        : LibStatic(name), m_Tag(tag), m_Calls(calls), m_SelfDelete(selfDelete),
          m_Destroyed(destroyed) {}
    ~Probe() override {
        if (m_Destroyed) *m_Destroyed = true;
    }
    void OnLibCleanup() override {
        m_Calls->push_back(m_Tag);
        if (m_SelfDelete) delete this;
    }

private:
    String m_Tag;
    Strings* m_Calls;
    bool m_SelfDelete;
    bool* m_Destroyed;
};
} // namespace

TEST(LibStatic, CleanupAllRunsNewestFirstAndOnce) {
    const size_t base = LibStatic::Count();
    Strings calls;
    bool heapGone = false;
    Probe a("lib", "a", &calls);
    Probe b("lib", "b", &calls);
    new Probe("other", "c", &calls, true, &heapGone); // deletes itself when cleaned
    EXPECT_EQ(LibStatic::Count(), base + 3);
    LibStatic::CleanupAll();
    EXPECT_EQ(calls, (Strings{"c", "b", "a"}));
    EXPECT_TRUE(heapGone);
    EXPECT_EQ(LibStatic::Count(), 0u);
    LibStatic::CleanupAll();
    EXPECT_EQ(calls.size(), 3u);
}

TEST(LibStatic, DestroyedObjectsAreNotCalled) {
    Strings calls;
    { Probe gone("lib", "gone", &calls); }
    auto* heap = new Probe("lib", "heap", &calls);
    Probe kept("lib", "kept", &calls);
    delete heap;
    LibStatic::CleanupAll();
    EXPECT_EQ(calls, (Strings{"kept"}));
}

TEST(LibStatic, CleanupByNameCallsOnlyThatName) {
    Strings calls;
    Probe a1("alpha", "a1", &calls);
    Probe b("beta", "b", &calls);
    Probe a2("alpha", "a2", &calls);
    const size_t before = LibStatic::Count();
    LibStatic::Cleanup("alpha");
    EXPECT_EQ(calls, (Strings{"a2", "a1"}));
    EXPECT_EQ(LibStatic::Count(), before - 2);
    LibStatic::Cleanup("alpha");
    EXPECT_EQ(calls.size(), 2u);
    LibStatic::CleanupAll();
    EXPECT_EQ(calls, (Strings{"a2", "a1", "b"}));
}

// ---- Mutex and RWLock ----

namespace {
// Runs f on another thread and returns its result.
template <class F>
auto OnOtherThread(F f) -> decltype(f()) {
    decltype(f()) r{};
    std::thread t([&] { r = f(); });
    t.join();
    return r;
}
} // namespace

TEST(Mutex, IsRecursiveAndKnowsItsOwner) {
    Mutex m;
    EXPECT_FALSE(m.IsLockedByCurrentThread());
    EXPECT_EQ(m.EntryCount(), 0u);
    m.Lock();
    m.Lock();
    EXPECT_TRUE(m.IsLockedByCurrentThread());
    EXPECT_EQ(m.EntryCount(), 2u);
    EXPECT_TRUE(m.TryLock()); // the owner may enter again
    EXPECT_EQ(m.EntryCount(), 3u);
    m.Unlock();

    EXPECT_FALSE(OnOtherThread([&] { return m.TryLock(); }));
    EXPECT_FALSE(OnOtherThread([&] { return m.IsLockedByCurrentThread(); }));
    EXPECT_EQ(OnOtherThread([&] { return m.EntryCount(); }), 0u);

    m.Unlock();
    EXPECT_EQ(m.EntryCount(), 1u);
    EXPECT_FALSE(OnOtherThread([&] { return m.TryLock(); })); // still held once
    m.Unlock();
    EXPECT_FALSE(m.IsLockedByCurrentThread());
    EXPECT_TRUE(OnOtherThread([&] {
        const bool got = m.TryLock();
        if (got) m.Unlock();
        return got;
    }));
    {
        Mutex::Guard g(m);
        std::lock_guard<Mutex> again(m);
        EXPECT_EQ(m.EntryCount(), 2u);
    }
    EXPECT_EQ(m.EntryCount(), 0u);
}

TEST(RWLock, WriterMayReadAndWriteAgain) {
    RWLock l;
    l.WriteLock();
    l.ReadLock();
    l.WriteLock();
    EXPECT_TRUE(l.IsWriteLockedByCurrentThread());
    EXPECT_FALSE(OnOtherThread([&] { return l.IsWriteLockedByCurrentThread(); }));
    l.WriteUnlock();
    l.ReadUnlock();
    EXPECT_TRUE(l.IsWriteLockedByCurrentThread());
    l.WriteUnlock();
    EXPECT_FALSE(l.IsWriteLockedByCurrentThread());
    // Fully released: another thread gets the write lock.
    EXPECT_TRUE(OnOtherThread([&] {
        RWLock::WriteGuard g(l);
        return l.IsWriteLockedByCurrentThread();
    }));
}

TEST(RWLock, WriterWaitsForReaders) {
    RWLock l;
    l.ReadLock();
    l.ReadLock(); // a reader may read again
    EXPECT_TRUE(OnOtherThread([&] { return RWLock::ReadGuard(l), true; })); // readers share
    std::atomic<bool> writing{false};
    std::thread t([&] {
        l.WriteLock();
        writing = true;
        l.WriteUnlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(writing.load());
    l.ReadUnlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(writing.load()); // one read entry is still held
    l.ReadUnlock();
    EXPECT_TRUE(WaitUntil([&] { return writing.load(); }));
    t.join();
}

TEST(RWLock, ReaderWaitsForWriter) {
    RWLock l;
    l.WriteLock();
    std::atomic<bool> reading{false};
    std::thread t([&] {
        RWLock::ReadGuard g(l);
        reading = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(reading.load());
    l.WriteUnlock();
    EXPECT_TRUE(WaitUntil([&] { return reading.load(); }));
    t.join();
}

// ---- Log ----

TEST(Log, WritesRecordsAtOrBelowTheLevel) {
    const String path = Home() + "/logs/sub/farm.log";
    Log log;
    log.SetEchoLevel(-1);
    log.SetLevel(LL_Warning);
    log.Open(path); // creates the folders
    log.Write(LL_Error, "first record");
    log.Write(LL_Debug, "dropped record");
    log.Write(LL_Warning, "second record");

    // A file that cannot be opened leaves the previous one in use.
    auto e = CatchException([&] { log.Open(path + "/not-a-folder/x.log"); });
    ASSERT_TRUE(e);
    EXPECT_EQ(log.GetFileName(), path);
    log.Write(LL_Fatal, "third record");
    log.Close();
    EXPECT_EQ(log.GetFd(), -1);
    log.Write(LL_Fatal, "after close");

    const String text = File::ReadAll(path);
    EXPECT_EQ(text.find("dropped"), String::npos);
    EXPECT_EQ(text.find("after close"), String::npos);
    // One line per record, in order, each with its level name and its text.
    const Strings lines = StringTokenizer(text, "\n", true).GetTokens();
    ASSERT_EQ(lines.size(), 3u);
    const char* expected[][2] = {{"ERROR", "first"}, {"WARNING", "second"}, {"FATAL", "third"}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(lines[i].find(expected[i][0]), String::npos) << lines[i];
        EXPECT_NE(lines[i].find(expected[i][1]), String::npos) << lines[i];
    }
    EXPECT_EQ(text.back(), '\n');

    // Opening again appends.
    log.Open(path);
    log.Write(LL_Error, "appended");
    log.Close();
    const String more = File::ReadAll(path);
    EXPECT_EQ(more.substr(0, text.size()), text);
    EXPECT_NE(more.find("appended", text.size()), String::npos);
}
