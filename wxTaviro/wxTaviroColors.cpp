// The colour palette, colour schemes, colour management, the palette renderer, the themed
// buttons and toggles, the check list box and the notebook with its tab and dock art.
//
// Sections:
//   palette          slot constants, the four fixed columns, access, colour arithmetic
//   colour schemes   g_Scheme, SetColors, "Colors.ini" (CustomColors, Load, Save)
//   wxsColorManaged  roles, inheritance from the parent, RefreshColors
//   drawing helpers  DrawGradedRectangle, DrawCircle
//   wxsRenderer      sash, drop button and arrow, check box, radio button
//   wxsButton        looks, default hand-over on focus, hover, keys, painting
//   wxsCheckBox      value, click, painting; wxsRadioButton and its group
//   wrappers         wxsStaticText, wxsPanel, wxsBitmapButton; the shared fonts' clean-up
//   wxsCheckListBox  rows and client data, ticks and their events, keys, menu, painting
//   wxsNotebook      wxsTabArt (strip and tabs), wxsDockArt (borders, sashes), the notebook
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroAccessible.h>

#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/IniFile.h>
#include <ostrum/Log.h>

#include <wx/dcbuffer.h>
#include <wx/dcgraph.h>
#include <wx/dcmemory.h>
#include <wx/menu.h>
#include <wx/module.h>
#include <wx/settings.h>
#include <wx/toplevel.h>
#include <wx/wupdlock.h>

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <cmath>
#include <iterator>
#include <map>
#include <memory>

// ---- palette ----

const String color_WindowBG = "WindowBG";
const String color_WindowBGLighter = "WindowBGLighter";
const String color_WindowBGDarker = "WindowBGDarker";
const String color_Text = "Text";
const String color_TextRed = "TextRed";
const String color_TextOrange = "TextOrange";
const String color_TextYellow = "TextYellow";
const String color_TextGreen = "TextGreen";
const String color_TextCyan = "TextCyan";
const String color_TextBlue = "TextBlue";
const String color_TextIndigo = "TextIndigo";
const String color_TextViolet = "TextViolet";
const String color_TextDarkRed = "TextDarkRed";
const String color_TextDarkOrange = "TextDarkOrange";
const String color_TextDarkYellow = "TextDarkYellow";
const String color_TextDarkGreen = "TextDarkGreen";
const String color_TextDarkCyan = "TextDarkCyan";
const String color_TextDarkBlue = "TextDarkBlue";
const String color_TextDarkIndigo = "TextDarkIndigo";
const String color_TextDarkViolet = "TextDarkViolet";
const String color_TextGrey = "TextGray"; // spelled differently on purpose: the slot is "TextGray"
const String color_3DLight = "3DLight";
const String color_3DDark = "3DDark";
const String color_ButtonFace = "ButtonFace";
const String color_ButtonText = "ButtonText";
const String color_Selected = "Selected";
const String color_Header = "Header";

const String* const color_Slots[color_SlotCount] = {
    &color_WindowBG,     &color_WindowBGLighter, &color_WindowBGDarker, &color_Text,
    &color_TextRed,      &color_TextOrange,      &color_TextYellow,     &color_TextGreen,
    &color_TextCyan,     &color_TextBlue,        &color_TextIndigo,     &color_TextViolet,
    &color_TextDarkRed,  &color_TextDarkOrange,  &color_TextDarkYellow, &color_TextDarkGreen,
    &color_TextDarkCyan, &color_TextDarkBlue,    &color_TextDarkIndigo, &color_TextDarkViolet,
    &color_TextGrey,     &color_3DLight,         &color_3DDark,         &color_ButtonFace,
    &color_ButtonText,   &color_Selected,        &color_Header,
};

namespace {

// One row of the fixed schemes: a slot's colour in Light, Lighter, Dark and Darker. Row i is
// the slot color_Slots[i].
struct _SchemeRow {
    unsigned char rgb[4][3];
};

// The complete data, applied in this order; rows repeat across columns on purpose.
const _SchemeRow s_SchemeRows[] = {
    {{{185, 185, 185}, {233, 233, 233}, {72, 72, 72}, {32, 32, 32}}},       // WindowBG
    {{{210, 210, 210}, {255, 255, 255}, {92, 92, 92}, {58, 58, 58}}},       // WindowBGLighter
    {{{168, 168, 168}, {215, 215, 215}, {56, 56, 56}, {12, 12, 12}}},       // WindowBGDarker
    {{{52, 52, 52}, {10, 10, 10}, {235, 235, 235}, {205, 205, 205}}},       // Text
    {{{235, 30, 19}, {245, 25, 12}, {255, 60, 33}, {235, 40, 23}}},         // TextRed
    {{{184, 99, 0}, {191, 80, 0}, {255, 136, 0}, {235, 156, 0}}},           // TextOrange
    {{{97, 90, 16}, {242, 227, 19}, {255, 225, 0}, {235, 210, 0}}},         // TextYellow
    {{{0, 115, 0}, {0, 165, 0}, {0, 255, 0}, {0, 235, 0}}},                 // TextGreen
    {{{0, 166, 166}, {0, 166, 166}, {0, 255, 255}, {0, 235, 235}}},         // TextCyan
    {{{0, 31, 166}, {0, 31, 166}, {132, 153, 245}, {130, 150, 235}}},       // TextBlue
    {{{136, 0, 255}, {136, 0, 255}, {147, 46, 255}, {147, 46, 255}}},       // TextIndigo
    {{{225, 0, 205}, {225, 0, 205}, {255, 0, 230}, {235, 0, 230}}},         // TextViolet
    {{{185, 25, 10}, {185, 25, 10}, {185, 25, 10}, {185, 25, 10}}},         // TextDarkRed
    {{{152, 82, 0}, {132, 68, 0}, {200, 127, 42}, {200, 127, 42}}},         // TextDarkOrange
    {{{190, 180, 55}, {190, 180, 55}, {190, 180, 55}, {190, 180, 55}}},     // TextDarkYellow
    {{{31, 166, 0}, {31, 166, 0}, {80, 190, 55}, {80, 190, 55}}},           // TextDarkGreen
    {{{40, 180, 180}, {40, 180, 180}, {40, 180, 180}, {40, 180, 180}}},     // TextDarkCyan
    {{{0, 0, 165}, {0, 0, 165}, {0, 0, 165}, {0, 0, 165}}},                 // TextDarkBlue
    {{{108, 52, 148}, {108, 52, 148}, {123, 92, 156}, {123, 92, 156}}},     // TextDarkIndigo
    {{{145, 26, 116}, {145, 26, 116}, {214, 9, 135}, {214, 9, 135}}},       // TextDarkViolet
    {{{85, 90, 105}, {85, 90, 105}, {160, 170, 190}, {160, 170, 190}}},     // TextGrey
    {{{165, 165, 165}, {205, 205, 205}, {165, 165, 165}, {145, 145, 145}}}, // 3DLight
    {{{69, 69, 69}, {55, 55, 55}, {69, 69, 69}, {49, 49, 49}}},             // 3DDark
    {{{155, 155, 155}, {200, 200, 200}, {108, 108, 108}, {75, 75, 75}}},    // ButtonFace
    {{{0, 0, 0}, {0, 0, 0}, {255, 255, 255}, {235, 235, 235}}},             // ButtonText
    {{{222, 163, 62}, {250, 169, 35}, {230, 163, 48}, {199, 129, 16}}},     // Selected
    {{{168, 168, 168}, {211, 211, 211}, {115, 115, 115}, {55, 55, 55}}},    // Header
};

static_assert(std::size(s_SchemeRows) == color_SlotCount, "one row per palette slot");

enum _Column { k_LightColumn, k_LighterColumn, k_DarkColumn, k_DarkerColumn };

// Created on first use, so that code running before this library's static initialisation
// still finds a palette.
std::map<String, wxColour>& _Palette() {
    static std::map<String, wxColour> palette;
    return palette;
}

void _ApplyColumn(_Column column) {
    for (size_t i = 0; i < color_SlotCount; ++i) {
        const unsigned char* c = s_SchemeRows[i].rgb[column];
        wxsSetColor(*color_Slots[i], wxColour(c[0], c[1], c[2], wxALPHA_OPAQUE));
    }
}

int _Clamp(int v) {
    return std::min(255, std::max(0, v));
}

// trunc(a * wa + b * wb) per channel, opaque; unset when either is.
wxColour _Weighted(const wxColour& a, double wa, const wxColour& b, double wb) {
    if (!a.IsOk() || !b.IsOk()) return wxColour();
    auto mix = [&](int ca, int cb) { return _Clamp(int(ca * wa + cb * wb)); };
    return wxColour(mix(a.Red(), b.Red()), mix(a.Green(), b.Green()), mix(a.Blue(), b.Blue()),
                    wxALPHA_OPAQUE);
}

wxColour _HalfAndHalf(const wxColour& a, const wxColour& b) {
    return _Weighted(a, 0.5, b, 0.5);
}

// An unset colour paints nothing.
wxBrush _Brush(const wxColour& c) {
    return c.IsOk() ? wxBrush(c) : *wxTRANSPARENT_BRUSH;
}

void _Fill(wxDC& dc, const wxRect& rect, const wxColour& c) {
    dc.SetBrush(_Brush(c));
    dc.DrawRectangle(rect);
}

// Restores the dc's pen and brush when drawing is done.
class _KeepPenAndBrush {
public:
    explicit _KeepPenAndBrush(wxDC& dc) : m_DC(dc), m_Pen(dc.GetPen()), m_Brush(dc.GetBrush()) {}
    ~_KeepPenAndBrush() {
        m_DC.SetPen(m_Pen);
        m_DC.SetBrush(m_Brush);
    }

private:
    wxDC& m_DC;
    wxPen m_Pen;
    wxBrush m_Brush;
};

} // namespace

wxColour wxsGetColor(const String& name) {
    CALL_ENTRY("wxsGetColor");
    return _Palette()[name]; // an unknown name is added, unset
}

void wxsSetColor(const String& name, const wxColour& colour) {
    CALL_ENTRY("wxsSetColor");
    _Palette()[name] = colour;
}

wxColour OffsetColor(const wxColour& colour, int red, int green, int blue) {
    CALL_ENTRY("OffsetColor");
    if (!colour.IsOk()) return wxColour();
    return wxColour(_Clamp(colour.Red() + red), _Clamp(colour.Green() + green),
                    _Clamp(colour.Blue() + blue), wxALPHA_OPAQUE);
}

wxColour OffsetColor(const wxColour& colour, const wxColour& delta) {
    CALL_ENTRY("OffsetColor");
    if (!colour.IsOk() || !delta.IsOk()) return wxColour();
    return wxColour(_Clamp(colour.Red() + delta.Red()), _Clamp(colour.Green() + delta.Green()),
                    _Clamp(colour.Blue() + delta.Blue()), wxALPHA_OPAQUE);
}

wxColour Disabled(const wxColour& colour) {
    CALL_ENTRY("Disabled");
    return _Weighted(colour, 0.7, *wxLIGHT_GREY, 0.3);
}

wxColour Hilight(const wxColour& colour) {
    CALL_ENTRY("Hilight");
    return OffsetColor(colour, 25, 25, 25);
}

namespace {
// Relative luminance of sRGB channels, from a table: paint code asks this for every row.
double _Luminance(const wxColour& c) {
    static const std::array<double, 256> s_Linear = [] {
        std::array<double, 256> t{};
        for (int i = 0; i < 256; ++i) {
            const double v = i / 255.0;
            t[size_t(i)] = v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        }
        return t;
    }();
    return 0.2126 * s_Linear[c.Red()] + 0.7152 * s_Linear[c.Green()] + 0.0722 * s_Linear[c.Blue()];
}

wxColour _Mix(const wxColour& from, int to, double t) {
    auto channel = [&](int c) { return (unsigned char)std::lround(c + (to - c) * t); };
    return wxColour(channel(from.Red()), channel(from.Green()), channel(from.Blue()));
}
} // namespace

