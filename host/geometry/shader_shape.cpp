#include "geometry/shader_shape.h"

#include "geometry/boxes.h"
#include "mi/vector_math.h"

#include <cmath>

namespace lumorender {

namespace {

/// A surface may touch its box, and is found there all the same.
constexpr double kBoxMargin = 1e-3;

/// Places on sides that rays may not hit are passed by; this many are enough for any ray.
constexpr int kMostCulled = 100;

bool isCulled(char face, double facing) { return (face == 'f' && facing > 0) || (face == 'b' && facing < 0); }

/// How far a ray goes on behind a place to leave it, in world space.
double stepBehind(const V3d& point, double dist) {
    return 4e-6 * std::max({dist, std::abs(point.x), std::abs(point.y), std::abs(point.z)}) + 1e-7;
}

class ShapeState {
public:
    ShapeState(const Hit& hit, miState& state)
        : hit_(hit), state_(state), instance_(*hit.instance), placement_(instance_, hit.time) {}

    void fillPlace() {
        state_.dist = hit_.dist;
        state_.point = narrow(hit_.point);
        std::fill(std::begin(state_.bary), std::end(state_.bary), 0.0F);
        state_.instance = instance_.instance;
        state_.label = hit_.place.label;
        state_.material = hit_.place.material;
    }

    void fillNormals(bool flip) {
        state_.normal = state_.normal_geom = narrow(unit(placement_.normalToWorld(wide(hit_.place.normal))));
        state_.inv_normal = miFALSE;
        state_.dot_nd = dot(state_.normal, state_.dir);
        if (flip && state_.dot_nd > 0) miStateFlipNormals(&state_);
    }

    /// Tangents belong to the texture coordinates, and serve look-ups only where the shader knows them.
    void fillTextures(const HitLists& lists) {
        state_.tex = hit_.place.texture;
        state_.tex_list = lists.textures;
        if (lists.textures) lists.textures[0] = hit_.place.texture;
        const bool given = !isZero(hit_.place.du) && !isZero(hit_.place.dv);
        state_.derivs = given ? lists.derivatives : nullptr;
        if (state_.derivs) {
            std::fill_n(state_.derivs, miDERIVATIVES, miVector{0, 0, 0});
            state_.derivs[0] = placement_.vectorToWorld(hit_.place.du);
            state_.derivs[1] = placement_.vectorToWorld(hit_.place.dv);
        }
        state_.bump_x_list = lists.bumpX;
        state_.bump_y_list = lists.bumpY;
        if (!lists.bumpX || !lists.bumpY) return;
        const miVector normal = unit(hit_.place.normal), u = perpendicular(normal);
        lists.bumpX[0] = given ? unit(hit_.place.du) : u;
        lists.bumpY[0] = given ? unit(hit_.place.dv) : cross(normal, u);
    }

    /// As the instance moves: of the shape's own motion nothing is known.
    void fillMotion() {
        state_.motion = {0, 0, 0};
        if (instance_.motionSteps == 0) return;
        const V3d local = placement_.pointToLocal(hit_.point);
        state_.motion = narrow(transformPoint(local, placementAtClose(instance_).localToWorld) -
                               transformPoint(local, instance_.placement->localToWorld));
    }

private:
    const Hit& hit_;
    miState& state_;
    const FlatInstance& instance_;
    PlacementAt placement_;
};

}  // namespace

bool meetShape(const ShapeFinder& finder, const Ray& ray, const FlatInstance& instance, const PlacementAt& placement,
               double near, double far, ShapeHit& hit) {
    if (!finder || !ray.asking) return false;
    const V3d org = placement.pointToLocal(wide(ray.org)), dir = placement.vectorToLocal(wide(ray.dir));
    const double scale = length(dir);
    if (!clip(instance.shape->box, kBoxMargin, org, dir, near, far)) return false;
    if (ray.behind && ray.behind->instance == &instance)
        near = std::max(near, ray.behind->dist + stepBehind(ray.behind->point, ray.behind->dist));
    const char face = ray.face ? ray.face : instance.face;
    for (int i = 0; i < kMostCulled && near < far; ++i) {
        const double reach = (far - near) * scale;
        ObjectRay part{narrow(org + dir * near), narrow(dir / scale), reach};
        hit.place = {};
        hit.place.material = instance.surfaceMaterials.empty() ? miNULLTAG : instance.surfaceMaterials.front();
        hit.place.label = instance.label;
        if (!finder(*ray.asking, instance, part, hit.place)) return false;
        // What is no number, or out of reach, is no place on the ray.
        if (!(part.dist >= 0) || !(part.dist <= reach)) return false;
        hit.dist = near + part.dist / scale;
        const double facing = dot(wide(hit.place.normal), dir);
        if (!std::isfinite(facing) || isZero(hit.place.normal)) hit.place.normal = narrow(-dir / scale);
        hit.side = facing > 0 ? Hit::kBack : Hit::kFront;
        if (!isCulled(face, facing)) return true;
        near = hit.dist + stepBehind(wide(ray.org) + wide(ray.dir) * hit.dist, hit.dist);
    }
    return false;
}

HitListSizes listSizesOf(const ShaderShape&) { return {1, 1, true}; }

void fillShape(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals) {
    ShapeState shape(hit, state);
    shape.fillPlace();
    shape.fillNormals(flipNormals);
    shape.fillTextures(lists);
    shape.fillMotion();
}

}  // namespace lumorender
