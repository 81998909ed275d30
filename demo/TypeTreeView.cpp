#include "demo/TypeTreeView.h"

#include "demo/JobsView.h"

#include <wxTaviro/wxTaviroString.h>

#include <taviro/JobFactory.h>

#include <algorithm>
#include <chrono>

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
// A turn of the tick: at most this long looking at notes, and this many jobs already shown
// moved to another group.
constexpr std::chrono::milliseconds k_TurnTime(5), k_SnapshotTurnTime(60);
const size_t k_MovesPerTurn = 100;
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
    {
        std::lock_guard<std::mutex> lock(m_NotesMutex);
        m_Backlog.insert(m_Backlog.end(), m_Notes.begin(), m_Notes.end());
        m_Notes.clear();
    }
    if (m_Next >= m_Backlog.size()) {
        m_Backlog.clear();
        m_Next = 0;
        return;
    }
    // First pass: what goes where, and how many newcomers each group gets. A job that moves
    // costs a pass over its groups' rows: a turn takes a few milliseconds of notes and a
    // number of moves, and the rest follows in the next idle turn, after input and painting.
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::pair<_JobItem*, _Group*>> moves;
    std::unordered_map<_Group*, size_t> arriving;
    size_t newcomers = 0;
    for (; m_Next < m_Backlog.size(); ++m_Next) {
        // Newcomers (a big farm's snapshot) are sorted into their groups once per turn: longer
        // turns for them, or that sort would be repeated for every few thousand.
        if (m_Next % 32 == 0 && std::chrono::steady_clock::now() - start >
                                    (newcomers ? k_SnapshotTurnTime : k_TurnTime))
            break;
        const UID& id = m_Backlog[m_Next];
        auto known = m_Items.find(id);
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
        if (item && moves.size() >= k_MovesPerTurn) break; // this one first in the next turn
        if (!item) {
            item = m_Items[id] = new _JobItem(job);
            ++newcomers;
            ++arriving[group]; // only newcomers are appended and sorted at once
        }
        moves.emplace_back(item, group);
    }
    if (m_Next == m_Backlog.size()) {
        m_Backlog.clear();
        m_Next = 0;
    } else if (m_Next > m_Backlog.size() / 2) {
        m_Backlog.erase(m_Backlog.begin(), m_Backlog.begin() + long(m_Next));
        m_Next = 0;
    }
    if (m_Next < m_Backlog.size() && !m_Continuing) {
        m_Continuing = true;
        CallAfter([this] {
            m_Continuing = false;
            Update();
        });
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
    // The groups' counts changed (their cells, not the header).
    if (GetItemCount() > 0) GetBody()->RedrawCells(0, k_Status, GetItemCount() - 1, k_Status);
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
