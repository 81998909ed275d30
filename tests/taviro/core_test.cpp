// Job modules, command sub-items, jobs and the simulated farm's schedule.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>
#include <taviro/ThreadPool.h>

#include <ostrum/File.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <set>
#include <sys/stat.h>

namespace {

using Strings = std::vector<String>;

const char* const k_IdA = "11111111-2222-4333-8444-555555555501";
const char* const k_IdB = "11111111-2222-4333-8444-555555555502";
const char* const k_IdC = "11111111-2222-4333-8444-555555555503";
const char* const k_FrameRender = "6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01";

using taviro_test::CatchException;

String Module(const String& name, const String& id, const String& body = String()) {
    return "type " + name + "\nid " + id + "\n" + body;
}

} // namespace

// ---- module parsing ----

TEST(JobModules, GoodModuleIsReadCompletely) {
    const String text = "# a test module\r\n\n   \t\ntype  Frame Render  \nid " + String(k_IdA) +
                        "\nhide-id {" + String(k_IdB) +
                        "}\r\n  # indented comment\n"
                        "command Pause | 1 | Pause the job; frames finish first\n"
                        "separator\r\n"
                        "command\tRender Range|4|Render again|items-from: Frames\n"
                        "command Priority | 12 | Change it | items: Low;\"Very;High\";DISABLED:U\n";
    JobFactory f;
    ASSERT_TRUE(f.AddModule(text, "/mods/render.tjm"));
    const JobTypeInfo& info = f.GetTypeInfo(UID(k_IdA, true), true);
    EXPECT_EQ(info.name, "Frame Render");
    EXPECT_EQ(info.hideId, UID(k_IdB, true));
    EXPECT_EQ(info.file, "/mods/render.tjm");
    // name|flags|help|items|items-from of each entry; separators show as "-".
    Strings seen;
    for (const CommandInfo& cmd : info.commands)
        seen.push_back(cmd.IsSeparator() ? String("-")
                                         : cmd.name + "|" + String::FromInt(cmd.flags) + "|" +
                                               cmd.help + "|" + cmd.items + "|" + cmd.itemsFrom);
    EXPECT_EQ(seen, (Strings{"Pause|1|Pause the job; frames finish first||", "-",
                             "Render Range|4|Render again||Frames",
                             "Priority|12|Change it|Low;\"Very;High\";DISABLED:U|"}));
    EXPECT_EQ(info.FindCommand("Priority"), &info.commands[3]);
    EXPECT_EQ(info.FindCommand(""), nullptr); // separators are not commands
    // Without a hide-id line, the hide id is the type's id.
    ASSERT_TRUE(f.AddModule(Module("T", k_IdC), "c.tjm"));
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdC, true), true).hideId, UID(k_IdC, true));
}

TEST(JobModules, MalformedModulesAreSkippedAndLogged) {
    struct Case {
        const char* what;
        String text;
        int line; // 0: reported at the end of the file, line not checked
    };
    const String id = k_IdA, nul(1, '\0');
    const std::vector<Case> cases = {
        {"no-type", "# nothing here\n\n", 0},
        {"id-first", "# c\nid " + id + "\ntype T\n", 2},
        {"second-type", "type A\nid " + id + "\ntype B\n", 3},
        {"no-id", "type A\ncommand P | 1 | h\n", 0},
        {"bad-id", "type A\nid 1234-not-an-id\n", 2},
        {"nul-in-id", "type T\nid " + id + nul + "\n", 2},
        {"bad-hide-id", "type A\nid " + id + "\nhide-id xyz\n", 3},
        {"two-fields", Module("T", id, "command A | 1\n"), 3},
        {"no-command-name", Module("T", id, "command  | 1 | h\n"), 3},
        {"junk-flags", Module("T", id, "command A | 1x | h\n"), 3},
        {"negative-flags", Module("T", id, "command A | -1 | h\n"), 3},
        {"huge-flags", Module("T", id, "command A | 99999999999 | h\n"), 3},
        {"unknown-keyword", Module("T", id, "command A | 1 | h\ncolour red\n"), 4},
        {"blank-items", Module("T", id, "command A | 1 | h | items:   \r\n"), 3},
        {"bad-fourth-field", Module("T", id, "command A | 1 | h | things: x\n"), 3},
        {"separator-with-text", Module("T", id, "separator here\n"), 3},
        {"late-error", Module("T", id, "command A | 1 | h\n\n# fine\ncommand B | x | h\n"), 6},
    };
    const String logFile = taviro_test::MakeTempDir("log") + "/capture.log";
    Log::s_GlobalLog->Open(logFile);
    Log::s_GlobalLog->SetEchoLevel(-1);
    JobFactory f;
    for (const Case& c : cases) {
        const String file = "/mods/" + String(c.what) + ".tjm";
        EXPECT_FALSE(f.AddModule(c.text, file)) << c.what;
        EXPECT_EQ(f.Count(), 0u) << c.what;
        const String where = file + " line " + (c.line ? String::FromInt(c.line) + ":" : "");
        EXPECT_NE(File::ReadAll(logFile).find(where), String::npos) << c.what;
    }
    // Nothing of a skipped module is kept, not even its identifier; a second module with a
    // known id is skipped and the first stays.
    EXPECT_TRUE(f.AddModule(Module("T", id), "good.tjm"));
    EXPECT_FALSE(f.AddModule(Module("Second", id, "command X | 1 | h\n"), "/mods/second.tjm"));
    EXPECT_NE(File::ReadAll(logFile).find("/mods/second.tjm"), String::npos);
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdA, true), true).name, "T");
    auto e = CatchException([&] { f.GetTypeInfo(UID(k_IdB, true), true); });
    EXPECT_EQ(e ? e->GetCode() : 0, (uint32_t)k_ErrNotFound);
    EXPECT_TRUE(f.GetTypeInfo(UID(k_IdB, true), false).name.empty());
}

