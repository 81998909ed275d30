/// @file
/// Wall-clock time in microseconds since the epoch, and durations as short text.
#pragma once

#include <ostrum/String.h>

#include <cstdint>

/// The current time in microseconds and durations as short text.
/// @ingroup ostrum
class Time {
public:
    /// Units for FormatDuration.
    enum Unit { k_Micro = 0, k_Milli = 1, k_Second = 2, k_Minute = 3, k_Hour = 4, k_Day = 5 };

    static int64_t CurrentTime();
    /// Microseconds of a monotonic clock, for measuring intervals.
    static int64_t Monotonic();

    /// Formats a duration in microseconds. smallest and largest bound the units shown
    /// (for example k_Second..k_Hour); at most maxParts non-zero parts are shown, starting from
    /// the largest present ("1h 5m"). shortNames: "h", "m", "s" instead of " hours", ...
    /// The text is padded on the left with fill to width. A duration beyond limit (when limit
    /// > 0) shows as "> " and the limit; a negative one is shown with a leading "-".
    static String FormatDuration(int64_t micros, int smallest, int largest, int maxParts,
                                 bool shortNames, int width, char fill, int64_t limit);
};
