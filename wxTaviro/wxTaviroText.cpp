// Themed text field, choice, combo box, word completer and text prompt.
//
// Sections:
//   wxsTextCtrl         style, palette colours, the clear button and its show/hide rules
//   wxsChoice           keys, sizes, painting of the closed control and of the list items
//   wxsComboBox         the coloured entry, its layout and event forwarding, the drop button
//   wxsAutoCompleter    the shared word set, completion of the last word
//   wxsGetTextFromUser  wxsTextDlg and the prompt
#include <wxTaviro/wxTaviroText.h>
#include <wxTaviro/wxTaviroAccessible.h>

#include <wxTaviro/wxTaviroString.h>

#include <ostrum/CallTrace.h>

#include <wx/dcclient.h>
#include <wx/dcscreen.h>
#include <wx/wupdlock.h>

#include <strings.h>

#include <set>
#include <vector>

namespace {

wxColour _Slot(const String& slot) {
    return wxsGetColor(slot);
}

// Adds the same delta to every channel, clamped to 0..255.
wxColour _Lift(const wxColour& c, int delta) {
    return OffsetColor(c, delta, delta, delta);
}

void _Fill(wxDC& dc, const wxRect& rect, const wxColour& c) {
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(c));
    dc.DrawRectangle(rect);
}

// A one-pixel frame: left and top in `topLeft`, right and bottom in `bottomRight`.
void _Frame(wxDC& dc, const wxRect& r, const wxColour& topLeft, const wxColour& bottomRight) {
    _Fill(dc, wxRect(r.x, r.y, r.width, 1), topLeft);
    _Fill(dc, wxRect(r.x, r.y, 1, r.height), topLeft);
    _Fill(dc, wxRect(r.x, r.GetBottom(), r.width, 1), bottomRight);
    _Fill(dc, wxRect(r.GetRight(), r.y, 1, r.height), bottomRight);
}

// One height for the text field, the choice and the combo box: a line of text and padding.
int _ControlHeight(const wxWindow* window) {
    return window->GetCharHeight() + window->FromDIP(8);
}

// The drop arrow of the choice and the combo box, centred in rect.
void _DropArrow(wxDC& dc, const wxWindow* window, const wxRect& rect, const wxColour& colour) {
    dc.SetPen(wxPen(colour));
    dc.SetBrush(wxBrush(colour));
    const int half = window->FromDIP(4);
    const wxPoint centre(rect.x + rect.width / 2, rect.y + rect.height / 2);
    const wxPoint points[] = {{centre.x - half, centre.y - half / 2},
                              {centre.x + half, centre.y - half / 2},
                              {centre.x, centre.y + half / 2 + 1}};
    dc.DrawPolygon(3, points);
}

// The list items of the choice and the combo box: one text line with a little air, drawn in
// "Text" (in the background colour on the selection).
wxCoord _ItemHeight(const wxOwnerDrawnComboBox* box) {
    wxScreenDC dc;
    dc.SetFont(box->GetFont());
    return dc.GetCharHeight() + box->FromDIP(4);
}

void _DrawItem(const wxOwnerDrawnComboBox* box, wxDC& dc, const wxRect& rect, int item, int flags) {
    if (item < 0 || item >= (int)box->GetCount()) return;
    dc.SetFont(box->GetFont());
    // Readable wherever the item may sit: the face in either look, the open list, the
    // selection's shading.
    std::vector<wxColour> under;
    if (flags & wxODCB_PAINTING_SELECTED) {
        under = {_Slot(color_Selected), _Lift(_Slot(color_Selected), -25)};
    } else if (flags & wxODCB_PAINTING_CONTROL) {
        const wxColour raised = _Lift(_Slot(color_WindowBGLighter), 25);
        const wxColour sunken = _Slot(color_WindowBGDarker);
        under = {raised, _Lift(raised, -22), sunken, _Lift(sunken, 12)};
        if (!box->IsEnabled())
            for (wxColour& c : under)
                c = Disabled(c);
    } else {
        under = {_Slot(color_WindowBGLighter)};
    }
    wxColour ink = _Slot((flags & wxODCB_PAINTING_SELECTED) ? color_WindowBGDarker : color_Text);
    for (const wxColour& c : under)
        ink = wxsReadableOn(ink, c, box->IsEnabled() ? 4.5 : 3.0);
    dc.SetTextForeground(ink);
    const wxString text = box->GetString(item);
    const int height = dc.GetTextExtent(text).GetHeight();
    dc.DrawText(text, rect.x + box->FromDIP(6), rect.y + (rect.height - height) / 2);
}

} // namespace

