#include <taviro/FarmSchedule.h>
#include <taviro/FarmServer.h>
#include <taviro/JobFactory.h>
#include <taviro/NetProtocol.h>

#include <ostrum/Log.h>
#include <ostrum/Time.h>

#include <zmq.hpp>
#include <zmq_addon.hpp>

#include <algorithm>
#include <atomic>
#include <map>
#include <random>
#include <thread>

namespace {
const size_t k_FrameMessages = 64;         // farm messages per stream frame, at most
const size_t k_ChunkJobs = 2000;           // jobs per snapshot chunk
const int64_t k_BeatUs = 500000;           // heartbeat period
const int64_t k_SnapshotIdleUs = 30000000; // a snapshot nobody fetches for this long is freed
const size_t k_MaxSnapshots = 64;          // open at once: each holds a copy of the farm
const size_t k_BurstMessages = 4096;       // farm messages made per turn of the loop, at most

// Peers that vanish without closing (a machine that went away) are noticed by the library's
// own heartbeat and their queues freed.
void CommonOptions(zmq::socket_t& s) {
    s.set(zmq::sockopt::linger, 0);
    s.set(zmq::sockopt::heartbeat_ivl, 1000);
    s.set(zmq::sockopt::heartbeat_timeout, 5000);
}

int PortOf(zmq::socket_t& s) {
    const std::string endpoint = s.get(zmq::sockopt::last_endpoint);
    const size_t colon = endpoint.rfind(':');
    return colon == std::string::npos ? 0 : atoi(endpoint.c_str() + colon + 1);
}
} // namespace

struct FarmServer::_Impl {
    explicit _Impl(const Options& o)
        : options(o), schedule(o.seed, o.jobs, JobFactory::s_JobFactory.ListTypes()) {}

    struct _Snapshot {
        FarmSchedule::Frozen farm;
        int64_t lastUse = 0;
        std::string peer; // the client's routing id: one snapshot per client
    };

    Options options;
    FarmSchedule schedule;
    zmq::context_t context{1};
    zmq::socket_t requests{context, zmq::socket_type::router};
    zmq::socket_t stream{context, zmq::socket_type::xpub};
    std::thread thread;
    std::atomic<bool> stop{false};
    std::atomic<size_t> jobCount{0};
    int port = 0, pubPort = 0;
    uint64_t epoch = 0;
    uint64_t sequence = 0; // the last number given to a farm message
    NetFrame pending;      // the stream frame being filled
    std::map<uint64_t, _Snapshot> snapshots;
    uint64_t nextSnapshot = 1;
    uint64_t logLines = 0;
    BadInputLog bad{"Master"};

    bool Bind(String* error);
    void Run();
    void Publish(boost::shared_ptr<Message> m);
    void Flush();
    void Beat();
    void Produce(int64_t now, int64_t& due, int64_t& logDue);
    void ServeRequests();
    void ServeSubscriptions();
    NetFrame Answer(const NetFrame& request, const String& peer, const std::string& id);
};

FarmServer::FarmServer(const Options& options) : m_Impl(new _Impl(options)) {}

FarmServer::~FarmServer() {
    Stop();
}

bool FarmServer::Start(String* error) {
    if (m_Impl->thread.joinable()) return true;
    if (!m_Impl->Bind(error)) return false;
    m_Impl->thread = std::thread([this] { m_Impl->Run(); });
    return true;
}

void FarmServer::Stop() {
    if (!m_Impl->thread.joinable()) return;
    m_Impl->stop = true;
    m_Impl->thread.join();
}

int FarmServer::GetPort() const {
    return m_Impl->port;
}

int FarmServer::GetPubPort() const {
    return m_Impl->pubPort;
}

size_t FarmServer::JobCount() const {
    return m_Impl->jobCount.load();
}

// ---- the sockets ----

bool FarmServer::_Impl::Bind(String* error) {
    auto endpoint = [&](int p) {
        return "tcp://" + options.bind + ":" + (p == 0 ? String("*") : String::FromInt(p));
    };
    try {
        for (zmq::socket_t* s : {&requests, &stream}) {
            CommonOptions(*s);
            if (options.bind.find(':') != String::npos) s->set(zmq::sockopt::ipv6, 1);
        }
        // A client's requests are small; a bigger frame is logged and dropped, and a much
        // bigger one makes the library drop the connection before it is read into memory.
        requests.set(zmq::sockopt::maxmsgsize, (int64_t)NetFrame::k_MaxRequest * 4);
        requests.set(zmq::sockopt::sndhwm, 1000);
        stream.set(zmq::sockopt::maxmsgsize, (int64_t)4096); // subscriptions only
        stream.set(zmq::sockopt::sndhwm, std::max(1, options.sendQueue));
        stream.set(zmq::sockopt::xpub_verbose, 1); // every new subscriber, for its first beat
        requests.bind(endpoint(options.port));
        port = PortOf(requests);
        const int wanted = options.pubPort >= 0 ? options.pubPort
                           : options.port == 0  ? 0
                                                : options.port + 1;
        stream.bind(endpoint(wanted));
        pubPort = PortOf(stream);
    } catch (const zmq::error_t& e) {
        if (error)
            *error = SFormat("cannot listen on %s (ports %d and %d): %s", options.bind.c_str(),
                             options.port, options.pubPort, e.what());
        return false;
    }
    std::random_device rd;
    epoch = ((uint64_t)rd() << 32 | rd()) | 1; // never 0, which clients take for "none yet"
    jobCount = schedule.JobCount();
    LogInfo(SFormat("Master: serving %zu jobs on %s:%d (stream on port %d)", schedule.JobCount(),
                    options.bind.c_str(), port, pubPort));
    return true;
}

