// Sections: shared images; wxDBTreeListItem (structure, rows, changes); wxDBTreeListCtrl (tree
// changes, expansion, selection, rows and geometry, list hooks, drawing, events and keys).
#include <wxTaviro/wxDBTreeListCtrl.h>

#include <ostrum/CallTrace.h>

#include <wx/dc.h>
#include <wx/image.h>

#include <algorithm>
#include <climits>

namespace {

// ---- shared images ----

// The expander shown on a collapsed item: a plus, light at the top, darker at the bottom.
// clang-format off
const char* const expand_xpm[] = {
    "11 11 6 1",
    "  c #ffffff",
    ". c #f3f3f3",
    ": c #ebebeb",
    "- c #e3e3e3",
    "= c #dadada",
    "X c #646464",
    "XXXXXXXXXXX",
    "X         X",
    "X....X....X",
    "X....X....X",
    "X::::X::::X",
    "X:XXXXXXX:X",
    "X----X----X",
    "X----X----X",
    "X====X====X",
    "X=========X",
    "XXXXXXXXXXX"};

// The expander shown on an expanded item: a minus with the reverse gradient.
const char* const collapse_xpm[] = {
    "11 11 6 1",
    "  c #ffffff",
    ". c #fbfbfb",
    ": c #f3f3f3",
    "- c #e7e7e7",
    "= c #dfdfdf",
    "X c #646464",
    "XXXXXXXXXXX",
    "X=========X",
    "X---------X",
    "X---------X",
    "X:::::::::X",
    "X:XXXXXXX:X",
    "X.........X",
    "X.........X",
    "X         X",
    "X         X",
    "XXXXXXXXXXX"};
// clang-format on

constexpr int k_ImageSize = 11;
constexpr int k_Spacing = 4;
constexpr int k_Indent = k_ImageSize + k_Spacing;
// Grey of the box's frame and sign; every lighter pixel is its face.
constexpr int k_MarkGrey = 0x64;
constexpr int k_FaceDarkest = 0xda;

int Luma(const wxColour& c) {
    return (c.Red() * 299 + c.Green() * 587 + c.Blue() * 114) / 1000;
}

// A box for dark rows: the same shape and gradient, its face a little lighter than the row and
// its frame and sign in the text colour, so that it neither glares nor vanishes.
wxBitmap DarkBox(const char* const* xpm, const wxColour& row, const wxColour& mark) {
    wxImage image(xpm);
    unsigned char* p = image.GetData();
    for (int i = 0, n = image.GetWidth() * image.GetHeight(); i < n; ++i, p += 3) {
        wxColour c = mark;
        if (p[0] != k_MarkGrey) {
            const int lift = 14 + (p[0] - k_FaceDarkest) * 22 / (0xff - k_FaceDarkest);
            c = OffsetColor(row, lift, lift, lift);
        }
        p[0] = c.Red(), p[1] = c.Green(), p[2] = c.Blue();
    }
    return wxBitmap(image);
}

// Made by the first control and kept for the process.
struct _TreeImages {
    wxBitmap expand{expand_xpm};
    wxBitmap collapse{collapse_xpm};
    wxCursor arrow{wxCURSOR_RIGHT_ARROW};
    // The dark boxes of the palette they were last made from.
    wxBitmap darkExpand, darkCollapse;
    wxColour darkRow, darkMark;

    const wxBitmap& Box(bool expanded) {
        const wxColour row = wxsGetColor(color_WindowBGDarker);
        if (!row.IsOk() || Luma(row) >= 128) return expanded ? collapse : expand;
        wxColour mark = wxsGetColor(color_TextGrey);
        if (!mark.IsOk()) mark = *wxLIGHT_GREY;
        if (row != darkRow || mark != darkMark || !darkExpand.IsOk()) {
            darkExpand = DarkBox(expand_xpm, row, mark);
            darkCollapse = DarkBox(collapse_xpm, row, mark);
            darkRow = row, darkMark = mark;
        }
        return expanded ? darkCollapse : darkExpand;
    }
};
_TreeImages* s_Images = nullptr;

bool IsWithin(const wxDBTreeListItem* item, const wxDBTreeListItem* top) {
    for (; item; item = item->GetParent())
        if (item == top) return true;
    return false;
}

int ToRow(unsigned long v) {
    return v > (unsigned long)INT_MAX ? INT_MAX : int(v);
}

} // namespace

// ---- wxDBTreeListItem: structure ----

