// The themed buttons, check boxes and radio buttons: looks in every scheme, hover, the default
// hand-over on focus, clicks and keys, radio groups.
#include "tests/wxTaviro/ColorsTestUtil.h"

#include <wx/sizer.h>
#include <wx/uiaction.h>

using namespace taviro_test;
using namespace colors_test;

namespace {

class ColorsControls : public ::testing::Test {
protected:
    void SetUp() override {
        g_Scheme = -1;
        Dark();
        m_Panel = new wxsPanel(TopWindow());
        m_Sizer = new wxBoxSizer(wxHORIZONTAL);
        m_Panel->SetSizer(m_Sizer);
        m_Panel->SetSize(TopWindow()->GetClientSize());
    }
    template <class T, class... Args>
    T* Add(Args&&... args) {
        T* w = new T(m_Panel, std::forward<Args>(args)...);
        m_Sizer->Add(w, 0, wxALL, 4);
        m_Panel->Layout();
        return w;
    }
    void LayOut() {
        TopWindow()->Layout();
        m_Panel->SetSize(TopWindow()->GetClientSize());
        m_Panel->Layout();
        PumpEvents();
    }
    // The face colour as painted, probed next to the top-left corner (clear of the label).
    static wxColour Face(wxsButton* b) {
        const wxSize size = b->GetClientSize();
        const wxImage img = RenderToImage(size.x, size.y, [b](wxDC& dc) { b->Draw(dc); });
        return wxColour(img.GetRed(1, 1), img.GetGreen(1, 1), img.GetBlue(1, 1));
    }
    wxsPanel* m_Panel = nullptr;
    wxBoxSizer* m_Sizer = nullptr;
};

} // namespace

// ---- wxsButton: looks ----

class ColorsButtonLooks : public ColorsControls, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        ColorsControls::SetUp();
        UseScheme(GetParam());
    }
};

INSTANTIATE_TEST_SUITE_P(AllSchemes, ColorsButtonLooks, ::testing::Values(1, 2, 3, 4, 5),
                         SchemeName);

TEST_P(ColorsButtonLooks, FacesNormalDefaultHoveredAndDisabled) {
    auto* normal = Add<wxsButton>(wxID_ANY, "Normal");
    auto* def = Add<wxsButton>(wxID_OK, "OK");
    def->SetDefault();
    const wxColour face = wxsGetColor(color_ButtonFace), sel = wxsGetColor(color_Selected);

    EXPECT_COLOUR(Face(normal), face);
    EXPECT_COLOUR(normal->GetForegroundColour(), wxsGetColor(color_ButtonText));
    EXPECT_COLOUR(Face(def), OffsetColor(sel, 20, 20, 20));
    EXPECT_COLOUR(def->GetForegroundColour(),
                  OffsetColor(wxsGetColor(color_3DDark), -20, -20, -20));

    // Hovering adds 25 on top of whichever look is current; the offsets add, then clamp.
    SendMouse(normal, wxEVT_ENTER_WINDOW);
    SendMouse(def, wxEVT_ENTER_WINDOW);
    EXPECT_COLOUR(Face(normal), OffsetColor(face, 25, 25, 25));
    EXPECT_COLOUR(Face(def), OffsetColor(sel, 45, 45, 45));
    EXPECT_COLOUR(def->GetForegroundColour(), OffsetColor(wxsGetColor(color_3DDark), 5, 5, 5));
    SendMouse(normal, wxEVT_LEAVE_WINDOW);
    SendMouse(def, wxEVT_LEAVE_WINDOW);
    EXPECT_COLOUR(Face(def), OffsetColor(sel, 20, 20, 20));

    // Disabled: grey label on the enabled face, which is kept deliberately.
    normal->Enable(false);
    EXPECT_COLOUR(Face(normal), face);
    EXPECT_COLOUR(normal->GetForegroundColour(), wxsGetColor(color_TextGrey));
    EXPECT_COLOUR(normal->GetBackgroundColour(), wxsGetColor(color_WindowBGDarker));

    // The label is drawn, centred, in the foreground colour.
    const wxSize size = def->GetClientSize();
    const wxImage img = RenderToImage(size.x, size.y, [def](wxDC& dc) { def->Draw(dc); });
    const wxRect label = def->GetLabelRect(size);
    EXPECT_NEAR(label.x * 2 + label.width, size.x, 1);
    EXPECT_NEAR(label.y * 2 + label.height, size.y, 1);
    EXPECT_GT(CountPixels(img, label, def->GetForegroundColour(), 40), 0);
    EXPECT_LT(CountPixels(img, label, Face(def), 2), label.width * label.height);
}

