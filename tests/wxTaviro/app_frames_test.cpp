// The frame and dialog bases and the confirmation dialog, in a started application.
#include "tests/wxTaviro/AppFixture.h"

#include <wxTaviro/wxConfirmDlg.h>
#include <wxTaviro/wxTaviroFrame.h>

using namespace taviro_test;

namespace {

// A frame whose maximised state the test decides (no window manager maximises under Xvfb).
struct _Frame : wxTaviroFrame {
    _Frame() : wxTaviroFrame("frame test", wxDefaultPosition, wxSize(400, 300)) {}
    bool IsMaximized() const override { return m_Max; }
    void SizeHasChanged(const wxSize& size, const wxSize&, bool restoring) override {
        m_Reported.push_back({size, restoring});
    }
    void Send(int w, int h) {
        wxSizeEvent e(wxSize(w, h), GetId());
        ProcessWindowEvent(e);
    }
    using wxTaviroFrame::m_GuiBuilt;
    bool m_Max = false;
    std::vector<std::pair<wxSize, bool>> m_Reported;
};

String Option(const String& section, const String& key) {
    return App().GetOptions()->GetValue(section, key, "");
}

TEST_F(AppTest, PlacementHoldsAfterShowAndTheSizeFilterKeepsTheNormalSize) {
    App().GetOptions()->SetValue("Window", "Window", "60, 70, 520, 410");
    App().GetOptions()->SetValue("Window", "IsMaximized", "perhaps");
    std::unique_ptr<_Frame> f(new _Frame);
    f->LoadWindowPosition();
    f->Show();
    PumpEvents(10);
    EXPECT_EQ(f->GetRect(), wxRect(60, 70, 520, 410));
    EXPECT_FALSE(f->WasMaximized());

    f->Send(500, 400);
    EXPECT_TRUE(f->m_Reported.empty()); // not built yet
    f->m_GuiBuilt = true;
    f->Send(500, 400);
    f->Send(500, 400); // a duplicate
    ASSERT_EQ(f->m_Reported.size(), 1u);
    f->m_Max = true; // maximising reports the size but keeps the normal one
    f->Send(1200, 900);
    EXPECT_EQ(f->GetNormalSize(), wxSize(500, 400));
    f->SaveWindowPosition();
    EXPECT_EQ(Option("Window", "Window"), "60, 70, 500, 400");
    EXPECT_EQ(Option("Window", "IsMaximized"), k_Yes);
    f->m_Max = false; // leaving it with another size forces the normal size back
    f->Send(1100, 850);
    EXPECT_EQ(f->GetSize(), wxSize(500, 400));
    // Only the resize's own event is reported, on the ordinary path.
    ASSERT_TRUE(WaitFor([&] { return f->m_Reported.size() == 3; }));
    EXPECT_EQ(f->m_Reported[2], std::make_pair(wxSize(500, 400), false));
    // While a menu is open no window counts as active.
    wxMenuEvent open(wxEVT_MENU_HIGHLIGHT), close(wxEVT_MENU_CLOSE);
    f->ProcessWindowEvent(open);
    EXPECT_FALSE(ParentIsActive(nullptr));
    f->ProcessWindowEvent(close);
    EXPECT_TRUE(ParentIsActive(nullptr));
}

TEST_F(AppTest, MainFrameTakesItsChildFramesWithIt) {
    int closed = 0;
    const SlotId id = wxTaviroFrame::s_WinClosed.Connect([&] { ++closed; });
    auto* main = new _Frame;
    auto* a = new _Frame;
    auto* b = new _Frame;
    new wxTaviroFrame(main, "tool", 0);
    EXPECT_TRUE(App().HasRequestHandler("colors"));
    delete a; // a child takes only itself
    EXPECT_EQ(wxTaviroFrame::GetChildFrames(), std::set<wxTaviroFrame*>({b}));
    b->Destroy(); // due for deletion by wx: deleted once, by the main frame
    delete main;
    EXPECT_EQ(closed, 4); // a, b, the tool frame (a wx child of main) and main
    EXPECT_EQ(wxTaviroFrame::s_Frame, nullptr);
    EXPECT_TRUE(wxTaviroFrame::GetChildFrames().empty());
    EXPECT_FALSE(wxPendingDelete.Member(b));
    wxTaviroFrame::s_WinClosed.Disconnect(id);
}

struct _Dlg : wxTaviroDlg {
    _Dlg(const String& name, bool modal) : wxTaviroDlg(nullptr, "t", name, modal) {
        wxBoxSizer* top = StartControls();
        top->Add(NewStaticLine("Section"), 0, wxEXPAND);
        AddButtons(top, true);
    }
};

bool Press(wxWindow* w, int code) { // whether the key went on
    wxKeyEvent key(wxEVT_CHAR_HOOK);
    key.m_keyCode = code;
    w->GetEventHandler()->ProcessEvent(key);
    return key.GetSkipped();
}

TEST_F(AppTest, NamedDialogsCascadeAndCountBackToZero) {
    App().GetOptions()->SetValue("Cascade", "Window", "100, 120, 300, 200");
    auto* first = new _Dlg("Cascade", false);
    auto* second = new _Dlg("Cascade", false);
    first->Show();
    second->Show();
    PumpEvents(10);
    const int step = wxSystemSettings::GetMetric(wxSYS_CAPTION_Y, second);
    EXPECT_EQ(first->GetPosition(), wxPoint(100, 120));
    EXPECT_EQ(second->GetPosition(), wxPoint(100, 120) + wxPoint(1, 1) * (step > 0 ? step : 20));
    EXPECT_EQ(wxTaviroDlg::GetOpenCount("Cascade"), 2);
    second->Move(400, 300); // OK on a modeless dialog saves its place and closes it
    ASSERT_TRUE(second->EmulateWxsButtonClickIfPresent(wxID_OK));
    EXPECT_EQ(second->GetReturnCode(), wxID_OK);
    wxTaviroDlg::CloseAll();
    EXPECT_TRUE(WaitFor([] { return wxTaviroDlg::GetOpenCount("Cascade") == 0; }));
    EXPECT_EQ(Option("Cascade", "Window").substr(0, 8), "400, 300");
}

TEST_F(AppTest, DialogKeysAndCancelYieldingZero) {
    wxConfirmDlg notice(nullptr, "told", "notice", false); // unnamed, OK only
    EXPECT_FALSE(notice.HasFlag(wxRESIZE_BORDER));         // unnamed: fixed size
    EXPECT_FALSE(Press(&notice, WXK_ESCAPE));              // swallowed, nothing to press
    notice.FindWindow(wxID_OK)->Enable(false);
    EXPECT_FALSE(notice.EmulateDefaultButton());
    EXPECT_FALSE(notice.EmulateWxsButtonClickIfPresent(wxID_OK));
    EXPECT_FALSE(Press(&notice, WXK_RETURN));
    EXPECT_FALSE(Press(&notice, WXK_NUMPAD_ENTER)); // taken as Return
    EXPECT_TRUE(Press(&notice, 'x'));
    _Dlg modal("", true);
    const SlotId id =
        wxTaviroDlg::s_ModalStarted.Connect([&] { modal.CallAfter([&] { Press(&modal, 27); }); });
    EXPECT_EQ(modal.ShowModal(), 0);
    wxTaviroDlg::s_ModalStarted.Disconnect(id);
    EXPECT_TRUE(Option("", "Window").empty()); // unnamed: never in the options
    // The close box cancels as Cancel does: 0, and the cancel path runs.
    _Dlg boxed("", true);
    int cancels = 0;
    boxed.Bind(wxEVT_BUTTON, [&](wxCommandEvent& e) { cancels += e.GetId() == wxID_CANCEL, e.Skip(); });
    const SlotId close =
        wxTaviroDlg::s_ModalStarted.Connect([&] { boxed.CallAfter([&] { boxed.Close(); }); });
    EXPECT_EQ(boxed.ShowModal(), 0);
    EXPECT_EQ(cancels, 1);
    wxTaviroDlg::s_ModalStarted.Disconnect(close);
    // Return stays with a multi-line field that has the focus.
    _Dlg typing("", false);
    auto* field = new wxTextCtrl(&typing, wxID_ANY, "", wxDefaultPosition, wxDefaultSize,
                                 wxTE_MULTILINE);
    typing.Show();
    field->SetFocus();
    if (WaitFor([&] { return wxWindow::FindFocus() == field; }, 2000)) {
        EXPECT_TRUE(Press(&typing, WXK_RETURN));
    }
    typing.Destroy();
}

// Answers one confirmation (ticks the box or not, presses the button): (result, times shown).
// The question must open on its OK button, not on the box a stray Space would tick.
std::pair<bool, int> Answer(const String& key, bool tick, int button) {
    wxConfirmDlg dlg(nullptr, "Sure?", key, true);
    int shown = 0;
    const SlotId id = wxTaviroDlg::s_ModalStarted.Connect([&] {
        ++shown;
        dlg.CallAfter([&dlg, tick, button] {
            EXPECT_TRUE(WaitFor([&] { return wxWindow::FindFocus() == dlg.FindWindow(wxID_OK); }));
            dlg.GetCheckBox()->SetValue(tick);
            dlg.EmulateWxsButtonClickIfPresent(button);
        });
    });
    const bool result = dlg.Confirm();
    wxTaviroDlg::s_ModalStarted.Disconnect(id);
    return {result, shown};
}

TEST_F(AppTest, ConfirmRemembersOnlyATickedOK) {
    using R = std::pair<bool, int>;
    EXPECT_EQ(Answer("ticked", true, wxID_OK), R(true, 1));
    EXPECT_EQ(Option("Confirm", "ticked"), "1");
    EXPECT_EQ(Answer("ticked", false, wxID_CANCEL), R(true, 0)); // remembered: not asked
    EXPECT_EQ(Answer("cancelled", true, wxID_CANCEL), R(false, 1));
    EXPECT_TRUE(Option("Confirm", "cancelled").empty());
    EXPECT_EQ(Answer("unticked", false, wxID_OK), R(true, 1));
    EXPECT_EQ(Option("Confirm", "unticked"), "0");
    wxConfirmDlg::ResetAll();
    EXPECT_EQ(Answer("ticked", false, wxID_CANCEL), R(false, 1));
    // A label goes to the dialog's own button, whatever other dialogs are open.
    wxConfirmDlg older(nullptr, "a", "older", true), newer(nullptr, "b", "newer", true);
    newer.SetOK("Go");
    EXPECT_EQ(newer.FindWindow(wxID_OK)->GetLabel(), "Go");
    EXPECT_EQ(newer.GetCheckBox()->GetLabel(), "This is always OK"); // a question's box
    // A remembered one has no buttons: it relabels nobody else's.
    App().GetOptions()->SetValue("Confirm", "quiet", "1");
    wxConfirmDlg quiet(nullptr, "c", "quiet", true);
    quiet.SetOK("Elsewhere");
    quiet.SetCancel("Elsewhere");
    EXPECT_EQ(newer.FindWindow(wxID_OK)->GetLabel() + older.FindWindow(wxID_CANCEL)->GetLabel(),
              "GoCancel");
}

TEST_F(AppTest, ColourChangeReachesFramesAndDialogs) {
    std::unique_ptr<_Frame> main(new _Frame), child(new _Frame);
    std::unique_ptr<_Dlg> dlg(new _Dlg("", false));
    {
        EventCounter toChild(child.get(), wxEVT_SYS_COLOUR_CHANGED);
        EventCounter toDlg(dlg.get(), wxEVT_SYS_COLOUR_CHANGED);
        EXPECT_EQ(wxTaviroFrame::SetColorScheme(1), 1);
        EXPECT_EQ(toChild.GetCount(), 1);
        EXPECT_EQ(toDlg.GetCount(), 1);
        EXPECT_EQ(dlg->GetBackgroundColour(), main->GetBackgroundColour());
    }
    {
        // Handlers that delete another dialog or frame meanwhile: that one is not sent to.
        wxWindow* pair[4] = {new _Dlg("", false), new _Dlg("", false), new _Frame, new _Frame};
        for (int i = 0; i < 4; ++i)
            pair[i]->Bind(wxEVT_SYS_COLOUR_CHANGED, [&pair, i](wxSysColourChangedEvent&) {
                delete pair[i ^ 1];
                pair[i ^ 1] = nullptr;
            });
        wxTaviroFrame::SetColorScheme(2);
        for (wxWindow* w : pair)
            delete w;
    }
    {
        // Command events travel on from a dialog to its parent, the main frame.
        EventCounter toMain(main.get(), wxEVT_CHECKBOX);
        wxCommandEvent tick(wxEVT_CHECKBOX);
        dlg->ProcessWindowEvent(tick);
        EXPECT_EQ(toMain.GetCount(), 1);
    }
    int closed = 0;
    const SlotId id = wxTaviroDlg::s_DlgClosed.Connect([&] { ++closed; });
    dlg.reset(); // a wx child of the main frame
    EXPECT_EQ(closed, 1);
    wxTaviroDlg::s_DlgClosed.Disconnect(id);
    child.reset();
    main.reset();
}

} // namespace

