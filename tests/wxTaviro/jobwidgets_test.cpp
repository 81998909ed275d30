// The job widgets over a small farm of their own: the job selector's order and filters, the
// product choice's order, hiding and no-modules case, and the command menu's ids, sub-items and
// failures.
#include "AppFixture.h"

#include <wxTaviro/JobCommandMenu.h>
#include <wxTaviro/JobSelector.h>
#include <wxTaviro/ProductChoice.h>

#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>
#include <taviro/Messenger.h>

using namespace taviro_test;

namespace {
struct Farm : TaviroApp {
    Farm() : TaviroApp(LL_Debug, (LogLevel)-1) {}
    ~Farm() override { JobFactory::s_JobFactory.Clear(); }
    JobPtr Add(const String& name, int status = k_JobRunning, const String& type = String()) {
        const UID id(true);
        Message m(k_MsgJobCreated, id);
        m.m_Params = {{p_Name, name}, {p_Status, String::FromInt(status)}, {p_Type, type}};
        ApplyToJobs(m);
        return FindJob(id);
    }
    void Remove(const JobPtr& job) { ApplyToJobs(Message(k_MsgJobRemoved, job->GetID())); }
};

// A master that records commands and refuses those on jobs it does not know.
struct Master : Messenger {
    Master() { Job::SetMessenger(this); }
    ~Master() override { Job::SetMessenger(nullptr); }
    void Start() override {}
    void Stop() override {}
    bool IsConnected() const override { return true; }
    String GetMasterName() const override { return "test"; }
    bool SendCommand(const UID& job, const String& command, const String& item,
                     String* error) override {
        if (farm && !farm->FindJob(job)) return *error = "No such job", false;
        sent.push_back(command + "/" + item);
        return true;
    }
    Farm* farm = nullptr;
    std::vector<String> sent;
};

String Module(const String& name, int n, const String& commands = String()) {
    return "type " + name + "\nid 00000000-0000-0000-0000-00000000000" + String::FromInt(n) +
           "\nhide-id 00000000-0000-0000-0000-0000000000f" + String::FromInt(n) + "\n" + commands;
}

std::vector<wxString> Labels(wxItemContainer* c) {
    std::vector<wxString> out;
    for (unsigned i = 0; i < c->GetCount(); ++i)
        out.push_back(c->GetString(i));
    return out;
}
} // namespace

TEST(JobSelector, SortsByNameAndLeavesOutHiddenAndExcludedJobs) {
    Farm farm;
    const JobPtr beta = farm.Add("beta"), gamma = farm.Add("gamma");
    farm.Add("Delta"), farm.Add("Alpha"), farm.Add(""), farm.Add("archived", k_JobArchived);
    auto* selector = new JobSelector(TopWindow(), wxID_ANY);
    selector->Fill(gamma->GetID());
    EXPECT_EQ(Labels(selector), (std::vector<wxString>{"None", "", "Alpha", "beta", "Delta"}));
    EXPECT_EQ(selector->GetSelectedJob(), UID::Null);
    selector->SelectJob(beta->GetID());
    EXPECT_EQ(selector->GetSelectedJob(), beta->GetID());
    selector->SelectJob(gamma->GetID()); // not listed: the selection stays
    EXPECT_EQ(selector->GetStringSelection(), "beta");
    // The comparator alone: null jobs go last, whatever the other.
    EXPECT_TRUE(JobSelector::_Sort(beta, JobPtr()));
    EXPECT_FALSE(JobSelector::_Sort(JobPtr(), beta));
    EXPECT_TRUE(JobSelector::_Sort(beta, gamma));
}

// More jobs than the list holds at once: any of them can still be selected, by identifier or
// by typing the start of its name.
TEST(JobSelector, AFarmLargerThanTheListIsReachedByIdentifierAndByTyping) {
    Farm farm;
    std::vector<JobPtr> jobs;
    for (int i = 0; i < 3 * int(JobSelector::k_Window); ++i)
        jobs.push_back(farm.Add(SFormat("Job %05d", i)));
    auto* selector = new JobSelector(TopWindow(), wxID_ANY);
    selector->Fill(UID::Null);
    EXPECT_EQ(selector->GetJobCount(), jobs.size());
    EXPECT_LE(selector->GetCount(), JobSelector::k_Window + 1); // "None" and a window
    selector->SelectJob(jobs[1400]->GetID());
    EXPECT_EQ(selector->GetSelectedJob(), jobs[1400]->GetID());
    EXPECT_TRUE(selector->SelectPrefix("job 0123"));
    EXPECT_EQ(selector->GetSelectedJob(), jobs[1230]->GetID());
    EXPECT_FALSE(selector->SelectPrefix("job 9"));
    EXPECT_EQ(selector->GetSelectedJob(), jobs[1230]->GetID());
    for (wxChar c : wxString("JOB 0042")) { // typed on the closed control
        wxKeyEvent key(wxEVT_KEY_DOWN);
        key.m_keyCode = c;
        key.m_uniChar = c;
        selector->ProcessWindowEvent(key);
    }
    EXPECT_EQ(selector->GetStringSelection(), "Job 00420");
    selector->SelectJob(UID::Null);
    EXPECT_EQ(selector->GetSelection(), 0);
}

