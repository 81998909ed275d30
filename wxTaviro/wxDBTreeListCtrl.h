/// @file
/// The tree list: a wxDBListCtrl whose rows are the visible items of a tree. An item may have
/// children, is expanded and collapsed with a small plus/minus box in the first column and is
/// indented by its depth; the list's row count is always the number of visible items.
///
/// Rows are found from the tree on demand without walking it. Every item with children keeps
/// the rows its children occupy and a prefix sum of them, rebuilt lazily from the first child
/// that changed; a node whose children are all one row high needs no prefix at all (a child's
/// offset is its index). So expanding or collapsing costs one step per ancestor whatever the
/// number of children, the item of a row is a binary search per level, and the row of an item
/// a lookup per level.
///
/// Sections: wxDBTreeListItem; wxDBTreeListCtrl.
#pragma once

#include <wxTaviro/wxDBListCtrl.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <vector>

class wxDBTreeListCtrl;

/// @addtogroup views
/// @{

// ---- wxDBTreeListItem ----

/// One node of the tree. Client programs derive from it to carry their data and serve each
/// column's text. An item owns its children; destroying it destroys them. Every change made
/// through an item that sits in a control's tree goes through the control (rows, selection and
/// caches follow), and deleting such an item takes it out of the control first.
class wxDBTreeListItem {
public:
    wxDBTreeListItem() = default;
    virtual ~wxDBTreeListItem();
    wxDBTreeListItem(const wxDBTreeListItem&) = delete;
    wxDBTreeListItem& operator=(const wxDBTreeListItem&) = delete;

    /// The text shown in a column; empty here.
    virtual String GetText(int column) const;

    /// The parent (a control's hidden root for a top-level item); null outside a tree.
    wxDBTreeListItem* GetParent() const { return m_parent; }
    /// Whether the children are shown (when the item itself is).
    bool IsExpanded() const { return m_expanded; }
    /// Whether the item has any child.
    bool HasChildren() const { return m_kids && !m_kids->items.empty(); }
    /// The number of direct children.
    size_t GetChildCount() const { return m_kids ? m_kids->items.size() : 0; }
    /// The child at `index`; null past the last.
    wxDBTreeListItem* GetChild(size_t index) const {
        return index < GetChildCount() ? m_kids->items[index] : nullptr;
    }
    /// Position among the parent's children.
    size_t GetIndex() const { return _Position(); }
    /// Ancestors below the top of the tree: 0 for a top-level item.
    int GetDepth() const;
    /// The control whose tree holds this item; null when it is in none.
    wxDBTreeListCtrl* GetOwner() const;

    /// Rows the item occupies: 1, plus its children's rows when it is expanded.
    unsigned long GetVisibleLineCount() const {
        return 1 + (m_expanded && m_kids ? m_kids->rows : 0);
    }
    /// Every ancestor is expanded (an item without parent is visible).
    bool IsVisible() const;
    /// The item shown `index` rows below this item's first child (0 = the first child); null
    /// past the end.
    wxDBTreeListItem* ItemAtIndex(unsigned long index) const;
    /// Rows before the direct child `child` among the rows below this item.
    unsigned long IndexOfItem(const wxDBTreeListItem* child) const;

    /// Adds a child before `position` (at the end when past it) and takes ownership.
    void InsertChild(size_t position, wxDBTreeListItem* child);
    /// Adds a child at the end and takes ownership.
    void AppendChild(wxDBTreeListItem* child);
    /// Expands or collapses the item (through its control when it is in one).
    void SetExpanded(bool expanded);
    /// Deletes all children.
    void Clear();

private:
    friend class wxDBTreeListCtrl;

    // The children and what is known about their rows; only items that ever had a child have
    // one, so that a leaf stays small.
    struct _Kids {
        std::vector<wxDBTreeListItem*> items;
        unsigned long rows = 0; // sum of the children's visible line counts
        size_t taller = 0;      // children more than one row high
        // prefix[i] = rows before child i; entries below prefixValid are right.
        std::vector<unsigned long> prefix{0};
        size_t prefixValid = 1;
    };

