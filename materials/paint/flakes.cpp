#include "paint/flakes.h"

#include "math/color.h"
#include "rays/footprint.h"

#include <cstdint>

namespace materials {

namespace {

struct Cell {
    std::uint32_t x, y, z;
};

/* Source: Jarzynski and Olano, "Hash Functions for GPU Rendering", JCGT 9(3), 2020: pcg3d. */
Cell scrambled(Cell c) {
    c = {c.x * 1664525U + 1013904223U, c.y * 1664525U + 1013904223U, c.z * 1664525U + 1013904223U};
    c.x += c.y * c.z, c.y += c.z * c.x, c.z += c.x * c.y;
    c = {c.x ^ (c.x >> 16), c.y ^ (c.y >> 16), c.z ^ (c.z >> 16)};
    c.x += c.y * c.z, c.y += c.z * c.x, c.z += c.x * c.y;
    return c;
}

/* From 0 to below 1. */
miScalar fraction(std::uint32_t bits) { return static_cast<miScalar>(bits >> 8) * 0x1p-24f; }

/* Whole part of a coordinate, of any size. */
std::int32_t floorOf(miScalar a) { return static_cast<std::int32_t>(std::floor(clamped(a, -1e9f, 1e9f))); }

/* The cell whose point is nearest, of the eight around. Points lie near enough to the middles of their cells. */
Cell nearestCell(const miVector& place) {
    constexpr miScalar kJitter = .6f;
    const std::int32_t x = floorOf(place.x - .5f), y = floorOf(place.y - .5f), z = floorOf(place.z - .5f);
    miScalar least = miHUGE_SCALAR;
    Cell nearest{};
    for (int corner = 0; corner < 8; ++corner) {
        const std::int32_t cx = x + (corner & 1), cy = y + (corner >> 1 & 1), cz = z + (corner >> 2);
        const Cell number = {static_cast<std::uint32_t>(cx), static_cast<std::uint32_t>(cy),
                             static_cast<std::uint32_t>(cz)};
        const Cell random = scrambled(number);
        const auto middle = [&](std::int32_t cell, std::uint32_t bits) {
            return static_cast<miScalar>(cell) + .5f + kJitter * (fraction(bits) - .5f);
        };
        const miVector way = miVector{middle(cx, random.x), middle(cy, random.y), middle(cz, random.z)} - place;
        const miScalar squared = dot(way, way);
        if (squared >= least) continue;
        least = squared;
        nearest = number;
    }
    return nearest;
}

/* How many flakes a pixel holds. */
miScalar flakesInPixel(const miState* state, const miVector& normal, miScalar scale) {
    const Frame frame = frameAround(normal);
    miVector u, v;
    mi_vector_to_object(state, &u, &frame.u);
    mi_vector_to_object(state, &v, &frame.v);
    const miScalar width = pixelWidth(state) / scale;
    const miScalar cosine = std::max(std::fabs(dot(normal, state->dir)), .05f);
    return width * width * length(cross(u, v)) / cosine;
}

}  // namespace

Flakes::Look Flakes::flakeAt(const miVector& place, const miVector& normal) const {
    /* Other numbers than those that moved the cell's point. */
    const Cell cell = nearestCell(place);
    const Cell random = scrambled({cell.x ^ 0x9e3779b9U, cell.y ^ 0x85ebca6bU, cell.z ^ 0xc2b2ae35U});
    if (!(fraction(random.x) < density)) return {normal, 0, 0};
    const miScalar slope = strength * std::sqrt(fraction(random.y)), angle = 2 * kPi * fraction(random.z);
    const Frame frame = frameAround(normal);
    const miVector tilt = frame.u * std::cos(angle) + frame.v * std::sin(angle);
    return {unit(normal + tilt * slope, normal), 1, 0};
}

Flakes::Look Flakes::at(const miState* state, const miVector& normal) const {
    if (!(density > 0) || !(scale > 0)) return {normal, 0, 0};
    constexpr miScalar kFew = 1, kMany = 4;
    const miScalar crowd = clamped((flakesInPixel(state, normal, scale) - kFew) / (kMany - kFew), 0, 1);
    if (crowd == 1) return {normal, density, meanSlope()};
    miVector place;
    mi_point_to_object(state, &place, &state->point);
    const Look flake = flakeAt(place * (1 / scale), normal);
    if (crowd == 0) return flake;
    return {unit(flake.normal * (1 - crowd) + normal * crowd, normal), mix(flake.share, density, crowd),
            meanSlope() * crowd};
}

miScalar flakeHighlight(const Flakes::Look& look, miScalar exponent, const miVector& view, const miVector& light) {
    if (look.slope == 0) {
        const miScalar cosine = dot(mirrored(-view, look.normal), light);
        return cosine > 0 ? look.share * std::pow(cosine, exponent) : 0;
    }
    /* In slopes of the half vector the lobe is near to a Gaussian, and so is what slopes of flakes make of it. A mirrored
       ray turns twice as far as the flake in the plane of view and light, 2 (view . half) times across it; and slopes
       near a grazing half vector stand for less of the sphere. */
    const miVector half = unit(view + light);
    const miScalar cosine = dot(half, look.normal);
    if (!(cosine > 0)) return 0;
    const miScalar spread = 4 * exponent * std::max(dot(view, half), .05f) * cosine * cosine * cosine;
    const miScalar lobe = 1 / std::max(spread, 1e-3f), wide = lobe + look.slope;
    const miScalar squaredSlope = 1 / (cosine * cosine) - 1;
    return look.share * lobe / wide * std::exp(-squaredSlope / (2 * wide));
}

}  // namespace materials
