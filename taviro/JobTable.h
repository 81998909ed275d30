/// @file
/// The jobs a client knows, by identifier, kept in step with the master's messages, with the
/// number of jobs per status kept up to date as jobs change: asking for the counts costs the
/// same for ten jobs as for a million.
#pragma once

#include <taviro/Job.h>
#include <taviro/Message.h>

#include <map>
#include <mutex>
#include <unordered_map>
#include <vector>

/// The jobs a client knows, by identifier, with the number of jobs per status (see the file
/// comment); every call is safe from any thread.
/// @ingroup taviro
class JobTable {
public:
    JobTable();
    ~JobTable();
    JobTable(const JobTable&) = delete;
    JobTable& operator=(const JobTable&) = delete;

    /// A snapshot of every job (in no particular order).
    std::vector<JobPtr> GetAll() const;
    JobPtr Find(const UID& id) const;
    size_t Count() const;
    /// Number of jobs per status value (statuses without jobs are left out).
    std::map<int, size_t> CountByStatus() const;
    /// Applies a message: created, changed, removed, batch; other messages are ignored.
    void Apply(const Message& message);
    void Clear();

private:
    friend class Job;
    void ApplyLocked(const Message& message);
    void Detach(Job& job);
    // Moves a job of this table to another status; the caller holds m_Mutex.
    void SetStatusLocked(Job& job, int status);
    // Job::SetStatus on a job that may be in this table (Job::m_Table is a hint, the table
    // itself tells whether the job is still counted here).
    void SetStatus(Job& job, int status);
    // The same through a job's hint: false when that table no longer exists.
    static bool ForwardStatus(JobTable* table, Job& job, int status);

    mutable std::mutex m_Mutex;
    std::unordered_map<UID, JobPtr> m_Jobs;
    std::map<int, size_t> m_Counts;
};
