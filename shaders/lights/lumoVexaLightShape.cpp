#include "shaders/lights/lumoVexaLightShape.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace lumo {
namespace {

bool ask(miState* state, miQ_type code, DoubleVector& answer) {
    miVector v = {0, 0, 0};
    if (!mi_query(code, state, state->light_instance, &v)) return false;
    answer = DoubleVector(v);
    return true;
}

bool ask(miState* state, miQ_type code, double& answer) {
    miScalar number = 0;
    if (!mi_query(code, state, state->light_instance, &number)) return false;
    // A shape turned inside out is the same shape.
    answer = std::fabs(static_cast<double>(number));
    return true;
}

DoubleVector fromLight(miState* state, const DoubleVector& v) {
    miVector result = v.rounded();
    mi_vector_from_light(state, &result, &result);
    return DoubleVector(result);
}

/* The direction in which a flat shape shines, in the light's space; none of the others. */
DoubleVector normalOf(const LightShape& shape) {
    if (shape.area == miLIGHT_RECTANGLE) return cross(shape.u, shape.v);
    return shape.area == miLIGHT_DISC ? shape.u : DoubleVector();
}

/* Two directions at right angles to `axis` and to each other. */
void perpendiculars(const DoubleVector& axis, DoubleVector& a, DoubleVector& b) {
    const double x = std::fabs(axis.x), y = std::fabs(axis.y), z = std::fabs(axis.z);
    const DoubleVector least = x <= y && x <= z ? DoubleVector(1, 0, 0)
                               : y <= z         ? DoubleVector(0, 1, 0)
                                                : DoubleVector(0, 0, 1);
    a = normalised(cross(axis, least));
    b = cross(axis, a);
}

}  // namespace

LightShape lightShape(miState* state) {
    LightShape shape;
    miInteger area = miLIGHT_NONE;
    if (!mi_query(miQ_LIGHT_AREA, state, state->light_instance, &area)) return shape;
    bool known = false;
    switch (area) {
        case miLIGHT_RECTANGLE:
            known = ask(state, miQ_LIGHT_AREA_R_EDGE_U, shape.u) && ask(state, miQ_LIGHT_AREA_R_EDGE_V, shape.v);
            break;
        case miLIGHT_DISC:
            known = ask(state, miQ_LIGHT_AREA_D_NORMAL, shape.u);
            ask(state, miQ_LIGHT_AREA_D_RADIUS, shape.radius);
            break;
        case miLIGHT_SPHERE: known = ask(state, miQ_LIGHT_AREA_S_RADIUS, shape.radius); break;
        case miLIGHT_CYLINDER:
            known = ask(state, miQ_LIGHT_AREA_C_AXIS, shape.u) && ask(state, miQ_LIGHT_AREA_C_RADIUS, shape.radius);
            break;
        default: break;
    }
    if (!known) return shape;
    ask(state, miQ_LIGHT_ORIGIN, shape.center);
    shape.area = static_cast<miLight_area>(area);
    return shape;
}

LightShape unitSquare() {
    LightShape shape;
    shape.area = miLIGHT_RECTANGLE;
    shape.u = {2, 0, 0};
    shape.v = {0, -2, 0};
    return shape;
}

bool isDarkSide(const LightCall& call, const LightShape& shape) {
    if (shape.area != miLIGHT_RECTANGLE && shape.area != miLIGHT_DISC) return false;
    const miVector normal = fromLight(call.state(), normalOf(shape)).rounded(), dir = lightDirection(call);
    return mi_vector_dot(&normal, &dir) < 0;
}

bool isDarkSide(const LightCall& call) {
    miInteger area = miLIGHT_NONE;
    const bool known = mi_query(miQ_LIGHT_AREA, call.state(), call.state()->light_instance, &area);
    const bool flat = known && (area == miLIGHT_RECTANGLE || area == miLIGHT_DISC);
    return flat && isDarkSide(call, lightShape(call.state()));
}

