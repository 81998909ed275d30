/// @file
/// The fast multi-column list: a themed panel holding a header and a body, both double-buffered
/// views. The control holds no row data: it knows the row count and asks its subclass for every
/// cell's text, every row's colours and selection state. Selection changes are not applied here
/// either: the body sends the standard list events and the subclass applies them.
///
/// wxsListCtrl, at the end, is the list that stores its rows and selection itself.
///
/// Sections: table settings; FormatDisplayString; wxDBListBase; wxDBListHeader; wxDBListBody;
/// wxDBListCtrl; wxsListCtrl.
#pragma once

#include <wxTaviro/wxDoubleBufferedWindow.h>
#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/String.h>

#include <wx/cursor.h>
#include <wx/font.h>
#include <wx/imaglist.h>
#include <wx/listbase.h>
#include <wx/timer.h>
#include <wx/validate.h>

#include <climits>
#include <memory>
#include <vector>

class wxDBListCtrl;
class _CellTextCache;

/// @addtogroup views
/// @{

// ---- table settings ----

/// Shared by every list, filled by Init() on the first construction of a wxDBListCtrl.
struct _TableSettings {
    int charWidth = 0;
    int charHeight = 0;
    wxFont font;
    wxCursor cursor;
    int rowShade = -2;
    int cellPadding = 3;
    bool initialised = false;

    void Init();
};
/// The metrics every list shares: character size, font, cursor, row shading, cell padding.
extern _TableSettings g_TableSettings;

/// Fits `text` into `width` pixels by cutting characters out of its middle ("abc...yz"); on
/// return `width` holds the width of the returned text (which may still exceed the request
/// when even the shortest candidate does not fit).
String FormatDisplayString(const String& text, int& width, wxDC& dc);

/// A one-shot timer that calls back its owner's handler; kept as a type of its own so that
/// the owner can tell it from other timers by id.
class wxFixedTimer : public wxTimer {
public:
    /// A timer whose events go to `owner` with `id`.
    wxFixedTimer(wxEvtHandler* owner, int id) : wxTimer(owner, id) {}
};

// ---- wxDBListBase ----

/// What the header and the body of a wxDBListCtrl share: the owner, the column under a point,
/// and list events sent through the owner.
class wxDBListBase : public wxDoubleBufferedWindow {
public:
    /// A view of `owner`'s table, made inside `parent`.
    wxDBListBase(wxDBListCtrl* owner, wxWindow* parent);

    /// The column under client x: -1 left of the first column, right of the last one, or when
    /// there are no columns; `offset` gets the x within the column.
    int FindColumn(int x, int* offset = nullptr) const;
    /// Builds a list event and has the control's handler process it before returning. A row of
    /// -1 is derived from point.y; the short form finds the column from point.x.
    void SendListEvent(wxEventType type, wxPoint point, int column, int row);
    /// The same, with the column found from point.x.
    void SendListEvent(wxEventType type, wxPoint point, int row = -1);

    /// The list this view belongs to.
    wxDBListCtrl* GetListCtrl() const { return m_list; }

protected:
    /// The capture is gone (another window took it): nothing to undo but the state.
    void CaptureLost(wxMouseCaptureLostEvent& event);
    wxDBListCtrl* m_list; ///< the owner

    wxDECLARE_EVENT_TABLE();
};

// ---- wxDBListHeader ----

/// The column header of a wxDBListCtrl: labels, images, the highlighted column; a click sends
/// wxEVT_LIST_COL_CLICK, a right click wxEVT_LIST_COL_RIGHT_CLICK, and dragging a column's right
/// edge resizes it between wxEVT_LIST_COL_BEGIN_DRAG and wxEVT_LIST_COL_END_DRAG. Event points
/// are relative to the top of the body.
class wxDBListHeader : public wxDBListBase {
public:
    /// The header of `owner`, made inside `parent`.
    wxDBListHeader(wxDBListCtrl* owner, wxWindow* parent);
    /// Draws the visible column labels, scrolled with the body.
    void DrawBitmap() override;

