// The palette and its five schemes, the colour arithmetic, "Colors.ini", colour management of
// windows, the drawing helpers and the palette renderer, drawn into memory DCs.
#include "tests/wxTaviro/ColorsTestUtil.h"

#include <ostrum/IniFile.h>

#include <wx/splitter.h>

using namespace taviro_test;
using namespace colors_test;

namespace {

// The 27 slots: constant, slot name (also the key in "Colors.ini") and the colour of each
// fixed scheme, as 0xRRGGBB: Light, Lighter, Dark, Darker.
const struct SlotRow {
    const String* constant;
    const char* name;
    unsigned rgb[4];
} k_Slots[] = {
    {&color_WindowBG, "WindowBG", {0xB9B9B9, 0xE9E9E9, 0x484848, 0x202020}},
    {&color_WindowBGLighter, "WindowBGLighter", {0xD2D2D2, 0xFFFFFF, 0x5C5C5C, 0x3A3A3A}},
    {&color_WindowBGDarker, "WindowBGDarker", {0xA8A8A8, 0xD7D7D7, 0x383838, 0x0C0C0C}},
    {&color_Text, "Text", {0x343434, 0x0A0A0A, 0xEBEBEB, 0xCDCDCD}},
    {&color_TextRed, "TextRed", {0xEB1E13, 0xF5190C, 0xFF3C21, 0xEB2817}},
    {&color_TextOrange, "TextOrange", {0xB86300, 0xBF5000, 0xFF8800, 0xEB9C00}},
    {&color_TextYellow, "TextYellow", {0x615A10, 0xF2E313, 0xFFE100, 0xEBD200}},
    {&color_TextGreen, "TextGreen", {0x007300, 0x00A500, 0x00FF00, 0x00EB00}},
    {&color_TextCyan, "TextCyan", {0x00A6A6, 0x00A6A6, 0x00FFFF, 0x00EBEB}},
    {&color_TextBlue, "TextBlue", {0x001FA6, 0x001FA6, 0x8499F5, 0x8296EB}},
    {&color_TextIndigo, "TextIndigo", {0x8800FF, 0x8800FF, 0x932EFF, 0x932EFF}},
    {&color_TextViolet, "TextViolet", {0xE100CD, 0xE100CD, 0xFF00E6, 0xEB00E6}},
    {&color_TextDarkRed, "TextDarkRed", {0xB9190A, 0xB9190A, 0xB9190A, 0xB9190A}},
    {&color_TextDarkOrange, "TextDarkOrange", {0x985200, 0x844400, 0xC87F2A, 0xC87F2A}},
    {&color_TextDarkYellow, "TextDarkYellow", {0xBEB437, 0xBEB437, 0xBEB437, 0xBEB437}},
    {&color_TextDarkGreen, "TextDarkGreen", {0x1FA600, 0x1FA600, 0x50BE37, 0x50BE37}},
    {&color_TextDarkCyan, "TextDarkCyan", {0x28B4B4, 0x28B4B4, 0x28B4B4, 0x28B4B4}},
    {&color_TextDarkBlue, "TextDarkBlue", {0x0000A5, 0x0000A5, 0x0000A5, 0x0000A5}},
    {&color_TextDarkIndigo, "TextDarkIndigo", {0x6C3494, 0x6C3494, 0x7B5C9C, 0x7B5C9C}},
    {&color_TextDarkViolet, "TextDarkViolet", {0x911A74, 0x911A74, 0xD60987, 0xD60987}},
    {&color_TextGrey, "TextGray", {0x555A69, 0x555A69, 0xA0AABE, 0xA0AABE}},
    {&color_3DLight, "3DLight", {0xA5A5A5, 0xCDCDCD, 0xA5A5A5, 0x919191}},
    {&color_3DDark, "3DDark", {0x454545, 0x373737, 0x454545, 0x313131}},
    {&color_ButtonFace, "ButtonFace", {0x9B9B9B, 0xC8C8C8, 0x6C6C6C, 0x4B4B4B}},
    {&color_ButtonText, "ButtonText", {0x000000, 0x000000, 0xFFFFFF, 0xEBEBEB}},
    {&color_Selected, "Selected", {0xDEA33E, 0xFAA923, 0xE6A330, 0xC78110}},
    {&color_Header, "Header", {0xA8A8A8, 0xD3D3D3, 0x737373, 0x373737}},
};

} // namespace

