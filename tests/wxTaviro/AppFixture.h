// The application object of the application tests, and a fixture that starts it (OnInit with
// a farm-less command line in the test's own folder) and ends it (OnExit) around each test.
#pragma once

#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviro.h>
#include <wxTaviro/wxTaviroApp.h>

#include <ostrum/File.h>

#include <wx/modalhook.h>

#include <functional>

class TestTaviroApp : public wxTaviroApp {
public:
    TestTaviroApp() : wxTaviroApp(LL_Debug, (LogLevel)-1) {}
    // The executable's start does nothing; each test starts the application itself.
    bool OnInit() override { return true; }
    bool RealOnInit(const std::vector<String>& args) {
        delete wxLog::SetActiveTarget(nullptr); // see AppTest::SetUp
        m_Args.assign(args.begin(), args.end());
        m_ArgPtrs.clear();
        for (auto& a : m_Args)
            m_ArgPtrs.push_back(&a[0]);
        m_ArgPtrs.push_back(nullptr);
        argc = (int)args.size();
        argv.Init(argc, m_ArgPtrs.data());
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
    std::vector<std::string> m_Args;
    std::vector<char*> m_ArgPtrs;
};

inline TestTaviroApp& App() {
    auto* app = dynamic_cast<TestTaviroApp*>(wxTheApp);
    if (!app) {
        fprintf(stderr,
                "the application object is not a TestTaviroApp (CreateTestApp not linked?)\n");
        abort();
    }
    return *app;
}

// Records modal dialogs (message boxes included) instead of showing them.
class DialogRecorder : public wxModalDialogHook {
public:
    DialogRecorder() { Register(); }
    ~DialogRecorder() override { Unregister(); }
    struct Shown {
        wxString title, message;
        bool cancel = false; // has a Cancel button
    };
    std::vector<Shown> m_Shown;

protected:
    int Enter(wxDialog* dialog) override {
        Shown s;
        s.title = dialog->GetTitle();
        s.cancel = dialog->FindWindow(wxID_CANCEL) != nullptr;
        if (auto* box = wxDynamicCast(dialog, wxMessageDialog))
            s.message = box->GetMessage();
        else if (wxWindow* text = dialog->FindWindowByName("staticText")) // the library's own
            s.message = text->GetLabel();
        m_Shown.push_back(s);
        return wxID_OK;
    }
    void Exit(wxDialog*) override {}
};

// A started application for each test, farm-less unless the test says otherwise.
class AppTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_Dir = taviro_test::MakeTempDir("app");
        // OnInit leaves the previous log target alone (a program starts once); the tests
        // start many times, so they clear it themselves.
        delete wxLog::SetActiveTarget(nullptr);
        ASSERT_TRUE(Start({})) << App().GetStartupError();
    }
    void TearDown() override {
        if (m_Started) App().OnExit();
        delete wxLog::SetActiveTarget(nullptr);
        App().m_AfterStartup = nullptr;
        App().m_OnException = nullptr;
        App().m_ExceptionsRecoverable = true;
        App().EnableMessageProcessing();
    }
    bool Start(const std::vector<String>& extra) {
        std::vector<String> args = {"/opt/taviro/bin/apptest",
                                    "--name",
                                    "apptest",
                                    "--master",
                                    "none",
                                    "--log-dir",
                                    m_Dir + "/logs",
                                    "--options",
                                    m_Dir + "/apptest.ini"};
        args.insert(args.end(), extra.begin(), extra.end());
        m_Started = App().RealOnInit(args);
        return m_Started;
    }
    void Restart(const std::vector<String>& extra) {
        if (m_Started) App().OnExit();
        m_Started = false;
        ASSERT_TRUE(Start(extra)) << App().GetStartupError();
    }
    String m_Dir;
    bool m_Started = false;
};
