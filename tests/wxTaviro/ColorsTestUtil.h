// Shared pieces of the palette and themed-control tests.
#pragma once

#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/File.h>

namespace colors_test {

inline wxColour Rgb(int r, int g, int b) {
    return wxColour(r, g, b);
}
// A colour written 0xRRGGBB, as the tables of the tests give it.
inline wxColour Hex(unsigned rgb) {
    return wxColour((rgb >> 16) & 255, (rgb >> 8) & 255, rgb & 255);
}

// The colour file in the test's private user folder.
inline Path ColorsIni() {
    return Path(File::GetUserDir()) / "Colors.ini";
}
inline void WriteColorsIni(const String& content) {
    File::AtomicWrite(ColorsIni(), content);
}
inline String ReadColorsIni() {
    return File::ReadAll(ColorsIni());
}

// Picks a scheme as the frame base does, without the broadcast.
inline void UseScheme(int scheme) {
    g_Scheme = scheme;
    SetColors(scheme);
}

// Every test starts with no scheme loaded and the Dark colours in the palette (the palette
// itself lives as long as the process).
class ColorsFixture : public ::testing::Test {
protected:
    void SetUp() override { UseScheme(-1); } // -1 shows Dark
};

// Makes the palette renderer the application's renderer for one test.
class ScopedRenderer {
public:
    // The first Get() lets the application traits install their renderer, over any set
    // before: so ask once first.
    ScopedRenderer() : m_Old((wxRendererNative::Get(), wxRendererNative::Set(new wxsRenderer()))) {}
    ~ScopedRenderer() { delete wxRendererNative::Set(m_Old); }
    ScopedRenderer(const ScopedRenderer&) = delete;
    ScopedRenderer& operator=(const ScopedRenderer&) = delete;

private:
    wxRendererNative* m_Old;
};

// Events as the toolkit sends them to a window.
inline void SendFocus(wxWindow* w, bool gained) {
    wxFocusEvent e(gained ? wxEVT_SET_FOCUS : wxEVT_KILL_FOCUS, w->GetId());
    e.SetEventObject(w);
    w->GetEventHandler()->ProcessEvent(e);
}
inline void SendMouse(wxWindow* w, wxEventType type, wxPoint pos = wxPoint(2, 2)) {
    wxMouseEvent e(type);
    e.SetEventObject(w);
    e.SetPosition(pos);
    w->GetEventHandler()->ProcessEvent(e);
}
inline void SendKey(wxWindow* w, wxEventType type, int key) {
    wxKeyEvent e(type);
    e.m_keyCode = key;
    e.SetEventObject(w);
    w->GetEventHandler()->ProcessEvent(e);
}

inline std::string Describe(const wxColour& c) {
    return c.IsOk() ? wxString::Format("(%d, %d, %d, %d)", c.Red(), c.Green(), c.Blue(), c.Alpha())
                          .ToStdString()
                    : "(unset)";
}

} // namespace colors_test

// Exact colour comparison with a readable failure message (alpha included).
#define EXPECT_COLOUR(actual, expected)                                                            \
    EXPECT_EQ(::colors_test::Describe(actual), ::colors_test::Describe(expected))
