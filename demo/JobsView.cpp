// The demo's jobs page.
//
// Sections: columns and texts; construction and layout; farm messages (notes); the tick (apply,
// drop, place, sort); sort keys; list hooks; selection and header events; name filter.
#include "demo/JobsView.h"

#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroColors.h>

#include <taviro/JobFactory.h>

#include <ostrum/StringTokenizer.h>

#include <wx/datetime.h>
#include <wx/menu.h>

#include <ostrum/Log.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <climits>
#include <functional>
#include <optional>
#include <thread>

namespace {

// ---- columns and texts ----

struct _ColumnInfo {
    const char* label;
    int width; // DIPs
};
const _ColumnInfo k_Columns[k_JobsColumnCount] = {
    {wxTRANSLATE("Name"), 170},     {wxTRANSLATE("Type"), 110},   {wxTRANSLATE("Status"), 80},
    {wxTRANSLATE("Progress"), 85},  {wxTRANSLATE("Frames"), 110}, {wxTRANSLATE("Engine"), 70},
    {wxTRANSLATE("Submitted"), 95}, {wxTRANSLATE("Elapsed"), 75},
};
const char* const k_Section = "Jobs Page";
const char* const k_SizesKey = "Column Sizes";
const char* const k_OrderKey = "Column Order";
const char* const k_SortKey = "Sort Column"; // a column type, -1 for the arrival order
const char* const k_AscendingKey = "Sort Ascending";
const char* const k_Up = " \xe2\x96\xb2";   // U+25B2, ascending
const char* const k_Down = " \xe2\x96\xbc"; // U+25BC, descending

// The column types whose shown value a message parameter changes.
unsigned MaskOf(const String& parameter) {
    if (parameter == p_Name) return 1u << k_JobsName;
    if (parameter == p_Type) return 1u << k_JobsType;
    if (parameter == p_Status) return (1u << k_JobsStatus) | (1u << k_JobsElapsed);
    if (parameter == p_Progress) return 1u << k_JobsProgress;
    if (parameter == p_Frames) return 1u << k_JobsFrames;
    if (parameter == p_Engine) return 1u << k_JobsEngine;
    return 0;
}

// The number of frames of a frame list such as "1-25,26-50".
long long FrameCount(const String& list) {
    long long count = 0;
    StringTokenizer parts(list, ",", '"', '\\');
    while (parts.HasMoreTokens()) {
        const String part = parts.NextToken();
        const size_t dash = part.find('-', 1);
        const long long first = atoll(part.c_str());
        const long long last = dash == String::npos ? first : atoll(part.c_str() + dash + 1);
        if (last >= first) count += last - first + 1;
    }
    return count;
}

double MillisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

// A signed number as an unsigned one of the same order.
uint32_t Ordered(int value) {
    return uint32_t(value) ^ 0x80000000u;
}

// The positions of `values` in ascending order of value, equal values in the order given: a
// byte at a time from the lowest, skipping the bytes in which no two values differ (a million
// values of a small range take a pass or two over memory, where comparing would take twenty).
std::vector<uint32_t> StableOrder(const std::vector<uint32_t>& values) {
    std::vector<uint64_t> items(values.size()), buffer(values.size());
    uint32_t allOnes = ~0u, anyOnes = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        items[i] = uint64_t(values[i]) << 32 | i;
        allOnes &= values[i];
        anyOnes |= values[i];
    }
    const uint32_t varying = allOnes ^ anyOnes;
    for (int shift = 0; shift < 32; shift += 8) {
        if (!((varying >> shift) & 0xff)) continue;
        size_t start[257] = {};
        for (const uint64_t i : items)
            ++start[((i >> (32 + shift)) & 0xff) + 1];
        for (int b = 0; b < 256; ++b)
            start[b + 1] += start[b];
        for (const uint64_t i : items)
            buffer[start[(i >> (32 + shift)) & 0xff]++] = i;
        items.swap(buffer);
    }
    std::vector<uint32_t> order(items.size());
    for (size_t i = 0; i < items.size(); ++i)
        order[i] = uint32_t(items[i]);
    return order;
}

// Takes the items at `at` (ascending, no repeats) out of `items`, each run moved once.
template <class T, class I>
void EraseAt(std::vector<T>& items, const std::vector<I>& at) {
    if (at.empty()) return;
    size_t to = size_t(at[0]);
    for (size_t k = 0; k < at.size(); ++k) {
        const size_t end = k + 1 < at.size() ? size_t(at[k + 1]) : items.size();
        std::copy(items.begin() + long(at[k] + 1), items.begin() + long(end),
                  items.begin() + long(to));
        to += end - size_t(at[k]) - 1;
    }
    items.resize(to);
}

// work(0, n / 2) on another thread and work(n / 2, n) on this one; all here when n is small.
void OnBothCores(size_t n, const std::function<void(size_t, size_t)>& work) {
    if (n < 20000) return work(0, n);
    std::thread other(work, 0, n / 2);
    work(n / 2, n);
    other.join();
}

// Rows numbered afresh after this many ticks, or when the ticks moved this share of them.
const size_t k_MaxShifts = 40;
const size_t k_ShiftShare = 8;

String Duration(int seconds) {
    if (seconds < 3600) return SFormat("%d:%02d", seconds / 60, seconds % 60);
    return SFormat("%d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

} // namespace

int StatusColumnWidth(wxWindow* list) {
    int widest = 0;
    for (int s = k_JobWaiting; s <= k_JobArchived; ++s)
        widest = std::max(widest, list->GetTextExtent(wxGetTranslation(JobStatusName(s))).x);
    // The cell's padding and a little air on both sides.
    return widest + list->FromDIP(16);
}

int NaturalCompare(const String& a, const String& b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isdigit((unsigned char)a[i]) && isdigit((unsigned char)b[j])) {
            while (i < a.size() && a[i] == '0')
                ++i;
            while (j < b.size() && b[j] == '0')
                ++j;
            size_t ei = i, ej = j;
            while (ei < a.size() && isdigit((unsigned char)a[ei]))
                ++ei;
            while (ej < b.size() && isdigit((unsigned char)b[ej]))
                ++ej;
            if (ei - i != ej - j) return ei - i < ej - j ? -1 : 1; // more digits, larger
            const int c = a.compare(i, ei - i, b, j, ej - j);
            if (c) return c;
            i = ei, j = ej;
        } else {
            if (a[i] != b[j]) return (unsigned char)a[i] < (unsigned char)b[j] ? -1 : 1;
            ++i, ++j;
        }
    }
    return (i < a.size()) - (j < b.size());
}

