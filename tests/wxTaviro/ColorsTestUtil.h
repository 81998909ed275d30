// Shared pieces of the palette and themed-control tests.
#pragma once

#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/File.h>

#include <cstdlib>

namespace colors_test {

inline wxColour Rgb(int r, int g, int b) {
    return wxColour(r, g, b);
}

// The path of the colour file in the test's private user folder.
inline Path ColorsIni() {
    return Path(File::GetUserDir()) / "Colors.ini";
}

inline void WriteColorsIni(const String& content) {
    File::AtomicWrite(ColorsIni(), content);
}

inline String ReadColorsIni() {
    return File::ReadAll(ColorsIni());
}

// Picks a scheme as the frame base does, without the broadcast; Custom with colours of its
// own where the controls look.
inline void UseScheme(int scheme) {
    if (scheme == 5)
        WriteColorsIni("scheme=5\nButtonFace = #3050A0\nSelected = rgb(10, 200, 90)\n"
                       "3DLight = #E0E0E0\nWindowBGDarker = red\n");
    g_Scheme = scheme;
    SetColors(scheme);
}

// A colour written 0xRRGGBB, as the tables of the tests give it.
inline wxColour Hex(unsigned rgb) {
    return wxColour((rgb >> 16) & 255, (rgb >> 8) & 255, rgb & 255);
}

// Every test starts with no scheme loaded and the Dark colours in the palette (the palette
// itself lives as long as the process).
class ColorsFixture : public ::testing::Test {
protected:
    void SetUp() override {
        g_Scheme = -1;
        Dark();
    }
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

// Sets or clears an environment variable for one scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : m_Name(name) {
        const char* old = getenv(name);
        m_Had = old != nullptr;
        if (m_Had) m_Old = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv() {
        if (m_Had)
            setenv(m_Name.c_str(), m_Old.c_str(), 1);
        else
            unsetenv(m_Name.c_str());
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    String m_Name, m_Old;
    bool m_Had = false;
};

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

inline wxString Describe(const wxColour& c) {
    return c.IsOk() ? wxString::Format("(%d, %d, %d, %d)", c.Red(), c.Green(), c.Blue(), c.Alpha())
                    : wxString("(unset)");
}

} // namespace colors_test

// Exact colour comparison with a readable failure message (alpha included).
#define EXPECT_COLOUR(actual, expected)                                                            \
    EXPECT_EQ(::colors_test::Describe(actual).ToStdString(),                                       \
              ::colors_test::Describe(expected).ToStdString())