    /// @name Event handlers
    /// @{
    /// Resizes while dragging an edge; otherwise the resize cursor over an edge and the
    /// label as tooltip.
    void OnMotion(wxMouseEvent& event);
    /// Presses a column, or starts resizing at an edge.
    void OnLDown(wxMouseEvent& event);
    /// Ends the press with a column click, or the resize.
    void OnLUp(wxMouseEvent& event);
    /// Sends the column right click.
    void OnRDown(wxMouseEvent& event);
    /// Drops the hover look.
    void OnLeave(wxMouseEvent& event);
    /// @}

    /// The column whose right edge is within 3 pixels of client x, -1 when none.
    int FindEdge(int x) const;
    /// The column pressed now; -1 when none.
    int GetPressedColumn() const { return m_pressedColumn; }
    /// Whether a column edge is being dragged.
    bool IsResizing() const { return m_resizeStartX >= 0; }
    /// The column being (or last) resized.
    int GetResizeColumn() const { return m_resizeColumn; }
    /// The header's height in pixels.
    int GetHeaderHeight() const { return m_lineHeight; }

protected:
    int m_pressedColumn = -1; ///< see GetPressedColumn
    wxCursor m_cursor;        ///< the cursor shown now
    int m_resizeStartX = -1;  ///< where the edge drag began; -1 when not resizing
    int m_resizeColumn = -1;  ///< see GetResizeColumn
    wxPoint m_mouse{-1, -1};  ///< the pointer; (-1, -1) outside
    bool m_overEdge = false;  ///< the resize cursor is shown

private:
    /// The dragged edge to client x: the column's new width, redrawn in the next frame.
    void _DragEdgeTo(int x);

    wxDECLARE_EVENT_TABLE();
};

// ---- wxDBListBody ----

/// The rows of a wxDBListCtrl: draws the visible cells through the owner's hooks, turns
/// clicks and keys into selection events (wxEVT_LIST_ITEM_SELECTED and _DESELECTED, which the
/// owner applies), sends wxEVT_LIST_ITEM_RIGHT_CLICK and wxEVT_LIST_ITEM_ACTIVATED (double
/// click), shows a cell's full text as a tooltip, and keeps the anchor row of the selection.
class wxDBListBody : public wxDBListBase {
public:
    /// The rows of `owner`, made inside `parent`.
    wxDBListBody(wxDBListCtrl* owner, wxWindow* parent, bool singleSelection);
    ~wxDBListBody() override;
    /// Draws the visible rows and columns.
    void DrawBitmap() override;

    /// Adds `count` rows before `position`; the anchor moves down with its row.
    void Insert(int position, unsigned long count, bool redraw);
    /// Removes `count` rows from `position`: the selected ones among them are deselected first
    /// and an anchor among them moves to the row above.
    void Remove(int position, unsigned long count);
    /// No rows: the owner's DoClear, then count 0.
    void Clear();
    /// The number of rows.
    int GetItemCount() const { return m_lineCount; }
    /// The row height in pixels.
    int GetRowHeight() const { return m_lineHeight; }

    /// Geometry in client coordinates; the one source of truth for paint, hit tests and redraws.
    /// The client size is the one of the last scroll-bar adjustment (every resize makes one):
    /// asking the toolkit costs more than filling a row.
    wxSize ViewSize() const;
    /// A cell's rectangle.
    wxRect GetCellRect(int row, int column) const;
    /// A column's rectangle, the view's height.
    wxRect GetColumnRect(int column) const;
    /// A row's rectangle, all columns wide.
    wxRect GetItemRect(int row) const;
    /// The row under client y (may be past the last row).
    int RowAt(int y) const;

    /// Redraw of one row, when visible.
    void RedrawItem(int row);
    /// Redraw of rows a to b (either order).
    void RedrawItems(int a, int b);
    /// Redraw of columns a to b (either order).
    void RedrawColumns(int a, int b);
    /// Redraw of the cells between two corners.
    void RedrawCells(int row1, int column1, int row2, int column2);

    /// Selection by the rules of a click at `row` with the given modifiers; -1 below the last
    /// row. Sends the selection events; the subclass applies them.
    int ProcessSelection(int row, const wxPoint& point, bool shift, bool control);
    /// Sends a deselection for every selected row; `resetAnchor` forgets the anchor too.
    void DeselectAll(bool resetAnchor);

