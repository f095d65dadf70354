/* Spot, area, volume and shape light: their parameters as scenes write them. */
#pragma once

#include <cmath>

#include "lighting_scene.h"

namespace lighting {

struct SpotParameters {
    miScalar coneAngle = 1, penumbraAngle = 0, dropoff = 0;
    PointParameters common;
    miScalar fogSpread = 1;
    miBoolean barnDoors = 0;
    miScalar leftBarnDoor = 0, rightBarnDoor = 0, topBarnDoor = 0, bottomBarnDoor = 0;
    miBoolean decayRegions = 0;
    miScalar startDistance1 = 0, endDistance1 = 0, startDistance2 = 0, endDistance2 = 0, startDistance3 = 0,
             endDistance3 = 0;
};

struct VolumeParameters {
    miInteger volumeShape = 0, volumeDirection = 0;
    miScalar volumeFalloff = 1, tipRadius = 0;
    PointParameters common;
};

struct ShapeParameters {
    PointParameters common;
    miBoolean twoSided = 0;
};

constexpr double kDegree = 3.14159265358979323846 / 180;

inline bool isFinite(const miColor& c) {
    return std::isfinite(c.r) && std::isfinite(c.g) && std::isfinite(c.b) && std::isfinite(c.a);
}

}  // namespace lighting
