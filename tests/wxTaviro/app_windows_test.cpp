// The open windows registry with its menu and commands, and window placement.
#include "tests/wxTaviro/AppFixture.h"

#include <wxTaviro/wxExpandablePanel.h>

#include <atomic>
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

TEST_F(AppTest, WindowMenuGroupsByLabelInRegistrationOrder) {
    wxMenu* menu = wxGetOpenWindowMenu();
    EXPECT_EQ(Describe(menu), "[No open windows]|");
    wxOpenUserWindow(new RaiseFrame("Log A"), "Logs");
    wxOpenUserWindow(new RaiseFrame("Plain 1"), "");
    wxOpenUserWindow(new RaiseFrame("Job X"), "Jobs");
    wxOpenUserWindow(new RaiseFrame("Log B"), "Logs");
    wxOpenUserWindow(new RaiseFrame("Plain 2"), "");
    ASSERT_EQ(wxGetOpenWindowMenu(), menu); // the same menu, refilled
    EXPECT_EQ(Describe(menu), "24000:Main Window|-|24002:Plain 1|24005:Plain 2|-|[   Jobs]|"
                              "24003:Job X|-|[   Logs]|24001:Log A|24004:Log B|-|"
                              "24102:Collect All|24101:Close All|");
}

TEST_F(AppTest, WindowMenuOutlivesItsMenuBarKeepsAmpersandsAndListsAHundred) {
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
    for (int i = 0; i < 100; ++i)
        wxOpenUserWindow(new RaiseFrame(wxString::Format("W%d", i), wxSize(300, 200), false), "");
    EXPECT_NE(Describe().find("|24100:W98|-|"), std::string::npos); // 100 listed, all registered
    EXPECT_EQ(OpenWindows::_this->GetEntries().size(), 101u);
}

TEST_F(AppTest, CloseAllLeavesVetoingWindowsRegistered) {
    // Bound first, the vetoes run after the registry's close handler: a close it already saw.
    auto* stubborn = new RaiseFrame("Stubborn");
    auto* stubborn2 = new RaiseFrame("Stubborn too");
    for (wxFrame* f : {(wxFrame*)stubborn, (wxFrame*)stubborn2})
        f->Bind(wxEVT_CLOSE_WINDOW, [](wxCloseEvent& e) { e.Veto(); });
    wxOpenUserWindow(stubborn, "");
    wxOpenUserWindow(new RaiseFrame("Willing"), "");
    wxOpenUserWindow(stubborn2, "Group");
    wxCommandEvent closeAll(wxEVT_MENU, wxID_OPENWIN_CLOSEALL);
    OpenWindows::_this->OnCommand(closeAll);
    PumpEvents();
    std::map<wxTopLevelWindow*, String> left;
    for (const auto& entry : OpenWindows::_this->GetEntries())
        left[entry.window] = entry.label;
    EXPECT_EQ(left, (std::map<wxTopLevelWindow*, String>{{stubborn, ""}, {stubborn2, "   Group"}}));
}

TEST_F(AppTest, SmallWindowsAreGrownAndCentredAndCommandsFollowTheTopWindow) {
    wxGetOpenWindowMenu(); // the commands go to the test's top window
    auto* top = new RaiseFrame("Main", wxSize(800, 600));
    App().SetTopWindow(top);
    wxGetOpenWindowMenu(); // the client refreshes its menu: the commands follow
    top->Move(100, 100);
    auto* tiny = new RaiseFrame("Tiny", wxSize(50, 50));
    auto* normal = new RaiseFrame("Normal", wxSize(500, 350));
    auto* hidden = new RaiseFrame("Hidden", wxSize(50, 50), false);
    PumpEvents();
    wxOpenUserWindow(tiny, "");
    wxOpenUserWindow(normal, "x");
    wxOpenUserWindow(hidden, "");
    // A visible window under 100 pixels grows to half the main window, centred on its display.
    EXPECT_EQ(tiny->GetRect(), CentredOn(top, wxSize(400, 300)));
    EXPECT_EQ(normal->GetRect(), wxRect(20, 20, 500, 350));
    EXPECT_EQ(hidden->GetSize(), wxSize(50, 50));
    // Collect All (the old top window carries nothing now) centres each window, grown to half
    // the main window where smaller; Main Window raises the top window, an entry's id its window.
    top->SetSize(1200, 400);
    const std::pair<wxWindow*, int> commands[] = {{TopWindow(), wxID_OPENWIN_COLLECTALL},
                                                  {top, wxID_OPENWIN_COLLECTALL},
                                                  {top, wxID_OPENWIN_MAIN},
                                                  {top, wxID_OPENWIN_FIRST + 1}};
    for (const auto& c : commands) {
        wxCommandEvent e(wxEVT_MENU, c.second);
        c.first->GetEventHandler()->ProcessEvent(e);
    }
    EXPECT_EQ(tiny->GetRect(), CentredOn(top, wxSize(600, 300)));
    EXPECT_EQ(normal->GetRect(), CentredOn(top, wxSize(600, 350)));
    EXPECT_EQ(std::vector<int>({top->m_Raised, tiny->m_Raised, normal->m_Raised, hidden->m_Raised}),
              std::vector<int>({1, 2, 2, 1}));
}

