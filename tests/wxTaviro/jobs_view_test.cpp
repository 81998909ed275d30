// The demo's jobs page keeps its rows sorted as jobs come, change and go, and its selection on
// the jobs.
#include "tests/support/WxTestHelpers.h"

#include "demo/JobsView.h"
#include "demo/SideBar.h"
#include "demo/Windows.h"

#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroColors.h>
#include "demo/TypeTreeView.h"

#include <taviro/JobFactory.h>

#include <ostrum/Application.h>

#include <wx/aui/framemanager.h>

#include <cmath>
#include <map>

using namespace taviro_test;

TEST(JobsView, RowsStaySortedAndTheSelectionFollowsTheJobs) {
    std::map<UID, JobPtr> farm;
    std::map<String, UID> ids;
    auto* view = new JobsView(TopWindow(), [&](const UID& id) {
        auto it = farm.find(id);
        return it == farm.end() ? JobPtr() : it->second;
    });
    auto add = [&](const String& name) {
        JobPtr job(new Job(UID(true)));
        job->SetParameter(p_Name, name);
        farm[job->GetID()] = job;
        ids[name] = job->GetID();
        view->OnFarmMessage(Message(k_MsgJobCreated, job->GetID()));
    };
    auto rename = [&](const String& from, const String& to) {
        farm[ids[from]]->SetParameter(p_Name, to);
        Message renamed(k_MsgJobChanged, ids[from]);
        renamed.m_Params[p_Name] = to;
        view->OnFarmMessage(renamed);
    };
    auto names = [&](std::vector<int> rows) {
        if (rows.empty())
            for (int r = 0; r < view->GetItemCount(); ++r)
                rows.push_back(r);
        std::vector<String> shown;
        for (int r : rows)
            shown.push_back(view->GetJob(r)->Name());
        return shown;
    };
    for (int n = 0; n < 24; ++n) // Job 1 to Job 24, shuffled
        add("Job " + String::FromInt(1 + n * 7 % 24));
    view->Update(std::time(nullptr));
    view->SortBy(k_JobsName, true);
    for (int row : {0, 1, 9}) // Job 1, Job 2 and Job 10, through the list's own events
        view->GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, {0, 0}, row);
    // In one update: Job 5 is renamed past the end, Job 7 is renamed and goes, Job 1 goes,
    // Job 25 comes and changes.
    rename("Job 5", "Job 99");
    rename("Job 7", "Job 77");
    for (const char* name : {"Job 1", "Job 7"})
        view->OnFarmMessage(Message(k_MsgJobRemoved, ids[name]));
    add("Job 25");
    rename("Job 25", "Task 1");
    view->Update(std::time(nullptr));
    std::vector<String> sorted;
    for (int n = 2; n <= 24; ++n)
        if (n != 5 && n != 7) sorted.push_back("Job " + String::FromInt(n));
    sorted.insert(sorted.end(), {"Job 99", "Task 1"});
    EXPECT_EQ(names({}), sorted);
    EXPECT_EQ(names(view->GetSelection()), (std::vector<String>{"Job 2", "Job 10"}));
    view->SortBy(k_JobsName, false);
    EXPECT_EQ(names({0, 22}), (std::vector<String>{"Task 1", "Job 2"}));
    EXPECT_EQ(names(view->GetSelection()), (std::vector<String>{"Job 10", "Job 2"}));
    for (int r = 0; r < view->GetItemCount(); ++r)
        EXPECT_EQ(view->IsRowSelected(r), r == 16 || r == 22) << r;
}

// A farm of named jobs for the demo's views, and what a view shows of them.
struct _Farm {
    std::map<UID, JobPtr> jobs;
    JobPtr Add(const String& name) {
        JobPtr job(new Job(UID(true)));
        job->SetParameters({{p_Name, name}, {p_Status, String::FromInt(k_JobWaiting)}});
        return jobs[job->GetID()] = job;
    }
    JobsView::JobFinder Finder() {
        return [this](const UID& id) {
            auto it = jobs.find(id);
            return it == jobs.end() ? JobPtr() : it->second;
        };
    }
    static std::vector<String> Shown(JobsView* view) {
        std::vector<String> names;
        for (int r = 0; r < view->GetItemCount(); ++r)
            names.push_back(view->GetJob(r)->Name());
        return names;
    }
};

