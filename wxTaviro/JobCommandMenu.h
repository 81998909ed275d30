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

/// @addtogroup farm
/// @{

/// The command menu of a job: the owner's own items first, then the commands of the job's
/// type (with sub-menus for commands that have items), refilled for each job. GUI thread only.
class JobCommandMenu : public wxMenu {
public:
    /// What one menu id runs.
    struct CommandData {
        String command; ///< the command's name
        String item;    ///< the sub-item chosen; empty for a plain command
    };

    /// An empty menu; the owner may append its own items before the first Fill.
    JobCommandMenu();

    /// Replaces the job commands by those of `job`'s type whose flags share a bit with `mask`
    /// (separators pass any mask). An empty job leaves only the owner's items.
    void Fill(const boost::shared_ptr<Job>& job, int mask);
    /// Runs the command behind `id`; false when `id` is none of this menu's commands.
    bool TryCommand(long id);
    /// Adds one command of the type: a separator, a plain item, or a sub-menu of its items
    /// (from the job's parameters, see CommandInfo::Itemize).
    void InsertCommand(const CommandInfo& info);
    /// Adds one checkable item to `menu` and returns its id; a command keeps its id across
    /// refills. A label (or, without one, a command) starting "DISABLED:" is shown greyed.
    long DoInsertCommand(wxMenu* menu, const String& command, const String& label,
                         const String& help);

    /// First step of TryCommand: false cancels the command (the default lets it run).
    virtual bool PreProcessCommand(const String& command, const String& item);
    /// Runs the command on the current job; a refusal is shown in a message box.
    virtual void DoProcessCommand(const String& command, const String& item);
    /// Last step of TryCommand, after DoProcessCommand; nothing by default.
    virtual void PostProcessCommand(const String& command, const String& item);

    /// The job of the last Fill (empty before and after an empty one).
    const boost::shared_ptr<Job>& GetJob() const { return m_Job; }
    /// The commands in the menu now, by menu id.
    const std::map<long, CommandData>& GetCommands() const { return m_Commands; }

protected:
    boost::shared_ptr<Job> m_Job;           ///< the job the commands run on
    std::map<String, long> m_Ids;           ///< menu id of each command and item, kept across fills
    std::map<long, CommandData> m_Commands; ///< what each id in the menu now runs
    int m_FixedCount = -1;                  ///< the owner's items; -1 before the first Fill
};

/// @}
