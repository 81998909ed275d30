/// @file
/// The read-only text line viewer (log and job output) and its search bar.
///
/// Sections: line store; wxTextLineCtrl; wxTextLineSearchPanel.
///
/// Lines live in a few big text blocks with a compact per-line record, so that millions of log
/// lines cost little more than their text, appending is a copy, and a search scans whole blocks
/// at memory speed instead of walking line by line.
#pragma once

#include <wxTaviro/wxDoubleBufferedWindow.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroText.h>

#include <ostrum/String.h>

#include <wx/weakref.h>
#include <wx/textctrl.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

class wxMenu;
class wxTextLineSearchPanel;

/// @addtogroup views
/// @{

// ---- line store ----

/// Lines as byte strings, in order. Text is copied into blocks of growing size (up to 4 MB,
/// a longer line gets a block of its own); each line is followed by a newline byte there, so a
/// search text without one never matches across lines. Lines inserted in the middle or erased
/// leave the block text out of order or with holes; Search puts it back in order first.
class _TextLineStore {
public:
    int Count() const { return int(m_Lines.size() - m_First); }
    std::string_view Line(int index) const {
        const _Ref& r = Ref(index);
        return std::string_view(m_Blocks[r.block].data.get() + r.offset, r.length);
    }
    /// Stores the line with every tab turned into four spaces, at `index` (0..Count()).
    void Insert(int index, const char* data, size_t length);
    /// The text as Insert stores it.
    static std::string Expanded(std::string_view text);
    void Erase(int index);
    /// Drops the first `count` lines (the oldest, for a log), cheaply: a log at its line limit
    /// drops one line per line appended.
    void DropFront(int count);
    void Clear();
    /// Index of the first line at or after `from` (backward: at or before) that contains the
    /// text, and the byte offset of its first occurrence there; -1 when none.
    int Find(std::string_view text, bool caseSensitive, int from, bool forward, size_t* offset);
    /// Bytes held by the store (blocks and records).
    size_t MemoryUsed() const;

private:
    struct _Ref {
        uint32_t block, offset, length;
    };
    struct _Block {
        std::unique_ptr<char[]> data;
        size_t used = 0, capacity = 0;
    };
    const _Ref& Ref(int index) const { return m_Lines[m_First + size_t(index)]; }
    char* Reserve(size_t bytes, uint32_t* block, uint32_t* offset);
    // Compacts when holes take more than the live text.
    void CompactIfHoley();
    // Rewrites the blocks in line order without holes.
    void Compact();
    bool Before(const _Ref& a, uint32_t block, size_t offset) const;
    // The line whose text starts at or before (block, offset); -1 before the first.
    int LineAt(uint32_t block, size_t offset) const;

    std::vector<_Block> m_Blocks;
    std::vector<_Ref> m_Lines; // the lines are [m_First, end): dropped ones go in bulk
    size_t m_First = 0;
    bool m_InOrder = true; // block text follows line order
    size_t m_Dead = 0;     // bytes of erased lines still in the blocks
};

// ---- wxTextLineCtrl ----

/// The log viewer: read-only lines in a fixed-width font, appended fast and kept compactly, a
/// view that follows the end while it is at the end, line selection with copy and save, a
/// search bar, and a line limit past which the oldest lines go. Keys: Ctrl+F search, Ctrl+A,
/// Esc, Ctrl+C, Ctrl+S, the arrows, page keys, Ctrl+Home and Ctrl+End. GUI thread only.
///
/// The search bar is made on the same parent; the owner puts it in its sizer:
///
///     auto* log = new wxTextLineCtrl(panel);
///     sizer->Add(log, 1, wxEXPAND);
///     sizer->Add(log->GetSearchPanel(), 0, wxEXPAND);
///     log->Append("first line");
class wxTextLineCtrl : public wxDoubleBufferedWindow, public wxsColorManaged {
public:
    /// An empty viewer and its hidden search bar, both children of `parent`.
    explicit wxTextLineCtrl(wxWindow* parent);
    ~wxTextLineCtrl() override;

