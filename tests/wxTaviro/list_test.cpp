// The buffered window's scroll model and merged redraws, the master timer's tick, and the fast
// list: text fitting, selection rules, list events, header drags, column persistence, a table
// of 100 million rows and a cell hook that throws.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxDBListCtrl.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTimed.h>

#include <ostrum/Application.h>
#include <ostrum/File.h>

#include <wx/dcmemory.h>

#include <optional>
#include <set>
#include <stdexcept>

using namespace taviro_test;

namespace {

// A bare buffered window whose metrics the tests set directly.
class Probe : public wxDoubleBufferedWindow {
public:
    // Inside a panel, so that the frame does not stretch it over its client area.
    Probe() : wxDoubleBufferedWindow(new wxPanel(TopWindow()), wxID_ANY, 0) {}
    void DrawBitmap() override { ++draws; }
    using wxDoubleBufferedWindow::m_dirtyRect;
    using wxDoubleBufferedWindow::m_lineCount;
    using wxDoubleBufferedWindow::m_lineHeight;
    using wxDoubleBufferedWindow::m_pageLines;
    using wxDoubleBufferedWindow::m_pageUnits;
    using wxDoubleBufferedWindow::m_stickToBottom;
    using wxDoubleBufferedWindow::m_virtualWidth;
    using wxDoubleBufferedWindow::m_wheelAccumulator;
    int draws = 0;
    void Send(wxEventType type, int orient) {
        wxScrollWinEvent e(type, 0, orient);
        ProcessWindowEvent(e);
    }
    void Wheel(int rotation) {
        wxMouseEvent e(wxEVT_MOUSEWHEEL);
        e.m_wheelRotation = rotation;
        e.m_wheelDelta = 120;
        e.m_linesPerAction = 3;
        ProcessWindowEvent(e);
    }
};

TEST(BufferedWindow, ScrollModelPagesLinesStickAndWheel) {
    Probe* p = new Probe;
    p->SetClientSize(200, 95);
    PumpEvents();
    ASSERT_EQ(p->GetClientSize().y, 95);
    wxSizeEvent size(wxSize(200, 95));
    p->ProcessWindowEvent(size);
    EXPECT_EQ(p->m_pageLines, 11);
    EXPECT_EQ(p->m_pageUnits, 22);

    // Sticks to the bottom only when it was at the end.
    p->m_stickToBottom = true;
    p->m_lineCount = 100;
    p->AdjustScrollbars();
    p->Send(wxEVT_SCROLLWIN_BOTTOM, wxVERTICAL);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 905);
    p->m_lineCount = 101;
    p->AdjustScrollbars();
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 915);
    p->Send(wxEVT_SCROLLWIN_TOP, wxVERTICAL);
    p->m_lineCount = 102;
    p->AdjustScrollbars();
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 0);

    p->m_lineCount = 1000;
    p->m_virtualWidth = 5000;
    p->AdjustScrollbars();
    p->Send(wxEVT_SCROLLWIN_PAGEDOWN, wxVERTICAL);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 90);
    p->Send(wxEVT_SCROLLWIN_PAGEDOWN, wxHORIZONTAL);
    EXPECT_EQ(p->GetScrollPos(wxHORIZONTAL), 170);
    // The horizontal line step is the line height, not the unit width.
    p->m_lineHeight = 16;
    p->Send(wxEVT_SCROLLWIN_LINEDOWN, wxHORIZONTAL);
    EXPECT_EQ(p->GetScrollPos(wxHORIZONTAL), 186);
    p->Send(wxEVT_SCROLLWIN_LINEUP, wxVERTICAL);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 74);

    p->Wheel(-60);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 74);
    p->Wheel(-60);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 74 + 3 * 16);
    EXPECT_EQ(p->m_wheelAccumulator, 0);
}

