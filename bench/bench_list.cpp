// The fast list (wxDBListCtrl) against what a user would pick instead: a virtual wxListCtrl, a
// wxGrid over a virtual table, and the raw limit (the same cells drawn with plain DrawText into
// a memory bitmap and blitted). All sides show the same farm-like rows, made on demand from the
// row index, in the same 1000x700 client area, in one process.
//
// Sections: the four views (rows from BenchSupport.h); measuring helpers (timing, memory, screen
// pixels); figures (memory, P1 rows and P2 raw limit, P3 wx controls, P4 redraw storm, huge
// tables); main.
#include <wxTaviro/wxDBListCtrl.h>

#include <wx/evtloop.h>
#include <wx/frame.h>
#include <wx/grid.h>
#include <wx/listctrl.h>
#include <wx/log.h>
#include <wx/wx.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"

bool GrabScreen(int x, int y, int width, int height, std::vector<unsigned char>& rgb);

namespace {
using namespace bench;

// ---- the four views ----

// Ours: serves the text, selects nothing, and counts the frames its body draws (a frame walks
// the visible rows upward from the first, so a row not above the previous one starts a frame).
class FarmList : public wxDBListCtrl {
public:
    explicit FarmList(wxWindow* parent) : wxDBListCtrl(parent, wxID_ANY, false) {
        for (int c = 0; c < k_Columns; ++c)
            AddColumn(c, k_Labels[c], k_Widths[c]);
    }
    bool IsRowSelected(int) override { return false; }
    std::vector<int> GetSelection() override { return {}; }
    String GetDisplayText(int row, int column) override { return FarmText(row, column); }
    void PrepareToDraw(int row) override {
        if (row <= m_lastRow) ++m_frames;
        m_lastRow = row;
    }
    long m_frames = 0;
    int m_lastRow = INT_MAX;
};

// The raw limit: no fitting, no caching, no colours beyond a row shade.
class RawView : public wxWindow {
public:
    RawView(wxWindow* parent, int rowHeight) : wxWindow(parent, wxID_ANY), m_rowHeight(rowHeight) {
        SetBackgroundStyle(wxBG_STYLE_PAINT);
        SetFont(g_TableSettings.font);
        Bind(wxEVT_PAINT, &RawView::OnPaint, this);
    }
    void OnPaint(wxPaintEvent&) {
        wxPaintDC out(this);
        const wxSize size = GetClientSize();
        if (!m_buffer.IsOk() || m_buffer.GetSize() != size) m_buffer = wxBitmap(size);
        const double start = NowMs();
        if (!m_blitOnly) {
            wxMemoryDC dc(m_buffer);
            dc.SetFont(GetFont());
            dc.SetBackground(*wxWHITE_BRUSH);
            dc.Clear();
            dc.SetPen(*wxTRANSPARENT_PEN);
            for (int y = -m_shift, row = m_first; y < size.y; y += m_rowHeight, ++row) {
                dc.SetBrush(row % 2 ? wxBrush(wxColour(240, 240, 240)) : *wxWHITE_BRUSH);
                dc.DrawRectangle(0, y, size.x, m_rowHeight);
                for (int c = 0, x = 0; c < k_Columns && x < size.x; x += k_Widths[c++])
                    dc.DrawText(wxString::FromUTF8(FarmText(row, c)), x + 3, y + 3);
            }
        }
        if (!m_blitOnly) m_drawMs.push_back(NowMs() - start);
        out.DrawBitmap(m_buffer, 0, 0, false);
        ++m_paints;
    }
    int m_rowHeight;
    int m_first = 0;
    int m_shift = 0;
    long m_paints = 0;
    bool m_blitOnly = false;      // only copy the last frame to the screen
    std::vector<double> m_drawMs; // time spent drawing into the buffer, per paint
    wxBitmap m_buffer;
};

class WxList : public wxListCtrl {
public:
    explicit WxList(wxWindow* parent)
        : wxListCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                     wxLC_REPORT | wxLC_VIRTUAL) {
        SetFont(g_TableSettings.font);
        for (int c = 0; c < k_Columns; ++c)
            AppendColumn(k_Labels[c], wxLIST_FORMAT_LEFT, k_Widths[c]);
    }
    wxString OnGetItemText(long item, long column) const override {
        return wxString::FromUTF8(FarmText(item, int(column)));
    }
    // The generic control draws its rows in a child window below its header.
    wxWindow* Rows() const {
        wxWindow* best = nullptr;
        for (wxWindow* w : GetChildren())
            if (!best || w->GetSize().y > best->GetSize().y) best = w;
        return best;
    }
};

