// The text line viewer: stored text, sorted insertion, selection and copy, following the end,
// search in both directions over many blocks, the remembered case setting, and bad input.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTextLineCtrl.h>

#include <ostrum/Application.h>
#include <ostrum/File.h>

#include <wx/clipbrd.h>
#include <wx/modalhook.h>

using namespace taviro_test;

namespace {

int CharWidth(wxWindow* w) {
    return w->GetTextExtent("M").x;
}

// A control of the given number of visible lines inside its own panel, filled with lines.
wxTextLineCtrl* MakeLines(const std::vector<String>& lines, int visibleLines = 10) {
    auto* c = new wxTextLineCtrl(new wxPanel(TopWindow()));
    c->SetSize(60 * CharWidth(c), visibleLines * c->GetTextExtent("M").y);
    PumpEvents();
    for (const String& l : lines)
        c->Append(l, false);
    return c;
}

void Mouse(wxWindow* w, wxEventType type, int y) {
    wxMouseEvent e(type);
    e.m_y = y;
    w->ProcessWindowEvent(e);
}

void Key(wxWindow* w, int code, bool ctrl = false) {
    wxKeyEvent e(wxEVT_KEY_DOWN);
    e.m_keyCode = code;
    e.SetControlDown(ctrl);
    w->ProcessWindowEvent(e);
}

String Clipboard() {
    wxTextDataObject data;
    if (!wxTheClipboard->Open()) return "(no clipboard)";
    wxTheClipboard->GetData(data);
    wxTheClipboard->Close();
    return wxToString(data.GetText());
}

// An application whose "not found" message is silenced, so no modal box waits for a click.
struct QuietApp : Application {
    QuietApp() : Application(LL_Debug, LL_Fatal) {
        GetOptions()->SetValue("Confirm", "TextLineSearchNotFound", "1");
    }
};

std::tuple<int, int, int> Hit(wxTextLineCtrl* c) {
    int line = -1, column = -1, length = -1;
    return c->GetSearchHit(line, column, length) ? std::make_tuple(line, column, length)
                                                 : std::make_tuple(-1, -1, -1);
}

} // namespace

TEST(TextLine, TabsAndSortedInsertion) {
    QuietApp app;
    wxTextLineCtrl* c = MakeLines({});
    EXPECT_EQ(c->Append("a\tb", false), 0);
    EXPECT_EQ(c->GetLine(0), "a    b");
    EXPECT_EQ(c->GetScrollRange(wxHORIZONTAL), 7 * CharWidth(c));
    c->Append("\t\tx\t", false);
    EXPECT_EQ(c->GetLine(1), String(8, ' ') + "x    ");

    // Bytewise lower bound: a shorter prefix first, bytes above 127 after ASCII, and a new line
    // goes before equal ones.
    const std::tuple<std::vector<String>, String, int> cases[] = {
        {{"a", "c"}, "b", 1},  {{"a", "c"}, "a", 0},        {{"a", "ab"}, "aa", 1},
        {{"ab", "b"}, "a", 0}, {{"a", "z"}, "\xc3\xa9", 2}, {{"b", "b", "b"}, "b", 0},
        {{"a    a", "a!"}, "a\ta", 0}}; // placed as stored: "a    a", before "a!"
    for (const auto& [lines, add, index] : cases) {
        wxTextLineCtrl* s = MakeLines(lines);
        EXPECT_EQ(s->Append(add, true), index) << add;
        EXPECT_EQ(s->GetCount(), int(lines.size()) + 1);
        for (int i = 0; i < s->GetCount(); ++i)
            EXPECT_EQ(s->GetLine(i), i == index ? s->GetLine(i) : lines[size_t(i - (i > index))]);
        // The search walks the reordered text.
        s->Search(s->GetLine(index), true, true);
        EXPECT_EQ(std::get<0>(Hit(s)), index) << add;
    }
}