// ---- construction and layout ----

JobsView::JobsView(wxWindow* parent, JobFinder find)
    : wxDBListCtrl(parent, wxID_ANY, false), m_Find(std::move(find)),
      m_Epoch(std::time(nullptr) - 1) {
    for (int t = 0; t < k_JobsColumnCount; ++t)
        AddColumn(t, wxToString(wxGetTranslation(k_Columns[t].label)), FromDIP(k_Columns[t].width));
    SetTooltipsOnlyWhenShortened(true); // a name shown in full needs no tooltip over the rows
    // Wide enough for the longest status in the language shown.
    const int status = FindColumnByType(k_JobsStatus);
    SetColumnWidth(status, std::max(GetColumnWidth(status), StatusColumnWidth(this)));
    Bind(wxEVT_LIST_ITEM_SELECTED, [this](wxListEvent& e) {
        if (!m_Quiet) Select((int)e.GetIndex(), true);
        e.Skip();
    });
    Bind(wxEVT_LIST_ITEM_DESELECTED, [this](wxListEvent& e) {
        if (!m_Quiet) Select((int)e.GetIndex(), false);
        e.Skip();
    });
    Bind(wxEVT_LIST_COL_CLICK, &JobsView::OnColumnClick, this);
    Bind(wxEVT_LIST_COL_RIGHT_CLICK, &JobsView::OnColumnMenu, this);
}

void JobsView::SaveLayout() {
    Application* app = Application::the_Application;
    if (!app || !app->GetOptions()) return;
    String order;
    for (int i = 0; i < GetColumnCount(); ++i)
        order += (i ? ", " : "") + String::FromInt(GetColumn(i).type);
    OptionsFile::Pause pause(app->GetOptions()); // one write for all
    app->GetOptions()->SetValue(k_Section, k_OrderKey, order);
    app->GetOptions()->SetValue(k_Section, k_SortKey, String::FromInt(m_SortType));
    app->GetOptions()->SetValue(k_Section, k_AscendingKey, m_Ascending ? "1" : "0");
    SaveColumnSizes(k_Section, k_SizesKey);
}

void JobsView::RestoreLayout() {
    Application* app = Application::the_Application;
    if (!app || !app->GetOptions()) return;
    // The saved types in order; unknown or repeated ones are skipped, missing ones stay behind.
    StringTokenizer types(app->GetOptions()->GetValue(k_Section, k_OrderKey, ""), ",", '"', '\\');
    int position = 0;
    while (types.HasMoreTokens()) {
        bool ok = false;
        const int type = String(types.NextToken()).Trimmed().ToInt(-1, &ok);
        const int at = ok ? FindColumnByType(type) : -1;
        if (at < position) continue;
        MoveColumn(at, position++);
    }
    RestoreColumnSizes(k_Section, k_SizesKey);
    // A width saved in another language may cut the statuses of this one short.
    const int status = FindColumnByType(k_JobsStatus);
    SetColumnWidth(status, std::max(GetColumnWidth(status), StatusColumnWidth(this)));
    SortBy(app->GetOptions()->GetValue(k_Section, k_SortKey, -1),
           app->GetOptions()->GetValue(k_Section, k_AscendingKey, true));
}

// ---- farm messages ----

void JobsView::OnFarmMessage(const Message& message) {
    const int when = int(std::time(nullptr) - m_Epoch);
    std::lock_guard<std::mutex> lock(m_NotesMutex);
    Note(message, when);
}

void JobsView::Note(const Message& m, int when) {
    switch (m.GetType()) {
    case k_MsgJobBatch:
        for (const auto& part : m.m_Batch)
            if (part) Note(*part, when);
        break;
    case k_MsgJobCreated:
    case k_MsgJobChanged: {
        unsigned mask = 0;
        for (const auto& p : m.m_Params)
            mask |= MaskOf(p.first);
        auto status = m.m_Params.find(p_Status);
        const int s = status == m.m_Params.end() ? -1 : status->second.ToInt(k_JobUnknown);
        if (mask || m.GetType() == k_MsgJobCreated)
            m_Notes.push_back({m.GetJob(), m.GetType(), mask, s, when});
        break;
    }
    case k_MsgJobRemoved:
        m_Notes.push_back({m.GetJob(), k_MsgJobRemoved, 0, -1, when});
        break;
    default:
        break;
    }
}

// ---- the tick ----

