// The palette, the colour arithmetic, "Colors.ini", colour management of windows, the graded
// rectangle and the palette renderer, drawn into memory DCs in all five schemes.
#include "tests/wxTaviro/ColorsTestUtil.h"

#include <ostrum/IniFile.h>

#include <wx/splitter.h>

#include <cstdlib>
#include <set>

#include <sys/stat.h>

using namespace taviro_test;
using namespace colors_test;

namespace {

// Every test starts with no scheme loaded and the Dark colours in the palette (the palette
// itself lives as long as the process).
class ColorsFixture : public ::testing::Test {
protected:
    void SetUp() override {
        g_Scheme = -1;
        Dark();
    }
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

TEST_F(ColorsPalette, UnknownNamesAreStoredUnsetAndNamesAreCaseSensitive) {
    // The palette outlives the test (and repeats of it): use names never used before.
    static int s_Run = 0;
    const String unknown = "NoSuchSlot" + String::FromInt(++s_Run);
    EXPECT_FALSE(wxsGetColor(unknown).IsOk());
    wxsSetColor(unknown, Rgb(1, 2, 3));
    EXPECT_COLOUR(wxsGetColor(unknown), Rgb(1, 2, 3));

    const String lower = "text" + String::FromInt(s_Run); // another slot than "Text..."
    wxsSetColor("Text" + String::FromInt(s_Run), Rgb(9, 9, 9));
    EXPECT_FALSE(wxsGetColor(lower).IsOk());
    EXPECT_COLOUR(wxsGetColor("Text"), Rgb(235, 235, 235));

    // An invalid colour is stored as it is.
    wxsSetColor(color_Header, wxColour());
    EXPECT_FALSE(wxsGetColor(color_Header).IsOk());
}

TEST_F(ColorsPalette, SlotConstantsHoldTheSlotNames) {
    EXPECT_EQ(color_TextGrey, "TextGray"); // the constant's spelling differs on purpose
    std::vector<String> all;
    for (const String* slot : color_Slots)
        all.push_back(*slot);
    EXPECT_EQ(std::set<String>(std::begin(all), std::end(all)).size(), 27u);
    // Every slot of every fixed scheme is filled with an opaque colour.
    for (void (*scheme)() : {&Light, &Lighter, &Dark, &Darker}) {
        for (const String& name : all)
            wxsSetColor(name, wxColour());
        scheme();
        for (const String& name : all) {
            const wxColour c = wxsGetColor(name);
            EXPECT_TRUE(c.IsOk()) << name;
            EXPECT_EQ(c.Alpha(), 255) << name;
        }
    }
}

TEST_F(ColorsPalette, FixedSchemesStoreTheirColumnsAndLeaveOtherSlotsAlone) {
    wxsSetColor("ClientSlot", Rgb(7, 8, 9));
    // Spot checks: first, middle and last rows of each column.
    Lighter();
    EXPECT_COLOUR(wxsGetColor(color_WindowBGLighter), Rgb(255, 255, 255));
    EXPECT_COLOUR(wxsGetColor(color_TextDarkOrange), Rgb(132, 68, 0));
    EXPECT_COLOUR(wxsGetColor(color_Header), Rgb(211, 211, 211));
    Darker();
    EXPECT_COLOUR(wxsGetColor(color_WindowBGDarker), Rgb(12, 12, 12));
    EXPECT_COLOUR(wxsGetColor(color_TextDarkRed), Rgb(185, 25, 10)); // never changes
    Dark();
    EXPECT_COLOUR(wxsGetColor(color_TextBlue), Rgb(132, 153, 245));
    // Dark then Light: Light everywhere, the client's own slot untouched.
    Light();
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(185, 185, 185));
    EXPECT_COLOUR(wxsGetColor(color_TextGrey), Rgb(85, 90, 105));
    EXPECT_COLOUR(wxsGetColor(color_Header), Rgb(168, 168, 168));
    EXPECT_COLOUR(wxsGetColor("ClientSlot"), Rgb(7, 8, 9));
}

TEST_F(ColorsPalette, ColourArithmeticClampsAndIsOpaque) {
    EXPECT_COLOUR(OffsetColor(Rgb(250, 10, 128), 10, -20, 0), Rgb(255, 0, 128));
    EXPECT_COLOUR(OffsetColor(wxColour(1, 2, 3, 40), 0, 0, 0), Rgb(1, 2, 3));
    EXPECT_COLOUR(OffsetColor(Rgb(100, 100, 100), -300, 300, -1), Rgb(0, 255, 99));
    EXPECT_COLOUR(OffsetColor(Rgb(200, 100, 50), Rgb(100, 100, 100)), Rgb(255, 200, 150));
    EXPECT_COLOUR(OffsetColor(wxColour(0, 0, 0, 0), wxColour(5, 6, 7, 0)), Rgb(5, 6, 7));
    EXPECT_COLOUR(Hilight(Rgb(240, 10, 230)), Rgb(255, 35, 255));
    EXPECT_COLOUR(Hilight(wxColour(0, 0, 0, 10)), Rgb(25, 25, 25));

    const wxColour l = *wxLIGHT_GREY; // the toolkit's stock light grey
    EXPECT_COLOUR(Disabled(Rgb(255, 100, 10)),
                  Rgb(int(255 * 0.7 + l.Red() * 0.3), int(100 * 0.7 + l.Green() * 0.3),
                      int(10 * 0.7 + l.Blue() * 0.3)));

    // An unset colour stays unset (and asserts nothing).
    EXPECT_FALSE(OffsetColor(wxColour(), 1, 1, 1).IsOk());
    EXPECT_FALSE(Hilight(wxColour()).IsOk());
    EXPECT_FALSE(Disabled(wxColour()).IsOk());
}

// ---- colour schemes and "Colors.ini" ----

using ColorsScheme = ColorsFixture;

TEST_F(ColorsScheme, SetColorsAppliesNumbersWithDarkAsFallback) {
    const struct {
        int scheme;
        wxColour windowBG;
    } cases[] = {{1, Rgb(185, 185, 185)}, {2, Rgb(233, 233, 233)}, {3, Rgb(72, 72, 72)},
                 {4, Rgb(32, 32, 32)},    {0, Rgb(72, 72, 72)},    {6, Rgb(72, 72, 72)},
                 {-4, Rgb(72, 72, 72)},   {5, Rgb(72, 72, 72)}}; // 5 without a file: Dark
    for (const auto& c : cases) {
        Light();
        wxsSetColor(color_WindowBG, Rgb(1, 1, 1));
        g_Scheme = 42;
        SetColors(c.scheme);
        EXPECT_COLOUR(wxsGetColor(color_WindowBG), c.windowBG) << "scheme " << c.scheme;
        EXPECT_EQ(g_Scheme, 42); // SetColors leaves the number alone
    }
    EXPECT_FALSE(File::Exists(ColorsIni())); // and writes nothing
}

TEST_F(ColorsScheme, NoFileStartsDarkWithSchemeZeroAndWritesNothing) {
    Light();
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 0);
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(72, 72, 72));
    EXPECT_FALSE(File::Exists(ColorsIni()));
    // A later load keeps the scheme in force when the file still says nothing.
    g_Scheme = 2;
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 2);
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(233, 233, 233));
    SaveColorScheme();
    EXPECT_NE(ReadColorsIni().find("scheme"), String::npos);
}

