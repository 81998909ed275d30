// The open windows registry with its menu, and window placement in the options file.
#include "tests/wxTaviro/AppFixture.h"

#include <wx/display.h>

using namespace taviro_test;

namespace {

wxFrame* NewWindow(const wxString& title, wxSize size = wxSize(300, 200), bool show = true) {
    auto* f = new wxFrame(nullptr, wxID_ANY, title, wxPoint(20, 20), size);
    if (show) f->Show();
    return f;
}

// The menu as lines: "id:text" for items, "-" for separators, "[text]" for disabled items.
std::vector<std::string> Describe(wxMenu* menu) {
    std::vector<std::string> out;
    for (wxMenuItem* item : menu->GetMenuItems()) {
        if (item->IsSeparator())
            out.push_back("-");
        else if (!item->IsEnabled())
            out.push_back("[" + item->GetItemLabelText().ToStdString() + "]");
        else
            out.push_back(std::to_string(item->GetId()) + ":" +
                          item->GetItemLabelText().ToStdString());
    }
    return out;
}

TEST_F(AppTest, WindowMenuWithNoWindows) {
    EXPECT_EQ(Describe(wxGetOpenWindowMenu()), std::vector<std::string>({"[No open windows]"}));
}

TEST_F(AppTest, WindowMenuGroupsByLabelInRegistrationOrder) {
    wxOpenUserWindow(NewWindow("Log A"), "Logs");
    wxOpenUserWindow(NewWindow("Plain 1"), "");
    wxOpenUserWindow(NewWindow("Job X"), "Jobs");
    wxOpenUserWindow(NewWindow("Log B"), "Logs");
    wxOpenUserWindow(NewWindow("Plain 2"), "");
    wxMenu* menu = wxGetOpenWindowMenu();
    const std::vector<std::string> expected = {"24000:Main Window",
                                               "-",
                                               "24002:Plain 1",
                                               "24005:Plain 2",
                                               "-",
                                               "[   Jobs]",
                                               "24003:Job X",
                                               "-",
                                               "[   Logs]",
                                               "24001:Log A",
                                               "24004:Log B",
                                               "-",
                                               "24102:Collect All",
                                               "24101:Close All"};
    EXPECT_EQ(Describe(menu), expected);
    EXPECT_EQ(menu->FindItem(24102)->GetHelp(), "Center all open windows over the main window");
    // The same menu object, refilled.
    EXPECT_EQ(wxGetOpenWindowMenu(), menu);
    EXPECT_EQ(Describe(menu), expected);
}

TEST_F(AppTest, OnlyAHundredWindowsAreListed) {
    std::vector<wxFrame*> windows;
    for (int i = 0; i < 101; ++i) {
        windows.push_back(NewWindow(wxString::Format("W%d", i), wxSize(300, 200), false));
        wxOpenUserWindow(windows.back(), "");
    }
    auto lines = Describe(wxGetOpenWindowMenu());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "24100:W99"), lines.end());
    EXPECT_EQ(std::find(lines.begin(), lines.end(), "24101:W100"), lines.end());
    EXPECT_EQ(OpenWindows::_this->GetEntries().size(), 101u); // still registered
    // Closing an earlier one brings the last one in.
    windows[3]->Close(true);
    PumpEvents();
    lines = Describe(wxGetOpenWindowMenu());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "24100:W100"), lines.end());
    EXPECT_EQ(std::find(lines.begin(), lines.end(), "24004:W3"), lines.end());
}

TEST_F(AppTest, CloseAllLeavesVetoingWindowsRegistered) {
    wxFrame* stubborn = NewWindow("Stubborn");
    wxFrame* willing = NewWindow("Willing");
    // The veto sits in a handler that runs after the registry's own close handler.
    wxOpenUserWindow(stubborn, "");
    wxOpenUserWindow(willing, "");
    stubborn->Bind(wxEVT_CLOSE_WINDOW, [](wxCloseEvent& e) { e.Veto(); });
    wxFrame* stubborn2 = NewWindow("Stubborn too");
    stubborn2->Bind(wxEVT_CLOSE_WINDOW, [](wxCloseEvent& e) { e.Veto(); });
    wxOpenUserWindow(stubborn2, "Group");

    wxCommandEvent closeAll(wxEVT_MENU, wxID_OPENWIN_CLOSEALL);
    OpenWindows::_this->OnCommand(closeAll);
    ASSERT_TRUE(WaitFor([&] { return OpenWindows::_this->GetEntries().size() == 2; }));
    PumpEvents();
    const auto& entries = OpenWindows::_this->GetEntries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].window, stubborn);
    EXPECT_EQ(entries[1].window, stubborn2);
    EXPECT_EQ(entries[1].label, "   Group");
    const auto lines = Describe(wxGetOpenWindowMenu());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "24001:Stubborn"), lines.end());
}

TEST_F(AppTest, SmallWindowsAreGrownAndCentredOnRegistration) {
    wxFrame* top = TopWindow();
    top->SetSize(100, 100, 800, 600);
    PumpEvents();
    wxFrame* tiny = NewWindow("Tiny", wxSize(50, 50));
    PumpEvents();
    wxOpenUserWindow(tiny, "");
    PumpEvents();
    const wxRect area =
        wxDisplay((unsigned)std::max(0, wxDisplay::GetFromWindow(top))).GetClientArea();
    EXPECT_EQ(tiny->GetSize(), wxSize(400, 300));
    EXPECT_EQ(tiny->GetPosition(),
              wxPoint(area.x + (area.width - 400) / 2, area.y + (area.height - 300) / 2));
    // A window of normal size is left alone.
    wxFrame* normal = NewWindow("Normal", wxSize(320, 240));
    PumpEvents();
    wxOpenUserWindow(normal, "");
    EXPECT_EQ(normal->GetSize(), wxSize(320, 240));
    EXPECT_EQ(normal->GetPosition(), wxPoint(20, 20));
}