double wxsContrast(const wxColour& a, const wxColour& b) {
    const double la = _Luminance(a), lb = _Luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

wxColour wxsReadableOn(const wxColour& text, const wxColour& background, double minimum) {
    if (!text.IsOk() || !background.IsOk() || wxsContrast(text, background) >= minimum) return text;
    // Towards the end the text already leans to, unless even that end does not read.
    const bool darker = _Luminance(text) < _Luminance(background);
    const wxColour black(0, 0, 0), white(255, 255, 255);
    const bool toBlack = darker ? wxsContrast(black, background) >= minimum
                                : wxsContrast(white, background) < minimum;
    const int end = toBlack ? 0 : 255;
    double lo = 0, hi = 1; // the least mix that reads
    for (int step = 0; step < 16; ++step) {
        const double mid = (lo + hi) / 2;
        (wxsContrast(_Mix(text, end, mid), background) >= minimum ? hi : lo) = mid;
    }
    return _Mix(text, end, hi);
}

void Light() {
    CALL_ENTRY("Light");
    _ApplyColumn(k_LightColumn);
}

void Lighter() {
    CALL_ENTRY("Lighter");
    _ApplyColumn(k_LighterColumn);
}

void Dark() {
    CALL_ENTRY("Dark");
    _ApplyColumn(k_DarkColumn);
}

void Darker() {
    CALL_ENTRY("Darker");
    _ApplyColumn(k_DarkerColumn);
}

// ---- colour schemes ----

int g_Scheme = -1;

namespace {

// Built afresh on every use: the user folder may change (tests, a changed HOME). Throws
// Exception* when there is no user folder.
Path _SchemePath() {
    Path path = Path(File::GetUserDir()).Branch(true, true);
    path /= "Colors.ini";
    return path;
}

// Selected text in GTK's own fields (the text controls of dialogs, labels) takes the palette's
// selection colours, as the views' selections do, instead of the theme's: one style provider
// for the whole screen, refilled at every scheme change.
void _SelectionFollowsPalette() {
#ifdef __WXGTK3__
    using NewProvider = void* (*)();
    using LoadData = int (*)(void*, const char*, long, void**);
    using DefaultScreen = void* (*)();
    using AddProvider = void (*)(void*, void*, unsigned);
    static auto newProvider = (NewProvider)dlsym(RTLD_DEFAULT, "gtk_css_provider_new");
    static auto load = (LoadData)dlsym(RTLD_DEFAULT, "gtk_css_provider_load_from_data");
    static auto screen = (DefaultScreen)dlsym(RTLD_DEFAULT, "gdk_screen_get_default");
    static auto add = (AddProvider)dlsym(RTLD_DEFAULT, "gtk_style_context_add_provider_for_screen");
    if (!newProvider || !load || !screen || !add || !screen()) return;
    static void* provider = nullptr;
    if (!provider) {
        provider = newProvider();
        const unsigned k_ApplicationPriority = 600; // GTK_STYLE_PROVIDER_PRIORITY_APPLICATION
        add(screen(), provider, k_ApplicationPriority);
    }
    // The colours of the default button and of a selection in the log viewer.
    const wxColour back = wxsGetColor(color_Selected);
    const wxColour text = OffsetColor(wxsGetColor(color_3DDark), -20, -20, -20);
    if (!back.IsOk() || !text.IsOk()) return;
    const wxString css =
        wxString::Format("selection { background-color: %s; color: %s; }",
                         back.GetAsString(wxC2S_HTML_SYNTAX), text.GetAsString(wxC2S_HTML_SYNTAX));
    load(provider, css.utf8_str(), -1, nullptr);
#endif
}

// What the toolkit draws itself (the menu bar, the status bar, scroll bars, native dialogs)
// follows the palette: GTK's dark variant of its theme while the window background is dark,
// its light one otherwise. GTK is already in the process (wx runs on it); its two functions
// are looked up at run time so that building needs no GTK headers, and nothing happens
// without a display.
void _FollowToolkitTheme() {
#ifdef __WXGTK3__
    using GetSettings = void* (*)();
    using SetProperty = void (*)(void*, const char*, ...);
    static auto getSettings = (GetSettings)dlsym(RTLD_DEFAULT, "gtk_settings_get_default");
    static auto setProperty = (SetProperty)dlsym(RTLD_DEFAULT, "g_object_set");
    if (!getSettings || !setProperty) return;
    void* settings = getSettings();
    if (!settings) return;
    const wxColour bg = wxsGetColor(color_WindowBG);
    const bool dark = bg.IsOk() && bg.Red() * 299 + bg.Green() * 587 + bg.Blue() * 114 < 128000;
    setProperty(settings, "gtk-application-prefer-dark-theme", (int)dark, nullptr);
    _SelectionFollowsPalette();
#endif
}

} // namespace

void SetColors(int scheme) {
    CALL_ENTRY("SetColors");
    switch (scheme) {
    case 1:
        Light();
        break;
    case 2:
        Lighter();
        break;
    case 4:
        Darker();
        break;
    case 5:
        CustomColors();
        break;
    default: // 3, and every unknown number: Dark is the safe fallback
        Dark();
        break;
    }
    _FollowToolkitTheme();
}

void CustomColors() {
    CALL_ENTRY("CustomColors");
    Dark(); // the file need hold only the slots the user changes
    try {
        IniFile file(_SchemePath());
        file.Load(true, true);
        for (const String* slot : color_Slots)
            GetCustom(file, *slot);
    } catch (Exception* e) {
        delete e; // the slots not read keep their Dark values
    }
}

void GetCustom(IniFile& file, const String& slot) {
    CALL_ENTRY("GetCustom");
    const String text = file.GetValue(String(), slot, String());
    if (text.empty()) return;
    // A value that is no colour (or no text in the locale's encoding) keeps the scheme's
    // colour: an unset palette colour makes wx assert wherever a channel of it is read.
    const wxString wide(text.c_str(), wxConvLibc);
    const wxColour colour(wide);
    if (wide.empty() || !colour.IsOk()) {
        GlobalLog(LL_Warning,
                  SFormat("Colors.ini: %s = '%s' is not a colour; the scheme's colour is kept",
                          slot.c_str(), text.substr(0, 60).c_str()));
        return;
    }
    wxsSetColor(slot, colour);
}

void LoadColorScheme() {
    CALL_ENTRY("LoadColorScheme");
    try {
        IniFile file(_SchemePath());
        file.Load(true, true);
        g_Scheme = file.GetValue(String(), "scheme", g_Scheme);
    } catch (Exception* e) {
        delete e; // no folder, no file or a bad one: the scheme stays as it was
    }
    if (g_Scheme == -1) g_Scheme = 0;
    SetColors(g_Scheme);
}

namespace {
String s_SaveError; // why the last save failed; empty after a good one
} // namespace

const String& GetColorSchemeSaveError() {
    return s_SaveError;
}

void SaveColorScheme() {
    CALL_ENTRY("SaveColorScheme");
    try {
        IniFile file;
        const Path path = _SchemePath();
        if (File::Exists(path)) {
            // Loaded first so that the user's colour keys and anything else survive.
            file.SetFilename(path, k_FileRead);
            try {
                file.Load(true, true);
            } catch (Exception* e) {
                delete e; // save what could be read
            }
        }
        {
            RWLock::WriteGuard lock(*file.GetRWLock());
            file.InsertSection(String());
            file.SetValue("scheme", String::FromInt(g_Scheme));
        }
        file.SetFilename(path);
        file.Save();
    } catch (Exception* e) {
        // The choice holds for this run only; said in the log, and the frame tells the user.
        s_SaveError = e->Format();
        GlobalLog(LL_Error, "Cannot save the colour scheme: " + s_SaveError);
        delete e;
        return;
    }
    s_SaveError.clear();
}

// ---- wxsColorManaged ----

namespace {
wxColour _RoleColour(const String& slot, int offset) {
    return OffsetColor(wxsGetColor(slot), offset, offset, offset);
}
} // namespace

wxsColorManaged::wxsColorManaged() {
    CALL_ENTRY("wxsColorManaged::wxsColorManaged");
}

wxsColorManaged::wxsColorManaged(wxWindow* window) {
    CALL_ENTRY("wxsColorManaged::wxsColorManaged");
    Manage(window);
}

wxsColorManaged::~wxsColorManaged() {
    // The binding dies with the window, which goes together with this object.
}

void wxsColorManaged::Manage(wxWindow* window) {
    CALL_ENTRY("wxsColorManaged::Manage");
    if (m_Window)
        m_Window->Unbind(wxEVT_SYS_COLOUR_CHANGED, &wxsColorManaged::wxsHandleSysColorChanged,
                         this);
    m_Window = window;
    if (!m_Window) return;
    m_Window->Bind(wxEVT_SYS_COLOUR_CHANGED, &wxsColorManaged::wxsHandleSysColorChanged, this);
    wxsAccessibleRegister(m_Window);

    // A control takes its container's roles. The dialog base is a wxsColorManaged as well, so
    // the cross-cast finds it too.
    const wxsColorManaged* parent = dynamic_cast<const wxsColorManaged*>(m_Window->GetParent());
    if (parent) {
        m_EnabledFgSlot = parent->m_EnabledFgSlot;
        m_EnabledBgSlot = parent->m_EnabledBgSlot;
        m_DisabledFgSlot = parent->m_DisabledFgSlot;
        m_DisabledBgSlot = parent->m_DisabledBgSlot;
        m_EnabledFgOffset = parent->m_EnabledFgOffset;
        m_EnabledBgOffset = parent->m_EnabledBgOffset;
        m_DisabledFgOffset = parent->m_DisabledFgOffset;
        m_DisabledBgOffset = parent->m_DisabledBgOffset;
    } else {
        m_EnabledFgSlot = color_Text;
        m_EnabledBgSlot = color_WindowBG;
        m_DisabledFgSlot = color_TextGrey;
        m_DisabledBgSlot = color_WindowBGLighter;
        m_EnabledFgOffset = 0;
        m_EnabledBgOffset = 0;
        m_DisabledFgOffset = 0;
        m_DisabledBgOffset = 50; // a disabled window shows clearly lighter
    }
    RefreshColors();
}

void wxsColorManaged::RefreshColors() const {
    CALL_ENTRY("wxsColorManaged::RefreshColors");
    if (!m_Window) return;
    const bool enabled = m_Window->IsEnabled();
    wxWindowUpdateLocker freeze(m_Window);
    // An unset slot gives an invalid colour, which resets the window to its default. The
    // text takes the nearest shade of its role that reads on the background (disabled text
    // a little less).
    const wxColour bg = enabled ? _RoleColour(m_EnabledBgSlot, m_EnabledBgOffset)
                                : _RoleColour(m_DisabledBgSlot, m_DisabledBgOffset);
    const wxColour fg = enabled ? _RoleColour(m_EnabledFgSlot, m_EnabledFgOffset)
                                : _RoleColour(m_DisabledFgSlot, m_DisabledFgOffset);
    m_Window->SetForegroundColour(wxsReadableOn(fg, bg, enabled ? 4.5 : 3.0));
    m_Window->SetBackgroundColour(bg);
}

void wxsColorManaged::wxsHandleSysColorChanged(wxSysColourChangedEvent& event) {
    CALL_ENTRY("wxsColorManaged::wxsHandleSysColorChanged");
    event.Skip(); // the default handling passes it on to the children and repaints
    RefreshColors();
}

void wxsColorManaged::SetForegroundSlot(const String& slot, int offset) {
    CALL_ENTRY("wxsColorManaged::SetForegroundSlot");
    m_EnabledFgSlot = slot;
    m_EnabledFgOffset = offset;
}

void wxsColorManaged::SetBackgroundSlot(const String& slot, int offset) {
    CALL_ENTRY("wxsColorManaged::SetBackgroundSlot");
    m_EnabledBgSlot = slot;
    m_EnabledBgOffset = offset;
}

void wxsColorManaged::SetDisabledForegroundSlot(const String& slot, int offset) {
    CALL_ENTRY("wxsColorManaged::SetDisabledForegroundSlot");
    m_DisabledFgSlot = slot;
    m_DisabledFgOffset = offset;
}

void wxsColorManaged::SetDisabledBackgroundSlot(const String& slot, int offset) {
    CALL_ENTRY("wxsColorManaged::SetDisabledBackgroundSlot");
    m_DisabledBgSlot = slot;
    m_DisabledBgOffset = offset;
}

const String& wxsColorManaged::GetForegroundSlot() const {
    CALL_ENTRY("wxsColorManaged::GetForegroundSlot");
    return m_EnabledFgSlot;
}

const String& wxsColorManaged::GetBackgroundSlot() const {
    CALL_ENTRY("wxsColorManaged::GetBackgroundSlot");
    return m_EnabledBgSlot;
}

const String& wxsColorManaged::GetDisabledForegroundSlot() const {
    CALL_ENTRY("wxsColorManaged::GetDisabledForegroundSlot");
    return m_DisabledFgSlot;
}

const String& wxsColorManaged::GetDisabledBackgroundSlot() const {
    CALL_ENTRY("wxsColorManaged::GetDisabledBackgroundSlot");
    return m_DisabledBgSlot;
}

int wxsColorManaged::GetForegroundOffset() const {
    CALL_ENTRY("wxsColorManaged::GetForegroundOffset");
    return m_EnabledFgOffset;
}

int wxsColorManaged::GetBackgroundOffset() const {
    CALL_ENTRY("wxsColorManaged::GetBackgroundOffset");
    return m_EnabledBgOffset;
}

int wxsColorManaged::GetDisabledForegroundOffset() const {
    CALL_ENTRY("wxsColorManaged::GetDisabledForegroundOffset");
    return m_DisabledFgOffset;
}

int wxsColorManaged::GetDisabledBackgroundOffset() const {
    CALL_ENTRY("wxsColorManaged::GetDisabledBackgroundOffset");
    return m_DisabledBgOffset;
}

wxWindow* wxsColorManaged::GetManagedWindow() const {
    CALL_ENTRY("wxsColorManaged::GetManagedWindow");
    return m_Window;
}

// ---- drawing helpers ----

void DrawGradedRectangle(wxDC& dc, const wxRect& rect, const wxColour& first,
                         const wxColour& second, float power, bool gradeBottom, bool gradeTop) {
    CALL_ENTRY("DrawGradedRectangle");
    _KeepPenAndBrush keep(dc);
    dc.SetPen(*wxTRANSPARENT_PEN);
    int x = rect.x, y = rect.y, w = rect.width, h = rect.height;
    const int n = (gradeBottom || gradeTop) ? h / 2 : 1;
    for (int i = 0; i < n; ++i) {
        float t = 0;
        if (n != 1) {
            const float q = float(std::abs(i - n)) / float(n);
            t = float(std::pow(double(q), double(power)));
            t = std::min(1.0f, std::max(0.0f, t));
        }
        wxColour c;
        if (first.IsOk() && (second.IsOk() || t == 0)) {
            const wxColour& s = second.IsOk() ? second : first;
            auto channel = [t](int a, int b) { return _Clamp(int(b * t + a * (1 - t))); };
            c = wxColour(channel(first.Red(), s.Red()), channel(first.Green(), s.Green()),
                         channel(first.Blue(), s.Blue()), wxALPHA_OPAQUE);
        }
        _Fill(dc, wxRect(x, y, w, h), c);
        if (gradeTop) {
            ++y;
            --h;
        }
        if (gradeBottom) --h;
    }
}

void wxsDrawFocusMark(wxDC& dc, const wxRect& rect, const wxColour& ink) {
    CALL_ENTRY("wxsDrawFocusMark");
    if (!ink.IsOk() || rect.IsEmpty()) return;
    // Every other pixel filled, not a dotted pen: Cairo smears a dotted 1-pixel line over two
    // pixel rows at half strength, and the mark fades into the face.
    const wxPen oldPen = dc.GetPen();
    const wxBrush oldBrush = dc.GetBrush();
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(ink));
    for (int x = rect.x; x <= rect.GetRight(); x += 2) {
        dc.DrawRectangle(x, rect.y, 1, 1);
        dc.DrawRectangle(x, rect.GetBottom(), 1, 1);
    }
    for (int y = rect.y + 2; y < rect.GetBottom(); y += 2) {
        dc.DrawRectangle(rect.x, y, 1, 1);
        dc.DrawRectangle(rect.GetRight(), y, 1, 1);
    }
    dc.SetPen(oldPen);
    dc.SetBrush(oldBrush);
}