TEST(JobModules, LoadModulesFromFolders) {
    JobFactory f;
    ASSERT_TRUE(f.AddModule(Module("Old", k_IdC), "old.tjm"));
    EXPECT_EQ(f.LoadModules(taviro_test::Home() + "/no-such-folder"), 0u);
    EXPECT_EQ(f.Count(), 0u); // loading replaces what was known

    const String dir = taviro_test::MakeTempDir("mods");
    File::AtomicWrite(dir + "/20-b.tjm", Module("Bee", k_IdB));
    File::AtomicWrite(dir + "/10-a.tjm", Module("Ay", k_IdA, "command Go | 1 | Go\n"));
    File::AtomicWrite(dir + "/05-c.tjm", Module("Cee", k_IdC));
    File::AtomicWrite(dir + "/15-bad.tjm",
                      Module("Bad", "11111111-2222-4333-8444-555555555504", "oops\n"));
    File::AtomicWrite(dir + "/30-d.txt", Module("Dee", "11111111-2222-4333-8444-555555555505"));
    File::AtomicWrite(dir + "/40-dup.tjm", Module("Copy of Ay", k_IdA));
    mkdir((dir + "/50-folder.tjm").c_str(), 0700);
    ASSERT_EQ(mkfifo((dir + "/60-fifo.tjm").c_str(), 0600), 0);
    String big = Module("Big", "11111111-2222-4333-8444-555555555506");
    big.resize((2u << 20) + 1, '#'); // a comment line far over the size limit
    File::AtomicWrite(dir + "/70-big.tjm", big);
    ASSERT_EQ(f.LoadModules(dir), 3u);
    // In file-name order.
    EXPECT_EQ(f.ListTypes(),
              (std::vector<UID>{UID(k_IdC, true), UID(k_IdA, true), UID(k_IdB, true)}));
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdA, true), true).file, dir + "/10-a.tjm");
}

// ---- jobs and command sub-items ----

TEST(Jobs, ParametersStatusHidingAndItems) {
    Job job(UID(k_IdA, true));
    EXPECT_EQ(job.GetStatus(), k_JobUnknown);
    EXPECT_EQ(job.GetParameter(p_Status), ""); // never given, so not "0"
    job.SetParameters({{p_Name, "Shot 010"}, {p_Status, "2"}, {p_Owner, "ana"}});
    EXPECT_EQ(job.GetStatus(), k_JobRunning);
    job.SetParameters(
        {{p_Name, "Shot 20"}, {p_Priority, "High"}}); // a shorter value leaves the others whole
    const std::map<String, String> all = job.GetParameters();
    EXPECT_EQ(all.size(), 4u);
    EXPECT_EQ(all.at(p_Owner), "ana"); // merged, not replaced
    EXPECT_EQ(job.Name(), "Shot 20");
    job.SetParameter(p_Status, "paused");
    EXPECT_EQ(job.GetStatus(), k_JobUnknown);
    for (int s = -1; s <= 8; ++s)
        EXPECT_EQ(job.HideInSelectors(s), s == k_JobArchived || s == k_JobUnknown) << s;

    // Items from a job parameter: empty values dropped, special characters kept exactly.
    CommandInfo c;
    c.itemsFrom = p_Frames;
    EXPECT_EQ(c.Itemize(job), ""); // no such parameter yet
    job.SetParameter(p_Frames, " 1-10 , ,11-20,,  21-30  ,");
    EXPECT_EQ(c.Itemize(job), "1-10;11-20;21-30");
    const Strings awkward = {"a;b", "say \"hi\"", "c:\\temp\\", "\"", "x;\\;y", ";", "plain"};
    String param;
    for (const String& v : awkward)
        param += (param.empty() ? "" : ", ") + v;
    job.SetParameter(p_Frames, param);
    const String joined = c.Itemize(job);
    EXPECT_EQ(StringTokenizer(joined, ";", false, '"', '\\').GetTokens(), awkward) << joined;
    // Fixed items win over a parameter and are not rewritten.
    c.items = "x;\"y;z\"";
    EXPECT_EQ(c.Itemize(job), "x;\"y;z\"");
}