void FarmServer::_Impl::Run() {
    pending.m_Kind = NetFrame::k_Stream;
    pending.m_Epoch = epoch;
    int64_t now = Time::Monotonic();
    int64_t due = now, logDue = now, nextBeat = now;
    while (!stop) {
        // Until the next thing due; the flag is looked at twice a second at least.
        int64_t wake = nextBeat;
        if (options.rate > 0) wake = std::min(wake, due);
        if (options.logRate > 0) wake = std::min(wake, logDue);
        const long waitMs =
            options.rate < 0 ? 0 : (long)std::max<int64_t>(0, (wake - now + 999) / 1000);
        zmq::pollitem_t items[] = {{requests.handle(), 0, ZMQ_POLLIN, 0},
                                   {stream.handle(), 0, ZMQ_POLLIN, 0}};
        // A signal handled on this thread interrupts the wait: no error, nothing came.
        if (zmq_poll(items, 2, waitMs) < 0) items[0].revents = items[1].revents = 0;
        if (items[0].revents & ZMQ_POLLIN) ServeRequests();
        if (items[1].revents & ZMQ_POLLIN) ServeSubscriptions();
        now = Time::Monotonic();
        Produce(now, due, logDue);
        Flush();
        if (now >= nextBeat) {
            Beat();
            nextBeat = now + k_BeatUs;
            for (auto it = snapshots.begin(); it != snapshots.end();)
                it = now - it->second.lastUse > k_SnapshotIdleUs ? snapshots.erase(it) : ++it;
        }
        jobCount = schedule.JobCount();
    }
    LogInfo("Master: stopped");
}

// ---- the stream ----

void FarmServer::_Impl::Publish(boost::shared_ptr<Message> m) {
    if (pending.m_Messages.empty()) pending.m_Number = sequence + 1;
    ++sequence;
    pending.m_Messages.push_back(std::move(m));
    if (pending.m_Messages.size() >= k_FrameMessages) Flush();
}

void FarmServer::_Impl::Flush() {
    if (pending.m_Messages.empty()) return;
    const std::string bytes = pending.Encode();
    // Never blocks: a client whose queue is full misses this frame and resynchronises.
    (void)stream.send(zmq::buffer(bytes), zmq::send_flags::dontwait);
    pending.m_Messages.clear();
}

void FarmServer::_Impl::Beat() {
    Flush();
    NetFrame beat;
    beat.m_Kind = NetFrame::k_Beat;
    beat.m_Epoch = epoch;
    beat.m_Number = sequence;
    const std::string bytes = beat.Encode();
    (void)stream.send(zmq::buffer(bytes), zmq::send_flags::dontwait);
}

void FarmServer::_Impl::Produce(int64_t now, int64_t& due, int64_t& logDue) {
    if (options.logRate > 0) {
        if (now - logDue > 1000000) logDue = now; // after a stall, no burst to catch up
        for (size_t n = 0; logDue <= now && n < k_BurstMessages; ++n) {
            auto m = boost::shared_ptr<Message>(new Message(k_MsgLogLine));
            m->m_Params["Text"] = FarmSchedule::MasterLogText(options.seed, logLines++);
            Publish(m);
            logDue += std::max<int64_t>(1, (int64_t)(1e6 / options.logRate));
        }
    }
    if (options.rate == 0) return;
    if (options.rate < 0) {
        for (size_t n = 0; n < k_BurstMessages; ++n)
            Publish(schedule.Next());
        return;
    }
    if (now - due > 1000000) due = now;
    for (size_t n = 0; due <= now && n < k_BurstMessages; ++n) {
        Publish(schedule.Next());
        due += std::max<int64_t>(1, (int64_t)(1e6 / options.rate));
    }
}

void FarmServer::_Impl::ServeSubscriptions() {
    zmq::message_t m;
    bool joined = false;
    for (int n = 0; n < 256 && stream.recv(m, zmq::recv_flags::dontwait); ++n)
        joined = joined || (m.size() >= 1 && m.data<uint8_t>()[0] == 1);
    // The first frame a client sees tells it that its subscription is in place, so that the
    // snapshot it asks for next misses nothing that follows.
    if (joined) Beat();
}

// ---- requests ----

