// String, StringTokenizer and Exception.
#include "tests/support/TestEnv.h"

#include <ostrum/Exception.h>
#include <ostrum/String.h>
#include <ostrum/StringTokenizer.h>

#include <gtest/gtest.h>

#include <climits>
#include <map>

namespace {

int Sign(int v) {
    return (v > 0) - (v < 0);
}

} // namespace

// ---- String: comparison and search ----

TEST(String, CompareNoCaseIsThreeWayAndIgnoresAsciiCase) {
    EXPECT_EQ(String("Hello").CompareNoCase("hELLO"), 0);
    EXPECT_EQ(Sign(String("abc").CompareNoCase("ABD")), -1);
    EXPECT_EQ(Sign(String("ABD").CompareNoCase("abc")), 1);
    // A prefix sorts first.
    EXPECT_EQ(Sign(String("ab").CompareNoCase("ABC")), -1);
    EXPECT_EQ(Sign(String("ABC").CompareNoCase("ab")), 1);
    // Letters fold to lower case: '_' (0x5f) lies between 'Z' and 'a'.
    EXPECT_EQ(Sign(String("_").CompareNoCase("A")), -1);
    // Bytes outside ASCII are compared as themselves, never folded.
    EXPECT_NE(String("\xC4").CompareNoCase("\xE4"), 0);
    EXPECT_EQ(Sign(String("\xE4").CompareNoCase("z")), 1); // unsigned: 0xe4 > 'z'
}

TEST(String, FindNoCase) {
    EXPECT_EQ(String("Hello World").FindNoCase("o w"), 4u);
    EXPECT_EQ(String("xxxab").FindNoCase("AB"), 3u); // at the very end
    // A failed candidate must not hide a later one, with either case of the first byte.
    EXPECT_EQ(String("xAyaz").FindNoCase("az"), 3u);
    EXPECT_EQ(String("xAZaz").FindNoCase("az"), 1u); // the earlier candidate, whatever its case
    EXPECT_EQ(String("aAb").FindNoCase("ab"), 1u);   // the next byte may start the match
    EXPECT_EQ(String("12312345").FindNoCase("1234"), 3u);
    const String text("abcABC");
    EXPECT_EQ(text.FindNoCase("abc", 1), 3u);
    EXPECT_EQ(text.FindNoCase("abc", 4), String::npos);
    EXPECT_EQ(text.FindNoCase("", 6), 6u);
    EXPECT_EQ(text.FindNoCase("", 7), String::npos);
    EXPECT_EQ(String("ab").FindNoCase("abc"), String::npos);
    EXPECT_EQ(String("a\xE4"
                     "b\xC4"
                     "c")
                  .FindNoCase("\xC4"
                              "C"),
              3u); // high bytes are themselves
}

TEST(String, CilessMapMergesKeysThatDifferInCaseOnly) {
    std::map<String, int, String::ciless> m{{"cherry", 0}, {"Key", 1}, {"apple", 0}};
    m["KEY"] = 2;
    m["Banana"] = 3;
    ASSERT_EQ(m.size(), 4u);
    EXPECT_EQ(m.find("kEy")->first, "Key"); // the first spelling is kept
    EXPECT_EQ(m.find("key")->second, 2);
    EXPECT_EQ(m.count("Ke"), 0u);
    // Ordered without regard to case.
    std::vector<String> keys;
    for (const auto& kv : m)
        keys.push_back(kv.first);
    EXPECT_EQ(keys, (std::vector<String>{"apple", "Banana", "cherry", "Key"}));
}

// ---- String: conversions ----

