// One farm over the network: a taviro-master and two client programs (tests/taviro/net_probe)
// as processes on loopback. Both clients show the same farm and each other's commands; a master
// that is paused, or killed and started again with another farm, is noticed and, once back,
// both converge on it; bad frames leave the master serving. Every process goes when its Child
// does. Last, a messenger against a scripted master: the stream after the snapshot, once, and
// a fresh snapshot after a gap, again if the stream kept during it has a hole.
#include "tests/support/TestEnv.h"

#include <taviro/NetMessenger.h>
#include <taviro/NetProtocol.h>

#include <ostrum/File.h>

#include <zmq.hpp>

#include <arpa/inet.h>
#include <sys/syscall.h>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <signal.h>
#include <sstream>
#include <unistd.h>

namespace {

using taviro_test::Child;

// The master's port from its first line: "taviro-master: listening on 127.0.0.1:PORT ...".
std::unique_ptr<Child> StartMaster(std::vector<String> options, const String& logDir, int* port) {
    options.insert(options.end(),
                   {"--bind", "127.0.0.1", "--log-dir", logDir, "--modules", DEMO_MODULES});
    auto master = std::make_unique<Child>(TAVIRO_MASTER, options);
    const String line = master->ReadLine(15000);
    const size_t at = line.find("127.0.0.1:");
    *port = at == String::npos ? 0 : atoi(line.c_str() + at + 10);
    EXPECT_GT(*port, 0) << line;
    return master;
}

bool Stopped(int pid) { // the state letter of /proc/PID/stat
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), {});
    const size_t paren = text.rfind(')');
    return paren != std::string::npos && text.substr(paren + 2, 1) == "T";
}

class NetFarm : public ::testing::Test {
protected:
    struct _Client {
        std::unique_ptr<Child> child;
        std::deque<String> events; // connection lines not waited for yet
    };

    void Start(std::vector<String> masterOptions) {
        m_Dir = taviro_test::MakeTempDir("net");
        m_Master = StartMaster(masterOptions, m_Dir, &m_Port);
        for (int i = 0; i < 2; ++i) {
            const String name = "probe-" + String::FromInt(i);
            m_Clients[i].child = std::make_unique<Child>(
                NET_PROBE,
                std::vector<String>{"--master", "127.0.0.1:" + String::FromInt(m_Port), "--name",
                                    name, "--log-dir", m_Dir, "--options",
                                    m_Dir + "/" + name + ".ini", "--modules", DEMO_MODULES});
        }
        for (int i = 0; i < 2; ++i)
            ASSERT_TRUE(WaitEvent(i, "connected 127.0.0.1:"));
    }

    static bool IsEvent(const String& line) {
        return line.StartsWith("connected ") || line.StartsWith("disconnected ");
    }

    // The client's answer; the connection lines that come meanwhile are kept for WaitEvent.
    String Ask(int i, const String& request) {
        m_Clients[i].child->Write(request);
        for (;;) {
            const String line = m_Clients[i].child->ReadLine(15000);
            if (!IsEvent(line)) return line;
            m_Clients[i].events.push_back(line);
        }
    }

    bool WaitEvent(int i, const String& prefix, int timeoutMs = 20000) {
        auto& events = m_Clients[i].events;
        for (;;) {
            while (!events.empty()) {
                const String e = events.front();
                events.pop_front();
                if (e.StartsWith(prefix)) return true;
            }
            const String line = m_Clients[i].child->ReadLine(timeoutMs);
            if (line.empty()) return false;
            events.push_back(line);
        }
    }

    // "digest JOBS HASH LOGLINES LAST MISSED" split into its five values.
    std::vector<String> Digest(int i) {
        std::istringstream in(Ask(i, "digest"));
        std::string word, jobs, hash, logs, last, missed;
        in >> word >> jobs >> hash >> logs >> last >> missed;
        EXPECT_EQ(word, "digest");
        return {jobs, hash, logs, last, missed};
    }

    void WaitForJobs(long atLeast) {
        for (int i = 0; i < 2; ++i)
            ASSERT_TRUE(taviro_test::WaitUntil([&] { return Digest(i)[0].ToLong() >= atLeast; }));
    }

    // Both clients' digests once they agree on a farm of that many jobs, or the last ones.
    std::pair<std::vector<String>, std::vector<String>> DigestsAt(long jobs) {
        std::vector<String> a, b;
        taviro_test::WaitUntil(
            [&] {
                a = Digest(0), b = Digest(1);
                return a[0].ToLong() == jobs && b[0].ToLong() == jobs && a[1] == b[1];
            },
            20000);
        return {a, b};
    }

    String m_Dir;
    int m_Port = 0;
    std::unique_ptr<Child> m_Master;
    _Client m_Clients[2];
};