void JobsView::Update(std::time_t now) {
    const int second = std::max(1, int(now - m_Epoch));
    const bool newSecond = second != m_Now;
    m_Now = second;
    std::vector<_Note> notes;
    {
        std::lock_guard<std::mutex> lock(m_NotesMutex);
        notes.swap(m_Notes);
    }
    // Running jobs' elapsed times move on by themselves: their cells, when one is in sight (not
    // the header, nor the list of a quiet farm).
    const int elapsed = FindColumnByType(k_JobsElapsed);
    if (newSecond && elapsed >= 0 && !m_Rows.empty()) {
        wxDBListBody* body = GetBody();
        const int first = std::max(0, body->RowAt(0));
        const int last = std::min(body->RowAt(body->ViewSize().y - 1), int(m_Rows.size()) - 1);
        for (int r = first; r <= last; ++r)
            if (m_Rows[r]->started && !m_Rows[r]->ended) {
                body->RedrawCells(first, elapsed, last, elapsed);
                break;
            }
    }
    if (notes.empty()) return;
    const auto start = std::chrono::steady_clock::now();
    const int anchorRow = GetLastSelect();
    _Entry* anchor = anchorRow >= 0 && anchorRow < (int)m_Rows.size() ? m_Rows[anchorRow] : nullptr;

    std::vector<_Entry*> fresh, moving, touched, gone, renamed;
    for (const _Note& n : notes)
        ApplyNote(n, fresh, moving, touched, gone, renamed);
    if (anchor && anchor->gone) anchor = nullptr;
    const bool rearranged = !fresh.empty() || !moving.empty() || !gone.empty();
    const size_t placed = fresh.size() + moving.size(), dropped = gone.size();
    std::vector<uint32_t> out;
    if (!gone.empty() || !moving.empty()) out = DropRows(gone, moving);
    KeepArrivalOrder(fresh, gone);
    if (m_NameOrderBuilt) KeepNameOrder(fresh, gone, renamed);
    // A job moved and then removed in one tick is not placed again.
    moving.insert(moving.end(), fresh.begin(), fresh.end());
    moving.erase(std::remove_if(moving.begin(), moving.end(), [](_Entry* e) { return e->gone; }),
                 moving.end());
    const std::optional<std::vector<uint32_t>> landed = Place(moving);
    // Gone entries leave last: until here their flags were still read.
    for (_Entry* e : gone)
        if (e->gone) m_Entries.erase(e->job->GetID());
    if (rearranged) {
        if (landed) AddShift(std::move(out), *landed); // else a full sort numbered the rows
        m_Quiet = true;
        SetItemCount((int)m_Rows.size());
        m_Quiet = false;
        if (anchor) SetLastSelect(RowOf(*anchor));
        GetBody()->Redraw();
    } else {
        for (_Entry* e : touched)
            RedrawItem(RowOf(*e));
    }
    if (m_LogTicks)
        LogInfo(SFormat("Jobs tick: %zu notes, %zu placed, %zu removed, %zu rows, %.1f ms",
                        notes.size(), placed, dropped, m_Rows.size(), MillisecondsSince(start)));
}

void JobsView::ApplyNote(const _Note& note, std::vector<_Entry*>& fresh,
                         std::vector<_Entry*>& moving, std::vector<_Entry*>& touched,
                         std::vector<_Entry*>& gone, std::vector<_Entry*>& renamed) {
    auto it = m_Entries.find(note.job);
    if (note.kind == k_MsgJobRemoved) {
        if (it != m_Entries.end() && !it->second.gone) {
            it->second.gone = true;
            gone.push_back(&it->second);
        }
        return;
    }
    if (it == m_Entries.end()) {
        // A change of a job never seen created counts as its creation.
        JobPtr job = m_Find(note.job);
        if (!job) return;
        _Entry& e = m_Entries[note.job];
        e.job = std::move(job);
        e.seq = m_NextSeq++;
        e.submitted = note.when;
        e.status = (int8_t)e.job->GetStatus();
        if (e.status == k_JobRunning) e.started = note.when;
        ReadKeys(e, ~0u);
        fresh.push_back(&e);
        return;
    }
    _Entry& e = it->second;
    e.gone = false; // removed and announced again in one tick: it stays
    ReadKeys(e, note.mask);
    if ((note.mask & (1u << k_JobsName)) && m_NameOrderBuilt && !e.renamed) {
        e.renamed = true;
        renamed.push_back(&e);
    }
    if (note.status >= 0 && note.status != e.status) {
        if (note.status == k_JobRunning) {
            e.started = note.when;
            e.ended = 0;
        } else if (e.status == k_JobRunning) {
            e.ended = note.when;
        } else if (note.status == k_JobWaiting) {
            e.started = e.ended = 0;
        }
        e.status = (int8_t)note.status;
    }
    if (FilterReplaces(e, note.mask)) {
        e.moving = true;
        moving.push_back(&e);
        return;
    }
    if (e.row < 0 || e.moving) return; // placed this tick anyway
    if (m_SortType >= 0 && (note.mask & (1u << m_SortType))) {
        e.moving = true;
        moving.push_back(&e);
    } else {
        touched.push_back(&e);
    }
}

std::vector<uint32_t> JobsView::DropRows(const std::vector<_Entry*>& gone,
                                         const std::vector<_Entry*>& moving) {
    // Every row is found before any is taken out: the rows are numbered as before the tick.
    std::vector<uint32_t> out, removed;
    for (_Entry* e : gone) {
        if (!e->gone) continue;
        const int row = RowOf(*e);
        if (row >= 0) removed.push_back(uint32_t(row));
        if (e->selected) m_Selected.erase(e);
        e->selected = false;
    }
    out = removed;
    for (_Entry* e : moving) {
        if (e->gone) continue; // counted above
        const int row = RowOf(*e);
        if (row >= 0) out.push_back(uint32_t(row));
    }
    // The list removes rows by number; from the bottom up, so the numbers stay right.
    std::sort(removed.rbegin(), removed.rend());
    m_Quiet = true;
    if (removed.size() <= 256)
        for (uint32_t r : removed)
            Remove((int)r);
    else // many: the list only counts rows, so take them off the end at once
        Remove(GetItemCount() - (int)removed.size(), (unsigned long)removed.size());
    m_Quiet = false;
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    EraseAt(m_Rows, out);
    return out;
}

