/// @file
/// The embedded simulated farm master: a thread in the client's process that connects,
/// announces a farm of jobs of the installed types, moves them through their states with
/// progress, writes log lines and engine load, answers job commands, and can be told to
/// disconnect, reconnect and order a shutdown.
///
/// The traffic is a pure function of the seed (FarmSchedule), so runs are repeatable; the thread
/// only paces it: rate messages per second; 0 sends only the snapshot and command answers,
/// a negative rate sends as fast as it can. Beside it, an optional stream of the master's own
/// log lines (k_MsgLogLine without a job) at logRate lines per second.
#pragma once

#include <taviro/FarmSchedule.h>
#include <taviro/Message.h>
#include <taviro/Messenger.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// The embedded simulated farm master (see the file comment).
/// @ingroup taviro
class SimulatedMaster : public Messenger {
public:
    SimulatedMaster(MessageSink* sink, uint64_t seed, int jobCount, double rate,
                    double logRate = 0);
    ~SimulatedMaster() override;

    void Start() override;
    void Stop() override;
    bool IsConnected() const override { return m_Connected.load(); }
    String GetMasterName() const override { return "embedded"; }
    bool SendCommand(const UID& job, const String& command, const String& item,
                     String* error) override;
    /// Submits a new job of that type (see FarmSchedule::Submit).
    bool SubmitJob(const UID& type, String* error) override;

    /// Requests carried out on the master's thread, in order.
    void Disconnect() override;
    void Reconnect() override;
    void OrderShutdown() override;
    void SetRate(double messagesPerSecond);
    /// The master's own log lines per second; 0 stops them.
    void SetLogRate(double linesPerSecond);
    /// Messages handed to the client so far (snapshot batches count as one).
    uint64_t Sent() const { return m_Sent.load(); }

private:
    enum _Request { k_Disconnect, k_Reconnect, k_Shutdown, k_Quit };
    // Hands a request to the master's thread.
    void Push(_Request request);
    bool RequestPending();
    void Run();
    void Send(boost::shared_ptr<Message> m);
    // A client's request: refused when not connected; otherwise `apply` changes the model
    // (under its lock) and the answers it gives are handed to the thread, sent in order.
    bool Request(String* error,
                 const std::function<bool(std::vector<boost::shared_ptr<Message>>&)>& apply);
    void DoConnect();
    void DoDisconnect(const String& reason);

    MessageSink* m_Sink;
    FarmSchedule m_Schedule;
    std::mutex m_ModelMutex; // the schedule: the thread's traffic and clients' commands
    std::mutex m_Mutex;      // requests, outgoing messages, rate
    std::condition_variable m_Wake;
    std::deque<_Request> m_Requests;
    std::deque<boost::shared_ptr<Message>> m_Outgoing;
    double m_Rate;
    double m_LogRate;
    uint64_t m_Seed;
    uint64_t m_LogLines = 0; // master's thread only
    std::atomic<bool> m_Connected{false};
    std::atomic<uint64_t> m_Sent{0};
    std::thread m_Thread;
};
