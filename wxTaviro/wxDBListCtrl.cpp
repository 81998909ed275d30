// Sections: table settings; FormatDisplayString; cell text cache; wxDBListBase; wxDBListHeader
// (drawing, mouse); wxDBListBody (rows, geometry, redraws, drawing, selection, mouse, keys,
// tooltip); wxDBListCtrl (hooks, columns, rows, persistence); wxsListCtrl (selection, rows,
// selection events).
#include <wxTaviro/wxDBListCtrl.h>

#include <wxTaviro/wxTaviroFrame.h>
#include <wxTaviro/wxTaviroString.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <wx/dcmemory.h>
#include <wx/weakref.h>
#include <wx/settings.h>
#include <wx/sizer.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <list>
#include <string_view>
#include <unordered_map>

namespace {
// Narrowest column a drag or a restore leaves.
constexpr int k_MinColumnWidth = 20;
// A restored width above this is garbage, not a layout: wider than any screen.
constexpr int k_MaxColumnWidth = 16384;
constexpr int k_TooltipDelayMs = 3000;
// How far selected rows lean toward the selection colour, with the window active and not.
constexpr double k_SelectBlend = 0.65;
constexpr double k_SelectBlendInactive = 0.3;
// Lift of the highlighted column's cells.
constexpr int k_HighlightOffset = 10;

int ClampToInt(int64_t v) {
    return v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : int(v);
}

wxColour Blend(const wxColour& a, const wxColour& b, double f) {
    if (!a.IsOk() || !b.IsOk()) return a;
    auto mix = [f](int x, int y) { return int(x + (y - x) * f + 0.5); };
    return wxColour(mix(a.Red(), b.Red()), mix(a.Green(), b.Green()), mix(a.Blue(), b.Blue()));
}

wxColour Or(const wxColour& c, const wxColour& fallback) {
    return c.IsOk() ? c : fallback;
}
} // namespace

// ---- table settings ----

_TableSettings g_TableSettings;

void _TableSettings::Init() {
    font = wxSystemSettings::GetFont(wxSYS_DEFAULT_GUI_FONT);
    font.SetPointSize(std::max(1, font.GetPointSize() - 1));
    wxBitmap bitmap(100, 100);
    wxMemoryDC dc(bitmap);
    dc.SetFont(font);
    wxCoord w = 0, h = 0;
    dc.GetTextExtent("M", &w, &h);
    charWidth = std::max(1, int(w));
    charHeight = std::max(1, int(h));
    cursor = wxCursor(wxCURSOR_ARROW);
    initialised = true;
}

// ---- FormatDisplayString ----

String FormatDisplayString(const String& text, int& width, wxDC& dc) {
    // The candidates of the step-by-step fitting: the whole text, then the middle replaced by
    // "..." with cut = 4, 5, 6, ... characters taken out, each one character shorter than the
    // one before, down to "a..." (length 4), which ends the search whether it fits or not.
    // The first that fits is the answer. Each candidate is the one before with one character
    // less, so its width never grows: the answer is found by a search from the short end
    // (whose candidates are cheap to measure) instead of measuring a long text once per
    // character taken out.
    const wxString whole = wxFromString(text);
    const size_t n = whole.length();
    auto candidate = [&](size_t cut) {
        const size_t k = (n > cut ? (n - cut) / 2 : 0) + 1;
        const size_t tail = std::min(n, k + cut);
        return whole.Left(std::min(k, n)) + "..." + whole.Mid(tail);
    };
    auto measure = [&](const wxString& s) {
        wxCoord w = 0, h = 0;
        dc.GetTextExtent(s, &w, &h);
        return int(w);
    };
    // A long text whose beginning alone is far wider than the column does not fit either (the
    // margin covers kerning across the cut): measuring all of a 4,000-character path would
    // cost more than the whole search.
    const size_t k_Head = 256;
    const bool tooWide = n > k_Head && measure(whole.Left(k_Head)) > width + 16;
    const int full = tooWide ? INT_MAX : measure(whole);
    if (full <= width || n < 5) {
        width = full;
        return text;
    }
    // The last candidate, which is taken when nothing longer fits.
    const size_t last = std::max<size_t>(4, n - 1);
    auto fits = [&](size_t cut, int* w) {
        *w = measure(candidate(cut));
        return *w <= width;
    };
    int bestWidth = 0;
    size_t best = last; // the smallest cut known to fit (or the last)
    if (!fits(last, &bestWidth) || last == 4) {
        width = bestWidth;
        return wxToString(candidate(last));
    }
    // Galloping towards longer candidates until one does not fit, then bisection between.
    size_t lo = 4, step = 1; // every cut below lo is unknown; [lo, best) is searched
    for (;;) {
        const size_t c = best > lo + step ? best - step : lo;
        int w = 0;
        if (fits(c, &w)) {
            best = c, bestWidth = w;
            if (c == lo) break;
            step *= 2;
        } else {
            lo = c + 1;
            break;
        }
    }
    while (lo < best) {
        const size_t mid = lo + (best - lo) / 2;
        int w = 0;
        if (fits(mid, &w))
            best = mid, bestWidth = w;
        else
            lo = mid + 1;
    }
    width = bestWidth;
    return wxToString(candidate(best));
}

// ---- cell text cache ----

// The rendered text of recently drawn cells: a hit costs one bitmap copy instead of a text
// layout. Bounded by entry count and by pixels, least recently used first out. Entries are
// the glyphs' coverage in the text colour over transparency, so a cell keeps whatever
// background was drawn under it (a client's own cell background too), and they are keyed by
// font, so a row drawn in its own font gets its own entries.
class _CellTextCache {
public:
    // Draws `text` fitted into `area` at its top-left corner, in the DC's font and text colour.
    void Draw(wxDC& dc, const String& text, const wxRect& area);
    void Clear() {
        m_index.clear();
        m_entries.clear();
        m_fonts.clear();
        m_pixels = 0;
    }
    size_t GetCount() const { return m_entries.size(); }

private:
    struct Key {
        std::string_view text;
        int width;
        uint32_t fg;
        int font;
        bool operator==(const Key& o) const {
            return width == o.width && fg == o.fg && font == o.font && text == o.text;
        }
    };
    struct KeyHash {
        size_t operator()(const Key& k) const {
            size_t h = std::hash<std::string_view>()(k.text);
            h ^= (size_t(k.width) * 0x9E3779B97F4A7C15ull) + (size_t(k.fg) << 7) + size_t(k.font);
            return h;
        }
    };
    struct Entry {
        String text;
        int width;
        uint32_t fg;
        int font;
        wxBitmap bitmap; // the fitted text: its colour, with the glyphs' coverage as alpha
        int pixels;
    };
    static constexpr size_t k_MaxEntries = 2048;
    static constexpr int64_t k_MaxPixels = 2 * 1024 * 1024;
    static constexpr size_t k_MaxFonts = 32;

    int FontId(const wxFont& font);
    Entry& Render(wxDC& dc, const String& text, int width, const wxColour& fg, int font);

    std::list<Entry> m_entries; // most recent first; nodes never move, so keys may view them
    std::unordered_map<Key, std::list<Entry>::iterator, KeyHash> m_index;
    int64_t m_pixels = 0;
    std::vector<wxFont> m_fonts; // index = font id
};

int _CellTextCache::FontId(const wxFont& font) {
    // The same font object (the usual case) compares by its shared data, at no cost.
    for (size_t i = 0; i < m_fonts.size(); ++i)
        if (m_fonts[i].GetRefData() == font.GetRefData()) return int(i);
    for (size_t i = 0; i < m_fonts.size(); ++i)
        if (m_fonts[i].IsSameAs(font)) return int(i);
    if (m_fonts.size() >= k_MaxFonts) Clear(); // a client making a new font for every row
    m_fonts.push_back(font);
    return int(m_fonts.size() - 1);
}

