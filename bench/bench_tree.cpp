// The tree list (wxDBTreeListCtrl) against what a user would pick instead: wxTreeListCtrl and a
// wxDataViewCtrl over a tree model of our own. All show a farm-like tree, made on demand from
// the row index, in the same 1000x700 client area, in one process.
//
// Sections: the views (rows from BenchSupport.h); measuring helpers; figures (T1 expand and
// collapse against the wx controls, T2 a node with a million descendants, T3 paint against the flat
// list); pictures; main.
#include <wxTaviro/wxDBTreeListCtrl.h>

#include <wx/dataview.h>
#include <wx/evtloop.h>
#include <wx/frame.h>
#include <wx/log.h>
#include <wx/treelist.h>
#include <wx/wx.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"

bool GrabScreen(int x, int y, int width, int height, std::vector<unsigned char>& rgb);

namespace {
using namespace bench;

const int k_Million = 1000000;

// ---- the views ----

struct Job : wxDBTreeListItem {
    explicit Job(long r) : row(r) {}
    String GetText(int column) const override { return FarmText(row, column); }
    long row;
};

struct Group : wxDBTreeListItem {
    explicit Group(String n) : name(std::move(n)) {}
    String GetText(int column) const override { return column == 0 ? name : String(); }
    String name;
};

class FarmTree : public wxDBTreeListCtrl {
public:
    explicit FarmTree(wxWindow* parent) : wxDBTreeListCtrl(parent, wxID_ANY) {
        for (int c = 0; c < k_Columns; ++c)
            AddColumn(c, k_Labels[c], k_Widths[c]);
    }
};

// The flat list showing the same rows as a tree with one expanded group of jobs.
class FarmList : public wxDBListCtrl {
public:
    explicit FarmList(wxWindow* parent) : wxDBListCtrl(parent, wxID_ANY, false) {
        for (int c = 0; c < k_Columns; ++c)
            AddColumn(c, k_Labels[c], k_Widths[c]);
    }
    bool IsRowSelected(int) override { return false; }
    std::vector<int> GetSelection() override { return {}; }
    String GetDisplayText(int row, int column) override {
        return row == 0 ? (column == 0 ? String("Rendering") : String())
                        : FarmText(row - 1, column);
    }
};

// A group of `jobs` jobs (a parent of `jobs` groups of `per` jobs each when per > 0).
Group* MakeGroup(long jobs, long per = 0) {
    auto* group = new Group("Rendering");
    for (long i = 0; i < jobs; ++i) {
        if (per == 0) {
            group->AppendChild(new Job(i));
            continue;
        }
        auto* sub = new Group("shot " + String::FromInt(int(i)));
        for (long j = 0; j < per; ++j)
            sub->AppendChild(new Job(i * per + j));
        sub->SetExpanded(true);
        group->AppendChild(sub);
    }
    return group;
}

// A tree model: one group (id 1) holding jobs 0..n-1 (ids 2..n+1).
class FarmModel : public wxDataViewModel {
public:
    explicit FarmModel(long jobs) : m_jobs(jobs) {}
    unsigned GetColumnCount() const override { return k_Columns; }
    wxString GetColumnType(unsigned) const override { return "string"; }
    void GetValue(wxVariant& value, const wxDataViewItem& item, unsigned column) const override {
        const long id = long(reinterpret_cast<intptr_t>(item.GetID()));
        value = id == 1 ? wxString(column == 0 ? "Rendering" : "")
                        : wxString::FromUTF8(FarmText(id - 2, int(column)));
    }
    bool SetValue(const wxVariant&, const wxDataViewItem&, unsigned) override { return false; }
    wxDataViewItem GetParent(const wxDataViewItem& item) const override {
        const long id = long(reinterpret_cast<intptr_t>(item.GetID()));
        return id == 1 ? wxDataViewItem() : Group();
    }
    bool IsContainer(const wxDataViewItem& item) const override {
        return !item.IsOk() || item == Group();
    }
    unsigned GetChildren(const wxDataViewItem& item, wxDataViewItemArray& children) const override {
        if (!item.IsOk()) {
            children.Add(Group());
            return 1;
        }
        if (item != Group()) return 0;
        children.reserve(size_t(m_jobs));
        for (long i = 0; i < m_jobs; ++i)
            children.Add(wxDataViewItem(reinterpret_cast<void*>(intptr_t(i + 2))));
        return unsigned(m_jobs);
    }
    static wxDataViewItem Group() { return wxDataViewItem(reinterpret_cast<void*>(intptr_t(1))); }

private:
    long m_jobs;
};

// ---- measuring helpers ----

// Until the toolkit has nothing left to do (layout, row validation, paint).
void Settle(wxWindow* w) {
    w->Update();
    wxTheApp->Yield(true);
}

double TimeMs(const std::function<void()>& f) {
    const double start = NowMs();
    f();
    return NowMs() - start;
}

void Line(const char* name, const char* what, double ours, double other, const char* unit,
          const char* goalText, bool met) {
    const double ratio = other > 0 ? ours / other : 0;
    char shown[32]; // tiny ratios in powers of ten, not as zero
    snprintf(shown, sizeof shown, ratio > 0 && ratio < 0.001 ? "%8.1e" : "%8.4f", ratio);
    printf("%-4s %-52s %10.3f %10.3f %-3s %s   %-12s %s\n", name, what, ours, other, unit, shown,
           goalText, met ? "met" : "NOT met");
    fflush(stdout);
}

void Note(const char* text) {
    printf("     %s\n", text);
    fflush(stdout);
}

// The figures of one wx control at the largest size measured, and what 1M would cost.
struct WxFigures {
    const char* name = "";
    long size = 0;           // largest size measured
    double expand = 0;       // ms at that size
    double collapse = 0;     // ms at that size
    double expandAt1M = 0;   // ms, measured or extrapolated
    double collapseAt1M = 0; // ms, measured or extrapolated
    double exponent = 1;     // growth of expand time with size between the last two sizes
    bool extrapolated = false;
};

// One wx control in the ladder: builds a tree of n jobs, expands and collapses its group.
struct WxSide {
    virtual ~WxSide() = default;
    virtual wxWindow* Build(wxWindow* parent, long jobs) = 0;
    virtual void Expand() = 0;
    virtual void Collapse() = 0;
};

struct TreeListSide : WxSide {
    wxTreeListCtrl* ctrl = nullptr;
    wxTreeListItem group;
    wxWindow* Build(wxWindow* parent, long jobs) override {
        ctrl =
            new wxTreeListCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTL_MULTIPLE);
        for (int c = 0; c < k_Columns; ++c)
            ctrl->AppendColumn(k_Labels[c], k_Widths[c]);
        group = ctrl->AppendItem(ctrl->GetRootItem(), "Rendering");
        // Prepending is constant time; appending walks the siblings. Column 0 only.
        for (long i = jobs - 1; i >= 0; --i)
            ctrl->PrependItem(group, wxString::FromUTF8(FarmText(i, 0)));
        return ctrl;
    }
    void Expand() override { ctrl->Expand(group); }
    void Collapse() override { ctrl->Collapse(group); }
};

