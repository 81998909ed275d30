// Open windows registry and window placement.
#include <wxTaviro/wxTaviro.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/Log.h>
#include <ostrum/StringTokenizer.h>

#include <wx/display.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <map>

// ---- open windows ----

OpenWindows* const OpenWindows::_this = new OpenWindows; // lives until the process ends

void OpenWindows::AddWindow(wxTopLevelWindow* window, const String& group) {
    CALL_ENTRY("OpenWindows::AddWindow");
    if (!window) return;
    window->Bind(wxEVT_CLOSE_WINDOW, &OpenWindows::OnClose, this);
    m_Entries.push_back({window, group.empty() ? String() : "   " + group});
    const wxSize size = window->GetSize();
    if (window->IsVisible() && (size.x <= 99 || size.y <= 99) && wxTheApp)
        CenterOnDisplay(wxTheApp->GetTopWindow(), window);
}

wxMenu* OpenWindows::GetMenu() {
    CALL_ENTRY("OpenWindows::GetMenu");
    // The commands follow the top window: the one bound at first may have been replaced.
    wxWindow* top = wxTheApp ? wxTheApp->GetTopWindow() : nullptr;
    if (top != m_CommandTarget.get()) {
        if (m_CommandTarget)
            m_CommandTarget->Unbind(wxEVT_MENU, &OpenWindows::OnCommand, this, wxID_OPENWIN_MAIN,
                                    wxID_OPENWIN_COLLECTALL);
        if (top)
            top->Bind(wxEVT_MENU, &OpenWindows::OnCommand, this, wxID_OPENWIN_MAIN,
                      wxID_OPENWIN_COLLECTALL);
        m_CommandTarget = top;
    }
    if (!m_Menu) {
        m_Menu = new wxMenu; // the first call, or the last menu went with its menu bar
    } else {
        while (m_Menu->GetMenuItemCount() > 0)
            m_Menu->Destroy(m_Menu->FindItemByPosition(0));
    }
    if (m_Entries.empty()) {
        m_Menu->Append(wxID_ANY, _("No open windows"))->Enable(false);
        return m_Menu;
    }
    // Grouped by label in byte order; registration order inside each group.
    std::map<std::string, std::vector<std::pair<int, wxTopLevelWindow*>>> groups;
    int id = wxID_OPENWIN_FIRST;
    for (const Datum& d : m_Entries) {
        if (id > wxID_OPENWIN_LAST) break;
        groups[d.label].push_back({id++, d.window});
    }
    m_Menu->Append(wxID_OPENWIN_MAIN, _("Main Window"));
    for (const auto& g : groups) {
        m_Menu->AppendSeparator();
        // Titles and labels are shown as they are: "&" is not a mnemonic here.
        if (!g.first.empty())
            m_Menu->Append(wxID_ANY, wxControl::EscapeMnemonics(wxString::FromUTF8(g.first)))
                ->Enable(false);
        for (const auto& item : g.second)
            m_Menu->Append(item.first, wxControl::EscapeMnemonics(item.second->GetTitle()));
    }
    m_Menu->AppendSeparator();
    m_Menu->Append(wxID_OPENWIN_COLLECTALL, _("Collect All"),
                   _("Center all open windows over the main window"));
    m_Menu->Append(wxID_OPENWIN_CLOSEALL, _("Close All"));
    return m_Menu;
}

void OpenWindows::OnClose(wxCloseEvent& e) {
    CALL_ENTRY("OpenWindows::OnClose");
    e.Skip();
    auto* window = dynamic_cast<wxTopLevelWindow*>(e.GetEventObject());
    for (size_t i = 0; i < m_Entries.size(); ++i) {
        if (m_Entries[i].window != window) continue;
        const Datum datum = m_Entries[i];
        m_Entries.erase(m_Entries.begin() + (long)i);
        // Handlers that run after this one may still veto the close: look again once the
        // event is over, and keep a window that stayed open.
        CallAfter([this, window, i, datum] { RecheckClosed(window, i, datum); });
        return;
    }
}

void OpenWindows::RecheckClosed(wxTopLevelWindow* window, size_t index, Datum datum) {
    bool alive = false;
    for (wxWindow* t : wxTopLevelWindows)
        alive = alive || t == window; // no use of a dead pointer
    if (!alive || window->IsBeingDeleted() || wxPendingDelete.Member(window)) return;
    for (const Datum& d : m_Entries)
        if (d.window == window) return;
    m_Entries.insert(m_Entries.begin() + (long)std::min(index, m_Entries.size()), datum);
}

