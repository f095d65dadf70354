// Colors of spectra, against tables of the standard observer.
#include "photometry/spectrum.h"

#include <gtest/gtest.h>

namespace lumorender {
namespace {

miColor xyzOf(const Spectrum& spectrum) { return colorOfSpectrum(spectrum, *ColorSpace::named("XYZ")); }

TEST(Spectra, AreSeenAsTheStandardObserverDoes) {
    Spectrum flat;
    flat.values = {{300, 2}, {900, 2}};
    const miColor equal = xyzOf(flat);
    EXPECT_NEAR(equal.r, 2, .02);
    EXPECT_NEAR(equal.g, 2, 1e-6);
    EXPECT_NEAR(equal.b, 2, .02);
    // Around 600 nm the observer's functions are 1.0622, .6310 and .0008 (CIE 15, table of 1931).
    Spectrum orange;
    orange.values = {{595, 0}, {600, 1}, {605, 0}};
    const miColor seen = xyzOf(orange);
    EXPECT_NEAR(seen.r / seen.g, 1.0622 / .6310, .03);
    EXPECT_NEAR(seen.b / seen.g, .0008 / .6310, .005);
    // Five nanometers of the 106.857 that the function of brightness has in all.
    EXPECT_NEAR(seen.g, .6310 * 5 / 106.857, .0005);
    EXPECT_EQ(xyzOf({}).g, 0);
}

}  // namespace
}  // namespace lumorender
