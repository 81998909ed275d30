// The frame base: main and child frames, placement, the size-event filter, the menu-open state
// and the colour scheme switch.
//
// Sections: process-wide state; construction; placement; size and move events; colour scheme.
#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxConfirmDlg.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroDlg.h>
#include <wxTaviro/wxTaviroFrame.h>

#include <ostrum/Application.h>
#include <ostrum/CallTrace.h>
#include <ostrum/Exception.h>
#include <ostrum/Log.h>
#include <taviro/ClientApp.h>

#include <wx/image.h>

// ---- process-wide state ----

wxTaviroFrame* wxTaviroFrame::s_Frame = nullptr;
Signal0<ThreadPolicy::LocalThreaded> wxTaviroFrame::s_WinClosed;

namespace {
std::set<wxTaviroFrame*> s_ChildFrames;
bool s_MenuOpen = false;

// The "COLORS" request: another program of the suite changed the scheme.
struct _RemoteChangeHandler {
    bool operator()(const String&) const {
        LoadColorScheme();
        LogInfo(SFormat("Colour scheme reloaded: %d", g_Scheme));
        wxTaviroFrame::ProcessColorChange();
        return true;
    }
};
} // namespace

const std::set<wxTaviroFrame*>& wxTaviroFrame::GetChildFrames() {
    return s_ChildFrames;
}

bool wxTaviroFrame::IsMenuOpen() {
    CALL_ENTRY("wxTaviroFrame::IsMenuOpen");
    return s_MenuOpen;
}

bool ParentIsActive(wxWindow* w) {
    CALL_ENTRY("ParentIsActive");
    wxWindow* top = w ? wxGetTopLevelParent(w) : nullptr;
    auto* tlw = dynamic_cast<wxTopLevelWindow*>(top);
    if (tlw && !tlw->IsActive()) return false;
    return !s_MenuOpen;
}

// ---- construction ----

wxBEGIN_EVENT_TABLE(wxTaviroFrame, wxFrame)
    EVT_MOVE(wxTaviroFrame::OnMove)
    EVT_SIZE(wxTaviroFrame::OnSize)
    EVT_MENU_HIGHLIGHT_ALL(wxTaviroFrame::OnMenuOpen)
    EVT_MENU_CLOSE(wxTaviroFrame::OnMenuClose)
wxEND_EVENT_TABLE()

wxTaviroFrame::wxTaviroFrame(const wxString& title, const wxPoint& pos, const wxSize& size,
                             long style)
    : wxFrame(nullptr, wxID_ANY, title, pos, size, style) {
    CALL_ENTRY("wxTaviroFrame::wxTaviroFrame");
    // A static member function cannot sit in the event table.
    Bind(wxEVT_ACTIVATE, &wxTaviroApp::ActivateEvent);
    m_DecorTimer.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { _TakeBackDecorations(); });
    if (!s_Frame) {
        s_Frame = this;
        // wx keeps one handler per type; a second registration would only be thrown away.
        if (!wxImage::FindHandler(wxBITMAP_TYPE_PNG)) wxImage::AddHandler(new wxPNGHandler);
        if (g_Scheme == -1) LoadColorScheme();
        if (Application* app = Application::the_Application)
            app->SetRequestHandler("COLORS", _RemoteChangeHandler());
    } else {
        s_ChildFrames.insert(this);
        const wxIcon icon = s_Frame->GetIcon();
        if (icon.IsOk()) SetIcon(icon);
    }
    Manage(this);
}

wxTaviroFrame::wxTaviroFrame(wxWindow* parent, const wxString& title, long style)
    : wxFrame(parent, wxID_ANY, title, wxDefaultPosition, wxDefaultSize,
              style | wxCAPTION | wxFRAME_TOOL_WINDOW | wxFRAME_FLOAT_ON_PARENT) {
    CALL_ENTRY("wxTaviroFrame::wxTaviroFrame");
    Bind(wxEVT_ACTIVATE, &wxTaviroApp::ActivateEvent);
    m_DecorTimer.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { _TakeBackDecorations(); });
    Manage(this);
}