void DrawCircle(wxDC& dc, const wxRect& rect, double startAngle, double endAngle) {
    CALL_ENTRY("DrawCircle");
    dc.DrawEllipticArc(rect.x, rect.y, rect.width, rect.height, startAngle, endAngle);
}

// ---- wxsRenderer ----

namespace {

// The pie of DrawCircle in one colour.
void _Pie(wxDC& dc, const wxRect& rect, double from, double to, const wxColour& c) {
    dc.SetBrush(_Brush(c));
    DrawCircle(dc, rect, from, to);
}

// One ring of the radio button: shade all round, light on the upper-left half, and the two
// transitions between them in the middle colour.
void _RadioRing(wxDC& dc, const wxRect& rect, const wxColour& shade, const wxColour& light,
                const wxColour& middle) {
    _Pie(dc, rect, 0, 360, shade);
    _Pie(dc, rect, 35, 215, light);
    _Pie(dc, rect, 25, 45, middle);
    _Pie(dc, rect, 205, 225, middle);
}

void _DrawRadio(wxDC& dc, const wxRect& rect, int flags) {
    const bool checked = flags & wxCONTROL_CHECKED;
    wxColour outer = wxsGetColor(color_WindowBGDarker);
    wxColour face = wxsGetColor(checked ? color_Selected : color_ButtonFace);
    wxColour shade = wxsGetColor(checked ? color_3DLight : color_3DDark);
    wxColour light = wxsGetColor(checked ? color_3DDark : color_3DLight);
    // Independent steps, in this order: a disabled and focused button gets both.
    if (flags & wxCONTROL_DISABLED) {
        face = Disabled(face);
        shade = Disabled(shade);
        light = Disabled(light);
        outer = Disabled(outer);
    }
    if (flags & wxCONTROL_FOCUSED) {
        shade = Hilight(shade);
        light = Hilight(light);
        outer = wxsGetColor(color_WindowBG);
    }
    if (flags & wxCONTROL_CURRENT) {
        face = Hilight(face);
        outer = Hilight(outer);
    }
    const wxColour middle = _HalfAndHalf(shade, light);
    auto towardsFace = [&](const wxColour& c, double faceWeight) {
        return _Weighted(c, 1 - faceWeight, face, faceWeight);
    };

    _KeepPenAndBrush keep(dc);
    dc.SetPen(*wxTRANSPARENT_PEN);
    wxRect r(rect.x, rect.y, rect.width + 1, rect.height + 1);
    _Pie(dc, r, 0, 360, outer);
    r.Deflate(1);
    _RadioRing(dc, r, shade, light, middle);
    r.Deflate(1);
    _RadioRing(dc, r, towardsFace(shade, 0.33), towardsFace(light, 0.33),
               towardsFace(middle, 0.33));
    r.Deflate(1);
    _RadioRing(dc, r, _Weighted(shade, 0.33, face, 0.67), _Weighted(light, 0.33, face, 0.67),
               _Weighted(middle, 0.33, face, 0.67));
    r.Deflate(1);
    _Pie(dc, r, 0, 360, face);
}

} // namespace

wxsRenderer::wxsRenderer(wxRendererNative& delegate) : wxDelegateRendererNative(delegate) {
    CALL_ENTRY("wxsRenderer::wxsRenderer");
}

void wxsRenderer::DrawSplitterBorder(wxWindow*, wxDC&, const wxRect&, int) {
    CALL_ENTRY("wxsRenderer::DrawSplitterBorder");
    // No border: the sash alone separates the panes.
}

void wxsRenderer::DrawSplitterSash(wxWindow*, wxDC& dc, const wxSize& size, wxCoord, wxOrientation,
                                   int) {
    CALL_ENTRY("wxsRenderer::DrawSplitterSash");
    // The whole client area, whatever the sash position: the panes cover the rest.
    _KeepPenAndBrush keep(dc);
    dc.SetPen(*wxTRANSPARENT_PEN);
    _Fill(dc, wxRect(wxPoint(0, 0), size), wxsGetColor(color_ButtonFace));
}

void wxsRenderer::DrawComboBoxDropButton(wxWindow* win, wxDC& dc, const wxRect& rect, int flags) {
    CALL_ENTRY("wxsRenderer::DrawComboBoxDropButton");
    {
        _KeepPenAndBrush keep(dc);
        dc.SetPen(*wxTRANSPARENT_PEN);
        _Fill(dc, rect, wxsGetColor(color_ButtonFace));
    }
    DrawDropArrow(win, dc, rect, flags);
}

void wxsRenderer::DrawDropArrow(wxWindow*, wxDC& dc, const wxRect& rect, int) {
    CALL_ENTRY("wxsRenderer::DrawDropArrow");
    const wxColour c = wxsGetColor(color_ButtonText);
    if (!c.IsOk()) return;
    _KeepPenAndBrush keep(dc);
    wxPen pen(c, 1, wxPENSTYLE_SOLID);
    pen.SetJoin(wxJOIN_MITER);
    pen.SetCap(wxCAP_BUTT);
    dc.SetPen(pen);
    dc.SetBrush(wxBrush(c));
    wxRect r = rect;
    r.Deflate(2, 6);
    // At the right of the rectangle, not centred.
    const int right = r.x + r.width, top = r.y, bottom = r.y + r.height - 1;
    const wxPoint points[3] = {{right - 9, top}, {right - 1, top}, {right - 5, bottom}};
    dc.DrawPolygon(3, points, 0, 0, wxODDEVEN_RULE);
}

void wxsRenderer::DrawCheckBox(wxWindow*, wxDC& dc, const wxRect& rect, int flags) {
    CALL_ENTRY("wxsRenderer::DrawCheckBox");
    // No tick: a checked box is sunken (edges swapped) with the "Selected" face.
    const bool checked = flags & wxCONTROL_CHECKED;
    wxColour border = wxsGetColor(color_WindowBGDarker);
    wxColour face = wxsGetColor(checked ? color_Selected : color_ButtonFace);
    wxColour upperLeft = wxsGetColor(checked ? color_3DDark : color_3DLight);
    wxColour lowerRight = wxsGetColor(checked ? color_3DLight : color_3DDark);
    wxColour (*shade)(const wxColour&) = nullptr;
    if (flags & wxCONTROL_DISABLED)
        shade = &Disabled; // disabled wins over focus and hover
    else if (flags & (wxCONTROL_FOCUSED | wxCONTROL_CURRENT))
        shade = &Hilight;
    if (shade) {
        border = shade(border);
        face = shade(face);
        upperLeft = shade(upperLeft);
        lowerRight = shade(lowerRight);
    }

    _KeepPenAndBrush keep(dc);
    dc.SetPen(*wxTRANSPARENT_PEN);
    auto edges = [&dc](const wxRect& r, const wxColour& c) {
        _Fill(dc, wxRect(r.x, r.y, 1, r.height), c);
        _Fill(dc, wxRect(r.x, r.y, r.width, 1), c);
    };
    wxRect r = rect;
    _Fill(dc, r, border);
    r.Deflate(1);
    _Fill(dc, r, lowerRight);
    edges(r, upperLeft);
    r.Deflate(1);
    _Fill(dc, r, _HalfAndHalf(lowerRight, face));
    edges(r, _HalfAndHalf(upperLeft, face));
    r.Deflate(1);
    _Fill(dc, r, face);
}