class FarmTable : public wxGridTableBase {
public:
    explicit FarmTable(int rows) : m_rows(rows) {}
    int GetNumberRows() override { return m_rows; }
    int GetNumberCols() override { return k_Columns; }
    wxString GetValue(int row, int col) override { return wxString::FromUTF8(FarmText(row, col)); }
    void SetValue(int, int, const wxString&) override {}
    bool IsEmptyCell(int, int) override { return false; }
    wxString GetColLabelValue(int col) override { return k_Labels[col]; }

private:
    int m_rows;
};

// ---- measuring helpers ----

const int k_Warmup = 5;
const int k_Repeats = 30;

// Times of `repeats` calls of paint() after `warmup` untimed ones, each preceded by an untimed
// step().
std::vector<double> SamplesMs(const std::function<void()>& paint, const std::function<void()>& step,
                              int warmup, int repeats) {
    std::vector<double> times;
    for (int i = 0; i < warmup + repeats; ++i) {
        step();
        const double start = NowMs();
        paint();
        if (i >= warmup) times.push_back(NowMs() - start);
    }
    return times;
}

double MedianMs(
    const std::function<void()>& paint, const std::function<void()>& step = [] {}) {
    return Median(SamplesMs(paint, step, k_Warmup, k_Repeats));
}

// Share of the image's pixels darker than mid-grey: text drawn, or a blank view.
double InkShare(const wxImage& image) {
    const unsigned char* p = image.GetData();
    const long n = long(image.GetWidth()) * image.GetHeight();
    long dark = 0;
    for (long i = 0; i < n; ++i, p += 3)
        dark += p[0] + p[1] + p[2] < 3 * 128;
    return n ? double(dark) / n : 0;
}

double CpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Runs the event loop for real for `ms`, calling tick() from a 1 ms timer.
void RunLoopFor(int ms, const std::function<void()>& tick) {
    wxGUIEventLoop loop;
    wxTimer timer;
    const double end = NowMs() + ms;
    timer.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
        if (NowMs() >= end) {
            timer.Stop();
            loop.Exit();
            return;
        }
        tick();
    });
    timer.Start(1);
    loop.Run();
}

// One figure: both sides, their ratio, the goal and whether it holds.
void Line(const char* name, const char* what, double ours, double other, const char* unit,
          const char* goalText, bool met) {
    const double ratio = other > 0 ? ours / other : 0;
    printf("%-4s %-46s %9.3f %9.3f %-3s %7.3f   %-14s %s\n", name, what, ours, other, unit, ratio,
           goalText, met ? "met" : "NOT met");
}

// A ratio figure whose goal is ours / other <= goal.
void Ratio(const char* name, const char* what, double ours, double other, const char* unit,
           double goal, const char* goalText) {
    Line(name, what, ours, other, unit, goalText, other > 0 && ours / other <= goal);
}

// The window's pixels as the screen shows them (screen_grab.cpp); saved when `file` is given.
wxImage Shot(wxWindow* w, const char* file = nullptr) {
    PumpFor(100); // the X server has drawn what was sent
    const wxSize size = w->GetClientSize();
    const wxPoint at = w->ClientToScreen(wxPoint(0, 0));
    std::vector<unsigned char> rgb;
    wxImage image(size);
    if (GrabScreen(at.x, at.y, size.x, size.y, rgb))
        std::copy(rgb.begin(), rgb.end(), image.GetData());
    if (file) image.SaveFile(file, wxBITMAP_TYPE_PNG);
    return image;
}

// ---- figures ----

class Bench {
public:
    Bench() {
        m_frame = new wxFrame(nullptr, wxID_ANY, "bench_list", wxPoint(0, 0), wxDefaultSize);
        m_frame->SetClientSize(1000, 700);
        m_frame->Show();
        PumpFor(200);
    }
    ~Bench() { m_frame->Destroy(); }

