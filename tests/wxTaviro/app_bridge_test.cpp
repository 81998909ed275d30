// The messenger bridge: connection changes and messages turned into events for the top
// window, the worker pool taking messages past the GUI thread, processing switched off and
// on, and the whole bridge under load from four messenger threads.
#include "tests/wxTaviro/AppFixture.h"

#include <wxTaviro/wxTaviroDlg.h>

#include <ostrum/Time.h>
#include <taviro/ThreadPool.h>

#include <thread>

using namespace taviro_test;

namespace {

std::atomic<int> g_DialogsTold{0};
std::atomic<int> g_DialogsLast{-1};
// A registered dialog that records what it is told.
struct _ToldDialog : wxTaviroDlg {
    _ToldDialog() : wxTaviroDlg(String(), false) {}
    void OnConnected(bool connected) override {
        g_DialogsTold.fetch_add(1);
        g_DialogsLast = connected ? 1 : 0;
    }
};

template <class Evt>
void EmitOnMessengerThread(Evt evt) {
    std::thread([&evt] { Evt::s_Signal.Emit(evt); }).join();
}

// Messages of the given sequence numbers, received on a messenger thread.
void Receive(uint64_t first, uint64_t last) {
    std::thread([=] {
        for (uint64_t i = first; i <= last; ++i) {
            boost::shared_ptr<Message> m(new Message(k_MsgCustom));
            m->m_Sequence = i;
            App().ReceiveMessage(m);
        }
    }).join();
}

TEST_F(AppTest, ConnectionChangesBecomeEventsAndReachDialogs) {
    _ToldDialog told;
    g_DialogsTold = 0;
    EventCounter connects(TopWindow(), wxTAVIRO_CONNECT_EVENT);
    EventCounter disconnects(TopWindow(), wxTAVIRO_DISCONNECT_EVENT);
    EmitOnMessengerThread(MessengerConnectedEvt("embedded"));
    EXPECT_EQ(g_DialogsTold.load(), 1); // directly, on the messenger's thread
    EXPECT_EQ(g_DialogsLast.load(), 1);
    EXPECT_EQ(connects.GetCount(), 0); // posted, not sent
    EmitOnMessengerThread(MessengerDisconnectedEvt("gone"));
    EXPECT_EQ(g_DialogsLast.load(), 0);
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(connects.GetCount(), 1);
    EXPECT_EQ(disconnects.GetCount(), 1);
}

TEST_F(AppTest, WithoutATopWindowOnlyDialogsHearOfConnectionsAndMessagesAreDropped) {
    _ToldDialog told;
    g_DialogsTold = 0;
    int handled = 0;
    App().AddMessageHandler([&](const Message&) { ++handled; }, &App());
    TopWindow()->Destroy();
    ASSERT_TRUE(WaitFor([] { return wxTopLevelWindows.empty(); }));
    ASSERT_EQ(App().GetTopWindow(), nullptr);

    EmitOnMessengerThread(MessengerConnectedEvt("embedded"));
    EmitOnMessengerThread(MessengerDisconnectedEvt("gone"));
    EXPECT_EQ(g_DialogsTold.load(), 2);
    Receive(1, 1);
    PumpEvents(5);
    EXPECT_EQ(App().QueuedMessages(), 0u); // dropped, not queued
    EXPECT_EQ(handled, 0);
    const String log = LogText();
    for (const char* line : {"... Ignoring MessageConnectedEvt because app has no top window",
                             "... Ignoring MessageDisconnectedEvt because app has no top window",
                             "... Ignoring MessageReceivedEvt because app has no top window"})
        EXPECT_NE(log.find(line), String::npos) << line;
}

TEST_F(AppTest, MessagesBeforeThePoolIsReadyAreDispatchedOnTheGuiThread) {
    ASSERT_FALSE(ThreadPool::IsReady());
    std::vector<uint64_t> onMain;
    App().AddMessageHandler(
        [&](const Message& m) {
            if (wxThread::IsMain()) onMain.push_back(m.m_Sequence);
        },
        &App());
    EventCounter events(TopWindow(), wxTAVIRO_MESSAGE_EVENT);
    Receive(1, 3);
    EXPECT_TRUE(WaitFor([&] { return onMain.size() == 3; }));
    EXPECT_EQ(onMain, std::vector<uint64_t>({1, 2, 3}));
    EXPECT_EQ(events.GetCount(), 3);
}

TEST_F(AppTest, WithThePoolReadyMessagesBypassTheGuiThread) {
    ASSERT_TRUE(ThreadPool::Start(2));
    std::atomic<int> offMain{0}, total{0};
    App().AddMessageHandler(
        [&](const Message&) {
            if (!wxThread::IsMain()) offMain.fetch_add(1);
            total.fetch_add(1);
        },
        &App());
    EventCounter events(TopWindow(), wxTAVIRO_MESSAGE_EVENT);
    Receive(1, 50);
    EXPECT_TRUE(WaitUntil([&] { return total.load() == 50; }));
    ThreadPool::Stop();
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(offMain.load(), 50);
    EXPECT_EQ(events.GetCount(), 0);
}

TEST_F(AppTest, DisabledProcessingDispatchesNothingAndNothingIsReplayed) {
    std::vector<uint64_t> handled;
    App().AddMessageHandler([&](const Message& m) { handled.push_back(m.m_Sequence); }, &App());
    EventCounter events(TopWindow(), wxTAVIRO_MESSAGE_EVENT);
    App().DisableMessageProcessing();
    EXPECT_FALSE(App().IsMessageProcessingEnabled());
    Receive(1, 5);
    EXPECT_TRUE(events.WaitEvent(5));
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_TRUE(handled.empty());
    EXPECT_EQ(App().QueuedMessages(), 5u);

    App().EnableMessageProcessing();
    EXPECT_TRUE(App().IsMessageProcessingEnabled());
    PumpEvents(5);
    EXPECT_TRUE(handled.empty()); // no catching up
    Receive(6, 6);                // each later event dispatches exactly one, the oldest first
    EXPECT_TRUE(WaitFor([&] { return handled.size() == 1; }));
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(handled, std::vector<uint64_t>({1}));
    EXPECT_EQ(App().QueuedMessages(), 5u);

    // The comparison is literal: registered while another application (here none) is the
    // current one counts as disabled and dispatches nothing; nothing registered and no
    // current application counts as enabled.
    Application* const current = Application::the_Application;
    Application::the_Application = nullptr;
    const bool enabledForAnother = App().IsMessageProcessingEnabled();
    App().ProcessNextMessage();
    App().DisableMessageProcessing();
    const bool enabledWithoutApplication = App().IsMessageProcessingEnabled();
    Application::the_Application = current;
    EXPECT_FALSE(enabledForAnother);
    EXPECT_EQ(handled.size(), 1u);
    EXPECT_TRUE(enabledWithoutApplication);
}

// ---- under load ----

struct _Ledger {
    std::mutex mutex;
    std::vector<std::vector<uint64_t>> seen{4};
    std::atomic<long> wrongThread{0};
    void Record(const Message& m, bool poolExpected) {
        if (wxThread::IsMain() == poolExpected) wrongThread.fetch_add(1);
        std::lock_guard<std::mutex> l(mutex);
        seen[(size_t)m.m_Source].push_back(m.m_Sequence);
    }
};

void BridgeUnderLoad(bool poolReady) {
    const int kThreads = 4;
    const uint64_t kPer = 25000;
    _Ledger ledger;
    App().AddMessageHandler([&](const Message& m) { ledger.Record(m, poolReady); }, &App());
    if (poolReady) {
        ASSERT_TRUE(ThreadPool::Start(4));
    }
    const uint64_t before = App().HandledMessages();
    const int64_t start = Time::Monotonic();
    std::vector<std::thread> messengers;
    for (int t = 0; t < kThreads; ++t)
        messengers.emplace_back([t] {
            for (uint64_t i = 1; i <= kPer; ++i) {
                boost::shared_ptr<Message> m(new Message(k_MsgCustom));
                m->m_Source = t;
                m->m_Sequence = i;
                App().ReceiveMessage(m);
            }
        });
    // The GUI thread keeps handling events while the messengers send.
    const bool done =
        WaitFor([&] { return App().HandledMessages() - before >= kThreads * kPer; }, 240000);
    for (auto& m : messengers)
        m.join();
    const double ms = (Time::Monotonic() - start) / 1000.0;
    if (poolReady) ThreadPool::Stop();
    ASSERT_TRUE(done) << App().HandledMessages() - before << " handled";
    PumpEvents();
    EXPECT_EQ(App().HandledMessages() - before, kThreads * kPer);
    EXPECT_EQ(App().QueuedMessages(), 0u);
    EXPECT_EQ(ledger.wrongThread.load(), 0);
    for (int t = 0; t < kThreads; ++t) {
        const auto& v = ledger.seen[(size_t)t];
        ASSERT_EQ(v.size(), kPer) << "thread " << t;
        for (uint64_t i = 0; i < kPer; ++i)
            ASSERT_EQ(v[i], i + 1) << "thread " << t;
    }
    printf("bridge (%s): %d threads x %llu messages, each handled once and in order, in %.0f ms\n",
           poolReady ? "worker pool" : "GUI thread", kThreads, (unsigned long long)kPer, ms);
}

TEST_F(AppTest, BridgeUnderLoadThroughTheGuiThread) {
    BridgeUnderLoad(false);
}
TEST_F(AppTest, BridgeUnderLoadThroughTheWorkerPool) {
    BridgeUnderLoad(true);
}

} // namespace
