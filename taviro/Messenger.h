/// @file
/// The link to the farm master. A messenger runs threads of its own; it emits the connected,
/// disconnected and shutdown signals on them and hands arriving messages to its sink (the
/// client application), also on them. Two exist: the embedded simulated master
/// (SimulatedMaster) and the network link to a taviro-master process (NetMessenger); the client
/// application chooses one from its command line.
#pragma once

#include <ostrum/String.h>
#include <ostrum/UID.h>

#include <boost/shared_ptr.hpp>

#include <vector>

class Message;

/// Where a messenger delivers: the client application, or anything else that takes farm
/// messages. Called on the messenger's threads.
class MessageSink {
public:
    virtual ~MessageSink() = default;
    /// One arriving message, on the messenger's thread.
    virtual void ReceiveMessage(boost::shared_ptr<Message> message) = 0;
    /// Messages received and not yet handled: a snapshot goes no faster than the sink takes it.
    virtual size_t QueuedMessages() const = 0;
    /// The jobs the sink knows. After a fresh snapshot of the farm (a reconnection), the
    /// messenger removes those that the farm no longer has.
    virtual std::vector<UID> KnownJobs() const = 0;
};

/// The link to the farm master (see the file comment): the embedded SimulatedMaster or the
/// NetMessenger to a taviro-master.
/// @ingroup taviro
class Messenger {
public:
    virtual ~Messenger() = default;
    /// Starts the messenger's threads; it connects on its own.
    virtual void Start() = 0;
    /// Ends the link and joins the messenger's threads; no signal is emitted afterwards.
    virtual void Stop() = 0;
    /// Whether the master is reachable now (any thread).
    virtual bool IsConnected() const = 0;
    /// The master's name ("embedded" for the simulated one).
    virtual String GetMasterName() const = 0;
    /// Asks the master to run a job command; false with the reason on refusal, when not
    /// connected (at once) or when the master does not answer in time. Never waits long.
    virtual bool SendCommand(const UID& job, const String& command, const String& item,
                             String* error) = 0;
    /// Submits a new job of that type; false with the reason, as SendCommand.
    virtual bool SubmitJob(const UID& type, String* error) {
        (void)type;
        if (error) *error = "This link to the master cannot submit jobs";
        return false;
    }
    /// Asks the master to order every client of the farm to close.
    virtual void OrderShutdown() {}
    /// Drops the link at the user's wish (nothing by default).
    virtual void Disconnect() {}
    /// Takes the link up again after Disconnect, with a fresh snapshot (nothing by default).
    virtual void Reconnect() {}
};