wxTaviroFrame::~wxTaviroFrame() {
    CALL_ENTRY("wxTaviroFrame::~wxTaviroFrame");
    if (s_Frame == this) {
        s_Frame = nullptr;
        std::set<wxTaviroFrame*> doomed;
        doomed.swap(s_ChildFrames);
        for (wxTaviroFrame* child : doomed) {
            // A child already in its own destructor finishes by itself; one that wx was going
            // to delete later is taken off that list, so that it is deleted exactly once.
            if (child->IsBeingDeleted() && !wxPendingDelete.Member(child)) continue;
            wxPendingDelete.DeleteObject(child);
            delete child;
        }
    } else if (s_Frame) {
        s_ChildFrames.erase(this);
    }
    s_WinClosed.Emit();
}

// ---- placement ----

void wxTaviroFrame::_ApplyPosition() {
    wxSetWindowPos(this, "Window", 0);
    m_Position = GetPosition();
    m_NormalSize = GetSize();
    m_Size = m_NormalSize;
    // Until the window manager has framed the window, GTK takes a size as the size inside
    // the frame: once framed, the window would be bigger by its decorations, and saved so at
    // every exit. Shortly after, that growth is taken back.
    m_RestoredSize = m_NormalSize;
    m_RestoreUntil = wxGetLocalTimeMillis() + 2000;
}

void wxTaviroFrame::_TakeBackDecorations() {
    if (m_RestoreUntil == 0 || IsMaximized() || IsFullScreen() || IsIconized()) return;
    const bool late = wxGetLocalTimeMillis() > m_RestoreUntil;
    m_RestoreUntil = 0;
    const wxSize grown = GetSize() - m_RestoredSize;
    // The decorations, added to the size that was meant to include them; anything else is
    // the user's or the window manager's doing and stays.
    if (!late && grown.x >= 0 && grown.y >= 0 && grown != wxSize(0, 0) && grown.x <= 64 &&
        grown.y <= 128)
        SetSize(-1, -1, m_RestoredSize.x, m_RestoredSize.y, 0);
}

void wxTaviroFrame::LoadWindowPosition() {
    CALL_ENTRY("wxTaviroFrame::LoadWindowPosition");
    _ApplyPosition();
    m_WasMaximized = false;
    m_WasFullScreen = false;
    if (Application* app = Application::the_Application) {
        m_WasMaximized = app->GetOptions()->GetValue("Window", "IsMaximized", false);
        m_WasFullScreen = app->GetOptions()->GetValue("Window", "IsFullScreen", false);
    }
    // Remembered before the states change: the size events they cause run the filter.
    const bool maximized = m_WasMaximized, fullScreen = m_WasFullScreen;
    Maximize(maximized);
    ShowFullScreen(fullScreen, wxFULLSCREEN_ALL);
    m_PlaceOnShow = !IsShown();
}

bool wxTaviroFrame::Show(bool show) {
    const bool changed = wxFrame::Show(show);
    // GTK places a frame itself when it first appears: the stored place is put back then.
    if (show && m_PlaceOnShow) {
        m_PlaceOnShow = false;
        if (!IsMaximized() && !IsFullScreen()) _ApplyPosition();
    }
    return changed;
}

void wxTaviroFrame::SaveWindowPosition() const {
    CALL_ENTRY("wxTaviroFrame::SaveWindowPosition");
    Application* app = Application::the_Application;
    if (!app) return;
    OptionsFile* options = app->GetOptions();
    OptionsFile::Pause pause(options);
    try {
        RWLock::WriteGuard lock(*options->GetRWLock());
        options->InsertSection("Window");
        options->SetValue("Window", SFormat("%d, %d, %d, %d", m_Position.x, m_Position.y,
                                            m_NormalSize.x, m_NormalSize.y));
        options->SetValue("IsMinimized", IsIconized() ? k_Yes : k_No);
        options->SetValue("IsMaximized", m_WasMaximized ? k_Yes : k_No);
        options->SetValue("IsFullScreen", m_WasFullScreen ? k_Yes : k_No);
    } catch (Exception* e) {
        LogInfo("Cannot save the window position: " + e->Format());
        delete e;
    }
}

// ---- size and move events ----

void wxTaviroFrame::SizeHasChanged(const wxSize&, const wxSize&, bool) {}

void wxTaviroFrame::PositionHasChanged(const wxPoint&, const wxPoint&) {}