void wxsRenderer::DrawChoice(wxWindow* win, wxDC& dc, const wxRect& rect, int flags) {
    CALL_ENTRY("wxsRenderer::DrawChoice");
    wxDelegateRendererNative::DrawChoice(win, dc, rect, flags);
}

void wxsRenderer::DrawRadioBitmap(wxWindow*, wxDC& dc, const wxRect& rect, int flags) {
    CALL_ENTRY("wxsRenderer::DrawRadioBitmap");
    // The discs want anti-aliasing. A dc with a graphics context has it already (every dc of
    // the GTK 3 port); otherwise draw through one made from the window or memory dc.
#if wxUSE_GRAPHICS_CONTEXT
    if (!dc.GetGraphicsContext()) {
        if (wxWindowDC* windowDC = dynamic_cast<wxWindowDC*>(&dc)) {
            wxGCDC gcdc(*windowDC);
            _DrawRadio(gcdc, rect, flags);
            return;
        }
        if (wxMemoryDC* memoryDC = dynamic_cast<wxMemoryDC*>(&dc)) {
            wxGCDC gcdc(*memoryDC);
            _DrawRadio(gcdc, rect, flags);
            return;
        }
    }
#endif
    _DrawRadio(dc, rect, flags);
}

wxSplitterRenderParams wxsRenderer::GetSplitterParams(const wxWindow*) {
    CALL_ENTRY("wxsRenderer::GetSplitterParams");
    return wxSplitterRenderParams(5, 0, true); // sash 5, no border, lit under the mouse
}

wxRendererVersion wxsRenderer::GetVersion() const {
    CALL_ENTRY("wxsRenderer::GetVersion");
    return wxRendererVersion(wxRendererVersion::Current_Version, wxRendererVersion::Current_Age);
}

// ---- wxsButton ----

wxFont wxsButton::s_NormalFont;
wxFont wxsButton::s_DefaultFont;

namespace {
wxTopLevelWindow* _TopLevelOf(wxWindow* window) {
    return dynamic_cast<wxTopLevelWindow*>(wxGetTopLevelParent(window));
}
} // namespace

wxsButton::wxsButton(wxWindow* parent, wxWindowID id, const wxString& label, const wxPoint& pos,
                     const wxSize& size, long style, const wxValidator& validator,
                     const wxString& name) {
    CALL_ENTRY("wxsButton::wxsButton");
    if (!(style & wxBORDER_MASK)) style |= wxBORDER_NONE;
    SetBackgroundStyle(wxBG_STYLE_PAINT); // Paint covers everything
    wxControl::Create(parent, id, pos, size, style, validator, name);
    Manage(this);
    SetDisabledForegroundSlot(color_TextGrey);
    RefreshColors();
    SetDisabledBackgroundSlot(color_WindowBGDarker);
    RefreshColors();
    wxControl::SetLabel(label);

    if (!s_NormalFont.IsOk()) {
        s_NormalFont = GetFont();
        s_NormalFont.SetPointSize(s_NormalFont.GetPointSize() - 1);
        s_DefaultFont = s_NormalFont.Bold();
    }
    SetNormal();

    const wxSize minSize = _MinSizeForLabel();
    SetMinSize(minSize);
    wxSize initial = size;
    initial.SetDefaults(minSize);
    initial.IncTo(minSize);
    SetSize(initial);

    Bind(wxEVT_SET_FOCUS, &wxsButton::Focus, this);
    Bind(wxEVT_KILL_FOCUS, &wxsButton::Focus, this);
    Bind(wxEVT_ENTER_WINDOW, &wxsButton::Mouse, this);
    Bind(wxEVT_LEAVE_WINDOW, &wxsButton::Mouse, this);
    Bind(wxEVT_LEFT_UP, &wxsButton::Click, this);
    Bind(wxEVT_KEY_UP, &wxsButton::Key, this);
    Bind(wxEVT_KEY_DOWN, &wxsButton::Key, this);
    Bind(wxEVT_PAINT, &wxsButton::Paint, this);
    Bind(wxEVT_MOVE, &wxsButton::Move, this);
    Bind(wxEVT_SIZE, &wxsButton::Size, this);
    Bind(wxEVT_IDLE, [this](wxIdleEvent& event) {
        event.Skip();
        _FollowEnabledState();
    });
}

wxSize wxsButton::_MinSizeForLabel() const {
    // Room for the label in the bold default font, so a button does not grow when it becomes
    // the default.
    int labelWidth = 0, labelHeight = 0;
    {
        wxMemoryDC dc;
        dc.SetFont(s_DefaultFont);
        dc.GetTextExtent(GetLabelText(), &labelWidth, &labelHeight);
    }
    const int charWidth = GetCharWidth(), charHeight = GetCharHeight();
    wxSize minSize;
    if (HasFlag(wxBU_EXACTFIT)) {
        minSize = wxSize(std::max(3 * charWidth / 2, labelWidth), labelHeight);
    } else {
        const wxSize def = wxButton::GetDefaultSize();
        minSize = wxSize(def.x > labelWidth ? def.x : labelWidth, def.y);
    }
    minSize.x += charWidth;
    minSize.y += charHeight / 8;
    return minSize;
}

void wxsButton::_ApplyLook(const wxFont& font, const String& fg, int fgOffset, const String& bg,
                           int bgOffset) {
    SetForegroundSlot(fg, fgOffset);
    SetBackgroundSlot(bg, bgOffset);
    SetFont(font);
    if (m_Hovered) { // the shade sits on top of the new look
        m_Hovered = false;
        Hilight(true);
    }
    RefreshColors();
    Refresh();
}

wxWindow* wxsButton::SetDefault() {
    CALL_ENTRY("wxsButton::SetDefault");
    wxWindowUpdateLocker freeze(this);
    wxTopLevelWindow* top = _TopLevelOf(this);
    if (!top) return nullptr;
    wxWindow* previous = top->GetDefaultItem();
    top->SetDefaultItem(this);
    _ApplyLook(s_DefaultFont, color_3DDark, -20, color_Selected, +20);
    return previous;
}

void wxsButton::SetNormal() {
    CALL_ENTRY("wxsButton::SetNormal");
    wxWindowUpdateLocker freeze(this);
    _ApplyLook(s_NormalFont, color_ButtonText, 0, color_ButtonFace, 0);
}

bool wxsButton::IsDefault() const {
    CALL_ENTRY("wxsButton::IsDefault");
    wxTopLevelWindow* top = _TopLevelOf(const_cast<wxsButton*>(this));
    return top && top->GetDefaultItem() == this;
}

void wxsButton::Hilight(bool on) {
    CALL_ENTRY("wxsButton::Hilight");
    if (m_Hovered == on) return; // a leave without an enter changes nothing
    m_Hovered = on;
    const int delta = on ? 25 : -25;
    m_EnabledBgOffset += delta;
    m_EnabledFgOffset += delta;
    RefreshColors();
    Refresh();
}

void wxsButton::EmulateClick() {
    CALL_ENTRY("wxsButton::EmulateClick");
    // Disabled while the handler runs, so that a second click cannot arrive meanwhile.
    const bool wasEnabled = IsThisEnabled(), hadFocus = FindFocus() == this;
    Enable(false);
    const unsigned enableCalls = m_EnableCalls;
    wxWeakRef<wxsButton> self(this); // the handler may destroy the button
    wxCommandEvent event(wxEVT_BUTTON, GetId());
    event.SetEventObject(this);
    GetEventHandler()->ProcessEvent(event);
    if (!self) return;
    // A handler that enabled or disabled the button itself (an "Apply" that greys out once
    // applied) has the last word.
    if (m_EnableCalls == enableCalls) Enable(wasEnabled);
    RefreshColors();
    // Disabling took the keyboard focus away (GTK drops it from an insensitive widget): give
    // it back unless the handler put it somewhere else, so the keyboard user stays here.
    wxWindow* focus = FindFocus();
    if (hadFocus && IsEnabled() && (!focus || focus == wxGetTopLevelParent(this))) SetFocus();
}

bool wxsButton::Enable(bool enable) {
    CALL_ENTRY("wxsButton::Enable");
    ++m_EnableCalls;
    const bool changed = wxControl::Enable(enable);
    _FollowEnabledState();
    RefreshColors();
    Refresh();
    return changed;
}

void wxsButton::DoEnable(bool enable) {
    wxControl::DoEnable(enable);
    _FollowEnabledState();
}

void wxsButton::_FollowEnabledState() {
    if (IsEnabled() == m_LookEnabled) return;
    m_LookEnabled = !m_LookEnabled;
    if (!m_LookEnabled) Hilight(false);
    RefreshColors();
    Refresh();
}

void wxsButton::SetLabel(const wxString& label) {
    CALL_ENTRY("wxsButton::SetLabel");
    wxControl::SetLabel(label);
    const wxSize minSize = _MinSizeForLabel();
    SetMinSize(minSize);
    InvalidateBestSize(); // the containing sizers too, so that their next layout grows it
    wxSize size = GetSize();
    size.IncTo(minSize);
    if (size != GetSize()) SetSize(size);
    Refresh();
}

wxRect wxsButton::GetLabelRect(const wxSize& clientSize) const {
    CALL_ENTRY("wxsButton::GetLabelRect");
    int w = 0, h = 0;
    GetTextExtent(GetLabelText(), &w, &h);
    return wxRect((clientSize.x - w) / 2, (clientSize.y - h) / 2, w, h);
}

void wxsButton::Draw(wxDC& dc) {
    CALL_ENTRY("wxsButton::Draw");
    const wxSize size = GetClientSize();
    // The enabled background role even while disabled, deliberately: a disabled button keeps
    // its face and shows the grey label.
    const wxColour face = _RoleColour(m_EnabledBgSlot, m_EnabledBgOffset);
    {
        _KeepPenAndBrush keep(dc);
        dc.SetPen(*wxTRANSPARENT_PEN);
        _Fill(dc, wxRect(size), face);
    }
    dc.SetFont(GetFont());
    const wxColour ink = wxsReadableOn(GetForegroundColour(), face, IsEnabled() ? 4.5 : 3.0);
    dc.SetTextForeground(ink);
    dc.DrawText(GetLabelText(), GetLabelRect(size).GetPosition());
    // The default look alone does not tell the focus: the default button may not have it.
    if (HasFocus()) wxsDrawFocusMark(dc, wxRect(size).Deflate(2), ink);
}

void wxsButton::_LoseFocus() {
    m_KeyPressed = false; // its release goes elsewhere
    wxWindow* previous = m_PreviousDefault.get();
    if (previous && previous != this) {
        // The default goes back to where it was.
        SetNormal();
        if (wxsButton* button = dynamic_cast<wxsButton*>(previous)) button->SetDefault();
    } else if (previous == this) {
        Hilight(false);
    }
    m_PreviousDefault = nullptr;
}

void wxsButton::Focus(wxFocusEvent& event) {
    CALL_ENTRY("wxsButton::Focus");
    event.Skip();
    if (HasFlag(wxBU_NOTEXT)) return;
    const bool gained = event.GetEventType() == wxEVT_SET_FOCUS;
    if (!gained) {
        _LoseFocus();
        return;
    }
    wxTopLevelWindow* top = _TopLevelOf(this);
    if (!top || !top->GetDefaultItem()) {
        // No default to borrow: the focus shows as the hover shade.
        m_PreviousDefault = this;
        Hilight(true);
        return;
    }
    wxWindow* previous = SetDefault();
    m_PreviousDefault = previous;
    if (previous == this)
        Hilight(true);
    else if (wxsButton* button = dynamic_cast<wxsButton*>(previous))
        button->SetNormal();
}