struct DataViewSide : WxSide {
    wxDataViewCtrl* ctrl = nullptr;
    wxWindow* Build(wxWindow* parent, long jobs) override {
        ctrl =
            new wxDataViewCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxDV_MULTIPLE);
        for (int c = 0; c < k_Columns; ++c)
            ctrl->AppendTextColumn(k_Labels[c], unsigned(c), wxDATAVIEW_CELL_INERT, k_Widths[c]);
        FarmModel* model = new FarmModel(jobs);
        ctrl->AssociateModel(model);
        model->DecRef();
        return ctrl;
    }
    void Expand() override { ctrl->Expand(FarmModel::Group()); }
    void Collapse() override { ctrl->Collapse(FarmModel::Group()); }
};

// ---- figures ----

class Bench {
public:
    Bench() {
        m_frame = new wxFrame(nullptr, wxID_ANY, "bench_tree", wxPoint(0, 0), wxDefaultSize);
        m_frame->SetClientSize(1000, 700);
        m_frame->Show();
        PumpFor(200);
    }
    ~Bench() { m_frame->Destroy(); }
    wxFrame* Frame() const { return m_frame; }

    // Puts `view` alone in the frame's client area, shown and laid out.
    template <class T>
    T* Show(T* view) {
        for (wxWindow* w : wxWindowList(m_frame->GetChildren()))
            if (w != view) w->Destroy();
        m_frame->SetClientSize(1000, 700);
        view->SetSize(m_frame->GetClientSize());
        PumpFor(150);
        return view;
    }