TEST_F(ColorsScheme, NoUserFolderStillFillsThePaletteAndThrowsNothing) {
    {
        ScopedEnv home("HOME", nullptr), xdg("XDG_CONFIG_HOME", nullptr);
        Light();
        EXPECT_EQ(CatchException([] { LoadColorScheme(); }), nullptr);
        EXPECT_EQ(g_Scheme, 0);
        EXPECT_COLOUR(wxsGetColor(color_ButtonFace), Rgb(108, 108, 108));
        g_Scheme = 1;
        EXPECT_EQ(CatchException([] { SaveColorScheme(); }), nullptr);
        EXPECT_EQ(CatchException([] { SetColors(5); }), nullptr);
        EXPECT_COLOUR(wxsGetColor(color_ButtonFace), Rgb(108, 108, 108));
    }
    // A user folder that cannot be made (its parent is a file) fails the same quiet way.
    const String blocker = TempHome() + "/blocker";
    File::AtomicWrite(blocker, "x");
    ScopedEnv xdg("XDG_CONFIG_HOME", blocker.c_str());
    g_Scheme = -1;
    Light();
    LoadColorScheme();
    SaveColorScheme();
    EXPECT_EQ(g_Scheme, 0);
    EXPECT_COLOUR(wxsGetColor(color_ButtonFace), Rgb(108, 108, 108));
}

