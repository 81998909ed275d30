#include <ostrum/Time.h>

#include <algorithm>
#include <chrono>

int64_t Time::CurrentTime() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

int64_t Time::Monotonic() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

String Time::FormatDuration(int64_t micros, int smallest, int largest, int maxParts,
                            bool shortNames, int width, char fill, int64_t limit) {
    static const int64_t size[] = {1, 1000, 1000000, 60000000LL, 3600000000LL, 86400000000LL};
    static const char* const shortName[] = {"us", "ms", "s", "m", "h", "d"};
    static const char* const longName[] = {" microseconds", " milliseconds", " seconds",
                                           " minutes",      " hours",        " days"};
    static const char* const longOne[] = {" microsecond", " millisecond", " second",
                                          " minute",      " hour",        " day"};
    smallest = std::min(std::max(smallest, (int)k_Micro), (int)k_Day);
    largest = std::min(std::max(largest, (int)k_Micro), (int)k_Day);
    if (largest < smallest) largest = smallest;
    if (maxParts < 1) maxParts = 1;

    String out;
    if (limit > 0 && (micros > limit || micros < -limit)) {
        out = String(micros < 0 ? "< -" : "> ") +
              FormatDuration(limit, smallest, largest, maxParts, shortNames, 0, fill, 0);
    } else {
        const bool negative = micros < 0;
        uint64_t rest = negative ? (uint64_t)(-(micros + 1)) + 1 : (uint64_t)micros;
        int parts = 0;
        size_t keep = 0; // the text up to the last non-zero part: a zero part never ends it
        for (int u = largest; u >= smallest && parts < maxParts; --u) {
            const uint64_t n = rest / (uint64_t)size[u];
            // Skip leading zero units; once started, a part may be zero only if not last.
            if (n == 0 && (parts == 0 || u == smallest)) {
                if (u == smallest && parts == 0) {
                    out += "0";
                    out += shortNames ? shortName[u] : longName[u];
                }
                continue;
            }
            rest -= n * (uint64_t)size[u];
            if (!out.empty()) out += " ";
            out += String::FromInt((long long)n);
            out += shortNames ? shortName[u] : (n == 1 ? longOne[u] : longName[u]);
            ++parts;
            if (n != 0) keep = out.size();
        }
        if (keep > 0) out.resize(keep);
        if (negative &&
            out != String("0") + (shortNames ? shortName[smallest] : longName[smallest]))
            out = "-" + out;
    }
    if ((int)out.size() < width) out = String((size_t)width - out.size(), fill) + out;
    return out;
}
