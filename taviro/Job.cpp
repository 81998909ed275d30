#include <taviro/ClientApp.h>
#include <taviro/Job.h>
#include <taviro/JobFactory.h>

#include <ostrum/Exception.h>
#include <ostrum/StringTokenizer.h>

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

// ---- TaviroObject ----

String TaviroObject::GetParameter(const String& name, bool) const {
    std::lock_guard<std::mutex> l(m_Mutex);
    auto it = m_Params.find(name);
    return it == m_Params.end() ? String() : it->second;
}

void TaviroObject::SetParameter(const String& name, const String& value) {
    std::lock_guard<std::mutex> l(m_Mutex);
    m_Params[name] = value;
}

std::map<String, String> TaviroObject::GetParameters() const {
    std::lock_guard<std::mutex> l(m_Mutex);
    return m_Params;
}

void TaviroObject::SetParameters(const std::map<String, String>& values) {
    std::lock_guard<std::mutex> l(m_Mutex);
    for (auto& kv : values)
        m_Params[kv.first] = kv.second;
}

// ---- Job ----

int Job::GetStatus() const {
    return GetParameter(p_Status, true).ToInt(k_JobUnknown);
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
    auto* app = dynamic_cast<TaviroClientApp*>(Application::the_Application);
    Messenger* messenger = app ? app->GetMessenger() : nullptr;
    if (!messenger || !messenger->IsConnected())
        throw new Exception(k_ErrRequest, "Not connected to the farm master",
                            "The command '" + command + "' was not sent");
    String error;
    if (!messenger->SendCommand(GetID(), command, item, &error))
        throw new Exception(k_ErrRequest, "The master refused the command", error);
}
