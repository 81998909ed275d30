// Fuzzes the network frame reader, what a master or a client reads from any peer: any bytes are
// either a frame or refused with a reason, never a crash; a frame that was read writes back
// into bytes that read as the same frame.
#include <taviro/NetProtocol.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    NetFrame frame;
    String why;
    if (!frame.Decode(data, size, NetFrame::k_MaxFrame, &why)) {
        if (why.empty()) abort();
        return 0;
    }
    const std::string bytes = frame.Encode();
    NetFrame again;
    if (!again.Decode(bytes.data(), bytes.size(), NetFrame::k_MaxFrame, &why)) abort();
    if (again.Encode() != bytes || again.m_Messages.size() != frame.m_Messages.size()) abort();
    return 0;
}
