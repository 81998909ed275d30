// IniFile and OptionsFile: structure, typed access, round trips and files on disk.
#include "tests/ostrum/TestUtil.h"

#include <ostrum/Exception.h>
#include <ostrum/File.h>
#include <ostrum/IniFile.h>
#include <ostrum/Log.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>

using ostrum_test::CatchException;
using ostrum_test::Home;
using ostrum_test::ListDir;
using Strings = std::vector<String>;

namespace {

void WriteText(const String& path, const String& text) {
    File::AtomicWrite(path, text);
}

// The failure logged by OptionsFile::WriteOut would otherwise be echoed into the test output.
class QuietLog {
public:
    QuietLog() { Log::s_GlobalLog->SetEchoLevel(-1); }
    ~QuietLog() { Log::s_GlobalLog->SetEchoLevel(LL_Warning); }
};

} // namespace

// ---- structure ----

TEST(IniFile, UnnamedSectionComesFirstWithoutHeader) {
    IniFile ini;
    EXPECT_EQ(ini.GetCurrentSection(), "");
    ini.SetValue("top", "1");
    ini.InsertSection("Second");
    EXPECT_EQ(ini.GetCurrentSection(), "Second");
    ini.SetValue("k", "v");
    // Keys of the unnamed section added later still land before every header.
    ini.SetValue("", "late", "2");
    EXPECT_EQ(ini.GetSections(), (Strings{"", "Second"}));
    EXPECT_EQ(ini.ToString(), "top=1\nlate=2\n\n[Second]\nk=v\n");

    IniFile back;
    back.LoadFromString(ini.ToString());
    EXPECT_EQ(back.GetValue("", "late", ""), "2");
    EXPECT_EQ(back.GetValue("second", "k", ""), "v");
}

TEST(IniFile, InsertSectionMakesItCurrentAndAppendsNewOnes) {
    IniFile ini;
    ini.LoadFromString("[a]\nx=1\n[b]\ny=2\n");
    ini.InsertSection("A"); // existing: stays where it is
    EXPECT_EQ(ini.GetSections(), (Strings{"", "a", "b"}));
    ini.SetValue("z", "3");
    EXPECT_EQ(ini.GetValue("a", "z", ""), "3");
    EXPECT_FALSE(ini.HasKey("b", "z"));

    ini.InsertSection("c");
    EXPECT_EQ(ini.GetSections(), (Strings{"", "a", "b", "c"}));
    ini.SetValue("w", "4");
    // The three-argument form leaves the current section alone.
    ini.SetValue("b", "q", "5");
    EXPECT_EQ(ini.GetCurrentSection(), "c");
    ini.SetValue("w2", "6");
    EXPECT_EQ(ini.GetKeys("c"), (Strings{"w", "w2"}));
    EXPECT_EQ(ini.GetKeys("b"), (Strings{"y", "q"}));
    // SetValue with a section creates it.
    ini.SetValue("new", "k", "v");
    EXPECT_TRUE(ini.HasSection("NEW"));
    EXPECT_EQ(ini.GetSections().back(), "new");
}

TEST(IniFile, NamesCompareWithoutCaseAndKeepTheirSpelling) {
    IniFile ini;
    ini.LoadFromString("[Main]\nUserName=alice\n");
    EXPECT_TRUE(ini.HasSection("MAIN"));
    EXPECT_TRUE(ini.HasKey("main", "username"));
    EXPECT_EQ(ini.GetValue("mAiN", "USERNAME", ""), "alice");
    ini.SetValue("MAIN", "username", "bob"); // replaces, does not add
    EXPECT_EQ(ini.GetKeys("Main"), (Strings{"UserName"}));
    EXPECT_EQ(ini.ToString(), "[Main]\nUserName=bob\n");
    EXPECT_FALSE(ini.HasKey("Main", "User"));
}