wxDBTreeListItem::~wxDBTreeListItem() {
    if (m_parent) {
        if (wxDBTreeListCtrl* owner = GetOwner())
            owner->_TakeOut(this);
        else
            _Unlink();
    }
    _DeleteChildren();
}

String wxDBTreeListItem::GetText(int) const {
    return String();
}

int wxDBTreeListItem::GetDepth() const {
    int depth = 0;
    for (const wxDBTreeListItem* p = m_parent; p && p->m_parent; p = p->m_parent)
        ++depth;
    return depth;
}

wxDBTreeListCtrl* wxDBTreeListItem::GetOwner() const {
    const wxDBTreeListItem* top = this;
    while (top->m_parent)
        top = top->m_parent;
    return top->m_owner;
}

bool wxDBTreeListItem::IsVisible() const {
    for (const wxDBTreeListItem* p = m_parent; p; p = p->m_parent)
        if (!p->m_expanded) return false;
    return true;
}

// ---- wxDBTreeListItem: rows ----

void wxDBTreeListItem::_EnsurePrefix(size_t index) const {
    _Kids& k = *m_kids;
    if (k.prefixValid > index) return;
    k.prefix.resize(k.items.size() + 1);
    for (size_t i = k.prefixValid; i <= index; ++i)
        k.prefix[i] = k.prefix[i - 1] + k.items[i - 1]->GetVisibleLineCount();
    k.prefixValid = index + 1;
}

wxDBTreeListItem* wxDBTreeListItem::ItemAtIndex(unsigned long index) const {
    const wxDBTreeListItem* node = this;
    for (;;) {
        const _Kids* k = node->m_kids.get();
        if (!k || index >= k->rows) return nullptr;
        size_t i = index;
        unsigned long before = index;
        if (k->taller) { // some child is expanded: find it among the prefix sums
            const size_t n = k->items.size();
            node->_EnsurePrefix(n);
            i = size_t(std::upper_bound(k->prefix.begin(), k->prefix.begin() + n, index) -
                       k->prefix.begin()) -
                1;
            before = k->prefix[i];
        }
        wxDBTreeListItem* child = k->items[i];
        if (index == before) return child;
        index -= before + 1;
        node = child;
    }
}

unsigned long wxDBTreeListItem::IndexOfItem(const wxDBTreeListItem* child) const {
    if (!child || child->m_parent != this) return 0;
    const size_t at = child->_Position();
    if (!m_kids->taller) return at;
    _EnsurePrefix(at);
    return m_kids->prefix[at];
}

size_t wxDBTreeListItem::_Position() const {
    if (!m_parent) return 0;
    const std::vector<wxDBTreeListItem*>& items = m_parent->m_kids->items;
    const size_t hint = std::min<size_t>(m_index, items.size() - 1);
    // Children linked or unlinked before this one moved it by as many places: look outward.
    for (size_t d = 0; d <= hint || hint + d < items.size(); ++d) {
        if (d <= hint && items[hint - d] == this) return m_index = uint32_t(hint - d);
        if (hint + d < items.size() && items[hint + d] == this) return m_index = uint32_t(hint + d);
    }
    return 0; // not reached: a child is among its parent's items
}

void wxDBTreeListItem::_LinesChanged(unsigned long oldLines) {
    wxDBTreeListItem* c = this;
    unsigned long old = oldLines;
    while (wxDBTreeListItem* p = c->m_parent) {
        const unsigned long now = c->GetVisibleLineCount();
        if (now == old) break; // a collapsed ancestor hides the change from those above it
        const unsigned long parentOld = p->GetVisibleLineCount();
        _Kids& k = *p->m_kids;
        k.rows += now - old;
        if ((now != 1) != (old != 1)) now != 1 ? ++k.taller : --k.taller;
        k.prefixValid = std::min<size_t>(k.prefixValid, c->_Position() + 1);
        c = p;
        old = parentOld;
    }
}

// ---- wxDBTreeListItem: changes ----

void wxDBTreeListItem::_Link(size_t position, wxDBTreeListItem* child) {
    if (!m_kids) m_kids.reset(new _Kids);
    _Kids& k = *m_kids;
    const unsigned long old = GetVisibleLineCount();
    position = std::min(position, k.items.size());
    k.items.insert(k.items.begin() + position, child);
    child->m_parent = this;
    // The children after it keep their old index as a hint (see _Position): renumbering them
    // would touch every one of a group of thousands at each move.
    child->m_index = uint32_t(position);
    const unsigned long lines = child->GetVisibleLineCount();
    k.rows += lines;
    if (lines != 1) ++k.taller;
    k.prefixValid = std::min(k.prefixValid, position + 1);
    _LinesChanged(old);
}