void _CellTextCache::Draw(wxDC& dc, const String& text, const wxRect& area) {
    if (area.width < 1 || area.height < 1 || text.empty()) return;
    const wxColour fg = dc.GetTextForeground();
    const int font = FontId(dc.GetFont());
    const Key key{text, area.width, fg.IsOk() ? fg.GetRGBA() : 0, font};
    auto it = m_index.find(key);
    Entry* entry;
    if (it != m_index.end()) {
        m_entries.splice(m_entries.begin(), m_entries, it->second);
        entry = &*it->second;
    } else {
        entry = &Render(dc, text, area.width, fg, font);
    }
    dc.DrawBitmap(entry->bitmap, area.x, area.y, true);
}

_CellTextCache::Entry& _CellTextCache::Render(wxDC& dc, const String& text, int width,
                                              const wxColour& fg, int font) {
    int fitted = width;
    const wxString shown = wxFromString(FormatDisplayString(text, fitted, dc));
    wxCoord tw = 0, th = 0;
    dc.GetTextExtent(shown, &tw, &th);
    // Cropped to the cell: a text that cannot be shortened enough does not bleed over.
    const int w = std::max(1, std::min(int(tw), width));
    const int h = std::max(1, int(th));
    // White on black gives the coverage of each pixel; the entry is the text colour with it
    // as alpha, which blends over any background as the text drawn there would.
    wxBitmap coverage(w, h, 24);
    {
        wxMemoryDC mdc(coverage);
        mdc.SetFont(dc.GetFont());
        mdc.SetBackground(*wxBLACK_BRUSH);
        mdc.Clear();
        mdc.SetTextForeground(*wxWHITE);
        mdc.DrawText(shown, 0, 0);
    }
    wxImage image = coverage.ConvertToImage();
    image.InitAlpha();
    const wxColour ink = fg.IsOk() ? fg : *wxBLACK;
    unsigned char* rgb = image.GetData();
    unsigned char* alpha = image.GetAlpha();
    for (int i = 0, count = w * h; i < count; ++i, rgb += 3) {
        alpha[i] = std::max({rgb[0], rgb[1], rgb[2]});
        rgb[0] = ink.Red(), rgb[1] = ink.Green(), rgb[2] = ink.Blue();
    }
    m_entries.push_front(
        Entry{text, width, fg.IsOk() ? fg.GetRGBA() : 0, font, wxBitmap(image), w * h});
    Entry& e = m_entries.front();
    m_index[Key{e.text, e.width, e.fg, e.font}] = m_entries.begin();
    m_pixels += e.pixels;
    while (m_entries.size() > 1 && (m_entries.size() > k_MaxEntries || m_pixels > k_MaxPixels)) {
        Entry& old = m_entries.back();
        m_index.erase(Key{old.text, old.width, old.fg, old.font});
        m_pixels -= old.pixels;
        m_entries.pop_back();
    }
    return e;
}

// ---- wxDBListBase ----

wxBEGIN_EVENT_TABLE(wxDBListBase, wxDoubleBufferedWindow)
    EVT_MOUSE_CAPTURE_LOST(wxDBListBase::CaptureLost)
wxEND_EVENT_TABLE()

wxDBListBase::wxDBListBase(wxDBListCtrl* owner, wxWindow* parent)
    : wxDoubleBufferedWindow(parent, wxID_ANY, wxBORDER_NONE), m_list(owner) {}

void wxDBListBase::CaptureLost(wxMouseCaptureLostEvent&) {}

int wxDBListBase::FindColumn(int x, int* offset) const {
    const wxDBListBody* body = m_list->m_body;
    int64_t rest = int64_t(x) + (body ? body->GetScrollPixel(wxHORIZONTAL) : 0);
    if (rest < 0) return -1;
    const auto& columns = m_list->m_columns;
    for (size_t i = 0; i < columns.size(); ++i) {
        rest -= columns[i].width;
        if (rest < 0) {
            if (offset) *offset = int(rest + columns[i].width);
            return int(i);
        }
    }
    // Exactly on the right edge of the last column still counts as that column.
    if (rest != 0 || columns.empty()) return -1;
    if (offset) *offset = columns.back().width;
    return int(columns.size()) - 1;
}

void wxDBListBase::SendListEvent(wxEventType type, wxPoint point, int column, int row) {
    wxListEvent event(type, m_list->GetId());
    event.SetEventObject(m_list);
    event.SetColumn(column);
    event.SetPoint(point);
    if (row == -1) {
        const wxDBListBody* body = m_list->m_body;
        const int64_t pos = body ? body->GetScrollPixel(wxVERTICAL) : 0;
        const int height = body ? body->GetRowHeight() : 1;
        row = ClampToInt((point.y + pos) / height);
    }
    event.SetIndex(row);
    event.Allow();
    m_list->GetEventHandler()->ProcessEvent(event);
}

void wxDBListBase::SendListEvent(wxEventType type, wxPoint point, int row) {
    SendListEvent(type, point, FindColumn(point.x), row);
}

// ---- wxDBListHeader: drawing ----

wxBEGIN_EVENT_TABLE(wxDBListHeader, wxDBListBase)
    EVT_MOTION(wxDBListHeader::OnMotion)
    EVT_LEFT_DOWN(wxDBListHeader::OnLDown)
    EVT_LEFT_DCLICK(wxDBListHeader::OnLDown)
    EVT_LEFT_UP(wxDBListHeader::OnLUp)
    EVT_RIGHT_DOWN(wxDBListHeader::OnRDown)
    EVT_LEAVE_WINDOW(wxDBListHeader::OnLeave)
wxEND_EVENT_TABLE()

wxDBListHeader::wxDBListHeader(wxDBListCtrl* owner, wxWindow* parent)
    : wxDBListBase(owner, parent), m_cursor(wxCURSOR_ARROW) {
    wxFont font = g_TableSettings.font;
    font.SetStyle(wxFONTSTYLE_ITALIC);
    font.SetPointSize(font.GetPointSize() + 1);
    SetFont(font);
    m_unitWidth = g_TableSettings.charWidth;
    m_lineHeight = g_TableSettings.charHeight + 3 * g_TableSettings.cellPadding;
    SetMinSize(wxSize(-1, m_lineHeight));
    SetMaxSize(wxSize(-1, m_lineHeight));
}

void wxDBListHeader::DrawBitmap() {
    wxMemoryDC dc(*m_bitmap);
    dc.SetFont(GetFont());
    const wxSize size = m_bitmap->GetSize();
    const wxColour header = Or(wxsGetColor(color_Header), wxColour(128, 128, 128));
    const wxColour selected = wxsGetColor(color_Selected);
    const wxColour dark = Or(wxsGetColor(color_3DDark), *wxBLACK);
    const wxColour light = Or(wxsGetColor(color_3DLight), *wxWHITE);
    const bool active = ParentIsActive(this);
    const wxColour text = Or(wxsGetColor(active ? color_Text : color_TextGrey), *wxBLACK);
    const int pad = g_TableSettings.cellPadding;
    // Outside the columns: the plain gradient.
    DrawGradedRectangle(dc, wxRect(size), header.ChangeLightness(104), header.ChangeLightness(92),
                        1.5f, true, false);
    const auto& columns = m_list->m_columns;
    const wxDBListBody* body = m_list->m_body;
    int64_t x = -(body ? body->GetScrollPixel(wxHORIZONTAL) : 0);
    const bool mouseIn = wxRect(size).Contains(m_mouse);
    dc.SetTextForeground(text);
    for (size_t i = 0; i < columns.size() && x < size.x; x += columns[i].width, ++i) {
        if (x + columns[i].width <= 0) continue;
        const wxRect cell(int(x), 0, columns[i].width, size.y);
        const bool pressed = int(i) == m_pressedColumn;
        wxColour top = header.ChangeLightness(pressed ? 92 : 106);
        wxColour bottom = header.ChangeLightness(pressed ? 102 : 94);
        if (int(i) == m_list->m_highlightColumn && selected.IsOk()) {
            top = Blend(top, selected, 0.35);
            bottom = Blend(bottom, selected, 0.35);
        }
        if (mouseIn && cell.Contains(m_mouse) && !IsResizing()) {
            top = Hilight(top);
            bottom = OffsetColor(bottom, 12, 12, 12);
        }
        DrawGradedRectangle(dc, cell, top, bottom, 1.5f, true, pressed);
        dc.SetPen(wxPen(light));
        dc.DrawLine(cell.x, 0, cell.x, size.y);
        dc.SetPen(wxPen(dark));
        dc.DrawLine(cell.GetRight(), 0, cell.GetRight(), size.y);
        int textX = cell.x + pad + (pressed ? 1 : 0);
        const int textY = (size.y - dc.GetCharHeight()) / 2 + (pressed ? 1 : 0);
        if (m_list->m_images && columns[i].image >= 0 &&
            columns[i].image < m_list->m_images->GetImageCount()) {
            int iw = 0, ih = 0;
            m_list->m_images->GetSize(columns[i].image, iw, ih);
            m_list->m_images->Draw(columns[i].image, dc, textX, (size.y - ih) / 2,
                                   wxIMAGELIST_DRAW_TRANSPARENT);
            textX += iw + pad;
        }
        int room = cell.GetRight() - pad - textX;
        if (room > 0) {
            // Readable on the whole gradient; dimmed in an inactive window as disabled text is.
            const double minimum = active ? 4.5 : 3.0;
            dc.SetTextForeground(wxsReadableOn(wxsReadableOn(text, top, minimum), bottom, minimum));
            const String label = FormatDisplayString(columns[i].label, room, dc);
            dc.SetClippingRegion(cell);
            dc.DrawText(wxFromString(label), textX, textY);
            dc.DestroyClippingRegion();
        }
    }
    dc.SetPen(wxPen(dark));
    dc.DrawLine(0, size.y - 1, size.x, size.y - 1);
}