TEST(ProductChoice, SortsIgnoringCaseOneEntryPerNameAndHonoursHiddenProducts) {
    Farm farm;
    farm.GetOptions()->SetValue(ProductChoice::k_HideSection,
                                "00000000-0000-0000-0000-0000000000f4", "1");
    for (int n : {1, 2, 3, 4, 5})
        ASSERT_TRUE(JobFactory::s_JobFactory.AddModule(
            Module(std::vector<String>{"", "Render", "zeta", "Alpha", "Hidden", "RENDER"}[n], n),
            "m"));
    auto* choice = new ProductChoice(TopWindow(), wxID_ANY);
    EXPECT_EQ(Labels(choice), (std::vector<wxString>{"Alpha", "Render", "zeta"}));
    EXPECT_EQ(choice->GetProduct(1).ToString(), "00000000-0000-0000-0000-000000000005");
    EventCounter changes(choice, wxEVT_COMBOBOX);
    choice->SetSelection(2);
    choice->SetSelectedProduct(UID(true));
    EXPECT_EQ(choice->GetSelection(), 0);
    EXPECT_EQ(changes.GetCount(), 1);
}

TEST(ProductChoice, WithoutModulesSaysSoOnceAndOffersADisabledEntry) {
    DialogRecorder boxes;
    ProductChoice* choices[] = {new ProductChoice(TopWindow(), 1),
                                new ProductChoice(TopWindow(), 2)};
    EXPECT_EQ(boxes.m_Shown.size(), 1u);
    for (ProductChoice* c : choices) {
        EXPECT_EQ(Labels(c), (std::vector<wxString>{"None Installed"}));
        EXPECT_FALSE(c->IsEnabled());
    }
}

TEST(JobCommandMenu, KeepsOwnerItemsIdsAndSubItemsAndRunsCommands) {
    DialogRecorder boxes; // a box shown by mistake must not wait for a click
    Farm farm;
    Master master;
    master.farm = &farm;
    ASSERT_TRUE(JobFactory::s_JobFactory.AddModule(
        Module("Render", 1,
               "command Pause | 1 | p\nseparator\ncommand Skip | 2 | s\n"
               "command Priority | 1 | p | items: Low;\"A;B\";DISABLED:Urgent\n"
               "command DISABLED:Kill | 1 | k\n"),
        "m"));
    const JobPtr job = farm.Add("j", k_JobRunning, "00000000-0000-0000-0000-000000000001");
    JobCommandMenu menu;
    for (int id : {1, 2, 3})
        menu.Append(id, "own");
    menu.Fill(job, 1);
    // own x3, separator, Pause, separator, Priority >, Kill
    ASSERT_EQ(menu.GetMenuItemCount(), 8u);
    EXPECT_TRUE(menu.FindItemByPosition(3)->IsSeparator());
    EXPECT_FALSE(menu.FindItemByPosition(7)->IsEnabled());
    EXPECT_EQ(menu.FindItemByPosition(7)->GetItemLabelText(), "Kill");
    wxMenu* sub = menu.FindItemByPosition(6)->GetSubMenu();
    ASSERT_TRUE(sub);
    EXPECT_EQ(sub->GetMenuItemCount(), 3u);
    EXPECT_TRUE(sub->FindItemByPosition(0)->IsCheckable());
    EXPECT_FALSE(sub->FindItemByPosition(2)->IsEnabled());
    const int pause = menu.FindItemByPosition(4)->GetId(), ab = sub->FindItemByPosition(1)->GetId();
    menu.Fill(job, 1); // the same type again: same ids, nothing left over
    EXPECT_EQ(menu.GetMenuItemCount(), 8u);
    EXPECT_EQ(menu.FindItemByPosition(4)->GetId(), pause);
    EXPECT_FALSE(menu.TryCommand(2));
    EXPECT_TRUE(menu.TryCommand(ab));
    EXPECT_TRUE(menu.TryCommand(pause));
    EXPECT_EQ(master.sent, (std::vector<String>{"Priority/A;B", "Pause/"}));
    // The job vanishes while its menu is open: the refusal is reported, nothing else happens.
    EXPECT_TRUE(boxes.m_Shown.empty());
    farm.Remove(job);
    EXPECT_TRUE(menu.TryCommand(pause));
    ASSERT_EQ(boxes.m_Shown.size(), 1u);
    EXPECT_EQ(
        boxes.m_Shown[0].second,
        "Unable to execute Job command: 'Pause'\nThe master refused the command\nNo such job");
    struct Declining : JobCommandMenu {
        bool PreProcessCommand(const String&, const String&) override { return false; }
    } declining;
    declining.Fill(job, 3); // an empty menu: no leading separator
    EXPECT_FALSE(declining.FindItemByPosition(0)->IsSeparator());
    EXPECT_TRUE(declining.TryCommand(declining.FindItemByPosition(0)->GetId()));
    EXPECT_EQ(boxes.m_Shown.size(), 1u); // nothing ran: no second refusal
    menu.Fill(JobPtr(), 1);
    EXPECT_EQ(menu.GetMenuItemCount(), 3u);
}
