/// @file
/// What taviro-master and its clients say to each other. ZeroMQ carries the frames (one ZeroMQ
/// message each) over two channels: the master publishes the farm's stream and its heartbeats
/// (PUB/SUB), and answers requests (DEALER/ROUTER). A frame's content is a MessagePack array
///
///   ["taviro", version, kind, epoch, number, op, [args], [messages]]
///
/// whose first two fields stay the same in every version, so that a peer of another version is
/// recognised and told so. A farm message is [type, job (16 bytes or nil), {name: text}, [batch]];
/// its sequence number is the frame's number plus its place in the frame.
#pragma once

#include <taviro/Message.h>

#include <cstdint>
#include <string>
#include <vector>

/// One frame of the master's protocol, encoded and decoded (see the file comment).
/// @ingroup taviro
class NetFrame {
public:
    enum Kind : uint8_t {
        k_Stream = 'S',  ///< farm messages, numbered from m_Number on
        k_Beat = 'B',    ///< the master lives; m_Number is the last sequence it published
        k_Request = 'Q', ///< a client asks (m_Op, m_Args); m_Number is the request's id
        k_Reply = 'R',   ///< the answer to request m_Number: m_Op "ok" or "error"
    };
    static const uint32_t k_Version = 1;
    /// The largest frame a master takes from a client, and a client from its master (a snapshot
    /// chunk of a few thousand jobs is well under it). Larger ones are dropped.
    static const size_t k_MaxRequest = 64 * 1024;
    static const size_t k_MaxFrame = 16 * 1024 * 1024;

    Kind m_Kind = k_Stream;
    uint64_t m_Epoch = 0; ///< the master's run: a restarted master is told apart
    uint64_t m_Number = 0;
    String m_Op;
    std::vector<String> m_Args;
    std::vector<boost::shared_ptr<Message>> m_Messages;

    std::string Encode() const;
    /// Reads a frame of at most `limit` bytes. False, with a one-line reason, for anything
    /// else: garbage, a frame cut short or too big, one of another protocol version (whose
    /// number *version then tells; 0 when there is none).
    bool Decode(const void* data, size_t size, size_t limit, String* why,
                uint32_t* version = nullptr);
};

/// Logs a line per bad frame that a peer sent (a warning), at most 20 in ten seconds so that a
/// flood of garbage cannot fill the disk; the lines held back are counted in the next one.
/// Used on one thread.
class BadInputLog {
public:
    explicit BadInputLog(const String& who) : m_Who(who) {}
    void Report(const String& what);
    uint64_t Count() const { return m_Count; }

private:
    String m_Who;
    int64_t m_WindowStart = 0;
    int m_Lines = 0;
    uint64_t m_HeldBack = 0;
    uint64_t m_Count = 0;
};
