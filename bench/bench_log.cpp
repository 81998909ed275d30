// Following and searching a farm log: our text line viewer against wxStyledTextCtrl and a
// multi-line wxTextCtrl, in one shown frame.
//   P5  append lines of 80 characters while following the end, repainting every 75 ms as the
//       screen would: time per line and the memory the control adds.
//   P6  search for a text that is not there through all lines, case-sensitive and not.
// Arguments: [lines] (default 1,000,000). The wxTextCtrl appends fewer lines: it slows down
// so much with length that a million would take many minutes; its figure is per line.
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTextLineCtrl.h>

#include <wx/app.h>
#include <wx/frame.h>
#include <wx/init.h>
#include <wx/sizer.h>
#include <wx/stc/stc.h>
#include <wx/textctrl.h>

#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) {
    return std::chrono::duration<double>(Clock::now() - since).count();
}

size_t HeapInUse() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

// 4096 different log lines of exactly 80 characters, cycled.
std::vector<String> MakeLines() {
    static const char* const k_Words[] = {"INFO ", "DEBUG", "WARN ", "INFO "};
    std::vector<String> lines;
    for (int i = 0; i < 4096; ++i) {
        char buf[128];
        snprintf(buf, sizeof buf,
                 "2026-11-22 08:%02d:%02d.%03d [worker-%02d] %s frame %5d rendered, %3d tiles, "
                 "mem %5d MB",
                 i / 60 % 60, i % 60, i * 7 % 1000, i % 32, k_Words[i % 4], i * 13 % 100000,
                 i % 256, i * 37 % 32768);
        String line(buf);
        line.resize(80, '.');
        lines.push_back(line);
    }
    return lines;
}

// Appends n lines through `append`, calling `frame` every 75 ms and at the end; seconds.
double Follow(long n, const std::vector<String>& lines,
              const std::function<void(const String&)>& append,
              const std::function<void()>& frame) {
    const Clock::time_point start = Clock::now();
    Clock::time_point next = start + std::chrono::milliseconds(75);
    for (long i = 0; i < n; ++i) {
        append(lines[size_t(i) & 4095]);
        if ((i & 255) == 0 && Clock::now() >= next) {
            frame();
            next = Clock::now() + std::chrono::milliseconds(75);
        }
    }
    frame();
    return Seconds(start);
}

// The best of a few runs of f, in seconds.
double Best(const std::function<void()>& f, int rounds = 5) {
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const Clock::time_point start = Clock::now();
        f();
        best = std::min(best, Seconds(start));
    }
    return best;
}

// One figure, in the layout of the other benchmarks: both sides, ours / theirs, the goal.
void Line(const char* name, const char* what, double ours, double other, const char* unit,
          const char* goalText, bool met) {
    const double ratio = other > 0 ? ours / other : 0;
    printf("%-4s %-46s %9.3f %9.3f %-4s %7.3f   %-22s %s\n", name, what, ours, other, unit, ratio,
           goalText, met ? "met" : "NOT met");
}

} // namespace