// ---- palette ----

TEST(ColorsPaletteFresh, TextIsUnsetBeforeAnySchemeIsApplied) {
    // Only a fresh process has an empty palette: run the check in a child of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT({ std::_Exit(wxsGetColor(color_Text).IsOk() ? 1 : 0); },
                ::testing::ExitedWithCode(0), "");
}

using ColorsPalette = ColorsFixture;

TEST_F(ColorsPalette, EverySlotOfEverySchemeHoldsItsTableColour) {
    wxsSetColor("ClientSlot", Rgb(7, 8, 9));
    // Scheme number and the column it shows: Custom without a file, 0, 6 and negative numbers
    // all show Dark.
    const std::pair<int, int> schemes[] = {{1, 0}, {2, 1}, {3, 2}, {4, 3},
                                           {5, 2}, {0, 2}, {6, 2}, {-4, 2}};
    for (const auto& s : schemes) {
        for (const SlotRow& row : k_Slots)
            wxsSetColor(row.name, wxColour());
        g_Scheme = 42;
        SetColors(s.first);
        EXPECT_EQ(g_Scheme, 42); // SetColors leaves the number alone
        for (const SlotRow& row : k_Slots) {
            EXPECT_EQ(*row.constant, row.name);
            EXPECT_COLOUR(wxsGetColor(row.name), Hex(row.rgb[s.second]))
                << row.name << " in scheme " << s.first;
        }
    }
    EXPECT_COLOUR(wxsGetColor("ClientSlot"), Rgb(7, 8, 9)); // other slots are left alone
    EXPECT_FALSE(File::Exists(ColorsIni()));                // and nothing is written
}

TEST_F(ColorsPalette, UnknownNamesAreStoredUnsetAndNamesAreCaseSensitive) {
    // The palette outlives the test (and repeats of it): use names never used before.
    static int s_Run = 0;
    const String unknown = "NoSuchSlot" + String::FromInt(++s_Run);
    EXPECT_FALSE(wxsGetColor(unknown).IsOk());
    wxsSetColor(unknown, Rgb(1, 2, 3));
    EXPECT_COLOUR(wxsGetColor(unknown), Rgb(1, 2, 3));
    wxsSetColor("Text" + String::FromInt(s_Run), Rgb(9, 9, 9));
    EXPECT_FALSE(wxsGetColor("text" + String::FromInt(s_Run)).IsOk());
    wxsSetColor(color_Header, wxColour()); // an invalid colour is stored as it is
    EXPECT_FALSE(wxsGetColor(color_Header).IsOk());
}

TEST_F(ColorsPalette, ColourArithmeticClampsAndIsOpaque) {
    EXPECT_COLOUR(OffsetColor(Rgb(250, 10, 128), 10, -20, 0), Rgb(255, 0, 128));
    EXPECT_COLOUR(OffsetColor(wxColour(1, 2, 3, 40), 0, 0, 0), Rgb(1, 2, 3));
    EXPECT_COLOUR(OffsetColor(Rgb(200, 100, 50), Rgb(100, 100, 100)), Rgb(255, 200, 150));
    EXPECT_COLOUR(OffsetColor(wxColour(0, 0, 0, 0), wxColour(5, 6, 7, 0)), Rgb(5, 6, 7));
    EXPECT_COLOUR(Hilight(Rgb(240, 10, 230)), Rgb(255, 35, 255));
    EXPECT_COLOUR(Hilight(wxColour(0, 0, 0, 10)), Rgb(25, 25, 25));
    ASSERT_EQ(*wxLIGHT_GREY, Rgb(192, 192, 192));           // the toolkit's stock light grey
    EXPECT_COLOUR(Disabled(Rgb(0, 0, 0)), Rgb(57, 57, 57)); // 57.6 truncates
    EXPECT_COLOUR(Disabled(wxColour(255, 100, 10, 0)), Rgb(236, 127, 64));
}

