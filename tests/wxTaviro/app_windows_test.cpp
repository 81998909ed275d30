// The open windows registry with its menu and commands (also after its menu bar is gone and
// after the top window changed), and window placement in the options file.
#include "tests/wxTaviro/AppFixture.h"

#include <map>
#include <thread>

using namespace taviro_test;

namespace {

// The menu in one line: "id:text" for items, "-" for separators, "[text]" for disabled
// items, each followed by "|".
std::string Describe(wxMenu* menu = wxGetOpenWindowMenu()) {
    std::string out;
    for (wxMenuItem* item : menu->GetMenuItems()) {
        const std::string text = item->GetItemLabelText().ToStdString();
        out += item->IsSeparator()  ? "-"
               : !item->IsEnabled() ? "[" + text + "]"
                                    : std::to_string(item->GetId()) + ":" + text;
        out += "|";
    }
    return out;
}

void Command(int id) {
    wxCommandEvent e(wxEVT_MENU, id);
    OpenWindows::_this->OnCommand(e);
}

TEST_F(AppTest, WindowMenuGroupsByLabelInRegistrationOrder) {
    wxMenu* menu = wxGetOpenWindowMenu();
    EXPECT_EQ(Describe(menu), "[No open windows]|");
    wxOpenUserWindow(new RaiseFrame("Log A"), "Logs");
    wxOpenUserWindow(new RaiseFrame("Plain 1"), "");
    wxOpenUserWindow(new RaiseFrame("Job X"), "Jobs");
    wxOpenUserWindow(new RaiseFrame("Log B"), "Logs");
    wxOpenUserWindow(new RaiseFrame("Plain 2"), "");
    EXPECT_EQ(wxGetOpenWindowMenu(), menu); // the same menu, refilled
    EXPECT_EQ(Describe(menu), "24000:Main Window|-|24002:Plain 1|24005:Plain 2|-|[   Jobs]|"
                              "24003:Job X|-|[   Logs]|24001:Log A|24004:Log B|-|"
                              "24102:Collect All|24101:Close All|");
    EXPECT_EQ(menu->FindItem(24102)->GetHelp(), "Center all open windows over the main window");
}

TEST_F(AppTest, WindowMenuOutlivesItsMenuBarAndKeepsAmpersands) {
    auto* owner = new RaiseFrame("Old main");
    auto* bar = new wxMenuBar;
    bar->Append(wxGetOpenWindowMenu(), "&Window");
    owner->SetMenuBar(bar);
    owner->Destroy(); // takes the menu with it
    ASSERT_TRUE(WaitFor([&] { return !wxTopLevelWindows.Find(owner); }));
    wxOpenUserWindow(new RaiseFrame("R&D shots"), "R&D");
    EXPECT_EQ(wxGetOpenWindowMenu()->GetMenuBar(), nullptr); // a new menu, in no menu bar
    EXPECT_EQ(Describe(), "24000:Main Window|-|[   R&D]|24001:R&D shots|-|24102:Collect All|"
                          "24101:Close All|");
}

TEST_F(AppTest, OnlyAHundredWindowsAreListed) {
    std::vector<wxFrame*> windows;
    for (int i = 0; i < 101; ++i) {
        windows.push_back(new RaiseFrame(wxString::Format("W%d", i), wxSize(300, 200), false));
        wxOpenUserWindow(windows.back(), "");
    }
    EXPECT_NE(Describe().find("|24100:W99|-|"), std::string::npos);
    EXPECT_EQ(OpenWindows::_this->GetEntries().size(), 101u); // still registered
    windows[3]->Close(true); // closing an earlier one brings the last one in
    PumpEvents();
    EXPECT_NE(Describe().find("|24100:W100|-|"), std::string::npos);
    EXPECT_EQ(Describe().find(":W3|"), std::string::npos);
}

TEST_F(AppTest, CloseAllLeavesVetoingWindowsRegistered) {
    // The vetoes are bound first, so they run after the registry's own close handler (the
    // handler bound last runs first) and veto a close the registry already saw.
    auto* stubborn = new RaiseFrame("Stubborn");
    auto* stubborn2 = new RaiseFrame("Stubborn too");
    for (wxFrame* f : {(wxFrame*)stubborn, (wxFrame*)stubborn2})
        f->Bind(wxEVT_CLOSE_WINDOW, [](wxCloseEvent& e) { e.Veto(); });
    wxOpenUserWindow(stubborn, "");
    wxOpenUserWindow(new RaiseFrame("Willing"), "");
    wxOpenUserWindow(stubborn2, "Group");
    Command(wxID_OPENWIN_CLOSEALL);
    PumpEvents();
    std::map<wxTopLevelWindow*, String> left;
    for (const auto& entry : OpenWindows::_this->GetEntries())
        left[entry.window] = entry.label;
    EXPECT_EQ(left, (std::map<wxTopLevelWindow*, String>{{stubborn, ""}, {stubborn2, "   Group"}}));
}

TEST_F(AppTest, SmallWindowsAreGrownAndCentredAndCommandsRaise) {
    // Main window 800 by 600: a visible 50 by 50 window becomes 400 by 300, centred in the
    // client area of the main window's display.
    auto* top = new RaiseFrame("Main", wxSize(800, 600));
    App().SetTopWindow(top);
    top->Move(100, 100);
    auto* tiny = new RaiseFrame("Tiny", wxSize(50, 50));
    auto* normal = new RaiseFrame("Normal", wxSize(500, 350));
    auto* hidden = new RaiseFrame("Hidden", wxSize(50, 50), false);
    PumpEvents();
    wxOpenUserWindow(tiny, "");
    wxOpenUserWindow(normal, "x");
    wxOpenUserWindow(hidden, "");
    const wxRect area = ClientAreaOf(top);
    EXPECT_EQ(tiny->GetRect(), wxRect(CentredIn(area, wxSize(400, 300)), wxSize(400, 300)));
    EXPECT_EQ(tiny->m_Raised, 1);
    EXPECT_EQ(normal->GetRect(), wxRect(20, 20, 500, 350)); // left alone
    EXPECT_EQ(hidden->GetSize(), wxSize(50, 50));

    // Collect All: each window centred, grown to half the main window where smaller.
    top->SetSize(1200, 400);
    Command(wxID_OPENWIN_COLLECTALL);
    EXPECT_EQ(tiny->GetRect(), wxRect(CentredIn(area, wxSize(600, 300)), wxSize(600, 300)));
    EXPECT_EQ(normal->GetRect(), wxRect(CentredIn(area, wxSize(600, 350)), wxSize(600, 350)));
    // Main Window raises the top window, an entry's id its window; other ids do nothing.
    Command(wxID_OPENWIN_MAIN);
    Command(wxID_OPENWIN_FIRST + 1);
    Command(wxID_OPENWIN_FIRST + 3);
    Command(wxID_OPENWIN_LAST);
    EXPECT_EQ(std::vector<int>({top->m_Raised, tiny->m_Raised, normal->m_Raised, hidden->m_Raised}),
              std::vector<int>({1, 2, 2, 1}));
}

TEST_F(AppTest, WindowMenuCommandsFollowTheTopWindow) {
    wxGetOpenWindowMenu(); // bound to the first top window
    auto* main = new RaiseFrame("New main", wxSize(600, 400));
    wxTheApp->SetTopWindow(main);
    wxGetOpenWindowMenu(); // the client refreshes its menu
    auto* w = new RaiseFrame("Small", wxSize(200, 150));
    PumpEvents();
    wxOpenUserWindow(w, "");
    auto collect = [](wxWindow* at) {
        wxCommandEvent e(wxEVT_MENU, wxID_OPENWIN_COLLECTALL);
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

// ---- window placement ----

TEST_F(AppTest, SavingWritesThroughUnderTheWriteLock) {
    auto* w = new RaiseFrame("Saved", wxSize(333, 222));
    w->Move(123, 45);
    PumpEvents();
    wxSaveWindowPos(w, "Editor");
    EXPECT_NE(File::ReadAll(m_Dir + "/apptest.ini").find("[Editor]\nWindow=123, 45, 333, 222"),
              String::npos);
    // The section and the key are two calls on a shared current section; another thread must
    // never see the one without the other (making a section writes the file out: a wide gap).
    OptionsFile* options = App().GetOptions();
    std::atomic<bool> done{false}, sawGap{false};
    std::thread watcher([&] {
        while (!done) {
            RWLock::ReadGuard lock(*options->GetRWLock());
            const String section = options->GetCurrentSection();
            if (section.rfind("Pos", 0) == 0 && !options->HasKey(section, "Window")) sawGap = true;
            std::this_thread::sleep_for(std::chrono::microseconds(50)); // let the writer in
        }
    });
    for (int i = 0; i < 20; ++i)
        wxSaveWindowPos(w, "Pos" + String::FromInt(i));
    done = true;
    watcher.join();
    EXPECT_FALSE(sawGap.load());
}

TEST_F(AppTest, StoredRectanglesAreAppliedOrTheWindowIsCentred) {
    const wxRect a = wxDisplay(0u).GetClientArea();
    const wxRect centred(-1, -1, 400, 250); // (-1, -1): centred on the display, this size
    const auto at = [](int x, int y) { return SFormat("%d, %d, 400, 250", x, y); };
    const struct {
        String text;
        int offset;
        bool shown;
        wxRect rect;
    } cases[] = {
        {"10, 20, 300, 200", 25, true, {35, 45, 300, 200}},
        {"10,20,300,200,7", 0, true, {10, 20, 300, 200}},
        {"010, 020, 300, 200", 0, true, {10, 20, 300, 200}}, // decimal, not octal
        {"-5, 0, 310, 210", 0, true, {-5, 0, 310, 210}},
        {"10, 20, 300", 0, true, centred}, // too few: centred, size kept
        {"", 0, true, centred},
        {"50000, 50000, 320, 240", 0, true, {-1, -1, 320, 240}},        // on no display
        {"50000, 50000, 320, 240", 0, false, {50000, 50000, 320, 240}}, // hidden: kept
        // Partly off the screen: kept while the title bar can be grabbed, else centred.
        {at(a.GetRight() - 199, a.y + 100), 0, true, {a.GetRight() - 199, a.y + 100, 400, 250}},
        {at(a.x - 300, a.y + 100), 0, true, {a.x - 300, a.y + 100, 400, 250}},
        {at(a.GetRight() - 10, a.y + 100), 0, true, centred}, // a sliver of the title bar
        {at(a.x + 100, a.y - 150), 0, true, centred},         // the title bar above
    };
    for (const auto& c : cases) {
        auto* w = new RaiseFrame("Placed", wxSize(400, 250), c.shown);
        w->Move(1, 1);
        PumpEvents();
        App().GetOptions()->SetValue("Placed", "Window", c.text);
        wxSetWindowPos(w, "Placed", c.offset);
        if (c.shown) PumpEvents();
        const wxRect expected =
            c.rect.x != -1 ? c.rect
                           : wxRect(CentredIn(ClientAreaOf(w), c.rect.GetSize()), c.rect.GetSize());
        EXPECT_EQ(w->GetRect(), expected) << c.text;
        EXPECT_EQ(w->m_Raised, 1) << c.text;
        w->Destroy();
        PumpEvents();
    }
}

} // namespace
