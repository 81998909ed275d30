// The palette, its schemes and "Colors.ini", colour management, the drawing helpers and the
// renderer drawn into memory DCs, and the themed buttons and toggles (Dark scheme).
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/File.h>

#include <wx/sizer.h>

#include <dlfcn.h>

inline void PrintTo(const wxColour& c, std::ostream* os) {
    *os << (c.IsOk() ? c.GetAsString(wxC2S_CSS_SYNTAX) : wxString("unset"));
}

using namespace taviro_test;

namespace {

wxColour Rgb(int r, int g, int b) {
    return wxColour(r, g, b);
}
wxColour Hex(unsigned rgb) {
    return wxColour((rgb >> 16) & 255, (rgb >> 8) & 255, rgb & 255);
}

// Every test starts with no scheme loaded and the Dark colours (the palette outlives the test).
class Colors : public ::testing::Test {
protected:
    void SetUp() override {
        g_Scheme = -1;
        SetColors(-1);
    }
    wxsRenderer r;
};

// The 27 slots in table order (name, also the file key): Light, Lighter, Dark, Darker.
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

const wxColour k_Paper = Rgb(0, 128, 0); // a background no control colour comes near

// Draws on k_Paper with a pen and a brush of its own, which must be the dc's again after.
template <class Draw>
wxImage Drawn(int w, int h, Draw draw) {
    return RenderToImage(
        w, h,
        [&](wxDC& dc) {
            const wxPen pen(Rgb(1, 2, 3), 3);
            dc.SetPen(pen);
            dc.SetBrush(*wxCYAN_BRUSH);
            draw(dc);
            EXPECT_TRUE(dc.GetPen() == pen && dc.GetBrush() == *wxCYAN_BRUSH);
        },
        k_Paper);
}
wxImage Graded(int h, float power, bool bottom, bool top) {
    return Drawn(12, 14, [&](wxDC& dc) {
        DrawGradedRectangle(dc, {1, 2, 10, h}, *wxBLACK, Rgb(200, 100, 50), power, bottom, top);
    });
}
wxColour Step(float t) { // a step with weight t on `second`
    return Rgb(int(200 * t), int(100 * t), int(50 * t));
}

} // namespace

// ---- palette ----

TEST_F(Colors, EverySlotOfEverySchemeHoldsItsTableColour) {
    wxsSetColor("ClientSlot", Rgb(7, 8, 9));
    // Scheme number and its column: Custom without a file, 0, 6 and negatives show Dark.
    const std::pair<int, int> schemes[] = {{1, 0}, {2, 1}, {3, 2}, {4, 3},
                                           {5, 2}, {0, 2}, {6, 2}, {-4, 2}};
    for (const auto& s : schemes) {
        for (const SlotRow& row : k_Slots)
            wxsSetColor(row.name, wxColour());
        SetColors(s.first);
        for (size_t i = 0; i < std::size(k_Slots); ++i) {
            EXPECT_EQ(*color_Slots[i], k_Slots[i].name);
            EXPECT_EQ(wxsGetColor(k_Slots[i].name), Hex(k_Slots[i].rgb[s.second]))
                << k_Slots[i].name << " in scheme " << s.first;
        }
    }
    EXPECT_EQ(wxsGetColor("ClientSlot"), Rgb(7, 8, 9)); // other slots are left alone
}

TEST_F(Colors, ColourArithmeticClampsAndIsOpaque) {
    EXPECT_EQ(OffsetColor(Rgb(250, 10, 128), 10, -20, 0), Rgb(255, 0, 128));
    EXPECT_EQ(OffsetColor(wxColour(200, 100, 50, 0), wxColour(100, 100, 100, 0)),
              Rgb(255, 200, 150));
    EXPECT_EQ(Hilight(wxColour(240, 10, 230, 7)), Rgb(255, 35, 255));
    EXPECT_EQ(Disabled(wxColour(0, 0, 0, 0)), Rgb(57, 57, 57)); // 57.6 truncates (grey 192)
    EXPECT_EQ(Disabled(Rgb(255, 100, 10)), Rgb(236, 127, 64));
}