// The sort outlives the view (a restart); the name filter narrows and widens as the text is
// typed and deleted, and follows renamed jobs in and out.
TEST(JobsView, TheSortIsRememberedAndTheNameFilterFollowsTheTyping) {
    Application app(LL_Debug, LL_Fatal);
    _Farm farm;
    for (const char* name : {"Render 2", "comp 10", "Render 11", "Comp 3", "Render 1"})
        farm.Add(name);
    auto fill = [&](JobsView* view) {
        for (auto& j : farm.jobs)
            view->OnFarmMessage(Message(k_MsgJobCreated, j.first));
        view->Update(std::time(nullptr));
    };
    auto* before = new JobsView(TopWindow(), farm.Finder());
    before->SortBy(k_JobsStatus, true);
    before->SortBy(k_JobsName, false);
    before->SaveLayout();
    before->Destroy();
    auto* view = new JobsView(TopWindow(), farm.Finder());
    view->RestoreLayout();
    fill(view);
    using Names = std::vector<String>;
    EXPECT_EQ(view->GetSortType(), k_JobsName);
    EXPECT_EQ(_Farm::Shown(view),
              (Names{"comp 10", "Render 11", "Render 2", "Render 1", "Comp 3"}));
    view->GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, {0, 0}, 2); // Render 2
    view->SetNameFilter("COMP");
    EXPECT_EQ(_Farm::Shown(view), (Names{"comp 10", "Comp 3"}));
    EXPECT_EQ(view->GetSelectedCount(), 0u); // a job left out is no longer selected
    view->SetNameFilter("comp 1");
    EXPECT_EQ(_Farm::Shown(view), (Names{"comp 10"}));
    view->SetNameFilter("r");
    EXPECT_EQ(_Farm::Shown(view), (Names{"Render 11", "Render 2", "Render 1"}));
    view->SetNameFilter("comp");
    for (auto& j : farm.jobs) { // Render 2 comes in, comp 10 goes out
        const String name = j.second->Name();
        if (name != "Render 2" && name != "comp 10") continue;
        Message renamed(k_MsgJobChanged, j.first);
        renamed.m_Params[p_Name] = name == "comp 10" ? "Render 10" : "Comp 2";
        j.second->SetParameter(p_Name, renamed.m_Params[p_Name]);
        view->OnFarmMessage(renamed);
    }
    view->Update(std::time(nullptr));
    EXPECT_EQ(_Farm::Shown(view), (Names{"Comp 3", "Comp 2"}));
    view->SetNameFilter("");
    EXPECT_EQ(_Farm::Shown(view),
              (Names{"Render 11", "Render 10", "Render 1", "Comp 3", "Comp 2"}));
}

