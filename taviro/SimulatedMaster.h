// The embedded simulated farm master: a thread in the client's process that connects,
// announces a farm of jobs of the installed types, moves them through their states with
// progress, writes log lines and engine load, answers job commands, and can be told to
// disconnect, reconnect and order a shutdown.
//
// The traffic is a pure function of the seed (Schedule), so runs are repeatable; the thread
// only paces it: rate messages per second; 0 sends only the snapshot and command answers,
// a negative rate sends as fast as it can. Beside it, an optional stream of the master's own
// log lines (k_MsgLogLine without a job) at logRate lines per second.
#pragma once

#include <taviro/Message.h>
#include <taviro/Messenger.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

class TaviroClientApp;

// The simulated farm's model and its deterministic traffic.
class FarmSchedule {
public:
    FarmSchedule(uint64_t seed, int jobCount, const std::vector<UID>& types);

    // The whole farm as k_MsgJobBatch messages of at most batchSize jobs.
    std::vector<boost::shared_ptr<Message>> Snapshot(size_t batchSize = 1000) const;
    // The same, one batch at a time: a copy of the farm's model, and the batch of that copy
    // that starts at job first. Lets a million jobs go out without all their messages
    // existing at once.
    class Frozen;
    Frozen Freeze() const;
    boost::shared_ptr<Message> Batch(const Frozen& farm, size_t first, size_t batchSize) const;
    // The next event of the farm.
    boost::shared_ptr<Message> Next();
    // A client's command on a job: changes the model and gives the resulting messages.
    bool ApplyCommand(const UID& job, const String& command, const String& item, String* error,
                      std::vector<boost::shared_ptr<Message>>& out);
    // A job a client submits: waiting, of the given type. False, with the reason, for a type
    // this farm does not run.
    bool Submit(const UID& type, String* error, std::vector<boost::shared_ptr<Message>>& out);
    size_t JobCount() const { return m_Jobs.size(); }
    uint64_t Produced() const { return m_Sequence; }

private:
    // A job of the model, small: the farm may hold millions. Texts are numbers into tables.
    struct _Job {
        UID id;
        uint32_t number;  // the job's running number, part of its name
        uint16_t type;    // index into m_Types (k_NoType when none are installed)
        uint16_t frames;  // 10 to 499
        int8_t status;    // JobStatus
        int8_t progress;  // percent
        uint8_t owner;    // index into the owners
        uint8_t priority; // index into m_Priorities
    };
    enum : uint16_t { k_NoType = 0xffff };
    _Job NewJob();
    String Name(const _Job& j) const;
    boost::shared_ptr<Message> Created(const _Job& j) const;
    boost::shared_ptr<Message> Changed(const _Job& j, bool progressOnly);
    UID RandomUID();
    boost::shared_ptr<Message> Stamp(boost::shared_ptr<Message> m);

    std::mt19937_64 m_Rng;
    std::vector<UID> m_Types;
    std::vector<String> m_TypeNames;  // by type index
    std::vector<String> m_Priorities; // the usual three, then any other a command sets
    std::vector<_Job> m_Jobs;
    uint64_t m_Sequence = 0;
    int m_NextNumber = 1;
};

class FarmSchedule::Frozen {
    friend class FarmSchedule;
    std::vector<_Job> m_Jobs;

public:
    // A job a client submits: waiting, of the given type. False, with the reason, for a type
    // this farm does not run.
    bool Submit(const UID& type, String* error, std::vector<boost::shared_ptr<Message>>& out);
    size_t JobCount() const { return m_Jobs.size(); }
};

class SimulatedMaster : public Messenger {
public:
    SimulatedMaster(TaviroClientApp* app, uint64_t seed, int jobCount, double rate,
                    double logRate = 0);
    ~SimulatedMaster() override;

    void Start() override;
    void Stop() override;
    bool IsConnected() const override { return m_Connected.load(); }
    String GetMasterName() const override { return "embedded"; }
    bool SendCommand(const UID& job, const String& command, const String& item,
                     String* error) override;
    // Submits a new job of that type (see FarmSchedule::Submit).
    bool SubmitJob(const UID& type, String* error);

    // Requests carried out on the master's thread, in order.
    void Disconnect();
    void Reconnect();
    void OrderShutdown();
    void SetRate(double messagesPerSecond);
    // The master's own log lines per second; 0 stops them.
    void SetLogRate(double linesPerSecond);
    // The n-th line of the master's log (a pure function of the seed and n).
    static String MasterLogText(uint64_t seed, uint64_t n);
    // Messages handed to the client so far (snapshot batches count as one).
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

    TaviroClientApp* m_App;
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