TEST(TextLine, SelectionBothWaysCopiesAscending) {
    std::vector<String> lines;
    for (int i = 0; i < 8; ++i)
        lines.push_back(SFormat("line %d", i));
    wxTextLineCtrl* c = MakeLines(lines);
    const int h = c->GetTextExtent("M").y;

    // With nothing selected the clipboard is emptied.
    ASSERT_TRUE(wxTheClipboard->Open());
    wxTheClipboard->SetData(new wxTextDataObject("old"));
    wxTheClipboard->Close();
    c->CopySelectionToClipboard();
    EXPECT_EQ(Clipboard(), "");

    const String expected = "line 2" + k_NL + "line 3" + k_NL + "line 4" + k_NL + "line 5" + k_NL;
    for (auto [from, to] : {std::pair{5, 2}, std::pair{2, 5}}) {
        Mouse(c, wxEVT_LEFT_DOWN, from * h + 1);
        Mouse(c, wxEVT_MOTION, to * h + 1);
        Mouse(c, wxEVT_LEFT_UP, to * h + 1);
        int anchor, end;
        c->GetSelection(anchor, end);
        EXPECT_EQ(std::make_pair(anchor, end), std::make_pair(from, to));
        c->CopySelectionToClipboard();
        EXPECT_EQ(Clipboard(), expected);
    }
    // A press below the last line anchors at the first line entered.
    Mouse(c, wxEVT_LEFT_DOWN, 9 * h + 1);
    Mouse(c, wxEVT_MOTION, 6 * h + 1);
    Mouse(c, wxEVT_MOTION, 4 * h + 1);
    Mouse(c, wxEVT_LEFT_UP, 4 * h + 1);
    int anchor, end;
    c->GetSelection(anchor, end);
    EXPECT_EQ(std::make_pair(anchor, end), std::make_pair(6, 4));
    Key(c, WXK_ESCAPE);
    c->GetSelection(anchor, end);
    EXPECT_EQ(std::make_pair(anchor, end), std::make_pair(-1, -1));
}

TEST(TextLine, FollowsTheEndOnlyFromTheEnd) {
    wxTextLineCtrl* c = MakeLines({}, 10);
    const int h = c->GetTextExtent("M").y;
    for (int i = 0; i < 100; ++i)
        c->Append(SFormat("%d", i), false);
    auto bottom = [&] { return c->GetScrollRange(wxVERTICAL) - c->GetScrollThumb(wxVERTICAL); };
    const int pos = c->GetScrollPos(wxVERTICAL); // first: any read settles the bars
    EXPECT_EQ(c->GetScrollRange(wxVERTICAL), 100 * h);
    EXPECT_EQ(pos, bottom());
    c->Append(String(200, 'w'), false);
    EXPECT_EQ(c->GetScrollPos(wxVERTICAL), bottom());

    Key(c, WXK_PAGEUP, true);
    EXPECT_EQ(c->GetScrollPos(wxVERTICAL), 0);
    c->Append("more", false);
    EXPECT_EQ(c->GetScrollPos(wxVERTICAL), 0);
    Key(c, WXK_PAGEDOWN, true);
    EXPECT_EQ(c->GetScrollPos(wxVERTICAL), bottom());
    Key(c, WXK_END);
    EXPECT_EQ(c->GetScrollPos(wxHORIZONTAL),
              c->GetScrollRange(wxHORIZONTAL) - c->GetScrollThumb(wxHORIZONTAL));
    EXPECT_GT(c->GetScrollPos(wxHORIZONTAL), 0);
}

