#include <wxTaviro/JobSelector.h>

#include <wxTaviro/wxTaviroString.h>

#include <taviro/ClientApp.h>

#include <ostrum/CallTrace.h>

#include <wx/odcombo.h>
#include <wx/time.h>
#include <wx/utils.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <strings.h>

namespace {
// Unnamed first, then by name ignoring ASCII case.
bool NameBefore(const String& a, const String& b) {
    if (b.empty()) return false;
    if (a.empty()) return true;
    return strcasecmp(a.c_str(), b.c_str()) < 0;
}

// A pause longer than this starts a new type-ahead word.
constexpr int k_TypeAheadMs = 1000;
} // namespace

JobSelector::JobSelector(wxWindow* parent, wxWindowID id, const wxPoint& pos, const wxSize& size)
    : wxsChoice(parent, id, pos, size) {
    // Before the choice's own key handler, which lets no letter change the selection.
    Bind(wxEVT_KEY_DOWN, &JobSelector::OnKey, this);
}

bool JobSelector::_Sort(const JobPtr& a, const JobPtr& b) {
    if (!a) return false;
    if (!b) return true;
    const String nameB = b->Name();
    return NameBefore(a->Name(), nameB);
}

void JobSelector::Fill(const UID& exclude) {
    CALL_ENTRY("JobSelector::Fill");
    m_Base = GetCount(); // what the program put there before stays
    Append(_("None"), new _ID(UID::Null));
    auto* app = dynamic_cast<TaviroApp*>(Application::the_Application);
    std::vector<JobPtr> jobs;
    if (app) jobs = app->GetAllJobs();
    // Each job's name and status read once (reading takes the job's lock), kept in one block.
    m_Names.clear();
    m_Jobs.clear();
    m_Jobs.reserve(jobs.size());
    const UID none(false);
    for (const JobPtr& job : jobs) {
        if (!job) continue;
        const String text = job->GetParameter(p_Status, true);
        const int status = text.empty() ? 0 : (int)strtol(text.c_str(), nullptr, 10);
        if (job->HideInSelectors(status)) continue;
        if (exclude != none && job->GetID() == exclude) continue;
        const String name = job->Name();
        m_Jobs.push_back({uint32_t(m_Names.size()), uint32_t(name.size()), job->GetID()});
        m_Names += name;
    }
    // The order of _Sort: lower-case copies compared bytewise, which is strcasecmp's order
    // (unnamed first, as the empty text is the smallest).
    std::string lower(m_Names);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = char(c + 32);
    m_Order.resize(m_Jobs.size());
    std::iota(m_Order.begin(), m_Order.end(), 0u);
    auto view = [&](uint32_t i) {
        return std::string_view(lower.data() + m_Jobs[i].name, m_Jobs[i].length);
    };
    std::sort(m_Order.begin(), m_Order.end(),
              [&](uint32_t a, uint32_t b) { return view(a) < view(b); });
    ShowWindow(0);
    SetSelection(int(m_Base));
}

void JobSelector::ShowWindow(size_t first) {
    m_First = std::min(first, m_Order.size());
    // The list after "None": one Append for the whole window (one relayout of the popup).
    while (GetCount() > m_Base + 1)
        Delete(GetCount() - 1);
    const size_t end = std::min(m_Order.size(), m_First + k_Window);
    wxArrayString labels;
    std::vector<wxClientData*> data;
    labels.reserve(end - m_First);
    data.reserve(end - m_First);
    for (size_t i = m_First; i < end; ++i) {
        labels.Add(wxFromString(Name(i)));
        data.push_back(new _ID(m_Jobs[m_Order[i]].id));
    }
    if (!labels.empty()) Append(labels, data.data());
}

void JobSelector::GrowWindow() {
    const size_t shown = m_First + GetCount() - m_Base - 1;
    if (shown >= m_Order.size()) return;
    const size_t end = std::min(m_Order.size(), shown + k_Window);
    wxArrayString labels;
    std::vector<wxClientData*> data;
    for (size_t i = shown; i < end; ++i) {
        labels.Add(wxFromString(Name(i)));
        data.push_back(new _ID(m_Jobs[m_Order[i]].id));
    }
    Append(labels, data.data());
}

