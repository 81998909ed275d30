// The simulated farm's model and its deterministic traffic (see FarmSchedule.h).
#include <taviro/FarmSchedule.h>
#include <taviro/Job.h>
#include <taviro/JobFactory.h>

#include <algorithm>
#include <cstring>

namespace {
const char* const k_Owners[] = {"ana", "ben", "chen", "dara", "eli", "farid"};
const char* const k_Priorities[] = {"Low", "Normal", "High"};
// The engine that renders a job, fixed by its number so that the traffic stays a function of
// the seed.
String EngineOf(uint32_t number) {
    return SFormat("node%02u", 1 + (number * 7u) % 24u);
}
bool IsFinished(int s) {
    return s == k_JobDone || s == k_JobFailed || s == k_JobAborted || s == k_JobArchived;
}
} // namespace

FarmSchedule::FarmSchedule(uint64_t seed, int jobCount, const std::vector<UID>& types)
    : m_Rng(seed), m_Types(types), m_Priorities(std::begin(k_Priorities), std::end(k_Priorities)) {
    for (const UID& t : m_Types)
        m_TypeNames.push_back(JobFactory::s_JobFactory.GetTypeInfo(t, false).name);
    m_Jobs.reserve((size_t)std::max(jobCount, 0));
    for (int i = 0; i < jobCount; ++i)
        m_Jobs.push_back(NewJob());
}

UID FarmSchedule::RandomUID() {
    uint8_t b[16];
    const uint64_t a = m_Rng(), c = m_Rng();
    memcpy(b, &a, 8);
    memcpy(b + 8, &c, 8);
    b[6] = (uint8_t)((b[6] & 0x0f) | 0x40); // looks like a version-4 identifier
    b[8] = (uint8_t)((b[8] & 0x3f) | 0x80);
    return UID::FromBytes(b);
}

FarmSchedule::_Job FarmSchedule::NewJob() {
    _Job j;
    j.id = RandomUID();
    j.type = m_Types.empty() ? (uint16_t)k_NoType : (uint16_t)(m_Rng() % m_Types.size());
    j.number = (uint32_t)m_NextNumber++;
    const int r = (int)(m_Rng() % 100);
    j.status = (int8_t)(r < 50   ? k_JobWaiting
                        : r < 70 ? k_JobRunning
                        : r < 78 ? k_JobPaused
                        : r < 90 ? k_JobDone
                        : r < 95 ? k_JobFailed
                                 : k_JobArchived);
    j.progress =
        (int8_t)(j.status == k_JobDone ? 100 : (j.status == k_JobWaiting ? 0 : m_Rng() % 100));
    j.frames = (uint16_t)(10 + m_Rng() % 490);
    j.owner = (uint8_t)(m_Rng() % 6);
    j.priority = (uint8_t)(m_Rng() % 3);
    return j;
}

String FarmSchedule::Name(const _Job& j) const {
    return SFormat("%s %05u", j.type == k_NoType ? "Job" : m_TypeNames[j.type].c_str(), j.number);
}

boost::shared_ptr<Message> FarmSchedule::Created(const _Job& j) const {
    auto m = boost::shared_ptr<Message>(new Message(k_MsgJobCreated, j.id));
    m->m_Params[p_Name] = Name(j);
    m->m_Params[p_Type] = (j.type == k_NoType ? UID::Null : m_Types[j.type]).ToString();
    m->m_Params[p_Status] = String::FromInt(j.status);
    m->m_Params[p_Progress] = String::FromInt(j.progress);
    m->m_Params[p_Owner] = k_Owners[j.owner];
    m->m_Params[p_Priority] = m_Priorities[j.priority];
    m->m_Params[p_Frames] = SFormat("1-%d,%d-%d", j.frames / 2, j.frames / 2 + 1, j.frames);
    if (j.status != k_JobWaiting) m->m_Params[p_Engine] = EngineOf(j.number);
    return m;
}

boost::shared_ptr<Message> FarmSchedule::Changed(const _Job& j, bool progressOnly) {
    auto m = boost::shared_ptr<Message>(new Message(k_MsgJobChanged, j.id));
    m->m_Params[p_Progress] = String::FromInt(j.progress);
    if (!progressOnly) {
        m->m_Params[p_Status] = String::FromInt(j.status);
        // A job waits on no engine; one that ran keeps the engine it ran on.
        m->m_Params[p_Engine] = j.status == k_JobWaiting ? String() : EngineOf(j.number);
    }
    return Stamp(m);
}