// ---- colour schemes and "Colors.ini" ----

TEST_F(Colors, SchemeNumbersFromTheFile) {
    const struct {
        const char* text; // null: no file
        int before, after;
        unsigned buttonFace;
    } cases[] = {
        {nullptr, -1, 0, 0x6C6C6C},
        {"scheme=4\n", -1, 4, 0x4B4B4B},
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
        EXPECT_EQ(wxsGetColor(color_ButtonFace), Hex(c.buttonFace)) << (c.text ? c.text : "");
    }
    // What GTK draws itself takes the dark or light variant of its theme with the scheme.
    auto prefersDark = [] { // GTK is in the process through wx; no headers needed
        auto settings = (void* (*)())dlsym(RTLD_DEFAULT, "gtk_settings_get_default");
        auto get = (void (*)(void*, const char*, ...))dlsym(RTLD_DEFAULT, "g_object_get");
        int dark = -1;
        get(settings(), "gtk-application-prefer-dark-theme", &dark, nullptr);
        return dark;
    };
    for (int scheme : {1, 4, 2, 3}) {
        SetColors(scheme);
        EXPECT_EQ(prefersDark(), scheme >= 3) << scheme;
    }
}

TEST_F(Colors, CustomSchemeReadsEveryColourKeyOverDark) {
    // An empty value keeps Dark, and so does one that is no colour (an unset slot would
    // make wx assert wherever it is drawn).
    String file = "scheme=5\nWindowBG = not a colour\nWindowBGLighter=\n";
    for (int i = 2; i < int(std::size(k_Slots)); ++i)
        file += String(k_Slots[i].name) + " = rgb(" + String::FromInt(i) + ", " +
                String::FromInt(2 * i) + ", " + String::FromInt(3 * i) + ")\n";
    File::AtomicWrite(ColorsIni(), file);
    Dark();
    const wxColour darkBG = wxsGetColor(color_WindowBG);
    Light();
    LoadColorScheme();
    EXPECT_EQ(wxsGetColor(color_WindowBG), darkBG);
    EXPECT_EQ(wxsGetColor(color_WindowBGLighter), Rgb(92, 92, 92));
    for (int i = 2; i < int(std::size(k_Slots)); ++i)
        EXPECT_EQ(wxsGetColor(k_Slots[i].name), Rgb(i, 2 * i, 3 * i)) << k_Slots[i].name;
}

TEST_F(Colors, SavingWritesTheNumberAndKeepsEverythingElse) {
    File::AtomicWrite(ColorsIni(), "; written by hand\nscheme=7\nSelected=#FF0000\nOwnKey=kept\n\n"
                                   "[Elsewhere]\nscheme=9\n");
    g_Scheme = -12;
    SaveColorScheme();
    const String text = File::ReadAll(ColorsIni());
    for (const char* kept : {"; written by hand", "Selected=#FF0000", "OwnKey=kept",
                             "[Elsewhere]\nscheme=9", "scheme=-12"})
        EXPECT_NE(text.find(kept), String::npos) << kept << " in\n" << text;
}

TEST_F(Colors, NoUserFolderThrowsNothingAndStillFillsThePalette) {
    EnvVar home("HOME"), xdg("XDG_CONFIG_HOME");
    home.Unset();
    xdg.Unset();
    g_Scheme = 5; // Custom reads the file as well
    Light();
    EXPECT_EQ(CatchException(LoadColorScheme), nullptr);
    EXPECT_EQ(CatchException(SaveColorScheme), nullptr);
    EXPECT_EQ(g_Scheme, 5);
    EXPECT_EQ(wxsGetColor(color_WindowBG), Rgb(72, 72, 72));
}

// ---- wxsColorManaged ----

