// The palette and its five schemes, the colour arithmetic, "Colors.ini", colour management of
// windows, the drawing helpers and the palette renderer, drawn into memory DCs.
#include "tests/wxTaviro/ColorsTestUtil.h"

#include <ostrum/File.h>

using namespace taviro_test;
using namespace colors_test;

namespace {

// The 27 slots in table order: slot name (also the key in "Colors.ini") and the colour of each
// fixed scheme, as 0xRRGGBB: Light, Lighter, Dark, Darker.
const struct SlotRow {
    const char* name;
    unsigned rgb[4];
} k_Slots[] = {
    {"WindowBG", {0xB9B9B9, 0xE9E9E9, 0x484848, 0x202020}},
    {"WindowBGLighter", {0xD2D2D2, 0xFFFFFF, 0x5C5C5C, 0x3A3A3A}},
    {"WindowBGDarker", {0xA8A8A8, 0xD7D7D7, 0x383838, 0x0C0C0C}},
    {"Text", {0x343434, 0x0A0A0A, 0xEBEBEB, 0xCDCDCD}},
    {"TextRed", {0xEB1E13, 0xF5190C, 0xFF3C21, 0xEB2817}},
    {"TextOrange", {0xB86300, 0xBF5000, 0xFF8800, 0xEB9C00}},
    {"TextYellow", {0x615A10, 0xF2E313, 0xFFE100, 0xEBD200}},
    {"TextGreen", {0x007300, 0x00A500, 0x00FF00, 0x00EB00}},
    {"TextCyan", {0x00A6A6, 0x00A6A6, 0x00FFFF, 0x00EBEB}},
    {"TextBlue", {0x001FA6, 0x001FA6, 0x8499F5, 0x8296EB}},
    {"TextIndigo", {0x8800FF, 0x8800FF, 0x932EFF, 0x932EFF}},
    {"TextViolet", {0xE100CD, 0xE100CD, 0xFF00E6, 0xEB00E6}},
    {"TextDarkRed", {0xB9190A, 0xB9190A, 0xB9190A, 0xB9190A}},
    {"TextDarkOrange", {0x985200, 0x844400, 0xC87F2A, 0xC87F2A}},
    {"TextDarkYellow", {0xBEB437, 0xBEB437, 0xBEB437, 0xBEB437}},
    {"TextDarkGreen", {0x1FA600, 0x1FA600, 0x50BE37, 0x50BE37}},
    {"TextDarkCyan", {0x28B4B4, 0x28B4B4, 0x28B4B4, 0x28B4B4}},
    {"TextDarkBlue", {0x0000A5, 0x0000A5, 0x0000A5, 0x0000A5}},
    {"TextDarkIndigo", {0x6C3494, 0x6C3494, 0x7B5C9C, 0x7B5C9C}},
    {"TextDarkViolet", {0x911A74, 0x911A74, 0xD60987, 0xD60987}},
    {"TextGray", {0x555A69, 0x555A69, 0xA0AABE, 0xA0AABE}},
    {"3DLight", {0xA5A5A5, 0xCDCDCD, 0xA5A5A5, 0x919191}},
    {"3DDark", {0x454545, 0x373737, 0x454545, 0x313131}},
    {"ButtonFace", {0x9B9B9B, 0xC8C8C8, 0x6C6C6C, 0x4B4B4B}},
    {"ButtonText", {0x000000, 0x000000, 0xFFFFFF, 0xEBEBEB}},
    {"Selected", {0xDEA33E, 0xFAA923, 0xE6A330, 0xC78110}},
    {"Header", {0xA8A8A8, 0xD3D3D3, 0x737373, 0x373737}},
};

Path ColorsIni() {
    return Path(File::GetUserDir()) / "Colors.ini";
}

} // namespace

// ---- palette ----

TEST(ColorsPaletteFresh, TextIsUnsetBeforeAnySchemeIsApplied) {
    // Only a fresh process has an empty palette: run the check in a child of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(wxsGetColor(color_Text).IsOk()), ::testing::ExitedWithCode(0), "");
}

using ColorsPalette = ColorsFixture;

