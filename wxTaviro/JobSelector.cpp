#include <wxTaviro/JobSelector.h>

#include <wxTaviro/wxTaviroApp.h>

#include <taviro/ClientApp.h>

#include <ostrum/CallTrace.h>

#include <algorithm>
#include <cstdlib>
#include <strings.h>

namespace {
// Unnamed first, then by name ignoring ASCII case.
bool NameBefore(const String& a, const String& b) {
    if (b.empty()) return false;
    if (a.empty()) return true;
    return strcasecmp(a.c_str(), b.c_str()) < 0;
}
} // namespace

bool JobSelector::_Sort(const JobPtr& a, const JobPtr& b) {
    if (!a) return false;
    if (!b) return true;
    const String nameB = b->Name();
    return NameBefore(a->Name(), nameB);
}

void JobSelector::Fill(const UID& exclude) {
    CALL_ENTRY("JobSelector::Fill");
    Append(_("None"), new _ID(UID::Null));
    auto* app = dynamic_cast<TaviroApp*>(Application::the_Application);
    std::vector<JobPtr> jobs;
    if (app) jobs = app->GetAllJobs();
    // The order of _Sort, with each name read once instead of twice per comparison: a farm
    // has a million jobs, and reading a name takes the job's lock.
    struct Named {
        String name;
        JobPtr job;
    };
    std::vector<Named> named;
    named.reserve(jobs.size());
    for (JobPtr& job : jobs)
        if (job) named.push_back({job->Name(), std::move(job)});
    std::sort(named.begin(), named.end(),
              [](const Named& a, const Named& b) { return NameBefore(a.name, b.name); });
    const UID none(false);
    // One Append per job would relayout the popup each time.
    wxArrayString labels;
    std::vector<wxClientData*> data;
    for (const Named& entry : named) {
        const JobPtr& job = entry.job;
        const String text = job->GetParameter(p_Status, true);
        const int status = text.empty() ? 0 : (int)strtol(text.c_str(), nullptr, 10);
        if (job->HideInSelectors(status)) continue;
        if (exclude != none && job->GetID() == exclude) continue;
        labels.Add(wxFromString(entry.name));
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
