// The buffered window's scroll model and merged redraws, the master timer's tick, and the fast
// list: text fitting, selection rules, list events, header drags, column persistence, a table of
// half a billion rows and a cell hook that throws.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxDBListCtrl.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTimed.h>

#include <ostrum/Application.h>
#include <ostrum/File.h>
#include <ostrum/LibStatic.h>

#include <wx/dcmemory.h>

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <tuple>

using namespace taviro_test;

namespace {

// A bare buffered window whose metrics the tests set directly.
class Probe : public wxDoubleBufferedWindow {
public:
    // Inside a panel, so that the frame does not stretch it over its client area.
    Probe() : wxDoubleBufferedWindow(new wxPanel(TopWindow()), wxID_ANY, 0) {}
    void DrawBitmap() override { ++draws; }
    using wxDoubleBufferedWindow::m_dirtyRect, wxDoubleBufferedWindow::m_lineHeight,
        wxDoubleBufferedWindow::m_pageLines, wxDoubleBufferedWindow::m_pageUnits,
        wxDoubleBufferedWindow::m_stickToBottom, wxDoubleBufferedWindow::m_virtualWidth,
        wxDoubleBufferedWindow::m_wheelAccumulator;
    int draws = 0;
    void Lines(int count) {
        m_lineCount = count;
        AdjustScrollbars();
    }
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
    EXPECT_EQ(std::make_pair(p->m_pageLines, p->m_pageUnits), std::make_pair(11, 22));

    // Sticks to the bottom only when it was at the end.
    p->m_stickToBottom = true;
    p->Lines(100);
    p->Send(wxEVT_SCROLLWIN_BOTTOM, wxVERTICAL);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 905);
    p->Lines(101);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 915);
    p->Send(wxEVT_SCROLLWIN_TOP, wxVERTICAL);
    p->Lines(102);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 0);

    p->m_virtualWidth = 5000;
    p->Lines(1000);
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
    p->Wheel(-60);
    EXPECT_EQ(p->GetScrollPos(wxVERTICAL), 74 + 3 * 16);
    EXPECT_EQ(p->m_wheelAccumulator, 0);
}

TEST(BufferedWindow, RequestsInsideOneDelayMergeIntoOneRepaint) {
    Probe* p = new Probe;
    p->SetClientSize(300, 200);
    WaitFor([&] { return p->draws > 0; });
    std::vector<wxRect> fired; // the dirty area at each expiry
    int drawsBefore = -1;
    p->Bind(wxEVT_TIMER, [&](wxTimerEvent& e) {
        fired.push_back(p->m_dirtyRect), drawsBefore = p->draws, e.Skip();
    });
    p->Redraw(wxRect(10, 10, 20, 20));
    p->Redraw(wxRect(100, 50, 10, 10));
    ASSERT_TRUE(WaitFor([&] { return !fired.empty() && p->draws > drawsBefore; }));
    wxMilliSleep(200);
    PumpEvents();
    EXPECT_EQ(fired, std::vector<wxRect>{wxRect(10, 10, 100, 50)});
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

TEST(MasterTimer, TicksSignalsAndClientsAndStopsWithoutClients) {
    LibStatic::Cleanup("wxMasterTimer"); // a fresh timer at tick 0
    int fast = 0, slow = 0;
    wxTimed::s_Timer0100.Connect([&] { ++fast; });
    wxTimed::s_Timer0250.Connect([&] { ++slow; });
    auto client = std::make_unique<Client>();
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
    { // a slow client: the ones after it wait for the next idle turn (input and paint first)
        struct Slow : Client {
            void OnTimer() override { ++calls, wxMilliSleep(20); }
        };
        struct {
            Slow slow;
            Client after; // walked after the slow one
        } pair;
        for (int i = 0; i < 5; ++i)
            g_MasterTimer->Notify();
        EXPECT_EQ(pair.slow.calls, 1);
        EXPECT_EQ(pair.after.calls, 0);
        PumpEvents();
        EXPECT_EQ(pair.after.calls, 1);
    }
    const int before = client->calls;
    client->StopTimer(); // as a client's destructor does first: no tick reaches it after
    for (int i = 0; i < 10; ++i)
        g_MasterTimer->Notify();
    EXPECT_EQ(client->calls, before);
    client.reset();
    EXPECT_FALSE(g_MasterTimer->IsTicking());
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
                on ? void(selection.insert(e.GetIndex())) : void(selection.erase(e.GetIndex()));
                log += (log.empty() ? "" : " ") + String(on ? "S" : "D") +
                       String::FromInt(e.GetIndex());
            });
    }
    bool IsRowSelected(int row) override { return selection.count(row) > 0; }
    std::vector<int> GetSelection() override { return {selection.begin(), selection.end()}; }
    String GetDisplayText(int row, int column) override {
        if (fail && ++failures) throw std::runtime_error("no data");
        maxRow = std::max(maxRow, row);
        return "r" + String::FromInt(row) + "c" + String::FromInt(column);
    }
    std::set<int> selection;
    String log;
    bool fail = false;
    int failures = 0, maxRow = -1;
};

