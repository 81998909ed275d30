// The demo's jobs page: every job of the farm in the fast list, live, sortable by any column,
// with a multiple selection that follows the jobs (not the rows) through re-sorting.
//
// The list holds no data: this view keeps the rows (row -> job) and each job's row (job ->
// row). Farm messages only note what changed; a 250 ms tick applies the notes, moves the
// jobs whose sort key changed (a binary search each, one pass over the rows) and schedules
// redraws, so a busy farm of a million jobs costs a pass per tick, not a sort per message.
//
// A click on a header must not sort a million jobs by comparing them: every entry keeps its
// sort keys (read when a message changes them, not under the job's lock at sort time), a
// sort by a number is a radix sort of packed keys, and the order by name is kept up to date
// as jobs come, go and are renamed, so that sorting by name is one pass over it.
//
// Nor may a tick write a million row numbers when a thousand jobs move: each entry keeps the
// row it had at some tick, and each tick records which rows it took out and where it put the
// moved ones in; an entry's row now follows from those records (two binary searches a tick)
// when somebody asks, and every row is numbered afresh only now and then.
#pragma once

#include <wxTaviro/wxDBListCtrl.h>
#include <wxTaviro/wxTimed.h>

#include <taviro/Job.h>
#include <taviro/Message.h>

#include <ctime>
#include <functional>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// The columns, by type; the type is what the saved column order lists.
enum JobsColumn {
    k_JobsName,
    k_JobsType,
    k_JobsStatus,
    k_JobsProgress,
    k_JobsFrames,
    k_JobsEngine,
    k_JobsSubmitted,
    k_JobsElapsed,
    k_JobsColumnCount
};

class JobsView : public wxDBListCtrl, public wxTimed {
public:
    // `find` gives the farm's job of an identifier (null when the farm has none).
    using JobFinder = std::function<JobPtr(const UID&)>;
    JobsView(wxWindow* parent, JobFinder find);

    // Notes what a farm message changed (any thread); the next tick applies it.
    void OnFarmMessage(const Message& message);
    // Applies the noted changes; `now` is the wall time in seconds. The tick calls it.
    void Update(std::time_t now);
    void OnTimer() override { Update(std::time(nullptr)); }

    // Sorts by the column of that type (-1: the order in which the jobs arrived).
    void SortBy(int type, bool ascending);
    int GetSortType() const { return m_SortType; }
    bool IsSortAscending() const { return m_Ascending; }
    // The job shown in a row (null outside the table).
    JobPtr GetJob(int row) const;
    size_t GetSelectedCount() const { return m_Selected.size(); }
    // Makes the job the only selected one and scrolls to it; false when it has no row (yet).
    bool ShowJob(const UID& id);
    // Logs what each tick and each sort applied, and how long it took.
    void LogTicks(bool on) { m_LogTicks = on; }

    // The job of that identifier while the view holds it (until the tick after its removal).
    JobPtr FindJob(const UID& id) const;

    // Column widths and order, and the sort, under the demo's own keys of the options file.
    void SaveLayout();
    void RestoreLayout();

    // ---- name filter ----
    // Shows only the jobs whose name holds `text`, ignoring case (empty: every job). Typing on
    // narrows the rows shown; otherwise the jobs that pass now are placed among them.
    void SetNameFilter(const String& text);
    const String& GetNameFilter() const { return m_Filter; }

    bool IsRowSelected(int row) override;
    std::vector<int> GetSelection() override;
    String GetDisplayText(int row, int column) override;
    wxColour GetRowColor(int row) override;

private:
    // One job as the view knows it. Times are seconds since the view began (0: unknown).
    struct _Entry {
        JobPtr job;
        uint32_t seq = 0; // arrival number: the unsorted order and the tie-breaker
        int row = -1;     // -1 while not placed; else its row at tick `rowEpoch` (RowOf)
        uint32_t rowEpoch = 0;
        int submitted = 0;
        int started = 0;
        int ended = 0;
        int8_t status = k_JobUnknown;
        bool selected = false;
        bool moving = false; // taken out, to be placed again
        bool gone = false;
        bool hidden = false;    // known, but left out by the name filter
        bool nameCased = false; // lowerName holds the name (filled only while filtering)
        bool named = false;     // in the name order
        bool arrived = false;   // in the arrival order
        bool renamed = false;   // to be placed again in the name order
        bool tiesPrev = false;  // its name compares equal to the one before it in name order
        // Sort keys, kept as the messages change them.
        int progress = 0;
        int frames = 0;
        uint32_t type = 0;   // in m_TypeTexts
        uint32_t engine = 0; // in m_EngineTexts
        String lowerName;
    };
    // Texts that many jobs share (types, engines), stored once and ranked for a sort.
    struct _Texts {
        std::vector<String> values;
        std::unordered_map<String, uint32_t> ids;
        uint32_t Id(const String& text);
        // Each value's place in natural order; values that compare equal share a place.
        std::vector<uint32_t> Ranks() const;
    };
    // What one message said about one job.
    struct _Note {
        UID job;
        int kind;      // k_MsgJobCreated, k_MsgJobChanged or k_MsgJobRemoved
        unsigned mask; // bit per column type whose value changed
        int status;    // the new status, -1 when unchanged
        int when;
    };
    // How one tick renumbered the rows: the rows it took out (ascending, numbered as before the
    // tick) and, for the m-th row it put in at row q (ascending, numbered as after), q - m.
    struct _Shift {
        std::vector<uint32_t> out, in;
    };
    struct _Key {
        long long number = 0;
        String text;
        uint32_t seq = 0;
    };

