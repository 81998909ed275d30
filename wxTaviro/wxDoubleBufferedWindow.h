/// @file
/// The base of every fast custom-drawn view: an off-screen bitmap the size of the client area
/// that the subclass redraws whole, redraw requests merged into one dirty rectangle and carried
/// out by a one-shot timer 75 ms later, and a scroll model in pixels over the native scroll bars.
///
/// Scroll positions are pixels. They are kept 64-bit here, because a table of 100 million rows
/// is more pixels high than an int holds; the native bar gets a scaled-down copy when the range
/// does not fit its int arithmetic. GetScrollPos/GetScrollRange/GetScrollThumb answer in pixels
/// as long as the range fits an int; views that may grow beyond read GetScrollPixel().
#pragma once

#include <wx/bitmap.h>
#include <wx/timer.h>
#include <wx/window.h>

#include <cstdint>

class wxDoubleBufferedWindow : public wxWindow {
public:
    wxDoubleBufferedWindow(wxWindow* parent, int id, long style);
    ~wxDoubleBufferedWindow() override;

    /// Draws the whole client area into m_bitmap (through a wxMemoryDC selected on it).
    virtual void DrawBitmap() = 0;

    /// Merges `area` into the dirty rectangle; the first request starts the one-shot timer,
    /// later ones only grow the rectangle (they never restart or prolong it).
    void Redraw(const wxRect& area);
    void Redraw();
    /// The redraw asked for so far goes to the screen in the next frame instead of after the
    /// merge delay: for what the user does (scrolls, clicks, keys).
    void RedrawForInput();
    /// The deferred redraw carried out at once (benchmarks and tests): marks the bitmap stale
    /// and paints synchronously.
    void RedrawNow();
    /// The off-screen buffer as last drawn; null before the first paint and after a resize.
    const wxBitmap* GetBuffer() const { return m_bitmap; }

    /// Vertical only; always true.
    bool ScrollLines(int lines) override;
    bool ScrollPages(int pages) override;

    /// Recomputes both scroll bars from the metrics; call after changing m_lineCount or
    /// m_virtualWidth. The native bars follow on the next turn of the event loop.
    void AdjustScrollbars();

    /// Pixels, 64-bit: the position, the range and the visible length (thumb) of a bar.
    int64_t GetScrollPixel(int orient) const;
    int64_t GetScrollPixelRange(int orient) const;
    int GetScrollPixelThumb(int orient) const;
    /// Moves to `pos` (clamped to 0 .. range - thumb) and redraws, as a thumb drag would.
    void ScrollToPixel(int orient, int64_t pos);

    /// The vertical unit (a line or row) and the horizontal one, in pixels.
    int GetLineHeight() const { return m_lineHeight; }
    int GetUnitWidth() const { return m_unitWidth; }

    /// The wx accessors in pixels, saturated at INT_MAX.
    int GetScrollPos(int orient) const override;
    int GetScrollRange(int orient) const override;
    int GetScrollThumb(int orient) const override;
    void SetScrollPos(int orient, int pos, bool refresh = true) override;
    void SetScrollbar(int orient, int pos, int thumb, int range, bool refresh = true) override;

    /// Event handlers.
    void Paint(wxPaintEvent& event);
    void Erase(wxEraseEvent& event);
    void Resize(wxSizeEvent& event);
    void OnSysColorChange(wxSysColourChangedEvent& event);
    void Scroll(wxScrollWinEvent& event);
    void OnMouseWheel(wxMouseEvent& event);
    void Timeout(wxTimerEvent& event);
    void Closing(wxCloseEvent& event);

protected:
    wxBitmap* m_bitmap = nullptr;
    bool m_needsRedraw = false;
    wxTimer m_timer;
    int m_redrawDelay = 75;
    wxRect m_dirtyRect;
    int m_lineHeight = 10;
    int m_unitWidth = 10;
    int m_virtualWidth = 0;
    int m_lineCount = 0;
    int m_pageUnits = 0;
    int m_pageLines = 0;
    bool m_stickToBottom = false;
    int m_wheelAccumulator = 0;
    wxDoubleBufferedWindow* m_partner = nullptr;
    bool m_reportScrollbars = false;

private:
    // One bar's state in pixels and the divisor of its native copy.
    struct _Bar {
        int64_t pos = 0;
        int64_t range = 0;
        int thumb = 0;
        int64_t scale = 1;
    };
    _Bar& BarOf(int orient) { return orient == wxHORIZONTAL ? m_hBar : m_vBar; }
    const _Bar& BarOf(int orient) const { return orient == wxHORIZONTAL ? m_hBar : m_vBar; }
    // The model at once; its native copy now or on the next turn of the event loop.
    void SetBar(int orient, int64_t pos, int thumb, int64_t range, bool nativeNow = true);
    void SyncNative(int orient);
    void ApplyScroll(int orient, int64_t target);
    void ReportScrollbars();

    _Bar m_hBar;
    _Bar m_vBar;
    bool m_nativeSyncQueued = false;

    wxDECLARE_EVENT_TABLE();
};
