#include <taviro/NetProtocol.h>

#include <ostrum/Log.h>
#include <ostrum/Time.h>

#include <msgpack.hpp>

namespace {

const char k_Tag[] = "taviro";
const uint32_t k_Fields = 8;
// A frame holds at most a snapshot chunk of messages, a message a handful of parameters, and
// nothing nests deeper than a batch's messages: tighter limits than these only come from
// garbage, which must not make the reader allocate what the bytes do not hold.
const msgpack::unpack_limit k_Limits(/*array*/ 100000, /*map*/ 4096, /*str*/ 1 << 20,
                                     /*bin*/ 16, /*ext*/ 0, /*depth*/ 7);

using Packer = msgpack::packer<msgpack::sbuffer>;

void PackText(Packer& p, const std::string& s) {
    p.pack_str((uint32_t)s.size());
    p.pack_str_body(s.data(), (uint32_t)s.size());
}

void PackMessage(Packer& p, const Message& m, bool nested) {
    p.pack_array(4);
    p.pack_int((int)m.GetType());
    if (m.GetJob().IsNull()) {
        p.pack_nil();
    } else {
        p.pack_bin(16);
        p.pack_bin_body((const char*)m.GetJob().Bytes(), 16);
    }
    p.pack_map((uint32_t)m.m_Params.size());
    for (const auto& kv : m.m_Params) {
        PackText(p, kv.first);
        PackText(p, kv.second);
    }
    const size_t parts = nested ? 0 : m.m_Batch.size(); // a batch holds no batches
    p.pack_array((uint32_t)parts);
    for (size_t i = 0; i < parts; ++i)
        PackMessage(p, *m.m_Batch[i], true);
}

// Reading: each step checks the shape it expects and throws a reason otherwise.
struct _Bad {
    const char* why;
};

const msgpack::object& Field(const msgpack::object& array, uint32_t i) {
    return array.via.array.ptr[i];
}

const msgpack::object_array& ArrayOf(const msgpack::object& o, const char* what) {
    if (o.type != msgpack::type::ARRAY) throw _Bad{what};
    return o.via.array;
}

String TextOf(const msgpack::object& o, const char* what) {
    if (o.type != msgpack::type::STR) throw _Bad{what};
    return String(std::string(o.via.str.ptr, o.via.str.size));
}

uint64_t NumberOf(const msgpack::object& o, const char* what) {
    if (o.type != msgpack::type::POSITIVE_INTEGER) throw _Bad{what};
    return o.via.u64;
}

bool KnownType(uint64_t t) {
    return (t >= k_MsgJobCreated && t <= k_MsgRequestFailed) || t == k_MsgCustom;
}

boost::shared_ptr<Message> ReadMessage(const msgpack::object& o, bool nested) {
    const msgpack::object_array& f = ArrayOf(o, "a message is not an array");
    if (f.size != 4) throw _Bad{"a message has not four fields"};
    const uint64_t type = NumberOf(f.ptr[0], "a message type is not a number");
    if (!KnownType(type)) throw _Bad{"unknown message type"};
    UID job;
    if (f.ptr[1].type == msgpack::type::BIN && f.ptr[1].via.bin.size == 16)
        job = UID::FromBytes((const uint8_t*)f.ptr[1].via.bin.ptr);
    else if (f.ptr[1].type != msgpack::type::NIL)
        throw _Bad{"a job identifier is not 16 bytes"};
    boost::shared_ptr<Message> m(new Message((MessageType)type, job));
    if (f.ptr[2].type != msgpack::type::MAP) throw _Bad{"message parameters are not a map"};
    const msgpack::object_map& params = f.ptr[2].via.map;
    for (uint32_t i = 0; i < params.size; ++i)
        m->m_Params[TextOf(params.ptr[i].key, "a parameter name is not text")] =
            TextOf(params.ptr[i].val, "a parameter value is not text");
    const msgpack::object_array& batch = ArrayOf(f.ptr[3], "a message batch is not an array");
    if (nested && batch.size) throw _Bad{"a batch inside a batch"};
    for (uint32_t i = 0; i < batch.size; ++i)
        m->m_Batch.push_back(ReadMessage(batch.ptr[i], true));
    return m;
}

} // namespace

