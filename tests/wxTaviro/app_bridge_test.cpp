// The messenger bridge: connections, messages, processing switched off and on, and load.
#include "tests/wxTaviro/AppFixture.h"

#include <wxTaviro/wxTaviroDlg.h>

#include <taviro/ThreadPool.h>

#include <thread>

using namespace taviro_test;

namespace {

// A registered dialog that records what it is told, and whether on the GUI thread (where it
// cannot be half-destroyed meanwhile).
struct _ToldDialog : wxTaviroDlg {
    _ToldDialog() : wxTaviroDlg(String(), false) {}
    void OnConnected(bool connected) override {
        m_Told.push_back(connected);
        m_OffThread += !wxThread::IsMain();
    }
    std::vector<bool> m_Told;
    int m_OffThread = 0;
};

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
        std::thread([&] { MessengerConnectedEvt::s_Signal.Emit(connected); }).join();
        EXPECT_EQ(connects.GetCount(), 0); // posted, not sent
        EXPECT_TRUE(WaitFor([&] { return told.m_Told == std::vector<bool>({true}); }));
        std::thread([&] { MessengerDisconnectedEvt::s_Signal.Emit(disconnected); }).join();
        DrainPosted(TopWindow()->GetEventHandler());
        EXPECT_EQ(std::make_pair(connects.GetCount(), disconnects.GetCount()),
                  std::make_pair(1, 1));
    }
    // Without a top window only the dialogs hear of it, and messages are dropped.
    TopWindow()->Destroy();
    ASSERT_TRUE(WaitFor([] { return wxTopLevelWindows.empty(); }));
    std::thread([&] { MessengerConnectedEvt::s_Signal.Emit(connected); }).join();
    EXPECT_TRUE(WaitFor([&] { return told.m_Told == std::vector<bool>({true, false, true}); }));
    EXPECT_EQ(told.m_OffThread, 0);
    Receive(1, 1).join();
    EXPECT_EQ(App().QueuedMessages(), 0u);
}

TEST_F(AppTest, DisabledProcessingDispatchesNothingAndNothingIsReplayed) {
    std::vector<uint64_t> handled;
    App().AddMessageHandler([&](const Message& m) { handled.push_back(m.m_Sequence); }, &App());
    EventCounter events(TopWindow(), wxTAVIRO_MESSAGE_EVENT);
    App().DisableMessageProcessing();
    Receive(1, 5).join();
    EXPECT_TRUE(WaitFor([&] { return events.GetCount() >= 5; }));
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(App().QueuedMessages(), 5u);
    App()
        .EnableMessageProcessing(); // no catching up: each later event dispatches one, oldest first
    PumpEvents(5);
    Receive(6, 6).join();
    EXPECT_TRUE(WaitFor([&] { return handled.size() == 1; }));
    DrainPosted(TopWindow()->GetEventHandler());
    EXPECT_EQ(handled, std::vector<uint64_t>({1}));

    // Registered while another application (here none) is current: disabled, no dispatch.
    Application* const current = Application::the_Application;
    Application::the_Application = nullptr;
    const bool enabledForAnother = App().IsMessageProcessingEnabled();
    App().ProcessNextMessage();
    App().DisableMessageProcessing(); // nothing registered and nothing current: "enabled"
    const bool enabledWithoutApplication = App().IsMessageProcessingEnabled();
    Application::the_Application = current;
    App().EnableMessageProcessing();
    EXPECT_FALSE(enabledForAnother);
    EXPECT_TRUE(enabledWithoutApplication);
    EXPECT_EQ(handled.size(), 1u);
}

// Four messenger threads: each message handled once, in order per source, on the GUI thread
// or (pool ready) never on it; only the GUI path posts events.
TEST_F(AppTest, BridgeUnderLoadThroughTheGuiThreadAndThroughThePool) {
    const uint64_t kPer = 25000;
    std::mutex mutex;
    std::vector<uint64_t> last;
    long wrong = 0;
    bool pool = false;
    App().AddMessageHandler(
        [&](const Message& m) {
            std::lock_guard<std::mutex> l(mutex);
            if (wxThread::IsMain() == pool || m.m_Sequence != ++last[(size_t)m.m_Source]) ++wrong;
        },
        &App());
    for (bool viaPool : {false, true}) {
        pool = viaPool;
        last.assign(4, 0);
        EventCounter events(TopWindow(), wxTAVIRO_MESSAGE_EVENT);
        ASSERT_TRUE(!pool || ThreadPool::Start(4));
        const uint64_t before = App().HandledMessages();
        std::vector<std::thread> messengers;
        for (int t = 0; t < 4; ++t)
            messengers.push_back(Receive(1, kPer, t));
        EXPECT_TRUE(WaitFor([&] { return App().HandledMessages() - before >= 4 * kPer; }, 240000));
        for (auto& m : messengers)
            m.join();
        if (pool) ThreadPool::Stop();
        PumpEvents();
        EXPECT_EQ(App().HandledMessages() - before, 4 * kPer);
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(events.GetCount(), pool ? 0 : 4 * (int)kPer);
    }
}

// Top windows come and go while messages arrive: the messenger's thread never touches a window
// (a post to a frame inside its destructor is a race ThreadSanitizer reports), none is lost.
TEST_F(AppTest, MessagesKeepComingWhileTopWindowsAreReplaced) {
    const uint64_t kCount = 20000, before = App().HandledMessages();
    std::thread messenger = Receive(1, kCount);
    for (int i = 0; i < 40; ++i) {
        wxWindow* old = App().GetTopWindow();
        App().SetTopWindow(new wxFrame(nullptr, wxID_ANY, "next"));
        if (old != TopWindow()) delete old;
        PumpEvents();
    }
    messenger.join();
    EXPECT_TRUE(WaitFor([&] { return App().HandledMessages() - before == kCount; }));
}

} // namespace
