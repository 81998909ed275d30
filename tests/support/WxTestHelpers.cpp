#include "tests/support/WxTestHelpers.h"

#include <wx/evtloop.h>
#include <wx/dcmemory.h>

#include <chrono>
#include <cstdlib>

namespace taviro_test {

extern wxFrame* g_TopWindow; // owned by the test main

wxFrame* TopWindow() {
    return g_TopWindow;
}

void PumpEvents(int rounds) {
    for (int i = 0; i < rounds; ++i) {
        if (wxTheApp) {
            wxTheApp->ProcessPendingEvents();
            wxTheApp->Yield(true);
            wxTheApp->ProcessIdle();
        }
    }
}

bool WaitFor(const std::function<bool()>& pred, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        PumpEvents(1);
        if (pred()) return true;
        if (std::chrono::steady_clock::now() > deadline) return false;
        wxMilliSleep(2);
    }
}

wxImage RenderToImage(int width, int height, const std::function<void(wxDC&)>& draw,
                      const wxColour& background) {
    wxBitmap bmp(width, height, 24);
    {
        wxMemoryDC dc(bmp);
        dc.SetBackground(wxBrush(background));
        dc.Clear();
        draw(dc);
    }
    return bmp.ConvertToImage();
}

namespace {
bool Near(int a, int b, int tolerance) {
    return std::abs(a - b) <= tolerance;
}
wxString Describe(const wxColour& c) {
    return wxString::Format("(%d, %d, %d)", c.Red(), c.Green(), c.Blue());
}
} // namespace

::testing::AssertionResult PixelNear(const wxImage& image, int x, int y, const wxColour& expected,
                                     int tolerance) {
    if (!image.IsOk()) return ::testing::AssertionFailure() << "image is not valid";
    if (x < 0 || y < 0 || x >= image.GetWidth() || y >= image.GetHeight())
        return ::testing::AssertionFailure()
               << "pixel (" << x << ", " << y << ") is outside the " << image.GetWidth() << "x"
               << image.GetHeight() << " image";
    const wxColour actual(image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y));
    if (Near(actual.Red(), expected.Red(), tolerance) &&
        Near(actual.Green(), expected.Green(), tolerance) &&
        Near(actual.Blue(), expected.Blue(), tolerance))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "pixel (" << x << ", " << y << ") is " << Describe(actual).utf8_str().data()
           << ", expected " << Describe(expected).utf8_str().data() << " +/- " << tolerance;
}

::testing::AssertionResult RegionNear(const wxImage& image, const wxRect& rect,
                                      const wxColour& expected, int tolerance) {
    for (int y = rect.GetTop(); y <= rect.GetBottom(); ++y)
        for (int x = rect.GetLeft(); x <= rect.GetRight(); ++x) {
            auto r = PixelNear(image, x, y, expected, tolerance);
            if (!r) return r;
        }
    return ::testing::AssertionSuccess();
}

int CountPixels(const wxImage& image, const wxRect& rect, const wxColour& colour, int tolerance) {
    int n = 0;
    for (int y = rect.GetTop(); y <= rect.GetBottom(); ++y)
        for (int x = rect.GetLeft(); x <= rect.GetRight(); ++x)
            if (PixelNear(image, x, y, colour, tolerance)) ++n;
    return n;
}

} // namespace taviro_test
