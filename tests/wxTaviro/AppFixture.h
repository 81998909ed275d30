// The application object of the application tests, a fixture that starts it (OnInit with a
// farm-less command line in the test's own folder) and ends it (OnExit) around each test, and
// the helpers those tests share.
#pragma once

#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxTaviroApp.h>

#include <ostrum/File.h>
#include <ostrum/Log.h>

#include <wx/display.h>
#include <wx/modalhook.h>

#include <functional>

class TestTaviroApp : public wxTaviroApp {
public:
    TestTaviroApp() : wxTaviroApp(LL_Debug, (LogLevel)-1) {}
    // The executable's start does nothing; each test starts the application itself.
    bool OnInit() override { return true; }
    bool RealOnInit(const std::vector<String>& args) {
        // OnInit leaves the previous log target alone (a program starts once); the tests
        // start many times, so they clear it themselves.
        delete wxLog::SetActiveTarget(nullptr);
        SetArguments(args);
        return wxTaviroApp::OnInit();
    }
    bool Startup(CommandLine& commandLine) override {
        bool ok = TaviroClientApp::Startup(commandLine);
        if (m_AfterStartup) ok = m_AfterStartup(ok);
        return ok;
    }
    bool OnException(Exception* e) override {
        ++m_Exceptions;
        if (e) m_LastExceptionCode = e->GetCode();
        if (m_OnException) m_OnException();
        return m_ExceptionsRecoverable;
    }
    void OnAssertFailure(const wxChar* file, int line, const wxChar*, const wxChar* cond,
                         const wxChar* msg) override {
        ADD_FAILURE() << "wx assertion: " << wxString(cond) << " " << wxString(msg ? msg : wxT(""))
                      << " at " << wxString(file) << ":" << line;
    }

    std::function<bool(bool)> m_AfterStartup;
    std::function<void()> m_OnException;
    int m_Exceptions = 0;
    uint32_t m_LastExceptionCode = 0;
    bool m_ExceptionsRecoverable = true;

private:
};

inline TestTaviroApp& App() {
    return dynamic_cast<TestTaviroApp&>(*wxTheApp); // throws when CreateTestApp is not linked
}

// Records modal dialogs (message boxes included) instead of showing them.
class DialogRecorder : public wxModalDialogHook {
public:
    DialogRecorder() { Register(); }
    ~DialogRecorder() override { Unregister(); }
    struct Shown {
        wxString title, message;
    };
    std::vector<Shown> m_Shown;

protected:
    int Enter(wxDialog* dialog) override {
        Shown s;
        s.title = dialog->GetTitle();
        if (auto* box = dynamic_cast<wxMessageDialog*>(dialog)) // wx RTTI: our dialogs have none
            s.message = box->GetMessage();
        else if (wxWindow* text = dialog->FindWindowByName("staticText")) // the library's own
            s.message = text->GetLabel();
        m_Shown.push_back(s);
        return wxID_OK;
    }
    void Exit(wxDialog*) override {}
};

// A frame that counts Raise calls: raising shows nothing without a window manager.
class RaiseFrame : public wxFrame {
public:
    RaiseFrame(const wxString& title, wxSize size = wxSize(300, 200), bool show = true)
        : wxFrame(nullptr, wxID_ANY, title, wxPoint(20, 20), size) {
        if (show) Show();
    }
    void Raise() override {
        ++m_Raised;
        wxFrame::Raise();
    }
    int m_Raised = 0;
};

// The client area of the display that holds w.
inline wxRect ClientAreaOf(wxWindow* w) {
    return wxDisplay((unsigned)std::max(0, wxDisplay::GetFromWindow(w))).GetClientArea();
}

// Where a window of size s sits when centred in area.
inline wxPoint CentredIn(const wxRect& area, wxSize s) {
    return wxPoint(area.x + (area.width - s.x) / 2, area.y + (area.height - s.y) / 2);
}

// The farm log so far.
inline String LogText() {
    return File::ReadAll(Log::s_GlobalLog->GetFileName());
}

// Handles every event posted to h so far: pending events of a handler run in posting order,
// so once a marker posted now has run, anything posted before it has too.
inline void DrainPosted(wxEvtHandler* h) {
    bool done = false;
    h->CallAfter([&] { done = true; });
    EXPECT_TRUE(taviro_test::WaitFor([&] { return done; }));
}

// A started application for each test, farm-less unless the test says otherwise.
class AppTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_Dir = taviro_test::MakeTempDir("app");
        ASSERT_TRUE(Start({})) << App().GetStartupError();
    }
    void TearDown() override {
        if (m_Started) App().OnExit();
        delete wxLog::SetActiveTarget(nullptr);
        App().m_AfterStartup = nullptr;
        App().m_OnException = nullptr;
        App().m_ExceptionsRecoverable = true;
        App().SetShowStartupError(true);
        App().EnableMessageProcessing();
    }
    bool Start(const std::vector<String>& extra, const String& options = String()) {
        std::vector<String> args = {
            "/opt/taviro/bin/apptest", "--name",   "apptest", "--master", "none", "--log-dir",
            m_Dir + "/logs",           "--options"};
        args.push_back(options.empty() ? m_Dir + "/apptest.ini" : options);
        args.insert(args.end(), extra.begin(), extra.end());
        m_Started = App().RealOnInit(args);
        return m_Started;
    }
    void Stop() {
        if (m_Started) App().OnExit();
        m_Started = false;
    }
    String m_Dir;
    bool m_Started = false;
};
