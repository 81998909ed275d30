// The check list box driven by keys, clicks and its menu, and the notebook: its tab strip, tabs,
// pane borders and sashes in two schemes, and its wiring.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroColors.h>

using namespace taviro_test;

namespace {

class Themed : public ::testing::Test {
protected:
    void SetUp() override {
        SetColors(3);
        m_Old = (wxRendererNative::Get(), wxRendererNative::Set(new wxsRenderer()));
    }
    void TearDown() override { delete wxRendererNative::Set(m_Old); }
    wxRendererNative* m_Old = nullptr;
};

void Key(wxWindow* w, int key) {
    wxKeyEvent e(wxEVT_KEY_DOWN);
    e.m_keyCode = key;
    w->ProcessWindowEvent(e);
}
void Menu(wxWindow* w, int id) {
    wxCommandEvent e(wxEVT_MENU, id);
    w->ProcessWindowEvent(e);
}
void Click(wxWindow* w, int x, int y) {
    wxMouseEvent e(wxEVT_LEFT_DOWN);
    e.m_x = x, e.m_y = y;
    w->ProcessWindowEvent(e);
}
wxImage Paint(wxsCheckListBox* list) { // as on screen, scrolled
    const wxSize s = list->GetClientSize();
    return RenderToImage(s.x, s.y, [list](wxDC& dc) { list->DoPrepareDC(dc), list->OnDraw(dc); });
}

} // namespace

// ---- wxsCheckListBox ----

TEST_F(Themed, CheckListKeysAndMenuTickRowsAndReportTheNewState) {
    auto* list = new wxsCheckListBox(TopWindow(), wxID_ANY);
    std::vector<int> sent;
    list->Bind(wxEVT_CHECKLISTBOX, [&](wxCommandEvent& e) {
        EXPECT_TRUE(e.GetEventObject() == list && e.GetId() == list->GetId());
        sent.push_back(e.GetInt());
    });
    for (int key : {+WXK_SPACE, +WXK_DOWN, +WXK_END, +WXK_PAGEDOWN}) // empty: nothing to do
        Key(list, key);
    int data = 0;
    for (const char* s : {"b", "c", "d", "e"})
        list->Append(s);
    list->Insert("a", 0, &data);
    Key(list, WXK_UP); // no selection: stays none
    EXPECT_EQ(list->GetSelection(), wxNOT_FOUND);
    for (int key : {+WXK_DOWN, +WXK_SPACE, +WXK_DOWN, +'+', +WXK_NUMPAD_SUBTRACT, +WXK_END,
                    +WXK_DOWN, +WXK_SPACE, +WXK_UP})
        Key(list, key);
    EXPECT_EQ(sent, (std::vector<int>{1, 1, 0, 1})); // the state, not the row
    EXPECT_TRUE(list->IsChecked(0) && !list->IsChecked(1) && list->IsChecked(4));
    EXPECT_EQ(list->GetSelection(), 3);

    std::unique_ptr<wxMenu> menu(list->CreateContextMenu());
    EXPECT_EQ(menu->GetLabel(9601), "Check &All");
    EXPECT_EQ(menu->GetLabel(9602), "Check &None");
    sent.clear();
    Menu(list, 9601);
    Menu(list, 9602);
    EXPECT_EQ(sent, (std::vector<int>{1, 1, 1, 1, 1, -1, 0, 0, 0, 0, 0, -1}));
    EXPECT_FALSE(list->IsChecked(0) || list->IsChecked(4));

    // The selection stays on its row while rows come and go, and goes with its row.
    list->Delete(1);
    list->Insert("x", 0);
    EXPECT_EQ(list->GetStringSelection(), "d");
    list->Delete(3);
    EXPECT_EQ(list->GetSelection(), wxNOT_FOUND);
    EXPECT_TRUE(list->FindString("E") == 3 && list->GetClientData(1) == &data);
    list->Clear();
    Key(list, WXK_SPACE);
    EXPECT_EQ(list->GetCount(), 0u);
}

TEST_F(Themed, CheckListClicksAndALongListPaintTheRowsInView) {
    auto* list = new wxsCheckListBox(TopWindow(), wxID_ANY);
    wxArrayString rows;
    for (int i = 0; i < 100000; ++i)
        rows.Add(wxString::Format("row %d", i));
    list->Append(rows);
    list->SetSize(300, 205);
    PumpEvents();
    const int h = list->GetRowHeight(), right = list->GetClientSize().x - 3;
    Click(list, 2, 3 * h + 2);     // on row 3's box: ticks and selects it
    Click(list, h + 9, 5 * h + 2); // on row 5's label: selects it only
    EXPECT_TRUE(list->IsChecked(3) && !list->IsChecked(5) && list->GetSelection() == 5);
    const wxColour selected(230, 163, 48), face(108, 108, 108);
    wxImage img = Paint(list);
    EXPECT_PIXEL(img, h / 2, 3 * h + h / 2, selected); // a ticked box has the "Selected" face
    EXPECT_PIXEL(img, h / 2, 4 * h + h / 2, face);
    EXPECT_PIXEL(img, right, 5 * h + h / 2, selected);
    Key(list, WXK_END); // the last row comes into view, selected
    const int top = list->GetViewStart().y, last = (99999 - top) * h;
    ASSERT_TRUE(top > 0 && last < list->GetClientSize().y);
    img = Paint(list);
    EXPECT_PIXEL(img, right, last + h / 2, selected);
    EXPECT_PIXEL(img, h / 2, last - h / 2, face);
}