TEST(Jobs, ExecuteCommandRefusals) {
    ASSERT_EQ(dynamic_cast<TaviroClientApp*>(Application::the_Application), nullptr);
    ASSERT_EQ(JobFactory::s_JobFactory.LoadModules(DEMO_MODULES), 3u);
    Job job(UID(true));
    job.SetParameters({{p_Type, k_FrameRender}, {p_Status, "2"}, {p_Frames, "1-10,11-20"}});
    Job stray(UID(true)); // of a type nobody installed, so without commands
    stray.SetParameter(p_Type, k_IdC);
    struct Case {
        Job& job;
        const char *command, *item;
        uint32_t code;
        bool disabled; // refused items and disabled ones are told apart
    };
    const std::vector<Case> cases = {
        {job, "Explode", "", k_ErrNotFound, false},
        {job, "", "", k_ErrNotFound, false}, // a separator is no command
        {job, "Priority", "Extreme", k_ErrArgument, false},
        {job, "Priority", "", k_ErrArgument, false},
        {job, "Priority", "Urgent", k_ErrArgument, true},
        {job, "Priority", "DISABLED:Urgent", k_ErrArgument, true},
        {job, "Render Range", "21-30", k_ErrArgument, false},
        {job, "Pause", "now", k_ErrArgument, false},
        {stray, "Pause", "", k_ErrNotFound, false},
        // Everything checks out, but no client is connected to a master.
        {job, "Pause", "", k_ErrRequest, false},
        {job, "Priority", "High", k_ErrRequest, false},
        {job, "Render Range", "11-20", k_ErrRequest, false},
    };
    for (const Case& c : cases) {
        auto e = CatchException([&] { c.job.ExecuteCommand(c.command, c.item); });
        ASSERT_TRUE(e) << c.command << " / " << c.item;
        EXPECT_EQ(e->GetCode(), c.code) << c.command << " / " << c.item << ": " << e->Format();
        EXPECT_NE(e->GetDetail().find(c.command), String::npos) << e->Format();
        EXPECT_EQ(e->GetMessage().FindNoCase("disabled") != String::npos, c.disabled)
            << e->Format();
    }
}

// ---- the simulated farm ----

namespace {

using Messages = std::vector<boost::shared_ptr<Message>>;

Messages Flatten(const Messages& batches) {
    Messages out;
    for (auto& b : batches)
        out.insert(out.end(), b->m_Batch.begin(), b->m_Batch.end());
    return out;
}

bool SameMessage(const Message& a, const Message& b) {
    return a.GetType() == b.GetType() && a.GetJob() == b.GetJob() && a.m_Params == b.m_Params &&
           a.m_Sequence == b.m_Sequence;
}

} // namespace