TEST(IniFile, TypedGetValue) {
    IniFile ini;
    ini.LoadFromString("[s]\nstr=hello\nYES2=yEs\none=1\nzero=0\nempty=\nint=42\nbad=12abc\n"
                       "big=9000000000\ndbl=2.5\n");
    // A literal default must pick the string overload, not bool.
    auto lit = ini.GetValue("s", "missing", "fallback");
    static_assert(std::is_same<decltype(lit), String>::value, "string overload expected");
    EXPECT_EQ(lit, "fallback");
    EXPECT_EQ(ini.GetValue("s", "str", String("x")), "hello");
    EXPECT_EQ(ini.GetValue("s", "empty", "x"), ""); // present but empty is not absent

    EXPECT_TRUE(ini.GetValue("s", "yes2", false));
    EXPECT_TRUE(ini.GetValue("s", "one", false));
    EXPECT_FALSE(ini.GetValue("s", "zero", true));
    EXPECT_FALSE(ini.GetValue("s", "empty", true));
    EXPECT_TRUE(ini.GetValue("s", "absent", true));
    EXPECT_FALSE(ini.GetValue("s", "absent", false));
    EXPECT_TRUE(ini.GetValue("nosection", "yes2", true));

    EXPECT_EQ(ini.GetValue("s", "int", 0), 42);
    EXPECT_EQ(ini.GetValue("s", "bad", 5), 5);
    EXPECT_EQ(ini.GetValue("s", "big", 5), 5); // does not fit an int
    EXPECT_EQ(ini.GetValue("s", "absent", 5), 5);
    EXPECT_EQ(ini.GetValue("s", "big", -1L), 9000000000L);
    EXPECT_EQ(ini.GetValue("s", "bad", -1L), -1L);
    EXPECT_DOUBLE_EQ(ini.GetValue("s", "dbl", 0.0), 2.5);
    EXPECT_DOUBLE_EQ(ini.GetValue("s", "str", 1.5), 1.5);

    ini.InsertSection("t");
    ini.SetValue("n", 17); // the int convenience overload
    EXPECT_EQ(ini.GetValue("t", "n", ""), "17");
}

TEST(IniFile, ClearSectionAndRemoveKey) {
    IniFile ini;
    ini.LoadFromString("[s]\n; note\na=1\n# other\nb=2\n[t]\nc=3\n");
    ini.ClearSection("S");
    EXPECT_FALSE(ini.HasKey("s", "a"));
    EXPECT_EQ(ini.ToString(), "[s]\n; note\n# other\n[t]\nc=3\n");
    ini.SetValue("s", "d", "4");
    EXPECT_EQ(ini.GetValue("s", "d", ""), "4");

    ini.LoadFromString("[s]\na=1\nb=2\nc=3\n");
    EXPECT_TRUE(ini.RemoveKey("S", "A"));
    EXPECT_FALSE(ini.RemoveKey("s", "a"));
    EXPECT_FALSE(ini.RemoveKey("nosuch", "b"));
    // The lines after the removed one are still found and changed in place.
    EXPECT_EQ(ini.GetValue("s", "c", ""), "3");
    ini.SetValue("s", "c", "9");
    EXPECT_EQ(ini.ToString(), "[s]\nb=2\nc=9\n");
}

// ---- text round trips ----

TEST(IniFile, CommentsBlankAndUnknownLinesStayInPlace) {
    const String text = "; top comment\n"
                        "\n"
                        "# hash comment\n"
                        "first = one \n"
                        "[one]\n"
                        "  ; indented comment\n"
                        "key = value\n"
                        "junk line without equals\n"
                        "\n"
                        "[two]\n"
                        "x=1\n"
                        "; trailing\n";
    IniFile ini;
    ini.LoadFromString(text);
    EXPECT_EQ(ini.ToString(), text);
    EXPECT_EQ(ini.GetValue("", "first", ""), "one");
    EXPECT_EQ(ini.GetValue("one", "key", ""), "value");
    EXPECT_EQ(ini.GetKeys("one"), (Strings{"key"}));
    EXPECT_FALSE(ini.HasKey("", "; top comment"));

    // A change rewrites only its own line.
    ini.SetValue("two", "x", "2");
    String expected = text;
    expected.replace(expected.find("x=1"), 3, "x=2");
    EXPECT_EQ(ini.ToString(), expected);
}

TEST(IniFile, DuplicateSectionsMergeAndLaterKeysWin) {
    IniFile ini;
    ini.LoadFromString("[a]\nx=1\n[b]\ny=2\n[A]\nz=3\nx=4\n");
    EXPECT_EQ(ini.GetSections(), (Strings{"", "a", "b"}));
    EXPECT_EQ(ini.GetValue("a", "z", ""), "3");
    EXPECT_EQ(ini.GetValue("a", "x", ""), "4");
    EXPECT_EQ(ini.GetKeys("a"), (Strings{"x", "z"}));
    const String out = ini.ToString();
    EXPECT_EQ(out.find("[A]"), String::npos);
    EXPECT_EQ(out.find("x=1"), String::npos);

    IniFile dup;
    dup.LoadFromString("k=1\nK=2\nk=3\n");
    EXPECT_EQ(dup.GetValue("", "k", ""), "3");
    EXPECT_EQ(dup.GetKeys("").size(), 1u);
}