int main(int argc, char** argv) {
    const long n = argc > 1 ? atol(argv[1]) : 1000000;
    const long nText = std::min<long>(n, 20000);
    wxApp::SetInstance(new wxApp);
    int wxArgc = 1; // our own arguments are not wx's
    if (!wxEntryStart(wxArgc, argv) || !wxTheApp->CallOnInit()) return 1;
    Light();
    const std::vector<String> lines = MakeLines();
    auto* frame = new wxFrame(nullptr, wxID_ANY, "bench_log", wxDefaultPosition, wxSize(1000, 700));
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    frame->SetSizer(sizer);
    frame->Show();
    auto pump = [] { wxTheApp->Yield(true); };
    // One control shown at a time; the others stay alive (the search runs on them later).
    auto place = [&](wxWindow* w) {
        for (wxWindow* child : frame->GetChildren())
            child->Show(child == w);
        sizer->Clear(false);
        sizer->Add(w, 1, wxEXPAND);
        frame->Layout();
        pump();
    };

    // ---- ours ----
    auto* panel = new wxPanel(frame);
    auto* ours = new wxTextLineCtrl(panel);
    auto* inner = new wxBoxSizer(wxVERTICAL);
    inner->Add(ours, 1, wxEXPAND);
    panel->SetSizer(inner);
    place(panel);
    const size_t heapBefore = HeapInUse();
    const double oursSec = Follow(
        n, lines, [&](const String& s) { ours->Append(s, false); },
        [&] {
            ours->RedrawNow();
            pump();
        });
    const size_t added = HeapInUse() - heapBefore;
    const bool atEnd = ours->GetScrollPos(wxVERTICAL) ==
                       ours->GetScrollRange(wxVERTICAL) - ours->GetScrollThumb(wxVERTICAL);
    const double raw = 80.0 * n;

    // ---- wxStyledTextCtrl ----
    auto* stc = new wxStyledTextCtrl(frame);
    place(stc);
    const double stcSec = Follow(
        n, lines,
        [&](const String& s) {
            stc->AppendTextRaw(s.c_str(), int(s.size()));
            stc->AppendTextRaw("\n", 1);
        },
        [&] {
            stc->ScrollToEnd();
            stc->Update();
            pump();
        });

    // ---- multi-line wxTextCtrl ----
    auto* text = new wxTextCtrl(frame, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                wxTE_MULTILINE | wxTE_READONLY | wxTE_DONTWRAP);
    place(text);
    const double textSec = Follow(
        nText, lines, [&](const String& s) { text->AppendText(wxString::FromUTF8(s + "\n")); },
        [&] {
            text->ShowPosition(text->GetLastPosition());
            text->Update();
            pump();
        });

    const double oursUs = oursSec * 1e6 / n, stcUs = stcSec * 1e6 / n,
                 textUs = textSec * 1e6 / nText;
    printf("bench_log: wxTextLineCtrl vs wxStyledTextCtrl and a multi-line wxTextCtrl; %ld lines "
           "of 80 chars (wxTextCtrl: %ld), 1000x700, a repaint every 75 ms\n",
           n, nText);
    const bool fast = oursUs <= 0.5 && atEnd;
    Line("P5", "append, following the end: ours / wxSTC", oursUs, stcUs, "us",
         "ours <= 0.5 us/line", fast);
    Line("P5", "append, following the end: ours / wxTextCtrl", oursUs, textUs, "us",
         "ours <= 0.5 us/line", fast);
    if (!atEnd) printf("     (the view was NOT at the end after the last line)\n");
    printf("MEM  the viewer adds %.1f MB for %.1f MB of text: %.1f B/line over the text   goal <= "
           "48 B/line   %s\n",
           added / 1e6, raw / 1e6, (double(added) - raw) / n,
           added <= raw + 48.0 * n ? "met" : "NOT met");

    // ---- P6: search for text that is not there ----
    const String absent = "core dumped";
    _TextLineStore& store = ours->GetStore();
    const double bytes = 81.0 * n; // the text and one line end each, as both sides hold it
    for (bool cs : {true, false}) {
        size_t offset = 0;
        int found = 0;
        const double oursT = Best([&] { found += store.Find(absent, cs, 0, true, &offset) + 1; });
        const double stcT = Best(
            [&] {
                found +=
                    stc->FindText(0, stc->GetLength(), absent, cs ? wxSTC_FIND_MATCHCASE : 0) + 1;
            },
            2);
        const double oursGBs = bytes / oursT / 1e9, stcGBs = bytes / stcT / 1e9;
        const double ratio = oursGBs / stcGBs;
        Line(cs ? "P6" : "P6i",
             cs ? "search, absent, case: ours / wxSTC" : "search, absent, no case: ours / wxSTC",
             oursGBs, stcGBs, "GB/s", cs ? ">= 2 GB/s and >= 20x" : ">= 1 GB/s and >= 20x",
             oursGBs >= (cs ? 2.0 : 1.0) && ratio >= 20 && !found);
        if (found) printf("     (the absent text was FOUND: wrong)\n");
    }
    frame->Destroy();
    pump();
    wxEntryCleanup();
    return 0;
}