TEST_F(ColorsControls, ButtonHoverInTheDarkScheme) {
    auto* normal = Add<wxsButton>(wxID_ANY, "Normal");
    auto* def = Add<wxsButton>(wxID_ANY, "Default");
    def->SetDefault();
    // A leave without an enter changes nothing.
    SendMouse(normal, wxEVT_LEAVE_WINDOW);
    EXPECT_COLOUR(Face(normal), Rgb(108, 108, 108));
    EXPECT_FALSE(normal->IsHilighted());

    SendMouse(normal, wxEVT_ENTER_WINDOW);
    SendMouse(normal, wxEVT_ENTER_WINDOW); // twice: still +25 only
    EXPECT_COLOUR(Face(normal), Rgb(133, 133, 133));
    SendMouse(def, wxEVT_ENTER_WINDOW);
    EXPECT_COLOUR(Face(def), Rgb(255, 208, 93));

    // The shade follows a change of look.
    def->SetNormal();
    EXPECT_COLOUR(Face(def), Rgb(133, 133, 133));
    normal->SetDefault();
    EXPECT_COLOUR(Face(normal), Rgb(255, 208, 93));
    EXPECT_EQ(normal->GetFont().GetWeight(), wxFONTWEIGHT_BOLD);
    SendMouse(normal, wxEVT_LEAVE_WINDOW);
    EXPECT_COLOUR(Face(normal), Rgb(250, 183, 68));
}

TEST_F(ColorsControls, ButtonFontsStyleAndMinimumSize) {
    const wxFont base = m_Panel->GetFont();
    auto* plain = Add<wxsButton>(wxID_ANY, "A much longer label than usual");
    auto* fit = Add<wxsButton>(wxID_ANY, "Go", wxDefaultPosition, wxDefaultSize, wxBU_EXACTFIT);
    auto* bordered =
        Add<wxsButton>(wxID_ANY, "B", wxDefaultPosition, wxDefaultSize, wxBORDER_SIMPLE);
    EXPECT_EQ(wxsButton::GetNormalFont().GetPointSize(), base.GetPointSize() - 1);
    EXPECT_EQ(plain->GetFont(), wxsButton::GetNormalFont());
    EXPECT_TRUE(plain->HasFlag(wxBORDER_NONE));
    EXPECT_FALSE(bordered->HasFlag(wxBORDER_NONE));

    // Room for the label in bold, plus a character: becoming default never clips it.
    wxMemoryDC dc;
    dc.SetFont(wxsButton::GetDefaultFont());
    const wxSize bold = dc.GetTextExtent(plain->GetLabel());
    EXPECT_GE(plain->GetMinSize().x, bold.x + plain->GetCharWidth());
    EXPECT_EQ(plain->GetMinSize().y, wxButton::GetDefaultSize().y + plain->GetCharHeight() / 8);
    EXPECT_GE(plain->GetSize().x, plain->GetMinSize().x);
    // Exact fit: the label and a character, lower than the toolkit's default button.
    EXPECT_GE(fit->GetMinSize().x, dc.GetTextExtent("Go").x + fit->GetCharWidth());
    EXPECT_LT(fit->GetMinSize().y, plain->GetMinSize().y);
    EXPECT_LT(fit->GetMinSize().x, plain->GetMinSize().x);
}

// ---- wxsButton: default item and focus ----

