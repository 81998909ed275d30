// String, StringTokenizer and Exception.
#include "tests/ostrum/TestUtil.h"

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
    EXPECT_EQ(String("").CompareNoCase(""), 0);
    EXPECT_EQ(Sign(String("abc").CompareNoCase("ABD")), -1);
    EXPECT_EQ(Sign(String("ABD").CompareNoCase("abc")), 1);
    EXPECT_EQ(Sign(String("b").CompareNoCase("A")), 1);
    // A prefix sorts first.
    EXPECT_EQ(Sign(String("ab").CompareNoCase("ABC")), -1);
    EXPECT_EQ(Sign(String("ABC").CompareNoCase("ab")), 1);
    // Letters fold to lower case: '_' (0x5f) lies between 'Z' and 'a'.
    EXPECT_EQ(Sign(String("_").CompareNoCase("A")), -1);
    EXPECT_EQ(Sign(String("a").CompareNoCase("_")), 1);
    // Bytes outside ASCII are compared as themselves, never folded.
    EXPECT_NE(String("\xC4").CompareNoCase("\xE4"), 0);
    EXPECT_EQ(Sign(String("\xE4").CompareNoCase("z")), 1); // unsigned: 0xe4 > 'z'
}

TEST(String, FindNoCaseFindsPositions) {
    const String text("Hello World");
    EXPECT_EQ(text.FindNoCase("WORLD"), 6u);
    EXPECT_EQ(text.FindNoCase("hello"), 0u);
    EXPECT_EQ(text.FindNoCase("o w"), 4u);
    EXPECT_EQ(text.FindNoCase("xyz"), String::npos);
    EXPECT_EQ(String("xxAbC").FindNoCase("aBc"), 2u);
    // Match at the very end, and a needle as long as the text.
    EXPECT_EQ(String("xxxab").FindNoCase("AB"), 3u);
    EXPECT_EQ(String("xxxab").FindNoCase("XXXAB"), 0u);
    // A failed candidate must not hide a later one, with either case of the first byte.
    EXPECT_EQ(String("aab").FindNoCase("AB"), 1u);
    EXPECT_EQ(String("xAyaz").FindNoCase("az"), 3u);
    EXPECT_EQ(String("xayAZ").FindNoCase("az"), 3u);
    EXPECT_EQ(String("12312345").FindNoCase("1234"), 3u);
}

TEST(String, FindNoCaseEdgeCases) {
    const String text("abcABC");
    EXPECT_EQ(text.FindNoCase("abc", 1), 3u);
    EXPECT_EQ(text.FindNoCase("abc", 3), 3u);
    EXPECT_EQ(text.FindNoCase("abc", 4), String::npos);
    EXPECT_EQ(text.FindNoCase("c", 6), String::npos);
    EXPECT_EQ(text.FindNoCase("c", 100), String::npos);
    // The empty needle is found where the search starts, also at the end.
    EXPECT_EQ(text.FindNoCase(""), 0u);
    EXPECT_EQ(text.FindNoCase("", 4), 4u);
    EXPECT_EQ(text.FindNoCase("", 6), 6u);
    EXPECT_EQ(text.FindNoCase("", 7), String::npos);
    EXPECT_EQ(String().FindNoCase(""), 0u);
    EXPECT_EQ(String("ab").FindNoCase("abc"), String::npos);
    EXPECT_EQ(String().FindNoCase("a"), String::npos);
}

TEST(String, FindNoCaseTreatsHighBytesAsThemselves) {
    const String text("a\xE4"
                      "b\xC4"
                      "c");
    EXPECT_EQ(text.FindNoCase("\xE4"
                              "B"),
              1u);
    EXPECT_EQ(text.FindNoCase("\xC4"
                              "C"),
              3u);
    EXPECT_EQ(text.FindNoCase("\xC4"
                              "b"),
              String::npos); // no Latin-1 folding
    EXPECT_EQ(String("x\xFFY").FindNoCase("\xFFy"), 1u);
}

TEST(String, CilessMapMergesKeysThatDifferInCaseOnly) {
    std::map<String, int, String::ciless> m;
    m["Key"] = 1;
    m["KEY"] = 2;
    m["other"] = 3;
    ASSERT_EQ(m.size(), 2u);
    ASSERT_NE(m.find("kEy"), m.end());
    EXPECT_EQ(m.find("kEy")->first, "Key"); // the first spelling is kept
    EXPECT_EQ(m.find("key")->second, 2);
    EXPECT_EQ(m.count("OTHER"), 1u);
    EXPECT_EQ(m.count("othe"), 0u);
    // Ordered without regard to case: "apple" < "Banana" < "cherry".
    std::map<String, int, String::ciless> order{{"cherry", 0}, {"Banana", 0}, {"apple", 0}};
    std::vector<String> keys;
    for (const auto& kv : order)
        keys.push_back(kv.first);
    EXPECT_EQ(keys, (std::vector<String>{"apple", "Banana", "cherry"}));
}