TEST_F(ColorsScheme, SchemeNumbersFromTheFile) {
    const struct {
        const char* text;
        int scheme;
        wxColour buttonFace;
    } cases[] = {
        {"scheme=1\n", 1, Rgb(155, 155, 155)},
        {"scheme = 2\n", 2, Rgb(200, 200, 200)},
        {"scheme=4\n", 4, Rgb(75, 75, 75)},
        {"scheme=-3\n", -3, Rgb(108, 108, 108)},
        {"scheme=-1\n", 0, Rgb(108, 108, 108)},         // "never loaded" is not a scheme
        {"[Other]\nscheme=1\n", 0, Rgb(108, 108, 108)}, // only the unnamed section counts
        {"scheme=abc\n", 0, Rgb(108, 108, 108)},
        {"scheme=99999999999999999999\n", 0, Rgb(108, 108, 108)},
    };
    for (const auto& c : cases) {
        WriteColorsIni(c.text);
        g_Scheme = -1;
        Light();
        LoadColorScheme();
        EXPECT_EQ(g_Scheme, c.scheme) << c.text;
        EXPECT_COLOUR(wxsGetColor(color_ButtonFace), c.buttonFace) << c.text;
    }
}

TEST_F(ColorsScheme, UnknownSchemeIsWrittenBackAsItWas) {
    WriteColorsIni("scheme=7\n");
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 7);
    WriteColorsIni("scheme=1\n"); // someone else changed it meanwhile: the last writer wins
    SaveColorScheme();
    IniFile file(ColorsIni());
    file.Load(true, true);
    EXPECT_EQ(file.GetValue("", "scheme", 0), 7);
    g_Scheme = -12;
    SaveColorScheme();
    file.Load(true, true);
    EXPECT_EQ(file.GetValue("", "scheme", String()), "-12");
}

TEST_F(ColorsScheme, CustomColoursOverDark) {
    WriteColorsIni("scheme=5\nSelected=#FF0000\n");
    Light();
    LoadColorScheme();
    EXPECT_EQ(g_Scheme, 5);
    EXPECT_COLOUR(wxsGetColor(color_Selected), Rgb(255, 0, 0));
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(72, 72, 72));

    // Every text form wxColour reads; keys are the slot names ("TextGray", not "TextGrey").
    WriteColorsIni("scheme=5\nText = rgb(1, 2, 3)\nHeader=blue\nTextGray=#0a0b0c\n"
                   "TextGrey=#FFFFFF\nButtonFace=\nWindowBG = not a colour\n");
    LoadColorScheme();
    EXPECT_COLOUR(wxsGetColor(color_Text), Rgb(1, 2, 3));
    EXPECT_COLOUR(wxsGetColor(color_Header), Rgb(0, 0, 255));
    EXPECT_COLOUR(wxsGetColor(color_TextGrey), Rgb(10, 11, 12));
    EXPECT_COLOUR(wxsGetColor(color_ButtonFace), Rgb(108, 108, 108)); // empty: keeps Dark
    EXPECT_FALSE(wxsGetColor(color_WindowBG).IsOk());                 // no colour: unset
    EXPECT_COLOUR(wxsGetColor(color_Selected), Rgb(230, 163, 48));    // Dark again

    // Colour keys mean nothing to the fixed schemes.
    WriteColorsIni("scheme=3\nSelected=#FF0000\n");
    LoadColorScheme();
    EXPECT_COLOUR(wxsGetColor(color_Selected), Rgb(230, 163, 48));
}

TEST_F(ColorsScheme, GetCustomReadsOneKeyOfTheUnnamedSection) {
    IniFile file;
    file.LoadFromString("Selected = #102030\nText=\n[Section]\nHeader=#FFFFFF\n");
    wxsSetColor(color_Header, Rgb(1, 1, 1));
    GetCustom(file, color_Selected);
    GetCustom(file, color_Text);
    GetCustom(file, color_Header);
    EXPECT_COLOUR(wxsGetColor(color_Selected), Rgb(16, 32, 48));
    EXPECT_COLOUR(wxsGetColor(color_Text), Rgb(235, 235, 235));
    EXPECT_COLOUR(wxsGetColor(color_Header), Rgb(1, 1, 1));
}