    /// @name Event handlers
    /// @{
    /// Selects as a click does (Shift extends, Control toggles) and captures the pointer.
    void OnLDown(wxMouseEvent& event);
    /// Releases the pointer.
    void OnLUp(wxMouseEvent& event);
    /// Selects the row unless it is selected already, then sends the right click.
    void OnRDown(wxMouseEvent& event);
    /// Sends wxEVT_LIST_ITEM_ACTIVATED.
    void OnDoubleClick(wxMouseEvent& event);
    /// Drag-selects while captured; otherwise the hover row, the cursor and the tooltip delay.
    void OnMotion(wxMouseEvent& event);
    /// Drops the hover row.
    void OnLeave(wxMouseEvent& event);
    /// Up and Down move the anchor (Shift or Control extends the selection), then JumpKey.
    void OnKey(wxKeyEvent& event);
    /// Page Up and Down, Home and End: the anchor jumps there, as that many arrow presses
    /// would move it (a page from the top of the view without an anchor); false for other keys.
    bool JumpKey(const wxKeyEvent& event);
    /// The pointer rested: the tooltip of the cell under it.
    void OnTooltipTimer(wxTimerEvent& event);
    /// @}
    /// The tooltip for client point (x, y): the full text of the cell there; empty outside the
    /// table, and for a cell drawn in full when the list shows tooltips only for shortened ones.
    wxString TooltipAt(int x, int y);
    /// Whether the cell's text is drawn shortened, found by drawing the cell aside through the
    /// subclass's hooks: 1 or 0; -1 when its drawing does not tell (a DrawCell of its own).
    int IsCellShortened(int row, int column);

    /// The anchor row of the selection (the focused row); -1 when none.
    int GetLastSelect() const { return m_lastSelect; }
    /// Moves the anchor; sends nothing.
    void SetLastSelect(int row) { m_lastSelect = row; }
    /// The row under the pointer; -1 when none.
    int GetHoverRow() const { return m_hoverRow; }

    /// Drops the cached cell texts (font or colour scheme changed).
    void ClearTextCache();
    /// The rendered cell texts kept between frames.
    _CellTextCache* GetTextCache() const { return m_cache.get(); }

protected:
    /// The control and the header keep the body's metrics (widths, partner, report switch).
    friend class wxDBListCtrl;
    friend class wxDBListHeader;

    /// A scheme change: the cached texts are of the old colours.
    void OnColors(wxSysColourChangedEvent& event);
    /// Focus gained or lost: repaints the anchor row's focus mark.
    void OnFocus(wxFocusEvent& event);
    /// Steps shared by left and right button down.
    void ClickSelect(int row, const wxPoint& point, bool shift, bool control);

    int m_lastSelect = -1;       ///< see GetLastSelect
    int m_hoverRow = -1;         ///< see GetHoverRow
    int m_lastMouseX = INT_MIN;  ///< the pointer's last x, for the tooltip
    int m_lastMouseY = INT_MIN;  ///< the pointer's last y
    wxFixedTimer m_tooltipTimer; ///< the tooltip delay
    /// The cell being drawn aside by IsCellShortened; the default DrawCell answers for it.
    struct _Probe {
        int row = -1, column = -1, shortened = -1;
    } m_probe;                               ///< the cell IsCellShortened draws aside
    bool m_singleSelection;                  ///< one row at most is selected
    wxCursor m_cursor;                       ///< the cursor shown now
    std::unique_ptr<_CellTextCache> m_cache; ///< see GetTextCache

    wxDECLARE_EVENT_TABLE();
};

// ---- wxDBListCtrl ----

/// The fast virtual list: derive from it, say how many rows there are (SetItemCount, Insert,
/// Remove) and answer GetDisplayText for each visible cell; the list draws only what is on
/// screen, so a billion rows cost what a screenful does. The selection lives in the subclass:
/// the list sends wxEVT_LIST_ITEM_SELECTED and _DESELECTED for it to apply (and asks
/// IsRowSelected to draw), and the usual wxEVT_LIST_* events for clicks, right clicks, double
/// clicks and column clicks. Redraw requests are cheap and merged. GUI thread only.
///
///     class Jobs : public wxDBListCtrl {
///     public:
///         Jobs(wxWindow* parent) : wxDBListCtrl(parent, wxID_ANY, false) {
///             AddColumn(0, "Name", 200);
///         }
///         String GetDisplayText(int row, int column) override { return m_Names[row]; }
///         ...
///     };
class wxDBListCtrl : public wxsPanel {
public:
    /// One column of the header.
    struct ColumnHeader {
        String label;        ///< the header text
        int width = 100;     ///< pixels
        int dragWidth = 100; ///< the width when the current edge drag began
        bool enabled = true; ///< kept for the client; every column is drawn
        int type = 0;        ///< the client's code for what the column shows (FindColumnByType)
        String text2;        ///< a second text kept for the client
        int image = -1;      ///< index into the image list; -1: none
        /// The width a restored layout falls back to for a width out of range; -1: the width
        /// the column had when it was added.
        int defaultWidth = -1;
    };