std::optional<std::vector<uint32_t>> JobsView::Place(std::vector<_Entry*>& entries) {
    for (_Entry* e : entries)
        e->moving = false;
    LeaveOutFiltered(entries);
    std::vector<uint32_t> landed;
    if (entries.empty()) return landed;
    // Placed entries know their row after this tick.
    auto land = [&](_Entry* e, size_t row) {
        e->row = int(row);
        e->rowEpoch = m_RowEpoch + 1;
        landed.push_back(uint32_t(row));
    };
    // Arrival order, or too many to place one by one: append and sort all.
    if (m_SortType < 0 || entries.size() * 8 > m_Rows.size()) {
        std::sort(entries.begin(), entries.end(),
                  [](const _Entry* a, const _Entry* b) { return a->seq < b->seq; });
        const bool tail =
            m_SortType < 0 && (m_Rows.empty() || m_Rows.back()->seq < entries[0]->seq);
        for (_Entry* e : entries) {
            if (tail) land(e, m_Rows.size());
            m_Rows.push_back(e);
        }
        if (tail) return landed;
        FullSort();
        return std::nullopt;
    }
    std::vector<std::pair<_Key, _Entry*>> keyed;
    keyed.reserve(entries.size());
    for (_Entry* e : entries)
        keyed.emplace_back(KeyOf(*e), e);
    std::sort(keyed.begin(), keyed.end(),
              [this](const auto& a, const auto& b) { return Before(a.first, b.first); });
    // Each finds its place by binary search after the one before it; one pass copies the rows.
    std::vector<_Entry*>& rows = m_Spare;
    rows.clear();
    rows.reserve(m_Rows.size() + keyed.size());
    size_t from = 0;
    for (const auto& k : keyed) {
        size_t lo = from, hi = m_Rows.size();
        while (lo < hi) {
            const size_t mid = lo + (hi - lo) / 2;
            if (Before(KeyOf(*m_Rows[mid]), k.first))
                lo = mid + 1;
            else
                hi = mid;
        }
        rows.insert(rows.end(), m_Rows.begin() + (long)from, m_Rows.begin() + (long)lo);
        land(k.second, rows.size());
        rows.push_back(k.second);
        from = lo;
    }
    rows.insert(rows.end(), m_Rows.begin() + (long)from, m_Rows.end());
    m_Rows.swap(rows);
    return landed;
}

void JobsView::FullSort() {
    if (m_SortType == k_JobsName) {
        if (!SortFromNameOrder()) SortByComparing();
        Renumber();
        return;
    }
    // The shown entries in arrival order: a stable sort of them by the column's value alone
    // leaves ties in arrival order both ways, as Before() orders them.
    std::vector<_Entry*> shown;
    shown.reserve(m_Rows.size());
    for (_Entry* e : m_BySeq)
        if (!e->hidden && !e->gone) shown.push_back(e);
    if (shown.size() != m_Rows.size()) { // never expected: every shown job has a row
        GlobalLog(LL_Warning, SFormat("Jobs: %zu shown jobs in arrival order and %zu rows; "
                                      "sorting by comparing instead",
                                      shown.size(), m_Rows.size()));
        SortByComparing();
        Renumber();
        return;
    }
    std::vector<uint32_t> ranks;
    if (m_SortType == k_JobsType) ranks = m_TypeTexts.Ranks();
    if (m_SortType == k_JobsEngine) ranks = m_EngineTexts.Ranks();
    std::vector<uint32_t> values(shown.size());
    for (size_t i = 0; i < shown.size() && m_SortType >= 0; ++i) {
        const _Entry& e = *shown[i];
        uint32_t value = 0;
        switch (m_SortType) {
        case k_JobsType:
            value = ranks[e.type];
            break;
        case k_JobsEngine:
            value = ranks[e.engine];
            break;
        case k_JobsStatus:
            value = Ordered(e.status);
            break;
        case k_JobsProgress:
            value = Ordered(e.progress);
            break;
        case k_JobsFrames:
            value = Ordered(e.frames);
            break;
        case k_JobsSubmitted:
            value = Ordered(e.submitted);
            break;
        case k_JobsElapsed:
            value = Ordered(Elapsed(e));
            break;
        default:
            break;
        }
        values[i] = m_Ascending ? value : ~value;
    }
    const std::vector<uint32_t> order = StableOrder(values);
    // Rows numbered in arrival order, which is about the order of the entries in memory: a
    // million writes in row order would each land somewhere else.
    std::vector<uint32_t> rowOf(order.size());
    for (size_t i = 0; i < order.size(); ++i) {
        m_Rows[i] = shown[order[i]];
        rowOf[order[i]] = uint32_t(i);
    }
    ++m_RowEpoch;
    m_Shifts.clear();
    for (size_t i = 0; i < shown.size(); ++i) {
        shown[i]->row = int(rowOf[i]);
        shown[i]->rowEpoch = m_RowEpoch;
    }
}

void JobsView::SortByComparing() {
    // Keys are read once each: reading a job's parameter takes its lock.
    std::vector<std::pair<_Key, _Entry*>> keyed;
    keyed.reserve(m_Rows.size());
    for (_Entry* e : m_Rows)
        keyed.emplace_back(KeyOf(*e), e);
    std::sort(keyed.begin(), keyed.end(),
              [this](const auto& a, const auto& b) { return Before(a.first, b.first); });
    for (size_t i = 0; i < keyed.size(); ++i)
        m_Rows[i] = keyed[i].second;
}

// ---- the arrival order ----
// Every entry by arrival, kept through the ticks: the input of the sorts by value. Newcomers
// come with rising arrival numbers; the gone are found by binary search on theirs.

void JobsView::KeepArrivalOrder(const std::vector<_Entry*>& fresh,
                                const std::vector<_Entry*>& gone) {
    std::vector<size_t> out;
    for (_Entry* e : gone) {
        if (!e->gone || !e->arrived) continue;
        e->arrived = false;
        const auto at =
            std::lower_bound(m_BySeq.begin(), m_BySeq.end(), e->seq,
                             [](const _Entry* x, uint32_t seq) { return x->seq < seq; });
        if (at != m_BySeq.end() && *at == e) out.push_back(size_t(at - m_BySeq.begin()));
    }
    std::sort(out.begin(), out.end());
    EraseAt(m_BySeq, out);
    for (_Entry* e : fresh)
        if (!e->gone && !e->arrived) {
            e->arrived = true;
            m_BySeq.push_back(e); // fresh entries are numbered in the order they came
        }
}

// ---- the name order ----
// Names are the one key too costly to compare a million times at a click. The order of every
// entry by name (then arrival) is built once, when a sort by name first needs it, and from
// then on kept by each tick: the jobs gone or renamed found by binary search and taken out,
// the new and renamed ones placed by binary search, one pass over the pointers.

