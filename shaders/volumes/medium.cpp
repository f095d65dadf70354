#include "shaders/volumes/medium.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace lumo {
namespace {

constexpr char kSource[] = "shaders/lumoVolumeEngine";
/* What lets less through is as good as solid, and logarithms need a number. */
constexpr miScalar kLeastTransparency = 1e-6f;
constexpr miScalar kGreatest = 1e6f;
constexpr std::size_t kMostPrimitives = 1 << 20;

/* A parameter's value where it can be used, 0 where it is negative or no number. */
miScalar usable(miScalar value) { return value > 0 ? std::min(value, kGreatest) : 0; }
miColor usable(const miColor& c) { return {usable(c.r), usable(c.g), usable(c.b), 0}; }

miScalar extinctionOf(miScalar transparency) {
    return transparency < 1 || std::isnan(transparency) ? -std::log(std::fmax(transparency, kLeastTransparency)) : 0;
}

template <class E>
bool isOneOf(miInteger value, E count) {
    return value >= 0 && value < static_cast<miInteger>(count);
}

void complain(miInteger number, const char* text) {
    mi_warning("lumoVexaVolumeEngine(): Primitive %d %s, and is left out.", number, text);
}

/* The box around the box from -1 to 1, in world space. */
void placeBounds(MediumPrimitive& primitive, const AffineTransform& toWorld) {
    const DoubleVector center = toWorld.point({0, 0, 0});
    const DoubleVector x = toWorld.vector({1, 0, 0}), y = toWorld.vector({0, 1, 0}), z = toWorld.vector({0, 0, 1});
    const DoubleVector half(std::fabs(x.x) + std::fabs(y.x) + std::fabs(z.x),
                            std::fabs(x.y) + std::fabs(y.y) + std::fabs(z.y),
                            std::fabs(x.z) + std::fabs(y.z) + std::fabs(z.z));
    primitive.low = center - half;
    primitive.high = center + half;
}

}  // namespace

/* What a point of a primitive is like, before it is colored. */
struct Medium::Point {
    DoubleVector place; /* in the primitive's space */
    miScalar shape;     /* density of form and grid, 0 to 1 as a rule; the position of ramps by density */
    miScalar density;   /* after the opacity ramp and the primitive's own factor */
    miScalar temperature;
};

Medium::Medium(const VolumeHelper& in) {
    using P = VolumeEngineParameters;
    const miScalar quality = in(&P::quality);
    quality_ = std::isfinite(quality) ? std::clamp(static_cast<double>(quality), 0.01, 100.0) : 1;
    step_ = static_cast<double>(usable(in(&P::stepSize)));
    // .5 leaves shadows as they are, towards 1 they become solid.
    const miScalar opacity = std::fmin(usable(in(&P::shadowOpacity)), 0.9999f);
    shadowFactor_ = opacity / (1 - opacity);
    readRamps(in);
    const auto primitives = in.primitives();
    readPrimitives(in, primitives.first(std::min(primitives.size(), kMostPrimitives)));
}

void Medium::readRamps(const VolumeHelper& in) {
    using P = VolumeEngineParameters;
    in.read(&P::opacityRamp, opacity_);
    in.read(&P::colorRamp, color_);
    in.read(&P::incandescenceRamp, incandescence_);
    opacityInput_ = in(&P::opacityInput);
    colorInput_ = in(&P::colorInput);
    incandescenceInput_ = in(&P::incandescenceInput);
    skipsEmpty_ = opacity_.count < 1 || opacityInput_ != kInputDensity || !(ramp_get_interp_float(&opacity_, 0) > 0);
    for (miInteger* input : {&opacityInput_, &colorInput_, &incandescenceInput_}) {
        if (isOneOf(*input, kVolumeInputs)) continue;
        mi_warning("lumoVexaVolumeEngine(): There is no ramp input %d, density is taken.", *input);
        *input = kInputDensity;
    }
}

