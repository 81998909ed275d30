/// @file
/// A panel with a header (an expand/collapse button and a clickable label) and a content area
/// the user can fold away. Whether it is expanded is remembered in the application's options
/// file under a section and key that the derived panel chooses.
///
/// A derived panel, in its constructor:
///     SetSettings("Panels", "Details");            // where the state is remembered
///     SetLabels(_("Show details"), _("Details"));  // header text collapsed / expanded
///     CreateInfrastructure(_("Click to show or hide the details"), true);
///     GetContentSizer()->Add(new wxsStaticText(this, wxID_ANY, "..."), 0, wxEXPAND);
///     Expand(); // applies the remembered state to the content just added
/// The content's windows are children of the panel itself.
#pragma once

#include <wxTaviro/wxTaviroColors.h>

#include <ostrum/String.h>

#include <wx/sizer.h>

class _ClickStatic;

/// @addtogroup themed
/// @{

/// A folding panel: derive from it and build it as the file comment shows. GUI thread only.
class wxExpandablePanel : public wxsPanel {
public:
    /// Fixed ids of the header: the expand button, and the label (whose click sends a button
    /// event with the button's id).
    enum { k_ExpandId = 8313, k_LabelId = 8314 };

    /// An empty panel; `orientation` lays out the header above (wxVERTICAL) or beside the
    /// content.
    wxExpandablePanel(wxWindow* parent, wxOrientation orientation);

    /// Builds the header and the content sizer; called once, after SetSettings and SetLabels.
    /// An expandable panel starts as remembered (collapsed when nothing is); one that is not
    /// is always expanded, has no button and a disabled label.
    void CreateInfrastructure(wxString tooltip, bool expandable);
    /// Applies the current state to the windows (content shown or hidden, button image, label
    /// text) and lays the parent out; does not toggle.
    void Expand();
    /// The button (and the label's click): toggles, applies and remembers the state.
    void OnExpand(wxCommandEvent& event);

    /// Whether the content is shown.
    bool IsExpanded() const { return m_Expanded; }
    /// Where the derived panel puts its controls (valid after CreateInfrastructure).
    wxBoxSizer* GetContentSizer() const { return m_Content; }
    /// The expand button; null when the panel is not expandable.
    wxsBitmapButton* GetExpandButton() const { return m_Button; }
    /// The header's label.
    wxsStaticText* GetHeaderLabel() const;

protected:
    /// Where the state is remembered: `key` of `section` in the application's options.
    void SetSettings(const String& section, const String& key);
    /// The header's text while collapsed and while expanded.
    void SetLabels(const wxString& collapsed, const wxString& expanded);

    bool m_Expanded = false;             ///< see IsExpanded
    wxOrientation m_Orientation;         ///< header above (wxVERTICAL) or beside the content
    String m_Section;                    ///< see SetSettings
    String m_Key;                        ///< see SetSettings
    wxString m_CollapsedLabel;           ///< see SetLabels
    wxString m_ExpandedLabel;            ///< see SetLabels
    wxsBitmapButton* m_Button = nullptr; ///< none when not expandable
    _ClickStatic* m_Label = nullptr;     ///< the header's label
    wxBoxSizer* m_Content = nullptr;     ///< see GetContentSizer

private:
    wxDECLARE_EVENT_TABLE();
};

/// @}
