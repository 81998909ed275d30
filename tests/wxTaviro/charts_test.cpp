// The bar history chart: scaling, bounds, the level bar at the mid bound, the tooltip's figures,
// extreme, flat and pixel-less input. The expandable panel: its state remembered per section
// and key, toggled by the button and by the label.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxBarHistoryCtrl.h>
#include <wxTaviro/wxExpandablePanel.h>

#include <ostrum/Application.h>

#include <climits>

using namespace taviro_test;

namespace {

// A 100 x 40 chart under the Dark scheme, samples pushed oldest first.
wxBarHistoryCtrl* Chart(unsigned lower, unsigned upper, unsigned mid, std::vector<unsigned> v,
                        unsigned limit = 1000) {
    SetColors(3);
    auto* c = new wxBarHistoryCtrl(new wxPanel(TopWindow()), 1, wxPoint(0, 0), wxSize(100, 40));
    c->LimitHistory(limit, false), c->SetBounds(lower, upper, false), c->SetMidBound(mid, false);
    for (unsigned x : v)
        c->PushValue(x);
    return c;
}
wxImage Image(wxBarHistoryCtrl* c) {
    c->Render();
    return c->GetBitmap()->ConvertToImage();
}
// Dark: background "WindowBGDarker" (56) - 32; the dark segments XOR their colour onto it.
const wxColour bg(24, 24, 24), darkBlue(0, 0, 127), green(0, 255, 0), yellow(255, 255, 0);

TEST(BarHistory, ScalesSamplesIntoColumnsAndTheNewestIntoTheLevelBar) {
    // Bounds 10..20 at 40 pixels: half, above (clamped), below (wraps to full), the bound;
    // then equal bounds and the whole unsigned range.
    const auto S = &wxBarHistoryCtrl::Scale;
    EXPECT_EQ(std::vector<int>({S(15, 10, 20, 40), S(30, 10, 20, 40), S(5, 10, 20, 40),
                                S(10, 10, 20, 40), S(7, 5, 5, 40), S(5, 5, 5, 40), S(0, 0, 0, 40),
                                S(UINT_MAX, 0, UINT_MAX, 999), S(1u << 31, 0, UINT_MAX, 1000)}),
              std::vector<int>({20, 40, 40, 0, 40, 0, 0, 999, 500}));

    // Newest at the right: 15 (half) at x 99..97, 30 at 96 and 95, 5 at 94. Probes by colour:
    // the area under the curve, the background, a level bar segment XORed onto the background
    // and the bar's tip (15 of 10..20 at 98 pixels: 49), the sunken frame.
    wxBarHistoryCtrl* c = Chart(10, 20, 100, {5, 30, 30, 15, 15, 15});
    wxImage im = Image(c);
    const std::vector<std::pair<wxColour, std::vector<wxPoint>>> probes = {
        {darkBlue, {{98, 30}, {98, 21}, {95, 5}, {94, 5}}},
        {bg, {{98, 19}, {98, 10}, {93, 5}, {6, 10}, {48, 10}, {52, 10}}},
        {wxColour(24, 184, 24), {{4, 10}}},
        {green, {{51, 10}}},
        {wxsGetColor(color_3DDark), {{0, 20}, {50, 0}}},
        {wxsGetColor(color_3DLight), {{99, 20}, {50, 39}}}};
    for (const auto& [colour, points] : probes)
        for (const wxPoint& p : points)
            EXPECT_PIXEL(im, p.x, p.y, colour);
    // Just below the mid bound green, at it yellow.
    c->PushValue(99);
    EXPECT_PIXEL(Image(c), 98, 10, green);
    c->PushValue(100);
    im = Image(c);
    EXPECT_PIXEL(im, 98, 10, yellow);
    EXPECT_PIXEL(im, 4, 10, wxColour(184, 184, 24));
    EXPECT_PIXEL(im, 94, 30, wxColour(160, 160, 127)); // over the area under the curve
    c->Clear(false); // hatched "WindowBGLighter" (92) and "WindowBG" (72), no trace
    im = Image(c);
    const wxRect all(0, 0, 100, 40);
    EXPECT_GT(
        CountPixels(im, all, wxColour(92, 92, 92)) * CountPixels(im, all, wxColour(72, 72, 72)), 0);
    EXPECT_EQ(CountPixels(im, all, darkBlue), 0);
}

TEST(BarHistory, TooltipFiguresPeakAndLimits) {
    // Limit 3: the oldest sample leaves the sum too; a later limit leaves the sum alone.
    wxBarHistoryCtrl* c = Chart(1, 3, 2, {9, 2, 3, 4}, 3);
    c->SetTooltipText("Load", "engines");
    wxString tip = c->GetToolTipText(), ago;
    EXPECT_TRUE(tip.StartsWith("Load\nCurrent:\t4\nRange:\t1 / 2 / 3\nPeak:\t9, ")) << tip;
    EXPECT_TRUE(tip.EndsWith(" ago\nAverage:\t3\nengines", &ago) && ago.Freq('\n') == 3) << tip;
    c->LimitHistory(1, false), c->PushValue(5); // (9 - 4 + 5) / 1
    EXPECT_TRUE(c->GetToolTipText().EndsWith("\nAverage:\t10\nengines")) << c->GetToolTipText();

    c = Chart(0, 10, 5, {7, 8}, 0); // nothing kept, the peak still follows
    EXPECT_EQ(c->GetToolTipText().BeforeFirst(','), "Current:\t0\nRange:\t0 / 5 / 10\nPeak:\t8");
    EXPECT_TRUE(c->GetToolTipText().EndsWith(" ago")) << c->GetToolTipText();

    // A repeat of the peak refreshes its time unless the peak was the previous value too.
    const int64_t t = (c->PushValue(9), c->GetPeakTime());
    wxMilliSleep(2), c->PushValue(9);
    EXPECT_EQ(c->GetPeakTime(), t);
    c->PushValue(3), c->PushValue(9);
    EXPECT_GT(c->GetPeakTime(), t);
}

TEST(BarHistory, ExtremeFlatAndPixellessInput) {
    // Figures without grouping (the tests' C locale); a 32-bit sum would have wrapped.
    wxBarHistoryCtrl* c = Chart(0, UINT_MAX, UINT_MAX, {0, UINT_MAX, UINT_MAX});
    EXPECT_TRUE(c->GetToolTipText().StartsWith("Current:\t4294967295\n"));
    EXPECT_TRUE(c->GetToolTipText().EndsWith("\nAverage:\t2863311530")) << c->GetToolTipText();
    EXPECT_PIXEL(Image(c), 98, 10, yellow);
    // Flat series, equal bounds included: zero at the lower bound, full above it.
    const unsigned flat[][4] = {{5, 5, 5, 0}, {5, 5, 7, 1}, {0, 0, 0, 0}, {0, 100, 100, 1}};
    for (const auto& f : flat) {
        c = Chart(f[0], f[1], 0, std::vector<unsigned>(10, f[2]));
        EXPECT_EQ(CountPixels(Image(c), wxRect(88, 1, 6, 38), darkBlue) > 0, f[3] != 0) << f[2];
    }
    for (const wxSize size : {wxSize(0, 40), wxSize(100, 0)}) {
        c->SetClientSize(size), c->Render(), c->Refresh(), c->Update();
        EXPECT_EQ(c->GetBitmap(), nullptr);
        EXPECT_FALSE(c->GetGeometry(size).HasBar() || !c->GetGeometry(size).trace.empty());
    }
}

struct Panel : wxExpandablePanel {
    explicit Panel(const String& key, bool expandable = true)
        : wxExpandablePanel(TopWindow(), wxVERTICAL) {
        SetSettings("Panels", key);
        SetLabels("Show", "Hide");
        CreateInfrastructure("tip", expandable);
        GetContentSizer()->Add(content = new wxStaticText(this, wxID_ANY, "content"));
        Expand();
    }
    void ClickButton() {
        wxCommandEvent e(wxEVT_BUTTON, GetExpandButton()->GetId());
        GetExpandButton()->ProcessWindowEvent(e);
    }
    void ClickLabel(bool leftStillDown = false) {
        wxMouseEvent e(wxEVT_LEFT_UP);
        e.SetLeftDown(leftStillDown), GetHeaderLabel()->ProcessWindowEvent(e);
    }
    // Expanded, content shown, label, and a sum of the button image's bytes (it tells the
    // expand and collapse images apart; 0 without a button).
    wxString State() const {
        unsigned sum = 0;
        const wxImage g = m_Button ? m_Button->GetBitmap().ConvertToImage() : wxImage();
        for (int i = 0; g.IsOk() && i < g.GetWidth() * g.GetHeight() * 3; ++i)
            sum += g.GetData()[i];
        return wxString::Format("%d %d %s %u", IsExpanded(), content->IsShown(),
                                GetHeaderLabel()->GetLabel(), sum);
    }
    wxWindow* content;
};

TEST(ExpandablePanel, RemembersItsStatePerSectionAndKey) {
    Application app(LL_Debug, LL_Fatal);
    Panel *a = new Panel("A"), *b = new Panel("B");
    const wxString collapsed = a->State();
    EXPECT_TRUE(collapsed.StartsWith("0 0 Show "));
    b->ClickLabel(true); // the button is still down: not a click yet
    EXPECT_EQ(b->State(), collapsed);
    b->ClickLabel();
    const wxString expanded = b->State();
    EXPECT_TRUE(expanded.StartsWith("1 1 Hide ") && expanded.Mid(9) != collapsed.Mid(9));
    EXPECT_EQ(app.GetOptions()->GetValue("Panels", "B", String()), "1");
    b->ClickButton(), a->ClickButton();
    EXPECT_EQ(a->State() + b->State(), expanded + collapsed);
    EXPECT_EQ(app.GetOptions()->GetValue("Panels", "B", String()), "0");
    delete a, delete b;
    a = new Panel("A"), b = new Panel("B");
    EXPECT_EQ(a->State() + b->State(), expanded + collapsed);
}

TEST(ExpandablePanel, WorksWithoutOptionsAndNeverFoldsWhenNotExpandable) {
    ASSERT_EQ(Application::the_Application, nullptr);
    Panel* p = new Panel("A");
    p->ClickButton();
    EXPECT_TRUE(p->State().StartsWith("1 1 Hide "));
    Panel* fixed = new Panel("F", false);
    fixed->ClickLabel();
    EXPECT_EQ(fixed->State(), "1 1 Hide 0");
}

} // namespace