void wxTaviroFrame::OnSize(wxSizeEvent& e) {
    CALL_ENTRY("wxTaviroFrame::OnSize");
    e.Skip();
    // Looked at once the sizes settle: the toolkit applies the frame's decorations in steps.
    if (m_RestoreUntil != 0 && IsShown()) m_DecorTimer.StartOnce(250);
    if (!m_GuiBuilt) {
        LogDebug("Size event ignored because gui is not finished building");
        return;
    }
    const wxSize size = e.GetSize();
    if (size == m_Size) {
        LogDebug("Size event ignored because it is a duplicate event");
        return;
    }
    const wxSize old = m_Size;
    m_Size = size;
    bool restoring = false;
    if (m_WasMaximized)
        restoring = !IsMaximized();
    else if (m_WasFullScreen)
        restoring = !IsFullScreen();
    m_WasMaximized = IsMaximized();
    m_WasFullScreen = IsFullScreen();
    if (restoring && m_Size != m_NormalSize) {
        SetSize(-1, -1, m_NormalSize.x, m_NormalSize.y, 0);
        LogDebug("Size event ignored because we're restoring the correct size");
        return;
    }
    if (!m_WasMaximized && !m_WasFullScreen) m_NormalSize = m_Size;
    SizeHasChanged(m_Size, old, restoring);
}

void wxTaviroFrame::OnMove(wxMoveEvent& e) {
    CALL_ENTRY("wxTaviroFrame::OnMove");
    e.Skip();
    if (!m_GuiBuilt || IsIconized() || IsMaximized()) return;
    const wxPoint old = m_Position;
    m_Position = GetPosition();
    PositionHasChanged(m_Position, old);
}

void wxTaviroFrame::OnMenuOpen(wxMenuEvent& e) {
    CALL_ENTRY("wxTaviroFrame::OnMenuOpen");
    if (!s_MenuOpen) s_MenuOpen = true;
    e.Skip();
}

void wxTaviroFrame::OnMenuClose(wxMenuEvent& e) {
    CALL_ENTRY("wxTaviroFrame::OnMenuClose");
    s_MenuOpen = false;
    e.Skip();
}

// ---- colour scheme ----

void wxTaviroFrame::ProcessColorChange() {
    CALL_ENTRY("wxTaviroFrame::ProcessColorChange");
    auto send = [](wxWindow* w) {
        wxSysColourChangedEvent event;
        event.SetId(0);
        event.SetEventObject(w);
        w->GetEventHandler()->ProcessEvent(event);
    };
    if (s_Frame) send(s_Frame);
    // A handler may close a frame meanwhile: each one is looked up again before its turn.
    const std::set<wxTaviroFrame*> children = s_ChildFrames;
    for (wxTaviroFrame* child : children)
        if (s_ChildFrames.count(child)) send(child);
    wxTaviroDlg::RefreshAll();
}

int wxTaviroFrame::SetColorScheme(int scheme) {
    CALL_ENTRY("wxTaviroFrame::SetColorScheme");
    if (scheme < 0) return g_Scheme;
    g_Scheme = scheme;
    SetColors(scheme);
    SaveColorScheme();
    ProcessColorChange();
    if (!GetColorSchemeSaveError().empty() && wxTheApp) {
        // Not lost in silence: the user learns that the choice lasts for this run only.
        const wxString why = wxFromString(GetColorSchemeSaveError());
        wxTheApp->CallAfter([why] {
            wxTaviroMessageBox(_("The colour scheme could not be saved; it holds until the "
                                 "program ends.") +
                                   "\n\n" + why,
                               "ColorsNotSaved", wxTheApp->GetTopWindow());
        });
    }
    Application* app = Application::the_Application;
    if (!app) return g_Scheme;
    for (int i = 0; i < Components::k_Count; ++i) {
        const String name = Components::GetName(i);
        // Never this program itself.
        if (name.empty() || name.CompareNoCase(app->GetName()) == 0) continue;
        if (!Components::DidStart(name)) continue;
        LogInfo("Notifying color changed to: " + name);
        // Not waited for: one busy or stopped program must not freeze this one's GUI.
        Application::PostRequest(Path(name), "COLORS");
    }
    return g_Scheme;
}

bool wxTaviroFrame::SetForegroundColour(const wxColour& colour) {
    const bool changed = wxFrame::SetForegroundColour(colour);
    m_inheritFgCol = false;
    return changed;
}