TEST(String, ConversionsNeedTheWholeTextAndRejectOverflow) {
    bool ok = false;
    EXPECT_EQ(String("  -17\t").ToInt(-1, &ok), -17);
    EXPECT_TRUE(ok);
    for (const char* bad : {"12abc", "", "1 2", "0x10", "2147483648", "-2147483649"}) {
        EXPECT_EQ(String(bad).ToInt(-1, &ok), -1) << bad;
        EXPECT_FALSE(ok) << bad;
    }
    EXPECT_EQ(String("-2147483648").ToInt(-1, &ok), INT_MIN);
    EXPECT_EQ(String("9000000000").ToLong(0, &ok), 9000000000L);
    EXPECT_TRUE(ok);
    EXPECT_EQ(String("99999999999999999999").ToLong(0, &ok), 0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(String("az_AZ").Upper(), "AZ_AZ");
    EXPECT_DOUBLE_EQ(String(" -1e3 ").ToDouble(0, &ok), -1000.0);
    EXPECT_DOUBLE_EQ(String("1e999").ToDouble(9.0, &ok), 9.0);
    EXPECT_FALSE(ok);
    for (const char* t : {"yes", "YES", "1", "True", " yes "})
        EXPECT_TRUE(String(t).ToBool()) << t;
    for (const char* t : {"", "no", "0", "2", "false", "yes please", "on", "11"})
        EXPECT_FALSE(String(t).ToBool()) << t;
    // Around the 256-byte first attempt of SFormat, and far beyond it.
    for (size_t len : {255u, 256u, 257u, 5000u}) {
        const String filler(len - 4, 'x');
        EXPECT_EQ(SFormat("%s%04d", filler.c_str(), 7), filler + "0007");
    }
    EXPECT_EQ(Exception(k_ErrFormat, "Bad value", "line 3").Format(), "Bad value: line 3");
}

// ---- StringTokenizer ----

namespace {
std::vector<String> Tokens(const String& text, const String& delims, bool skipEmpty = false) {
    return StringTokenizer(text, delims, skipEmpty).GetTokens();
}
using Strings = std::vector<String>;
} // namespace

TEST(StringTokenizer, SplitsAtAnyDelimiterKeepingEmptyTokens) {
    EXPECT_EQ(Tokens("a,b;c", ",;"), (Strings{"a", "b", "c"}));
    EXPECT_EQ(Tokens("a,,b", ","), (Strings{"a", "", "b"}));
    EXPECT_EQ(Tokens(",", ","), (Strings{"", ""}));
    EXPECT_EQ(Tokens("a,,b,", ",", true), (Strings{"a", "b"}));
    EXPECT_EQ(Tokens("", ","), Strings{});
    StringTokenizer t("x y", " ");
    EXPECT_EQ(t.CountTokens(), 2u);
    EXPECT_EQ(t.NextToken(), "x");
    EXPECT_EQ(t.NextToken(), "y");
    EXPECT_FALSE(t.HasMoreTokens());
}

TEST(StringTokenizer, QuotesAndEscapes) {
    // Quoted delimiters stay in the token, the quotes go.
    EXPECT_EQ(Tokens("pre\"x,y\"post,z", ","), (Strings{"prex,ypost", "z"}));
    EXPECT_EQ(Tokens("\"\",x", ","), (Strings{"", "x"}));
    // The escape makes the next character literal: delimiter, quote, escape itself.
    EXPECT_EQ(Tokens("a\\,b,c", ","), (Strings{"a,b", "c"}));
    EXPECT_EQ(Tokens("back\\\\,x", ","), (Strings{"back\\", "x"}));
    EXPECT_EQ(Tokens("\"in \\\" quote\"", ","), (Strings{"in \" quote"}));
    // An unclosed quote runs to the end.
    EXPECT_EQ(Tokens("a,\"b,c", ","), (Strings{"a", "b,c"}));
    EXPECT_EQ(Tokens("a\\", ","), (Strings{"a\\"})); // a trailing escape stays itself
    // Other quote and escape characters.
    EXPECT_EQ(StringTokenizer("'a b' c", " ", false, '\'', '%').GetTokens(), (Strings{"a b", "c"}));
    EXPECT_EQ(StringTokenizer("a% b c", " ", false, '\'', '%').GetTokens(), (Strings{"a b", "c"}));
}

TEST(StringTokenizer, JoinRoundTrips) {
    const std::vector<Strings> cases = {
        {"plain", "a;b", "say \"hi\"", "back\\slash", "", "all;\"\\;", "end\\"},
        {"", ""},
        {"\""},
        {"\\"},
        {""},
        {},
    };
    for (const Strings& items : cases) {
        const String joined = StringTokenizer::Join(items, ';');
        EXPECT_EQ(StringTokenizer(joined, ";").GetTokens(), items) << "joined: " << joined;
    }
    EXPECT_EQ(StringTokenizer::Join({"a", "b"}, ','), "a,b"); // nothing special: no quoting
}
