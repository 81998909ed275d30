#include "demo/TypeTreeView.h"

#include "demo/JobsView.h"

#include <wxTaviro/wxTaviroString.h>

#include <taviro/JobFactory.h>

#include <algorithm>

namespace {
enum { k_Name, k_Status, k_Progress, k_Priority, k_Engine };
const struct {
    const char* label;
    int width;
} k_Columns[] = {{wxTRANSLATE("Name"), 260},
                 {wxTRANSLATE("Status"), 110},
                 {wxTRANSLATE("Progress"), 80},
                 {wxTRANSLATE("Priority"), 80},
                 {wxTRANSLATE("Engine"), 90}};
// More newcomers than this in one group and tick are appended and the group sorted once.
const size_t k_SortOnce = 32;
// Jobs already shown that move to another group, at most, per tick; and notes of jobs already
// shown looked at, at most, so that a backlog is not looked up again in full at every tick.
const size_t k_MovesPerTick = 500;
const size_t k_NotesPerTick = 4000;
} // namespace

// A type or a status row: its name and how many jobs it holds.
class TypeTreeView::_Group : public wxDBTreeListItem {
public:
    _Group(const String& name, int status) : m_Name(name), m_Status(status) {}
    String GetText(int column) const override {
        if (column == k_Name) return m_Name;
        if (column == k_Status) return wxToString(wxString::Format(_("%zu jobs"), Jobs()));
        return String();
    }
    size_t Jobs() const {
        if (m_Status >= 0) return GetChildCount();
        size_t n = 0;
        for (size_t i = 0; i < GetChildCount(); ++i)
            n += static_cast<_Group*>(GetChild(i))->Jobs();
        return n;
    }
    const String m_Name;
    const int m_Status;             // -1 for a type row
    std::vector<_JobItem*> m_Fresh; // newcomers of this tick, when many
};

// A job row: its texts are read from the job when drawn.
class TypeTreeView::_JobItem : public wxDBTreeListItem {
public:
    explicit _JobItem(JobPtr job) : m_Job(std::move(job)) {}
    String GetText(int column) const override {
        switch (column) {
        case k_Name:
            return m_Job->Name();
        case k_Status:
            return wxToString(wxGetTranslation(JobStatusName(m_Job->GetStatus())));
        case k_Progress: {
            const String p = m_Job->GetParameter(p_Progress);
            return p.empty() ? p : p + "%";
        }
        case k_Priority:
            return m_Job->GetParameter(p_Priority);
        case k_Engine:
            return m_Job->GetParameter(p_Engine);
        default:
            return String();
        }
    }
    const JobPtr m_Job;
    String m_Name; // as placed: a rename re-sorts it
};

TypeTreeView::TypeTreeView(wxWindow* parent, JobFinder find)
    : wxDBTreeListCtrl(parent, wxID_ANY), m_Find(std::move(find)) {
    for (const auto& c : k_Columns)
        AddColumn(0, wxToString(wxGetTranslation(c.label)), FromDIP(c.width));
    SetColumnWidth(k_Status, std::max(GetColumnWidth(k_Status), StatusColumnWidth(this)));
    SetTooltipsOnlyWhenShortened(true);
}

void TypeTreeView::OnFarmMessage(const Message& m) {
    std::lock_guard<std::mutex> lock(m_NotesMutex);
    if (m.GetType() == k_MsgJobBatch) {
        for (const auto& part : m.m_Batch)
            if (part) m_Notes.insert(part->GetJob());
    } else if (m.GetType() == k_MsgJobCreated || m.GetType() == k_MsgJobChanged ||
               m.GetType() == k_MsgJobRemoved) {
        m_Notes.insert(m.GetJob());
    }
}

TypeTreeView::_Group* TypeTreeView::GroupOf(const JobPtr& job) {
    const String typeId = job->GetParameter(p_Type);
    _Group*& type = m_Types[typeId];
    if (!type) {
        String name = JobFactory::s_JobFactory.GetTypeInfo(UID(typeId, false), false).name;
        if (name.empty()) name = "Other";
        type = new _Group(name, -1);
        size_t at = 0; // types by name
        while (at < GetRoot()->GetChildCount() &&
               static_cast<_Group*>(GetRoot()->GetChild(at))->m_Name.CompareNoCase(name) < 0)
            ++at;
        InsertItem(nullptr, at, type);
        Expand(type);
    }
    const int status = job->GetStatus();
    size_t at = 0;
    for (; at < type->GetChildCount(); ++at) {
        auto* g = static_cast<_Group*>(type->GetChild(at));
        if (g->m_Status == status) return g;
        if (g->m_Status > status) break;
    }
    auto* group = new _Group(wxToString(wxGetTranslation(JobStatusName(status))), status);
    InsertItem(type, at, group);
    if (status == k_JobRunning) Expand(group); // what an operator watches first
    return group;
}