TEST(BufferedWindow, RequestsInsideOneDelayMergeIntoOneRepaint) {
    Probe* p = new Probe;
    p->SetClientSize(300, 200);
    WaitFor([&] { return p->draws > 0; });
    PumpEvents();
    p->draws = 0;
    std::vector<wxRect> fired;
    p->Bind(wxEVT_TIMER, [&](wxTimerEvent& e) {
        fired.push_back(p->m_dirtyRect);
        e.Skip();
    });
    p->Redraw(wxRect(10, 10, 20, 20));
    p->Redraw(wxRect(100, 50, 10, 10));
    ASSERT_TRUE(WaitFor([&] { return p->draws == 1; }));
    wxMilliSleep(200);
    PumpEvents();
    EXPECT_EQ(p->draws, 1);
    ASSERT_EQ(fired.size(), 1u);
    EXPECT_EQ(fired[0], wxRect(10, 10, 100, 50));
}

// ---- master timer ----

struct Client : wxTimed {
    int calls = 0;
    void OnTimer() override { ++calls; }
};
// Destroys its neighbour (at a higher address, so walked after it) from inside the tick.
struct Killer : Client {
    std::optional<Client> victim{std::in_place};
    void OnTimer() override { victim.reset(); }
};

TEST(MasterTimer, TicksSignalsAndClientsAndRestartsWhereItStopped) {
    LibStatic::Cleanup("wxMasterTimer"); // a fresh timer at tick 0
    int fast = 0, slow = 0;
    wxTimed::s_Timer0100.Connect([&] { ++fast; });
    wxTimed::s_Timer0250.Connect([&] { ++slow; });
    auto client = std::make_unique<Client>();
    ASSERT_TRUE(g_MasterTimer && g_MasterTimer->IsTicking());
    for (int i = 0; i < 20; ++i)
        g_MasterTimer->Notify();
    EXPECT_EQ(fast, 10);
    EXPECT_EQ(slow, 4);
    EXPECT_EQ(client->calls, 4);
    {
        Killer killer;
        for (int i = 0; i < 5; ++i)
            g_MasterTimer->Notify();
        EXPECT_FALSE(killer.victim);
    }
    client.reset();
    EXPECT_FALSE(g_MasterTimer->IsTicking());
    client = std::make_unique<Client>();
    EXPECT_TRUE(g_MasterTimer->IsTicking());
    EXPECT_EQ(g_MasterTimer->GetTick(), 25u);
    ASSERT_TRUE(WaitFor([&] { return client->calls > 0; }));
    LibStatic::Cleanup("wxMasterTimer");
    EXPECT_EQ(g_MasterTimer, nullptr);
    fast = 0;
    wxTimed::s_Timer0100.Emit(); // clean-up dropped the slots
    EXPECT_EQ(fast, 0);
}

// ---- the list ----

// Rows "r<row>c<col>"; applies the selection events it receives and logs them as "S4 D2 ...".
class TestList : public wxDBListCtrl {
public:
    explicit TestList(bool single = false) : wxDBListCtrl(TopWindow(), wxID_ANY, single) {
        for (auto t : {wxEVT_LIST_ITEM_SELECTED, wxEVT_LIST_ITEM_DESELECTED})
            Bind(t, [this](wxListEvent& e) {
                const bool on = e.GetEventType() == wxEVT_LIST_ITEM_SELECTED;
                if (on)
                    selection.insert(e.GetIndex());
                else
                    selection.erase(e.GetIndex());
                log += (log.empty() ? "" : " ") + String(on ? "S" : "D") +
                       String::FromInt(e.GetIndex());
            });
    }
    bool IsRowSelected(int row) override { return selection.count(row) > 0; }
    std::vector<int> GetSelection() override { return {selection.begin(), selection.end()}; }
    String GetDisplayText(int row, int column) override {
        if (fail) {
            ++failures;
            throw std::runtime_error("no data");
        }
        maxRow = std::max(maxRow, row);
        return "r" + String::FromInt(row) + "c" + String::FromInt(column);
    }
    std::set<int> selection;
    String log;
    bool fail = false;
    int failures = 0;
    int maxRow = -1;
};

