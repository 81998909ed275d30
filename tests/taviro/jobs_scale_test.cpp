// The job table's counts by status, kept as jobs change, against a recount of the jobs
// themselves.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>

#include <ostrum/CommandLine.h>

#include <atomic>
#include <thread>

namespace {

boost::shared_ptr<Message> JobMsg(MessageType type, const UID& id, const char* status) {
    auto m = boost::shared_ptr<Message>(new Message(type, id));
    if (status) m->m_Params[p_Status] = status;
    return m;
}

TEST(JobTable, CountsByStatusMatchARecountUnderLiveTraffic) {
    const String dir = taviro_test::MakeTempDir("farm");
    CommandLine cl({"/usr/bin/farm-test", "--log-dir", dir, "--options", dir + "/f.ini",
                    "--modules", DEMO_MODULES, "--jobs", "3000", "--rate", "-1", "--seed", "9"});
    TaviroClientApp app(LL_Error, LL_Error);
    ASSERT_TRUE(app.Startup(cl)) << app.GetStartupError();
    std::atomic<bool> stop{false};
    std::thread consumer([&] {
        while (!stop.load())
            if (!app.DispatchMessage()) std::this_thread::yield();
    });
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return app.HandledMessages() > 5000; }, 60000));

    // While the master's traffic goes on: a batch, a change to the same status, a change, a
    // status that is no number, removals (one of a job never seen), and statuses set on jobs
    // directly, in the table and after leaving it.
    const UID a(true), b(true), c(true);
    auto batch = boost::shared_ptr<Message>(new Message(k_MsgJobBatch));
    batch->m_Batch = {JobMsg(k_MsgJobCreated, a, "1"), JobMsg(k_MsgJobCreated, b, "2"),
                      JobMsg(k_MsgJobCreated, c, nullptr)};
    app.ReceiveMessage(batch);
    app.ReceiveMessage(JobMsg(k_MsgJobChanged, a, "1"));
    app.ReceiveMessage(JobMsg(k_MsgJobChanged, b, "4"));
    app.ReceiveMessage(JobMsg(k_MsgJobChanged, c, "paused"));
    app.ReceiveMessage(JobMsg(k_MsgJobRemoved, c, nullptr));
    app.ReceiveMessage(JobMsg(k_MsgJobRemoved, UID(true), nullptr));
    JobPtr ja = app.FindJob(a);
    ASSERT_TRUE(ja);
    ja->SetParameter(p_Status, "5");
    app.ReceiveMessage(JobMsg(k_MsgJobRemoved, a, nullptr));
    ja->SetParameter(p_Status, "2"); // no longer in the table
    const uint64_t handled = app.HandledMessages();
    ASSERT_TRUE(
        taviro_test::WaitUntil([&] { return app.HandledMessages() > handled + 3000; }, 60000));
    app.Cleanup();
    stop = true;
    consumer.join();

    std::map<int, size_t> recount;
    for (const JobPtr& j : app.GetAllJobs())
        ++recount[j->GetParameter(p_Status).ToInt(k_JobUnknown)];
    EXPECT_EQ(app.CountByStatus(), recount);
    EXPECT_FALSE(app.FindJob(a) || app.FindJob(c));
    EXPECT_EQ(app.FindJob(b)->GetParameter(p_Status), "4");
}

} // namespace