void wxDBTreeListItem::_Unlink() {
    wxDBTreeListItem* parent = m_parent;
    _Kids& k = *parent->m_kids;
    const unsigned long old = parent->GetVisibleLineCount();
    const unsigned long lines = GetVisibleLineCount();
    const size_t at = _Position();
    k.items.erase(k.items.begin() + (long)at);
    k.rows -= lines;
    if (lines != 1) --k.taller;
    k.prefixValid = std::min<size_t>(k.prefixValid, at + 1);
    m_parent = nullptr;
    m_index = 0;
    parent->_LinesChanged(old);
}

void wxDBTreeListItem::_Expand(bool expanded) {
    if (m_expanded == expanded) return;
    const unsigned long old = GetVisibleLineCount();
    m_expanded = expanded;
    _LinesChanged(old);
}

void wxDBTreeListItem::_DeleteChildren() {
    if (!m_kids) return;
    std::vector<wxDBTreeListItem*> items;
    items.swap(m_kids->items);
    m_kids.reset();
    for (wxDBTreeListItem* child : items) {
        child->m_parent = nullptr; // gone as a whole: no unlinking one by one
        delete child;
    }
}

void wxDBTreeListItem::InsertChild(size_t position, wxDBTreeListItem* child) {
    CALL_ENTRY("wxDBTreeListItem::InsertChild");
    if (!child || child->m_parent || child->m_owner || IsWithin(this, child)) return;
    if (wxDBTreeListCtrl* owner = GetOwner())
        owner->InsertItem(this, position, child);
    else
        _Link(position, child);
}

void wxDBTreeListItem::AppendChild(wxDBTreeListItem* child) {
    InsertChild(GetChildCount(), child);
}

void wxDBTreeListItem::SetExpanded(bool expanded) {
    CALL_ENTRY("wxDBTreeListItem::SetExpanded");
    wxDBTreeListCtrl* owner = GetOwner();
    if (!owner)
        _Expand(expanded);
    else if (expanded)
        owner->Expand(this);
    else
        owner->Collapse(this);
}

void wxDBTreeListItem::Clear() {
    CALL_ENTRY("wxDBTreeListItem::Clear");
    if (wxDBTreeListCtrl* owner = GetOwner()) {
        owner->DeleteChildren(this);
        return;
    }
    const unsigned long old = GetVisibleLineCount();
    _DeleteChildren();
    _LinesChanged(old);
}

// ---- wxDBTreeListCtrl: tree changes ----

// The tree's own selection, expansion and toggling run before anything a client binds: wx
// runs bound handlers before the event table, and a client handler that does not Skip()
// would otherwise stop them. The client's handlers then see the event as they would have.
bool wxDBTreeListCtrl::TryBefore(wxEvent& event) {
    const wxEventType type = event.GetEventType();
    if ((type == wxEVT_LIST_ITEM_SELECTED || type == wxEVT_LIST_ITEM_ACTIVATED ||
         type == wxEVT_LIST_ITEM_DESELECTED) &&
        event.GetEventObject() == this) {
        if (auto* list = dynamic_cast<wxListEvent*>(&event)) {
            type == wxEVT_LIST_ITEM_DESELECTED ? OnItemDeselected(*list) : OnItemSelected(*list);
            event.Skip(false);
        }
    }
    return wxDBListCtrl::TryBefore(event);
}

wxDBTreeListCtrl::wxDBTreeListCtrl(wxWindow* parent, int id) : wxDBListCtrl(parent, id, false) {
    CALL_ENTRY("wxDBTreeListCtrl::wxDBTreeListCtrl");
    if (!s_Images) s_Images = new _TreeImages;
    m_root.m_expanded = true;
    m_root.m_owner = this;
    // Ahead of the body's own handlers: a press knows where it was, and the keys that open and
    // close items come before the list's.
    m_body->Bind(wxEVT_LEFT_DOWN, &wxDBTreeListCtrl::OnBodyLDown, this);
    m_body->Bind(wxEVT_KEY_DOWN, &wxDBTreeListCtrl::OnBodyKey, this);
}