// ---- wxDBListHeader: mouse ----

int wxDBListHeader::FindEdge(int x) const {
    const wxDBListBody* body = m_list->m_body;
    const int64_t content = int64_t(x) + (body ? body->GetScrollPixel(wxHORIZONTAL) : 0);
    int64_t edge = 0;
    const auto& columns = m_list->m_columns;
    for (size_t i = 0; i < columns.size(); ++i) {
        edge += columns[i].width;
        if (edge - 3 > content) break;
        if (content <= edge + 3) return int(i);
    }
    return -1;
}

void wxDBListHeader::OnMotion(wxMouseEvent& event) {
    const int x = event.GetX();
    m_mouse = event.GetPosition();
    auto& columns = m_list->m_columns;
    if (m_resizeStartX >= 0) {
        _DragEdgeTo(x);
        return;
    }
    const int edge = FindEdge(x);
    m_resizeColumn = edge >= 0 ? edge : 0;
    if ((edge >= 0) != m_overEdge) {
        m_overEdge = edge >= 0;
        m_cursor = wxCursor(m_overEdge ? wxCURSOR_SIZEWE : wxCURSOR_ARROW);
        SetCursor(m_cursor);
    }
    const int column = FindColumn(x);
    const wxString tip = column >= 0 ? wxFromString(columns[column].label) : wxString();
    if (tip != GetToolTipText()) {
        if (tip.empty())
            UnsetToolTip();
        else
            SetToolTip(tip);
    }
    Redraw();
}

void wxDBListHeader::_DragEdgeTo(int x) {
    auto& columns = m_list->m_columns;
    if (m_resizeColumn < 0 || m_resizeColumn >= int(columns.size())) return;
    auto& column = columns[m_resizeColumn];
    const int width = std::max(k_MinColumnWidth, column.dragWidth + (x - m_resizeStartX));
    if (width == column.width) return;
    if (m_list->m_body) {
        m_list->m_body->m_virtualWidth += width - column.width;
        column.width = width;
        m_list->m_body->AdjustScrollbars();
    } else {
        column.width = width;
    }
    m_list->Redraw();
    // A drag shows in the next frame, not after the merge meant for bursts of data.
    RedrawForInput();
    if (m_list->m_body) m_list->m_body->RedrawForInput();
}

void wxDBListHeader::OnLDown(wxMouseEvent& event) {
    // Where the press is decides, not the last motion: under load, or on a touch screen, the
    // motion onto an edge may not have been seen before the press.
    const int edge = FindEdge(event.GetX());
    if ((edge >= 0) != m_overEdge) {
        m_overEdge = edge >= 0;
        m_cursor = wxCursor(m_overEdge ? wxCURSOR_SIZEWE : wxCURSOR_ARROW);
        SetCursor(m_cursor);
    }
    if (edge >= 0) m_resizeColumn = edge;
    if (!m_overEdge) {
        m_pressedColumn = FindColumn(event.GetX());
        Redraw();
        if (m_list->m_body) m_list->m_body->SetFocus();
    } else if (m_resizeColumn >= 0 && m_resizeColumn < int(m_list->m_columns.size())) {
        m_resizeStartX = event.GetX();
        auto& column = m_list->m_columns[m_resizeColumn];
        column.dragWidth = column.width;
        SendListEvent(wxEVT_LIST_COL_BEGIN_DRAG,
                      wxPoint(event.GetX(), event.GetY() - GetHeaderHeight()), m_resizeColumn, -1);
    }
    if (!HasCapture()) CaptureMouse();
}

void wxDBListHeader::OnLUp(wxMouseEvent& event) {
    if (HasCapture()) ReleaseMouse();
    // Header events carry points relative to the top of the body.
    const wxPoint point(event.GetX(), event.GetY() - GetHeaderHeight());
    if (m_pressedColumn >= 0) {
        m_pressedColumn = -1;
        Redraw();
        const wxWeakRef<wxWindow> alive(this); // a client may delete the list on a click
        SendListEvent(wxEVT_LIST_COL_CLICK, point);
        if (!alive) return;
        // What the click did (a new sort, usually) shows in the next frame.
        RedrawForInput();
        m_list->m_body->RedrawForInput();
    } else if (m_resizeStartX >= 0) {
        _DragEdgeTo(event.GetX()); // the release is where the edge ends (motions get merged)
        m_resizeStartX = -1;
        SendListEvent(wxEVT_LIST_COL_END_DRAG, point, m_resizeColumn, -1);
    }
}

void wxDBListHeader::OnRDown(wxMouseEvent& event) {
    SendListEvent(wxEVT_LIST_COL_RIGHT_CLICK,
                  wxPoint(event.GetX(), event.GetY() - GetHeaderHeight()));
}

void wxDBListHeader::OnLeave(wxMouseEvent&) {
    m_mouse = wxPoint(-1, -1);
    Redraw();
}

// ---- wxDBListBody: rows ----

wxBEGIN_EVENT_TABLE(wxDBListBody, wxDBListBase)
    EVT_LEFT_DOWN(wxDBListBody::OnLDown)
    EVT_LEFT_UP(wxDBListBody::OnLUp)
    EVT_RIGHT_DOWN(wxDBListBody::OnRDown)
    EVT_LEFT_DCLICK(wxDBListBody::OnDoubleClick)
    EVT_MOTION(wxDBListBody::OnMotion)
    EVT_LEAVE_WINDOW(wxDBListBody::OnLeave)
    EVT_KEY_DOWN(wxDBListBody::OnKey)
    EVT_TIMER(200, wxDBListBody::OnTooltipTimer)
    EVT_SYS_COLOUR_CHANGED(wxDBListBody::OnColors)
    EVT_SET_FOCUS(wxDBListBody::OnFocus)
    EVT_KILL_FOCUS(wxDBListBody::OnFocus)
wxEND_EVENT_TABLE()

wxDBListBody::wxDBListBody(wxDBListCtrl* owner, wxWindow* parent, bool singleSelection)
    : wxDBListBase(owner, parent), m_tooltipTimer(this, 200), m_singleSelection(singleSelection),
      m_cursor(wxCURSOR_ARROW), m_cache(new _CellTextCache) {
    SetFont(g_TableSettings.font);
    m_lineHeight = g_TableSettings.charHeight + 2 * g_TableSettings.cellPadding;
    m_unitWidth = g_TableSettings.charWidth;
}