TEST(IniFile, CrLfInputHasNoCarriageReturnInValues) {
    IniFile ini;
    ini.LoadFromString("top=1\r\n[s]\r\nk=v\r\nq=\"a\\tb\"\r\nlast=end\r\n");
    EXPECT_EQ(ini.GetValue("", "top", ""), "1");
    EXPECT_EQ(ini.GetValue("s", "q", ""), "a\tb");
    EXPECT_EQ(ini.GetValue("s", "last", ""), "end");
    EXPECT_EQ(ini.ToString().find('\r'), String::npos);
}

TEST(IniFile, AwkwardValuesRoundTripExactly) {
    const Strings values = {
        "line1\nline2",
        " leading",
        "trailing ",
        "  ",
        "\"quoted\"",
        "\"open",
        "tab\there",
        "back\\slash\\n",
        "cr\rhere",
        "ends\r",
        "ctrl\x01\x1f\x7f",
        "\xC3\xA4 utf8 \xFF",
        String("nul\0mid", 7),
        "a=b=c",
        "; not a comment",
        "[not a section]",
        "",
        "\\x41 \\n literal",
        "\n",
    };
    IniFile ini;
    for (size_t i = 0; i < values.size(); ++i)
        ini.SetValue("s", "k" + String::FromInt((long long)i), values[i]);
    const String text = ini.ToString();
    IniFile back;
    back.LoadFromString(text);
    ASSERT_EQ(back.GetKeys("s").size(), values.size()) << text; // one line per key
    EXPECT_EQ(back.GetSections(), (Strings{"", "s"}));
    for (size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(back.GetValue("s", "k" + String::FromInt((long long)i), "<absent>"), values[i])
            << "value #" << i;
    EXPECT_EQ(back.ToString(), text);
}

TEST(IniFile, UnusualButValidKeysRoundTrip) {
    IniFile ini;
    const Strings keys = {"with space", "semi;colon", "hash#", "br]acket", "\xC3\xA4"};
    for (const String& k : keys)
        ini.SetValue("s", k, "v-" + k);
    IniFile back;
    back.LoadFromString(ini.ToString());
    EXPECT_EQ(back.GetKeys("s"), keys);
    for (const String& k : keys)
        EXPECT_EQ(back.GetValue("s", k, ""), "v-" + k);
}

TEST(IniFile, InvalidKeysThrowArgumentErrors) {
    IniFile ini;
    ini.InsertSection("cur");
    for (const String& key : Strings{"", "a=b", "a\nb", "a\rb", "[x", ";c", "#c"}) {
        auto e = CatchException([&] { ini.SetValue(key, "v"); });
        ASSERT_TRUE(e) << "key: " << key;
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrArgument);
        e = CatchException([&] { ini.SetValue("other", key, "v"); });
        ASSERT_TRUE(e) << "key: " << key;
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrArgument);
    }
    // Nothing was written: no keys, and the named section was not created.
    EXPECT_TRUE(ini.GetKeys("cur").empty());
    EXPECT_FALSE(ini.HasSection("other"));
    EXPECT_EQ(ini.ToString(), "[cur]\n");
}

TEST(IniFile, HostileContentLoadsAndKeepsGoodKeys) {
    String all;
    for (int c = 0; c < 256; ++c)
        all.push_back((char)c);
    String text = "good1=a\n";
    text += all + "\n";
    text += String("nul\0line\0=x", 11) + "\n";
    text += String(1 << 20, 'L') + "\n";
    for (int i = 0; i < 10000; ++i)
        text += "no equals sign here " + String::FromInt(i) + "\n";
    text += "[unclosed\n[]\n[ ]\n=value\n  =value2\n[x\r]\n";
    text += "[sec]\ngood2=b\n";
    text += "[open=still\n";
    text += "good3=\"quoted \\x4\"\n";
    text += "good4=c"; // no final line break

    IniFile ini;
    ini.LoadFromString(text);
    EXPECT_EQ(ini.GetValue("", "good1", ""), "a");
    EXPECT_EQ(ini.GetValue("sec", "good3", ""), "quoted x4");
    EXPECT_EQ(ini.GetValue("sec", "good4", ""), "c");
    EXPECT_EQ(ini.GetSections(), (Strings{"", "sec"}));
    EXPECT_FALSE(ini.HasKey("", ""));

    // Written and read again, the good keys and the sections are still the same.
    const String once = ini.ToString();
    IniFile back;
    back.LoadFromString(once);
    EXPECT_EQ(back.GetSections(), (Strings{"", "sec"}));
    EXPECT_EQ(back.GetKeys("sec"), ini.GetKeys("sec"));
    EXPECT_EQ(back.ToString(), once);
}

