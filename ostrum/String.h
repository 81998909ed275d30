/// @file
/// The byte string used for all non-toolkit text, and printf-style formatting.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

/// The suite's byte string: a std::string with case-insensitive comparison and search and
/// conversions to and from numbers.
/// @ingroup ostrum
class String : public std::string {
public:
    String() = default;
    String(const char* text) : std::string(text ? text : "") {}
    String(const char* text, size_t length) : std::string(text, length) {}
    String(const std::string& text) : std::string(text) {}
    String(std::string&& text) : std::string(std::move(text)) {}
    String(size_t count, char c) : std::string(count, c) {}

    String substr(size_t pos = 0, size_t count = npos) const {
        return String(std::string::substr(pos, count));
    }

    /// ASCII case-insensitive three-way comparison: <0, 0 or >0.
    int CompareNoCase(const String& other) const;
    /// First position of needle at or after pos, ignoring ASCII case; npos when absent.
    size_t FindNoCase(const String& needle, size_t pos = 0) const;

    String Lower() const;
    String Upper() const;
    String Trimmed() const;
    bool StartsWith(const String& prefix) const;

    /// Conversions: the whole text (leading and trailing blanks allowed) must be a number,
    /// otherwise ok is false and the fallback is returned.
    long ToLong(long fallback = 0, bool* ok = nullptr) const;
    int ToInt(int fallback = 0, bool* ok = nullptr) const;
    double ToDouble(double fallback = 0, bool* ok = nullptr) const;
    /// True for k_Yes, "1" and "true" (any case), false for anything else.
    bool ToBool() const;

    static String FromInt(long long value);

    /// Strict weak order without regard to ASCII case, for maps keyed by names.
    struct ciless {
        bool operator()(const String& a, const String& b) const { return a.CompareNoCase(b) < 0; }
    };
};

/// Concatenation keeps the type, so expressions mix with String-only overloads.
inline String operator+(const String& a, const String& b) {
    String r(a);
    r.append(b);
    return r;
}
inline String operator+(const String& a, const char* b) {
    String r(a);
    r.append(b);
    return r;
}
inline String operator+(const char* a, const String& b) {
    String r(a);
    r.append(b);
    return r;
}
inline String operator+(const String& a, char b) {
    String r(a);
    r.push_back(b);
    return r;
}
inline String operator+(String&& a, const String& b) {
    a.append(b);
    return std::move(a);
}
inline String operator+(String&& a, const char* b) {
    a.append(b);
    return std::move(a);
}

String SFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));
String VSFormat(const char* format, va_list args);

/// The foundation's constant texts.
extern const String k_Yes;
extern const String k_No;
extern const String k_NL;

namespace std {
/// Hashes a String as its std::string.
template <>
struct hash<String> {
    size_t operator()(const String& s) const noexcept { return hash<std::string>()(s); }
};
} // namespace std