void Mouse(wxWindow* w, wxEventType type, int x, int y, bool shift = false, bool ctrl = false) {
    wxMouseEvent e(type);
    e.SetPosition(wxPoint(x, y));
    e.SetShiftDown(shift);
    e.SetControlDown(ctrl);
    w->GetEventHandler()->ProcessEvent(e);
}

void Key(wxWindow* w, int code, bool shift, bool ctrl = false) {
    wxKeyEvent e(wxEVT_KEY_DOWN);
    e.m_keyCode = code;
    e.SetShiftDown(shift);
    e.SetControlDown(ctrl);
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
    // Each width is exactly that of the expected text (0); 1 pixel leaves the shortest.
    const std::pair<int, const char*> cases[] = {
        {0, "abcdefghij"}, {0, "abcd...ij"}, {0, "abc...ij"}, {0, "abc...j"}, {1, "a..."}};
    for (const auto& [given, expected] : cases) {
        int width = given ? given : dc.GetTextExtent(expected).x;
        EXPECT_EQ(FormatDisplayString("abcdefghij", width, dc), String(expected));
        EXPECT_EQ(width, dc.GetTextExtent(expected).x) << expected;
    }
    // In a proportional font "..." is narrower than the letters it replaces: still the first
    // shortening cuts four.
    dc.SetFont(wxFontInfo(10).Family(wxFONTFAMILY_SWISS));
    int width = dc.GetTextExtent("WWWWWWWWWW").x - 1;
    EXPECT_EQ(FormatDisplayString("WWWWWWWWWW", width, dc), "WWWW...WW");
}

// The fitting, done as described (one candidate measured per character taken out), against
// the control's search from the short end: the same text and width for every text, width and
// font of the table.
TEST(DBList, FormatDisplayStringFindsWhatTheStepByStepFittingFinds) {
    auto stepByStep = [](const String& text, int& width, wxDC& dc) {
        const wxString whole = wxString::FromUTF8(text.c_str());
        const size_t n = whole.length();
        wxString candidate = whole;
        for (size_t cut = 0;;) {
            const int w = dc.GetTextExtent(candidate).x;
            if (w <= width || candidate.length() < 5) {
                width = w;
                return String(candidate.utf8_str().data());
            }
            cut += cut == 0 ? 4 : 1;
            const size_t k = (n > cut ? (n - cut) / 2 : 0) + 1;
            candidate = whole.Left(std::min(k, n)) + "..." + whole.Mid(std::min(n, k + cut));
        }
    };
    String longText;
    for (int i = 0; longText.size() < 300; ++i) // the reference measures n candidates of n
        longText += SFormat("/render/out/shot%04d/beauty.%04d.exr WARN gamma ", i, i * 7);
    const String texts[] = {"abcdefghij", "WWWWiiiiWWWWiiii", "abcde",
                            "Gr\xc3\xb6\xc3\x9f"
                            "e \xc3\xa9t\xc3\xa9 \xe2\x82\xac \xe6\x97\xa5 job",
                            longText};
    wxBitmap bitmap(10, 10);
    wxMemoryDC dc(bitmap);
    for (const wxFont& font : {wxFont(wxFontInfo(10).Family(wxFONTFAMILY_TELETYPE)),
                               wxFont(wxFontInfo(9).Family(wxFONTFAMILY_SWISS)),
                               wxFont(wxFontInfo(14).Family(wxFONTFAMILY_SWISS).Bold())}) {
        dc.SetFont(font);
        for (const String& text : texts)
            for (int width : {0, 1, 9, 20, 37, 64, 100, 250, 999}) {
                int mine = width, reference = width;
                EXPECT_EQ(FormatDisplayString(text, mine, dc), stepByStep(text, reference, dc))
                    << text.substr(0, 20) << " in " << width;
                EXPECT_EQ(mine, reference) << text.substr(0, 20) << " in " << width;
            }
    }
}

