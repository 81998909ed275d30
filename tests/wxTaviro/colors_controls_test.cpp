// The themed buttons, check boxes and radio buttons (Dark scheme): looks, hover, the default
// hand-over on focus, clicks and keys, radio groups.
#include "tests/wxTaviro/ColorsTestUtil.h"

#include <wx/sizer.h>
#include <wx/uiaction.h>

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
    // The face as painted, next to the top-left corner (clear of the label).
    static wxColour Face(wxsButton* b) {
        const wxImage img = Render(b);
        return wxColour(img.GetRed(1, 1), img.GetGreen(1, 1), img.GetBlue(1, 1));
    }
    wxsPanel* m_Panel = nullptr;
};

const wxColour k_NormalFace = Rgb(108, 108, 108), k_HoveredFace = Rgb(133, 133, 133),
               k_DefaultFace = Rgb(250, 183, 68), k_HoveredDefaultFace = Rgb(255, 208, 93);

// ---- wxsButton ----

TEST_F(ColorsControls, ButtonLooksNormalDefaultHoveredAndDisabled) {
    auto* normal = Add<wxsButton>(wxID_ANY, "Normal");
    auto* def = Add<wxsButton>(wxID_OK, "OK");
    def->SetDefault();
    EXPECT_COLOUR(Face(normal), k_NormalFace);
    EXPECT_COLOUR(normal->GetForegroundColour(), Rgb(255, 255, 255));
    EXPECT_COLOUR(Face(def), k_DefaultFace);                    // "Selected" + 20
    EXPECT_COLOUR(def->GetForegroundColour(), Rgb(49, 49, 49)); // "3DDark" - 20
    EXPECT_EQ(def->GetFont(), wxsButton::GetDefaultFont());
    EXPECT_EQ(wxsButton::GetDefaultFont().GetWeight(), wxFONTWEIGHT_BOLD);

    // Hovering adds 25 to whichever look is current, once; a leave without an enter is nothing.
    SendMouse(normal, wxEVT_LEAVE_WINDOW);
    EXPECT_COLOUR(Face(normal), k_NormalFace);
    SendMouse(normal, wxEVT_ENTER_WINDOW);
    SendMouse(normal, wxEVT_ENTER_WINDOW);
    SendMouse(def, wxEVT_ENTER_WINDOW);
    EXPECT_COLOUR(Face(normal), k_HoveredFace);
    EXPECT_COLOUR(Face(def), k_HoveredDefaultFace); // +20 and +25, clamped
    EXPECT_COLOUR(def->GetForegroundColour(), Rgb(74, 74, 74));
    def->SetNormal(); // the shade follows a change of look
    EXPECT_COLOUR(Face(def), k_HoveredFace);
    SendMouse(def, wxEVT_LEAVE_WINDOW);
    EXPECT_COLOUR(Face(def), k_NormalFace);

    // Disabled: the grey label on the enabled face, which is kept deliberately.
    SendMouse(normal, wxEVT_LEAVE_WINDOW);
    normal->Enable(false);
    EXPECT_COLOUR(Face(normal), k_NormalFace);
    EXPECT_COLOUR(normal->GetForegroundColour(), Rgb(160, 170, 190));
    EXPECT_COLOUR(normal->GetBackgroundColour(), Rgb(56, 56, 56));
    // The label is drawn, centred, in the foreground colour.
    const wxImage img = Render(normal);
    const wxSize text = normal->GetTextExtent("Normal"), size = normal->GetClientSize();
    const wxRect label((size.x - text.x) / 2, (size.y - text.y) / 2, text.x, text.y);
    EXPECT_GT(CountPixels(img, label, Rgb(160, 170, 190), 40), 0);
    EXPECT_EQ(CountPixels(img, wxRect(0, 0, label.x, size.y), k_NormalFace, 2), label.x * size.y);
}

