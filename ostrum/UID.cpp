#include <ostrum/Exception.h>
#include <ostrum/UID.h>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <mutex>

const UID UID::Null;

UID::UID(bool generate) {
    m_Bytes.fill(0);
    if (!generate) return;
    // One generator for the process; it is not thread-safe by itself.
    static std::mutex s_Mutex;
    static boost::uuids::random_generator s_Generator;
    boost::uuids::uuid u;
    {
        std::lock_guard<std::mutex> l(s_Mutex);
        u = s_Generator();
    }
    std::memcpy(m_Bytes.data(), u.data, 16);
}

UID::UID(const String& text, bool mustBeValid) {
    m_Bytes.fill(0);
    String t = text.Trimmed();
    if (t.size() >= 2 && t.front() == '{' && t.back() == '}') t = t.substr(1, t.size() - 2);
    std::array<uint8_t, 16> bytes{};
    bool good = t.size() == 36;
    for (size_t i = 0, b = 0; good && i < t.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            good = t[i] == '-';
            ++i;
            continue;
        }
        auto hex = [](char c) {
            if (c >= '0' && c <= '9') return c - '0';
            if (c >= 'a' && c <= 'f') return c - 'a' + 10;
            if (c >= 'A' && c <= 'F') return c - 'A' + 10;
            return -1;
        };
        const int hi = hex(t[i]), lo = hex(t[i + 1]);
        good = hi >= 0 && lo >= 0 && b < 16;
        if (good) bytes[b++] = (uint8_t)(hi * 16 + lo);
        i += 2;
    }
    if (good)
        m_Bytes = bytes;
    else if (mustBeValid)
        throw new Exception(k_ErrFormat, "Invalid identifier", text);
}

UID UID::FromBytes(const uint8_t bytes[16]) {
    UID u;
    std::memcpy(u.m_Bytes.data(), bytes, 16);
    return u;
}

String UID::ToString() const {
    static const char* const digits = "0123456789abcdef";
    String out;
    out.reserve(36);
    for (size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back('-');
        out.push_back(digits[m_Bytes[i] >> 4]);
        out.push_back(digits[m_Bytes[i] & 15]);
    }
    return out;
}

bool UID::IsNull() const {
    return *this == Null;
}
