// Themed controls disabled through their parent, a click handler that disables its own button,
// a label that outgrows its button, and the one list of palette slots.
#include "tests/wxTaviro/ColorsTestUtil.h"

#include <wx/sizer.h>

using namespace taviro_test;
using namespace colors_test;

namespace {

template <class T>
wxImage Render(T* control) {
    const wxSize size = control->GetClientSize();
    return RenderToImage(size.x, size.y, [control](wxDC& dc) { control->Draw(dc); });
}

// Tight enough that no grey blend of other colours passes for "TextGray" (which is bluish).
constexpr int k_Exact = 12;

TEST(ColorsHardening, ControlsOfADisabledPanelLookDisabled) {
    Dark();
    auto* panel = new wxsPanel(TopWindow());
    panel->SetSize(TopWindow()->GetClientSize());
    auto* button = new wxsButton(panel, wxID_ANY, "Apply", wxPoint(4, 4));
    auto* check = new wxsCheckBox(panel, wxID_ANY, "Render hidden", wxPoint(4, 60));
    check->SetSize(check->GetBestSize());
    SendMouse(button, wxEVT_ENTER_WINDOW); // hovered when the panel goes
    SendMouse(check, wxEVT_ENTER_WINDOW);
    panel->Enable(false);
    PumpEvents();

    const wxColour grey = wxsGetColor(color_TextGrey);
    wxImage img = Render(button);
    EXPECT_PIXEL(img, 1, 1, wxsGetColor(color_ButtonFace)); // the face is no longer lit
    EXPECT_GT(CountPixels(img, button->GetLabelRect(button->GetClientSize()), grey, k_Exact), 0);
    const wxRect label = check->GetGeometry(check->GetClientSize()).label;
    img = Render(check);
    EXPECT_EQ(CountPixels(img, label, wxsGetColor(color_TextOrange), 60), 0);
    EXPECT_GT(CountPixels(img, label, grey, k_Exact), 0);

    panel->Enable(true);
    PumpEvents();
    EXPECT_COLOUR(button->GetForegroundColour(), wxsGetColor(color_ButtonText));
    EXPECT_EQ(CountPixels(Render(check), label, grey, k_Exact), 0);
}

TEST(ColorsHardening, AClickHandlerThatDisablesItsButtonHasTheLastWord) {
    Dark();
    auto* apply = new wxsButton(TopWindow(), wxID_APPLY, "Apply");
    apply->Bind(wxEVT_BUTTON, [apply](wxCommandEvent&) { apply->Disable(); });
    apply->EmulateClick();
    EXPECT_FALSE(apply->IsThisEnabled());
    EXPECT_COLOUR(apply->GetForegroundColour(), wxsGetColor(color_TextGrey));
}

TEST(ColorsHardening, ALongerLabelGrowsTheButton) {
    Dark();
    auto* panel = new wxPanel(TopWindow());
    panel->SetSize(TopWindow()->GetClientSize());
    auto* sizer = new wxBoxSizer(wxHORIZONTAL);
    panel->SetSizer(sizer);
    auto* button = new wxsButton(panel, wxID_ANY, "OK");
    sizer->Add(button);
    panel->Layout();
    button->SetLabel("Render the selected frames again");
    for (bool isDefault : {false, true}) { // the bold default font is the wider
        if (isDefault) button->SetDefault();
        panel->Layout();
        const wxSize size = button->GetClientSize();
        const wxRect label = button->GetLabelRect(size);
        EXPECT_GE(label.x, 0) << isDefault;
        EXPECT_LE(label.GetRight(), size.x - 1) << isDefault;
    }
}

TEST(ColorsHardening, SlotListIsInTableOrder) {
    EXPECT_EQ(*color_Slots[0], "WindowBG");
    EXPECT_EQ(*color_Slots[20], "TextGray");
    EXPECT_EQ(*color_Slots[23], "ButtonFace");
    EXPECT_EQ(*color_Slots[24], "ButtonText");
    EXPECT_EQ(*color_Slots[26], "Header");
}

} // namespace
