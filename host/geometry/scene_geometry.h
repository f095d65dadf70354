// The scene as rays see it: instances flattened from the scene graph, meshes, and the ray tracing kernels behind them.
#pragma once

#include "database/approximation.h"
#include "database/database.h"
#include "mi/codes.h"
#include "mi/state.h"
#include "support/geometry.h"
#include "surfaces/edge_measure.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <shared_mutex>
#include <span>
#include <unordered_map>
#include <vector>

namespace lumorender {

struct Hair;
struct Mesh;
struct OnDemandObject;
struct ShaderShape;

/// Row-vector matrices (p' = p M), in double precision.
struct Placement {
    M44d localToWorld, worldToLocal;

    bool operator==(const Placement&) const = default;
};

/// With the single-precision copies that shaders are handed pointers to.
struct NamedPlacement : Placement {
    explicit NamedPlacement(const Placement& placement) : Placement(placement) {
        narrow(localToWorld, localToWorldFloat);
        narrow(worldToLocal, worldToLocalFloat);
    }
    miMatrix localToWorldFloat, worldToLocalFloat;
};

/// One use of an object, reached from the root group by one path of instances. There may be millions: what several have
/// alike they share, and it lives as long as the geometry.
struct FlatInstance {
    // Each hit looks at these, so they stand together.
    const Mesh* mesh = nullptr;
    const Hair* hair = nullptr;               ///< in the place of a mesh
    const ShaderShape* shape = nullptr;       ///< in the place of a mesh: a shader finds the surface
    const Placement* placement = nullptr;     ///< at shutter open; behind it stand those at the end of each motion step
    std::span<const miTag> surfaceMaterials;  ///< miState::material for each surface of the mesh, or of all hair
    miTag instance = 0;                       ///< the instance nearest to the object: miState::instance
    miUint label = 0;                         ///< miState::label: the instance's, or the object's where it has none
    std::uint32_t flags = 0;                  ///< resolved miTRACE_* bits
    std::uint8_t motionSteps = 0;             ///< of the instance itself: 0 where only vertices move, or nothing does
    bool inPlace = false;                     ///< the object stands where it was modelled: object space is world space
    bool moves = false;                       ///< by motion transforms or vertex motion vectors
    bool isLight = false;  ///< shape of a visible area light: `instance` is the light's, there is no object

    miTag lightListInstance = 0;  ///< nearest instance that gives a light list, 0 = all lights apply
    miTag shadowListInstance = 0;
    miTag object = 0;
    miTag parameterInstance = 0;                    ///< nearest instance with an inherited parameter block, or 0
    miTag assemblyInstance = 0;                     ///< nearest instance of an assembly above, or 0
    OnDemandObject* onDemand = nullptr;             ///< brings mesh or hair when a ray meets its box
    const std::vector<miTag>* materials = nullptr;  ///< inherited, if any; by polygon label in tagged objects
    const Approximation* approximation = nullptr;   ///< how finely to divide what is displaced; null = nothing was said
    const Approximation* inheritedApproximation = nullptr;  ///< what instances say, of surfaces, too; null = nothing
    bool overridesMaterial = false;                         ///< `materials` beats the polygons' own
    bool overridesApproximation = false;                    ///< `inheritedApproximation` beats the object's own
    bool gathers = true;                                    ///< takes light from final gathering
    std::uint8_t photons = 0;                               ///< PhotonFlags, as far as the options want such photons
    char face = 'a';                                        ///< which side rays may hit: 'f', 'b', 'a'
};

/// A light, camera or empty instance found while flattening.
struct FlatElement {
    miTag instance = 0;
    miTag element = 0;
    std::vector<miTag> path;               ///< instances from the root group down to `instance`
    const Placement* placement = nullptr;  ///< as for a FlatInstance
    std::uint8_t motionSteps = 0;
};

/// What shaders have made of a scene before it is traced.
struct GeneratedScene {
    std::unordered_map<miTag, miTag> items;  ///< by instances of geometry shaders: an object, light, group, or 0
    miTag inRoot = 0;                        ///< a group that stands in the world beside the root group, or 0
    /// By instances whose transforms shaders compute: from the parent's space to the element's, at the ends of the equal
    /// parts of the shutter interval, or one that holds for all of it.
    std::unordered_map<miTag, std::vector<M44d>> transforms;
};

/// What instances do to photons.
enum PhotonFlags : std::uint8_t {
    kCausticCast = 1,
    kCausticReceive = 2,
    kGlobillumCast = 4,
    kGlobillumReceive = 8,
};

/// What shaders may ask the extent of.
enum class SceneRole { CastsShadows, SendsGlobillum, TakesGlobillum, SendsCaustics, TakesCaustics };

/// In FlatInstance::flags, beside the miTRACE_* bits: photons meet it.
constexpr std::uint32_t kMeetsPhotons = 1U << 16;

/// Which instances a ray may hit: one miTRACE_* cast bit.
enum class RayVisibility : std::uint32_t {
    Eye = miTRACE_VISIBLE,
    Shadow = miTRACE_SHADOW_CAST,
    Reflection = miTRACE_REFLECTION_CAST,
    Refraction = miTRACE_REFRACTION_CAST,
    Transparency = miTRACE_TRANSPARENCY_CAST,
    FinalGather = miTRACE_FINALGATHER,
    Photon = kMeetsPhotons,
};

struct Hit;

struct Ray {
    miVector org;
    miVector dir;     ///< unit length
    double near = 0;  ///< distances from org along dir
    double far = 1e30;
    float time = 0;  ///< shutter time as fraction 0..1 of the shutter interval
    RayVisibility visibility = RayVisibility::Eye;
    char face = 0;  ///< 'f', 'b' or 'a' hits that side of everything; 0 leaves it to the instances
    /// The hit on this ray that it goes on from, at `near`: a surface counts once for each of its sides where the ray
    /// goes through an edge or a corner that several of its triangles share.
    const Hit* behind = nullptr;
    const miState* asking = nullptr;  ///< for whom it is traced; without, no shader can be asked for shapes
};

/// What intersection shaders say of a place on their surface, in the space of the object.
struct ShapePlace {
    miVector normal = {0, 0, 0};  ///< any length; zero = none was given
    miVector texture = {0, 0, 0};
    miVector du = {0, 0, 0}, dv = {0, 0, 0};  ///< how the point moves with the texture coordinates; zero = not given
    miTag material = 0;
    miUint label = 0;
};

/// The place where a ray met a surface; enough to find everything about it. What miState::pri points to.
struct Hit {
    static constexpr std::uint8_t kFront = 1, kBack = 2;

