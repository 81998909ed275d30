#include <wxTaviro/JobCommandMenu.h>

#include <wxTaviro/wxTaviroString.h>

#include <taviro/JobFactory.h>

#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <wx/msgdlg.h>

namespace {
const char k_Disabled[] = "DISABLED:";
}

JobCommandMenu::JobCommandMenu() = default;

void JobCommandMenu::Fill(const boost::shared_ptr<Job>& job, int mask) {
    CALL_ENTRY("JobCommandMenu::Fill");
    if (job)
        LogDebug("JobCommandMenu being filled from: " + job->GetParameter(p_Name, true));
    else
        LogDebug("JobCommandMenu being set to empty job");
    if (m_FixedCount == -1) {
        m_FixedCount = (int)GetMenuItemCount();
    } else {
        // The owner may have removed some of its own items since.
        while ((int)GetMenuItemCount() > m_FixedCount)
            Destroy(FindItemByPosition(GetMenuItemCount() - 1));
    }
    m_Job = job;
    // Ids stay reserved for their commands, but only what is in the menu now can be run.
    m_Commands.clear();
    if (!m_Job) return;
    if (m_FixedCount != 0) AppendSeparator();
    const UID type(m_Job->GetParameter(p_Type, true), false);
    // Unknown to the factory (its module is gone): no commands rather than an exception.
    const JobTypeInfo& info = JobFactory::s_JobFactory.GetTypeInfo(type, false);
    for (const CommandInfo& command : info.commands)
        if (command.flags & mask) InsertCommand(command);
}

void JobCommandMenu::InsertCommand(const CommandInfo& info) {
    CALL_ENTRY("JobCommandMenu::InsertCommand");
    if (info.flags < 0) {
        AppendSeparator();
        return;
    }
    const String items = m_Job ? info.Itemize(*m_Job) : String();
    if (items.empty()) {
        const long id = DoInsertCommand(this, info.name, String(), info.help);
        m_Commands[id] = CommandData{info.name, String()};
        return;
    }
    auto* sub = new wxMenu;
    StringTokenizer tokens(items, ";", false, '"', '\\');
    for (const String& item : tokens.GetTokens()) {
        const long id = DoInsertCommand(sub, info.name, item, info.help);
        m_Commands[id] = CommandData{info.name, item};
    }
    Append(wxID_ANY, wxFromString(info.name), sub, wxFromString(info.help));
}

long JobCommandMenu::DoInsertCommand(wxMenu* menu, const String& command, const String& label,
                                     const String& help) {
    const String text = label.empty() ? command : label;
    const bool disabled = text.StartsWith(k_Disabled);
    const String shown = disabled ? text.substr(text.find(':') + 1) : text;
    const String key = label.empty() ? shown : command + "-" + shown;
    long id;
    auto known = m_Ids.find(key);
    if (known != m_Ids.end()) {
        id = known->second;
    } else {
        id = wxNewId();
        m_Ids[key] = id;
    }
    wxMenuItem* item = menu->Append(
        new wxMenuItem(menu, (int)id, wxFromString(shown), wxFromString(help), wxITEM_CHECK));
    item->Enable(!disabled);
    return id;
}

bool JobCommandMenu::TryCommand(long id) {
    CALL_ENTRY("JobCommandMenu::TryCommand");
    auto entry = m_Commands.find(id);
    if (entry == m_Commands.end()) return false;
    // A copy: a step may refill this menu, which replaces the map's entries.
    const CommandData data = entry->second;
    if (PreProcessCommand(data.command, data.item)) {
        DoProcessCommand(data.command, data.item);
        PostProcessCommand(data.command, data.item);
    }
    return true;
}

bool JobCommandMenu::PreProcessCommand(const String&, const String&) {
    return true;
}

void JobCommandMenu::DoProcessCommand(const String& command, const String& item) {
    CALL_ENTRY("JobCommandMenu::DoProcessCommand");
    // Held here: the owner may refill the menu (dropping its job) while the box is open.
    const boost::shared_ptr<Job> job = m_Job;
    if (!job) return;
    try {
        job->ExecuteCommand(command, item);
    } catch (Exception* e) {
        wxString text =
            wxString::Format(_("Unable to execute Job command: '%s'"), wxFromString(command)) +
            "\n" + wxFromString(e->GetMessage());
        if (!e->GetDetail().empty()) text += "\n" + wxFromString(e->GetDetail());
        delete e;
        wxMessageBox(text, _("TaviroGui Error"), wxOK | wxCENTRE, nullptr);
    }
}

void JobCommandMenu::PostProcessCommand(const String&, const String&) {}