    /// An empty list without columns; `singleSelection` allows one selected row at most.
    wxDBListCtrl(wxWindow* parent, int id, bool singleSelection);
    /// The header and body go first: they call back into the list.
    ~wxDBListCtrl() override;

    /// @name Hooks for the subclass that owns the rows
    /// Called on the GUI thread while painting, for visible rows only.
    /// @{
    /// Whether the row is drawn selected.
    virtual bool IsRowSelected(int row) = 0;
    /// Every selected row (for deselecting them all).
    virtual std::vector<int> GetSelection() = 0;
    /// Called before a row's cells are drawn (fetch the row's record once here); nothing here.
    virtual void PrepareToDraw(int row);
    /// The text of a cell.
    virtual String GetDisplayText(int row, int column) = 0;
    /// The row's text colour; "Text" by default.
    virtual wxColour GetRowColor(int row);
    /// The row's background; "WindowBGDarker", every other row a shade off.
    virtual wxColour GetRowBGColor(int row);
    /// Called after a row's cells are drawn; nothing here.
    virtual void CleanupAfterDraw(int row);
    /// The default draws GetDisplayText fitted into the padded cell. Its rendered text is kept
    /// between frames, keyed by text, width and the DC's text colours: the body sets the DC's
    /// text foreground and background to the row's colours first, and an override that paints
    /// a cell background of its own sets the text background to it before calling this.
    virtual void DrawCell(wxDC& dc, int row, int column, wxRect cell, bool selected);
    /// The pointer's cursor over a cell (x, y within the cell); the table's arrow by default.
    virtual wxCursor CustomizeCursor(int row, int column, int x, int y);
    /// Clear is emptying the list: drop the rows' records here; nothing by default.
    virtual void DoClear();
    /// @}

    /// @name Columns
    /// @{
    /// Appends a column.
    void AddColumn(const ColumnHeader& column);
    /// Appends a column of that type, label and width (-1: 100 pixels).
    void AddColumn(int type, String label, int width);
    /// Inserts a column before `position` (clamped); a negative width is 100 pixels.
    void InsertColumn(int position, int type, String label, String text2, int width);
    /// Moves a column to another place; the highlight stays with its column.
    void MoveColumn(int from, int to);
    /// Removes a column; ignored outside the columns.
    void RemoveColumn(int index);
    /// Removes every column.
    void RemoveAllColumns();
    /// Relabels a column; ignored outside the columns.
    void SetColumnLabel(int index, const String& label);
    /// Sets a column's header image (an index into the image list; -1: none).
    void SetColumnImage(int index, int image);
    /// The first column of that type; -1 when none.
    int FindColumnByType(int type) const;
    /// A column's label; the index must be valid.
    String GetColumnName(int index);
    /// Tints that column with the selection colour in header and rows (a sort column); -1: none.
    void SetHighlightColumn(int index);
    /// The highlighted column; -1 when none.
    int GetHighlightColumn() const { return m_highlightColumn; }
    /// The number of columns.
    int GetColumnCount() const { return static_cast<int>(m_columns.size()); }
    /// A column; the index must be valid.
    const ColumnHeader& GetColumn(int index) const { return m_columns[index]; }
    /// A column's width in pixels; the index must be valid.
    int GetColumnWidth(int index) const { return m_columns[index].width; }
    /// Sets a column's width in pixels; ignored outside the columns.
    void SetColumnWidth(int index, int width);
    /// The header's images; not owned.
    void SetImageList(wxImageList* images) { m_images = images; }
    /// The header's images; null when none.
    wxImageList* GetImageList() const { return m_images; }
    /// @}

