// The bar history chart: samples, scaling, geometry, rendering and the tooltip.
#include <wxTaviro/wxBarHistoryCtrl.h>
#include <wxTaviro/wxTaviroAccessible.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroString.h>

#include <ostrum/CallTrace.h>
#include <ostrum/Time.h>

#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/image.h>
#include <wx/numformatter.h>

#include <algorithm>

namespace {

const wxColour color_LiteBlue(0, 0, 255);
const wxColour color_DarkBlue(0, 0, 127);
const wxColour color_LiteGreen(0, 255, 0);
const wxColour color_DarkGreen(0, 160, 0);
const wxColour color_LiteYellow(255, 255, 0);
const wxColour color_DarkYellow(160, 160, 0);

constexpr int64_t k_OneDay = 86400000000LL;

// An unset palette slot (no scheme applied yet) draws nothing rather than asserting.
wxBrush _Brush(const wxColour& c, wxBrushStyle style = wxBRUSHSTYLE_SOLID) {
    return c.IsOk() ? wxBrush(c, style) : *wxTRANSPARENT_BRUSH;
}

// A 1-pixel line from (x1, y1) up to, not including, (x2, y2), horizontal or vertical, the
// way a raster DC draws it. Filled as a strip: the cairo DC strokes half a pixel past the ends.
void _Line(wxDC& dc, const wxColour& c, int x1, int y1, int x2, int y2) {
    if (!c.IsOk()) return;
    dc.SetBrush(wxBrush(c));
    if (x1 == x2)
        dc.DrawRectangle(x1, std::min(y1, y2 + 1), 1, std::abs(y2 - y1));
    else
        dc.DrawRectangle(std::min(x1, x2 + 1), y1, std::abs(x2 - x1), 1);
}

wxString _Number(uint64_t n) {
    return wxNumberFormatter::ToString(static_cast<wxULongLong_t>(n),
                                       wxNumberFormatter::Style_WithThousandsSep);
}

} // namespace

wxBEGIN_EVENT_TABLE(wxBarHistoryCtrl, wxControl)
    EVT_ERASE_BACKGROUND(wxBarHistoryCtrl::OnEraseBackground)
    EVT_PAINT(wxBarHistoryCtrl::OnPaint)
    EVT_SIZE(wxBarHistoryCtrl::OnSize)
wxEND_EVENT_TABLE()

// ---- construction ----

wxBarHistoryCtrl::wxBarHistoryCtrl() {
    CALL_ENTRY("wxBarHistoryCtrl::wxBarHistoryCtrl");
    _Init();
}

wxBarHistoryCtrl::wxBarHistoryCtrl(wxWindow* parent, int id, const wxPoint& pos, const wxSize& size,
                                   unsigned int style) {
    CALL_ENTRY("wxBarHistoryCtrl::wxBarHistoryCtrl");
    _Init();
    Create(parent, id, pos, size, style);
}

wxBarHistoryCtrl::~wxBarHistoryCtrl() = default;

bool wxBarHistoryCtrl::Create(wxWindow* parent, int id, const wxPoint& pos, const wxSize& size,
                              unsigned int style) {
    CALL_ENTRY("wxBarHistoryCtrl::Create");
    // The control draws its own sunken frame: no theme border unless one is asked for.
    long flags = long(style);
    if (!(flags & wxBORDER_MASK)) flags |= wxBORDER_NONE;
    if (!wxControl::Create(parent, id, pos, size, flags, wxDefaultValidator,
                           wxASCII_STR(wxControlNameStr)))
        return false;
    wxsAccessibleRegister(this);
    // At least 50 x 10; a size given here is the initial and minimum size in its place, as
    // with every toolkit control.
    wxSize min = FromDIP(wxSize(50, 10));
    if (size.x > 0) min.x = size.x;
    if (size.y > 0) min.y = size.y;
    SetInitialSize(min);
    return true;
}

void wxBarHistoryCtrl::_Init() {
    m_History.clear();
    m_Limit = m_Upper = m_Lower = m_Mid = 0;
    m_Empty = m_Dirty = true;
    m_Bitmap.reset();
    m_TooltipPrefix.clear();
    m_TooltipSuffix.clear();
    m_Peak = m_Current = 0;
    m_PeakTime = 0;
    m_Sum = 0;
    // Before Create there is no window to convert for; Create sets the DPI-aware size.
    SetMinSize(wxSize(50, 10));
}

// ---- samples and bounds ----