    const FlatInstance* instance = nullptr;
    std::uint32_t primitive = 0;  ///< triangle of the mesh, or piece of a hair
    float u = 0, v = 0;           ///< barycentric: p = (1-u-v) a + u b + v c; or along the piece and across the hair
    double dist = 0;
    float time = 0;          ///< 0 where nothing moves during the exposure
    std::uint8_t sides = 0;  ///< kFront, kBack: of the surface where it is crossed here; none on hair
    V3d point = V3d(0);      ///< world space, exact to double precision: the ray's and the surface's
    ShapePlace place;        ///< on surfaces that shaders find
};

/// What a ray meets first, as far as it has been looked for.
struct FoundHit {
    enum Answer : std::uint32_t { kUnknown = ~0U, kNothing = ~0U - 1 };

    std::uint32_t instance = kUnknown;  ///< its number, or an Answer
    std::uint32_t primitive = 0;
    float u = 0, v = 0;
    double dist = 0;
    std::uint8_t sides = 0;  ///< as long as there are none, the place is as the ray tracing kernels tell it
    V3d point = V3d(0);      ///< only where there are sides

    bool isHit() const { return instance < kNothing; }
    bool isExact() const { return sides != 0; }
};

/// The part of a ray within an object's box, in the space of the object.
struct ObjectRay {
    miVector org, dir;  ///< unit length
    double dist = 0;    ///< where it ends; from whoever finds a surface: where this is
};

/// Asks the intersection shaders of an instance for the first place where the ray meets their surface, for a state.
/// From any thread.
using ShapeFinder =
    std::function<bool(const miState& asking, const FlatInstance& instance, ObjectRay& ray, ShapePlace& place)>;

/// Memory that a hit's lists are written to: tex_list, bump lists and derivs of the state. Sized by the mesh.
struct HitLists {
    miVector* textures = nullptr;  ///< Mesh::textureSpaces of them (may be null when 0)
    miVector* bumpX = nullptr;
    miVector* bumpY = nullptr;
    miVector* derivatives = nullptr;  ///< 5: du dv duu dvv duv
};

/// Sizes of the lists that a hit on the instance needs.
struct HitListSizes {
    std::uint32_t textures = 0;
    std::uint32_t bumps = 0;
    bool derivatives = false;
};

/// What lengths are to the eye for the instances of one object. The lists live as long as the geometry.
using ViewMeasure =
    std::function<EdgeMeasure(std::span<const FlatElement> cameras, const std::vector<const FlatInstance*>& instances)>;

/// What scenes say of geometry as a whole.
struct GeometryRules {
    const Approximation* approximation = nullptr;  ///< of the options: beats those of objects
    ViewMeasure view;                              ///< none = `view` means units of the object
    ShapeFinder shapes;                            ///< none = no surface is found by shaders
};

class SceneGeometry {
public:
    /// Flattens the scene graph below `rootGroup`, triangulates what is visible and builds the ray tracing kernels.
    /// Reports broken geometry (zero-area polygons, singular transforms, instances of themselves, missing elements)
    /// with names, and leaves it out. Throws Failure where nothing can be rendered at all.
    static std::unique_ptr<SceneGeometry> build(const Database& database, miTag rootGroup, const miOptions& options,
                                                const GeometryRules& rules = {});
    /// The first half of that: what there is and where. Until `complete` builds the kernels no ray meets anything, and
    /// meshes may be replaced.
    static std::unique_ptr<SceneGeometry> collect(const Database& database, miTag rootGroup, const miOptions& options,
                                                  const GeneratedScene& generated = {},
                                                  const GeometryRules& rules = {});
    /// The same without objects: where everything is, for geometry shaders, and which of these are to be called.
    static std::unique_ptr<SceneGeometry> outline(const Database& database, miTag rootGroup, const miOptions& options,
                                                  const GeneratedScene& generated);
    virtual std::span<const miTag> generators() const = 0;
    virtual void replaceMesh(std::span<const std::size_t> instances, std::unique_ptr<Mesh> mesh) = 0;
    virtual void complete() = 0;
    virtual ~SceneGeometry() = default;

