// IniFile and OptionsFile: structure, typed access, round trips and files on disk.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <sys/stat.h>
#include <unistd.h>

using taviro_test::CatchException;
using taviro_test::Home;
using taviro_test::ListDir;
using Strings = std::vector<String>;

// ---- structure ----

TEST(IniFile, CurrentSectionSemanticsAndCaseInsensitiveNames) {
    IniFile ini;
    ini.LoadFromString("[Main]\nUserName=alice\n[b]\ny=2\n");
    EXPECT_EQ(ini.GetCurrentSection(), "");
    ini.InsertSection("MAIN"); // existing: becomes current where it is, keeps its spelling
    ini.SetValue("username", "bob");
    ini.SetValue("z", "3");
    ini.InsertSection("c");      // new: appended
    ini.SetValue("b", "q", "5"); // the three-argument form leaves the current section alone
    ini.SetValue("w", "4");
    // Keys of the unnamed section added later still land before every header.
    ini.SetValue("", "late", "1");
    EXPECT_EQ(ini.GetSections(), (Strings{"", "Main", "b", "c"}));
    EXPECT_EQ(ini.ToString(), "late=1\n[Main]\nUserName=bob\nz=3\n[b]\ny=2\nq=5\n\n[c]\nw=4\n");
    EXPECT_EQ(ini.GetValue("mAiN", "USERNAME", ""), "bob");
    EXPECT_FALSE(ini.HasKey("Main", "User"));
    // ClearSection keeps comments; the lines after a removed key are still found in place.
    ini.LoadFromString("[s]\n; note\na=1\nb=2\nc=3\n[t]\nc=3\n");
    ini.ClearSection("T");
    EXPECT_TRUE(ini.RemoveKey("S", "A"));
    EXPECT_FALSE(ini.RemoveKey("s", "a"));
    ini.SetValue("s", "c", "9");
    EXPECT_EQ(ini.ToString(), "[s]\n; note\nb=2\nc=9\n[t]\n");
    ini.RemoveSection("S"); // the sections after it are still found
    ini.SetValue("t", "k", "v");
    EXPECT_EQ(ini.ToString(), "[t]\nk=v\n");
}

TEST(IniFile, TypedGetValue) {
    IniFile ini;
    ini.LoadFromString("[s]\nstr=hello\nYES2=yEs\none=1\nzero=0\nempty=\nint=42\nbad=12abc\n"
                       "big=9000000000\ndbl=2.5\n");
    EXPECT_EQ(ini.GetValue("s", "missing", "fallback"), "fallback"); // a literal is a string
    EXPECT_EQ(ini.GetValue("s", "empty", "x"), "");                  // present but empty
    EXPECT_TRUE(ini.GetValue("s", "yes2", false));
    EXPECT_FALSE(ini.GetValue("s", "zero", true));
    EXPECT_TRUE(ini.GetValue("s", "absent", true));
    EXPECT_EQ(ini.GetValue("s", "int", 0), 42);
    EXPECT_EQ(ini.GetValue("s", "bad", 5), 5);
    EXPECT_EQ(ini.GetValue("s", "big", 5), 5); // does not fit an int
    EXPECT_EQ(ini.GetValue("s", "big", -1L), 9000000000L);
    EXPECT_DOUBLE_EQ(ini.GetValue("s", "dbl", 0.0), 2.5);
}

// ---- text round trips ----

TEST(IniFile, CommentsAndUnknownLinesStayAndDuplicatesMerge) {
    const String text = "; top\n\n# hash=x\nfirst = one \n[one]\n  ; indented\nkey = value\n"
                        "junk without equals\n\n[two]\nx=1\n; trailing\n";
    IniFile ini;
    ini.LoadFromString(text);
    EXPECT_EQ(ini.ToString(), text);
    EXPECT_EQ(ini.GetValue("", "first", ""), "one");
    EXPECT_EQ(ini.GetKeys(""), (Strings{"first"}));
    EXPECT_EQ(ini.GetKeys("one"), (Strings{"key"}));
    ini.SetValue("two", "x", "2"); // a change rewrites only its own line
    String expected = text;
    expected.replace(expected.find("x=1"), 3, "x=2");
    EXPECT_EQ(ini.ToString(), expected);

    ini.LoadFromString("[a]\nx=1\n[b]\ny=2\n[A]\nz=3\nx=4\r\nK=1\nk=2\n");
    EXPECT_EQ(ini.GetSections(), (Strings{"", "a", "b"}));
    EXPECT_EQ(ini.GetKeys("a"), (Strings{"x", "z", "K"}));
    EXPECT_EQ(ini.GetValue("a", "x", ""), "4"); // later keys win, no CR in values
    EXPECT_EQ(ini.GetValue("a", "k", ""), "2");
}