wxDBListBody::~wxDBListBody() {
    m_tooltipTimer.Stop();
}

void wxDBListBody::Insert(int position, unsigned long count, bool redraw) {
    m_lineCount = ClampToInt(int64_t(m_lineCount) + int64_t(count));
    AdjustScrollbars();
    if (m_lastSelect >= position) m_lastSelect = ClampToInt(int64_t(m_lastSelect) + count);
    if (redraw) RedrawItems(position, m_lineCount - 1);
}

void wxDBListBody::Remove(int position, unsigned long count) {
    if (count == 0) return;
    const int64_t end = std::min<int64_t>(int64_t(position) + count, m_lineCount);
    const int removed = int(std::max<int64_t>(0, end - position));
    m_lineCount -= removed;
    // The anchor moves to the row above; an anchor below the run stays where it was.
    if (m_lastSelect >= position && m_lastSelect < end) m_lastSelect = position - 1;
    AdjustScrollbars();
    if (removed <= 1024) {
        for (int row = position; row < end; ++row)
            if (m_list->IsRowSelected(row)) SendListEvent(wxEVT_LIST_ITEM_DESELECTED, {0, 0}, row);
    } else { // a long run: ask once instead of row by row
        std::vector<int> selection = m_list->GetSelection();
        std::sort(selection.begin(), selection.end());
        for (int row : selection)
            if (row >= position && row < end)
                SendListEvent(wxEVT_LIST_ITEM_DESELECTED, {0, 0}, row);
    }
    Redraw();
}

void wxDBListBody::Clear() {
    m_list->DoClear();
    m_lineCount = 0;
    m_hoverRow = -1;
    AdjustScrollbars();
    Redraw();
}

// ---- wxDBListBody: geometry and redraws ----

int wxDBListBody::RowAt(int y) const {
    return ClampToInt((int64_t(y) + GetScrollPixel(wxVERTICAL)) / m_lineHeight);
}

namespace {
// A row's top in client coordinates, kept within reach of int for rows far away.
int RowTop(int64_t row, int64_t pos, int lineHeight) {
    const int64_t y = row * lineHeight - pos;
    return int(std::max<int64_t>(-(INT_MAX / 4), std::min<int64_t>(INT_MAX / 4, y)));
}
} // namespace

wxRect wxDBListBody::GetCellRect(int row, int column) const {
    const wxRect c = GetColumnRect(column);
    return wxRect(c.x, RowTop(row, GetScrollPixel(wxVERTICAL), m_lineHeight), c.width,
                  m_lineHeight);
}

wxSize wxDBListBody::ViewSize() const {
    return wxSize(GetScrollPixelThumb(wxHORIZONTAL), GetScrollPixelThumb(wxVERTICAL));
}

wxRect wxDBListBody::GetColumnRect(int column) const {
    const auto& columns = m_list->m_columns;
    int64_t x = -GetScrollPixel(wxHORIZONTAL);
    for (int i = 0; i < column && i < int(columns.size()); ++i)
        x += columns[i].width;
    const int width = column >= 0 && column < int(columns.size()) ? columns[column].width : 0;
    return wxRect(ClampToInt(x), 0, width, ViewSize().y);
}

wxRect wxDBListBody::GetItemRect(int row) const {
    return wxRect(0, RowTop(row, GetScrollPixel(wxVERTICAL), m_lineHeight), ViewSize().x,
                  m_lineHeight);
}

void wxDBListBody::RedrawItem(int row) {
    RedrawItems(row, row);
}

void wxDBListBody::RedrawItems(int a, int b) {
    const int64_t pos = GetScrollPixel(wxVERTICAL);
    const wxSize size = ViewSize();
    // Clipped to the client area, so that runs of millions of rows stay small numbers.
    const int64_t top = std::max<int64_t>(int64_t(std::min(a, b)) * m_lineHeight - pos, 0);
    const int64_t bottom =
        std::min<int64_t>((int64_t(std::max(a, b)) + 1) * m_lineHeight - pos, size.y);
    if (bottom <= top) return;
    Redraw(wxRect(0, int(top), size.x, int(bottom - top)));
}

void wxDBListBody::RedrawColumns(int a, int b) {
    const wxRect first = GetColumnRect(std::min(a, b));
    const wxRect last = GetColumnRect(std::max(a, b));
    Redraw(first.Union(last));
    if (m_list->m_header) m_list->m_header->Redraw();
}

void wxDBListBody::RedrawCells(int row1, int column1, int row2, int column2) {
    // Rows out of sight (a table filled far below the view) schedule nothing.
    const int64_t pos = GetScrollPixel(wxVERTICAL);
    if ((int64_t(std::max(row1, row2)) + 1) * m_lineHeight <= pos ||
        int64_t(std::min(row1, row2)) * m_lineHeight - pos >= ViewSize().y)
        return;
    Redraw(GetCellRect(row1, column1).Union(GetCellRect(row2, column2)));
}

// ---- wxDBListBody: drawing ----

void wxDBListBody::DrawBitmap() {
    wxMemoryDC dc(*m_bitmap);
    dc.SetFont(GetFont());
    const wxSize size = m_bitmap->GetSize();
    const wxColour window = wxsGetColor(color_WindowBGDarker);
    dc.SetBackground(wxBrush(Or(window, *wxWHITE)));
    dc.Clear();
    const auto& columns = m_list->m_columns;
    if (columns.empty() || m_lineCount <= 0) {
        if (GetToolTip()) UnsetToolTip(); // no cell to tell of
        return;
    }

    const int64_t pos = GetScrollPixel(wxVERTICAL);
    const int64_t hpos = GetScrollPixel(wxHORIZONTAL);
    const int first = int(pos / m_lineHeight);
    const int shift = int(pos % m_lineHeight);
    const int last =
        int(std::min<int64_t>(m_lineCount - 1, int64_t(first) + (size.y + shift) / m_lineHeight));
    const wxColour selectColour = wxsGetColor(color_Selected);
    const double blend = ParentIsActive(this) ? k_SelectBlend : k_SelectBlendInactive;
    const int highlight = m_list->m_highlightColumn;
    const int64_t tableRight = int64_t(m_virtualWidth) - hpos;
    dc.SetPen(*wxTRANSPARENT_PEN);
    for (int row = first; row <= last; ++row) {
        // Client coordinates only: a row a billion pixels down is drawn near y = 0.
        const int y = (row - first) * m_lineHeight - shift;
        m_list->PrepareToDraw(row);
        const wxColour fg = m_list->GetRowColor(row);
        const bool selected = m_list->IsRowSelected(row);
        wxColour bg = m_list->GetRowBGColor(row);
        if (selected) bg = Blend(bg, selectColour, blend);
        if (row == m_hoverRow) bg = Hilight(bg);
        bg = Or(bg, *wxWHITE);
        dc.SetBrush(wxBrush(bg));
        dc.DrawRectangle(0, y, size.x, m_lineHeight);
        // The row's own colour, or the nearest shade of it that reads on this background.
        const wxColour ink = wxsReadableOn(Or(fg, *wxBLACK), bg);
        dc.SetTextForeground(ink);
        int64_t x = -hpos;
        for (int c = 0; c < int(columns.size()) && x < size.x; x += columns[c].width, ++c) {
            if (x + columns[c].width <= 0) continue;
            const wxRect cell(int(x), y, columns[c].width, m_lineHeight);
            if (c == highlight) {
                const wxColour lit =
                    OffsetColor(bg, k_HighlightOffset, k_HighlightOffset, k_HighlightOffset);
                dc.SetBrush(wxBrush(lit));
                dc.DrawRectangle(cell);
                dc.SetTextBackground(lit);
                dc.SetTextForeground(wxsReadableOn(ink, lit));
            } else {
                dc.SetTextBackground(bg);
                dc.SetTextForeground(ink);
            }
            m_list->DrawCell(dc, row, c, cell, selected);
        }
        m_list->CleanupAfterDraw(row);
    }
    // The keyboard's place: the anchor row framed while the list has the focus.
    if (HasFocus() && m_lastSelect >= first && m_lastSelect <= last) {
        const int y = (m_lastSelect - first) * m_lineHeight - shift;
        const wxColour under = Or(m_list->GetRowBGColor(m_lastSelect), *wxWHITE);
        wxsDrawFocusMark(dc, wxRect(0, y, int(std::min<int64_t>(tableRight, size.x)), m_lineHeight),
                         wxsReadableOn(Or(wxsGetColor(color_Text), *wxBLACK), under));
    }
    // Column separators down to the last row, and the end of the table.
    const int bottom = (last - first + 1) * m_lineHeight - shift;
    dc.SetPen(wxPen(Or(wxsGetColor(color_3DDark), *wxBLACK)));
    int64_t x = -hpos;
    for (size_t c = 0; c < columns.size() && x < size.x; ++c) {
        x += columns[c].width;
        if (x > 0 && x <= size.x) dc.DrawLine(int(x) - 1, 0, int(x) - 1, bottom);
    }
    dc.SetPen(wxPen(Or(wxsGetColor(color_3DLight), *wxWHITE)));
    if (bottom < size.y) dc.DrawLine(0, bottom, int(std::min<int64_t>(tableRight, size.x)), bottom);
    // A tooltip shown tells of the row under the pointer now, which a re-sort, a new row or a
    // scroll may have changed.
    if (GetToolTip() && m_lastMouseX != INT_MIN) {
        const wxString tip = TooltipAt(m_lastMouseX, m_lastMouseY);
        if (tip.empty())
            UnsetToolTip();
        else if (tip != GetToolTipText())
            SetToolTip(tip);
    }
}

