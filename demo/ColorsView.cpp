// The demo's colours page. Everything on it reads the palette when it paints or when the
// colour-change event reaches it, so a scheme picked here recolours the page at once.
#include "ColorsView.h"

#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroFrame.h>

#include <wx/dcbuffer.h>
#include <wx/sizer.h>
#include <wx/splitter.h>
#include <wx/wx.h>

#include <iterator>
#include <vector>

namespace {

const char* const k_SchemeNames[] = {"Light", "Lighter", "Dark", "Darker", "Custom"};

const int k_SlotCount = int(color_SlotCount);

wxString ToWx(const String& s) {
    return wxString::FromUTF8(s.c_str());
}

// The 27 palette slots as swatches with their names; the tooltip tells the values.
class _PaletteSwatches : public wxWindow, public wxsColorManaged {
public:
    explicit _PaletteSwatches(wxWindow* parent) : wxWindow(parent, wxID_ANY) {
        SetBackgroundStyle(wxBG_STYLE_PAINT);
        Manage(this);
        Bind(wxEVT_PAINT, &_PaletteSwatches::OnPaint, this);
        Bind(wxEVT_MOTION, &_PaletteSwatches::OnMotion, this);
        Bind(wxEVT_SIZE, [this](wxSizeEvent& e) {
            Refresh();
            e.Skip();
        });
    }

    // The one geometry: cell i of the grid, row by row in a fixed number of columns, so that
    // the best size holds every swatch whatever width the page has.
    wxRect CellRect(int i) const {
        const wxSize cell = CellSize();
        return wxRect((i % k_Columns) * cell.x, (i / k_Columns) * cell.y, cell.x, cell.y);
    }
    int HitTest(const wxPoint& p) const {
        for (int i = 0; i < k_SlotCount; ++i)
            if (CellRect(i).Contains(p)) return i;
        return -1;
    }

protected:
    wxSize DoGetBestClientSize() const override {
        const wxSize cell = CellSize();
        return wxSize(cell.x * k_Columns, cell.y * ((k_SlotCount + k_Columns - 1) / k_Columns));
    }

private:
    static constexpr int k_Columns = 4; // fits the page at the window's first size

    // Wide enough for the longest name beside its swatch.
    wxSize CellSize() const {
        int widest = 0;
        for (int i = 0; i < k_SlotCount; ++i)
            widest = std::max(widest, GetTextExtent(ToWx(*color_Slots[i])).x);
        const int height = FromDIP(20);
        return wxSize(SwatchWidth(height) + widest + FromDIP(14), height);
    }
    int SwatchWidth(int cellHeight) const { return cellHeight + cellHeight / 2; }

    void OnPaint(wxPaintEvent&) {
        wxAutoBufferedPaintDC dc(this);
        dc.SetBackground(wxBrush(GetBackgroundColour()));
        dc.Clear();
        dc.SetFont(GetFont());
        dc.SetTextForeground(GetForegroundColour());
        const int pad = FromDIP(3);
        for (int i = 0; i < k_SlotCount; ++i) {
            const wxRect cell = CellRect(i);
            const wxRect swatch(cell.x + pad, cell.y + pad, SwatchWidth(cell.height),
                                cell.height - 2 * pad);
            const wxColour c = wxsGetColor(*color_Slots[i]);
            dc.SetPen(wxPen(GetForegroundColour()));
            dc.SetBrush(c.IsOk() ? wxBrush(c) : *wxTRANSPARENT_BRUSH);
            dc.DrawRectangle(swatch);
            const wxString name = ToWx(*color_Slots[i]);
            const int textY = cell.y + (cell.height - dc.GetTextExtent(name).y) / 2;
            dc.DrawText(name, swatch.GetRight() + 2 * pad, textY);
        }
    }

    void OnMotion(wxMouseEvent& e) {
        e.Skip();
        const int i = HitTest(e.GetPosition());
        if (i == m_Tip) return;
        m_Tip = i;
        if (i < 0) {
            UnsetToolTip();
            return;
        }
        const wxColour c = wxsGetColor(*color_Slots[i]);
        SetToolTip(c.IsOk() ? wxString::Format("%s: %d, %d, %d", ToWx(*color_Slots[i]), c.Red(),
                                               c.Green(), c.Blue())
                            : ToWx(*color_Slots[i]) + ": unset");
    }