void Mouse(wxWindow* w, wxEventType type, int x, int y, bool shift = false, bool ctrl = false) {
    wxMouseEvent e(type);
    e.SetPosition(wxPoint(x, y));
    e.SetShiftDown(shift);
    e.SetControlDown(ctrl);
    w->GetEventHandler()->ProcessEvent(e);
}

void Key(wxWindow* w, int code, bool shift = false) {
    wxKeyEvent e(wxEVT_KEY_DOWN);
    e.m_keyCode = code;
    e.SetShiftDown(shift);
    w->GetEventHandler()->ProcessEvent(e);
}

TestList* MakeList(int rows, std::vector<int> widths = {100, 50}) {
    SetColors(1);
    auto* list = new TestList;
    list->SetSize(TopWindow()->GetClientSize());
    for (int w : widths)
        list->AddColumn(0, "col", w);
    list->SetItemCount(rows);
    PumpEvents();
    return list;
}

TEST(DBList, FormatDisplayStringCutsTheMiddle) {
    wxBitmap bitmap(10, 10);
    wxMemoryDC dc(bitmap);
    dc.SetFont(wxFontInfo(10).Family(wxFONTFAMILY_TELETYPE));
    // Each width is exactly that of the expected text; 1 pixel leaves the shortest.
    const struct {
        int width; // 0: exactly the expected text's width
        const char* expected;
    } cases[] = {{0, "abcdefghij"}, {0, "abcd...ij"}, {0, "abc...ij"}, {0, "abc...j"}, {1, "a..."}};
    for (const auto& c : cases) {
        int width = c.width ? c.width : dc.GetTextExtent(c.expected).x;
        EXPECT_EQ(FormatDisplayString("abcdefghij", width, dc), String(c.expected));
        EXPECT_EQ(width, dc.GetTextExtent(c.expected).x) << c.expected;
    }
    // In a proportional font "..." is narrower than the letters it replaces: still the first
    // shortening cuts four.
    dc.SetFont(wxFontInfo(10).Family(wxFONTFAMILY_SWISS));
    int width = dc.GetTextExtent("WWWWWWWWWW").x - 1;
    EXPECT_EQ(FormatDisplayString("WWWWWWWWWW", width, dc), "WWWW...WW");
}

TEST(DBList, SelectionByClicksAndKeysFollowsTheAnchor) {
    const struct {
        int anchor;
        std::set<int> selected;
        const char* action; // L(eft) R(ight) or a key: D(own) U(p)
        int row;
        bool shift, ctrl;
        const char* events;
        int anchorAfter;
    } cases[] = {
        {5, {}, "L", 2, true, false, "S2 S3 S4 S5", 5},
        {3, {}, "L", 50, true, false, "S3 S4 S5 S6 S7 S8 S9", 3},
        {2, {7}, "L", 7, false, true, "D7", 7},
        {1, {1, 2}, "L", 4, false, false, "D1 D2 S4", 4},
        {1, {1}, "L", 12, false, false, "D1", -1},
        {1, {2, 3}, "R", 3, false, false, "", 1},
        {1, {2, 3}, "R", 5, false, false, "D2 D3 S5", 5},
        {3, {3}, "D", 0, false, false, "D3 S4", 4},
        {3, {3}, "D", 0, true, false, "S4", 4},
        {9, {9}, "D", 0, false, false, "", 9},
        {0, {0}, "U", 0, false, false, "", 0},
        {4, {4}, "U", 0, false, false, "D4 S3", 3},
    };
    TestList* list = MakeList(10);
    wxWindow* body = list->GetBody();
    const int h = list->GetRowHeight();
    for (const auto& c : cases) {
        list->selection = c.selected;
        list->SetLastSelect(c.anchor);
        list->log.clear();
        const String a = c.action;
        if (a == "L") {
            Mouse(body, wxEVT_LEFT_DOWN, 5, c.row * h + 2, c.shift, c.ctrl);
            Mouse(body, wxEVT_LEFT_UP, 5, c.row * h + 2);
        } else if (a == "R") {
            Mouse(body, wxEVT_RIGHT_DOWN, 5, c.row * h + 2);
        } else {
            Key(body, a == "D" ? WXK_DOWN : WXK_UP, c.shift);
        }
        EXPECT_EQ(list->log, String(c.events)) << a << c.row << " anchor " << c.anchor;
        EXPECT_EQ(list->GetLastSelect(), c.anchorAfter) << a << c.row << " anchor " << c.anchor;
    }
    // Removing the anchor row moves it up; removing a row above leaves it.
    list->selection = {2};
    list->log.clear();
    list->SetLastSelect(4);
    list->Remove(4);
    EXPECT_EQ(list->GetLastSelect(), 3);
    list->Remove(2);
    EXPECT_EQ(list->GetLastSelect(), 3);
    EXPECT_EQ(list->log, "D2");
    EXPECT_EQ(list->GetItemCount(), 8);
}