// ---- files ----

TEST(IniFile, SaveAndLoadThroughAFile) {
    const String path = Home() + "/test.ini";
    IniFile ini;
    ini.SetFilename(path);
    ini.SetValue("", "top", "1");
    ini.SetValue("s", "multi", "a\nb");
    EXPECT_TRUE(ini.IsModified());
    ini.Save();
    EXPECT_FALSE(ini.IsModified());
    EXPECT_EQ(File::ReadAll(path), ini.ToString());

    IniFile back(path);
    back.Load();
    EXPECT_EQ(back.GetValue("s", "multi", ""), "a\nb");
    EXPECT_FALSE(back.IsModified());
    back.SetValue("s", "multi", "a\nb"); // the same value is no change
    EXPECT_FALSE(back.IsModified());
    back.SetValue("s", "multi", "c");
    EXPECT_TRUE(back.IsModified());
    back.Load(); // reading the file again replaces the change: nothing pending
    EXPECT_FALSE(back.IsModified());
    EXPECT_EQ(back.GetValue("s", "multi", ""), "a\nb");
}

TEST(IniFile, LoadOfMissingFile) {
    IniFile ini;
    ini.SetFilename(Home() + "/missing.ini");
    auto e = CatchException([&] { ini.Load(true); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrNotFound);

    ini.LoadFromString("[s]\nk=v\n");
    ini.Load(false);
    EXPECT_EQ(ini.GetSections(), (Strings{""}));
    EXPECT_EQ(ini.ToString(), "");

    // Only absence is forgiven: a name that cannot be read still throws.
    ini.SetFilename(Home());
    e = CatchException([&] { ini.Load(false); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrIO);
}

TEST(IniFile, LoadWithoutReplaceMergesOverContent) {
    const String path = Home() + "/merge.ini";
    WriteText(path, "[s]\nb=3\nc=4\n[t]\nd=5\n");
    IniFile ini;
    ini.LoadFromString("[s]\na=1\nb=2\n");
    ini.SetFilename(path);
    ini.Load(true, false);
    EXPECT_EQ(ini.GetValue("s", "b", ""), "3");
    EXPECT_EQ(ini.GetValue("t", "d", ""), "5");
    EXPECT_EQ(ini.GetKeys("s"), (Strings{"a", "b", "c"}));
    EXPECT_TRUE(ini.IsModified());
}

TEST(IniFile, SaveKeepsPermissionsAndLeavesNoTemporaryFiles) {
    const String dir = Home() + "/perm";
    File::CreateDirectories(dir);
    const String path = dir + "/keep.ini";
    WriteText(path, "old=1\n");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);

    IniFile ini;
    ini.SetFilename(path);
    ini.Load();
    for (int i = 0; i < 5; ++i) {
        ini.SetValue("", "n", String::FromInt(i));
        ini.Save();
    }
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(ListDir(dir), (Strings{"keep.ini"}));
    EXPECT_EQ(File::ReadAll(path), "old=1\nn=4\n");
}

TEST(IniFile, SaveIntoMissingFolderThrowsAndLeavesNothing) {
    const Strings before = ListDir(Home());
    IniFile ini;
    ini.SetFilename(Home() + "/nosuchdir/x.ini");
    ini.SetValue("", "k", "v");
    auto e = CatchException([&] { ini.Save(); });
    ASSERT_TRUE(e);
    EXPECT_FALSE(File::Exists(Home() + "/nosuchdir"));
    EXPECT_EQ(ListDir(Home()), before);
    EXPECT_TRUE(ini.IsModified()); // not saved, still pending
}

// ---- OptionsFile ----

TEST(OptionsFile, EveryChangeIsWrittenAtOnce) {
    const String path = Home() + "/options.ini";
    OptionsFile opt;
    opt.SetFilename(path);
    opt.SetValue("view", "zoom", "2");
    ASSERT_TRUE(File::Exists(path));
    EXPECT_EQ(File::ReadAll(path), "[view]\nzoom=2\n");
    opt.SetValue("view", "zoom", "3");
    EXPECT_EQ(File::ReadAll(path), "[view]\nzoom=3\n");
    opt.RemoveKey("view", "zoom");
    EXPECT_EQ(File::ReadAll(path), "[view]\n");
    EXPECT_FALSE(opt.IsModified());
}

TEST(OptionsFile, PausesNestAndTheOutermostEndWritesOnce) {
    const String path = Home() + "/options.ini";
    OptionsFile opt;
    opt.SetFilename(path);
    opt.PauseAutoWrite(true);
    opt.PauseAutoWrite(true);
    opt.SetValue("a", "k", "1");
    opt.SetValue("a", "j", "2");
    EXPECT_FALSE(File::Exists(path));
    opt.PauseAutoWrite(false);
    EXPECT_TRUE(opt.IsAutoWritePaused());
    EXPECT_FALSE(File::Exists(path));
    opt.PauseAutoWrite(false);
    EXPECT_FALSE(opt.IsAutoWritePaused());
    ASSERT_TRUE(File::Exists(path));
    EXPECT_EQ(File::ReadAll(path), opt.ToString());

    // A pause without changes writes nothing at its end (the file is not recreated).
    ASSERT_EQ(unlink(path.c_str()), 0);
    opt.PauseAutoWrite(true);
    opt.SetValue("a", "k", "1"); // unchanged value
    opt.PauseAutoWrite(false);
    EXPECT_FALSE(File::Exists(path));

    // An unmatched end does not leave a pause count behind.
    opt.PauseAutoWrite(false);
    EXPECT_FALSE(opt.IsAutoWritePaused());
    opt.SetValue("a", "k", "changed");
    ASSERT_TRUE(File::Exists(path));
    EXPECT_EQ(opt.GetValue("a", "k", ""), "changed");
    EXPECT_NE(File::ReadAll(path).find("k=changed"), String::npos);
    // ...and the next pause still holds writes back.
    opt.PauseAutoWrite(true);
    EXPECT_TRUE(opt.IsAutoWritePaused());
    opt.SetValue("a", "k", "paused");
    EXPECT_EQ(File::ReadAll(path).find("k=paused"), String::npos);
    opt.PauseAutoWrite(false);
    EXPECT_NE(File::ReadAll(path).find("k=paused"), String::npos);
}

TEST(IniFile, SectionNamesThatWouldNotReadBackAreRefused) {
    IniFile ini;
    for (const String& name : Strings{" a", "a ", "\tb", "x\ny", "x\ry"}) {
        auto e = CatchException([&] { ini.InsertSection(name); });
        ASSERT_TRUE(e) << "section: " << name;
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrArgument);
        EXPECT_TRUE(CatchException([&] { ini.SetValue(name, "k", "v"); })) << name;
    }
    EXPECT_EQ(ini.GetSections().size(), 1u); // only the unnamed one
}