void wxsButton::Mouse(wxMouseEvent& event) {
    CALL_ENTRY("wxsButton::Mouse");
    event.Skip();
    if (event.GetEventType() == wxEVT_ENTER_WINDOW)
        Hilight(IsEnabled()); // no shade on a disabled button
    else if (event.GetEventType() == wxEVT_LEAVE_WINDOW)
        Hilight(false);
}

void wxsButton::Click(wxMouseEvent& event) {
    CALL_ENTRY("wxsButton::Click");
    event.Skip();
    // A single click, released over the button.
    if (event.GetClickCount() <= 1 && wxRect(GetClientSize()).Contains(event.GetPosition()))
        EmulateClick();
}

void wxsButton::Key(wxKeyEvent& event) {
    CALL_ENTRY("wxsButton::Key");
    switch (event.GetKeyCode()) {
    case WXK_SPACE:
    case WXK_NUMPAD_ENTER:
    case WXK_RETURN:
        if (event.GetEventType() == wxEVT_KEY_DOWN) {
            m_KeyPressed = true;
            event.Skip(); // noted only: the key goes on as it did
        } else if (m_KeyPressed) {
            m_KeyPressed = false;
            EmulateClick();
        }
        break;
    default:
        event.Skip();
    }
}

void wxsButton::Paint(wxPaintEvent&) {
    CALL_ENTRY("wxsButton::Paint");
    wxAutoBufferedPaintDC dc(this);
    Draw(dc);
}

void wxsButton::Move(wxMoveEvent& event) {
    CALL_ENTRY("wxsButton::Move");
    event.Skip();
    Refresh();
}

void wxsButton::Size(wxSizeEvent& event) {
    CALL_ENTRY("wxsButton::Size");
    event.Skip();
    Refresh(); // the label stays centred
}

bool wxsButton::IsHilighted() const {
    CALL_ENTRY("wxsButton::IsHilighted");
    return m_Hovered;
}

const wxFont& wxsButton::GetNormalFont() {
    CALL_ENTRY("wxsButton::GetNormalFont");
    return s_NormalFont;
}

const wxFont& wxsButton::GetDefaultFont() {
    CALL_ENTRY("wxsButton::GetDefaultFont");
    return s_DefaultFont;
}

// ---- wxsCheckBox ----

wxsCheckBox::wxsCheckBox(wxWindow* parent, wxWindowID id, const wxString& label, const wxPoint& pos,
                         const wxSize& size, long style, const wxValidator& validator,
                         const wxString& name) {
    CALL_ENTRY("wxsCheckBox::wxsCheckBox");
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    wxControl::Create(parent, id, pos, size, style, validator, name);
    Manage(this);
    wxControl::SetLabel(label);
    SetInitialSize(size);

    Bind(wxEVT_PAINT, &wxsCheckBox::Paint, this);
    Bind(wxEVT_LEFT_UP, &wxsCheckBox::Click, this);
    Bind(wxEVT_KEY_UP, &wxsCheckBox::Press, this);
    Bind(wxEVT_ENTER_WINDOW, &wxsCheckBox::Hover, this);
    Bind(wxEVT_LEAVE_WINDOW, &wxsCheckBox::Hover, this);
    Bind(wxEVT_SET_FOCUS, &wxsCheckBox::Focus, this);
    Bind(wxEVT_KILL_FOCUS, &wxsCheckBox::Focus, this);
    Bind(wxEVT_SIZE, &wxsCheckBox::Size, this);
    Bind(wxEVT_IDLE, [this](wxIdleEvent& event) {
        event.Skip();
        _FollowEnabledState();
    });
}

bool wxsCheckBox::GetValue() const {
    CALL_ENTRY("wxsCheckBox::GetValue");
    return m_Value;
}

void wxsCheckBox::SetValue(bool value) {
    CALL_ENTRY("wxsCheckBox::SetValue");
    if (m_Value == value) return;
    m_Value = value;
    Refresh();
}

bool wxsCheckBox::Enable(bool enable) {
    CALL_ENTRY("wxsCheckBox::Enable");
    const bool changed = wxCheckBoxBase::Enable(enable);
    _FollowEnabledState();
    RefreshColors();
    Refresh();
    return changed;
}

void wxsCheckBox::SetLabel(const wxString& label) {
    CALL_ENTRY("wxsCheckBox::SetLabel");
    wxCheckBoxBase::SetLabel(label);
    InvalidateBestSize();
    Refresh();
}

wxsCheckBox::Geometry wxsCheckBox::GetGeometry(const wxSize& clientSize) const {
    CALL_ENTRY("wxsCheckBox::GetGeometry");
    const int w = clientSize.x, h = clientSize.y;
    Geometry g;
    g.box = wxRect(0, 0, h, h).Deflate(2);
    g.label = wxRect(h + 2, 0, std::max(0, w - h - 6), h);
    int textWidth = 0, textHeight = 0;
    GetTextExtent(GetLabelText(), &textWidth, &textHeight);
    g.focus = wxRect(g.label.x - 1, 0, std::min(textWidth, g.label.width) + 2, h);
    return g;
}

int wxsCheckBox::GetRenderFlags() const {
    CALL_ENTRY("wxsCheckBox::GetRenderFlags");
    int flags = 0;
    if (GetValue()) flags |= wxCONTROL_CHECKED;
    if (!IsEnabled()) flags |= wxCONTROL_DISABLED;
    if (HasFocus()) flags |= wxCONTROL_FOCUSED;
    if (m_Hovered) flags |= wxCONTROL_CURRENT;
    return flags;
}

void wxsCheckBox::Draw(wxDC& dc) {
    CALL_ENTRY("wxsCheckBox::Draw");
    const wxSize size = GetClientSize();
    const Geometry g = GetGeometry(size);
    {
        _KeepPenAndBrush keep(dc);
        dc.SetPen(*wxTRANSPARENT_PEN);
        _Fill(dc, wxRect(size), GetBackgroundColour());
    }
    DrawButton(dc, g.box, GetRenderFlags());

    wxColour text = IsEnabled() ? wxsGetColor(m_Hovered ? color_TextOrange : color_Text)
                                : GetForegroundColour(); // the disabled role
    if (!text.IsOk()) text = GetForegroundColour();
    dc.SetFont(GetFont());
    const wxColour ink = wxsReadableOn(text, GetBackgroundColour(), IsEnabled() ? 4.5 : 3.0);
    dc.SetTextForeground(ink);
    dc.SetTextBackground(GetBackgroundColour());
    {
        wxDCClipper clip(dc, g.label);
        dc.DrawText(GetLabelText(), g.label.GetPosition());
    }
    // "3DLight" when it shows on the background, else the label's ink: in Light the two greys
    // are all but equal.
    const wxColour light = wxsGetColor(color_3DLight);
    const wxColour mark =
        light.IsOk() && wxsContrast(light, GetBackgroundColour()) >= 3 ? light : ink;
    if (HasFocus()) wxsDrawFocusMark(dc, g.focus, mark);
}

wxEventType wxsCheckBox::ClickEventType() const {
    CALL_ENTRY("wxsCheckBox::ClickEventType");
    return wxEVT_CHECKBOX;
}

void wxsCheckBox::HandleClick() {
    CALL_ENTRY("wxsCheckBox::HandleClick");
    SetValue(!GetValue());
}

void wxsCheckBox::DrawButton(wxDC& dc, const wxRect& rect, int flags) {
    CALL_ENTRY("wxsCheckBox::DrawButton");
    wxRendererNative::Get().DrawCheckBox(this, dc, rect, flags);
}

void wxsCheckBox::_Clicked() {
    HandleClick();
    wxCommandEvent event(ClickEventType(), GetId());
    event.SetEventObject(this);
    event.SetInt(GetValue() ? 1 : 0);
    GetEventHandler()->ProcessEvent(event);
}

void wxsCheckBox::Paint(wxPaintEvent&) {
    CALL_ENTRY("wxsCheckBox::Paint");
    wxAutoBufferedPaintDC dc(this);
    Draw(dc);
}

void wxsCheckBox::Click(wxMouseEvent& event) {
    CALL_ENTRY("wxsCheckBox::Click");
    event.Skip();
    if (event.GetClickCount() <= 1 && wxRect(GetClientSize()).Contains(event.GetPosition()))
        _Clicked();
}

void wxsCheckBox::Press(wxKeyEvent& event) {
    CALL_ENTRY("wxsCheckBox::Press");
    if (event.GetKeyCode() == WXK_SPACE)
        _Clicked();
    else
        event.Skip();
}

void wxsCheckBox::Hover(wxMouseEvent& event) {
    CALL_ENTRY("wxsCheckBox::Hover");
    event.Skip();
    m_Hovered = event.GetEventType() == wxEVT_ENTER_WINDOW && IsEnabled();
    Refresh();
}

void wxsCheckBox::Focus(wxFocusEvent& event) {
    CALL_ENTRY("wxsCheckBox::Focus");
    event.Skip();
    Refresh();
}

void wxsCheckBox::Size(wxSizeEvent& event) {
    CALL_ENTRY("wxsCheckBox::Size");
    event.Skip();
    Refresh();
}

wxSize wxsCheckBox::DoGetBestClientSize() const {
    int textWidth = 0, textHeight = 0;
    GetTextExtent(GetLabelText(), &textWidth, &textHeight);
    // The box is a square of the client height; the label area is the width less that
    // square and 6 pixels, and the focus mark wants 2 more.
    const int h = std::max(textHeight, GetCharHeight()) + FromDIP(2);
    return wxSize(h + 6 + textWidth + 2, h);
}

void wxsCheckBox::DoEnable(bool enable) {
    wxCheckBoxBase::DoEnable(enable);
    _FollowEnabledState();
}

void wxsCheckBox::_FollowEnabledState() {
    if (IsEnabled() == m_LookEnabled) return;
    m_LookEnabled = !m_LookEnabled;
    if (!m_LookEnabled) m_Hovered = false; // no leave event reaches a disabled control
    RefreshColors();
    Refresh();
}

void wxsCheckBox::DoSet3StateValue(wxCheckBoxState state) {
    SetValue(state == wxCHK_CHECKED);
}

wxCheckBoxState wxsCheckBox::DoGet3StateValue() const {
    return m_Value ? wxCHK_CHECKED : wxCHK_UNCHECKED;
}

bool wxsCheckBox::HasTransparentBackground() {
    CALL_ENTRY("wxsCheckBox::HasTransparentBackground");
    return false;
}

bool wxsCheckBox::IsHovered() const {
    CALL_ENTRY("wxsCheckBox::IsHovered");
    return m_Hovered;
}

// ---- wxsRadioButton ----

wxsRadioButton::wxsRadioButton(wxWindow* parent, wxWindowID id, const wxString& label,
                               const wxPoint& pos, const wxSize& size, long style,
                               const wxValidator& validator, const wxString& name)
    : wxsCheckBox(parent, id, label, pos, size, style, validator, name) {
    CALL_ENTRY("wxsRadioButton::wxsRadioButton");
    // As in the toolkit: the first button of a group starts set.
    if (!GetPreviousInGroup()) m_Value = true;
    Bind(wxEVT_KEY_DOWN, &wxsRadioButton::Arrow, this);
}

void wxsRadioButton::SetValue(bool value) {
    CALL_ENTRY("wxsRadioButton::SetValue");
    if (value)
        for (wxsRadioButton* other : GetGroup())
            if (other != this) other->wxsCheckBox::SetValue(false);
    wxsCheckBox::SetValue(value);
}

wxEventType wxsRadioButton::ClickEventType() const {
    CALL_ENTRY("wxsRadioButton::ClickEventType");
    return wxEVT_RADIOBUTTON;
}

