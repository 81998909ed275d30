// The messenger bridge: connection changes and messages turned into events for the top
// window, processing switched off and on, and the whole bridge under load from four messenger
// threads, through the GUI thread and through the worker pool.
#include "tests/wxTaviro/AppFixture.h"

#include <wxTaviro/wxTaviroDlg.h>

#include <taviro/ThreadPool.h>

#include <thread>

using namespace taviro_test;

namespace {

// A registered dialog that records what it is told (on the messenger's thread).
struct _ToldDialog : wxTaviroDlg {
    _ToldDialog() : wxTaviroDlg(String(), false) {}
    void OnConnected(bool connected) override { m_Told.push_back(connected); }
    std::vector<bool> m_Told;
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
    {
        EventCounter connects(TopWindow(), wxTAVIRO_CONNECT_EVENT);
        EventCounter disconnects(TopWindow(), wxTAVIRO_DISCONNECT_EVENT);
        EmitOnMessengerThread(MessengerConnectedEvt("embedded"));
        EXPECT_EQ(told.m_Told, std::vector<bool>({true})); // directly, on the messenger's thread
        EXPECT_EQ(connects.GetCount(), 0);                 // posted, not sent
        EmitOnMessengerThread(MessengerDisconnectedEvt("gone"));
        EXPECT_EQ(told.m_Told, std::vector<bool>({true, false}));
        DrainPosted(TopWindow()->GetEventHandler());
        EXPECT_EQ(std::make_pair(connects.GetCount(), disconnects.GetCount()),
                  std::make_pair(1, 1));
    }

    // Without a top window only the dialogs hear of it, and messages are dropped.
    int handled = 0;
    App().AddMessageHandler([&](const Message&) { ++handled; }, &App());
    TopWindow()->Destroy();
    ASSERT_TRUE(WaitFor([] { return wxTopLevelWindows.empty(); }));
    EmitOnMessengerThread(MessengerConnectedEvt("embedded"));
    EmitOnMessengerThread(MessengerDisconnectedEvt("gone"));
    EXPECT_EQ(told.m_Told.size(), 4u);
    Receive(1, 1);
    PumpEvents(5);
    EXPECT_EQ(App().QueuedMessages(), 0u); // dropped, not queued
    EXPECT_EQ(handled, 0);
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

// Each message handled once, in order per messenger thread, on the GUI thread or (with the
// pool ready) never on it, and only the GUI path posts events.
void BridgeUnderLoad(bool pool) {
    const int kThreads = 4;
    const uint64_t kPer = 25000;
    std::mutex mutex;
    std::vector<uint64_t> last(kThreads, 0);
    long wrong = 0;
    App().AddMessageHandler(
        [&](const Message& m) {
            std::lock_guard<std::mutex> l(mutex);
            if (wxThread::IsMain() == pool || m.m_Sequence != ++last[(size_t)m.m_Source]) ++wrong;
        },
        &App());
    EventCounter events(TopWindow(), wxTAVIRO_MESSAGE_EVENT);
    if (pool) {
        ASSERT_TRUE(ThreadPool::Start(4));
    }
    const uint64_t before = App().HandledMessages();
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
    if (pool) ThreadPool::Stop();
    ASSERT_TRUE(done) << App().HandledMessages() - before << " handled";
    PumpEvents();
    EXPECT_EQ(App().HandledMessages() - before, kThreads * kPer);
    EXPECT_EQ(App().QueuedMessages(), 0u);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(last, std::vector<uint64_t>(kThreads, kPer));
    EXPECT_EQ(events.GetCount(), pool ? 0 : kThreads * (int)kPer);
}

TEST_F(AppTest, BridgeUnderLoadThroughTheGuiThread) {
    BridgeUnderLoad(false);
}
TEST_F(AppTest, BridgeUnderLoadThroughTheWorkerPool) {
    BridgeUnderLoad(true);
}

} // namespace
