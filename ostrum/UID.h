/// @file
/// 128-bit identifiers of farm objects, with the usual 8-4-4-4-12 hexadecimal text form.
#pragma once

#include <ostrum/String.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>

/// A 128-bit identifier (of jobs, job types, commands) with its text form; UID::Null is none.
/// @ingroup ostrum
class UID {
public:
    /// The null identifier.
    UID() { m_Bytes.fill(0); }
    /// generate: a new random identifier; otherwise the null one.
    explicit UID(bool generate);
    /// Parses the text form (braces and either case accepted). Bad text gives the null
    /// identifier, or throws Exception* (k_ErrFormat) when mustBeValid is set.
    UID(const String& text, bool mustBeValid);
    static UID FromBytes(const uint8_t bytes[16]);

    String ToString() const;
    bool IsNull() const;
    const uint8_t* Bytes() const { return m_Bytes.data(); }

    bool operator==(const UID& o) const {
        return std::memcmp(m_Bytes.data(), o.m_Bytes.data(), 16) == 0;
    }
    bool operator!=(const UID& o) const { return !(*this == o); }
    bool operator<(const UID& o) const {
        return std::memcmp(m_Bytes.data(), o.m_Bytes.data(), 16) < 0;
    }

    static const UID Null;

private:
    std::array<uint8_t, 16> m_Bytes;
};

namespace std {
/// Hashes a UID, for unordered containers.
template <>
struct hash<UID> {
    size_t operator()(const UID& u) const noexcept {
        uint64_t a, b;
        std::memcpy(&a, u.Bytes(), 8);
        std::memcpy(&b, u.Bytes() + 8, 8);
        return (size_t)(a ^ (b * 0x9e3779b97f4a7c15ull));
    }
};
} // namespace std