// Sorting a click's worth of jobs takes no comparisons: numbers by their packed keys, names from
// an order kept through the ticks. Both must give what comparing gives: by the column's value
// (names that compare equal, "job 007" and "job 7", count as ties), ties in arrival order both
// ways, also after jobs are renamed, go, come back and are left out by the filter.
TEST(JobsView, QuickSortsGiveTheComparedOrder) {
    Application app(LL_Debug, LL_Fatal);
    const String log = MakeTempDir() + "/jobs.log";
    Log::s_GlobalLog->Open(log);
    _Farm farm;
    std::vector<JobPtr> arrival;
    auto* view = new JobsView(TopWindow(), farm.Finder());
    auto announce = [&](const JobPtr& job, MessageType kind) {
        Message m(kind, job->GetID());
        if (kind != k_MsgJobRemoved) m.m_Params = job->GetParameters();
        view->OnFarmMessage(m);
    };
    // "job 010"s, then a newcomer "job 10": equal names that start with jobs the filter leaves out.
    const char* const names[] = {"job 010", "job 007", "Job 2", "job 9", "job 7", "a", "job 1"};
    const char* const engines[] = {"e9", "e09", "E2", "e10"};
    for (int n = 0; n < 300; ++n) {
        JobPtr job = farm.Add(String(names[n * 5 % 7]) + (n % 5 ? "" : String::FromInt(n)));
        job->SetParameters({{p_Progress, String::FromInt(n * 37 % 101 / 10 * 10)},
                            {p_Engine, engines[n * 3 % 4]},
                            {p_Frames, "1-" + String::FromInt(n * 997 % 3000 / 7 * 7)}});
        job->SetStatus(k_JobWaiting + n % 4);
        arrival.push_back(job);
        announce(job, k_MsgJobCreated);
    }
    view->Update(std::time(nullptr));
    auto value = [](int type, const JobPtr& j) -> std::pair<long long, String> {
        if (type == k_JobsName) return {0, j->Name()};
        if (type == k_JobsEngine) return {0, j->GetParameter(p_Engine)};
        if (type == k_JobsStatus) return {j->GetStatus(), ""};
        const String frames = j->GetParameter(p_Frames); // "1-N"
        if (type == k_JobsFrames) return {frames.size() > 2 ? atoll(frames.c_str() + 2) : 0, ""};
        return {j->GetParameter(p_Progress).ToInt(), ""};
    };
    auto check = [&](const char* when) {
        for (int type : {k_JobsName, k_JobsEngine, k_JobsStatus, k_JobsProgress, k_JobsFrames})
            for (bool up : {true, false}) {
                view->SortBy(type, up);
                std::vector<JobPtr> expected;
                for (const JobPtr& j : arrival)
                    if (farm.jobs.count(j->GetID()) &&
                        j->Name().Lower().find(view->GetNameFilter()) != String::npos)
                        expected.push_back(j);
                std::stable_sort(expected.begin(), expected.end(), [&](auto& a, auto& b) {
                    auto va = value(type, a), vb = value(type, b);
                    const int c = va.first != vb.first ? (va.first < vb.first ? -1 : 1)
                                                       : NaturalCompare(va.second, vb.second);
                    return up ? c < 0 : c > 0;
                });
                ASSERT_EQ(view->GetItemCount(), (int)expected.size()) << when;
                for (int r = 0; r < view->GetItemCount(); ++r)
                    ASSERT_EQ(view->GetJob(r), expected[r])
                        << when << ": column " << type << (up ? " up" : " down") << ", row " << r;
                const int row = view->GetItemCount() / 3; // the jobs know their new rows
                ASSERT_TRUE(view->ShowJob(expected[row]->GetID()));
                EXPECT_TRUE(view->IsRowSelected(row)) << when << ": column " << type;
            }
    };
    check("at first");
    // One tick with the name order kept: renames (onto a name others have), removals (job 3
    // is the first "job 7", no newcomer lands before it), one removed and announced again,
    // newcomers; then a filter leaves some out. The order is kept, never given up for comparing.
    for (int n = 1; n < 300; n += n == 1 ? 21 : 11) { // job 1 before the first "job 9"
        arrival[n]->SetParameter(p_Name, n == 1 ? "job 9" : names[n % 7]);
        announce(arrival[n], k_MsgJobChanged);
    }
    for (int n = 3; n < 300; n += 13) {
        if (n != 16) farm.jobs.erase(arrival[n]->GetID());
        announce(arrival[n], k_MsgJobRemoved);
    }
    view->OnFarmMessage(Message(k_MsgJobCreated, arrival[16]->GetID())); // as it was
    for (int n = 0; n < 20; ++n) {
        arrival.push_back(farm.Add(n ? names[n % 4] : "job 10"));
        announce(arrival.back(), k_MsgJobCreated);
    }
    view->Update(std::time(nullptr));
    check("after a tick");
    for (int n = 5; n < 300; n += 7) { // a storm: every "job 7" (the first of its run) away
        arrival[n]->SetParameter(p_Name, "zz");
        announce(arrival[n], k_MsgJobChanged);
    }
    view->Update(std::time(nullptr));
    check("after many renames");
    view->SetNameFilter("JOB 1");
    check("filtered");
    EXPECT_EQ(File::ReadAll(log).find("sorting by comparing"), String::npos);
    Log::s_GlobalLog->Close();
}

