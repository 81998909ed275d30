/// @file
/// A small chart of the recent history of one unsigned quantity (a load, a count of busy
/// engines): one pixel column per sample with the newest at the right edge, drawn as a filled
/// line graph, and over it a segmented level bar of the newest value, green below the mid bound
/// and yellow at or above it. The tooltip sums up current value, range, peak and average.
#pragma once

#include <ostrum/String.h>

#include <wx/bitmap.h>
#include <wx/control.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

/// @addtogroup views
/// @{

/// The history chart of one value (see the file comment): set a history limit and bounds,
/// then push a sample whenever the value is measured. GUI thread only.
///
///     load->LimitHistory(300, false);
///     load->SetBounds(0, 100, false);
///     load->SetMidBound(80, false);
///     load->PushValue(percent);
class wxBarHistoryCtrl : public wxControl {
public:
    /// Two-step creation: Create makes the window.
    wxBarHistoryCtrl();
    /// An empty chart, made at once (Create).
    wxBarHistoryCtrl(wxWindow* parent, int id, const wxPoint& pos = wxDefaultPosition,
                     const wxSize& size = wxDefaultSize, unsigned int style = 0);
    ~wxBarHistoryCtrl() override;
    /// Makes the window, borderless unless `style` asks for a border (the chart draws its own
    /// sunken frame).
    bool Create(wxWindow* parent, int id, const wxPoint& pos = wxDefaultPosition,
                const wxSize& size = wxDefaultSize, unsigned int style = 0);

    /// Adds a sample at the front (the right edge); the oldest goes when more than the limit
    /// are kept. Repaints and rebuilds the tooltip.
    void PushValue(unsigned int value);
    /// The number of samples kept. It starts at 0, so the owner sets it before pushing, or no
    /// sample is kept. The running sum is not reduced by the samples dropped here.
    void LimitHistory(unsigned int count, bool refresh);
    /// The values drawn as zero and at full height (or width). Equal bounds draw every value
    /// above them at full size and the bound itself as zero.
    void SetBounds(unsigned int lower, unsigned int upper, bool refresh);
    /// The newest value at or above this draws a yellow level bar, below it a green one.
    void SetMidBound(unsigned int mid, bool refresh);
    /// Empties the history (hatched, no bars). Peak, current value and sum stay as they were.
    void Clear(bool refresh);
    /// Owner texts before and after the figures of the tooltip.
    void SetTooltipText(String prefix, String suffix);

    /// pixels x (value - lower) / (upper - lower), at most pixels; differences in unsigned
    /// 32-bit arithmetic, so a value below the lower bound draws at full size.
    static int Scale(unsigned int value, unsigned int lower, unsigned int upper, int pixels);

    /// Where everything goes in a client area of the given size; rendering and the tests share
    /// it. Empty (no trace, no bar) while no value is shown or when the area has no pixels.
    struct Geometry {
        wxSize size;                  ///< the client size it was computed for
        std::vector<wxPoint> trace;   ///< top of each drawn sample, newest (rightmost) first
        std::vector<wxRect> segments; ///< the level bar's dark segments, left to right
        wxRect tip;                   ///< its bright tip
        bool yellow = false;          ///< the newest value is at or above the mid bound
        /// Whether a level bar is drawn.
        bool HasBar() const { return !tip.IsEmpty(); }
    };
    /// The geometry for a client area of that size.
    Geometry GetGeometry(const wxSize& clientSize) const;

    /// Rebuilds the bitmap at the client size from the palette and the samples; a control
    /// without pixels has none afterwards.
    void Render();
    /// The chart as last rendered; null when there is none.
    const wxBitmap* GetBitmap() const { return m_Bitmap.get(); }

    /// The samples kept, newest first.
    const std::deque<uint32_t>& GetHistory() const { return m_History; }
    /// The newest value pushed.
    unsigned int GetCurrent() const { return m_Current; }
    /// The highest value pushed.
    unsigned int GetPeak() const { return m_Peak; }
    /// When the peak was reached (Time::CurrentTime(); 0 before the first peak).
    int64_t GetPeakTime() const { return m_PeakTime; }
    /// The running total behind the average.
    uint64_t GetSum() const { return m_Sum; }

    /// Nothing: the paint covers every pixel.
    void OnEraseBackground(wxEraseEvent& event);
    /// Renders when stale, then blits the bitmap.
    void OnPaint(wxPaintEvent& event);
    /// Marks the bitmap stale.
    void OnSize(wxSizeEvent& event);

private:
    void _Init();
    void _SetTooltip();

    std::deque<uint32_t> m_History; // newest first
    uint32_t m_Limit = 0;
    uint32_t m_Upper = 0;
    uint32_t m_Lower = 0;
    uint32_t m_Mid = 0;
    bool m_Empty = true;
    bool m_Dirty = true;
    std::unique_ptr<wxBitmap> m_Bitmap;
    String m_TooltipPrefix;
    String m_TooltipSuffix;
    uint32_t m_Peak = 0;
    uint32_t m_Current = 0;
    int64_t m_PeakTime = 0;
    uint64_t m_Sum = 0;

    wxDECLARE_EVENT_TABLE();
};

/// @}
