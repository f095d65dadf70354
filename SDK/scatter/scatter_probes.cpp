/* Importance sampling of a reflectance profile with probe rays: King, Kulla, Conty and Fajardo 2013, "BSSRDF Importance
 * Sampling". A disc around the point is sampled by the profile, and each sample projected onto the surface along the
 * disc's axis; three axes at right angles see what one alone would miss, and are combined by the balance heuristic.
 * We differ: each axis has a fixed number of rays, so that a plane under even light comes out without noise; and of
 * several hits along a ray one is lit, chosen by what the profile gives them.
 */
#include "SDK/scatter/scatter_probes.h"

#include "SDK/surface/lobes.h"

#include <algorithm>

namespace lumo {
namespace {

struct Vector3 {
    double x, y, z;
};

double dot(const Vector3& a, const miVector& b) {
    return a.x * static_cast<double>(b.x) + a.y * static_cast<double>(b.y) + a.z * static_cast<double>(b.z);
}

Vector3 between(const miVector& from, const miVector& to) {
    return {static_cast<double>(to.x) - static_cast<double>(from.x),
            static_cast<double>(to.y) - static_cast<double>(from.y),
            static_cast<double>(to.z) - static_cast<double>(from.z)};
}

/* p + a u + b v + c w */
miVector moved(const miVector& p, double a, const miVector& u, double b, const miVector& v, double c,
               const miVector& w) {
    const auto add = [&](miScalar miVector::* k) {
        return static_cast<miScalar>(static_cast<double>(p.*k) + a * static_cast<double>(u.*k) +
                                     b * static_cast<double>(v.*k) + c * static_cast<double>(w.*k));
    };
    return {add(&miVector::x), add(&miVector::y), add(&miVector::z)};
}

/* One of the hits along a ray, chosen by a random number that each decision leaves another part of. */
class Choice {
public:
    explicit Choice(double random) : random_(random) {}

    void offer(const EntryPoint& entry, const double (&weight)[3]) {
        const double value = weight[0] + weight[1] + weight[2];
        if (!(value > 0)) return;
        total_ += value;
        const double p = value / total_;
        if (random_ < p) {
            random_ /= p;
            value_ = value;
            entry_ = entry;
            std::copy_n(weight, 3, weight_);
        } else {
            random_ = (random_ - p) / (1 - p);
        }
    }

    bool isEmpty() const { return total_ == 0; }

    /* It stands for all of them. */
    void addTo(ScatterSums& sums, const EntryScope& lights) const {
        const double others = total_ / value_;
        const double weight[3] = {weight_[0] * others, weight_[1] * others, weight_[2] * others};
        sums.add(weight, lights.lightAt(entry_));
    }

private:
    double random_, total_ = 0, value_ = 1;
    double weight_[3] = {0, 0, 0};
    EntryPoint entry_{};
};

class Probes {
public:
    Probes(miState* state, const ScatterSurface& surface, const EntryScope& lights, const ScatterProfile& profile,
           miUint count)
        : state_(state), surface_(surface), lights_(lights), profile_(profile), point_(state->point) {
        // Half of the rays along the normal: most of the surface near the point is seen best from there.
        counts_[0] = (count + 1) / 2;
        counts_[1] = (count - counts_[0] + 1) / 2;
        counts_[2] = count - counts_[0] - counts_[1];
        axes_[0] = state->normal_geom;
        tangentsOf(axes_[0], axes_[1], axes_[2]);
    }

    bool run(ScatterSums& sums) {
        for (int axis = 0; axis < 3; ++axis) {
            double point[3];
            int taken = 0;
            for (miUint i = 0; i < counts_[axis]; ++i) {
                // Where the renderer has no more points to give, a lattice goes on.
                if (!mi_sample(point, &taken, state_, 3, &counts_[axis])) takeLatticePoint(i, counts_[axis], point);
                probe(axis, point, sums);
            }
        }
        return met_ || isThere();
    }

private:
    static void takeLatticePoint(miUint i, miUint count, double (&point)[3]) {
        point[0] = (i + 0.5) / count;
        point[1] = i * 0.6180339887498949 - std::floor(i * 0.6180339887498949);
        point[2] = i * 0.7548776662466927 - std::floor(i * 0.7548776662466927);
    }

    void probe(int axis, const double (&point)[3], ScatterSums& sums) {
        const double r = profile_.sampled(point[0]), angle = 2 * std::numbers::pi * point[1];
        const double half = std::sqrt(std::max(profile_.reach() * profile_.reach() - r * r, 0.0));
        const miVector& up = axes_[axis];
        const miVector start = moved(point_, half, up, r * std::cos(angle), axes_[(axis + 1) % 3], r * std::sin(angle),
                                     axes_[(axis + 2) % 3]);
        const miVector down = {-up.x, -up.y, -up.z};
        Choice choice(point[2]);
        probeSurface(state_, surface_, start, down, 2 * half, [&](const miState& hit) {
            met_ = true;
            const EntryPoint entry = surface_.entryAt(hit);
            double weight[3];
            weigh(entry, weight);
            choice.offer(entry, weight);
        });
        if (!choice.isEmpty()) choice.addTo(sums, lights_);
    }

    /* What the profile gives the entry, over the density with which all rays together find it. */
    void weigh(const EntryPoint& entry, double (&weight)[3]) const {
        const Vector3 way = between(point_, entry.point);
        double density = 0;
        double along[3];
        for (int axis = 0; axis < 3; ++axis) along[axis] = dot(way, axes_[axis]);
        for (int axis = 0; axis < 3; ++axis) {
            const double r = std::hypot(along[(axis + 1) % 3], along[(axis + 2) % 3]);
            const double cosine = std::fabs(static_cast<double>(mi_vector_dot(&entry.geometric, &axes_[axis])));
            density += counts_[axis] * cosine * profile_.sampledDensity(r);
        }
        const double distance = std::sqrt(way.x * way.x + way.y * way.y + way.z * way.z);
        for (int c = 0; c < 3; ++c) weight[c] = density > 0 ? profile_.density(c, distance) / density : 0;
    }

    /* Small things may lie between all rays: but do probes see the surface at all? */
    bool isThere() const {
        const double half = profile_.reach() / 16;
        const miVector down = {-axes_[0].x, -axes_[0].y, -axes_[0].z};
        bool there = false;
        probeSurface(state_, surface_, moved(point_, half, axes_[0], 0, down, 0, down), down, 2 * half,
                     [&there](const miState&) { there = true; });
        return there;
    }

    miState* const state_;
    const ScatterSurface& surface_;
    const EntryScope& lights_;
    const ScatterProfile& profile_;
    const miVector point_;
    miVector axes_[3];
    miUint counts_[3];
    bool met_ = false;
};

}  // namespace

bool probeScatter(miState* state, const ScatterSurface& surface, const EntryScope& lights,
                  const ScatterProfile& profile, miUint count, ScatterSums& sums) {
    return Probes(state, surface, lights, profile, count).run(sums);
}

}  // namespace lumo
