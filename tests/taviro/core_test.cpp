// Job modules, command sub-items, jobs and the simulated farm's schedule.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/Job.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>
#include <taviro/ThreadPool.h>

#include <ostrum/Exception.h>
#include <ostrum/File.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
#include <sys/stat.h>

namespace {

using Strings = std::vector<String>;

const char* const k_IdA = "11111111-2222-4333-8444-555555555501";
const char* const k_IdB = "11111111-2222-4333-8444-555555555502";
const char* const k_IdC = "11111111-2222-4333-8444-555555555503";
const char* const k_FrameRender = "6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01";

using taviro_test::CatchException;
using taviro_test::WriteText;

String Module(const String& name, const String& id, const String& body = String()) {
    return "type " + name + "\nid " + id + "\n" + body;
}

// Routes the process log into a fresh file of the test's HOME, silently, so a test can read
// what the parser reported.
class LogCapture {
public:
    LogCapture() : m_Path(taviro_test::MakeTempDir("log") + "/capture.log") {
        Log::s_GlobalLog->Open(m_Path);
        Log::s_GlobalLog->SetLevel(LL_Debug);
        Log::s_GlobalLog->SetEchoLevel(-1);
    }
    String Text() const { return File::ReadAll(m_Path); }

private:
    String m_Path;
};

Strings Tokens(const String& joined) {
    return StringTokenizer(joined, ";", false, '"', '\\').GetTokens();
}

void LoadDemoModules() {
    ASSERT_EQ(JobFactory::s_JobFactory.LoadModules(DEMO_MODULES), 3u);
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
    LogCapture log;
    JobFactory f;
    for (const Case& c : cases) {
        const String file = "/mods/" + String(c.what) + ".tjm";
        EXPECT_FALSE(f.AddModule(c.text, file)) << c.what;
        EXPECT_EQ(f.Count(), 0u) << c.what;
        const String where = file + " line " + (c.line ? String::FromInt(c.line) + ":" : "");
        EXPECT_NE(log.Text().find(where), String::npos) << c.what << "\n" << log.Text();
    }
    // Nothing of a skipped module is kept, not even its identifier.
    EXPECT_TRUE(f.AddModule(Module("T", id), "good.tjm"));
    // A second module with a known id is skipped; the first stays.
    EXPECT_FALSE(f.AddModule(Module("Second", id, "command X | 1 | h\n"), "/mods/second.tjm"));
    EXPECT_NE(log.Text().find("/mods/second.tjm"), String::npos);
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdA, true), true).name, "T");
    auto e = CatchException([&] { f.GetTypeInfo(UID(k_IdB, true), true); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrNotFound);
    EXPECT_TRUE(f.GetTypeInfo(UID(k_IdB, true), false).name.empty());
}

TEST(JobModules, LoadModulesFromFolders) {
    JobFactory f;
    ASSERT_TRUE(f.AddModule(Module("Old", k_IdC), "old.tjm"));
    EXPECT_EQ(f.LoadModules(taviro_test::TempHome() + "/no-such-folder"), 0u);
    EXPECT_EQ(f.Count(), 0u); // loading replaces what was known

    const String dir = taviro_test::MakeTempDir("mods");
    WriteText(dir + "/20-b.tjm", Module("Bee", k_IdB));
    WriteText(dir + "/10-a.tjm", Module("Ay", k_IdA, "command Go | 1 | Go\n"));
    WriteText(dir + "/05-c.tjm", Module("Cee", k_IdC));
    WriteText(dir + "/15-bad.tjm", Module("Bad", "11111111-2222-4333-8444-555555555504", "oops\n"));
    WriteText(dir + "/30-d.txt", Module("Dee", "11111111-2222-4333-8444-555555555505"));
    WriteText(dir + "/40-dup.tjm", Module("Copy of Ay", k_IdA));
    mkdir((dir + "/50-folder.tjm").c_str(), 0700);
    ASSERT_EQ(f.LoadModules(dir), 3u);
    // In file-name order.
    EXPECT_EQ(f.ListTypes(),
              (std::vector<UID>{UID(k_IdC, true), UID(k_IdA, true), UID(k_IdB, true)}));
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdA, true), true).file, dir + "/10-a.tjm");
}

// ---- command sub-items ----

