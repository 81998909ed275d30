/// @file
/// A menu of the commands that a job's type defines. The owner may put items of its own in
/// first, calls Fill with a job whenever its selection changes, and forwards picked ids to
/// TryCommand, which runs the command on the job in three overridable steps.
#pragma once

#include <taviro/Job.h>

#include <ostrum/String.h>

#include <wx/menu.h>

#include <map>

class CommandInfo;

class JobCommandMenu : public wxMenu {
public:
    struct CommandData {
        String command;
        String item; ///< the sub-item chosen; empty for a plain command
    };

    JobCommandMenu();

    /// Replaces the job commands by those of `job`'s type whose flags share a bit with `mask`
    /// (separators pass any mask). An empty job leaves only the owner's items.
    void Fill(const boost::shared_ptr<Job>& job, int mask);
    /// Runs the command behind `id`; false when `id` is none of this menu's commands.
    bool TryCommand(long id);
    void InsertCommand(const CommandInfo& info);
    /// Adds one checkable item to `menu` and returns its id; a command keeps its id across
    /// refills. A label (or, without one, a command) starting "DISABLED:" is shown greyed.
    long DoInsertCommand(wxMenu* menu, const String& command, const String& label,
                         const String& help);

    virtual bool PreProcessCommand(const String& command, const String& item);
    /// Runs the command on the current job; a refusal is shown in a message box.
    virtual void DoProcessCommand(const String& command, const String& item);
    virtual void PostProcessCommand(const String& command, const String& item);

    const boost::shared_ptr<Job>& GetJob() const { return m_Job; }
    const std::map<long, CommandData>& GetCommands() const { return m_Commands; }

protected:
    boost::shared_ptr<Job> m_Job;
    std::map<String, long> m_Ids;
    std::map<long, CommandData> m_Commands;
    int m_FixedCount = -1;
};
