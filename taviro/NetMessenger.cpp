#include <taviro/Message.h>
#include <taviro/NetMessenger.h>
#include <taviro/NetProtocol.h>

#include <ostrum/Log.h>
#include <ostrum/Time.h>

#include <zmq.hpp>

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <random>
#include <thread>

namespace {
const int64_t k_SilenceUs = 2000000; // a master silent this long is gone (it beats every 0.5 s)
const int64_t k_HelloUs = 1500000;   // the longest wait for the answer to hello
const int64_t k_ChunkUs = 10000000;  // and for a snapshot's opening or one of its chunks
const int64_t k_FirstRetryUs = 250000;
const int64_t k_LastRetryUs = 4000000;
const int k_AnswerMs = 2000; // the longest a caller waits for the master's answer
const size_t k_ChunksInFlight = 2;
const size_t k_SinkBacklog = 4;   // a snapshot waits while the sink has more queued
const size_t k_MaxKept = 2000000; // stream messages kept aside during a snapshot
} // namespace

// ---- state ----

struct NetMessenger::_Impl {
    // Down: waiting to try again; Paused: disconnected by the user; Hello: waiting for the
    // master's answer; Subscribing: for the first stream frame; Opening: for the snapshot's
    // number; Snapshot: fetching it; Live: the stream goes to the sink as it comes.
    enum State { k_Down, k_Paused, k_Hello, k_Subscribing, k_Opening, k_Snapshot, k_Live };
    enum Control { k_Disconnect, k_Reconnect, k_Quit };
    struct _Call {
        bool done = false, ok = false;
        String error;
        std::condition_variable cv;
    };

    _Impl(MessageSink* s, const String& h, int p)
        : sink(s), host(h), port(p), name(h + ":" + String::FromInt(p)) {}

    MessageSink* const sink;
    const String host;
    const int port;
    const String name;
    zmq::context_t context{1};
    std::unique_ptr<zmq::socket_t> requests, stream;
    int wakeFd = -1;
    std::thread thread;

    // Shared with the callers' threads, under the mutex.
    std::mutex mutex;
    std::deque<std::pair<uint64_t, std::string>> outbox; // request id, frame
    std::deque<Control> controls;
    std::map<uint64_t, std::shared_ptr<_Call>> calls;
    std::atomic<uint64_t> nextId{1};
    std::atomic<bool> connected{false};
    std::atomic<uint64_t> received{0}, missed{0}, snapshots{0}, connections{0}, lastSeen{0};

    // The messenger's thread only.
    State state = k_Down;
    int failures = 0;          // attempts and links in a row that came to nothing
    bool reportedDown = false; // the first of them is logged, not every one
    int64_t now = 0, retryAt = 0, deadline = 0, lastHeard = 0;
    uint64_t epoch = 0;  // the master's run, from its answer to hello
    uint64_t expect = 0; // the next stream number
    uint64_t helloId = 0, openId = 0;
    std::map<uint64_t, size_t> chunkIds; // chunk requests in flight
    uint64_t snapId = 0, snapSeq = 0;
    size_t chunkCount = 0, nextChunk = 0, chunksIn = 0;
    std::vector<UID> snapJobs;
    std::deque<boost::shared_ptr<Message>> kept; // stream messages during a snapshot
    uint64_t keptFrom = 0; // the number from which on the stream is kept without a hole
    BadInputLog bad{"Messenger"};
    std::minstd_rand jitter{std::random_device{}()};

    void Run();
    bool TakeControls();
    void SendOutbox();
    void Wait();
    void Timers();
    void Attempt();
    void FailAttempt(const String& why);
    void RetryLater();
    void Lose(const String& why);
    void CloseSockets();
    uint64_t Send(const String& op, std::vector<String> args);
    void ReadReplies();
    void ReadStream();
    bool Read(zmq::socket_t& s, NetFrame& frame, bool* stop);
    void OnWelcome(const NetFrame& f);
    void OnStream(const NetFrame& f);
    void Gap(uint64_t count, uint64_t next);
    void OpenSnapshot();
    void OnSnapshotOpen(const NetFrame& f);
    void RequestChunks();
    void OnChunk(NetFrame& f);
    void FinishSnapshot();
    void Deliver(boost::shared_ptr<Message> m);
    void Complete(uint64_t id, bool ok, const String& error);
    void FailCalls(const String& why);
    bool Call(const String& op, std::vector<String> args, String* error);
    void Push(Control c);
    void Wake();
};

