/* What a sky sends to level ground. */
#pragma once

#include "math/vector.h"

namespace materials {

/*
 * Integral of luminanceAt(up, cosSun), cosines of the angles to the zenith and to the sun, over the sky with the cosine.
 * sunUp: sine of the sun's height. Gauss' points for the square of the sine, equal steps of half the way around, which the
 * other half mirrors: good to about one percent.
 */
template <class Luminance>
miScalar sumOverSky(miScalar sunUp, const Luminance& luminanceAt) {
    constexpr miScalar kPlaces[5] = {.04691008f, .23076534f, .5f, .76923466f, .95308992f};
    constexpr miScalar kWeights[5] = {.11846344f, .23931434f, .28444444f, .23931434f, .11846344f};
    constexpr int kSteps = 8;
    const miScalar sunAside = std::sqrt(std::max(1 - sunUp * sunUp, 0.0f));
    miScalar sum = 0;
    for (int i = 0; i < 5; ++i) {
        const miScalar up = std::sqrt(1 - kPlaces[i]), aside = std::sqrt(kPlaces[i]);
        for (int step = 0; step < kSteps; ++step) {
            const miScalar around = (static_cast<miScalar>(step) + .5f) * kPi / kSteps;
            sum += kWeights[i] * luminanceAt(up, up * sunUp + aside * sunAside * std::cos(around));
        }
    }
    return sum * kPi / kSteps;
}

}  // namespace materials