TEST(CommandItems, ItemsFromAJobParameter) {
    CommandInfo c;
    c.name = "Render Range";
    c.itemsFrom = p_Frames;
    Job job(UID(true));
    EXPECT_EQ(c.Itemize(job), ""); // no such parameter yet

    job.SetParameter(p_Frames, " 1-10 , ,11-20,,  21-30  ,");
    EXPECT_EQ(c.Itemize(job), "1-10;11-20;21-30");

    // Values holding the list's special characters come back exactly.
    const Strings awkward = {"a;b", "say \"hi\"", "c:\\temp\\", "\"", "x;\\;y", ";", "plain"};
    String param;
    for (const String& v : awkward)
        param += (param.empty() ? "" : ", ") + v;
    job.SetParameter(p_Frames, param);
    const String joined = c.Itemize(job);
    EXPECT_EQ(Tokens(joined), awkward) << joined;

    // Fixed items win over a parameter and are not rewritten.
    c.items = "x;\"y;z\"";
    EXPECT_EQ(c.Itemize(job), "x;\"y;z\"");
}

// ---- jobs ----

TEST(Jobs, ParametersNameStatusAndHiding) {
    Job job(UID(k_IdA, true));
    EXPECT_EQ(job.GetStatus(), k_JobUnknown);
    job.SetParameter(p_Name, "Shot 010");
    job.SetParameter(p_Status, "2");
    job.SetParameter(p_Owner, "ana");
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
    EXPECT_EQ(Job(UID(true)).GetParameter(p_Status), ""); // never given, so not "0"
}

TEST(Jobs, ExecuteCommandRefusals) {
    ASSERT_EQ(dynamic_cast<TaviroClientApp*>(Application::the_Application), nullptr);
    JobFactory::s_JobFactory.Clear();
    LoadDemoModules();
    Job job(UID(true));
    job.SetParameter(p_Type, k_FrameRender);
    job.SetParameter(p_Status, "2");
    job.SetParameter(p_Frames, "1-10,11-20");

    struct Case {
        const char* command;
        const char* item;
        uint32_t code;
        const char* inMessage;
    };
    const std::vector<Case> cases = {
        {"Explode", "", k_ErrNotFound, ""},
        {"", "", k_ErrNotFound, ""}, // a separator is no command
        {"Priority", "Extreme", k_ErrArgument, ""},
        {"Priority", "", k_ErrArgument, ""},
        {"Priority", "Urgent", k_ErrArgument, "disabled"},
        {"Priority", "DISABLED:Urgent", k_ErrArgument, "disabled"},
        {"Render Range", "21-30", k_ErrArgument, ""},
        {"Pause", "now", k_ErrArgument, ""},
        // Everything checks out, but no client is connected to a master.
        {"Pause", "", k_ErrRequest, ""},
        {"Priority", "High", k_ErrRequest, ""},
        {"Render Range", "11-20", k_ErrRequest, ""},
    };
    for (const Case& c : cases) {
        auto e = CatchException([&] { job.ExecuteCommand(c.command, c.item); });
        ASSERT_TRUE(e) << c.command << " / " << c.item;
        EXPECT_EQ(e->GetCode(), c.code) << c.command << " / " << c.item << ": " << e->Format();
        EXPECT_FALSE(e->GetDetail().empty()) << c.command;
        EXPECT_NE(e->GetMessage().FindNoCase(c.inMessage), String::npos) << e->Format();
    }
    // Refused items and disabled ones are told apart.
    auto unknown = CatchException([&] { job.ExecuteCommand("Priority", "Extreme"); });
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->GetMessage().FindNoCase("disabled"), String::npos);

    // A job of a type nobody installed has no commands at all.
    Job stray(UID(true));
    stray.SetParameter(p_Type, k_IdC);
    auto e = CatchException([&] { stray.ExecuteCommand("Pause", ""); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrNotFound);
    EXPECT_NE(e->GetDetail().find("Pause"), String::npos);
}

// ---- the simulated farm ----

