// The row-store list: selection order and GetNextItem, rows inserted and deleted moving the
// selection, cell bounds, and clicks on the body changing the stored selection.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxDBListCtrl.h>

using namespace taviro_test;

namespace {

wxsListCtrl* MakeRows(int rows) {
    SetColors(1);
    auto* list = new wxsListCtrl(TopWindow(), 77);
    list->SetSize(TopWindow()->GetClientSize());
    list->AddColumn(0, "a", 100), list->AddColumn(1, "b", 100);
    for (int i = 0; i < rows; ++i)
        list->SetItem(list->InsertItem(i, "r" + String::FromInt(i)), 1, "c" + String::FromInt(i));
    PumpEvents();
    return list;
}

void Select(wxsListCtrl* list, std::initializer_list<int> rows, bool on = true) {
    for (int row : rows)
        list->GetBody()->SendListEvent(on ? wxEVT_LIST_ITEM_SELECTED : wxEVT_LIST_ITEM_DESELECTED,
                                       {0, 0}, row);
}

TEST(RowStore, SelectionKeepsClickOrderAndRowsMoveIt) {
    wxsListCtrl* list = MakeRows(300);
    Select(list, {7, 2, 5, 2, 300});
    EXPECT_EQ(list->GetSelection(), (std::vector<int>{7, 2, 5}));
    EXPECT_EQ((std::vector<int>{list->GetNextItem(-1), list->GetNextItem(7), list->GetNextItem(3),
                                list->GetNextItem(1)}),
              (std::vector<int>{7, -1, 7, 7}));
    for (int i = 10; i < 400; ++i) // 10..209 selected, 10..199 deselected in order, 5 not
        Select(list, {i < 210 ? i : i - 200}, i < 210);
    Select(list, {5}, false);
    EXPECT_EQ(list->GetSelection().size(), 12u);
    EXPECT_EQ(list->GetNextItem(8), 200);

    list->GetBody()->DeselectAll(true);
    Select(list, {0, 3});
    EXPECT_EQ(list->InsertItem(0, "new"), 0);
    EXPECT_EQ(list->GetSelection(), (std::vector<int>{1, 4}));
    EXPECT_TRUE(list->IsRowSelected(4) && !list->IsRowSelected(3));
    EXPECT_EQ(list->InsertItem(1000, "end"), 301); // clamped to the row count
    EXPECT_TRUE(WaitFor([&] { // the native bar follows the count once the loop turns
        return list->GetBody()->wxWindow::GetScrollRange(wxVERTICAL) == 302 * list->GetRowHeight();
    }));
}

TEST(RowStore, CellBoundsAndDeleteItemKeepTheCount) {
    wxsListCtrl* list = MakeRows(5);
    auto text = [list](int row, int column) { return list->GetDisplayText(row, column); };
    EXPECT_FALSE(list->SetItem(5, 0, "x"));
    list->AddColumn(2, "late", 50); // rows stored before it read empty there until set
    EXPECT_TRUE(list->SetItem(1, 2, "z"));
    EXPECT_EQ(text(5, 0) + text(0, 2) + text(1, 2), "z");

    Select(list, {4, 1, 2, 3});
    list->SetLastSelect(2);
    EXPECT_TRUE(list->DeleteItem(2) && list->GetItemCount() == 5);
    list->InsertItem(5, "p"); // after the row left empty
    EXPECT_EQ(text(2, 1) + text(4, 0) + "|" + text(5, 0), "c3|p");
    EXPECT_EQ(list->GetSelection(), (std::vector<int>{3, 1, 2}));
    EXPECT_TRUE(list->IsRowSelected(3) && !list->IsRowSelected(4));
    EXPECT_EQ(list->GetLastSelect(), 1);
}

TEST(RowStore, ClicksOnTheBodyChangeTheStoredSelection) {
    wxsListCtrl* list = MakeRows(8);
    int parentSaw = 0; // the list lets its selection events go on to the parent
    TopWindow()->Bind(wxEVT_LIST_ITEM_SELECTED, [&](wxListEvent&) { ++parentSaw; });
    list->Bind(wxEVT_LIST_ITEM_DESELECTED, [](wxListEvent&) {}); // eats them, to no effect
    const int h = list->GetRowHeight();
    for (auto [row, shift, ctrl] :
         {std::make_tuple(6, false, false), {1, false, false}, {4, true, false}, {2, false, true}})
        for (auto type : {wxEVT_LEFT_DOWN, wxEVT_LEFT_UP}) {
            wxMouseEvent e(type);
            e.SetPosition(wxPoint(5, row * h + 2));
            e.SetShiftDown(shift), e.SetControlDown(ctrl);
            list->GetBody()->GetEventHandler()->ProcessEvent(e);
        }
    EXPECT_EQ(list->GetSelection(), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(parentSaw, 6);
    ASSERT_TRUE(WaitFor([&] { return list->GetBody()->GetBuffer() != nullptr; }));
    list->GetBody()->DrawBitmap();
    auto strip = [&](int r, int x, int w) { // pixels across the middle of row r
        const wxImage now = list->GetBody()->GetBuffer()->ConvertToImage();
        return String((const char*)now.GetSubImage(wxRect(x, r * h + h / 2, w, 1)).GetData(),
                      3 * w);
    };
    auto at = [&](int r) { return strip(r, 95, 1); };
    // Row 2 was deselected again; 1 and 3 are selected, 5 never was.
    EXPECT_EQ(std::make_tuple(at(2) == at(0), at(3) == at(1), at(3) == at(5)),
              std::make_tuple(true, true, false));

    wxMilliSleep(150); // the redraws of the clicks have run out
    PumpEvents();
    const String before = strip(3, 0, 90);
    list->SetItem(3, 0, ""); // a cell in sight repaints by itself
    EXPECT_TRUE(WaitFor([&] { return strip(3, 0, 90) != before; }));
}

} // namespace
