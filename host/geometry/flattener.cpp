#include "geometry/flattener.h"

#include "database/assembly.h"
#include "database/elements.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "geometry/trace_flags.h"
#include "mi/instance.h"
#include "mi/object.h"
#include "mi/options.h"
#include "support/messages.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <unordered_set>

namespace lumorender {

namespace {

constexpr std::size_t kDeepest = 1000;

/// What the instance places, itself or by its geometry shader.
miTag itemOf(miTag tag, const miInstance& instance, const GeneratedScene& generated) {
    const auto made = generated.items.find(tag);
    return made == generated.items.end() ? instance.item : made->second;
}

/// How many instances a group unfolds into. Groups within groups within groups: a few lines of a scene can make more
/// than any machine holds, so they are counted before they are made. Each group is looked at once.
class InstanceCount {
public:
    InstanceCount(const Database& database, const GeneratedScene& generated)
        : database_(database), generated_(generated) {}

    /// Groups that hold themselves, or lie too deep, are left out, as they are later.
    double below(miTag group, std::size_t depth = 0) {
        if (depth >= kDeepest) return 0;
        const auto [entry, isNew] = counts_.try_emplace(group, 0.0);
        if (!isNew) return entry->second;
        const auto* detail = database_.detail<GroupDetail>(group);
        double count = 0;
        for (const miTag tag : detail ? detail->instances : std::vector<miTag>()) {
            const auto* instance = database_.as<miInstance>(tag, miSCENE_INSTANCE);
            if (!instance || instance->off) continue;
            count += 1;
            const miTag item = itemOf(tag, *instance, generated_);
            if (database_.type(item) == miSCENE_GROUP) count += below(item, depth + 1);
        }
        return counts_[group] = count;
    }

private:
    const Database& database_;
    const GeneratedScene& generated_;
    std::unordered_map<miTag, double> counts_;
};

/// One placement, or those at the beginning and at the end of each motion step.
using Motion = std::vector<Placement>;

/// A motion as it was stored, for all that have it.
struct StoredMotion {
    const Placement* open = nullptr;  ///< null until something needs it
};

/// What an instance hands down to what is below it.
struct Inheritance {
    Motion motion = Motion(1);
    StoredMotion* stored = nullptr;
    TraceFlags flags;
    const std::vector<miTag>* materials = nullptr;
    bool overridesMaterial = false;
    const Approximation* approximation = nullptr;
    bool overridesApproximation = false;
    miTag lightListInstance = 0, shadowListInstance = 0, parameterInstance = 0, assemblyInstance = 0;
};

double determinant(const M44d& m) { return dot(row(m, 0), cross(row(m, 1), row(m, 2))); }

/// Within a step a matrix changes linearly, and may get flat on its way: half a turn does. The determinant is a
/// polynomial of the third degree, whose least value lies at an end or where its derivative vanishes.
bool getsFlat(const M44d& open, const M44d& close) {
    constexpr double kFlat = 1e-4;
    const auto at = [&](double t) { return determinant(interpolate(open, close, t)); };
    const double d0 = at(0), d1 = at(1 / 3.0), d2 = at(2 / 3.0), d3 = at(1);
    const double c1 = (-11 * d0 + 18 * d1 - 9 * d2 + 2 * d3) / 2, c2 = (18 * d0 - 45 * d1 + 36 * d2 - 9 * d3) / 2;
    const double c3 = (-9 * d0 + 27 * d1 - 27 * d2 + 9 * d3) / 2;
    double least = std::min(d0 / d3, d3 / d0);
    const double root = std::sqrt(std::max(c2 * c2 - 3 * c3 * c1, 0.0));
    for (const double t : {(-c2 + root) / (3 * c3), (-c2 - root) / (3 * c3), -c1 / (2 * c2)})
        if (t > 0 && t < 1) least = std::min(least, at(t) / d0);
    return !(least > kFlat);
}

bool getsFlat(const Motion& motion) {
    for (std::size_t i = 1; i < motion.size(); ++i)
        if (getsFlat(motion[i - 1].localToWorld, motion[i].localToWorld)) return true;
    return false;
}

/// The ray tracing kernels end the program where a ray, seen from the instance, gets out of their numbers.
bool isWithinReach(const M44d& worldToLocal) {
    constexpr double kLargestScale = 1e9, kFarthest = 1e17;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j)
            if (!(std::abs(worldToLocal[i][j]) <= (i < 3 ? kLargestScale : kFarthest))) return false;
    return true;
}

class Flattener {
public:
    Flattener(const Database& database, const miOptions& options, const GeneratedScene& generated, bool outline,
              MemoryBudget& budget)
        : database_(database), options_(options), generated_(generated), outline_(outline), budget_(budget) {}

