// Cross-thread stress: signals emitted from many threads while others connect, disconnect
// and destroy slot owners; the log written from many threads. Run under ThreadSanitizer in CI.
#include "tests/support/TestEnv.h"

#include <ostrum/Ostrum.h>

#include <atomic>
#include <deque>
#include <random>
#include <set>

namespace {

// Per-owner state kept outside the owner, so it can be checked after the owner is gone.
struct _Record {
    std::atomic<bool> gone{false};            // set once Disconnect / delete has returned
    std::atomic<long> calls{0}, lateCalls{0}; // late: started after `gone` was set
};

struct _Owner : HasSlots {
    explicit _Owner(_Record* r) : m_Record(r) {}
    ~_Owner() override { DisconnectAll(); } // before our members go, as the header asks
    void OnValue(int) { OnPing(); }
    void OnPing() {
        if (m_Record->gone.load()) m_Record->lateCalls.fetch_add(1);
        m_Record->calls.fetch_add(1, std::memory_order_relaxed);
    }
    _Record* m_Record;
};

TEST(SignalStress, EightEmittersWithConnectDisconnectAndDestroyChurn) {
    const long kEmitters = 8, kPerEmitter = 125000; // 1,000,000 emissions in all
    Signal1<int> valueSignal;
    Signal0<> pingSignal;

    // A permanent owner must see every emission exactly once: nothing lost, nothing doubled.
    _Record permanentRecord;
    _Owner permanent(&permanentRecord);
    valueSignal.Connect(&permanent, &_Owner::OnValue);

    std::atomic<bool> stop{false};
    std::atomic<long> churned{0};
    std::deque<_Record> records[3]; // one per churn thread

    // Churn thread 1: connect an owner to both signals, let it live a little, delete it.
    std::thread destroyer([&] {
        std::mt19937 rng(1);
        while (!stop.load()) {
            _Record* r = &records[0].emplace_back();
            auto* o = new _Owner(r);
            valueSignal.Connect(o, &_Owner::OnValue);
            pingSignal.Connect(o, &_Owner::OnPing);
            for (int spin = (int)(rng() % 200); spin > 0; --spin)
                std::this_thread::yield();
            delete o;
            r->gone = true; // after delete returned, no slot of o may start
            churned.fetch_add(1);
        }
    });
    // Churn thread 2: connect and disconnect by connection id and by owner.
    std::thread disconnector([&] {
        std::mt19937 rng(2);
        std::vector<std::pair<_Owner*, _Record*>> pool;
        for (int i = 0; i < 8; ++i)
            pool.push_back({new _Owner(&records[1].emplace_back()), &records[1].back()});
        while (!stop.load()) {
            auto& [o, r] = pool[rng() % pool.size()];
            r->gone = false;
            if (rng() % 2) {
                const SlotId id = valueSignal.Connect(o, &_Owner::OnValue);
                std::this_thread::yield();
                ASSERT_TRUE(valueSignal.Disconnect(id));
            } else {
                pingSignal.Connect(o, &_Owner::OnPing);
                std::this_thread::yield();
                pingSignal.Disconnect(o);
            }
            r->gone = true;
            churned.fetch_add(1);
        }
        for (auto& p : pool)
            delete p.first;
    });
    // Churn thread 3: function slots with an owner, dropped with DisconnectAll.
    std::thread allDropper([&] {
        while (!stop.load()) {
            _Record* r = &records[2].emplace_back();
            _Owner o(r);
            valueSignal.Connect([&o](int v) { o.OnValue(v); }, &o);
            std::this_thread::yield();
            o.DisconnectAll();
            r->gone = true;
            churned.fetch_add(1);
        }
    });

    // More emissions if the churn has not yet overlapped them enough (a busy machine).
    std::atomic<long> emitted{0};
    std::vector<std::thread> emitters;
    for (int t = 0; t < kEmitters; ++t)
        emitters.emplace_back([&, t] {
            for (long i = 0; i < kPerEmitter || churned.load() < 100; ++i) {
                // The signal's mutex is not fair: leave the churn threads room to run.
                if (i % 256 == 0 && churned.load() < 100) std::this_thread::yield();
                if (i % 4 == 0) pingSignal.Emit();
                valueSignal.Emit(t);
                emitted.fetch_add(1, std::memory_order_relaxed);
            }
        });
    for (auto& e : emitters)
        e.join();
    stop = true;
    for (std::thread* t : {&destroyer, &disconnector, &allDropper})
        t->join();

    EXPECT_GE(emitted.load(), kEmitters * kPerEmitter);
    EXPECT_EQ(permanentRecord.calls.load(), emitted.load());
    long late = 0, churnCalls = 0;
    for (auto& list : records)
        for (auto& r : list)
            late += r.lateCalls.load(), churnCalls += r.calls.load();
    EXPECT_EQ(late, 0) << "a slot ran after its disconnect or its owner's destruction returned";
    EXPECT_GE(churned.load(), 100); // the churn really overlapped the emissions
    EXPECT_GT(churnCalls, 0);
    EXPECT_EQ(valueSignal.ConnectionCount(), 1u); // only the permanent owner remains
    EXPECT_EQ(pingSignal.ConnectionCount(), 0u);
}

// A dying signal and a dying owner on two threads: one lock order, no use of the dead signal.
TEST(SignalStress, SignalAndOwnerDieConcurrently) {
    for (int round = 0; round < 2000; ++round) {
        auto signal = std::make_unique<Signal1<int>>();
        _Record r;
        auto owner = std::make_unique<_Owner>(&r);
        signal->Connect(owner.get(), &_Owner::OnValue);
        signal->Emit(1);
        std::thread a([&] { signal.reset(); });
        std::thread b([&] { owner.reset(); });
        a.join();
        b.join();
        ASSERT_EQ(r.calls.load(), 1);
    }
}

// Disconnect returns only after a slot running on another thread has finished.
TEST(SignalStress, DisconnectWaitsForRunningSlot) {
    Signal0<> signal;
    std::atomic<bool> inSlot{false}, release{false}, slotDone{false};
    const SlotId id = signal.Connect([&] {
        inSlot = true;
        while (!release.load())
            std::this_thread::yield();
        slotDone = true;
    });
    std::thread emitter([&] { signal.Emit(); });
    ASSERT_TRUE(taviro_test::WaitUntil([&] { return inSlot.load(); }));
    std::thread disconnector([&] {
        signal.Disconnect(id);
        EXPECT_TRUE(slotDone.load()); // the slot had finished before Disconnect returned
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // Disconnect starts meanwhile
    release = true;
    emitter.join();
    disconnector.join();
}

// Re-entrance on the emitting thread: connect, disconnect, emit and delete from inside a slot.
TEST(SignalStress, SlotsMayChangeTheSignalDuringEmission) {
    Signal1<int> signal;
    _Record otherRecord, laterRecord;
    auto* other = new _Owner(&otherRecord);
    _Owner later(&laterRecord);
    std::vector<int> seen;

    signal.Connect([&](int v) {
        seen.push_back(v);
        if (v == 0) {
            signal.Connect(&later, &_Owner::OnValue); // not called by this emission
            delete other;                             // its slot comes later in the list
            signal.Emit(1);                           // nested emission on the same thread
        }
    });
    signal.Connect(other, &_Owner::OnValue);
    signal.Emit(0);
    EXPECT_EQ(seen, (std::vector<int>{0, 1}));
    EXPECT_EQ(otherRecord.calls.load(), 0); // deleted before its turn in both emissions
    EXPECT_EQ(laterRecord.calls.load(), 1); // connected by the outer slot, called by the nested
    signal.Emit(2);
    EXPECT_EQ(laterRecord.calls.load(), 2);
    EXPECT_EQ(signal.ConnectionCount(), 2u);

    // A slot that disconnects itself runs to its end and never again.
    Signal0<> ping;
    int selfCalls = 0;
    SlotId self = ping.Connect([&] {
        ++selfCalls;
        ping.Disconnect(self);
        EXPECT_EQ(ping.ConnectionCount(), 0u); // dead at once, though still listed
        EXPECT_FALSE(ping.Disconnect(self));   // and not removed twice
    });
    ping.Emit();
    ping.Emit();
    EXPECT_EQ(selfCalls, 1);
    EXPECT_EQ(ping.ConnectionCount(), 0u);
}

TEST(LogStress, LinesFromManyThreadsStayWhole) {
    const String file = taviro_test::MakeTempDir("logs") + "/stress.log";
    Log::s_GlobalLog->Open(file);
    Log::s_GlobalLog->SetLevel(LL_Debug);
    Log::s_GlobalLog->SetEchoLevel(-1);
    const int kThreads = 8, kLines = 5000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t] {
            const String pad(100 + t * 10, (char)('a' + t));
            for (int i = 0; i < kLines; ++i)
                LogDebug(SFormat("T%d L%d ", t, i) + pad);
        });
    // Reopening the file meanwhile loses no line: a writer never uses a descriptor being closed.
    std::atomic<bool> written{false};
    std::thread reopener([&] {
        while (!written.load())
            Log::s_GlobalLog->Open(file);
    });
    for (auto& t : threads)
        t.join();
    written = true;
    reopener.join();
    Log::s_GlobalLog->Close();

    std::set<std::pair<int, int>> seen;
    const StringTokenizer lines(File::ReadAll(file), "\n", true);
    for (const String& line : lines.GetTokens()) {
        int t = -1, i = -1;
        const size_t at = line.find(" T");
        ASSERT_TRUE(at != String::npos && sscanf(line.c_str() + at, " T%d L%d", &t, &i) == 2 &&
                    t >= 0 && t < kThreads)
            << line;
        ASSERT_EQ(line.substr(at), SFormat(" T%d L%d ", t, i) + String(100 + t * 10, 'a' + t));
        seen.insert({t, i});
    }
    EXPECT_EQ(seen.size(), (size_t)(kThreads * kLines));
}

} // namespace