TEST(DBList, SelectionByClicksAndKeysFollowsTheAnchor) {
    // anchor, selection, action: L(eft) R(ight) click or D(own) U(p) H(ome) E(nd) P(age down)
    // p(age up) key, row, Shift, Control; the events sent and the anchor after. The jumps
    // follow the arrows' rules: the anchor moves, Shift adds the rows passed.
    const std::tuple<int, std::set<int>, char, int, bool, bool, const char*, int> cases[] = {
        {5, {}, 'L', 2, true, false, "S2 S3 S4 S5", 5},
        {3, {}, 'L', 50, true, false, "S3 S4 S5 S6 S7 S8 S9", 3},
        {2, {7}, 'L', 7, false, true, "D7", 7},
        {1, {1, 2}, 'L', 4, false, false, "D1 D2 S4", 4},
        {1, {1}, 'L', 12, false, false, "D1", -1},
        {1, {2, 3}, 'R', 3, false, false, "", 1},
        {1, {2, 3}, 'R', 5, false, false, "D2 D3 S5", 5},
        {3, {3}, 'D', 0, false, false, "D3 S4", 4},
        {3, {3}, 'D', 0, true, false, "S4", 4},
        {3, {3}, 'D', 0, false, true, "S4", 4},
        {9, {9}, 'D', 0, false, false, "", 9},
        {0, {0}, 'U', 0, false, false, "", 0},
        {4, {4}, 'U', 0, false, false, "D4 S3", 3},
        {5, {5}, 'H', 0, false, false, "D5 S0", 0},
        {3, {3}, 'E', 0, true, false, "S3 S4 S5 S6 S7 S8 S9", 9},
        {-1, {}, 'H', 0, false, false, "S0", 0},
        {2, {2}, 'P', 0, false, false, "D2 S9", 9},
        {9, {9}, 'p', 0, false, false, "D9 S0", 0},
        {0, {0}, 'H', 0, false, false, "", 0},
    };
    TestList* list = MakeList(10);
    wxWindow* body = list->GetBody();
    const int h = list->GetRowHeight();
    for (const auto& [anchor, selected, action, row, shift, ctrl, events, after] : cases) {
        list->selection = selected;
        list->SetLastSelect(anchor);
        list->log.clear();
        if (action == 'L' || action == 'R')
            Mouse(body, action == 'L' ? wxEVT_LEFT_DOWN : wxEVT_RIGHT_DOWN, 5, row * h + 2, shift,
                  ctrl);
        else
            Key(body,
                std::map<char, int>{{'D', WXK_DOWN},
                                    {'U', WXK_UP},
                                    {'H', WXK_HOME},
                                    {'E', WXK_END},
                                    {'P', WXK_PAGEDOWN},
                                    {'p', WXK_PAGEUP}}
                    .at(action),
                shift, ctrl);
        Mouse(body, wxEVT_LEFT_UP, 5, 0);
        EXPECT_EQ(list->log, String(events)) << action << row << " anchor " << anchor;
        EXPECT_EQ(list->GetLastSelect(), after) << action << row << " anchor " << anchor;
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

    // A page down goes to the last row wholly in view, the next one brings its row into view.
    list->SetItemCount(1000);
    list->selection = {0};
    list->SetLastSelect(0);
    const int height = body->GetClientSize().y;
    int page = 0; // the last row wholly in view before the key
    while (list->GetItemRect(page + 1).GetBottom() < height)
        ++page;
    Key(body, WXK_PAGEDOWN, false);
    EXPECT_EQ(list->GetLastSelect(), page);
    Key(body, WXK_PAGEDOWN, false);
    EXPECT_EQ(list->GetLastSelect(), 2 * page);
    EXPECT_LT(list->GetItemRect(2 * page).GetBottom(), height);
    EXPECT_EQ(list->selection, std::set<int>{2 * page});
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
    // An edge drag 500 pixels to the left stops at 20 pixels. The pointer was last seen over a
    // column (a busy loop had no time for the motion to the edge): the press's place decides.
    Mouse(header, wxEVT_LEFT_DOWN, 101, 5);
    Mouse(header, wxEVT_MOTION, -399, 5);
    Mouse(header, wxEVT_LEFT_UP, -399, 5);
    const std::pair<wxEventType, int> expected[] = {{wxEVT_LIST_COL_CLICK, 1},
                                                    {wxEVT_LIST_COL_RIGHT_CLICK, 0},
                                                    {wxEVT_LIST_ITEM_ACTIVATED, 0},
                                                    {wxEVT_LIST_COL_BEGIN_DRAG, 0},
                                                    {wxEVT_LIST_COL_END_DRAG, 0}};
    ASSERT_EQ(got.size(), 5u);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(got[i].GetEventType(), expected[i].first) << i;
        EXPECT_EQ(got[i].GetColumn(), expected[i].second) << i;
        EXPECT_EQ(got[i].GetEventObject(), list) << i;
    }
    EXPECT_EQ(got[0].GetPoint(), wxPoint(120, 5 - above));
    EXPECT_EQ(got[2].GetIndex(), 7); // past the last row: handlers check it
    EXPECT_EQ(list->GetColumnWidth(0), 20);
    EXPECT_EQ(list->GetBody()->GetScrollPixelRange(wxHORIZONTAL), 70);
    // Released 30 pixels right of the last motion seen (the ones between were merged): the
    // edge ends where the button came up.
    Mouse(header, wxEVT_LEFT_DOWN, 20, 5);
    Mouse(header, wxEVT_MOTION, 40, 5);
    Mouse(header, wxEVT_LEFT_UP, 70, 5);
    EXPECT_EQ(list->GetColumnWidth(0), 70);
    list->AddColumn(7, "A", -5); // only -1 means the default width here
    list->InsertColumn(0, 7, "B", "", -5);
    EXPECT_EQ(std::make_pair(list->GetColumnWidth(0), list->GetColumnWidth(3)),
              std::make_pair(100, -5));
}

