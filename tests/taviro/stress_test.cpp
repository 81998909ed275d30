// Message dispatch under load (exactly once, in order, with and without the worker pool) and
// the embedded master's connect, disconnect and shutdown sequences. Also run under
// ThreadSanitizer.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>
#include <taviro/ThreadPool.h>

#include <numeric>
#include <thread>

namespace {

using taviro_test::CatchException;
using taviro_test::WaitUntil;

// Plays a GUI program's bridge: on the messenger's thread it hands the message to the pool or
// "posts an event" that a consumer thread turns into one DispatchMessage call.
class _Bridge : public HasSlots {
public:
    explicit _Bridge(TaviroClientApp* app) : m_App(app) {
        MessageReceivedEvt::s_Signal.Connect(this, &_Bridge::OnReceive);
    }
    ~_Bridge() override { DisconnectAll(); }
    void OnReceive(MessageReceivedEvt& e) {
        if (ThreadPool::IsReady()) return m_App->CallMessageHandlers(e.TakeMessage());
        ++m_Events;
    }
    // One dispatch per posted event; counts dispatches that found nothing.
    void Consume(std::atomic<bool>& stop) {
        while (!stop) {
            if (m_Events == 0) {
                std::this_thread::yield();
                continue;
            }
            --m_Events;
            if (!m_App->DispatchMessage()) ++m_EmptyDispatches;
        }
    }
    std::atomic<long> m_Events{0}, m_EmptyDispatches{0};

private:
    TaviroClientApp* m_App;
};

TEST(DispatchLoad, ExactlyOnceInOrderThroughTheQueueAndThroughThePool) {
    const int kThreads = 4;
    const uint64_t kPerThread = 25000, total = kThreads * kPerThread;
    std::vector<uint64_t> inOrder(kPerThread);
    std::iota(inOrder.begin(), inOrder.end(), 1);
    for (bool pool : {false, true}) {
        SCOPED_TRACE(pool ? "pool" : "queue");
        TaviroClientApp app(LL_Error, LL_Error);
        std::mutex mutex;
        std::vector<std::vector<uint64_t>> seen(kThreads);
        app.AddMessageHandler([&](const Message& m) {
            std::lock_guard<std::mutex> l(mutex);
            seen[(size_t)m.m_Source].push_back(m.m_Sequence);
        });
        ASSERT_TRUE(!pool || ThreadPool::Start(4));
        _Bridge bridge(&app);
        std::atomic<bool> stop{false};
        std::thread consumer([&] { bridge.Consume(stop); });
        std::vector<std::thread> messengers;
        for (int t = 0; t < kThreads; ++t)
            messengers.emplace_back([&, t] {
                for (uint64_t i = 1; i <= kPerThread; ++i) {
                    boost::shared_ptr<Message> m(new Message(k_MsgCustom));
                    m->m_Source = t;
                    m->m_Sequence = i;
                    app.ReceiveMessage(m);
                }
            });
        for (auto& m : messengers)
            m.join();
        EXPECT_TRUE(WaitUntil([&] { return app.HandledMessages() >= total; }, 120000));
        stop = true;
        consumer.join();
        if (pool) ThreadPool::Stop();
        EXPECT_EQ(app.HandledMessages(), total);
        EXPECT_EQ(app.QueuedMessages(), 0u);
        EXPECT_EQ(bridge.m_EmptyDispatches.load(), 0) << "an event found its message not queued";
        for (const auto& v : seen)
            EXPECT_TRUE(v == inOrder) << v.size() << " handled";
    }
}

CommandLine MakeCommandLine(const std::vector<String>& extra) {
    const String dir = taviro_test::MakeTempDir("farm");
    std::vector<String> args = {
        "/usr/bin/farm-test",   "--name",    "farm-test", "--log-dir", dir, "--options",
        dir + "/farm-test.ini", "--modules", DEMO_MODULES};
    args.insert(args.end(), extra.begin(), extra.end());
    return CommandLine(args);
}

void Drain(TaviroClientApp& app) {
    while (app.DispatchMessage()) {
    }
}

TEST(Messenger, ConnectCommandsDisconnectReconnectAndShutdownInOrder) {
    std::mutex mutex;
    std::vector<String> events;
    const auto testThread = std::this_thread::get_id();
    // Signals come on the messenger's thread, never on the test's.
    auto note = [&](const String& what) {
        std::lock_guard<std::mutex> l(mutex);
        events.push_back(std::this_thread::get_id() == testThread ? "on test thread " + what
                                                                  : what);
    };
    HasSlots slots;
    MessengerConnectedEvt::s_Signal.Connect(
        [&](MessengerConnectedEvt& e) { note("connected " + e.GetMaster()); }, &slots);
    MessengerDisconnectedEvt::s_Signal.Connect(
        [&](MessengerDisconnectedEvt& e) { note("disconnected " + e.GetReason()); }, &slots);
    ShutdownMsg::s_Signal.Connect(
        [&](const boost::shared_ptr<ShutdownMsg>& m) { note(m ? "shutdown" : "shutdown?"); },
        &slots);
    TaviroClientApp app(LL_Info, LL_Error);
    CommandLine cl = MakeCommandLine({"--jobs", "1500", "--rate", "0", "--seed", "11"});
    ASSERT_TRUE(app.Startup(cl)) << app.GetStartupError();
    SimulatedMaster* master = app.GetSimulatedMaster();
    ASSERT_NE(master, nullptr);
    // Connected, then the farm's snapshot of 1500 jobs.
    ASSERT_TRUE(WaitUntil([&] {
        Drain(app);
        return app.JobCount() == 1500;
    }));
    EXPECT_TRUE(master->IsConnected());

    // A command's answer arrives as a change of the job; a refusal brings the master's reason
    // as the detail (the farm is a function of its seed, so a twin schedule tells the reason).
    const UID renderType("6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01", true); // Frame Render
    JobPtr active, idle;
    for (const JobPtr& j : app.GetAllJobs()) {
        if (UID(j->GetParameter(p_Type), false) != renderType) continue;
        const int st = j->GetStatus();
        if (!active && (st == k_JobRunning || st == k_JobWaiting))
            active = j;
        else if (!idle && st != k_JobPaused)
            idle = j;
    }
    ASSERT_TRUE(active && idle) << "seed 11 no longer gives enough render jobs";
    active->ExecuteCommand("Pause", "");
    EXPECT_TRUE(WaitUntil([&] {
        Drain(app);
        return active->GetParameter(p_Status) == "3";
    }));
    FarmSchedule twin(11, 1500, JobFactory::s_JobFactory.ListTypes());
    std::vector<boost::shared_ptr<Message>> ignored;
    String reason;
    ASSERT_FALSE(twin.ApplyCommand(idle->GetID(), "Resume", "", &reason, ignored));
    auto refused = CatchException([&] { idle->ExecuteCommand("Resume", ""); });
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->GetCode(), (uint32_t)k_ErrRequest);
    EXPECT_EQ(refused->GetDetail(), reason);