    FlatScene flatten(miTag rootGroup) {
        if (database_.type(rootGroup) != miSCENE_GROUP)
            throw Failure(fmt::format("{} is not an instance group: nothing to render", name(rootGroup)));
        checkCount(rootGroup);
        StoredMotion world;
        Inheritance all;
        all.stored = &world;
        visitGroup(rootGroup, all);
        if (generated_.inRoot) visitGroup(generated_.inRoot, all);
        return std::move(scene_);
    }

private:
    const Database& database_;
    const miOptions& options_;
    const GeneratedScene& generated_;
    const bool outline_;
    MemoryBudget& budget_;
    const InstanceDetail nothingGiven_;
    FlatScene scene_;
    std::vector<miTag> path_, groups_;
    std::unordered_set<miTag> generators_;

    std::string name(miTag tag) const { return quotedName(database_, tag); }

    void checkCount(miTag rootGroup) {
        // What each has for itself, and what the ray tracing kernels keep.
        constexpr double kBytes = sizeof(FlatInstance) + sizeof(Placement) + 400;
        InstanceCount counted(database_, generated_);
        const double count = counted.below(rootGroup) + counted.below(generated_.inRoot);
        budget_.take(count * kBytes, fmt::format("the scene unfolds into {} instances and", describeCount(count)));
    }

    static std::string describeCount(double count) {
        return count < 1e9 ? fmt::format("{:.0f}", count) : fmt::format("{:.1e}", count);
    }

    void visitGroup(miTag group, const Inheritance& above) {
        const auto* detail = database_.detail<GroupDetail>(group);
        if (!detail) return;
        groups_.push_back(group);
        for (const miTag instance : detail->instances) {
            const auto* record = database_.as<miInstance>(instance, miSCENE_INSTANCE);
            if (record)
                visitInstance(instance, *record, above);
            else
                error("GEOM", "group {}: {} is not an instance, left out", name(group), name(instance));
        }
        groups_.pop_back();
    }

    void visitInstance(miTag tag, const miInstance& instance, const Inheritance& above) {
        if (instance.off) return;
        throwIfAborted();
        const auto* given = database_.detail<InstanceDetail>(tag);
        Inheritance below = descend(tag, instance, given ? *given : nothingGiven_, above);
        StoredMotion own;
        if (!(below.motion == above.motion)) below.stored = &own;
        path_.push_back(tag);
        scene_.placements.try_emplace(tag, below.motion.front());
        const miTag item = itemOf(tag, instance, generated_);
        if (database_.detail<AssemblyGroup>(item)) below.assemblyInstance = tag;
        visitItem(tag, item, below);
        path_.pop_back();
    }

    void visitItem(miTag tag, miTag item, const Inheritance& below) {
        if (item == 0) return;
        switch (database_.type(item)) {
            case miSCENE_OBJECT: return outline_ ? void() : addObject(tag, item, below);
            case miSCENE_LIGHT: return addElement(tag, item, below, scene_.lights);
            case miSCENE_CAMERA: return addElement(tag, item, below, scene_.cameras);
            case miSCENE_GROUP:
                if (std::find(groups_.begin(), groups_.end(), item) != groups_.end())
                    return error("GEOM", "instance {}: group {} contains itself, left out", name(tag), name(item));
                if (groups_.size() >= kDeepest)
                    return error("GEOM", "instance {}: groups are nested more than {} deep, left out", name(tag),
                                 kDeepest);
                return visitGroup(item, below);
            case miSCENE_NONE:
                return error("GEOM", "instance {}: element {} is missing, left out", name(tag), name(item));
            case miSCENE_FUNCTION:
            case miSCENE_FLIST: return addGenerator(tag);
            default: return error("GEOM", "instance {}: {} cannot be instanced, left out", name(tag), name(item));
        }
    }