TEST(DBList, ColumnWidthsSurviveSaveAndGarbledRestore) {
    Application app(LL_Debug, LL_Fatal);
    const String logFile = Home() + "/list.log";
    Log::s_GlobalLog->Open(logFile);
    TestList* list = MakeList(3, {120, 80, 200});
    list->SaveColumnSizes("S", "K");
    EXPECT_EQ(app.GetOptions()->GetValue("S", "K", String()), "120, 80, 200");
    EXPECT_NE(File::ReadAll(logFile).find("ListCtrl SAVE: [ S ] K = 120, 80, 200"), String::npos);

    list->AddColumn(0, "four", 60);
    const std::pair<const char*, std::vector<int>> cases[] = {
        {"120, 5, abc", {120, 20, 20, 60}},
        {" 90px,,30", {90, 20, 30, 60}},
        {"", {90, 20, 30, 60}},
        {"1,2,3,4,5", {20, 20, 20, 20}},
        // past any screen: the default
        {"99999999999999999999999, 16385, 300", {120, 80, 300, 20}}};
    for (const auto& [saved, widths] : cases) {
        app.GetOptions()->SetValue("S", "K", saved);
        list->RestoreColumnSizes("S", "K");
        std::vector<int> now;
        for (int i = 0; i < 4; ++i)
            now.push_back(list->GetColumnWidth(i));
        EXPECT_EQ(now, widths) << saved;
        EXPECT_EQ(list->GetBody()->GetScrollPixelRange(wxHORIZONTAL),
                  widths[0] + widths[1] + widths[2] + widths[3])
            << saved;
    }
    Log::s_GlobalLog->Close();
    EXPECT_NE(File::ReadAll(logFile).find("[S] K: column width 'abc' is not a width"),
              String::npos);
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
    const wxRect text(0, last.y, 100, last.height);
    EXPECT_GT(CountPixels(body->GetBuffer()->ConvertToImage(), text, wxsGetColor(color_Text), 40),
              0);
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
    // Selecting a row repaints its text on the new background, not a kept copy on the old.
    list->selection = {0};
    list->maxRow = -1;
    list->Redraw();
    ASSERT_TRUE(WaitFor([&] { return list->maxRow >= 3; }));
    const wxImage image = body->GetBuffer()->ConvertToImage();
    EXPECT_PIXEL(image, 3, 3,
                 wxColour(image.GetRed(90, 3), image.GetGreen(90, 3), image.GetBlue(90, 3)));
}