void JobSelector::SelectSorted(size_t sorted) {
    if (sorted >= m_Order.size()) return;
    // A few jobs before it stay in sight, so the list does not start at the match.
    if (sorted < m_First || sorted >= m_First + GetCount() - m_Base - 1)
        ShowWindow(sorted > 20 ? sorted - 20 : 0);
    const int item = int(m_Base + 1 + sorted - m_First);
    SetSelection(item);
    if (IsPopupShown())
        if (wxVListBoxComboPopup* popup = GetVListBoxComboPopup()) {
            popup->SetSelection(item);
            popup->ScrollToRow(size_t(std::max(0, item - 3)));
            popup->Refresh();
        }
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
    // Outside the window: found among all the jobs, and shown.
    for (size_t sorted = 0; sorted < m_Order.size(); ++sorted)
        if (m_Jobs[m_Order[sorted]].id == id) {
            SelectSorted(sorted);
            return;
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

bool JobSelector::SelectPrefix(const String& prefix) {
    CALL_ENTRY("JobSelector::SelectPrefix");
    // The first name not below the prefix in the list's order; a match starts with it.
    auto at = std::partition_point(m_Order.begin(), m_Order.end(), [&](uint32_t i) {
        const _Job& j = m_Jobs[i];
        const size_t n = std::min<size_t>(j.length, prefix.size());
        const int c = strncasecmp(m_Names.data() + j.name, prefix.c_str(), n);
        return c < 0 || (c == 0 && j.length < prefix.size());
    });
    if (at == m_Order.end()) return false;
    const _Job& j = m_Jobs[*at];
    if (j.length < prefix.size() ||
        strncasecmp(m_Names.data() + j.name, prefix.c_str(), prefix.size()) != 0)
        return false;
    SelectSorted(size_t(at - m_Order.begin()));
    return true;
}

void JobSelector::OnKey(wxKeyEvent& event) {
    // Wired to the open list as well, once there is one.
    if (!m_PopupBound && GetPopupControl()) {
        m_PopupBound = true;
        wxWindow* list = GetPopupControl()->GetControl();
        list->Bind(wxEVT_KEY_DOWN, &JobSelector::OnKey, this);
        const auto moved = [this](wxScrollWinEvent& e) {
            e.Skip();
            CallAfter(&JobSelector::OnListMoved);
        };
        list->Bind(wxEVT_SCROLLWIN_LINEDOWN, moved);
        list->Bind(wxEVT_SCROLLWIN_PAGEDOWN, moved);
        list->Bind(wxEVT_SCROLLWIN_BOTTOM, moved);
        list->Bind(wxEVT_SCROLLWIN_THUMBRELEASE, moved);
        list->Bind(wxEVT_MOUSEWHEEL, [this](wxMouseEvent& e) {
            e.Skip();
            CallAfter(&JobSelector::OnListMoved);
        });
    }
    const wxChar c = event.GetUnicodeKey();
    const int key = event.GetKeyCode();
    if (event.ControlDown() || event.AltDown() || (c == WXK_NONE && key != WXK_BACK)) {
        event.Skip();
        if (key == WXK_DOWN || key == WXK_PAGEDOWN || key == WXK_END)
            CallAfter(&JobSelector::OnListMoved);
        return;
    }
    const wxLongLong now = wxGetLocalTimeMillis();
    if (now - m_TypedAt > k_TypeAheadMs) m_Typed.clear();
    m_TypedAt = now;
    if (key == WXK_BACK) {
        if (m_Typed.empty()) return;
        m_Typed.pop_back();
    } else if (c < 32 || c == 127) {
        event.Skip(); // Return, Escape, Tab: the list's own
        return;
    } else {
        m_Typed += wxToString(wxString(c));
    }
    if (!m_Typed.empty() && !SelectPrefix(m_Typed)) wxBell();
}

void JobSelector::OnListMoved() {
    wxVListBoxComboPopup* popup = GetVListBoxComboPopup();
    if (!popup || !IsPopupShown()) return;
    // Near the end of what the list holds: the next jobs come in.
    if (popup->GetVisibleRowsEnd() + 20 >= GetCount()) GrowWindow();
}
