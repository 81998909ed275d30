// The demo's side bar: folding panels that remember whether they are open (the connection with
// its two commands, the filters, the totals by status), and the "Hide products" dialog whose
// ticks the product choices honour.
#pragma once

#include <wxTaviro/wxDBListCtrl.h>
#include <wxTaviro/wxExpandablePanel.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroDlg.h>

#include <functional>
#include <map>

class wxsCheckListBox;
class wxsTextCtrl;

// Button ids the side bar's commands carry up to the frame.
enum { ID_SIDE_LINK = wxID_HIGHEST + 200, ID_SIDE_SHUTDOWN, ID_SIDE_HIDE_PRODUCTS };

class ConnectionPanel : public wxExpandablePanel {
public:
    explicit ConnectionPanel(wxWindow* parent);
    void ShowConnection(bool connected, const wxString& master);

private:
    wxsStaticText* m_State;
    wxsStaticText* m_Master;
    wxsButton* m_Link;
};

class FiltersPanel : public wxExpandablePanel {
public:
    // `filter` is told the text as it is typed: the jobs whose name holds it are shown.
    FiltersPanel(wxWindow* parent, std::function<void(const wxString&)> filter);

private:
    wxsTextCtrl* m_Find;
};

class TotalsPanel : public wxExpandablePanel {
public:
    explicit TotalsPanel(wxWindow* parent);
    // Jobs per status value; "All" is their sum.
    void SetCounts(const std::map<int, size_t>& counts);
    size_t GetAll() const { return m_All; }

private:
    wxsListCtrl* m_Counts;
    size_t m_All = 0;
    std::map<int, size_t> m_Last;
};

// Whether `layout` is a saved pane layout (wxAuiManager's perspective text) of exactly these
// panes: anything else (garbled, cut short, of other panes) is not to be loaded.
bool IsPaneLayoutOf(const String& layout, std::vector<String> panes);

// Ticks the job types to hide from product choices ("Hide Products" of the options file).
class HideProductsDlg : public wxTaviroDlg {
public:
    explicit HideProductsDlg(wxWindow* parent);
    bool TransferDataFromWindow() override;

private:
    wxsCheckListBox* m_List;
    std::vector<String> m_Keys; // the hide key of each row
};