void TypeTreeView::Place(_JobItem* item, _Group* group, bool sortLater) {
    item->m_Name = item->m_Job->Name();
    if (sortLater) {
        group->m_Fresh.push_back(item);
        return;
    }
    // Binary search by name among the group's jobs.
    size_t lo = 0, hi = group->GetChildCount();
    while (lo < hi) {
        const size_t mid = (lo + hi) / 2;
        if (NaturalCompare(static_cast<_JobItem*>(group->GetChild(mid))->m_Name, item->m_Name) < 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    if (item->GetParent())
        MoveItem(item, group, lo > item->GetIndex() && item->GetParent() == group ? lo - 1 : lo);
    else
        InsertItem(group, lo, item);
}

void TypeTreeView::Update() {
    std::unordered_set<UID> notes;
    {
        std::lock_guard<std::mutex> lock(m_NotesMutex);
        notes.swap(m_Notes);
    }
    if (notes.empty()) return;
    // First pass: what goes where, and how many newcomers each group gets. A job that moves
    // costs a pass over its groups' rows; past a budget per tick, moves wait for the next tick
    // (still noted), so that a farm of a million busy jobs cannot stall the window.
    std::vector<std::pair<_JobItem*, _Group*>> moves;
    std::unordered_map<_Group*, size_t> arriving;
    size_t moving = 0;
    std::vector<UID> later;
    size_t looked = 0;
    for (const UID& id : notes) {
        auto known = m_Items.find(id);
        if (known != m_Items.end() && ++looked > k_NotesPerTick) { // newcomers are cheap
            later.push_back(id);
            continue;
        }
        const JobPtr job = m_Find(id);
        if (!job) {
            if (known != m_Items.end()) {
                DeleteItem(known->second);
                m_Items.erase(known);
            }
            continue;
        }
        _JobItem* item = known == m_Items.end() ? nullptr : known->second;
        _Group* group = GroupOf(job);
        if (item && item->GetParent() == group && item->m_Name == job->Name()) {
            RefreshItem(item);
            continue;
        }
        if (item && ++moving > k_MovesPerTick) {
            later.push_back(id);
            continue;
        }
        if (!item) {
            item = m_Items[id] = new _JobItem(job);
            ++arriving[group]; // only newcomers are appended and sorted at once
        }
        moves.emplace_back(item, group);
    }
    if (!later.empty()) {
        std::lock_guard<std::mutex> lock(m_NotesMutex);
        m_Notes.insert(later.begin(), later.end());
    }
    for (auto& m : moves)
        Place(m.first, m.second, !m.first->GetParent() && arriving[m.second] > k_SortOnce);
    for (auto& a : arriving) {
        _Group* group = a.first;
        if (group->m_Fresh.empty()) continue;
        for (_JobItem* item : group->m_Fresh)
            AppendItem(group, item);
        group->m_Fresh.clear();
        SortChildren(group, [](const wxDBTreeListItem* x, const wxDBTreeListItem* y) {
            return NaturalCompare(static_cast<const _JobItem*>(x)->m_Name,
                                  static_cast<const _JobItem*>(y)->m_Name) < 0;
        });
    }
    // A status that no job has any more goes.
    for (auto& t : m_Types)
        for (size_t i = t.second->GetChildCount(); i-- > 0;)
            if (!t.second->GetChild(i)->HasChildren()) DeleteItem(t.second->GetChild(i));
    // The groups' counts changed.
    RedrawColumn(k_Status);
}

wxColour TypeTreeView::GetRowColor(int row) {
    // As on the Jobs page; a selected row keeps the plain text colour.
    auto* item = dynamic_cast<_JobItem*>(ItemAtRow(row));
    if (!item || IsSelected(item)) return wxDBTreeListCtrl::GetRowColor(row);
    return StatusColour(item->m_Job->GetStatus());
}

JobPtr TypeTreeView::GetJob(int row) {
    auto* item = dynamic_cast<_JobItem*>(ItemAtRow(row));
    return item ? item->m_Job : JobPtr();
}
