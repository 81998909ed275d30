#include "demo/LoadPane.h"

#include <wxTaviro/wxBarHistoryCtrl.h>
#include <wxTaviro/wxTaviroString.h>

#include <wx/dcbuffer.h>
#include <wx/sizer.h>

#include <algorithm>

namespace {

const unsigned k_Busy = 75; // from here on the bar is yellow

// The trace's scale: 100 % at the chart's top, 0 % at its bottom, half way between.
class _Scale : public wxWindow, public wxsColorManaged {
public:
    explicit _Scale(wxWindow* parent) : wxWindow(parent, wxID_ANY) {
        SetBackgroundStyle(wxBG_STYLE_PAINT);
        Manage(this);
        SetForegroundSlot(color_TextGrey);
        RefreshColors();
        SetFont(GetFont().Smaller());
        Bind(wxEVT_PAINT, &_Scale::OnPaint, this);
        Bind(wxEVT_SIZE, [this](wxSizeEvent& e) {
            Refresh();
            e.Skip();
        });
    }

protected:
    wxSize DoGetBestClientSize() const override {
        return wxSize(GetTextExtent("100 %").x + FromDIP(6), FromDIP(30));
    }

private:
    void OnPaint(wxPaintEvent&) {
        wxAutoBufferedPaintDC dc(this);
        dc.SetBackground(wxBrush(GetBackgroundColour()));
        dc.Clear();
        dc.SetFont(GetFont());
        dc.SetTextForeground(GetForegroundColour());
        const wxSize size = GetClientSize();
        const int right = size.x - FromDIP(3);
        for (unsigned percent : {100u, 50u, 0u}) {
            const wxString label = wxString::Format("%u %%", percent);
            const wxSize text = dc.GetTextExtent(label);
            // The height in the chart that this load reaches, kept inside the pane.
            const int y = (size.y - 1) * int(100 - percent) / 100;
            dc.DrawText(label, right - text.x, std::clamp(y - text.y / 2, 1, size.y - text.y - 1));
        }
    }
};

} // namespace

LoadPane::LoadPane(wxWindow* parent) : wxsPanel(parent) {
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    row->Add(new _Scale(this), 0, wxEXPAND);
    m_Chart = new wxBarHistoryCtrl(this, wxID_ANY, wxDefaultPosition, FromDIP(wxSize(-1, 48)));
    m_Chart->LimitHistory(2000, false); // more than any screen is wide
    m_Chart->SetBounds(0, 100, false);
    m_Chart->SetMidBound(k_Busy, false);
    m_Chart->SetTooltipText(wxToString(_("Engine load (%)")), String());
    row->Add(m_Chart, 1, wxEXPAND);
    auto* legend = new wxBoxSizer(wxVERTICAL);
    m_Now = new wxsStaticText(this, wxID_ANY, _("Load now: -"));
    m_Now->SetFont(m_Now->GetFont().Bold());
    legend->Add(m_Now, 0, wxBOTTOM, FromDIP(2));
    for (const wxString& line :
         {wxString::Format(_("Bar: the load now, yellow from %u %%"), k_Busy),
          _("Trace: the load before, newest at the right")}) {
        auto* text = new wxsStaticText(this, wxID_ANY, line);
        text->SetFont(text->GetFont().Smaller());
        text->SetForegroundSlot(color_TextGrey);
        text->RefreshColors();
        legend->Add(text);
    }
    row->Add(legend, 0, wxALIGN_CENTER_VERTICAL | wxLEFT | wxRIGHT, FromDIP(8));
    SetSizer(row);
}

void LoadPane::Push(unsigned percent) {
    m_Latest = percent;
    m_Fresh = true;
}

void LoadPane::OnTimer() {
    if (!m_Fresh) return;
    m_Fresh = false;
    const unsigned percent = m_Latest;
    m_Chart->PushValue(percent);
    m_Now->SetLabel(wxString::Format(_("Load now: %u %%"), percent));
    // The palette's roles, so that a scheme change recolours it too.
    m_Now->SetForegroundSlot(percent >= k_Busy ? color_TextYellow : color_TextGreen);
    m_Now->RefreshColors();
}
