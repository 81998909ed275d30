/// @file
/// The colour palette, the five colour schemes and "Colors.ini", colour management of windows,
/// the palette renderer, the themed buttons and toggles, the check list box and the notebook
/// with its tab and dock art.
///
/// Sections: palette; colour schemes; wxsColorManaged; drawing helpers; wxsRenderer; wxsButton;
/// wxsCheckBox and wxsRadioButton; thin themed wrappers; wxsCheckListBox; wxsNotebook, wxsTabArt
/// and wxsDockArt. The text field, choice, combo box, completer and text prompt live in
/// wxTaviroText.h.
///
/// Everything here is for the GUI thread only. Windows store slot names, never colour values, and
/// read the palette when they paint or when a system-colour-changed event reaches them.
#pragma once

#include <ostrum/String.h>

#include <wx/aui/auibook.h>
#include <wx/aui/dockart.h>
#include <wx/aui/tabart.h>
#include <wx/bmpbuttn.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/control.h>
#include <wx/ctrlsub.h>
#include <wx/listbox.h>
#include <wx/panel.h>
#include <wx/radiobut.h>
#include <wx/renderer.h>
#include <wx/scrolwin.h>
#include <wx/stattext.h>
#include <wx/weakref.h>

#include <vector>

class IniFile;

/// @addtogroup palette
/// @{

// ---- palette ----

/// @name The 27 slot names
/// Client code uses these, never literal text. (The grey text constant is spelled "Grey" but
/// holds the slot name "TextGray", which is also its key in "Colors.ini".)
/// @{
extern const String color_WindowBG;        ///< window background
extern const String color_WindowBGLighter; ///< lighter ground: inactive tabs, disabled
extern const String color_WindowBGDarker;  ///< darker ground: lists, dock, check lists
extern const String color_Text;            ///< text
extern const String color_TextRed;         ///< red text (status colours)
extern const String color_TextOrange;      ///< orange text (status colours)
extern const String color_TextYellow;      ///< yellow text (status colours)
extern const String color_TextGreen;       ///< green text (status colours)
extern const String color_TextCyan;        ///< cyan text (status colours)
extern const String color_TextBlue;        ///< blue text (status colours)
extern const String color_TextIndigo;      ///< indigo text (status colours)
extern const String color_TextViolet;      ///< violet text (status colours)
extern const String color_TextDarkRed;     ///< dark red text (status colours)
extern const String color_TextDarkOrange;  ///< dark orange text (status colours)
extern const String color_TextDarkYellow;  ///< dark yellow text (status colours)
extern const String color_TextDarkGreen;   ///< dark green text (status colours)
extern const String color_TextDarkCyan;    ///< dark cyan text (status colours)
extern const String color_TextDarkBlue;    ///< dark blue text (status colours)
extern const String color_TextDarkIndigo;  ///< dark indigo text (status colours)
extern const String color_TextDarkViolet;  ///< dark violet text (status colours)
extern const String color_TextGrey;        ///< grey text; slot name "TextGray"
extern const String color_3DLight;         ///< light edge of raised things
extern const String color_3DDark;          ///< dark edge of raised things
extern const String color_ButtonFace;      ///< face of buttons, sashes, drop buttons
extern const String color_ButtonText;      ///< text and arrows on buttons
extern const String color_Selected;        ///< selection, active tab, checked boxes
extern const String color_Header;          ///< list headers and inactive pane captions
/// @}

/// The number of slots of the palette.
constexpr size_t color_SlotCount = 27;
/// The 27 slot constants in the table order (the order the fixed schemes fill them): the one
/// list for code that walks the whole palette.
extern const String* const color_Slots[color_SlotCount];

/// The colour stored under the slot name. An unknown name is added with an unset (invalid)
/// colour, which is returned: callers test IsOk() where an unset slot matters.
wxColour wxsGetColor(const String& name);
/// Stores the colour under the name (any name, any colour, invalid ones included).
void wxsSetColor(const String& name, const wxColour& colour);

/// @name Colour arithmetic
/// Each returns a fresh opaque colour; an unset (invalid) colour stays unset.
/// @{
/// Adds signed deltas per channel, each result clamped to 0..255.
wxColour OffsetColor(const wxColour& colour, int red, int green, int blue);
/// Adds the second colour's channels to the first's, each capped at 255.
wxColour OffsetColor(const wxColour& colour, const wxColour& delta);
/// The shade of a disabled control: 70% of the colour and 30% of the stock light grey.
wxColour Disabled(const wxColour& colour);
/// The hover shade: 25 lighter per channel, capped at 255.
wxColour Hilight(const wxColour& colour);
/// @}