void FarmServer::_Impl::ServeRequests() {
    for (int n = 0; n < 256; ++n) {
        std::vector<zmq::message_t> parts;
        if (!zmq::recv_multipart(requests, std::back_inserter(parts), zmq::recv_flags::dontwait))
            return;
        // [peer][payload] from a DEALER; a REQ puts an empty part between, sent back as is.
        if (parts.size() < 2 || parts.size() > 3) {
            bad.Report(SFormat("a request of %zu parts", parts.size()));
            continue;
        }
        zmq::message_t& payload = parts.back();
        const char* address = payload.gets("Peer-Address");
        const String peer = address ? address : "?";
        NetFrame request;
        String why;
        uint32_t version = 0;
        NetFrame reply;
        if (!request.Decode(payload.data(), payload.size(), NetFrame::k_MaxRequest, &why,
                            &version)) {
            bad.Report("a request from " + peer + ": " + why);
            if (!version) continue;
            // Told in this version's words, which a client of any version can read this far.
            reply.m_Kind = NetFrame::k_Reply;
            reply.m_Op = "error";
            reply.m_Args = {SFormat("this master speaks protocol version %u, not %u",
                                    NetFrame::k_Version, version)};
        } else if (request.m_Kind != NetFrame::k_Request) {
            bad.Report("a frame from " + peer + " that is no request");
            continue;
        } else {
            reply = Answer(request, peer, parts[0].to_string());
        }
        reply.m_Kind = NetFrame::k_Reply;
        reply.m_Epoch = epoch;
        reply.m_Number = request.m_Number;
        const std::string bytes = reply.Encode();
        for (size_t i = 0; i + 1 < parts.size(); ++i)
            (void)requests.send(parts[i], zmq::send_flags::sndmore | zmq::send_flags::dontwait);
        (void)requests.send(zmq::buffer(bytes), zmq::send_flags::dontwait);
    }
}

NetFrame FarmServer::_Impl::Answer(const NetFrame& q, const String& peer, const std::string& id) {
    NetFrame r;
    r.m_Op = "ok";
    auto refuse = [&](const String& why) {
        r.m_Op = "error";
        r.m_Args = {why};
        return r;
    };
    auto arg = [&](size_t i) { return i < q.m_Args.size() ? q.m_Args[i] : String(); };
    std::vector<boost::shared_ptr<Message>> out;
    String error;
    if (q.m_Op == "hello") {
        LogInfo("Master: a client at " + peer + " joined");
        r.m_Args = {String::FromInt(pubPort)};
    } else if (q.m_Op == "snapshot") {
        for (auto it = snapshots.begin(); it != snapshots.end();) // the client's earlier one
            it = it->second.peer == id ? snapshots.erase(it) : ++it;
        if (snapshots.size() >= k_MaxSnapshots) return refuse("too many snapshots under way");
        // Everything up to this number is in the copy; the client takes the stream after it.
        Flush();
        const uint64_t number = nextSnapshot++;
        _Snapshot& s = snapshots[number];
        s.farm = schedule.Freeze();
        s.lastUse = Time::Monotonic();
        s.peer = id;
        r.m_Args = {String::FromInt((long long)number), String::FromInt((long long)sequence),
                    String::FromInt((long long)s.farm.JobCount()),
                    String::FromInt((long long)k_ChunkJobs)};
    } else if (q.m_Op == "chunk") {
        auto it = snapshots.find((uint64_t)arg(0).ToLong(0));
        const long index = arg(1).ToLong(-1);
        if (it == snapshots.end()) return refuse("no such snapshot (expired)");
        const size_t first = (size_t)std::max(0L, index) * k_ChunkJobs;
        if (index < 0 || first >= it->second.farm.JobCount()) return refuse("no such chunk");
        r.m_Messages = schedule.Batch(it->second.farm, first, k_ChunkJobs)->m_Batch;
        r.m_Args = {arg(0), arg(1)};
        it->second.lastUse = Time::Monotonic();
        if (first + k_ChunkJobs >= it->second.farm.JobCount()) snapshots.erase(it); // the last
    } else if (q.m_Op == "release") {
        snapshots.erase((uint64_t)arg(0).ToLong(0));
    } else if (q.m_Op == "command") {
        if (!schedule.ApplyCommand(UID(arg(0), false), arg(1), arg(2), &error, out))
            return refuse(error);
    } else if (q.m_Op == "submit") {
        if (!schedule.Submit(UID(arg(0), false), &error, out)) return refuse(error);
    } else if (q.m_Op == "shutdown") {
        LogSystem("Master: a client at " + peer + " ordered the farm to shut down");
        out.push_back(boost::shared_ptr<Message>(new ShutdownMsg()));
    } else {
        bad.Report("a request from " + peer + " for '" + q.m_Op + "'");
        return refuse("unknown request '" + q.m_Op + "'");
    }
    // What the request changed goes out on the stream before the answer.
    for (auto& m : out)
        Publish(m);
    Flush();
    return r;
}
