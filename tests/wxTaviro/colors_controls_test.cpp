// The themed buttons, check boxes and radio buttons (Dark scheme): looks, hover, the default
// hand-over on focus, clicks and keys, radio groups, the look of a disabled parent's controls.
#include "tests/wxTaviro/ColorsTestUtil.h"

#include <wx/sizer.h>

using namespace taviro_test;
using namespace colors_test;

namespace {

class ColorsControls : public ColorsFixture {
protected:
    void SetUp() override {
        ColorsFixture::SetUp();
        m_Panel = new wxsPanel(TopWindow());
        m_Panel->SetSizer(new wxBoxSizer(wxHORIZONTAL));
        m_Panel->SetSize(TopWindow()->GetClientSize());
    }
    template <class T, class... Args>
    T* Add(Args&&... args) {
        T* w = new T(m_Panel, std::forward<Args>(args)...);
        m_Panel->GetSizer()->Add(w, 0, wxALL, 4);
        m_Panel->Layout();
        PumpEvents();
        return w;
    }
    template <class T>
    static wxImage Render(T* control) {
        const wxSize size = control->GetClientSize();
        return RenderToImage(size.x, size.y, [control](wxDC& dc) { control->Draw(dc); });
    }
    // Events as the toolkit sends them.
    static void Send(wxWindow* w, wxEvent& e) {
        e.SetEventObject(w);
        w->GetEventHandler()->ProcessEvent(e);
    }
    static void SendFocus(wxWindow* w, bool gained) {
        wxFocusEvent e(gained ? wxEVT_SET_FOCUS : wxEVT_KILL_FOCUS, w->GetId());
        Send(w, e);
    }
    static void SendMouse(wxWindow* w, wxEventType type, wxPoint pos = wxPoint(2, 2), int n = 1) {
        wxMouseEvent e(type);
        e.SetPosition(pos);
        e.m_clickCount = n;
        Send(w, e);
    }
    static void SendKey(wxWindow* w, wxEventType type, int key) {
        wxKeyEvent e(type);
        e.m_keyCode = key;
        Send(w, e);
    }
    wxsPanel* m_Panel = nullptr;
};

// Makes the palette renderer the application's renderer for one test. The first Get() lets
// the application traits install theirs, over any set before.
struct ScopedRenderer {
    wxRendererNative* old = (wxRendererNative::Get(), wxRendererNative::Set(new wxsRenderer()));
    ~ScopedRenderer() { delete wxRendererNative::Set(old); }
};

const wxColour k_NormalFace = Rgb(108, 108, 108), k_HoveredFace = Rgb(133, 133, 133),
               k_DefaultFace = Rgb(250, 183, 68), k_HoveredDefaultFace = Rgb(255, 208, 93),
               k_Grey = Rgb(160, 170, 190); // "TextGray"

// ---- wxsButton ----

TEST_F(ColorsControls, ButtonLooksNormalDefaultHoveredAndDisabledThroughItsParent) {
    auto* normal = Add<wxsButton>(wxID_ANY, "Normal");
    auto* def = Add<wxsButton>(wxID_OK, "OK");
    EXPECT_EQ(def->SetDefault(), nullptr);
    EXPECT_PIXEL(Render(normal), 1, 1, k_NormalFace);
    EXPECT_COLOUR(normal->GetForegroundColour(), Rgb(255, 255, 255));
    EXPECT_PIXEL(Render(def), 1, 1, k_DefaultFace);             // "Selected" + 20
    EXPECT_COLOUR(def->GetForegroundColour(), Rgb(49, 49, 49)); // "3DDark" - 20
    EXPECT_EQ(def->GetFont(), wxsButton::GetDefaultFont());
    EXPECT_EQ(wxsButton::GetDefaultFont().GetWeight(), wxFONTWEIGHT_BOLD);
    EXPECT_EQ(wxsButton::GetNormalFont().GetPointSize(), m_Panel->GetFont().GetPointSize() - 1);
    EXPECT_TRUE(normal->HasFlag(wxBORDER_NONE));

    // Hovering adds 25 to whichever look is current, once; a leave without an enter is nothing.
    SendMouse(normal, wxEVT_LEAVE_WINDOW);
    SendMouse(normal, wxEVT_ENTER_WINDOW);
    SendMouse(normal, wxEVT_ENTER_WINDOW);
    SendMouse(def, wxEVT_ENTER_WINDOW);
    EXPECT_PIXEL(Render(normal), 1, 1, k_HoveredFace);
    EXPECT_PIXEL(Render(def), 1, 1, k_HoveredDefaultFace); // +20 and +25, clamped
    EXPECT_COLOUR(def->GetForegroundColour(), Rgb(74, 74, 74));
    def->SetNormal(); // the shade follows a change of look
    EXPECT_PIXEL(Render(def), 1, 1, k_HoveredFace);
    EXPECT_EQ(def->GetFont(), wxsButton::GetNormalFont());

    // Disabled through the panel while hovered (GTK does not tell the children): the grey
    // label, centred, on the enabled face, unlit.
    m_Panel->Enable(false);
    PumpEvents();
    EXPECT_COLOUR(normal->GetBackgroundColour(), Rgb(56, 56, 56));
    const wxImage img = Render(normal);
    const wxSize text = normal->GetTextExtent("Normal"), size = normal->GetClientSize();
    const wxRect label((size.x - text.x) / 2, (size.y - text.y) / 2, text.x, text.y);
    EXPECT_GT(CountPixels(img, label, k_Grey, 12), 0);
    EXPECT_EQ(CountPixels(img, wxRect(0, 0, label.x, size.y), k_NormalFace), label.x * size.y);
    m_Panel->Enable(true);
    PumpEvents();
    EXPECT_COLOUR(normal->GetForegroundColour(), Rgb(255, 255, 255));
}

TEST_F(ColorsControls, MinimumSizeHoldsTheBoldLabelAndALongerLabelGrowsTheButton) {
    auto* button = Add<wxsButton>(wxID_ANY, "OK");
    auto* fit = Add<wxsButton>(wxID_ANY, "i", wxDefaultPosition, wxDefaultSize, wxBU_EXACTFIT);
    // Exact fit: at least one and a half characters, as high as the label, plus a character
    // and an eighth of its height.
    wxMemoryDC dc;
    dc.SetFont(wxsButton::GetDefaultFont());
    const int cw = fit->GetCharWidth(), ch = fit->GetCharHeight();
    const wxSize i = dc.GetTextExtent("i");
    EXPECT_EQ(fit->GetMinSize(), wxSize(std::max(3 * cw / 2, i.x) + cw, i.y + ch / 8));

    button->SetLabel("Render the selected frames again");
    for (bool isDefault : {false, true}) { // the bold default font is the wider
        if (isDefault) button->SetDefault();
        m_Panel->Layout();
        const wxSize size = button->GetClientSize();
        const wxRect label = button->GetLabelRect(size);
        EXPECT_GE(label.x, 0) << isDefault;
        EXPECT_LE(label.GetRight(), size.x - 1) << isDefault;
    }
}

TEST_F(ColorsControls, FocusMovesTheDefaultLookAndGivesItBack) {
    auto* ok = Add<wxsButton>(wxID_OK, "OK");
    auto* b = Add<wxsButton>(wxID_ANY, "B");
    auto* c = Add<wxsButton>(wxID_ANY, "C");
    auto* icon = Add<wxsButton>(wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxBU_NOTEXT);
    SendFocus(b, true); // no default item yet: focus only shades
    EXPECT_PIXEL(Render(b), 1, 1, k_HoveredFace);
    SendFocus(b, false);
    EXPECT_PIXEL(Render(b), 1, 1, k_NormalFace);
    EXPECT_EQ(TopWindow()->GetDefaultItem(), nullptr);

    ok->SetDefault();
    SendFocus(b, true); // B borrows the default look, OK turns normal
    EXPECT_TRUE(b->IsDefault());
    EXPECT_PIXEL(Render(b), 1, 1, k_DefaultFace);
    EXPECT_PIXEL(Render(ok), 1, 1, k_NormalFace);
    SendFocus(b, false); // tab to C: B gives it back, then C borrows it
    EXPECT_TRUE(ok->IsDefault());
    SendFocus(c, true);
    EXPECT_TRUE(c->IsDefault());
    SendFocus(c, false); // focus leaves the buttons: OK is the default again
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_PIXEL(Render(ok), 1, 1, k_DefaultFace);
    EXPECT_PIXEL(Render(c), 1, 1, k_NormalFace);
    SendFocus(ok, true); // on the default button itself: the hover shade
    EXPECT_PIXEL(Render(ok), 1, 1, k_HoveredDefaultFace);
    SendFocus(ok, false);
    EXPECT_PIXEL(Render(ok), 1, 1, k_DefaultFace);
    SendFocus(icon, true); // a button without text never takes part
    EXPECT_TRUE(ok->IsDefault());
    // The earlier default going away meanwhile leaves nothing dangling.
    SendFocus(b, true);
    delete ok;
    SendFocus(b, false);
    EXPECT_TRUE(b->IsDefault());
}

TEST_F(ColorsControls, KeysAndReleasesClickTheButton) {
    auto* b = Add<wxsButton>(wxID_ANY, "Press");
    int clicks = 0, sawDisabled = 0, sawOwnId = 0;
    b->Bind(wxEVT_BUTTON, [&](wxCommandEvent& e) {
        ++clicks;
        sawDisabled += !b->IsEnabled();
        sawOwnId += e.GetId() == b->GetId() && e.GetEventObject() == b;
        e.Skip();
    });
    for (int key :
         {int(WXK_SPACE), int(WXK_RETURN), int(WXK_NUMPAD_ENTER), int('A'), int(WXK_ESCAPE)})
        SendKey(b, wxEVT_KEY_UP, key);
    SendKey(b, wxEVT_KEY_DOWN, WXK_SPACE); // a press alone is not a click
    EXPECT_EQ(clicks, 3);
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(3, 3));
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(-5, 3)); // released outside
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(3, b->GetClientSize().y + 2));
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(3, 3), 2); // the release of a double click
    EXPECT_EQ(clicks, 4);
    EXPECT_EQ(sawDisabled, 4); // disabled while the handler ran
    EXPECT_EQ(sawOwnId, 4);
    EXPECT_TRUE(b->IsEnabled());
    EXPECT_COLOUR(b->GetForegroundColour(), Rgb(255, 255, 255)); // enabled colours again
    // A handler that disables its own button has the last word.
    b->Bind(wxEVT_BUTTON, [b](wxCommandEvent&) { b->Disable(); });
    b->EmulateClick();
    EXPECT_FALSE(b->IsThisEnabled());
    EXPECT_COLOUR(b->GetForegroundColour(), k_Grey);
}