void wxDBListBody::ClearTextCache() {
    m_cache->Clear();
}

void wxDBListBody::OnFocus(wxFocusEvent& event) {
    event.Skip();
    if (m_lastSelect >= 0) RedrawItem(m_lastSelect); // the focus mark comes or goes
}

void wxDBListBody::OnColors(wxSysColourChangedEvent& event) {
    ClearTextCache();
    event.Skip();
}

// ---- wxDBListBody: selection ----

int wxDBListBody::ProcessSelection(int row, const wxPoint& point, bool shift, bool control) {
    if (shift && m_lastSelect >= 0) {
        const int from = std::max(0, std::min(m_lastSelect, row));
        const int to = std::min(std::max(m_lastSelect, row), m_lineCount - 1);
        for (int r = from; r <= to; ++r)
            SendListEvent(wxEVT_LIST_ITEM_SELECTED, point, r);
        return row;
    }
    if (row < 0 || row >= m_lineCount) return -1;
    if (control && m_list->IsRowSelected(row))
        SendListEvent(wxEVT_LIST_ITEM_DESELECTED, point, row);
    else
        SendListEvent(wxEVT_LIST_ITEM_SELECTED, point, row);
    return row;
}

void wxDBListBody::DeselectAll(bool resetAnchor) {
    for (int row : m_list->GetSelection())
        SendListEvent(wxEVT_LIST_ITEM_DESELECTED, {0, 0}, row);
    if (resetAnchor) m_lastSelect = -1;
}

void wxDBListBody::ClickSelect(int row, const wxPoint& point, bool shift, bool control) {
    if (m_singleSelection)
        DeselectAll(true);
    else if (!control)
        DeselectAll(!shift);
    const int hit = ProcessSelection(row, point, shift, control);
    // A Shift-click with an anchor keeps it, so consecutive Shift-clicks extend from one row.
    if (m_singleSelection || control || m_lastSelect < 0) m_lastSelect = hit;
}

// ---- wxDBListBody: mouse ----

namespace {
// What a handler of the user's input asked to redraw shows in the next frame.
struct _ForInput {
    wxDoubleBufferedWindow* window;
    ~_ForInput() { window->RedrawForInput(); }
};
} // namespace

void wxDBListBody::OnLDown(wxMouseEvent& event) {
    const _ForInput input{this};
    if (!HasCapture()) CaptureMouse();
    SetFocus();
    ClickSelect(RowAt(event.GetY()), event.GetPosition(), event.ShiftDown(), event.ControlDown());
}

void wxDBListBody::OnLUp(wxMouseEvent&) {
    if (HasCapture()) ReleaseMouse();
}

void wxDBListBody::OnRDown(wxMouseEvent& event) {
    const _ForInput input{this};
    const int row = RowAt(event.GetY());
    const bool inside = row >= 0 && row < m_lineCount;
    if (!inside || !m_list->IsRowSelected(row))
        ClickSelect(row, event.GetPosition(), event.ShiftDown(), event.ControlDown());
    SendListEvent(wxEVT_LIST_ITEM_RIGHT_CLICK, event.GetPosition(), row);
}

void wxDBListBody::OnDoubleClick(wxMouseEvent& event) {
    SendListEvent(wxEVT_LIST_ITEM_ACTIVATED, event.GetPosition());
}

void wxDBListBody::OnMotion(wxMouseEvent& event) {
    const wxPoint point = event.GetPosition();
    const int row = RowAt(point.y);
    if (HasCapture()) {
        const _ForInput input{this};
        // A drag selects from the anchor to the row under the pointer.
        if (m_singleSelection) {
            // One row at a time: the selection follows the pointer.
            if (row >= 0 && row < m_lineCount && !m_list->IsRowSelected(row)) {
                DeselectAll(false);
                m_lastSelect = ProcessSelection(row, point, false, false);
            }
        } else {
            ProcessSelection(row, point, true, false);
        }
        if (point.y < 0)
            ScrollLines(-1);
        else if (point.y > GetClientSize().y)
            ScrollLines(1);
    } else {
        int xInColumn = 0;
        const int column = FindColumn(point.x, &xInColumn);
        const int yInRow = int((int64_t(point.y) + GetScrollPixel(wxVERTICAL)) % m_lineHeight);
        // Asked only over a cell: a client indexes its rows and columns with these.
        const wxCursor cursor = row >= 0 && row < m_lineCount && column >= 0
                                    ? m_list->CustomizeCursor(row, column, xInColumn, yInRow)
                                    : g_TableSettings.cursor;
        if (!cursor.IsSameAs(m_cursor)) {
            m_cursor = cursor;
            SetCursor(m_cursor);
        }
        if (row != m_hoverRow) {
            if (m_hoverRow >= 0)
                RedrawItems(m_hoverRow, row);
            else
                RedrawItem(row);
            m_hoverRow = row;
        }
    }
    if (point.x != m_lastMouseX || point.y != m_lastMouseY) {
        m_lastMouseX = point.x;
        m_lastMouseY = point.y;
        if (GetToolTip()) UnsetToolTip();
        m_tooltipTimer.StartOnce(k_TooltipDelayMs);
    }
}

void wxDBListBody::OnLeave(wxMouseEvent&) {
    if (m_hoverRow < 0) return;
    RedrawItems(m_hoverRow - 1, m_hoverRow + 1);
    m_hoverRow = -1;
}

void wxDBListBody::OnTooltipTimer(wxTimerEvent&) {
    if (m_lastMouseX == INT_MIN) return;
    const wxString tip = TooltipAt(m_lastMouseX, m_lastMouseY);
    if (!tip.empty()) SetToolTip(tip);
}

wxString wxDBListBody::TooltipAt(int x, int y) {
    const int row = RowAt(y);
    const int column = FindColumn(x);
    if (row < 0 || row >= m_lineCount || column < 0) return wxString();
    try {
        // The full text of a cell that may be drawn shortened.
        if (m_list->m_tooltipsOnlyWhenShortened && IsCellShortened(row, column) == 0)
            return wxString();
        return wxFromString(m_list->GetDisplayText(row, column));
    } catch (Exception* e) {
        delete e;
    } catch (...) {
    }
    return wxString();
}

