/// @file
/// A drop-down of the farm's jobs, sorted by name, with a leading "None" entry: a dialog picks
/// one job (for example one that another job should refer to) or none.
///
/// A farm may hold a million jobs: the selector keeps every job's name and identifier
/// compactly, and its list holds a window of them, "None" first. The window grows as the open
/// list is scrolled towards its end, and typing a name (with the list open or closed) moves it
/// to the first job whose name starts with what was typed and selects that job. With up to
/// k_Window jobs the list holds them all.
#pragma once

#include <wxTaviro/wxTaviroText.h>

#include <taviro/Job.h>

#include <ostrum/UID.h>

#include <wx/clntdata.h>

#include <string>
#include <vector>

/// @addtogroup farm
/// @{

/// A themed drop-down of the farm's jobs by name, "None" first (see the file comment). GUI
/// thread only; the list is a snapshot taken by Fill.
class JobSelector : public wxsChoice {
public:
    /// The identifier of one entry's job (UID::Null for "None").
    class _ID : public wxClientData, public UID {
    public:
        explicit _ID(const UID& id) : UID(id) {}
    };

    /// Jobs the list holds at first, and adds each time the open list nears its end.
    static constexpr size_t k_Window = 500;

    /// An empty selector; Fill puts the jobs in.
    JobSelector(wxWindow* parent, wxWindowID id, const wxPoint& pos = wxDefaultPosition,
                const wxSize& size = wxDefaultSize);

    /// Appends "None" and the jobs that selectors offer, leaving out `exclude` (a dialog
    /// editing a job does not offer the job itself), and selects "None". Meant for a fresh
    /// control: it appends to what is there. The list is a snapshot.
    void Fill(const UID& exclude);
    /// Selects the first entry holding `id`; an unknown id leaves the selection as it is.
    void SelectJob(const UID& id);
    /// The job of the selected entry; UID::Null for "None" or when nothing is selected.
    const UID& GetSelectedJob() const;

    /// Whether a goes before b: null pointers last, unnamed jobs first, then names ignoring
    /// ASCII case.
    static bool _Sort(const JobPtr& a, const JobPtr& b);

    /// How many jobs Fill offered (the list may hold fewer at a time).
    size_t GetJobCount() const { return m_Order.size(); }
    /// Selects the first job whose name starts with `prefix` (ignoring ASCII case) and shows it
    /// in the list; false, with the selection left alone, when there is none.
    bool SelectPrefix(const String& prefix);
    /// What has been typed since the last pause (type-ahead), empty when nothing.
    const String& GetTyped() const { return m_Typed; }

private:
    struct _Job {
        uint32_t name, length; // in m_Names
        UID id;
    };
    String Name(size_t sorted) const {
        const _Job& j = m_Jobs[m_Order[sorted]];
        return String(m_Names.data() + j.name, j.length);
    }
    // Shows the sorted jobs [first, first + k_Window) after "None" (a fresh window).
    void ShowWindow(size_t first);
    // Adds the next k_Window jobs to the list when the open list shows its last ones.
    void GrowWindow();
    // Selects the list entry of sorted job `sorted`, moving the window to it when needed.
    void SelectSorted(size_t sorted);
    void OnKey(wxKeyEvent& event);
    void OnListMoved();

    std::string m_Names;
    std::vector<_Job> m_Jobs;
    std::vector<uint32_t> m_Order; // into m_Jobs, in list order
    size_t m_Base = 0;             // the entry of "None" (entries before it are the program's)
    size_t m_First = 0;            // the sorted job shown right after "None"
    String m_Typed;
    wxLongLong m_TypedAt = 0;
    bool m_PopupBound = false;
};

/// @}
