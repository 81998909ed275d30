#include <taviro/JobFactory.h>
#include <taviro/SimulatedMaster.h>

#include <ostrum/Log.h>
#include <ostrum/Time.h>

#include <algorithm>

// ---- SimulatedMaster ----

SimulatedMaster::SimulatedMaster(MessageSink* sink, uint64_t seed, int jobCount, double rate,
                                 double logRate)
    : m_Sink(sink), m_Schedule(seed, jobCount, JobFactory::s_JobFactory.ListTypes()), m_Rate(rate),
      m_LogRate(logRate), m_Seed(seed) {}

SimulatedMaster::~SimulatedMaster() {
    Stop();
}

void SimulatedMaster::Start() {
    if (m_Thread.joinable()) return;
    m_Thread = std::thread(&SimulatedMaster::Run, this);
}

void SimulatedMaster::Stop() {
    if (!m_Thread.joinable()) return;
    Push(k_Quit);
    m_Thread.join();
}

void SimulatedMaster::Push(_Request request) {
    std::lock_guard<std::mutex> l(m_Mutex);
    m_Requests.push_back(request);
    m_Wake.notify_all();
}

bool SimulatedMaster::RequestPending() {
    std::lock_guard<std::mutex> l(m_Mutex);
    return !m_Requests.empty();
}

void SimulatedMaster::Disconnect() {
    Push(k_Disconnect);
}

void SimulatedMaster::Reconnect() {
    Push(k_Reconnect);
}

void SimulatedMaster::OrderShutdown() {
    Push(k_Shutdown);
}

void SimulatedMaster::SetRate(double messagesPerSecond) {
    std::lock_guard<std::mutex> l(m_Mutex);
    m_Rate = messagesPerSecond;
    m_Wake.notify_all();
}

void SimulatedMaster::SetLogRate(double linesPerSecond) {
    std::lock_guard<std::mutex> l(m_Mutex);
    m_LogRate = linesPerSecond;
    m_Wake.notify_all();
}

bool SimulatedMaster::SendCommand(const UID& job, const String& command, const String& item,
                                  String* error) {
    return Request(error, [&](std::vector<boost::shared_ptr<Message>>& out) {
        return m_Schedule.ApplyCommand(job, command, item, error, out);
    });
}

bool SimulatedMaster::SubmitJob(const UID& type, String* error) {
    return Request(error, [&](std::vector<boost::shared_ptr<Message>>& out) {
        return m_Schedule.Submit(type, error, out);
    });
}

bool SimulatedMaster::Request(
    String* error, const std::function<bool(std::vector<boost::shared_ptr<Message>>&)>& apply) {
    if (!m_Connected.load()) {
        if (error) *error = "Not connected to the farm master";
        return false;
    }
    std::vector<boost::shared_ptr<Message>> out;
    bool ok;
    {
        std::lock_guard<std::mutex> l(m_ModelMutex);
        ok = apply(out);
    }
    if (!out.empty()) {
        std::lock_guard<std::mutex> l(m_Mutex);
        m_Outgoing.insert(m_Outgoing.end(), out.begin(), out.end());
        m_Wake.notify_all();
    }
    return ok;
}

void SimulatedMaster::Send(boost::shared_ptr<Message> m) {
    m_Sent.fetch_add(1);
    m_Sink->ReceiveMessage(std::move(m));
}

