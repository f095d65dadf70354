#include "geometry/object_surfaces.h"

#include "surfaces/tessellate.h"

#include <set>

namespace lumorender {

std::vector<PolygonGroupSource> ObjectSurfaces::tessellated(const ObjectSource& source, const std::string& name,
                                                            const std::vector<const FlatInstance*>& instances) const {
    if (!hasSurfaces(source)) return {};
    TessellationJob job;
    job.source = &source;
    job.name = name;
    std::set<const Approximation*> known;
    if (rules_.approximation) job.outer.options = *rules_.approximation;
    for (const FlatInstance* instance : instances) {
        const Approximation* said = instance->inheritedApproximation;
        if (!said || !known.insert(said).second) continue;
        Approximation& rules = instance->overridesApproximation ? job.outer.overriding : job.outer.inherited;
        rules.insert(rules.end(), said->begin(), said->end());
    }
    if (rules_.view)
        job.measure = rules_.view(cameras_, instances);
    else
        job.measure = [](const V3d& a, const V3d& b, const ApproximationRule&, float limit) {
            return static_cast<float>(length(b - a) / static_cast<double>(limit));
        };
    return tessellate(job);
}

}  // namespace lumorender
