// The demo's job dialogs, modeless like the settings: "Find job" picks one of the farm's jobs
// to show; "New job" picks a job type (hidden products are not offered) and, optionally, a job
// that the new one runs after.
#pragma once

#include <wxTaviro/wxTaviroDlg.h>

#include <ostrum/UID.h>

#include <functional>

class JobSelector;
class ProductChoice;

class FindJobDlg : public wxTaviroDlg {
public:
    using Action = std::function<void(const UID& job)>;
    FindJobDlg(wxWindow* parent, Action onFind);
    bool TransferDataFromWindow() override;

private:
    JobSelector* m_Job;
    Action m_OnFind;
};

class NewJobDlg : public wxTaviroDlg {
public:
    using Action = std::function<void(const UID& type, const UID& after)>;
    NewJobDlg(wxWindow* parent, Action onSubmit);
    bool TransferDataFromWindow() override;

private:
    ProductChoice* m_Type;
    JobSelector* m_After;
    Action m_OnSubmit;
};
