// A log tail viewer: follows a growing file in a wxTextLineCtrl, with its search bar, a line
// limit past which the oldest lines go, and Save. Usage:
//   log_tail [--lines N] [--find TEXT] [farm options] FILE
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroFrame.h>
#include <wxTaviro/wxTextLineCtrl.h>
#include <wxTaviro/wxTimed.h>

#include <wx/menu.h>
#include <wx/sizer.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <vector>

namespace {

enum { ID_FIND = wxID_HIGHEST + 1 };

class TailFrame : public wxTaviroFrame, public wxTimed {
public:
    TailFrame(const String& file, size_t limit, const String& find)
        : wxTaviroFrame(wxFromString(file), wxDefaultPosition, wxSize(760, 480)), m_File(file) {
        auto* menu = new wxMenu;
        menu->Append(ID_FIND, "&Find...\tCtrl+F");
        menu->Append(wxID_SAVEAS, "&Save as...\tCtrl+S");
        auto* bar = new wxMenuBar;
        bar->Append(menu, "&Log");
        SetMenuBar(bar);
        auto* panel = new wxsPanel(this);
        auto* sizer = new wxBoxSizer(wxVERTICAL);
        m_Lines = new wxTextLineCtrl(panel);
        sizer->Add(m_Lines, 1, wxEXPAND);
        sizer->Add(m_Lines->GetSearchPanel(), 0, wxEXPAND); // made hidden, on the same parent
        panel->SetSizer(sizer);
        m_Lines->GetSearchPanel()->OfferWrap();
        // Errors and warnings stand out, in the palette's colours of the moment.
        m_Lines->SetLineColour([](std::string_view line) {
            if (line.find("ERROR") != line.npos) return wxsGetColor(color_TextRed);
            if (line.find("WARNING") != line.npos) return wxsGetColor(color_TextOrange);
            return wxColour();
        });
        // Past the limit the oldest lines go, and the view says how many went.
        m_Lines->SetLineLimit(limit);
        CreateStatusBar();
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { m_Lines->ToggleSearch(); }, ID_FIND);
        Bind(
            wxEVT_MENU, [this](wxCommandEvent&) { m_Lines->SaveAs(); }, wxID_SAVEAS);
        m_GuiBuilt = true;
        Poll();
        if (!find.empty()) // from the end, where the view is, once the window has its size
            CallAfter([this, find] {
                m_Lines->ToggleSearch();
                m_Lines->GetSearchPanel()->GetSearchField()->SetValue(wxFromString(find));
                m_Lines->Search(find, true, false);
            });
    }
    // First thing: a timer tick must not reach a half-destroyed frame.
    ~TailFrame() override { StopTimer(); }

private:
    // Every 250 ms on the GUI thread: whatever the file has grown by.
    void OnTimer() override { Poll(); }

    void Poll() {
        std::ifstream in(m_File, std::ios::binary | std::ios::ate);
        const std::streamoff size = in ? std::streamoff(in.tellg()) : 0;
        if (size < m_Offset) { // truncated or replaced: start again
            m_Lines->Clear();
            m_Offset = 0;
            m_Partial.clear();
        }
        // At most 8 MB a tick, so that a big file comes in while the window stays responsive.
        const size_t chunk = size_t(std::min<std::streamoff>(size - m_Offset, 8 << 20));
        if (chunk > 0) {
            std::string text(chunk, '\0');
            in.seekg(m_Offset);
            in.read(&text[0], std::streamsize(chunk));
            m_Offset += std::streamoff(chunk);
            m_Partial += text;
            size_t start = 0;
            for (size_t end; (end = m_Partial.find('\n', start)) != std::string::npos;
                 start = end + 1)
                m_Lines->Append(m_Partial.substr(start, end - start));
            m_Partial.erase(0, start); // a line still being written waits for its end
        }
        SetStatusText(wxString::Format("%d lines, %llu dropped (limit %zu)%s", m_Lines->GetCount(),
                                       (unsigned long long)m_Lines->GetDroppedLines(),
                                       m_Lines->GetLineLimit(), in ? "" : ", file not readable"));
    }

    const String m_File;
    wxTextLineCtrl* m_Lines = nullptr;
    std::streamoff m_Offset = 0;
    std::string m_Partial;
};

class TailApp : public wxTaviroApp {
public:
    TailApp() : wxTaviroApp(LL_Info, LL_Warning) {}

    bool OnInit() override {
        // Our options out, the farm's on; a viewer needs no farm unless one is asked for.
        std::vector<String> args = {wxToString(argv[0])};
        String file, find;
        size_t limit = 100000;
        for (int i = 1; i < argc; ++i) {
            const String a = wxToString(argv[i]);
            if (a == "--lines" && i + 1 < argc)
                limit = size_t(std::max(0L, wxToString(argv[++i]).ToLong(0)));
            else if (a == "--find" && i + 1 < argc)
                find = wxToString(argv[++i]);
            else if (i == argc - 1 && !a.StartsWith("-"))
                file = a;
            else
                args.push_back(a);
        }
        if (file.empty()) {
            fprintf(stderr, "Usage: log_tail [--lines N] [--find TEXT] [options] FILE\n");
            return false;
        }
        if (std::find(args.begin(), args.end(), "--master") == args.end())
            args.insert(args.end(), {"--master", "none"});
        SetArguments(args);
        auto* frame = new TailFrame(file, limit, find);
        SetTopWindow(frame);
        if (!wxTaviroApp::OnInit()) {
            frame->Destroy();
            return false;
        }
        frame->LoadWindowPosition();
        frame->Show();
        return true;
    }
};

} // namespace

wxIMPLEMENT_APP_NO_MAIN(TailApp);

int main(int argc, char** argv) {
    const int code = wxTaviroApp::PreInit(argc, argv,
                                          "  --lines N            keep at most N lines (0: all)\n"
                                          "  --find TEXT          search for TEXT at start\n");
    return code >= 0 ? code : wxEntry(argc, argv);
}
