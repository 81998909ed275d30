// The harness itself: pixel probes on a memory DC, posted events reaching their handler
// through WaitFor, a fresh top window and a private HOME per test.
#include "tests/support/WxTestHelpers.h"

#include <ostrum/File.h>

#include <thread>

using namespace taviro_test;

TEST(Harness, MemoryDcPixelsAreProbedWithTolerance) {
    const wxImage img = RenderToImage(40, 30, [](wxDC& dc) {
        dc.SetPen(*wxTRANSPARENT_PEN);
        dc.SetBrush(wxBrush(wxColour(200, 10, 10)));
        dc.DrawRectangle(10, 5, 20, 10);
    });
    EXPECT_PIXEL(img, 10, 5, wxColour(200, 10, 10));
    EXPECT_PIXEL(img, 29, 14, wxColour(200, 10, 10));
    EXPECT_PIXEL(img, 30, 14, *wxWHITE); // the rectangle ends before x = 30
    EXPECT_PIXEL(img, 10, 15, *wxWHITE);
    EXPECT_TRUE(RegionNear(img, wxRect(10, 5, 20, 10), wxColour(201, 9, 12)));
    EXPECT_EQ(CountPixels(img, wxRect(0, 0, 40, 30), wxColour(200, 10, 10)), 200);

    // A mismatch is reported with position, actual and expected colour.
    const auto miss = PixelNear(img, 0, 0, wxColour(0, 0, 0));
    ASSERT_FALSE(miss);
    EXPECT_NE(
        std::string(miss.message()).find("pixel (0, 0) is (255, 255, 255), expected (0, 0, 0)"),
        std::string::npos)
        << miss.message();
    EXPECT_FALSE(PixelNear(img, 40, 0, *wxWHITE));              // outside the image
    EXPECT_FALSE(PixelNear(img, 10, 5, wxColour(204, 10, 10))); // beyond the tolerance of 2
}

TEST(Harness, PostedEventsArriveThroughWaitFor) {
    wxFrame* top = TopWindow();
    ASSERT_NE(top, nullptr);
    EXPECT_TRUE(top->IsShown());
    EXPECT_EQ(wxTheApp->GetTopWindow(), top);

    EventCounter counter(top, wxEVT_COMMAND_MENU_SELECTED);
    // Posted from another thread: it reaches the handler only when events are pumped.
    std::thread poster([top] {
        for (int i = 0; i < 5; ++i)
            top->GetEventHandler()->QueueEvent(new wxCommandEvent(wxEVT_COMMAND_MENU_SELECTED, 42));
    });
    poster.join();
    EXPECT_EQ(counter.GetCount(), 0);
    EXPECT_TRUE(counter.WaitEvent(5));
    EXPECT_EQ(counter.GetCount(), 5);
}

TEST(Harness, TimersFireWhileWaiting) {
    wxTimer timer;
    int ticks = 0;
    timer.Bind(wxEVT_TIMER, [&](wxTimerEvent&) { ++ticks; });
    timer.Start(10);
    EXPECT_TRUE(WaitFor([&] { return ticks >= 3; }));
    timer.Stop();
}

// Two tests in a row: the second must not see the first one's window or files.
static wxFrame* g_FirstWindow = nullptr;
static String g_FirstHome;

TEST(Harness, EachTestHasItsOwnWindowAndHome_1) {
    g_FirstWindow = TopWindow();
    g_FirstHome = TempHome();
    ASSERT_FALSE(g_FirstHome.empty());
    EXPECT_EQ(String(getenv("HOME")), g_FirstHome);
    EXPECT_EQ(File::GetUserDir(), g_FirstHome + "/.config/taviro");
    new wxFrame(nullptr, wxID_ANY, "extra"); // left behind on purpose: the harness cleans it
}

TEST(Harness, EachTestHasItsOwnWindowAndHome_2) {
    EXPECT_FALSE(File::Exists(g_FirstHome)); // removed after the previous test
    EXPECT_NE(TempHome(), g_FirstHome);
    EXPECT_EQ(wxTopLevelWindows.GetCount(), 1u); // only this test's own window
    EXPECT_EQ(wxTopLevelWindows.GetFirst()->GetData(), TopWindow());
    (void)g_FirstWindow;
}