namespace {

wxPoint Centre(const wxRect& r) {
    return r.GetPosition() + r.GetSize() / 2;
}

// A message box is as big as its content, over its parent, titled with the program's display
// name; shown, it takes size and place back from a window manager that takes the frame's
// decorations out of it or puts it in a corner of the screen.
TEST_F(AppTest, MessageBoxFitsItsContentOverItsParentUnderTheDisplayName) {
    App().SetDisplayName("Farm Monitor");
    std::unique_ptr<wxFrame> frame(
        new wxFrame(nullptr, wxID_ANY, "parent", wxPoint(300, 250), wxSize(640, 420)));
    auto* page = new wxPanel(frame.get()); // the viewer's page, say
    frame->Show();
    PumpEvents();
    wxString title;
    bool whole = false, over = false;
    const SlotId id = wxTaviroDlg::s_ModalStarted.Connect([&] {
        wxConfirmDlg* box = nullptr;
        for (wxTaviroDlg* d : wxTaviroDlg::GetDialogs())
            if (auto* c = dynamic_cast<wxConfirmDlg*>(d)) box = c;
        box->CallAfter([&, box] {
            title = box->GetTitle();
            box->SetSize(box->GetSize() - wxSize(0, 25));
            whole = WaitFor(
                [box] {
                    return box->GetClientSize() == box->GetSizer()->GetMinSize() &&
                           box->GetClientRect().Contains(box->FindWindow(wxID_OK)->GetRect());
                },
                3000);
            box->Move(0, 0);
            over = WaitFor(
                [&] {
                    const wxPoint d = Centre(box->GetScreenRect()) - Centre(page->GetScreenRect());
                    return std::abs(d.x) <= 2 && std::abs(d.y) <= 2;
                },
                3000);
            box->EmulateWxsButtonClickIfPresent(wxID_OK);
        });
    });
    EXPECT_TRUE(wxTaviroMessageBox("'needle' not found in that direction", "BoxTest", page));
    wxTaviroDlg::s_ModalStarted.Disconnect(id);
    App().SetDisplayName(String());
    EXPECT_EQ(title, "Farm Monitor");
    EXPECT_TRUE(whole);
    EXPECT_TRUE(over);
}

} // namespace
