#include <ostrum/String.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

const String k_Yes("Yes");
const String k_No("No");
const String k_NL("\n");

namespace {
inline unsigned char Fold(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? c + 32 : c;
}
inline bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
} // namespace

int String::CompareNoCase(const String& other) const {
    const size_t n = std::min(size(), other.size());
    for (size_t i = 0; i < n; ++i) {
        const int a = Fold((unsigned char)(*this)[i]);
        const int b = Fold((unsigned char)other[i]);
        if (a != b) return a < b ? -1 : 1;
    }
    return size() < other.size() ? -1 : (size() > other.size() ? 1 : 0);
}

size_t String::FindNoCase(const String& needle, size_t pos) const {
    if (needle.empty()) return pos <= size() ? pos : npos;
    if (needle.size() > size()) return npos;
    const unsigned char first = Fold((unsigned char)needle[0]);
    const unsigned char firstUpper = (first >= 'a' && first <= 'z') ? first - 32 : first;
    const char* base = data();
    const size_t last = size() - needle.size();
    for (size_t i = pos; i <= last;) {
        // Jump to the next candidate for the first byte with memchr on both cases; that keeps
        // searches through very long lines close to memchr speed.
        const void* lo = memchr(base + i, first, last - i + 1);
        const void* hi = first == firstUpper ? nullptr : memchr(base + i, firstUpper, last - i + 1);
        const char* at = (const char*)lo;
        if (!at || (hi && (const char*)hi < at)) at = (const char*)hi;
        if (!at) return npos;
        i = at - base;
        size_t k = 1;
        while (k < needle.size() &&
               Fold((unsigned char)base[i + k]) == Fold((unsigned char)needle[k]))
            ++k;
        if (k == needle.size()) return i;
        ++i;
    }
    return npos;
}

String String::Lower() const {
    String r(*this);
    for (auto& c : r)
        c = (char)Fold((unsigned char)c);
    return r;
}

String String::Upper() const {
    String r(*this);
    for (auto& c : r)
        if (c >= 'a' && c <= 'z') c = (char)(c - 32);
    return r;
}

String String::Trimmed() const {
    size_t b = 0, e = size();
    while (b < e && IsBlank((*this)[b]))
        ++b;
    while (e > b && IsBlank((*this)[e - 1]))
        --e;
    return substr(b, e - b);
}

bool String::StartsWith(const String& prefix) const {
    return compare(0, prefix.size(), prefix) == 0;
}

long String::ToLong(long fallback, bool* ok) const {
    const String t = Trimmed();
    errno = 0;
    char* end = nullptr;
    const long v = t.empty() ? 0 : strtol(t.c_str(), &end, 10);
    const bool good =
        !t.empty() && errno == 0 && end && *end == '\0' && end == t.c_str() + t.size();
    if (ok) *ok = good;
    return good ? v : fallback;
}

int String::ToInt(int fallback, bool* ok) const {
    bool good = false;
    const long v = ToLong(fallback, &good);
    good = good && v >= INT32_MIN && v <= INT32_MAX;
    if (ok) *ok = good;
    return good ? (int)v : fallback;
}

double String::ToDouble(double fallback, bool* ok) const {
    const String t = Trimmed();
    errno = 0;
    char* end = nullptr;
    const double v = t.empty() ? 0 : strtod(t.c_str(), &end);
    const bool good = !t.empty() && errno == 0 && end && end == t.c_str() + t.size();
    if (ok) *ok = good;
    return good ? v : fallback;
}

bool String::ToBool() const {
    const String t = Trimmed();
    return t.CompareNoCase(k_Yes) == 0 || t == "1" || t.CompareNoCase("true") == 0;
}

String String::FromInt(long long value) {
    return String(std::to_string(value));
}

String VSFormat(const char* format, va_list args) {
    if (!format) return String();
    char small[256];
    va_list copy;
    va_copy(copy, args);
    const int n = vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0) return String();
    if ((size_t)n < sizeof small) return String(small, (size_t)n);
    std::vector<char> big((size_t)n + 1);
    vsnprintf(big.data(), big.size(), format, args);
    return String(big.data(), (size_t)n);
}

String SFormat(const char* format, ...) {
    va_list args;
    va_start(args, format);
    String r = VSFormat(format, args);
    va_end(args);
    return r;
}
