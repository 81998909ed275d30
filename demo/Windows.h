// The demo's secondary windows and what they share with the main window: frames that remember
// their place and list themselves in the Window menu, the separate live Jobs window, viewers of
// text (the activity, the load history, a job's output), the job command menu as the demo shows
// it, and the rule that a modeless dialog is open once at most.
#pragma once

#include "demo/JobsView.h"

#include <wxTaviro/JobCommandMenu.h>
#include <wxTaviro/wxTaviroDlg.h>
#include <wxTaviro/wxTaviroFrame.h>

#include <wx/timer.h>

#include <deque>
#include <functional>

class wxTextLineCtrl;

// Raises the open dialog of that name; builds one with `make` and shows it when none is open.
// Returns the dialog shown.
wxTaviroDlg* ShowDialogOnce(const String& name, const std::function<wxTaviroDlg*()>& make);

// A child frame of the main window: themed and recoloured with it, back where it was left
// (under its own section of the options), listed in the Window menu under `group`.
class UserWindow : public wxTaviroFrame {
public:
    UserWindow(const wxString& title, const String& section, const String& group);

private:
    String m_Section;
};

// The farm's jobs in a window of their own, live: the same view as the main window's Jobs
// page, fed with the same farm messages.
class JobsWindow : public UserWindow {
public:
    JobsWindow(JobsView::JobFinder find, const std::vector<JobPtr>& jobs);
    ~JobsWindow() override;
    JobsView* GetView() const { return m_View; }
    // Hands a farm message to every open Jobs window (any thread).
    static void Forward(const Message& message);

private:
    JobsView* m_View;
};

// Lines in the log viewer; `follow` (when given) is asked twice a second for lines to add.
class TextWindow : public UserWindow {
public:
    using Source = std::function<std::vector<String>()>;
    TextWindow(const wxString& title, const String& section, const String& group,
               const std::vector<String>& lines, Source follow = Source());
    wxTextLineCtrl* GetLines() const { return m_Lines; }

private:
    wxTextLineCtrl* m_Lines;
    Source m_Follow;
    wxTimer m_Timer;
};

// Whether the farm master takes the command for a job in that status (it refuses the others).
bool CommandAllowed(const String& command, int status);

// A job's commands as plain items (not check items), each enabled only when the job's status
// allows it. "Open Output" is the client's own: it shows the file instead of asking the master.
class JobMenu : public JobCommandMenu {
public:
    using OpenOutput = std::function<void(const JobPtr& job, const String& file)>;
    explicit JobMenu(OpenOutput open) : m_Open(std::move(open)) {}
    void FillFor(const JobPtr& job);
    bool PreProcessCommand(const String& command, const String& item) override;

private:
    void MakePlain(wxMenu* menu, size_t from, int status);
    OpenOutput m_Open;
};