    // Puts `view` alone in the frame's client area, shown and laid out.
    template <class T>
    T* Show(T* view) {
        for (wxWindow* w : wxWindowList(m_frame->GetChildren()))
            if (w != view) w->Destroy();
        m_frame->SetClientSize(1000, 700);
        m_frame->Layout();
        view->SetSize(m_frame->GetClientSize());
        PumpFor(150);
        return view;
    }

    FarmList* Ours(int rows) {
        FarmList* list = Show(new FarmList(m_frame));
        list->SetItemCount(rows);
        Middle(list);
        return list;
    }
    void Middle(FarmList* list) {
        wxDBListBody* body = list->GetBody();
        body->ScrollToPixel(wxVERTICAL, int64_t(list->GetItemCount() / 2) * body->GetRowHeight());
        PumpFor(150); // the scroll's own deferred redraw is done before timing starts
    }
    static double OurPaint(FarmList* list) {
        return MedianMs([list] { list->GetBody()->RedrawNow(); });
    }

    double WxListPaint(int rows, long* paints = nullptr, long* top = nullptr) {
        WxList* list = Show(new WxList(m_frame));
        list->SetItemCount(rows);
        list->EnsureVisible(rows / 2);
        PumpFor(150);
        wxWindow* area = list->Rows();
        long count = 0;
        area->Bind(wxEVT_PAINT, [&count](wxPaintEvent& e) { ++count, e.Skip(); });
        const double ms = MedianMs([area] { area->Refresh(), area->Update(); });
        if (paints) *paints = count;
        if (top) *top = list->GetTopItem();
        return ms;
    }

    double GridPaint(int rows, long* paints = nullptr) {
        wxGrid* grid = Show(new wxGrid(m_frame, wxID_ANY));
        grid->SetTable(new FarmTable(rows), true, wxGrid::wxGridSelectNone);
        grid->SetDefaultCellFont(g_TableSettings.font);
        grid->SetRowLabelSize(0);
        grid->EnableEditing(false);
        for (int c = 0; c < k_Columns; ++c)
            grid->SetColSize(c, k_Widths[c]);
        grid->MakeCellVisible(rows / 2, 0);
        PumpFor(150);
        wxWindow* area = grid->GetGridWindow();
        long count = 0;
        area->Bind(wxEVT_PAINT, [&count](wxPaintEvent& e) { ++count, e.Skip(); });
        const double ms = MedianMs([area] { area->Refresh(), area->Update(); });
        if (paints) *paints = count;
        return ms;
    }