    // Brings prefix entries up to `index` (inclusive) up to date.
    void _EnsurePrefix(size_t index) const;
    // This item's line count was `oldLines` before a change of its own: tells the ancestors.
    void _LinesChanged(unsigned long oldLines);
    // Plain tree surgery, without a control: link `child` at `position`, or unlink this item.
    void _Link(size_t position, wxDBTreeListItem* child);
    void _Unlink();
    // Where this item is among its parent's children (m_index is where it was last seen).
    size_t _Position() const;
    void _Expand(bool expanded);
    // Deletes the children without unlinking them one by one.
    void _DeleteChildren();

    wxDBTreeListItem* m_parent = nullptr;
    std::unique_ptr<_Kids> m_kids;
    mutable uint32_t m_index = 0;
    bool m_expanded = false;
    wxDBTreeListCtrl* m_owner = nullptr; // set on a control's root only
};

// ---- wxDBTreeListCtrl ----

/// The tree list: the fast list whose rows are the shown items of a tree of wxDBTreeListItem
/// objects (see the file comment). The first column draws the expander box and the indent;
/// a click on the box, a double click, Right/Left and +/- open and close items. Selection is by
/// item and follows the items when the tree changes. GUI thread only.
///
///     auto* group = tree->AppendItem(nullptr, new MyItem("Renders"));
///     tree->AppendItem(group, new MyItem("shot_010"));
///     tree->Expand(group);
class wxDBTreeListCtrl : public wxDBListCtrl {
public:
    /// The order SortChildren sorts by: true when a goes before b.
    using Less = std::function<bool(const wxDBTreeListItem*, const wxDBTreeListItem*)>;

    /// An empty tree (multiple selection).
    wxDBTreeListCtrl(wxWindow* parent, int id);
    ~wxDBTreeListCtrl() override;

    /// The hidden root: its children are the top-level rows. It is always expanded.
    wxDBTreeListItem* GetRoot() { return &m_root; }

    /// Tree changes. Each keeps the row count, the selection, the anchor and the row cache right;
    /// a null parent means the root. The control takes ownership of inserted items.
    wxDBTreeListItem* AppendItem(wxDBTreeListItem* parent, wxDBTreeListItem* item);
    /// Inserts `item` before child `position` of `parent` (at the end when past it); returns it.
    wxDBTreeListItem* InsertItem(wxDBTreeListItem* parent, size_t position, wxDBTreeListItem* item);
    /// Deletes the item and its subtree; selected items in it leave the selection.
    void DeleteItem(wxDBTreeListItem* item);
    /// Deletes the item's children and their subtrees (null or the root: every item).
    void DeleteChildren(wxDBTreeListItem* item);
    /// Deletes every item.
    void DeleteAllItems();
    /// Takes the item and its subtree out of the tree and hands it to the caller.
    wxDBTreeListItem* DetachItem(wxDBTreeListItem* item);
    /// Moves the item with its subtree before `position` of `parent`'s children (counted after it
    /// left its old place); selected items stay selected when they are still shown.
    void MoveItem(wxDBTreeListItem* item, wxDBTreeListItem* parent, size_t position);
    /// Reorders the children of `parent` (stable); selection follows the items.
    void SortChildren(wxDBTreeListItem* parent, const Less& less);

    /// Shows the item's children (their rows appear when the item is shown).
    void Expand(wxDBTreeListItem* item);
    /// Hides the item's children; selected items among them are deselected.
    void Collapse(wxDBTreeListItem* item);
    /// Expands a collapsed item, collapses an expanded one.
    void Toggle(wxDBTreeListItem* item);
    /// Redraws the item's row, when it is shown (its text changed).
    void RefreshItem(const wxDBTreeListItem* item);
    /// Expands the item's ancestors and scrolls its row into view.
    void EnsureVisible(wxDBTreeListItem* item);
    using wxDBListCtrl::EnsureVisible;