TEST_F(ColorsControls, ButtonFontsStyleAndMinimumSize) {
    const wxFont base = m_Panel->GetFont();
    auto* plain = Add<wxsButton>(wxID_ANY, "A much longer label than usual");
    auto* bordered =
        Add<wxsButton>(wxID_ANY, "B", wxDefaultPosition, wxDefaultSize, wxBORDER_SIMPLE);
    EXPECT_EQ(wxsButton::GetNormalFont().GetPointSize(), base.GetPointSize() - 1);
    EXPECT_EQ(plain->GetFont(), wxsButton::GetNormalFont());
    EXPECT_TRUE(plain->HasFlag(wxBORDER_NONE));
    EXPECT_FALSE(bordered->HasFlag(wxBORDER_NONE));

    // Room for the label in bold plus a character, so that becoming default never clips it;
    // exact fit: at least one and a half characters, as high as the label.
    wxMemoryDC dc;
    dc.SetFont(wxsButton::GetDefaultFont());
    const int cw = plain->GetCharWidth(), ch = plain->GetCharHeight();
    const wxSize bold = dc.GetTextExtent(plain->GetLabel());
    EXPECT_EQ(plain->GetMinSize(), wxSize(bold.x + cw, wxButton::GetDefaultSize().y + ch / 8));
    for (const char* label : {"i", "Go ahead"}) {
        auto* fit =
            Add<wxsButton>(wxID_ANY, label, wxDefaultPosition, wxDefaultSize, wxBU_EXACTFIT);
        const wxSize text = dc.GetTextExtent(label);
        EXPECT_EQ(fit->GetMinSize(), wxSize(std::max(3 * cw / 2, text.x) + cw, text.y + ch / 8))
            << label;
    }
}

TEST_F(ColorsControls, FocusMovesTheDefaultLookAndGivesItBack) {
    auto* ok = Add<wxsButton>(wxID_OK, "OK");
    auto* b = Add<wxsButton>(wxID_ANY, "B");
    auto* c = Add<wxsButton>(wxID_ANY, "C");
    auto* icon = Add<wxsButton>(wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxBU_NOTEXT);
    // No default item yet: focus only shades.
    SendFocus(b, true);
    EXPECT_COLOUR(Face(b), k_HoveredFace);
    SendFocus(b, false);
    EXPECT_COLOUR(Face(b), k_NormalFace);
    EXPECT_EQ(TopWindow()->GetDefaultItem(), nullptr);

    EXPECT_EQ(ok->SetDefault(), nullptr);
    SendFocus(b, true); // B borrows the default look, OK turns normal
    EXPECT_TRUE(b->IsDefault());
    EXPECT_COLOUR(Face(b), k_DefaultFace);
    EXPECT_COLOUR(Face(ok), k_NormalFace);
    SendFocus(b, false); // tab to C: B gives it back, then C borrows it
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_COLOUR(Face(b), k_NormalFace);
    SendFocus(c, true);
    EXPECT_TRUE(c->IsDefault());
    SendFocus(c, false); // focus leaves the buttons: OK is the default again
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_COLOUR(Face(ok), k_DefaultFace);
    EXPECT_COLOUR(Face(c), k_NormalFace);
    EXPECT_EQ(c->GetFont(), wxsButton::GetNormalFont());
    SendFocus(ok, true); // on the default button itself: the hover shade
    EXPECT_COLOUR(Face(ok), k_HoveredDefaultFace);
    SendFocus(ok, false);
    EXPECT_COLOUR(Face(ok), k_DefaultFace);
    SendFocus(icon, true); // a button without text never takes part
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_COLOUR(Face(icon), k_NormalFace);

    // A temporary default counts as the current one.
    TopWindow()->SetTmpDefaultItem(b);
    EXPECT_TRUE(b->IsDefault());
    EXPECT_FALSE(ok->IsDefault());
    TopWindow()->SetTmpDefaultItem(nullptr);
    // The earlier default going away meanwhile leaves nothing dangling.
    SendFocus(b, true);
    delete ok;
    SendFocus(b, false);
    EXPECT_TRUE(b->IsDefault());
}