// ---- String: conversions ----

TEST(String, NumberConversionsNeedTheWholeText) {
    bool ok = false;
    EXPECT_EQ(String("42").ToInt(-1, &ok), 42);
    EXPECT_TRUE(ok);
    EXPECT_EQ(String("  -17\t").ToInt(-1, &ok), -17);
    EXPECT_TRUE(ok);
    EXPECT_EQ(String("12abc").ToInt(-1, &ok), -1);
    EXPECT_FALSE(ok);
    EXPECT_EQ(String("").ToInt(-5, &ok), -5);
    EXPECT_FALSE(ok);
    EXPECT_EQ(String("1 2").ToInt(7, &ok), 7);
    EXPECT_FALSE(ok);
    EXPECT_EQ(String("0x10").ToInt(7, &ok), 7); // decimal only
    EXPECT_FALSE(ok);
    EXPECT_EQ(String("0").ToInt(7, &ok), 0);
    EXPECT_TRUE(ok);

    EXPECT_EQ(String("9000000000").ToLong(0, &ok), 9000000000L);
    EXPECT_TRUE(ok);
    EXPECT_EQ(String("12.5").ToLong(3, &ok), 3);
    EXPECT_FALSE(ok);

    EXPECT_DOUBLE_EQ(String(" 2.5 ").ToDouble(0, &ok), 2.5);
    EXPECT_TRUE(ok);
    EXPECT_DOUBLE_EQ(String("-1e3").ToDouble(0, &ok), -1000.0);
    EXPECT_TRUE(ok);
    EXPECT_DOUBLE_EQ(String("2.5x").ToDouble(9.0, &ok), 9.0);
    EXPECT_FALSE(ok);
    EXPECT_DOUBLE_EQ(String("").ToDouble(9.0, &ok), 9.0);
    EXPECT_FALSE(ok);
    // ok may be left out.
    EXPECT_EQ(String("5").ToInt(), 5);
    EXPECT_EQ(String("five").ToInt(), 0);
}

TEST(String, NumberConversionsRejectOverflow) {
    bool ok = true;
    EXPECT_EQ(String("2147483647").ToInt(-1, &ok), INT_MAX);
    EXPECT_TRUE(ok);
    EXPECT_EQ(String("-2147483648").ToInt(-1, &ok), INT_MIN);
    EXPECT_TRUE(ok);
    EXPECT_EQ(String("2147483648").ToInt(-1, &ok), -1);
    EXPECT_FALSE(ok);
    EXPECT_EQ(String("-2147483649").ToInt(-1, &ok), -1);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_EQ(String("99999999999999999999999").ToLong(-1, &ok), -1);
    EXPECT_FALSE(ok);
    ok = true;
    EXPECT_DOUBLE_EQ(String("1e999").ToDouble(-1.0, &ok), -1.0);
    EXPECT_FALSE(ok);
}

TEST(String, ToBoolAcceptsOnlyYesOneAndTrue) {
    for (const char* t : {"Yes", "yes", "YES", "1", "true", "TRUE", "True", " yes "})
        EXPECT_TRUE(String(t).ToBool()) << t;
    EXPECT_TRUE(k_Yes.ToBool());
    for (const char* t :
         {"", "No", "no", "0", "2", "false", "yes please", "y", "on", "11", "true!"})
        EXPECT_FALSE(String(t).ToBool()) << t;
    EXPECT_FALSE(k_No.ToBool());
}

TEST(String, SFormatHandlesOutputBeyondTheSmallBuffer) {
    EXPECT_EQ(SFormat("%s=%d", "answer", 42), "answer=42");
    EXPECT_EQ(SFormat("%s", ""), "");
    // Around the 256-byte first attempt, and far beyond it.
    for (size_t len : {255u, 256u, 257u, 5000u}) {
        const String filler(len - 4, 'x');
        const String r = SFormat("%s%04d", filler.c_str(), 7);
        ASSERT_EQ(r.size(), len);
        EXPECT_EQ(r, filler + "0007");
    }
    const String a(300, 'a'), b(300, 'b');
    EXPECT_EQ(SFormat("[%s|%d|%s]", a.c_str(), -12, b.c_str()), "[" + a + "|-12|" + b + "]");
}