boost::shared_ptr<Message> FarmSchedule::Stamp(boost::shared_ptr<Message> m) {
    m->m_Sequence = ++m_Sequence;
    return m;
}

std::vector<boost::shared_ptr<Message>> FarmSchedule::Snapshot(size_t batchSize) const {
    const Frozen farm = Freeze();
    std::vector<boost::shared_ptr<Message>> out;
    batchSize = std::max<size_t>(batchSize, 1);
    for (size_t i = 0; i < farm.JobCount(); i += batchSize)
        out.push_back(Batch(farm, i, batchSize));
    return out;
}

FarmSchedule::Frozen FarmSchedule::Freeze() const {
    Frozen f;
    f.m_Jobs = m_Jobs;
    return f;
}

boost::shared_ptr<Message> FarmSchedule::Batch(const Frozen& farm, size_t first,
                                               size_t batchSize) const {
    auto batch = boost::shared_ptr<Message>(new Message(k_MsgJobBatch));
    const size_t end = std::min(farm.m_Jobs.size(), first + std::max<size_t>(batchSize, 1));
    for (size_t k = first; k < end; ++k)
        batch->m_Batch.push_back(Created(farm.m_Jobs[k]));
    return batch;
}

boost::shared_ptr<Message> FarmSchedule::Next() {
    const int r = (int)(m_Rng() % 100);
    if (m_Jobs.empty() || (r >= 95 && m_Jobs.size() < 2000000)) { // the farm grows a little
        m_Jobs.push_back(NewJob());
        m_Jobs.back().status = k_JobWaiting;
        m_Jobs.back().progress = 0;
        return Stamp(Created(m_Jobs.back()));
    }
    if (r < 8) {
        auto m = boost::shared_ptr<Message>(new Message(k_MsgEngineLoad));
        m->m_Params["Load"] = String::FromInt((long long)(m_Rng() % 101));
        return Stamp(m);
    }
    _Job& j = m_Jobs[m_Rng() % m_Jobs.size()];
    if (r < 30 && j.status == k_JobRunning) {
        auto m = boost::shared_ptr<Message>(new Message(k_MsgLogLine, j.id));
        const int frame = 1 + (int)(m_Rng() % (uint64_t)j.frames);
        m->m_Params["Text"] = SFormat("%s: frame %d of %d rendered in %.1f s", Name(j).c_str(),
                                      frame, j.frames, (double)(m_Rng() % 6000) / 10.0);
        return Stamp(m);
    }
    if (r < 32 && j.status == k_JobArchived) {
        const UID id = j.id;
        j = m_Jobs.back();
        m_Jobs.pop_back();
        return Stamp(boost::shared_ptr<Message>(new Message(k_MsgJobRemoved, id)));
    }
    switch (j.status) {
    case k_JobWaiting:
        j.status = k_JobRunning;
        j.progress = 0;
        return Changed(j, false);
    case k_JobRunning:
        j.progress = (int8_t)(j.progress + 1 + (int)(m_Rng() % 15));
        if (j.progress < 100) return Changed(j, true);
        j.progress = 100;
        j.status = m_Rng() % 10 == 0 ? k_JobFailed : k_JobDone;
        return Changed(j, false);
    case k_JobDone:
    case k_JobFailed:
    case k_JobAborted:
        if (m_Rng() % 3 == 0) {
            j.status = k_JobArchived;
            return Changed(j, false);
        }
        break;
    default:
        break;
    }
    auto m = boost::shared_ptr<Message>(new Message(k_MsgEngineLoad));
    m->m_Params["Load"] = String::FromInt((long long)(m_Rng() % 101));
    return Stamp(m);
}

