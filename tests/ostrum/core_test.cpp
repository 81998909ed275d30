// The foundation's core: strings, tokenizer, UID, Time, CommandLine, LibStatic, locks, Log.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <atomic>
#include <climits>
#include <ctime>
#include <map>
#include <set>
#include <unordered_map>

using taviro_test::CatchException;
using taviro_test::WaitUntil;
using Strings = std::vector<String>;

// ---- String ----

TEST(String, CaseInsensitiveCompareFindMapKeysAndConversions) {
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    EXPECT_EQ(String("Hello").CompareNoCase("hELLO"), 0);
    EXPECT_EQ(sign(String("abc").CompareNoCase("ABD")), -1);
    EXPECT_EQ(sign(String("ABC").CompareNoCase("ab")), 1); // a prefix sorts first
    EXPECT_EQ(sign(String("_").CompareNoCase("A")), -1);   // letters fold to lower case
    EXPECT_EQ(sign(String("\xE4").CompareNoCase("z")), 1); // bytes are unsigned, not folded
    EXPECT_EQ(String("Hello World").FindNoCase("o w"), 4u);
    EXPECT_EQ(String("xAyaz").FindNoCase("az"), 3u); // a failed candidate hides no later one
    EXPECT_EQ(String("xAZaz").FindNoCase("az"), 1u); // the earlier candidate, whatever its case
    EXPECT_EQ(String("aAb").FindNoCase("ab"), 1u);   // the next byte may start the match
    EXPECT_EQ(String("abcABC").FindNoCase("abc", 1), 3u);
    EXPECT_EQ(String("abcABC").FindNoCase("", 6), 6u);
    EXPECT_EQ(String("abcABC").FindNoCase("", 7), String::npos);
    EXPECT_EQ(String("ab").FindNoCase("abc"), String::npos);
    std::map<String, int, String::ciless> m{{"Key", 1}};
    m["KEY"] = 2;
    EXPECT_EQ(m.size(), 1u);
    EXPECT_EQ(m.begin()->first, "Key"); // the first spelling is kept

    // Conversions need the whole text and reject overflow.
    bool ok = false;
    EXPECT_EQ(String("  -17\t").ToInt(-1, &ok), -17);
    EXPECT_TRUE(ok);
    for (const char* bad : {"12abc", "", "0x10", "2147483648", "-2147483649"})
        EXPECT_TRUE(String(bad).ToInt(-1, &ok) == -1 && !ok) << bad;
    EXPECT_EQ(String("-2147483648").ToInt(-1, &ok), INT_MIN);
    EXPECT_EQ(String("9000000000").ToLong(0, &ok), 9000000000L);
    EXPECT_EQ(String("99999999999999999999").ToLong(0, &ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(String("az_AZ").Upper(), "AZ_AZ");
    EXPECT_DOUBLE_EQ(String(" -1e3 ").ToDouble(0, &ok), -1000.0);
    EXPECT_DOUBLE_EQ(String("1e999").ToDouble(9.0, &ok), 9.0);
    EXPECT_FALSE(ok);
    for (const char* t : {"yes", "YES", "1", "True", " yes "})
        EXPECT_TRUE(String(t).ToBool()) << t;
    for (const char* t : {"", "no", "0", "2", "false", "yes please", "11"})
        EXPECT_FALSE(String(t).ToBool()) << t;
    for (size_t len : {251u, 252u, 253u, 4996u}) // around SFormat's first buffer, and beyond
        EXPECT_EQ(SFormat("%s%04d", String(len, 'x').c_str(), 7), String(len, 'x') + "0007");
    EXPECT_EQ(Exception(k_ErrFormat, "Bad value", "line 3").Format(), "Bad value: line 3");
}

// ---- StringTokenizer ----

TEST(StringTokenizer, DelimitersQuotesEscapesAndJoin) {
    auto tokens = [](const String& text, bool skipEmpty = false) {
        return StringTokenizer(text, ",;", skipEmpty).GetTokens();
    };
    EXPECT_EQ(tokens("a,b;c"), (Strings{"a", "b", "c"}));
    EXPECT_EQ(tokens("a,,b,"), (Strings{"a", "", "b", ""}));
    EXPECT_EQ(tokens("a,,b,", true), (Strings{"a", "b"}));
    EXPECT_EQ(tokens(""), Strings{});
    EXPECT_EQ(tokens("pre\"x,y\"post,z"), (Strings{"prex,ypost", "z"})); // quotes go
    EXPECT_EQ(tokens("a\\,b,back\\\\,\"in \\\" q\""), (Strings{"a,b", "back\\", "in \" q"}));
    EXPECT_EQ(tokens("a,\"b,c"), (Strings{"a", "b,c"})); // an unclosed quote runs to the end
    EXPECT_EQ(tokens("a\\"), (Strings{"a\\"}));          // a trailing escape stays itself
    EXPECT_EQ(StringTokenizer("'a b' c% d", " ", false, '\'', '%').GetTokens(),
              (Strings{"a b", "c d"}));
    StringTokenizer t("x y", " ");
    EXPECT_EQ(t.CountTokens(), 2u);
    EXPECT_TRUE(t.NextToken() == "x" && t.NextToken() == "y" && !t.HasMoreTokens());
    for (const Strings& items : std::vector<Strings>{
             {"plain", "a;b", "say \"hi\"", "back\\slash", "", "all;\"\\;", "end\\"}, {""}, {}}) {
        const String joined = StringTokenizer::Join(items, ';');
        EXPECT_EQ(StringTokenizer(joined, ";").GetTokens(), items) << "joined: " << joined;
    }
}

// ---- UID ----

TEST(UID, GeneratedTextFormAndBadText) {
    std::set<UID> seen;
    for (int i = 0; i < 1000; ++i)
        seen.insert(UID(true));
    EXPECT_EQ(seen.size(), 1000u);
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
        EXPECT_EQ(e ? e->GetCode() : 0u, (uint32_t)k_ErrFormat) << text;
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
    EXPECT_EQ(fmt(999999), "0s"); // below the smallest unit
    EXPECT_EQ(fmt(90 * 60 * kSec, 2, Time::k_Second, Time::k_Minute), "90m");
    EXPECT_EQ(fmt(1500, 2, Time::k_Micro, Time::k_Milli), "1ms 500us");
    EXPECT_EQ(fmt(3605 * kSec, 3), "1h 0m 5s"); // a zero between shown parts stays
    EXPECT_EQ(fmt(3605 * kSec, 2), "1h");       // trailing zero parts go
    EXPECT_EQ(fmt(3721 * kSec, 3, Time::k_Second, Time::k_Hour, false),
              "1 hour 2 minutes 1 second");
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
    EXPECT_EQ(cl.GetOption("path", "def"), "def");
    EXPECT_EQ(cl.GetPositional(), (Strings{"pos1", "-5", "-", "--notopt"}));
    CommandLine last({"prog", "--name=", "--name=last"});
    last.ParseOptions({"name"}, {});
    EXPECT_EQ(last.GetOption("name", "def"), "last");
    // Bad options throw, naming the option; an option is no value.
    for (const String c : {"--bogus", "-v", "--name", "--verbose=1", "--name --verbose"}) {
        CommandLine bad(StringTokenizer("prog " + c, " ").GetTokens());
        auto e = CatchException([&] { bad.ParseOptions({"name"}, {"verbose"}); });
        ASSERT_TRUE(e && e->GetCode() == k_ErrArgument) << c;
        EXPECT_NE(e->GetDetail().find(c.substr(0, c.find_first_of("= "))), String::npos)
            << e->Format();
    }
}

// ---- LibStatic ----

namespace {
Strings g_Calls; // the tags of the cleaned objects, in order

struct Probe : LibStatic {
    Probe(const String& lib, const String& tag) : LibStatic(lib), m_Tag(tag) {}
    void OnLibCleanup() override {
        g_Calls.push_back(m_Tag);
        if (m_Tag == "self") delete this;
    }
    String m_Tag;
};

template <class F>
auto OnOtherThread(F f) -> decltype(f()) {
    decltype(f()) r{};
    std::thread([&] { r = f(); }).join();
    return r;
}
} // namespace

TEST(LibStatic, CleanupRunsNewestFirstOnceAndOnlyForLiveObjects) {
    Probe a1("alpha", "a1");
    Probe b("beta", "b");
    delete new Probe("beta", "deleted");
    Probe a2("alpha", "a2");
    new Probe("beta", "self"); // deletes itself when cleaned
    LibStatic::Cleanup("alpha");
    EXPECT_EQ(g_Calls, (Strings{"a2", "a1"}));
    LibStatic::Cleanup("alpha");
    LibStatic::CleanupAll();
    LibStatic::CleanupAll();
    EXPECT_EQ(g_Calls, (Strings{"a2", "a1", "self", "b"}));
    EXPECT_EQ(LibStatic::Count(), 0u);
}

// ---- Mutex and RWLock ----

TEST(Locks, MutexIsRecursiveRWLockWriterReentersAndWaitsForEveryReadEntry) {
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

    // A writer may re-enter and waits for every read entry.
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
    const String path = taviro_test::Home() + "/logs/sub/farm.log";
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