// ---- wxsTextCtrl ----

long wxsTextCtrl::AdjustStyle(long style) {
    // Bits 8 to 14 stay where they are (process Enter, password, alignment); bit 15 goes.
    style = (style & ~0xFF00L) | (((style >> 8) & 0x7F) << 8);
    if ((style & wxBORDER_MASK) == 0) style = (style & ~0x208000L) | wxBORDER_NONE;
    return style;
}

wxsTextCtrl::wxsTextCtrl(wxWindow* parent, int id, const wxString& value, const wxPoint& pos,
                         const wxSize& size, long style, const wxValidator& validator,
                         const wxString& name)
    : wxTextCtrl(parent, id, value, pos, size, AdjustStyle(style), validator, name) {
    CALL_ENTRY("wxsTextCtrl::wxsTextCtrl");
    m_Window = this; // colours are set by OnSysColorChange, not by the generic roles
    wxsAccessibleRegister(this);
    SetForegroundSlot(color_Text);
    SetBackgroundSlot(color_WindowBGDarker);
    m_ClearButton = new wxsButton(parent, ClearButtonId, wxString::FromUTF8("\xC3\x97"));
    m_ClearButton->SetCursor(wxCursor(wxCURSOR_ARROW));
    m_ClearButton->Hide();
    m_ClearButton->Bind(wxEVT_BUTTON, &wxsTextCtrl::OnClearButton, this);
    m_ClearButton->Bind(wxEVT_MOTION, &wxsTextCtrl::Mouse, this);
    m_ClearButton->Bind(wxEVT_LEAVE_WINDOW, &wxsTextCtrl::Mouse, this);
    Bind(wxEVT_MOTION, &wxsTextCtrl::Mouse, this);
    Bind(wxEVT_ENTER_WINDOW, &wxsTextCtrl::Mouse, this);
    Bind(wxEVT_LEAVE_WINDOW, &wxsTextCtrl::Mouse, this);
    Bind(wxEVT_SET_FOCUS, &wxsTextCtrl::SetFocus, this);
    Bind(wxEVT_KILL_FOCUS, &wxsTextCtrl::KillFocus, this);
    Bind(wxEVT_KEY_DOWN, &wxsTextCtrl::Key, this);
    Bind(wxEVT_SYS_COLOUR_CHANGED, &wxsTextCtrl::OnSysColorChange, this);
    Bind(wxEVT_MOVE, &wxsTextCtrl::_Moved, this);
    Bind(wxEVT_SIZE, &wxsTextCtrl::_Moved, this);
    // A borderless GTK entry is only as tall as its text: give it the height of the choices.
    if (size.y < 0) SetMinSize(wxSize(size.x, _ControlHeight(this)));
    wxSysColourChangedEvent colours;
    colours.SetEventObject(this);
    GetEventHandler()->ProcessEvent(colours);
}

wxsTextCtrl::~wxsTextCtrl() {
    // The button is a sibling: it would outlive the field otherwise.
    if (m_ClearButton) m_ClearButton->Destroy();
}