TEST_F(ColorsControls, KeysAndReleasesClickTheButton) {
    auto* b = Add<wxsButton>(wxID_ANY, "Press");
    EventCounter atPanel(m_Panel, wxEVT_BUTTON); // a command event goes up to the parent
    int clicks = 0, sawDisabled = 0, sawOwnId = 0;
    b->Bind(wxEVT_BUTTON, [&](wxCommandEvent& e) {
        ++clicks;
        sawDisabled += !b->IsEnabled();
        sawOwnId += e.GetId() == b->GetId() && e.GetEventObject() == b;
        e.Skip();
    });
    for (int key :
         {(int)WXK_SPACE, (int)WXK_RETURN, (int)WXK_NUMPAD_ENTER, (int)'A', (int)WXK_ESCAPE})
        SendKey(b, wxEVT_KEY_UP, key);
    SendKey(b, wxEVT_KEY_DOWN, WXK_SPACE); // a press alone is not a click
    EXPECT_EQ(clicks, 3);
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(3, 3));
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(-5, 3)); // released outside
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(3, b->GetClientSize().y + 2));
    wxMouseEvent second(wxEVT_LEFT_UP);
    second.SetEventObject(b);
    second.m_clickCount = 2; // the release of a double click
    b->GetEventHandler()->ProcessEvent(second);
    EXPECT_EQ(clicks, 4);
    b->EmulateClick();
    EXPECT_EQ(clicks, 5);
    EXPECT_EQ(atPanel.GetCount(), 5);
    EXPECT_EQ(sawDisabled, 5); // disabled while the handler ran
    EXPECT_EQ(sawOwnId, 5);
    EXPECT_TRUE(b->IsEnabled());
    EXPECT_COLOUR(b->GetForegroundColour(), Rgb(255, 255, 255)); // enabled colours again
}

TEST_F(ColorsControls, RealMouseHoversAndClicks) {
    auto* b = Add<wxsButton>(wxID_ANY, "Real");
    auto* other = Add<wxsButton>(wxID_ANY, "Other");
    ASSERT_TRUE(WaitFor([&] { return b->IsShownOnScreen() && b->GetScreenRect().width > 0; }));
    EventCounter clicks(b, wxEVT_BUTTON);
    wxUIActionSimulator sim;
    sim.MouseMove(b->GetScreenRect().GetPosition() + wxPoint(5, 5));
    ASSERT_TRUE(WaitFor([&] { return b->IsHilighted(); })) << "no enter event arrived";
    sim.MouseClick();
    EXPECT_TRUE(clicks.WaitEvent(1));
    sim.MouseMove(other->GetScreenRect().GetPosition() + wxPoint(5, 5));
    EXPECT_TRUE(WaitFor([&] { return !b->IsHilighted() && other->IsHilighted(); }));
    EXPECT_EQ(clicks.GetCount(), 1);
    EXPECT_COLOUR(Face(b), k_NormalFace);
}

// ---- wxsCheckBox and wxsRadioButton ----

TEST_F(ColorsControls, CheckBoxClicksAndSpaceToggleAndReport) {
    auto* check = Add<wxsCheckBox>(wxID_ANY, "Check me");
    std::vector<int> values;
    check->Bind(wxEVT_CHECKBOX, [&](wxCommandEvent& e) {
        EXPECT_EQ(e.GetEventObject(), check);
        EXPECT_EQ(e.GetId(), check->GetId());
        EXPECT_EQ(e.IsChecked(), check->GetValue()); // sent after the change
        values.push_back(e.GetInt());
    });
    SendMouse(check, wxEVT_LEFT_UP, wxPoint(3, 3));
    SendKey(check, wxEVT_KEY_UP, WXK_SPACE);
    SendKey(check, wxEVT_KEY_UP, 'x');
    SendMouse(check, wxEVT_LEFT_UP, wxPoint(check->GetClientSize().x + 3, 3)); // outside
    SendMouse(check, wxEVT_LEFT_UP, wxPoint(check->GetClientSize().x - 2, 3)); // on the label
    EXPECT_EQ(values, (std::vector<int>{1, 0, 1}));
    check->SetValue(false); // without an event, like the toolkit's
    EXPECT_EQ(values.size(), 3u);
}

