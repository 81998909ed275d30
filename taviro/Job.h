/// @file
/// Jobs and the objects of the farm. Parameters are texts under names (the p_ constants); a
/// job's parameters change on the messenger's threads while the GUI reads them, so every access
/// is locked.
///
/// A farm holds a million jobs, so an object is kept small: parameter names are interned (each
/// name is stored once, a parameter holds its number), all parameters sit packed in one buffer
/// (one allocation, not one per value), the locks come from a shared pool instead of one mutex
/// per object, and a job's status is a number of its own.
#pragma once

#include <ostrum/String.h>
#include <ostrum/UID.h>

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

class JobTable;
class Messenger;

extern const String p_Name;     ///< the display name
extern const String p_Status;   ///< the status, as the decimal text of a JobStatus
extern const String p_Type;     ///< the job type's identifier (text form of a UID)
extern const String p_Progress; ///< percent done, 0 to 100
extern const String p_Owner;    ///< the user who submitted it
extern const String p_Priority; ///< Low, Normal, High or another the farm knows
extern const String p_Frames;   ///< the frame ranges, "1-10,20-30"
extern const String p_Engine;   ///< the engine it runs on; empty when none

/// Job states, as the decimal text of p_Status.
enum JobStatus {
    k_JobUnknown = 0,
    k_JobWaiting = 1,
    k_JobRunning = 2,
    k_JobPaused = 3,
    k_JobDone = 4,
    k_JobFailed = 5,
    k_JobAborted = 6,
    k_JobArchived = 7, ///< kept for history; not offered in selectors
};
/// The English name of a status ("Running"); the GUI translates it.
const char* JobStatusName(int status);

/// The process-wide set of parameter names: each distinct name once, under a small number.
class ParameterNames {
public:
    /// The number of a name, adding the name when it is new.
    static uint32_t Intern(const String& name);
    /// The number of a name already known; false for a name never interned.
    static bool Find(const String& name, uint32_t* number);
    /// The name under a number.
    static const String& Name(uint32_t number);
};

/// An object of the farm with an identifier and named text parameters (the p_ names), each
/// access locked.
/// @ingroup taviro
class TaviroObject {
public:
    /// An object without parameters.
    explicit TaviroObject(const UID& id) : m_ID(id) {}
    virtual ~TaviroObject() = default;

    /// The object's identifier.
    const UID& GetID() const { return m_ID; }
    /// A parameter's text. resolve: fall back to the type's defaults (none kept yet) instead of
    /// answering empty; kept for callers that ask for resolved values.
    virtual String GetParameter(const String& name, bool resolve = true) const;
    /// Sets one parameter (any thread).
    virtual void SetParameter(const String& name, const String& value);
    /// A copy of every parameter (any thread).
    virtual std::map<String, String> GetParameters() const;
    /// Sets several parameters, one by one.
    void SetParameters(const std::map<String, String>& values);
    /// The display name: the p_Name parameter.
    String Name() const { return GetParameter(p_Name, true); }

protected:
    /// The lock of this object's parameters, one of a shared pool.
    std::mutex& ParameterLock() const;
    /// Sets a parameter by its interned number; the caller holds ParameterLock().
    void SetLocked(uint32_t name, const String& value);

private:
    // Where the parameter's record starts in m_Params (npos: none).
    size_t FindLocked(uint32_t name) const;
    const UID m_ID;
    // Records of [name number][value size][value bytes], both numbers 32-bit; an object has a
    // handful, searched in order.
    std::string m_Params;
};

/// A job of the farm: its parameters, its status, and its commands run through the master.
/// @ingroup taviro
class Job : public TaviroObject {
public:
    /// A job without parameters, status unknown.
    explicit Job(const UID& id) : TaviroObject(id) {}

    /// The status as a number; k_JobUnknown until one is set. p_Status reads and writes it as
    /// its decimal text (text that is no number sets k_JobUnknown).
    int GetStatus() const { return m_Status.load(std::memory_order_relaxed); }
    /// Sets the status (and keeps the job table's counts right).
    void SetStatus(int status);
    /// As TaviroObject's; p_Status reads the status.
    String GetParameter(const String& name, bool resolve = true) const override;
    /// As TaviroObject's; p_Status sets the status.
    void SetParameter(const String& name, const String& value) override;
    /// As TaviroObject's, with p_Status.
    std::map<String, String> GetParameters() const override;
    /// Whether selectors leave the job out for this status (archived and unknown jobs).
    virtual bool HideInSelectors(int status) const;
    /// Runs a command of the job's type on the job, with the sub-item chosen (empty for a
    /// plain command), by sending it to the farm master. Throws Exception* with a message and
    /// a detail text when the command is unknown, disabled, not possible in the job's state,
    /// or the master cannot be reached.
    virtual void ExecuteCommand(const String& command, const String& item);

    /// The link that ExecuteCommand sends through (null: not connected). The client
    /// application sets it when its messenger starts and clears it before the messenger goes.
    static void SetMessenger(Messenger* messenger);

private:
    friend class JobTable;
    std::atomic<int> m_Status{k_JobUnknown};
    std::atomic<bool> m_HasStatus{false};
    // The table that counted this job by status when it was created (a hint: the table may
    // have dropped the job or be gone).
    std::atomic<JobTable*> m_Table{nullptr};
};

/// A job as the farm core hands it out (shared: the table may drop it meanwhile).
using JobPtr = boost::shared_ptr<Job>;