bool wxsTextCtrl::Enable(bool enable) {
    CALL_ENTRY("wxsTextCtrl::Enable");
    const bool changed = wxTextCtrl::Enable(enable);
    wxSysColourChangedEvent colours;
    colours.SetEventObject(this);
    GetEventHandler()->ProcessEvent(colours);
    if (!enable) _ShowClearButton(false);
    return changed;
}

bool wxsTextCtrl::IsClearButtonShown() const {
    return m_ClearButton && m_ClearButton->IsShown();
}

void wxsTextCtrl::OnSysColorChange(wxSysColourChangedEvent& event) {
    CALL_ENTRY("wxsTextCtrl::OnSysColorChange");
    event.Skip();
    wxColour fg, bg;
    if (IsEnabled()) {
        fg = _Slot(color_Text);
        bg = _Slot(color_WindowBGDarker);
    } else if (HasFlag(wxTE_READONLY)) {
        fg = _Slot(color_Text);
        bg = _Slot(color_WindowBGLighter);
    } else {
        fg = Disabled(_Slot(color_Text));
        bg = Disabled(_Slot(color_WindowBG));
    }
    SetForegroundColour(fg);
    SetBackgroundColour(bg);
    SetDefaultStyle(wxTextAttr(fg, bg));
    Refresh();
}

void wxsTextCtrl::_PlaceClearButton() {
    if (!m_ClearButton) return;
    const wxRect r = GetRect();
    const int side = std::max(FromDIP(12), r.height - FromDIP(6));
    m_ClearButton->SetSize(r.GetRight() - side - FromDIP(2), r.y + (r.height - side) / 2, side,
                           side);
}

void wxsTextCtrl::_ShowClearButton(bool show) {
    if (!m_ClearButton || m_ClearButton->IsShown() == show) return;
    wxWindowUpdateLocker freeze(this);
    if (show) {
        _PlaceClearButton();
        m_ClearButton->Show();
        m_ClearButton->Raise();
    } else {
        m_ClearButton->Hide();
    }
}

void wxsTextCtrl::_Moved(wxEvent& event) {
    event.Skip();
    if (IsClearButtonShown()) _PlaceClearButton();
}

void wxsTextCtrl::Mouse(wxMouseEvent& event) {
    CALL_ENTRY("wxsTextCtrl::Mouse");
    event.Skip();
    const wxPoint pointer = ScreenToClient(wxGetMousePosition());
    _ShowClearButton(IsEnabled() && GetClientRect().Contains(pointer) && !GetValue().empty());
}

void wxsTextCtrl::SetFocus(wxFocusEvent& event) {
    CALL_ENTRY("wxsTextCtrl::SetFocus");
    event.Skip();
    if (!GetValue().empty()) _ShowClearButton(true);
}

void wxsTextCtrl::KillFocus(wxFocusEvent& event) {
    CALL_ENTRY("wxsTextCtrl::KillFocus");
    event.Skip();
    if (!m_ClearButton || event.GetWindow() != m_ClearButton) _ShowClearButton(false);
}

void wxsTextCtrl::Key(wxKeyEvent& event) {
    CALL_ENTRY("wxsTextCtrl::Key");
    event.Skip();
    _ShowClearButton(false);
}

void wxsTextCtrl::OnClearButton(wxCommandEvent& event) {
    CALL_ENTRY("wxsTextCtrl::OnClearButton");
    event.Skip();
    SetValue(wxEmptyString); // sends the text event, as typing would
    _ShowClearButton(false);
    wxTextCtrl::SetFocus();
}

// ---- wxsChoice ----

wxBEGIN_EVENT_TABLE(wxsChoice, wxOwnerDrawnComboBox)
    EVT_SIZE(wxsChoice::Size)
    EVT_KEY_DOWN(wxsChoice::OnKeyDown) EVT_PAINT(wxsChoice::Paint)
wxEND_EVENT_TABLE()

