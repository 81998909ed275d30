// A drop-down of the farm's jobs, sorted by name, with a leading "None" entry: a dialog picks
// one job (for example one that another job should refer to) or none.
#pragma once

#include <wxTaviro/wxTaviroText.h>

#include <taviro/Job.h>

#include <ostrum/UID.h>

#include <wx/clntdata.h>

class JobSelector : public wxsChoice {
public:
    // The identifier of one entry's job (UID::Null for "None").
    class _ID : public wxClientData, public UID {
    public:
        explicit _ID(const UID& id) : UID(id) {}
    };

    JobSelector(wxWindow* parent, wxWindowID id, const wxPoint& pos = wxDefaultPosition,
                const wxSize& size = wxDefaultSize)
        : wxsChoice(parent, id, pos, size) {}

    // Appends "None" and the jobs that selectors offer, leaving out `exclude` (a dialog
    // editing a job does not offer the job itself), and selects "None". Meant for a fresh
    // control: it appends to what is there. The list is a snapshot.
    void Fill(const UID& exclude);
    // Selects the first entry holding `id`; an unknown id leaves the selection as it is.
    void SelectJob(const UID& id);
    // The job of the selected entry; UID::Null for "None" or when nothing is selected.
    const UID& GetSelectedJob() const;

    // Whether a goes before b: null pointers last, unnamed jobs first, then names ignoring
    // ASCII case.
    static bool _Sort(const JobPtr& a, const JobPtr& b);
};
