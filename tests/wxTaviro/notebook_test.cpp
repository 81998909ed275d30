// The check list box driven by keys, clicks and its menu; the notebook's tab strip, tabs, pane
// borders and sashes in two schemes, and its wiring.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroColors.h>

using namespace taviro_test;

namespace {

// The Dark scheme and the palette renderer as the application's.
class Themed : public ::testing::Test {
protected:
    void SetUp() override {
        SetColors(3);
        m_Old = (wxRendererNative::Get(), wxRendererNative::Set(new wxsRenderer()));
    }
    void TearDown() override { delete wxRendererNative::Set(m_Old); }
    wxRendererNative* m_Old = nullptr;
};

wxColour Hex(unsigned rgb) {
    return wxColour((rgb >> 16) & 255, (rgb >> 8) & 255, rgb & 255);
}
template <class Event>
void Send(wxWindow* w, Event event, int x = 0, int y = 0) { // key code in x for key events
    if constexpr (std::is_same_v<Event, wxKeyEvent>) event.m_keyCode = x;
    if constexpr (std::is_same_v<Event, wxMouseEvent>) event.m_x = x, event.m_y = y;
    w->ProcessWindowEvent(event);
}
wxImage Paint(wxsCheckListBox* list) { // as on screen, scrolled
    const wxSize s = list->GetClientSize();
    return RenderToImage(s.x, s.y, [list](wxDC& dc) { list->DoPrepareDC(dc), list->OnDraw(dc); });
}

} // namespace

TEST_F(Themed, CheckListKeysAndMenuTickRowsAndReportTheNewState) {
    auto* list = new wxsCheckListBox(TopWindow(), wxID_ANY);
    std::vector<int> sent;
    list->Bind(wxEVT_CHECKLISTBOX, [&](wxCommandEvent& e) {
        EXPECT_TRUE(e.GetEventObject() == list && e.GetId() == list->GetId());
        sent.push_back(e.GetInt());
    });
    int data = 0;
    for (int key : {+WXK_SPACE, +WXK_DOWN, +WXK_END}) // empty: nothing to do
        Send(list, wxKeyEvent(wxEVT_KEY_DOWN), key);
    for (const char* s : {"b", "c", "d", "e"})
        list->Append(s);
    list->Insert("a", 0, &data);
    // Up without a selection selects nothing; Space toggles, + ticks, - clears.
    for (int key : {+WXK_UP, +WXK_DOWN, +WXK_SPACE, +WXK_SPACE, +WXK_SPACE, +WXK_DOWN, +'+',
                    +WXK_NUMPAD_SUBTRACT, +WXK_END, +WXK_DOWN, +WXK_SPACE, +WXK_UP})
        Send(list, wxKeyEvent(wxEVT_KEY_DOWN), key);
    EXPECT_EQ(sent, (std::vector<int>{1, 0, 1, 1, 0, 1})); // the state, not the row
    EXPECT_TRUE(list->IsChecked(0) && !list->IsChecked(1) && list->IsChecked(4));
    EXPECT_EQ(list->GetSelection(), 3);

    std::unique_ptr<wxMenu> menu(list->CreateContextMenu());
    EXPECT_TRUE(menu->GetLabel(9601) == "Check &All" && menu->GetLabel(9602) == "Check &None");
    sent.clear();
    Send(list, wxCommandEvent(wxEVT_MENU, 9601));
    Send(list, wxCommandEvent(wxEVT_MENU, 9602));
    EXPECT_EQ(sent, (std::vector<int>{1, 1, 1, 1, 1, -1, 0, 0, 0, 0, 0, -1}));
    EXPECT_FALSE(list->IsChecked(0) || list->IsChecked(4));

    list->Delete(1); // the selection stays on its row while others come and go...
    list->Insert("x", 0);
    EXPECT_EQ(list->GetStringSelection(), "d");
    list->Delete(3); // ...and goes with it
    EXPECT_TRUE(list->GetSelection() == wxNOT_FOUND && list->FindString("E") == 3);
    EXPECT_EQ(list->GetClientData(1), &data);
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
    Send(list, wxMouseEvent(wxEVT_LEFT_DOWN), 2, 3 * h + 2);     // row 3's box: tick, select
    Send(list, wxMouseEvent(wxEVT_LEFT_DOWN), h + 9, 5 * h + 2); // row 5's label: select
    EXPECT_TRUE(list->IsChecked(3) && !list->IsChecked(5) && list->GetSelection() == 5);
    const wxColour selected(230, 163, 48), face(108, 108, 108);
    wxImage img = Paint(list);
    EXPECT_PIXEL(img, h / 2, 3 * h + h / 2, selected); // a ticked box has the "Selected" face
    EXPECT_PIXEL(img, h / 2, 4 * h + h / 2, face);
    EXPECT_PIXEL(img, right, 5 * h + h / 2, selected);
    Send(list, wxKeyEvent(wxEVT_KEY_DOWN), WXK_END); // the last row comes into view, selected
    const int top = list->GetViewStart().y, last = (99999 - top) * h;
    ASSERT_TRUE(top > 0 && last < list->GetClientSize().y);
    img = Paint(list);
    EXPECT_PIXEL(img, right, last + h / 2, selected);
    EXPECT_PIXEL(img, h / 2, last - h / 2, face);
    Send(list, wxMouseEvent(wxEVT_LEFT_DOWN), 2, last + 2); // hits count from the top row in view
    EXPECT_TRUE(list->IsChecked(99999) && list->GetBackgroundColour() == Hex(0x383838));
}

