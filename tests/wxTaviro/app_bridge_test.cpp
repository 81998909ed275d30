// The messenger bridge: connection changes and messages turned into events for the top
// window, processing switched off and on, and the bridge under load from four messenger
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

void OnMessengerThread(const std::function<void()>& f) {
    std::thread(f).join();
}

// A messenger thread that receives the messages first..last from the given source.
std::thread Receive(uint64_t first, uint64_t last, int source = 0) {
    return std::thread([=] {
        for (uint64_t i = first; i <= last; ++i) {
            boost::shared_ptr<Message> m(new Message(k_MsgCustom));
            m->m_Source = source;
            m->m_Sequence = i;
            App().ReceiveMessage(m);
        }
    });
}

TEST_F(AppTest, ConnectionChangesBecomeEventsAndReachDialogs) {
    _ToldDialog told;
    MessengerConnectedEvt connected("embedded");
    MessengerDisconnectedEvt disconnected("gone");
    {
        EventCounter connects(TopWindow(), wxTAVIRO_CONNECT_EVENT);
        EventCounter disconnects(TopWindow(), wxTAVIRO_DISCONNECT_EVENT);
        OnMessengerThread([&] { MessengerConnectedEvt::s_Signal.Emit(connected); });
        EXPECT_EQ(told.m_Told, std::vector<bool>({true})); // directly, on the messenger's thread
        EXPECT_EQ(connects.GetCount(), 0);                 // posted, not sent
        OnMessengerThread([&] { MessengerDisconnectedEvt::s_Signal.Emit(disconnected); });
        EXPECT_EQ(told.m_Told, std::vector<bool>({true, false}));
        DrainPosted(TopWindow()->GetEventHandler());
        EXPECT_EQ(std::make_pair(connects.GetCount(), disconnects.GetCount()),
                  std::make_pair(1, 1));
    }
    // Without a top window only the dialogs hear of it, and messages are dropped.
    TopWindow()->Destroy();
    ASSERT_TRUE(WaitFor([] { return wxTopLevelWindows.empty(); }));
    OnMessengerThread([&] { MessengerConnectedEvt::s_Signal.Emit(connected); });
    EXPECT_EQ(told.m_Told.size(), 3u);
    Receive(1, 1).join();
    EXPECT_EQ(App().QueuedMessages(), 0u);
}

TEST_F(AppTest, DisabledProcessingDispatchesNothingAndNothingIsReplayed) {
    std::vector<uint64_t> handled;
    App().AddMessageHandler([&](const Message& m) { handled.push_back(m.m_Sequence); }, &App());
    EventCounter events(TopWindow(), wxTAVIRO_MESSAGE_EVENT);
    App().DisableMessageProcessing();
    EXPECT_FALSE(App().IsMessageProcessingEnabled());
    Receive(1, 5).join();
    EXPECT_TRUE(events.WaitEvent(5));
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_TRUE(handled.empty());
    EXPECT_EQ(App().QueuedMessages(), 5u);
    App().EnableMessageProcessing();
    PumpEvents(5);
    EXPECT_TRUE(handled.empty()); // no catching up
    Receive(6, 6).join();         // each later event dispatches exactly one, the oldest first
    EXPECT_TRUE(WaitFor([&] { return handled.size() == 1; }));
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(handled, std::vector<uint64_t>({1}));

    // The comparison is literal: registered while another application (here none) is the
    // current one counts as disabled; nothing registered and no application, as enabled.
    Application* const current = Application::the_Application;
    Application::the_Application = nullptr;
    const bool enabledForAnother = App().IsMessageProcessingEnabled();
    App().ProcessNextMessage(); // dispatches nothing
    App().DisableMessageProcessing();
    const bool enabledWithoutApplication = App().IsMessageProcessingEnabled();
    Application::the_Application = current;
    EXPECT_EQ(std::make_tuple(enabledForAnother, handled.size(), enabledWithoutApplication),
              std::make_tuple(false, (size_t)1, true));
}

// ---- under load ----

// Each message handled once, in order per messenger thread, on the GUI thread or (with the
// pool ready) never on it; only the GUI path posts events.
void BridgeUnderLoad(bool pool) {
    const uint64_t kPer = 25000;
    std::mutex mutex;
    std::vector<uint64_t> last(4, 0);
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
    for (int t = 0; t < 4; ++t)
        messengers.push_back(Receive(1, kPer, t));
    // The GUI thread keeps handling events while the messengers send.
    EXPECT_TRUE(WaitFor([&] { return App().HandledMessages() - before >= 4 * kPer; }, 240000));
    for (auto& m : messengers)
        m.join();
    if (pool) ThreadPool::Stop();
    PumpEvents();
    EXPECT_EQ(App().HandledMessages() - before, 4 * kPer);
    EXPECT_EQ(App().QueuedMessages(), 0u);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(last, std::vector<uint64_t>(4, kPer));
    EXPECT_EQ(events.GetCount(), pool ? 0 : 4 * (int)kPer);
}

TEST_F(AppTest, BridgeUnderLoadThroughTheGuiThread) {
    BridgeUnderLoad(false);
}
TEST_F(AppTest, BridgeUnderLoadThroughTheWorkerPool) {
    BridgeUnderLoad(true);
}

} // namespace