    Inheritance descend(miTag tag, const miInstance& instance, const InstanceDetail& given, const Inheritance& above) {
        Inheritance below = above;
        below.motion = move(tag, instance, given, above.motion);
        below.flags.descend(given);
        const bool givesMaterial = !given.materials.empty() || instance.material;
        if (givesMaterial && !above.overridesMaterial) {
            below.materials = given.materials.empty() ? listOf(instance.material) : &given.materials;
            below.overridesMaterial = instance.mtl_override != 0;
        }
        if (!given.approximation.empty() && !above.overridesApproximation) {
            below.approximation = &given.approximation;
            below.overridesApproximation = given.overridesApproximation;
        }
        if (given.hasLights) below.lightListInstance = tag;
        if (given.hasShadowLights) below.shadowListInstance = tag;
        if (instance.param_size > 0) below.parameterInstance = tag;
        return below;
    }

    /// Instances give matrices that lead into their own space; an instance that says nothing of its motion moves along
    /// with what is above it.
    Motion move(miTag tag, const miInstance& instance, const InstanceDetail& given, const Motion& above) const {
        if (options_.render_space == 'c') return above;  // everything is given as the camera sees it
        const std::vector<Link> own = linksOf(tag, instance, given);
        Motion below = given.motionOff ? Motion(1, above.front()) : above;
        if (own.size() > below.size()) below.resize(own.size(), above.back());
        for (std::size_t i = 0; i < below.size(); ++i) {
            const Link& at = own[std::min(i, own.size() - 1)];
            below[i].localToWorld = at.up * below[i].localToWorld;
            below[i].worldToLocal = below[i].worldToLocal * at.down;
        }
        if (std::all_of(below.begin(), below.end(), [&](const Placement& p) { return p == below.front(); }))
            below.resize(1);
        return below;
    }

    struct Link {
        M44d down, up;  ///< into the element's space, and out of it
    };

    /// One, or those at the ends of all motion steps. What a scene says of the motion counts before a shader that computes
    /// the transform.
    std::vector<Link> linksOf(miTag tag, const miInstance& instance, const InstanceDetail& given) const {
        const auto computed = generated_.transforms.find(tag);
        const bool isComputed = computed != generated_.transforms.end();
        std::vector<Link> links;
        if (isComputed)
            for (const M44d& matrix : computed->second) links.push_back(link(tag, matrix, "transform"));
        else
            links.push_back(link(tag, instance.tf.global_to_local, "transform").value_or(Link()));
        if (given.motionOff || (given.hasMotionTransform && isComputed)) links.resize(1);
        if (given.motionOff || !given.hasMotionTransform) return links;
        const Link open = links.front();
        const Link close = link(tag, instance.motion_transform, "motion transform").value_or(open);
        if (open.up == close.up) return links;
        const std::size_t steps = std::max<std::size_t>(options_.n_motion_vectors, 1);
        for (std::size_t i = 1; i <= steps; ++i)
            links.push_back(between(open, close, static_cast<double>(i) / static_cast<double>(steps)));
        return links;
    }

    /// On its way from one to the other: what turns keeps its shape. Matrices that get flat anyway stay where they are.
    static Link between(const Link& open, const Link& close, double t) {
        if (t == 0 || open.up == close.up) return open;
        if (t == 1) return close;
        Link result = open;
        result.up = turned(open.up, close.up, t);
        return invert(result.up, result.down) ? result : open;
    }

    std::optional<Link> link(miTag tag, const miMatrix& matrix, const char* what) const {
        // A record that nobody filled in: no transform was given.
        if (std::all_of(matrix, matrix + 16, [](miScalar v) { return v == 0; })) return Link();
        return invertible(tag, affineMatrix(matrix), what);
    }

    Link link(miTag tag, const M44d& matrix, const char* what) const {
        return invertible(tag, matrix, what).value_or(Link());
    }

    std::optional<Link> invertible(miTag tag, const M44d& matrix, const char* what) const {
        Link result;
        result.down = matrix;
        if (invert(result.down, result.up)) return result;
        warning("GEOM", "instance {}: {} is singular, ignored", name(tag), what);
        return std::nullopt;
    }

    void addElement(miTag tag, miTag item, const Inheritance& below, std::vector<FlatElement>& elements) {
        FlatElement& element = elements.emplace_back();
        element.instance = tag;
        element.element = item;
        element.path = path_;
        place(below, element);
    }