    /// Selection by item; only shown items can be selected. The set orders by address,
    /// GetSelectedItems by row.
    const std::set<wxDBTreeListItem*>& GetSelectionSet() const { return m_selection; }
    /// The selected items in row order.
    std::vector<wxDBTreeListItem*> GetSelectedItems();
    /// Whether the item is selected.
    bool IsSelected(const wxDBTreeListItem* item) const;
    /// Selects (a shown item only) or deselects the item and repaints it; sends no event.
    void SelectItem(wxDBTreeListItem* item, bool select = true);
    /// The item last selected; null when none or after it was deleted.
    wxDBTreeListItem* GetCurrentItem() const { return m_currentItem; }

    /// Rows and items. ItemAtRow remembers its last answer; RowWithItem is -1 for null, the root,
    /// an item of another tree and an item that is not shown.
    wxDBTreeListItem* ItemAtRow(int row);
    /// The row showing the item (see ItemAtRow for -1).
    int RowWithItem(const wxDBTreeListItem* item);
    /// The row of the nearest shown ancestor; -1 for null, the root and top-level items.
    int FirstVisibleParent(const wxDBTreeListItem* item);

    /// First-column geometry, shared by paint and hit tests: the expander box of an item at
    /// `depth`, relative to its cell's top-left corner, and where its text cell begins.
    static wxRect ExpanderRect(int depth, int rowHeight);
    /// Where the text of an item at `depth` begins in its first-column cell.
    static int TextIndent(int depth);
    /// Whether a body point (client coordinates) lies on the expander of an item with children.
    bool IsOnExpander(const wxPoint& point);

    /// @name List hooks
    /// @{
    /// Whether the row's item is selected.
    bool IsRowSelected(int row) override;
    /// The rows of the selected items that are shown.
    std::vector<int> GetSelection() override;
    /// The row's item's GetText(column).
    String GetDisplayText(int row, int column) override;
    /// The list's background; rows of items with children a shade apart.
    wxColour GetRowBGColor(int row) override;
    /// The first column with the expander box and the indent; other columns as the list does.
    void DrawCell(wxDC& dc, int row, int column, wxRect cell, bool selected) override;
    /// The arrow over an expander box.
    wxCursor CustomizeCursor(int row, int column, int x, int y) override;
    /// Deletes every item and the selection (Clear).
    void DoClear() override;
    /// @}

    /// The body's selection and activation: selects the item, and toggles it for a press on
    /// the expander or a double click. Run from TryBefore, ahead of any handler a client binds.
    void OnItemSelected(wxListEvent& event);
    /// The body's deselection: the row's item leaves the selection.
    void OnItemDeselected(wxListEvent& event);
    /// Hands the body's selection events to OnItemSelected and OnItemDeselected first.
    bool TryBefore(wxEvent& event) override;

protected:
    friend class wxDBTreeListItem;

    /// Notes where a press is before the body turns it into selection events.
    void OnBodyLDown(wxMouseEvent& event);
    /// Right/+ opens (or steps into an open item), Left/- closes (or steps out to the parent).
    void OnBodyKey(wxKeyEvent& event);

    /// Named steps of the tree changes.
    bool _Holds(const wxDBTreeListItem* item) const;
    void _PutIn(wxDBTreeListItem* parent, size_t position, wxDBTreeListItem* item);
    void _TakeOut(wxDBTreeListItem* item);
    /// Drops the selected items of `item`'s subtree (itself too when `withItem`) from the
    /// selection, without events; returns them.
    std::vector<wxDBTreeListItem*> _Forget(const wxDBTreeListItem* item, bool withItem);
    void _ForgetRows() {
        m_cacheRow = -1;
        m_cacheItem = nullptr;
    }
    /// Selects the item of `row` alone, as a plain click would, and shows it.
    void _SelectRow(int row);

    wxDBTreeListItem m_root;                   ///< see GetRoot
    wxDBTreeListItem* m_currentItem = nullptr; ///< see GetCurrentItem
    int m_cacheRow = -1;                       ///< ItemAtRow's last row
    wxDBTreeListItem* m_cacheItem = nullptr;   ///< ItemAtRow's last answer
    std::set<wxDBTreeListItem*> m_selection;   ///< see GetSelectionSet
    /// A left button press is being handled, at this point: its selection may toggle.
    bool m_pressing = false;
    wxPoint m_pressPoint; ///< see m_pressing
};

/// @}
