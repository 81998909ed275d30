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
extern _TableSettings g_TableSettings;

/// Fits `text` into `width` pixels by cutting characters out of its middle ("abc...yz"); on
/// return `width` holds the width of the returned text (which may still exceed the request
/// when even the shortest candidate does not fit).
String FormatDisplayString(const String& text, int& width, wxDC& dc);

/// A one-shot timer that calls back its owner's handler; kept as a type of its own so that
/// the owner can tell it from other timers by id.
class wxFixedTimer : public wxTimer {
public:
    wxFixedTimer(wxEvtHandler* owner, int id) : wxTimer(owner, id) {}
};

// ---- wxDBListBase ----

class wxDBListBase : public wxDoubleBufferedWindow {
public:
    wxDBListBase(wxDBListCtrl* owner, wxWindow* parent);

    /// The column under client x: -1 left of the first column, right of the last one, or when
    /// there are no columns; `offset` gets the x within the column.
    int FindColumn(int x, int* offset = nullptr) const;
    /// Builds a list event and has the control's handler process it before returning. A row of
    /// -1 is derived from point.y; the short form finds the column from point.x.
    void SendListEvent(wxEventType type, wxPoint point, int column, int row);
    void SendListEvent(wxEventType type, wxPoint point, int row = -1);

    wxDBListCtrl* GetListCtrl() const { return m_list; }

protected:
    void CaptureLost(wxMouseCaptureLostEvent& event);
    wxDBListCtrl* m_list;

    wxDECLARE_EVENT_TABLE();
};

// ---- wxDBListHeader ----

class wxDBListHeader : public wxDBListBase {
public:
    wxDBListHeader(wxDBListCtrl* owner, wxWindow* parent);
    void DrawBitmap() override;

    void OnMotion(wxMouseEvent& event);
    void OnLDown(wxMouseEvent& event);
    void OnLUp(wxMouseEvent& event);
    void OnRDown(wxMouseEvent& event);
    void OnLeave(wxMouseEvent& event);

    /// The column whose right edge is within 3 pixels of client x, -1 when none.
    int FindEdge(int x) const;
    int GetPressedColumn() const { return m_pressedColumn; }
    bool IsResizing() const { return m_resizeStartX >= 0; }
    int GetResizeColumn() const { return m_resizeColumn; }
    int GetHeaderHeight() const { return m_lineHeight; }

protected:
    int m_pressedColumn = -1;
    wxCursor m_cursor;
    int m_resizeStartX = -1;
    int m_resizeColumn = -1;
    wxPoint m_mouse{-1, -1};
    bool m_overEdge = false; ///< the resize cursor is shown

    wxDECLARE_EVENT_TABLE();
};

// ---- wxDBListBody ----

class wxDBListBody : public wxDBListBase {
public:
    wxDBListBody(wxDBListCtrl* owner, wxWindow* parent, bool singleSelection);
    ~wxDBListBody() override;
    void DrawBitmap() override;

    /// Row count changes, with the anchor rules.
    void Insert(int position, unsigned long count, bool redraw);
    void Remove(int position, unsigned long count);
    void Clear();
    int GetItemCount() const { return m_lineCount; }
    int GetRowHeight() const { return m_lineHeight; }

    /// Geometry in client coordinates; the one source of truth for paint, hit tests and redraws.
    /// The client size is the one of the last scroll-bar adjustment (every resize makes one):
    /// asking the toolkit costs more than filling a row.
    wxSize ViewSize() const;
    wxRect GetCellRect(int row, int column) const;
    wxRect GetColumnRect(int column) const;
    wxRect GetItemRect(int row) const;
    /// The row under client y (may be past the last row).
    int RowAt(int y) const;

    void RedrawItem(int row);
    void RedrawItems(int a, int b);
    void RedrawColumns(int a, int b);
    void RedrawCells(int row1, int column1, int row2, int column2);

    /// Selection by the rules of a click at `row` with the given modifiers; -1 below the last
    /// row. Sends the selection events; the subclass applies them.
    int ProcessSelection(int row, const wxPoint& point, bool shift, bool control);
    void DeselectAll(bool resetAnchor);