TEST_F(ColorsScheme, SavingKeepsColourKeysAndUnrelatedContent) {
    WriteColorsIni("; written by hand\nscheme=5\nSelected=#FF0000\nOwnKey=kept\n\n"
                   "[Elsewhere]\nscheme=9\nthing = 1\n");
    LoadColorScheme();
    g_Scheme = 2;
    SetColors(2);
    SaveColorScheme();
    const String text = ReadColorsIni();
    for (const char* kept :
         {"; written by hand", "Selected=#FF0000", "OwnKey=kept", "[Elsewhere]", "thing = 1"})
        EXPECT_NE(text.find(kept), String::npos) << kept << " in\n" << text;
    IniFile file(ColorsIni());
    file.Load(true, true);
    EXPECT_EQ(file.GetValue("", "scheme", 0), 2);
    EXPECT_EQ(file.GetValue("Elsewhere", "scheme", 0), 9);
    // The library never writes colour keys.
    EXPECT_EQ(file.GetKeys("").size(), 3u);
}

TEST_F(ColorsScheme, HostileFilesNeverEscapeAndLeaveThePaletteFilled) {
    String garbage;
    for (int i = 0; i < 4096; ++i)
        garbage.push_back(char((i * 37) % 256));
    const String hostile[] = {
        garbage,
        "scheme=5\n" + garbage,
        "scheme=5\nText=" + String(100000, '#') + "\n",
        "scheme=5\nText=rgb(999, -1, 1e9)\nHeader=#GGHHII\nSelected=\"#FF0000\n",
        "scheme=5\n[\nText\n=\n==\nSelected===\n\xff\xfe=\xc3\x28\nHeader=\xc3\x28\n",
        "scheme=5\nText=rgb(\nWindowBG=#\n3DDark=#12345\n3DLight=rgba(1,2,3,4)\n",
        String("scheme=5\0Text=#FF0000\n", 23),
    };
    for (const String& content : hostile) {
        WriteColorsIni(content);
        g_Scheme = -1;
        Light();
        EXPECT_EQ(CatchException([] { LoadColorScheme(); }), nullptr);
        EXPECT_EQ(CatchException([] { SaveColorScheme(); }), nullptr);
        // Slots the file does not touch hold their Dark value.
        EXPECT_COLOUR(wxsGetColor(color_TextDarkBlue), Rgb(0, 0, 165));
        if (g_Scheme != 5) {
            EXPECT_COLOUR(wxsGetColor(color_Text), Rgb(235, 235, 235));
        }
    }
    // "Colors.ini" is a folder: nothing can be read or written, nothing escapes.
    File::CreateDirectories(ColorsIni().ToString() + ".d");
    ::remove(ColorsIni().c_str());
    File::CreateDirectories(ColorsIni());
    g_Scheme = -1;
    Light();
    EXPECT_EQ(CatchException([] { LoadColorScheme(); }), nullptr);
    EXPECT_EQ(g_Scheme, 0);
    EXPECT_COLOUR(wxsGetColor(color_WindowBG), Rgb(72, 72, 72));
    g_Scheme = 5;
    EXPECT_EQ(CatchException([] { SaveColorScheme(); }), nullptr);
    EXPECT_EQ(CatchException([] { CustomColors(); }), nullptr);
    EXPECT_TRUE(File::IsDirectory(ColorsIni()));
}

// ---- wxsColorManaged ----

using ColorsManaged = ColorsFixture;

TEST_F(ColorsManaged, DefaultsAndDisabledRoles) {
    auto* panel = new wxsPanel(TopWindow());
    EXPECT_COLOUR(panel->GetForegroundColour(), Rgb(235, 235, 235));
    EXPECT_COLOUR(panel->GetBackgroundColour(), Rgb(72, 72, 72));

    // Enabling alone does not recolour; the next refresh does.
    panel->Enable(false);
    EXPECT_COLOUR(panel->GetBackgroundColour(), Rgb(72, 72, 72));
    panel->RefreshColors();
    EXPECT_COLOUR(panel->GetForegroundColour(), Rgb(160, 170, 190));
    EXPECT_COLOUR(panel->GetBackgroundColour(), Rgb(142, 142, 142)); // 92 + 50
    Lighter();
    panel->RefreshColors();
    EXPECT_COLOUR(panel->GetBackgroundColour(), Rgb(255, 255, 255)); // clamped
    panel->Enable(true);
    panel->RefreshColors();
    EXPECT_COLOUR(panel->GetBackgroundColour(), Rgb(233, 233, 233));
}

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

    // The default constructor binds nothing until Manage.
    wxsColorManaged later;
    EXPECT_EQ(later.GetManagedWindow(), nullptr);
    later.RefreshColors(); // harmless
    auto* window = new wxWindow(outer, wxID_ANY);
    later.Manage(window);
    EXPECT_EQ(later.GetBackgroundSlot(), color_Header);
    EXPECT_COLOUR(window->GetBackgroundColour(), Rgb(105, 105, 105));
    window->Destroy();
}