TEST(IniFile, AwkwardValuesAndKeysRoundTripExactly) {
    const Strings values = {"line1\nline2",
                            " leading",
                            "trailing ",
                            "\"quoted\"",
                            "\"open",
                            "tab\there",
                            "back\\slash\\n",
                            "ends\r",
                            "ctrl\x01\x1f\x7f",
                            "\xC3\xA4 \xFF",
                            String("nul\0mid", 7),
                            "a=b=c",
                            "; not a comment",
                            "[not a section]",
                            "",
                            "\n"};
    const Strings keys = {"with space", "semi;colon", "hash#", "br]acket", "\xC3\xA4"};
    IniFile ini;
    for (size_t i = 0; i < values.size(); ++i)
        ini.SetValue("s", "k" + String::FromInt((long long)i), values[i]);
    for (const String& k : keys)
        ini.SetValue("t", k, "v-" + k);
    const String text = ini.ToString();
    IniFile back;
    back.LoadFromString(text);
    ASSERT_EQ(back.GetKeys("s").size(), values.size()) << text; // one line per key
    for (size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(back.GetValue("s", "k" + String::FromInt((long long)i), "<absent>"), values[i])
            << "value #" << i;
    EXPECT_EQ(back.GetKeys("t"), keys);
    EXPECT_EQ(back.ToString(), text);
}

TEST(IniFile, NamesThatWouldNotReadBackAreRefusedAndNothingIsWritten) {
    IniFile ini;
    ini.InsertSection("cur");
    for (const String& key : Strings{"", "a=b", "a\nb", "[x", ";c", "#c"}) {
        auto e = CatchException([&] { ini.SetValue(key, "v"); });
        ASSERT_TRUE(e) << "key: " << key;
        EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrArgument);
        EXPECT_TRUE(CatchException([&] { ini.SetValue("other", key, "v"); })) << key;
    }
    for (const String& name : Strings{" a", "a ", "x\ny"})
        EXPECT_TRUE(CatchException([&] { ini.InsertSection(name); })) << name;
    EXPECT_EQ(ini.ToString(), "[cur]\n");
}

// ---- files ----

TEST(IniFile, SaveAndLoadThroughAFileKeepingPermissions) {
    const String dir = Home() + "/perm";
    File::CreateDirectories(dir);
    const String path = dir + "/keep.ini";
    File::AtomicWrite(path, "[s]\nb=3\nc=4\n");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);

    IniFile ini;
    ini.LoadFromString("[s]\na=1\nb=2\n");
    ini.SetFilename(path);
    ini.Load(true, false); // merges over what is there
    EXPECT_EQ(ini.GetKeys("s"), (Strings{"a", "b", "c"}));
    EXPECT_EQ(ini.GetValue("s", "b", ""), "3");
    EXPECT_TRUE(ini.IsModified());
    ini.SetValue("s", "multi", "x\ny");
    ini.Save();
    EXPECT_FALSE(ini.IsModified());
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(ListDir(dir), (Strings{"keep.ini"})); // no temporaries left

    IniFile back(path);
    back.Load();
    EXPECT_EQ(back.GetValue("s", "multi", ""), "x\ny");
    back.SetValue("s", "multi", "x\ny"); // the same value is no change
    EXPECT_FALSE(back.IsModified());
    back.SetValue("s", "multi", "c");
    back.Load(); // reading the file again replaces the change
    EXPECT_FALSE(back.IsModified());
    EXPECT_EQ(back.GetValue("s", "multi", ""), "x\ny");
}

TEST(IniFile, MissingFilesAndFolders) {
    IniFile ini;
    ini.SetFilename(Home() + "/missing.ini");
    auto e = CatchException([&] { ini.Load(true); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrNotFound);
    ini.LoadFromString("[s]\nk=v\n");
    ini.Load(false); // absence is forgiven and empties the file
    EXPECT_EQ(ini.ToString(), "");
    ini.SetFilename(Home()); // ... but not a name that cannot be read
    e = CatchException([&] { ini.Load(false); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrIO);

    const Strings before = ListDir(Home());
    ini.SetFilename(Home() + "/nosuchdir/x.ini");
    ini.SetValue("", "k", "v");
    EXPECT_TRUE(CatchException([&] { ini.Save(); }));
    EXPECT_EQ(ListDir(Home()), before);
    EXPECT_TRUE(ini.IsModified()); // not saved, still pending
}

// ---- OptionsFile ----

TEST(OptionsFile, WritesThroughAndNestedPausesWriteOnceAtTheOutermostEnd) {
    const String path = Home() + "/options.ini";
    {
        OptionsFile opt(path);
        opt.SetValue("view", "zoom", "2");
        EXPECT_EQ(File::ReadAll(path), "[view]\nzoom=2\n");
        opt.PauseAutoWrite(true);
        {
            OptionsFile::Pause inner(&opt);
            opt.SetValue("view", "zoom", "3");
            opt.SetValue("view", "k", "1");
        }
        EXPECT_TRUE(opt.IsAutoWritePaused());
        EXPECT_EQ(File::ReadAll(path), "[view]\nzoom=2\n");
        opt.PauseAutoWrite(false);
        EXPECT_EQ(File::ReadAll(path), "[view]\nzoom=3\nk=1\n");

        // A pause without changes writes nothing (the file is not recreated).
        ASSERT_EQ(unlink(path.c_str()), 0);
        opt.PauseAutoWrite(true);
        opt.SetValue("view", "k", "1");
        opt.PauseAutoWrite(false);
        EXPECT_FALSE(File::Exists(path));
        // An unmatched end leaves no count behind; a change still held at the end of the
        // file object is written then.
        opt.PauseAutoWrite(false);
        EXPECT_FALSE(opt.IsAutoWritePaused());
        opt.PauseAutoWrite(true);
        opt.SetValue("view", "k", "held");
    }
    EXPECT_EQ(File::ReadAll(path), "[view]\nzoom=3\nk=held\n");
}

TEST(OptionsFile, WriteFailureReturnsFalseAndKeepsTheChange) {
    Log::s_GlobalLog->SetEchoLevel(-1);
    OptionsFile opt;
    opt.SetFilename(Home() + "/missing/options.ini");
    EXPECT_NO_THROW(opt.SetValue("s", "k", "v"));
    EXPECT_FALSE(opt.WriteOut());
    Log::s_GlobalLog->SetEchoLevel(LL_Warning);
    const String good = Home() + "/options.ini";
    opt.SetFilename(good);
    EXPECT_TRUE(opt.WriteOut());
    EXPECT_EQ(File::ReadAll(good), "[s]\nk=v\n");
}