    /// @name Rows
    /// The list only counts rows; the subclass keeps what they hold.
    /// @{
    /// Adds a row before `position` (the anchor moves with its row); `redraw` repaints the
    /// rows from there on.
    void Insert(int position, bool redraw);
    /// Adds `count` rows before `position`.
    void Insert(int position, unsigned long count, bool redraw);
    /// Removes a row: deselected first (an event), the anchor on it moves to the row above.
    void Remove(int row);
    /// Removes `count` rows from `position`, as Remove(row) does each.
    void Remove(int position, unsigned long count);
    /// No rows at all: DoClear, then the count goes to 0 (no deselection events).
    void Clear();
    /// The number of rows.
    int GetItemCount() const;
    /// The height of every row in pixels.
    int GetRowHeight() const;
    /// Sets the row count (a convenience for virtual tables: inserts or removes at the end).
    void SetItemCount(int count);
    /// @}

    /// @name Redraw requests
    /// All are merged and carried out 75 ms later; safe to call for every change.
    /// @{
    /// One row.
    void RedrawItem(int row);
    /// Rows a to b, in either order.
    void RedrawItems(int a, int b);
    /// One column, header included.
    void RedrawColumn(int column);
    /// Columns a to b, in either order.
    void RedrawColumns(int a, int b);
    /// One cell.
    void RedrawCell(int row, int column);
    /// The cells between two corners.
    void RedrawCells(int row1, int column1, int row2, int column2);
    /// Header and rows, all of them.
    void Redraw();
    /// @}

    /// A cell's rectangle in the body's client coordinates.
    wxRect GetCellRect(int row, int column) const;
    /// A column's rectangle in the body's client coordinates.
    wxRect GetColumnRect(int column) const;
    /// A row's rectangle in the body's client coordinates.
    wxRect GetItemRect(int row) const;

    /// Column widths in display order under `key` of `section` in the application's settings.
    void SaveColumnSizes(const String& section, const String& key);
    /// Reads the widths SaveColumnSizes wrote; a width out of range falls back to the column's
    /// default, missing ones leave their columns alone.
    void RestoreColumnSizes(const String& section, const String& key);

    /// The anchor row of the selection (where Shift+click extends from, the focused row); -1
    /// when none.
    int GetLastSelect() const;
    /// Moves the anchor; sends nothing.
    void SetLastSelect(int row);
    /// Logs the body's scroll state on every scroll-bar adjustment, from now on.
    void ReportScrollbars();
    /// Scrolls so that `row` is visible (no-op when it already is).
    void EnsureVisible(int row);

    /// The header view.
    wxDBListHeader* GetHeader() const { return m_header; }
    /// The rows' view (where mouse and key events arrive).
    wxDBListBody* GetBody() const { return m_body; }
    /// Whether one row at most is selected.
    bool IsSingleSelection() const { return m_singleSelection; }
    /// Tooltips only for cells whose text is drawn shortened (by default every cell under a
    /// resting pointer gets its full text as a tooltip).
    void SetTooltipsOnlyWhenShortened(bool only) { m_tooltipsOnlyWhenShortened = only; }

protected:
    friend class wxDBListHeader;
    friend class wxDBListBody;
    friend class wxDBListBase;

    std::vector<ColumnHeader> m_columns;      ///< in display order
    int m_highlightColumn = -1;               ///< see SetHighlightColumn
    wxDBListHeader* m_header = nullptr;       ///< see GetHeader
    wxDBListBody* m_body = nullptr;           ///< see GetBody
    wxImageList* m_images = nullptr;          ///< see SetImageList
    bool m_singleSelection;                   ///< see IsSingleSelection
    bool m_tooltipsOnlyWhenShortened = false; ///< see SetTooltipsOnlyWhenShortened
};

// ---- wxsListCtrl ----

/// The selected rows of a wxsListCtrl: their order of selection, which callers see, and a bit
/// per row, which the paint asks for every row it draws.
class _RowSelection {
public:
    bool Contains(int row) const {
        return row >= 0 && size_t(row) < m_flags.size() && m_flags[size_t(row)];
    }
    /// False when the row was already selected.
    bool Add(int row);
    /// False when the row was not selected.
    bool Erase(int row);
    /// A row was inserted before `row`: selected rows from `row` on move down by one.
    void InsertRow(int row);
    /// `row` is gone: it leaves the selection and the rows below it move up by one.
    void DeleteRow(int row);
    void Clear();
    std::vector<int> Ordered() const;
    /// The first row in selection order that is greater than `item`, -1 when none.
    int FirstAbove(int item) const;

private:
    void Compact();

