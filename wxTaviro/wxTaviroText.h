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

// ---- wxsTextCtrl ----

/// A single-line text field in palette colours with a small clear button at its right end,
/// shown while the field has text and the pointer or the focus is on it.
///
/// Without any border flag the field is made borderless. The clear button is a sibling placed
/// over the field's right end (GTK entries cannot hold child windows); it has the fixed id
/// ClearButtonId, follows the field when it moves and dies with it.
class wxsTextCtrl : public wxTextCtrl, public wxsColorManaged {
public:
    static constexpr int ClearButtonId = 6607;

    wxsTextCtrl(wxWindow* parent, int id, const wxString& value = wxEmptyString,
                const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                long style = 0, const wxValidator& validator = wxDefaultValidator,
                const wxString& name = wxASCII_STR(wxTextCtrlNameStr));
    ~wxsTextCtrl() override;

    /// The style the field is really created with (see the class comment).
    static long AdjustStyle(long style);

    bool Enable(bool enable = true) override;
    wxsButton* GetClearButton() const { return m_ClearButton.get(); }
    bool IsClearButtonShown() const;

    using wxTextCtrl::SetFocus;

    /// Event handlers (each skips its event first).
    void Key(wxKeyEvent& event);
    void KillFocus(wxFocusEvent& event);
    void Mouse(wxMouseEvent& event);
    void SetFocus(wxFocusEvent& event);
    void OnClearButton(wxCommandEvent& event);
    void OnSysColorChange(wxSysColourChangedEvent& event);

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
    wxsChoice(wxWindow* parent, wxWindowID id, const wxPoint& pos = wxDefaultPosition,
              const wxSize& size = wxDefaultSize, const wxArrayString& choices = wxArrayString(),
              long style = 0, const wxValidator& validator = wxDefaultValidator,
              const wxString& name = wxASCII_STR(wxChoiceNameStr));

    wxSize GetMinClientSize() const override;
    wxString GetStringSelection() const override;

    void OnKeyDown(wxKeyEvent& event);
    void Size(wxSizeEvent& event);

protected:
    wxSize DoGetBestSize() const override;
    void OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    wxCoord OnMeasureItem(size_t item) const override;
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
    wxsComboBox(wxWindow* parent, wxWindowID id, const wxString& value = wxEmptyString,
                const wxPoint& pos = wxDefaultPosition, const wxSize& size = wxDefaultSize,
                const wxArrayString& choices = wxArrayString(), long style = 0,
                const wxValidator& validator = wxDefaultValidator,
                const wxString& name = wxASCII_STR(wxComboBoxNameStr));

    bool Enable(bool enable = true) override;
    /// Replaces the toolkit's entry by a wxsTextCtrl; nothing for read-only combo boxes.
    void CreateColoredTextCtrl();
    /// The coloured entry (null for read-only combo boxes).
    wxsTextCtrl* GetColoredTextCtrl() const;

    void Size(wxSizeEvent& event);
    void OnSysColorChange(wxSysColourChangedEvent& event);
    void OnColoredTextCtrlEvent(wxCommandEvent& event);

    /// The width of the drop button.
    int GetDropButtonWidth() const { return FromDIP(18); }

protected:
    void OnDrawItem(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    wxCoord OnMeasureItem(size_t item) const override;
    void OnDrawBackground(wxDC& dc, const wxRect& rect, int item, int flags) const override;
    /// The toolkit's width; the height of a text field.
    wxSize DoGetBestSize() const override;
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
    bool Start(const wxString& text) override;
    wxString GetNext() override;

    /// The shared word set.
    static void AddWord(const wxString& word);
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
    wxsTextDlg(wxWindow* parent, const wxString& message, const wxString& caption,
               const wxString& defaultValue);
    wxsTextCtrl* GetTextCtrl() const { return m_Text; }

private:
    wxsTextCtrl* m_Text = nullptr;
};

/// Asks for one line of text; the empty string when cancelled.
String wxsGetTextFromUser(const wxString& message, const wxString& caption,
                          const wxString& defaultValue = wxEmptyString, wxWindow* parent = nullptr);