NetMessenger::NetMessenger(MessageSink* sink, const String& host, int port)
    : m_Impl(new _Impl(sink, host, port)) {}

NetMessenger::~NetMessenger() {
    Stop();
}

void NetMessenger::Start() {
    if (m_Impl->thread.joinable()) return;
    m_Impl->wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    m_Impl->thread = std::thread([this] { m_Impl->Run(); });
}

void NetMessenger::Stop() {
    if (!m_Impl->thread.joinable()) return;
    m_Impl->Push(_Impl::k_Quit);
    m_Impl->thread.join();
    close(m_Impl->wakeFd);
    m_Impl->wakeFd = -1;
}

bool NetMessenger::IsConnected() const {
    return m_Impl->connected.load();
}

String NetMessenger::GetMasterName() const {
    return m_Impl->name;
}

bool NetMessenger::SendCommand(const UID& job, const String& command, const String& item,
                               String* error) {
    return m_Impl->Call("command", {job.ToString(), command, item}, error);
}

bool NetMessenger::SubmitJob(const UID& type, String* error) {
    return m_Impl->Call("submit", {type.ToString()}, error);
}

void NetMessenger::OrderShutdown() {
    String error;
    if (!m_Impl->Call("shutdown", {}, &error))
        GlobalLog(LL_Warning, "Messenger: the shutdown order did not reach the master: " + error);
}

void NetMessenger::Disconnect() {
    m_Impl->Push(_Impl::k_Disconnect);
}

void NetMessenger::Reconnect() {
    m_Impl->Push(_Impl::k_Reconnect);
}

NetMessenger::Stats NetMessenger::GetStats() const {
    Stats s;
    s.received = m_Impl->received.load();
    s.missed = m_Impl->missed.load();
    s.snapshots = m_Impl->snapshots.load();
    s.connections = m_Impl->connections.load();
    s.lastSeen = m_Impl->lastSeen.load();
    return s;
}

bool NetMessenger::ParseAddress(const String& text, String* host, int* port) {
    const size_t colon = text.rfind(':');
    if (colon == String::npos || colon == 0) return false;
    const String h = text.substr(0, colon);
    bool ok = false;
    const long p = String(text.substr(colon + 1)).ToLong(0, &ok);
    const bool bracketed = h.front() == '[' && h.back() == ']' && h.size() > 2;
    if (!ok || p < 1 || p > 65535 || (h.find(':') != String::npos && !bracketed)) return false;
    if (host) *host = h;
    if (port) *port = (int)p;
    return true;
}

// ---- callers' requests ----

bool NetMessenger::_Impl::Call(const String& op, std::vector<String> args, String* error) {
    auto fail = [&](const String& why) {
        if (error) *error = why;
        return false;
    };
    // Its answer would come on the very thread that waits for it.
    if (std::this_thread::get_id() == thread.get_id())
        return fail("A request cannot wait on the messenger's own thread");
    if (!connected) return fail("Not connected to the farm master");
    NetFrame q;
    q.m_Kind = NetFrame::k_Request;
    q.m_Number = nextId++;
    q.m_Op = op;
    q.m_Args = std::move(args);
    auto call = std::make_shared<_Call>();
    std::unique_lock<std::mutex> l(mutex);
    calls[q.m_Number] = call;
    outbox.emplace_back(q.m_Number, q.Encode());
    Wake();
    const bool answered =
        call->cv.wait_for(l, std::chrono::milliseconds(k_AnswerMs), [&] { return call->done; });
    calls.erase(q.m_Number);
    if (!answered)
        return fail(SFormat("The farm master did not answer within %d s", k_AnswerMs / 1000));
    return call->ok || fail(call->error);
}

void NetMessenger::_Impl::Complete(uint64_t id, bool ok, const String& error) {
    std::lock_guard<std::mutex> l(mutex);
    auto it = calls.find(id);
    if (it == calls.end()) return; // its caller gave up waiting
    it->second->done = true;
    it->second->ok = ok;
    it->second->error = error;
    it->second->cv.notify_all();
}

