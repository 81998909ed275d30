/// @file
/// The foundation's failure type. Thrown as a pointer: `throw new Exception(code, message,
/// detail)`; whoever catches it reports it and deletes it.
#pragma once

#include <ostrum/String.h>

#include <cstdint>

/// Error codes used by the foundation library itself.
enum : uint32_t {
    k_ErrGeneral = 0x20000001,
    k_ErrIO = 0x20000002,
    k_ErrNoUserDir = 0x20000003,
    k_ErrFormat = 0x20000004,
    k_ErrArgument = 0x20000005,
    k_ErrRequest = 0x20000006,
    k_ErrNotFound = 0x20000007,
    k_ErrReadOnly = 0x20000008,
};

/// The foundation's error: a code, a message and a detail text. Thrown as a pointer
/// (`throw new Exception(...)`); whoever catches it reports it and deletes it.
/// @ingroup ostrum
class Exception {
public:
    Exception(uint32_t code, const String& message, const String& detail = String());
    virtual ~Exception();

    uint32_t GetCode() const { return m_Code; }
    const String& GetMessage() const { return m_Message; }
    const String& GetDetail() const { return m_Detail; }
    /// "message" or "message: detail", for logs and boxes.
    String Format() const;

private:
    uint32_t m_Code;
    String m_Message;
    String m_Detail;
};