// A tick does not renumber every row: a job's row follows from the rows each tick took out and
// put in. Through many ticks of moves, removals and newcomers the rows stay sorted, every job
// is found at its row without a search, and the selection stays on its jobs.
TEST(JobsView, JobsKnowTheirRowsThroughManyTicks) {
    Application app(LL_Debug, LL_Fatal);
    const String log = MakeTempDir() + "/rows.log";
    Log::s_GlobalLog->Open(log);
    for (int sort : {int(k_JobsProgress), -1}) { // newcomers go in, or at the end
        _Farm farm;
        std::vector<JobPtr> arrival;
        auto* view = new JobsView(TopWindow(), farm.Finder());
        view->SortBy(sort, true);
        auto progress = [&](const JobPtr& job, int value, MessageType kind) {
            job->SetParameter(p_Progress, String::FromInt(value));
            Message m(kind, job->GetID());
            m.m_Params = job->GetParameters();
            view->OnFarmMessage(m);
        };
        for (int n = 0; n < 400; ++n) {
            arrival.push_back(farm.Add("j" + String::FromInt(n)));
            progress(arrival.back(), n * 7 % 100, k_MsgJobCreated);
        }
        view->Update(std::time(nullptr));
        std::vector<JobPtr> chosen;
        for (int row : {5, 100, 300}) {
            view->GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, {0, 0}, row);
            chosen.push_back(view->GetJob(row));
        }
        for (int tick = 0; tick < 30; ++tick) {
            for (int k = 0; k < 4; ++k) // moves, the chosen ones among them now and then
                progress(k == 3 && tick % 4 == 0 ? chosen[tick % 3]
                                                 : arrival[(tick * 31 + k * 97) % 400],
                         (tick * 13 + k * 29) % 100, k_MsgJobChanged);
            if (tick % 3 == 1) { // one goes, one comes
                const JobPtr gone = arrival[(tick * 53) % 400];
                if (std::find(chosen.begin(), chosen.end(), gone) == chosen.end() &&
                    farm.jobs.erase(gone->GetID()))
                    view->OnFarmMessage(Message(k_MsgJobRemoved, gone->GetID()));
                arrival.push_back(farm.Add("new"));
                progress(arrival.back(), tick * 3, k_MsgJobCreated);
            }
            view->Update(std::time(nullptr));
            std::vector<JobPtr> expected;
            for (const JobPtr& j : arrival)
                if (farm.jobs.count(j->GetID())) expected.push_back(j);
            if (sort >= 0)
                std::stable_sort(expected.begin(), expected.end(), [](auto& a, auto& b) {
                    return a->GetParameter(p_Progress).ToInt() <
                           b->GetParameter(p_Progress).ToInt();
                });
            ASSERT_EQ(view->GetItemCount(), (int)expected.size());
            std::vector<int> rows;
            for (int r = 0; r < view->GetItemCount(); ++r) {
                ASSERT_EQ(view->GetJob(r), expected[r]) << "tick " << tick << ", row " << r;
                if (std::find(chosen.begin(), chosen.end(), expected[r]) != chosen.end())
                    rows.push_back(r);
            }
            ASSERT_EQ(view->GetSelection(), rows) << "tick " << tick;
        }
        const int row = view->GetItemCount() - 1; // the last newcomer
        ASSERT_TRUE(view->ShowJob(view->GetJob(row)->GetID()));
        EXPECT_EQ(view->GetSelection(), std::vector<int>{row});
        view->Destroy();
    }
    EXPECT_EQ(File::ReadAll(log).find("out of step"), String::npos);
    Log::s_GlobalLog->Close();
}

// A modeless dialog of a name is open once: asked again, the open one is shown. The separate
// Jobs window holds the farm's jobs when it opens and follows the farm's messages from then on.
TEST(DemoWindows, OneDialogOfANameAndALiveJobsWindow) {
    Application app(LL_Debug, LL_Fatal);
    int made = 0;
    auto make = [&] {
        ++made;
        return new wxTaviroDlg(TopWindow(), "Once", "Once", false);
    };
    wxTaviroDlg* first = ShowDialogOnce("Once", make);
    EXPECT_EQ(ShowDialogOnce("Once", make), first);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(wxTaviroDlg::GetOpenCount("Once"), 1);
    delete first;
    ShowDialogOnce("Once", make)->Destroy();
    EXPECT_EQ(made, 2);

    _Farm farm;
    std::vector<JobPtr> known = {farm.Add("Job 1"), farm.Add("Job 2")};
    auto* window = new JobsWindow(farm.Finder(), known);
    JobsView* view = window->GetView();
    EXPECT_EQ(_Farm::Shown(view), (std::vector<String>{"Job 1", "Job 2"}));
    const JobPtr third = farm.Add("Job 3");
    JobsWindow::Forward(Message(k_MsgJobCreated, third->GetID()));
    Message done(k_MsgJobChanged, known[0]->GetID());
    done.m_Params[p_Status] = String::FromInt(k_JobDone);
    known[0]->SetStatus(k_JobDone);
    JobsWindow::Forward(done);
    farm.jobs.erase(known[1]->GetID());
    JobsWindow::Forward(Message(k_MsgJobRemoved, known[1]->GetID()));
    view->Update(std::time(nullptr));
    EXPECT_EQ(_Farm::Shown(view), (std::vector<String>{"Job 1", "Job 3"}));
    EXPECT_EQ(view->GetDisplayText(0, view->FindColumnByType(k_JobsStatus)), "Done");
    delete window;
    JobsWindow::Forward(done); // none open: nobody to tell
}

