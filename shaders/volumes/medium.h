/* What fills the primitives of a volume engine: coefficients of absorption, scattering and emission at any point. Built
 * when the shader instance is, read-only afterwards.
 */
#pragma once

#include "SDK/color/color.h"
#include "shaders/volumes/volume_grid.h"

namespace lumo {

/* Per unit of world length; red, green and blue count. Where media overlap theirs add. */
struct Coefficients {
    miColor extinction = kBlack, scattering = kBlack;
    miColor emission = kBlack;                     /* radiance per length */
    miScalar anisotropy = 0, anisotropyWeight = 0; /* the mean cosine is the first by the second */

    miScalar meanCosine() const { return anisotropyWeight > 0 ? anisotropy / anisotropyWeight : 0; }
};

inline Coefficients operator+(const Coefficients& a, const Coefficients& b) {
    return {a.extinction + b.extinction, a.scattering + b.scattering, a.emission + b.emission,
            a.anisotropy + b.anisotropy, a.anisotropyWeight + b.anisotropyWeight};
}
inline Coefficients operator*(const Coefficients& c, miScalar s) {
    return {c.extinction * s, c.scattering * s, c.emission * s, c.anisotropy * s, c.anisotropyWeight * s};
}

/* How a primitive is found on a ray. */
struct MediumPrimitive {
    AffineTransform toLocal;
    DoubleVector low, high; /* of its box in world space */
    const VolumeGrid* grid = nullptr;
    miColor extinction = kBlack, color = kBlack, incandescence = kBlack; /* the first at density 1 */
    miScalar density = 0, anisotropy = 0;
    double edge = 0;
    miInteger number = 0; /* in the parameters */
    VolumeShape shape = kVolumeSphere;
    VolumeDropoff dropoff = kDropoffNone;
    DropoffProfile profile = kProfileLinear;
    bool connectedDensity = false, connectedColor = false, connectedIncandescence = false;

    bool isConnected() const { return connectedDensity || connectedColor || connectedIncandescence; }
};

/* A ray that is followed through the media. The state is that of the running call: shaders that are connected to a
 * primitive see the point in its `point`, and where that lies in the box of the primitive, 0 to 1, as the first texture
 * coordinate. What they change in the state is for the caller to put back. */
struct MediumCall {
    const VolumeHelper& in;
    VolumeRay ray;      /* world space, unit length */
    VolumeRay internal; /* the same ray in the renderer's space */
    double jitter;      /* 0 to 1: where steps begin */
    miVector* texture;  /* the state's first texture coordinate */
};

class Medium {
public:
    explicit Medium(const VolumeHelper& in);

    /* In an order that does not depend on that of the parameters: sums are the same bits however these stand. */
    std::span<const MediumPrimitive> primitives() const { return primitives_; }

    /* Whether primitives have connected parameters, for which the state is prepared. */
    bool isConnected() const { return isConnected_; }

    /* Whether the coefficients are the same everywhere inside. */
    bool isConstant(const MediumPrimitive& primitive) const;

    /* The longest step along a ray of the primitive's space that does not miss what may be inside. */
    double longestStep(const MediumPrimitive& primitive, const VolumeRay& local) const;

    /* From t on the primitive is empty up to this distance: t where it is not. */
    double clearUntil(const MediumPrimitive& primitive, const VolumeRay& local, double t, double end) const;

    /* Adds the primitive's share at a point of the ray, which lies inside. */
    void add(const MediumPrimitive& primitive, const MediumCall& call, const VolumeRay& local, double t,
             Coefficients& sum) const;
    /* Extinction alone. */
    void addExtinction(const MediumPrimitive& primitive, const MediumCall& call, const VolumeRay& local, double t,
                       Coefficients& sum) const;

    double quality() const { return quality_; }
    /* Times the optical depth, on the way of light. */
    miScalar shadowFactor() const { return shadowFactor_; }

private:
    struct Point;

    void readRamps(const VolumeHelper& in);
    void readPrimitives(const VolumeHelper& in, std::span<VolumePrimitiveParameters> given);
    bool readPrimitive(const VolumeHelper& in, VolumePrimitiveParameters& given, MediumPrimitive& primitive);
    const VolumeGrid* gridOf(miTag tag, miInteger number);
    Point pointAt(const MediumPrimitive& primitive, const MediumCall& call, const VolumeRay& local, double t) const;
    double rampPosition(miInteger input, const Point& point) const;

    RendererArray<MediumPrimitive> storage_{"shaders/lumoVolumeEngine"};
    std::span<const MediumPrimitive> primitives_;
    RendererArray<VolumeGrid> grids_{"shaders/lumoVolumeEngine"};
    std::size_t gridCount_ = 0;
    double quality_ = 1, step_ = 0;
    miScalar shadowFactor_ = 1;
    miInteger opacityInput_ = 0, colorInput_ = 0, incandescenceInput_ = 0;
    bool isConnected_ = false, skipsEmpty_ = true;
    LumoRamp opacity_, color_, incandescence_;
};

}  // namespace lumo