    void OnLDown(wxMouseEvent& event);
    void OnLUp(wxMouseEvent& event);
    void OnRDown(wxMouseEvent& event);
    void OnDoubleClick(wxMouseEvent& event);
    void OnMotion(wxMouseEvent& event);
    void OnLeave(wxMouseEvent& event);
    void OnKey(wxKeyEvent& event);
    /// Page Up and Down, Home and End: the anchor jumps there, as that many arrow presses
    /// would move it (a page from the top of the view without an anchor); false for other keys.
    bool JumpKey(const wxKeyEvent& event);
    void OnTooltipTimer(wxTimerEvent& event);
    /// The tooltip for client point (x, y): the full text of the cell there; empty outside the
    /// table, and for a cell drawn in full when the list shows tooltips only for shortened ones.
    wxString TooltipAt(int x, int y);
    /// Whether the cell's text is drawn shortened, found by drawing the cell aside through the
    /// subclass's hooks: 1 or 0; -1 when its drawing does not tell (a DrawCell of its own).
    int IsCellShortened(int row, int column);

    int GetLastSelect() const { return m_lastSelect; }
    void SetLastSelect(int row) { m_lastSelect = row; }
    int GetHoverRow() const { return m_hoverRow; }

    /// Drops the cached cell texts (font or colour scheme changed).
    void ClearTextCache();
    _CellTextCache* GetTextCache() const { return m_cache.get(); }

protected:
    /// The control and the header keep the body's metrics (widths, partner, report switch).
    friend class wxDBListCtrl;
    friend class wxDBListHeader;

    void OnColors(wxSysColourChangedEvent& event);
    void OnFocus(wxFocusEvent& event);
    /// Steps shared by left and right button down.
    void ClickSelect(int row, const wxPoint& point, bool shift, bool control);

    int m_lastSelect = -1;
    int m_hoverRow = -1;
    int m_lastMouseX = INT_MIN;
    int m_lastMouseY = INT_MIN;
    wxFixedTimer m_tooltipTimer;
    /// The cell being drawn aside by IsCellShortened; the default DrawCell answers for it.
    struct _Probe {
        int row = -1, column = -1, shortened = -1;
    } m_probe;
    bool m_singleSelection;
    wxCursor m_cursor;
    std::unique_ptr<_CellTextCache> m_cache;

    wxDECLARE_EVENT_TABLE();
};

// ---- wxDBListCtrl ----

class wxDBListCtrl : public wxsPanel {
public:
    struct ColumnHeader {
        String label;
        int width = 100;
        int dragWidth = 100;
        bool enabled = true;
        int type = 0;
        String text2;
        int image = -1;
        /// The width a restored layout falls back to for a width out of range; -1: the width
        /// the column had when it was added.
        int defaultWidth = -1;
    };

    wxDBListCtrl(wxWindow* parent, int id, bool singleSelection);
    ~wxDBListCtrl() override;

    /// Hooks for the subclass that owns the rows.
    virtual bool IsRowSelected(int row) = 0;
    virtual std::vector<int> GetSelection() = 0;
    virtual void PrepareToDraw(int row);
    virtual String GetDisplayText(int row, int column) = 0;
    virtual wxColour GetRowColor(int row);
    virtual wxColour GetRowBGColor(int row);
    virtual void CleanupAfterDraw(int row);
    /// The default draws GetDisplayText fitted into the padded cell. Its rendered text is kept
    /// between frames, keyed by text, width and the DC's text colours: the body sets the DC's
    /// text foreground and background to the row's colours first, and an override that paints
    /// a cell background of its own sets the text background to it before calling this.
    virtual void DrawCell(wxDC& dc, int row, int column, wxRect cell, bool selected);
    virtual wxCursor CustomizeCursor(int row, int column, int x, int y);
    virtual void DoClear();

    /// Columns.
    void AddColumn(const ColumnHeader& column);
    void AddColumn(int type, String label, int width);
    void InsertColumn(int position, int type, String label, String text2, int width);
    void MoveColumn(int from, int to);
    void RemoveColumn(int index);
    void RemoveAllColumns();
    void SetColumnLabel(int index, const String& label);
    void SetColumnImage(int index, int image);
    int FindColumnByType(int type) const;
    String GetColumnName(int index);
    void SetHighlightColumn(int index);
    int GetHighlightColumn() const { return m_highlightColumn; }
    int GetColumnCount() const { return static_cast<int>(m_columns.size()); }
    const ColumnHeader& GetColumn(int index) const { return m_columns[index]; }
    int GetColumnWidth(int index) const { return m_columns[index].width; }
    void SetColumnWidth(int index, int width);
    /// The header's images; not owned.
    void SetImageList(wxImageList* images) { m_images = images; }
    wxImageList* GetImageList() const { return m_images; }

