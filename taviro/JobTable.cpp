#include <taviro/JobTable.h>

#include <ostrum/CallTrace.h>

#include <boost/make_shared.hpp>

#include <set>
#include <thread>

namespace {
// The tables that exist: a job's m_Table is only a hint, checked here before it is followed,
// so a table need not visit its million jobs to unhook them when it goes.
std::mutex g_LiveMutex;
std::set<const JobTable*> g_Live;
} // namespace

JobTable::JobTable() {
    std::lock_guard<std::mutex> l(g_LiveMutex);
    g_Live.insert(this);
}

JobTable::~JobTable() {
    {
        std::lock_guard<std::mutex> l(g_LiveMutex);
        g_Live.erase(this);
    }
    Clear();
}

std::vector<JobPtr> JobTable::GetAll() const {
    CALL_ENTRY("JobTable::GetAll");
    std::lock_guard<std::mutex> l(m_Mutex);
    std::vector<JobPtr> out;
    out.reserve(m_Jobs.size());
    for (auto& kv : m_Jobs)
        out.push_back(kv.second);
    return out;
}

JobPtr JobTable::Find(const UID& id) const {
    CALL_ENTRY("JobTable::Find");
    std::lock_guard<std::mutex> l(m_Mutex);
    auto it = m_Jobs.find(id);
    return it == m_Jobs.end() ? JobPtr() : it->second;
}

size_t JobTable::Count() const {
    CALL_ENTRY("JobTable::Count");
    std::lock_guard<std::mutex> l(m_Mutex);
    return m_Jobs.size();
}

std::map<int, size_t> JobTable::CountByStatus() const {
    CALL_ENTRY("JobTable::CountByStatus");
    std::lock_guard<std::mutex> l(m_Mutex);
    return m_Counts;
}

void JobTable::Apply(const Message& m) {
    CALL_ENTRY("JobTable::Apply");
    const MessageType type = m.GetType();
    if (type != k_MsgJobBatch && type != k_MsgJobCreated && type != k_MsgJobChanged &&
        type != k_MsgJobRemoved)
        return;
    std::lock_guard<std::mutex> l(m_Mutex); // once for a whole batch
    ApplyLocked(m);
}

void JobTable::ApplyLocked(const Message& m) {
    switch (m.GetType()) {
    case k_MsgJobBatch:
        for (auto& part : m.m_Batch)
            if (part) ApplyLocked(*part);
        break;
    case k_MsgJobCreated:
    case k_MsgJobChanged: {
        JobPtr& slot = m_Jobs[m.GetJob()];
        if (!slot) {
            slot = boost::make_shared<Job>(m.GetJob());
            slot->m_Table = this;
            ++m_Counts[slot->GetStatus()];
        }
        Job& job = *slot;
        {
            std::lock_guard<std::mutex> l(job.ParameterLock());
            for (auto& kv : m.m_Params)
                if (kv.first != p_Status)
                    job.SetLocked(ParameterNames::Intern(kv.first), kv.second);
        }
        auto status = m.m_Params.find(p_Status);
        if (status != m.m_Params.end()) SetStatusLocked(job, status->second.ToInt(k_JobUnknown));
        break;
    }
    case k_MsgJobRemoved: {
        auto it = m_Jobs.find(m.GetJob());
        if (it == m_Jobs.end()) break;
        Detach(*it->second);
        m_Jobs.erase(it);
        break;
    }
    default:
        break;
    }
}

void JobTable::Detach(Job& job) {
    auto it = m_Counts.find(job.GetStatus());
    if (it != m_Counts.end() && --it->second == 0) m_Counts.erase(it);
    job.m_Table = nullptr;
}

bool JobTable::ForwardStatus(JobTable* table, Job& job, int status) {
    std::lock_guard<std::mutex> l(g_LiveMutex); // the table cannot go meanwhile
    if (!g_Live.count(table)) return false;
    table->SetStatus(job, status);
    return true;
}

void JobTable::SetStatusLocked(Job& job, int status) {
    job.m_HasStatus = true;
    const int old = job.m_Status.exchange(status);
    if (old == status) return;
    auto it = m_Counts.find(old);
    if (it != m_Counts.end() && --it->second == 0) m_Counts.erase(it);
    ++m_Counts[status];
}

void JobTable::SetStatus(Job& job, int status) {
    std::lock_guard<std::mutex> l(m_Mutex);
    auto it = m_Jobs.find(job.GetID());
    if (it != m_Jobs.end() && it->second.get() == &job) {
        SetStatusLocked(job, status);
    } else { // removed meanwhile: no longer counted here
        job.m_Status = status;
        job.m_HasStatus = true;
    }
}

void JobTable::Clear() {
    CALL_ENTRY("JobTable::Clear");
    std::unordered_map<UID, JobPtr> gone;
    {
        std::lock_guard<std::mutex> l(m_Mutex);
        gone.swap(m_Jobs);
        m_Counts.clear();
    }
    // A million jobs take seconds to free, which would hold up a program that is closing:
    // a big table is freed on a thread of its own (the process may end before it is done).
    if (gone.size() > 50000) std::thread([g = std::move(gone)]() mutable { g.clear(); }).detach();
}
