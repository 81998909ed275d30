#include "demo/JobDialogs.h"

#include <wxTaviro/JobSelector.h>
#include <wxTaviro/ProductChoice.h>

#include <wx/sizer.h>

namespace {
// A label and its control in a two-column grid.
void AddRow(wxFlexGridSizer* grid, wxWindow* label, wxWindow* control) {
    grid->Add(label, 0, wxALIGN_CENTER_VERTICAL);
    grid->Add(control, 0, wxEXPAND);
}
} // namespace

FindJobDlg::FindJobDlg(wxWindow* parent, Action onFind)
    : wxTaviroDlg(parent, _("Find job"), "Find Job", false), m_OnFind(std::move(onFind)) {
    wxBoxSizer* top = StartControls();
    const int gap = FromDIP(10);
    auto* grid = new wxFlexGridSizer(2, FromDIP(6), gap);
    grid->AddGrowableCol(1);
    m_Job = new JobSelector(this, wxID_ANY, wxDefaultPosition, FromDIP(wxSize(260, -1)));
    m_Job->Fill(UID::Null);
    AddRow(grid, NewStatic(_("Job")), m_Job);
    top->Add(grid, 0, wxEXPAND | wxALL, gap);
    top->Add(NewStatic(_("The list holds the jobs known when the dialog opened."), false, true), 0,
             wxLEFT | wxRIGHT, gap);
    top->Add(NewLine(), 0, wxEXPAND | wxALL, gap);
    AddButtons(top, true);
    top->AddSpacer(FromDIP(4));
}

bool FindJobDlg::TransferDataFromWindow() {
    if (m_OnFind && !m_Job->GetSelectedJob().IsNull()) m_OnFind(m_Job->GetSelectedJob());
    return true;
}

NewJobDlg::NewJobDlg(wxWindow* parent, Action onSubmit)
    : wxTaviroDlg(parent, _("New job"), "New Job", false), m_OnSubmit(std::move(onSubmit)) {
    wxBoxSizer* top = StartControls();
    const int gap = FromDIP(10);
    auto* grid = new wxFlexGridSizer(2, FromDIP(6), gap);
    grid->AddGrowableCol(1);
    m_Type = new ProductChoice(this, wxID_ANY);
    AddRow(grid, NewStatic(_("Type")), m_Type);
    m_After = new JobSelector(this, wxID_ANY, wxDefaultPosition, FromDIP(wxSize(260, -1)));
    m_After->Fill(UID::Null);
    AddRow(grid, NewStatic(_("Run after")), m_After);
    top->Add(grid, 0, wxEXPAND | wxALL, gap);
    top->Add(NewLine(), 0, wxEXPAND | wxALL, gap);
    AddButtons(top, true);
    top->AddSpacer(FromDIP(4));
}

bool NewJobDlg::TransferDataFromWindow() {
    // No type to offer (none installed, or all hidden): nothing to submit.
    const UID type = m_Type->IsEnabled() ? m_Type->GetProduct(m_Type->GetSelection()) : UID();
    if (m_OnSubmit && !type.IsNull()) m_OnSubmit(type, m_After->GetSelectedJob());
    return true;
}
