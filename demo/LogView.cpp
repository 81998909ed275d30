// Lines arrive on the messenger's thread and are only collected there; a GUI timer hands them
// to the viewer in batches, so that a fast master costs one append loop per tick rather than
// one event per line.
#include "demo/LogView.h"

#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTextLineCtrl.h>

#include <taviro/Message.h>

#include <ostrum/Signal.h>

#include <wx/sizer.h>
#include <wx/timer.h>

#include <atomic>
#include <ctime>
#include <mutex>
#include <sys/time.h>
#include <vector>

namespace {

enum { ID_SEARCH = 1, ID_COPY, ID_SAVE, ID_SELECT_ALL };

class _LogView : public wxsPanel, public HasSlots {
public:
    explicit _LogView(wxWindow* parent) : wxsPanel(parent), m_Timer(this) {
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        auto* bar = new wxBoxSizer(wxHORIZONTAL);
        const int gap = FromDIP(6);
        for (auto [id, label] :
             {std::pair{ID_SEARCH, "Search...\tCtrl+F"}, std::pair{ID_COPY, "Copy"},
              std::pair{ID_SAVE, "Save As..."}, std::pair{ID_SELECT_ALL, "Select All"}}) {
            bar->Add(new wxsButton(this, id, wxString(label).BeforeFirst('\t')), 0, wxRIGHT, gap);
        }
        m_Count = new wxsStaticText(this, wxID_ANY, wxEmptyString);
        bar->Add(m_Count, 1, wxALIGN_CENTER_VERTICAL | wxLEFT, gap);
        sizer->Add(bar, 0, wxEXPAND | wxALL, gap);
        // The viewer makes its search bar on this panel; it goes below the lines.
        m_Lines = new wxTextLineCtrl(this);
        sizer->Add(m_Lines, 1, wxEXPAND);
        sizer->Add(m_Lines->GetSearchPanel(), 0, wxEXPAND | wxTOP | wxBOTTOM, 2);
        SetSizer(sizer);
        m_Lines->GetSearchPanel()->OfferWrap();
        // Warnings and errors stand out; the colours are the palette's, read at paint time.
        m_Lines->SetLineColour([](std::string_view line) {
            const size_t text = line.find("  "); // past the time stamp
            const std::string_view rest = line.substr(text == line.npos ? 0 : text + 2);
            if (rest.find("ERROR") != rest.npos) return wxsGetColor(color_TextRed);
            if (rest.find("WARNING") != rest.npos) return wxsGetColor(color_TextOrange);
            return wxColour();
        });
        Bind(wxEVT_BUTTON, [this](wxCommandEvent& e) { OnButton(e.GetId()); });
        Bind(wxEVT_TIMER, [this](wxTimerEvent&) { Drain(); });
        MessageReceivedEvt::s_Signal.Connect(this, &_LogView::OnMessage);
        Drain();
    }
    ~_LogView() override {
        // Before the members the slot uses go away.
        DisconnectAll();
        m_Timer.Stop();
    }

private:
    // Messenger's thread.
    void OnMessage(MessageReceivedEvt& evt) {
        const boost::shared_ptr<Message>& m = evt.GetMessage();
        if (!m || m->GetType() != k_MsgLogLine) return;
        String line = Stamp() + m->Get("Text");
        {
            std::lock_guard<std::mutex> l(m_Mutex);
            m_Pending.push_back(std::move(line));
        }
        // Lines come in batches of one 50 ms wait; a quiet farm wakes nobody up.
        if (!m_Armed.exchange(true)) CallAfter([this] { m_Timer.StartOnce(50); });
        // The master's own lines are this page's alone; a job's line goes on to the farm too.
        if (m->GetJob() == UID::Null) evt.TakeMessage();
    }

    static String Stamp() {
        timeval tv;
        gettimeofday(&tv, nullptr);
        tm t;
        localtime_r(&tv.tv_sec, &t);
        return SFormat("%02d:%02d:%02d.%03d  ", t.tm_hour, t.tm_min, t.tm_sec,
                       int(tv.tv_usec / 1000));
    }

    // GUI thread.
    void Drain() {
        m_Armed = false; // first: a line from now on arms the timer again
        std::vector<String> lines;
        {
            std::lock_guard<std::mutex> l(m_Mutex);
            lines.swap(m_Pending);
        }
        for (const String& line : lines)
            m_Lines->Append(line, false);
        const wxString count = wxString::Format("%d lines", m_Lines->GetCount());
        if (count != m_Count->GetLabel()) m_Count->SetLabel(count);
    }

    void OnButton(int id) {
        switch (id) {
        case ID_SEARCH:
            m_Lines->ToggleSearch();
            break;
        case ID_COPY:
            m_Lines->CopySelectionToClipboard();
            break;
        case ID_SAVE:
            m_Lines->SaveAs();
            break;
        case ID_SELECT_ALL:
            m_Lines->SelectAll();
            break;
        }
    }

public:
    wxTextLineCtrl* m_Lines;

private:
    wxsStaticText* m_Count;
    wxTimer m_Timer;
    std::atomic<bool> m_Armed{false};
    std::mutex m_Mutex;
    std::vector<String> m_Pending;
};

} // namespace

wxWindow* CreateLogView(wxWindow* parent) {
    return new _LogView(parent);
}

std::vector<String> FindLogLines(wxWindow* logView, const String& text) {
    std::vector<String> found;
    auto* view = dynamic_cast<_LogView*>(logView);
    if (!view) return found;
    for (int i = 0; i < view->m_Lines->GetCount(); ++i) {
        String line = view->m_Lines->GetLine(i);
        if (line.find(text) != String::npos) found.push_back(std::move(line));
    }
    return found;
}

void ShowLogSearch(wxWindow* logView, const wxString& text, bool search) {
    auto* view = dynamic_cast<_LogView*>(logView);
    wxTextLineSearchPanel* bar = view ? view->m_Lines->GetSearchPanel() : nullptr;
    if (!bar) return;
    if (!bar->IsShown()) bar->Expand();
    bar->GetSearchField()->ChangeValue(text);
    if (search) {
        wxCommandEvent down(wxEVT_BUTTON, 2);
        bar->GetEventHandler()->ProcessEvent(down);
    }
}