    /// The nearest hit behind `ray.near`, or false. Thread-safe; allocates nothing. Honours visibility, face culling
    /// and motion. To go on behind a hit trace the same ray with `near` = its dist and `behind` = the hit: it will not
    /// be found again (and neither will surfaces of other instances that coincide with it to within rounding).
    /// `found` is what is known of this ray, if anything.
    virtual bool intersect(const Ray& ray, Hit& hit, const FoundHit* found = nullptr) const = 0;
    /// Looks where many rays go that begin close together in nearly the same direction, which takes a part of the time
    /// of one after the other. Thread-safe; what it cannot tell for sure stays unknown.
    virtual void look(std::span<const Ray> rays, FoundHit* found) const = 0;
    /// Makes exact what has been found so.
    void makeExact(const Ray& ray, FoundHit& found) const;
    /// Whether that tells anything in this scene, and on this machine.
    virtual bool canLook() const = 0;
    /// True when anything lies between near and far.
    virtual bool occluded(const Ray& ray) const = 0;

    virtual HitListSizes listSizes(const FlatInstance& instance) const = 0;

    /// Writes the hit into a state whose dir is set: dist, point, normal (interpolated), normal_geom,
    /// dot_nd, inv_normal, bary, motion, tex, tex_list, bump lists, derivs, instance, material, label, shader-visible
    /// flags. Internal space is world space. Both normals are turned towards the ray and inv_normal says so, unless
    /// `flipNormals` is false (shadow rays). Which side was hit is judged by the geometric normal; an interpolated one
    /// may still lean away from the ray a little. Motion is the path of the point over the whole shutter interval, also
    /// where the exposure itself takes no time. Derivatives are in world space, bump bases in object space; where the
    /// object gives none they follow from the texture coordinates (bump bases with unit length). Lists that the mesh
    /// does not have are null in the state, whatever memory there is for them.
    virtual void fillState(const Hit& hit, miState& state, const HitLists& lists, bool flipNormals) const = 0;

    virtual std::span<const FlatInstance> instances() const = 0;
    virtual std::span<const FlatElement> lights() const = 0;
    virtual std::span<const FlatElement> cameras() const = 0;
    /// The placement of an instance by its tag (objects, lights, cameras and groups; the first path where there are
    /// several), or null.
    virtual const NamedPlacement* placement(miTag instance) const = 0;

    /// Held while rays are traced, by every thread that renders tiles: what came on demand stays meanwhile.
    [[nodiscard]] virtual std::shared_lock<std::shared_mutex> inUse() const = 0;
    /// Behind each tile, without that: where what came on demand takes more memory than it may, the objects go whose
    /// last use is longest ago. They come again when they are needed.
    virtual void makeRoom() const = 0;

    struct OnDemandCounts {
        std::size_t objects = 0, timesBrought = 0, timesLetGo = 0;
        double mostBytes = 0;  ///< that were there at once
    };

    struct Statistics {
        std::size_t triangles = 0, instances = 0, meshes = 0;
        std::size_t hairs = 0, hairPieces = 0;
        std::size_t hairBytes = 0;    ///< of the curves, and of the numbers that the scene gave
        std::size_t kernelBytes = 0;  ///< of the ray tracing kernels, for all geometry
        double buildSeconds = 0;
        OnDemandCounts onDemand;
    };
    virtual Statistics statistics() const = 0;
    /// World-space bounds of everything.
    virtual void bounds(miVector& low, miVector& high) const = 0;
    /// Of the instances that do something, by the boxes of their objects: as far as they are not displaced.
    virtual void bounds(SceneRole role, miVector& low, miVector& high) const = 0;
};

}  // namespace lumorender