TEST_F(Colors, ManagedWindowsInheritRolesAndFollowColourChanges) {
    auto* outer = new wxsPanel(TopWindow());
    outer->SetBackgroundSlot(color_Header, -10);
    outer->SetDisabledForegroundSlot(color_TextRed, 3);
    outer->RefreshColors();
    auto* text = new wxsStaticText(new wxsPanel(outer), wxID_ANY, "label");
    EXPECT_TRUE(text->GetDisabledForegroundSlot() == color_TextRed &&
                text->GetDisabledForegroundOffset() == 3);
    EXPECT_EQ(text->GetBackgroundColour(), Rgb(105, 105, 105));
    // A plain window in between breaks the inheritance, and passes a colour change on.
    auto* deep = new wxsPanel(new wxPanel(outer));
    auto* off = new wxsPanel(deep);
    EXPECT_EQ(deep->GetBackgroundColour(), Rgb(72, 72, 72));
    off->Enable(false);
    off->RefreshColors();
    // "TextGray", in the shade of it that reads on the disabled background.
    EXPECT_EQ(off->GetForegroundColour(), wxsReadableOn(Rgb(160, 170, 190), Rgb(142, 142, 142), 3));
    EXPECT_EQ(off->GetBackgroundColour(), Rgb(142, 142, 142)); // 92 + 50
    Lighter();
    wxSysColourChangedEvent event;
    TopWindow()->ProcessWindowEvent(event);
    EXPECT_EQ(off->GetBackgroundColour(), Rgb(255, 255, 255)); // clamped
    EXPECT_EQ(outer->GetBackgroundColour(), Rgb(201, 201, 201));
    EXPECT_EQ(deep->GetForegroundColour(), Rgb(10, 10, 10));
}

// ---- drawing helpers and the renderer (Dark scheme) ----

TEST_F(Colors, GradedRectangleStepsShrinkFromTheGradedEdge) {
    // Bottom graded: steps of heights 10..6 from the top; a row shows the last that reached it.
    const float bottom[10] = {.2f, .2f, .2f, .2f, .2f, .2f, .4f, .6f, .8f, 1.f};
    const float both[10] = {1.f, .8f, .6f, .4f, .2f, .2f, .4f, .6f, .8f, 1.f};
    const wxImage b = Graded(10, 1.0f, true, false), bt = Graded(10, 1.0f, true, true),
                  p = Graded(10, 2.0f, true, false);
    for (int row = 0; row < 10; ++row) {
        EXPECT_TRUE(RegionNear(b, wxRect(1, 2 + row, 10, 1), Step(bottom[row]))) << row;
        EXPECT_PIXEL(bt, 5, 2 + row, Step(both[row])) << row;
        EXPECT_PIXEL(p, 5, 2 + row, Step(bottom[row] * bottom[row])) << row;
    }
    const wxRect all(0, 0, 12, 14);
    EXPECT_EQ(CountPixels(b, all, k_Paper), 12 * 14 - 10 * 10);
    // No flag: flat in `first`, whatever the height; height 1 with a flag: nothing.
    for (int h : {1, 10})
        EXPECT_EQ(CountPixels(Graded(h, 3.0f, false, false), all, *wxBLACK), 10 * h) << h;
    EXPECT_EQ(CountPixels(Graded(1, 1.0f, true, false), all, k_Paper), 12 * 14);
}

TEST_F(Colors, CheckBoxBevelInEveryState) {
    // Border, outer bevel upper-left (over the lower-right) and lower-right, inner ones, face.
    const struct {
        int flags;
        unsigned rgb[6];
    } cases[] = {
        {0, {0x383838, 0xA5A5A5, 0x454545, 0x888888, 0x585858, 0x6C6C6C}},
        {wxCONTROL_CHECKED, {0x383838, 0x454545, 0xA5A5A5, 0x95743A, 0xC5A46A, 0xE6A330}},
        {wxCONTROL_CURRENT | wxCONTROL_CHECKED,
         {0x515151, 0x5E5E5E, 0xBEBEBE, 0xAE8D53, 0xDEBD83, 0xFFBC49}},
        {wxCONTROL_DISABLED | wxCONTROL_FOCUSED | wxCONTROL_CHECKED, // disabled wins
         {0x606060, 0x696969, 0xADADAD, 0xA18A62, 0xC3AC84, 0xDAAB5B}},
    };
    const int probes[][3] = {{0, 0, 0},  {12, 6, 0}, {1, 6, 1}, {11, 1, 1},
                             {6, 11, 2}, {6, 2, 3},  {10, 6, 4}}; // x, y, colour
    for (const auto& c : cases) {
        const wxImage img = Drawn(16, 16, [&](wxDC& dc) {
            r.DrawCheckBox(TopWindow(), dc, wxRect(0, 0, 13, 13), c.flags);
        });
        for (const auto& p : probes)
            EXPECT_PIXEL(img, p[0], p[1], Hex(c.rgb[p[2]])) << "flags " << c.flags;
        EXPECT_TRUE(RegionNear(img, wxRect(3, 3, 7, 7), Hex(c.rgb[5]))) << c.flags;
        EXPECT_PIXEL(img, 13, 13, k_Paper);
    }
}