    /// Rows.
    void Insert(int position, bool redraw);
    void Insert(int position, unsigned long count, bool redraw);
    void Remove(int row);
    void Remove(int position, unsigned long count);
    void Clear();
    int GetItemCount() const;
    int GetRowHeight() const;
    /// Sets the row count (a convenience for virtual tables: inserts or removes at the end).
    void SetItemCount(int count);

    /// Redraw requests; all are merged and carried out 75 ms later.
    void RedrawItem(int row);
    void RedrawItems(int a, int b);
    void RedrawColumn(int column);
    void RedrawColumns(int a, int b);
    void RedrawCell(int row, int column);
    void RedrawCells(int row1, int column1, int row2, int column2);
    void Redraw();

    wxRect GetCellRect(int row, int column) const;
    wxRect GetColumnRect(int column) const;
    wxRect GetItemRect(int row) const;

    /// Column widths in display order under `key` of `section` in the application's settings.
    void SaveColumnSizes(const String& section, const String& key);
    void RestoreColumnSizes(const String& section, const String& key);

    int GetLastSelect() const;
    void SetLastSelect(int row);
    /// Logs the body's scroll state on every scroll-bar adjustment, from now on.
    void ReportScrollbars();
    /// Scrolls so that `row` is visible (no-op when it already is).
    void EnsureVisible(int row);

    wxDBListHeader* GetHeader() const { return m_header; }
    wxDBListBody* GetBody() const { return m_body; }
    bool IsSingleSelection() const { return m_singleSelection; }
    /// Tooltips only for cells whose text is drawn shortened (by default every cell under a
    /// resting pointer gets its full text as a tooltip).
    void SetTooltipsOnlyWhenShortened(bool only) { m_tooltipsOnlyWhenShortened = only; }

protected:
    friend class wxDBListHeader;
    friend class wxDBListBody;
    friend class wxDBListBase;

    std::vector<ColumnHeader> m_columns;
    int m_highlightColumn = -1;
    wxDBListHeader* m_header = nullptr;
    wxDBListBody* m_body = nullptr;
    wxImageList* m_images = nullptr;
    bool m_singleSelection;
    bool m_tooltipsOnlyWhenShortened = false;
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
        wxFont font;
        wxColour textColour;
    };
    struct Row {
        /// One text per column at insertion; columns added later read as empty until set.
        std::vector<String> cells;
        std::unique_ptr<RowLook> look; ///< font and textColour; null: the null font, no colour
        int image = -1;
    };

    /// Position, size, style, validator and name are accepted for compatibility and ignored.
    wxsListCtrl(wxWindow* parent, int id, const wxPoint& pos = wxDefaultPosition,
                const wxSize& size = wxDefaultSize, long style = 0,
                const wxValidator& validator = wxDefaultValidator,
                const wxString& name = "listCtrl");

    bool IsRowSelected(int row) override;
    std::vector<int> GetSelection() override;
    String GetDisplayText(int row, int column) override;
    void DoClear() override;

    /// Adds a row to the count and its record at `index`, clamped to 0..GetItemCount() as
    /// Insert places rows; returns the index used.
    int InsertItem(int index, const String& label, int image = -1);
    /// Ignored outside the rows or the columns; false then.
    bool SetItem(int row, int column, const String& text);
    void SetItemTextColour(int row, const wxColour& colour);
    void SetItemFont(int row, const wxFont& font);
    wxColour GetItemTextColour(int row) const;
    wxFont GetItemFont(int row) const;
    int GetItemImage(int row) const;
    /// Drops the row's record and moves the rows below it up, selection included, but leaves
    /// the row count alone: the last row then reads empty. To shorten the count as well, Remove
    /// the last row: Remove(row) would deselect the row that has moved up into `row`.
    bool DeleteItem(int row);
    /// The first selected row, in selection order, above `item` (-1: the first selected row);
    /// -1 when none. Geometry and state are ignored: only selected rows are found.
    int GetNextItem(int item, int geometry = wxLIST_NEXT_ALL, int state = wxLIST_STATE_SELECTED);

    void OnItemSelect(wxListEvent& event);
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

    std::vector<Row> m_rows;
    _RowSelection m_selection;
};