void NetMessenger::_Impl::FailCalls(const String& why) {
    std::lock_guard<std::mutex> l(mutex);
    outbox.clear();
    for (auto& kv : calls) {
        kv.second->done = true;
        kv.second->ok = false;
        kv.second->error = why;
        kv.second->cv.notify_all();
    }
}

void NetMessenger::_Impl::Push(Control c) {
    std::lock_guard<std::mutex> l(mutex);
    controls.push_back(c);
    Wake();
}

void NetMessenger::_Impl::Wake() {
    const uint64_t one = 1;
    if (wakeFd >= 0 && write(wakeFd, &one, sizeof one) < 0) {
        // Already signalled (the counter is full): the thread wakes anyway.
    }
}

// ---- the messenger's thread ----

void NetMessenger::_Impl::Run() {
    LogInfo("Messenger: connecting to the farm master at " + name);
    for (;;) {
        now = Time::Monotonic();
        if (!TakeControls()) break;
        SendOutbox();
        Timers();
        if (state == k_Snapshot) RequestChunks();
        Wait();
    }
    CloseSockets();
}

bool NetMessenger::_Impl::TakeControls() {
    std::deque<Control> todo;
    {
        std::lock_guard<std::mutex> l(mutex);
        todo.swap(controls);
    }
    for (Control c : todo) {
        if (c == k_Quit) {
            Lose("client closing");
            return false;
        }
        if (c == k_Disconnect && state != k_Paused) {
            Lose("disconnected by request");
            state = k_Paused;
            LogInfo("Messenger: stays disconnected until asked to reconnect");
        } else if (c == k_Reconnect && (state == k_Paused || state == k_Down)) {
            state = k_Down;
            failures = 0;
            retryAt = now;
        }
    }
    return true;
}

void NetMessenger::_Impl::SendOutbox() {
    std::deque<std::pair<uint64_t, std::string>> todo;
    {
        std::lock_guard<std::mutex> l(mutex);
        todo.swap(outbox);
    }
    const bool linked = state == k_Opening || state == k_Snapshot || state == k_Live;
    for (auto& r : todo)
        if (!linked || !requests->send(zmq::buffer(r.second), zmq::send_flags::dontwait))
            Complete(r.first, false, "Not connected to the farm master");
}

void NetMessenger::_Impl::Timers() {
    if (state == k_Down && now >= retryAt) Attempt();
    if (state == k_Hello && now >= deadline) FailAttempt("no answer");
    if (state >= k_Subscribing && now - lastHeard > k_SilenceUs)
        Lose("the farm master stopped answering");
    if ((state == k_Opening || (state == k_Snapshot && !chunkIds.empty())) && now >= deadline)
        Lose("the farm master did not send the snapshot");
}

void NetMessenger::_Impl::Wait() {
    int64_t until = now + 100000;
    if (state == k_Down) until = std::min(until, retryAt);
    if (state == k_Hello || state == k_Opening || state == k_Snapshot)
        until = std::min(until, deadline);
    if (state >= k_Subscribing) until = std::min(until, lastHeard + k_SilenceUs + 1000);
    // A snapshot waiting for the sink to catch up looks again soon.
    if (state == k_Snapshot && chunkIds.empty() && nextChunk < chunkCount)
        until = std::min(until, now + 2000);
    zmq::pollitem_t items[3] = {{nullptr, wakeFd, ZMQ_POLLIN, 0}};
    int n = 1;
    if (requests) items[n++] = {requests->handle(), 0, ZMQ_POLLIN, 0};
    if (stream) items[n++] = {stream->handle(), 0, ZMQ_POLLIN, 0};
    // A signal handled on this thread interrupts the wait: no error, nothing came.
    if (zmq_poll(items, n, (long)std::max<int64_t>(0, (until - now) / 1000)) < 0)
        for (auto& item : items)
            item.revents = 0;
    now = Time::Monotonic();
    if (items[0].revents & ZMQ_POLLIN) {
        uint64_t count;
        if (read(wakeFd, &count, sizeof count) < 0) {
            // Nothing to read after all (another wake-up took it).
        }
    }
    // Replies first: a snapshot's opening must be known before the stream after it is sorted.
    if (requests && n > 1 && (items[1].revents & ZMQ_POLLIN)) ReadReplies();
    if (stream && (items[n - 1].revents & ZMQ_POLLIN) && items[n - 1].socket == stream->handle())
        ReadStream();
}