void OpenWindows::OnCommand(wxCommandEvent& e) {
    CALL_ENTRY("OpenWindows::OnCommand");
    wxWindow* top = wxTheApp ? wxTheApp->GetTopWindow() : nullptr;
    const int id = e.GetId();
    if (id == wxID_OPENWIN_MAIN) {
        if (top) top->Raise();
    } else if (id == wxID_OPENWIN_COLLECTALL) {
        const std::vector<Datum> snapshot = m_Entries;
        for (const Datum& d : snapshot)
            CenterOnDisplay(top, d.window);
    } else if (id == wxID_OPENWIN_CLOSEALL) {
        const std::vector<Datum> snapshot = m_Entries;
        for (const Datum& d : snapshot)
            d.window->Close(false);
    } else if (id >= wxID_OPENWIN_FIRST && id < wxID_OPENWIN_FIRST + (int)m_Entries.size()) {
        m_Entries[(size_t)(id - wxID_OPENWIN_FIRST)].window->Raise();
    }
}

void OpenWindows::CenterOnDisplay(wxWindow* reference, wxWindow* window) {
    CALL_ENTRY("OpenWindows::CenterOnDisplay");
    if (!reference || !window) return;
    int index = wxDisplay::GetFromWindow(reference);
    if (index == wxNOT_FOUND) index = 0;
    const wxRect area = wxDisplay((unsigned)index).GetClientArea();
    const wxSize ref = reference->GetSize();
    wxSize size = window->GetSize();
    size.x = std::max(size.x, ref.x / 2);
    size.y = std::max(size.y, ref.y / 2);
    window->Freeze();
    window->Move(area.x + (area.width - size.x) / 2, area.y + (area.height - size.y) / 2);
    window->SetSize(size);
    window->Raise();
    window->Thaw();
}

void OpenWindows::Clear() {
    CALL_ENTRY("OpenWindows::Clear");
    m_Entries.clear();
}

void wxOpenUserWindow(wxTopLevelWindow* window, const String& group) {
    CALL_ENTRY("wxOpenUserWindow");
    OpenWindows::_this->AddWindow(window, group);
}

wxMenu* wxGetOpenWindowMenu() {
    CALL_ENTRY("wxGetOpenWindowMenu");
    return OpenWindows::_this->GetMenu();
}

// ---- window placement ----

namespace {
// Whether the user can still grab the window by its title bar: enough of a strip along its top
// edge lies in some display's client area. A window partly off the screen stays where the user
// left it; only one out of reach is moved. (wxDisplay::GetFromWindow cannot tell this on GTK,
// where it answers with the nearest monitor even for a window far outside.)
bool _IsReachable(wxWindow* window) {
    const wxRect r = window->GetScreenRect();
    const int stripHeight = std::min(r.height, 24), minWidth = std::min(r.width, 48);
    const wxRect strip(r.x, r.y, r.width, stripHeight);
    for (unsigned i = 0; i < wxDisplay::GetCount(); ++i) {
        const wxRect on = strip.Intersect(wxDisplay(i).GetClientArea());
        if (on.width >= minWidth && on.height >= std::min(stripHeight, 8)) return true;
    }
    return false;
}
// The size of the largest display: no saved window is bigger than that (a garbled or
// hostile value would otherwise give a window of the toolkit's 32767-pixel limit, saved back
// at every exit).
wxSize _LargestDisplay() {
    wxSize largest(0, 0);
    for (unsigned i = 0; i < wxDisplay::GetCount(); ++i)
        largest.IncTo(wxDisplay(i).GetGeometry().GetSize());
    return largest.x > 0 && largest.y > 0 ? largest : wxSize(INT_MAX, INT_MAX);
}
} // namespace

void wxSaveWindowPos(wxWindow* window, const String& section) {
    CALL_ENTRY("wxSaveWindowPos");
    Application* app = Application::the_Application;
    if (!window || !app) return;
    const wxPoint pos = window->GetPosition();
    const wxSize size = window->GetSize();
    const String text = SFormat("%d, %d, %d, %d", pos.x, pos.y, size.x, size.y);
    OptionsFile* options = app->GetOptions();
    RWLock::WriteGuard lock(*options->GetRWLock());
    try {
        options->InsertSection(section);
        options->SetValue("Window", text);
    } catch (Exception* e) {
        LogInfo("Cannot save the window position: " + e->Format());
        delete e;
    }
}

void wxSetWindowPos(wxWindow* window, const String& section, int offset) {
    CALL_ENTRY("wxSetWindowPos");
    if (!window) return;
    Application* app = Application::the_Application;
    const String text = app ? app->GetOptions()->GetValue(section, "Window", "") : String();
    bool placed = false;
    if (!text.empty()) {
        StringTokenizer tokens(text, ",", false, '"', '\\');
        long v[4];
        int n = 0;
        while (n < 4 && tokens.HasMoreTokens())
            v[n++] = strtol(tokens.NextToken().c_str(), nullptr, 10);
        if (n == 4) {
            const wxSize largest = _LargestDisplay();
            const auto clamp = [](long v, int hi) {
                return (int)std::max(-1L, std::min<long>(v, hi));
            };
            window->SetSize((int)v[0] + offset, (int)v[1] + offset, clamp(v[2], largest.x),
                            clamp(v[3], largest.y), wxSIZE_AUTO);
            placed = !window->IsShown() || _IsReachable(window);
        }
    }
    if (!placed) window->Centre(wxBOTH);
    window->Raise();
}