void Medium::readPrimitives(const VolumeHelper& in, std::span<VolumePrimitiveParameters> given) {
    const std::size_t size = given.size();
    RendererArray<std::size_t> order(kSource);
    if (!order.allocate(size) || !storage_.allocate(size) || !grids_.allocate(size)) {
        mi_error("lumoVexaVolumeEngine(): There is no memory for %zu primitives.", size);
        return;
    }
    for (std::size_t i = 0; i < size; ++i) order[i] = i;
    std::sort(order.all().begin(), order.all().end(), [given](std::size_t a, std::size_t b) {
        const int sign = std::memcmp(&given[a], &given[b], sizeof(VolumePrimitiveParameters));
        return sign != 0 ? sign < 0 : a < b;
    });
    std::size_t used = 0;
    for (const std::size_t i : order.all()) {
        storage_[used].number = static_cast<miInteger>(i);
        if (readPrimitive(in, given[i], storage_[used])) ++used;
    }
    primitives_ = storage_.all().first(used);
}

/* False where the primitive is left out. */
bool Medium::readPrimitive(const VolumeHelper& in, VolumePrimitiveParameters& given, MediumPrimitive& primitive) {
    using Q = VolumePrimitiveParameters;
    const miInteger number = primitive.number;
    const miInteger shape = in.element(given, &Q::shape), dropoff = in.element(given, &Q::dropoff),
                    profile = in.element(given, &Q::dropoffProfile);
    if (!isOneOf(shape, kVolumeShapes)) return complain(number, "has an unknown shape"), false;
    if (!isOneOf(dropoff, kVolumeDropoffs)) return complain(number, "has an unknown drop-off"), false;
    if (!isOneOf(profile, kDropoffProfiles)) return complain(number, "has an unknown drop-off profile"), false;
    primitive.toLocal = AffineTransform(given.transform.matrix);
    const auto toWorld = primitive.toLocal.inverse();
    if (!toWorld) return complain(number, "has a transform without an inverse"), false;
    placeBounds(primitive, *toWorld);
    primitive.shape = static_cast<VolumeShape>(shape);
    primitive.dropoff = static_cast<VolumeDropoff>(dropoff);
    primitive.profile = static_cast<DropoffProfile>(profile);
    primitive.edge = std::min(static_cast<double>(usable(in.element(given, &Q::edgeDropoff))), 1.0);
    if (shape == kVolumeGrid && !(primitive.grid = gridOf(in.element(given, &Q::grid), number))) return false;

    const miColor transparency = in.element(given, &Q::transparency);
    primitive.extinction = {extinctionOf(transparency.r), extinctionOf(transparency.g), extinctionOf(transparency.b),
                            0};
    primitive.color = usable(in.element(given, &Q::color)) * usable(in(&VolumeEngineParameters::scatter));
    primitive.incandescence = usable(in.element(given, &Q::incandescence));
    primitive.density = usable(in.element(given, &Q::density));
    const miScalar g = in.element(given, &Q::anisotropy);
    primitive.anisotropy = std::isfinite(g) ? std::clamp(g, -0.99f, 0.99f) : 0;
    primitive.connectedDensity = in.isConnected(given, &Q::density);
    primitive.connectedColor = in.isConnected(given, &Q::color);
    primitive.connectedIncandescence = in.isConnected(given, &Q::incandescence);
    isConnected_ = isConnected_ || primitive.isConnected();
    return primitive.connectedDensity || primitive.density > 0;
}

/* Primitives may share a grid. */
const VolumeGrid* Medium::gridOf(miTag tag, miInteger number) {
    for (const VolumeGrid& grid : grids_.all().first(gridCount_))
        if (grid.tag() == tag && tag != miNULLTAG) return &grid;
    VolumeGrid& grid = grids_[gridCount_++];
    const char* complaint = grid.open(tag);
    if (complaint) complain(number, complaint);
    return complaint ? nullptr : &grid;
}

bool Medium::isConstant(const MediumPrimitive& primitive) const {
    const auto isSpatial = [](const LumoRamp& ramp, miInteger input) {
        return ramp.count > 0 && input >= kInputRadius;
    };
    return !primitive.grid && primitive.dropoff == kDropoffNone && !primitive.isConnected() &&
           !isSpatial(opacity_, opacityInput_) && !isSpatial(color_, colorInput_) &&
           !isSpatial(incandescence_, incandescenceInput_);
}

double Medium::longestStep(const MediumPrimitive& primitive, const VolumeRay& local) const {
    constexpr double kVoxels = 4, kRampSteps = 8;
    const double radius = 1 / length(local.dir);
    double step = 2 * radius;
    if (primitive.grid) step = std::min(step, kVoxels * primitive.grid->voxelLength(local));
    if (primitive.dropoff != kDropoffNone && primitive.edge > 0) step = std::min(step, primitive.edge * radius);
    // Ramps and shaders may hold anything.
    if (primitive.isConnected() || opacity_.count > 2) step = std::min(step, radius / kRampSteps);
    step /= std::sqrt(quality_);
    return step_ > 0 ? std::min(step, step_) : step;
}