TEST_F(ColorsPalette, EverySlotOfEverySchemeHoldsItsTableColour) {
    wxsSetColor("ClientSlot", Rgb(7, 8, 9));
    // Scheme number and the column it shows: 5 (Custom) without a file, 0, 6 and negative
    // numbers all show Dark.
    const std::pair<int, int> schemes[] = {{1, 0}, {2, 1}, {3, 2}, {4, 3},
                                           {5, 2}, {0, 2}, {6, 2}, {-4, 2}};
    for (const auto& s : schemes) {
        for (const SlotRow& row : k_Slots)
            wxsSetColor(row.name, wxColour());
        g_Scheme = 42;
        SetColors(s.first);
        EXPECT_EQ(g_Scheme, 42); // SetColors leaves the number alone
        for (size_t i = 0; i < std::size(k_Slots); ++i) {
            EXPECT_EQ(*color_Slots[i], k_Slots[i].name);
            EXPECT_COLOUR(wxsGetColor(k_Slots[i].name), Hex(k_Slots[i].rgb[s.second]))
                << k_Slots[i].name << " in scheme " << s.first;
        }
    }
    EXPECT_COLOUR(wxsGetColor("ClientSlot"), Rgb(7, 8, 9)); // other slots are left alone
    EXPECT_FALSE(File::Exists(ColorsIni()));                // and nothing is written
}

TEST_F(ColorsPalette, ColourArithmeticClampsAndIsOpaque) {
    EXPECT_COLOUR(OffsetColor(Rgb(250, 10, 128), 10, -20, 0), Rgb(255, 0, 128));
    EXPECT_COLOUR(OffsetColor(wxColour(1, 2, 3, 40), 0, 0, 0), Rgb(1, 2, 3));
    EXPECT_COLOUR(OffsetColor(Rgb(200, 100, 50), Rgb(100, 100, 100)), Rgb(255, 200, 150));
    EXPECT_COLOUR(OffsetColor(wxColour(0, 0, 0, 0), wxColour(5, 6, 7, 0)), Rgb(5, 6, 7));
    EXPECT_COLOUR(Hilight(Rgb(240, 10, 230)), Rgb(255, 35, 255));
    EXPECT_COLOUR(Hilight(wxColour(0, 0, 0, 10)), Rgb(25, 25, 25));
    EXPECT_COLOUR(Disabled(Rgb(0, 0, 0)), Rgb(57, 57, 57)); // 57.6 truncates (light grey 192)
    EXPECT_COLOUR(Disabled(wxColour(255, 100, 10, 0)), Rgb(236, 127, 64));
}

// ---- colour schemes and "Colors.ini" ----

using ColorsScheme = ColorsFixture;

TEST_F(ColorsScheme, SchemeNumbersFromTheFile) {
    const struct {
        const char* text; // null: no file
        int before, after;
        unsigned buttonFace;
    } cases[] = {
        {nullptr, -1, 0, 0x6C6C6C},
        {"scheme=4\n", -1, 4, 0x4B4B4B},
        {"scheme=7\n", -1, 7, 0x6C6C6C},          // kept as it is, shown as Dark
        {"scheme=-1\n", -1, 0, 0x6C6C6C},         // "never loaded" is not a scheme
        {"[Other]\nscheme=1\n", -1, 0, 0x6C6C6C}, // only the unnamed section counts
        {"", 2, 2, 0xC8C8C8},                     // no key: the scheme in force stays
    };
    for (const auto& c : cases) {
        if (c.text) File::AtomicWrite(ColorsIni(), c.text);
        g_Scheme = c.before;
        Light();
        LoadColorScheme();
        EXPECT_EQ(g_Scheme, c.after) << (c.text ? c.text : "no file");
        EXPECT_COLOUR(wxsGetColor(color_ButtonFace), Hex(c.buttonFace)) << (c.text ? c.text : "");
        EXPECT_EQ(File::Exists(ColorsIni()), c.text != nullptr); // loading writes nothing
    }
}

TEST_F(ColorsScheme, CustomSchemeReadsEveryColourKeyOverDark) {
    // Each key gets a colour of its own; an empty value keeps Dark, one that is no colour
    // leaves the slot unset.
    String file = "scheme=5\nWindowBG = not a colour\nWindowBGLighter=\n";
    for (int i = 2; i < int(std::size(k_Slots)); ++i)
        file += String(k_Slots[i].name) + " = rgb(" + String::FromInt(i) + ", " +
                String::FromInt(2 * i) + ", " + String::FromInt(3 * i) + ")\n";
    File::AtomicWrite(ColorsIni(), file);
    Light();
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 5);
    EXPECT_FALSE(wxsGetColor(color_WindowBG).IsOk());
    EXPECT_COLOUR(wxsGetColor(color_WindowBGLighter), Rgb(92, 92, 92));
    for (int i = 2; i < int(std::size(k_Slots)); ++i)
        EXPECT_COLOUR(wxsGetColor(k_Slots[i].name), Rgb(i, 2 * i, 3 * i)) << k_Slots[i].name;
    SetColors(3); // colour keys mean nothing to the fixed schemes
    EXPECT_COLOUR(wxsGetColor(color_Header), Rgb(115, 115, 115));
}

