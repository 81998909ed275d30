// Sections: construction; deferred redraw; paint and resize; scroll bars (64-bit model and its
// native copy); scroll events; wheel.
#include <wxTaviro/wxDoubleBufferedWindow.h>
#include <wxTaviro/wxTaviroAccessible.h>

#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/Log.h>

#include <wx/dcclient.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace {
// The native bar counts in int and GTK does arithmetic on range + page: stay well below
// INT_MAX and scale bigger ranges down.
constexpr int64_t k_NativeMax = int64_t(1) << 30;

int Saturate(int64_t v) {
    return v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : int(v);
}
} // namespace

// ---- construction ----

wxBEGIN_EVENT_TABLE(wxDoubleBufferedWindow, wxWindow)
    EVT_PAINT(wxDoubleBufferedWindow::Paint)
    EVT_ERASE_BACKGROUND(wxDoubleBufferedWindow::Erase)
    EVT_SIZE(wxDoubleBufferedWindow::Resize)
    EVT_SYS_COLOUR_CHANGED(wxDoubleBufferedWindow::OnSysColorChange)
    EVT_SCROLLWIN(wxDoubleBufferedWindow::Scroll)
    EVT_MOUSEWHEEL(wxDoubleBufferedWindow::OnMouseWheel)
    EVT_TIMER(1, wxDoubleBufferedWindow::Timeout)
    EVT_CLOSE(wxDoubleBufferedWindow::Closing)
wxEND_EVENT_TABLE()

wxDoubleBufferedWindow::wxDoubleBufferedWindow(wxWindow* parent, int id, long style)
    : wxWindow(parent, id, wxDefaultPosition, wxDefaultSize,
               style | wxHSCROLL | wxVSCROLL | wxWANTS_CHARS, wxASCII_STR(wxPanelNameStr)),
      m_timer(this, 1) {
    // The bitmap covers everything; the toolkit must not clear behind it.
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    wxsAccessibleRegister(this);
}

wxDoubleBufferedWindow::~wxDoubleBufferedWindow() {
    m_timer.Stop();
    delete m_bitmap;
    m_bitmap = nullptr;
}

// ---- deferred redraw ----

void wxDoubleBufferedWindow::Redraw(const wxRect& area) {
    CALL_ENTRY("wxDoubleBufferedWindow::Refresh");
    m_dirtyRect.Union(area);
    if (!m_timer.IsRunning()) m_timer.StartOnce(m_redrawDelay);
}

void wxDoubleBufferedWindow::Redraw() {
    Redraw(wxRect(GetClientAreaOrigin(), GetClientSize()));
}

void wxDoubleBufferedWindow::Timeout(wxTimerEvent&) {
    m_needsRedraw = true;
    Refresh(false, &m_dirtyRect);
    m_dirtyRect = wxRect();
}

void wxDoubleBufferedWindow::RedrawForInput() {
    // What the user just did shows in the next frame: the 75 ms merge is for bursts of data,
    // and a scroll or a click that waited for it would feel sluggish. Invalidating is all it
    // takes; the toolkit paints at most once a frame however often this runs.
    if (!m_timer.IsRunning()) return;
    m_timer.Stop();
    wxTimerEvent now(m_timer);
    Timeout(now);
}

void wxDoubleBufferedWindow::RedrawNow() {
    m_needsRedraw = true;
    Refresh(false);
    Update();
}

void wxDoubleBufferedWindow::Closing(wxCloseEvent& event) {
    m_timer.Stop();
    m_timer.SetOwner(nullptr, -1);
    event.Skip();
}

// ---- paint and resize ----

void wxDoubleBufferedWindow::Paint(wxPaintEvent&) {
    wxPaintDC dc(this);
    try {
        bool fresh = false;
        if (!m_bitmap) {
            const wxSize size = GetClientSize();
            if (size.x < 1 || size.y < 1) return;
            m_bitmap = new wxBitmap(size.x, size.y);
            fresh = true;
            m_needsRedraw = true;
        }
        if (fresh || m_needsRedraw) {
            DrawBitmap();
            m_needsRedraw = false;
        }
        dc.DrawBitmap(*m_bitmap, 0, 0, false);
    } catch (Exception* e) {
        // A failed frame heals itself at the next timer expiry.
        delete e;
        m_needsRedraw = true;
        Redraw();
    } catch (...) {
        m_needsRedraw = true;
        Redraw();
    }
}

