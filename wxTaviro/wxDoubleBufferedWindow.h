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

/// @addtogroup views
/// @{

/// The base of the fast views: derive, set m_lineHeight, m_unitWidth, m_lineCount and
/// m_virtualWidth, call AdjustScrollbars when they change, and draw the visible part in
/// DrawBitmap. Ask for repaints with Redraw: a burst of changes becomes one frame.
///
///     class View : public wxDoubleBufferedWindow {
///         void DrawBitmap() override {
///             wxMemoryDC dc(*m_bitmap);
///             // rows from GetScrollPixel(wxVERTICAL) / m_lineHeight on
///         }
///     };
class wxDoubleBufferedWindow : public wxWindow {
public:
    /// A window with both scroll bars and every key (wxWANTS_CHARS) added to `style`.
    wxDoubleBufferedWindow(wxWindow* parent, int id, long style);
    /// Frees the bitmap.
    ~wxDoubleBufferedWindow() override;

    /// Draws the whole client area into m_bitmap (through a wxMemoryDC selected on it).
    virtual void DrawBitmap() = 0;

    /// Merges `area` into the dirty rectangle; the first request starts the one-shot timer,
    /// later ones only grow the rectangle (they never restart or prolong it).
    void Redraw(const wxRect& area);
    /// Redraw of the whole client area.
    void Redraw();
    /// The redraw asked for so far goes to the screen in the next frame instead of after the
    /// merge delay: for what the user does (scrolls, clicks, keys).
    void RedrawForInput();
    /// The deferred redraw carried out at once (benchmarks and tests): marks the bitmap stale
    /// and paints synchronously.
    void RedrawNow();
    /// The off-screen buffer as last drawn; null before the first paint and after a resize.
    const wxBitmap* GetBuffer() const { return m_bitmap; }

    /// Scrolls by `lines` units of m_lineHeight (vertical only); always true.
    bool ScrollLines(int lines) override;
    /// Scrolls by `pages` visible heights (vertical only); always true.
    bool ScrollPages(int pages) override;

    /// Recomputes both scroll bars from the metrics; call after changing m_lineCount or
    /// m_virtualWidth. The native bars follow on the next turn of the event loop.
    void AdjustScrollbars();

    /// The position of a bar in pixels, 64-bit: the first visible pixel row or column.
    int64_t GetScrollPixel(int orient) const;
    /// The range of a bar in pixels, 64-bit: the whole virtual height or width.
    int64_t GetScrollPixelRange(int orient) const;
    /// The visible length (thumb) of a bar in pixels: the client height or width.
    int GetScrollPixelThumb(int orient) const;
    /// Moves to `pos` (clamped to 0 .. range - thumb) and redraws, as a thumb drag would.
    void ScrollToPixel(int orient, int64_t pos);

    /// The vertical unit (a line or row), in pixels.
    int GetLineHeight() const { return m_lineHeight; }
    /// The horizontal unit, in pixels.
    int GetUnitWidth() const { return m_unitWidth; }

    /// @name The wx scroll accessors
    /// In pixels, saturated at INT_MAX.
    /// @{
    /// The bar's position.
    int GetScrollPos(int orient) const override;
    /// The bar's range.
    int GetScrollRange(int orient) const override;
    /// The bar's thumb (visible length).
    int GetScrollThumb(int orient) const override;
    /// Moves the bar, keeping its range and thumb.
    void SetScrollPos(int orient, int pos, bool refresh = true) override;
    /// Sets the bar's position, thumb and range.
    void SetScrollbar(int orient, int pos, int thumb, int range, bool refresh = true) override;
    /// @}

    /// @name Event handlers
    /// @{
    /// Draws the bitmap when stale (DrawBitmap), then blits it.
    void Paint(wxPaintEvent& event);
    /// Nothing: the bitmap covers the whole client area.
    void Erase(wxEraseEvent& event);
    /// New page sizes and scroll bars; the bitmap is made again at the new size.
    void Resize(wxSizeEvent& event);
    /// A scheme change: a redraw.
    void OnSysColorChange(wxSysColourChangedEvent& event);
    /// Scroll-bar events: lines, pages, thumb; the view shows the result in the next frame.
    void Scroll(wxScrollWinEvent& event);
    /// Wheel rotation into lines, keeping the remainder of a fine-grained wheel.
    void OnMouseWheel(wxMouseEvent& event);
    /// The merge delay is over: repaints the dirty rectangle.
    void Timeout(wxTimerEvent& event);
    /// Stops the redraw timer.
    void Closing(wxCloseEvent& event);
    /// @}

protected:
    wxBitmap* m_bitmap = nullptr; ///< the off-screen buffer, the client area's size
    bool m_needsRedraw = false;   ///< the next paint calls DrawBitmap first
    wxTimer m_timer;              ///< the one-shot merge timer
    int m_redrawDelay = 75;       ///< the merge delay, ms
    wxRect m_dirtyRect;           ///< the area the next frame repaints
    int m_lineHeight = 10;        ///< the vertical unit, pixels
    int m_unitWidth = 10;         ///< the horizontal unit, pixels
    int m_virtualWidth = 0;       ///< the content's width, pixels
    int m_lineCount = 0;          ///< the content's height, in lines
    int m_pageUnits = 0;          ///< horizontal units in view, plus 2
    int m_pageLines = 0;          ///< lines in view, plus 2
    bool m_stickToBottom = false; ///< a view at the end stays at the end as lines are added
    int m_wheelAccumulator = 0;   ///< wheel rotation not yet turned into lines
    wxDoubleBufferedWindow* m_partner = nullptr; ///< redrawn with this one (a list's header)
    bool m_reportScrollbars = false;             ///< logs every scroll-bar adjustment

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

/// @}
