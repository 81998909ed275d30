#include <taviro/Job.h>
#include <taviro/JobFactory.h>
#include <taviro/JobTable.h>
#include <taviro/Messenger.h>

#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/StringTokenizer.h>

#include <cstring>
#include <deque>
#include <shared_mutex>
#include <unordered_map>

const String p_Name("Name");
const String p_Status("Status");
const String p_Type("Type");
const String p_Progress("Progress");
const String p_Owner("Owner");
const String p_Priority("Priority");
const String p_Frames("Frames");
const String p_Engine("Engine");

const char* JobStatusName(int status) {
    switch (status) {
    case k_JobWaiting:
        return "Waiting";
    case k_JobRunning:
        return "Running";
    case k_JobPaused:
        return "Paused";
    case k_JobDone:
        return "Done";
    case k_JobFailed:
        return "Failed";
    case k_JobAborted:
        return "Aborted";
    case k_JobArchived:
        return "Archived";
    default:
        return "Unknown";
    }
}

// ---- ParameterNames ----

namespace {
struct _Names {
    std::shared_mutex mutex;
    std::unordered_map<String, uint32_t> numbers;
    std::deque<String> names; // by number; a deque keeps references stable as it grows
};
_Names& Names() {
    static _Names s_Names;
    return s_Names;
}
} // namespace

uint32_t ParameterNames::Intern(const String& name) {
    CALL_ENTRY("ParameterNames::Intern");
    _Names& n = Names();
    {
        std::shared_lock<std::shared_mutex> l(n.mutex);
        auto it = n.numbers.find(name);
        if (it != n.numbers.end()) return it->second;
    }
    std::unique_lock<std::shared_mutex> l(n.mutex);
    auto it = n.numbers.emplace(name, (uint32_t)n.names.size());
    if (it.second) n.names.push_back(name);
    return it.first->second;
}

bool ParameterNames::Find(const String& name, uint32_t* number) {
    CALL_ENTRY("ParameterNames::Find");
    _Names& n = Names();
    std::shared_lock<std::shared_mutex> l(n.mutex);
    auto it = n.numbers.find(name);
    if (it == n.numbers.end()) return false;
    *number = it->second;
    return true;
}

const String& ParameterNames::Name(uint32_t number) {
    CALL_ENTRY("ParameterNames::Name");
    _Names& n = Names();
    std::shared_lock<std::shared_mutex> l(n.mutex);
    return n.names.at(number);
}

// ---- TaviroObject ----

std::mutex& TaviroObject::ParameterLock() const {
    // A pool big enough that the GUI and the messenger's threads rarely meet on one lock.
    static std::mutex s_Pool[64];
    const uint64_t h = (uint64_t)(uintptr_t)this * 0x9e3779b97f4a7c15ull;
    return s_Pool[h >> 58];
}

namespace {
uint32_t ReadU32(const std::string& buffer, size_t at) {
    uint32_t v;
    memcpy(&v, buffer.data() + at, 4);
    return v;
}
std::string U32(uint32_t v) {
    return std::string(reinterpret_cast<const char*>(&v), 4);
}
} // namespace

size_t TaviroObject::FindLocked(uint32_t name) const {
    for (size_t at = 0; at + 8 <= m_Params.size(); at += 8 + ReadU32(m_Params, at + 4))
        if (ReadU32(m_Params, at) == name) return at;
    return std::string::npos;
}

void TaviroObject::SetLocked(uint32_t name, const String& value) {
    const size_t at = FindLocked(name);
    if (at == std::string::npos) {
        // Exactly the size needed: every spare byte would be paid for a million times over.
        std::string grown;
        grown.reserve(m_Params.size() + 8 + value.size());
        grown.append(m_Params).append(U32(name)).append(U32((uint32_t)value.size()));
        grown.append(value);
        m_Params.swap(grown);
        return;
    }
    const uint32_t old = ReadU32(m_Params, at + 4);
    m_Params.replace(at + 4, 4, U32((uint32_t)value.size()));
    m_Params.replace(at + 8, old, value);
}