    int m_Tip = -1;
};

// What the renderer and the gradient draw for other controls: check boxes and radio buttons
// in each state, a combo drop button, and graded bands as headers and tabs use them.
class _RendererSamples : public wxWindow, public wxsColorManaged {
public:
    explicit _RendererSamples(wxWindow* parent) : wxWindow(parent, wxID_ANY) {
        SetBackgroundStyle(wxBG_STYLE_PAINT);
        Manage(this);
        Bind(wxEVT_PAINT, &_RendererSamples::OnPaint, this);
    }

protected:
    wxSize DoGetBestClientSize() const override { return FromDIP(wxSize(720, 100)); }

private:
    void OnPaint(wxPaintEvent&) {
        wxAutoBufferedPaintDC dc(this);
        dc.SetBackground(wxBrush(GetBackgroundColour()));
        dc.Clear();
        dc.SetFont(GetFont());
        dc.SetTextForeground(GetForegroundColour());
        wxRendererNative& renderer = wxRendererNative::Get();
        const struct {
            const char* label;
            int flags;
        } states[] = {{"normal", 0},
                      {"checked", wxCONTROL_CHECKED},
                      {"hovered", wxCONTROL_CURRENT},
                      {"focused", wxCONTROL_FOCUSED},
                      {"disabled", wxCONTROL_DISABLED},
                      {"disabled, checked", wxCONTROL_DISABLED | wxCONTROL_CHECKED}};
        const int box = FromDIP(13), step = FromDIP(112), gap = FromDIP(6);
        int x = gap;
        for (const auto& s : states) {
            renderer.DrawCheckBox(this, dc, wxRect(x, gap, box, box), s.flags);
            renderer.DrawRadioBitmap(this, dc, wxRect(x + box + gap, gap, box, box), s.flags);
            dc.DrawText(s.label, x, gap + box + gap / 2);
            x += step;
        }
        // A drop button, and bands graded as the list header and the tabs are.
        const int row = FromDIP(48), h = FromDIP(24), w = FromDIP(140);
        const int columns[] = {gap, FromDIP(110), FromDIP(270), FromDIP(430)};
        renderer.DrawComboBoxDropButton(this, dc, wxRect(columns[0], row, FromDIP(40), h), 0);
        const wxColour header = wxsGetColor(color_Header), selected = wxsGetColor(color_Selected);
        DrawGradedRectangle(dc, wxRect(columns[1], row, w, h), header,
                            OffsetColor(header, 30, 30, 30), 1.7f, true, true);
        DrawGradedRectangle(dc, wxRect(columns[2], row, w, h), selected,
                            selected.ChangeLightness(60), 2.75f, true, false);
        DrawGradedRectangle(dc, wxRect(columns[3], row, w, h), wxsGetColor(color_WindowBG),
                            wxsGetColor(color_WindowBGLighter), 1.4f, false, true);
        const char* labels[] = {"drop button", "header", "active tab", "tab strip"};
        for (int i = 0; i < 4; ++i)
            dc.DrawText(labels[i], columns[i], row + h + gap / 2);
    }
};

// The page itself; it scrolls when the frame is too small to show all of it.
class _ColorsView : public wxScrolledWindow, public wxsColorManaged {
public:
    explicit _ColorsView(wxWindow* parent)
        : wxScrolledWindow(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                           wxVSCROLL | wxHSCROLL | wxTAB_TRAVERSAL | wxNO_BORDER) {
        Manage(this);
        auto* page = new wxBoxSizer(wxVERTICAL);
        const int border = FromDIP(8);
        // Below each heading, the section's controls, and a gap before the next heading.
        const int section = wxLEFT | wxRIGHT | wxBOTTOM;

        page->Add(Heading("Colour scheme"), 0, wxLEFT | wxRIGHT | wxTOP, border);
        auto* schemes = new wxBoxSizer(wxHORIZONTAL);
        const int current = g_Scheme >= 1 && g_Scheme <= 5 ? g_Scheme : 3; // others show Dark
        for (int i = 0; i < 5; ++i) {
            auto* radio = new wxsRadioButton(this, wxID_ANY, k_SchemeNames[i], wxDefaultPosition,
                                             wxDefaultSize, i == 0 ? wxRB_GROUP : 0);
            radio->SetValue(i + 1 == current);
            radio->Bind(wxEVT_RADIOBUTTON,
                        [this, i](wxCommandEvent&) { wxTaviroFrame::SetColorScheme(i + 1); });
            schemes->Add(radio, 0, wxRIGHT, border * 2);
            m_Schemes.push_back(radio);
        }
        // A scheme applied elsewhere (a menu, another program) shows here too.
        Bind(wxEVT_SYS_COLOUR_CHANGED, [this](wxSysColourChangedEvent& e) {
            e.Skip();
            const int scheme = g_Scheme >= 1 && g_Scheme <= 5 ? g_Scheme : 3;
            m_Schemes[scheme - 1]->SetValue(true);
        });
        page->Add(schemes, 0, section, border);

        page->Add(Heading("Buttons"), 0, wxLEFT | wxRIGHT, border);
        auto* buttons = new wxBoxSizer(wxHORIZONTAL);
        auto* normal = new wxsButton(this, wxID_ANY, "Normal");
        auto* def = new wxsButton(this, wxID_ANY, "Default");
        auto* disabled = new wxsButton(this, wxID_ANY, "Disabled");
        auto* fit = new wxsButton(this, wxID_ANY, "Exact fit", wxDefaultPosition, wxDefaultSize,
                                  wxBU_EXACTFIT);
        disabled->Enable(false);
        for (wxsButton* b : {normal, def, disabled, fit})
            buttons->Add(b, 0, wxRIGHT | wxALIGN_CENTER_VERTICAL, border);
        m_Clicked =
            new wxsStaticText(this, wxID_ANY, "Click a button, or tab to one and press Space");
        m_Clicked->SetForegroundSlot(color_TextGrey);
        m_Clicked->RefreshColors();
        buttons->Add(m_Clicked, 0, wxLEFT | wxALIGN_CENTER_VERTICAL, border);
        page->Add(buttons, 0, section, border);
        Bind(wxEVT_BUTTON, [this](wxCommandEvent& e) {
            auto* b = dynamic_cast<wxsButton*>(e.GetEventObject());
            m_Clicked->SetLabel(wxString::Format("Clicked \"%s\"", b ? b->GetLabel() : ""));
        });

        page->Add(Heading("Check boxes"), 0, wxLEFT | wxRIGHT, border);
        auto* checks = new wxBoxSizer(wxHORIZONTAL);
        const struct {
            const char* label;
            bool value, enabled;
        } checkCases[] = {{"Unchecked", false, true},
                          {"Checked", true, true},
                          {"Disabled", false, false},
                          {"Disabled, checked", true, false}};
        for (const auto& c : checkCases) {
            auto* check = new wxsCheckBox(this, wxID_ANY, c.label);
            check->SetValue(c.value);
            check->Enable(c.enabled);
            BlendWhenDisabled(check);
            checks->Add(check, 0, wxRIGHT, border * 2);
        }
        page->Add(checks, 0, section, border);

        page->Add(Heading("Radio buttons"), 0, wxLEFT | wxRIGHT, border);
        auto* radios = new wxBoxSizer(wxHORIZONTAL);
        const char* priorities[] = {"Low", "Normal", "High", "Urgent (disabled)"};
        for (int i = 0; i < 4; ++i) {
            auto* radio = new wxsRadioButton(this, wxID_ANY, priorities[i], wxDefaultPosition,
                                             wxDefaultSize, i == 0 ? wxRB_GROUP : 0);
            if (i == 1) radio->SetValue(true);
            if (i == 3) radio->Enable(false);
            BlendWhenDisabled(radio);
            radios->Add(radio, 0, wxRIGHT, border * 2);
        }
        page->Add(radios, 0, section, border);

        page->Add(Heading("Renderer and gradients"), 0, wxLEFT | wxRIGHT, border);
        // Drawn windows tell assistive technologies what they are by their label.
        auto* samples = new _RendererSamples(this);
        samples->SetLabel(_("Renderer samples"));
        page->Add(samples, 0, section, border);

        page->Add(Heading("Splitter"), 0, wxLEFT | wxRIGHT, border);
        auto* splitter = new wxSplitterWindow(this, wxID_ANY, wxDefaultPosition,
                                              FromDIP(wxSize(680, 36)), wxSP_LIVE_UPDATE);
        auto* left = new wxsPanel(splitter);
        auto* right = new wxsPanel(splitter);
        left->SetBackgroundSlot(color_WindowBGLighter);
        left->RefreshColors();
        right->SetBackgroundSlot(color_WindowBGDarker);
        right->RefreshColors();
        new wxsStaticText(left, wxID_ANY, " Drag the sash", wxPoint(FromDIP(4), FromDIP(4)));
        splitter->SplitVertically(left, right, FromDIP(200));
        page->Add(splitter, 0, section, border);

        page->Add(Heading("Palette"), 0, wxLEFT | wxRIGHT, border);
        auto* swatches = new _PaletteSwatches(this);
        swatches->SetLabel(_("Palette"));
        page->Add(swatches, 0, section, border);

        SetSizer(page);
        // The page scrolls over all of its content, not only over what a first layout gave it.
        FitInside();
        SetScrollRate(FromDIP(10), FromDIP(10));
        def->SetDefault();
    }

private:
    // A disabled toggle keeps the page's background: the default disabled background (much
    // lighter) would put a bright patch behind it.
    static void BlendWhenDisabled(wxsCheckBox* toggle) {
        toggle->SetDisabledBackgroundSlot(color_WindowBG);
        toggle->RefreshColors();
    }

    wxsStaticText* Heading(const char* text) {
        auto* heading = new wxsStaticText(this, wxID_ANY, text);
        heading->SetFont(heading->GetFont().Bold());
        heading->SetForegroundSlot(color_Text);
        heading->RefreshColors();
        // Sized for the bold text (the size taken at creation is the normal font's, and GTK
        // would wrap the rest of the heading out of sight).
        const wxSize bold = heading->GetTextExtent(text);
        heading->SetMinSize(wxSize(bold.x + bold.y / 2, -1));
        return heading;
    }

    wxsStaticText* m_Clicked = nullptr;
    std::vector<wxsRadioButton*> m_Schemes;
};

} // namespace

void InstallColorsRenderer() {
    // Get() first: its first call lets the application traits install their renderer, which
    // would replace one set before it.
    if (!dynamic_cast<wxsRenderer*>(&wxRendererNative::Get()))
        delete wxRendererNative::Set(new wxsRenderer(wxRendererNative::GetGeneric()));
}

wxWindow* CreateColorsView(wxWindow* parent) {
    if (g_Scheme == -1) LoadColorScheme(); // the frame base does this once it is there
    InstallColorsRenderer();
    return new _ColorsView(parent);
}