TEST_F(Colors, RadioButtonDiscsInEveryState) {
    // Big, to probe the one-pixel rings on the axes (180 and 90 degrees in the light half):
    // outer, light and shade, both mixed 0.33 towards the face, both mixed 0.67, the face.
    const struct {
        int flags;
        unsigned rgb[8];
    } cases[] = {
        {0, {0x383838, 0xA5A5A5, 0x454545, 0x929292, 0x515151, 0x7E7E7E, 0x5F5F5F, 0x6C6C6C}},
        {wxCONTROL_CHECKED,
         {0x383838, 0x454545, 0xA5A5A5, 0x7A643E, 0xBAA47E, 0xB08336, 0xD0A356, 0xE6A330}},
        {wxCONTROL_CURRENT,
         {0x515151, 0xA5A5A5, 0x454545, 0x9A9A9A, 0x5A5A5A, 0x8F8F8F, 0x6F6F6F, 0x858585}},
        {wxCONTROL_DISABLED | wxCONTROL_FOCUSED, // both, disabled first
         {0x484848, 0xC6C6C6, 0x828282, 0xB0B0B0, 0x828282, 0x9A9A9A, 0x848484, 0x858585}},
    };
    const wxPoint probes[] = {{0, 21}, {21, 1}, {40, 21}, {2, 21}, {39, 21}, {3, 21}, {21, 38}};
    for (const auto& c : cases) {
        const wxImage img = Drawn(44, 44, [&](wxDC& dc) {
            r.DrawRadioBitmap(TopWindow(), dc, wxRect(0, 0, 41, 41), c.flags);
        });
        for (int i = 0; i < 7; ++i) // the rims are anti-aliased
            EXPECT_TRUE(PixelNear(img, probes[i].x, probes[i].y, Hex(c.rgb[i]), 6)) << c.flags;
        EXPECT_TRUE(RegionNear(img, wxRect(10, 10, 22, 22), Hex(c.rgb[7]))) << c.flags;
        EXPECT_PIXEL(img, 1, 1, k_Paper); // outside the disc
    }
}

TEST_F(Colors, DropArrowSplitterSashAndBorder) {
    // (0, 0, 40, 24) shrinks to (2, 6, 36, 12): the arrow (29, 6), (37, 6), (33, 17) at its right.
    const wxColour text = Rgb(255, 255, 255), face = Rgb(108, 108, 108);
    const wxImage img = Drawn(
        44, 26, [&](wxDC& dc) { r.DrawComboBoxDropButton(TopWindow(), dc, wxRect(0, 0, 40, 24)); });
    EXPECT_TRUE(RegionNear(img, wxRect(31, 7, 5, 3), text));
    EXPECT_PIXEL(img, 33, 14, text);
    EXPECT_PIXEL(img, 33, 20, face); // below the tip
    EXPECT_PIXEL(img, 33, 3, face);  // above the top edge
    EXPECT_TRUE(RegionNear(img, wxRect(0, 0, 27, 24), face));
    EXPECT_PIXEL(img, 41, 24, k_Paper);
    // The sash fills the size given, the border draws nothing.
    const wxImage sash = Drawn(50, 40, [&](wxDC& dc) {
        r.DrawSplitterBorder(TopWindow(), dc, wxRect(0, 0, 50, 40), 0);
        r.DrawSplitterSash(TopWindow(), dc, wxSize(45, 33), 20, wxVERTICAL, 0);
    });
    EXPECT_TRUE(RegionNear(sash, wxRect(0, 0, 45, 33), face));
    EXPECT_PIXEL(sash, 45, 10, k_Paper);
    EXPECT_PIXEL(sash, 10, 33, k_Paper);
    const wxSplitterRenderParams params = r.GetSplitterParams(TopWindow());
    EXPECT_TRUE(params.widthSash == 5 && params.border == 0 && params.isHotSensitive);
    EXPECT_TRUE(wxRendererVersion::IsCompatible(r.GetVersion()));
}