/// @name Legibility
/// The palette's values stay as they are; text is drawn in a shade that reads.
/// @{
/// The contrast ratio of two colours, 1 to 21, as the accessibility guidelines measure it.
double wxsContrast(const wxColour& a, const wxColour& b);
/// `text` itself when it reads on `background` with at least `minimum` contrast (4.5 for
/// text, 3 for disabled text); otherwise the shade of it nearest to it, mixed towards black or
/// white, that does. Unset colours come back as they are.
wxColour wxsReadableOn(const wxColour& text, const wxColour& background, double minimum = 4.5);
/// @}

/// @name The fixed schemes
/// Each stores its 27 colours into the palette; other slots are left alone.
/// @{
/// Scheme 1, Light.
void Light();
/// Scheme 2, Lighter.
void Lighter();
/// Scheme 3, Dark (also what unknown scheme numbers show).
void Dark();
/// Scheme 4, Darker.
void Darker();
/// @}

// ---- colour schemes ----

/// The scheme in force: 1 Light, 2 Lighter, 3 Dark, 4 Darker, 5 Custom; any other number shows
/// Dark but is kept (and saved) as it is. -1 until the first LoadColorScheme. Library-internal:
/// the frame base sets it when the user picks a scheme.
extern int g_Scheme;

/// Applies a scheme number to the palette (Dark for unknown numbers). Leaves g_Scheme alone.
void SetColors(int scheme);
/// The Dark colours, then every colour key of "Colors.ini" over them.
void CustomColors();
/// Reads one colour key of the file's unnamed section into the palette; an empty or missing
/// value leaves the slot alone, and so does a value that is no colour (with a log line).
void GetCustom(IniFile& file, const String& slot);
/// Reads "scheme" from "Colors.ini" into g_Scheme (0 when there was never one) and applies it.
void LoadColorScheme();
/// Writes g_Scheme as "scheme" into "Colors.ini", keeping every other key of the file.
void SaveColorScheme();
/// Why the last SaveColorScheme failed (it is also logged); empty when it worked.
const String& GetColorSchemeSaveError();
// None of the four scheme functions throws: a missing user folder or a bad file leaves the
// palette filled (at worst with Dark) and the choice valid for this run only.

/// @}

// ---- wxsColorManaged ----

/// @addtogroup palette
/// @{

/// Carried by every themed window (as a second base): the palette slots of its foreground and
/// background, enabled and disabled, each with an offset added to every channel. Re-reads them
/// when a system-colour-changed event reaches the window. Not copyable: the window's event
/// binding points at this object.
class wxsColorManaged {
public:
    /// Not bound yet: the window calls Manage(this) once it exists.
    wxsColorManaged();
    /// Binds `window` at once (Manage).
    explicit wxsColorManaged(wxWindow* window);
    /// Unbinds the handler from a window that is still alive.
    ~wxsColorManaged();
    wxsColorManaged(const wxsColorManaged&) = delete;
    wxsColorManaged& operator=(const wxsColorManaged&) = delete;

    /// Binds the window and applies its colours. The roles come from the parent when the
    /// parent is managed too (a dialog base carries one), otherwise the defaults: "Text" on
    /// "WindowBG", disabled "TextGray" on "WindowBGLighter" + 50.
    void Manage(wxWindow* window);
    /// Re-reads the palette and sets the window's foreground and background colours.
    void RefreshColors() const;
    /// The bound system-colour-changed handler (skips the event so it reaches the children).
    void wxsHandleSysColorChanged(wxSysColourChangedEvent& event);

