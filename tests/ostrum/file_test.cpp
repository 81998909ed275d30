// Path, File, OutFile, IniFile and OptionsFile.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <algorithm>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using taviro_test::CatchException;
using taviro_test::Home;
using taviro_test::ListDir;
using Strings = std::vector<String>;

// The code of the Exception that f throws; 0 when it throws none.
template <class F>
static uint32_t ErrorCode(F&& f) {
    auto e = CatchException(f);
    return e ? e->GetCode() : 0;
}

// ---- Path ----

TEST(Path, BranchLeafAndJoin) {
    const struct {
        const char* path;
        bool self;
        const char* branch;
    } cases[] = {
        {"/a/b/c/", false, "/a/b"}, {"name", false, ""},       {"/x", false, "/"},
        {"a//b/./c/", false, "a/b"}, {"//a///b", true, "/a/b"}, {"a/../b", true, "a/../b"},
        {"./foo/bar", false, "foo"}, // a relative path stays relative
    };
    for (const auto& c : cases)
        EXPECT_EQ(Path(c.path).Branch(c.self).ToString(), c.branch) << c.path << " " << c.self;
    EXPECT_EQ(Path("a/./b/c").Branch(false, false).ToString(), "a/./b"); // not normalized
    EXPECT_EQ(Path("/a/b/").Leaf(), "b");
    EXPECT_EQ((Path("a//") / "//b" / "c/d").ToString(), "a/b/c/d");
    EXPECT_EQ((Path("//") / "etc").ToString(), "/etc");
    EXPECT_EQ((Path("a") / "").ToString(), "a");
    EXPECT_EQ((Path("") / "/b").ToString(), "/b");
}

// ---- File ----

TEST(File, UserDirFollowsXdgConfigHomeAndFailsClearly) {
    taviro_test::EnvVar xdg("XDG_CONFIG_HOME"), home("HOME");
    const String config = Home() + "/cfg";
    xdg.Set(config);
    EXPECT_EQ(File::GetUserDir(), config + "/taviro");
    EXPECT_TRUE(File::IsDirectory(config + "/taviro")); // created with its parents
    xdg.Set("relative/cfg");                            // not used
    EXPECT_EQ(File::GetUserDir(), Home() + "/.config/taviro");

    const String blocker = Home() + "/blocker";
    File::AtomicWrite(blocker, "a file, not a folder");
    xdg.Unset();
    home.Set("");
    auto e = CatchException([] { File::GetUserDir(); });
    ASSERT_TRUE(e && e->GetCode() == k_ErrNoUserDir);
    EXPECT_EQ(e->GetMessage(), "No User Folder available");
    xdg.Set(blocker); // a folder that cannot be made
    EXPECT_EQ(ErrorCode([] { File::GetUserDir(); }), (uint32_t)k_ErrNoUserDir);
}

TEST(File, ReadAllAndCreateDirectories) {
    const String path = Home() + "/one/two//three/data.bin";
    File::CreateDirectories(Home() + "/one/two//three/");
    File::CreateDirectories(Home() + "/one/two/three"); // already there: fine
    const String content = String("bin\0ary\n", 8) + String(200000, 'z');
    File::AtomicWrite(path, content);
    EXPECT_EQ(File::ReadAll(path), content);
    EXPECT_TRUE(CatchException([&] { File::CreateDirectories(path + "/sub"); }));

    auto e = CatchException([&] { File::ReadAll(Home() + "/nothing"); });
    ASSERT_TRUE(e && e->GetCode() == k_ErrNotFound);
    EXPECT_NE(e->GetDetail().find("nothing"), String::npos);
}

TEST(File, SavesClearTemporariesLeftByDeadWritersOnly) {
    const String folder = taviro_test::MakeTempDir("saves");
    const pid_t dead = fork(); // a writer that is gone by the time of the save
    if (dead == 0) _exit(0);
    ASSERT_GT(dead, 0);
    ASSERT_EQ(waitpid(dead, nullptr, 0), dead);
    const Strings kept = {
        SFormat("a.ini.tmp-%d-Q1w2e3", (int)getppid()), // a live writer's save in progress
        SFormat("a.ini.tmp-%d-Q1w2e4", (int)getpid()),  // another thread of this process
        SFormat("b.ini.tmp-%d-Q1w2e3", (int)dead),      // another file's temporary
        "a.ini.tmp-notapid-123",
        "a.ini.bak",
        "a.ini"};
    for (const String& name : kept)
        File::AtomicWrite(folder + "/" + name, "x");
    File::AtomicWrite(SFormat("%s/a.ini.tmp-%d-Xa9fQ2", folder.c_str(), (int)dead), "half a save");

    File::AtomicWrite(folder + "/a.ini", "[S]\nk=v\n");
    Strings expected = kept;
    std::sort(expected.begin(), expected.end());
    // Only the dead writer's temporary is gone (the save left none of its own).
    EXPECT_EQ(ListDir(folder), expected);
}