wxsChoice::wxsChoice(wxWindow* parent, wxWindowID id, const wxPoint& pos, const wxSize& size,
                     const wxArrayString& choices, long style, const wxValidator& validator,
                     const wxString& name)
    : wxOwnerDrawnComboBox(parent, id, wxEmptyString, pos, size, choices, style | wxCB_READONLY,
                           validator, name) {
    CALL_ENTRY("wxsChoice::wxsChoice");
    Manage(this);
    Bind(wxEVT_SYS_COLOUR_CHANGED, [this](wxSysColourChangedEvent& e) {
        e.Skip();
        _RefreshPopupColors();
        Refresh();
    });
    _RefreshPopupColors();
    SetInitialSize(size);
}

void wxsChoice::_RefreshPopupColors() {
    if (wxVListBoxComboPopup* popup = GetVListBoxComboPopup()) {
        popup->SetBackgroundColour(_Slot(color_WindowBGLighter));
        popup->SetForegroundColour(_Slot(color_Text));
    }
}

wxSize wxsChoice::_PaddedExtent(const wxString& text) const {
    return GetTextExtent(text) + FromDIP(wxSize(10, 6));
}

wxSize wxsChoice::GetMinClientSize() const {
    return _PaddedExtent("M");
}

wxSize wxsChoice::DoGetBestSize() const {
    if (GetCount() == 0) return _PaddedExtent("M");
    wxSize best;
    for (unsigned i = 0; i < GetCount(); ++i)
        best.IncTo(GetTextExtent(GetString(i)));
    return best + FromDIP(wxSize(10, 6));
}

wxString wxsChoice::GetStringSelection() const {
    const int selection = GetSelection();
    return selection == wxNOT_FOUND ? wxString() : GetString(selection);
}

void wxsChoice::OnKeyDown(wxKeyEvent& event) {
    CALL_ENTRY("wxsChoice::OnKeyDown");
    // Typing must never change the selection. Tab moves on; Alt+Down and F4 open the list, so
    // the control stays usable from the keyboard.
    const int key = event.GetKeyCode();
    if (key == WXK_TAB) {
        event.Skip();
    } else if (key == WXK_F4 || (key == WXK_DOWN && event.AltDown())) {
        if (!IsPopupShown()) Popup();
    }
}

void wxsChoice::Size(wxSizeEvent& event) {
    event.Skip();
    static bool s_Busy = false;
    if (s_Busy) return;
    s_Busy = true;
    SetCustomPaintWidth(event.GetSize().GetWidth());
    s_Busy = false;
    Refresh();
}

wxCoord wxsChoice::OnMeasureItem(size_t) const {
    return _ItemHeight(this);
}

void wxsChoice::OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const {
    _DrawItem(this, dc, rect, item, flags);
}

void wxsChoice::OnDrawBackground(wxDC& dc, const wxRect& rect, int, int flags) const {
    if (flags & wxODCB_PAINTING_CONTROL) {
        const bool sunken = IsPopupShown();
        wxColour base =
            sunken ? _Slot(color_WindowBGDarker) : _Lift(_Slot(color_WindowBGLighter), 25);
        if (!IsEnabled()) base = Disabled(base);
        const wxColour second = _Lift(base, sunken ? 12 : -22);
        const wxRect all(GetClientSize());
        DrawGradedRectangle(dc, all, base, second, 1.7f, true, true);
        const wxColour light = _Slot(color_3DLight), dark = _Slot(color_3DDark);
        _Frame(dc, all, sunken ? dark : light, sunken ? light : dark);
    } else if (flags & wxODCB_PAINTING_SELECTED) {
        const wxColour selected = _Slot(color_Selected);
        DrawGradedRectangle(dc, rect, selected, _Lift(selected, -25), 2.2f, true, true);
    } else {
        _Fill(dc, rect, _Slot(color_WindowBGLighter));
    }
}