int wxDBListBody::IsCellShortened(int row, int column) {
    const wxSize cell(std::max(1, m_list->GetColumnWidth(column)), std::max(1, m_lineHeight));
    wxBitmap aside(cell.x, cell.y);
    wxMemoryDC dc(aside);
    dc.SetFont(GetFont());
    m_probe = _Probe{row, column, -1};
    m_list->PrepareToDraw(row);
    m_list->DrawCell(dc, row, column, wxRect(cell), m_list->IsRowSelected(row));
    m_list->CleanupAfterDraw(row);
    const int shortened = m_probe.shortened;
    m_probe = _Probe();
    return shortened;
}

// ---- wxDBListBody: keys ----

void wxDBListBody::OnKey(wxKeyEvent& event) {
    const _ForInput input{this};
    const int key = event.GetKeyCode();
    const int step = key == WXK_DOWN ? 1 : key == WXK_UP ? -1 : 0;
    if (step == 0) {
        if (!JumpKey(event)) event.Skip();
        return;
    }
    if (step > 0 ? !(m_lastSelect >= 0 && m_lastSelect < m_lineCount - 1) : m_lastSelect <= 0)
        return;
    // With Shift or Control held the arrows add rows; without, the selection moves.
    if (m_singleSelection || !(event.ShiftDown() || event.ControlDown())) DeselectAll(false);
    m_lastSelect += step;
    const int64_t top = int64_t(m_lastSelect) * m_lineHeight - GetScrollPixel(wxVERTICAL);
    ProcessSelection(m_lastSelect,
                     wxPoint(0, RowTop(m_lastSelect, GetScrollPixel(wxVERTICAL), m_lineHeight)),
                     false, false);
    if (step > 0 && top > GetClientSize().y - m_lineHeight)
        ScrollLines(1);
    else if (step < 0 && top < m_lineHeight)
        ScrollLines(-1);
}

bool wxDBListBody::JumpKey(const wxKeyEvent& event) {
    // A page is the rows fully in view less one, so that one row stays for orientation.
    const int page = std::max(1, ViewSize().y / m_lineHeight - 1);
    const int from = m_lastSelect >= 0 ? m_lastSelect : RowAt(0);
    int target = 0;
    switch (event.GetKeyCode()) {
    case WXK_HOME:
    case WXK_NUMPAD_HOME:
        target = 0;
        break;
    case WXK_END:
    case WXK_NUMPAD_END:
        target = m_lineCount - 1;
        break;
    case WXK_PAGEUP:
    case WXK_NUMPAD_PAGEUP:
        target = from - page;
        break;
    case WXK_PAGEDOWN:
    case WXK_NUMPAD_PAGEDOWN:
        target = int(std::min<int64_t>(int64_t(from) + page, INT_MAX));
        break;
    default:
        return false;
    }
    target = std::max(0, std::min(target, m_lineCount - 1));
    if (m_lineCount <= 0 || target == m_lastSelect) return true;
    // As that many arrow presses: with Shift or Control the rows passed are added.
    const bool extend =
        !m_singleSelection && m_lastSelect >= 0 && (event.ShiftDown() || event.ControlDown());
    if (!extend) DeselectAll(false);
    ProcessSelection(target, wxPoint(0, RowTop(target, GetScrollPixel(wxVERTICAL), m_lineHeight)),
                     extend, false);
    m_lastSelect = target;
    m_list->EnsureVisible(target);
    return true;
}

// ---- wxDBListCtrl: hooks ----

wxDBListCtrl::wxDBListCtrl(wxWindow* parent, int id, bool singleSelection)
    : wxsPanel(parent, id, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL | wxNO_BORDER),
      m_singleSelection(singleSelection) {
    if (!g_TableSettings.initialised) g_TableSettings.Init();
    m_header = new wxDBListHeader(this, this);
    m_body = new wxDBListBody(this, this, singleSelection);
    m_body->m_partner = m_header;
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(m_header, 0, wxEXPAND);
    sizer->Add(m_body, 1, wxEXPAND);
    SetSizer(sizer);
}

wxDBListCtrl::~wxDBListCtrl() {
    // The views call back into this object: they go first.
    DestroyChildren();
    m_header = nullptr;
    m_body = nullptr;
}

void wxDBListCtrl::PrepareToDraw(int) {}

wxColour wxDBListCtrl::GetRowColor(int) {
    return wxsGetColor(color_Text);
}

wxColour wxDBListCtrl::GetRowBGColor(int row) {
    const wxColour base = wxsGetColor(color_WindowBGDarker);
    if (row % 2 == 0) return base;
    const int shade = g_TableSettings.rowShade;
    return OffsetColor(base, shade, shade, shade);
}

void wxDBListCtrl::CleanupAfterDraw(int) {}

void wxDBListCtrl::DrawCell(wxDC& dc, int row, int column, wxRect cell, bool) {
    cell.Deflate(g_TableSettings.cellPadding);
    const String text = GetDisplayText(row, column);
    if (m_body && m_body->m_probe.row == row && m_body->m_probe.column == column) {
        // Drawn aside for a tooltip: only whether the text fits is wanted.
        int width = cell.width;
        m_body->m_probe.shortened = FormatDisplayString(text, width, dc) != text;
        return;
    }
    if (m_body && m_body->m_cache) {
        m_body->m_cache->Draw(dc, text, cell);
        return;
    }
    int width = cell.width;
    dc.DrawText(wxFromString(FormatDisplayString(text, width, dc)), cell.x, cell.y);
}

wxCursor wxDBListCtrl::CustomizeCursor(int, int, int, int) {
    return g_TableSettings.cursor;
}

void wxDBListCtrl::DoClear() {}

// ---- wxDBListCtrl: columns ----

void wxDBListCtrl::AddColumn(const ColumnHeader& column) {
    m_columns.push_back(column);
    if (m_columns.back().defaultWidth < 0) m_columns.back().defaultWidth = column.width;
    m_body->m_virtualWidth += column.width;
    m_body->AdjustScrollbars();
    Redraw();
}

void wxDBListCtrl::AddColumn(int type, String label, int width) {
    ColumnHeader column;
    column.type = type;
    column.label = std::move(label);
    // Only -1 means "default" here; InsertColumn replaces any negative width.
    column.width = column.dragWidth = width == -1 ? 100 : width;
    AddColumn(column);
}

void wxDBListCtrl::InsertColumn(int position, int type, String label, String text2, int width) {
    ColumnHeader column;
    column.type = type;
    column.label = std::move(label);
    column.text2 = std::move(text2);
    column.width = column.dragWidth = width < 0 ? 100 : width;
    position = std::max(0, std::min(position, GetColumnCount()));
    m_columns.insert(m_columns.begin() + position, column);
    if (m_columns[size_t(position)].defaultWidth < 0)
        m_columns[size_t(position)].defaultWidth = m_columns[size_t(position)].width;
    if (m_highlightColumn >= position) ++m_highlightColumn;
    m_body->m_virtualWidth += column.width;
    m_body->AdjustScrollbars();
    Redraw();
}

void wxDBListCtrl::MoveColumn(int from, int to) {
    const int n = GetColumnCount();
    if (from < 0 || from >= n || to < 0 || to >= n || from == to) return;
    ColumnHeader column = m_columns[from];
    m_columns.erase(m_columns.begin() + from);
    m_columns.insert(m_columns.begin() + to, column);
    // The highlight stays on the same column.
    int& h = m_highlightColumn;
    if (h == from)
        h = to;
    else if (from < h && h <= to)
        --h;
    else if (to <= h && h < from)
        ++h;
    Redraw();
}

void wxDBListCtrl::RemoveColumn(int index) {
    if (index < 0 || index >= GetColumnCount()) return;
    m_body->m_virtualWidth -= m_columns[index].width;
    m_body->AdjustScrollbars();
    m_columns.erase(m_columns.begin() + index);
    if (m_highlightColumn == index)
        m_highlightColumn = -1;
    else if (m_highlightColumn > index)
        --m_highlightColumn;
    Redraw();
}