TEST(DBList, ColumnsHitTestsEventsAndHeaderDrag) {
    TestList* list = MakeList(5);
    wxDBListHeader* header = list->GetHeader();
    const struct {
        int x, column, offset, edge;
    } hits[] = {{99, 0, 99, 0},  {100, 1, 0, 0},   {150, 1, 50, 1},  {151, -1, -1, 1},
                {96, 0, 96, -1}, {97, 0, 97, 0},   {103, 1, 3, 0},   {104, 1, 4, -1},
                {147, 1, 47, 1}, {153, -1, -1, 1}, {154, -1, -1, -1}};
    for (const auto& h : hits) {
        int offset = -1;
        EXPECT_EQ(header->FindColumn(h.x, &offset), h.column) << h.x;
        EXPECT_EQ(offset, h.offset) << h.x;
        EXPECT_EQ(header->FindEdge(h.x), h.edge) << h.x;
    }
    std::vector<wxListEvent> got;
    for (auto t : {wxEVT_LIST_COL_CLICK, wxEVT_LIST_COL_RIGHT_CLICK, wxEVT_LIST_COL_BEGIN_DRAG,
                   wxEVT_LIST_COL_END_DRAG, wxEVT_LIST_ITEM_ACTIVATED})
        list->Bind(t, [&](wxListEvent& e) { got.push_back(e); });
    // Header points are relative to the top of the body.
    const int above = list->GetBody()->GetPosition().y - header->GetPosition().y;
    Mouse(header, wxEVT_MOTION, 120, 5);
    Mouse(header, wxEVT_LEFT_DOWN, 120, 5);
    Mouse(header, wxEVT_LEFT_UP, 120, 5);
    Mouse(header, wxEVT_RIGHT_DOWN, 10, 5);
    Mouse(list->GetBody(), wxEVT_LEFT_DCLICK, 10, list->GetRowHeight() * 7 + 1);
    // An edge drag 500 pixels to the left stops at 20 pixels.
    Mouse(header, wxEVT_MOTION, 101, 5);
    Mouse(header, wxEVT_LEFT_DOWN, 101, 5);
    Mouse(header, wxEVT_MOTION, -399, 5);
    Mouse(header, wxEVT_LEFT_UP, -399, 5);
    ASSERT_EQ(got.size(), 5u);
    const wxEventType types[] = {wxEVT_LIST_COL_CLICK, wxEVT_LIST_COL_RIGHT_CLICK,
                                 wxEVT_LIST_ITEM_ACTIVATED, wxEVT_LIST_COL_BEGIN_DRAG,
                                 wxEVT_LIST_COL_END_DRAG};
    const int columns[] = {1, 0, 0, 0, 0};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(got[i].GetEventType(), types[i]) << i;
        EXPECT_EQ(got[i].GetColumn(), columns[i]) << i;
        EXPECT_EQ(got[i].GetEventObject(), list) << i;
    }
    EXPECT_EQ(got[0].GetPoint(), wxPoint(120, 5 - above));
    EXPECT_EQ(got[2].GetIndex(), 7); // past the last row: handlers check it
    EXPECT_EQ(list->GetColumnWidth(0), 20);
    EXPECT_EQ(list->GetBody()->GetScrollPixelRange(wxHORIZONTAL), 70);

    list->AddColumn(7, "A", -5);
    list->InsertColumn(0, 7, "B", "", -5);
    EXPECT_EQ(list->GetColumnWidth(3), -5);
    EXPECT_EQ(list->GetColumnWidth(0), 100);
    EXPECT_EQ(list->FindColumnByType(7), 0);
}

