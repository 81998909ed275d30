// Test main for GUI tests: starts wx once (under the Xvfb that ctest provides), gives every
// test a private HOME, the pointer parked in the screen's far corner and a fresh shown top
// window, and destroys all top-level windows after.
#include "tests/support/WxTestHelpers.h"

#include <wx/display.h>
#include <wx/evtloop.h>
#include <wx/uiaction.h>

namespace taviro_test {
wxFrame* g_TopWindow = nullptr;

namespace {
class _TestApp : public wxApp {
public:
    bool OnInit() override { return true; }
    // Tests must see their own failures, not a wx assertion dialog.
    void OnAssertFailure(const wxChar* file, int line, const wxChar* func, const wxChar* cond,
                         const wxChar* msg) override {
        ADD_FAILURE() << "wx assertion: " << wxString(cond).utf8_str().data() << " "
                      << wxString(msg ? msg : wxT("")).utf8_str().data() << " in "
                      << wxString(func).utf8_str().data() << " at "
                      << wxString(file).utf8_str().data() << ":" << line;
    }
};

class _WindowListener : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo& info) override {
        // A pointer left over a spot by an earlier test would hover the new test's controls.
        const wxRect screen = wxDisplay(0u).GetGeometry();
        const wxPoint corner(screen.GetRight(), screen.GetBottom());
        if (wxGetMousePosition() != corner) {
            wxUIActionSimulator().MouseMove(corner);
            WaitFor([&] { return wxGetMousePosition() == corner; }, 2000);
        }
        g_TopWindow = new wxFrame(nullptr, wxID_ANY, wxString::FromUTF8(info.name()),
                                  wxPoint(50, 50), wxSize(640, 480));
        wxTheApp->SetTopWindow(g_TopWindow);
        g_TopWindow->Show();
        PumpEvents();
    }
    void OnTestEnd(const ::testing::TestInfo&) override {
        std::vector<wxWindow*> windows(wxTopLevelWindows.begin(), wxTopLevelWindows.end());
        for (wxWindow* w : windows)
            w->Destroy(); // deferred until the next idle time
        g_TopWindow = nullptr;
        wxTheApp->SetTopWindow(nullptr);
        WaitFor([] { return wxTopLevelWindows.empty(); }, 5000);
    }
};
} // namespace
} // namespace taviro_test

// A test executable may define its own CreateTestApp (for example to test an application
// class); this one is used otherwise.
__attribute__((weak)) wxAppConsole* taviro_test::CreateTestApp() {
    return new _TestApp;
}

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    wxApp::SetInstance(taviro_test::CreateTestApp());
    if (!wxEntryStart(argc, argv)) {
        fprintf(stderr, "Cannot start wxWidgets (no display?)\n");
        return 1;
    }
    if (!wxTheApp->CallOnInit()) return 1;
    int rc;
    {
        wxEventLoop loop; // WaitFor pumps this loop; there is no MainLoop in tests
        wxEventLoopActivator activate(&loop);
        taviro_test::InstallTestEnvironment();
        ::testing::UnitTest::GetInstance()->listeners().Append(new taviro_test::_WindowListener);
        rc = RUN_ALL_TESTS();
    }
    wxTheApp->OnExit();
    wxEntryCleanup();
    return rc;
}