TEST_F(ColorsControls, SetDefaultHandsTheTopLevelDefaultItem) {
    auto* a = Add<wxsButton>(wxID_ANY, "A");
    auto* b = Add<wxsButton>(wxID_ANY, "B");
    EXPECT_FALSE(a->IsDefault());
    EXPECT_EQ(a->SetDefault(), nullptr);
    EXPECT_EQ(TopWindow()->GetDefaultItem(), a);
    EXPECT_EQ(b->SetDefault(), a);
    EXPECT_TRUE(b->IsDefault());
    EXPECT_FALSE(a->IsDefault());
    // A temporary default counts as the current one.
    TopWindow()->SetTmpDefaultItem(a);
    EXPECT_TRUE(a->IsDefault());
    EXPECT_FALSE(b->IsDefault());
    TopWindow()->SetTmpDefaultItem(nullptr);

    // Without a top-level parent there is nothing to be default of.
    auto* orphan = new wxsButton(TopWindow(), wxID_ANY, "X");
    orphan->Reparent(nullptr);
    EXPECT_EQ(orphan->SetDefault(), nullptr);
    EXPECT_FALSE(orphan->IsDefault());
    orphan->Destroy();
}

TEST_F(ColorsControls, TabbingMovesTheDefaultLookAndGivesItBack) {
    auto* ok = Add<wxsButton>(wxID_OK, "OK");
    auto* b = Add<wxsButton>(wxID_ANY, "B");
    auto* c = Add<wxsButton>(wxID_ANY, "C");
    ok->SetDefault();
    const wxColour normalFace = Rgb(108, 108, 108), defaultFace = Rgb(250, 183, 68);

    // Focus enters B: B takes the default look, OK turns normal.
    SendFocus(b, true);
    EXPECT_TRUE(b->IsDefault());
    EXPECT_COLOUR(Face(b), defaultFace);
    EXPECT_COLOUR(Face(ok), normalFace);
    // Tab to C: B gives the default back to OK, then C borrows it.
    SendFocus(b, false);
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_COLOUR(Face(b), normalFace);
    SendFocus(c, true);
    EXPECT_TRUE(c->IsDefault());
    // Focus leaves the buttons: OK is the default again.
    SendFocus(c, false);
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_COLOUR(Face(ok), defaultFace);
    EXPECT_COLOUR(Face(c), normalFace);
    EXPECT_EQ(ok->GetFont(), wxsButton::GetDefaultFont());
    EXPECT_EQ(c->GetFont(), wxsButton::GetNormalFont());

    // Focus on the default button itself shows as the hover shade, and goes again.
    SendFocus(ok, true);
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_COLOUR(Face(ok), Rgb(255, 208, 93));
    SendFocus(ok, false);
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_COLOUR(Face(ok), defaultFace);
}

TEST_F(ColorsControls, FocusWithoutDefaultItemOnlyShades) {
    auto* a = Add<wxsButton>(wxID_ANY, "A");
    auto* icon = Add<wxsButton>(wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxBU_NOTEXT);
    SendFocus(a, true);
    EXPECT_EQ(TopWindow()->GetDefaultItem(), nullptr);
    EXPECT_COLOUR(Face(a), Rgb(133, 133, 133));
    SendFocus(a, false);
    EXPECT_COLOUR(Face(a), Rgb(108, 108, 108));
    EXPECT_EQ(TopWindow()->GetDefaultItem(), nullptr);

    // A button without text never takes part.
    a->SetDefault();
    SendFocus(icon, true);
    EXPECT_TRUE(a->IsDefault());
    EXPECT_COLOUR(Face(icon), Rgb(108, 108, 108));
    SendFocus(icon, false);
    EXPECT_TRUE(a->IsDefault());
}

TEST_F(ColorsControls, FocusHandOverSurvivesTheEarlierDefaultGoingAway) {
    auto* ok = Add<wxsButton>(wxID_OK, "OK");
    auto* b = Add<wxsButton>(wxID_ANY, "B");
    ok->SetDefault();
    SendFocus(b, true);
    EXPECT_TRUE(b->IsDefault());
    delete ok; // meanwhile
    SendFocus(b, false);
    // Nothing to give the default back to: B keeps it, and nothing dangles.
    EXPECT_TRUE(b->IsDefault());
    EXPECT_COLOUR(Face(b), Rgb(250, 183, 68));
}

// ---- wxsButton: clicks and keys ----