// ---- joining and losing the master ----

void NetMessenger::_Impl::CloseSockets() {
    requests.reset();
    stream.reset();
}

void NetMessenger::_Impl::Attempt() {
    CloseSockets();
    epoch = 0;
    try {
        requests.reset(new zmq::socket_t(context, zmq::socket_type::dealer));
        requests->set(zmq::sockopt::linger, 0);
        requests->set(zmq::sockopt::maxmsgsize, (int64_t)NetFrame::k_MaxFrame * 4);
        if (host.front() == '[') requests->set(zmq::sockopt::ipv6, 1);
        requests->connect("tcp://" + host + ":" + String::FromInt(port));
    } catch (const zmq::error_t& e) {
        FailAttempt(e.what());
        return;
    }
    helloId = Send("hello", {});
    state = k_Hello;
    deadline = now + k_HelloUs;
}

void NetMessenger::_Impl::FailAttempt(const String& why) {
    CloseSockets();
    if (!reportedDown)
        GlobalLog(LL_Warning, "Messenger: cannot reach the farm master at " + name + " (" + why +
                                  "); trying again");
    reportedDown = true;
    RetryLater();
}

void NetMessenger::_Impl::RetryLater() {
    const int64_t wait = std::min(k_LastRetryUs, k_FirstRetryUs << std::min(failures, 5));
    // Spread out, so that the clients of a master that comes back do not all come at once.
    retryAt = now + wait * (80 + (int64_t)(jitter() % 41)) / 100;
    ++failures;
    state = k_Down;
}

void NetMessenger::_Impl::Lose(const String& why) {
    CloseSockets();
    chunkIds.clear();
    kept.clear();
    snapJobs.clear();
    snapId = 0;
    FailCalls("Lost the connection to the farm master (" + why + ")");
    if (connected) {
        connected = false;
        LogInfo("Messenger: disconnected from " + name + " (" + why + ")");
        MessengerDisconnectedEvt evt(why);
        MessengerDisconnectedEvt::s_Signal.Emit(evt);
    }
    reportedDown = false;
    // At once after a link that worked (a master that restarted is back already); after one
    // that failed before it was whole (a master that refuses snapshots), later and later.
    if (failures == 0) {
        retryAt = now;
        ++failures;
        state = k_Down;
    } else {
        RetryLater();
    }
}

uint64_t NetMessenger::_Impl::Send(const String& op, std::vector<String> args) {
    NetFrame q;
    q.m_Kind = NetFrame::k_Request;
    q.m_Number = nextId++;
    q.m_Op = op;
    q.m_Args = std::move(args);
    const std::string bytes = q.Encode();
    (void)requests->send(zmq::buffer(bytes), zmq::send_flags::dontwait);
    return q.m_Number;
}

// One frame from a socket; false when there is none. Bad ones are logged and skipped; one of
// another protocol version ends the attempt (*stop).
bool NetMessenger::_Impl::Read(zmq::socket_t& s, NetFrame& frame, bool* stop) {
    for (;;) {
        zmq::message_t m;
        if (!s.recv(m, zmq::recv_flags::dontwait)) return false;
        if (m.more()) { // frames are single parts: drop this one whole
            while (m.more() && s.recv(m, zmq::recv_flags::dontwait)) {
            }
            bad.Report("a frame of several parts from the master");
            continue;
        }
        String why;
        uint32_t version = 0;
        if (frame.Decode(m.data(), m.size(), NetFrame::k_MaxFrame, &why, &version)) {
            lastHeard = now;
            return true;
        }
        bad.Report("a frame from the master: " + why);
        if (version) {
            const String reason = SFormat("the master speaks protocol version %u, this client %u",
                                          version, NetFrame::k_Version);
            state >= k_Subscribing ? Lose(reason) : FailAttempt(reason);
            *stop = true;
            return false;
        }
    }
}

