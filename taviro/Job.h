// Jobs and the objects of the farm. Parameters are texts under names (the p_ constants);
// a job's parameters change on the messenger's threads while the GUI reads them, so every
// access is locked.
#pragma once

#include <ostrum/Lock.h>
#include <ostrum/String.h>
#include <ostrum/UID.h>

#include <boost/shared_ptr.hpp>

#include <map>
#include <mutex>
#include <vector>

extern const String p_Name;
extern const String p_Status;
extern const String p_Type;
extern const String p_Progress;
extern const String p_Owner;
extern const String p_Priority;
extern const String p_Frames;
extern const String p_Engine;

// Job states, as the decimal text of p_Status.
enum JobStatus {
    k_JobUnknown = 0,
    k_JobWaiting = 1,
    k_JobRunning = 2,
    k_JobPaused = 3,
    k_JobDone = 4,
    k_JobFailed = 5,
    k_JobAborted = 6,
    k_JobArchived = 7, // kept for history; not offered in selectors
};
const char* JobStatusName(int status);

class TaviroObject {
public:
    explicit TaviroObject(const UID& id) : m_ID(id) {}
    virtual ~TaviroObject() = default;

    const UID& GetID() const { return m_ID; }
    // A parameter's text. resolve: fall back to the type's defaults (none kept yet) instead of
    // answering empty; kept for callers that ask for resolved values.
    virtual String GetParameter(const String& name, bool resolve = true) const;
    virtual void SetParameter(const String& name, const String& value);
    std::map<String, String> GetParameters() const;
    void SetParameters(const std::map<String, String>& values);
    // The display name: the p_Name parameter.
    String Name() const { return GetParameter(p_Name, true); }

private:
    const UID m_ID;
    mutable std::mutex m_Mutex;
    std::map<String, String> m_Params;
};

class Job : public TaviroObject {
public:
    explicit Job(const UID& id) : TaviroObject(id) {}

    int GetStatus() const;
    // Whether selectors leave the job out for this status (archived and unknown jobs).
    virtual bool HideInSelectors(int status) const;
    // Runs a command of the job's type on the job, with the sub-item chosen (empty for a
    // plain command), by sending it to the farm master. Throws Exception* with a message and
    // a detail text when the command is unknown, disabled, not possible in the job's state,
    // or the master cannot be reached.
    virtual void ExecuteCommand(const String& command, const String& item);
};

using JobPtr = boost::shared_ptr<Job>;
