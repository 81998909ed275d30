// String, StringTokenizer and Exception.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <climits>
#include <map>

using Strings = std::vector<String>;

TEST(String, CaseInsensitiveCompareFindAndMapKeys) {
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
    EXPECT_EQ(String("12312345").FindNoCase("1234"), 3u);
    EXPECT_EQ(String("abcABC").FindNoCase("abc", 1), 3u);
    EXPECT_EQ(String("abcABC").FindNoCase("", 6), 6u);
    EXPECT_EQ(String("abcABC").FindNoCase("", 7), String::npos);
    EXPECT_EQ(String("ab").FindNoCase("abc"), String::npos);
    std::map<String, int, String::ciless> m{{"Key", 1}};
    m["KEY"] = 2;
    EXPECT_EQ(m.size(), 1u);
    EXPECT_EQ(m.begin()->first, "Key"); // the first spelling is kept
}

TEST(String, ConversionsNeedTheWholeTextAndRejectOverflow) {
    bool ok = false;
    EXPECT_EQ(String("  -17\t").ToInt(-1, &ok), -17);
    EXPECT_TRUE(ok);
    for (const char* bad : {"12abc", "", "0x10", "2147483648", "-2147483649"}) {
        EXPECT_EQ(String(bad).ToInt(-1, &ok), -1) << bad;
        EXPECT_FALSE(ok) << bad;
    }
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
    for (size_t len : {255u, 256u, 257u, 5000u}) { // around SFormat's first buffer, and beyond
        const String filler(len - 4, 'x');
        EXPECT_EQ(SFormat("%s%04d", filler.c_str(), 7), filler + "0007");
    }
    EXPECT_EQ(Exception(k_ErrFormat, "Bad value", "line 3").Format(), "Bad value: line 3");
}

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
    EXPECT_EQ(t.NextToken(), "x");
    EXPECT_EQ(t.NextToken(), "y");
    EXPECT_FALSE(t.HasMoreTokens());
    for (const Strings& items : std::vector<Strings>{
             {"plain", "a;b", "say \"hi\"", "back\\slash", "", "all;\"\\;", "end\\"}, {""}, {}}) {
        const String joined = StringTokenizer::Join(items, ';');
        EXPECT_EQ(StringTokenizer(joined, ";").GetTokens(), items) << "joined: " << joined;
    }
}
