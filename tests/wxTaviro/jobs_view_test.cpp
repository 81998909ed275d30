// The demo's jobs page keeps its rows sorted as jobs come, change and go, and its selection on
// the jobs.
#include "tests/support/WxTestHelpers.h"

#include "demo/JobsView.h"

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