    /// Adds a line (tabs become four spaces; a newline inside stays in the one line) at the end,
    /// or with `sorted` before the first line that is not less than it (bytewise); returns
    /// its index.
    int Append(const String& line, bool sorted = false);
    /// The caller guarantees 0 <= index < GetCount().
    void Erase(int index);
    /// Drops every line; the scroll extent is corrected by the next Append or Erase.
    void Clear();
    /// At most this many lines are kept (0: no limit); past it, Append drops the first lines,
    /// keeping the selection, the search hit and the view on the lines that remain, and the
    /// view says how many were dropped. The default keeps a day of a busy log in a few hundred
    /// megabytes; a client that must keep everything lifts it.
    static constexpr size_t k_DefaultLineLimit = 2000000;
    /// Sets the line limit (see k_DefaultLineLimit); 0 keeps every line.
    void SetLineLimit(size_t lines);
    /// The line limit; 0: none.
    size_t GetLineLimit() const { return m_LineLimit; }
    /// Lines dropped by the limit since the last Clear.
    uint64_t GetDroppedLines() const { return m_Dropped; }
    /// Selects every line.
    void SelectAll();
    /// Clears the selection.
    void SelectNone();
    /// Ends a drag selection (releases the pointer); the selection stays.
    void StopSelecting();
    /// Marks the line under the pointer (-1: none) with the hover shade.
    void SetHighlightLine(int line);
    /// Lines of the selection, each ended by k_NL; with none selected the clipboard is emptied.
    void CopySelectionToClipboard();
    /// Asks for a file and saves every line there; a failure is always reported in a box.
    void SaveAs();
    /// The same to a file the caller chose; false (after the box) on failure.
    bool SaveAs(const String& path);
    /// Writes every line, each ended by the platform end of line. Throws Exception* on failure.
    void SaveToFile(const String& path) const;
    /// Shows the search bar with the focus in its field, or hides it.
    void ToggleSearch();
    /// Null once the panel was destroyed (a client that does not want the bar).
    wxTextLineSearchPanel* GetSearchPanel() const;
    /// Finds the next line holding `text`, marks and shows the hit; on none, clears the hit,
    /// rings the bell and says so. Past the last (first) line it goes on from the other end
    /// only when wrapping is on: off unless the client turns it on or the search bar offers it.
    void Search(String text, bool forward, bool caseSensitive);
    /// Turns wrapping of Search past either end on or off.
    void SetWrapSearch(bool wrap) { m_WrapSearch = wrap; }
    /// Whether Search wraps past either end.
    bool GetWrapSearch() const { return m_WrapSearch; }
    /// The text colour of an unselected line, asked at paint time for each line drawn; an
    /// invalid colour (or no function) leaves the window's own.
    using LineColour = std::function<wxColour(std::string_view line)>;
    /// Sets the line colour function (see LineColour) and repaints.
    void SetLineColour(LineColour colour);
    /// Pops up `menu` over the viewer, first adding the standard items (save, search, select,
    /// copy, scroll to top or bottom) when asked; the standard items' commands are handled here.
    void HandleContextMenu(wxMenu& menu, bool addStandardItems);

    /// Draws the visible lines: selection, search hit, hover line, dropped-lines note.
    void DrawBitmap() override;

    /// The number of lines.
    int GetCount() const { return m_Store.Count(); }
    /// A line's text (tabs expanded); the index must be valid.
    String GetLine(int index) const;
    /// The current hit in characters; false when there is none.
    bool GetSearchHit(int& line, int& column, int& length) const;
    /// The selected lines: from `anchor` to `end`, either order; both -1 when none.
    void GetSelection(int& anchor, int& end) const {
        anchor = m_SelAnchor;
        end = m_SelEnd;
    }
    /// The hover line; -1 when none.
    int GetHighlightLine() const { return m_HighlightLine; }
    /// Counts the changes other than lines appended at the end (a sorted insertion, an erase,
    /// a clear), so that a reader of the lines can tell whether what it counted still holds.
    uint64_t GetEditCount() const { return m_Edits; }
    /// The store itself (benchmarks time its scan without the not-found message).
    _TextLineStore& GetStore() { return m_Store; }

    /// @name Scroll state
    /// Appends only mark the bars stale; each of these settles them before it acts.
    /// @{
    /// The bar's position, in pixels.
    int GetScrollPos(int orient) const override;
    /// The bar's range, in pixels.
    int GetScrollRange(int orient) const override;
    /// The bar's thumb, in pixels.
    int GetScrollThumb(int orient) const override;
    /// Scrolls by lines; always true.
    bool ScrollLines(int lines) override;
    /// Scrolls by pages; always true.
    bool ScrollPages(int pages) override;
    /// @}

