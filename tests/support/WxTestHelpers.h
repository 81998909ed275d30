// Helpers for GUI tests, in the style of wxWidgets' own test suite: a fresh top window per
// test, WaitFor that pumps events, an event counter, and pixel probes with a small tolerance.
#pragma once

#include "tests/support/TestEnv.h"

#include <wx/wx.h>

#include <functional>

namespace taviro_test {

// The application object of the test executable (weak default: a plain wxApp that turns wx
// assertions into test failures).
wxAppConsole* CreateTestApp();

// The current test's top window: a plain shown frame, destroyed after the test.
wxFrame* TopWindow();

// Pumps events (pending events, idle, timers) until pred holds or the deadline passes.
bool WaitFor(const std::function<bool()>& pred, int timeoutMs = 10000);
// Pumps events for a moment; for settling after Show/Refresh, never for timing.
void PumpEvents(int rounds = 3);

// Counts events of one type reaching a handler; the events are skipped, so the default
// handling still runs.
class EventCounter {
public:
    EventCounter(wxEvtHandler* handler, wxEventType type) : m_Handler(handler), m_Type(type) {
        m_Handler->Bind(m_Type, &EventCounter::OnEvent, this);
    }
    ~EventCounter() { m_Handler->Unbind(m_Type, &EventCounter::OnEvent, this); }
    EventCounter(const EventCounter&) = delete;
    EventCounter& operator=(const EventCounter&) = delete;
    int GetCount() const { return m_Count; }

private:
    void OnEvent(wxEvent& e) { ++m_Count, e.Skip(); }
    wxEvtHandler* m_Handler;
    wxEventType m_Type;
    int m_Count = 0;
};

// Renders through a memory DC into an image of the given size, pre-filled with background.
wxImage RenderToImage(int width, int height, const std::function<void(wxDC&)>& draw,
                      const wxColour& background = *wxWHITE);

// Per-channel comparison; the failure message names the position, the actual and the
// expected colour.
::testing::AssertionResult PixelNear(const wxImage& image, int x, int y, const wxColour& expected,
                                     int tolerance = 2);
// Every pixel of the rectangle within tolerance of expected (reports the first that is not).
::testing::AssertionResult RegionNear(const wxImage& image, const wxRect& rect,
                                      const wxColour& expected, int tolerance = 2);
// How many pixels of the rectangle are within tolerance of the colour.
int CountPixels(const wxImage& image, const wxRect& rect, const wxColour& colour,
                int tolerance = 2);

} // namespace taviro_test

#define EXPECT_PIXEL(image, x, y, colour) EXPECT_TRUE(::taviro_test::PixelNear(image, x, y, colour))
