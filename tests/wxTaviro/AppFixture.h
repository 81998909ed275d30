// The application tests' application object, their fixture (a farm-less start) and helpers.
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
    bool OnInit() override { return true; } // each test starts the application itself
    bool RealOnInit(const std::vector<String>& args) {
        delete wxLog::SetActiveTarget(nullptr); // OnInit leaves it: a program starts once
        SetArguments(args);
        return wxTaviroApp::OnInit();
    }
    bool Startup(CommandLine& commandLine) override {
        const bool ok = TaviroClientApp::Startup(commandLine);
        return m_AfterStartup ? m_AfterStartup(ok) : ok;
    }
    bool OnException(Exception* e) override {
        m_LastExceptionCode = e ? e->GetCode() : 0;
        if (m_OnException) m_OnException();
        return m_ExceptionsRecoverable;
    }
    void OnAssertFailure(const wxChar* file, int line, const wxChar*, const wxChar* cond,
                         const wxChar*) override {
        ADD_FAILURE() << "wx assertion: " << wxString(cond) << " at " << wxString(file) << ":"
                      << line;
    }
    std::function<bool(bool)> m_AfterStartup;
    std::function<void()> m_OnException;
    uint32_t m_LastExceptionCode = 0;
    bool m_ExceptionsRecoverable = true;
};

inline TestTaviroApp& App() {
    return dynamic_cast<TestTaviroApp&>(*wxTheApp); // throws when CreateTestApp is not linked
}

// Records modal dialogs (message boxes included) instead of showing them.
class DialogRecorder : public wxModalDialogHook {
public:
    DialogRecorder() { Register(); }
    ~DialogRecorder() override { Unregister(); }
    std::vector<std::pair<wxString, wxString>> m_Shown; // title, message

protected:
    int Enter(wxDialog* d) override {
        auto* box = dynamic_cast<wxMessageDialogBase*>(d);  // wx RTTI: our dialogs have none
        wxWindow* text = d->FindWindowByName("staticText"); // the library's own
        m_Shown.emplace_back(d->GetTitle(), box ? box->GetMessage() : text ? text->GetLabel() : "");
        return wxID_OK;
    }
    void Exit(wxDialog*) override {}
};

// A frame that counts Raise calls: raising shows nothing without a window manager.
struct RaiseFrame : wxFrame {
    RaiseFrame(const wxString& title, wxSize size = wxSize(300, 200), bool show = true)
        : wxFrame(nullptr, wxID_ANY, title, wxPoint(20, 20), size) {
        Show(show);
    }
    void Raise() override { wxFrame::Raise(), ++m_Raised; }
    int m_Raised = 0;
};

// Where a window of size s sits centred in the client area of w's display.
inline wxRect CentredOn(wxWindow* w, wxSize s) {
    const wxRect area = wxDisplay((unsigned)wxDisplay::GetFromWindow(w)).GetClientArea();
    return wxRect(area.x + (area.width - s.x) / 2, area.y + (area.height - s.y) / 2, s.x, s.y);
}

inline String LogText() {
    return File::ReadAll(Log::s_GlobalLog->GetFileName());
}

// Handles every event posted to h so far (they run in posting order).
inline void DrainPosted(wxEvtHandler* h) {
    bool done = false;
    h->CallAfter([&] { done = true; });
    EXPECT_TRUE(taviro_test::WaitFor([&] { return done; }));
}

class AppTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_Dir = taviro_test::MakeTempDir("app");
        ASSERT_TRUE(Start()) << App().GetStartupError();
    }
    void TearDown() override {
        Stop();
        delete wxLog::SetActiveTarget(nullptr);
        App().m_OnException = nullptr;
        App().m_ExceptionsRecoverable = true;
        App().SetShowStartupError(true);
        App().EnableMessageProcessing();
    }
    bool Start() {
        return m_Started = App().RealOnInit({"/opt/taviro/bin/apptest", "--name", "apptest",
                                             "--master", "none", "--log-dir", m_Dir + "/logs",
                                             "--options", m_Dir + "/apptest.ini"});
    }
    void Stop() {
        if (m_Started) App().OnExit();
        m_Started = false;
    }
    String m_Dir;
    bool m_Started = false;
};