// ---- colour schemes and "Colors.ini" ----

using ColorsScheme = ColorsFixture;

TEST_F(ColorsScheme, SchemeNumbersFromTheFile) {
    const struct {
        const char* text; // null: no file
        int scheme;
        wxColour buttonFace;
    } cases[] = {
        {nullptr, 0, Rgb(108, 108, 108)},
        {"scheme=1\n", 1, Rgb(155, 155, 155)},
        {"scheme = 2\n", 2, Rgb(200, 200, 200)},
        {"scheme=4\n", 4, Rgb(75, 75, 75)},
        {"scheme=7\n", 7, Rgb(108, 108, 108)},
        {"scheme=-3\n", -3, Rgb(108, 108, 108)},
        {"scheme=-1\n", 0, Rgb(108, 108, 108)},         // "never loaded" is not a scheme
        {"[Other]\nscheme=1\n", 0, Rgb(108, 108, 108)}, // only the unnamed section counts
        {"scheme=abc\n", 0, Rgb(108, 108, 108)},
    };
    for (const auto& c : cases) {
        if (c.text) WriteColorsIni(c.text);
        g_Scheme = -1;
        Light();
        LoadColorScheme();
        EXPECT_EQ(g_Scheme, c.scheme) << (c.text ? c.text : "no file");
        EXPECT_COLOUR(wxsGetColor(color_ButtonFace), c.buttonFace) << (c.text ? c.text : "");
        EXPECT_EQ(File::Exists(ColorsIni()), c.text != nullptr); // loading writes nothing
    }
    // A later load keeps the scheme in force when the file says nothing.
    WriteColorsIni("");
    g_Scheme = 2;
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 2);
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(233, 233, 233));
}

TEST_F(ColorsScheme, CustomSchemeReadsEveryColourKeyOverDark) {
    // Each key of the file gets a colour of its own, in a form wxColour reads.
    String file = "scheme=5\n";
    int i = 0;
    for (const SlotRow& row : k_Slots) {
        ++i;
        file += String(row.name) + " = rgb(" + String::FromInt(i) + ", " + String::FromInt(2 * i) +
                ", " + String::FromInt(3 * i) + ")\n";
    }
    WriteColorsIni(file);
    Light();
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 5);
    i = 0;
    for (const SlotRow& row : k_Slots) {
        ++i;
        EXPECT_COLOUR(wxsGetColor(row.name), Rgb(i, 2 * i, 3 * i)) << row.name;
    }

    // Other text forms; the key is the slot name ("TextGray", not "TextGrey"); an empty value
    // keeps Dark, one that is no colour leaves the slot unset; keys absent keep Dark.
    WriteColorsIni("scheme=5\nHeader=blue\nTextGray=#0a0b0c\nTextGrey=#FFFFFF\nButtonFace=\n"
                   "WindowBG = not a colour\n");
    LoadColorScheme();
    EXPECT_COLOUR(wxsGetColor(color_Header), Rgb(0, 0, 255));
    EXPECT_COLOUR(wxsGetColor(color_TextGrey), Rgb(10, 11, 12));
    EXPECT_COLOUR(wxsGetColor(color_ButtonFace), Rgb(108, 108, 108));
    EXPECT_FALSE(wxsGetColor(color_WindowBG).IsOk());
    EXPECT_COLOUR(wxsGetColor(color_Selected), Rgb(230, 163, 48));

    // Colour keys mean nothing to the fixed schemes.
    WriteColorsIni("scheme=3\nSelected=#FF0000\n");
    LoadColorScheme();
    EXPECT_COLOUR(wxsGetColor(color_Selected), Rgb(230, 163, 48));
}