// The "By type" tree: groups by type and status, jobs sorted by name within (many newcomers
// through one sort, few by binary insertion), moved on a status change, gone when removed, and
// a status that lost its last job goes too.

TEST(TypeTreeView, GroupsFollowTheJobs) {
    const char* const types[] = {"6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01",
                                 "6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a02"};
    ASSERT_TRUE(JobFactory::s_JobFactory.AddModule("type zeta\nid " + String(types[0]), "z"));
    ASSERT_TRUE(JobFactory::s_JobFactory.AddModule("type Alpha\nid " + String(types[1]), "a"));
    std::map<UID, JobPtr> farm;
    auto* view = new TypeTreeView(TopWindow(), [&](const UID& id) {
        auto it = farm.find(id);
        return it == farm.end() ? JobPtr() : it->second;
    });
    view->StopTimer(); // the test ticks it
    auto job = [&](const String& name, int type, int status) {
        JobPtr j(new Job(UID(true)));
        j->SetParameters(
            {{p_Name, name}, {p_Type, types[type]}, {p_Status, String::FromInt(status)}});
        farm[j->GetID()] = j;
        view->OnFarmMessage(Message(k_MsgJobCreated, j->GetID()));
        return j;
    };
    // Rows as depth and name, every group opened; and what they must be, from the farm alone.
    auto shown = [&] {
        std::vector<String> rows;
        for (int r = 0; r < view->GetItemCount(); ++r) {
            wxDBTreeListItem* item = view->ItemAtRow(r);
            if (item->HasChildren() && !item->IsExpanded()) view->Expand(item);
            rows.push_back(String::FromInt(item->GetDepth()) + item->GetText(0));
        }
        return rows;
    };
    auto expected = [&] {
        std::map<String, std::map<int, std::vector<String>>> groups;
        for (auto& j : farm)
            groups[j.second->GetParameter(p_Type) == types[0] ? "zeta" : "Alpha"]
                  [j.second->GetStatus()]
                      .push_back(j.second->Name());
        std::vector<String> rows;
        for (auto& type : groups) { // "Alpha" before "zeta"
            rows.push_back("0" + type.first);
            for (auto& status : type.second) {
                rows.push_back("1" + String(JobStatusName(status.first)));
                std::sort(
                    status.second.begin(), status.second.end(),
                    [](const String& a, const String& b) { return NaturalCompare(a, b) < 0; });
                for (auto& name : status.second)
                    rows.push_back("2" + name);
            }
        }
        return rows;
    };
    for (int n = 0; n < 600; ++n) // many at once into two groups of zeta, shuffled
        job("Job " + String::FromInt(1 + n * 7 % 600), 0, n % 2 ? k_JobWaiting : k_JobRunning);
    const JobPtr lone = job("Lone", 1, k_JobPaused), moved = job("Job 3", 1, k_JobRunning);
    view->Update();
    EXPECT_EQ(shown(), expected());
    moved->SetStatus(k_JobDone); // a few: placed one by one
    job("Job 45b", 0, k_JobRunning);
    farm.erase(lone->GetID());
    view->OnFarmMessage(Message(k_MsgJobChanged, moved->GetID()));
    view->OnFarmMessage(Message(k_MsgJobRemoved, lone->GetID()));
    view->Update();
    EXPECT_EQ(shown(), expected());
    EXPECT_EQ(view->GetJobCount(), farm.size());
    // More moves than one turn takes: the rest follow in the next idle turns, by themselves.
    for (auto& j : farm) {
        j.second->SetStatus(k_JobFailed);
        view->OnFarmMessage(Message(k_MsgJobChanged, j.first));
    }
    view->Update();
    EXPECT_NE(shown(), expected());
    EXPECT_TRUE(WaitFor([&] { return shown() == expected(); }));
    JobFactory::s_JobFactory.Clear();
}