TEST_F(AppTest, SavedRectanglesAreWrittenThroughAndAppliedOrTheWindowIsCentred) {
    auto* saved = new RaiseFrame("Saved", wxSize(333, 222));
    saved->Move(123, 45);
    PumpEvents();
    wxSaveWindowPos(saved, "Editor");
    EXPECT_NE(File::ReadAll(m_Dir + "/apptest.ini").find("[Editor]\nWindow=123, 45, 333, 222"),
              String::npos);
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
        {"010, 020, 300, 200", 0, true, {10, 20, 300, 200}},     // decimal, not octal
        {"10, 20, 300", 0, true, centred},                       // too few: centred, size kept
        {"50000, 50000, 320, 240", 0, true, {-1, -1, 320, 240}}, // on no display
        {"50000, 50000, 320, 240", 0, false, {50000, 50000, 320, 240}}, // hidden: kept
        // Partly off the screen: kept while the title bar can be grabbed, else centred.
        {at(a.GetRight() - 199, a.y + 100), 0, true, {a.GetRight() - 199, a.y + 100, 400, 250}},
        {at(a.x - 300, a.y + 100), 0, true, {a.x - 300, a.y + 100, 400, 250}},
        {at(a.GetRight() - 10, a.y + 100), 0, true, centred}, // a sliver of the title bar
        {at(a.x + 100, a.y - 150), 0, true, centred},         // the title bar above
        // Bigger than any display: the display's size at most.
        {"0, 0, 100000, 100000", 0, false,
         {0, 0, wxDisplay(0u).GetGeometry().width, wxDisplay(0u).GetGeometry().height}},
    };
    for (const auto& c : cases) {
        auto* w = new RaiseFrame("Placed", wxSize(400, 250), c.shown);
        w->Move(1, 1);
        PumpEvents();
        App().GetOptions()->SetValue("Placed", "Window", c.text);
        wxSetWindowPos(w, "Placed", c.offset);
        if (c.shown) PumpEvents();
        EXPECT_EQ(w->GetRect(), c.rect.x != -1 ? c.rect : CentredOn(w, c.rect.GetSize())) << c.text;
        EXPECT_EQ(w->m_Raised, 1) << c.text;
        w->Destroy();
        PumpEvents();
    }
}

TEST_F(AppTest, SavingHoldsTheWriteLockAcrossSectionAndKey) {
    // The section and the key are two calls on a shared current section; another thread must
    // never see the one without the other (making a new section writes the file out at once).
    auto* w = new RaiseFrame("Saved");
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

} // namespace

// A panel built before the options file is read shows the state the file holds.
TEST_F(AppTest, WindowsBuiltBeforeStartUpSeeTheLoadedOptions) {
    Stop();
    File::AtomicWrite(m_Dir + "/apptest.ini", "[Side Bar]\nFilters=1\n");
    struct Panel : wxExpandablePanel {
        Panel() : wxExpandablePanel(TopWindow(), wxVERTICAL) {
            SetSettings("Side Bar", "Filters");
            CreateInfrastructure("tip", true);
        }
    };
    auto* panel = new Panel;
    EXPECT_FALSE(panel->IsExpanded()); // nothing read yet
    ASSERT_TRUE(Start());
    EXPECT_TRUE(panel->IsExpanded());
}