    master->Disconnect();
    ASSERT_TRUE(WaitUntil([&] { return !master->IsConnected(); }));
    const uint64_t sentWhileDown = master->Sent();
    // Once the master is gone, commands are refused on the spot, not sent at all.
    auto offline = CatchException([&] { active->ExecuteCommand("Resume", ""); });
    ASSERT_TRUE(offline);
    EXPECT_EQ(offline->GetCode(), (uint32_t)k_ErrRequest);
    EXPECT_EQ(offline->GetMessage(), "Not connected to the farm master");
    EXPECT_FALSE(master->SendCommand(active->GetID(), "Resume", "", nullptr));
    master->SetRate(-1);  // would flood if it still sent anything
    master->Disconnect(); // a request while down wakes the master, and changes nothing
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(master->Sent(), sentWhileDown);

    master->Reconnect();
    ASSERT_TRUE(WaitUntil([&] { return master->Sent() > sentWhileDown + 100; }));
    master->OrderShutdown();
    ASSERT_TRUE(WaitUntil([&] {
        std::lock_guard<std::mutex> l(mutex);
        return !events.empty() && events.back() == "shutdown";
    }));
    app.Cleanup();
    std::lock_guard<std::mutex> l(mutex);
    EXPECT_EQ(events, (std::vector<String>{
                          "connected embedded", "disconnected disconnected by request",
                          "connected embedded", "shutdown", "disconnected client closing"}));
    // Nothing arrives after Cleanup returned.
    const uint64_t handled = app.HandledMessages();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    Drain(app);
    EXPECT_EQ(app.HandledMessages(), handled);
}