void wxDBListCtrl::RemoveAllColumns() {
    m_columns.clear();
    m_highlightColumn = -1;
    m_body->m_virtualWidth = 0;
    m_body->AdjustScrollbars();
    Redraw();
}

void wxDBListCtrl::SetColumnLabel(int index, const String& label) {
    if (index < 0 || index >= GetColumnCount()) return;
    m_columns[index].label = label;
    m_header->Redraw();
}

void wxDBListCtrl::SetColumnImage(int index, int image) {
    if (index < 0 || index >= GetColumnCount()) return;
    m_columns[index].image = image;
    m_header->Redraw();
}

void wxDBListCtrl::SetColumnWidth(int index, int width) {
    if (index < 0 || index >= GetColumnCount()) return;
    m_body->m_virtualWidth += width - m_columns[index].width;
    m_columns[index].width = width;
    m_body->AdjustScrollbars();
    Redraw();
}

int wxDBListCtrl::FindColumnByType(int type) const {
    for (size_t i = 0; i < m_columns.size(); ++i)
        if (m_columns[i].type == type) return int(i);
    return -1;
}

String wxDBListCtrl::GetColumnName(int index) {
    return m_columns[index].label;
}

void wxDBListCtrl::SetHighlightColumn(int index) {
    const int old = m_highlightColumn;
    m_highlightColumn = index;
    if (old < 0)
        RedrawColumn(index);
    else
        RedrawColumns(old, index);
}

// ---- wxDBListCtrl: rows and redraws ----

void wxDBListCtrl::Insert(int position, bool redraw) {
    m_body->Insert(position, 1, redraw);
}

void wxDBListCtrl::Insert(int position, unsigned long count, bool redraw) {
    m_body->Insert(position, count, redraw);
}

void wxDBListCtrl::Remove(int row) {
    m_body->Remove(row, 1);
}

void wxDBListCtrl::Remove(int position, unsigned long count) {
    m_body->Remove(position, count);
}

void wxDBListCtrl::Clear() {
    m_body->Clear();
}

int wxDBListCtrl::GetItemCount() const {
    return m_body->GetItemCount();
}

int wxDBListCtrl::GetRowHeight() const {
    return m_body->GetRowHeight();
}

void wxDBListCtrl::SetItemCount(int count) {
    const int now = GetItemCount();
    if (count > now)
        Insert(now, (unsigned long)(count - now), true);
    else if (count < now)
        Remove(std::max(count, 0), (unsigned long)(now - std::max(count, 0)));
}

void wxDBListCtrl::RedrawItem(int row) {
    m_body->RedrawItem(row);
}

void wxDBListCtrl::RedrawItems(int a, int b) {
    m_body->RedrawItems(a, b);
}

void wxDBListCtrl::RedrawColumn(int column) {
    m_body->RedrawColumns(column, column);
}

void wxDBListCtrl::RedrawColumns(int a, int b) {
    m_body->RedrawColumns(a, b);
}

void wxDBListCtrl::RedrawCell(int row, int column) {
    m_body->RedrawCells(row, column, row, column);
}

void wxDBListCtrl::RedrawCells(int row1, int column1, int row2, int column2) {
    m_body->RedrawCells(row1, column1, row2, column2);
}

void wxDBListCtrl::Redraw() {
    m_header->Redraw();
    m_body->Redraw();
}

wxRect wxDBListCtrl::GetCellRect(int row, int column) const {
    return m_body->GetCellRect(row, column);
}

wxRect wxDBListCtrl::GetColumnRect(int column) const {
    return m_body->GetColumnRect(column);
}

wxRect wxDBListCtrl::GetItemRect(int row) const {
    return m_body->GetItemRect(row);
}

int wxDBListCtrl::GetLastSelect() const {
    return m_body->GetLastSelect();
}

void wxDBListCtrl::SetLastSelect(int row) {
    m_body->SetLastSelect(row);
}

void wxDBListCtrl::ReportScrollbars() {
    m_body->m_reportScrollbars = true;
}

void wxDBListCtrl::EnsureVisible(int row) {
    const int64_t top = int64_t(row) * m_body->m_lineHeight;
    const int64_t pos = m_body->GetScrollPixel(wxVERTICAL);
    const int thumb = m_body->GetScrollPixelThumb(wxVERTICAL);
    if (top < pos)
        m_body->ScrollToPixel(wxVERTICAL, top);
    else if (top + m_body->m_lineHeight > pos + thumb)
        m_body->ScrollToPixel(wxVERTICAL, top + m_body->m_lineHeight - thumb);
}

// ---- wxDBListCtrl: persistence ----

void wxDBListCtrl::SaveColumnSizes(const String& section, const String& key) {
    String value;
    for (size_t i = 0; i < m_columns.size(); ++i)
        value += (i ? ", " : "") + String::FromInt(m_columns[i].width);
    if (Application* app = Application::the_Application) {
        OptionsFile* options = app->GetOptions();
        OptionsFile::Pause pause(options);
        try {
            RWLock::WriteGuard lock(*options->GetRWLock());
            options->InsertSection(section);
            options->SetValue(key, value);
        } catch (Exception* e) {
            LogInfo("Cannot save the column sizes: " + e->Format());
            delete e;
        }
    }
    LogDebug("ListCtrl SAVE: [ " + section + " ] " + key + " = " + value);
}

namespace {
// A saved width: leading blanks skipped, trailing garbage ignored, no digits read as 0; never
// below the minimum. A width past any screen is no layout: the column's default width. The
// rest of what does not read as a width is said once in the log.
int ParseWidth(const String& token, int defaultWidth, const String& section, const String& key) {
    if (token.empty()) return k_MinColumnWidth;
    errno = 0;
    char* end = nullptr;
    const long v = strtol(token.c_str(), &end, 10);
    const bool overflow = errno == ERANGE;
    const String t = token.Trimmed();
    const bool clean =
        !overflow && end && !t.empty() && String(end).Trimmed().empty() && end != token.c_str();
    if (!clean || v < k_MinColumnWidth || v > k_MaxColumnWidth)
        GlobalLog(LL_Warning,
                  SFormat("Settings: [%s] %s: column width '%s' is not a width from %d to %d; %s",
                          section.c_str(), key.c_str(), t.substr(0, 40).c_str(), k_MinColumnWidth,
                          k_MaxColumnWidth,
                          v > k_MaxColumnWidth || overflow ? "the column's default width is used"
                                                           : "the narrowest width is used"));
    if (v > k_MaxColumnWidth || overflow) return std::max(defaultWidth, k_MinColumnWidth);
    return int(std::max<long>(k_MinColumnWidth, v));
}
} // namespace

void wxDBListCtrl::RestoreColumnSizes(const String& section, const String& key) {
    Application* app = Application::the_Application;
    const String value = app ? app->GetOptions()->GetValue(section, key, String()) : String();
    LogDebug("ListCtrl LOAD: [ " + section + " ] " + key + " = " + value);
    StringTokenizer tokens(value, ",", false, '"', '\\');
    for (size_t i = 0; i < m_columns.size() && tokens.HasMoreTokens(); ++i) {
        const int width = ParseWidth(tokens.NextToken(),
                                     m_columns[i].defaultWidth >= 0 ? m_columns[i].defaultWidth
                                                                    : m_columns[i].width,
                                     section, key);
        m_body->m_virtualWidth += width - m_columns[i].width;
        m_columns[i].width = width;
    }
    m_body->AdjustScrollbars();
}

// ---- wxsListCtrl: selection ----

bool _RowSelection::Add(int row) {
    if (row < 0 || Contains(row)) return false;
    if (size_t(row) >= m_flags.size()) m_flags.resize(size_t(row) + 1);
    m_flags[size_t(row)] = true;
    m_order.push_back(row);
    ++m_count;
    return true;
}

