#include "geometry/surface.h"

#include "geometry/placement_at.h"
#include "geometry/precise_hit.h"
#include "support/geometry.h"
#include "support/lanes.h"
#include "mi/vector_math.h"

namespace lumorender {

namespace {

/// Determinant of the texture coordinates' differences in relation to their size, below which they span no area.
constexpr float kNoTextureArea = 1e-7F;

Lanes rounded(const V3d& v) {
    return Lanes{static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z), 0};
}

/// Mixes what the three vertices of the hit's triangle have.
class Mix {
public:
    Mix(const Mesh& mesh, const Hit& hit)
        : vertices_(&mesh.indices[std::size_t{3} * hit.primitive]),
          weights_{allLanes(1 - hit.u - hit.v), allLanes(hit.u), allLanes(hit.v)} {}

    float weight(int corner) const { return weights_[corner][0]; }

    /// One of `stride` entries per vertex.
    Lanes operator()(const std::vector<miVector>& list, std::size_t stride = 1, std::size_t entry = 0) const {
        return at(list, 0, stride, entry) * weights_[0] + at(list, 1, stride, entry) * weights_[1] +
               at(list, 2, stride, entry) * weights_[2];
    }
    Lanes at(const std::vector<miVector>& list, int corner, std::size_t stride = 1, std::size_t entry = 0) const {
        return lanes(list[vertices_[corner] * stride + entry]);
    }

private:
    const std::uint32_t* vertices_;
    Lanes weights_[3];
};

struct Tangents {
    Lanes u, v;
};

/// How the point moves with the texture coordinates, in object space, for a triangle with these two sides. False where
/// they do not say.
bool tangentsOf(const Mesh& mesh, const Mix& mix, std::uint32_t space, Lanes ab, Lanes ac, Tangents& tangents) {
    const Lanes a = mix.at(mesh.textures, 0, mesh.textureSpaces, space);
    const Lanes tb = mix.at(mesh.textures, 1, mesh.textureSpaces, space) - a;
    const Lanes tc = mix.at(mesh.textures, 2, mesh.textureSpaces, space) - a;
    const float area = tb[0] * tc[1] - tb[1] * tc[0];
    const float size = std::abs(tb[0] * tc[1]) + std::abs(tb[1] * tc[0]);
    const float inverse = 1 / area;
    if (!(std::abs(area) > kNoTextureArea * size) || !std::isfinite(inverse)) return false;
    tangents = {(ab * tc[1] - ac * tb[1]) * inverse, (ac * tb[0] - ab * tc[0]) * inverse};
    return true;
}

/// One hit while its state is filled. What it looks at lies beside it, so that its own members stay in registers.
class SurfaceHit {
public:
    SurfaceHit(const Hit& hit, miState& state, const Mix& mix, const PlacementAt& placement)
        : hit_(hit), state_(state), instance_(*hit.instance), mesh_(*instance_.mesh), mix_(mix), placement_(placement) {
        const TriangleCorners corners = cornersAt(mesh_, hit.primitive, hit.time);
        const V3d ab = corners.b - corners.a, ac = corners.c - corners.a;
        geometricNormal_ = cross(ab, ac);
        ab_ = rounded(ab);
        ac_ = rounded(ac);
    }

    void fillPlace() {
        state_.dist = hit_.dist;
        state_.point = narrow(hit_.point);
        for (int i = 0; i < 3; ++i) state_.bary[i] = mix_.weight(i);
        state_.bary[3] = 0;
        state_.instance = instance_.instance;
        state_.label = instance_.label;
        state_.material = instance_.surfaceMaterials[mesh_.surface(hit_.primitive)];
    }

    void fillNormals(bool flip) {
        const V3d geometric = unit(placement_.normalToWorld(geometricNormal_));
        state_.normal_geom = narrow(geometric);
        state_.normal = narrow(geometric);
        if (!mesh_.normals.empty()) {
            normal_ = vectorOf(mix_(mesh_.normals));
            if (!isZero(normal_)) state_.normal = unit(placement_.normalToWorld(normal_));
        }
        state_.inv_normal = miFALSE;
        state_.dot_nd = dot(state_.normal, state_.dir);
        if (flip && dot(state_.normal_geom, state_.dir) > 0) miStateFlipNormals(&state_);
    }

