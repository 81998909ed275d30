// A colour scheme chosen in one running program of the suite recolours another: two demo
// programs under two component names, each showing its Settings dialog at a known place.
#include "tests/support/WxTestHelpers.h"

#ifdef TAVIRO_DEMO // built beside the demo, with X11 at hand

#include <ostrum/File.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <csignal>

using namespace taviro_test;

namespace {

// One demo program with its own options and log, its Settings dialog at (x, 40).
struct _Demo {
    _Demo(const String& name, int scheme, int x)
        : m_Name(name), m_Dir(MakeTempDir("demo")),
          m_Child(TAVIRO_DEMO,
                  (File::AtomicWrite(m_Dir + "/options.ini",
                             SFormat("[Window]\nWindow = %d, 300, 500, 400\n[Settings]\nWindow = "
                                     "%d, 40, 300, 220\n",
                                     x, x)),
                   std::vector<String>{"--name", name, "--master", "none", "--log-dir", m_Dir,
                                       "--options", m_Dir + "/options.ini", "--scheme",
                                       String::FromInt(scheme), "--open-dialog", "settings",
                                       "--exit-after", "60"})),
          m_Probe(x + 4, 44) {} // dialog background, inside its border
    ~_Demo() {
        m_Child.Kill(SIGTERM);
        m_Child.Wait(10000);
    }
    bool Logged(const String& text) const {
        const String path = m_Dir + "/" + m_Name + ".log";
        return File::Exists(path) && File::ReadAll(path).find(text) != String::npos;
    }

    String m_Name, m_Dir;
    Child m_Child;
    wxPoint m_Probe;
};

// What the screen shows there. Read from the X server itself: a toolkit screen DC leaves out
// other programs' windows.
wxColour ScreenPixel(const wxPoint& p) {
    Display* display = XOpenDisplay(nullptr);
    if (!display) return wxColour();
    XImage* image =
        XGetImage(display, DefaultRootWindow(display), p.x, p.y, 1, 1, AllPlanes, ZPixmap);
    wxColour colour;
    if (image) {
        const unsigned long pixel = XGetPixel(image, 0, 0);
        colour.Set((pixel >> 16) & 0xff, (pixel >> 8) & 0xff, pixel & 0xff);
        XDestroyImage(image);
    }
    XCloseDisplay(display);
    return colour;
}

TEST(SchemeAcrossPrograms, ChosenInOneRecolorsTheOther) {
    TopWindow()->Hide(); // the screen shows only the two programs
    _Demo monitor("TaviroMonitor", 1, 700);
    // Without --name the program logs (and listens) under its file name.
    const String unnamed = monitor.m_Dir + "/taviro-demo.log";
    ASSERT_TRUE(WaitFor([&] { return monitor.Logged("Opened") || File::Exists(unnamed); }, 30000));
    if (!monitor.Logged("Opened"))
        GTEST_SKIP() << "the demo does not take --name yet (the toolkit takes it first)";
    ASSERT_TRUE(WaitFor([&] { return ScreenPixel(monitor.m_Probe) != *wxBLACK; }, 30000));
    const wxColour before = ScreenPixel(monitor.m_Probe);

    _Demo gui("TaviroGui", 4, 100); // starts in Darker, and tells every running program
    ASSERT_TRUE(
        WaitFor([&] { return gui.Logged("Notifying color changed to: TaviroMonitor"); }, 30000));
    EXPECT_TRUE(WaitFor([&] { return monitor.Logged("Colour scheme reloaded: 4"); }, 2000));
    // Repainted: the monitor's dialog now shows what the program that chose the scheme shows.
    EXPECT_TRUE(WaitFor(
        [&] {
            const wxColour now = ScreenPixel(monitor.m_Probe);
            return now != before && now == ScreenPixel(gui.m_Probe);
        },
        2000))
        << ScreenPixel(monitor.m_Probe).GetAsString() << " vs "
        << ScreenPixel(gui.m_Probe).GetAsString();
    EXPECT_FALSE(gui.Logged("Notifying color changed to: TaviroGui")); // never itself
}

} // namespace

#endif