    /// @name Roles
    /// A role is a slot name and an offset added to each channel. Setting one does not
    /// recolour: call RefreshColors() after.
    /// @{
    /// The text colour while enabled.
    void SetForegroundSlot(const String& slot, int offset = 0);
    /// The background while enabled.
    void SetBackgroundSlot(const String& slot, int offset = 0);
    /// The text colour while disabled.
    void SetDisabledForegroundSlot(const String& slot, int offset = 0);
    /// The background while disabled.
    void SetDisabledBackgroundSlot(const String& slot, int offset = 0);
    /// The enabled text colour's slot.
    const String& GetForegroundSlot() const;
    /// The enabled background's slot.
    const String& GetBackgroundSlot() const;
    /// The disabled text colour's slot.
    const String& GetDisabledForegroundSlot() const;
    /// The disabled background's slot.
    const String& GetDisabledBackgroundSlot() const;
    /// The enabled text colour's offset.
    int GetForegroundOffset() const;
    /// The enabled background's offset.
    int GetBackgroundOffset() const;
    /// The disabled text colour's offset.
    int GetDisabledForegroundOffset() const;
    /// The disabled background's offset.
    int GetDisabledBackgroundOffset() const;
    /// @}
    /// The window whose colours this manages; null before Manage.
    wxWindow* GetManagedWindow() const;

protected:
    String m_EnabledFgSlot;       ///< see SetForegroundSlot
    String m_EnabledBgSlot;       ///< see SetBackgroundSlot
    String m_DisabledFgSlot;      ///< see SetDisabledForegroundSlot
    String m_DisabledBgSlot;      ///< see SetDisabledBackgroundSlot
    int m_EnabledFgOffset = 0;    ///< see SetForegroundSlot
    int m_EnabledBgOffset = 0;    ///< see SetBackgroundSlot
    int m_DisabledFgOffset = 0;   ///< see SetDisabledForegroundSlot
    int m_DisabledBgOffset = 0;   ///< see SetDisabledBackgroundSlot
    wxWindow* m_Window = nullptr; ///< the managed window
};

// ---- drawing helpers ----

/// Fills rect with a shading from `second` at the graded edge(s) towards `first`: one row
/// shorter per step at the bottom (gradeBottom), the top (gradeTop) or both, h / 2 steps, the
/// colour curve shaped by `power` (1 linear; larger keeps the edge band narrow). With neither
/// flag the rectangle is filled flat in `first`.
void DrawGradedRectangle(wxDC& dc, const wxRect& rect, const wxColour& first,
                         const wxColour& second, float power, bool gradeBottom, bool gradeTop);
/// The keyboard focus mark of the themed controls: a dotted frame in the ink of the text it
/// surrounds, so that it shows in every scheme.
void wxsDrawFocusMark(wxDC& dc, const wxRect& rect, const wxColour& ink);
/// A filled pie inscribed in rect with the current brush and pen, angles in degrees
/// counter-clockwise from three o'clock; 0 to 360 is a whole disc.
void DrawCircle(wxDC& dc, const wxRect& rect, double startAngle, double endAngle);

/// @}

// ---- wxsRenderer ----

/// The application's renderer: check boxes, radio buttons, combo drop buttons and splitter
/// sashes in palette colours; everything else goes to the delegate unchanged. Holds no state
/// and reads the palette on every call.
///
/// Created by the application traits: `return new wxsRenderer(wxRendererNative::GetGeneric());`
/// (the generic renderer, so themed drawing looks alike on every platform); wx owns it then.
///
/// @ingroup palette
class wxsRenderer : public wxDelegateRendererNative {
public:
    /// Over `delegate`, which draws everything this one does not.
    explicit wxsRenderer(wxRendererNative& delegate = wxRendererNative::GetGeneric());

    /// None: the sash alone separates the panes.
    void DrawSplitterBorder(wxWindow* win, wxDC& dc, const wxRect& rect, int flags = 0) override;
    /// Fills the splitter's client area in "ButtonFace" (the panes cover the rest).
    void DrawSplitterSash(wxWindow* win, wxDC& dc, const wxSize& size, wxCoord position,
                          wxOrientation orient, int flags = 0) override;
    /// A "ButtonFace" button with the drop arrow.
    void DrawComboBoxDropButton(wxWindow* win, wxDC& dc, const wxRect& rect,
                                int flags = 0) override;
    /// A downward arrow in "ButtonText".
    void DrawDropArrow(wxWindow* win, wxDC& dc, const wxRect& rect, int flags = 0) override;
    /// A bevelled box without a tick: sunken with the "Selected" face when checked.
    void DrawCheckBox(wxWindow* win, wxDC& dc, const wxRect& rect, int flags = 0) override;
    /// The delegate's choice.
    void DrawChoice(wxWindow* win, wxDC& dc, const wxRect& rect, int flags = 0) override;
    /// An anti-aliased radio disc in palette colours.
    void DrawRadioBitmap(wxWindow* win, wxDC& dc, const wxRect& rect, int flags = 0) override;
    /// A 5-pixel sash, no border, lit under the pointer.
    wxSplitterRenderParams GetSplitterParams(const wxWindow* win) override;
    /// The renderer interface this was built against.
    wxRendererVersion GetVersion() const override;
};

