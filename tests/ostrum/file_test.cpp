// Path, File and OutFile.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <algorithm>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using taviro_test::CatchException;
using taviro_test::EnvVar;
using taviro_test::Home;
using taviro_test::ListDir;

// ---- Path ----

TEST(Path, BranchLeafAndJoin) {
    const struct {
        const char* path;
        bool self;
        const char* branch;
    } cases[] = {
        {"/a/b/c/", false, "/a/b"},  {"/a/b/c/", true, "/a/b/c"}, {"name", false, ""},
        {"/x", false, "/"},          {"a//b/./c/", false, "a/b"}, {"//a///b", true, "/a/b"},
        {"a/../b", true, "a/../b"},  // ".." is left alone
        {"./foo/bar", false, "foo"}, // a relative path stays relative
    };
    for (const auto& c : cases)
        EXPECT_EQ(Path(c.path).Branch(c.self).ToString(), c.branch) << c.path << " " << c.self;
    EXPECT_EQ(Path("a/./b/c").Branch(false, false).ToString(), "a/./b"); // not normalized
    EXPECT_EQ(Path("/a/b/").Leaf(), "b");
    EXPECT_EQ(Path("/").Leaf(), "");
    EXPECT_EQ((Path("a//") / "//b" / "c/d").ToString(), "a/b/c/d");
    EXPECT_EQ((Path("//") / "etc").ToString(), "/etc");
    EXPECT_EQ((Path("a") / "").ToString(), "a");
    EXPECT_EQ((Path("") / "/b").ToString(), "/b");
}

// ---- File ----

TEST(File, UserDirFollowsXdgConfigHomeAndFailsClearly) {
    EnvVar xdg("XDG_CONFIG_HOME"), home("HOME");
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
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), 0x20000003u);
    EXPECT_EQ(e->GetMessage(), "No User Folder available");
    xdg.Set(blocker); // a folder that cannot be made
    e = CatchException([] { File::GetUserDir(); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrNoUserDir);
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
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrNotFound);
    EXPECT_NE(e->GetDetail().find("nothing"), String::npos);
    // A folder is there but cannot be read as a file: an I/O error, not "not found".
    e = CatchException([&] { File::ReadAll(Home()); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrIO);
}

TEST(File, SavesClearTemporariesLeftByDeadWritersOnly) {
    const String folder = Home() + "/saves";
    File::CreateDirectories(folder);
    const pid_t dead = fork(); // a writer that is gone by the time of the save
    if (dead == 0) _exit(0);
    ASSERT_GT(dead, 0);
    ASSERT_EQ(waitpid(dead, nullptr, 0), dead);
    const String deadTemp = SFormat("a.ini.tmp-%d-Xa9fQ2", (int)dead);
    const std::vector<String> kept = {
        SFormat("a.ini.tmp-%d-Q1w2e3", (int)getppid()), // a live writer's save in progress
        SFormat("a.ini.tmp-%d-Q1w2e4", (int)getpid()),  // another thread of this process
        SFormat("b.ini.tmp-%d-Q1w2e3", (int)dead),      // another file's temporary
        "a.ini.tmp-notapid-123", "a.ini.bak"};
    for (const String& name : kept)
        File::AtomicWrite(folder + "/" + name, "x");
    File::AtomicWrite(folder + "/" + deadTemp, "half a save");

    File::AtomicWrite(folder + "/a.ini", "[S]\nk=v\n");
    std::vector<String> expected = kept;
    expected.push_back("a.ini");
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
        // Small pieces, then pieces at and beyond the buffer size, in between small ones again.
        const size_t sizes[] = {1, 7, 1000, 65535, 3, 65536, 70000, 11, 4096};
        for (size_t i = 0, at = 0; at < expected.size(); ++i) {
            const size_t n = std::min(sizes[i % 9], expected.size() - at);
            f.Put(expected.data() + at, n);
            at += n;
        }
    }
    EXPECT_EQ(File::ReadAll(pieces), expected);
    struct stat st;
    ASSERT_EQ(stat(pieces.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    auto e = CatchException([] { OutFile f(Home() + "/missing/out.txt"); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrIO);
}