TEST_F(AppTest, CollectAllCentresEveryWindowOverTheMainWindow) {
    wxFrame* top = TopWindow();
    top->SetSize(0, 0, 600, 400);
    wxFrame* a = NewWindow("A", wxSize(500, 350));
    wxFrame* b = NewWindow("B", wxSize(200, 150)); // grows to half the main window
    PumpEvents();
    wxOpenUserWindow(a, "");
    wxOpenUserWindow(b, "x");
    wxCommandEvent collect(wxEVT_MENU, wxID_OPENWIN_COLLECTALL);
    OpenWindows::_this->OnCommand(collect);
    PumpEvents();
    const wxRect area =
        wxDisplay((unsigned)std::max(0, wxDisplay::GetFromWindow(top))).GetClientArea();
    EXPECT_EQ(a->GetRect(),
              wxRect(area.x + (area.width - 500) / 2, area.y + (area.height - 350) / 2, 500, 350));
    EXPECT_EQ(b->GetRect(),
              wxRect(area.x + (area.width - 300) / 2, area.y + (area.height - 200) / 2, 300, 200));
}

TEST_F(AppTest, MenuCommandsRaiseAndUnknownIdsDoNothing) {
    wxFrame* a = NewWindow("A");
    wxOpenUserWindow(a, "");
    int raised = 0;
    // Raise cannot be observed without a window manager; the command path must at least not
    // touch entries that do not exist.
    wxCommandEvent beyond(wxEVT_MENU, wxID_OPENWIN_FIRST + 5);
    OpenWindows::_this->OnCommand(beyond);
    wxCommandEvent first(wxEVT_MENU, wxID_OPENWIN_FIRST);
    OpenWindows::_this->OnCommand(first);
    wxCommandEvent main(wxEVT_MENU, wxID_OPENWIN_MAIN);
    OpenWindows::_this->OnCommand(main);
    EXPECT_EQ(OpenWindows::_this->GetEntries().size(), 1u);
    (void)raised;
}

// ---- window placement ----

wxPoint CentredOnScreen(wxWindow* w) {
    const wxRect area =
        wxDisplay((unsigned)std::max(0, wxDisplay::GetFromWindow(w))).GetClientArea();
    const wxSize s = w->GetSize();
    return wxPoint(area.x + (area.width - s.x) / 2, area.y + (area.height - s.y) / 2);
}

TEST_F(AppTest, WindowPositionIsSavedInTheOptionsFile) {
    wxFrame* w = NewWindow("Saved", wxSize(333, 222));
    w->Move(123, 45);
    PumpEvents();
    wxSaveWindowPos(w, "Editor");
    EXPECT_EQ(App().GetOptions()->GetValue("Editor", "Window", ""), "123, 45, 333, 222");
    // Written through at once (no pause is active).
    EXPECT_NE(File::ReadAll(m_Dir + "/apptest.ini").find("[Editor]\nWindow=123, 45, 333, 222"),
              String::npos);
}

TEST_F(AppTest, StoredRectanglesAreAppliedOrTheWindowIsCentred) {
    OptionsFile* options = App().GetOptions();
    struct Case {
        const char* text;
        int offset;
        bool centred;
        wxRect rect; // expected when not centred; size expected when centred
    };
    const Case cases[] = {
        {"10, 20, 300, 200", 25, false, wxRect(35, 45, 300, 200)},
        {"10,20,300,200,7", 0, false, wxRect(10, 20, 300, 200)},
        {"10, 20, 300", 0, true, wxRect(0, 0, 400, 250)}, // too few: centred, size kept
        {"", 0, true, wxRect(0, 0, 400, 250)},            // missing: centred
        {"50000, 50000, 320, 240", 0, true,
         wxRect(0, 0, 320, 240)}, // on no display: size set, centred
        {"-5, 0, 310, 210", 0, false, wxRect(-5, 0, 310, 210)},
    };
    for (const Case& c : cases) {
        wxFrame* w = NewWindow("Placed", wxSize(400, 250));
        w->Move(1, 1);
        PumpEvents();
        if (*c.text)
            options->SetValue("Placed", "Window", c.text);
        else
            options->RemoveKey("Placed", "Window");
        wxSetWindowPos(w, "Placed", c.offset);
        PumpEvents();
        if (c.centred) {
            EXPECT_EQ(w->GetSize(), c.rect.GetSize()) << c.text;
            EXPECT_EQ(w->GetPosition(), CentredOnScreen(w)) << c.text;
        } else {
            EXPECT_EQ(w->GetRect(), c.rect) << c.text;
        }
        w->Destroy();
        PumpEvents();
    }
}

TEST_F(AppTest, HiddenWindowsCountAsPlacedWherever) {
    App().GetOptions()->SetValue("Hidden", "Window", "50000, 50000, 320, 240");
    wxFrame* w = NewWindow("Hidden", wxSize(200, 100), false);
    wxSetWindowPos(w, "Hidden", 0);
    EXPECT_EQ(w->GetRect(), wxRect(50000, 50000, 320, 240)); // not checked against the displays
}

} // namespace