/// @addtogroup themed
/// @{

// ---- wxsButton ----

/// A push button painted in palette colours. Normal, default (the top-level window's default
/// item) or, while it has the focus, temporarily default; hovering lightens whichever look is
/// current. Space, Return and keypad Enter click it.
class wxsButton : public wxControl, public wxsColorManaged {
public:
    /// A button as wxButton takes it; style wxBU_NOTEXT makes a label-less one that never
    /// borrows the default look on focus.
    wxsButton(wxWindow* parent, wxWindowID id, const wxString& label = wxEmptyString,
              const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
              long style = 0, const wxValidator& validator = wxDefaultValidator,
              const wxString& name = wxASCII_STR(wxButtonNameStr));

    /// Makes this the top-level window's default item with the default look; returns the
    /// window that was default before (none without a top-level parent or default item).
    wxWindow* SetDefault();
    /// The normal look (the default item of the top-level window is not changed).
    void SetNormal();
    /// Whether the button shows the default look now (its own or borrowed with the focus).
    bool IsDefault() const;
    /// Applies or removes the hover shade (+25 on both enabled offsets); idempotent.
    void Hilight(bool on);
    /// Whether the hover shade is on.
    bool IsHilighted() const;
    /// Sends the button event as if clicked (disabled meanwhile, so no second click arrives).
    void EmulateClick();

    /// Enables or disables it; a disabled button loses its hover shade and takes the disabled
    /// colours.
    bool Enable(bool enable = true) override;
    /// Also resizes: the minimum size follows the label, and the best size is invalidated so
    /// that a sizer grows the button on its next layout.
    void SetLabel(const wxString& label) override;

    /// Paints the whole button into dc: the paint handler's body.
    void Draw(wxDC& dc);
    /// Where the label goes inside a client area of the given size (paint and tests share it).
    wxRect GetLabelRect(const wxSize& clientSize) const;

    /// @name Event handlers
    /// @{
    /// Gaining the focus borrows the default look (or the hover shade); losing it gives it back.
    void Focus(wxFocusEvent& event);
    /// Entering and leaving: the hover shade.
    void Mouse(wxMouseEvent& event);
    /// A single click released over the button clicks it.
    void Click(wxMouseEvent& event);
    /// The release of Space, Return or keypad Enter clicks it, when the key went down here.
    void Key(wxKeyEvent& event);
    /// Paints through Draw, double-buffered.
    void Paint(wxPaintEvent& event);
    /// Repaints after a move.
    void Move(wxMoveEvent& event);
    /// Repaints after a resize (the label stays centred).
    void Size(wxSizeEvent& event);
    /// @}

    /// The normal label font, shared by all buttons (valid after the first button is made).
    static const wxFont& GetNormalFont();
    /// The bold font of the default look, shared by all buttons.
    static const wxFont& GetDefaultFont();

protected:
    /// The look follows the enabled state whatever changed it.
    void DoEnable(bool enable) override;

private:
    friend class _ButtonFontsModule;
    void _LoseFocus();
    void _ApplyLook(const wxFont& font, const String& fg, int fgOffset, const String& bg,
                    int bgOffset);
    // The minimum size that holds the label in the bold default font.
    wxSize _MinSizeForLabel() const;
    // The look follows IsEnabled() whatever changed it (this button's Enable or a parent's,
    // which GTK applies natively without telling the children): checked on enabling and at
    // idle time. A disabled button drops its hover shade (no leave event will come).
    void _FollowEnabledState();

    wxWeakRef<wxWindow> m_PreviousDefault; // weak: that window may go away meanwhile
    bool m_Hovered = false;
    unsigned m_EnableCalls = 0; // tells EmulateClick whether its handler changed the state
    bool m_LookEnabled = true;  // the state the colours were last set for
    // A click key went down while this button had the focus. Only then does its release click:
    // the release of a Return whose press opened this button's dialog (on the default button
    // of another dialog) must not answer the new dialog at once.
    bool m_KeyPressed = false;

    static wxFont s_NormalFont;
    static wxFont s_DefaultFont;
};