std::string NetFrame::Encode() const {
    msgpack::sbuffer buffer(256 + 128 * m_Messages.size());
    Packer p(buffer);
    p.pack_array(k_Fields);
    PackText(p, k_Tag);
    p.pack_uint32(k_Version);
    p.pack_uint8(m_Kind);
    p.pack_uint64(m_Epoch);
    p.pack_uint64(m_Number);
    PackText(p, m_Op);
    p.pack_array((uint32_t)m_Args.size());
    for (const String& a : m_Args)
        PackText(p, a);
    p.pack_array((uint32_t)m_Messages.size());
    for (const auto& m : m_Messages)
        PackMessage(p, *m, false);
    return std::string(buffer.data(), buffer.size());
}

bool NetFrame::Decode(const void* data, size_t size, size_t limit, String* why, uint32_t* version) {
    if (version) *version = 0;
    auto fail = [&](const String& reason) {
        if (why) *why = reason;
        return false;
    };
    if (size > limit)
        return fail(SFormat("a frame of %zu bytes, over the limit of %zu", size, limit));
    try {
        size_t used = 0;
        // Texts are read straight out of the frame, not copied into the reader's zone.
        auto byReference = [](msgpack::type::object_type, size_t, void*) { return true; };
        msgpack::object_handle handle =
            msgpack::unpack((const char*)data, size, used, byReference, nullptr, k_Limits);
        if (used != size) return fail("bytes after the end of a frame");
        const msgpack::object& top = handle.get();
        const msgpack::object_array& f = ArrayOf(top, "not a frame");
        if (f.size < 2 || f.ptr[0].type != msgpack::type::STR || TextOf(f.ptr[0], "") != k_Tag ||
            f.ptr[1].type != msgpack::type::POSITIVE_INTEGER)
            return fail("not a frame of this protocol");
        if (f.ptr[1].via.u64 != k_Version) {
            if (version) *version = (uint32_t)std::min<uint64_t>(f.ptr[1].via.u64, UINT32_MAX);
            return fail(SFormat("protocol version %llu (this program speaks %u)",
                                (unsigned long long)f.ptr[1].via.u64, k_Version));
        }
        if (f.size != k_Fields) return fail("a frame of the wrong length");
        const uint64_t kind = NumberOf(Field(top, 2), "the frame kind is not a number");
        if (kind != k_Stream && kind != k_Beat && kind != k_Request && kind != k_Reply)
            return fail("an unknown kind of frame");
        NetFrame out;
        out.m_Kind = (Kind)kind;
        out.m_Epoch = NumberOf(Field(top, 3), "the epoch is not a number");
        out.m_Number = NumberOf(Field(top, 4), "the frame number is not a number");
        out.m_Op = TextOf(Field(top, 5), "the operation is not text");
        const msgpack::object_array& args = ArrayOf(Field(top, 6), "the arguments are no list");
        for (uint32_t i = 0; i < args.size; ++i)
            out.m_Args.push_back(TextOf(args.ptr[i], "an argument is not text"));
        const msgpack::object_array& messages = ArrayOf(Field(top, 7), "the messages are no list");
        out.m_Messages.reserve(messages.size);
        for (uint32_t i = 0; i < messages.size; ++i)
            out.m_Messages.push_back(ReadMessage(messages.ptr[i], false));
        *this = std::move(out);
        return true;
    } catch (const _Bad& bad) {
        return fail(bad.why);
    } catch (const msgpack::insufficient_bytes&) {
        return fail("a frame cut short");
    } catch (const std::exception& e) {
        return fail(String("not a frame of this protocol (") + e.what() + ")");
    }
}

void BadInputLog::Report(const String& what) {
    ++m_Count;
    const int64_t now = Time::Monotonic();
    if (now - m_WindowStart > 10000000) {
        m_WindowStart = now;
        m_Lines = 0;
    }
    if (m_Lines >= 20) {
        ++m_HeldBack;
        return;
    }
    ++m_Lines;
    String line = m_Who + ": dropped " + what;
    if (m_HeldBack)
        line += SFormat(" (and %llu more bad frames before)", (unsigned long long)m_HeldBack);
    m_HeldBack = 0;
    GlobalLog(LL_Warning, line);
}