bool JobsView::SortFromNameOrder() {
    if (!m_NameOrderBuilt) BuildNameOrder();
    // The shown entries in name order, and whether each has the name of the one before it
    // (through any left out between them).
    std::vector<_Entry*> rows;
    std::vector<char> ties;
    rows.reserve(m_Rows.size());
    ties.reserve(m_Rows.size());
    bool chain = false;
    for (_Entry* e : m_ByName) {
        chain = chain && e->tiesPrev;
        if (e->hidden || e->gone) continue;
        ties.push_back(chain);
        rows.push_back(e);
        chain = true;
    }
    if (rows.size() != m_Rows.size()) { // never expected: every shown job has a row
        GlobalLog(LL_Warning,
                  SFormat("Jobs: the name order holds %zu shown jobs and the list %zu rows; "
                          "sorting by comparing instead",
                          rows.size(), m_Rows.size()));
        for (_Entry* e : m_ByName)
            e->named = false;
        m_ByName.clear();
        m_NameOrderBuilt = false;
        return false;
    }
    if (!m_Ascending) { // runs of one name from the end, each still in arrival order
        std::vector<_Entry*> down;
        down.reserve(rows.size());
        for (size_t end = rows.size(); end > 0;) {
            size_t begin = end - 1;
            while (begin > 0 && ties[begin])
                --begin;
            down.insert(down.end(), rows.begin() + (long)begin, rows.begin() + (long)end);
            end = begin;
        }
        rows.swap(down);
    }
    m_Rows.swap(rows);
    return true;
}

namespace {
// A text whose byte order is the natural order of `name` (NaturalCompare): each run of digits
// becomes '0' (a digit to whatever is not one), its length without leading zeros (four bytes,
// high first) and those digits. Comparing such keys runs as memcmp, many times faster.
String NaturalKey(const String& name) {
    String key;
    key.reserve(name.size() + 8);
    for (size_t i = 0; i < name.size();) {
        if (!isdigit((unsigned char)name[i])) {
            key += name[i++];
            continue;
        }
        while (i < name.size() && name[i] == '0')
            ++i;
        size_t end = i;
        while (end < name.size() && isdigit((unsigned char)name[end]))
            ++end;
        const uint32_t digits = uint32_t(end - i);
        key += '0';
        for (int shift = 24; shift >= 0; shift -= 8)
            key += char((digits >> shift) & 0xff);
        key.append(name, i, digits);
        i = end;
    }
    return key;
}

// Name order: by name, then by arrival.
bool NameBefore(const String& name, uint32_t seq, const String& otherName, uint32_t otherSeq) {
    const int c = NaturalCompare(name, otherName);
    return c ? c < 0 : seq < otherSeq;
}
} // namespace

void JobsView::BuildNameOrder() {
    const auto start = std::chrono::steady_clock::now();
    // By key, then arrival; each core sorts half, then the halves are merged.
    struct _Named {
        String key;
        uint32_t seq;
        _Entry* entry;
        bool operator<(const _Named& o) const {
            const int c = key.compare(o.key);
            return c ? c < 0 : seq < o.seq;
        }
    };
    std::vector<_Named> named;
    named.reserve(m_Entries.size());
    for (_Entry* e : m_BySeq)
        if (!e->gone) named.push_back({NaturalKey(e->job->Name()), e->seq, e});
    OnBothCores(named.size(), [&named](size_t from, size_t to) {
        std::sort(named.begin() + long(from), named.begin() + long(to));
    });
    std::inplace_merge(named.begin(), named.begin() + long(named.size() / 2), named.end());
    m_ByName.resize(named.size());
    for (size_t i = 0; i < named.size(); ++i) {
        _Entry* e = m_ByName[i] = named[i].entry;
        e->named = true;
        e->renamed = false;
        e->tiesPrev = i && named[i - 1].key == named[i].key;
    }
    m_NameOrderBuilt = true;
    if (m_LogTicks)
        LogInfo(SFormat("Jobs name order: %zu jobs, %.1f ms", m_ByName.size(),
                        MillisecondsSince(start)));
}