TEST(FarmSchedule, SameSeedSameTrafficOnlyLiveJobsNamedAndCommands) {
    ASSERT_EQ(JobFactory::s_JobFactory.LoadModules(DEMO_MODULES), 3u);
    const std::vector<UID> types = JobFactory::s_JobFactory.ListTypes();
    FarmSchedule a(7, 2500, types), b(7, 2500, types), other(8, 2500, types);
    const auto batches = a.Snapshot();
    ASSERT_EQ(batches.size(), 3u); // batches of at most 1000
    const auto sa = Flatten(batches), sb = Flatten(b.Snapshot()), so = Flatten(other.Snapshot());
    ASSERT_EQ(sa.size(), 2500u);
    std::set<UID> live;
    for (size_t i = 0; i < sa.size(); ++i) {
        EXPECT_TRUE(SameMessage(*sa[i], *sb[i])) << i;
        EXPECT_FALSE(SameMessage(*sa[i], *so[i])) << i;
        EXPECT_TRUE(live.insert(sa[i]->GetJob()).second) << "duplicate id";
        const int status = sa[i]->Get(p_Status).ToInt(-1);
        EXPECT_TRUE(status >= k_JobWaiting && status <= k_JobArchived) << status;
    }
    // The traffic only ever names jobs that exist, and new ones get fresh identifiers.
    for (uint64_t i = 0; i < 5000; ++i) {
        auto m = a.Next(), mb = b.Next();
        ASSERT_TRUE(SameMessage(*m, *mb)) << "message " << i;
        EXPECT_EQ(m->m_Sequence, i + 1);
        if (m->GetType() == k_MsgJobCreated) {
            EXPECT_TRUE(live.insert(m->GetJob()).second);
        } else if (m->GetType() == k_MsgJobRemoved) {
            EXPECT_EQ(live.erase(m->GetJob()), 1u);
        } else if (m->GetType() != k_MsgEngineLoad) {
            EXPECT_EQ(live.count(m->GetJob()), 1u) << Message::TypeName(m->GetType());
        }
    }
    EXPECT_EQ(live.size(), a.JobCount());

    // Commands on a waiting job: what is sent, and the job as the farm's snapshot shows it after.
    auto paramOf = [&](const UID& job, const String& name) {
        for (auto& m : Flatten(a.Snapshot()))
            if (m->GetJob() == job) return m->Get(name);
        return String();
    };
    UID waiting;
    for (auto& m : Flatten(a.Snapshot()))
        if (waiting.IsNull() && m->Get(p_Status) == "1") waiting = m->GetJob();
    ASSERT_FALSE(waiting.IsNull());
    struct Step {
        const char *command, *item;
        int sent; // the message type sent, 0 when refused (with a reason)
        String param, value;
    };
    const std::vector<Step> steps = {{"Pause", "", k_MsgJobChanged, p_Status, "3"},
                                     {"Pause", "", 0, p_Status, "3"},
                                     {"Resume", "", k_MsgJobChanged, p_Status, "1"},
                                     {"Resume", "", 0, p_Status, "1"},
                                     {"Priority", "High", k_MsgJobChanged, p_Priority, "High"},
                                     {"Remove", "", k_MsgJobRemoved, p_Status, ""},
                                     {"Pause", "", 0, p_Status, ""}};
    Messages out;
    String error;
    for (const Step& s : steps) {
        out.clear();
        error.clear();
        EXPECT_EQ(a.ApplyCommand(waiting, s.command, s.item, &error, out), s.sent != 0)
            << s.command << ": " << error;
        EXPECT_EQ(error.empty(), s.sent != 0) << s.command;
        ASSERT_EQ(out.size(), s.sent ? 1u : 0u) << s.command;
        EXPECT_EQ(paramOf(waiting, s.param), s.value) << s.command;
        if (!s.sent) continue;
        EXPECT_EQ(out[0]->GetType(), s.sent) << s.command;
        EXPECT_EQ(out[0]->Get(s.param), s.value) << s.command;
    }
    EXPECT_EQ(Flatten(a.Snapshot()).size(), a.JobCount());
    // A finished job cannot be aborted, nor an archived one restarted.
    std::map<String, int> tried, refused;
    for (auto& m : Flatten(a.Snapshot())) {
        const int st = m->Get(p_Status).ToInt(0);
        const char* command = st == k_JobDone ? "Abort" : st == k_JobArchived ? "Restart" : nullptr;
        if (!command) continue;
        ++tried[command];
        refused[command] += !a.ApplyCommand(m->GetJob(), command, "", &error, out);
    }
    EXPECT_EQ(tried.size(), 2u); // both kinds are there
    EXPECT_EQ(refused["Abort"], tried["Abort"]);
    EXPECT_EQ(refused["Restart"], tried["Restart"]);
    // A submitted job joins the farm waiting, of its type; an unknown type is refused.
    const size_t before = a.JobCount();
    out.clear();
    EXPECT_FALSE(a.Submit(UID(true), &error, out));
    const UID type = JobFactory::s_JobFactory.ListTypes().back();
    ASSERT_TRUE(a.Submit(type, &error, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->Get(p_Type), type.ToString());
    EXPECT_EQ(paramOf(out[0]->GetJob(), p_Status), "1");
    EXPECT_EQ(a.JobCount(), before + 1);
}

// ---- messages and the worker pool ----

TEST(Messages, TypeNamesTellTheTypesApart) {
    std::set<String> names; // the eight types, a custom one and an unknown one
    for (int t : {0, 1, 2, 3, 4, 5, 6, 7, 8, 100})
        names.insert(Message::TypeName((MessageType)t));
    EXPECT_EQ(names.size(), 10u);
}

TEST(ThreadPool, StopRunsEverythingPostedBeforeIt) {
    ASSERT_TRUE(ThreadPool::Start(0)); // one thread all the same
    EXPECT_FALSE(ThreadPool::Start(2));
    std::atomic<int> ran{0};
    for (int i = 0; i < 50; ++i)
        ThreadPool::Post([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            ++ran;
        });
    ThreadPool::Stop();
    EXPECT_EQ(ran.load(), 50);
    EXPECT_FALSE(ThreadPool::IsReady());
    EXPECT_FALSE(ThreadPool::Post([] {}));
}
