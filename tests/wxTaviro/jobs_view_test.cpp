// The demo's jobs page keeps its rows sorted as jobs change and go, and its selection on the jobs.
#include "tests/support/WxTestHelpers.h"

#include "demo/JobsView.h"

#include <map>

using namespace taviro_test;

TEST(JobsView, RowsStaySortedAndTheSelectionFollowsTheJobs) {
    std::map<UID, JobPtr> farm;
    auto* view = new JobsView(TopWindow(), [&](const UID& id) {
        auto it = farm.find(id);
        return it == farm.end() ? JobPtr() : it->second;
    });
    auto names = [&](const std::vector<int>& rows) {
        std::vector<String> shown;
        for (int r : rows)
            shown.push_back(view->GetJob(r)->Name());
        return shown;
    };
    std::vector<int> all(12);
    std::map<String, UID> ids;
    for (int n : {12, 3, 10, 1, 7, 11, 5, 2, 9, 4, 8, 6}) {
        JobPtr job(new Job(UID(true)));
        job->SetParameter(p_Name, "Job " + String::FromInt(n));
        farm[job->GetID()] = job;
        ids[job->Name()] = job->GetID();
        view->OnFarmMessage(Message(k_MsgJobCreated, job->GetID()));
    }
    view->Update(std::time(nullptr));
    view->SortBy(k_JobsName, true);
    // Job 2 and Job 10, selected through the list's own events.
    view->GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, {0, 0}, 1);
    view->GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, {0, 0}, 9);
    // Job 5 is renamed past the end and Job 1 goes, in one update.
    farm[ids["Job 5"]]->SetParameter(p_Name, "Job 99");
    Message renamed(k_MsgJobChanged, ids["Job 5"]);
    renamed.m_Params[p_Name] = "Job 99";
    view->OnFarmMessage(renamed);
    view->OnFarmMessage(Message(k_MsgJobRemoved, ids["Job 1"]));
    view->Update(std::time(nullptr));
    ASSERT_EQ(view->GetItemCount(), 11);
    all.resize(11);
    for (int r = 0; r < 11; ++r)
        all[r] = r;
    EXPECT_EQ(names(all), (std::vector<String>{"Job 2", "Job 3", "Job 4", "Job 6", "Job 7", "Job 8",
                                               "Job 9", "Job 10", "Job 11", "Job 12", "Job 99"}));
    EXPECT_EQ(names(view->GetSelection()), (std::vector<String>{"Job 2", "Job 10"}));
    view->SortBy(k_JobsName, false);
    EXPECT_EQ(names({0, 10}), (std::vector<String>{"Job 99", "Job 2"}));
    EXPECT_EQ(names(view->GetSelection()), (std::vector<String>{"Job 10", "Job 2"}));
    for (int r = 0; r < 11; ++r)
        EXPECT_EQ(view->IsRowSelected(r), r == 3 || r == 10) << r;
}