    // Ours and the raw view live side by side in the frame, one shown at a time, and are
    // measured in alternating rounds so that drifts of a shared machine hit both; inside a
    // round, 1k and 1M rows alternate paint by paint (four times as many samples: the X round
    // trip is the noisy part, and P1 compares two nearly equal times). Each paint is followed by
    // a bare DrawBitmap: where the time goes, drawing or the rest (blit, X round trip).
    void P1P2() {
        const int rounds = 6, warmup = 2, per = k_Repeats / rounds;
        FarmList* list = Ours(1000000);
        wxDBListBody* body = list->GetBody();
        const int rowHeight = body->GetRowHeight();
        RawView* raw = new RawView(m_frame, rowHeight);
        raw->SetSize(body->GetClientSize());
        raw->Hide();
        std::vector<double> small, big, smallDraw, bigDraw, steady, scroll, steadyDraw, scrollDraw,
            rawSteady, rawScroll, blitOnly;
        auto add = [](std::vector<double>& to, const std::vector<double>& from) {
            to.insert(to.end(), from.begin(), from.end());
        };
        auto rows = [list, body, rowHeight](int count) {
            list->SetItemCount(count);
            body->ScrollToPixel(wxVERTICAL, int64_t(count / 2) * rowHeight);
        };
        auto down = [body, rowHeight] {
            body->ScrollToPixel(wxVERTICAL, body->GetScrollPixel(wxVERTICAL) + rowHeight);
        };
        auto paint = [body] { body->RedrawNow(); };
        auto draw = [body] { body->DrawBitmap(); };
        auto rawPaint = [raw] { raw->Refresh(false), raw->Update(); };
        long frames = 0;
        for (int round = 0; round < rounds; ++round) {
            raw->Hide(), list->Show();
            PumpFor(100);
            for (int i = 0; i < warmup + 4 * per; ++i)
                for (int count : {1000, 1000000}) {
                    rows(count);
                    PumpFor(3); // the row count's scroll-bar change is drawn before timing
                    double start = NowMs();
                    paint();
                    if (i >= warmup) (count == 1000 ? small : big).push_back(NowMs() - start);
                    start = NowMs();
                    draw();
                    if (i >= warmup)
                        (count == 1000 ? smallDraw : bigDraw).push_back(NowMs() - start);
                }
            // Then at 1M rows: the same text as the last frame, and one row down per frame.
            add(steady, SamplesMs(
                            paint, [] {}, warmup, per));
            add(steadyDraw, SamplesMs(
                                draw, [] {}, warmup, per));
            const long before = list->m_frames;
            add(scroll, SamplesMs(paint, down, warmup, per));
            frames += list->m_frames - before;
            add(scrollDraw, SamplesMs(draw, down, warmup, per));
            rows(1000000);

            list->Hide(), raw->Show();
            raw->m_first = int(body->GetScrollPixel(wxVERTICAL) / rowHeight);
            PumpFor(100);
            add(rawSteady, SamplesMs(
                               rawPaint, [] {}, warmup, per));
            add(rawScroll, SamplesMs(
                               rawPaint, [raw] { ++raw->m_first; }, warmup, per));
            raw->m_blitOnly = true;
            add(blitOnly, SamplesMs(
                              rawPaint, [] {}, warmup, per));
            raw->m_blitOnly = false;
        }
        Ratio("P1", "paint at 1M rows / at 1k rows (ours)", Median(big), Median(small), "ms", 1.1,
              "<= 1.1");
        // Drawing into the buffer alone, without the blit and the X round trip.
        Ratio("P1", "  drawing alone, 1M / 1k rows (ours)", Median(bigDraw), Median(smallDraw),
              "ms", 1.1, "<= 1.1");
        Ratio("P2", "steady repaint: ours / raw DrawText+blit", Median(steady), Median(rawSteady),
              "ms", 1.0, "<= 1.0 (0.2)");
        Ratio("P2", "scroll 1 row per frame: ours / raw", Median(scroll), Median(rawScroll), "ms",
              1.0, "<= 1.0 (0.2)");
        printf("     split, ms: ours steady = draw %.3f + rest %.3f, scroll = draw %.3f + rest "
               "%.3f; raw = draw %.3f + rest; a repaint that only blits: %.3f\n",
               Median(steadyDraw), Median(steady) - Median(steadyDraw), Median(scrollDraw),
               Median(scroll) - Median(scrollDraw), Median(raw->m_drawMs), Median(blitOnly));
        if (frames < rounds * (warmup + per))
            printf("     (warning: fewer frames drawn than forced repaints: %ld)\n", frames);
    }

    void P3() {
        for (int rows : {1000000, 10000000}) {
            const double ours = OurPaint(Ours(rows));
            long listPaints = 0, gridPaints = 0;
            const double list = WxListPaint(rows, &listPaints);
            const double grid = GridPaint(rows, &gridPaints);
            char what[64];
            snprintf(what, sizeof what, "paint at %dM rows: ours / virtual wxListCtrl",
                     rows / 1000000);
            Ratio("P3", what, ours, list, "ms", 0.8, "<= 0.8");
            snprintf(what, sizeof what, "paint at %dM rows: ours / wxGrid (virtual)",
                     rows / 1000000);
            Ratio("P3", what, ours, grid, "ms", 0.8, "<= 0.8");
            if (listPaints < k_Warmup + k_Repeats || gridPaints < k_Warmup + k_Repeats)
                printf("     (warning: wx painted less often than asked: list %ld, grid %ld)\n",
                       listPaints, gridPaints);
        }
    }