// ---- OutFile ----

TEST(OutFile, TruncatesAppendsAndKeepsLargeWritesExact) {
    const String path = Home() + "/out.txt";
    File::AtomicWrite(path, "old content that is longer than the new one\n");
    {
        OutFile f(path, 22, false, false, -1);
        f.Put("ab");
        f.PutEOL();
        f.Put(String("cd"));
        f.PutEOL(k_EOLDos);
        f.Put("e\0f", 3);
        f.Close();
        EXPECT_EQ(File::ReadAll(path), String("ab\ncd\r\ne\0f", 10));
        f.Close(); // twice is harmless
        EXPECT_TRUE(CatchException([&] { f.Put("late"); }));
    }
    {
        OutFile f(path, 22, true); // appends; the destructor flushes
        f.Put("+more");
    }
    EXPECT_EQ(File::ReadAll(path), String("ab\ncd\r\ne\0f+more", 15));

    String expected;
    for (int i = 0; expected.size() < 300000; ++i)
        expected += SFormat("line %d|", i);
    const String pieces = Home() + "/pieces.txt";
    {
        OutFile f(pieces, k_FileWriteNew, false, true, 0600);
        // Pieces below, at and beyond the buffer size.
        const size_t sizes[] = {1, 7, 1000, 65535, 3, 65536, 70000, 11, 4096};
        for (size_t i = 0, at = 0; at < expected.size(); ++i) {
            const size_t n = std::min(sizes[i % 9], expected.size() - at);
            f.Put(expected.data() + at, n);
            at += n;
        }
    }
    EXPECT_EQ(File::ReadAll(pieces), expected);
    struct stat st {};
    EXPECT_TRUE(stat(pieces.c_str(), &st) == 0 && (st.st_mode & 0777) == 0600);

    EXPECT_EQ(ErrorCode([] { OutFile f(Home() + "/missing/out.txt"); }), (uint32_t)k_ErrIO);
}

// ---- IniFile ----

TEST(IniFile, CurrentSectionCaseInsensitiveNamesAndTypedValues) {
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

    ini.LoadFromString(
        "[s]\nYES2=yEs\nzero=0\nempty=\nint=42\nbad=12abc\nbig=9000000000\ndbl=2.5\n");
    EXPECT_EQ(ini.GetValue("s", "missing", "fallback"), "fallback"); // a literal is a string
    EXPECT_EQ(ini.GetValue("s", "empty", "x"), "");                  // present but empty
    EXPECT_TRUE(ini.GetValue("s", "yes2", false) && !ini.GetValue("s", "zero", true) &&
                ini.GetValue("s", "absent", true));
    EXPECT_EQ(ini.GetValue("s", "int", 0), 42);
    EXPECT_EQ(ini.GetValue("s", "bad", 5), 5);
    EXPECT_EQ(ini.GetValue("s", "big", 5), 5); // does not fit an int
    EXPECT_EQ(ini.GetValue("s", "big", -1L), 9000000000L);
    EXPECT_DOUBLE_EQ(ini.GetValue("s", "dbl", 0.0), 2.5);
}