// ---- wxsCheckBox and wxsRadioButton ----

TEST_F(ColorsControls, CheckBoxTogglesReportsAndPaintsThroughTheApplicationRenderer) {
    ScopedRenderer renderer;
    auto* check = Add<wxsCheckBox>(wxID_ANY, "WWWW");
    std::vector<int> values;
    check->Bind(wxEVT_CHECKBOX, [&](wxCommandEvent& e) {
        EXPECT_TRUE(e.GetEventObject() == check && e.GetId() == check->GetId());
        EXPECT_EQ(e.IsChecked(), check->GetValue()); // sent after the change
        values.push_back(e.GetInt());
    });
    const wxSize size = check->GetClientSize();
    SendMouse(check, wxEVT_LEFT_UP, wxPoint(3, 3));
    SendKey(check, wxEVT_KEY_UP, WXK_SPACE);
    SendKey(check, wxEVT_KEY_UP, 'x');
    SendMouse(check, wxEVT_LEFT_UP, wxPoint(size.x + 3, 3)); // outside
    SendMouse(check, wxEVT_LEFT_UP, wxPoint(size.x - 2, 3)); // on the label
    EXPECT_EQ(values, (std::vector<int>{1, 0, 1}));
    check->SetValue(false); // without an event, like the toolkit's
    EXPECT_EQ(values.size(), 3u);

    // The label 2 pixels right of the box's square; nothing of it left of there.
    const int h = size.y, mid = h / 2;
    const wxRect label(h + 2, 0, size.x - h - 6, h), left(0, 0, h + 2, h);
    EXPECT_EQ(check->GetGeometry(size).label, label);
    const wxColour text = Rgb(235, 235, 235), orange = Rgb(255, 136, 0);
    wxImage img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(108, 108, 108)); // the box face, from the renderer
    EXPECT_PIXEL(img, 0, 0, check->GetBackgroundColour());
    EXPECT_GT(CountPixels(img, label, text, 20), 0);
    check->SetValue(true);
    SendMouse(check, wxEVT_ENTER_WINDOW); // hovered: lit box, "TextOrange" label
    img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(255, 188, 73));
    EXPECT_GT(CountPixels(img, label, orange, 20), 0);
    EXPECT_EQ(CountPixels(img, left, orange, 20) + CountPixels(img, label, text, 20), 0);
    m_Panel->Enable(false); // disabled through the parent: the disabled shade and roles
    PumpEvents();
    img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(218, 171, 91));
    EXPECT_GT(CountPixels(img, label, k_Grey, 12), 0);
    EXPECT_EQ(CountPixels(img, label, orange, 60), 0);
    EXPECT_COLOUR(check->GetBackgroundColour(), Rgb(142, 142, 142));
    m_Panel->Enable(true); // the hover went with the disabling
    PumpEvents();
    EXPECT_GT(CountPixels(Render(check), label, text, 20), 0);
}