    void Note(const Message& m, int when);
    void ApplyNote(const _Note& note, std::vector<_Entry*>& fresh, std::vector<_Entry*>& moving,
                   std::vector<_Entry*>& touched, std::vector<_Entry*>& gone,
                   std::vector<_Entry*>& renamed);
    // Reads the sort keys of the columns in `mask` from the job.
    void ReadKeys(_Entry& e, unsigned mask);
    // Takes the gone rows out of the list and every gone or moving entry out of the rows;
    // gives the rows taken out (ascending).
    std::vector<uint32_t> DropRows(const std::vector<_Entry*>& gone,
                                   const std::vector<_Entry*>& moving);
    // Places fresh and moving entries: binary insertion when few, a full sort otherwise;
    // gives the rows they landed in (ascending), none after a full sort (it numbered them).
    std::optional<std::vector<uint32_t>> Place(std::vector<_Entry*>& entries);
    // Sorts every row and numbers them.
    void FullSort();
    void SortByComparing();
    // The sort by name from the kept name order; false when it cannot be used.
    bool SortFromNameOrder();
    // The name order: built on first use, then kept (jobs gone or renamed out, new in).
    void BuildNameOrder();
    void KeepNameOrder(const std::vector<_Entry*>& fresh, const std::vector<_Entry*>& gone,
                       const std::vector<_Entry*>& renamed);
    void KeepArrivalOrder(const std::vector<_Entry*>& fresh, const std::vector<_Entry*>& gone);
    // Row numbers: the row of an entry that has one (-1 when it has none); a tick's record of
    // how the rows moved; every row numbered afresh.
    int RowOf(_Entry& e);
    void AddShift(std::vector<uint32_t> out, const std::vector<uint32_t>& landed);
    void Renumber();
    _Key KeyOf(const _Entry& e) const;
    bool Before(const _Key& a, const _Key& b) const;
    void ShowSortInLabels();
    int Elapsed(const _Entry& e) const;
    String TypeName(const JobPtr& job);
    void Select(int row, bool on);
    // Name filter: whether a job shows; leaving out the entries that do not (from `entries`).
    bool Passes(_Entry& e);
    // Lower-cases the names not lower-cased yet, of every entry.
    void CaseNames();
    void LeaveOutFiltered(std::vector<_Entry*>& entries);
    // Puts entries that have no row among the (sorted) rows.
    void MergeIntoRows(std::vector<_Entry*>& entries);
    // Whether a note makes a job shown or left out by the filter to be placed again.
    bool FilterReplaces(_Entry& e, unsigned mask);
    void OnColumnClick(wxListEvent& event);
    void OnColumnMenu(wxListEvent& event);

    JobFinder m_Find;
    std::time_t m_Epoch;
    int m_Now = 1;
    std::unordered_map<UID, _Entry> m_Entries;
    std::vector<_Entry*> m_Rows;
    std::unordered_set<_Entry*> m_Selected;
    uint32_t m_NextSeq = 0;
    int m_SortType = -1;
    bool m_Ascending = true;
    // Set while the view itself changes the row count: the list's deselect events for
    // removed rows are the view's own doing then.
    bool m_Quiet = false;
    bool m_LogTicks = false;
    String m_Filter; // lower case
    std::unordered_map<String, String> m_TypeNames;
    _Texts m_TypeTexts, m_EngineTexts;
    std::vector<_Entry*> m_BySeq;  // every entry (left out or not) by arrival
    std::vector<_Entry*> m_ByName; // every entry (left out or not) by name, then arrival
    std::vector<_Entry*> m_Spare;  // the rows being rebuilt by a tick (kept: 8 MB at 1M jobs)
    std::vector<_Shift> m_Shifts;  // the ticks since every row was last numbered
    uint32_t m_RowEpoch = 0;       // ticks that changed the rows, counted
    bool m_NameOrderBuilt = false;

    std::mutex m_NotesMutex;
    std::vector<_Note> m_Notes;
};

// The text colour of a job in this status (from the palette, so read it at paint time).
wxColour StatusColour(int status);

// The width of a column that shows every job status, translated, in full.
int StatusColumnWidth(wxWindow* list);

// Compares texts with runs of digits taken as numbers ("Job 9" before "Job 10"): <0, 0, >0.
int NaturalCompare(const String& a, const String& b);