TEST(IniFile, RoundTripsKeepCommentsMergeDuplicatesAndRefuseUnreadableNames) {
    const String text = "; top\n\n# hash=x\nfirst = one \n[one]\n  ; indented\nkey = value\n"
                        "junk without equals\n\n[two]\nx=1\n; trailing\n";
    IniFile ini;
    ini.LoadFromString(text);
    EXPECT_EQ(ini.ToString(), text);
    EXPECT_EQ(ini.GetValue("", "first", ""), "one");
    EXPECT_EQ(ini.GetKeys(""), (Strings{"first"}));
    EXPECT_EQ(ini.GetKeys("one"), (Strings{"key"}));
    ini.SetValue("two", "x", "2"); // a change rewrites only its own line
    EXPECT_EQ(ini.ToString(), String(text).replace(text.find("x=1"), 3, "x=2"));

    ini.LoadFromString("[a]\nx=1\n[b]\ny=2\n[A]\nz=3\nx=4\r\nK=1\nk=2\n");
    EXPECT_EQ(ini.GetSections(), (Strings{"", "a", "b"}));
    EXPECT_EQ(ini.GetKeys("a"), (Strings{"x", "z", "K"}));
    EXPECT_EQ(ini.GetValue("a", "x", ""), "4"); // later keys win, no CR in values
    EXPECT_EQ(ini.GetValue("a", "k", ""), "2");

    // Awkward values and keys round trip exactly.
    const Strings values = {"line1\nline2",
                            " leading",
                            "trailing ",
                            "\"quoted\"",
                            "\"open",
                            "tab\there",
                            "back\\slash\\n",
                            "ends\r",
                            "ctrl\x01\x1f\x7f",
                            " quoted\x1f"
                            "back\\slash",
                            "\xC3\xA4 \xFF",
                            "a=b=c",
                            "; not a comment",
                            "[not a section]",
                            "",
                            "\n",
                            String("nul\0mid", 7)};
    const Strings keys = {"with space", "semi;colon", "hash#", "br]acket", "\xC3\xA4"};
    ini.Clear();
    for (size_t i = 0; i < values.size(); ++i)
        ini.SetValue("s", "k" + String::FromInt((long long)i), values[i]);
    for (const String& k : keys)
        ini.SetValue("t", k, "v-" + k);
    IniFile back;
    back.LoadFromString(ini.ToString());
    ASSERT_EQ(back.GetKeys("s").size(), values.size()) << ini.ToString(); // one line per key
    for (size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(back.GetValue("s", "k" + String::FromInt((long long)i), "<absent>"), values[i])
            << "value #" << i;
    EXPECT_EQ(back.GetKeys("t"), keys);
    EXPECT_EQ(back.ToString(), ini.ToString());

    // Names that would not read back are refused and nothing is written.
    ini.Clear();
    ini.InsertSection("cur");
    for (const String& key : Strings{"", "a=b", "a\nb", "[x", ";c", "#c"}) {
        EXPECT_EQ(ErrorCode([&] { ini.SetValue(key, "v"); }), (uint32_t)k_ErrArgument) << key;
        EXPECT_TRUE(CatchException([&] { ini.SetValue("other", key, "v"); })) << key;
    }
    for (const String& name : Strings{" a", "a ", "x\ny"})
        EXPECT_TRUE(CatchException([&] { ini.InsertSection(name); })) << name;
    EXPECT_EQ(ini.ToString(), "[cur]\n");
}

TEST(IniFile, SaveAndLoadThroughAFileKeepingPermissionsAndMissingFiles) {
    const String dir = taviro_test::MakeTempDir("perm");
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
    ini.Save();
    EXPECT_FALSE(ini.IsModified());
    struct stat st {};
    EXPECT_TRUE(stat(path.c_str(), &st) == 0 && (st.st_mode & 07777) == 0640);
    EXPECT_EQ(ListDir(dir), (Strings{"keep.ini"})); // no temporaries left

    IniFile back(path);
    back.Load();
    EXPECT_EQ(back.ToString(), ini.ToString());
    back.SetValue("s", "b", "3"); // the same value is no change
    EXPECT_FALSE(back.IsModified());
    back.SetValue("s", "b", "c");
    back.Load(); // reading the file again replaces the change
    EXPECT_FALSE(back.IsModified());
    EXPECT_EQ(back.GetValue("s", "b", ""), "3");

    // Missing files and folders.
    ini.SetFilename(Home() + "/missing.ini");
    EXPECT_EQ(ErrorCode([&] { ini.Load(true); }), (uint32_t)k_ErrNotFound);
    ini.LoadFromString("[s]\nk=v\n");
    ini.Load(false); // absence is forgiven and empties the file
    EXPECT_EQ(ini.ToString(), "");
    ini.SetFilename(Home()); // ... but not a name that cannot be read (a folder: I/O, not absent)
    EXPECT_EQ(ErrorCode([&] { ini.Load(false); }), (uint32_t)k_ErrIO);
    ini.SetFilename(Home() + "/nosuchdir/x.ini");
    EXPECT_TRUE(CatchException([&] { ini.Save(); }));
}

// ---- OptionsFile ----

TEST(OptionsFile, WritesThroughNestedPausesWriteOnceAtTheOutermostEndFailuresKeepChanges) {
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
        // An unmatched end leaves no count; a change still held is written at the end.
        opt.PauseAutoWrite(false);
        EXPECT_FALSE(opt.IsAutoWritePaused());
        opt.PauseAutoWrite(true);
        opt.SetValue("view", "k", "held");
    }
    EXPECT_EQ(File::ReadAll(path), "[view]\nzoom=3\nk=held\n");

    // A failed write throws nothing and keeps the change for the next one.
    OptionsFile opt;
    opt.SetFilename(Home() + "/missing/options.ini");
    EXPECT_NO_THROW(opt.SetValue("s", "k", "v"));
    EXPECT_FALSE(opt.WriteOut());
    opt.SetFilename(path);
    EXPECT_TRUE(opt.WriteOut());
    EXPECT_EQ(File::ReadAll(path), "[s]\nk=v\n");
}