void NetMessenger::_Impl::ReadReplies() {
    NetFrame f;
    bool stop = false;
    for (int n = 0; n < 256 && requests && Read(*requests, f, &stop); ++n) {
        if (f.m_Kind != NetFrame::k_Reply) {
            bad.Report("a frame on the request channel that is no reply");
            continue;
        }
        if (epoch && f.m_Epoch != epoch) return Lose("the farm master restarted");
        auto chunk = chunkIds.find(f.m_Number);
        if (state == k_Hello && f.m_Number == helloId) {
            OnWelcome(f);
        } else if (state == k_Opening && f.m_Number == openId) {
            OnSnapshotOpen(f);
        } else if (state == k_Snapshot && chunk != chunkIds.end()) {
            chunkIds.erase(chunk);
            OnChunk(f);
        } else { // a caller's, or one of a snapshot given up (which no caller waits for)
            Complete(f.m_Number, f.m_Op == "ok", f.m_Args.empty() ? String() : f.m_Args[0]);
        }
    }
}

void NetMessenger::_Impl::OnWelcome(const NetFrame& f) {
    const long pubPort = f.m_Args.empty() ? 0 : f.m_Args[0].ToLong(0);
    if (f.m_Op != "ok" || pubPort <= 0 || pubPort > 65535)
        return FailAttempt(f.m_Args.empty() ? String("refused") : f.m_Args[0]);
    epoch = f.m_Epoch;
    try {
        stream.reset(new zmq::socket_t(context, zmq::socket_type::sub));
        stream->set(zmq::sockopt::linger, 0);
        stream->set(zmq::sockopt::maxmsgsize, (int64_t)NetFrame::k_MaxFrame * 4);
        if (host.front() == '[') stream->set(zmq::sockopt::ipv6, 1);
        stream->set(zmq::sockopt::subscribe, "");
        stream->connect("tcp://" + host + ":" + String::FromInt(pubPort));
    } catch (const zmq::error_t& e) {
        return FailAttempt(e.what());
    }
    state = k_Subscribing;
    lastHeard = now;
}

// ---- the stream ----

void NetMessenger::_Impl::ReadStream() {
    NetFrame f;
    bool stop = false;
    for (int n = 0; n < 256 && stream && Read(*stream, f, &stop); ++n) {
        if (f.m_Kind != NetFrame::k_Stream && f.m_Kind != NetFrame::k_Beat) {
            bad.Report("a frame on the stream that is no stream frame");
            continue;
        }
        if (f.m_Epoch != epoch) return Lose("the farm master restarted");
        OnStream(f);
    }
}

void NetMessenger::_Impl::OnStream(const NetFrame& f) {
    const bool beat = f.m_Kind == NetFrame::k_Beat;
    if (beat || !f.m_Messages.empty()) lastSeen = f.m_Number + f.m_Messages.size() - (beat ? 0 : 1);
    if (state == k_Subscribing) {
        // The subscription is in place: the stream from here on misses nothing, and the
        // snapshot asked for now is at least as new as this frame.
        expect = keptFrom = beat ? f.m_Number + 1 : f.m_Number;
        OpenSnapshot();
    }
    if (beat) {
        // Messages up to the beat's number that never came were dropped for this client.
        if (f.m_Number >= expect) Gap(f.m_Number + 1 - expect, f.m_Number + 1);
        return;
    }
    for (size_t i = 0; i < f.m_Messages.size(); ++i) {
        const uint64_t seq = f.m_Number + i;
        if (seq < expect) continue; // had it already
        if (seq > expect) Gap(seq - expect, seq);
        expect = seq + 1;
        f.m_Messages[i]->m_Sequence = seq;
        if (state == k_Live) {
            Deliver(f.m_Messages[i]);
        } else if (kept.size() < k_MaxKept) {
            kept.push_back(f.m_Messages[i]);
        } else { // what is kept is of no use: the snapshot is taken again once it is in
            kept.clear();
            keptFrom = expect;
        }
    }
}