void wxDoubleBufferedWindow::Erase(wxEraseEvent&) {}

void wxDoubleBufferedWindow::Resize(wxSizeEvent& event) {
    const wxSize size = event.GetSize();
    m_pageUnits = size.x / m_unitWidth + 2;
    m_pageLines = size.y / m_lineHeight + 2;
    AdjustScrollbars();
    delete m_bitmap;
    m_bitmap = nullptr;
    Refresh(false);
}

void wxDoubleBufferedWindow::OnSysColorChange(wxSysColourChangedEvent& event) {
    event.Skip();
    Redraw();
}

// ---- scroll bars ----

int64_t wxDoubleBufferedWindow::GetScrollPixel(int orient) const {
    return BarOf(orient).pos;
}

int64_t wxDoubleBufferedWindow::GetScrollPixelRange(int orient) const {
    return BarOf(orient).range;
}

int wxDoubleBufferedWindow::GetScrollPixelThumb(int orient) const {
    return BarOf(orient).thumb;
}

int wxDoubleBufferedWindow::GetScrollPos(int orient) const {
    return Saturate(BarOf(orient).pos);
}

int wxDoubleBufferedWindow::GetScrollRange(int orient) const {
    return Saturate(BarOf(orient).range);
}

int wxDoubleBufferedWindow::GetScrollThumb(int orient) const {
    return BarOf(orient).thumb;
}

void wxDoubleBufferedWindow::SetScrollPos(int orient, int pos, bool) {
    const _Bar& bar = BarOf(orient);
    SetBar(orient, pos, bar.thumb, bar.range);
}

void wxDoubleBufferedWindow::SetScrollbar(int orient, int pos, int thumb, int range, bool) {
    SetBar(orient, pos, thumb, range);
}

void wxDoubleBufferedWindow::SetBar(int orient, int64_t pos, int thumb, int64_t range,
                                    bool nativeNow) {
    _Bar& bar = BarOf(orient);
    bar.range = std::max<int64_t>(range, 0);
    bar.thumb = std::max(thumb, 0);
    bar.pos = std::max<int64_t>(0, std::min(pos, bar.range - bar.thumb));
    bar.scale = bar.range > k_NativeMax ? (bar.range + k_NativeMax - 1) / k_NativeMax : 1;
    if (nativeNow) {
        SyncNative(orient);
    } else if (!m_nativeSyncQueued) {
        // Once per turn of the event loop: rows added one by one would otherwise pay a
        // toolkit round of signals each.
        m_nativeSyncQueued = true;
        CallAfter([this] {
            m_nativeSyncQueued = false;
            SyncNative(wxHORIZONTAL);
            SyncNative(wxVERTICAL);
        });
    }
}

void wxDoubleBufferedWindow::SyncNative(int orient) {
    const _Bar& bar = BarOf(orient);
    const int thumb = bar.scale > 1 ? std::max(1, int(bar.thumb / bar.scale)) : bar.thumb;
    wxWindow::SetScrollbar(orient, int(bar.pos / bar.scale), thumb, int(bar.range / bar.scale),
                           true);
}

void wxDoubleBufferedWindow::AdjustScrollbars() {
    int w = 0, h = 0;
    GetClientSize(&w, &h);
    if (w < 1 || h < 1) return;
    SetBar(wxHORIZONTAL, m_hBar.pos, w, m_virtualWidth, false);
    const int64_t range = int64_t(m_lineCount) * m_lineHeight;
    int64_t pos = m_vBar.pos;
    if (m_stickToBottom && m_vBar.range - m_vBar.thumb <= pos) pos = range - h;
    SetBar(wxVERTICAL, pos, h, range, false);
    if (m_reportScrollbars) ReportScrollbars();
}

