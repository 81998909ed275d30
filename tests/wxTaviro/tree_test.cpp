// The tree list: rows of the visible items at every depth, the drawn box, clicks on it and on
// the text, deletion and moves under a selection, and random changes against a plain walk.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxDBTreeListCtrl.h>

#include <random>

using namespace taviro_test;
using Item = wxDBTreeListItem;

namespace {

struct Node : Item {
    explicit Node(String n) : name(std::move(n)) {}
    String GetText(int) const override { return name; }
    String name;
};

String Name(const Item* item) {
    return item ? static_cast<const Node*>(item)->name : String("-");
}

// `counts[d]` children at each depth d below, named by their path ("a", "a.0", "a.0.1", ...).
Node* Build(const String& name, std::vector<int> counts) {
    auto* node = new Node(name);
    for (int i = 0; !counts.empty() && i < counts[0]; ++i)
        node->AppendChild(
            Build(name + "." + String::FromInt(i), {counts.begin() + 1, counts.end()}));
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

// Row count, rows both ways and the selection against the visible items walked plainly.
::testing::AssertionResult RowsMatchWalk(wxDBTreeListCtrl* tree) {
    std::vector<Item*> rows;
    std::function<void(Item*)> walk = [&](Item* item) {
        for (size_t i = 0; i < item->GetChildCount(); ++i)
            if (rows.push_back(item->GetChild(i)), item->GetChild(i)->IsExpanded())
                walk(item->GetChild(i));
    };
    walk(tree->GetRoot());
    bool ok = tree->GetItemCount() == int(rows.size()) && !tree->ItemAtRow(int(rows.size()));
    for (int r = 0; r < int(rows.size()); ++r)
        ok = ok && tree->ItemAtRow(r) == rows[r] && tree->RowWithItem(rows[r]) == r;
    for (Item* s : tree->GetSelectionSet())
        ok = ok && tree->RowWithItem(s) >= 0;
    if (ok) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << tree->GetItemCount() << " rows, " << rows.size();
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
    std::vector<unsigned long> counts{a->GetVisibleLineCount()};
    tree->Expand(a);
    counts.push_back(a->GetVisibleLineCount());
    EXPECT_EQ(Name(tree->ItemAtRow(4)), "z");
    tree->Expand(a->GetChild(0));
    counts.push_back(a->GetVisibleLineCount());
    EXPECT_EQ(counts, (std::vector<unsigned long>{1, 4, 6}));
    EXPECT_EQ(Name(tree->ItemAtRow(4)), "a.1"); // the same row asked again, after a change
    EXPECT_EQ(tree->ItemAtRow(7), nullptr);
    EXPECT_TRUE(RowsMatchWalk(tree));
    Item* a01 = a->GetChild(0)->GetChild(1);
    tree->SortChildren(a, [](const Item* x, const Item* y) { return Name(x) > Name(y); });
    EXPECT_EQ(tree->RowWithItem(a01), 5); // a, a.2, a.1, a.0, a.0.0, a.0.1: asked first
    EXPECT_EQ(tree->FirstVisibleParent(a01), 3);
    EXPECT_TRUE(RowsMatchWalk(tree));
    tree->Collapse(a);
    EXPECT_EQ(tree->FirstVisibleParent(a01), 0);
    EXPECT_TRUE(RowsMatchWalk(tree));
}

TEST(TreeList, BoxIsDrawnAndToggledByItsClickADoubleClickAndKeysNotByText) {
    wxDBTreeListCtrl* tree = MakeTree();
    tree->AppendItem(nullptr, Build("a", {2, 3}))->SetExpanded(true);
    wxWindow* body = tree->GetBody();
    const int h = tree->GetRowHeight(), y = h + h / 2; // row 1: a.0, depth 1, box x 17..27
    Item* a0 = tree->ItemAtRow(1);
    // Drawn, in both schemes: a minus in x 2..12 of row 0 (depth 0), a plus in 17..27 of row 1.
    const int top = (h - 11) / 2;
    wxDBListBody* list = tree->GetBody();
    ASSERT_TRUE(WaitFor([&] { return list->GetBuffer() != nullptr; }));
    for (int scheme : {3, 1}) {
        SetColors(scheme); // read at paint time: no event needed
        list->DrawBitmap();
        const wxImage image = list->GetBuffer()->ConvertToImage();
        const wxColour frame =
            scheme == 1 ? wxColour(0x64, 0x64, 0x64) : wxsGetColor(color_TextGrey);
        EXPECT_PIXEL(image, 2, top, frame);
        EXPECT_PIXEL(image, 12, top + 10, frame);
        EXPECT_FALSE(PixelNear(image, 2 + 5, top + 2, frame)) << scheme;
        EXPECT_PIXEL(image, 17 + 5, h + top + 2, frame);
        EXPECT_EQ(CountPixels(image, wxRect(0, h, 17, 2 * h), frame, 8), 0) << scheme;
    }
    std::vector<bool> open; // after a click on the text, the box's right edge, a double click,
    for (auto [type, x] :
         {std::pair{wxEVT_LEFT_DOWN, 60}, {wxEVT_LEFT_DOWN, 27}, {wxEVT_LEFT_DCLICK, 90}}) {
        Mouse(body, type, x, y), Mouse(body, wxEVT_LEFT_UP, x, y);
        open.push_back(a0->IsExpanded());
    }
    EXPECT_EQ(tree->GetSelectedItems(), std::vector<Item*>{a0});
    Mouse(body, wxEVT_RIGHT_DOWN, 22, y + h); // selects a.1 by its box, but only a press toggles
    open.push_back(tree->ItemAtRow(2)->IsExpanded());
    for (int code : {WXK_UP, WXK_RIGHT, WXK_LEFT, WXK_LEFT}) { // up to a.0, Right, Left, Left
        wxKeyEvent key(wxEVT_KEY_DOWN);
        key.m_keyCode = code;
        body->GetEventHandler()->ProcessEvent(key);
        open.push_back(a0->IsExpanded());
    }
    EXPECT_EQ(open, (std::vector<bool>{false, true, false, false, false, true, false, false}));
    EXPECT_EQ(tree->GetCurrentItem(), tree->ItemAtRow(0)); // the second Left went up
    EXPECT_FALSE(tree->CustomizeCursor(1, 0, 17, h / 2).IsSameAs(g_TableSettings.cursor));
    EXPECT_TRUE(tree->CustomizeCursor(1, 0, 16, h / 2).IsSameAs(g_TableSettings.cursor));
    EXPECT_TRUE(RowsMatchWalk(tree));
}

TEST(TreeList, DeletesMovesAndCollapsesUnderASelectionLeaveNothingDangling) {
    wxDBTreeListCtrl* tree = MakeTree();
    Node* a = Build("a", {4, 3});
    tree->AppendItem(nullptr, a);
    tree->EnsureVisible(a->GetChild(1)->GetChild(2));
    Item* leaf = a->GetChild(1)->GetChild(0);
    tree->SelectItem(leaf);
    tree->SelectItem(a->GetChild(1)->GetChild(2));
    EventCounter deselected(tree, wxEVT_LIST_ITEM_DESELECTED);
    tree->MoveItem(leaf, a, 0);       // still shown: stays selected
    tree->DeleteItem(a->GetChild(2)); // a.1, with a selected child
    EXPECT_EQ(deselected.GetCount(), 1);
    EXPECT_EQ(tree->GetCurrentItem(), nullptr);
    EXPECT_EQ(tree->GetSelectedItems(), std::vector<Item*>{leaf});
    tree->MoveItem(leaf, a->GetChild(3), 0); // into a closed item: leaves the selection
    EXPECT_TRUE(tree->GetSelectedItems().empty());
    EXPECT_TRUE(RowsMatchWalk(tree));
    tree->SelectItem(a->GetChild(0));
    delete a->GetChild(0); // a straight delete of an item in the tree
    EXPECT_TRUE(tree->GetSelectedItems().empty());
    tree->Expand(a->GetChild(0));
    tree->SelectItem(a->GetChild(0)->GetChild(1));
    tree->Collapse(a);
    EXPECT_EQ(deselected.GetCount(), 3);
    EXPECT_EQ(tree->GetCurrentItem(), a);
    EXPECT_TRUE(RowsMatchWalk(tree));
}

TEST(TreeList, RandomChangesKeepRowsEqualToAPlainWalk) {
    wxDBTreeListCtrl* tree = MakeTree();
    std::mt19937 random(7);
    auto pick = [&](int n) { return int(random() % unsigned(n)); };
    for (int step = 0, made = 0; step < 600; ++step) {
        std::vector<Item*> all{tree->GetRoot()};
        for (size_t i = 0; i < all.size(); ++i)
            for (size_t c = 0; c < all[i]->GetChildCount(); ++c)
                all.push_back(all[i]->GetChild(c));
        Item* some = all[pick(int(all.size()))];
        const int op = all.size() < 8 ? 0 : pick(7);
        if (op <= 1) {
            Node* fresh = Build("n" + String::FromInt(made++), {pick(3), 2});
            fresh->SetExpanded(pick(2));
            tree->InsertItem(some, size_t(pick(4)), fresh);
        } else if (op == 2 && all.size() > 40) {
            pick(2) ? tree->DeleteItem(some) : void(some != tree->GetRoot() ? delete some : void());
        } else if (op == 3) {
            tree->MoveItem(some, all[pick(int(all.size()))], size_t(pick(5)));
        } else if (op == 4) {
            tree->Toggle(some);
        } else if (op == 5) {
            const bool up = pick(2);
            tree->SortChildren(some, [up](auto* x, auto* y) { return (Name(x) < Name(y)) == up; });
        } else {
            tree->SelectItem(some);
        }
        ASSERT_TRUE(RowsMatchWalk(tree)) << "step " << step << " op " << op;
    }
}

// A client's handlers that do not Skip() stop neither selection nor expansion; a parent's box
// comes and goes with its first and last child.
TEST(TreeList, ClientHandlersComeAfterTheTreeAndParentsRedrawTheirBox) {
    wxDBTreeListCtrl* tree = MakeTree();
    Node* a = Build("a", {2});
    Item* b = tree->AppendItem(nullptr, Build("b", {}));
    tree->InsertItem(nullptr, 0, a);
    int heard = 0;
    for (auto type : {wxEVT_LIST_ITEM_SELECTED, wxEVT_LIST_ITEM_ACTIVATED})
        tree->Bind(type, [&](wxListEvent&) { ++heard; }); // no Skip()
    wxWindow* body = tree->GetBody();
    const int h = tree->GetRowHeight();
    Mouse(body, wxEVT_LEFT_DOWN, 60, h / 2), Mouse(body, wxEVT_LEFT_UP, 60, h / 2);
    Mouse(body, wxEVT_LEFT_DCLICK, 60, h / 2), Mouse(body, wxEVT_LEFT_UP, 60, h / 2);
    EXPECT_EQ(tree->GetSelectedItems(), std::vector<Item*>{a});
    EXPECT_TRUE(a->IsExpanded());
    EXPECT_EQ(heard, 2);

    tree->Collapse(a); // b on row 1, without a box
    wxDBListBody* list = tree->GetBody();
    ASSERT_TRUE(WaitFor([&] { return list->GetBuffer() != nullptr; }));
    const wxColour frame(0x64, 0x64, 0x64);
    auto boxShown = [&] {
        return PixelNear(list->GetBuffer()->ConvertToImage(), 2, h + (h - 11) / 2, frame, 8);
    };
    ASSERT_TRUE(WaitFor([&] { return !boxShown(); }));
    wxMilliSleep(150); // every redraw asked for so far runs out first
    PumpEvents();
    Item* child = tree->AppendItem(b, Build("b.0", {}));
    EXPECT_TRUE(WaitFor(boxShown, 2000));
    tree->DeleteItem(child);
    EXPECT_TRUE(WaitFor([&] { return !boxShown(); }, 2000));
}

} // namespace