void SimulatedMaster::DoConnect() {
    m_Connected = true;
    LogInfo("Embedded master: connected");
    MessengerConnectedEvt evt(GetMasterName());
    MessengerConnectedEvt::s_Signal.Emit(evt);
    FarmSchedule::Frozen farm;
    {
        std::lock_guard<std::mutex> l(m_ModelMutex);
        farm = m_Schedule.Freeze();
    }
    const size_t batchSize = 1000;
    for (size_t i = 0; i < farm.JobCount(); i += batchSize) {
        boost::shared_ptr<Message> batch;
        {
            std::lock_guard<std::mutex> l(m_ModelMutex); // commands may add priorities
            batch = m_Schedule.Batch(farm, i, batchSize);
        }
        Send(batch);
        // Like a network link, the snapshot goes no faster than the client takes it in: sent
        // all at once, a million jobs' messages would sit in the client's queue together. A
        // request (a disconnect, the end) cuts the snapshot short.
        while (m_Sink->QueuedMessages() > 4 && !RequestPending()) {
            std::unique_lock<std::mutex> l(m_Mutex);
            m_Wake.wait_for(l, std::chrono::milliseconds(2));
        }
        if (RequestPending()) break;
    }
}

void SimulatedMaster::DoDisconnect(const String& reason) {
    m_Connected = false;
    LogInfo("Embedded master: disconnected (" + reason + ")");
    MessengerDisconnectedEvt evt(reason);
    MessengerDisconnectedEvt::s_Signal.Emit(evt);
}

void SimulatedMaster::Run() {
    DoConnect();
    int64_t due = Time::Monotonic();
    int64_t logDue = 0;
    for (;;) {
        _Request request;
        bool haveRequest = false;
        std::deque<boost::shared_ptr<Message>> outgoing;
        double rate, logRate;
        {
            std::unique_lock<std::mutex> l(m_Mutex);
            auto ready = [&] { return !m_Requests.empty() || !m_Outgoing.empty(); };
            if (m_Rate >= 0 && (m_Rate > 0 || m_LogRate > 0) && m_Connected) {
                // Until the earlier of the two streams is due.
                int64_t next = m_Rate > 0 ? due : INT64_MAX;
                if (m_LogRate > 0) next = std::min(next, logDue);
                const int64_t wait = next - Time::Monotonic();
                if (wait > 0) m_Wake.wait_for(l, std::chrono::microseconds(wait), ready);
            } else if (m_Rate == 0 || !m_Connected) {
                m_Wake.wait(l, ready);
            }
            if (!m_Requests.empty()) {
                request = m_Requests.front();
                m_Requests.pop_front();
                haveRequest = true;
            }
            outgoing.swap(m_Outgoing);
            rate = m_Rate;
            logRate = m_LogRate;
        }
        if (m_Connected)
            for (auto& m : outgoing)
                Send(m);
        if (haveRequest) {
            switch (request) {
            case k_Disconnect:
                if (m_Connected) DoDisconnect("disconnected by request");
                break;
            case k_Reconnect:
                if (!m_Connected) DoConnect();
                due = Time::Monotonic();
                break;
            case k_Shutdown:
                LogSystem("Embedded master: ordering shutdown");
                Send(boost::shared_ptr<Message>(new ShutdownMsg()));
                break;
            case k_Quit:
                if (m_Connected) DoDisconnect("client closing");
                return;
            }
            continue;
        }
        if (m_Connected && logRate > 0) {
            // Every line that is due, in one go: at high rates a wake-up carries many.
            const int64_t now = Time::Monotonic();
            if (logDue == 0 || now - logDue > 1000000) logDue = now;
            while (logDue <= now) {
                auto m = boost::shared_ptr<Message>(new Message(k_MsgLogLine));
                m->m_Params["Text"] = FarmSchedule::MasterLogText(m_Seed, m_LogLines++);
                Send(m);
                logDue += std::max<int64_t>(1, (int64_t)(1e6 / logRate));
            }
        }
        if (!m_Connected || rate == 0) continue;
        if (rate > 0 && Time::Monotonic() < due) continue;
        boost::shared_ptr<Message> next;
        {
            std::lock_guard<std::mutex> l(m_ModelMutex);
            next = m_Schedule.Next();
        }
        Send(next);
        if (rate > 0) {
            due += (int64_t)(1e6 / rate);
            // After a stall, do not try to catch up with a burst.
            if (Time::Monotonic() - due > 1000000) due = Time::Monotonic();
        }
    }
}