TEST_F(NetFarm, BothClientsShowOneFarmAndEachOthersCommandsAndTheMastersLog) {
    // No farm traffic but the master's log: the jobs change only by the clients' commands.
    Start({"--jobs", "3000", "--rate", "0", "--log-rate", "50", "--seed", "5"});
    auto [a, b] = DigestsAt(3000);
    EXPECT_EQ(a[1], b[1]) << "the two clients show different farms";
    const String paused = Ask(0, "pause");
    ASSERT_TRUE(paused.StartsWith("paused ")) << paused;
    const String status = "status " + paused.substr(7);
    EXPECT_TRUE(taviro_test::WaitUntil([&] { return Ask(1, status) == status + " 3"; }));
    std::tie(a, b) = DigestsAt(3000);
    EXPECT_EQ(a[1], b[1]);
    // The master's log reaches both, for a while: past a few heartbeats, none missed.
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(taviro_test::WaitUntil([&] { return Digest(i)[2].ToLong() >= 60; }));
    EXPECT_EQ(Digest(0)[4] + Digest(1)[4], "00") << "messages missed on an idle machine";
}

TEST_F(NetFarm, APausedMasterShowsDisconnectedCommandsFailAndTheFarmComesBack) {
    Start({"--jobs", "2000", "--rate", "400", "--seed", "7"});
    WaitForJobs(1500);
    // Stopped, the master leaves both clients with what it sent before: the same farm, once
    // both have the same last number (rarely, the stop falls between the two sends of a frame;
    // then look again after another stop).
    bool same = false;
    long last = 0;
    for (int round = 0; round < 3 && !same; ++round) {
        if (round > 0) { // once more, when both take the stream again
            m_Master->Kill(SIGCONT);
            for (int i = 0; i < 2; ++i) {
                ASSERT_TRUE(WaitEvent(i, "connected "));
                ASSERT_TRUE(taviro_test::WaitUntil([&] { return Digest(i)[3].ToLong() > last; }));
            }
        }
        m_Master->Kill(SIGSTOP);
        ASSERT_TRUE(taviro_test::WaitUntil([&] { return Stopped(m_Master->GetPid()); }));
        const auto t0 = std::chrono::steady_clock::now();
        const String refused = Ask(0, "pause"); // before or after it is noticed
        EXPECT_TRUE(refused.StartsWith("error ")) << refused;
        for (int i = 0; i < 2; ++i)
            ASSERT_TRUE(WaitEvent(i, "disconnected the farm master stopped answering"));
        printf("disconnected %.1f s after the stop\n",
               std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
        EXPECT_EQ(Ask(0, "pause"),
                  "error Not connected to the farm master: The command 'Pause' was not sent");
        const auto a = Digest(0), b = Digest(1);
        same = a[3] == b[3];
        if (same) {
            EXPECT_EQ(a[1], b[1]) << "the same messages, but different farms";
        }
        EXPECT_GE(a[0].ToLong(), 1500);
        last = std::max(a[3].ToLong(), b[3].ToLong());
    }
    EXPECT_TRUE(same);
    m_Master->Kill(SIGCONT);
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(WaitEvent(i, "connected "));
}

TEST_F(NetFarm, AMasterKilledAndStartedAgainBringsBothClientsOntoItsFarm) {
    Start({"--jobs", "2000", "--rate", "300", "--seed", "3"});
    WaitForJobs(1500);
    m_Master->Kill(SIGKILL);
    m_Master->Wait();
    // Another farm on the same port: the old jobs must go, the new ones come.
    int port = 0;
    m_Master = StartMaster({"--port", String::FromInt(m_Port), "--pub-port", "0", "--jobs", "1500",
                            "--rate", "0", "--seed", "4"},
                           m_Dir, &port);
    ASSERT_EQ(port, m_Port);
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(WaitEvent(i, "disconnected "));
        ASSERT_TRUE(WaitEvent(i, "connected "));
    }
    const auto [a, b] = DigestsAt(1500);
    EXPECT_EQ(a[0], "1500");
    EXPECT_EQ(b[0], "1500");
    EXPECT_EQ(a[1], b[1]);
    // This master sends nothing but its heartbeat, which keeps the link up.
    EXPECT_FALSE(WaitEvent(0, "disconnected ", 2500));
}

