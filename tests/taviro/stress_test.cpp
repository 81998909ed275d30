// Message dispatch under load (exactly once, in order, with and without the worker pool) and
// the embedded master's connect, disconnect and shutdown sequences. Also run under
// ThreadSanitizer.
#include "tests/support/TestEnv.h"

#include <taviro/ClientApp.h>
#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>
#include <taviro/ThreadPool.h>

#include <ostrum/Time.h>

#include <thread>

namespace {

// Plays the part of a GUI program's bridge: on the messenger's thread it either hands the
// message to the pool or "posts an event" that a consumer thread turns into one
// DispatchMessage call, as a GUI thread would.
class _Bridge : public HasSlots {
public:
    explicit _Bridge(TaviroClientApp* app) : m_App(app) {
        MessageReceivedEvt::s_Signal.Connect(this, &_Bridge::OnReceive);
    }
    ~_Bridge() override { DisconnectAll(); }

    void OnReceive(MessageReceivedEvt& e) {
        if (ThreadPool::IsReady() && m_UsePool) {
            m_App->CallMessageHandlers(e.TakeMessage());
        } else {
            std::lock_guard<std::mutex> l(m_Mutex);
            ++m_Events;
            m_Posted.notify_all();
        }
    }
    // The consumer: one dispatch per posted event; counts dispatches that found nothing.
    void Consume(std::atomic<bool>& stop) {
        for (;;) {
            {
                std::unique_lock<std::mutex> l(m_Mutex);
                m_Posted.wait_for(l, std::chrono::milliseconds(20), [&] { return m_Events > 0; });
                if (m_Events == 0) {
                    if (stop.load()) return;
                    continue;
                }
                --m_Events;
            }
            if (!m_App->DispatchMessage()) m_EmptyDispatches.fetch_add(1);
        }
    }
    bool m_UsePool = true;
    std::atomic<long> m_EmptyDispatches{0};

private:
    TaviroClientApp* m_App;
    std::mutex m_Mutex;
    std::condition_variable m_Posted;
    long m_Events = 0;
};

struct _Ledger {
    std::mutex mutex;
    std::vector<std::vector<uint64_t>> seen;
    std::atomic<long> outOfOrder{0};
    explicit _Ledger(int sources) : seen((size_t)sources) {}
    void Record(const Message& m) {
        std::lock_guard<std::mutex> l(mutex);
        auto& v = seen[(size_t)m.m_Source];
        if (!v.empty() && m.m_Sequence != v.back() + 1) outOfOrder.fetch_add(1);
        v.push_back(m.m_Sequence);
    }
};

void RunDispatchLoad(bool poolReady, const char* label) {
    const int kThreads = 4;
    const uint64_t kPerThread = 25000;
    TaviroClientApp app(LL_Error, LL_Error);
    _Ledger ledger(kThreads);
    app.AddMessageHandler([&](const Message& m) { ledger.Record(m); });
    if (poolReady) {
        ASSERT_TRUE(ThreadPool::Start(4));
    }
    _Bridge bridge(&app);
    std::atomic<bool> stop{false};
    std::thread consumer([&] { bridge.Consume(stop); });

    const int64_t start = Time::Monotonic();
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
    const uint64_t total = kThreads * kPerThread;
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return app.HandledMessages() >= total; }, 120000))
        << app.HandledMessages() << " of " << total << " handled";
    const int64_t us = Time::Monotonic() - start;
    stop = true;
    consumer.join();
    if (poolReady) ThreadPool::Stop();

    EXPECT_EQ(app.HandledMessages(), total);
    EXPECT_EQ(app.QueuedMessages(), 0u);
    EXPECT_EQ(bridge.m_EmptyDispatches.load(), 0)
        << "a posted event found its message not yet queued";
    EXPECT_EQ(ledger.outOfOrder.load(), 0);
    for (int t = 0; t < kThreads; ++t) {
        const auto& v = ledger.seen[(size_t)t];
        ASSERT_EQ(v.size(), kPerThread) << "source " << t;
        for (uint64_t i = 0; i < kPerThread; ++i)
            ASSERT_EQ(v[i], i + 1) << "source " << t;
    }
    printf("%s: %llu messages from %d threads handled once each, in order, in %.0f ms (%.0f "
           "messages/s)\n",
           label, (unsigned long long)total, kThreads, us / 1000.0, total * 1e6 / (double)us);
}

TEST(DispatchLoad, ThroughTheQueueWhenThePoolIsNotReady) {
    RunDispatchLoad(false, "queue path");
}

TEST(DispatchLoad, ThroughThePoolWhenItIsReady) {
    RunDispatchLoad(true, "pool path");
}