bool _RowSelection::Erase(int row) {
    if (!Contains(row)) return false;
    m_flags[size_t(row)] = false;
    // Deselecting all walks the selection in its order: the entry is usually the one after
    // the last erased, so look there first.
    const auto hint = m_order.begin() + std::min(m_hint, m_order.size());
    auto at = std::find(hint, m_order.end(), row);
    if (at == m_order.end()) at = std::find(m_order.begin(), hint, row);
    *at = -1;
    m_hint = size_t(at - m_order.begin()) + 1;
    if (--m_count == 0)
        Clear();
    else if (m_order.size() - m_count > m_count + 64)
        Compact();
    return true;
}

void _RowSelection::Compact() {
    m_order.erase(std::remove(m_order.begin(), m_order.end(), -1), m_order.end());
    m_hint = 0;
}

void _RowSelection::InsertRow(int row) {
    if (m_count == 0 || row < 0) return;
    for (int& r : m_order)
        if (r >= row) ++r;
    if (size_t(row) < m_flags.size()) m_flags.insert(m_flags.begin() + row, false);
}

void _RowSelection::DeleteRow(int row) {
    if (m_count == 0 || row < 0) return;
    Erase(row);
    for (int& r : m_order)
        if (r > row) --r;
    if (size_t(row) < m_flags.size()) m_flags.erase(m_flags.begin() + row);
}

void _RowSelection::Clear() {
    m_order.clear();
    m_flags.clear();
    m_hint = m_count = 0;
}

std::vector<int> _RowSelection::Ordered() const {
    std::vector<int> rows;
    rows.reserve(m_count);
    for (int row : m_order)
        if (row >= 0) rows.push_back(row);
    return rows;
}

int _RowSelection::FirstAbove(int item) const {
    for (int row : m_order)
        if (row > item && row >= 0) return row;
    return -1;
}

// ---- wxsListCtrl: rows ----

wxsListCtrl::wxsListCtrl(wxWindow* parent, int id, const wxPoint&, const wxSize&, long,
                         const wxValidator&, const wxString&)
    : wxDBListCtrl(parent, -1, false) {
    CALL_ENTRY("wxsListCtrl::wxsListCtrl");
    SetId(id);
}

bool wxsListCtrl::IsRowSelected(int row) {
    CALL_ENTRY("wxsListCtrl::IsRowSelected");
    return m_selection.Contains(row);
}

std::vector<int> wxsListCtrl::GetSelection() {
    CALL_ENTRY("wxsListCtrl::GetSelection");
    return m_selection.Ordered();
}

String wxsListCtrl::GetDisplayText(int row, int column) {
    CALL_ENTRY("wxsListCtrl::GetDisplayText");
    if (row < 0 || size_t(row) >= m_rows.size()) return String();
    const auto& cells = m_rows[size_t(row)].cells;
    return column >= 0 && size_t(column) < cells.size() ? cells[size_t(column)] : String();
}

void wxsListCtrl::DoClear() {
    CALL_ENTRY("wxsListCtrl::DoClear");
    m_rows.clear();
    m_rows.shrink_to_fit();
    m_selection.Clear();
}

wxsListCtrl::Row& wxsListCtrl::Record(int row) {
    if (size_t(row) >= m_rows.size()) m_rows.resize(size_t(row) + 1);
    return m_rows[size_t(row)];
}

int wxsListCtrl::InsertItem(int index, const String& label, int image) {
    CALL_ENTRY("wxsListCtrl::InsertItem");
    index = std::max(0, std::min(index, GetItemCount()));
    Row row;
    // A list without columns yet still keeps the label for the first one.
    row.cells.resize(size_t(std::max(1, GetColumnCount())));
    row.cells[0] = label;
    row.image = image;
    if (size_t(index) > m_rows.size()) m_rows.resize(size_t(index));
    m_rows.insert(m_rows.begin() + index, std::move(row));
    m_selection.InsertRow(index);
    Insert(index, true);
    return index;
}

bool wxsListCtrl::SetItem(int row, int column, const String& text) {
    CALL_ENTRY("wxsListCtrl::SetItem");
    if (row < 0 || row >= GetItemCount() || column < 0 || column >= GetColumnCount()) return false;
    auto& cells = Record(row).cells;
    if (size_t(column) >= cells.size()) cells.resize(size_t(column) + 1);
    cells[size_t(column)] = text;
    RedrawCell(row, column);
    return true;
}

void wxsListCtrl::SetItemTextColour(int row, const wxColour& colour) {
    CALL_ENTRY("wxsListCtrl::SetItemTextColour");
    if (RowLook* look = Look(row)) look->textColour = colour, RedrawItem(row);
}

void wxsListCtrl::SetItemFont(int row, const wxFont& font) {
    CALL_ENTRY("wxsListCtrl::SetItemFont");
    if (RowLook* look = Look(row)) look->font = font, RedrawItem(row);
}

wxsListCtrl::RowLook* wxsListCtrl::Look(int row) {
    if (row < 0 || row >= GetItemCount()) return nullptr;
    auto& look = Record(row).look;
    if (!look) look.reset(new RowLook);
    return look.get();
}

wxColour wxsListCtrl::GetItemTextColour(int row) const {
    CALL_ENTRY("wxsListCtrl::GetItemTextColour");
    const bool set = row >= 0 && size_t(row) < m_rows.size() && m_rows[size_t(row)].look;
    return set ? m_rows[size_t(row)].look->textColour : wxColour();
}

wxFont wxsListCtrl::GetItemFont(int row) const {
    CALL_ENTRY("wxsListCtrl::GetItemFont");
    const bool set = row >= 0 && size_t(row) < m_rows.size() && m_rows[size_t(row)].look;
    return set ? m_rows[size_t(row)].look->font : wxFont();
}

int wxsListCtrl::GetItemImage(int row) const {
    CALL_ENTRY("wxsListCtrl::GetItemImage");
    return row >= 0 && size_t(row) < m_rows.size() ? m_rows[size_t(row)].image : -1;
}

bool wxsListCtrl::DeleteItem(int row) {
    CALL_ENTRY("wxsListCtrl::DeleteItem");
    if (row < 0 || row >= GetItemCount()) return false;
    if (size_t(row) < m_rows.size()) m_rows.erase(m_rows.begin() + row);
    m_selection.DeleteRow(row);
    if (GetLastSelect() == row) SetLastSelect(row - 1);
    m_body->Redraw();
    return true;
}

int wxsListCtrl::GetNextItem(int item, int, int) {
    CALL_ENTRY("wxsListCtrl::GetNextItem");
    // In selection order, so not always the next higher selected row: kept on purpose.
    return m_selection.FirstAbove(item);
}

// ---- wxsListCtrl: selection events ----

bool wxsListCtrl::TryBefore(wxEvent& event) {
    const wxEventType type = event.GetEventType();
    auto* list = dynamic_cast<wxListEvent*>(&event);
    if (list && (type == wxEVT_LIST_ITEM_SELECTED || type == wxEVT_LIST_ITEM_DESELECTED) &&
        event.GetEventObject() == this) {
        event.Skip(false);
        type == wxEVT_LIST_ITEM_SELECTED ? OnItemSelect(*list) : OnItemDeselect(*list);
        // Not skipped: a row outside the list, or the deselection of a row that is not
        // selected; nobody else needs to see it.
        if (!event.GetSkipped()) return true;
        event.Skip(false);
    }
    return wxDBListCtrl::TryBefore(event);
}

void wxsListCtrl::OnItemSelect(wxListEvent& event) {
    CALL_ENTRY("wxsListCtrl::OnItemSelect");
    const int row = int(event.GetIndex());
    if (row < 0 || row >= GetItemCount()) return;
    event.Skip();
    if (m_selection.Add(row)) RedrawItem(row);
}

void wxsListCtrl::OnItemDeselect(wxListEvent& event) {
    CALL_ENTRY("wxsListCtrl::OnItemDeselect");
    // Any selected row counts, even one that a Remove has just taken out of the count.
    const int row = int(event.GetIndex());
    if (!m_selection.Contains(row)) return;
    event.Skip();
    m_selection.Erase(row);
    RedrawItem(row);
}