    // Ours: the median of `repeats` expand (collapse) calls, alone and with the repaint that
    // shows the result.
    struct Ours {
        double expand, collapse, expandPaint, collapsePaint;
    };
    Ours MeasureOurs(FarmTree* tree, wxDBTreeListItem* group, int repeats) {
        std::vector<double> e, c, ep, cp;
        wxDBListBody* body = tree->GetBody();
        for (int i = 0; i < repeats; ++i) {
            e.push_back(TimeMs([&] { tree->Expand(group); }));
            c.push_back(TimeMs([&] { tree->Collapse(group); }));
            ep.push_back(TimeMs([&] { tree->Expand(group), body->RedrawNow(); }));
            cp.push_back(TimeMs([&] { tree->Collapse(group), body->RedrawNow(); }));
        }
        return {Median(e), Median(c), Median(ep), Median(cp)};
    }

    // A wx control at growing sizes until 1M or until the next size would take too long;
    // then the last two sizes give the growth exponent and the time at 1M.
    WxFigures Ladder(const char* name, const std::function<WxSide*()>& make) {
        WxFigures f;
        f.name = name;
        const double budgetMs = 20000;
        long prevSize = 0;
        double prevExpand = 0, prevCollapse = 0;
        for (long n : {1000L, 4000L, 16000L, 64000L, 250000L, 1000000L}) {
            std::unique_ptr<WxSide> side(make());
            double build = 0;
            wxWindow* w = nullptr;
            build = TimeMs([&] { w = Show(side->Build(m_frame, n)); });
            std::vector<double> e, c;
            for (int i = 0; i < 3; ++i) {
                e.push_back(TimeMs([&] { side->Expand(), Settle(w); }));
                c.push_back(TimeMs([&] { side->Collapse(), Settle(w); }));
            }
            f.size = n;
            f.expand = Median(e);
            f.collapse = Median(c);
            printf("     %-15s %8ld jobs: build %9.1f ms, expand %9.2f ms, collapse %9.2f ms\n",
                   name, n, build, f.expand, f.collapse);
            fflush(stdout);
            if (prevSize) {
                f.exponent = std::log(std::max(f.expand, 1e-3) / std::max(prevExpand, 1e-3)) /
                             std::log(double(n) / prevSize);
            }
            const double growth = std::max(1.0, f.exponent);
            prevSize = n, prevExpand = f.expand, prevCollapse = f.collapse;
            const double next = (build + 3 * (f.expand + f.collapse)) * std::pow(4.0, growth);
            if (n < k_Million && next > budgetMs) break;
        }
        const double scale = double(k_Million) / f.size;
        f.extrapolated = f.size != k_Million;
        const double k = std::max(1.0, f.exponent);
        f.expandAt1M = f.expand * std::pow(scale, k);
        f.collapseAt1M = f.collapse * std::pow(scale, k);
        (void)prevCollapse;
        return f;
    }

    void T1() {
        FarmTree* tree = Show(new FarmTree(m_frame));
        Group* group = MakeGroup(k_Million);
        tree->AppendItem(nullptr, group);
        PumpFor(100);
        const Ours ours = MeasureOurs(tree, group, 21);
        const WxFigures list = Ladder("wxTreeListCtrl", [] { return new TreeListSide; });
        const WxFigures view = Ladder("wxDataViewCtrl", [] { return new DataViewSide; });
        const WxFigures& best = list.expandAt1M <= view.expandAt1M ? list : view;
        const WxFigures& bestC = list.collapseAt1M <= view.collapseAt1M ? list : view;
        char what[128];
        Line("T1", "expand 1M children: ours, 10 ms", ours.expand, 10, "ms", "<= 10 ms",
             ours.expand <= 10);
        Line("T1", "  with the repaint that shows it", ours.expandPaint, 10, "ms", "<= 10 ms",
             ours.expandPaint <= 10);
        snprintf(what, sizeof what, "expand 1M: ours / %s%s", best.name,
                 best.extrapolated ? " (extrapolated)" : "");
        Line("T1", what, ours.expandPaint, best.expandAt1M, "ms", "<= 0.1",
             ours.expandPaint <= 0.1 * best.expandAt1M);
        Line("T1", "collapse 1M children: ours, 10 ms", ours.collapse, 10, "ms", "<= 10 ms",
             ours.collapse <= 10);
        Line("T1", "  with the repaint that shows it", ours.collapsePaint, 10, "ms", "<= 10 ms",
             ours.collapsePaint <= 10);
        snprintf(what, sizeof what, "collapse 1M: ours / %s%s", bestC.name,
                 bestC.extrapolated ? " (extrapolated)" : "");
        Line("T1", what, ours.collapsePaint, bestC.collapseAt1M, "ms", "<= 0.1",
             ours.collapsePaint <= 0.1 * bestC.collapseAt1M);
        for (const WxFigures* f : {&list, &view}) {
            char note[200];
            if (f->extrapolated)
                snprintf(note, sizeof note,
                         "%s measured up to %ld jobs (expand %.1f ms, collapse %.1f ms), time "
                         "grows as size^%.2f: at 1M EXTRAPOLATED expand %.0f ms, collapse %.0f "
                         "ms",
                         f->name, f->size, f->expand, f->collapse, f->exponent, f->expandAt1M,
                         f->collapseAt1M);
            else
                snprintf(note, sizeof note, "%s measured at 1M: expand %.1f ms, collapse %.1f ms",
                         f->name, f->expandAt1M, f->collapseAt1M);
            Note(note);
        }
    }