TEST_F(ColorsControls, KeysAndReleasesClickTheButton) {
    auto* b = Add<wxsButton>(wxID_ANY, "Press");
    LayOut();
    EventCounter clicks(b, wxEVT_BUTTON);
    EventCounter atPanel(m_Panel, wxEVT_BUTTON); // a command event goes up to the parent
    int sawDisabled = 0, sawOwnId = 0;
    b->Bind(wxEVT_BUTTON, [&](wxCommandEvent& e) {
        sawDisabled += !b->IsEnabled();
        sawOwnId += e.GetId() == b->GetId() && e.GetEventObject() == b;
        e.Skip();
    });

    for (int key : {WXK_SPACE, WXK_RETURN, WXK_NUMPAD_ENTER})
        SendKey(b, wxEVT_KEY_UP, key);
    EXPECT_EQ(clicks.GetCount(), 3);
    SendKey(b, wxEVT_KEY_UP, 'A');
    SendKey(b, wxEVT_KEY_UP, WXK_ESCAPE);
    SendKey(b, wxEVT_KEY_DOWN, WXK_SPACE); // a press alone is not a click
    EXPECT_EQ(clicks.GetCount(), 3);

    SendMouse(b, wxEVT_LEFT_UP, wxPoint(3, 3));
    EXPECT_EQ(clicks.GetCount(), 4);
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(-5, 3)); // released outside
    SendMouse(b, wxEVT_LEFT_UP, wxPoint(3, b->GetClientSize().y + 2));
    wxMouseEvent second(wxEVT_LEFT_UP);
    second.SetEventObject(b);
    second.m_clickCount = 2; // the release of a double click
    b->GetEventHandler()->ProcessEvent(second);
    EXPECT_EQ(clicks.GetCount(), 4);

    b->EmulateClick();
    EXPECT_EQ(clicks.GetCount(), 5);
    EXPECT_EQ(atPanel.GetCount(), 5);
    EXPECT_EQ(sawDisabled, 5); // disabled while the handler ran
    EXPECT_EQ(sawOwnId, 5);
    EXPECT_TRUE(b->IsEnabled());
    EXPECT_COLOUR(b->GetForegroundColour(), Rgb(255, 255, 255)); // enabled colours again
}

TEST_F(ColorsControls, RealMouseHoversAndClicks) {
    auto* b = Add<wxsButton>(wxID_ANY, "Real");
    auto* other = Add<wxsButton>(wxID_ANY, "Other");
    LayOut();
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
    EXPECT_COLOUR(Face(b), Rgb(108, 108, 108));
}

// ---- wxsCheckBox ----

TEST_F(ColorsControls, CheckBoxClicksAndSpaceToggleAndReport) {
    auto* check = Add<wxsCheckBox>(wxID_ANY, "Check me");
    LayOut();
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
    EXPECT_TRUE(check->IsChecked());

    // SetValue changes without an event, like the toolkit's.
    check->SetValue(false);
    EXPECT_EQ(values.size(), 3u);
    EXPECT_EQ(check->Get3StateValue(), wxCHK_UNCHECKED);
}

TEST_F(ColorsControls, CheckBoxGeometryAndBestSize) {
    auto* check = Add<wxsCheckBox>(wxID_ANY, "Geometry");
    const wxSize best = check->GetBestSize();
    const wxsCheckBox::Geometry g = check->GetGeometry(best);
    EXPECT_EQ(g.box, wxRect(2, 2, best.y - 4, best.y - 4)); // a square of the height, less 2
    EXPECT_GT(g.label.x, g.box.GetRight());
    EXPECT_GE(g.label.width, check->GetTextExtent("Geometry").x); // the label fits
    EXPECT_GE(g.focus.x + g.focus.width, g.label.x + check->GetTextExtent("Geometry").x);
    EXPECT_GE(best.y, check->GetCharHeight());
    // A narrow control clips the label instead of overlapping the box.
    const wxsCheckBox::Geometry narrow = check->GetGeometry(wxSize(10, 20));
    EXPECT_EQ(narrow.label.width, 0);
}

class ColorsCheckBoxLooks : public ColorsControls, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        ColorsControls::SetUp();
        UseScheme(GetParam());
    }
    ScopedRenderer m_Renderer;
};

INSTANTIATE_TEST_SUITE_P(AllSchemes, ColorsCheckBoxLooks, ::testing::Values(1, 2, 3, 4, 5),
                         SchemeName);