void wxsRadioButton::HandleClick() {
    CALL_ENTRY("wxsRadioButton::HandleClick");
    SetValue(true); // never cleared by a click
}

void wxsRadioButton::DrawButton(wxDC& dc, const wxRect& rect, int flags) {
    CALL_ENTRY("wxsRadioButton::DrawButton");
    wxRendererNative::Get().DrawRadioBitmap(this, dc, rect, flags);
}

namespace {
// The nearest radio button sibling before (step -1) or after (step +1), skipping other windows.
wxsRadioButton* _SiblingRadio(const wxWindow* self, int step) {
    const wxWindowList& siblings = self->GetParent()->GetChildren();
    wxWindowList::compatibility_iterator node = siblings.Find(self);
    if (!node) return nullptr;
    for (node = step < 0 ? node->GetPrevious() : node->GetNext(); node;
         node = step < 0 ? node->GetPrevious() : node->GetNext())
        if (wxsRadioButton* radio = dynamic_cast<wxsRadioButton*>(node->GetData())) return radio;
    return nullptr;
}
} // namespace

wxsRadioButton* wxsRadioButton::GetPreviousInGroup() const {
    CALL_ENTRY("wxsRadioButton::GetPreviousInGroup");
    if (HasFlag(wxRB_GROUP) || HasFlag(wxRB_SINGLE) || !GetParent()) return nullptr;
    wxsRadioButton* previous = _SiblingRadio(this, -1);
    return previous && !previous->HasFlag(wxRB_SINGLE) ? previous : nullptr;
}

wxsRadioButton* wxsRadioButton::GetNextInGroup() const {
    CALL_ENTRY("wxsRadioButton::GetNextInGroup");
    if (HasFlag(wxRB_SINGLE) || !GetParent()) return nullptr;
    wxsRadioButton* next = _SiblingRadio(this, +1);
    return next && !next->HasFlag(wxRB_GROUP) && !next->HasFlag(wxRB_SINGLE) ? next : nullptr;
}

std::vector<wxsRadioButton*> wxsRadioButton::GetGroup() const {
    CALL_ENTRY("wxsRadioButton::GetGroup");
    wxsRadioButton* first = const_cast<wxsRadioButton*>(this);
    while (wxsRadioButton* previous = first->GetPreviousInGroup())
        first = previous;
    std::vector<wxsRadioButton*> group;
    for (wxsRadioButton* b = first; b; b = b->GetNextInGroup())
        group.push_back(b);
    return group;
}

void wxsRadioButton::Arrow(wxKeyEvent& event) {
    CALL_ENTRY("wxsRadioButton::Arrow");
    // The arrow keys select the neighbour in the group and move the focus there, skipping
    // disabled buttons.
    int step = 0;
    switch (event.GetKeyCode()) {
    case WXK_LEFT:
    case WXK_UP:
        step = -1;
        break;
    case WXK_RIGHT:
    case WXK_DOWN:
        step = +1;
        break;
    default:
        event.Skip();
        return;
    }
    wxsRadioButton* target = this;
    do
        target = step < 0 ? target->GetPreviousInGroup() : target->GetNextInGroup();
    while (target && !target->IsEnabled());
    if (!target) return;
    target->SetFocus();
    target->_Clicked();
}

// ---- wrappers ----

wxsStaticText::wxsStaticText(wxWindow* parent, wxWindowID id, const wxString& label,
                             const wxPoint& pos, const wxSize& size, long style,
                             const wxString& name)
    : wxStaticText(parent, id, label, pos, size, style, name) {
    CALL_ENTRY("wxsStaticText::wxsStaticText");
    Manage(this);
}

wxsPanel::wxsPanel(wxWindow* parent, wxWindowID id, const wxPoint& pos, const wxSize& size,
                   long style, const wxString& name)
    : wxPanel(parent, id, pos, size, style, name) {
    CALL_ENTRY("wxsPanel::wxsPanel");
    Manage(this);
}

wxsBitmapButton::wxsBitmapButton(wxWindow* parent, wxWindowID id, const wxBitmap& bitmap,
                                 const wxPoint& pos, const wxSize& size, long style,
                                 const wxValidator& validator, const wxString& name)
    : wxBitmapButton(parent, id, bitmap, pos, size, style, validator, name) {
    CALL_ENTRY("wxsBitmapButton::wxsBitmapButton");
    Manage(this);
}

// The shared button fonts are released with the toolkit, not at library unload, when it is
// too late for font objects.
class _ButtonFontsModule : public wxModule {
public:
    bool OnInit() override { return true; }
    void OnExit() override {
        wxsButton::s_NormalFont = wxNullFont;
        wxsButton::s_DefaultFont = wxNullFont;
    }

private:
    wxDECLARE_DYNAMIC_CLASS(_ButtonFontsModule);
};
wxIMPLEMENT_DYNAMIC_CLASS(_ButtonFontsModule, wxModule);

// ---- wxsCheckListBox ----

wxsCheckListBox::wxsCheckListBox() {
    CALL_ENTRY("wxsCheckListBox::wxsCheckListBox");
}

wxsCheckListBox::wxsCheckListBox(wxWindow* parent, wxWindowID id, const wxPoint& pos,
                                 const wxSize& size, long style, const wxValidator& validator,
                                 const wxString& name) {
    CALL_ENTRY("wxsCheckListBox::wxsCheckListBox");
    Init(parent, id, pos, size, style, validator, name);
}

wxsCheckListBox::~wxsCheckListBox() {
    // Client objects belong to the container; the window is going, so no repaint either.
    if (HasClientObjectData())
        for (unsigned i = 0; i < m_Items.size(); ++i)
            ResetItemClientObject(i);
    m_Items.clear();
}

bool wxsCheckListBox::Init(wxWindow* parent, wxWindowID id, const wxPoint& pos, const wxSize& size,
                           long style, const wxValidator& validator, const wxString& name) {
    CALL_ENTRY("wxsCheckListBox::Init");
    // Rows scroll vertically only.
    if (!Create(parent, id, pos, size, (style & ~wxHSCROLL) | wxVSCROLL, name)) return false;
    if (style & wxALWAYS_SHOW_SB) ShowScrollbars(wxSHOW_SB_ALWAYS, wxSHOW_SB_ALWAYS);
    Manage(this);
    SetValidator(validator);
    SetForegroundSlot(color_Text, 0);
    RefreshColors();
    SetBackgroundSlot(color_WindowBGDarker, 0);
    RefreshColors();

    m_RowHeight = wxRendererNative::Get().GetCheckBoxSize(this).y + 4;
    int xRate = 0, yRate = 0;
    GetScrollPixelsPerUnit(&xRate, &yRate);
    SetScrollRate(xRate, m_RowHeight); // one scroll unit is one row
    _RowsChanged();
    SetInitialSize(size);

    Bind(wxEVT_LEFT_DOWN, &wxsCheckListBox::OnLeftClick, this);
    Bind(wxEVT_LEFT_DCLICK, &wxsCheckListBox::OnLeftClick, this); // quick clicks tick each time
    Bind(wxEVT_KEY_DOWN, &wxsCheckListBox::OnKeyDown, this);
    Bind(wxEVT_RIGHT_DOWN, &wxsCheckListBox::OnRMouse, this);
    Bind(wxEVT_MENU, &wxsCheckListBox::OnAll, this, ID_CheckAll);
    Bind(wxEVT_MENU, &wxsCheckListBox::OnNone, this, ID_CheckNone);
    Bind(wxEVT_SET_FOCUS, &wxsCheckListBox::OnFocus, this);
    Bind(wxEVT_KILL_FOCUS, &wxsCheckListBox::OnFocus, this);
    Bind(wxEVT_SYS_COLOUR_CHANGED, &wxsCheckListBox::OnSysColorChange, this);
    return true;
}

bool wxsCheckListBox::_IsRow(int index) const {
    return index >= 0 && index < int(m_Items.size());
}

unsigned int wxsCheckListBox::GetCount() const {
    CALL_ENTRY("wxsCheckListBox::GetCount");
    return unsigned(m_Items.size());
}

wxString wxsCheckListBox::GetString(unsigned int index) const {
    CALL_ENTRY("wxsCheckListBox::GetString");
    return index < m_Items.size() ? m_Items[index].label : wxString();
}

void wxsCheckListBox::SetString(unsigned int index, const wxString& text) {
    CALL_ENTRY("wxsCheckListBox::SetString");
    if (index >= m_Items.size()) return;
    m_Items[index].label = text;
    InvalidateBestSize();
    Refresh();
}

void wxsCheckListBox::SetSelection(int index) {
    CALL_ENTRY("wxsCheckListBox::SetSelection");
    m_Selection = _IsRow(index) ? index : wxNOT_FOUND;
    Refresh();
}

int wxsCheckListBox::GetSelection() const {
    CALL_ENTRY("wxsCheckListBox::GetSelection");
    return m_Selection;
}

void wxsCheckListBox::Check(unsigned int index, bool on) {
    CALL_ENTRY("wxsCheckListBox::Check");
    if (index >= m_Items.size()) return;
    m_Items[index].checked = on;
    _SendCheckEvent(on ? 1 : 0, int(index));
}

bool wxsCheckListBox::IsChecked(unsigned int index) const {
    CALL_ENTRY("wxsCheckListBox::IsChecked");
    return index < m_Items.size() && m_Items[index].checked;
}

void wxsCheckListBox::CheckAll() {
    CALL_ENTRY("wxsCheckListBox::CheckAll");
    for (unsigned i = 0; i < GetCount(); ++i) // a handler may change the rows meanwhile
        Check(i, true);
    Refresh();
    _SendCheckEvent(-1, wxNOT_FOUND);
}

void wxsCheckListBox::CheckNone() {
    CALL_ENTRY("wxsCheckListBox::CheckNone");
    for (unsigned i = 0; i < GetCount(); ++i)
        Check(i, false);
    Refresh();
    _SendCheckEvent(-1, wxNOT_FOUND);
}

void wxsCheckListBox::_SendCheckEvent(int value, int row) {
    // The integer is the new tick state, not the row (which rides along as the extra long).
    wxCommandEvent event(wxEVT_CHECKLISTBOX, GetId());
    event.SetEventObject(this);
    event.SetInt(value);
    event.SetExtraLong(row);
    GetEventHandler()->ProcessEvent(event);
}

void wxsCheckListBox::EnsureVisible(int index) {
    CALL_ENTRY("wxsCheckListBox::EnsureVisible");
    if (!_IsRow(index)) return;
    const int top = GetViewStart().y;
    const int rows = std::max(1, GetClientSize().y / m_RowHeight);
    if (index < top)
        Scroll(-1, index);
    else if (index >= top + rows)
        Scroll(-1, index - rows + 1);
}

int wxsCheckListBox::GetRowHeight() const {
    CALL_ENTRY("wxsCheckListBox::GetRowHeight");
    return m_RowHeight;
}

wxsCheckListBox::RowGeometry wxsCheckListBox::GetRowGeometry(int index) const {
    CALL_ENTRY("wxsCheckListBox::GetRowGeometry");
    const int h = m_RowHeight, y = h * index;
    RowGeometry g;
    g.box = wxRect(1, y + 1, h - 2, h - 2);
    g.label = wxRect(h, y + 1, GetClientSize().x - h, h - 2);
    g.text = wxPoint(h + 2, y);
    return g;
}

int wxsCheckListBox::HitTest(const wxPoint& clientPoint, bool* onBox) const {
    CALL_ENTRY("wxsCheckListBox::HitTest");
    const int row = clientPoint.y / m_RowHeight + GetViewStart().y;
    if (onBox) *onBox = clientPoint.x < m_RowHeight;
    return _IsRow(row) ? row : wxNOT_FOUND;
}