TEST(TextLine, SearchDirectionsNoWrapAndRememberedCase) {
    QuietApp app;
    wxTextLineCtrl* c = MakeLines({"error", "x", "Err"});
    c->Search("err", true, false);
    EXPECT_EQ(Hit(c), std::make_tuple(0, 0, 3));
    c->Search("err", true, false);
    EXPECT_EQ(Hit(c), std::make_tuple(2, 0, 3));
    c->Search("err", true, false); // no wrap-around: not found, hit cleared
    EXPECT_EQ(Hit(c), std::make_tuple(-1, -1, -1));
    c->Search("Err", true, true);
    EXPECT_EQ(Hit(c), std::make_tuple(2, 0, 3));
    c->Search("rr", false, false);
    EXPECT_EQ(Hit(c), std::make_tuple(0, 1, 2));
    c->Search("rr", false, false);
    EXPECT_EQ(Hit(c), std::make_tuple(-1, -1, -1));
    c->Search("r", false, true); // from the top visible line, inclusive
    EXPECT_EQ(Hit(c), std::make_tuple(0, 1, 1));
    c->Search("Err", true, true);
    c->Erase(2), c->Erase(1); // the hit now lies past the end: going up starts at the last line
    c->Search("r", false, true);
    EXPECT_EQ(Hit(c), std::make_tuple(0, 1, 1));

    // Many blocks: hits found in both directions at the first column of their line, never in
    // an erased line's text.
    std::vector<String> lines(30000, String(60, '.'));
    lines[25000] = "..needle..NEEDLE";
    lines[29000] = "NeEDLe";
    wxTextLineCtrl* big = MakeLines(lines);
    Key(big, WXK_PAGEUP, true);
    big->Search("NEEDLE", true, true);
    EXPECT_EQ(Hit(big), std::make_tuple(25000, 10, 6));
    EXPECT_GT(big->GetScrollPos(wxVERTICAL), 0); // scrolled to the hit
    big->Search("needle", true, false);
    EXPECT_EQ(Hit(big), std::make_tuple(29000, 0, 6));
    big->Search("needle", false, false);
    EXPECT_EQ(Hit(big), std::make_tuple(25000, 2, 6));
    big->Erase(25000);
    big->Search("absent", true, true); // clears the hit: the next search starts at the view
    Key(big, WXK_PAGEDOWN, true);
    big->Search("needle", false, true);
    EXPECT_EQ(Hit(big), std::make_tuple(-1, -1, -1));

    // "Match Case" starts on, is written through when changed, and a new bar starts with it.
    wxsCheckBox* box = c->GetSearchPanel()->GetCaseBox();
    EXPECT_TRUE(box->GetValue());
    box->SetValue(false);
    wxCommandEvent toggled(wxEVT_CHECKBOX, box->GetId());
    toggled.SetEventObject(box);
    box->ProcessWindowEvent(toggled);
    EXPECT_EQ(app.GetOptions()->GetValue("Search", "CaseSensitive", String()), "0");
    EXPECT_FALSE(MakeLines({})->GetSearchPanel()->GetCaseBox()->GetValue());

    // Ctrl+F opens the bar and goes no further: a frame's own Ctrl+F must not see it.
    wxKeyEvent ctrlF(wxEVT_KEY_DOWN);
    ctrlF.m_keyCode = 'F';
    ctrlF.SetControlDown(true);
    EXPECT_TRUE(c->ProcessWindowEvent(ctrlF));
    EXPECT_TRUE(c->GetSearchPanel()->IsShown());
}

TEST(TextLine, BadInputIsKeptAndShown) {
    // An unwritable place: the error says where, and the lines stay.
    wxTextLineCtrl* c = MakeLines({"one", "two"});
    const String blocker = MakeTempDir() + "/file";
    File::AtomicWrite(blocker, "x");
    try {
        c->SaveToFile(blocker + "/log.txt");
        ADD_FAILURE() << "saved below a file";
    } catch (Exception* e) {
        EXPECT_NE(e->Format().find(blocker), String::npos) << e->Format();
        delete e;
    }
    EXPECT_EQ(c->GetCount(), 2);
    const String good = MakeTempDir() + "/log.txt";
    c->SaveToFile(good);
    EXPECT_EQ(File::ReadAll(good), "one" + k_NL + "two" + k_NL);

    // A NUL and broken UTF-8 are stored as they are; the text after the NUL is still drawn.
    const String odd("a\0b\xff\xc3", 5);
    wxTextLineCtrl* o = MakeLines({odd});
    EXPECT_EQ(o->GetLine(0), odd);
    o->Search("b", true, true);
    EXPECT_EQ(Hit(o), std::make_tuple(0, 2, 1));
    o->SelectAll();
    o->CopySelectionToClipboard(); // the copy is not cut short at the NUL either
    EXPECT_NE(Clipboard().find('b'), String::npos);
    o->RedrawNow();
    ASSERT_TRUE(WaitFor([&] { return o->GetBuffer() != nullptr; }));
    const wxImage image = o->GetBuffer()->ConvertToImage();
    const int cw = CharWidth(o), h = o->GetTextExtent("M").y;
    const wxColour bg = o->GetBackgroundColour();
    for (int column : {0, 1, 3}) // "a", the NUL's and the broken byte's marks
        EXPECT_GT(cw * h - CountPixels(image, wxRect(cw / 2 + column * cw, 0, cw, h), bg), 0)
            << column;
    // The hit ("b", third cell) is inverted: its top corner against the row's fill further on.
    const wxColour fill(image.GetRed(8 * cw, 0), image.GetGreen(8 * cw, 0),
                        image.GetBlue(8 * cw, 0));
    EXPECT_PIXEL(image, cw / 2 + 2 * cw, 0,
                 wxColour(255 - fill.Red(), 255 - fill.Green(), 255 - fill.Blue()));
}