TEST_F(Themed, TabsStripBordersAndSashesTakeTheSchemeInForce) {
    wxsTabArt art; // one art for both schemes: it reads the palette as it paints
    wxsDockArt dock;
    wxAuiPaneInfo pane;
    art.SetSizingInfo(wxSize(300, 30), 2, TopWindow());
    const struct {
        int scheme;
        unsigned lighter, darker, selected, text, border, sash;
    } schemes[] = {{1, 0xD2D2D2, 0xA8A8A8, 0xDEA33E, 0x343434, 0x898989, 0x9B9B9B},
                   {3, 0x5C5C5C, 0x383838, 0xE6A330, 0xEBEBEB, 0x787878, 0x6C6C6C}};
    for (const auto& s : schemes) {
        SetColors(s.scheme);
        wxAuiNotebookPage on, off;
        on.caption = "Jobs", off.caption = "Log", on.active = true, off.active = false;
        wxRect tab[2], button;
        int extent = 0;
        const wxImage img = RenderToImage(340, 30, [&](wxDC& dc) {
            art.DrawBackground(dc, TopWindow(), wxRect(0, 0, 300, 30));
            art.DrawTab(dc, TopWindow(), on, {0, 0, 150, 30}, 0, &tab[0], &button, &extent);
            art.DrawTab(dc, TopWindow(), off, {150, 0, 150, 30}, 0, &tab[1], &button, &extent);
            dock.DrawBorder(dc, TopWindow(), wxRect(300, 0, 20, 30), pane);
            dock.DrawSash(dc, TopWindow(), wxVERTICAL, wxRect(325, 0, 10, 30));
        });
        EXPECT_PIXEL(img, 295, 0, Hex(s.lighter)); // the strip lightens towards its top...
        EXPECT_PIXEL(img, 295, 26, Hex(s.darker)); // ...the band along the pages starts darker
        EXPECT_PIXEL(img, tab[0].x + 3, tab[0].y + 2, Hex(s.selected));
        EXPECT_PIXEL(img, tab[0].x + 5, 26, Hex(s.lighter)); // the active tab opens to its page
        EXPECT_PIXEL(img, tab[1].x + 3, tab[1].y + 2, Hex(s.lighter)); // shading darker below
        EXPECT_LT(img.GetRed(tab[1].x + 3, 25), Hex(s.lighter).Red() - 5);
        EXPECT_PIXEL(img, tab[1].x, tab[1].y + 10, OffsetColor(Hex(s.darker), -20, -20, -20));
        // The active caption reads on its tab: its strongest ink has 4.5:1 on the tab's face.
        double best = 1;
        for (int y = tab[0].y; y <= tab[0].GetBottom(); ++y)
            for (int x = tab[0].x; x <= tab[0].GetRight(); ++x)
                best = std::max(best, wxsContrast(wxColour(img.GetRed(x, y), img.GetGreen(x, y),
                                                           img.GetBlue(x, y)),
                                                  Hex(s.selected)));
        EXPECT_GE(best, 4.5) << s.scheme;
        // The inactive text is darker (told apart on a dark strip).
        EXPECT_TRUE(s.scheme != 3 || CountPixels(img, tab[1], Hex(s.text), 8) == 0);
        EXPECT_TRUE(PixelNear(img, 300, 15, Hex(s.border)) && PixelNear(img, 310, 15, *wxWHITE));
        EXPECT_TRUE(RegionNear(img, wxRect(325, 0, 10, 30), Hex(s.sash)));
    }
    art.SetFlags(wxAUI_NB_BOTTOM); // tabs at the bottom: the band at the top
    auto strip = [&](wxDC& dc) { art.DrawBackground(dc, nullptr, {0, 0, 300, 30}); };
    EXPECT_PIXEL(RenderToImage(300, 30, strip), 295, 0, Hex(0x383838));
}

TEST_F(Themed, NotebookUsesItsArtAndKeepsItsPageWhenAControlTakesTheFocus) {
    auto* nb = new wxsNotebook(TopWindow(), wxID_ANY);
    auto* second = new wxsPanel(nb);
    nb->AddPage(new wxsPanel(nb), "One");
    nb->AddPage(second, "Two");
    EXPECT_TRUE(dynamic_cast<wxsTabArt*>(nb->GetArtProvider()) &&
                dynamic_cast<wxsDockArt*>(nb->GetAuiManager().GetArtProvider()));
    EXPECT_EQ(nb->GetBackgroundColour(), wxColour(72, 72, 72));
    Send(second, wxChildFocusEvent(second));
    EXPECT_EQ(nb->GetSelection(), 0);
    // Showing the page already shown (a filter field's handler does) leaves the focus alone.
    auto* field = new wxTextCtrl(TopWindow(), wxID_ANY);
    field->SetFocus();
    ASSERT_TRUE(WaitFor([&] { return wxWindow::FindFocus() == field; }));
    nb->SetSelection(0);
    PumpEvents();
    EXPECT_EQ(wxWindow::FindFocus(), field);
    field->Destroy();
}
