#include <wxTaviro/JobSelector.h>

#include <wxTaviro/wxTaviroApp.h>

#include <taviro/ClientApp.h>

#include <ostrum/CallTrace.h>

#include <algorithm>
#include <cstdlib>
#include <strings.h>

bool JobSelector::_Sort(const JobPtr& a, const JobPtr& b) {
    if (!a) return false;
    if (!b) return true;
    const String nameB = b->Name();
    const String nameA = a->Name();
    if (nameB.empty()) return false;
    if (nameA.empty()) return true;
    return strcasecmp(nameA.c_str(), nameB.c_str()) < 0;
}

void JobSelector::Fill(const UID& exclude) {
    CALL_ENTRY("JobSelector::Fill");
    Append(_("None"), new _ID(UID::Null));
    auto* app = dynamic_cast<TaviroApp*>(Application::the_Application);
    std::vector<JobPtr> jobs;
    if (app) jobs = app->GetAllJobs();
    std::sort(jobs.begin(), jobs.end(), _Sort);
    const UID none(false);
    // One Append per job would relayout the popup each time; a farm has many jobs.
    wxArrayString labels;
    std::vector<wxClientData*> data;
    for (const JobPtr& job : jobs) {
        if (!job) continue;
        const String text = job->GetParameter(p_Status, true);
        const int status = text.empty() ? 0 : (int)strtol(text.c_str(), nullptr, 10);
        if (job->HideInSelectors(status)) continue;
        if (exclude != none && job->GetID() == exclude) continue;
        labels.Add(wxFromString(job->Name()));
        data.push_back(new _ID(job->GetID()));
    }
    if (!labels.empty()) Append(labels, data.data());
    SetSelection(0);
}

void JobSelector::SelectJob(const UID& id) {
    CALL_ENTRY("JobSelector::SelectJob");
    const unsigned count = GetCount();
    for (unsigned i = 0; i < count; ++i) {
        auto* entry = static_cast<_ID*>(GetClientObject(i));
        if (entry && static_cast<const UID&>(*entry) == id) {
            SetSelection((int)i);
            return;
        }
    }
}

const UID& JobSelector::GetSelectedJob() const {
    // The description leaves a missing selection to the caller; answer "None" rather than
    // reading through a null entry.
    const int selection = GetSelection();
    auto* entry =
        selection == wxNOT_FOUND ? nullptr : static_cast<_ID*>(GetClientObject(selection));
    return entry ? static_cast<const UID&>(*entry) : UID::Null;
}