String TaviroObject::GetParameter(const String& name, bool) const {
    CALL_ENTRY("TaviroObject::GetParameter");
    uint32_t number;
    if (!ParameterNames::Find(name, &number)) return String();
    std::lock_guard<std::mutex> l(ParameterLock());
    const size_t at = FindLocked(number);
    return at == std::string::npos ? String()
                                   : String(m_Params.substr(at + 8, ReadU32(m_Params, at + 4)));
}

void TaviroObject::SetParameter(const String& name, const String& value) {
    CALL_ENTRY("TaviroObject::SetParameter");
    const uint32_t number = ParameterNames::Intern(name);
    std::lock_guard<std::mutex> l(ParameterLock());
    SetLocked(number, value);
}

std::map<String, String> TaviroObject::GetParameters() const {
    CALL_ENTRY("TaviroObject::GetParameters");
    std::string copy;
    {
        std::lock_guard<std::mutex> l(ParameterLock());
        copy = m_Params;
    }
    std::map<String, String> out;
    for (size_t at = 0; at + 8 <= copy.size(); at += 8 + ReadU32(copy, at + 4))
        out[ParameterNames::Name(ReadU32(copy, at))] = copy.substr(at + 8, ReadU32(copy, at + 4));
    return out;
}

void TaviroObject::SetParameters(const std::map<String, String>& values) {
    CALL_ENTRY("TaviroObject::SetParameters");
    for (auto& kv : values)
        SetParameter(kv.first, kv.second);
}

// ---- Job ----

namespace {
std::atomic<Messenger*> g_Messenger{nullptr};
}

void Job::SetMessenger(Messenger* messenger) {
    CALL_ENTRY("Job::SetMessenger");
    g_Messenger = messenger;
}

void Job::SetStatus(int status) {
    CALL_ENTRY("Job::SetStatus");
    JobTable* table = m_Table.load();
    if (table && JobTable::ForwardStatus(table, *this, status)) return;
    m_Status = status;
    m_HasStatus = true;
}

String Job::GetParameter(const String& name, bool resolve) const {
    CALL_ENTRY("Job::GetParameter");
    if (name != p_Status) return TaviroObject::GetParameter(name, resolve);
    return m_HasStatus.load() ? String::FromInt(GetStatus()) : String();
}

void Job::SetParameter(const String& name, const String& value) {
    CALL_ENTRY("Job::SetParameter");
    if (name == p_Status)
        SetStatus(value.ToInt(k_JobUnknown));
    else
        TaviroObject::SetParameter(name, value);
}

std::map<String, String> Job::GetParameters() const {
    CALL_ENTRY("Job::GetParameters");
    std::map<String, String> out = TaviroObject::GetParameters();
    if (m_HasStatus.load()) out[p_Status] = String::FromInt(GetStatus());
    return out;
}

bool Job::HideInSelectors(int status) const {
    return status == k_JobArchived || status == k_JobUnknown;
}

void Job::ExecuteCommand(const String& command, const String& item) {
    const JobTypeInfo& type =
        JobFactory::s_JobFactory.GetTypeInfo(UID(GetParameter(p_Type), false), false);
    const CommandInfo* info = type.FindCommand(command);
    if (!info)
        throw new Exception(k_ErrNotFound, "Unknown command",
                            "The job type '" + type.name + "' has no command '" + command + "'");
    const String items = info->Itemize(*this);
    if (!items.empty()) {
        StringTokenizer list(items, ";", false, '"', '\\');
        const auto& tokens = list.GetTokens();
        bool found = false;
        for (const String& t : tokens) {
            if (t == item) found = true;
            if (t == "DISABLED:" + item || (t == item && t.StartsWith("DISABLED:")))
                throw new Exception(k_ErrArgument, "Command disabled", command + ": " + item);
        }
        if (!found)
            throw new Exception(k_ErrArgument, "Unknown item",
                                "The command '" + command + "' has no item '" + item + "'");
    } else if (!item.empty()) {
        throw new Exception(k_ErrArgument, "Unexpected item",
                            "The command '" + command + "' takes no item");
    }
    Messenger* messenger = g_Messenger.load();
    if (!messenger || !messenger->IsConnected())
        throw new Exception(k_ErrRequest, "Not connected to the farm master",
                            "The command '" + command + "' was not sent");
    String error;
    if (!messenger->SendCommand(GetID(), command, item, &error))
        throw new Exception(k_ErrRequest, "The master refused the command", error);
}
