/// @file
/// Themed editing and selection controls: the text field with its clear button, the owner-drawn
/// choice and combo box, the shared word completer and the one-line text prompt.
///
/// Sections: wxsTextCtrl; wxsChoice; wxsComboBox; wxsAutoCompleter; wxsGetTextFromUser.
///
/// GUI thread only. Colours are read from the palette whenever a control paints or a
/// system-colour-changed event reaches it.
#pragma once

#include <wxTaviro/wxTaviroDlg.h>

#include <ostrum/String.h>

#include <wx/choice.h>
#include <wx/odcombo.h>
#include <wx/textcompleter.h>
#include <wx/textctrl.h>
#include <wx/weakref.h>

/// @addtogroup themed
/// @{

// ---- wxsTextCtrl ----

/// A single-line text field in palette colours with a small clear button at its right end,
/// shown while the field has text and the pointer or the focus is on it.
///
/// Without any border flag the field is made borderless. The clear button is a sibling placed
/// over the field's right end (GTK entries cannot hold child windows); it has the fixed id
/// ClearButtonId, follows the field when it moves and dies with it.
class wxsTextCtrl : public wxTextCtrl, public wxsColorManaged {
public:
    /// The clear button's window id.
    static constexpr int ClearButtonId = 6607;

    /// A field as wxTextCtrl takes it (single-line), with its clear button.
    wxsTextCtrl(wxWindow* parent, int id, const wxString& value = wxEmptyString,
                const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                long style = 0, const wxValidator& validator = wxDefaultValidator,
                const wxString& name = wxASCII_STR(wxTextCtrlNameStr));
    /// Destroys the clear button too (it is a sibling).
    ~wxsTextCtrl() override;

    /// The style the field is really created with (see the class comment).
    static long AdjustStyle(long style);

    /// Enables or disables the field: recolours it and hides the clear button when disabled.
    bool Enable(bool enable = true) override;
    /// The clear button; null once its parent destroyed it.
    wxsButton* GetClearButton() const { return m_ClearButton.get(); }
    /// Whether the clear button is shown now.
    bool IsClearButtonShown() const;

    using wxTextCtrl::SetFocus;

    /// @name Event handlers
    /// Each skips its event first.
    /// @{
    /// Typing hides the clear button.
    void Key(wxKeyEvent& event);
    /// Losing the focus (other than to the clear button) hides it.
    void KillFocus(wxFocusEvent& event);
    /// The pointer over a field with text shows it; elsewhere hides it.
    void Mouse(wxMouseEvent& event);
    /// Gaining the focus with text shows it.
    void SetFocus(wxFocusEvent& event);
    /// The clear button empties the field (sending the text event, as typing would) and
    /// gives the focus back.
    void OnClearButton(wxCommandEvent& event);
    /// Takes the palette's colours: "Text" on "WindowBGDarker", read-only or disabled shades.
    void OnSysColorChange(wxSysColourChangedEvent& event);
    /// @}

private:
    void _ShowClearButton(bool show);
    // Puts the clear button over the right end of the field.
    void _PlaceClearButton();
    void _Moved(wxEvent& event);

    wxWeakRef<wxsButton> m_ClearButton; // the parent may destroy it first
};

// ---- wxsChoice ----

/// A read-only drop-down list painted in palette colours: a graded face (sunken while the list is
/// open), items in "Text" and the current item of the open list on "Selected". Letters never
/// change the selection; Tab moves the focus and Alt+Down or F4 opens the list.
class wxsChoice : public wxOwnerDrawnComboBox, public wxsColorManaged {
public:
    /// A choice as wxChoice takes it, with its entries.
    wxsChoice(wxWindow* parent, wxWindowID id, const wxPoint& pos = wxDefaultPosition,
              const wxSize& size = wxDefaultSize, const wxArrayString& choices = wxArrayString(),
              long style = 0, const wxValidator& validator = wxDefaultValidator,
              const wxString& name = wxASCII_STR(wxChoiceNameStr));

    /// Room for one "M" and the padding.
    wxSize GetMinClientSize() const override;
    /// The selected entry's text; empty when nothing is selected.
    wxString GetStringSelection() const override;