    /// @name Event handlers
    /// @{
    /// The viewer's keys (see the class).
    void OnKey(wxKeyEvent& event);
    /// The hover line; extends a drag selection, scrolling past the edges.
    void OnMouseMove(wxMouseEvent& event);
    /// Drops the hover line.
    void OnMouseLeave(wxMouseEvent& event);
    /// Starts a drag selection at the line clicked.
    void OnLeftClick(wxMouseEvent& event);
    /// Ends the drag selection.
    void OnLeftUp(wxMouseEvent& event);
    /// Ends the drag selection.
    void OnCaptureLoss(wxMouseCaptureLostEvent& event);
    /// Opens the context menu with the standard items.
    void OnRightClick(wxMouseEvent& event);
    /// The standard items' commands.
    void OnMenu(wxCommandEvent& event);
    /// Scroll-bar events, after the bars are settled.
    void OnScrollEvent(wxScrollWinEvent& event);
    /// The wheel, after the bars are settled.
    void OnWheel(wxMouseEvent& event);
    /// The frame tick: settles the bars, then repaints.
    void OnRedrawTimer(wxTimerEvent& event);
    /// Focus gained or lost: repaints the focus frame.
    void OnFocus(wxFocusEvent& event);
    /// @}

private:
    // The line under client y, -1 past the last line.
    int LineAtY(int y);
    // Scroll bars and repaint are settled once per frame rather than once per line: Append
    // only marks them, and the redraw timer (or any reader of the scroll state) settles them.
    void SyncBars() const;
    void RequestRedraw();
    void SendScroll(wxEventType type, int orient, int position = 0);
    // Drops the first lines past the limit and moves every line index that points past them.
    void DropOldest(int count);

    _TextLineStore m_Store;
    int m_SearchLine = -1;
    int m_SearchColumn = -1;
    int m_SearchLength = 0;
    int m_SelAnchor = -1;
    int m_SelEnd = -1;
    bool m_Selecting = false;
    int m_HighlightLine = -1;
    int m_WidestChars = 0;
    uint64_t m_Edits = 0;
    mutable bool m_BarsStale = false;
    bool m_RedrawPending = false;
    size_t m_LineLimit = k_DefaultLineLimit;
    bool m_WrapSearch = false;
    LineColour m_LineColour;
    uint64_t m_Dropped = 0;
    mutable int64_t m_DroppedShift = 0; // pixels the view moves up at the next settling
    // Weak both ways: either may be destroyed alone (a client swapping its views).
    // (wxWindow: the panel's class is not complete here.)
    wxWeakRef<wxWindow> m_SearchPanel;

    wxDECLARE_EVENT_TABLE();
};

// ---- wxTextLineSearchPanel ----

/// The search field: always hinted "Search for"; Esc or Ctrl+F closes the bar.
/// (Built on the plain text control with palette colours.)
class _SearchTextCtrl : public wxsTextCtrl {
public:
    _SearchTextCtrl(wxTextLineSearchPanel* panel, wxWindow* parent);
    bool SetHint(const wxString& hint) override;
    wxString GetHint() const override;
    void OnKey(wxKeyEvent& event);

private:
    wxTextLineSearchPanel* m_Panel;
    wxDECLARE_EVENT_TABLE();
};

/// The viewer's search bar: a close button, the field, Up and Down, "Match Case" (remembered
/// in the options) and optionally "Wrap around"; Return searches down.
class wxTextLineSearchPanel : public wxsPanel {
public:
    /// Placed by the owner next to the control; starts hidden.
    wxTextLineSearchPanel(wxTextLineCtrl* lines, wxWindow* parent);
    ~wxTextLineSearchPanel() override;

    /// Shows the bar (focus to the field) or hides it.
    void Expand();

    /// The search field.
    _SearchTextCtrl* GetSearchField() const { return m_Text; }
    /// The "Match Case" box.
    wxsCheckBox* GetCaseBox() const { return m_Case; }
    /// Adds a "Wrap around" box after "Match Case" (remembered like it) that turns the
    /// control's wrapping on and off. Without this call the bar has none.
    void OfferWrap();
    /// The "Wrap around" box; null until OfferWrap.
    wxsCheckBox* GetWrapBox() const { return m_Wrap; }

    /// The close button: Expand.
    void OnExpand(wxCommandEvent& event);
    /// Up, Down or Return: searches the viewer for the field's text.
    void OnSearch(wxCommandEvent& event);
    /// A box changed: remembers it (wrapping also goes to the viewer).
    void OnCheckCaseSensitive(wxCommandEvent& event);

private:
    wxWeakRef<wxTextLineCtrl> m_Lines;
    _SearchTextCtrl* m_Text = nullptr;
    wxsCheckBox* m_Case = nullptr;
    wxsCheckBox* m_Wrap = nullptr;
    wxBitmap* m_CloseBitmap = nullptr;

    wxDECLARE_EVENT_TABLE();
};

/// @}