    const std::vector<miTag>* listOf(miTag material) {
        return &scene_.shared.materials.try_emplace(material, 1, material).first->second;
    }

    void addGenerator(miTag tag) {
        if (generators_.insert(tag).second) scene_.generators.push_back(tag);
    }

    void addObject(miTag tag, miTag item, Inheritance below) {
        Motion& motion = below.motion;
        StoredMotion own;
        if (!std::all_of(motion.begin(), motion.end(),
                         [](const Placement& p) { return isWithinReach(p.worldToLocal); }))
            return warning("GEOM", "instance {}: it is too small or too far away for single precision, left out",
                           name(tag));
        if (getsFlat(motion)) {
            warning("GEOM", "instance {}: it gets flat while it moves, its motion is left out", name(tag));
            motion.resize(1);
            below.stored = &own;
        }
        const auto& object = *static_cast<const miObject*>(database_.record(item));
        const auto& instance = *static_cast<const miInstance*>(database_.record(tag));
        FlatInstance& flat = scene_.instances.emplace_back();
        flat.instance = tag;
        flat.object = item;
        place(below, flat);
        flat.materials = below.materials;
        flat.overridesMaterial = below.overridesMaterial;
        flat.approximation = approximationOf(item, below);
        flat.inheritedApproximation = below.approximation;
        flat.overridesApproximation = below.overridesApproximation;
        flat.flags = below.flags.resolve(object);
        flat.gathers = below.flags.gathers(object);
        flat.photons = below.flags.photons(object, options_);
        if (flat.photons != 0) flat.flags |= kMeetsPhotons;
        flat.face = below.flags.face(object, options_.face);
        flat.label = instance.label ? instance.label : object.label;
        flat.lightListInstance = below.lightListInstance;
        flat.shadowListInstance = below.shadowListInstance;
        flat.parameterInstance = below.parameterInstance;
        flat.assemblyInstance = below.assemblyInstance;
        flat.inPlace = flat.motionSteps == 0 && flat.placement->localToWorld == M44d();
    }

    const Approximation* approximationOf(miTag object, const Inheritance& below) {
        const auto [entry, isNew] = scene_.shared.approximations.try_emplace(object);
        const auto* source = isNew ? database_.detail<ObjectSource>(object) : nullptr;
        if (source) entry->second = dividingRules(*source);
        return chosenApproximation(entry->second, below.approximation, below.overridesApproximation);
    }

    const Placement* store(const Motion& motion) {
        auto& memory = scene_.shared.placements;
        if (!memory) memory = std::make_unique<std::pmr::monotonic_buffer_resource>();
        auto* stored = static_cast<Placement*>(memory->allocate(motion.size() * sizeof(Placement), alignof(Placement)));
        std::uninitialized_copy(motion.begin(), motion.end(), stored);
        return stored;
    }

    template <class Flat>
    void place(const Inheritance& below, Flat& flat) {
        const Motion& motion = below.motion;
        StoredMotion& stored = *below.stored;
        if (!stored.open) stored.open = store(motion);
        flat.placement = stored.open;
        flat.motionSteps = static_cast<std::uint8_t>(motion.size() - 1);
    }
};

}  // namespace

FlatScene flatten(const Database& database, miTag rootGroup, const miOptions& options, const GeneratedScene& generated,
                  bool outline, MemoryBudget& budget) {
    return Flattener(database, options, generated, outline, budget).flatten(rootGroup);
}

Approximation dividingRules(const ObjectSource& source) {
    Approximation rules;
    const auto append = [&](const Approximation& more) {
        std::copy_if(more.begin(), more.end(), std::back_inserter(rules), dividesTriangles);
    };
    append(source.approximation);
    for (const PolygonGroupSource& group : source.groups) append(group.approximation);
    return rules;
}

const Approximation* chosenApproximation(const Approximation& own, const Approximation* inherited, bool overrides) {
    const bool isSaid = inherited && std::any_of(inherited->begin(), inherited->end(), dividesTriangles);
    return own.empty() || (isSaid && overrides) ? inherited : &own;
}

std::string quotedName(const Database& database, miTag tag) {
    const std::string_view name = database.name(tag);
    return name.empty() ? fmt::format("(tag {})", tag) : fmt::format("\"{}\"", name);
}

}  // namespace lumorender