TEST_F(ColorsManaged, ColourChangeReachesEveryManagedChild) {
    auto* root = new wxsPanel(TopWindow());
    auto* nested = new wxsPanel(root);
    auto* plain = new wxPanel(nested); // unmanaged windows pass the event on as well
    auto* deep = new wxsPanel(plain);
    auto* text = new wxsStaticText(deep, wxID_ANY, "text");
    auto* button = new wxsButton(nested, wxID_ANY, "Button");
    auto* check = new wxsCheckBox(deep, wxID_ANY, "Check");
    nested->SetBackgroundSlot(color_Header, 5);
    nested->RefreshColors();
    EventCounter seen(check, wxEVT_SYS_COLOUR_CHANGED);

    Light();
    wxSysColourChangedEvent event;
    event.SetEventObject(TopWindow());
    TopWindow()->GetEventHandler()->ProcessEvent(event);

    EXPECT_EQ(seen.GetCount(), 1);
    EXPECT_COLOUR(root->GetBackgroundColour(), Rgb(185, 185, 185));
    EXPECT_COLOUR(nested->GetBackgroundColour(), Rgb(173, 173, 173)); // Header + 5
    EXPECT_COLOUR(deep->GetBackgroundColour(), Rgb(185, 185, 185));
    EXPECT_COLOUR(text->GetForegroundColour(), Rgb(52, 52, 52));
    EXPECT_COLOUR(button->GetBackgroundColour(), Rgb(155, 155, 155)); // its own role
    EXPECT_COLOUR(check->GetBackgroundColour(), Rgb(185, 185, 185));

    // A slot left unset by a bad custom file resets the window to its default colour.
    wxsSetColor(color_Text, wxColour());
    root->RefreshColors();
    EXPECT_TRUE(root->GetForegroundColour().IsOk());
    EXPECT_NE(Describe(root->GetForegroundColour()), Describe(Rgb(52, 52, 52)));
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
    // gradeBottom, height 10: five rectangles of heights 10..6 from the same top, so each
    // row shows the last step that still reached it.
    wxImage img = Graded(10, 1.0f, true, false);
    const float weights[10] = {.2f, .2f, .2f, .2f, .2f, .2f, .4f, .6f, .8f, 1.f};
    for (int row = 0; row < 10; ++row) {
        EXPECT_TRUE(RegionNear(img, wxRect(1, 2 + row, 10, 1), Step(weights[row])))
            << "row " << row;
    }
    // Nothing outside the rectangle.
    EXPECT_EQ(CountPixels(img, wxRect(0, 0, 12, 14), *wxWHITE), 12 * 14 - 10 * 10);

    img = Graded(10, 1.0f, false, true); // mirrored
    for (int row = 0; row < 10; ++row)
        EXPECT_PIXEL(img, 5, 2 + row, Step(weights[9 - row])) << "row " << row;

    img = Graded(10, 1.0f, true, true); // from both edges towards the middle
    const float both[10] = {1.f, .8f, .6f, .4f, .2f, .2f, .4f, .6f, .8f, 1.f};
    for (int row = 0; row < 10; ++row)
        EXPECT_PIXEL(img, 5, 2 + row, Step(both[row])) << "row " << row;
}

TEST_F(ColorsDrawing, GradedRectanglePowerFlatFillAndEmptyCases) {
    // power 2: the edge band narrows (0.8^2 = 0.64 next to the edge, 0.2^2 inside).
    wxImage img = Graded(10, 2.0f, true, false);
    EXPECT_PIXEL(img, 5, 10, Step(.64f));
    EXPECT_PIXEL(img, 5, 3, Step(.04f));

    // No flag: flat in `first`, whatever the height.
    for (int h : {0, 1, 2, 10}) {
        img = Graded(h, 3.0f, false, false);
        EXPECT_TRUE(RegionNear(img, wxRect(1, 2, 10, h), k_First)) << h;
        EXPECT_PIXEL(img, 5, 2 + h, *wxWHITE) << h;
    }
    // n = h / 2 = 0: nothing at all.
    for (bool bottom : {false, true}) {
        img = Graded(1, 1.0f, bottom, !bottom);
        EXPECT_EQ(CountPixels(img, wxRect(0, 0, 12, 14), *wxWHITE), 12 * 14);
    }
    // A single step (height 2 or 3) has weight 0: `first`.
    img = Graded(3, 1.0f, true, false);
    EXPECT_TRUE(RegionNear(img, wxRect(1, 2, 10, 3), k_First));
}