wxDBTreeListCtrl::~wxDBTreeListCtrl() {
    // The views call the hooks: they go while this object is whole.
    DestroyChildren();
    m_header = nullptr;
    m_body = nullptr;
}

bool wxDBTreeListCtrl::_Holds(const wxDBTreeListItem* item) const {
    return item && item != &m_root && item->GetOwner() == this;
}

void wxDBTreeListCtrl::_PutIn(wxDBTreeListItem* parent, size_t position, wxDBTreeListItem* item) {
    const bool first = !parent->HasChildren();
    parent->_Link(position, item);
    _ForgetRows();
    const int row = RowWithItem(item);
    if (row >= 0) m_body->Insert(row, item->GetVisibleLineCount(), true);
    // A parent that gains its first child gets its box and shading.
    if (first) RefreshItem(parent);
}

void wxDBTreeListCtrl::_TakeOut(wxDBTreeListItem* item) {
    // The rows go while the tree still shows them, so that the list asks about the right items.
    const int row = RowWithItem(item);
    if (row >= 0) m_body->Remove(row, item->GetVisibleLineCount());
    _Forget(item, true);
    if (m_currentItem && IsWithin(m_currentItem, item)) m_currentItem = nullptr;
    wxDBTreeListItem* parent = item->m_parent;
    item->_Unlink();
    _ForgetRows();
    // A parent that lost its last child loses its box and shading.
    if (parent && !parent->HasChildren()) RefreshItem(parent);
}

std::vector<wxDBTreeListItem*> wxDBTreeListCtrl::_Forget(const wxDBTreeListItem* item,
                                                         bool withItem) {
    std::vector<wxDBTreeListItem*> dropped;
    if (m_selection.empty()) return dropped;
    if (!item->HasChildren()) {
        auto it = m_selection.find(const_cast<wxDBTreeListItem*>(item));
        if (withItem && it != m_selection.end()) {
            dropped.push_back(*it);
            m_selection.erase(it);
        }
        return dropped;
    }
    for (auto it = m_selection.begin(); it != m_selection.end();) {
        if ((withItem || *it != item) && IsWithin(*it, item)) {
            dropped.push_back(*it);
            it = m_selection.erase(it);
        } else {
            ++it;
        }
    }
    return dropped;
}

wxDBTreeListItem* wxDBTreeListCtrl::AppendItem(wxDBTreeListItem* parent, wxDBTreeListItem* item) {
    return InsertItem(parent, SIZE_MAX, item);
}

wxDBTreeListItem* wxDBTreeListCtrl::InsertItem(wxDBTreeListItem* parent, size_t position,
                                               wxDBTreeListItem* item) {
    CALL_ENTRY("wxDBTreeListCtrl::InsertItem");
    if (!parent) parent = &m_root;
    // A free item only: one that is in a tree (or is a tree's root) is moved or detached first.
    if (!item || item->m_parent || item->m_owner || parent->GetOwner() != this) return nullptr;
    _PutIn(parent, position, item);
    return item;
}

void wxDBTreeListCtrl::DeleteItem(wxDBTreeListItem* item) {
    CALL_ENTRY("wxDBTreeListCtrl::DeleteItem");
    if (!_Holds(item)) return;
    _TakeOut(item);
    delete item;
}

void wxDBTreeListCtrl::DeleteChildren(wxDBTreeListItem* item) {
    CALL_ENTRY("wxDBTreeListCtrl::DeleteChildren");
    if (!item || item == &m_root) {
        DeleteAllItems();
        return;
    }
    if (!_Holds(item) || !item->HasChildren()) return;
    const int row = RowWithItem(item);
    if (row >= 0 && item->m_expanded) m_body->Remove(row + 1, item->m_kids->rows);
    _Forget(item, false);
    if (m_currentItem != item && IsWithin(m_currentItem, item)) m_currentItem = nullptr;
    const unsigned long old = item->GetVisibleLineCount();
    item->_DeleteChildren();
    item->_LinesChanged(old);
    _ForgetRows();
    if (row >= 0) RedrawItem(row);
}

void wxDBTreeListCtrl::DeleteAllItems() {
    CALL_ENTRY("wxDBTreeListCtrl::DeleteAllItems");
    Clear();
}

wxDBTreeListItem* wxDBTreeListCtrl::DetachItem(wxDBTreeListItem* item) {
    CALL_ENTRY("wxDBTreeListCtrl::DetachItem");
    if (!_Holds(item)) return nullptr;
    _TakeOut(item);
    return item;
}