// ---- wxsNotebook, wxsTabArt, wxsDockArt ----

TEST_F(Themed, TabsStripBordersAndSashesTakeTheSchemeInForce) {
    wxsTabArt art; // one art for all schemes: it reads the palette as it paints
    wxsDockArt dock;
    wxAuiPaneInfo pane;
    art.SetSizingInfo(wxSize(300, 30), 2, TopWindow());
    const struct {
        int scheme;
        wxColour bg, lighter, darker, selected, text, border, face;
    } schemes[] = {{1,
                    {185, 185, 185},
                    {210, 210, 210},
                    {168, 168, 168},
                    {222, 163, 62},
                    {52, 52, 52},
                    {137, 137, 137},
                    {155, 155, 155}},
                   {3,
                    {72, 72, 72},
                    {92, 92, 92},
                    {56, 56, 56},
                    {230, 163, 48},
                    {235, 235, 235},
                    {120, 120, 120},
                    {108, 108, 108}}};
    for (const auto& s : schemes) {
        SetColors(s.scheme);
        wxAuiNotebookPage active, inactive;
        active.caption = "Jobs", active.active = true, inactive.caption = "Log";
        inactive.active = active.hover = inactive.hover = false;
        wxRect tab[2], button;
        int extent = 0;
        const wxImage img = RenderToImage(340, 30, [&](wxDC& dc) {
            art.DrawBackground(dc, TopWindow(), wxRect(0, 0, 300, 30));
            art.DrawTab(dc, TopWindow(), active, {0, 0, 150, 30}, 0, &tab[0], &button, &extent);
            art.DrawTab(dc, TopWindow(), inactive, {150, 0, 150, 30}, 0, &tab[1], &button, &extent);
            dock.DrawBorder(dc, TopWindow(), wxRect(300, 0, 20, 30), pane);
            dock.DrawSash(dc, TopWindow(), wxVERTICAL, wxRect(325, 0, 10, 30));
        });
        EXPECT_PIXEL(img, 295, 0, s.lighter); // the strip lightens to its top...
        EXPECT_PIXEL(img, 295, 26, s.darker); // ...and the band along the pages starts darker
        EXPECT_PIXEL(img, tab[0].x + 3, tab[0].y + 2, s.selected);
        EXPECT_PIXEL(img, tab[0].x + 5, 26, s.lighter); // the active tab opens into its page
        EXPECT_PIXEL(img, tab[1].x + 3, tab[1].y + 2, s.lighter);
        EXPECT_PIXEL(img, tab[1].x, tab[1].y + 10, OffsetColor(s.darker, -20, -20, -20));
        EXPECT_GT(CountPixels(img, tab[0], s.text, 30), 0);
        if (s.scheme == 3) { // the inactive text is darker (told apart on a dark strip)
            EXPECT_EQ(CountPixels(img, tab[1], s.text, 8), 0);
        }
        EXPECT_PIXEL(img, 300, 15, s.border);
        EXPECT_PIXEL(img, 310, 15, *wxWHITE); // a border only
        EXPECT_TRUE(RegionNear(img, wxRect(325, 0, 10, 30), s.face));
    }
    art.SetFlags(wxAUI_NB_BOTTOM); // tabs at the bottom: the band at the top
    const wxImage bottom = RenderToImage(
        300, 30, [&](wxDC& dc) { art.DrawBackground(dc, TopWindow(), wxRect(0, 0, 300, 30)); });
    EXPECT_PIXEL(bottom, 295, 0, wxColour(56, 56, 56));
}

TEST_F(Themed, NotebookUsesItsArtAndKeepsItsPageWhenAControlTakesTheFocus) {
    auto* nb = new wxsNotebook(TopWindow(), wxID_ANY);
    auto* second = new wxsPanel(nb);
    nb->AddPage(new wxsPanel(nb), "One");
    nb->AddPage(second, "Two");
    EXPECT_TRUE(dynamic_cast<wxsTabArt*>(nb->GetArtProvider()));
    EXPECT_TRUE(dynamic_cast<wxsDockArt*>(nb->GetAuiManager().GetArtProvider()));
    EXPECT_EQ(nb->GetBackgroundColour(), wxColour(72, 72, 72));
    wxChildFocusEvent focus(second);
    second->ProcessWindowEvent(focus);
    EXPECT_EQ(nb->GetSelection(), 0);
}