// ---- wxsCheckBox and wxsRadioButton ----

/// A check box painted by the application renderer (a bevelled box, sunken and "Selected" when
/// checked) with the label at its right (in the disabled foreground while disabled). A click or the
/// space key toggles it and sends wxEVT_CHECKBOX.
class wxsCheckBox : public wxCheckBoxBase, public wxsColorManaged {
public:
    /// A check box as wxCheckBox takes it (two states only), unchecked.
    wxsCheckBox(wxWindow* parent, wxWindowID id, const wxString& label = wxEmptyString,
                const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                long style = 0, const wxValidator& validator = wxDefaultValidator,
                const wxString& name = wxASCII_STR(wxCheckBoxNameStr));

    /// Whether it is checked.
    bool GetValue() const override;
    /// Repaints when the value changes; sends no event (like the toolkit's).
    void SetValue(bool value) override;
    /// Enables or disables it and recolours the label.
    bool Enable(bool enable = true) override;
    /// Sets the label and grows the best size to it.
    void SetLabel(const wxString& label) override;
    /// False: the control paints its whole area itself.
    bool HasTransparentBackground() override;
    /// Whether the pointer is over the (enabled) control.
    bool IsHovered() const;

    /// Where the parts go in a client area of the given size; paint and hit-testing share it.
    struct Geometry {
        wxRect box;   ///< the square handed to DrawButton
        wxRect label; ///< the label's area
        wxRect focus; ///< the dotted focus mark around the label text
    };
    /// The box, label and focus mark for a client area of that size.
    Geometry GetGeometry(const wxSize& clientSize) const;
    /// The renderer flags of the current state.
    int GetRenderFlags() const;
    /// Paints the whole control into dc: the paint handler's body.
    void Draw(wxDC& dc);

    /// The event a click sends: wxEVT_CHECKBOX here.
    virtual wxEventType ClickEventType() const;
    /// Changes the value as a click does (toggles it).
    virtual void HandleClick();
    /// Draws the box itself with the given renderer flags (the renderer's check box here).
    virtual void DrawButton(wxDC& dc, const wxRect& rect, int flags);

    /// @name Event handlers
    /// @{
    /// Paints through Draw, double-buffered.
    void Paint(wxPaintEvent& event);
    /// A single click released over the control clicks it.
    void Click(wxMouseEvent& event);
    /// Space clicks it.
    void Press(wxKeyEvent& event);
    /// Entering and leaving: the hover look.
    void Hover(wxMouseEvent& event);
    /// Focus gained or lost: repaints the focus mark.
    void Focus(wxFocusEvent& event);
    /// Repaints after a resize.
    void Size(wxSizeEvent& event);
    /// @}

protected:
    /// A square box of the text's height, the label and room for the focus mark.
    wxSize DoGetBestClientSize() const override;
    /// The look follows the enabled state whatever changed it.
    void DoEnable(bool enable) override;
    /// Repaints on any change of IsEnabled() (a parent's included, see wxsButton); drops the
    /// hover.
    void _FollowEnabledState();
    /// Checked for wxCHK_CHECKED, unchecked otherwise (no third state).
    void DoSet3StateValue(wxCheckBoxState state) override;
    /// wxCHK_CHECKED or wxCHK_UNCHECKED.
    wxCheckBoxState DoGet3StateValue() const override;
    /// A click's whole effect: HandleClick, then the click event with the new value.
    void _Clicked();

    bool m_Value = false;      ///< checked
    bool m_Hovered = false;    ///< the pointer is over the control
    bool m_LookEnabled = true; ///< the state the colours were last set for
};

/// A radio button: a click sets it (never clears it) and still sends wxEVT_RADIOBUTTON when it
/// was set already. Setting one clears the others of its group: the radio button siblings from
/// the one with wxRB_GROUP up to the next one with wxRB_GROUP (wxRB_SINGLE stands alone). The
/// arrow keys move the selection within the group.
class wxsRadioButton : public wxsCheckBox {
public:
    /// A radio button as wxRadioButton takes it (wxRB_GROUP starts a group), unset.
    wxsRadioButton(wxWindow* parent, wxWindowID id, const wxString& label = wxEmptyString,
                   const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                   long style = 0, const wxValidator& validator = wxDefaultValidator,
                   const wxString& name = wxASCII_STR(wxRadioButtonNameStr));