void wxDBTreeListCtrl::MoveItem(wxDBTreeListItem* item, wxDBTreeListItem* parent, size_t position) {
    CALL_ENTRY("wxDBTreeListCtrl::MoveItem");
    if (!parent) parent = &m_root;
    if (!_Holds(item) || parent->GetOwner() != this || IsWithin(parent, item)) return;
    // Unselected while on the way, so that leaving the rows sends no deselection.
    const std::vector<wxDBTreeListItem*> selected = _Forget(item, true);
    wxDBTreeListItem* current = m_currentItem;
    _TakeOut(item);
    _PutIn(parent, position, item);
    m_currentItem = current;
    for (wxDBTreeListItem* s : selected) {
        const int row = RowWithItem(s);
        if (row < 0) continue;
        m_selection.insert(s);
        RedrawItem(row);
    }
}

void wxDBTreeListCtrl::SortChildren(wxDBTreeListItem* parent, const Less& less) {
    CALL_ENTRY("wxDBTreeListCtrl::SortChildren");
    if (!parent) parent = &m_root;
    if (parent->GetOwner() != this || !parent->HasChildren() || !less) return;
    auto& k = *parent->m_kids;
    // The same order as one stable sort, cheaper for the usual case of sorted children with
    // newcomers appended: the sorted front stays, the rest is sorted and merged in.
    const auto tail = std::is_sorted_until(k.items.begin(), k.items.end(), less);
    std::stable_sort(tail, k.items.end(), less);
    std::inplace_merge(k.items.begin(), tail, k.items.end(), less);
    for (size_t i = 0; i < k.items.size(); ++i)
        k.items[i]->m_index = uint32_t(i);
    k.prefixValid = 1;
    _ForgetRows();
    if (parent == &m_root || RowWithItem(parent) >= 0) m_body->Redraw();
}

// ---- wxDBTreeListCtrl: expansion ----

void wxDBTreeListCtrl::Expand(wxDBTreeListItem* item) {
    CALL_ENTRY("wxDBTreeListCtrl::Expand");
    if (!_Holds(item) || item->m_expanded) return;
    const int row = RowWithItem(item);
    item->_Expand(true);
    _ForgetRows();
    if (row < 0) return;
    if (item->m_kids && item->m_kids->rows) m_body->Insert(row + 1, item->m_kids->rows, true);
    RedrawItem(row);
}

void wxDBTreeListCtrl::Collapse(wxDBTreeListItem* item) {
    CALL_ENTRY("wxDBTreeListCtrl::Collapse");
    if (!_Holds(item) || !item->m_expanded) return;
    const int row = RowWithItem(item);
    // The rows go while they still show the children: selected ones are deselected.
    if (row >= 0 && item->m_kids && item->m_kids->rows) m_body->Remove(row + 1, item->m_kids->rows);
    _Forget(item, false);
    if (m_currentItem != item && IsWithin(m_currentItem, item)) m_currentItem = item;
    item->_Expand(false);
    _ForgetRows();
    if (row >= 0) RedrawItem(row);
}

void wxDBTreeListCtrl::Toggle(wxDBTreeListItem* item) {
    if (item && item->m_expanded)
        Collapse(item);
    else
        Expand(item);
}

void wxDBTreeListCtrl::RefreshItem(const wxDBTreeListItem* item) {
    const int row = RowWithItem(item);
    if (row >= 0) RedrawItem(row);
}

void wxDBTreeListCtrl::EnsureVisible(wxDBTreeListItem* item) {
    CALL_ENTRY("wxDBTreeListCtrl::EnsureVisible");
    if (!_Holds(item)) return;
    // Innermost first: the hidden ones only change state, the outermost inserts all rows once.
    for (wxDBTreeListItem* p = item->m_parent; p != &m_root; p = p->m_parent)
        Expand(p);
    const int row = RowWithItem(item);
    if (row >= 0) wxDBListCtrl::EnsureVisible(row);
}

// ---- wxDBTreeListCtrl: selection ----

std::vector<wxDBTreeListItem*> wxDBTreeListCtrl::GetSelectedItems() {
    CALL_ENTRY("wxDBTreeListCtrl::GetSelectedItems");
    std::vector<std::pair<int, wxDBTreeListItem*>> rows;
    rows.reserve(m_selection.size());
    for (wxDBTreeListItem* item : m_selection)
        rows.emplace_back(RowWithItem(item), item);
    std::sort(rows.begin(), rows.end());
    std::vector<wxDBTreeListItem*> items;
    items.reserve(rows.size());
    for (const auto& r : rows)
        items.push_back(r.second);
    return items;
}

