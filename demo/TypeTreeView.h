// The demo's "By type" page: the farm's jobs in the tree list, grouped by job type and, beneath,
// by status, live.
//
// Farm messages only note which jobs changed (any thread); a 250 ms tick looks each noted job up
// (in turns of a few milliseconds when many are noted) and puts it where it belongs now: created
// under its type and status, moved when its status changed, redrawn when something else did,
// deleted when it went. Within a status a group keeps its jobs sorted by name: a few newcomers are
// put in place by binary search, many (the snapshot of a big farm) are appended and the group
// sorted once.
#pragma once

#include <wxTaviro/wxDBTreeListCtrl.h>
#include <wxTaviro/wxTimed.h>

#include <taviro/Job.h>
#include <taviro/Message.h>

#include <functional>
#include <map>
#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class TypeTreeView : public wxDBTreeListCtrl, public wxTimed {
public:
    // `find` gives the farm's job of an identifier (null when the farm has none).
    using JobFinder = std::function<JobPtr(const UID&)>;
    TypeTreeView(wxWindow* parent, JobFinder find);

    // Notes which job a farm message is about (any thread); the next tick applies it.
    void OnFarmMessage(const Message& message);
    // Applies the noted changes. The tick calls it.
    void Update();
    void OnTimer() override { Update(); }

    // The job shown in a row; null for a group row or outside the table.
    JobPtr GetJob(int row);
    wxColour GetRowColor(int row) override;
    size_t GetJobCount() const { return m_Items.size(); }

private:
    class _Group;
    class _JobItem;
    // The group of a type and status, made when first needed (in status order within the type).
    _Group* GroupOf(const JobPtr& job);
    void Place(_JobItem* item, _Group* group, bool sortLater);

    JobFinder m_Find;
    std::map<String, _Group*> m_Types; // by the type's identifier text
    std::unordered_map<UID, _JobItem*> m_Items;
    std::mutex m_NotesMutex;
    std::unordered_set<UID> m_Notes;
    // The jobs noted and not yet looked at (GUI thread), from m_Next on.
    std::vector<UID> m_Backlog;
    size_t m_Next = 0;
    bool m_Continuing = false; // the next turn is queued
};
