/// @file
/// Job types and their commands, read from module description files.
///
/// Module file format (one job type per file, UTF-8 text, "*.tjm" in the module folder):
///
///   # a comment; blank lines are ignored
///   type Frame Render                              the type's display name (required, first)
///   id 6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a01        the type's identifier (required)
///   hide-id 6f1c2a30-5a0e-4c1e-9a55-0c7d1e3f0a02   key of the "Hide Products" setting
///                                                   (optional; default: the id)
///   command NAME | FLAGS | HELP                    a plain command
///   command NAME | FLAGS | HELP | items: A;B;"C;D";DISABLED:E
///                                                   fixed sub-items, ';'-separated; an item may
///                                                   hold ';' in double quotes or as \;
///   command NAME | FLAGS | HELP | items-from: PARAM sub-items from a job parameter
///                                                   (its ','-separated values)
///   separator                                       a separator in the command menu
///
/// FLAGS is a decimal number of command-group bits (callers filter with a mask); separators
/// have flags -1 so that every mask passes them. A file with any malformed line is skipped
/// whole, with a log line naming the file and the line.
#pragma once

#include <ostrum/String.h>
#include <ostrum/UID.h>

#include <memory>
#include <mutex>
#include <vector>

class Job;

/// One command of a job type: its name, flags, help text and sub-items.
/// @ingroup taviro
class CommandInfo {
public:
    String name;
    int flags = 0; ///< negative: a separator
    String help;
    /// Sub-items: fixed text (already in ';'-list form) or a job parameter to read.
    String items;
    String itemsFrom;

    bool IsSeparator() const { return flags < 0; }
    /// The command's sub-items for this job, joined by ";" (quoted or escaped where an item
    /// holds a ';'); empty when the command has none.
    String Itemize(const Job& job) const;
};

/// A job type read from a module file: its name, identifiers and commands.
/// @ingroup taviro
class JobTypeInfo {
public:
    String name;
    UID id;
    UID hideId;
    std::vector<CommandInfo> commands; ///< in menu order
    String file;                       ///< where it was read from

    const CommandInfo* FindCommand(const String& command) const;
};

/// The installed job types, read from the module folder (`s_JobFactory`).
/// @ingroup taviro
class JobFactory {
public:
    /// Reads every "*.tjm" file of the folder, in file-name order, replacing what was known.
    /// Files that are not regular files or exceed 1 MB are skipped with a log line.
    /// A missing folder or an empty one leaves the factory empty; that is not an error.
    /// Returns the number of types loaded.
    size_t LoadModules(const String& folder);
    /// Parses one module's text; returns false (and logs "<file> line N: reason") when it is
    /// malformed, in which case nothing of it is kept.
    bool AddModule(const String& text, const String& fileName);
    void Clear();

    /// Type identifiers in load order.
    std::vector<UID> ListTypes() const;
    /// The type's description. An unknown type throws Exception* when mustExist is set, and
    /// gives an empty description (no name, no commands) otherwise.
    const JobTypeInfo& GetTypeInfo(const UID& type, bool mustExist) const;
    size_t Count() const;

    static JobFactory s_JobFactory;

private:
    mutable std::mutex m_Mutex;
    // shared_ptr: a description handed out stays valid even if modules are reloaded.
    std::vector<std::shared_ptr<const JobTypeInfo>> m_Types;
    std::vector<std::shared_ptr<const JobTypeInfo>> m_Retired;
};