TEST_F(ColorsScheme, SavingWritesTheNumberAndKeepsEverythingElse) {
    WriteColorsIni("; written by hand\nscheme=7\nSelected=#FF0000\nOwnKey=kept\n\n"
                   "[Elsewhere]\nscheme=9\nthing = 1\n");
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 7);
    SaveColorScheme(); // an unknown number goes back as it was
    IniFile file(ColorsIni());
    file.Load(true, true);
    EXPECT_EQ(file.GetValue("", "scheme", 0), 7);
    g_Scheme = -12;
    SaveColorScheme();
    const String text = ReadColorsIni();
    for (const char* kept : {"; written by hand", "Selected=#FF0000", "OwnKey=kept", "[Elsewhere]",
                             "thing = 1", "scheme=-12"})
        EXPECT_NE(text.find(kept), String::npos) << kept << " in\n" << text;
    file.Load(true, true);
    EXPECT_EQ(file.GetValue("Elsewhere", "scheme", 0), 9);
    EXPECT_EQ(file.GetKeys("").size(), 3u); // the library never writes colour keys
}

TEST_F(ColorsScheme, NoUserFolderOrNoFileToReadStillFillsThePaletteAndThrowsNothing) {
    const String home = getenv("HOME"), xdg = getenv("XDG_CONFIG_HOME");
    unsetenv("HOME");
    unsetenv("XDG_CONFIG_HOME");
    Light();
    const bool loaded = !CatchException([] { LoadColorScheme(); });
    const bool saved = !CatchException([] { SaveColorScheme(); });
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", xdg.c_str(), 1);
    EXPECT_TRUE(loaded && saved);
    EXPECT_EQ(g_Scheme, 0);
    EXPECT_COLOUR(wxsGetColor(color_ButtonFace), Rgb(108, 108, 108));
    // "Colors.ini" is a folder: nothing can be read or written, nothing escapes.
    File::CreateDirectories(ColorsIni());
    g_Scheme = 5;
    Light();
    EXPECT_EQ(CatchException([] { LoadColorScheme(); }), nullptr);
    EXPECT_EQ(CatchException([] { SaveColorScheme(); }), nullptr);
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(72, 72, 72));
}

// ---- wxsColorManaged ----

using ColorsManaged = ColorsFixture;

TEST_F(ColorsManaged, ControlsInheritTheirContainersRoles) {
    auto* outer = new wxsPanel(TopWindow());
    outer->SetBackgroundSlot(color_Header, -10);
    outer->SetDisabledForegroundSlot(color_TextRed, 3);
    outer->RefreshColors();
    EXPECT_COLOUR(outer->GetBackgroundColour(), Rgb(105, 105, 105));
    auto* inner = new wxsPanel(outer);
    auto* text = new wxsStaticText(inner, wxID_ANY, "label");
    for (wxsColorManaged* m : std::initializer_list<wxsColorManaged*>{inner, text}) {
        EXPECT_EQ(m->GetDisabledForegroundSlot(), color_TextRed);
        EXPECT_EQ(m->GetDisabledForegroundOffset(), 3);
        EXPECT_COLOUR(m->GetManagedWindow()->GetBackgroundColour(), Rgb(105, 105, 105));
    }
    // A plain window in between breaks the inheritance: its child gets the defaults.
    auto* orphan = new wxsPanel(new wxPanel(outer));
    EXPECT_COLOUR(orphan->GetBackgroundColour(), Rgb(72, 72, 72));
}

TEST_F(ColorsManaged, DisabledRolesAndColourChangesReachEveryManagedChild) {
    auto* root = new wxsPanel(TopWindow());
    auto* nested = new wxsPanel(root);
    auto* deep = new wxsPanel(new wxPanel(nested)); // unmanaged windows pass the event on
    auto* button = new wxsButton(nested, wxID_ANY, "Button");
    auto* off = new wxsPanel(root);
    EXPECT_COLOUR(deep->GetForegroundColour(), Rgb(235, 235, 235));
    EXPECT_COLOUR(deep->GetBackgroundColour(), Rgb(72, 72, 72));
    nested->SetBackgroundSlot(color_Header, 5);
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
    EXPECT_COLOUR(root->GetBackgroundColour(), Rgb(233, 233, 233));
    EXPECT_COLOUR(nested->GetBackgroundColour(), Rgb(216, 216, 216)); // Header + 5
    EXPECT_COLOUR(deep->GetForegroundColour(), Rgb(10, 10, 10));
    EXPECT_COLOUR(button->GetBackgroundColour(), Rgb(200, 200, 200)); // its own role
}