    /// Setting it clears the others of its group; sends no event.
    void SetValue(bool value) override;
    /// wxEVT_RADIOBUTTON.
    wxEventType ClickEventType() const override;
    /// Sets it (a click never clears a radio button).
    void HandleClick() override;
    /// The renderer's radio disc.
    void DrawButton(wxDC& dc, const wxRect& rect, int flags) override;

    /// The group this button belongs to, in sibling order.
    std::vector<wxsRadioButton*> GetGroup() const;
    /// The button before this one in its group; null for the first.
    wxsRadioButton* GetPreviousInGroup() const;
    /// The button after this one in its group; null for the last.
    wxsRadioButton* GetNextInGroup() const;

    /// The arrow keys select the next enabled button of the group and move the focus there.
    void Arrow(wxKeyEvent& event);
};

// ---- thin themed wrappers ----

/// A static text in palette colours: its themed parent's roles, else "Text" on "WindowBG".
class wxsStaticText : public wxStaticText, public wxsColorManaged {
public:
    /// As wxStaticText takes it; the colours follow the palette from the start.
    wxsStaticText(wxWindow* parent, wxWindowID id, const wxString& label,
                  const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                  long style = 0, const wxString& name = wxASCII_STR(wxStaticTextNameStr));
};

/// A panel in the palette's colours: the base of the themed composite controls.
class wxsPanel : public wxPanel, public wxsColorManaged {
public:
    /// As wxPanel takes it, borderless by default; the colours follow the palette from the start.
    wxsPanel(wxWindow* parent, wxWindowID id = wxID_ANY, const wxPoint& pos = wxDefaultPosition,
             const wxSize& size = wxDefaultSize, long style = wxTAB_TRAVERSAL | wxNO_BORDER,
             const wxString& name = wxASCII_STR(wxPanelNameStr));
};

/// A bitmap button on the palette's background (the folding panels' expand button).
class wxsBitmapButton : public wxBitmapButton, public wxsColorManaged {
public:
    /// As wxBitmapButton takes it; the colours follow the palette from the start.
    wxsBitmapButton(wxWindow* parent, wxWindowID id, const wxBitmap& bitmap,
                    const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                    long style = 0, const wxValidator& validator = wxDefaultValidator,
                    const wxString& name = wxASCII_STR(wxButtonNameStr));
};

// ---- wxsCheckListBox ----