void wxsChoice::Paint(wxPaintEvent&) {
    wxPaintDC dc(this);
    const wxRect all(GetClientSize());
    OnDrawBackground(dc, all, GetSelection(), wxODCB_PAINTING_CONTROL);
    OnDrawItem(dc, all, GetSelection(), wxODCB_PAINTING_CONTROL);
    // The arrow tells a list from a button, where it does not cover the text.
    const int arrow = FromDIP(18);
    const int used = FromDIP(6) + GetTextExtent(GetStringSelection()).x;
    if (all.width - used >= arrow)
        _DropArrow(dc, this, wxRect(all.GetRight() - arrow, 0, arrow, all.height),
                   _Slot(IsEnabled() ? color_Text : color_3DDark));
    if (HasFocus()) {
        dc.SetPen(wxPen(_Slot(color_Text), 1, wxPENSTYLE_DOT));
        dc.SetBrush(*wxTRANSPARENT_BRUSH);
        dc.DrawRectangle(wxRect(all).Deflate(FromDIP(3)));
    }
}

// ---- wxsComboBox ----

wxBEGIN_EVENT_TABLE(wxsComboBox, wxOwnerDrawnComboBox)
    EVT_SIZE(wxsComboBox::Size)
    EVT_SYS_COLOUR_CHANGED(wxsComboBox::OnSysColorChange) EVT_PAINT(wxsComboBox::Paint)
wxEND_EVENT_TABLE()

wxsComboBox::wxsComboBox(wxWindow* parent, wxWindowID id, const wxString& value, const wxPoint& pos,
                         const wxSize& size, const wxArrayString& choices, long style,
                         const wxValidator& validator, const wxString& name)
    : wxOwnerDrawnComboBox(parent, id, value, pos, size, choices, style, validator, name) {
    CALL_ENTRY("wxsComboBox::wxsComboBox");
    Manage(this);
    CreateColoredTextCtrl();
    if (wxVListBoxComboPopup* popup = GetVListBoxComboPopup())
        popup->SetBackgroundColour(_Slot(color_WindowBGLighter));
    SetInitialSize(size);
}

wxsTextCtrl* wxsComboBox::GetColoredTextCtrl() const {
    return dynamic_cast<wxsTextCtrl*>(GetTextCtrl());
}

void wxsComboBox::CreateColoredTextCtrl() {
    CALL_ENTRY("wxsComboBox::CreateColoredTextCtrl");
    if (HasFlag(wxCB_READONLY) || GetColoredTextCtrl()) return;
    const wxString value = GetValue();
    const wxString hint = GetHint();
    // The toolkit keeps the entry twice: as the text control and as the main window.
    const bool mainIsEntry = m_text && m_mainWindow == m_text;
    if (m_text) {
        wxTextCtrl* old = m_text;
        m_text = nullptr; // the combo must not reach the old entry while it goes
        if (mainIsEntry) m_mainWindow = this;
        delete old;
    }
    const bool enter = HasFlag(wxTE_PROCESS_ENTER);
    auto* text = new wxsTextCtrl(this, wxID_ANY, value, wxDefaultPosition, wxDefaultSize,
                                 enter ? wxTE_PROCESS_ENTER : 0);
    text->Bind(wxEVT_TEXT, &wxsComboBox::OnColoredTextCtrlEvent, this);
    if (enter) text->Bind(wxEVT_TEXT_ENTER, &wxsComboBox::OnColoredTextCtrlEvent, this);
    text->Bind(wxEVT_KEY_DOWN, &wxsComboBox::_EntryKey, this);
    text->Bind(wxEVT_KEY_UP, &wxsComboBox::_EntryKey, this);
    text->Bind(wxEVT_CHAR, &wxsComboBox::_EntryKey, this);
    text->Bind(wxEVT_SET_FOCUS, &wxsComboBox::_EntryFocus, this);
    text->Bind(wxEVT_KILL_FOCUS, &wxsComboBox::_EntryFocus, this);
    if (!hint.empty()) text->SetHint(hint);
    text->Enable(IsEnabled());
    m_text = text;
    if (mainIsEntry) m_mainWindow = text;
    _LayoutEntry();
}