    // 1000 groups of 1000 jobs, all open, inside one group that opens and closes.
    void T2() {
        FarmTree* tree = Show(new FarmTree(m_frame));
        Group* group = MakeGroup(1000, 1000);
        tree->AppendItem(nullptr, group);
        PumpFor(100);
        const Ours ours = MeasureOurs(tree, group, 21);
        tree->Expand(group);
        char what[128];
        snprintf(what, sizeof what, "expand 1M descendants (%d rows): ours", tree->GetItemCount());
        Line("T2", what, ours.expandPaint, 10, "ms", "<= 10 ms", ours.expandPaint <= 10);
        Line("T2", "collapse 1M descendants: ours", ours.collapsePaint, 10, "ms", "<= 10 ms",
             ours.collapsePaint <= 10);
        Note("(the wx controls forget the open state of hidden children, so they have no "
             "like-for-like figure here)");
        // A job leaving one group of 30k and joining another, both open: the demo's live farm.
        FarmTree* farm = Show(new FarmTree(m_frame));
        Group* a = MakeGroup(30000);
        Group* b = MakeGroup(30000);
        farm->AppendItem(nullptr, a)->SetExpanded(true);
        farm->AppendItem(nullptr, b)->SetExpanded(true);
        PumpFor(100);
        const int moves = 2000;
        uint32_t seed = 1;
        const double ms = TimeMs([&] {
            for (int i = 0; i < moves; ++i) {
                seed = Mix(seed + uint32_t(i));
                Group* from = i % 2 ? b : a;
                Group* to = i % 2 ? a : b;
                wxDBTreeListItem* job = from->GetChild(seed % from->GetChildCount());
                farm->MoveItem(job, to, seed % (to->GetChildCount() + 1));
            }
            farm->GetBody()->RedrawNow();
        });
        Line("T2", "move a job between open 30k groups: ours", 1000 * ms / moves, 0, "us", "info",
             true);
    }

    // Paint of the tree (one open group of 1M jobs) and of the flat list with the same rows,
    // at the group's top, middle and end; the two sides alternate round by round.
    void T3() {
        FarmTree* tree = Show(new FarmTree(m_frame));
        tree->AppendItem(nullptr, MakeGroup(k_Million))->SetExpanded(true);
        FarmList* flat = new FarmList(m_frame);
        flat->SetSize(tree->GetSize());
        flat->SetItemCount(tree->GetItemCount());
        flat->Hide();
        const int rounds = 6, per = 8;
        const char* where[] = {"top", "middle", "end"};
        for (int at = 0; at < 3; ++at) {
            std::vector<double> paint[2], draw[2];
            for (int round = 0; round < rounds; ++round)
                for (int side = 0; side < 2; ++side) {
                    wxDBListCtrl* list = side ? static_cast<wxDBListCtrl*>(flat) : tree;
                    (side ? tree : static_cast<wxDBListCtrl*>(flat))->Hide();
                    list->Show();
                    wxDBListBody* body = list->GetBody();
                    const int64_t range = body->GetScrollPixelRange(wxVERTICAL) -
                                          body->GetScrollPixelThumb(wxVERTICAL);
                    body->ScrollToPixel(wxVERTICAL, at == 0 ? 0 : at == 1 ? range / 2 : range);
                    PumpFor(60);
                    for (int i = 0; i < per + 2; ++i) {
                        const double p = TimeMs([&] { body->RedrawNow(); });
                        const double d = TimeMs([&] { body->DrawBitmap(); });
                        if (i >= 2) paint[side].push_back(p), draw[side].push_back(d);
                    }
                }
            char what[96];
            snprintf(what, sizeof what, "paint at the %s of 1M open jobs: tree / flat", where[at]);
            const double t = Median(paint[0]), f = Median(paint[1]);
            Line("T3", what, t, f, "ms", "<= 1.2", t <= 1.2 * f);
            snprintf(what, sizeof what, "  drawing alone, %s: tree / flat", where[at]);
            const double td = Median(draw[0]), fd = Median(draw[1]);
            Line("T3", what, td, fd, "ms", "<= 1.2", td <= 1.2 * fd);
        }
    }

private:
    wxFrame* m_frame;
};

