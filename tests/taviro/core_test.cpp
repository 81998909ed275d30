// Job modules, command sub-items, jobs and the simulated farm's schedule.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/Job.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>

#include <ostrum/Exception.h>
#include <ostrum/File.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <sys/stat.h>

// Failure messages show a String as text, not as a list of characters.
inline void PrintTo(const String& s, std::ostream* os) {
    *os << ::testing::PrintToString(static_cast<const std::string&>(s));
}

namespace {

using Strings = std::vector<String>;

const char* const k_IdA = "11111111-2222-4333-8444-555555555501";
const char* const k_IdB = "11111111-2222-4333-8444-555555555502";
const char* const k_IdC = "11111111-2222-4333-8444-555555555503";
const char* const k_FrameRender = "6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01";
const char* const k_Script = "0b4f7c2e-93a1-4d3f-8e21-5a6b7c8d9e01";
const char* const k_Shell = "3c9e8d7f-6a5b-4c3d-9e2f-1a0b9c8d7e01";

using taviro_test::CatchException;

String Module(const String& name, const String& id, const String& body = String()) {
    return "type " + name + "\nid " + id + "\n" + body;
}

void WriteText(const String& path, const String& text) {
    OutFile f(path);
    f.Put(text);
    f.Close();
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
    const String text =
        "# a test module\n"
        "\n"
        "   \t\n"
        "type  Frame Render  \n"
        "id " +
        String(k_IdA) +
        "\n"
        "  # indented comment\n"
        "command Pause | 1 | Pause the job; frames finish first\n"
        "separator\n"
        "command\tRender Range|4|Render again|items-from: Frames\n"
        "command Priority | 12 | Change it | items: Low;Normal;\"Very;High\";DISABLED:Urgent\n"
        "separator\n"
        "command Remove | 0 | Gone for good\n";
    JobFactory f;
    ASSERT_TRUE(f.AddModule(text, "/mods/render.tjm"));
    ASSERT_EQ(f.Count(), 1u);
    const JobTypeInfo& info = f.GetTypeInfo(UID(k_IdA, true), true);
    EXPECT_EQ(info.name, "Frame Render");
    EXPECT_EQ(info.id, UID(k_IdA, true));
    EXPECT_EQ(info.hideId, info.id); // defaults to the id
    EXPECT_EQ(info.file, "/mods/render.tjm");

    ASSERT_EQ(info.commands.size(), 6u);
    const auto& c = info.commands;
    // name|flags|help|items|items-from of each entry; separators show as "-".
    Strings seen;
    for (const CommandInfo& cmd : c)
        seen.push_back(cmd.IsSeparator() ? String("-")
                                         : cmd.name + "|" + String::FromInt(cmd.flags) + "|" +
                                               cmd.help + "|" + cmd.items + "|" + cmd.itemsFrom);
    EXPECT_EQ(seen, (Strings{"Pause|1|Pause the job; frames finish first||", "-",
                             "Render Range|4|Render again||Frames",
                             "Priority|12|Change it|Low;Normal;\"Very;High\";DISABLED:Urgent|", "-",
                             "Remove|0|Gone for good||"}));
    EXPECT_EQ(c[1].flags, -1);

    EXPECT_EQ(info.FindCommand("Priority"), &c[3]);
    EXPECT_EQ(info.FindCommand("Explode"), nullptr);
    EXPECT_EQ(info.FindCommand(""), nullptr); // separators are not commands
}

TEST(JobModules, HideIdAndWindowsLineEnds) {
    const String text = "# crlf\r\ntype Script\r\nid " + String(k_IdA) + "\r\nhide-id {" +
                        String(k_IdB) +
                        "}\r\n\r\ncommand Open | 3 | Open one | items: a;b\r\nseparator\r\n";
    JobFactory f;
    ASSERT_TRUE(f.AddModule(text, "crlf.tjm"));
    const JobTypeInfo& info = f.GetTypeInfo(UID(k_IdA, true), true);
    EXPECT_EQ(info.name, "Script");
    EXPECT_EQ(info.hideId, UID(k_IdB, true));
    ASSERT_EQ(info.commands.size(), 2u);
    EXPECT_EQ(info.commands[0].help, "Open one");
    EXPECT_EQ(info.commands[0].items, "a;b");
    EXPECT_TRUE(info.commands[1].IsSeparator());
}

TEST(JobModules, MalformedModulesAreSkippedAndLogged) {
    struct Case {
        const char* what;
        String text;
        int line; // 0: reported at the end of the file, line not checked
    };
    const String id = k_IdA;
    const std::vector<Case> cases = {
        {"no-type", "# nothing here\n\n", 0},
        {"id-first", "# c\nid " + id + "\ntype T\n", 2},
        {"command-first", "command A | 1 | h\ntype T\nid " + id + "\n", 1},
        {"type-without-name", "type   \nid " + id + "\n", 1},
        {"second-type", "type A\nid " + id + "\ntype B\n", 3},
        {"no-id", "type A\ncommand P | 1 | h\n", 0},
        {"bad-id", "type A\nid 1234-not-an-id\n", 2},
        {"empty-id", "type A\nid\n", 2},
        {"bad-hide-id", "type A\nid " + id + "\nhide-id xyz\n", 3},
        {"two-fields", Module("T", id, "command A | 1\n"), 3},
        {"five-fields", Module("T", id, "command A | 1 | h | items: x | more\n"), 3},
        {"no-command-name", Module("T", id, "command  | 1 | h\n"), 3},
        {"trailing-junk-flags", Module("T", id, "command A | 1x | h\n"), 3},
        {"empty-flags", Module("T", id, "command A |  | h\n"), 3},
        {"negative-flags", Module("T", id, "command A | -1 | h\n"), 3},
        {"huge-flags", Module("T", id, "command A | 99999999999 | h\n"), 3},
        {"unknown-keyword", Module("T", id, "command A | 1 | h\ncolour red\n"), 4},
        {"empty-items", Module("T", id, "command A | 1 | h | items:\n"), 3},
        {"blank-items", Module("T", id, "command A | 1 | h | items:   \r\n"), 3},
        {"empty-items-from", Module("T", id, "command A | 1 | h | items-from:\n"), 3},
        {"bad-fourth-field", Module("T", id, "command A | 1 | h | things: x\n"), 3},
        {"separator-with-text", Module("T", id, "command A | 1 | h\nseparator here\n"), 4},
        {"late-error", Module("T", id, "command A | 1 | h\n\n# fine so far\ncommand B | x | h\n"),
         6},
    };
    LogCapture log;
    JobFactory f;
    for (const Case& c : cases) {
        const String file = "/mods/" + String(c.what) + ".tjm";
        EXPECT_FALSE(f.AddModule(c.text, file)) << c.what;
        EXPECT_EQ(f.Count(), 0u) << c.what;
        const String logged = log.Text();
        if (c.line > 0) {
            EXPECT_NE(logged.find(file + " line " + String::FromInt(c.line) + ":"), String::npos)
                << c.what << "\n"
                << logged;
        } else {
            EXPECT_NE(logged.find(file + " line "), String::npos) << c.what << "\n" << logged;
        }
    }
    EXPECT_TRUE(f.ListTypes().empty());
    // Nothing of a skipped module is kept, not even its identifier.
    EXPECT_TRUE(f.AddModule(Module("T", id), "good.tjm"));
}

TEST(JobModules, DuplicateTypeIdKeepsTheFirst) {
    LogCapture log;
    JobFactory f;
    ASSERT_TRUE(f.AddModule(Module("First", k_IdA), "/mods/first.tjm"));
    EXPECT_FALSE(f.AddModule(Module("Second", k_IdA, "command X | 1 | h\n"), "/mods/second.tjm"));
    ASSERT_EQ(f.Count(), 1u);
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdA, true), true).name, "First");
    EXPECT_TRUE(f.GetTypeInfo(UID(k_IdA, true), true).commands.empty());
    EXPECT_NE(log.Text().find("/mods/second.tjm"), String::npos);
    // A different id is still welcome afterwards.
    EXPECT_TRUE(f.AddModule(Module("Third", k_IdB), "/mods/third.tjm"));
    EXPECT_EQ(f.ListTypes(), (std::vector<UID>{UID(k_IdA, true), UID(k_IdB, true)}));
}