namespace {

std::vector<boost::shared_ptr<Message>>
Flatten(const std::vector<boost::shared_ptr<Message>>& batches) {
    std::vector<boost::shared_ptr<Message>> out;
    for (auto& b : batches)
        out.insert(out.end(), b->m_Batch.begin(), b->m_Batch.end());
    return out;
}

bool SameMessage(const Message& a, const Message& b) {
    return a.GetType() == b.GetType() && a.GetJob() == b.GetJob() && a.m_Params == b.m_Params &&
           a.m_Sequence == b.m_Sequence;
}

// A parameter of a job as the farm's snapshot shows it ("" for a job that is not there).
String ParamOf(const FarmSchedule& s, const UID& job, const String& name) {
    for (auto& m : Flatten(s.Snapshot()))
        if (m->GetJob() == job) return m->Get(name);
    return String();
}

} // namespace

TEST(FarmSchedule, SameSeedSameTrafficAndOnlyLiveJobsNamed) {
    JobFactory::s_JobFactory.Clear();
    LoadDemoModules();
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
}

TEST(FarmSchedule, Commands) {
    JobFactory::s_JobFactory.Clear();
    LoadDemoModules();
    FarmSchedule s(5, 200, JobFactory::s_JobFactory.ListTypes());
    std::vector<boost::shared_ptr<Message>> out;
    String error;
    UID waiting;
    for (auto& m : Flatten(s.Snapshot()))
        if (waiting.IsNull() && m->Get(p_Status) == "1") waiting = m->GetJob();
    ASSERT_FALSE(waiting.IsNull());

    ASSERT_TRUE(s.ApplyCommand(waiting, "Pause", "", &error, out)) << error;
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->GetType(), k_MsgJobChanged);
    EXPECT_EQ(out[0]->Get(p_Status), "3");
    EXPECT_EQ(ParamOf(s, waiting, p_Status), "3");
    out.clear();
    EXPECT_FALSE(s.ApplyCommand(waiting, "Pause", "", &error, out)); // twice is refused
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(out.empty());
    ASSERT_TRUE(s.ApplyCommand(waiting, "Resume", "", &error, out)) << error;
    EXPECT_EQ(ParamOf(s, waiting, p_Status), "1");
    EXPECT_FALSE(s.ApplyCommand(waiting, "Resume", "", &error, out));
    EXPECT_NE(error.find("not paused"), String::npos) << error;
    ASSERT_TRUE(s.ApplyCommand(waiting, "Priority", "High", &error, out)) << error;
    EXPECT_EQ(ParamOf(s, waiting, p_Priority), "High");
    EXPECT_EQ(out.back()->Get(p_Priority), "High"); // and the change says so

    const size_t before = s.JobCount();
    out.clear();
    ASSERT_TRUE(s.ApplyCommand(waiting, "Remove", "", &error, out)) << error;
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->GetType(), k_MsgJobRemoved);
    EXPECT_EQ(s.JobCount(), before - 1);
    // Gone jobs and unknown ones are refused with a reason.
    for (const UID& id : {waiting, UID(k_IdA, true)}) {
        error.clear();
        EXPECT_FALSE(s.ApplyCommand(id, "Pause", "", &error, out));
        EXPECT_FALSE(error.empty());
    }
    // A finished job cannot be aborted, nor an archived one restarted.
    std::map<String, int> tried, refused;
    for (auto& m : Flatten(s.Snapshot())) {
        const int st = m->Get(p_Status).ToInt(0);
        const char* command = st == k_JobDone ? "Abort" : st == k_JobArchived ? "Restart" : nullptr;
        if (!command) continue;
        ++tried[command];
        refused[command] += !s.ApplyCommand(m->GetJob(), command, "", &error, out);
    }
    EXPECT_EQ(tried.size(), 2u); // both kinds are there
    EXPECT_EQ(refused["Abort"], tried["Abort"]);
    EXPECT_EQ(refused["Restart"], tried["Restart"]);
}

// ---- Messages and the worker pool ----

TEST(Messages, TypeNamesTellTheTypesApart) {
    std::set<String> names{Message::TypeName((MessageType)0)};
    for (MessageType t :
         {k_MsgJobCreated, k_MsgJobChanged, k_MsgJobRemoved, k_MsgLogLine, k_MsgEngineLoad,
          k_MsgShutdown, k_MsgJobBatch, k_MsgRequestFailed, k_MsgCustom})
        names.insert(Message::TypeName(t));
    EXPECT_EQ(names.size(), 10u); // nine names and the one for an unknown type
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