    /// Letters never change the selection; Tab moves on; Alt+Down and F4 open the list.
    void OnKeyDown(wxKeyEvent& event);
    /// The painted width follows the control's; repaints.
    void Size(wxSizeEvent& event);

protected:
    /// The widest entry and the padding.
    wxSize DoGetBestSize() const override;
    /// An entry's text, in a shade that reads on whatever may be behind it.
    void OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    /// Every entry is one text line high plus padding.
    wxCoord OnMeasureItem(size_t item) const override;
    /// The graded face of the closed control, "Selected" under the open list's current entry.
    void OnDrawBackground(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    /// The closed control: all of it through OnDrawBackground and OnDrawItem.
    void Paint(wxPaintEvent& event);
    /// The open list's own background follows the palette.
    void _RefreshPopupColors();

    /// The extent of "M" plus the padding.
    wxSize _PaddedExtent(const wxString& text) const;

private:
    wxDECLARE_EVENT_TABLE();
};

// ---- wxsComboBox ----

/// An editable drop-down list whose entry is a wxsTextCtrl (so it is coloured like every other
/// field) and whose drop button is painted in palette colours. Text events of the entry reach
/// clients as events of the combo box.
class wxsComboBox : public wxOwnerDrawnComboBox, public wxsColorManaged {
public:
    /// A combo box as wxComboBox takes it; its entry is replaced by a wxsTextCtrl at once.
    wxsComboBox(wxWindow* parent, wxWindowID id, const wxString& value = wxEmptyString,
                const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                const wxArrayString& choices = wxArrayString(), long style = 0,
                const wxValidator& validator = wxDefaultValidator,
                const wxString& name = wxASCII_STR(wxComboBoxNameStr));

    /// Enables or disables the control and its entry.
    bool Enable(bool enable = true) override;
    /// Replaces the toolkit's entry by a wxsTextCtrl; nothing for read-only combo boxes.
    void CreateColoredTextCtrl();
    /// The coloured entry (null for read-only combo boxes).
    wxsTextCtrl* GetColoredTextCtrl() const;

    /// Lays the entry out beside the drop button again.
    void Size(wxSizeEvent& event);
    /// Takes the palette's colours again, the open list's too.
    void OnSysColorChange(wxSysColourChangedEvent& event);
    /// Passes the entry's text events on as the combo box's own.
    void OnColoredTextCtrlEvent(wxCommandEvent& event);

    /// The width of the drop button.
    int GetDropButtonWidth() const { return FromDIP(18); }

protected:
    /// An entry of the open list, in a shade that reads on whatever may be behind it.
    void OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    /// Every entry is one text line high plus padding.
    wxCoord OnMeasureItem(size_t item) const override;
    /// The closed control (sunken entry area, graded drop button) or the open list's
    /// background, "Selected" under its current entry.
    void OnDrawBackground(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    /// The toolkit's width; the height of a text field.
    wxSize DoGetBestSize() const override;
    /// The closed control through OnDrawBackground (the entry paints itself).
    void Paint(wxPaintEvent& event);

private:
    void _LayoutEntry();
    void _EntryKey(wxKeyEvent& event);
    void _EntryFocus(wxFocusEvent& event);

    wxDECLARE_EVENT_TABLE();
};

// ---- wxsAutoCompleter ----

/// Completes the last word of a field's text from one process-wide set of words, ordered
/// case-insensitively. Everything up to and including the last of " ().:|" is kept in front of
/// each completion.
class wxsAutoCompleter : public wxTextCompleter {
public:
    /// Collects the completions of the text's last word; false when there are none.
    bool Start(const wxString& text) override;
    /// The next completion (the whole text); empty after the last.
    wxString GetNext() override;

    /// Adds a word to the shared set.
    static void AddWord(const wxString& word);
    /// Empties the shared set.
    static void ClearWords();

private:
    wxString m_Prefix;
    wxArrayString m_Completions;
    size_t m_Next = 0;
};

// ---- wxsGetTextFromUser ----

/// The prompt's dialog; only wxsGetTextFromUser makes one.
class wxsTextDlg : public wxTaviroDlg {
public:
    /// The message, a field holding `defaultValue`, OK and Cancel; named "wxsTextDlg".
    wxsTextDlg(wxWindow* parent, const wxString& message, const wxString& caption,
               const wxString& defaultValue);
    /// The field.
    wxsTextCtrl* GetTextCtrl() const { return m_Text; }

private:
    wxsTextCtrl* m_Text = nullptr;
};

/// Asks for one line of text; the empty string when cancelled.
String wxsGetTextFromUser(const wxString& message, const wxString& caption,
                          const wxString& defaultValue = wxEmptyString, wxWindow* parent = nullptr);

/// @}
