/* Flat quadrilateral lights, seen from a surface. */
#include <algorithm>

#include "SDK/lumo.h"

#include "binding/renderer.h"
#include "SDK/framework/double_vector.h"

namespace lumo {
namespace {

constexpr int kCorners = 4;

/* Whether a ray hits the light, which is the square from -1 to 1 in the x and y of its own space. */
bool hitsSquare(const miVector& point, const miVector& direction, miTag light) {
    const miScalar* toLight = nullptr;
    if (!mi_query(miQ_INST_GLOBAL_TO_LOCAL, nullptr, light, &toLight) || !toLight) return false;
    miVector p = point, q = direction;
    mi_point_transform(&p, &point, toLight);
    mi_vector_transform(&q, &direction, toLight);

    const DoubleVector way = normalised(DoubleVector(q));
    if (std::fabs(way.z) < 1e-5) return false;
    const DoubleVector from(p);
    const double t = -from.z / way.z;
    return t > 0 && std::fabs(from.x + t * way.x) < 1 && std::fabs(from.y + t * way.y) < 1;
}

/* Of the points on an edge, seen from the surface as `start` + t `edge`, the direction closest to `reflection`. */
DoubleVector closestOnEdge(const DoubleVector& start, DoubleVector edge, const DoubleVector& reflection) {
    const double size = length(edge);
    if (size > 1e-5) edge = edge * (1 / size);

    // Where the derivative of the cosine along the edge is 0; past the edge's ends, the end.
    const double a = dot(reflection, start), b = dot(reflection, edge), k = dot(start, edge);
    const double divisor = a - b * k;
    double t = 0;
    if (divisor != 0) {
        t = (dot(start, start) * b - a * k) / divisor;
        t = t < 0 ? 0 : std::min(t, size);
    }
    return normalised(start + edge * t);
}

}  // namespace
}  // namespace lumo

/* The contour integral of a polygonal light: each edge adds the angle that it spans, times the cosine of the surface's
 * normal and that of the plane through point and edge. The textbook's factor is 1 / (2 pi); 5 is what all materials are
 * balanced for, so it stays. */
miScalar arealight_lambertian_reflect(const miVector* point, const miVector* normal, const miVector* corners) {
    using namespace lumo;
    if (!corners) return 0;
    DoubleVector toCorner[kCorners];
    for (int i = 0; i < kCorners; ++i) toCorner[i] = normalised(DoubleVector(corners[i]) - DoubleVector(*point));

    const DoubleVector n(*normal);
    double sum = 0;
    for (int i = 0; i < kCorners; ++i) {
        const DoubleVector& u = toCorner[i];
        const DoubleVector& v = toCorner[(i + 1) % kCorners];
        const DoubleVector c = cross(u, v);
        const double size = length(c);
        // An edge seen end on, or without length, adds nothing.
        if (size == 0) continue;
        const double angle = std::fabs(std::acos(std::clamp(dot(u, v), -1.0, 1.0)));
        sum += angle * 5 * dot(n, c) / size;
    }
    return static_cast<miScalar>(sum);
}

miScalar arealight_max_phong_spec_dir(const miVector* point, const miVector* reflection, const miVector* corners,
                                      miTag light, miVector* direction) {
    using namespace lumo;
    const DoubleVector r(*reflection), mirrored = normalised(r);
    *direction = mirrored.rounded();
    if (!corners) return 0;
    if (hitsSquare(*point, *reflection, light)) return 1;

    // Past the light: the closest point lies on one of its edges.
    double best = -1;
    for (int i = 0; i < kCorners; ++i) {
        const DoubleVector corner(corners[i]), next(corners[(i + 1) % kCorners]);
        const DoubleVector candidate = closestOnEdge(corner - DoubleVector(*point), next - corner, r);
        const double cosine = dot(candidate, mirrored);
        if (cosine > best) {
            best = cosine;
            *direction = candidate.rounded();
        }
    }
    return static_cast<miScalar>(std::max(best, 0.0));
}
