/* The medium of parti_volume and its photons. */
#pragma once

#include "math/vector.h"
#include "module/parameters.h"

namespace materials {

/* Where the medium is, and how dense. */
class Dust {
public:
    /* Of the parameters of parti_volume, or of its photons. */
    template <class Record>
    Dust(const Parameters& in, const Record& p)
        : isLayer_(in(p.mode) == 1),
          height_(finite(in(p.height))),
          noise_(in.share(p.nonuniform)),
          scatter_(in.reflectance(p.scatter)),
          extinction_(in.within(p.extinction, 0, 1e6f)) {}

    bool isEven() const { return noise_ == 0; }
    const miColor& scatter() const { return scatter_; }
    miScalar extinction() const { return extinction_; }

    /* The part of a ray that is below the layer's height: from and to, along the ray. */
    void cut(const miVector& org, const miVector& dir, double& from, double& to) const {
        if (!isLayer_) return;
        const double above = static_cast<double>(org.y) - static_cast<double>(height_),
                     slope = static_cast<double>(dir.y);
        if (std::fabs(slope) < 1e-9) {
            if (above > 0) to = from;
            return;
        }
        const double crossing = -above / slope;
        if (slope < 0)
            from = std::max(from, crossing);
        else
            to = std::min(to, crossing);
        to = std::max(to, from);
    }

    /* 1 on average. */
    miScalar densityAt(const miState* state, const miVector& point) const {
        if (noise_ == 0) return 1;
        miVector place;
        mi_point_to_world(state, &place, &point);
        return mix(1, 2 * clamped(mi_unoise_3d(&place), 0, 1), noise_);
    }

    /* The most that the density can be. */
    miScalar densest() const { return 1 + noise_; }

    bool isAbove(const miVector& point) const { return isLayer_ && point.y > height_; }

private:
    bool isLayer_;
    miScalar height_, noise_;
    miColor scatter_;
    miScalar extinction_;
};

}  // namespace materials