TEST_F(ColorsScheme, SavingWritesTheNumberAndKeepsEverythingElse) {
    File::AtomicWrite(ColorsIni(), "; written by hand\nscheme=7\nSelected=#FF0000\nOwnKey=kept\n\n"
                                   "[Elsewhere]\nscheme=9\n");
    g_Scheme = -12;
    SaveColorScheme();
    const String text = File::ReadAll(ColorsIni());
    for (const char* kept : {"; written by hand", "Selected=#FF0000", "OwnKey=kept",
                             "[Elsewhere]\nscheme=9", "scheme=-12"})
        EXPECT_NE(text.find(kept), String::npos) << kept << " in\n" << text;
    EXPECT_EQ(text.find("scheme=7"), String::npos) << text;
}

TEST_F(ColorsScheme, NoUserFolderThrowsNothingAndStillFillsThePalette) {
    EnvVar home("HOME"), xdg("XDG_CONFIG_HOME");
    home.Unset();
    xdg.Unset();
    g_Scheme = 5; // Custom reads the file as well
    Light();
    EXPECT_EQ(CatchException(LoadColorScheme), nullptr);
    EXPECT_EQ(CatchException(SaveColorScheme), nullptr);
    EXPECT_EQ(g_Scheme, 5);
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(72, 72, 72));
}

// ---- wxsColorManaged ----

TEST_F(ColorsFixture, ManagedWindowsInheritRolesAndFollowColourChanges) {
    auto* outer = new wxsPanel(TopWindow());
    outer->SetBackgroundSlot(color_Header, -10);
    outer->SetDisabledForegroundSlot(color_TextRed, 3);
    outer->RefreshColors();
    EXPECT_COLOUR(outer->GetBackgroundColour(), Rgb(105, 105, 105));
    auto* text = new wxsStaticText(new wxsPanel(outer), wxID_ANY, "label");
    EXPECT_EQ(text->GetDisabledForegroundSlot(), color_TextRed);
    EXPECT_EQ(text->GetDisabledForegroundOffset(), 3);
    EXPECT_COLOUR(text->GetBackgroundColour(), Rgb(105, 105, 105));
    // A plain window in between breaks the inheritance: its child gets the defaults, and
    // passes a colour change on.
    auto* deep = new wxsPanel(new wxPanel(outer));
    auto* off = new wxsPanel(deep);
    EXPECT_COLOUR(deep->GetForegroundColour(), Rgb(235, 235, 235));
    EXPECT_COLOUR(deep->GetBackgroundColour(), Rgb(72, 72, 72));
    off->Enable(false); // enabling alone does not recolour; the next change does
    EXPECT_COLOUR(off->GetBackgroundColour(), Rgb(72, 72, 72));
    off->RefreshColors();
    EXPECT_COLOUR(off->GetForegroundColour(), Rgb(160, 170, 190)); // "TextGray"
    EXPECT_COLOUR(off->GetBackgroundColour(), Rgb(142, 142, 142)); // 92 + 50
    Lighter();
    wxSysColourChangedEvent event;
    event.SetEventObject(TopWindow());
    TopWindow()->GetEventHandler()->ProcessEvent(event);
    EXPECT_COLOUR(off->GetBackgroundColour(), Rgb(255, 255, 255)); // clamped
    EXPECT_COLOUR(outer->GetBackgroundColour(), Rgb(201, 201, 201));
    EXPECT_COLOUR(deep->GetForegroundColour(), Rgb(10, 10, 10));
}

// ---- drawing helpers ----

using ColorsDrawing = ColorsFixture;

namespace {
const wxColour k_Second = Rgb(200, 100, 50);
// Draws into a dc with a pen and a brush of its own, which must be the dc's again after.
template <class Draw>
wxImage Drawn(int w, int h, Draw draw, const wxColour& background = *wxWHITE) {
    return RenderToImage(
        w, h,
        [&](wxDC& dc) {
            const wxPen pen(Rgb(1, 2, 3), 3);
            dc.SetPen(pen);
            dc.SetBrush(*wxCYAN_BRUSH);
            draw(dc);
            EXPECT_TRUE(dc.GetPen() == pen && dc.GetBrush() == *wxCYAN_BRUSH);
        },
        background);
}
wxImage Graded(int height, float power, bool bottom, bool top) {
    return Drawn(12, 14, [&](wxDC& dc) {
        DrawGradedRectangle(dc, wxRect(1, 2, 10, height), *wxBLACK, k_Second, power, bottom, top);
    });
}
wxColour Step(float t) { // the colour of a step with weight t on `second`
    return Rgb(int(200 * t), int(100 * t), int(50 * t));
}
} // namespace