TEST_F(ColorsDrawing, DrawingHelpersRestoreTheDcsPenAndBrush) {
    RenderToImage(20, 20, [](wxDC& dc) {
        dc.SetPen(wxPen(Rgb(1, 2, 3), 3));
        dc.SetBrush(wxBrush(Rgb(4, 5, 6)));
        DrawGradedRectangle(dc, wxRect(0, 0, 10, 10), k_First, k_Second, 1.5f, true, true);
        wxsRenderer renderer;
        renderer.DrawCheckBox(nullptr, dc, wxRect(0, 0, 13, 13), wxCONTROL_CHECKED);
        renderer.DrawRadioBitmap(nullptr, dc, wxRect(0, 0, 13, 13), 0);
        renderer.DrawDropArrow(nullptr, dc, wxRect(0, 0, 20, 20), 0);
        EXPECT_COLOUR(dc.GetPen().GetColour(), Rgb(1, 2, 3));
        EXPECT_EQ(dc.GetPen().GetWidth(), 3);
        EXPECT_COLOUR(dc.GetBrush().GetColour(), Rgb(4, 5, 6));
    });
}

TEST_F(ColorsDrawing, DrawCircleFillsThePieOfTheGivenAngles) {
    const wxImage img = RenderToImage(42, 42, [](wxDC& dc) {
        dc.SetPen(*wxTRANSPARENT_PEN);
        dc.SetBrush(*wxBLACK_BRUSH);
        DrawCircle(dc, wxRect(1, 1, 40, 40), 0, 360);
        dc.SetBrush(*wxRED_BRUSH);
        DrawCircle(dc, wxRect(1, 1, 40, 40), 80, 100); // a thin wedge pointing up
    });
    EXPECT_PIXEL(img, 21, 30, *wxBLACK);
    EXPECT_PIXEL(img, 10, 21, *wxBLACK);
    EXPECT_PIXEL(img, 21, 5, *wxRED);   // up is 90 degrees
    EXPECT_PIXEL(img, 12, 5, *wxBLACK); // outside the wedge
    EXPECT_PIXEL(img, 2, 2, *wxWHITE);  // outside the circle
}

// ---- the renderer, in every scheme ----

namespace {
// A background no control colour of any scheme comes near.
const wxColour k_Paper = Rgb(0, 128, 0);
} // namespace

class ColorsRenderer : public ColorsFixture, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        ColorsFixture::SetUp();
        UseScheme(GetParam());
    }
    static wxColour C(const String& slot) { return wxsGetColor(slot); }
    wxsRenderer m_Renderer;
};

INSTANTIATE_TEST_SUITE_P(AllSchemes, ColorsRenderer, ::testing::Values(1, 2, 3, 4, 5), SchemeName);

namespace {
// Probes of a check box drawn at (0, 0, 13, 13): the border ring, the outer bevel (upper-left
// edges, lower-right fill), the inner bevel (half-and-half mixes with the face), the face.
void ExpectCheckBox(const wxImage& img, const wxColour& border, const wxColour& face,
                    const wxColour& ul, const wxColour& lr) {
    auto half = [](const wxColour& a, const wxColour& b) {
        return Rgb((a.Red() + b.Red()) / 2, (a.Green() + b.Green()) / 2, (a.Blue() + b.Blue()) / 2);
    };
    EXPECT_PIXEL(img, 0, 0, border);
    EXPECT_PIXEL(img, 12, 6, border);
    EXPECT_PIXEL(img, 1, 6, ul);
    EXPECT_PIXEL(img, 11, 1, ul); // the top row runs to the right end
    EXPECT_PIXEL(img, 6, 11, lr);
    EXPECT_PIXEL(img, 6, 2, half(ul, face));
    EXPECT_PIXEL(img, 10, 6, half(lr, face));
    EXPECT_TRUE(RegionNear(img, wxRect(3, 3, 7, 7), face));
    EXPECT_PIXEL(img, 13, 13, k_Paper);
}
} // namespace