TEST_P(ColorsCheckBoxLooks, PaintedThroughTheApplicationRenderer) {
    auto* check = Add<wxsCheckBox>(wxID_ANY, "WWWW MMMM");
    auto* radio = Add<wxsRadioButton>(wxID_ANY, "WWWW MMMM");
    LayOut();
    auto render = [](wxsCheckBox* c) {
        const wxSize size = c->GetClientSize();
        return RenderToImage(size.x, size.y, [c](wxDC& dc) { c->Draw(dc); });
    };
    auto centre = [](wxsCheckBox* c) {
        const wxRect box = c->GetGeometry(c->GetClientSize()).box;
        return box.GetPosition() + wxPoint(box.width / 2, box.height / 2);
    };
    const wxColour face = wxsGetColor(color_ButtonFace), sel = wxsGetColor(color_Selected);
    wxImage img = render(check);
    wxPoint p = centre(check);
    EXPECT_PIXEL(img, p.x, p.y, face);
    EXPECT_PIXEL(img, 0, 0, check->GetBackgroundColour());
    const wxRect label = check->GetGeometry(check->GetClientSize()).label;
    EXPECT_GT(CountPixels(img, label, wxsGetColor(color_Text), 60), 0);
    EXPECT_EQ(CountPixels(img, label, wxsGetColor(color_TextOrange), 20), 0);

    check->SetValue(true);
    img = render(check);
    EXPECT_PIXEL(img, p.x, p.y, sel);

    // Hovered: the box lights up and the label turns orange.
    SendMouse(check, wxEVT_ENTER_WINDOW);
    EXPECT_TRUE(check->GetRenderFlags() & wxCONTROL_CURRENT);
    img = render(check);
    EXPECT_PIXEL(img, p.x, p.y, Hilight(sel));
    EXPECT_GT(CountPixels(img, label, wxsGetColor(color_TextOrange), 60), 0);
    SendMouse(check, wxEVT_LEAVE_WINDOW);
    EXPECT_FALSE(check->IsHovered());

    // Disabled: the disabled shade, and the disabled roles for the window colours.
    check->Enable(false);
    EXPECT_TRUE(check->GetRenderFlags() & wxCONTROL_DISABLED);
    img = render(check);
    EXPECT_PIXEL(img, p.x, p.y, Disabled(sel));
    EXPECT_COLOUR(check->GetBackgroundColour(),
                  OffsetColor(wxsGetColor(color_WindowBGLighter), 50, 50, 50));

    // The radio button draws a disc: its face in the middle, the panel colour in the corner.
    img = render(radio);
    p = centre(radio);
    EXPECT_TRUE(radio->GetValue()); // the first of its group starts set
    EXPECT_PIXEL(img, p.x, p.y, sel);
    const wxRect box = radio->GetGeometry(radio->GetClientSize()).box;
    EXPECT_PIXEL(img, box.x, box.y, radio->GetBackgroundColour());
    radio->SetValue(false);
    img = render(radio);
    EXPECT_PIXEL(img, p.x, p.y, face);
}

TEST_F(ColorsControls, CheckBoxFocusMark) {
    ScopedRenderer renderer;
    auto* check = Add<wxsCheckBox>(wxID_ANY, "Focus");
    LayOut();
    check->SetFocus();
    if (!WaitFor([&] { return check->HasFocus(); }, 2000))
        GTEST_SKIP() << "the display gives no keyboard focus";
    EXPECT_TRUE(check->GetRenderFlags() & wxCONTROL_FOCUSED);
    const wxSize size = check->GetClientSize();
    const wxImage img = RenderToImage(size.x, size.y, [check](wxDC& dc) { check->Draw(dc); });
    const wxRect focus = check->GetGeometry(size).focus;
    EXPECT_GT(
        CountPixels(img, wxRect(focus.x, focus.y, focus.width, 1), wxsGetColor(color_3DLight), 30),
        0);
    const wxRect box = check->GetGeometry(size).box;
    EXPECT_PIXEL(img, box.x + box.width / 2, box.y + box.height / 2,
                 Hilight(wxsGetColor(color_ButtonFace)));
}

