// The tree list: rows of the visible items at every depth, clicks on the box and on the text,
// deletion under a selection, the drawn box, and random changes checked against a plain walk.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxDBTreeListCtrl.h>

#include <random>

using namespace taviro_test;

namespace {

struct Node : wxDBTreeListItem {
    explicit Node(String n) : name(std::move(n)) {}
    String GetText(int) const override { return name; }
    String name;
};

// Items with `counts[i]` children at depth i, named by their path ("a", "a.b", ...).
Node* Build(const String& name, std::vector<int> counts) {
    auto* node = new Node(name);
    if (counts.empty()) return node;
    const int n = counts.front();
    counts.erase(counts.begin());
    for (int i = 0; i < n; ++i)
        node->AppendChild(Build(name + "." + String::FromInt(i), counts));
    return node;
}

wxDBTreeListCtrl* MakeTree() {
    SetColors(1);
    auto* tree = new wxDBTreeListCtrl(TopWindow(), wxID_ANY);
    tree->SetSize(TopWindow()->GetClientSize());
    tree->AddColumn(0, "Name", 200);
    PumpEvents();
    return tree;
}

// The visible items in row order, walked the plain way.
void Walk(wxDBTreeListItem* item, std::vector<wxDBTreeListItem*>& out) {
    for (size_t i = 0; i < item->GetChildCount(); ++i) {
        out.push_back(item->GetChild(i));
        if (item->GetChild(i)->IsExpanded()) Walk(item->GetChild(i), out);
    }
}

::testing::AssertionResult RowsMatchWalk(wxDBTreeListCtrl* tree) {
    std::vector<wxDBTreeListItem*> rows;
    Walk(tree->GetRoot(), rows);
    if (tree->GetItemCount() != int(rows.size()))
        return ::testing::AssertionFailure() << tree->GetItemCount() << " rows, " << rows.size();
    for (int r = 0; r <= int(rows.size()); ++r) {
        wxDBTreeListItem* want = r < int(rows.size()) ? rows[r] : nullptr;
        if (tree->ItemAtRow(r) != want || (want && tree->RowWithItem(want) != r))
            return ::testing::AssertionFailure() << "row " << r;
    }
    for (wxDBTreeListItem* s : tree->GetSelectionSet())
        if (tree->RowWithItem(s) < 0) return ::testing::AssertionFailure() << "hidden selected";
    return ::testing::AssertionSuccess();
}

void Mouse(wxWindow* w, wxEventType type, int x, int y) {
    wxMouseEvent e(type);
    e.SetPosition(wxPoint(x, y));
    w->GetEventHandler()->ProcessEvent(e);
}

TEST(TreeList, RowsFollowExpansionAtEveryDepth) {
    wxDBTreeListCtrl* tree = MakeTree();
    Node* a = Build("a", {3, 2});
    tree->AppendItem(nullptr, Build("z", {}));
    tree->InsertItem(nullptr, 0, a);
    EXPECT_EQ(a->GetVisibleLineCount(), 1u);
    tree->Expand(a);
    EXPECT_EQ(a->GetVisibleLineCount(), 4u);
    wxDBTreeListItem* a0 = a->GetChild(0);
    tree->Expand(a0->GetChild(0)); // hidden below a0: no rows yet
    tree->Expand(a0);
    EXPECT_EQ(a->GetVisibleLineCount(), 6u);
    EXPECT_TRUE(RowsMatchWalk(tree));
    EXPECT_EQ(tree->ItemAtRow(7), nullptr);
    EXPECT_EQ(static_cast<Node*>(tree->ItemAtRow(3))->name, "a.0.1");
    EXPECT_EQ(tree->FirstVisibleParent(a0->GetChild(1)), 1);
    tree->Collapse(a);
    EXPECT_EQ(tree->FirstVisibleParent(a0->GetChild(1)), 0);
    EXPECT_EQ(tree->GetItemCount(), 2);
    EXPECT_TRUE(RowsMatchWalk(tree));
}

TEST(TreeList, TextClickSelectsBoxClickAndDoubleClickToggle) {
    wxDBTreeListCtrl* tree = MakeTree();
    tree->AppendItem(nullptr, Build("a", {2, 3}))->SetExpanded(true);
    wxWindow* body = tree->GetBody();
    const int h = tree->GetRowHeight(), mid = h / 2;
    wxDBTreeListItem* a0 = tree->ItemAtRow(1);
    Mouse(body, wxEVT_LEFT_DOWN, 60, h + mid); // text of a.0 (depth 1)
    Mouse(body, wxEVT_LEFT_UP, 60, h + mid);
    EXPECT_FALSE(a0->IsExpanded());
    EXPECT_EQ(tree->GetSelectedItems(), std::vector<wxDBTreeListItem*>{a0});
    Mouse(body, wxEVT_LEFT_DOWN, 15 + 2 + 10, h + mid); // right edge of its box
    Mouse(body, wxEVT_LEFT_UP, 15 + 2 + 10, h + mid);
    EXPECT_TRUE(a0->IsExpanded());
    EXPECT_EQ(tree->GetItemCount(), 6);
    Mouse(body, wxEVT_LEFT_DCLICK, 90, h + mid);
    EXPECT_FALSE(a0->IsExpanded());
    // The right arrow over the box only (depth 1: x 17..27).
    EXPECT_FALSE(tree->CustomizeCursor(1, 0, 17, mid).IsSameAs(g_TableSettings.cursor));
    EXPECT_TRUE(tree->CustomizeCursor(1, 0, 16, mid).IsSameAs(g_TableSettings.cursor));
    // Keys open and close the current item; Left on a closed one goes to its parent.
    wxKeyEvent key(wxEVT_KEY_DOWN);
    for (int code : {WXK_RIGHT, WXK_LEFT, WXK_LEFT}) {
        key.m_keyCode = code;
        body->GetEventHandler()->ProcessEvent(key);
    }
    EXPECT_EQ(tree->GetCurrentItem(), tree->ItemAtRow(0));
    EXPECT_TRUE(RowsMatchWalk(tree));
}

TEST(TreeList, DeletingAndCollapsingUnderASelectionLeaveNothingDangling) {
    wxDBTreeListCtrl* tree = MakeTree();
    Node* a = Build("a", {3, 3});
    tree->AppendItem(nullptr, a);
    tree->EnsureVisible(a->GetChild(1)->GetChild(2));
    tree->SelectItem(a->GetChild(2));
    tree->SelectItem(a->GetChild(1)->GetChild(2));
    EventCounter deselected(tree, wxEVT_LIST_ITEM_DESELECTED);
    tree->DeleteItem(a->GetChild(1));
    EXPECT_EQ(deselected.GetCount(), 1);
    EXPECT_EQ(tree->GetCurrentItem(), nullptr);
    EXPECT_EQ(tree->GetSelectedItems(), std::vector<wxDBTreeListItem*>{a->GetChild(1)});
    EXPECT_TRUE(RowsMatchWalk(tree));
    delete a->GetChild(1); // straight delete of an item in the tree
    EXPECT_TRUE(tree->GetSelectedItems().empty());
    EXPECT_TRUE(RowsMatchWalk(tree));
    tree->Expand(a->GetChild(0));
    tree->SelectItem(a->GetChild(0)->GetChild(1));
    tree->Collapse(a);
    EXPECT_EQ(deselected.GetCount(), 3);
    EXPECT_EQ(tree->GetCurrentItem(), a);
    EXPECT_TRUE(RowsMatchWalk(tree));
}

TEST(TreeList, BoxIsDrawnAtItsDepthInLightAndDarkSchemes) {
    wxDBTreeListCtrl* tree = MakeTree();
    tree->AppendItem(nullptr, Build("a", {1, 1}))->SetExpanded(true);
    tree->AppendItem(nullptr, Build("b", {}));
    const int h = tree->GetRowHeight(), top = (h - 11) / 2;
    wxDBListBody* body = tree->GetBody();
    ASSERT_TRUE(WaitFor([&] { return body->GetBuffer() != nullptr; }));
    for (int scheme : {1, 3}) {
        SetColors(scheme); // read at paint time: no event needed
        body->DrawBitmap();
        const wxImage image = body->GetBuffer()->ConvertToImage();
        const wxColour frame =
            scheme == 1 ? wxColour(0x64, 0x64, 0x64) : wxsGetColor(color_TextGrey);
        // Row 0, depth 0: a minus in x 2..12; row 1, depth 1: a plus in x 17..27; row 2: a leaf.
        EXPECT_PIXEL(image, 2, top, frame);
        EXPECT_PIXEL(image, 12, top + 10, frame);
        EXPECT_PIXEL(image, 2 + 5, top + 5, frame);
        EXPECT_FALSE(PixelNear(image, 2 + 5, top + 2, frame)) << scheme;
        EXPECT_PIXEL(image, 17 + 5, h + top + 2, frame);
        EXPECT_EQ(CountPixels(image, wxRect(0, h, 17, h), frame, 8), 0) << scheme;
        EXPECT_EQ(CountPixels(image, wxRect(0, 2 * h, 17, h), frame, 8), 0) << scheme;
    }
}

// Random changes at every depth: after each one the rows are those of a plain walk.
TEST(TreeList, RandomChangesKeepRowsEqualToAPlainWalk) {
    wxDBTreeListCtrl* tree = MakeTree();
    std::mt19937 random(7);
    auto pick = [&](int n) { return int(random() % unsigned(n)); };
    int made = 0;
    for (int step = 0; step < 600; ++step) {
        std::vector<wxDBTreeListItem*> all{tree->GetRoot()};
        for (size_t i = 0; i < all.size(); ++i)
            for (size_t c = 0; c < all[i]->GetChildCount(); ++c)
                all.push_back(all[i]->GetChild(c));
        wxDBTreeListItem* some = all[pick(int(all.size()))];
        wxDBTreeListItem* other = all[pick(int(all.size()))];
        const int op = all.size() < 8 ? 0 : pick(7);
        if (op <= 1) {
            Node* fresh = Build("n" + String::FromInt(made++), {pick(3), 2});
            fresh->SetExpanded(pick(2));
            tree->InsertItem(some, size_t(pick(4)), fresh);
        } else if (op == 2 && all.size() > 40) {
            pick(2) ? tree->DeleteItem(some) : void(some != tree->GetRoot() ? delete some : void());
        } else if (op == 3) {
            tree->MoveItem(some, other, size_t(pick(5)));
        } else if (op == 4) {
            tree->Toggle(some);
        } else if (op == 5) {
            tree->SortChildren(some, [](auto* x, auto* y) {
                return static_cast<const Node*>(x)->name > static_cast<const Node*>(y)->name;
            });
        } else {
            tree->SelectItem(some);
        }
        ASSERT_TRUE(RowsMatchWalk(tree)) << "step " << step << " op " << op;
    }
}

} // namespace