wxMenu* wxsCheckListBox::CreateContextMenu() const {
    CALL_ENTRY("wxsCheckListBox::CreateContextMenu");
    auto* menu = new wxMenu;
    menu->Append(ID_CheckAll, _("Check &All"));
    menu->Append(ID_CheckNone, _("Check &None"));
    return menu;
}

void wxsCheckListBox::OnLeftClick(wxMouseEvent& event) {
    CALL_ENTRY("wxsCheckListBox::OnLeftClick");
    bool onBox = false;
    const int row = HitTest(event.GetPosition(), &onBox);
    if (row == wxNOT_FOUND) return;
    SetFocus();
    if (FindFocus() != this) return; // another window kept the focus
    if (onBox) Check(row, !m_Items[row].checked);
    SetSelection(row);
}

void wxsCheckListBox::_MoveSelection(int index) {
    SetSelection(index);
    EnsureVisible(m_Selection);
}

void wxsCheckListBox::OnKeyDown(wxKeyEvent& event) {
    CALL_ENTRY("wxsCheckListBox::OnKeyDown");
    const int sel = m_Selection, last = int(m_Items.size()) - 1;
    const bool valid = _IsRow(sel);
    const int page = std::max(1, GetClientSize().y / m_RowHeight - 1);
    switch (event.GetKeyCode()) {
    case WXK_SPACE:
        if (valid) Check(sel, !m_Items[sel].checked);
        break;
    case '+':
    case WXK_NUMPAD_ADD:
        if (valid) Check(sel, true);
        break;
    case '-':
    case WXK_NUMPAD_SUBTRACT:
        if (valid) Check(sel, false);
        break;
    case WXK_UP:
        if (sel > 0) _MoveSelection(sel - 1);
        break;
    case WXK_DOWN:
        if (!valid)
            _MoveSelection(0);
        else if (sel < last)
            _MoveSelection(sel + 1);
        break;
    case WXK_HOME:
        _MoveSelection(0);
        break;
    case WXK_END:
        _MoveSelection(last);
        break;
    case WXK_PAGEUP:
        _MoveSelection(valid ? std::max(0, sel - page) : 0);
        break;
    case WXK_PAGEDOWN:
        _MoveSelection(valid ? std::min(last, sel + page) : 0);
        break;
    case WXK_TAB:
        event.Skip(); // the focus still moves on
        return;
    }
    // Not skipped: the keys never reach the toolkit's own navigation and scrolling.
    Refresh();
}

void wxsCheckListBox::OnRMouse(wxMouseEvent& event) {
    CALL_ENTRY("wxsCheckListBox::OnRMouse");
    std::unique_ptr<wxMenu> menu(CreateContextMenu());
    PopupMenu(menu.get(), event.GetPosition());
}

void wxsCheckListBox::OnAll(wxCommandEvent&) {
    CALL_ENTRY("wxsCheckListBox::OnAll");
    CheckAll();
}

void wxsCheckListBox::OnNone(wxCommandEvent&) {
    CALL_ENTRY("wxsCheckListBox::OnNone");
    CheckNone();
}

void wxsCheckListBox::OnFocus(wxFocusEvent& event) {
    CALL_ENTRY("wxsCheckListBox::OnFocus");
    event.Skip();
    Refresh(); // the focus mark on the selected row
}

void wxsCheckListBox::OnSysColorChange(wxSysColourChangedEvent& event) {
    CALL_ENTRY("wxsCheckListBox::OnSysColorChange");
    event.Skip();
    SetForegroundColour(wxsGetColor(color_Text));
    SetBackgroundColour(wxsGetColor(color_WindowBGDarker));
    Refresh();
}

void wxsCheckListBox::OnDraw(wxDC& dc) {
    CALL_ENTRY("wxsCheckListBox::OnDraw");
    if (m_Items.empty()) return;
    // Only the rows in view: a long list costs no more than a short one.
    const wxPoint origin = CalcUnscrolledPosition(wxPoint(0, 0));
    const int first = std::max(0, origin.y / m_RowHeight);
    const int last = std::min(int(m_Items.size()) - 1,
                              (origin.y + std::max(0, GetClientSize().y - 1)) / m_RowHeight);
    wxRendererNative& renderer = wxRendererNative::Get();
    const wxColour fg = GetForegroundColour(), bg = GetBackgroundColour();
    dc.SetFont(GetFont());
    dc.SetTextForeground(wxsReadableOn(fg, bg));
    dc.SetTextBackground(bg);
    for (int i = first; i <= last; ++i) {
        const _Item& item = m_Items[i];
        const RowGeometry g = GetRowGeometry(i);
        renderer.DrawCheckBox(this, dc, g.box, item.checked ? int(wxCONTROL_CHECKED) : 0);
        const bool selected = i == m_Selection;
        if (selected) {
            const wxColour mark = wxsGetColor(color_Selected);
            dc.SetTextForeground(wxsReadableOn(*wxWHITE, mark));
            dc.SetTextBackground(mark);
            {
                _KeepPenAndBrush keep(dc);
                dc.SetPen(*wxTRANSPARENT_PEN);
                _Fill(dc, g.label, mark);
            }
            if (HasFocus()) renderer.DrawFocusRect(this, dc, g.label);
        }
        dc.DrawText(item.label, g.text);
        if (selected) {
            dc.SetTextForeground(wxsReadableOn(fg, bg));
            dc.SetTextBackground(bg);
        }
    }
}

int wxsCheckListBox::DoInsertItems(const wxArrayStringsAdapter& items, unsigned int pos,
                                   void** clientData, wxClientDataType type) {
    const unsigned n = unsigned(items.GetCount());
    if (pos > m_Items.size() || n == 0) return wxNOT_FOUND;
    m_Items.insert(m_Items.begin() + pos, n, _Item());
    for (unsigned i = 0; i < n; ++i) {
        m_Items[pos + i].label = items[i];
        AssignNewItemClientData(pos + i, clientData, i, type);
    }
    if (m_Selection >= int(pos)) m_Selection += int(n); // it stays on its row
    _RowsChanged();
    return int(pos + n - 1);
}

void wxsCheckListBox::DoDeleteOneItem(unsigned int pos) {
    if (pos >= m_Items.size()) return;
    m_Items.erase(m_Items.begin() + pos);
    if (m_Selection == int(pos))
        m_Selection = wxNOT_FOUND;
    else if (m_Selection > int(pos))
        --m_Selection;
    _RowsChanged();
}

void wxsCheckListBox::DoClear() {
    m_Items.clear();
    m_Selection = wxNOT_FOUND;
    _RowsChanged();
}

void wxsCheckListBox::DoSetItemClientData(unsigned int index, void* clientData) {
    if (index < m_Items.size()) m_Items[index].clientData = clientData;
}

void* wxsCheckListBox::DoGetItemClientData(unsigned int index) const {
    return index < m_Items.size() ? m_Items[index].clientData : nullptr;
}

void wxsCheckListBox::_RowsChanged() {
    SetVirtualSize(0, int(m_Items.size()) * m_RowHeight);
    InvalidateBestSize();
    Refresh();
}

wxSize wxsCheckListBox::DoGetBestClientSize() const {
    // The widest of the first labels (measuring every one of a long list costs too much),
    // and a few rows.
    int widest = 0;
    const size_t measured = std::min<size_t>(m_Items.size(), 100);
    for (size_t i = 0; i < measured; ++i)
        widest = std::max(widest, GetTextExtent(m_Items[i].label).x);
    const int rows = std::min(10, std::max(3, int(m_Items.size())));
    return wxSize(m_RowHeight + 2 + widest + FromDIP(8), rows * m_RowHeight);
}

// ---- wxsNotebook ----

namespace {

// ChangeLightness of an unset colour stays unset.
wxColour _Lightness(const wxColour& c, int lightness) {
    return c.IsOk() ? c.ChangeLightness(lightness) : wxColour();
}

wxPen _Pen(const wxColour& c) {
    if (!c.IsOk()) return *wxTRANSPARENT_PEN;
    wxPen pen(c, 1, wxPENSTYLE_SOLID);
    pen.SetJoin(wxJOIN_MITER);
    pen.SetCap(wxCAP_BUTT);
    return pen;
}

// The text cut to a width, ending in "..." when it had to be cut.
wxString _ChopText(wxDC& dc, const wxString& text, int width) {
    if (dc.GetTextExtent(text).x <= width) return text;
    const int dots = dc.GetTextExtent("...").x;
    wxString chopped = text;
    while (!chopped.empty() && dc.GetTextExtent(chopped).x + dots > width)
        chopped.RemoveLast();
    return chopped + "...";
}

} // namespace

wxsTabArt::wxsTabArt() {
    CALL_ENTRY("wxsTabArt::wxsTabArt");
    _FollowPalette();
}

wxAuiTabArt* wxsTabArt::Clone() {
    CALL_ENTRY("wxsTabArt::Clone");
    return new wxsTabArt(*this);
}

void wxsTabArt::_FollowPalette() {
    // The base draws its buttons' hover shade from these.
    const wxColour base = wxsGetColor(color_WindowBG), active = wxsGetColor(color_Selected);
    if (base.IsOk()) SetColour(base);
    if (active.IsOk()) SetActiveColour(active);
}

void wxsTabArt::UpdateColoursFromSystem() {
    CALL_ENTRY("wxsTabArt::UpdateColoursFromSystem");
    wxAuiGenericTabArt::UpdateColoursFromSystem();
    _FollowPalette();
}

void wxsTabArt::DrawBackground(wxDC& dc, wxWindow*, const wxRect& rect) {
    CALL_ENTRY("wxsTabArt::DrawBackground");
    _FollowPalette();
    const wxColour base = wxsGetColor(color_WindowBG);
    // The strip lightens towards its top edge; a band 4 high along the pages' edge.
    DrawGradedRectangle(dc, rect, base, wxsGetColor(color_WindowBGLighter), 1.4f, false, true);
    const int y = (m_flags & wxAUI_NB_BOTTOM) ? 0 : rect.height - 4;
    DrawGradedRectangle(dc, wxRect(-1, y, rect.width + 2, 4), base,
                        wxsGetColor(color_WindowBGDarker), 2.0f, false, true);
}

wxsTabArt::TabGeometry wxsTabArt::GetTabGeometry(const wxRect& inRect, int tabWidth,
                                                 bool active) const {
    CALL_ENTRY("wxsTabArt::GetTabGeometry");
    // As the toolkit's generic art: the tab's top lies 3 below the strip's, and the strip's
    // height sets the clip and the fills.
    const int strip = m_tabCtrlHeight, h = strip - 3, w = tabWidth;
    const int x = inRect.x, y = inRect.y + inRect.height - h;
    int clipWidth = w;
    if (x + clipWidth > inRect.x + inRect.width) clipWidth = inRect.x + inRect.width - x;
    TabGeometry g;
    g.tab = wxRect(x, y, w, h);
    g.clip = wxRect(x, y, clipWidth + 1, strip - 6);
    g.fill = active ? wxRect(x + 1, y + 1, w - 1, strip - 4) : wxRect(x, y + 1, w, strip - 6);
    if (m_flags & wxAUI_NB_BOTTOM) {
        const wxPoint p[6] = {{x, y},
                              {x, y + h - 6},
                              {x + 2, y + h - 4},
                              {x + w - 2, y + h - 4},
                              {x + w, y + h - 6},
                              {x + w, y}};
        std::copy(p, p + 6, g.outline);
    } else {
        const wxPoint p[6] = {{x, y + h - 4}, {x, y + 2},     {x + 2, y},
                              {x + w - 2, y}, {x + w, y + 2}, {x + w, y + h - 4}};
        std::copy(p, p + 6, g.outline);
    }
    g.joinFrom = wxPoint(g.outline[0].x + 1, g.outline[0].y);
    g.joinTo = g.outline[5];
    return g;
}

