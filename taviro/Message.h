/// @file
/// Farm messages and the messenger's four process-wide signals, emitted on the messenger's own
/// thread.
#pragma once

#include <ostrum/Signal.h>
#include <ostrum/String.h>
#include <ostrum/UID.h>

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <map>
#include <vector>

/// What a farm message tells.
enum MessageType {
    k_MsgJobCreated = 1,    ///< a job appeared (all its parameters)
    k_MsgJobChanged = 2,    ///< some parameters of a job changed
    k_MsgJobRemoved = 3,    ///< a job is gone
    k_MsgLogLine = 4,       ///< a line of a job's log (or the master's, with a null job)
    k_MsgEngineLoad = 5,    ///< the farm's engine load in percent (parameter "Load")
    k_MsgShutdown = 6,      ///< the master orders the clients to close
    k_MsgJobBatch = 7,      ///< many k_MsgJobCreated at once (m_Batch), sent on connecting
    k_MsgRequestFailed = 8, ///< the master reports that a request failed (parameter "Text")
    k_MsgCustom = 100,      ///< anything else (tests, client programs)
};

/// One farm message: its type, its job, and its parameters (or a batch of messages).
/// @ingroup taviro
class Message {
public:
    /// A message of that type about that job (none for farm-wide ones).
    Message(MessageType type, const UID& job = UID::Null) : m_Type(type), m_Job(job) {}
    virtual ~Message() = default;

    /// What it tells.
    MessageType GetType() const { return m_Type; }
    /// The job it is about; UID::Null for farm-wide messages.
    const UID& GetJob() const { return m_Job; }
    /// Parameters carried by the message (job parameters, the log text, the load).
    std::map<String, String> m_Params;
    /// For k_MsgJobBatch: the messages it stands for, in order.
    std::vector<boost::shared_ptr<Message>> m_Batch;
    /// The sender's running number and source, for ordering checks and logs.
    uint64_t m_Sequence = 0;
    int m_Source = 0; ///< see m_Sequence

    /// A parameter; `def` when the message does not carry it.
    String Get(const String& key, const String& def = String()) const {
        auto it = m_Params.find(key);
        return it == m_Params.end() ? def : it->second;
    }
    /// The type's name, for logs.
    static const char* TypeName(MessageType type);

private:
    MessageType m_Type;
    UID m_Job;
};

/// The master ordered a shutdown.
class ShutdownMsg : public Message {
public:
    ShutdownMsg() : Message(k_MsgShutdown) {}
    /// Emitted on the messenger's thread.
    static Signal1<const boost::shared_ptr<ShutdownMsg>&> s_Signal;
};

/// A message arrived. A slot may take the message out (TakeMessage); a message that no slot
/// took goes into the client application's queue, which DispatchMessage drains.
class MessageReceivedEvt {
public:
    /// The event of an arriving message.
    explicit MessageReceivedEvt(boost::shared_ptr<Message> message)
        : m_Message(std::move(message)) {}
    /// The message; empty once a slot took it.
    const boost::shared_ptr<Message>& GetMessage() const { return m_Message; }
    /// Moves the message out; the event is left holding none.
    boost::shared_ptr<Message> TakeMessage() {
        boost::shared_ptr<Message> m;
        m.swap(m_Message);
        return m;
    }
    /// Emitted on the messenger's thread for every message.
    static Signal1<MessageReceivedEvt&> s_Signal;

private:
    boost::shared_ptr<Message> m_Message;
};

/// The messenger connected to a master (emitted on the messenger's thread).
/// @ingroup taviro
class MessengerConnectedEvt {
public:
    /// Connected to `master`.
    explicit MessengerConnectedEvt(const String& master) : m_Master(master) {}
    /// The master's name, as Messenger::GetMasterName gives it.
    const String& GetMaster() const { return m_Master; }
    /// Emitted on the messenger's thread.
    static Signal1<MessengerConnectedEvt&> s_Signal;

private:
    String m_Master;
};

/// The messenger lost or dropped the link, with the reason (emitted on the messenger's thread).
/// @ingroup taviro
class MessengerDisconnectedEvt {
public:
    /// Disconnected for `reason`.
    explicit MessengerDisconnectedEvt(const String& reason) : m_Reason(reason) {}
    /// Why the link went, for the user.
    const String& GetReason() const { return m_Reason; }
    /// Emitted on the messenger's thread.
    static Signal1<MessengerDisconnectedEvt&> s_Signal;

private:
    String m_Reason;
};