TEST(NetMaster, GarbageCutShortOversizedAndOtherVersionsAreLoggedAndDroppedAndItEndsInOrder) {
    const String dir = taviro_test::MakeTempDir("net");
    int port = 0;
    auto master = StartMaster({"--port", "0", "--jobs", "10", "--rate", "0"}, dir, &port);
    const std::string address = "tcp://127.0.0.1:" + std::to_string(port);
    zmq::context_t context;
    zmq::socket_t peer(context, zmq::socket_type::dealer);
    peer.set(zmq::sockopt::linger, 0);
    peer.set(zmq::sockopt::rcvtimeo, 10000);
    peer.connect(address);
    auto request = [](const String& op, uint64_t id) {
        NetFrame q;
        q.m_Kind = NetFrame::k_Request;
        q.m_Number = id;
        q.m_Op = op;
        return q.Encode();
    };
    auto reply = [&]() {
        zmq::message_t m;
        NetFrame r;
        String why;
        if (!peer.recv(m)) return String("no reply");
        if (!r.Decode(m.data(), m.size(), NetFrame::k_MaxFrame, &why)) return "bad reply: " + why;
        return SFormat("%llu %s %s", (unsigned long long)r.m_Number, r.m_Op.c_str(),
                       r.m_Args.empty() ? "" : r.m_Args[0].c_str());
    };
    // A raw connection that speaks no ZeroMQ at all; the library turns it away.
    const int raw = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons((uint16_t)port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(raw, (sockaddr*)&to, sizeof to), 0);
    ASSERT_GT(write(raw, "GET / HTTP/1.0\r\n\r\n", 18), 0);
    close(raw);

    const std::string hello = request("hello", 7);
    for (const std::string& bad :
         {std::string("\xc1 garbage"), hello.substr(0, hello.size() - 3),
          std::string(NetFrame::k_MaxRequest + 1, '\x90'), std::string("\x92\xa6taviro\x63")})
        ASSERT_TRUE(peer.send(zmq::buffer(bad)));
    // Only the peer of another version is answered, so that it can say why.
    EXPECT_EQ(reply(), "0 error this master speaks protocol version 1, not 99");
    ASSERT_TRUE(peer.send(zmq::buffer(request("fly", 8))));
    EXPECT_EQ(reply(), "8 error unknown request 'fly'");
    ASSERT_TRUE(peer.send(zmq::buffer(hello)));
    EXPECT_TRUE(reply().StartsWith("7 ok ")) << "the master no longer serves";

    std::ifstream file((dir + "/taviro-master.log").c_str());
    const std::string log((std::istreambuf_iterator<char>(file)), {});
    for (const char* line : {"not a frame of this protocol", "a frame cut short",
                             "over the limit of 65536", "protocol version 99", "for 'fly'"})
        EXPECT_NE(log.find(line), std::string::npos) << line << " not logged in:\n" << log;
    // Asked to end, on every thread (a process's signal lands on any of them): it ends in order.
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(master->GetPid()) + "/task"))
        syscall(SYS_tgkill, master->GetPid(), atoi(task.path().filename().c_str()), SIGTERM);
    EXPECT_EQ(master->Wait(10000), 0);
}

// ---- the stream's order, against a scripted master ----

// Notes what a messenger hands over, and keeps the jobs as a client's table would.
class _Sink : public MessageSink {
public:
    void ReceiveMessage(boost::shared_ptr<Message> m) override {
        std::lock_guard<std::mutex> l(m_Mutex);
        for (auto& part : m->m_Batch)
            m_Jobs.insert(part->GetJob());
        if (m->GetType() == k_MsgJobCreated) m_Jobs.insert(m->GetJob());
        if (m->GetType() == k_MsgJobRemoved) m_Jobs.erase(m->GetJob());
        m_Got.push_back(
            SFormat("%s %llu", Message::TypeName(m->GetType()), (unsigned long long)m->m_Sequence));
    }
    size_t QueuedMessages() const override { return 0; }
    std::vector<UID> KnownJobs() const override {
        std::lock_guard<std::mutex> l(m_Mutex);
        return std::vector<UID>(m_Jobs.begin(), m_Jobs.end());
    }
    std::vector<String> Got() const {
        std::lock_guard<std::mutex> l(m_Mutex);
        return m_Got;
    }
    mutable std::mutex m_Mutex;
    std::vector<String> m_Got;
    std::set<UID> m_Jobs;
};

