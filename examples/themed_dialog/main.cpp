// A themed dialog: a job's settings in palette-coloured controls, a confirmation before they
// are applied, and the switch between the five colour schemes, which the suite's other running
// programs follow. Usage: themed_dialog [farm options]
#include <wxTaviro/wxConfirmDlg.h>
#include <wxTaviro/wxTaviroApp.h>
#include <wxTaviro/wxTaviroColors.h>
#include <wxTaviro/wxTaviroDlg.h>
#include <wxTaviro/wxTaviroFrame.h>
#include <wxTaviro/wxTaviroText.h>

#include <wx/sizer.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

class SettingsDlg : public wxTaviroDlg {
public:
    // Modeless and named: its place is remembered under "Job settings".
    SettingsDlg() : wxTaviroDlg(nullptr, "Job settings", "Job settings", false) {
        const int gap = FromDIP(8);
        wxBoxSizer* top = StartControls();
        top->Add(NewStaticLine("Job"), 0, wxEXPAND | wxALL, gap);
        auto* grid = new wxFlexGridSizer(2, gap, gap);
        grid->AddGrowableCol(1);
        m_Name = new wxsTextCtrl(this, wxID_ANY, "shot_010_lighting");
        m_Name->SetHint("Job name");
        const wxString priorities[] = {"Low", "Normal", "High"};
        m_Priority = new wxsChoice(this, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                   wxArrayString(3, priorities));
        m_Priority->SetSelection(1);
        for (auto [label, control] :
             {std::pair<const char*, wxWindow*>{"Name:", m_Name}, {"Priority:", m_Priority}}) {
            grid->Add(NewStatic(label), 0, wxALIGN_CENTER_VERTICAL);
            grid->Add(control, 1, wxEXPAND);
        }
        top->Add(grid, 0, wxEXPAND | wxLEFT | wxRIGHT, gap);
        m_Notify = new wxsCheckBox(this, wxID_ANY, "Tell me when it is done");
        m_Notify->SetValue(true);
        top->Add(m_Notify, 0, wxALL, gap);

        // The scheme applies at once, here and in every program of the suite, and is saved.
        top->Add(NewStaticLine("Colour scheme"), 0, wxEXPAND | wxALL, gap);
        auto* schemes = new wxBoxSizer(wxHORIZONTAL);
        const int scheme = wxTaviroFrame::SetColorScheme(-1); // -1 asks without changing
        const char* const names[] = {"Light", "Lighter", "Dark", "Darker", "Custom"};
        for (int i = 1; i <= 5; ++i) {
            auto* radio = new wxsRadioButton(this, wxID_ANY, names[i - 1], wxDefaultPosition,
                                             wxDefaultSize, i == 1 ? wxRB_GROUP : 0);
            radio->SetValue(i == scheme || (i == 3 && (scheme < 1 || scheme > 5)));
            radio->Bind(wxEVT_RADIOBUTTON,
                        [i](wxCommandEvent&) { wxTaviroFrame::SetColorScheme(i); });
            schemes->Add(radio, 0, wxRIGHT, gap);
        }
        top->Add(schemes, 0, wxLEFT | wxRIGHT, gap);
        auto* buttons = new wxBoxSizer(wxHORIZONTAL);
        AddButtons(buttons); // OK, the default button, and Cancel, at the right end
        top->Add(buttons, 0, wxEXPAND | wxALL, gap);
    }

    // OK asks first; a ticked "This is always OK" answers for good (section "Confirm" of the
    // options). False keeps the dialog open.
    bool TransferDataFromWindow() override {
        wxConfirmDlg confirm(this, "Apply these settings to " + m_Name->GetValue() + "?",
                             "ApplyJobSettings");
        if (!confirm.Confirm()) return false;
        printf("%s: priority %s%s\n", wxToString(m_Name->GetValue()).c_str(),
               wxToString(m_Priority->GetStringSelection()).c_str(),
               m_Notify->GetValue() ? ", tell me when done" : "");
        return true;
    }

private:
    wxsTextCtrl* m_Name = nullptr;
    wxsChoice* m_Priority = nullptr;
    wxsCheckBox* m_Notify = nullptr;
};

class DialogApp : public wxTaviroApp {
public:
    DialogApp() : wxTaviroApp(LL_Info, LL_Warning) {}

    bool OnInit() override {
        // A dialog needs no farm unless one is asked for.
        std::vector<String> args;
        for (int i = 0; i < argc; ++i)
            args.push_back(wxToString(argv[i]));
        if (std::find(args.begin(), args.end(), "--master") == args.end())
            args.insert(args.end(), {"--master", "none"});
        SetArguments(args);
        // No main frame loads the scheme here: the palette is filled before the first window.
        LoadColorScheme();
        auto* dialog = new SettingsDlg;
        SetTopWindow(dialog);
        if (!wxTaviroApp::OnInit()) {
            dialog->Destroy();
            return false;
        }
        dialog->Show(); // the program ends when it closes
        return true;
    }
};

} // namespace

wxIMPLEMENT_APP_NO_MAIN(DialogApp);

int main(int argc, char** argv) {
    const int code = wxTaviroApp::PreInit(argc, argv);
    return code >= 0 ? code : wxEntry(argc, argv);
}