void JobsView::KeepNameOrder(const std::vector<_Entry*>& fresh, const std::vector<_Entry*>& gone,
                             const std::vector<_Entry*>& renamed) {
    auto tiesAt = [this](size_t i) {
        return i > 0 && i < m_ByName.size() &&
               NaturalCompare(m_ByName[i - 1]->job->Name(), m_ByName[i]->job->Name()) == 0;
    };
    // Out: gone and renamed entries, found by binary search on the name (a renamed one, whose
    // name is new, by a scan of the pointers; many renamed at once: one pass for all).
    const bool onePass = renamed.size() > 32;
    std::vector<size_t> out;
    for (const auto* list : {&gone, &renamed})
        for (_Entry* e : *list) {
            // A job gone and announced again in one tick stays; a renamed one gone is in both.
            if (!e->named || (list == &gone ? !e->gone : e->gone)) continue;
            e->named = false;
            if (onePass) continue;
            const String name = e->job->Name();
            size_t lo = 0, hi = m_ByName.size();
            while (lo < hi) {
                const size_t mid = lo + (hi - lo) / 2;
                const _Entry* m = m_ByName[mid];
                if (NameBefore(m->job->Name(), m->seq, name, e->seq))
                    lo = mid + 1;
                else
                    hi = mid;
            }
            if (lo >= m_ByName.size() || m_ByName[lo] != e)
                lo = size_t(std::find(m_ByName.begin(), m_ByName.end(), e) - m_ByName.begin());
            if (lo < m_ByName.size()) out.push_back(lo);
        }
    if (onePass) {
        std::vector<size_t> recheck;
        size_t to = 0;
        bool cut = false;
        for (_Entry* e : m_ByName) {
            if (!e->named) {
                cut = true;
                continue;
            }
            if (cut) recheck.push_back(to), cut = false;
            m_ByName[to++] = e;
        }
        m_ByName.resize(to);
        for (size_t i : recheck)
            m_ByName[i]->tiesPrev = tiesAt(i);
    } else if (!out.empty()) {
        std::sort(out.begin(), out.end());
        out.erase(std::unique(out.begin(), out.end()), out.end());
        EraseAt(m_ByName, out);
        // Where an entry now follows another than before: after k taken out, out[k] - k.
        for (size_t k = 0; k < out.size(); ++k)
            if (out[k] - k < m_ByName.size()) m_ByName[out[k] - k]->tiesPrev = tiesAt(out[k] - k);
    }
    // In: the new and the renamed, in name order, each placed after the one before it.
    std::vector<std::pair<String, _Entry*>> in;
    for (const auto* list : {&fresh, &renamed})
        for (_Entry* e : *list) {
            e->renamed = false;
            if (e->gone || e->named) continue;
            e->named = true;
            in.emplace_back(e->job->Name(), e);
        }
    if (in.empty()) return;
    std::sort(in.begin(), in.end(), [](const auto& a, const auto& b) {
        return NameBefore(a.first, a.second->seq, b.first, b.second->seq);
    });
    std::vector<_Entry*> merged;
    merged.reserve(m_ByName.size() + in.size());
    std::vector<size_t> placed;
    size_t from = 0;
    for (const auto& n : in) {
        size_t lo = from, hi = m_ByName.size();
        while (lo < hi) {
            const size_t mid = lo + (hi - lo) / 2;
            const _Entry* m = m_ByName[mid];
            if (NameBefore(m->job->Name(), m->seq, n.first, n.second->seq))
                lo = mid + 1;
            else
                hi = mid;
        }
        merged.insert(merged.end(), m_ByName.begin() + (long)from, m_ByName.begin() + (long)lo);
        placed.push_back(merged.size());
        merged.push_back(n.second);
        from = lo;
    }
    merged.insert(merged.end(), m_ByName.begin() + (long)from, m_ByName.end());
    m_ByName.swap(merged);
    for (size_t i : placed) {
        m_ByName[i]->tiesPrev = tiesAt(i);
        if (i + 1 < m_ByName.size()) m_ByName[i + 1]->tiesPrev = tiesAt(i + 1);
    }
}

// ---- row numbers ----

int JobsView::RowOf(_Entry& e) {
    if (e.row < 0) return -1;
    const uint32_t behind = m_RowEpoch - e.rowEpoch;
    size_t row = size_t(e.row);
    if (behind <= m_Shifts.size()) {
        for (size_t t = m_Shifts.size() - behind; t < m_Shifts.size(); ++t) {
            const _Shift& s = m_Shifts[t];
            // Up by the rows taken out above it, down by the rows put in above it.
            row -= size_t(std::lower_bound(s.out.begin(), s.out.end(), row) - s.out.begin());
            row += size_t(std::upper_bound(s.in.begin(), s.in.end(), row) - s.in.begin());
        }
    }
    if (row >= m_Rows.size() || m_Rows[row] != &e) { // never expected: look it up
        GlobalLog(LL_Warning, SFormat("Jobs: row %zu of a job is out of step; searching", row));
        row = size_t(std::find(m_Rows.begin(), m_Rows.end(), &e) - m_Rows.begin());
        if (row == m_Rows.size()) return e.row = -1;
    }
    e.row = int(row);
    e.rowEpoch = m_RowEpoch;
    return e.row;
}

void JobsView::AddShift(std::vector<uint32_t> out, const std::vector<uint32_t>& landed) {
    _Shift shift;
    shift.out = std::move(out);
    shift.in.reserve(landed.size());
    for (size_t m = 0; m < landed.size(); ++m)
        shift.in.push_back(landed[m] - uint32_t(m));
    m_Shifts.push_back(std::move(shift));
    ++m_RowEpoch;
    size_t moved = 0;
    for (const _Shift& s : m_Shifts)
        moved += s.out.size() + s.in.size();
    if (m_Shifts.size() > k_MaxShifts || moved * k_ShiftShare > m_Rows.size()) Renumber();
}

void JobsView::Renumber() {
    ++m_RowEpoch;
    m_Shifts.clear();
    for (size_t i = 0; i < m_Rows.size(); ++i) {
        m_Rows[i]->row = (int)i;
        m_Rows[i]->rowEpoch = m_RowEpoch;
    }
}

void JobsView::SortBy(int type, bool ascending) {
    m_SortType = type >= 0 && type < k_JobsColumnCount ? type : -1;
    m_Ascending = ascending;
    const auto start = std::chrono::steady_clock::now();
    const int anchorRow = GetLastSelect();
    _Entry* anchor = anchorRow >= 0 && anchorRow < (int)m_Rows.size() ? m_Rows[anchorRow] : nullptr;
    FullSort();
    if (anchor) SetLastSelect(RowOf(*anchor));
    ShowSortInLabels();
    Redraw();
    if (m_LogTicks)
        LogInfo(SFormat("Jobs sort by %d %s: %zu rows, %.1f ms", m_SortType,
                        m_Ascending ? "ascending" : "descending", m_Rows.size(),
                        MillisecondsSince(start)));
}

void JobsView::ShowSortInLabels() {
    for (int i = 0; i < GetColumnCount(); ++i) {
        const int type = GetColumn(i).type;
        String label = wxToString(wxGetTranslation(k_Columns[type].label));
        if (type == m_SortType) label += m_Ascending ? k_Up : k_Down;
        if (label != GetColumn(i).label) SetColumnLabel(i, label);
    }
}

// ---- sort keys ----

void JobsView::ReadKeys(_Entry& e, unsigned mask) {
    const Job& job = *e.job;
    if (mask & (1u << k_JobsProgress)) e.progress = job.GetParameter(p_Progress).ToInt();
    if (mask & (1u << k_JobsFrames))
        e.frames = (int)std::min<long long>(FrameCount(job.GetParameter(p_Frames)), INT_MAX);
    if (mask & (1u << k_JobsType)) e.type = m_TypeTexts.Id(TypeName(e.job));
    if (mask & (1u << k_JobsEngine)) e.engine = m_EngineTexts.Id(job.GetParameter(p_Engine));
}