    // 10 redraw requests per ms on the visible rows, for `seconds`, the event loop running.
    void P4(int seconds) {
        const int ms = seconds * 1000;
        const int perMs = 10;
        FarmList* ours = Ours(1000000);
        const int first =
            int(ours->GetBody()->GetScrollPixel(wxVERTICAL) / ours->GetBody()->GetRowHeight());
        const int visible = ours->GetBody()->GetClientSize().y / ours->GetBody()->GetRowHeight();
        long calls = 0;
        auto storm = [&](const std::function<void(int)>& redraw) {
            const double start = NowMs();
            calls = 0;
            RunLoopFor(ms, [&] {
                const long due = long((NowMs() - start) * perMs);
                for (; calls < due; ++calls)
                    redraw(first + int(calls % visible));
            });
        };
        long frames = ours->m_frames;
        double cpu = CpuSeconds();
        storm([ours](int row) { ours->RedrawItem(row); });
        const double ourCpu = CpuSeconds() - cpu;
        const double ourRate = (ours->m_frames - frames) / double(seconds);
        const double ourCalls = calls / double(seconds);

        WxList* list = Show(new WxList(m_frame));
        list->SetItemCount(1000000);
        list->EnsureVisible(first + visible - 1);
        PumpFor(150);
        long paints = 0;
        list->Rows()->Bind(wxEVT_PAINT, [&paints](wxPaintEvent& e) { ++paints, e.Skip(); });
        cpu = CpuSeconds();
        storm([list](int row) { list->RefreshItem(row); });
        const double wxCpu = CpuSeconds() - cpu;
        const double wxRate = paints / double(seconds);
        printf("P4   redraw storm: %.0f calls/s (ours), %.0f calls/s (wx) for %d s\n", ourCalls,
               calls / double(seconds), seconds);
        Line("P4", "repaints per second: ours, wxListCtrl", ourRate, wxRate, "/s", "ours <= 14",
             ourRate <= 14);
        Ratio("P4", "process CPU: ours / wxListCtrl+RefreshItem", ourCpu, wxCpu, "s", 0.3,
              "<= 0.3");
    }

    // Paints `pages` pages downward from the middle: enough distinct cells to fill the bounded
    // text cache, so that what remains is what the row count costs.
    static void PaintPages(FarmList* list, int pages) {
        wxDBListBody* body = list->GetBody();
        for (int i = 0; i < pages; ++i) {
            body->ScrollToPixel(wxVERTICAL, body->GetScrollPixel(wxVERTICAL) +
                                                body->GetScrollPixelThumb(wxVERTICAL));
            body->RedrawNow();
        }
    }

    void Memory() {
        FarmList* list = Ours(1000);
        PaintPages(list, 12);
        PumpFor(200);
        const double small = ResidentMB();
        list->SetItemCount(10000000);
        Middle(list);
        PaintPages(list, 12);
        PumpFor(200);
        const double big = ResidentMB();
        printf("MEM  resident at 10M rows - at 1k rows (ours)  %9.3f MB (%.1f -> %.1f MB, "
               "text cache full at both)   goal < 1 MB   %s\n",
               big - small, small, big, big - small < 1.0 ? "met" : "NOT met");
    }

    // Both asked to show the last row of a huge table: which rows are on screen, and is
    // anything drawn at all (share of dark pixels)?
    void HugeTables() {
        for (int rows : {100000000, 1000000000}) {
            FarmList* ours = Ours(rows);
            ours->EnsureVisible(rows - 1);
            PumpFor(150);
            ours->m_lastRow = INT_MAX;
            ours->GetBody()->RedrawNow();
            const long first =
                long(ours->GetBody()->GetScrollPixel(wxVERTICAL) / ours->GetBody()->GetRowHeight());
            const long lastDrawn = ours->m_lastRow;
            const double ourInk = InkShare(Shot(ours->GetBody(), Shots(rows, "ours")));

            WxList* list = Show(new WxList(m_frame));
            list->SetItemCount(rows);
            list->EnsureVisible(rows - 1);
            PumpFor(200);
            list->Rows()->Refresh();
            list->Rows()->Update();
            const double wxInk = InkShare(Shot(list->Rows(), Shots(rows, "wx")));
            const long top = list->GetTopItem();
            const int perPage = list->GetCountPerPage();
            const bool wxShown = top <= rows - 1 && rows - 1 < top + perPage && wxInk > 0.005;
            printf("HUGE %ldM rows, last row asked for:\n"
                   "     ours:       first visible row %ld, last row drawn %ld, ink %.1f%%: %s\n"
                   "     wxListCtrl: GetTopItem %ld, %d per page, ink %.1f%%: %s\n",
                   long(rows) / 1000000, first, lastDrawn, 100 * ourInk,
                   lastDrawn == rows - 1 && ourInk > 0.005 ? "last row shown"
                                                           : "last row NOT shown",
                   top, perPage, 100 * wxInk, wxShown ? "last row shown" : "last row NOT shown");
        }
    }