TEST_F(ColorsControls, CheckBoxPaintsThroughTheApplicationRenderer) {
    ScopedRenderer renderer;
    auto* check = Add<wxsCheckBox>(wxID_ANY, "WWWW");
    const wxSize size = check->GetClientSize();
    const int h = size.y, mid = h / 2;
    const wxRect label(h + 2, 0, size.x - h - 6, h);
    // The label starts 2 pixels right of the box's square: the geometry says so, and its ink
    // starts where the same text drawn there by the test does.
    EXPECT_EQ(check->GetGeometry(size).label, label);
    auto inkStart = [&](const wxImage& img, const wxColour& text) {
        for (int x = h - 2; x < img.GetWidth(); ++x)
            if (CountPixels(img, wxRect(x, 0, 1, h), text, 100) > 0) return x;
        return -1;
    };
    auto labelStart = [&](const wxColour& text) {
        const wxImage alone = RenderToImage(
            size.x, h,
            [&](wxDC& dc) {
                dc.SetFont(check->GetFont());
                dc.SetTextForeground(text);
                dc.DrawText("WWWW", h + 2, 0);
            },
            check->GetBackgroundColour());
        return inkStart(alone, text);
    };
    wxImage img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(108, 108, 108)); // the box face, from the renderer
    EXPECT_PIXEL(img, 0, 0, check->GetBackgroundColour());
    EXPECT_EQ(inkStart(img, Rgb(235, 235, 235)), labelStart(Rgb(235, 235, 235))); // "Text"
    check->SetValue(true);
    SendMouse(check, wxEVT_ENTER_WINDOW); // hovered: lit box, "TextOrange" label
    img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(255, 188, 73));
    EXPECT_EQ(inkStart(img, Rgb(255, 136, 0)), labelStart(Rgb(255, 136, 0)));
    EXPECT_EQ(CountPixels(img, label, Rgb(235, 235, 235), 20), 0);
    SendMouse(check, wxEVT_LEAVE_WINDOW);
    check->Enable(false); // the disabled shade, and the disabled roles for the window
    EXPECT_PIXEL(Render(check), mid, mid, Rgb(218, 171, 91));
    EXPECT_COLOUR(check->GetBackgroundColour(), Rgb(142, 142, 142));

    // The radio button draws a disc: its face in the middle, the panel colour in the corner.
    auto* radio = Add<wxsRadioButton>(wxID_ANY, "Radio");
    img = Render(radio);
    EXPECT_PIXEL(img, mid, mid, Rgb(230, 163, 48)); // the first of its group starts set
    EXPECT_PIXEL(img, 2, 2, radio->GetBackgroundColour());
}

TEST_F(ColorsControls, RadioGroupsSetOnClickAndAlwaysReport) {
    auto* a = Add<wxsRadioButton>(wxID_ANY, "A", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    auto* b = Add<wxsRadioButton>(wxID_ANY, "B");
    Add<wxsButton>(wxID_ANY, "not a radio button"); // skipped over, does not end the group
    auto* c = Add<wxsRadioButton>(wxID_ANY, "C");
    auto* d = Add<wxsRadioButton>(wxID_ANY, "D", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    EXPECT_EQ(c->GetGroup(), (std::vector<wxsRadioButton*>{a, b, c}));
    EXPECT_TRUE(a->GetValue());
    EXPECT_TRUE(d->GetValue());
    std::vector<wxObject*> from;
    m_Panel->Bind(wxEVT_RADIOBUTTON, [&](wxCommandEvent& ev) {
        EXPECT_EQ(ev.GetInt(), 1);
        from.push_back(ev.GetEventObject());
    });
    SendMouse(c, wxEVT_LEFT_UP);
    SendKey(c, wxEVT_KEY_UP, WXK_SPACE); // set already: stays set, still reports
    EXPECT_TRUE(c->GetValue());
    EXPECT_FALSE(a->GetValue());
    EXPECT_TRUE(d->GetValue()); // another group
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