// A single-selection drag keeps one row; the cursor is asked about cells only; a row drawn in
// a font and on a background of its own gets its own text, over that background.
TEST(DBList, SingleDragsCursorsAndCellsOfTheirOwn) {
    struct Own : TestList {
        Own() : TestList(true) {}
        wxCursor CustomizeCursor(int row, int column, int x, int y) override {
            asked += row < 0 || row >= GetItemCount() || column < 0;
            return TestList::CustomizeCursor(row, column, x, y);
        }
        String GetDisplayText(int, int column) override { return column ? "" : "MMMMM"; }
        void DrawCell(wxDC& dc, int row, int column, wxRect cell, bool selected) override {
            if (row == 1) { // big and bold, on red
                dc.SetBrush(*wxRED_BRUSH);
                dc.DrawRectangle(cell);
                dc.SetFont(dc.GetFont().Bold().Scaled(1.5f));
            }
            wxDBListCtrl::DrawCell(dc, row, column, cell, selected);
        }
        int asked = 0;
    };
    SetColors(1);
    auto* list = new Own;
    list->SetSize(TopWindow()->GetClientSize());
    list->AddColumn(0, "col", 200);
    list->SetItemCount(6);
    wxDBListBody* body = list->GetBody();
    ASSERT_TRUE(WaitFor([&] { return body->GetBuffer() != nullptr; }));
    const int h = list->GetRowHeight();
    Mouse(body, wxEVT_LEFT_DOWN, 5, 2);
    for (int row : {1, 2, 3, 2})
        Mouse(body, wxEVT_MOTION, 5, row * h + 2);
    Mouse(body, wxEVT_LEFT_UP, 5, 2 * h + 2);
    EXPECT_EQ(list->selection, std::set<int>{2});
    for (const wxPoint& p : {wxPoint(5, 40 * h), wxPoint(500, 2), wxPoint(5, 2)})
        Mouse(body, wxEVT_MOTION, p.x, p.y);
    EXPECT_EQ(list->asked, 0);

    list->selection.clear();
    body->RedrawNow();
    const wxImage image = body->GetBuffer()->ConvertToImage();
    auto inkWidth = [&](int row) { // the rightmost text pixel of the row's cell
        int right = 0;
        for (int x = 0; x < 190; ++x)
            for (int y = row * h; y < row * h + h; ++y)
                if (image.GetRed(x, y) < 100) right = std::max(right, x);
        return right;
    };
    EXPECT_GT(inkWidth(1), inkWidth(0) + 10); // not the plain row's text again
    // Red round the glyphs: inside the text's box too, never a flat box of the row colour.
    EXPECT_PIXEL(image, 4, h + 1, *wxRED);
    EXPECT_EQ(
        CountPixels(image, wxRect(3, h + 3, inkWidth(1) - 3, h - 6), list->GetRowBGColor(1), 8), 0);
}

} // namespace