// ---- wxsButton ----

namespace {

class ColorsControls : public Colors {
protected:
    void SetUp() override {
        Colors::SetUp();
        // The palette renderer as the application's (asked for once first: the application
        // traits install their own).
        m_OldRenderer = (wxRendererNative::Get(), wxRendererNative::Set(new wxsRenderer()));
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
    static void Focus(wxWindow* w, bool in) {
        wxFocusEvent e(in ? wxEVT_SET_FOCUS : wxEVT_KILL_FOCUS);
        w->ProcessWindowEvent(e);
    }
    static void Mouse(wxWindow* w, wxEventType type, int x = 2, int y = 2, int clicks = 1) {
        wxMouseEvent e(type);
        e.m_x = x, e.m_y = y, e.m_clickCount = clicks;
        w->ProcessWindowEvent(e);
    }
    static void Key(wxWindow* w, wxEventType type, int key) {
        wxKeyEvent e(type);
        e.m_keyCode = key;
        w->ProcessWindowEvent(e);
    }
    void TearDown() override { delete wxRendererNative::Set(m_OldRenderer); }
    wxsPanel* m_Panel = nullptr;
    wxRendererNative* m_OldRenderer = nullptr;
};

const wxColour k_NormalFace = Rgb(108, 108, 108), k_HoveredFace = Rgb(133, 133, 133),
               k_DefaultFace = Rgb(250, 183, 68), k_HoveredDefaultFace = Rgb(255, 208, 93),
               k_Grey = Rgb(160, 170, 190); // "TextGray"

} // namespace

TEST_F(ColorsControls, ButtonLooksNormalDefaultHoveredAndDisabledThroughItsParent) {
    auto* normal = Add<wxsButton>(wxID_ANY, "Normal");
    auto* def = Add<wxsButton>(wxID_OK, "OK");
    EXPECT_EQ(def->SetDefault(), nullptr);
    EXPECT_PIXEL(Render(normal), 1, 1, k_NormalFace);
    EXPECT_EQ(normal->GetForegroundColour(), Rgb(255, 255, 255));
    EXPECT_PIXEL(Render(def), 1, 1, k_DefaultFace);         // "Selected" + 20
    EXPECT_EQ(def->GetForegroundColour(), Rgb(49, 49, 49)); // "3DDark" - 20
    EXPECT_EQ(def->GetFont(), wxsButton::GetDefaultFont());
    EXPECT_EQ(wxsButton::GetDefaultFont(), wxsButton::GetNormalFont().Bold());
    EXPECT_EQ(wxsButton::GetNormalFont().GetPointSize(), m_Panel->GetFont().GetPointSize() - 1);
    EXPECT_TRUE(normal->HasFlag(wxBORDER_NONE));

    // Hovering adds 25 to whichever look is current, once; a leave without an enter is nothing.
    Mouse(normal, wxEVT_LEAVE_WINDOW);
    Mouse(normal, wxEVT_ENTER_WINDOW);
    Mouse(normal, wxEVT_ENTER_WINDOW);
    Mouse(def, wxEVT_ENTER_WINDOW);
    EXPECT_PIXEL(Render(normal), 1, 1, k_HoveredFace);
    EXPECT_PIXEL(Render(def), 1, 1, k_HoveredDefaultFace); // +20 and +25, clamped
    EXPECT_EQ(def->GetForegroundColour(), Rgb(74, 74, 74));
    def->SetNormal(); // the shade follows a change of look
    EXPECT_PIXEL(Render(def), 1, 1, k_HoveredFace);

    // Disabled through the panel while hovered: the grey label, centred, on the face, unlit.
    m_Panel->Enable(false);
    PumpEvents();
    EXPECT_EQ(normal->GetBackgroundColour(), Rgb(56, 56, 56));
    const wxImage img = Render(normal);
    const wxSize text = normal->GetTextExtent("Normal"), size = normal->GetClientSize();
    const wxRect label((size.x - text.x) / 2, (size.y - text.y) / 2, text.x, text.y);
    EXPECT_GT(CountPixels(img, label, k_Grey, 12), 0);
    EXPECT_EQ(CountPixels(img, wxRect(0, 0, label.x, size.y), k_NormalFace), label.x * size.y);
    m_Panel->Enable(true);
    PumpEvents();
    EXPECT_EQ(normal->GetForegroundColour(), Rgb(255, 255, 255));
}

TEST_F(ColorsControls, MinimumSizeHoldsTheBoldLabelAndALongerLabelGrowsTheButton) {
    auto* button = Add<wxsButton>(wxID_ANY, "OK");
    auto* fit = Add<wxsButton>(wxID_ANY, "i", wxDefaultPosition, wxDefaultSize, wxBU_EXACTFIT);
    // Exact fit: 1.5 characters or the label, plus a character and an eighth of its height.
    const int cw = fit->GetCharWidth(), ch = fit->GetCharHeight();
    wxSize i;
    fit->GetTextExtent("i", &i.x, &i.y, nullptr, nullptr, &wxsButton::GetDefaultFont());
    EXPECT_EQ(fit->GetMinSize(), wxSize(std::max(3 * cw / 2, i.x) + cw, i.y + ch / 8));

    button->SetLabel("Render the selected frames again");
    button->SetDefault(); // the bold default font is the wider
    m_Panel->Layout();
    const wxRect label = button->GetLabelRect(button->GetClientSize());
    EXPECT_TRUE(label.x >= 0 && label.GetRight() < button->GetClientSize().x) << label.width;
}

TEST_F(ColorsControls, FocusMovesTheDefaultLookAndGivesItBack) {
    auto* ok = Add<wxsButton>(wxID_OK, "OK");
    auto* b = Add<wxsButton>(wxID_ANY, "B");
    auto* icon = Add<wxsButton>(wxID_ANY, "", wxDefaultPosition, wxDefaultSize, wxBU_NOTEXT);
    Focus(b, true); // no default item yet: focus only shades
    EXPECT_PIXEL(Render(b), 1, 1, k_HoveredFace);
    Focus(b, false);
    EXPECT_PIXEL(Render(b), 1, 1, k_NormalFace);

    ok->SetDefault();
    Focus(b, true); // B borrows the default look, OK turns normal
    EXPECT_TRUE(b->IsDefault());
    EXPECT_PIXEL(Render(b), 1, 1, k_DefaultFace);
    EXPECT_PIXEL(Render(ok), 1, 1, k_NormalFace);
    Focus(b, false); // B gives it back
    EXPECT_TRUE(ok->IsDefault());
    EXPECT_PIXEL(Render(ok), 1, 1, k_DefaultFace);
    EXPECT_PIXEL(Render(b), 1, 1, k_NormalFace);
    Focus(ok, true); // on the default button itself: the hover shade
    EXPECT_PIXEL(Render(ok), 1, 1, k_HoveredDefaultFace);
    Focus(ok, false);
    Focus(icon, true); // a button without text never takes part
    EXPECT_TRUE(ok->IsDefault());
    Focus(b, true);
    delete ok; // the earlier default going away meanwhile leaves nothing dangling
    Focus(b, false);
    EXPECT_TRUE(b->IsDefault());
}

TEST_F(ColorsControls, KeysAndReleasesClickTheButton) {
    auto* b = Add<wxsButton>(wxID_ANY, "Press");
    int clicks = 0, sound = 0; // sound: from the button, disabled while the handler runs
    b->Bind(wxEVT_BUTTON, [&](wxCommandEvent& e) {
        ++clicks;
        sound += !b->IsEnabled() && e.GetId() == b->GetId() && e.GetEventObject() == b;
        e.Skip();
    });
    for (int key : {+WXK_SPACE, +WXK_RETURN, +WXK_NUMPAD_ENTER, +'A', +WXK_ESCAPE}) {
        Key(b, wxEVT_KEY_DOWN, key);
        Key(b, wxEVT_KEY_UP, key);
    }
    EXPECT_EQ(clicks, 3);
    // The release of a Return pressed elsewhere (the one that opened this button's dialog).
    Key(b, wxEVT_KEY_UP, WXK_RETURN);
    EXPECT_EQ(clicks, 3);
    Mouse(b, wxEVT_LEFT_UP, 3, 3);
    Mouse(b, wxEVT_LEFT_UP, -5, 3);   // released outside
    Mouse(b, wxEVT_LEFT_UP, 3, 3, 2); // the release of a double click
    EXPECT_TRUE(clicks == 4 && sound == 4) << clicks << " " << sound;
    EXPECT_TRUE(b->IsEnabled() && b->GetForegroundColour() == Rgb(255, 255, 255)); // again
    b->Bind(wxEVT_BUTTON, [b](wxCommandEvent&) { b->Disable(); }); // it has the last word
    b->EmulateClick();
    EXPECT_TRUE(!b->IsThisEnabled() && b->GetForegroundColour() == k_Grey);
}

// ---- wxsCheckBox and wxsRadioButton ----

TEST_F(ColorsControls, CheckBoxTogglesReportsAndPaintsThroughTheApplicationRenderer) {
    auto* check = Add<wxsCheckBox>(wxID_ANY, "WWWW");
    std::vector<int> values;
    check->Bind(wxEVT_CHECKBOX, [&](wxCommandEvent& e) {
        EXPECT_TRUE(e.GetEventObject() == check && e.GetId() == check->GetId() &&
                    e.IsChecked() == check->GetValue()); // sent after the change
        values.push_back(e.GetInt());
    });
    const wxSize size = check->GetClientSize();
    Mouse(check, wxEVT_LEFT_UP, 3, 3);
    Key(check, wxEVT_KEY_UP, WXK_SPACE);
    Mouse(check, wxEVT_LEFT_UP, size.x + 3, 3); // outside
    Mouse(check, wxEVT_LEFT_UP, size.x - 2, 3); // on the label
    check->SetValue(false);                     // without an event, like the toolkit's
    EXPECT_EQ(values, (std::vector<int>{1, 0, 1}));

    // The label 2 pixels right of the box's square; nothing of it left of there.
    const int h = size.y, mid = h / 2;
    const wxRect label(h + 2, 0, size.x - h - 6, h), left(0, 0, h + 2, h);
    EXPECT_EQ(check->GetGeometry(size).label, label);
    // "TextOrange" on the Dark window reads only in a lighter shade of it.
    const wxColour text = Rgb(235, 235, 235);
    const wxColour orange = wxsReadableOn(Rgb(255, 136, 0), check->GetBackgroundColour());
    EXPECT_NE(orange, Rgb(255, 136, 0));
    wxImage img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(108, 108, 108)); // the box face, from the renderer
    EXPECT_PIXEL(img, 0, 0, check->GetBackgroundColour());
    EXPECT_GT(CountPixels(img, label, text, 20), 0);
    check->SetValue(true);
    Mouse(check, wxEVT_ENTER_WINDOW); // hovered: lit box, "TextOrange" label
    img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(255, 188, 73));
    EXPECT_GT(CountPixels(img, label, orange, 20), 0);
    EXPECT_EQ(CountPixels(img, left, orange, 20) + CountPixels(img, label, text, 20), 0);
    m_Panel->Enable(false); // disabled through the parent: the disabled shade and roles
    PumpEvents();
    img = Render(check);
    EXPECT_PIXEL(img, mid, mid, Rgb(218, 171, 91));
    EXPECT_GT(CountPixels(img, label, wxsReadableOn(k_Grey, check->GetBackgroundColour(), 3), 12),
              0);
    m_Panel->Enable(true); // the hover went with the disabling
    PumpEvents();
    EXPECT_GT(CountPixels(Render(check), label, text, 20), 0);
}