// ---- drawing helpers ----

using ColorsDrawing = ColorsFixture;

namespace {
const wxColour k_First = Rgb(0, 0, 0), k_Second = Rgb(200, 100, 50);
wxImage Graded(int height, float power, bool bottom, bool top) {
    return RenderToImage(12, 14, [&](wxDC& dc) {
        DrawGradedRectangle(dc, wxRect(1, 2, 10, height), k_First, k_Second, power, bottom, top);
    });
}
wxColour Step(float t) { // the colour of a step with weight t on `second`
    return Rgb(int(200 * t), int(100 * t), int(50 * t));
}
} // namespace

TEST_F(ColorsDrawing, GradedRectangleStepsShrinkFromTheGradedEdge) {
    // Height 10: five rectangles of heights 10..6 from the same top (bottom graded), so each
    // row shows the last step that still reached it.
    const float bottom[10] = {.2f, .2f, .2f, .2f, .2f, .2f, .4f, .6f, .8f, 1.f};
    const float both[10] = {1.f, .8f, .6f, .4f, .2f, .2f, .4f, .6f, .8f, 1.f};
    const wxImage b = Graded(10, 1.0f, true, false), t = Graded(10, 1.0f, false, true),
                  bt = Graded(10, 1.0f, true, true);
    for (int row = 0; row < 10; ++row) {
        EXPECT_TRUE(RegionNear(b, wxRect(1, 2 + row, 10, 1), Step(bottom[row]))) << row;
        EXPECT_PIXEL(t, 5, 2 + row, Step(bottom[9 - row])) << row; // mirrored
        EXPECT_PIXEL(bt, 5, 2 + row, Step(both[row])) << row;
    }
    EXPECT_EQ(CountPixels(b, wxRect(0, 0, 12, 14), *wxWHITE), 12 * 14 - 10 * 10);

    // power 2: the edge band narrows (0.8^2 = 0.64 next to the edge, 0.2^2 inside).
    const wxImage p = Graded(10, 2.0f, true, false);
    EXPECT_PIXEL(p, 5, 10, Step(.64f));
    EXPECT_PIXEL(p, 5, 3, Step(.04f));
    // No flag: flat in `first`, whatever the height; height 1 with a flag: nothing.
    for (int h : {1, 10}) {
        EXPECT_TRUE(RegionNear(Graded(h, 3.0f, false, false), wxRect(1, 2, 10, h), k_First)) << h;
        EXPECT_PIXEL(Graded(h, 3.0f, false, false), 5, 2 + h, *wxWHITE) << h;
    }
    EXPECT_EQ(CountPixels(Graded(1, 1.0f, true, false), wxRect(0, 0, 12, 14), *wxWHITE), 12 * 14);
}

TEST_F(ColorsDrawing, TheDrawingHelpersKeepTheDcsPenAndBrush) {
    RenderToImage(20, 20, [](wxDC& dc) {
        dc.SetPen(wxPen(Rgb(1, 2, 3), 3));
        dc.SetBrush(wxBrush(Rgb(4, 5, 6)));
        DrawGradedRectangle(dc, wxRect(0, 0, 10, 10), k_First, k_Second, 1.5f, true, true);
        wxsRenderer renderer;
        renderer.DrawCheckBox(nullptr, dc, wxRect(0, 0, 13, 13), wxCONTROL_CHECKED);
        renderer.DrawRadioBitmap(nullptr, dc, wxRect(0, 0, 13, 13), 0);
        renderer.DrawComboBoxDropButton(nullptr, dc, wxRect(0, 0, 20, 20), 0);
        renderer.DrawSplitterSash(nullptr, dc, wxSize(5, 5), 0, wxVERTICAL, 0);
        EXPECT_COLOUR(dc.GetPen().GetColour(), Rgb(1, 2, 3));
        EXPECT_EQ(dc.GetPen().GetWidth(), 3);
        EXPECT_COLOUR(dc.GetBrush().GetColour(), Rgb(4, 5, 6));
    });
}