// ---- StringTokenizer ----

namespace {
std::vector<String> Tokens(const String& text, const String& delims, bool skipEmpty = false) {
    return StringTokenizer(text, delims, skipEmpty).GetTokens();
}
using Strings = std::vector<String>;
} // namespace

TEST(StringTokenizer, SplitsAtAnyDelimiter) {
    EXPECT_EQ(Tokens("a,b;c", ",;"), (Strings{"a", "b", "c"}));
    EXPECT_EQ(Tokens("single", ","), (Strings{"single"}));
    StringTokenizer t("x y", " ");
    EXPECT_EQ(t.CountTokens(), 2u);
    ASSERT_TRUE(t.HasMoreTokens());
    EXPECT_EQ(t.NextToken(), "x");
    EXPECT_EQ(t.NextToken(), "y");
    EXPECT_FALSE(t.HasMoreTokens());
    EXPECT_EQ(t.NextToken(), ""); // past the end
}

TEST(StringTokenizer, EmptyTokens) {
    EXPECT_EQ(Tokens("a,,b", ","), (Strings{"a", "", "b"}));
    EXPECT_EQ(Tokens("a,", ","), (Strings{"a", ""}));
    EXPECT_EQ(Tokens(",a", ","), (Strings{"", "a"}));
    EXPECT_EQ(Tokens(",", ","), (Strings{"", ""}));
    EXPECT_EQ(Tokens("a,,b,", ",", true), (Strings{"a", "b"}));
    EXPECT_EQ(Tokens(",,,", ",", true), Strings{});
    EXPECT_EQ(Tokens("", ","), Strings{});
    EXPECT_EQ(StringTokenizer("", ",").CountTokens(), 0u);
}

TEST(StringTokenizer, QuotesAndEscapes) {
    // Quoted delimiters stay in the token, the quotes go.
    EXPECT_EQ(Tokens("a,\"b,c\",d", ","), (Strings{"a", "b,c", "d"}));
    EXPECT_EQ(Tokens("pre\"x,y\"post,z", ","), (Strings{"prex,ypost", "z"}));
    EXPECT_EQ(Tokens("\"\",x", ","), (Strings{"", "x"}));
    // The escape makes the next character literal: delimiter, quote, escape itself.
    EXPECT_EQ(Tokens("a\\,b,c", ","), (Strings{"a,b", "c"}));
    EXPECT_EQ(Tokens("say \\\"hi\\\",x", ","), (Strings{"say \"hi\"", "x"}));
    EXPECT_EQ(Tokens("back\\\\,x", ","), (Strings{"back\\", "x"}));
    EXPECT_EQ(Tokens("\"in \\\" quote\"", ","), (Strings{"in \" quote"}));
    // An unclosed quote runs to the end.
    EXPECT_EQ(Tokens("a,\"b,c", ","), (Strings{"a", "b,c"}));
    // Other quote and escape characters.
    EXPECT_EQ(StringTokenizer("'a b' c", " ", false, '\'', '%').GetTokens(), (Strings{"a b", "c"}));
    EXPECT_EQ(StringTokenizer("a% b c", " ", false, '\'', '%').GetTokens(), (Strings{"a b", "c"}));
}

TEST(StringTokenizer, JoinRoundTrips) {
    const std::vector<Strings> cases = {
        {"plain", "a;b", "say \"hi\"", "back\\slash", "", "all;\"\\;", "end\\"},
        {"", ""},
        {";"},
        {"\""},
        {"\\"},
        {"a", ""},
        {""},
        {},
    };
    for (const Strings& items : cases) {
        const String joined = StringTokenizer::Join(items, ';');
        EXPECT_EQ(StringTokenizer(joined, ";").GetTokens(), items) << "joined: " << joined;
    }
    EXPECT_EQ(StringTokenizer::Join({"a", "b"}, ','), "a,b"); // nothing special: no quoting
}

// ---- Exception ----

TEST(Exception, FormatJoinsMessageAndDetail) {
    const Exception plain(k_ErrIO, "Cannot open file");
    EXPECT_EQ(plain.Format(), "Cannot open file");
    EXPECT_EQ(plain.GetCode(), (uint32_t)k_ErrIO);
    const Exception full(k_ErrFormat, "Bad value", "line 3");
    EXPECT_EQ(full.Format(), "Bad value: line 3");
    EXPECT_EQ(full.GetMessage(), "Bad value");
    EXPECT_EQ(full.GetDetail(), "line 3");
}