TEST_F(ColorsDrawing, GradedRectangleStepsShrinkFromTheGradedEdge) {
    // Height 10: five rectangles of heights 10..6 from the same top (bottom graded), so each
    // row shows the last step that still reached it; power 2 narrows the edge band.
    const float bottom[10] = {.2f, .2f, .2f, .2f, .2f, .2f, .4f, .6f, .8f, 1.f};
    const float both[10] = {1.f, .8f, .6f, .4f, .2f, .2f, .4f, .6f, .8f, 1.f};
    const wxImage b = Graded(10, 1.0f, true, false), t = Graded(10, 1.0f, false, true),
                  bt = Graded(10, 1.0f, true, true), p = Graded(10, 2.0f, true, false);
    for (int row = 0; row < 10; ++row) {
        EXPECT_TRUE(RegionNear(b, wxRect(1, 2 + row, 10, 1), Step(bottom[row]))) << row;
        EXPECT_PIXEL(t, 5, 2 + row, Step(bottom[9 - row])) << row; // mirrored
        EXPECT_PIXEL(bt, 5, 2 + row, Step(both[row])) << row;
        EXPECT_PIXEL(p, 5, 2 + row, Step(bottom[row] * bottom[row])) << row;
    }
    const wxRect all(0, 0, 12, 14);
    EXPECT_EQ(CountPixels(b, all, *wxWHITE), 12 * 14 - 10 * 10);
    // No flag: flat in `first`, whatever the height; height 1 with a flag: nothing.
    for (int h : {1, 10})
        EXPECT_EQ(CountPixels(Graded(h, 3.0f, false, false), all, *wxBLACK), 10 * h) << h;
    EXPECT_EQ(CountPixels(Graded(1, 1.0f, true, false), all, *wxWHITE), 12 * 14);
}

// ---- the renderer (Dark scheme) ----

namespace {
const wxColour k_Paper = Rgb(0, 128, 0); // a background no control colour comes near

template <class Draw>
wxImage Rendered(int w, int h, Draw draw) {
    wxsRenderer renderer;
    return Drawn(
        w, h, [&](wxDC& dc) { draw(renderer, dc); }, k_Paper);
}
} // namespace

TEST_F(ColorsDrawing, CheckBoxBevelInEveryState) {
    // Drawn at (0, 0, 13, 13), colours: border ring, outer bevel upper-left (its top row runs
    // to the right end) over the lower-right fill, inner bevel (each edge mixed half and half
    // with the face), face.
    const struct {
        int flags;
        unsigned rgb[6];
    } cases[] = {
        {0, {0x383838, 0xA5A5A5, 0x454545, 0x888888, 0x585858, 0x6C6C6C}},
        {wxCONTROL_CHECKED, {0x383838, 0x454545, 0xA5A5A5, 0x95743A, 0xC5A46A, 0xE6A330}},
        {wxCONTROL_FOCUSED, {0x515151, 0xBEBEBE, 0x5E5E5E, 0xA1A1A1, 0x717171, 0x858585}},
        {wxCONTROL_CURRENT | wxCONTROL_CHECKED,
         {0x515151, 0x5E5E5E, 0xBEBEBE, 0xAE8D53, 0xDEBD83, 0xFFBC49}},
        {wxCONTROL_DISABLED | wxCONTROL_FOCUSED | wxCONTROL_CHECKED, // disabled wins
         {0x606060, 0x696969, 0xADADAD, 0xA18A62, 0xC3AC84, 0xDAAB5B}},
    };
    const int probes[][3] = {{0, 0, 0},  {12, 6, 0}, {1, 6, 1}, {11, 1, 1},
                             {6, 11, 2}, {6, 2, 3},  {10, 6, 4}}; // x, y, colour
    for (const auto& c : cases) {
        const wxImage img = Rendered(16, 16, [&](wxsRenderer& r, wxDC& dc) {
            r.DrawCheckBox(TopWindow(), dc, wxRect(0, 0, 13, 13), c.flags);
        });
        for (const auto& p : probes)
            EXPECT_PIXEL(img, p[0], p[1], Hex(c.rgb[p[2]])) << "flags " << c.flags;
        EXPECT_TRUE(RegionNear(img, wxRect(3, 3, 7, 7), Hex(c.rgb[5]))) << c.flags;
        EXPECT_PIXEL(img, 13, 13, k_Paper);
    }
}