/// A list of labelled check boxes drawn by the application renderer, one selected row, and a
/// context menu that ticks or clears every row. Filled and queried through the item-container
/// interface (Append, Insert, Delete, Clear, GetString, FindString, client data...).
///
/// Input: a click on a row's box toggles it, a click anywhere on a row selects it; Space toggles
/// the selected row, + and - tick and clear it, the arrows, Home, End, Page Up and Page Down move
/// the selection. Each change of a tick sends wxEVT_CHECKLISTBOX with the new state (1 or 0) as
/// the event's integer and the row as its extra long; CheckAll and CheckNone send one more
/// with the integer -1 when they are done.
class wxsCheckListBox : public wxScrolled<wxWindow>,
                        public wxItemContainer,
                        public wxsColorManaged {
public:
    /// The context menu's commands.
    enum { ID_CheckAll = 9601, ID_CheckNone = 9602 };

    /// Two-step creation: Init makes the window.
    wxsCheckListBox();
    /// An empty list, made at once (Init).
    wxsCheckListBox(wxWindow* parent, wxWindowID id, const wxPoint& pos = wxDefaultPosition,
                    const wxSize& size = wxDefaultSize, long style = 0,
                    const wxValidator& validator = wxDefaultValidator,
                    const wxString& name = wxASCII_STR(wxListBoxNameStr));
    /// Frees the rows' client objects.
    ~wxsCheckListBox() override;

    /// Creation, for the default constructor. wxALWAYS_SHOW_SB keeps the scroll bar shown.
    bool Init(wxWindow* parent, wxWindowID id, const wxPoint& pos = wxDefaultPosition,
              const wxSize& size = wxDefaultSize, long style = 0,
              const wxValidator& validator = wxDefaultValidator,
              const wxString& name = wxASCII_STR(wxListBoxNameStr));

    /// The number of rows.
    unsigned int GetCount() const override;
    /// A row's label; empty outside the rows.
    wxString GetString(unsigned int index) const override;
    /// Relabels a row and repaints; ignored outside the rows.
    void SetString(unsigned int index, const wxString& text) override;
    /// Any index outside the rows (wxNOT_FOUND) means no selection. Repaints; sends nothing.
    void SetSelection(int index) override;
    /// The selected row; wxNOT_FOUND when none.
    int GetSelection() const override;

    /// Sets the row's tick and sends one wxEVT_CHECKLISTBOX; does not repaint.
    void Check(unsigned int index, bool on = true);
    /// Whether the row is ticked; false outside the rows.
    bool IsChecked(unsigned int index) const;
    /// Ticks every row (an event per row, then the closing one) and repaints.
    void CheckAll();
    /// Clears every row's tick (an event per row, then the closing one) and repaints.
    void CheckNone();
    /// Scrolls so that the row is in view.
    void EnsureVisible(int index);

    /// The height of every row: the renderer's check-box height + 4.
    int GetRowHeight() const;
    /// Where row `index` goes, in the window's virtual (scrolled) coordinates: paint and hit
    /// tests share it.
    struct RowGeometry {
        wxRect box;   ///< the renderer's check box
        wxRect label; ///< the label area (filled in "Selected" on the selected row)
        wxPoint text; ///< where the label text starts
    };
    /// The box, label and text position of row `index`.
    RowGeometry GetRowGeometry(int index) const;
    /// The row under a point of the client area (wxNOT_FOUND below the last row); *onBox tells
    /// whether the point is in the box column.
    int HitTest(const wxPoint& clientPoint, bool* onBox = nullptr) const;
    /// The context menu of a right click (the caller owns it).
    wxMenu* CreateContextMenu() const;

    /// @name Event handlers
    /// @{
    /// A click on a row selects it; on its box it also toggles the tick.
    void OnLeftClick(wxMouseEvent& event);
    /// Space, + and - tick; the arrows, Home, End and the page keys move the selection.
    void OnKeyDown(wxKeyEvent& event);
    /// A right click opens the context menu.
    void OnRMouse(wxMouseEvent& event);
    /// The context menu's Check All.
    void OnAll(wxCommandEvent& event);
    /// The context menu's Check None.
    void OnNone(wxCommandEvent& event);
    /// Focus gained or lost: repaints the focus mark on the selected row.
    void OnFocus(wxFocusEvent& event);
    /// Takes the palette's colours again.
    void OnSysColorChange(wxSysColourChangedEvent& event);
    /// @}
    /// Paints the visible rows (the dc prepared for the scroll position).
    void OnDraw(wxDC& dc) override;

    /// @name Client data
    /// Both bases have these names: with an index they are the rows', without the window's.
    /// @{
    /// The window's client data.
    void SetClientData(void* data) { wxWindow::SetClientData(data); }
    /// The window's client data.
    void* GetClientData() const { return wxWindow::GetClientData(); }
    /// The window's client object (owned by the window).
    void SetClientObject(wxClientData* data) { wxWindow::SetClientObject(data); }
    /// The window's client object.
    wxClientData* GetClientObject() const { return wxWindow::GetClientObject(); }
    /// Row `n`'s client data.
    void SetClientData(unsigned int n, void* data) { wxItemContainer::SetClientData(n, data); }
    /// Row `n`'s client data.
    void* GetClientData(unsigned int n) const { return wxItemContainer::GetClientData(n); }
    /// Row `n`'s client object (owned by the list).
    void SetClientObject(unsigned int n, wxClientData* data) {
        wxItemContainer::SetClientObject(n, data);
    }
    /// Row `n`'s client object.
    wxClientData* GetClientObject(unsigned int n) const {
        return wxItemContainer::GetClientObject(n);
    }
    /// @}

protected:
    /// Inserts rows at `pos` (the selection stays on its row) and repaints.
    int DoInsertItems(const wxArrayStringsAdapter& items, unsigned int pos, void** clientData,
                      wxClientDataType type) override;
    /// Removes one row (deselected if it was selected) and repaints.
    void DoDeleteOneItem(unsigned int pos) override;
    /// Removes every row and the selection.
    void DoClear() override;
    /// Stores a row's client data.
    void DoSetItemClientData(unsigned int index, void* clientData) override;
    /// A row's client data; null outside the rows.
    void* DoGetItemClientData(unsigned int index) const override;
    /// Wide enough for the widest of the first hundred labels, a few rows high.
    wxSize DoGetBestClientSize() const override;

private:
    struct _Item {
        wxString label;
        bool checked = false;
        void* clientData = nullptr; // not owned here: the container's client-data kind decides
    };
    void _SendCheckEvent(int value, int row);
    // The rows changed: scroll extent and repaint.
    void _RowsChanged();
    // Moves the selection by the keyboard and keeps it in view.
    void _MoveSelection(int index);
    bool _IsRow(int index) const;

    std::vector<_Item> m_Items;
    int m_RowHeight = 20;
    int m_Selection = wxNOT_FOUND;
};