TEST(JobModules, HostileInputNeverCrashes) {
    LogCapture log;
    JobFactory f;
    std::mt19937 rng(12345);
    for (int i = 0; i < 300; ++i) {
        String junk;
        const size_t n = rng() % 400;
        for (size_t k = 0; k < n; ++k)
            junk.push_back((char)(rng() % 256));
        if (i % 3 == 0) junk = Module("T", k_IdA) + junk; // garbage after a good start
        f.AddModule(junk, "junk.tjm");
        f.Clear();
    }

    const String huge(1 << 20, 'x');
    EXPECT_FALSE(f.AddModule(huge, "huge1.tjm"));
    EXPECT_FALSE(f.AddModule(Module("T", k_IdA, huge + "\n"), "huge2.tjm"));
    EXPECT_NE(log.Text().find("huge2.tjm line 3:"), String::npos);
    ASSERT_TRUE(f.AddModule(Module("T", k_IdA, "command A | 1 | " + huge + "\n"), "huge3.tjm"));
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdA, true), true).commands.at(0).help.size(), huge.size());
    f.Clear();

    const String nul(1, '\0');
    EXPECT_FALSE(f.AddModule(nul + nul + nul, "nul1.tjm"));
    EXPECT_FALSE(f.AddModule("type T\nid " + String(k_IdA) + nul + "\n", "nul2.tjm"));
    EXPECT_FALSE(f.AddModule(Module("T", k_IdA, "command A | 1" + nul + " | h\n"), "nul3.tjm"));
    EXPECT_EQ(f.Count(), 0u);
}