void wxBarHistoryCtrl::PushValue(unsigned int value) {
    CALL_ENTRY("wxBarHistoryCtrl::PushValue");
    m_History.push_front(value);
    uint32_t removed = 0;
    if (m_History.size() > m_Limit) {
        removed = m_History.back();
        m_History.pop_back();
    }
    // A repeat of the peak refreshes its time, unless the peak was the previous value too.
    const bool newPeak = m_Current == m_Peak ? value > m_Peak : value >= m_Peak;
    if (newPeak) {
        m_PeakTime = Time::CurrentTime();
        m_Peak = value;
    }
    m_Current = value;
    m_Empty = false;
    m_Dirty = true;
    m_Sum = m_Sum - removed + value;
    Refresh(false);
    _SetTooltip();
}

void wxBarHistoryCtrl::LimitHistory(unsigned int count, bool refresh) {
    CALL_ENTRY("wxBarHistoryCtrl::LimitHistory");
    m_Limit = count;
    if (m_History.size() > count) m_History.resize(count);
    m_Dirty = true;
    if (refresh) Refresh(false);
}

void wxBarHistoryCtrl::SetBounds(unsigned int lower, unsigned int upper, bool refresh) {
    CALL_ENTRY("wxBarHistoryCtrl::SetBounds");
    m_Lower = lower;
    m_Upper = upper;
    m_Dirty = true;
    if (refresh) Refresh(false);
}

void wxBarHistoryCtrl::SetMidBound(unsigned int mid, bool refresh) {
    CALL_ENTRY("wxBarHistoryCtrl::SetMidBound");
    m_Mid = mid;
    m_Dirty = true;
    if (refresh) Refresh(false);
}

void wxBarHistoryCtrl::Clear(bool refresh) {
    CALL_ENTRY("wxBarHistoryCtrl::Clear");
    m_History.clear();
    m_Empty = true;
    m_Dirty = true;
    if (refresh) Refresh(false);
}

void wxBarHistoryCtrl::SetTooltipText(String prefix, String suffix) {
    CALL_ENTRY("wxBarHistoryCtrl::SetTooltipText");
    m_TooltipPrefix = std::move(prefix);
    m_TooltipSuffix = std::move(suffix);
    _SetTooltip();
}

int wxBarHistoryCtrl::Scale(unsigned int value, unsigned int lower, unsigned int upper,
                            int pixels) {
    CALL_ENTRY("wxBarHistoryCtrl::Scale");
    const uint32_t above = uint32_t(value - lower);
    const uint32_t range = uint32_t(upper - lower);
    // Equal bounds: the limit of the quotient, everything above them full, the bound itself 0.
    const double f = range == 0 ? (above > 0 ? 1.0 : 0.0) : double(above) / double(range);
    if (!(f > 0)) return 0;
    return int(double(pixels) * std::min(f, 1.0));
}

// ---- geometry ----

wxBarHistoryCtrl::Geometry wxBarHistoryCtrl::GetGeometry(const wxSize& clientSize) const {
    CALL_ENTRY("wxBarHistoryCtrl::GetGeometry");
    Geometry g;
    g.size = clientSize;
    const int w = clientSize.x, h = clientSize.y;
    if (w <= 0 || h <= 0 || m_Empty || m_History.empty()) return g;
    // One column per sample from the right edge; samples past the left edge are not drawn.
    const size_t columns = std::min(m_History.size(), size_t(w));
    g.trace.reserve(columns);
    for (size_t i = 0; i < columns; ++i)
        g.trace.emplace_back(w - 1 - int(i), h - Scale(m_History[i], m_Lower, m_Upper, h));

    const uint32_t newest = m_History.front();
    g.yellow = newest >= m_Mid;
    const int length = Scale(newest, m_Lower, m_Upper, w - 2);
    int x = 1;
    for (; x <= length; x += 3)
        g.segments.emplace_back(x, 1, 2, h - 2);
    g.tip = wxRect(x - 3, 1, 3, h - 2);
    return g;
}

// ---- rendering ----