// ---- wxsRadioButton ----

TEST_F(ColorsControls, RadioGroupsFollowTheToolkitsConventions) {
    auto* a = Add<wxsRadioButton>(wxID_ANY, "A", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    auto* b = Add<wxsRadioButton>(wxID_ANY, "B");
    Add<wxsButton>(wxID_ANY, "not a radio button"); // skipped over, does not end the group
    auto* c = Add<wxsRadioButton>(wxID_ANY, "C");
    auto* d = Add<wxsRadioButton>(wxID_ANY, "D", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    auto* e = Add<wxsRadioButton>(wxID_ANY, "E");
    auto* single =
        Add<wxsRadioButton>(wxID_ANY, "S", wxDefaultPosition, wxDefaultSize, wxRB_SINGLE);
    EXPECT_EQ(c->GetGroup(), (std::vector<wxsRadioButton*>{a, b, c}));
    EXPECT_EQ(e->GetGroup(), (std::vector<wxsRadioButton*>{d, e}));
    EXPECT_EQ(single->GetGroup(), (std::vector<wxsRadioButton*>{single}));
    // The first of each group starts set.
    EXPECT_TRUE(a->GetValue());
    EXPECT_FALSE(b->GetValue());
    EXPECT_TRUE(d->GetValue());

    c->SetValue(true);
    EXPECT_FALSE(a->GetValue());
    EXPECT_TRUE(d->GetValue()); // another group
    EXPECT_TRUE(single->GetValue());

    // A click sets (never clears) and always reports.
    std::vector<wxObject*> from;
    m_Panel->Bind(wxEVT_RADIOBUTTON, [&](wxCommandEvent& ev) {
        EXPECT_EQ(ev.GetInt(), 1);
        from.push_back(ev.GetEventObject());
    });
    SendMouse(c, wxEVT_LEFT_UP);
    SendKey(c, wxEVT_KEY_UP, WXK_SPACE);
    EXPECT_TRUE(c->GetValue());
    SendMouse(b, wxEVT_LEFT_UP);
    EXPECT_TRUE(b->GetValue());
    EXPECT_FALSE(c->GetValue());
    EXPECT_EQ(from, (std::vector<wxObject*>{c, c, b}));

    // Arrow keys select the neighbour within the group, skipping disabled ones.
    a->Enable(false);
    SendKey(b, wxEVT_KEY_DOWN, WXK_DOWN);
    EXPECT_TRUE(c->GetValue());
    SendKey(c, wxEVT_KEY_DOWN, WXK_RIGHT); // the end of the group: stays
    EXPECT_TRUE(c->GetValue());
    SendKey(c, wxEVT_KEY_DOWN, WXK_UP);
    EXPECT_TRUE(b->GetValue());
    SendKey(b, wxEVT_KEY_DOWN, WXK_LEFT); // only a disabled one before it
    EXPECT_TRUE(b->GetValue());
    EXPECT_FALSE(a->GetValue());
    EXPECT_EQ(from.size(), 5u);
}

TEST_F(ColorsControls, RealKeyboardReachesTheFocusedButton) {
    auto* b = Add<wxsButton>(wxID_ANY, "Keys");
    auto* check = Add<wxsCheckBox>(wxID_ANY, "Space");
    LayOut();
    EventCounter clicks(b, wxEVT_BUTTON);
    wxUIActionSimulator sim;
    sim.MouseMove(b->GetScreenRect().GetPosition() +
                  wxPoint(3, 3)); // the pointer's window gets keys
    b->SetFocus();
    if (!WaitFor([&] { return b->HasFocus(); }, 2000))
        GTEST_SKIP() << "the display gives no keyboard focus";
    sim.Char(WXK_SPACE);
    EXPECT_TRUE(clicks.WaitEvent(1));
    sim.Char(WXK_RETURN);
    EXPECT_TRUE(clicks.WaitEvent(2));
    check->SetFocus();
    ASSERT_TRUE(WaitFor([&] { return check->HasFocus(); }));
    sim.Char(WXK_SPACE);
    EXPECT_TRUE(WaitFor([&] { return check->GetValue(); }));
    EXPECT_EQ(clicks.GetCount(), 2);
}
