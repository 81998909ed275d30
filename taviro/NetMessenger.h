/// @file
/// The link to a taviro-master process over the network (see NetProtocol.h and FarmServer.h).
///
/// One thread of its own owns the sockets. Joining: hello on the request socket (the answer
/// names the stream's port), subscribe to the stream, and once the first frame shows the
/// subscription in place, ask for a snapshot: the farm as of stream number S, fetched chunk by
/// chunk no faster than the sink takes it in, while the stream is kept aside; then the kept
/// messages after S, and the live stream. Nothing is lost or handed over twice: the numbers
/// tell. A gap (this client fell behind and the master dropped frames for it) brings a fresh
/// snapshot; jobs the farm no longer has are then removed from the sink.
///
/// Losing the master is normal: a master that is silent for two seconds (it sends a heartbeat
/// twice a second), or that restarted, counts as gone; the messenger says so (disconnected) and
/// tries again, soon at first, then less often (up to every 4 s), each time from a fresh hello.
/// Requests of other threads (commands, submissions) are handed to the messenger's thread; the
/// caller waits for the answer at most two seconds, and not at all while disconnected.
#pragma once

#include <taviro/Messenger.h>

#include <memory>

/// The link to a taviro-master process over the network (see the file comment).
/// @ingroup taviro
class NetMessenger : public Messenger {
public:
    NetMessenger(MessageSink* sink, const String& host, int port);
    ~NetMessenger() override;

    void Start() override;
    void Stop() override;
    bool IsConnected() const override;
    /// "host:port", as given.
    String GetMasterName() const override;
    bool SendCommand(const UID& job, const String& command, const String& item,
                     String* error) override;
    bool SubmitJob(const UID& type, String* error) override;
    void OrderShutdown() override;
    void Disconnect() override;
    void Reconnect() override;

    /// What the link has been through, for figures and logs (any thread).
    struct Stats {
        uint64_t received = 0;  ///< farm messages handed to the sink (snapshot jobs not counted)
        uint64_t missed = 0;    ///< farm messages the master dropped for this client
        uint64_t snapshots = 0; ///< snapshots taken in (the first, and one per gap or reconnection)
        uint64_t connections = 0;
        uint64_t lastSeen = 0; ///< the newest stream number seen, handed over or not
    };
    Stats GetStats() const;

    /// Reads "HOST:PORT" (an IPv6 host in brackets); false for anything else.
    static bool ParseAddress(const String& text, String* host, int* port);

private:
    struct _Impl;
    std::unique_ptr<_Impl> m_Impl;
};
