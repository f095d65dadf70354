#include "geometry/surface.h"

#include "geometry/placement_at.h"
#include "geometry/precise_hit.h"
#include "support/geometry.h"
#include "mi/vector_math.h"

namespace lumorender {

namespace {

/// Determinant of the texture coordinates' differences in relation to their size, below which they span no area.
constexpr float kNoTextureArea = 1e-7F;

/// Mixes what the three vertices of the hit's triangle have.
class Mix {
public:
    Mix(const Mesh& mesh, const Hit& hit)
        : vertices_(&mesh.indices[std::size_t{3} * hit.primitive]), weights_{1 - hit.u - hit.v, hit.u, hit.v} {}

    float weight(int corner) const { return weights_[corner]; }

    /// One of `stride` entries per vertex.
    miVector operator()(const std::vector<miVector>& list, std::size_t stride = 1, std::size_t entry = 0) const {
        return at(list, 0, stride, entry) * weights_[0] + at(list, 1, stride, entry) * weights_[1] +
               at(list, 2, stride, entry) * weights_[2];
    }
    const miVector& at(const std::vector<miVector>& list, int corner, std::size_t stride, std::size_t entry) const {
        return list[vertices_[corner] * stride + entry];
    }

private:
    const std::uint32_t* vertices_;
    float weights_[3];
};

struct Tangents {
    miVector u, v;
};

/// How the point moves with the texture coordinates, in object space. False where they do not say.
bool tangentsOf(const Mesh& mesh, const Mix& mix, std::uint32_t space, const miVector& ab, const miVector& ac,
                Tangents& tangents) {
    const miVector& a = mix.at(mesh.textures, 0, mesh.textureSpaces, space);
    const miVector tb = mix.at(mesh.textures, 1, mesh.textureSpaces, space) - a;
    const miVector tc = mix.at(mesh.textures, 2, mesh.textureSpaces, space) - a;
    const float area = tb.x * tc.y - tb.y * tc.x;
    const float size = std::abs(tb.x * tc.y) + std::abs(tb.y * tc.x);
    const float inverse = 1 / area;
    if (!(std::abs(area) > kNoTextureArea * size) || !std::isfinite(inverse)) return false;
    tangents = {(ab * tc.y - ac * tb.y) * inverse, (ac * tb.x - ab * tc.x) * inverse};
    return true;
}

/// One hit while its state is filled.
class SurfaceHit {
public:
    SurfaceHit(const Hit& hit, miState& state)
        : hit_(hit),
          state_(state),
          instance_(*hit.instance),
          mesh_(*instance_.mesh),
          mix_(mesh_, hit),
          placement_(instance_, hit.time) {
        const TriangleCorners corners = cornersAt(mesh_, hit.primitive, hit.time);
        const V3d ab = corners.b - corners.a, ac = corners.c - corners.a;
        geometricNormal_ = cross(ab, ac);
        ab_ = narrow(ab);
        ac_ = narrow(ac);
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
        state_.normal_geom = narrow(unit(placement_.normalToWorld(geometricNormal_)));
        state_.normal = state_.normal_geom;
        if (!mesh_.normals.empty()) {
            normal_ = mix_(mesh_.normals);
            if (!isZero(normal_)) state_.normal = unit(narrow(placement_.normalToWorld(wide(normal_))));
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
            state_.tex_list[i] = mix_(mesh_.textures, mesh_.textureSpaces, i);
        state_.tex = state_.tex_list[0];
    }

    /// The tangents of the first texture space serve derivatives and bump bases.
    void fillDerivatives(const HitLists& lists) {
        const bool bumps = mesh_.textureSpaces > 0 && lists.bumpX && lists.bumpY;
        state_.bump_x_list = bumps ? lists.bumpX : nullptr;
        state_.bump_y_list = bumps ? lists.bumpY : nullptr;
        state_.derivs = mesh_.hasDerivatives() ? lists.derivatives : nullptr;
        if (!bumps && !state_.derivs) return;
        const Tangents tangents = tangentsIn(0);
        if (state_.derivs) fillDerivs(tangents);
        if (!bumps) return;
        fillBump(0, tangents);
        for (std::uint32_t i = 1; i < mesh_.textureSpaces; ++i) fillBump(i, tangentsIn(i));
    }

    void fillMotion() {
        state_.motion = {0, 0, 0};
        if (!instance_.moves) return;
        const V3d from = wide(mix_(mesh_.positions));
        const V3d to = mesh_.moves() ? wide(mix_(mesh_.laterPositions.back())) : from;
        state_.motion = narrow(transformPoint(to, placementAtClose(instance_).localToWorld) -
                               transformPoint(from, instance_.placement->localToWorld));
    }

private:
    const Hit& hit_;
    miState& state_;
    const FlatInstance& instance_;
    const Mesh& mesh_;
    Mix mix_;
    PlacementAt placement_;
    V3d geometricNormal_;
    miVector ab_, ac_;             ///< sides of the triangle, object space
    miVector normal_ = {0, 0, 0};  ///< interpolated, object space, any length

    /// Along the texture coordinates; where they say nothing, any two at right angles on the surface.
    Tangents tangentsIn(std::uint32_t space) const {
        Tangents tangents;
        if (space < mesh_.textureSpaces && tangentsOf(mesh_, mix_, space, ab_, ac_, tangents)) return tangents;
        const miVector normal = isZero(normal_) ? narrow(unit(geometricNormal_)) : unit(normal_);
        const miVector u = perpendicular(normal);
        return {u, cross(normal, u)};
    }

    /// Vertices give zero for what they do not give.
    void fillDerivs(const Tangents& tangents) {
        miVector* derivs = state_.derivs;
        if (mesh_.derivatives.empty()) {
            for (int i = 2; i < miDERIVATIVES; ++i) derivs[i] = {0, 0, 0};
        } else {
            for (std::size_t i = 0; i < miDERIVATIVES; ++i)
                derivs[i] = placement_.vectorToWorld(mix_(mesh_.derivatives, miDERIVATIVES, i));
            if (!isZero(derivs[0]) || !isZero(derivs[1])) return;
        }
        derivs[0] = placement_.vectorToWorld(tangents.u);
        derivs[1] = placement_.vectorToWorld(tangents.v);
    }

    void fillBump(std::uint32_t space, const Tangents& tangents) {
        miVector &x = state_.bump_x_list[space], &y = state_.bump_y_list[space];
        if (!mesh_.bumpX.empty()) {
            x = mix_(mesh_.bumpX, mesh_.textureSpaces, space);
            y = mix_(mesh_.bumpY, mesh_.textureSpaces, space);
            if (!isZero(x) || !isZero(y)) return;
        }
        x = unit(tangents.u);
        y = unit(tangents.v);
    }
};

}  // namespace

HitListSizes listSizesOf(const Mesh& mesh) {
    HitListSizes sizes;
    sizes.textures = sizes.bumps = mesh.textureSpaces;
    sizes.derivatives = mesh.hasDerivatives();
    return sizes;
}

void fillSurface(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals) {
    SurfaceHit surface(hit, state);
    surface.fillPlace();
    surface.fillNormals(flipNormals);
    surface.fillTextures(lists);
    surface.fillDerivatives(lists);
    surface.fillMotion();
}

}  // namespace lumorender