// Messages before `next` were dropped for this client: it needs a snapshot after them. One
// under way is fetched all the same (so that a client slower than the farm still sees it anew
// now and then) and taken again if it is older than the hole.
void NetMessenger::_Impl::Gap(uint64_t count, uint64_t next) {
    missed += count;
    expect = keptFrom = next;
    kept.clear();
    LogInfo(SFormat("Messenger: missed %llu messages of the farm; taking a fresh snapshot",
                    (unsigned long long)count));
    if (state == k_Live) OpenSnapshot();
}

void NetMessenger::_Impl::Deliver(boost::shared_ptr<Message> m) {
    ++received;
    sink->ReceiveMessage(std::move(m));
}

// ---- snapshots ----

void NetMessenger::_Impl::OpenSnapshot() {
    if (snapId) Send("release", {String::FromInt((long long)snapId)});
    snapId = 0;
    chunkIds.clear();
    snapJobs.clear();
    kept.clear();
    openId = Send("snapshot", {});
    state = k_Opening;
    deadline = now + k_ChunkUs;
}

void NetMessenger::_Impl::OnSnapshotOpen(const NetFrame& f) {
    if (f.m_Op != "ok" || f.m_Args.size() < 4)
        return Lose("the farm master refused a snapshot: " +
                    (f.m_Args.empty() ? String("?") : f.m_Args[0]));
    snapId = (uint64_t)f.m_Args[0].ToLong(0);
    snapSeq = (uint64_t)f.m_Args[1].ToLong(0);
    const size_t jobs = (size_t)std::max(0L, f.m_Args[2].ToLong(0));
    const size_t per = (size_t)std::max(1L, f.m_Args[3].ToLong(1));
    chunkCount = (jobs + per - 1) / per;
    nextChunk = chunksIn = 0;
    snapJobs.reserve(jobs);
    state = k_Snapshot;
    ++snapshots;
    if (!connected) {
        connected = true;
        ++connections;
        LogInfo("Messenger: connected to the farm master at " + name);
        MessengerConnectedEvt evt(name);
        MessengerConnectedEvt::s_Signal.Emit(evt);
    }
    if (chunkCount == 0) FinishSnapshot();
}

void NetMessenger::_Impl::RequestChunks() {
    while (chunkIds.size() < k_ChunksInFlight && nextChunk < chunkCount &&
           sink->QueuedMessages() <= k_SinkBacklog) {
        chunkIds[Send("chunk", {String::FromInt((long long)snapId),
                                String::FromInt((long long)nextChunk)})] = nextChunk;
        ++nextChunk;
        deadline = now + k_ChunkUs;
    }
}

void NetMessenger::_Impl::OnChunk(NetFrame& f) {
    if (f.m_Op != "ok")
        return Lose("the farm master lost the snapshot: " +
                    (f.m_Args.empty() ? String("?") : f.m_Args[0]));
    auto batch = boost::shared_ptr<Message>(new Message(k_MsgJobBatch));
    for (const auto& m : f.m_Messages)
        snapJobs.push_back(m->GetJob());
    batch->m_Batch = std::move(f.m_Messages);
    sink->ReceiveMessage(batch);
    if (++chunksIn == chunkCount) FinishSnapshot();
}

void NetMessenger::_Impl::FinishSnapshot() {
    // The sink knows every job of the snapshot now; any more are jobs that went while this
    // client was not listening.
    const std::vector<UID> known = sink->KnownJobs();
    if (known.size() != snapJobs.size()) {
        std::sort(snapJobs.begin(), snapJobs.end());
        for (const UID& id : known)
            if (!std::binary_search(snapJobs.begin(), snapJobs.end(), id))
                Deliver(boost::shared_ptr<Message>(new Message(k_MsgJobRemoved, id)));
    }
    std::vector<UID>().swap(snapJobs);
    snapId = 0;                   // the master frees it after the last chunk
    if (snapSeq + 1 < keptFrom) { // a hole between the snapshot and the stream kept
        keptFrom = expect;
        return OpenSnapshot();
    }
    state = k_Live;
    failures = 0;
    std::deque<boost::shared_ptr<Message>> after;
    after.swap(kept);
    for (auto& m : after)
        if (m->m_Sequence > snapSeq) Deliver(std::move(m));
}