void wxsComboBox::_EntryKey(wxKeyEvent& event) {
    // As the toolkit's own entry does: the combo box has the key first (its handlers, a
    // client's among them, and its own opening, closing and stepping through the list); what
    // it leaves goes on to the entry.
    wxKeyEvent redirected(event);
    redirected.SetId(GetId());
    redirected.SetEventObject(this);
    if (!GetEventHandler()->ProcessEvent(redirected) && event.GetKeyCode() != WXK_TAB) event.Skip();
}

void wxsComboBox::_EntryFocus(wxFocusEvent& event) {
    // Focus on the entry is focus on the combo box for whoever listens to it.
    wxFocusEvent redirected(event);
    redirected.SetId(GetId());
    redirected.SetEventObject(this);
    GetEventHandler()->ProcessEvent(redirected);
    event.Skip();
}

void wxsComboBox::OnColoredTextCtrlEvent(wxCommandEvent& event) {
    if (event.GetEventObject() == this) {
        event.Skip();
        return;
    }
    // Clients listen to the combo box, not to its entry.
    wxCommandEvent copy(event);
    copy.SetEventObject(this);
    copy.SetId(GetId());
    ProcessWindowEvent(copy);
}

bool wxsComboBox::Enable(bool enable) {
    CALL_ENTRY("wxsComboBox::Enable");
    const bool changed = wxOwnerDrawnComboBox::Enable(enable);
    if (changed) {
        if (wxsTextCtrl* text = GetColoredTextCtrl()) text->Enable(enable);
        Refresh();
    }
    return changed;
}

void wxsComboBox::_LayoutEntry() {
    wxsTextCtrl* text = GetColoredTextCtrl();
    if (!text) return;
    const wxSize size = GetClientSize();
    const int inset = 1;
    text->SetSize(inset, inset, std::max(0, size.x - GetDropButtonWidth() - 2 * inset),
                  std::max(0, size.y - 2 * inset));
}

void wxsComboBox::Size(wxSizeEvent& event) {
    event.Skip();
    // After the toolkit's own layout, which places the entry its way.
    CallAfter(&wxsComboBox::_LayoutEntry);
    _LayoutEntry();
    Refresh();
}

void wxsComboBox::OnSysColorChange(wxSysColourChangedEvent& event) {
    CALL_ENTRY("wxsComboBox::OnSysColorChange");
    event.Skip();
    RefreshColors();
    if (wxVListBoxComboPopup* popup = GetVListBoxComboPopup())
        popup->SetBackgroundColour(_Slot(color_WindowBGLighter));
    Refresh();
}

wxCoord wxsComboBox::OnMeasureItem(size_t) const {
    return _ItemHeight(this);
}

void wxsComboBox::OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const {
    _DrawItem(this, dc, rect, item, flags);
}

void wxsComboBox::OnDrawBackground(wxDC& dc, const wxRect& rect, int, int flags) const {
    if (!(flags & wxODCB_PAINTING_CONTROL)) {
        if (flags & wxODCB_PAINTING_SELECTED) {
            const wxColour selected = _Slot(color_Selected);
            DrawGradedRectangle(dc, rect, selected, _Lift(selected, -25), 2.2f, true, true);
        } else {
            _Fill(dc, rect, _Slot(color_WindowBGLighter));
        }
        return;
    }
    const wxSize size = GetClientSize();
    const int button = GetDropButtonWidth();
    // The entry area, sunken.
    const wxRect entry(0, 0, std::max(0, size.x - button), size.y);
    wxColour background = _Slot(color_WindowBG);
    if (!IsEnabled()) background = Disabled(background);
    _Fill(dc, entry, background);
    _Frame(dc, entry, _Slot(color_WindowBGDarker), _Slot(color_WindowBGLighter));
    // The drop button: a graded face with a shaded frame and a down arrow.
    const wxRect face(entry.GetRight() + 1, 0, size.x - entry.width, size.y);
    const wxColour base = _Lift(_Slot(IsPopupShown() ? color_Selected : color_ButtonFace), 20);
    const wxColour shade = _Lift(base, -20);
    DrawGradedRectangle(dc, face, base, shade, 2.2f, true, true);
    _Frame(dc, face, base, shade);
    _DropArrow(dc, this, face, _Slot(IsEnabled() ? color_ButtonText : color_3DDark));
}