void wxsTabArt::DrawTab(wxDC& dc, wxWindow* window, const wxAuiNotebookPage& page,
                        const wxRect& inRect, int closeButtonState, wxRect* outTabRect,
                        wxRect* outButtonRect, int* xExtent) {
    CALL_ENTRY("wxsTabArt::DrawTab");
    // Measuring, bitmap, close button and text placement are the toolkit's generic art's; the
    // colours, fills and the joining line are ours.
    const wxString caption = page.caption;
    const wxString measured = caption.empty() ? wxString("Xj") : caption;
    wxCoord selectedWidth = 0, selectedHeight = 0, normalHeight = 0;
    dc.SetFont(m_selectedFont);
    dc.GetTextExtent(measured, &selectedWidth, &selectedHeight);
    dc.SetFont(m_normalFont);
    dc.GetTextExtent(measured, nullptr, &normalHeight);
    const wxSize tabSize =
        GetTabSize(dc, window, caption, page.bitmap, page.active, closeButtonState, xExtent);
    const TabGeometry g = GetTabGeometry(inRect, tabSize.x, page.active);
    const int tabX = g.tab.x, tabY = g.tab.y, tabWidth = g.tab.width, tabHeight = g.tab.height;
    dc.SetFont(page.active ? m_selectedFont : m_normalFont);
    const int textHeight = page.active ? selectedHeight : normalHeight;

    dc.SetClippingRegion(g.clip);
    const wxColour selected = wxsGetColor(color_Selected);
    const wxColour fillFrom = page.active ? selected : wxsGetColor(color_WindowBGLighter);
    DrawGradedRectangle(dc, g.fill, fillFrom,
                        page.active ? _Lightness(selected, 60) : wxsGetColor(color_WindowBG), 2.75f,
                        true, false);
    dc.SetPen(_Pen(OffsetColor(wxsGetColor(color_WindowBGDarker), -20, -20, -20)));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.DrawPolygon(6, g.outline);
    if (page.active) { // the tab opens into its page
        dc.SetPen(_Pen(wxsGetColor(color_WindowBGLighter)));
        dc.DrawLine(g.joinFrom, g.joinTo);
    }

    const int drawnTop = g.outline[1].y, drawnHeight = g.outline[0].y - g.outline[1].y;
    int textOffset = tabX + window->FromDIP(8), bitmapOffset = 0;
    wxBitmap bitmap;
    if (page.bitmap.IsOk()) {
        bitmap = page.bitmap.GetBitmapFor(window);
        bitmapOffset = tabX + window->FromDIP(8);
        dc.DrawBitmap(bitmap, bitmapOffset,
                      drawnTop + drawnHeight / 2 - bitmap.GetLogicalHeight() / 2, true);
        textOffset = bitmapOffset + bitmap.GetLogicalWidth() + window->FromDIP(3);
    }
    int closeWidth = 0;
    if (closeButtonState != wxAUI_BUTTON_STATE_HIDDEN) {
        const bool lit = closeButtonState == wxAUI_BUTTON_STATE_HOVER ||
                         closeButtonState == wxAUI_BUTTON_STATE_PRESSED;
        const wxBitmap close = (lit ? m_activeCloseBmp : m_disabledCloseBmp).GetBitmapFor(window);
        const int offsetY = (m_flags & wxAUI_NB_BOTTOM) ? 1 : tabY - 1;
        wxRect rect(tabX + tabWidth - close.GetLogicalWidth() - window->FromDIP(1),
                    offsetY + tabHeight / 2 - close.GetLogicalHeight() / 2, close.GetLogicalWidth(),
                    tabHeight);
        if (closeButtonState == wxAUI_BUTTON_STATE_PRESSED)
            rect.Offset(window->FromDIP(wxPoint(1, 1)));
        dc.DrawBitmap(close, rect.x, rect.y, true);
        if (outButtonRect) *outButtonRect = rect;
        closeWidth = close.GetLogicalWidth();
    }

    const wxString text = _ChopText(dc, caption, tabWidth - (textOffset - tabX) - closeWidth);
    const wxColour colour = wxsGetColor(color_Text);
    // The caption reads on its tab's face (the shading darkens only a narrow band below it).
    dc.SetTextForeground(wxsReadableOn(page.active ? colour : _Lightness(colour, 80), fillFrom));
    const int textY = drawnTop + drawnHeight / 2 - textHeight / 2 - 1;
    dc.DrawText(text, textOffset, textY);

    if (page.active && wxWindow::FindFocus() == window) {
        wxRect focus(textOffset, textY, selectedWidth, selectedHeight);
        if (bitmap.IsOk()) { // most tabs have none: an empty bitmap has no size to ask for
            const wxRect bitmapRect(bitmapOffset,
                                    drawnTop + drawnHeight / 2 - bitmap.GetLogicalHeight() / 2,
                                    bitmap.GetLogicalWidth(), bitmap.GetLogicalHeight());
            focus = text.empty() ? bitmapRect : focus.Union(bitmapRect);
        }
        wxRendererNative::Get().DrawFocusRect(window, dc, focus.Inflate(2, 2), 0);
    }
    if (outTabRect) *outTabRect = g.tab;
    dc.DestroyClippingRegion();
}

wxsDockArt::wxsDockArt() {
    CALL_ENTRY("wxsDockArt::wxsDockArt");
    UpdateColoursFromSystem();
}

void wxsDockArt::UpdateColoursFromSystem() {
    CALL_ENTRY("wxsDockArt::UpdateColoursFromSystem");
    wxAuiDefaultDockArt::UpdateColoursFromSystem();
    // Pane captions and grippers in palette colours too, so that no system-coloured bar stands
    // out in a dark scheme. The active caption looks like the default button.
    const std::pair<int, const String*> roles[] = {
        {wxAUI_DOCKART_BACKGROUND_COLOUR, &color_WindowBGDarker},
        {wxAUI_DOCKART_BORDER_COLOUR, &color_WindowBGDarker},
        {wxAUI_DOCKART_SASH_COLOUR, &color_ButtonFace},
        {wxAUI_DOCKART_GRIPPER_COLOUR, &color_ButtonFace},
        {wxAUI_DOCKART_INACTIVE_CAPTION_COLOUR, &color_Header},
        {wxAUI_DOCKART_INACTIVE_CAPTION_GRADIENT_COLOUR, &color_WindowBG},
        {wxAUI_DOCKART_INACTIVE_CAPTION_TEXT_COLOUR, &color_Text},
        {wxAUI_DOCKART_ACTIVE_CAPTION_COLOUR, &color_Selected},
        {wxAUI_DOCKART_ACTIVE_CAPTION_GRADIENT_COLOUR, &color_Selected},
        {wxAUI_DOCKART_ACTIVE_CAPTION_TEXT_COLOUR, &color_3DDark},
    };
    for (const auto& role : roles) {
        const wxColour c = wxsGetColor(*role.second);
        if (c.IsOk()) SetColour(role.first, c);
    }
    // Caption texts in shades that read on their captions' shading.
    for (const auto& caption : {std::make_tuple(wxAUI_DOCKART_INACTIVE_CAPTION_TEXT_COLOUR,
                                                wxAUI_DOCKART_INACTIVE_CAPTION_COLOUR,
                                                wxAUI_DOCKART_INACTIVE_CAPTION_GRADIENT_COLOUR),
                                std::make_tuple(wxAUI_DOCKART_ACTIVE_CAPTION_TEXT_COLOUR,
                                                wxAUI_DOCKART_ACTIVE_CAPTION_COLOUR,
                                                wxAUI_DOCKART_ACTIVE_CAPTION_GRADIENT_COLOUR)}) {
        const auto [text, from, to] = caption;
        SetColour(text,
                  wxsReadableOn(wxsReadableOn(GetColour(text), GetColour(from)), GetColour(to)));
    }
    InitBitmaps(); // the caption buttons take the caption text colours
}

wxColour wxsDockArt::BorderColour() {
    CALL_ENTRY("wxsDockArt::BorderColour");
    // A shade that stands off the window background in both light and dark schemes.
    const wxColour base = wxsGetColor(color_WindowBG);
    if (!base.IsOk()) return base;
    const int delta = base.Green() >= 128 ? -48 : 48;
    return OffsetColor(base, delta, delta, delta);
}

void wxsDockArt::DrawBorder(wxDC& dc, wxWindow*, const wxRect& rect, wxAuiPaneInfo&) {
    CALL_ENTRY("wxsDockArt::DrawBorder");
    _KeepPenAndBrush keep(dc);
    dc.SetPen(_Pen(BorderColour()));
    dc.SetBrush(*wxTRANSPARENT_BRUSH);
    dc.DrawRectangle(rect);
}

void wxsDockArt::DrawSash(wxDC& dc, wxWindow*, int, const wxRect& rect) {
    CALL_ENTRY("wxsDockArt::DrawSash");
    const wxColour face = wxsGetColor(color_ButtonFace);
    _KeepPenAndBrush keep(dc);
    dc.SetPen(_Pen(face));
    dc.SetBrush(_Brush(face));
    dc.DrawRectangle(rect);
}

void wxsDockArt::DrawBackground(wxDC& dc, wxWindow*, int, const wxRect& rect) {
    CALL_ENTRY("wxsDockArt::DrawBackground");
    _KeepPenAndBrush keep(dc);
    dc.SetPen(*wxTRANSPARENT_PEN);
    _Fill(dc, rect, wxsGetColor(color_WindowBGDarker));
}

wxsNotebook::wxsNotebook(wxWindow* parent, int id)
    : wxAuiNotebook(parent, id, wxDefaultPosition, wxDefaultSize,
                    wxAUI_NB_TOP | wxAUI_NB_TAB_SPLIT | wxAUI_NB_TAB_MOVE |
                        wxAUI_NB_SCROLL_BUTTONS | wxBORDER_NONE) {
    CALL_ENTRY("wxsNotebook::wxsNotebook");
    Manage(this);

    // Tabs are sized for a text two points larger than they show, which gives them air.
    auto* art = new wxsTabArt;
    const wxFont font = *wxSMALL_FONT;
    wxFont measuring = font;
    measuring.SetPointSize(font.GetPointSize() + 2);
    art->SetNormalFont(font);
    art->SetSelectedFont(font);
    art->SetMeasuringFont(measuring);
    SetArtProvider(art);
    // The notebook keeps fonts of its own, which it hands to the tabs on every page change.
    SetNormalFont(font);
    SetSelectedFont(font);
    SetMeasuringFont(measuring);

    m_mgr.SetFlags(wxAUI_MGR_ALLOW_FLOATING | wxAUI_MGR_TRANSPARENT_HINT | wxAUI_MGR_HINT_FADE |
                   wxAUI_MGR_NO_VENETIAN_BLINDS_FADE | wxAUI_MGR_LIVE_RESIZE);
    m_mgr.SetArtProvider(new wxsDockArt); // background and borders "WindowBGDarker"

    Bind(wxEVT_AUINOTEBOOK_PAGE_CHANGED, &wxsNotebook::SavePerspective, this);
    Bind(wxEVT_CHILD_FOCUS, &wxsNotebook::ChildFocusEvent, this);
}

void wxsNotebook::SavePerspective(wxAuiNotebookEvent& event) {
    CALL_ENTRY("wxsNotebook::SavePerspective");
    event.Skip();
}

void wxsNotebook::ChildFocusEvent(wxChildFocusEvent&) {
    CALL_ENTRY("wxsNotebook::ChildFocusEvent");
    // Not skipped: the notebook's own handling would make the focused control's page current.
}

int wxsNotebook::SetSelection(size_t page) {
    CALL_ENTRY("wxsNotebook::SetSelection");
    const int current = GetSelection();
    if (current >= 0 && size_t(current) == page) return current;
    return wxAuiNotebook::SetSelection(page);
}