    void fillTextures(const HitLists& lists) {
        state_.tex_list = mesh_.textureSpaces ? lists.textures : nullptr;
        state_.tex = {0, 0, 0};
        if (!state_.tex_list) return;
        for (std::uint32_t i = 0; i < mesh_.textureSpaces; ++i)
            state_.tex_list[i] = vectorOf(mix_(mesh_.textures, mesh_.textureSpaces, i));
        state_.tex = state_.tex_list[0];
    }

    /// The tangents of the first texture space serve derivatives and bump bases.
    void fillDerivatives(const HitLists& lists) {
        const bool bumps = mesh_.textureSpaces > 0 && lists.bumpX && lists.bumpY;
        state_.bump_x_list = bumps ? lists.bumpX : nullptr;
        state_.bump_y_list = bumps ? lists.bumpY : nullptr;
        state_.derivs = mesh_.hasDerivatives() ? lists.derivatives : nullptr;
        if (!bumps && !state_.derivs) return;
        for (std::uint32_t i = 0; i == 0 || (bumps && i < mesh_.textureSpaces); ++i) {
            const Tangents tangents = tangentsIn(i);
            if (i == 0 && state_.derivs) fillDerivs(tangents);
            if (bumps) fillBump(i, tangents);
        }
    }

    void fillMotion() {
        state_.motion = {0, 0, 0};
        if (!instance_.moves) return;
        const V3d from = wide(vectorOf(mix_(mesh_.positions)));
        const V3d to = mesh_.moves() ? wide(vectorOf(mix_(mesh_.laterPositions.back()))) : from;
        state_.motion = narrow(transformPoint(to, placementAtClose(instance_).localToWorld) -
                               transformPoint(from, instance_.placement->localToWorld));
    }

private:
    const Hit& hit_;
    miState& state_;
    const FlatInstance& instance_;
    const Mesh& mesh_;
    const Mix& mix_;
    const PlacementAt& placement_;
    V3d geometricNormal_;
    Lanes ab_, ac_;                ///< sides of the triangle, object space
    miVector normal_ = {0, 0, 0};  ///< interpolated, object space, any length

    /// Along the texture coordinates; where they say nothing, any two at right angles on the surface.
    Tangents tangentsIn(std::uint32_t space) const {
        Tangents tangents;
        if (space < mesh_.textureSpaces && tangentsOf(mesh_, mix_, space, ab_, ac_, tangents)) return tangents;
        const miVector normal = isZero(normal_) ? narrow(unit(geometricNormal_)) : unit(normal_);
        const miVector u = perpendicular(normal);
        return {lanes(u), lanes(cross(normal, u))};
    }

    /// Vertices give zero for what they do not give.
    void fillDerivs(const Tangents& tangents) {
        miVector* derivs = state_.derivs;
        if (mesh_.derivatives.empty()) {
            for (int i = 2; i < miDERIVATIVES; ++i) derivs[i] = {0, 0, 0};
        } else {
            for (std::size_t i = 0; i < miDERIVATIVES; ++i)
                derivs[i] = placement_.vectorToWorld(vectorOf(mix_(mesh_.derivatives, miDERIVATIVES, i)));
            if (!isZero(derivs[0]) || !isZero(derivs[1])) return;
        }
        derivs[0] = placement_.vectorToWorld(vectorOf(tangents.u));
        derivs[1] = placement_.vectorToWorld(vectorOf(tangents.v));
    }

    void fillBump(std::uint32_t space, const Tangents& tangents) {
        miVector &x = state_.bump_x_list[space], &y = state_.bump_y_list[space];
        if (!mesh_.bumpX.empty()) {
            x = vectorOf(mix_(mesh_.bumpX, mesh_.textureSpaces, space));
            y = vectorOf(mix_(mesh_.bumpY, mesh_.textureSpaces, space));
            if (!isZero(x) || !isZero(y)) return;
        }
        x = unit(vectorOf(tangents.u));
        y = unit(vectorOf(tangents.v));
    }
};

}  // namespace

void fillSurface(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals) {
    const Mix mix(*hit.instance->mesh, hit);
    const PlacementAt placement(*hit.instance, hit.time);
    SurfaceHit surface(hit, state, mix, placement);
    surface.fillPlace();
    surface.fillNormals(flipNormals);
    surface.fillTextures(lists);
    surface.fillDerivatives(lists);
    surface.fillMotion();
}

}  // namespace lumorender
