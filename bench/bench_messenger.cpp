// Farm messages from messenger threads to the GUI thread through the application's bridge:
// each message arriving on a messenger thread becomes one posted event, and the GUI thread
// handles the queued message when the event comes up. Goal: at least 50,000 messages per
// second through the GUI thread, none lost and none out of order.
//
// Sections: the run (producers, handler, completion check); the application; main.
#include <wxTaviro/wxTaviroApp.h>

#include <ostrum/String.h>

#include <wx/frame.h>
#include <wx/timer.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

namespace {

const double k_GoalPerSecond = 50000;
const int k_TimeoutMs = 60000;

double NowMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

// ---- the run ----

// `threads` messenger threads each deliver `perThread` numbered messages as fast as they can.
struct Run {
    Run(int threads, uint64_t perThread) : threads(threads), perThread(perThread) {}
    int threads;
    uint64_t perThread;
    std::vector<uint64_t> last; // per source: the last sequence number handled
    uint64_t outOfOrder = 0;
    uint64_t offGuiThread = 0;
    uint64_t handled = 0;
    double start = 0;
    double end = 0;
    std::vector<std::thread> messengers;

    uint64_t Total() const { return threads * perThread; }

    void Begin(wxTaviroApp& app) {
        last.assign(threads, 0);
        start = NowMs();
        for (int t = 0; t < threads; ++t)
            messengers.emplace_back([&app, t, this] {
                for (uint64_t i = 1; i <= perThread; ++i) {
                    boost::shared_ptr<Message> m(new Message(k_MsgCustom));
                    m->m_Source = t;
                    m->m_Sequence = i;
                    m->m_Params["Progress"] = "42";
                    app.ReceiveMessage(m);
                }
            });
    }
    // On the GUI thread, as the application's message handler.
    void Handle(const Message& m) {
        if (!wxThread::IsMain()) ++offGuiThread;
        if (m.m_Sequence != ++last[size_t(m.m_Source)]) ++outOfOrder;
        if (++handled == Total()) end = NowMs();
    }
    void Report() {
        for (auto& m : messengers)
            m.join();
        const double seconds = ((end > 0 ? end : NowMs()) - start) / 1000;
        const double rate = handled / seconds;
        const uint64_t lost = Total() - handled;
        printf("MSG  %d messenger thread%s x %llu messages: %9.0f messages/s through the GUI "
               "thread, %llu lost, %llu out of order, %llu off the GUI thread   goal >= %.0f/s, "
               "none lost   %s\n",
               threads, threads == 1 ? " " : "s", (unsigned long long)perThread, rate,
               (unsigned long long)lost, (unsigned long long)outOfOrder,
               (unsigned long long)offGuiThread, k_GoalPerSecond,
               rate >= k_GoalPerSecond && lost == 0 && outOfOrder == 0 && offGuiThread == 0
                   ? "met"
                   : "NOT met");
        fflush(stdout);
    }
};

// ---- the application ----

class BenchApp : public wxTaviroApp {
public:
    BenchApp() : wxTaviroApp(LL_Info, LL_Warning) {
        m_Runs.emplace_back(1, 1000000); // the application's one messenger thread
        m_Runs.emplace_back(4, 250000);  // and four, as when several sources feed the bridge
    }

    bool OnInit() override {
        char dir[] = "/tmp/bench_messenger-XXXXXX";
        if (!mkdtemp(dir)) return false;
        m_Dir = dir;
        // The window first: the bridge hands messages only to a top window.
        m_Frame = new wxFrame(nullptr, wxID_ANY, "bench_messenger");
        SetTopWindow(m_Frame);
        SetShowStartupError(false);
        SetArguments({"bench_messenger", "--name", "bench-messenger", "--master", "none",
                      "--allow-second", "--log-dir", m_Dir + "/logs", "--options",
                      m_Dir + "/bench.ini"});
        if (!wxTaviroApp::OnInit()) {
            fprintf(stderr, "bench_messenger: start-up failed: %s\n", GetStartupError().c_str());
            m_Frame->Destroy();
            return false;
        }
        m_Frame->Show();
        AddMessageHandler([this](const Message& m) { m_Runs[m_Current].Handle(m); }, this);
        m_Check.Bind(wxEVT_TIMER, &BenchApp::OnCheck, this);
        CallAfter([this] { Next(); });
        return true;
    }

    int OnExit() override {
        const int result = wxTaviroApp::OnExit();
        std::error_code ignored;
        std::filesystem::remove_all(m_Dir.c_str(), ignored);
        return result;
    }

private:
    void Next() {
        if (m_Current >= m_Runs.size()) {
            m_Frame->Destroy(); // the last top window: the main loop ends
            return;
        }
        m_Runs[m_Current].Begin(*this);
        m_Check.Start(5);
    }
    void OnCheck(wxTimerEvent&) {
        Run& run = m_Runs[m_Current];
        if (run.handled < run.Total() && NowMs() - run.start < k_TimeoutMs) return;
        m_Check.Stop();
        run.Report();
        ++m_Current;
        Next();
    }

    String m_Dir;
    wxFrame* m_Frame = nullptr;
    wxTimer m_Check;
    std::vector<Run> m_Runs;
    size_t m_Current = 0;
};

} // namespace

wxIMPLEMENT_APP_NO_MAIN(BenchApp);

int main(int argc, char** argv) {
    printf("bench_messenger: farm messages delivered by messenger threads (as fast as they can) "
           "and handled on the GUI thread through the application's bridge (one posted event "
           "per message); rate = messages handled / time from the first send to the last "
           "handled.\n");
    fflush(stdout);
    wxEntry(argc, argv);
    return 0; // a report, not a test: goals not met are printed, not failed
}
