/// @file
/// The simulated farm served over the network: the program taviro-master. One thread owns the
/// farm's model (a FarmSchedule) and two ZeroMQ sockets (see NetProtocol.h):
///
/// - the stream (XPUB): every farm message, numbered, in frames of up to 64, and a heartbeat
///   with the last number every half second and whenever a client subscribes. Each client has
///   a bounded queue (sendQueue frames); a client that falls further behind loses messages,
///   sees the gap in the numbers and asks for a fresh snapshot;
/// - requests (ROUTER): hello (the stream's port), snapshot (a frozen copy of the farm, numbered
///   with the last message it includes, then fetched by the client chunk by chunk so that it
///   comes no faster than the client takes it in), job commands, submissions and the shutdown
///   order; each answered in order.
///
/// Bad input (garbage, a frame cut short or too big, another protocol version) is logged in one
/// line and dropped; the master carries on.
#pragma once

#include <ostrum/String.h>

#include <cstdint>
#include <memory>

/// The simulated farm served over the network (the program taviro-master).
/// @ingroup taviro
class FarmServer {
public:
    /// Where it listens, the farm's schedule and its pace.
    struct Options {
        String bind = "*"; // the address to listen on ("*": all)
        int port = 7420;   ///< requests; 0: any free port
        int pubPort = -1;  ///< the stream; -1: port + 1 (any free one with port 0); 0: any free
        uint64_t seed = 1;
        int jobs = 200;
        double rate = 40;     ///< farm messages per second; 0: none; negative: as fast as it can
        double logRate = 0;   ///< the master's own log lines per second
        int sendQueue = 2000; ///< stream frames kept for one client
    };
    /// The farm's job types are those the job factory has loaded.
    explicit FarmServer(const Options& options);
    ~FarmServer();
    FarmServer(const FarmServer&) = delete;
    FarmServer& operator=(const FarmServer&) = delete;

    /// Binds both sockets and starts serving; false with the reason (an address in use...).
    bool Start(String* error);
    void Stop();
    /// The bound ports (after Start).
    int GetPort() const;
    int GetPubPort() const;
    size_t JobCount() const;

private:
    struct _Impl;
    std::unique_ptr<_Impl> m_Impl;
};
