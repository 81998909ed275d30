// What the benchmarks share: the farm-like rows every view shows (made on demand from the row
// index, so that all sides show the same cells), the clock, the event pump and the resident size.
#pragma once

#include <ostrum/String.h>

#include <wx/app.h>
#include <wx/utils.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace bench {

const int k_Columns = 8;
const char* const k_Labels[k_Columns] = {"Name",   "Type",   "Status",    "Progress",
                                         "Frames", "Engine", "Submitted", "Elapsed"};
const int k_Widths[k_Columns] = {260, 80, 90, 70, 100, 130, 140, 90};

inline uint32_t Mix(uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    return x ^ (x >> 16);
}

// One cell of a render-farm job table; about one cell in five is wider than its column.
inline String FarmText(long row, int column) {
    static const char* const projects[] = {"aurora", "borealis", "cinder",
                                           "drift",  "ember",    "fjord"};
    static const char* const types[] = {"Nuke",    "Maya",   "Houdini",
                                        "Blender", "Arnold", "V-Ray Standalone"};
    static const char* const states[] = {"Queued", "Rendering", "Done",
                                         "Failed", "Suspended", "Waiting for dependencies"};
    const uint32_t h = Mix(uint32_t(row) * 2654435761U + uint32_t(row >> 32));
    char text[128];
    switch (column) {
    case 0:
        snprintf(text, sizeof text, "%s_sq%03u_sh%04u_%s_v%03u%s", projects[h % 6], h % 997,
                 unsigned(row % 10000), h & 64 ? "comp" : "lighting", (h >> 8) % 40,
                 h % 7 == 0 ? "_beauty_denoise_final_highres_retime" : "");
        break;
    case 1:
        snprintf(text, sizeof text, "%s", types[(h >> 3) % 6]);
        break;
    case 2:
        snprintf(text, sizeof text, "%s", states[(h >> 5) % 6]);
        break;
    case 3:
        snprintf(text, sizeof text, "%u%%", (h >> 7) % 101);
        break;
    case 4: {
        const unsigned start = 1 + (h >> 9) % 1001;
        snprintf(text, sizeof text, "%u-%u", start, start + 24 + (h >> 11) % 4000);
        break;
    }
    case 5:
        snprintf(text, sizeof text, "node-%03u.rack%02u%s", (h >> 13) % 512, (h >> 4) % 40,
                 h % 3 == 0 ? ".farm.studio.local" : "");
        break;
    case 6:
        snprintf(text, sizeof text, "2024-%02u-%02u %02u:%02u", 1 + (h >> 6) % 12,
                 1 + (h >> 10) % 28, (h >> 14) % 24, (h >> 18) % 60);
        break;
    default:
        snprintf(text, sizeof text, "%u:%02u:%02u", (h >> 12) % 72, (h >> 20) % 60, (h >> 2) % 60);
        break;
    }
    return String(text);
}

inline double NowMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

// Runs the toolkit's pending work, idle handlers included, for `ms`.
inline void PumpFor(int ms) {
    const double end = NowMs() + ms;
    do {
        wxTheApp->ProcessPendingEvents();
        wxTheApp->Yield(true);
        wxTheApp->ProcessIdle();
        wxMilliSleep(2);
    } while (NowMs() < end);
}

inline double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

inline double ResidentMB() {
    long pages = 0, resident = 0;
    FILE* f = fopen("/proc/self/statm", "r");
    if (f) {
        if (fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        fclose(f);
    }
    return resident * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

} // namespace bench
