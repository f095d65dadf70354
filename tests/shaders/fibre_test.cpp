/* Models of fibres, beside numbers worked out from their formulas elsewhere. */
#include <gtest/gtest.h>

#include "shaders/materials/fibre.h"
#include "shaders/materials/hair_scattering.h"

namespace {

using namespace lumo;

TEST(Fibres, Hair) {
    // How much is left of R, TT, TRT and the rest where a crossing lets t through.
    const struct {
        double h, t, shares[4];
    } cases[] = {{0, 1, {.0465206, .909123, .0422929, .0020635}},
                 {.7, 1, {.0566208, .889964, .0503905, .0030244}},
                 {0, .5, {.0465206, .454562, .0105732, .0002518}}};
    for (const auto& c : cases) {
        double shares[4], sum = 0;
        FibrePath(1.55, 0, c.h).attenuations(c.t, shares);
        for (int i = 0; i < 4; ++i) EXPECT_NEAR(shares[i], c.shares[i], 1e-6) << c.h << " " << i;
        for (const double share : shares) sum += share;
        if (c.t == 1) {
            EXPECT_NEAR(sum, 1, 1e-12);
        }
    }
    // sqrt(1.55^2 - .25) / cos 30 = 1.694107 bends h = .5 to 17.166 degrees.
    EXPECT_NEAR(FibrePath(1.55, .5, .5).gammaT * 180 / kPi, 17.1660, 1e-4);
    EXPECT_NEAR(FibrePath(1.55, 0, 0).transmission(1), .135335, 1e-6);
    EXPECT_NEAR(FibrePath(1.55, 0, .5).transmission(1), .150607, 1e-6);
    EXPECT_NEAR(absorptionFor(.1, .3), .152910, 1e-6);
    EXPECT_NEAR(absorptionFor(.5, .3), .0138565, 1e-7);
    EXPECT_NEAR(absorptionFor(.9, .3), .000320154, 1e-9);
    EXPECT_NEAR(longitudinalVariance(.3), .0846112, 1e-7);
    EXPECT_NEAR(azimuthalScale(.3), .117160, 1e-6);
}

/* White hair gives back what it gets: the lobes' integral over all lights is pi. */
TEST(Fibres, AllLightOfWhiteHairComesBack) {
    for (const double roughness : {.2, .4, .9}) {
        const HairView view(HairShape(1.55, roughness, roughness, 0), .3, .4, {1, 1, 1, 0}, roughness);
        double sum = 0;
        constexpr int kSteps = 400;
        for (int i = 0; i < kSteps; ++i)
            for (int k = 0; k < kSteps; ++k)
                for (int lobe = 0; lobe < 4; ++lobe)
                    sum += double(view.lobe(lobe, (i + .5) / kSteps * 2 - 1, (k + .5) / kSteps * 2 * kPi).g);
        EXPECT_NEAR(sum * 4 * kPi / (kSteps * kSteps), kPi, .01 * kPi) << roughness;
    }
}

TEST(Fibres, Kajiya) {
    // T along z: cosines with light and eye, power, diffuse, specular.
    const miScalar cases[][5] = {{0, 0, 20, 1, 1},
                                 {.5f, -.5f, 20, .866025f, 1},
                                 {.5f, .5f, 20, .866025f, 9.5367e-7f},
                                 {0, .5f, 20, 1, .0563135f}};
    for (const auto& c : cases) {
        const FibreAngles angles({0, 0, 1}, {sineOf(c[0]), 0, c[0]}, {0, sineOf(c[1]), c[1]});
        EXPECT_NEAR(angles.diffuse(), c[3], 1e-6f);
        EXPECT_NEAR(angles.specular(c[2]), c[4], 1e-6f);
        EXPECT_NEAR(angles.kappa, 0, 1e-6f);
    }
    double mean = 0;  // over all directions of light
    for (int i = 0; i < 1000; ++i)
        mean += double(FibreAngles({0, 0, 1}, {1, 0, (float(i) + .5f) / 500 - 1}, {1, 0, 0}).diffuse()) / 1000;
    EXPECT_NEAR(mean, kPi / 4, 1e-4);
}

}  // namespace