TEST_P(ColorsRenderer, CheckBoxBevelInEveryState) {
    auto draw = [this](int flags) {
        return RenderToImage(
            16, 16,
            [&](wxDC& dc) {
                m_Renderer.DrawCheckBox(TopWindow(), dc, wxRect(0, 0, 13, 13), flags);
            },
            k_Paper);
    };
    const wxColour border = C(color_WindowBGDarker), face = C(color_ButtonFace),
                   sel = C(color_Selected), light = C(color_3DLight), dark = C(color_3DDark);
    {
        SCOPED_TRACE("unchecked: raised");
        ExpectCheckBox(draw(0), border, face, light, dark);
    }
    {
        SCOPED_TRACE("checked: sunken, Selected face");
        ExpectCheckBox(draw(wxCONTROL_CHECKED), border, sel, dark, light);
    }
    {
        SCOPED_TRACE("disabled");
        ExpectCheckBox(draw(wxCONTROL_DISABLED), Disabled(border), Disabled(face), Disabled(light),
                       Disabled(dark));
    }
    {
        SCOPED_TRACE("disabled and focused: disabled wins");
        ExpectCheckBox(draw(wxCONTROL_DISABLED | wxCONTROL_FOCUSED | wxCONTROL_CHECKED),
                       Disabled(border), Disabled(sel), Disabled(dark), Disabled(light));
    }
    for (int flag : {wxCONTROL_FOCUSED, wxCONTROL_CURRENT}) {
        SCOPED_TRACE(flag == wxCONTROL_FOCUSED ? "focused" : "hovered");
        ExpectCheckBox(draw(flag), Hilight(border), Hilight(face), Hilight(light), Hilight(dark));
        ExpectCheckBox(draw(flag | wxCONTROL_CHECKED), Hilight(border), Hilight(sel), Hilight(dark),
                       Hilight(light));
    }
}

TEST_P(ColorsRenderer, RadioButtonDiscs) {
    // A big button, so that one-pixel rings are wide enough to probe on the axes: 180 and 90
    // degrees lie in the light upper-left half, 0 and 270 in the shade.
    auto draw = [this](int flags) {
        return RenderToImage(
            44, 44,
            [&](wxDC& dc) {
                m_Renderer.DrawRadioBitmap(TopWindow(), dc, wxRect(0, 0, 41, 41), flags);
            },
            k_Paper);
    };
    auto weighted = [](const wxColour& c, double wc, const wxColour& f, double wf) {
        return Rgb(int(c.Red() * wc + f.Red() * wf), int(c.Green() * wc + f.Green() * wf),
                   int(c.Blue() * wc + f.Blue() * wf));
    };
    auto expectDisc = [&](const wxImage& img, const wxColour& outer, const wxColour& face,
                          const wxColour& shade, const wxColour& light) {
        const int tol = 6; // the rim pixels are anti-aliased
        EXPECT_TRUE(PixelNear(img, 0, 21, outer, tol));
        EXPECT_TRUE(PixelNear(img, 21, 1, light, tol));
        EXPECT_TRUE(PixelNear(img, 40, 21, shade, tol));
        EXPECT_TRUE(PixelNear(img, 2, 21, weighted(light, 1 - 0.33, face, 0.33), tol));
        EXPECT_TRUE(PixelNear(img, 39, 21, weighted(shade, 1 - 0.33, face, 0.33), tol));
        EXPECT_TRUE(PixelNear(img, 3, 21, weighted(light, 0.33, face, 0.67), tol));
        EXPECT_TRUE(PixelNear(img, 21, 38, weighted(shade, 0.33, face, 0.67), tol));
        EXPECT_TRUE(RegionNear(img, wxRect(10, 10, 22, 22), face));
        EXPECT_PIXEL(img, 1, 1, k_Paper); // outside the disc
    };
    const wxColour outer = C(color_WindowBGDarker), face = C(color_ButtonFace),
                   sel = C(color_Selected), light = C(color_3DLight), dark = C(color_3DDark);
    {
        SCOPED_TRACE("unchecked");
        expectDisc(draw(0), outer, face, dark, light);
    }
    {
        SCOPED_TRACE("checked: light and shade swap");
        expectDisc(draw(wxCONTROL_CHECKED), outer, sel, light, dark);
    }
    {
        SCOPED_TRACE("disabled");
        expectDisc(draw(wxCONTROL_DISABLED), Disabled(outer), Disabled(face), Disabled(dark),
                   Disabled(light));
    }
    {
        SCOPED_TRACE("focused: lit rings, WindowBG rim");
        expectDisc(draw(wxCONTROL_FOCUSED), C(color_WindowBG), face, Hilight(dark), Hilight(light));
    }
    {
        SCOPED_TRACE("hovered: lit face and rim");
        expectDisc(draw(wxCONTROL_CURRENT), Hilight(outer), Hilight(face), dark, light);
    }
    {
        SCOPED_TRACE("disabled and focused: both, disabled first");
        expectDisc(draw(wxCONTROL_DISABLED | wxCONTROL_FOCUSED), C(color_WindowBG), Disabled(face),
                   Hilight(Disabled(dark)), Hilight(Disabled(light)));
    }
}

