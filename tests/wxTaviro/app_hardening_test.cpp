// The window menu after its menu bar is gone and after the top window changed, "&" in titles,
// placement of windows partly off the screen, and the active-window record of a destroyed window.
#include "tests/wxTaviro/AppFixture.h"

#include <wx/display.h>

using namespace taviro_test;

namespace {

wxFrame* Shown(const wxString& title, wxSize size = wxSize(300, 200)) {
    auto* f = new wxFrame(nullptr, wxID_ANY, title, wxPoint(20, 20), size);
    f->Show();
    return f;
}

bool IsGone(wxWindow* w) {
    return std::find(wxTopLevelWindows.begin(), wxTopLevelWindows.end(), w) ==
           wxTopLevelWindows.end();
}

std::vector<wxString> Labels(wxMenu* menu) {
    std::vector<wxString> out;
    for (wxMenuItem* item : menu->GetMenuItems())
        if (!item->IsSeparator()) out.push_back(item->GetItemLabelText());
    return out;
}

TEST_F(AppTest, WindowMenuOutlivesItsMenuBarAndKeepsAmpersands) {
    auto* owner = Shown("Old main");
    auto* bar = new wxMenuBar;
    bar->Append(wxGetOpenWindowMenu(), "&Window");
    owner->SetMenuBar(bar);
    owner->Destroy(); // takes the menu with it
    ASSERT_TRUE(WaitFor([&] { return IsGone(owner); }));

    wxOpenUserWindow(Shown("R&D shots"), "R&D");
    wxMenu* menu = wxGetOpenWindowMenu();
    EXPECT_EQ(menu->GetMenuBar(), nullptr); // a new menu, in no menu bar
    EXPECT_EQ(Labels(menu), std::vector<wxString>({"Main Window", "   R&D", "R&D shots",
                                                   "Collect All", "Close All"}));
}

TEST_F(AppTest, WindowMenuCommandsFollowTheTopWindow) {
    wxGetOpenWindowMenu(); // bound to the first top window
    wxFrame* main = Shown("New main", wxSize(600, 400));
    wxTheApp->SetTopWindow(main);
    wxGetOpenWindowMenu(); // the client refreshes its menu
    wxFrame* w = Shown("Small", wxSize(200, 150));
    PumpEvents();
    wxOpenUserWindow(w, "");

    auto collect = [](wxWindow* at) {
        wxCommandEvent e(wxEVT_MENU, wxID_OPENWIN_COLLECTALL);
        e.SetEventObject(at);
        at->GetEventHandler()->ProcessEvent(e);
        PumpEvents();
    };
    collect(main);
    EXPECT_EQ(w->GetSize(), wxSize(300, 200)); // grown to half of the new main window
    w->SetSize(200, 150);
    collect(TopWindow()); // the old top window no longer carries the commands
    EXPECT_EQ(w->GetSize(), wxSize(200, 150));
    wxTheApp->SetTopWindow(TopWindow());
}

TEST_F(AppTest, OnlyWindowsOutOfReachAreMovedOnRestore) {
    const wxRect area = wxDisplay(0u).GetClientArea();
    struct Case {
        wxPoint stored;
        bool kept;
    };
    const Case cases[] = {
        {{area.GetRight() - 199, area.y + 100}, true}, // the right half is off the screen
        {{area.x - 300, area.y + 100}, true},          // the left three quarters are off
        {{area.GetRight() - 10, area.y + 100}, false}, // a sliver of the title bar only
        {{area.x + 100, area.y - 150}, false},         // the title bar above the screen
    };
    for (const Case& c : cases) {
        wxFrame* w = Shown("Partly off", wxSize(400, 200));
        App().GetOptions()->SetValue("Partly", "Window",
                                     SFormat("%d, %d, 400, 200", c.stored.x, c.stored.y));
        wxSetWindowPos(w, "Partly", 0);
        PumpEvents();
        if (c.kept)
            EXPECT_EQ(w->GetPosition(), c.stored);
        else
            EXPECT_TRUE(area.Contains(w->GetRect())) << c.stored.x << ", " << c.stored.y;
        w->Destroy();
        PumpEvents();
    }
}

TEST_F(AppTest, ActiveWindowRecordIsClearedWhenTheWindowGoes) {
    wxFrame* w = Shown("Active");
    wxActivateEvent activate(wxEVT_ACTIVATE, true, w->GetId());
    activate.SetEventObject(w);
    wxTaviroApp::ActivateEvent(activate);
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), w);
    w->Destroy();
    ASSERT_TRUE(WaitFor([&] { return IsGone(w); }));
    EXPECT_EQ(wxTaviroApp::GetActiveWindow(), nullptr);
}

} // namespace
