// What shaders want to know about a hit on a hair.
#include "geometry/hair.h"
#include "geometry/placement_at.h"

#include "mi/vector_math.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

/// The numbers that a hit's hair and its vertices have; those of vertices follow the curve's own polynomials.
class HairNumbers {
public:
    explicit HairNumbers(const Hit& hit)
        : hair_(*hit.instance->hair), source_(*hair_.source), degree_(static_cast<std::size_t>(source_.degree)) {
        const std::uint32_t number = hair_.hairOf(hit.primitive);
        ofHair_ = source_.hair(hair_.numberOf(number));
        const std::size_t piece = hit.primitive - hair_.firstPieces[number];
        ofVertex_ = source_.vertex(hair_.numberOf(number), piece * degree_) + 3;
        const float u = hit.u, w = 1 - u;
        const float weights[3][4] = {
            {w, u, 0, 0}, {w * w, 2 * u * w, u * u, 0}, {w * w * w, 3 * u * w * w, 3 * u * u * w, u * u * u}};
        std::copy_n(weights[degree_ - 1], 4, weights_);
    }

    float ofHair(int at) const { return ofHair_[at]; }
    float ofVertices(int at) const {
        float sum = 0;
        for (std::size_t k = 0; k <= degree_; ++k)
            sum += weights_[k] * ofVertex_[k * source_.vertexSize() + static_cast<std::size_t>(at)];
        return sum;
    }

private:
    const Hair& hair_;
    const HairSource& source_;
    std::size_t degree_;
    const float *ofHair_, *ofVertex_;
    float weights_[4];
};

std::uint32_t vectorsFor(int numbers) { return static_cast<std::uint32_t>((numbers + 2) / 3); }

class HairHit {
public:
    HairHit(const Hit& hit, miState& state)
        : hit_(hit),
          state_(state),
          instance_(*hit.instance),
          hair_(*instance_.hair),
          placement_(instance_, hit.time),
          place_(hairPlace(hair_, hit.primitive, hit.u, hit.time)),
          frame_(hair_, place_, placement_.vectorToLocal(wide(state.dir))) {
        const std::uint32_t number = hair_.hairOf(hit.primitive);
        pieces_ = hair_.firstPieces[number + 1] - hair_.firstPieces[number];
        piece_ = hit.primitive - hair_.firstPieces[number];
    }

    void fillPlace() {
        state_.dist = hit_.dist;
        state_.point = narrow(hit_.point);
        state_.bary[0] = hit_.v;
        state_.bary[1] = (static_cast<float>(piece_) + hit_.u) / static_cast<float>(pieces_);
        state_.bary[2] = hit_.u;
        state_.bary[3] = 0;
        state_.instance = instance_.instance;
        state_.label = instance_.label;
        state_.material = instance_.surfaceMaterials[0];
    }

    /// A hair that turns to the ray is flat, but its normals are those of a cylinder.
    void fillNormals(bool flip) {
        V3d shading = frame_.facing;
        if (!hair_.isRibbon()) {
            const double side = 2.0 * static_cast<double>(hit_.v) - 1;
            shading = frame_.across * side + frame_.facing * std::sqrt(std::max(1 - side * side, 0.0));
        }
        state_.normal_geom = narrow(unit(placement_.normalToWorld(frame_.facing)));
        state_.normal = narrow(unit(placement_.normalToWorld(shading)));
        state_.inv_normal = miFALSE;
        state_.dot_nd = dot(state_.normal, state_.dir);
        if (flip && dot(state_.normal_geom, state_.dir) > 0) miStateFlipNormals(&state_);
    }

    void fillTextures(const HitLists& lists) {
        const HairSource& source = *hair_.source;
        const std::uint32_t spaces = listSizesOf(hair_).textures;
        state_.tex_list = spaces ? lists.textures : nullptr;
        state_.tex = {0, 0, 0};
        if (!state_.tex_list) return;
        const HairNumbers numbers(hit_);
        std::fill_n(state_.tex_list, spaces, miVector{0, 0, 0});
        const auto component = [&](std::uint32_t firstSpace, int i) -> float& {
            miVector& v = state_.tex_list[firstSpace + static_cast<std::uint32_t>(i / 3)];
            return i % 3 == 0 ? v.x : i % 3 == 1 ? v.y : v.z;
        };
        for (int i = 0; i < source.perHair.textures; ++i) component(0, i) = numbers.ofHair(source.perHair.texture + i);
        const std::uint32_t behind = vectorsFor(source.perHair.textures);
        for (int i = 0; i < source.perVertex.textures; ++i)
            component(behind, i) = numbers.ofVertices(source.perVertex.texture + i);
        state_.tex = state_.tex_list[0];
    }

    void fillDerivatives(const HitLists& lists) {
        state_.bump_x_list = state_.bump_y_list = nullptr;
        state_.derivs = lists.derivatives;
        if (!state_.derivs) return;
        std::fill_n(state_.derivs, miDERIVATIVES, miVector{0, 0, 0});
        state_.derivs[0] = placement_.vectorToWorld(narrow(place_.tangent * static_cast<double>(pieces_)));
        state_.derivs[1] = placement_.vectorToWorld(narrow(frame_.across * (2 * place_.radius)));
    }

    void fillMotion() {
        state_.motion = {0, 0, 0};
        if (!instance_.moves) return;
        const V3d from = hairPlace(hair_, hit_.primitive, hit_.u, 0).center;
        const V3d to = hairPlace(hair_, hit_.primitive, hit_.u, 1).center;
        state_.motion = narrow(transformPoint(to, placementAtClose(instance_).localToWorld) -
                               transformPoint(from, instance_.placement->localToWorld));
    }

private:
    const Hit& hit_;
    miState& state_;
    const FlatInstance& instance_;
    const Hair& hair_;
    PlacementAt placement_;
    HairPlace place_;
    HairFrame frame_;
    std::uint32_t piece_ = 0, pieces_ = 1;
};

}  // namespace

HitListSizes listSizesOf(const Hair& hair) {
    HitListSizes sizes;
    sizes.textures = vectorsFor(hair.source->perHair.textures) + vectorsFor(hair.source->perVertex.textures);
    sizes.derivatives = true;
    return sizes;
}

void fillHair(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals) {
    HairHit hair(hit, state);
    hair.fillPlace();
    hair.fillNormals(flipNormals);
    hair.fillTextures(lists);
    hair.fillDerivatives(lists);
    hair.fillMotion();
}

std::size_t hairUsers(const Hair& hair) {
    return static_cast<std::size_t>(hair.source->perHair.users + hair.source->perVertex.users);
}

void fillHairUsers(const Hit& hit, float* values) {
    const HairNumbers numbers(hit);
    const HairSource& source = *hit.instance->hair->source;
    for (int i = 0; i < source.perHair.users; ++i) *values++ = numbers.ofHair(source.perHair.user + i);
    for (int i = 0; i < source.perVertex.users; ++i) *values++ = numbers.ofVertices(source.perVertex.user + i);
}

}  // namespace lumorender