    // Selection order; -1 marks an erased entry, dropped once they outnumber the live ones,
    // so that deselecting a big selection entry by entry stays linear.
    std::vector<int> m_order;
    size_t m_hint = 0; // just after the entry erased last
    size_t m_count = 0;
    // As long as the highest selected row + 1 at least.
    std::vector<bool> m_flags;
};

/// A list that stores its rows and keeps its selection, with the item calls of a report-style
/// wxListCtrl, so that code written for that control fills the fast list instead. It applies
/// the selection events of its body before any handler sees them, then lets them go on.
class wxsListCtrl : public wxDBListCtrl {
public:
    /// Set by SetItemFont and SetItemTextColour; most rows never set them, so a row carries
    /// them only once it does.
    struct RowLook {
        wxFont font;         ///< null: the list's font
        wxColour textColour; ///< invalid: the list's colour
    };
    /// One stored row.
    struct Row {
        /// One text per column at insertion; columns added later read as empty until set.
        std::vector<String> cells;
        std::unique_ptr<RowLook> look; ///< font and textColour; null: the null font, no colour
        int image = -1;                ///< the row's image index, as given to InsertItem
    };

    /// Position, size, style, validator and name are accepted for compatibility and ignored.
    wxsListCtrl(wxWindow* parent, int id, const wxPoint& pos = wxDefaultPosition,
                const wxSize& size = wxDefaultSize, long style = 0,
                const wxValidator& validator = wxDefaultValidator,
                const wxString& name = "listCtrl");

    /// Whether the row is in the selection.
    bool IsRowSelected(int row) override;
    /// The selected rows in the order they were selected.
    std::vector<int> GetSelection() override;
    /// The stored text; empty for cells never set.
    String GetDisplayText(int row, int column) override;
    /// Drops every row's record and the selection.
    void DoClear() override;

    /// Adds a row to the count and its record at `index`, clamped to 0..GetItemCount() as
    /// Insert places rows; returns the index used.
    int InsertItem(int index, const String& label, int image = -1);
    /// Ignored outside the rows or the columns; false then.
    bool SetItem(int row, int column, const String& text);
    /// The row's own text colour; ignored outside the rows.
    void SetItemTextColour(int row, const wxColour& colour);
    /// The row's own font; ignored outside the rows.
    void SetItemFont(int row, const wxFont& font);
    /// The row's own text colour; invalid when it has none.
    wxColour GetItemTextColour(int row) const;
    /// The row's own font; the null font when it has none.
    wxFont GetItemFont(int row) const;
    /// The row's image index; -1 when none or outside the rows.
    int GetItemImage(int row) const;
    /// Drops the row's record and moves the rows below it up, selection included, but leaves
    /// the row count alone: the last row then reads empty. To shorten the count as well, Remove
    /// the last row: Remove(row) would deselect the row that has moved up into `row`.
    bool DeleteItem(int row);
    /// The first selected row, in selection order, above `item` (-1: the first selected row);
    /// -1 when none. Geometry and state are ignored: only selected rows are found.
    int GetNextItem(int item, int geometry = wxLIST_NEXT_ALL, int state = wxLIST_STATE_SELECTED);

    /// Adds the event's row to the selection (and lets the event go on when it did).
    void OnItemSelect(wxListEvent& event);
    /// Takes the event's row out of the selection (and lets the event go on when it did).
    void OnItemDeselect(wxListEvent& event);

protected:
    /// The body's selection events reach OnItemSelect and OnItemDeselect here, ahead of the
    /// handlers bound to this control, so a handler that does not skip them cannot keep the
    /// selection from changing.
    bool TryBefore(wxEvent& event) override;
    /// The record of `row`, created (with the rows before it) when the count has it but the
    /// records do not: rows inserted with Insert, or left empty at the end by DeleteItem.
    Row& Record(int row);
    /// The font and colour of a row in the count, made when first set; null outside the count.
    RowLook* Look(int row);

    std::vector<Row> m_rows;   ///< the records, possibly fewer than the rows
    _RowSelection m_selection; ///< the selected rows
};

/// @}
