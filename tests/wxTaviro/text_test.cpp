// The themed text field's clear button, the combo box's coloured entry, word completion and
// the one-line prompt.
#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroText.h>

#include <vector>

using namespace taviro_test;

namespace {

void Send(wxWindow* window, wxEvent&& event) {
    event.SetEventObject(window);
    window->GetEventHandler()->ProcessEvent(event);
}

void Focus(wxsTextCtrl* field, wxEventType type, wxWindow* other = nullptr) {
    wxFocusEvent event(type, field->GetId());
    event.SetWindow(other);
    Send(field, std::move(event));
}

} // namespace

TEST(TextCtrl, ClearButtonFollowsFocusKeysAndEmptiesTheField) {
    auto* field = new wxsTextCtrl(TopWindow(), wxID_ANY, "frame 12");
    wxsButton* clear = field->GetClearButton();
    ASSERT_TRUE(clear);
    EXPECT_EQ(clear->GetId(), 6607);
    EXPECT_FALSE(clear->IsShown());
    Focus(field, wxEVT_SET_FOCUS);
    EXPECT_TRUE(clear->IsShown());
    Send(field, wxKeyEvent(wxEVT_KEY_DOWN)); // typing hides it
    EXPECT_FALSE(clear->IsShown());
    Focus(field, wxEVT_SET_FOCUS);
    Focus(field, wxEVT_KILL_FOCUS, clear); // focus moving onto the button keeps it
    EXPECT_TRUE(clear->IsShown());
    Focus(field, wxEVT_KILL_FOCUS, TopWindow());
    EXPECT_FALSE(clear->IsShown());
    Focus(field, wxEVT_SET_FOCUS);
    EventCounter texts(field, wxEVT_TEXT);
    clear->EmulateClick();
    EXPECT_TRUE(field->GetValue().empty());
    EXPECT_EQ(texts.GetCount(), 1);
    Focus(field, wxEVT_SET_FOCUS); // an empty field never shows it
    EXPECT_FALSE(clear->IsShown());
}

TEST(ComboBox, EntryIsAThemedFieldWhoseTextEventsComeFromTheCombo) {
    Light(); // a filled palette
    const wxString items[] = {"render", "simulation"};
    auto* combo = new wxsComboBox(TopWindow(), 4711, "render", wxDefaultPosition, wxDefaultSize,
                                  wxArrayString(2, items));
    auto* entry = dynamic_cast<wxsTextCtrl*>(combo->GetTextCtrl());
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->GetBackgroundColour(), wxsGetColor(color_WindowBGDarker));
    std::vector<std::pair<wxObject*, int>> seen;
    combo->Bind(wxEVT_TEXT,
                [&](wxCommandEvent& e) { seen.emplace_back(e.GetEventObject(), e.GetId()); });
    entry->SetValue("gpu");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].first, combo);
    EXPECT_EQ(seen[0].second, 4711);
    EXPECT_EQ(combo->GetValue(), "gpu");
    // Keys and focus on the entry reach what a client bound on the combo box, and a key the
    // client keeps stays kept.
    int keys = 0, focus = 0;
    combo->Bind(wxEVT_KEY_DOWN, [&](wxKeyEvent& e) { keys += e.GetEventObject() == combo; });
    combo->Bind(wxEVT_SET_FOCUS, [&](wxFocusEvent& e) { focus += e.GetEventObject() == combo; });
    wxKeyEvent key(wxEVT_KEY_DOWN);
    key.m_keyCode = 'x';
    entry->ProcessWindowEvent(key);
    wxFocusEvent got(wxEVT_SET_FOCUS, entry->GetId());
    entry->ProcessWindowEvent(got);
    EXPECT_EQ(std::make_tuple(keys, focus, key.GetSkipped()), std::make_tuple(1, 1, false));
}

TEST(AutoCompleter, KeepsThePrefixAndOrdersWithoutCase) {
    wxsAutoCompleter::ClearWords();
    for (const char* word : {"RenderMan", "render", "Renderer", "report", "Preview"})
        wxsAutoCompleter::AddWord(word);
    const std::pair<const char*, std::vector<wxString>> cases[] = {
        {"", {}},
        {"job.REN", {"job.render", "job.Renderer", "job.RenderMan"}},
        {"(a b:rep", {"(a b:report"}},
        {"x|pre", {"x|Preview"}},
        {"prerender", {}},
    };
    for (const auto& [text, expected] : cases) {
        wxsAutoCompleter completer;
        EXPECT_EQ(completer.Start(text), !expected.empty()) << text;
        std::vector<wxString> got;
        for (wxString next = completer.GetNext(); !next.empty(); next = completer.GetNext())
            got.push_back(next);
        EXPECT_EQ(got, expected) << text;
    }
    wxsAutoCompleter::ClearWords();
}

TEST(TextPrompt, OkReturnsTheTextAndCancelNothing) {
    const struct {
        const char* typed; // null: the default is left as it is
        bool ok;
        String expected;
    } cases[] = {{nullptr, true, "old name"},
                 {"new name", true, "new name"},
                 {"new name", false, ""},
                 {nullptr, false, ""}};
    for (const auto& c : cases) {
        const SlotId id = wxTaviroDlg::s_ModalStarted.Connect([&] {
            for (wxTaviroDlg* dlg : wxTaviroDlg::GetDialogs())
                if (auto* prompt = dynamic_cast<wxsTextDlg*>(dlg))
                    prompt->CallAfter([prompt, &c] {
                        if (c.typed) prompt->GetTextCtrl()->SetValue(c.typed);
                        c.ok ? prompt->EmulateDefaultButton() : prompt->EmulateCancelButton();
                    });
        });
        EXPECT_EQ(wxsGetTextFromUser("Name:", "Rename", "old name", TopWindow()), c.expected);
        wxTaviroDlg::s_ModalStarted.Disconnect(id);
    }
}