TEST_F(ColorsDrawing, RadioButtonDiscsInEveryState) {
    // A big button, so that the one-pixel rings can be probed on the axes: 180 and 90 degrees
    // lie in the light upper-left half, 0 and 270 in the shade. Rings from the rim inwards:
    // outer, light/shade, both mixed 0.33 towards the face, both mixed 0.67, the face.
    const struct {
        int flags;
        unsigned rgb[8]; // outer, light, shade, light2, shade2, light3, shade3, face
    } cases[] = {
        {0, {0x383838, 0xA5A5A5, 0x454545, 0x929292, 0x515151, 0x7E7E7E, 0x5F5F5F, 0x6C6C6C}},
        {wxCONTROL_CHECKED,
         {0x383838, 0x454545, 0xA5A5A5, 0x7A643E, 0xBAA47E, 0xB08336, 0xD0A356, 0xE6A330}},
        {wxCONTROL_FOCUSED,
         {0x484848, 0xBEBEBE, 0x5E5E5E, 0xA2A2A2, 0x626262, 0x878787, 0x676767, 0x6C6C6C}},
        {wxCONTROL_CURRENT,
         {0x515151, 0xA5A5A5, 0x454545, 0x9A9A9A, 0x5A5A5A, 0x8F8F8F, 0x6F6F6F, 0x858585}},
        {wxCONTROL_DISABLED | wxCONTROL_FOCUSED, // both, disabled first
         {0x484848, 0xC6C6C6, 0x828282, 0xB0B0B0, 0x828282, 0x9A9A9A, 0x848484, 0x858585}},
    };
    const wxPoint probes[] = {{0, 21}, {21, 1}, {40, 21}, {2, 21}, {39, 21}, {3, 21}, {21, 38}};
    for (const auto& c : cases) {
        const wxImage img = Rendered(44, 44, [&](wxsRenderer& r, wxDC& dc) {
            r.DrawRadioBitmap(TopWindow(), dc, wxRect(0, 0, 41, 41), c.flags);
        });
        for (int i = 0; i < 7; ++i) // the rims are anti-aliased
            EXPECT_TRUE(PixelNear(img, probes[i].x, probes[i].y, Hex(c.rgb[i]), 6)) << c.flags;
        EXPECT_TRUE(RegionNear(img, wxRect(10, 10, 22, 22), Hex(c.rgb[7]))) << c.flags;
        EXPECT_PIXEL(img, 1, 1, k_Paper); // outside the disc
    }
}

TEST_F(ColorsDrawing, DropArrowSplitterSashAndBorder) {
    // Rectangle (0, 0, 40, 24) shrinks to (2, 6, 36, 12): the triangle (29, 6), (37, 6),
    // (33, 17) points down at the right end, in "ButtonText" over the "ButtonFace" button.
    const wxColour text = Rgb(255, 255, 255), face = Rgb(108, 108, 108);
    for (bool button : {false, true}) {
        const wxImage img = Rendered(44, 26, [&](wxsRenderer& r, wxDC& dc) {
            (r.*(button ? &wxsRenderer::DrawComboBoxDropButton : &wxsRenderer::DrawDropArrow))(
                TopWindow(), dc, wxRect(0, 0, 40, 24), 0);
        });
        const wxColour around = button ? face : k_Paper;
        EXPECT_TRUE(RegionNear(img, wxRect(31, 7, 5, 3), text)) << button;
        EXPECT_PIXEL(img, 33, 14, text);
        EXPECT_PIXEL(img, 33, 20, around); // below the tip
        EXPECT_PIXEL(img, 33, 3, around);  // above the top edge
        EXPECT_TRUE(RegionNear(img, wxRect(0, 0, 27, 24), around));
        EXPECT_PIXEL(img, 41, 24, k_Paper);
    }
    // The sash fills the size given, the border draws nothing.
    const wxImage sash = Rendered(50, 40, [&](wxsRenderer& r, wxDC& dc) {
        r.DrawSplitterBorder(TopWindow(), dc, wxRect(0, 0, 50, 40), 0);
        r.DrawSplitterSash(TopWindow(), dc, wxSize(45, 33), 20, wxVERTICAL, 0);
    });
    EXPECT_TRUE(RegionNear(sash, wxRect(0, 0, 45, 33), face));
    EXPECT_PIXEL(sash, 45, 10, k_Paper);
    EXPECT_PIXEL(sash, 10, 33, k_Paper);
    wxsRenderer renderer;
    const wxSplitterRenderParams params = renderer.GetSplitterParams(TopWindow());
    EXPECT_TRUE(params.widthSash == 5 && params.border == 0 && params.isHotSensitive);
    EXPECT_TRUE(wxRendererVersion::IsCompatible(renderer.GetVersion()));
}