    // Where to save a view's picture, when BENCH_SHOTS names a folder.
    static const char* Shots(int rows, const char* side) {
        static std::string path;
        const char* dir = getenv("BENCH_SHOTS");
        if (!dir) return nullptr;
        path = std::string(dir) + "/" + side + "-" + std::to_string(rows / 1000000) + "M.png";
        return path.c_str();
    }

private:
    wxFrame* m_frame;
};

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

void PrintHeader() {
    printf("bench_list: wxDBListCtrl vs virtual wxListCtrl, wxGrid and the raw limit; 1000x700 "
           "client area, 8 text columns. A paint is a forced synchronous repaint (ours: "
           "RedrawNow; others: Refresh+Update), timed to its end on screen; figures are medians "
           "of at least %d paints after warm-up ones.\n",
           k_Repeats);
    printf(
        "  P1   our paint time at 1,000,000 rows / at 1,000 rows, scrolled to the middle\n"
        "  P2   our paint / the raw limit (same visible cells, plain DrawText into a memory DC,\n"
        "       blitted); steady = same text as the previous frame, scroll = one row down per "
        "frame\n"
        "  P3   our paint / the wx control's paint, same rows, same frame\n"
        "  P4   10,000 RedrawItem (wx: RefreshItem) calls per second on visible rows for 10 s, "
        "event loop running:\n"
        "       repaints per second, and process CPU time ours / wxListCtrl's\n"
        "  MEM  resident size at 10M rows minus at 1k rows, same window, both painted page by "
        "page until\n"
        "       the text cache (rendered cells, bounded whatever the row count) is full\n"
        "  HUGE both asked to show the last row (EnsureVisible) of 100M and 1000M rows: rows "
        "on screen,\n"
        "       and the share of dark pixels on screen (ink; a blank view has none)\n");
    printf("%-4s %-46s %9s %9s %-3s %7s   %-14s %s\n", "", "figure", "ours", "other", "", "ratio",
           "goal (aim)", "");
}

} // namespace

// P5: the fitting of a long cell text (a 4,000-character output path or error message) into a
// 100 px column, as the list does it; the same text as the character-by-character fitting is
// what list_test checks.
void FitLongText() {
    wxBitmap bitmap(16, 16);
    wxMemoryDC dc(bitmap);
    dc.SetFont(*wxNORMAL_FONT);
    String text;
    for (int i = 0; text.size() < 4000; ++i)
        text += "/farm/output/shot" + String::FromInt(i) + "/frame_####.exr;";
    text.resize(4000);
    std::vector<double> ms;
    for (int run = 0; run < 21; ++run) {
        int width = 100;
        const auto start = std::chrono::steady_clock::now();
        const String shown = FormatDisplayString(text, width, dc);
        ms.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
        if (shown.empty()) return;
    }
    printf("P5 fit a 4000-character cell into 100 px: median %.3f ms (goal <= 1 ms)\n", Median(ms));
}

int main(int argc, char** argv) {
    wxApp::SetInstance(new BenchApp);
    if (!wxEntryStart(argc, argv)) {
        fprintf(stderr, "bench_list: cannot start wxWidgets (no display?)\n");
        return 0;
    }
    wxTheApp->CallOnInit();
    delete wxLog::SetActiveTarget(new wxLogStderr);
    wxInitAllImageHandlers();
    {
        wxEventLoop loop;
        wxEventLoopActivator active(&loop);
        PrintHeader();
        {
            Bench bench;
            bench.Memory();
            bench.P1P2();
            bench.P3();
            bench.P4(10);
            bench.HugeTables();
        }
        FitLongText();
        PumpFor(100);
    }
    fflush(stdout);
    wxTheApp->OnExit();
    wxEntryCleanup();
    return 0;
}