double Medium::clearUntil(const MediumPrimitive& primitive, const VolumeRay& local, double t, double end) const {
    return primitive.grid && skipsEmpty_ ? primitive.grid->clearUntil(local, t, end) : t;
}

double Medium::rampPosition(miInteger input, const Point& point) const {
    switch (input) {
        case kInputTemperature: return static_cast<double>(point.temperature);
        case kInputRadius: return length(point.place);
        case kInputX: return (point.place.x + 1) / 2;
        case kInputY: return (point.place.y + 1) / 2;
        case kInputZ: return (point.place.z + 1) / 2;
        default: return static_cast<double>(point.shape);
    }
}

Medium::Point Medium::pointAt(const MediumPrimitive& primitive, const MediumCall& call, const VolumeRay& local,
                              double t) const {
    Point point{local.at(t), 1, primitive.density, 0};
    if (primitive.dropoff != kDropoffNone) {
        const double depth = depthAt(primitive.dropoff, primitive.shape, point.place);
        point.shape = static_cast<miScalar>(profileAt(primitive.profile, depth, primitive.edge));
    }
    if (primitive.grid) {
        point.shape *= primitive.grid->density(point.place);
        point.temperature = primitive.grid->temperature(point.place);
    }
    if (primitive.isConnected()) {
        // The renderer remembers what it has evaluated for a call, and knows nothing of the ray's steps.
        miState* state = call.in.state();
        state->point = call.internal.at(t).rounded();
        *call.texture = (point.place * 0.5 + DoubleVector(0.5, 0.5, 0.5)).rounded();
        mi_flush_cache(state);
        if (primitive.connectedDensity)
            point.density = usable(call.in.primitive(primitive.number, &VolumePrimitiveParameters::density));
    }
    if (opacity_.count < 1) {
        point.density *= point.shape;
    } else {
        const auto position = static_cast<miScalar>(rampPosition(opacityInput_, point));
        const miScalar ramp = usable(ramp_get_interp_float(&opacity_, position));
        point.density *= opacityInput_ == kInputDensity ? ramp : point.shape * ramp;
    }
    if (!(point.density > 0)) point.density = 0;
    return point;
}

void Medium::addExtinction(const MediumPrimitive& primitive, const MediumCall& call, const VolumeRay& local, double t,
                           Coefficients& sum) const {
    const Point point = pointAt(primitive, call, local, t);
    sum.extinction = sum.extinction + primitive.extinction * std::min(point.density, kGreatest);
}

void Medium::add(const MediumPrimitive& primitive, const MediumCall& call, const VolumeRay& local, double t,
                 Coefficients& sum) const {
    const Point point = pointAt(primitive, call, local, t);
    const miScalar density = std::min(point.density, kGreatest);
    if (density == 0) return;
    using Q = VolumePrimitiveParameters;
    miColor color = primitive.color, glow = primitive.incandescence;
    if (primitive.connectedColor)
        color =
            usable(call.in.primitive(primitive.number, &Q::color)) * usable(call.in(&VolumeEngineParameters::scatter));
    if (primitive.connectedIncandescence) glow = usable(call.in.primitive(primitive.number, &Q::incandescence));
    if (primitive.grid && primitive.grid->hasColor()) color = color * usable(primitive.grid->color(point.place));
    const auto throughRamp = [&](const LumoRamp& ramp, miInteger input, const miColor& value) {
        const auto position = static_cast<miScalar>(rampPosition(input, point));
        return ramp.count < 1 ? value : value * usable(rampColor(ramp, position, WHITE));
    };
    color = throughRamp(color_, colorInput_, color);
    glow = throughRamp(incandescence_, incandescenceInput_, glow);

    const miColor extinction = primitive.extinction * density, scattering = extinction * color;
    const miScalar weight = scattering.r + scattering.g + scattering.b;
    sum.extinction = sum.extinction + extinction;
    sum.scattering = sum.scattering + scattering;
    sum.emission = sum.emission + glow * density;
    sum.anisotropy += primitive.anisotropy * weight;
    sum.anisotropyWeight += weight;
}

}  // namespace lumo
