#include "surfaces/surface_rules.h"

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

constexpr int kMostParts = 4096, kMostLevels = 10;

bool isCurve(ApproximationKind kind) {
    return kind == ApproximationKind::Curve || kind == ApproximationKind::SpaceCurve || kind == ApproximationKind::Trim;
}

/// A statement without a kind that stands outside of objects is for all surfaces.
bool concerns(const ApproximationRule& rule, ApproximationKind kind, bool isOuter) {
    return rule.kind == kind || (isOuter && rule.kind == ApproximationKind::Polygons && !isCurve(kind));
}

Approximation chosen(const Approximation& rules, ApproximationKind kind, const std::string* name) {
    Approximation result;
    for (const ApproximationRule& rule : rules) {
        const bool isNamed = !name || rule.names.empty() || rule.all ||
                             std::find(rule.names.begin(), rule.names.end(), *name) != rule.names.end();
        if (concerns(rule, kind, !name) && isNamed) result.push_back(rule);
    }
    return result;
}

}  // namespace

Approximation rulesFor(ApproximationKind kind, const std::string& name, const Approximation& object,
                       const Approximation& group, const OuterRules& outer) {
    for (const Approximation* beats : {&outer.options, &outer.overriding})
        if (Approximation rules = chosen(*beats, kind, nullptr); !rules.empty()) return rules;
    Approximation rules = chosen(object, kind, &name);
    const Approximation more = chosen(group, kind, &name);
    rules.insert(rules.end(), more.begin(), more.end());
    return rules.empty() ? chosen(outer.inherited, kind, nullptr) : rules;
}

Approximation usualSurfaceRules() {
    ApproximationRule rule;
    rule.view = true;
    rule.distance = 0.25F;
    rule.angle = 20;
    rule.most = 8;
    return {rule};
}

int partsOf(const Approximation& rules, int direction, int degree, std::size_t pieces) {
    int most = 1;
    for (const ApproximationRule& rule : rules) {
        if (rule.parametric < 0) continue;
        const auto usual = static_cast<double>(degree);
        double parts = static_cast<double>(rule.parts[direction]);
        if (rule.percent)
            parts = parts / 100 * usual;
        else
            parts = rule.regular ? parts / static_cast<double>(pieces) : parts * usual;
        // What single precision makes of the product must not add a part.
        most = std::max(most, static_cast<int>(std::clamp(std::ceil(parts - 1e-5), 1.0, 1.0 * kMostParts)));
    }
    return most;
}

int levelsOf(const Approximation& rules) {
    int most = 0;
    for (const ApproximationRule& rule : rules) most = std::max(most, std::min(rule.parametric, kMostLevels));
    return most;
}

}  // namespace lumorender