TEST_P(ColorsRenderer, DropArrowSitsAtTheRightOfItsRectangle) {
    // Rectangle (0, 0, 40, 24) shrinks to (2, 6, 36, 12): the triangle (29, 6), (37, 6),
    // (33, 17) points down at the right end.
    const wxColour text = C(color_ButtonText), face = C(color_ButtonFace);
    const wxImage arrow = RenderToImage(
        44, 26,
        [&](wxDC& dc) { m_Renderer.DrawDropArrow(TopWindow(), dc, wxRect(0, 0, 40, 24), 0); },
        k_Paper);
    EXPECT_TRUE(RegionNear(arrow, wxRect(31, 7, 5, 3), text));
    EXPECT_PIXEL(arrow, 33, 14, text);
    EXPECT_PIXEL(arrow, 33, 20, k_Paper); // below the tip
    EXPECT_PIXEL(arrow, 33, 3, k_Paper);  // above the top edge
    EXPECT_GT(CountPixels(arrow, wxRect(28, 5, 11, 14), text, 8), 30);
    EXPECT_EQ(CountPixels(arrow, wxRect(0, 0, 27, 26), text, 60), 0);

    // The drop button: the face, then the same arrow over it.
    const wxImage button = RenderToImage(
        44, 26,
        [&](wxDC& dc) {
            m_Renderer.DrawComboBoxDropButton(TopWindow(), dc, wxRect(0, 0, 40, 24), 0);
        },
        k_Paper);
    EXPECT_TRUE(RegionNear(button, wxRect(0, 0, 27, 24), face));
    EXPECT_TRUE(RegionNear(button, wxRect(31, 7, 5, 3), text));
    EXPECT_PIXEL(button, 41, 24, k_Paper);
}

TEST_P(ColorsRenderer, SplitterSashCoversTheWholeAreaAndTheBorderNothing) {
    const wxImage img = RenderToImage(
        50, 40,
        [&](wxDC& dc) {
            m_Renderer.DrawSplitterBorder(TopWindow(), dc, wxRect(0, 0, 50, 40), 0);
            m_Renderer.DrawSplitterSash(TopWindow(), dc, wxSize(45, 33), 20, wxVERTICAL, 0);
        },
        k_Paper);
    EXPECT_TRUE(RegionNear(img, wxRect(0, 0, 45, 33), C(color_ButtonFace)));
    EXPECT_PIXEL(img, 45, 10, k_Paper);
    EXPECT_PIXEL(img, 10, 33, k_Paper);

    const wxSplitterRenderParams params = m_Renderer.GetSplitterParams(TopWindow());
    EXPECT_EQ(params.widthSash, 5);
    EXPECT_EQ(params.border, 0);
    EXPECT_TRUE(params.isHotSensitive);
    EXPECT_TRUE(wxRendererVersion::IsCompatible(m_Renderer.GetVersion()));
}

TEST_F(ColorsManaged, SplitterWindowPaintsItsSashThroughTheApplicationRenderer) {
    // The toolkit's own splitter asks the application renderer for its sash width.
    ScopedRenderer renderer;
    auto* splitter = new wxSplitterWindow(TopWindow(), wxID_ANY, wxPoint(0, 0), wxSize(300, 200),
                                          wxSP_3D | wxSP_LIVE_UPDATE);
    splitter->SplitVertically(new wxsPanel(splitter), new wxsPanel(splitter), 100);
    EXPECT_EQ(splitter->GetSashSize(), 5);
}