TEST(DBList, ColumnWidthsSurviveSaveAndGarbledRestore) {
    Application app(LL_Debug, LL_Fatal);
    const String logFile = Home() + "/list.log";
    Log::s_GlobalLog->Open(logFile);
    TestList* list = MakeList(3, {120, 80, 200});
    list->SaveColumnSizes("S", "K");
    EXPECT_EQ(app.GetOptions()->GetValue("S", "K", String()), "120, 80, 200");
    Log::s_GlobalLog->Close();
    EXPECT_NE(File::ReadAll(logFile).find("ListCtrl SAVE: [ S ] K = 120, 80, 200"), String::npos);

    list->AddColumn(0, "four", 60);
    const struct {
        const char* saved;
        std::vector<int> widths;
    } cases[] = {{"120, 5, abc", {120, 20, 20, 60}},
                 {" 90px,,30", {90, 20, 30, 60}},
                 {"", {90, 20, 30, 60}},
                 {"1,2,3,4,5", {20, 20, 20, 20}}};
    for (const auto& c : cases) {
        app.GetOptions()->SetValue("S", "K", c.saved);
        list->RestoreColumnSizes("S", "K");
        int sum = 0;
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(list->GetColumnWidth(i), c.widths[i]) << c.saved << " column " << i;
            sum += c.widths[i];
        }
        EXPECT_EQ(list->GetBody()->GetScrollPixelRange(wxHORIZONTAL), sum) << c.saved;
    }
}

// Half a billion rows: more pixels than an int holds at any row height.
TEST(DBList, HugeTableScrollsToTheLastRowAndDrawsIt) {
    const int rows = 500000000;
    TestList* list = MakeList(rows);
    wxDBListBody* body = list->GetBody();
    wxScrollWinEvent bottom(wxEVT_SCROLLWIN_BOTTOM, 0, wxVERTICAL);
    body->ProcessWindowEvent(bottom);
    ASSERT_TRUE(WaitFor([&] { return list->maxRow == rows - 1; }));
    const wxRect last = body->GetItemRect(rows - 1);
    EXPECT_EQ(last.GetBottom(), body->GetClientSize().y - 1);
    ASSERT_TRUE(body->GetBuffer());
    const wxImage image = body->GetBuffer()->ConvertToImage();
    const wxRect text(0, last.y, 100, last.height);
    EXPECT_GT(CountPixels(image, text, wxsGetColor(color_Text), 40), 0);
    // The native bar shows a scaled copy, at its end too.
    const int range = body->wxWindow::GetScrollRange(wxVERTICAL);
    EXPECT_GT(range, 0);
    EXPECT_NEAR(body->wxWindow::GetScrollPos(wxVERTICAL) +
                    body->wxWindow::GetScrollThumb(wxVERTICAL),
                range, 2);
}

TEST(DBList, ThrowingCellHookNeverEscapesAPaintAndHeals) {
    TestList* list = MakeList(4);
    wxDBListBody* body = list->GetBody();
    ASSERT_TRUE(WaitFor([&] { return list->maxRow >= 3; }));
    wxMilliSleep(150); // let every redraw requested so far run out
    PumpEvents();
    list->fail = true;
    list->maxRow = -1;
    body->RedrawNow();
    ASSERT_TRUE(WaitFor([&] { return list->failures > 0; }));
    list->fail = false; // the failed paint scheduled the redraw that heals it
    ASSERT_TRUE(WaitFor([&] { return list->maxRow >= 3; }));
}

} // namespace