uint32_t JobsView::_Texts::Id(const String& text) {
    auto it = ids.find(text);
    if (it != ids.end()) return it->second;
    values.push_back(text);
    return ids[text] = uint32_t(values.size() - 1);
}

std::vector<uint32_t> JobsView::_Texts::Ranks() const {
    std::vector<uint32_t> order(values.size()), ranks(values.size());
    for (uint32_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(),
              [this](uint32_t a, uint32_t b) { return NaturalCompare(values[a], values[b]) < 0; });
    for (size_t i = 0, rank = 0; i < order.size(); ++i) {
        if (i && NaturalCompare(values[order[i - 1]], values[order[i]]) != 0) ++rank;
        ranks[order[i]] = uint32_t(rank);
    }
    return ranks;
}

JobsView::_Key JobsView::KeyOf(const _Entry& e) const {
    _Key k;
    k.seq = e.seq;
    const Job& job = *e.job;
    switch (m_SortType) {
    case k_JobsName:
        k.text = job.Name();
        break;
    case k_JobsType:
        k.text = m_TypeTexts.values[e.type];
        break;
    case k_JobsStatus:
        k.number = e.status;
        break;
    case k_JobsProgress:
        k.number = e.progress;
        break;
    case k_JobsFrames:
        k.number = e.frames;
        break;
    case k_JobsEngine:
        k.text = m_EngineTexts.values[e.engine];
        break;
    case k_JobsSubmitted:
        k.number = e.submitted;
        break;
    case k_JobsElapsed:
        k.number = Elapsed(e);
        break;
    default:
        break;
    }
    return k;
}

bool JobsView::Before(const _Key& a, const _Key& b) const {
    if (a.number != b.number) return (a.number < b.number) == m_Ascending;
    if (const int c = NaturalCompare(a.text, b.text)) return (c < 0) == m_Ascending;
    return a.seq < b.seq; // ties keep their arrival order both ways
}

int JobsView::Elapsed(const _Entry& e) const {
    if (!e.started) return -1;
    return std::max(0, (e.ended ? e.ended : m_Now) - e.started);
}

String JobsView::TypeName(const JobPtr& job) {
    const String type = job->GetParameter(p_Type);
    auto it = m_TypeNames.find(type);
    if (it != m_TypeNames.end()) return it->second;
    String name = JobFactory::s_JobFactory.GetTypeInfo(UID(type, false), false).name;
    return m_TypeNames[type] = name.empty() ? String("-") : name;
}

// ---- list hooks ----

JobPtr JobsView::FindJob(const UID& id) const {
    auto it = m_Entries.find(id);
    return it == m_Entries.end() ? JobPtr() : it->second.job;
}

JobPtr JobsView::GetJob(int row) const {
    return row >= 0 && row < (int)m_Rows.size() ? m_Rows[row]->job : JobPtr();
}

bool JobsView::IsRowSelected(int row) {
    return row >= 0 && row < (int)m_Rows.size() && m_Rows[row]->selected;
}

std::vector<int> JobsView::GetSelection() {
    // Many selected: number every row once rather than follow each through the ticks.
    if (m_Selected.size() > 4096 && !m_Shifts.empty()) Renumber();
    std::vector<int> rows;
    rows.reserve(m_Selected.size());
    for (_Entry* e : m_Selected)
        rows.push_back(RowOf(*e));
    std::sort(rows.begin(), rows.end());
    return rows;
}

String JobsView::GetDisplayText(int row, int column) {
    if (row < 0 || row >= (int)m_Rows.size() || column < 0 || column >= GetColumnCount())
        return String();
    const _Entry& e = *m_Rows[row];
    const Job& job = *e.job;
    switch (GetColumn(column).type) {
    case k_JobsName:
        return job.Name();
    case k_JobsType:
        return m_TypeTexts.values[e.type];
    case k_JobsStatus:
        return wxToString(wxGetTranslation(JobStatusName(job.GetStatus())));
    case k_JobsProgress:
        return job.GetParameter(p_Progress) + "%";
    case k_JobsFrames:
        return job.GetParameter(p_Frames);
    case k_JobsEngine:
        return job.GetParameter(p_Engine);
    case k_JobsSubmitted: {
        const wxDateTime at(time_t(m_Epoch + e.submitted));
        const bool today = at.IsSameDate(wxDateTime::Now());
        return wxToString(today ? at.FormatISOTime() : at.FormatISOCombined(' '));
    }
    case k_JobsElapsed: {
        const int seconds = Elapsed(e);
        return seconds < 0 ? String() : Duration(seconds);
    }
    default:
        return String();
    }
}

wxColour JobsView::GetRowColor(int row) {
    // On the selection colour the status colours (the greys above all) read poorly; the
    // status column still tells.
    if (row < 0 || row >= (int)m_Rows.size() || m_Rows[row]->selected)
        return wxsGetColor(color_Text);
    return StatusColour(m_Rows[row]->job->GetStatus());
}

wxColour StatusColour(int status) {
    switch (status) {
    case k_JobRunning:
        return wxsGetColor(color_TextGreen);
    case k_JobPaused:
        return wxsGetColor(color_TextYellow);
    case k_JobDone:
    case k_JobArchived:
        return wxsGetColor(color_TextGrey);
    case k_JobFailed:
        return wxsGetColor(color_TextRed);
    case k_JobAborted:
        return wxsGetColor(color_TextOrange);
    default:
        return wxsGetColor(color_Text);
    }
}

// ---- selection and header events ----

void JobsView::Select(int row, bool on) {
    if (row < 0 || row >= (int)m_Rows.size()) return;
    _Entry* e = m_Rows[row];
    if (e->selected == on) return;
    e->selected = on;
    if (on)
        m_Selected.insert(e);
    else
        m_Selected.erase(e);
    RedrawItem(row);
}

bool JobsView::ShowJob(const UID& id) {
    auto it = m_Entries.find(id);
    const int row = it == m_Entries.end() ? -1 : RowOf(it->second);
    if (row < 0) return false;
    GetBody()->DeselectAll(true);
    GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, wxPoint(0, 0), row);
    SetLastSelect(row);
    EnsureVisible(row);
    return true;
}