boost::shared_ptr<Message> JobMsg(MessageType type, const UID& id, const char* status) {
    auto m = boost::shared_ptr<Message>(new Message(type, id));
    if (status) m->m_Params[p_Status] = status;
    return m;
}

TEST(JobTable, LiveTrafficKeepsTheTableAndItsCountsInStep) {
    TaviroClientApp app(LL_Error, LL_Error);
    CommandLine cl =
        MakeCommandLine({"--jobs", "3000", "--rate", "-1", "--seed", "9", "--workers", "2"});
    // Bridge and handler come before the master starts: a message received with nobody
    // listening waits in the queue (which Cleanup discards), one handled earlier goes uncounted.
    _Bridge bridge(&app);
    std::atomic<long> created{0}, removed{0};
    app.AddMessageHandler([&](const Message& m) {
        removed += m.GetType() == k_MsgJobRemoved;
        created += m.GetType() == k_MsgJobCreated;
    });
    ASSERT_TRUE(app.Startup(cl)) << app.GetStartupError();
    ASSERT_TRUE(ThreadPool::IsReady()); // handlers run on the pool
    ASSERT_TRUE(WaitUntil([&] { return app.HandledMessages() > 5000; }, 60000));

    // Amid the master's traffic: a batch, a change to the same status, a change, a status that
    // is no number, removals (one of a job never seen), and statuses set on a job directly, in
    // the table and after leaving it.
    const UID a(true), b(true), c(true), d(true);
    auto batch = boost::shared_ptr<Message>(new Message(k_MsgJobBatch));
    batch->m_Batch = {JobMsg(k_MsgJobCreated, a, "1"), JobMsg(k_MsgJobCreated, b, "2"),
                      JobMsg(k_MsgJobCreated, c, nullptr), JobMsg(k_MsgJobCreated, d, nullptr)};
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
    ASSERT_TRUE(WaitUntil([&] { return app.HandledMessages() > handled + 3000; }, 60000));
    app.Cleanup(); // stops the master, then drains the pool
    // Jobs = snapshot + created - removed, whatever was in flight; above, a batch brought four
    // and one removal named a job never seen.
    EXPECT_EQ((long)app.JobCount(), 3000 + created.load() - removed.load() + 4 + 1);
    std::map<int, size_t> recount;
    for (const JobPtr& j : app.GetAllJobs())
        ++recount[j->GetParameter(p_Status).ToInt(k_JobUnknown)];
    EXPECT_EQ(app.CountByStatus(), recount);
    EXPECT_FALSE(app.FindJob(a) || app.FindJob(c));
    EXPECT_EQ(app.FindJob(b)->GetParameter(p_Status), "4");

    // A cleared table counts nothing; a job that outlives its table keeps a new status itself.
    auto table = std::make_unique<JobTable>();
    table->Apply(*JobMsg(k_MsgJobCreated, a, "1"));
    JobPtr orphan = table->Find(a);
    table->Clear();
    EXPECT_TRUE(table->CountByStatus().empty());
    table.reset();
    orphan->SetStatus(k_JobDone);
    EXPECT_EQ(orphan->GetStatus(), k_JobDone);
}

} // namespace