// Either of the viewer and its bar may go alone; the line limit drops the first lines and
// keeps what points at the rest; a failed save is said every time.
TEST(TextLine, PartsGoAloneTheLimitDropsTheFirstLinesAndSaveFailuresAreAlwaysShown) {
    QuietApp app;
    wxTextLineCtrl* c = MakeLines({"a"});
    c->GetSearchPanel()->Destroy();
    ASSERT_TRUE(WaitFor([&] { return c->GetSearchPanel() == nullptr; }));
    Key(c, 'F', true); // no bar to open
    wxTextLineCtrl* d = MakeLines({"a"});
    wxTextLineSearchPanel* bar = d->GetSearchPanel();
    bar->GetSearchField()->SetValue("a");
    d->Destroy();
    wxCommandEvent enter(wxEVT_TEXT_ENTER, bar->GetSearchField()->GetId());
    bar->ProcessWindowEvent(enter); // no viewer to search

    std::vector<String> lines;
    for (int i = 0; i < 10; ++i)
        lines.push_back("line " + String::FromInt(i));
    wxTextLineCtrl* l = MakeLines(lines, 4);
    Key(l, WXK_PAGEUP, true);
    l->Search("line 7", true, true);
    Key(l, WXK_PAGEUP, true);
    Mouse(l, wxEVT_LEFT_DOWN, 1), Mouse(l, wxEVT_LEFT_UP, 1); // line 0 selected,
    l->SetLineLimit(8);                                           // and dropped
    EXPECT_EQ(std::make_tuple(l->GetCount(), l->GetLine(0), l->GetDroppedLines()),
              std::make_tuple(8, String("line 2"), uint64_t(2)));
    EXPECT_EQ(std::get<0>(Hit(l)), 5); // still on "line 7"
    int anchor = 0, end = 0;
    l->GetSelection(anchor, end);
    EXPECT_EQ(std::make_pair(anchor, end), std::make_pair(-1, -1));
    l->SelectAll();
    l->Append("line 10");
    l->GetSelection(anchor, end);
    EXPECT_EQ(std::make_tuple(l->GetCount(), l->GetLine(7), anchor, end),
              std::make_tuple(8, String("line 10"), 0, 6));
    l->Search("line 2", false, true); // gone with the first lines
    EXPECT_EQ(Hit(l), std::make_tuple(-1, -1, -1));

    // A failure to save is shown each time: nothing can silence it.
    struct Hook : wxModalDialogHook {
        Hook() { Register(); }
        ~Hook() override { Unregister(); }
        int Enter(wxDialog*) override { return ++errors, wxID_OK; }
        void Exit(wxDialog*) override {}
        int errors = 0;
    } hook;
    const String folder = MakeTempDir() + "/folder"; // a folder where the file would go
    File::CreateDirectories(folder);
    EXPECT_FALSE(l->SaveAs(folder) || l->SaveAs(folder));
    EXPECT_EQ(hook.errors, 2);
}

// The case fold of every letter both ways, and non-ASCII text, against a plain search.
TEST(TextLine, CaseInsensitiveSearchMatchesAPlainSearch) {
    auto fold = [](String t) {
        for (char& ch : t)
            if (ch >= 'A' && ch <= 'Z') ch = char(ch + 32);
        return t;
    };
    std::vector<String> lines, needles;
    for (char ch = 'a'; ch <= 'z'; ++ch) {
        const String lower = String(1, ch) + "q" + String(1, ch), upper = fold(lower).Upper();
        lines.push_back("log " + upper + " end"), needles.push_back(lower);
        lines.push_back("log " + lower + " end"), needles.push_back(upper);
    }
    for (const char* text : {"Gr\xc3\xb6\xc3\x9f" "e", "\xc3\x84RGER", "\xc3\xa9t\xc3\xa9"}) {
        lines.push_back(String("x ") + text);
        needles.push_back(fold(text).Upper());
    }
    wxTextLineCtrl* c = MakeLines(lines);
    for (const String& needle : needles) {
        int first = -1, last = -1;
        for (int i = 0; i < int(lines.size()); ++i)
            if (fold(lines[size_t(i)]).find(fold(needle)) != String::npos)
                last = i, first = first < 0 ? i : first;
        size_t offset = 0;
        EXPECT_EQ(c->GetStore().Find(needle, false, 0, true, &offset), first) << needle;
        EXPECT_EQ(c->GetStore().Find(needle, false, int(lines.size()) - 1, false, &offset), last)
            << needle;
    }
}