// A saved pane layout is loaded only when it is one of exactly the demo's panes.
TEST(DemoLayout, OnlyAWholeLayoutOfTheSamePanesIsLoaded) {
    wxAuiManager aui(TopWindow());
    for (const char* name : {"views", "sidebar", "load"})
        aui.AddPane(new wxPanel(TopWindow()), wxAuiPaneInfo().Name(name).Left());
    const String saved = wxToString(aui.SavePerspective());
    aui.UnInit();
    const std::vector<String> panes = {"load", "views", "sidebar"};
    EXPECT_TRUE(IsPaneLayoutOf(saved, panes));
    for (const String& bad : {String(), String("garbage"), saved.substr(0, saved.size() / 2),
                              "layout3" + saved.substr(7), saved + "junk=1|"})
        EXPECT_FALSE(IsPaneLayoutOf(bad, panes)) << bad;
    EXPECT_FALSE(IsPaneLayoutOf(saved, {"views", "load"}));
}

// Every status colour reads on both row shades and on the selection, in every scheme: the
// strongest ink drawn in a row's status cell has 4.5:1 or more against the row's background.
// (The palette's own values do not: in Light, "TextGreen" on the rows is 2.5:1.)
double Luminance(const wxColour& c) {
    auto channel = [](int v) {
        const double s = v / 255.0;
        return s <= 0.03928 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(c.Red()) + 0.7152 * channel(c.Green()) + 0.0722 * channel(c.Blue());
}
double Contrast(const wxColour& a, const wxColour& b) {
    const double la = Luminance(a), lb = Luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

TEST(JobsView, StatusTextReadsOnEveryRowShadeInEveryScheme) {
    std::map<UID, JobPtr> farm;
    auto* view = new JobsView(TopWindow(), [&](const UID& id) { return farm[id]; });
    view->SetSize(TopWindow()->GetClientSize());
    PumpEvents();
    // Each status on an even and an odd row, then selected.
    for (int row = 0; row < 2 * k_JobArchived + 2; ++row) {
        JobPtr job(new Job(UID(true)));
        job->SetParameter(p_Name, "Job " + String::FromInt(row));
        job->SetStatus(std::min(k_JobWaiting + row / 2, int(k_JobArchived)));
        farm[job->GetID()] = job;
        view->OnFarmMessage(Message(k_MsgJobCreated, job->GetID()));
    }
    view->Update(std::time(nullptr));
    const int rows = view->GetItemCount(), status = view->FindColumnByType(k_JobsStatus);
    view->GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, {0, 0}, rows - 1);
    for (int scheme = 1; scheme <= 5; ++scheme) {
        SetColors(scheme);
        wxImage img;
        auto PixelAt = [&img](int x, int y) {
            return wxColour(img.GetRed(x, y), img.GetGreen(x, y), img.GetBlue(x, y));
        };
        // Painted in this scheme once the first row has its background.
        view->GetBody()->RedrawNow();
        ASSERT_TRUE(WaitFor([&] {
            const wxBitmap* buffer = view->GetBody()->GetBuffer();
            if (!buffer) return false;
            img = buffer->ConvertToImage();
            const wxRect first = view->GetCellRect(0, status);
            return PixelAt(first.GetRight() - 2, first.y + 2) == wxsGetColor(color_WindowBGDarker);
        }));
        for (int row = 0; row < rows; ++row) {
            const wxRect cell = view->GetCellRect(row, status);
            const wxColour bg = PixelAt(cell.GetRight() - 2, cell.y + cell.height / 2);
            double best = 1;
            for (int y = cell.y; y < cell.GetBottom(); ++y)
                for (int x = cell.x; x < cell.GetRight(); ++x)
                    best = std::max(best, Contrast(PixelAt(x, y), bg));
            EXPECT_GE(best, 4.5) << "scheme " << scheme << ", row " << row;
        }
    }
}