void placeCorners(miState* state, const LightShape& shape, miVector corners[4]) {
    miVector center = shape.center.rounded();
    mi_point_from_light(state, &center, &center);
    const DoubleVector c(center), normal = fromLight(state, normalOf(shape));
    DoubleVector u = fromLight(state, shape.u) * 0.5, v = fromLight(state, shape.v) * 0.5;
    // A light space that mirrors turns the order around.
    if (dot(cross(u, v), normal) < 0) std::swap(u, v);
    corners[0] = (c - u - v).rounded();
    corners[1] = (c - u + v).rounded();
    corners[2] = (c + u + v).rounded();
    corners[3] = (c + u - v).rounded();
}

ShapeSampler::ShapeSampler(miState* state, const LightShape& shape)
    : shape_(shape),
      point_(DoubleVector(pointInLight(state)) - shape.center),
      x_(fromLight(state, {1, 0, 0})),
      y_(fromLight(state, {0, 1, 0})),
      z_(fromLight(state, {0, 0, 1})) {
    miVector origin = shape.center.rounded();
    mi_point_from_light(state, &origin, &origin);
    origin_ = DoubleVector(origin);
    perpendiculars(normalised(shape.area == miLIGHT_SPHERE ? point_ : shape.u), a_, b_);
}

DoubleVector ShapeSampler::operator[](const SquarePoint& at) const {
    DoubleVector p;
    if (shape_.area == miLIGHT_RECTANGLE) {
        p = shape_.u * (at.u - 0.5) + shape_.v * (at.v - 0.5);
    } else if (shape_.area == miLIGHT_DISC) {
        const DiscPoint on = toDisc(at);
        p = (a_ * on.x + b_ * on.y) * shape_.radius;
    } else if (shape_.area == miLIGHT_SPHERE) {
        p = onSphere(at);
    } else if (shape_.area == miLIGHT_CYLINDER) {
        p = onCylinder(at);
    }
    return origin_ + x_ * p.x + y_ * p.y + z_ * p.z;
}

/* The near side of the sphere, by the directions of the cone that it fills. */
DoubleVector ShapeSampler::onSphere(const SquarePoint& at) const {
    const double r = shape_.radius, distance = length(point_);
    const DiscPoint on = toDisc(at);
    const double share = on.x * on.x + on.y * on.y;  // even steps of it are even steps of 1 - cosine
    if (!(distance > r)) {
        const double z = 1 - 2 * share, scale = 2 * std::sqrt(1 - share);
        return (a_ * (on.x * scale) + b_ * (on.y * scale) + normalised(point_) * z) * r;
    }
    const double sine = r / distance, widest = sine * sine / (1 + std::sqrt(1 - sine * sine));
    const double versine = share * widest, cosine = 1 - versine;
    const double sideways = std::sqrt(widest * (2 - versine));  // the sine of the angle, per unit of `on`
    const DoubleVector dir = (a_ * on.x + b_ * on.y) * sideways - point_ * (cosine / distance);
    const double acrossWay = distance * sideways * std::sqrt(share);
    const double way = distance * cosine - std::sqrt(std::max(0.0, r * r - acrossWay * acrossWay));
    return point_ + dir * way;
}

/* The near side of the cylinder, in its cross section by the angle that it fills. */
DoubleVector ShapeSampler::onCylinder(const SquarePoint& at) const {
    const double r = shape_.radius, x = dot(point_, a_), y = dot(point_, b_), distance = std::hypot(x, y);
    const DoubleVector along = shape_.u * (at.v - 0.5);
    double angle = 2 * std::numbers::pi * at.u;  // around the axis, from where the point is
    if (distance > r) {
        // Seen under the angle t from the point, the near side lies at asin(distance / r sin t) - t from the axis.
        const double sine = std::sin((2 * at.u - 1) * std::asin(r / distance));
        angle = std::asin(std::clamp(sine * distance / r, -1.0, 1.0)) - std::asin(sine);
    }
    const double cosine = std::cos(angle) * r, across = std::sin(angle) * r;
    if (distance == 0) return along + a_ * cosine + b_ * across;
    return along + (a_ * (x * cosine - y * across) + b_ * (y * cosine + x * across)) * (1 / distance);
}

}  // namespace lumo