void wxBarHistoryCtrl::Render() {
    CALL_ENTRY("wxBarHistoryCtrl::Render");
    const wxSize size = GetClientSize();
    const int w = size.x, h = size.y;
    if (w <= 0 || h <= 0) {
        m_Bitmap.reset();
        return;
    }
    const Geometry g = GetGeometry(size);
    const wxColour back = OffsetColor(wxsGetColor(color_WindowBGDarker), -32, -32, -32);
    m_Bitmap.reset(new wxBitmap(w, h));
    {
        wxMemoryDC dc(*m_Bitmap);
        dc.SetPen(*wxTRANSPARENT_PEN);
        if (m_Empty) {
            dc.SetBrush(_Brush(wxsGetColor(color_WindowBGLighter)));
            dc.DrawRectangle(0, 0, w, h);
            dc.SetBrush(_Brush(wxsGetColor(color_WindowBG), wxBRUSHSTYLE_CROSSDIAG_HATCH));
            dc.DrawRectangle(0, 0, w, h);
        } else {
            dc.SetBrush(_Brush(back));
            dc.DrawRectangle(0, 0, w, h);
        }
        // The area under the curve, then the curve itself; the newest sample only starts it.
        for (size_t i = 1; i < g.trace.size(); ++i) {
            const wxPoint p = g.trace[i], prev = g.trace[i - 1];
            dc.SetPen(*wxTRANSPARENT_PEN);
            _Line(dc, color_DarkBlue, p.x, p.y + 1, p.x, h);
            dc.SetPen(wxPen(color_LiteBlue, 1, wxPENSTYLE_SOLID));
            dc.DrawLine(p, prev);
        }
    }
    if (g.HasBar()) {
        // The level bar's segments are XORed onto what lies below. The cairo DC's XOR mode is
        // the alpha operator (it blacks out opaque pixels), so the raster operation is done
        // on the pixels here.
        // On a light chart the XOR of green is purple: there the complement of the XOR
        // (wxEQUIV) is taken, which shows the green and yellow on light as XOR does on dark.
        wxImage image = m_Bitmap->ConvertToImage();
        const wxColour& c = g.yellow ? color_DarkYellow : color_DarkGreen;
        const bool light = back.IsOk() && back.Red() + back.Green() + back.Blue() >= 3 * 128;
        const unsigned char flip = light ? 0xFF : 0;
        const unsigned char r0 = c.Red() ^ flip, g0 = c.Green() ^ flip, b0 = c.Blue() ^ flip;
        const wxRect all(0, 0, w, h);
        for (const wxRect& s : g.segments) {
            const wxRect r = s.Intersect(all);
            for (int y = r.y; y < r.GetBottom() + 1; ++y)
                for (int x = r.x; x < r.GetRight() + 1; ++x)
                    image.SetRGB(x, y, image.GetRed(x, y) ^ r0, image.GetGreen(x, y) ^ g0,
                                 image.GetBlue(x, y) ^ b0);
        }
        *m_Bitmap = wxBitmap(image);
    }
    wxMemoryDC dc(*m_Bitmap);
    dc.SetPen(*wxTRANSPARENT_PEN);
    if (g.HasBar()) {
        dc.SetBrush(wxBrush(g.yellow ? color_LiteYellow : color_LiteGreen));
        dc.DrawRectangle(g.tip);
    }
    // A sunken frame: dark at the left and top, light at the right and bottom.
    const wxColour dark = wxsGetColor(color_3DDark), light = wxsGetColor(color_3DLight);
    _Line(dc, dark, 0, h, 0, 0);
    _Line(dc, dark, 0, 0, w, 0);
    _Line(dc, light, w - 1, 0, w - 1, h);
    _Line(dc, light, w, h - 1, 0, h - 1);
}

void wxBarHistoryCtrl::OnEraseBackground(wxEraseEvent&) {
    // Nothing: the paint covers every pixel, and erasing first would flicker.
}

void wxBarHistoryCtrl::OnPaint(wxPaintEvent&) {
    wxPaintDC dc(this);
    if (m_Dirty || !m_Bitmap) Render();
    if (m_Bitmap) dc.DrawBitmap(*m_Bitmap, 0, 0);
}

void wxBarHistoryCtrl::OnSize(wxSizeEvent& event) {
    m_Dirty = true;
    event.Skip();
}

// ---- tooltip ----

void wxBarHistoryCtrl::_SetTooltip() {
    wxString text;
    if (!m_TooltipPrefix.empty()) text << wxFromString(m_TooltipPrefix) << "\n";
    text << _("Current:\t") << _Number(m_History.empty() ? 0 : m_History.front()) << "\n";
    text << _("Range:\t") << _Number(m_Lower) << " / " << _Number(m_Mid) << " / "
         << _Number(m_Upper) << "\n";
    const String ago = Time::FormatDuration(Time::CurrentTime() - m_PeakTime, Time::k_Second,
                                            Time::k_Hour, 2, true, 0, ' ', k_OneDay);
    // One text with the duration in it: languages put "ago" before or after it.
    text << _("Peak:\t") << _Number(m_Peak) << ", "
         << wxString::Format(_("%s ago"), wxFromString(ago));
    if (!m_History.empty()) text << _("\nAverage:\t") << _Number(m_Sum / m_History.size());
    if (!m_TooltipSuffix.empty()) text << "\n" << wxFromString(m_TooltipSuffix);
    SetToolTip(text);
}
