// Shared pieces of the palette and themed-control tests.
#pragma once

#include "tests/support/WxTestHelpers.h"

#include <wxTaviro/wxTaviroColors.h>

namespace colors_test {

inline wxColour Rgb(int r, int g, int b) {
    return wxColour(r, g, b);
}
// A colour written 0xRRGGBB, as the tables of the tests give it.
inline wxColour Hex(unsigned rgb) {
    return wxColour((rgb >> 16) & 255, (rgb >> 8) & 255, rgb & 255);
}

// Every test starts with no scheme loaded and the Dark colours in the palette (the palette
// itself lives as long as the process).
class ColorsFixture : public ::testing::Test {
protected:
    void SetUp() override {
        g_Scheme = -1;
        SetColors(-1);
    }
};

inline std::string Describe(const wxColour& c) {
    return c.IsOk() ? wxString::Format("(%d, %d, %d, %d)", c.Red(), c.Green(), c.Blue(), c.Alpha())
                          .ToStdString()
                    : "(unset)";
}

} // namespace colors_test

// Exact colour comparison with a readable failure message (alpha included).
#define EXPECT_COLOUR(actual, expected)                                                            \
    EXPECT_EQ(::colors_test::Describe(actual), ::colors_test::Describe(expected))