TEST(JobModules, LoadModulesFromFolders) {
    JobFactory f;
    ASSERT_TRUE(f.AddModule(Module("Old", k_IdC), "old.tjm"));
    EXPECT_EQ(f.LoadModules(taviro_test::TempHome() + "/no-such-folder"), 0u);
    EXPECT_EQ(f.Count(), 0u); // loading replaces what was known

    EXPECT_EQ(f.LoadModules(taviro_test::MakeTempDir("empty")), 0u);
    EXPECT_TRUE(f.ListTypes().empty());

    const String dir = taviro_test::MakeTempDir("mods");
    WriteText(dir + "/20-b.tjm", Module("Bee", k_IdB));
    WriteText(dir + "/10-a.tjm", Module("Ay", k_IdA, "command Go | 1 | Go\n"));
    WriteText(dir + "/05-c.tjm", Module("Cee", k_IdC));
    WriteText(dir + "/15-bad.tjm", Module("Bad", "11111111-2222-4333-8444-555555555504", "oops\n"));
    WriteText(dir + "/30-d.txt", Module("Dee", "11111111-2222-4333-8444-555555555505"));
    WriteText(dir + "/40-dup.tjm", Module("Copy of Ay", k_IdA));
    WriteText(dir + "/.tjm", Module("Hidden", "11111111-2222-4333-8444-555555555506"));
    mkdir((dir + "/50-folder.tjm").c_str(), 0700);

    ASSERT_EQ(f.LoadModules(dir), 3u);
    EXPECT_EQ(f.ListTypes(),
              (std::vector<UID>{UID(k_IdC, true), UID(k_IdA, true), UID(k_IdB, true)}));
    const JobTypeInfo& a = f.GetTypeInfo(UID(k_IdA, true), true);
    EXPECT_EQ(a.name, "Ay");
    EXPECT_EQ(a.file, dir + "/10-a.tjm");
    ASSERT_EQ(a.commands.size(), 1u);
    EXPECT_EQ(f.GetTypeInfo(UID(k_IdB, true), true).name, "Bee");

    // The demo modules load in file-name order.
    ASSERT_EQ(f.LoadModules(DEMO_MODULES), 3u);
    EXPECT_EQ(f.ListTypes(), (std::vector<UID>{UID(k_FrameRender, true), UID(k_Script, true),
                                               UID(k_Shell, true)}));
}