wxSize wxsComboBox::DoGetBestSize() const {
    return wxSize(wxOwnerDrawnComboBox::DoGetBestSize().x, _ControlHeight(this));
}

void wxsComboBox::Paint(wxPaintEvent&) {
    wxPaintDC dc(this);
    OnDrawBackground(dc, wxRect(GetClientSize()), GetSelection(), wxODCB_PAINTING_CONTROL);
}

// ---- wxsAutoCompleter ----

namespace {

struct _NoCaseLess {
    bool operator()(const wxString& a, const wxString& b) const {
        return strcasecmp(a.utf8_str(), b.utf8_str()) < 0;
    }
};

std::set<wxString, _NoCaseLess>& _Words() {
    static std::set<wxString, _NoCaseLess> s_Words;
    return s_Words;
}

} // namespace

void wxsAutoCompleter::AddWord(const wxString& word) {
    _Words().insert(word);
}

void wxsAutoCompleter::ClearWords() {
    _Words().clear();
}

bool wxsAutoCompleter::Start(const wxString& text) {
    CALL_ENTRY("wxsAutoCompleter::Start");
    m_Completions.clear();
    m_Next = 0;
    m_Prefix.clear();
    if (text.empty()) return false;
    const size_t split = text.find_last_of(" ().:|");
    m_Prefix = split == wxString::npos ? wxString() : text.Left(split + 1);
    const wxString word = text.Mid(m_Prefix.length()).Upper();
    for (const wxString& candidate : _Words())
        if (candidate.Upper().StartsWith(word)) m_Completions.push_back(m_Prefix + candidate);
    return !m_Completions.empty();
}

wxString wxsAutoCompleter::GetNext() {
    return m_Next < m_Completions.size() ? m_Completions[m_Next++] : wxString();
}

// ---- wxsGetTextFromUser ----

wxsTextDlg::wxsTextDlg(wxWindow* parent, const wxString& message, const wxString& caption,
                       const wxString& defaultValue)
    : wxTaviroDlg(parent, caption, "wxsTextDlg", true) {
    CALL_ENTRY("wxsTextDlg::wxsTextDlg");
    const int gap = FromDIP(8);
    wxBoxSizer* sizer = StartControls();
    sizer->AddSpacer(gap);
    sizer->Add(NewStatic(message), 0, wxEXPAND | wxLEFT | wxRIGHT, gap);
    sizer->AddSpacer(gap);
    m_Text =
        new wxsTextCtrl(this, wxID_ANY, defaultValue, wxDefaultPosition, wxSize(FromDIP(260), -1));
    sizer->Add(m_Text, 0, wxEXPAND | wxLEFT | wxRIGHT, gap);
    sizer->AddSpacer(gap);
    AddButtons(sizer, true);
    const wxSize minimum = sizer->GetMinSize();
    SetMinClientSize(minimum);
    SetMaxClientSize(wxSize(-1, minimum.y));
    Fit();
}

String wxsGetTextFromUser(const wxString& message, const wxString& caption,
                          const wxString& defaultValue, wxWindow* parent) {
    CALL_ENTRY("wxsGetTextFromUser");
    wxsTextDlg dlg(parent, message, caption, defaultValue);
    // The dialog base ends a cancelled modal dialog with 0, not wxID_CANCEL: only OK counts.
    if (dlg.ShowModal() != wxID_OK) return String();
    return wxToString(dlg.GetTextCtrl()->GetValue());
}