bool FarmSchedule::ApplyCommand(const UID& job, const String& command, const String& item,
                                String* error, std::vector<boost::shared_ptr<Message>>& out) {
    auto it =
        std::find_if(m_Jobs.begin(), m_Jobs.end(), [&](const _Job& j) { return j.id == job; });
    auto refuse = [&](const String& why) {
        if (error) *error = why;
        return false;
    };
    if (it == m_Jobs.end()) return refuse("No such job: " + job.ToString());
    _Job& j = *it;
    if (command == "Pause") {
        if (j.status != k_JobRunning && j.status != k_JobWaiting)
            return refuse(Name(j) + " is not running or waiting");
        j.status = k_JobPaused;
    } else if (command == "Resume") {
        if (j.status != k_JobPaused) return refuse(Name(j) + " is not paused");
        j.status = k_JobWaiting;
    } else if (command == "Abort") {
        if (IsFinished(j.status)) return refuse(Name(j) + " has already finished");
        j.status = k_JobAborted;
    } else if (command == "Restart") {
        if (!IsFinished(j.status) || j.status == k_JobArchived)
            return refuse(Name(j) + " has not finished");
        j.status = k_JobWaiting;
        j.progress = 0;
    } else if (command == "Archive") {
        if (!IsFinished(j.status) || j.status == k_JobArchived)
            return refuse(Name(j) + " cannot be archived now");
        j.status = k_JobArchived;
    } else if (command == "Remove") {
        const UID id = j.id;
        *it = m_Jobs.back();
        m_Jobs.pop_back();
        out.push_back(Stamp(boost::shared_ptr<Message>(new Message(k_MsgJobRemoved, id))));
        return true;
    } else if (command == "Priority") {
        auto known = std::find(m_Priorities.begin(), m_Priorities.end(), item);
        if (known == m_Priorities.end() && m_Priorities.size() < 256)
            known = m_Priorities.insert(m_Priorities.end(), item);
        if (known != m_Priorities.end()) j.priority = (uint8_t)(known - m_Priorities.begin());
        auto m = boost::shared_ptr<Message>(new Message(k_MsgJobChanged, j.id));
        m->m_Params[p_Priority] = item;
        out.push_back(Stamp(m));
        return true;
    } else {
        auto m = boost::shared_ptr<Message>(new Message(k_MsgLogLine, j.id));
        m->m_Params["Text"] = Name(j) + ": command '" + command +
                              (item.empty() ? String() : "' (" + item + ")") +
                              (item.empty() ? "' done" : " done");
        out.push_back(Stamp(m));
        return true;
    }
    out.push_back(Changed(j, false));
    return true;
}

bool FarmSchedule::Submit(const UID& type, String* error,
                          std::vector<boost::shared_ptr<Message>>& out) {
    auto known = std::find(m_Types.begin(), m_Types.end(), type);
    if (known == m_Types.end()) {
        if (error) *error = "This farm runs no jobs of type " + type.ToString();
        return false;
    }
    _Job j = NewJob();
    j.type = (uint16_t)(known - m_Types.begin());
    j.status = k_JobWaiting;
    j.progress = 0;
    m_Jobs.push_back(j);
    out.push_back(Stamp(Created(j)));
    return true;
}

String FarmSchedule::MasterLogText(uint64_t seed, uint64_t n) {
    // splitmix64 of seed and n: varied text without any shared generator state.
    uint64_t z = seed * 0x9E3779B97F4A7C15ull + n + 0x632BE59BD9B4E019ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    const int node = int(z % 64), frame = int((z >> 8) % 5000), pct = int((z >> 24) % 100),
              tenth = int((z >> 40) % 10);
    String body;
    switch ((z >> 56) % 6) {
    case 0:
        body = SFormat("frame %d of job %d dispatched to node-%02d", frame, pct, node);
        break;
    case 1:
        body = SFormat("node-%02d: frame %d rendered in %d.%d s", node, frame, pct, tenth);
        break;
    case 2:
        body = SFormat("node-%02d heartbeat, load %d%%, %d MB free", node, pct, frame);
        break;
    case 3:
        body = SFormat("job %d: %d frames waiting, %d running", frame, pct, tenth);
        break;
    case 4:
        // Now and then a warning is an error.
        body = tenth == 0 ? SFormat("ERROR node-%02d: frame %d failed, exit code %d", node, frame,
                                    1 + pct % 127)
                          : SFormat("WARNING node-%02d: frame %d took %d s", node, frame, pct);
        break;
    default:
        body = SFormat("license server: %d of 40 seats in use", pct % 41);
        break;
    }
    return SFormat("#%llu %s", (unsigned long long)n, body.c_str());
}