bool wxDBTreeListCtrl::IsSelected(const wxDBTreeListItem* item) const {
    return m_selection.count(const_cast<wxDBTreeListItem*>(item)) > 0;
}

void wxDBTreeListCtrl::SelectItem(wxDBTreeListItem* item, bool select) {
    CALL_ENTRY("wxDBTreeListCtrl::SelectItem");
    const int row = RowWithItem(item);
    if (select) {
        if (row < 0) return;
        m_selection.insert(item);
        m_currentItem = item;
    } else {
        m_selection.erase(item);
    }
    if (row >= 0) RedrawItem(row);
}

void wxDBTreeListCtrl::_SelectRow(int row) {
    if (row < 0) return;
    m_body->DeselectAll(false);
    m_body->ProcessSelection(row, wxPoint(0, GetItemRect(row).y), false, false);
    SetLastSelect(row);
    wxDBListCtrl::EnsureVisible(row);
}

// ---- wxDBTreeListCtrl: rows and geometry ----

wxDBTreeListItem* wxDBTreeListCtrl::ItemAtRow(int row) {
    if (row < 0) return nullptr;
    if (row != m_cacheRow) {
        m_cacheItem = m_root.ItemAtIndex((unsigned long)row);
        m_cacheRow = row;
    }
    return m_cacheItem;
}

int wxDBTreeListCtrl::RowWithItem(const wxDBTreeListItem* item) {
    if (!item || item == &m_root) return -1;
    unsigned long row = 0;
    const wxDBTreeListItem* c = item;
    for (; c->m_parent; c = c->m_parent) {
        if (!c->m_parent->m_expanded) return -1;
        row += c->m_parent->IndexOfItem(c) + 1;
    }
    return c == &m_root ? ToRow(row - 1) : -1;
}

int wxDBTreeListCtrl::FirstVisibleParent(const wxDBTreeListItem* item) {
    if (!item) return -1;
    for (const wxDBTreeListItem* p = item->m_parent; p && p != &m_root; p = p->m_parent)
        if (p->IsVisible()) return RowWithItem(p);
    return -1;
}

wxRect wxDBTreeListCtrl::ExpanderRect(int depth, int rowHeight) {
    return wxRect(depth * k_Indent + k_Spacing / 2, (rowHeight - k_ImageSize) / 2, k_ImageSize,
                  k_ImageSize);
}

int wxDBTreeListCtrl::TextIndent(int depth) {
    return (depth + 1) * k_Indent;
}

bool wxDBTreeListCtrl::IsOnExpander(const wxPoint& point) {
    int x = 0;
    if (m_body->FindColumn(point.x, &x) != 0) return false;
    const int row = m_body->RowAt(point.y);
    const wxDBTreeListItem* item = ItemAtRow(row);
    if (!item || !item->HasChildren()) return false;
    const wxRect box = ExpanderRect(item->GetDepth(), GetRowHeight());
    return box.GetRight() < GetColumnWidth(0) &&
           box.Contains(x, point.y - m_body->GetItemRect(row).y);
}

// ---- wxDBTreeListCtrl: list hooks ----

bool wxDBTreeListCtrl::IsRowSelected(int row) {
    if (m_selection.empty()) return false;
    wxDBTreeListItem* item = ItemAtRow(row);
    return item && m_selection.count(item);
}