// ---- the renderer (Dark scheme) ----

namespace {
// A background no control colour comes near.
const wxColour k_Paper = Rgb(0, 128, 0);

template <class Draw>
wxImage Rendered(int w, int h, Draw draw) {
    wxsRenderer renderer;
    return RenderToImage(
        w, h, [&](wxDC& dc) { draw(renderer, dc); }, k_Paper);
}
} // namespace

TEST_F(ColorsDrawing, CheckBoxBevelInEveryState) {
    // Drawn at (0, 0, 13, 13): border ring, outer bevel (upper-left edges over the lower-right
    // fill), inner bevel (each edge mixed half and half with the face), then the face.
    const struct {
        int flags;
        unsigned border, upperLeft, lowerRight, innerUL, innerLR, face;
    } cases[] = {
        {0, 0x383838, 0xA5A5A5, 0x454545, 0x888888, 0x585858, 0x6C6C6C},
        {wxCONTROL_CHECKED, 0x383838, 0x454545, 0xA5A5A5, 0x95743A, 0xC5A46A, 0xE6A330},
        {wxCONTROL_FOCUSED, 0x515151, 0xBEBEBE, 0x5E5E5E, 0xA1A1A1, 0x717171, 0x858585},
        {wxCONTROL_CURRENT | wxCONTROL_CHECKED, 0x515151, 0x5E5E5E, 0xBEBEBE, 0xAE8D53, 0xDEBD83,
         0xFFBC49},
        {wxCONTROL_DISABLED | wxCONTROL_FOCUSED | wxCONTROL_CHECKED, 0x606060, 0x696969, 0xADADAD,
         0xA18A62, 0xC3AC84, 0xDAAB5B}, // disabled wins
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "flags " << c.flags);
        const wxImage img = Rendered(16, 16, [&](wxsRenderer& r, wxDC& dc) {
            r.DrawCheckBox(TopWindow(), dc, wxRect(0, 0, 13, 13), c.flags);
        });
        EXPECT_PIXEL(img, 0, 0, Hex(c.border));
        EXPECT_PIXEL(img, 12, 6, Hex(c.border));
        EXPECT_PIXEL(img, 1, 6, Hex(c.upperLeft));
        EXPECT_PIXEL(img, 11, 1, Hex(c.upperLeft)); // the top row runs to the right end
        EXPECT_PIXEL(img, 6, 11, Hex(c.lowerRight));
        EXPECT_PIXEL(img, 6, 2, Hex(c.innerUL));
        EXPECT_PIXEL(img, 10, 6, Hex(c.innerLR));
        EXPECT_TRUE(RegionNear(img, wxRect(3, 3, 7, 7), Hex(c.face)));
        EXPECT_PIXEL(img, 13, 13, k_Paper);
    }
}