// ---- pictures ----

// Every window of the tree gets the colour-change event, as a frame's scheme change sends it.
void Recolour(wxWindow* w) {
    wxSysColourChangedEvent event;
    event.SetEventObject(w);
    w->GetEventHandler()->ProcessEvent(event);
    for (wxWindow* child : w->GetChildren())
        Recolour(child);
}

// A small tree of three levels, some open, in the Light and the Dark scheme.
void Pictures(const std::string& dir) {
    wxFrame* frame = new wxFrame(nullptr, wxID_ANY, "tree", wxPoint(0, 0), wxDefaultSize);
    frame->SetClientSize(640, 300);
    FarmTree* tree = new FarmTree(frame);
    tree->SetSize(frame->GetClientSize());
    frame->Show();
    long job = 0;
    for (const char* type : {"Maya", "Nuke", "Houdini"}) {
        Group* t = new Group(type);
        for (const char* status : {"Rendering", "Queued", "Done"}) {
            Group* s = new Group(status);
            for (int i = 0; i < 3; ++i)
                s->AppendChild(new Job(job++));
            t->AppendChild(s);
        }
        tree->AppendItem(nullptr, t);
    }
    wxDBTreeListItem* maya = tree->GetRoot()->GetChild(0);
    tree->Expand(maya);
    tree->Expand(maya->GetChild(0));
    tree->Expand(tree->GetRoot()->GetChild(1));
    tree->SelectItem(maya->GetChild(0)->GetChild(1));
    for (int scheme : {1, 3}) {
        SetColors(scheme);
        Recolour(frame);
        tree->Redraw();
        PumpFor(300);
        const wxSize size = tree->GetClientSize();
        const wxPoint at = tree->ClientToScreen(wxPoint(0, 0));
        std::vector<unsigned char> rgb;
        wxImage image(size);
        if (GrabScreen(at.x, at.y, size.x, size.y, rgb))
            std::copy(rgb.begin(), rgb.end(), image.GetData());
        const std::string file = dir + "/tree-" + (scheme == 1 ? "light" : "dark") + ".png";
        image.SaveFile(file, wxBITMAP_TYPE_PNG);
        printf("picture: %s\n", file.c_str());
    }
    frame->Destroy();
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

void PrintHeader() {
    printf("bench_tree: wxDBTreeListCtrl vs wxTreeListCtrl and wxDataViewCtrl (tree model of "
           "our own); 1000x700 client area, 8 text columns.\n"
           "  T1   expand / collapse of a group of 1,000,000 jobs (children). Ours: the call, "
           "and the call with a synchronous\n"
           "       repaint (median of 21). wx: the call until the toolkit is idle (median of 3), "
           "at growing sizes; a size\n"
           "       that would take too long is not run, and 1M is EXTRAPOLATED from the last two "
           "sizes (labelled)\n"
           "  T2   a group of 1000 open groups of 1000 jobs (1,000,000 descendants); and one job "
           "moving between two open\n"
           "       groups of 30,000 (info)\n"
           "  T3   paint (RedrawNow) and drawing alone (DrawBitmap) of the tree with one open "
           "group of 1M jobs vs the flat\n"
           "       wxDBListCtrl with the same rows, at the group's top, middle and end\n");
    printf("%-4s %-52s %10s %10s %-3s %8s   %-12s %s\n", "", "figure", "ours", "other", "", "ratio",
           "goal", "");
}

} // namespace

int main(int argc, char** argv) {
    wxApp::SetInstance(new BenchApp);
    if (!wxEntryStart(argc, argv)) {
        fprintf(stderr, "bench_tree: cannot start wxWidgets (no display?)\n");
        return 0;
    }
    wxTheApp->CallOnInit();
    delete wxLog::SetActiveTarget(new wxLogStderr);
    wxInitAllImageHandlers();
    // --pictures DIR: only the Light and Dark pictures of a small tree.
    std::string pictures;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::string(argv[i]) == "--pictures") pictures = argv[i + 1];
    {
        wxEventLoop loop;
        wxEventLoopActivator active(&loop);
        SetColors(1);
        if (!pictures.empty()) {
            Pictures(pictures);
        } else {
            PrintHeader();
            Bench bench;
            bench.T3();
            bench.T2();
            bench.T1();
        }
        PumpFor(100);
    }
    fflush(stdout);
    wxTheApp->OnExit();
    wxEntryCleanup();
    return 0;
}