// ---- wxsNotebook, wxsTabArt and wxsDockArt ----

/// Tabs in palette colours with graded shading: the strip lightens towards its top, the
/// active tab is "Selected", inactive ones "WindowBGLighter" shading into "WindowBG". The
/// colours are read from the palette whenever a tab is drawn.
class wxsTabArt : public wxAuiGenericTabArt {
public:
    /// Takes its base colours from the palette.
    wxsTabArt();
    /// A copy, for each tab control of the notebook.
    wxAuiTabArt* Clone() override;
    /// The tab strip: graded towards its top, with a darker band along the pages' edge.
    void DrawBackground(wxDC& dc, wxWindow* window, const wxRect& rect) override;
    /// One tab, by GetTabGeometry: graded fill, outline, and its caption readable on it.
    void DrawTab(wxDC& dc, wxWindow* window, const wxAuiNotebookPage& page, const wxRect& inRect,
                 int closeButtonState, wxRect* outTabRect, wxRect* outButtonRect,
                 int* xExtent) override;
    /// The toolkit asks this on a colour change: the base colours come from the palette again.
    void UpdateColoursFromSystem() override;

    /// Where the parts of a tab go; DrawTab paints by it and reports its tab rectangle for the
    /// notebook's hit tests.
    struct TabGeometry {
        wxRect tab;         ///< the tab: its x and top, width, height
        wxRect clip;        ///< what the tab may paint
        wxRect fill;        ///< the graded fill (inactive or active)
        wxPoint outline[6]; ///< the tab's outline
        wxPoint joinFrom;   ///< the open edge's start, drawn over on the active tab
        wxPoint joinTo;     ///< the open edge's end
    };
    /// The parts of a tab `tabWidth` wide placed in `inRect`.
    TabGeometry GetTabGeometry(const wxRect& inRect, int tabWidth, bool active) const;

private:
    void _FollowPalette();
};

/// Pane borders and sashes in palette colours (the border a shade off "WindowBG", the sash
/// "ButtonFace"); the dock background "WindowBGDarker". Install it on a wxAuiManager with
/// SetArtProvider; the manager owns it then.
class wxsDockArt : public wxAuiDefaultDockArt {
public:
    /// Takes its colours from the palette.
    wxsDockArt();
    /// A sash in "ButtonFace".
    void DrawSash(wxDC& dc, wxWindow* window, int orientation, const wxRect& rect) override;
    /// A one-pixel pane border in BorderColour().
    void DrawBorder(wxDC& dc, wxWindow* window, const wxRect& rect, wxAuiPaneInfo& pane) override;
    /// The dock background, read from the palette at paint time so a scheme change shows.
    void DrawBackground(wxDC& dc, wxWindow* window, int orientation, const wxRect& rect) override;
    /// Captions, grippers, sashes and borders take the palette's colours again.
    void UpdateColoursFromSystem() override;

    /// The pane border's colour: "WindowBG" 48 steps darker, or lighter when it is dark.
    static wxColour BorderColour();
};

/// The tabbed page container: an AUI notebook (tabs on top, movable, splittable, scroll
/// buttons, no close buttons) with wxsTabArt and wxsDockArt. Pages are added with AddPage.
class wxsNotebook : public wxAuiNotebook, public wxsColorManaged {
public:
    /// An empty notebook in the palette's colours.
    wxsNotebook(wxWindow* parent, int id);

    /// Page changed: only skipped.
    void SavePerspective(wxAuiNotebookEvent& event);
    /// Swallowed on purpose: focusing a control must not make its page the current one.
    void ChildFocusEvent(wxChildFocusEvent& event);
    /// As wxAuiNotebook's, except that selecting the current page again changes nothing: the
    /// AUI notebook would move the keyboard focus to its tabs (away from the field typed in).
    int SetSelection(size_t page) override;
};

/// @}