TEST(NetMessenger, TakesTheStreamAfterItsSnapshotOnceAndAFreshSnapshotAfterEachGap) {
    zmq::context_t context;
    zmq::socket_t requests(context, zmq::socket_type::router),
        stream(context, zmq::socket_type::xpub);
    for (zmq::socket_t* s : {&requests, &stream}) {
        s->set(zmq::sockopt::linger, 0);
        s->set(zmq::sockopt::rcvtimeo, 10000);
        s->bind("tcp://127.0.0.1:*");
    }
    auto portOf = [](zmq::socket_t& s) {
        const std::string e = s.get(zmq::sockopt::last_endpoint);
        return atoi(e.c_str() + e.rfind(':') + 1);
    };
    const uint64_t epoch = 77;
    zmq::message_t peer;
    // The client's next request, by its operation; answered by reply(id, args, messages).
    auto next = [&](const String& op) {
        zmq::message_t payload;
        EXPECT_TRUE(requests.recv(peer) && requests.recv(payload)) << "no " << op;
        NetFrame q;
        EXPECT_TRUE(q.Decode(payload.data(), payload.size(), NetFrame::k_MaxRequest, nullptr));
        EXPECT_EQ(q.m_Op, op);
        return q.m_Number;
    };
    auto send = [](zmq::socket_t& s, NetFrame::Kind kind, uint64_t epoch, uint64_t number,
                   std::vector<String> args, std::vector<boost::shared_ptr<Message>> messages) {
        NetFrame f;
        f.m_Kind = kind, f.m_Epoch = epoch, f.m_Number = number, f.m_Op = "ok";
        f.m_Args = std::move(args), f.m_Messages = std::move(messages);
        s.send(zmq::buffer(f.Encode()));
    };
    auto reply = [&](uint64_t id, std::vector<String> args,
                     std::vector<boost::shared_ptr<Message>> messages = {}) {
        requests.send(peer, zmq::send_flags::sndmore);
        send(requests, NetFrame::k_Reply, epoch, id, std::move(args), std::move(messages));
    };
    auto publish = [&](uint64_t first, std::vector<boost::shared_ptr<Message>> messages) {
        send(stream, NetFrame::k_Stream, epoch, first, {}, std::move(messages));
    };
    const UID a(true), b(true);
    auto job = [](MessageType type, const UID& id) {
        return boost::shared_ptr<Message>(new Message(type, id));
    };
    std::vector<String> reasons;
    std::mutex mutex;
    HasSlots slots;
    MessengerDisconnectedEvt::s_Signal.Connect(
        [&](MessengerDisconnectedEvt& e) {
            std::lock_guard<std::mutex> l(mutex);
            reasons.push_back(e.GetReason());
        },
        &slots);

    _Sink sink;
    NetMessenger messenger(&sink, "127.0.0.1", portOf(requests));
    messenger.Start();
    reply(next("hello"), {String::FromInt(portOf(stream))});
    zmq::message_t subscription;
    ASSERT_TRUE(stream.recv(subscription));
    send(stream, NetFrame::k_Beat, epoch, 10, {}, {});
    const uint64_t open = next("snapshot");
    // 11 and 12 are in the snapshot (it stands at 12), 13 comes after it.
    publish(11, {job(k_MsgJobChanged, a), job(k_MsgJobChanged, a), job(k_MsgJobCreated, b)});
    reply(open, {"1", "12", "1", "10"});
    reply(next("chunk"), {"1", "0"}, {job(k_MsgJobCreated, a)});
    publish(13, {job(k_MsgJobCreated, b), job(k_MsgJobChanged, b)}); // 13 again, and 14
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return sink.Got().size() == 3; }));
    // 15 and 16 were dropped for this client: a fresh snapshot, in which a is gone.
    publish(17, {job(k_MsgJobChanged, b)});
    reply(next("snapshot"), {"2", "17", "1", "10"});
    const uint64_t chunk = next("chunk");
    // While it comes, 18 and 19 are dropped: the stream after it has a hole, so once more.
    publish(20, {job(k_MsgJobChanged, b)});
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return messenger.GetStats().missed == 4; }));
    reply(chunk, {"2", "0"}, {job(k_MsgJobCreated, b)});
    reply(next("snapshot"), {"3", "20", "1", "10"});
    reply(next("chunk"), {"3", "0"}, {job(k_MsgJobCreated, b)});
    publish(21, {job(k_MsgJobChanged, b)});
    const std::vector<String> expected = {"JobBatch 0",   "JobCreated 13", "JobChanged 14",
                                          "JobBatch 0",   "JobRemoved 0",  "JobBatch 0",
                                          "JobChanged 21"};
    EXPECT_TRUE(taviro_test::WaitUntil([&] { return sink.Got().size() >= expected.size(); }));
    EXPECT_EQ(sink.Got(), expected);
    EXPECT_EQ(sink.KnownJobs(), std::vector<UID>{b});
    EXPECT_TRUE(messenger.IsConnected());

    send(stream, NetFrame::k_Beat, epoch + 1, 21, {}, {}); // another master on the same port
    EXPECT_TRUE(taviro_test::WaitUntil([&] { return !messenger.IsConnected(); }));
    messenger.Stop();
    std::lock_guard<std::mutex> l(mutex);
    EXPECT_EQ(reasons, std::vector<String>{"the farm master restarted"});
}

} // namespace