TEST_F(ColorsControls, RadioGroupsSetOnClickAndAlwaysReport) {
    auto* a = Add<wxsRadioButton>(wxID_ANY, "A", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    auto* b = Add<wxsRadioButton>(wxID_ANY, "B");
    Add<wxsButton>(wxID_ANY, "not a radio button"); // skipped over, does not end the group
    auto* c = Add<wxsRadioButton>(wxID_ANY, "C");
    auto* d = Add<wxsRadioButton>(wxID_ANY, "D", wxDefaultPosition, wxDefaultSize, wxRB_GROUP);
    EXPECT_EQ(c->GetGroup(), (std::vector<wxsRadioButton*>{a, b, c}));
    EXPECT_TRUE(a->GetValue() && !b->GetValue() && d->GetValue()); // the first of a group is set
    const wxImage img = Render(a); // a disc: its face in the middle, the panel in the corner
    EXPECT_PIXEL(img, img.GetHeight() / 2, img.GetHeight() / 2, Rgb(230, 163, 48));
    EXPECT_PIXEL(img, 2, 2, a->GetBackgroundColour());
    std::vector<wxObject*> from;
    m_Panel->Bind(wxEVT_RADIOBUTTON, [&](wxCommandEvent& ev) {
        EXPECT_EQ(ev.GetInt(), 1);
        from.push_back(ev.GetEventObject());
    });
    Mouse(c, wxEVT_LEFT_UP);
    Key(c, wxEVT_KEY_UP, WXK_SPACE); // set already: stays set, still reports
    EXPECT_TRUE(c->GetValue() && !a->GetValue() && d->GetValue()); // d: another group
    Mouse(b, wxEVT_LEFT_UP);
    EXPECT_FALSE(c->GetValue());
    a->Enable(false); // arrow keys select the neighbour in the group, skipping disabled ones
    Key(b, wxEVT_KEY_DOWN, WXK_DOWN);
    Key(c, wxEVT_KEY_DOWN, WXK_UP);
    Key(b, wxEVT_KEY_DOWN, WXK_LEFT); // only a disabled one before it
    EXPECT_TRUE(b->GetValue());
    EXPECT_EQ(from, (std::vector<wxObject*>{c, c, b, c, b}));
}

// The keyboard focus shows on a themed control in every scheme: focused, it paints a mark its
// unfocused self lacks, 3:1 or more against what was there (a default button included, whose
// look the focus does not change).
TEST_F(ColorsControls, FocusMarkShowsInEveryScheme) {
    auto* button = Add<wxsButton>(wxID_OK, "Go");
    auto* check = Add<wxsCheckBox>(wxID_ANY, "Tick");
    button->SetDefault();
    auto marked = [](const wxImage& before, const wxImage& after) {
        int count = 0;
        for (int y = 0; y < after.GetHeight(); ++y)
            for (int x = 0; x < after.GetWidth(); ++x) {
                const wxColour a(before.GetRed(x, y), before.GetGreen(x, y), before.GetBlue(x, y));
                const wxColour b(after.GetRed(x, y), after.GetGreen(x, y), after.GetBlue(x, y));
                count += wxsContrast(a, b) >= 3;
            }
        return count;
    };
    for (int scheme = 1; scheme <= 5; ++scheme) {
        SetColors(scheme);
        wxSysColourChangedEvent colours;
        TopWindow()->ProcessWindowEvent(colours);
        // The focus comes from the other one (another button would take the default look).
        for (wxWindow* control : std::initializer_list<wxWindow*>{button, check}) {
            (control == button ? static_cast<wxWindow*>(check) : button)->SetFocus();
            ASSERT_TRUE(WaitFor([&] { return !control->HasFocus(); }));
            auto render = [&] { return button == control ? Render(button) : Render(check); };
            const wxImage before = render();
            control->SetFocus();
            ASSERT_TRUE(WaitFor([&] { return control->HasFocus(); }));
            const wxImage after = render();
            EXPECT_GT(marked(before, after), 10)
                << "scheme " << scheme << " " << control->GetLabel();
        }
    }
}