// Records the messenger's signals and the threads they arrive on.
class _Observer : public HasSlots {
public:
    _Observer() {
        MessengerConnectedEvt::s_Signal.Connect(this, &_Observer::OnConnected);
        MessengerDisconnectedEvt::s_Signal.Connect(this, &_Observer::OnDisconnected);
        ShutdownMsg::s_Signal.Connect(this, &_Observer::OnShutdown);
    }
    ~_Observer() override { DisconnectAll(); }
    void OnConnected(MessengerConnectedEvt& e) { Note("connected " + e.GetMaster()); }
    void OnDisconnected(MessengerDisconnectedEvt& e) { Note("disconnected " + e.GetReason()); }
    void OnShutdown(const boost::shared_ptr<ShutdownMsg>& m) { Note(m ? "shutdown" : "shutdown?"); }
    std::vector<String> Events() {
        std::lock_guard<std::mutex> l(m_Mutex);
        return m_Events;
    }
    bool OnlyOtherThreads() {
        std::lock_guard<std::mutex> l(m_Mutex);
        return !m_OnMainThread;
    }

private:
    void Note(const String& what) {
        std::lock_guard<std::mutex> l(m_Mutex);
        m_Events.push_back(what);
        if (std::this_thread::get_id() == m_Main) m_OnMainThread = true;
    }
    std::mutex m_Mutex;
    std::vector<String> m_Events;
    std::thread::id m_Main = std::this_thread::get_id();
    bool m_OnMainThread = false;
};

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

TEST(Messenger, ConnectDisconnectReconnectAndShutdownInOrder) {
    _Observer observer;
    TaviroClientApp app(LL_Info, LL_Error);
    CommandLine cl = MakeCommandLine({"--jobs", "1500", "--rate", "0", "--seed", "11"});
    ASSERT_TRUE(app.Startup(cl)) << app.GetStartupError();
    SimulatedMaster* master = app.GetSimulatedMaster();
    ASSERT_NE(master, nullptr);

    // Connected, then the farm's snapshot: 1500 jobs of the installed types.
    ASSERT_TRUE(taviro_test::WaitUntil([&] {
        Drain(app);
        return app.JobCount() == 1500;
    }));
    EXPECT_TRUE(master->IsConnected());

    master->Disconnect();
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return !master->IsConnected(); }));
    const uint64_t sentWhileDown = master->Sent();
    master->SetRate(-1); // would flood if it still sent anything
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(master->Sent(), sentWhileDown);

    master->Reconnect();
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return master->Sent() > sentWhileDown + 100; }));
    master->OrderShutdown();
    ASSERT_TRUE(taviro_test::WaitUntil([&] {
        auto e = observer.Events();
        return !e.empty() && e.back() == "shutdown";
    }));
    app.Cleanup();
    const auto events = observer.Events();
    const std::vector<String> expected = {
        "connected embedded", "disconnected disconnected by request", "connected embedded",
        "shutdown", "disconnected client closing"};
    EXPECT_EQ(events, expected);
    EXPECT_TRUE(observer.OnlyOtherThreads()); // signals come on the messenger's thread
    // Nothing arrives after Cleanup returned.
    const uint64_t handled = app.HandledMessages();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    Drain(app);
    EXPECT_EQ(app.HandledMessages(), handled);
}

TEST(Messenger, LiveTrafficKeepsTheJobTableInStep) {
    TaviroClientApp app(LL_Info, LL_Error);
    CommandLine cl =
        MakeCommandLine({"--jobs", "300", "--rate", "-1", "--seed", "5", "--workers", "2"});
    // Bridge and handler are connected before the master starts: a message received with
    // nobody listening waits in the queue (which Cleanup discards) and one handled before the
    // handler is connected would go uncounted.
    _Bridge bridge(&app);
    std::atomic<long> created{0}, removed{0};
    app.AddMessageHandler([&](const Message& m) {
        if (m.GetType() == k_MsgJobRemoved) removed.fetch_add(1);
        if (m.GetType() == k_MsgJobCreated) created.fetch_add(1);
    });
    ASSERT_TRUE(app.Startup(cl)) << app.GetStartupError();
    ASSERT_TRUE(ThreadPool::IsReady()); // handlers run on the pool
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return app.HandledMessages() > 20000; }, 60000));
    app.Cleanup(); // stops the master, then drains the pool
    Drain(app);
    // Jobs seen = snapshot + created - removed, whatever was in flight.
    EXPECT_EQ((long)app.JobCount(), 300 + created.load() - removed.load());
}

// The counts by status, kept as jobs change, against a recount of the jobs themselves.
boost::shared_ptr<Message> JobMsg(MessageType type, const UID& id, const char* status) {
    auto m = boost::shared_ptr<Message>(new Message(type, id));
    if (status) m->m_Params[p_Status] = status;
    return m;
}

TEST(JobTable, CountsByStatusMatchARecountUnderLiveTraffic) {
    TaviroClientApp app(LL_Error, LL_Error);
    CommandLine cl = MakeCommandLine({"--jobs", "3000", "--rate", "-1", "--seed", "9"});
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

    // A cleared table counts nothing; a job that outlives its table keeps a new status itself.
    JobPtr orphan;
    {
        auto table = std::make_unique<JobTable>();
        table->Apply(*JobMsg(k_MsgJobCreated, a, "1"));
        orphan = table->Find(a);
        table->Clear();
        EXPECT_TRUE(table->CountByStatus().empty());
    }
    orphan->SetStatus(k_JobDone);
    EXPECT_EQ(orphan->GetStatus(), k_JobDone);
}

} // namespace