void wxDoubleBufferedWindow::ReportScrollbars() {
    const _Bar& hb = m_hBar;
    const _Bar& vb = m_vBar;
    LogInfo(SFormat("wxDoubleBufferedWindow %lx    H: %lld %d %lld   first: %lld -%lld (%d / %d "
                    "x %d)   V: %lld %d %lld   first: %lld -%lld (%d / %d x %d)",
                    (unsigned long)(uintptr_t)this, (long long)hb.pos, hb.thumb,
                    (long long)hb.range, (long long)(hb.pos / m_unitWidth),
                    (long long)(hb.pos % m_unitWidth), m_virtualWidth, m_pageUnits, m_unitWidth,
                    (long long)vb.pos, vb.thumb, (long long)vb.range,
                    (long long)(vb.pos / m_lineHeight), (long long)(vb.pos % m_lineHeight),
                    m_lineCount, m_pageLines, m_lineHeight));
}

// ---- scroll events ----

void wxDoubleBufferedWindow::Scroll(wxScrollWinEvent& event) {
    const int orient = event.GetOrientation();
    const _Bar& bar = BarOf(orient);
    const int64_t max = bar.range - bar.thumb;
    const int64_t pos = bar.pos;
    // The horizontal bar deliberately shares the vertical line step, and its page leaves
    // three units of the visible width as overlap.
    const int64_t page = orient == wxVERTICAL ? int64_t(m_pageLines - 2) * m_lineHeight
                                              : int64_t(m_pageUnits - 5) * m_unitWidth;
    const wxEventType type = event.GetEventType();
    int64_t target;
    if (type == wxEVT_SCROLLWIN_TOP)
        target = 0;
    else if (type == wxEVT_SCROLLWIN_BOTTOM)
        target = max;
    else if (type == wxEVT_SCROLLWIN_LINEUP)
        target = std::max<int64_t>(pos - m_lineHeight, 0);
    else if (type == wxEVT_SCROLLWIN_LINEDOWN)
        target = std::min(max, pos + m_lineHeight);
    else if (type == wxEVT_SCROLLWIN_PAGEUP)
        target = std::max<int64_t>(pos - page, 0);
    else if (type == wxEVT_SCROLLWIN_PAGEDOWN)
        target = std::min(max, pos + page);
    else // the event's position is in native units when the bar is scaled
        target = int64_t(event.GetPosition()) * bar.scale;
    ApplyScroll(orient, target);
    RedrawForInput();
    if (m_partner) m_partner->RedrawForInput();
}

void wxDoubleBufferedWindow::ApplyScroll(int orient, int64_t target) {
    _Bar& bar = BarOf(orient);
    bar.pos = std::max<int64_t>(0, std::min(bar.range - bar.thumb, target));
    SyncNative(orient);
    Redraw();
    if (m_partner) m_partner->Redraw();
}

void wxDoubleBufferedWindow::ScrollToPixel(int orient, int64_t pos) {
    ApplyScroll(orient, pos);
}

bool wxDoubleBufferedWindow::ScrollLines(int lines) {
    ApplyScroll(wxVERTICAL, m_vBar.pos + int64_t(lines) * m_lineHeight);
    return true;
}

bool wxDoubleBufferedWindow::ScrollPages(int pages) {
    ApplyScroll(wxVERTICAL, m_vBar.pos + int64_t(pages) * m_vBar.thumb);
    return true;
}

// ---- wheel ----

void wxDoubleBufferedWindow::OnMouseWheel(wxMouseEvent& event) {
    // Away from the user is a positive rotation and scrolls up.
    m_wheelAccumulator -= event.GetWheelRotation();
    const int delta = event.GetWheelDelta();
    if (delta <= 0 || delta > std::abs(m_wheelAccumulator)) return;
    int lines = m_wheelAccumulator / delta;
    m_wheelAccumulator %= delta;
    lines *= event.GetLinesPerAction();
    const int64_t target =
        std::max<int64_t>(0, std::min(m_vBar.range, m_vBar.pos + int64_t(lines) * m_lineHeight));
    ApplyScroll(wxVERTICAL, target);
    RedrawForInput();
}