TEST_F(ColorsControls, RadioGroupsSetOnClickAndAlwaysReport) {
    ScopedRenderer renderer;
    auto* a = Add<wxsRadioButton>(wxID_ANY, "A", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    auto* b = Add<wxsRadioButton>(wxID_ANY, "B");
    Add<wxsButton>(wxID_ANY, "not a radio button"); // skipped over, does not end the group
    auto* c = Add<wxsRadioButton>(wxID_ANY, "C");
    auto* d = Add<wxsRadioButton>(wxID_ANY, "D", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    EXPECT_EQ(c->GetGroup(), (std::vector<wxsRadioButton*>{a, b, c}));
    EXPECT_TRUE(a->GetValue() && !b->GetValue() && d->GetValue()); // the first of a group is set
    const int mid = a->GetClientSize().y / 2;
    const wxImage img = Render(a); // a disc: its face in the middle, the panel in the corner
    EXPECT_PIXEL(img, mid, mid, Rgb(230, 163, 48));
    EXPECT_PIXEL(img, 2, 2, a->GetBackgroundColour());
    std::vector<wxObject*> from;
    m_Panel->Bind(wxEVT_RADIOBUTTON, [&](wxCommandEvent& ev) {
        EXPECT_EQ(ev.GetInt(), 1);
        from.push_back(ev.GetEventObject());
    });
    SendMouse(c, wxEVT_LEFT_UP);
    SendKey(c, wxEVT_KEY_UP, WXK_SPACE); // set already: stays set, still reports
    EXPECT_TRUE(c->GetValue() && !a->GetValue() && d->GetValue()); // d: another group
    SendMouse(b, wxEVT_LEFT_UP);
    EXPECT_FALSE(c->GetValue());
    // Arrow keys select the neighbour within the group, skipping disabled ones.
    a->Enable(false);
    SendKey(b, wxEVT_KEY_DOWN, WXK_DOWN);
    EXPECT_TRUE(c->GetValue());
    SendKey(c, wxEVT_KEY_DOWN, WXK_UP);
    SendKey(b, wxEVT_KEY_DOWN, WXK_LEFT); // only a disabled one before it
    EXPECT_TRUE(b->GetValue());
    EXPECT_EQ(from, (std::vector<wxObject*>{c, c, b, c, b}));
}

} // namespace