TEST(JobModules, UnknownTypeInfo) {
    JobFactory f;
    ASSERT_TRUE(f.AddModule(Module("Ay", k_IdA, "command Go | 1 | Go\n"), "a.tjm"));
    auto e = CatchException([&] { f.GetTypeInfo(UID(k_IdB, true), true); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetCode(), (uint32_t)k_ErrNotFound);
    const JobTypeInfo& none = f.GetTypeInfo(UID(k_IdB, true), false);
    EXPECT_TRUE(none.name.empty());
    EXPECT_EQ(none.FindCommand("Go"), nullptr);
}

// ---- command sub-items ----

TEST(CommandItems, FixedItemsOfTheDemoModules) {
    JobFactory::s_JobFactory.Clear();
    LoadDemoModules();
    const Job job(UID(true));
    const auto& render = JobFactory::s_JobFactory.GetTypeInfo(UID(k_FrameRender, true), true);
    ASSERT_NE(render.FindCommand("Priority"), nullptr);
    EXPECT_EQ(render.FindCommand("Priority")->Itemize(job), "Low;Normal;High;DISABLED:Urgent");
    EXPECT_EQ(render.FindCommand("Pause")->Itemize(job), "");

    const auto& script = JobFactory::s_JobFactory.GetTypeInfo(UID(k_Script, true), true);
    ASSERT_NE(script.FindCommand("Open Output"), nullptr);
    EXPECT_EQ(Tokens(script.FindCommand("Open Output")->Itemize(job)),
              (Strings{"report;final.txt", "log.txt", "DISABLED:core"}));

    const auto& shell = JobFactory::s_JobFactory.GetTypeInfo(UID(k_Shell, true), true);
    ASSERT_NE(shell.FindCommand("Run On"), nullptr);
    EXPECT_EQ(Tokens(shell.FindCommand("Run On")->Itemize(job)),
              (Strings{"render;gpu", "render;cpu", "archive"}));
}

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

TEST(Jobs, ParametersNameAndStatus) {
    Job job(UID(k_IdA, true));
    EXPECT_EQ(job.GetID(), UID(k_IdA, true));
    EXPECT_EQ(job.Name(), "");
    EXPECT_EQ(job.GetStatus(), k_JobUnknown);

    job.SetParameter(p_Name, "Shot 010");
    job.SetParameter(p_Status, "2");
    job.SetParameter(p_Owner, "ana");
    EXPECT_EQ(job.Name(), "Shot 010");
    EXPECT_EQ(job.GetParameter(p_Priority), "");
    EXPECT_EQ(job.GetStatus(), k_JobRunning);

    job.SetParameters({{p_Name, "Shot 020"}, {p_Priority, "High"}});
    const std::map<String, String> all = job.GetParameters();
    EXPECT_EQ(all.size(), 4u);
    EXPECT_EQ(all.at(p_Name), "Shot 020");
    EXPECT_EQ(all.at(p_Owner), "ana"); // merged, not replaced
    EXPECT_EQ(job.Name(), "Shot 020");

    job.SetParameter(p_Status, "paused");
    EXPECT_EQ(job.GetStatus(), k_JobUnknown);
}

TEST(Jobs, HiddenInSelectorsOnlyWhenArchivedOrUnknown) {
    const Job job(UID(true));
    for (int s = -1; s <= 8; ++s)
        EXPECT_EQ(job.HideInSelectors(s), s == k_JobArchived || s == k_JobUnknown) << s;
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
    for (auto& b : batches) {
        EXPECT_EQ(b->GetType(), k_MsgJobBatch);
        out.insert(out.end(), b->m_Batch.begin(), b->m_Batch.end());
    }
    return out;
}

bool SameMessage(const Message& a, const Message& b) {
    return a.GetType() == b.GetType() && a.GetJob() == b.GetJob() && a.m_Params == b.m_Params &&
           a.m_Sequence == b.m_Sequence;
}

// The first job of the snapshot whose status passes the test.
UID FindJob(const FarmSchedule& s, const std::function<bool(int)>& status) {
    for (auto& m : Flatten(s.Snapshot()))
        if (status(m->Get(p_Status).ToInt(-1))) return m->GetJob();
    return UID::Null;
}

// A parameter of a job as the farm's snapshot shows it ("" for a job that is not there).
String ParamOf(const FarmSchedule& s, const UID& job, const String& name) {
    for (auto& m : Flatten(s.Snapshot()))
        if (m->GetJob() == job) return m->Get(name);
    return String();
}

String StatusOf(const FarmSchedule& s, const UID& job) {
    return ParamOf(s, job, p_Status);
}

} // namespace