void JobsView::OnColumnClick(wxListEvent& event) {
    const int column = event.GetColumn();
    if (column < 0 || column >= GetColumnCount()) return;
    const int type = GetColumn(column).type;
    // First click ascending, each further click on the same column turns the order.
    SortBy(type, type == m_SortType ? !m_Ascending : true);
}

void JobsView::OnColumnMenu(wxListEvent& event) {
    const int column = event.GetColumn();
    if (column < 0 || column >= GetColumnCount()) return;
    wxMenu menu;
    menu.Append(wxID_BACKWARD, "Move left")->Enable(column > 0);
    menu.Append(wxID_FORWARD, "Move right")->Enable(column + 1 < GetColumnCount());
    // The header has no drag-reordering: this menu is the way to order the columns.
    const int chosen = GetPopupMenuSelectionFromUser(menu);
    if (chosen == wxID_BACKWARD) MoveColumn(column, column - 1);
    if (chosen == wxID_FORWARD) MoveColumn(column, column + 1);
}

// ---- name filter ----
// Separate from the sort: the filter only decides which entries Place puts among the rows.
// A name is lower-cased once, when a filter first needs it (the first filter on both cores),
// and again after a rename; the lower-case names are kept for the next keystrokes.

void JobsView::CaseNames() {
    std::vector<_Entry*> uncased;
    for (_Entry* e : m_BySeq)
        if (!e->nameCased) uncased.push_back(e);
    OnBothCores(uncased.size(), [&uncased](size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) { // each entry by one thread; a job's name is locked
            uncased[i]->lowerName = uncased[i]->job->Name().Lower();
            uncased[i]->nameCased = true;
        }
    });
}

bool JobsView::Passes(_Entry& e) {
    if (m_Filter.empty()) return true;
    if (!e.nameCased) {
        e.lowerName = e.job->Name().Lower();
        e.nameCased = true;
    }
    return e.lowerName.find(m_Filter) != String::npos;
}

void JobsView::LeaveOutFiltered(std::vector<_Entry*>& entries) {
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [this](_Entry* e) {
                                     e->hidden = !Passes(*e);
                                     if (!e->hidden) return false;
                                     e->row = -1;
                                     if (e->selected) m_Selected.erase(e);
                                     e->selected = false;
                                     return true;
                                 }),
                  entries.end());
}

void JobsView::MergeIntoRows(std::vector<_Entry*>& entries) {
    if (entries.empty()) return;
    // The newcomers in order, then one pass through both runs: the order a full sort would give
    // (keys are unique through the arrival number), at the cost of reading each key once.
    std::vector<_Entry*> rows;
    rows.reserve(m_Rows.size() + entries.size());
    if (m_SortType < 0) {
        auto bySeq = [](const _Entry* a, const _Entry* b) { return a->seq < b->seq; };
        std::sort(entries.begin(), entries.end(), bySeq);
        std::merge(m_Rows.begin(), m_Rows.end(), entries.begin(), entries.end(),
                   std::back_inserter(rows), bySeq);
    } else {
        std::vector<std::pair<_Key, _Entry*>> keyed;
        keyed.reserve(entries.size());
        for (_Entry* e : entries)
            keyed.emplace_back(KeyOf(*e), e);
        std::sort(keyed.begin(), keyed.end(),
                  [this](const auto& a, const auto& b) { return Before(a.first, b.first); });
        size_t next = 0;
        for (_Entry* row : m_Rows) {
            const _Key key = KeyOf(*row);
            while (next < keyed.size() && Before(keyed[next].first, key))
                rows.push_back(keyed[next++].second);
            rows.push_back(row);
        }
        for (; next < keyed.size(); ++next)
            rows.push_back(keyed[next].second);
    }
    m_Rows.swap(rows);
}

bool JobsView::FilterReplaces(_Entry& e, unsigned mask) {
    if (!(mask & (1u << k_JobsName))) return false;
    e.nameCased = false;
    // A newcomer of this tick (no row, not left out) is placed, and so filtered, anyway.
    return !m_Filter.empty() && !e.moving && (e.hidden || e.row >= 0);
}

void JobsView::SetNameFilter(const String& text) {
    const String filter = text.Lower();
    if (filter == m_Filter) return;
    const auto start = std::chrono::steady_clock::now();
    // Typing on: every name holding the new text holds the old one, so only rows go.
    // Deleting: every row shown still passes, so only left-out jobs come back.
    const bool narrower = filter.find(m_Filter) != String::npos;
    const bool wider = m_Filter.find(filter) != String::npos;
    m_Filter = filter;
    const int anchorRow = GetLastSelect();
    _Entry* anchor = anchorRow >= 0 && anchorRow < (int)m_Rows.size() ? m_Rows[anchorRow] : nullptr;
    if (!m_Filter.empty()) CaseNames();
    if (!wider) LeaveOutFiltered(m_Rows);
    bool sorted = false;
    if (!narrower) {
        std::vector<_Entry*> back;
        for (_Entry* e : m_BySeq)
            if (e->hidden && e->row < 0) back.push_back(e);
        LeaveOutFiltered(back);
        if (back.size() * 8 > m_Rows.size()) { // many back (the filter cleared): sort them all
            m_Rows.insert(m_Rows.end(), back.begin(), back.end());
            FullSort();
            sorted = true;
        } else {
            MergeIntoRows(back);
        }
    }
    if (!sorted) Renumber(); // a full sort numbers the rows itself
    m_Quiet = true;
    SetItemCount((int)m_Rows.size());
    m_Quiet = false;
    SetLastSelect(anchor && !anchor->hidden ? RowOf(*anchor) : -1);
    GetBody()->Redraw();
    if (m_LogTicks)
        LogInfo(SFormat("Jobs filter '%s': %zu of %zu jobs shown, %.1f ms", m_Filter.c_str(),
                        m_Rows.size(), m_Entries.size(), MillisecondsSince(start)));
}