std::vector<int> wxDBTreeListCtrl::GetSelection() {
    std::vector<int> rows;
    rows.reserve(m_selection.size());
    for (const wxDBTreeListItem* item : m_selection) {
        const int row = RowWithItem(item);
        if (row >= 0) rows.push_back(row);
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

String wxDBTreeListCtrl::GetDisplayText(int row, int column) {
    const wxDBTreeListItem* item = ItemAtRow(row);
    return item ? item->GetText(column) : String();
}

wxColour wxDBTreeListCtrl::GetRowBGColor(int row) {
    const wxColour base = wxDBListCtrl::GetRowBGColor(row);
    const wxDBTreeListItem* item = ItemAtRow(row);
    if (!base.IsOk() || !item || !item->HasChildren()) return base;
    // Rows that hold others stand a little apart from the rows they hold.
    const int lift = Luma(base) >= 128 ? -10 : 10;
    return OffsetColor(base, lift, lift, lift);
}

wxCursor wxDBTreeListCtrl::CustomizeCursor(int row, int column, int x, int y) {
    const wxDBTreeListItem* item = column == 0 ? ItemAtRow(row) : nullptr;
    if (item && item->HasChildren()) {
        const wxRect box = ExpanderRect(item->GetDepth(), GetRowHeight());
        if (box.GetRight() < GetColumnWidth(0) && box.Contains(x, y)) return s_Images->arrow;
    }
    return wxDBListCtrl::CustomizeCursor(row, column, x, y);
}

void wxDBTreeListCtrl::DoClear() {
    m_root._DeleteChildren();
    m_selection.clear();
    m_currentItem = nullptr;
    _ForgetRows();
}

// ---- wxDBTreeListCtrl: drawing ----

void wxDBTreeListCtrl::DrawCell(wxDC& dc, int row, int column, wxRect cell, bool selected) {
    if (column != 0) {
        wxDBListCtrl::DrawCell(dc, row, column, cell, selected);
        return;
    }
    const wxDBTreeListItem* item = ItemAtRow(row);
    if (!item) return;
    const int depth = item->GetDepth();
    if (item->HasChildren()) {
        const wxRect box = ExpanderRect(depth, cell.height);
        if (box.GetRight() < cell.width)
            dc.DrawBitmap(s_Images->Box(item->m_expanded), cell.x + box.x, cell.y + box.y, false);
    }
    const int indent = TextIndent(depth);
    if (indent >= cell.width) return;
    cell.x += indent;
    cell.width -= indent;
    wxDBListCtrl::DrawCell(dc, row, column, cell, selected);
}

// ---- wxDBTreeListCtrl: events and keys ----

void wxDBTreeListCtrl::OnItemSelected(wxListEvent& event) {
    event.Skip();
    if (event.GetEventObject() != this) return;
    const int row = int(event.GetIndex());
    wxDBTreeListItem* item = ItemAtRow(row);
    if (!item) return;
    m_selection.insert(item);
    m_currentItem = item;
    // Only the press itself toggles: not a Shift range or a drag that passes over the box.
    const bool onBox =
        m_pressing && m_body->RowAt(m_pressPoint.y) == row && IsOnExpander(m_pressPoint);
    if ((onBox || event.GetEventType() == wxEVT_LIST_ITEM_ACTIVATED) && item->HasChildren())
        Toggle(item);
    RedrawItem(row);
}

void wxDBTreeListCtrl::OnItemDeselected(wxListEvent& event) {
    event.Skip();
    if (event.GetEventObject() != this) return;
    const int row = int(event.GetIndex());
    if (wxDBTreeListItem* item = ItemAtRow(row)) m_selection.erase(item);
    RedrawItem(row);
}

void wxDBTreeListCtrl::OnBodyLDown(wxMouseEvent& event) {
    // Set only while the body turns this press into selection events.
    struct Pressing {
        bool& flag;
        explicit Pressing(bool& f) : flag(f) { flag = true; }
        ~Pressing() { flag = false; }
    } pressing(m_pressing);
    m_pressPoint = event.GetPosition();
    m_body->OnLDown(event);
}

void wxDBTreeListCtrl::OnBodyKey(wxKeyEvent& event) {
    const int key = event.GetKeyCode();
    const bool open = key == WXK_RIGHT || key == '+' || key == WXK_NUMPAD_ADD;
    const bool close = key == WXK_LEFT || key == '-' || key == WXK_NUMPAD_SUBTRACT;
    wxDBTreeListItem* item =
        RowWithItem(m_currentItem) >= 0 ? m_currentItem : ItemAtRow(GetLastSelect());
    // Shift may be what types '+' or '-'; Control and Alt mean other commands.
    if ((!open && !close) || event.ControlDown() || event.AltDown() || !item) {
        event.Skip();
        return;
    }
    // Right on an open item steps into it, Left on a closed one steps out to the parent.
    if (open && item->HasChildren() && !item->m_expanded)
        Expand(item);
    else if (open && key == WXK_RIGHT && item->HasChildren())
        _SelectRow(RowWithItem(item->GetChild(0)));
    else if (close && item->HasChildren() && item->m_expanded)
        Collapse(item);
    else if (close && key == WXK_LEFT && item->m_parent != &m_root)
        _SelectRow(RowWithItem(item->m_parent));
}