TEST(FarmSchedule, SameSeedSameTraffic) {
    JobFactory::s_JobFactory.Clear();
    LoadDemoModules();
    const std::vector<UID> types = JobFactory::s_JobFactory.ListTypes();
    FarmSchedule a(7, 300, types), b(7, 300, types), other(8, 300, types);

    const auto sa = Flatten(a.Snapshot()), sb = Flatten(b.Snapshot()),
               so = Flatten(other.Snapshot());
    ASSERT_EQ(sa.size(), 300u);
    ASSERT_EQ(sb.size(), 300u);
    size_t sameAsOther = 0;
    for (size_t i = 0; i < sa.size(); ++i) {
        EXPECT_TRUE(SameMessage(*sa[i], *sb[i])) << i;
        if (SameMessage(*sa[i], *so[i])) ++sameAsOther;
    }
    EXPECT_EQ(sameAsOther, 0u);

    size_t differ = 0;
    for (uint64_t i = 0; i < 2000; ++i) {
        auto ma = a.Next(), mb = b.Next(), mo = other.Next();
        ASSERT_TRUE(ma && mb && mo);
        ASSERT_TRUE(SameMessage(*ma, *mb))
            << "message " << i << ": " << Message::TypeName(ma->GetType()) << " vs "
            << Message::TypeName(mb->GetType());
        EXPECT_EQ(ma->m_Sequence, i + 1);
        if (!SameMessage(*ma, *mo)) ++differ;
    }
    EXPECT_EQ(a.Produced(), 2000u);
    EXPECT_EQ(a.JobCount(), b.JobCount());
    EXPECT_GT(differ, 1000u);
}

TEST(FarmSchedule, JobsAreUniqueAndConsistent) {
    JobFactory::s_JobFactory.Clear();
    LoadDemoModules();
    const std::vector<UID> types = JobFactory::s_JobFactory.ListTypes();
    const std::set<UID> typeSet(types.begin(), types.end());
    FarmSchedule s(42, 2500, types);

    const auto batches = s.Snapshot();
    ASSERT_EQ(batches.size(), 3u);
    EXPECT_EQ(batches[0]->m_Batch.size(), 1000u);
    EXPECT_EQ(batches[2]->m_Batch.size(), 500u);
    EXPECT_EQ(s.Snapshot(100).size(), 25u);

    std::set<UID> live;
    for (auto& m : Flatten(batches)) {
        EXPECT_EQ(m->GetType(), k_MsgJobCreated);
        EXPECT_FALSE(m->GetJob().IsNull());
        EXPECT_TRUE(live.insert(m->GetJob()).second) << "duplicate id " << m->GetJob().ToString();
        const int status = m->Get(p_Status).ToInt(-1);
        EXPECT_TRUE(status >= k_JobWaiting && status <= k_JobArchived) << status;
        EXPECT_EQ(typeSet.count(UID(m->Get(p_Type), false)), 1u);
        const int progress = m->Get(p_Progress).ToInt(-1);
        EXPECT_TRUE(progress >= 0 && progress <= 100) << progress;
        EXPECT_FALSE(m->Get(p_Name).empty());
    }
    ASSERT_EQ(live.size(), 2500u);

    // The traffic only ever names jobs that exist, and new ones get fresh identifiers.
    for (int i = 0; i < 5000; ++i) {
        auto m = s.Next();
        switch (m->GetType()) {
        case k_MsgJobCreated:
            EXPECT_TRUE(live.insert(m->GetJob()).second);
            EXPECT_EQ(m->Get(p_Status), "1");
            break;
        case k_MsgJobRemoved:
            EXPECT_EQ(live.erase(m->GetJob()), 1u);
            break;
        case k_MsgJobChanged: {
            EXPECT_EQ(live.count(m->GetJob()), 1u);
            if (m->m_Params.count(p_Status)) {
                const int status = m->Get(p_Status).ToInt(-1);
                EXPECT_TRUE(status >= k_JobWaiting && status <= k_JobArchived) << status;
            }
            break;
        }
        case k_MsgLogLine:
            EXPECT_EQ(live.count(m->GetJob()), 1u);
            break;
        case k_MsgEngineLoad: {
            const int load = m->Get("Load").ToInt(-1);
            EXPECT_TRUE(load >= 0 && load <= 100);
            break;
        }
        default:
            ADD_FAILURE() << "unexpected message " << Message::TypeName(m->GetType());
        }
    }
    EXPECT_EQ(live.size(), s.JobCount());
}

