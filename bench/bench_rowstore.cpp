// The row-store list (wxsListCtrl) against a report-style wxListCtrl that stores its items, on
// the same work: InsertItem of a row, then SetItem of its other four cells, for every row of a
// farm-like table; then one paint of a screen of rows. Each run happens in a child process of
// its own, so that its resident size starts clean and no run inherits another's heap.
//
// Sections: farm rows; measuring helpers; one run (the child); figures (the parent); main.
#include <wxTaviro/wxDBListCtrl.h>

#include <wx/evtloop.h>
#include <wx/frame.h>
#include <wx/listctrl.h>
#include <wx/log.h>
#include <wx/wx.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"

namespace {
using namespace bench;

// ---- farm rows ----

const int k_Columns = 5;
const char* const k_Labels[k_Columns] = {"Name", "Type", "Status", "Progress", "Engine"};
const int k_Widths[k_Columns] = {300, 100, 130, 80, 190};

// One cell of a job table, written into `text`: names are longer than a short-string buffer,
// the other cells fit into one.
void FarmText(long row, int column, char (&text)[96]) {
    static const char* const projects[] = {"aurora", "borealis", "cinder",
                                           "drift",  "ember",    "fjord"};
    static const char* const types[] = {"Nuke", "Maya", "Houdini", "Blender", "Arnold", "V-Ray"};
    static const char* const states[] = {"Queued", "Rendering", "Done",
                                         "Failed", "Suspended", "Waiting"};
    const uint32_t h = Mix(uint32_t(row) * 2654435761U);
    switch (column) {
    case 0:
        snprintf(text, sizeof text, "%s_sq%03u_sh%04u_%s_v%03u", projects[h % 6], h % 997,
                 unsigned(row % 10000), h & 64 ? "comp" : "lighting", (h >> 8) % 40);
        break;
    case 1:
        snprintf(text, sizeof text, "%s", types[(h >> 3) % 6]);
        break;
    case 2:
        snprintf(text, sizeof text, "%s", states[(h >> 5) % 6]);
        break;
    case 3:
        snprintf(text, sizeof text, "%u%%", (h >> 7) % 101);
        break;
    default:
        snprintf(text, sizeof text, "node-%03u.rack%02u", (h >> 13) % 512, (h >> 4) % 40);
        break;
    }
}

// ---- measuring helpers ----

double MedianMs(const std::function<void()>& paint) {
    std::vector<double> times;
    for (int i = 0; i < 25; ++i) {
        const double start = NowMs();
        paint();
        if (i >= 5) times.push_back(NowMs() - start);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// ---- one run (the child) ----

struct Run {
    double textMs = 0;   // making the cell texts alone, the same loop without a list
    double insertMs = 0; // InsertItem + SetItem of every row, texts included
    double settleMs = 0; // from the last SetItem until the control has shown the result
    double mbPerMillion = 0;
    double paintMs = 0;
    double paintSelectedMs = 0; // ours, with every other row selected
};

// The texts of `rows` rows handed to `sink(row, column, text)`.
void Rows(long rows, const std::function<void(long, int, const char*)>& sink) {
    char text[96];
    for (long row = 0; row < rows; ++row)
        for (int c = 0; c < k_Columns; ++c) {
            FarmText(row, c, text);
            sink(row, c, text);
        }
}

// The generic report list draws its rows in a child window below its header.
wxWindow* RowsWindow(wxListCtrl* list) {
    wxWindow* best = nullptr;
    for (wxWindow* w : list->GetChildren())
        if (!best || w->GetSize().y > best->GetSize().y) best = w;
    return best ? best : list;
}

Run RunOne(bool ours, long rows) {
    auto* frame = new wxFrame(nullptr, wxID_ANY, "bench_rowstore", wxPoint(0, 0));
    frame->SetClientSize(1000, 700);
    frame->Show();
    PumpFor(200);
    if (!g_TableSettings.initialised) g_TableSettings.Init();
    Run run;
    {
        size_t sum = 0;
        const double start = NowMs();
        Rows(rows, [&sum, ours](long, int, const char* text) {
            sum += ours ? String(text).size() : wxString::FromUTF8(text).length();
        });
        run.textMs = NowMs() - start;
        if (sum == 42) printf(" ");
    }
    wxsListCtrl* mine = nullptr;
    wxListCtrl* theirs = nullptr;
    if (ours) {
        mine = new wxsListCtrl(frame, wxID_ANY);
        for (int c = 0; c < k_Columns; ++c)
            mine->AddColumn(c, k_Labels[c], k_Widths[c]);
    } else {
        theirs = new wxListCtrl(frame, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxLC_REPORT);
        theirs->SetFont(g_TableSettings.font);
        for (int c = 0; c < k_Columns; ++c)
            theirs->AppendColumn(k_Labels[c], wxLIST_FORMAT_LEFT, k_Widths[c]);
    }
    wxWindow* view = ours ? static_cast<wxWindow*>(mine) : theirs;
    view->SetSize(frame->GetClientSize());
    PumpFor(200);
    const double before = ResidentMB();
    double start = NowMs();
    if (ours)
        Rows(rows, [mine](long row, int c, const char* text) {
            if (c == 0)
                mine->InsertItem(int(row), text);
            else
                mine->SetItem(int(row), c, text);
        });
    else
        Rows(rows, [theirs](long row, int c, const char* text) {
            if (c == 0)
                theirs->InsertItem(row, wxString::FromUTF8(text));
            else
                theirs->SetItem(row, c, wxString::FromUTF8(text));
        });
    run.insertMs = NowMs() - start;
    // Both finish their work on the next paint and idle time (layout, scroll bars).
    start = NowMs();
    wxWindow* area = ours ? static_cast<wxWindow*>(mine->GetBody()) : RowsWindow(theirs);
    wxTheApp->ProcessPendingEvents();
    wxTheApp->ProcessIdle();
    area->Refresh(false);
    area->Update();
    run.settleMs = NowMs() - start;
    PumpFor(300);
    run.mbPerMillion = (ResidentMB() - before) * 1e6 / rows;
    // A screen of rows from the middle of the table.
    if (ours) {
        mine->EnsureVisible(int(rows / 2));
        PumpFor(150);
        run.paintMs = MedianMs([mine] { mine->GetBody()->RedrawNow(); });
        // The paint asks every row it draws whether it is selected.
        for (long row = 0; row < rows; row += 2)
            mine->GetBody()->SendListEvent(wxEVT_LIST_ITEM_SELECTED, {0, 0}, int(row));
        PumpFor(150);
        run.paintSelectedMs = MedianMs([mine] { mine->GetBody()->RedrawNow(); });
    } else {
        theirs->EnsureVisible(rows / 2);
        PumpFor(150);
        run.paintMs = MedianMs([area] { area->Refresh(), area->Update(); });
    }
    frame->Destroy();
    PumpFor(50);
    return run;
}

// ---- figures (the parent) ----

// Runs this program again as a child for one run and reads its figures; the faster of `times`
// runs (the machine may be shared).
bool Child(const char* self, bool ours, long rows, Run& best, int times = 2) {
    const std::string command =
        std::string("'") + self + "' --run " + (ours ? "ours " : "wx ") + std::to_string(rows);
    for (int i = 0; i < times; ++i) {
        FILE* pipe = popen(command.c_str(), "r");
        if (!pipe) return false;
        char line[512];
        Run run;
        bool ok = false;
        while (fgets(line, sizeof line, pipe))
            ok = ok ||
                 sscanf(line, "RUN %lf %lf %lf %lf %lf %lf", &run.textMs, &run.insertMs,
                        &run.settleMs, &run.mbPerMillion, &run.paintMs, &run.paintSelectedMs) == 6;
        if (pclose(pipe) != 0 || !ok) return false;
        if (i == 0 ||
            run.insertMs + run.settleMs - run.textMs < best.insertMs + best.settleMs - best.textMs)
            best = run;
    }
    return true;
}

double Seconds(const Run& run) {
    return (run.insertMs + run.settleMs - run.textMs) / 1000.0;
}

void Print(const char* who, long rows, const Run& run, const char* how) {
    printf("  %-30s %8ld rows  %8.3f s  (%.3f insert + %.3f show - %.3f texts)  %6.0f B/row"
           "  paint %6.2f ms  %s\n",
           who, rows, Seconds(run), run.insertMs / 1000, run.settleMs / 1000, run.textMs / 1000,
           run.mbPerMillion * 1024 * 1024 / 1e6, run.paintMs, how);
}

int Figures(const char* self) {
    const long big = 1000000, wxBig = 200000, wxHalf = 100000;
    printf("bench_rowstore: wxsListCtrl vs a report-style wxListCtrl holding its items, 5 text "
           "columns, 1000x700 client area.\n"
           "  Inserting = InsertItem(row, name) + SetItem of the 4 other cells, every row, then "
           "one Refresh+Update\n"
           "  (the controls finish layout on the next paint); the time of making the texts is "
           "taken off. Memory =\n"
           "  resident size after - before, over the rows. Paint = median forced repaint of a "
           "screen of rows\n"
           "  from the middle of the table. Every run is a process of its own.\n");
    Run ours, oursSmall, wx, wxSmall;
    if (!Child(self, true, big, ours) || !Child(self, true, wxBig, oursSmall) ||
        !Child(self, false, wxHalf, wxSmall) || !Child(self, false, wxBig, wx)) {
        printf("a run failed\n");
        return 1;
    }
    Print("wxsListCtrl", big, ours, "measured");
    Print("wxsListCtrl", wxBig, oursSmall, "measured");
    Print("wxListCtrl (report)", wxHalf, wxSmall, "measured");
    Print("wxListCtrl (report)", wxBig, wx, "measured");
    // Twice the rows in twice the time is linear; more than that makes a linear extrapolation
    // a lower bound of the wx time; less, no estimate at all.
    const double growth = Seconds(wx) / Seconds(wxSmall);
    const bool linear = growth >= 1.8 && growth <= 2.2, faster = growth > 2.2;
    printf("  wxListCtrl growth from %ld to %ld rows: x%.2f (%s)\n", wxHalf, wxBig, growth,
           linear   ? "linear: extrapolated to 1M below"
           : faster ? "more than linear: a linear extrapolation is a lower bound"
                    : "less than linear: no extrapolation");
    const double sameSize = Seconds(wx) / Seconds(oursSmall);
    printf("INS  %ld rows, both measured: wxListCtrl / ours = %.1f   goal >= 10   %s\n", wxBig,
           sameSize, sameSize >= 10 ? "met" : "NOT met");
    if (linear || faster) {
        const double wxMillion = Seconds(wx) * double(big) / wxBig;
        const double ratio = wxMillion / Seconds(ours);
        printf("INS  %ld rows: ours %.3f s measured, wxListCtrl %s%.1f s extrapolated: wxListCtrl "
               "/ ours = %s%.1f   goal >= 10   %s\n",
               big, Seconds(ours), faster ? ">= " : "", wxMillion, faster ? ">= " : "", ratio,
               ratio >= 10 ? "met" : "NOT met");
    }
    printf("MEM  bytes per row: ours %.0f (at %ld rows), wxListCtrl %.0f (at %ld rows): wx / ours "
           "= %.1f\n",
           ours.mbPerMillion * 1024 * 1024 / 1e6, big, wx.mbPerMillion * 1024 * 1024 / 1e6, wxBig,
           wx.mbPerMillion / ours.mbPerMillion);
    printf("     ours: a row record of %zu B, %d cells of %zu B each in one block, and the heap "
           "text of cells longer than %zu characters (here the name)\n",
           sizeof(wxsListCtrl::Row), k_Columns, sizeof(String), String().capacity());
    printf("PNT  screen of rows: ours %.2f ms at %ld rows, wxListCtrl %.2f ms at %ld rows: ours / "
           "wx = %.2f\n",
           ours.paintMs, big, wx.paintMs, wxBig, ours.paintMs / wx.paintMs);
    printf("PNT  ours with every other row of %ld selected: %.2f ms\n", big, ours.paintSelectedMs);
    return 0;
}

// ---- main ----

class BenchApp : public wxApp {
public:
    bool OnInit() override { return true; }
    void OnAssertFailure(const wxChar* file, int line, const wxChar*, const wxChar* cond,
                         const wxChar*) override {
        fprintf(stderr, "wx assertion: %s at %s:%d\n", (const char*)wxString(cond).utf8_str(),
                (const char*)wxString(file).utf8_str(), line);
    }
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 4 || strcmp(argv[1], "--run") != 0) return Figures(argv[0]);
    const bool ours = strcmp(argv[2], "ours") == 0;
    const long rows = atol(argv[3]);
    wxApp::SetInstance(new BenchApp);
    if (!wxEntryStart(argc, argv)) {
        fprintf(stderr, "bench_rowstore: cannot start wxWidgets (no display?)\n");
        return 1;
    }
    wxTheApp->CallOnInit();
    delete wxLog::SetActiveTarget(new wxLogStderr);
    {
        wxEventLoop loop;
        wxEventLoopActivator active(&loop);
        const Run run = RunOne(ours, rows);
        printf("RUN %f %f %f %f %f %f\n", run.textMs, run.insertMs, run.settleMs, run.mbPerMillion,
               run.paintMs, run.paintSelectedMs);
    }
    fflush(stdout);
    wxTheApp->OnExit();
    wxEntryCleanup();
    return 0;
}