TEST_F(ColorsDrawing, RadioButtonDiscsInEveryState) {
    // A big button, so that the one-pixel rings can be probed on the axes: 180 and 90 degrees
    // lie in the light upper-left half, 0 and 270 in the shade. Rings from the rim inwards:
    // outer, light/shade, both mixed 0.33 towards the face, both mixed 0.67, the face.
    const struct {
        int flags;
        unsigned outer, light, shade, light2, shade2, light3, shade3, face;
    } cases[] = {
        {0, 0x383838, 0xA5A5A5, 0x454545, 0x929292, 0x515151, 0x7E7E7E, 0x5F5F5F, 0x6C6C6C},
        {wxCONTROL_CHECKED, 0x383838, 0x454545, 0xA5A5A5, 0x7A643E, 0xBAA47E, 0xB08336, 0xD0A356,
         0xE6A330},
        {wxCONTROL_FOCUSED, 0x484848, 0xBEBEBE, 0x5E5E5E, 0xA2A2A2, 0x626262, 0x878787, 0x676767,
         0x6C6C6C},
        {wxCONTROL_CURRENT, 0x515151, 0xA5A5A5, 0x454545, 0x9A9A9A, 0x5A5A5A, 0x8F8F8F, 0x6F6F6F,
         0x858585},
        {wxCONTROL_DISABLED | wxCONTROL_FOCUSED, 0x484848, 0xC6C6C6, 0x828282, 0xB0B0B0, 0x828282,
         0x9A9A9A, 0x848484, 0x858585}, // both, disabled first
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "flags " << c.flags);
        const wxImage img = Rendered(44, 44, [&](wxsRenderer& r, wxDC& dc) {
            r.DrawRadioBitmap(TopWindow(), dc, wxRect(0, 0, 41, 41), c.flags);
        });
        const int tol = 6; // the rims are anti-aliased
        EXPECT_TRUE(PixelNear(img, 0, 21, Hex(c.outer), tol));
        EXPECT_TRUE(PixelNear(img, 21, 1, Hex(c.light), tol));
        EXPECT_TRUE(PixelNear(img, 40, 21, Hex(c.shade), tol));
        EXPECT_TRUE(PixelNear(img, 2, 21, Hex(c.light2), tol));
        EXPECT_TRUE(PixelNear(img, 39, 21, Hex(c.shade2), tol));
        EXPECT_TRUE(PixelNear(img, 3, 21, Hex(c.light3), tol));
        EXPECT_TRUE(PixelNear(img, 21, 38, Hex(c.shade3), tol));
        EXPECT_TRUE(RegionNear(img, wxRect(10, 10, 22, 22), Hex(c.face)));
        EXPECT_PIXEL(img, 1, 1, k_Paper); // outside the disc
    }
}

TEST_F(ColorsDrawing, DropArrowSplitterSashAndBorder) {
    // Rectangle (0, 0, 40, 24) shrinks to (2, 6, 36, 12): the triangle (29, 6), (37, 6),
    // (33, 17) points down at the right end, in "ButtonText" over the "ButtonFace" button.
    const wxColour text = Rgb(255, 255, 255), face = Rgb(108, 108, 108);
    for (bool button : {false, true}) {
        const wxImage img = Rendered(44, 26, [&](wxsRenderer& r, wxDC& dc) {
            if (button)
                r.DrawComboBoxDropButton(TopWindow(), dc, wxRect(0, 0, 40, 24), 0);
            else
                r.DrawDropArrow(TopWindow(), dc, wxRect(0, 0, 40, 24), 0);
        });
        const wxColour around = button ? face : k_Paper;
        EXPECT_TRUE(RegionNear(img, wxRect(31, 7, 5, 3), text)) << button;
        EXPECT_PIXEL(img, 33, 14, text);
        EXPECT_PIXEL(img, 33, 20, around); // below the tip
        EXPECT_PIXEL(img, 33, 3, around);  // above the top edge
        EXPECT_TRUE(RegionNear(img, wxRect(0, 0, 27, 24), around));
        EXPECT_PIXEL(img, 41, 24, k_Paper);
    }

    const wxImage sash = Rendered(50, 40, [&](wxsRenderer& r, wxDC& dc) {
        r.DrawSplitterBorder(TopWindow(), dc, wxRect(0, 0, 50, 40), 0);
        r.DrawSplitterSash(TopWindow(), dc, wxSize(45, 33), 20, wxVERTICAL, 0);
    });
    EXPECT_TRUE(RegionNear(sash, wxRect(0, 0, 45, 33), face));
    EXPECT_PIXEL(sash, 45, 10, k_Paper);
    EXPECT_PIXEL(sash, 10, 33, k_Paper);
    wxsRenderer renderer;
    const wxSplitterRenderParams params = renderer.GetSplitterParams(TopWindow());
    EXPECT_EQ(params.widthSash, 5);
    EXPECT_EQ(params.border, 0);
    EXPECT_TRUE(params.isHotSensitive);
    EXPECT_TRUE(wxRendererVersion::IsCompatible(renderer.GetVersion()));
    ScopedRenderer app; // the toolkit's own splitter asks the application renderer
    auto* splitter = new wxSplitterWindow(TopWindow(), wxID_ANY);
    splitter->SplitVertically(new wxsPanel(splitter), new wxsPanel(splitter), 100);
    EXPECT_EQ(splitter->GetSashSize(), 5);
}
