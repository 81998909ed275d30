// Cost of one call-trace entry (open and close), which every public method of the libraries
// pays. Goal: at most 5 ns.
#include <ostrum/CallTrace.h>
#include <ostrum/Signal.h>
#include <ostrum/Time.h>

#include <cstdio>

namespace {
// Kept out of line so the loop really calls a function that opens an entry, as methods do.
__attribute__((noinline)) int Traced(int x) {
    CALL_ENTRY("Bench::Traced");
    asm volatile("" ::: "memory");
    return x + 1;
}
__attribute__((noinline)) int Plain(int x) {
    asm volatile("" ::: "memory");
    return x + 1;
}

template <class F>
double NsPerCall(F f, long n) {
    int x = 0;
    const int64_t start = Time::Monotonic();
    for (long i = 0; i < n; ++i)
        x = f(x);
    const int64_t us = Time::Monotonic() - start;
    if (x == 42) printf(" ");
    return us * 1000.0 / n;
}
} // namespace

int main() {
    const long n = 200000000;
    NsPerCall(Traced, n / 10); // warm up
    double best = 1e9, plainBest = 1e9;
    for (int round = 0; round < 5; ++round) {
        best = std::min(best, NsPerCall(Traced, n));
        plainBest = std::min(plainBest, NsPerCall(Plain, n));
    }
    const double entry = best - plainBest;
    printf("call trace: %.2f ns per traced call, %.2f ns per plain call: %.2f ns per entry "
           "(goal <= 5 ns) %s\n",
           best, plainBest, entry, entry <= 5.0 ? "OK" : "OVER GOAL");

    Signal1<int> signal;
    struct _Sink : HasSlots {
        long sum = 0;
        void On(int v) { sum += v; }
    } sink;
    signal.Connect(&sink, &_Sink::On);
    const long emits = 20000000;
    const int64_t start = Time::Monotonic();
    for (long i = 0; i < emits; ++i)
        signal.Emit(1);
    const double emitNs = (Time::Monotonic() - start) * 1000.0 / emits;
    printf("signal: %.1f ns per emission to one slot (uncontended)%s\n", emitNs,
           sink.sum == emits ? "" : " WRONG COUNT");
    return 0;
}