TEST(FarmSchedule, Commands) {
    JobFactory::s_JobFactory.Clear();
    LoadDemoModules();
    FarmSchedule s(5, 200, JobFactory::s_JobFactory.ListTypes());
    std::vector<boost::shared_ptr<Message>> out;
    String error;

    const UID active = FindJob(s, [](int st) { return st == k_JobRunning || st == k_JobWaiting; });
    ASSERT_FALSE(active.IsNull());
    ASSERT_TRUE(s.ApplyCommand(active, "Pause", "", &error, out)) << error;
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->GetType(), k_MsgJobChanged);
    EXPECT_EQ(out[0]->GetJob(), active);
    EXPECT_EQ(out[0]->Get(p_Status), "3");
    EXPECT_EQ(StatusOf(s, active), "3");
    const uint64_t firstSequence = out[0]->m_Sequence;
    EXPECT_GT(firstSequence, 0u);

    // Pausing twice is refused, and nothing is sent.
    out.clear();
    error.clear();
    EXPECT_FALSE(s.ApplyCommand(active, "Pause", "", &error, out));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(out.empty());

    const UID waiting = FindJob(s, [](int st) { return st == k_JobWaiting; });
    ASSERT_FALSE(waiting.IsNull());
    EXPECT_FALSE(s.ApplyCommand(waiting, "Resume", "", &error, out));
    EXPECT_NE(error.find("not paused"), String::npos) << error;
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(StatusOf(s, waiting), "1");

    ASSERT_TRUE(s.ApplyCommand(active, "Resume", "", &error, out)) << error;
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->Get(p_Status), "1");
    EXPECT_GT(out[0]->m_Sequence, firstSequence);

    out.clear();
    ASSERT_TRUE(s.ApplyCommand(waiting, "Priority", "High", &error, out)) << error;
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->Get(p_Priority), "High");
    EXPECT_EQ(ParamOf(s, waiting, p_Priority), "High");

    out.clear();
    const size_t before = s.JobCount();
    ASSERT_TRUE(s.ApplyCommand(waiting, "Remove", "", &error, out)) << error;
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->GetType(), k_MsgJobRemoved);
    EXPECT_EQ(out[0]->GetJob(), waiting);
    EXPECT_EQ(s.JobCount(), before - 1);
    EXPECT_EQ(StatusOf(s, waiting), "");

    // Gone jobs and unknown ones are refused with a reason.
    for (const UID& id : {waiting, UID(k_IdA, true)}) {
        out.clear();
        error.clear();
        EXPECT_FALSE(s.ApplyCommand(id, "Pause", "", &error, out));
        EXPECT_FALSE(error.empty());
        EXPECT_FALSE(s.ApplyCommand(id, "Pause", "", nullptr, out));
        EXPECT_TRUE(out.empty());
    }
    EXPECT_EQ(s.JobCount(), before - 1);
}