TEST(OptionsFile, PauseGuardAndTheEndOfTheFileWriteHeldChanges) {
    const String path = Home() + "/options.ini";
    {
        OptionsFile opt(path);
        {
            OptionsFile::Pause pause(&opt);
            OptionsFile::Pause none(nullptr); // harmless
            opt.SetValue("s", "k", "v");
            opt.SetValue("s", "k2", "v2");
            EXPECT_FALSE(File::Exists(path));
        }
        EXPECT_FALSE(opt.IsAutoWritePaused());
        EXPECT_EQ(File::ReadAll(path), "[s]\nk=v\nk2=v2\n");
        opt.PauseAutoWrite(true);
        opt.SetValue("s", "k", "w");
    }
    EXPECT_EQ(File::ReadAll(path), "[s]\nk=w\nk2=v2\n");
}

TEST(OptionsFile, WriteFailureReturnsFalseWithoutThrowing) {
    QuietLog quiet;
    OptionsFile opt;
    opt.SetFilename(Home() + "/missing/options.ini");
    EXPECT_NO_THROW(opt.SetValue("s", "k", "v"));
    EXPECT_TRUE(opt.IsModified());
    bool ok = true;
    EXPECT_NO_THROW(ok = opt.WriteOut());
    EXPECT_FALSE(ok);
    EXPECT_FALSE(File::Exists(Home() + "/missing"));

    // Once the name is good, the pending change is written.
    const String good = Home() + "/options.ini";
    opt.SetFilename(good);
    EXPECT_TRUE(opt.WriteOut());
    EXPECT_EQ(File::ReadAll(good), "[s]\nk=v\n");
    EXPECT_FALSE(opt.IsModified());
}
