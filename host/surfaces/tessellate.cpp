#include "surfaces/tessellate.h"

#include "support/messages.h"
#include "surfaces/bezier_patches.h"
#include "surfaces/connections.h"
#include "surfaces/subdivision_patches.h"
#include "surfaces/tessellator.h"
#include "surfaces/triangle_group.h"
#include "surfaces/trimmed_domain.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace lumorender {

namespace {

constexpr std::size_t kMostTriangles = 4'000'000;  ///< of one group

/// A rectangle of a patch as a net of nu times nv parts.
class Grid {
public:
    Grid(std::uint32_t patch, int nu, int nv, const PatchSet& patches) : nu_(nu) {
        for (int j = 0; j <= nv; ++j)
            for (int i = 0; i <= nu; ++i)
                places.push_back({patch, i == nu ? 1 : 1.0 * i / nu, j == nv ? 1 : 1.0 * j / nv});
        std::vector<V3d> points;
        for (const PatchPlace& place : places) points.push_back(patches.at(place).position);
        const auto squared = [&](std::uint32_t a, std::uint32_t b) {
            const V3d way = points[b] - points[a];
            return dot(way, way);
        };
        for (int j = 0; j < nv; ++j)
            for (int i = 0; i < nu; ++i) {
                const std::uint32_t a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
                // Along the shorter diagonal; of equal ones always the same.
                if (squared(a, c) <= squared(b, d) * (1 + 1e-9)) {
                    triangles.push_back({a, b, c});
                    triangles.push_back({a, c, d});
                } else {
                    triangles.push_back({a, b, d});
                    triangles.push_back({b, c, d});
                }
            }
    }

    std::vector<PatchPlace> places;
    std::vector<std::array<std::uint32_t, 3>> triangles;

private:
    int nu_;
    std::uint32_t at(int i, int j) const { return static_cast<std::uint32_t>(j * (nu_ + 1) + i); }
};

/// A triangular patch, each edge in n parts.
void addTriangularGrid(Tessellator& tessellator, std::uint32_t surface, std::uint32_t patch, int n) {
    std::vector<PatchPlace> places;
    std::vector<std::array<std::uint32_t, 3>> triangles;
    const auto at = [n](int i, int j) { return static_cast<std::uint32_t>(j * (n + 1) - j * (j - 1) / 2 + i); };
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n - j; ++i) {
            places.push_back({patch, 1.0 * i / n, 1.0 * j / n});
            if (i + j < n) triangles.push_back({at(i, j), at(i + 1, j), at(i, j + 1)});
            if (i + j + 1 < n) triangles.push_back({at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)});
        }
    tessellator.addPiece(surface, places, triangles);
}

class GroupTessellation {
public:
    GroupTessellation(const TessellationJob& job, const PolygonGroupSource& group, const EdgeMeasure& measure)
        : job_(job), group_(group), measure_(measure), tessellator_(measure, kMostTriangles) {}

    std::optional<PolygonGroupSource> run() {
        for (const SurfaceSource& surface : group_.surfaces.surfaces) {
            freeForms_.push_back(nullptr);
            attempt(surface.where, [&] { add(surface); });
        }
        for (const SubdivisionSource& mesh : group_.surfaces.subdivisions) attempt(mesh.where, [&] { add(mesh); });
        if (made_.empty()) return std::nullopt;
        tessellator_.run(tolerance());
        if (tessellator_.coarseness() > 1)
            warning("GEOM",
                    "object \"{}\": its surfaces are divided into {} triangles, which is the bound; edges are up to "
                    "{:.3g} times what they should be",
                    job_.name, tessellator_.triangles().size(), tessellator_.coarseness());
        return triangleGroup(tessellator_, made_);
    }

private:
    const TessellationJob& job_;
    const PolygonGroupSource& group_;
    const EdgeMeasure& measure_;
    Tessellator tessellator_;
    std::vector<MadeSurface> made_;
    std::vector<std::unique_ptr<PatchSet>> patches_;
    std::vector<const FreeFormPatches*> freeForms_;  ///< by number of the surface in the group; null = left out
    std::size_t planned_ = 0;                        ///< triangles

    template <class Add>
    void attempt(const std::string& where, const Add& add) const {
        try {
            add();
        } catch (const Failure& failure) {
            error("GEOM", "{}: surface left out: {}", where, failure.what());
        }
    }

    /// Borders are joined that are as near to each other as the group says, or as lines are that it connects.
    double tolerance() const {
        constexpr double kRounding = 1.01;
        double most = static_cast<double>(group_.surfaces.merge);
        for (const ConnectionSource& connection : group_.surfaces.connections) {
            const FreeFormPatches* first = freeForms_[static_cast<std::size_t>(connection.surfaces[0])];
            const FreeFormPatches* second = freeForms_[static_cast<std::size_t>(connection.surfaces[1])];
            if (first && second) most = std::max(most, kRounding * gapOf(connection, group_, *first, *second));
        }
        return most;
    }

    Approximation rules(ApproximationKind kind, const std::string& name) const {
        Approximation found = rulesFor(kind, name, job_.source->approximation, group_.approximation, job_.outer);
        return found.empty() ? usualSurfaceRules() : found;
    }

    /// Throws Failure where so many parts of so many patches would be more than there may be.
    void plan(std::size_t patches, int nu, int nv) {
        const double triangles = 2.0 * static_cast<double>(patches) * nu * nv + static_cast<double>(planned_);
        if (triangles > 1.0 * kMostTriangles)
            throw Failure(fmt::format("\"parametric\" would make {:.0f} triangles of the group; {} is the most",
                                      triangles, kMostTriangles));
        planned_ = static_cast<std::size_t>(triangles);
    }

    /// Each piece has Bezier points of its own. Throws Failure where they would be more than anyone means.
    static void checkSize(const SurfaceSource& source) {
        constexpr double kMostPoints = 1 << 24;
        double points = 1;
        for (const DirectionSource* direction : {&source.u, &source.v})
            points *= static_cast<double>(direction->parameters.size()) * (direction->basis.degree + 1);
        if (points > kMostPoints)
            throw Failure(
                fmt::format("its pieces have about {:.0f} control points; {:.0f} is the most", points, kMostPoints));
    }

    void add(const SurfaceSource& source) {
        checkFinite(source.points);
        checkSize(source);
        auto made = std::make_unique<FreeFormPatches>(source, group_);
        const FreeFormPatches& patches = *made;
        const Approximation found = rules(ApproximationKind::Surface, source.name);
        const int nu = partsOf(found, 0, source.u.basis.degree, patches.columns());
        const int nv = partsOf(found, 1, source.v.basis.degree, patches.rows());
        plan(patches.patches(), nu, nv);
        const bool isTrimmed = !source.loops.empty() || !source.specials.empty();
        std::vector<TrimmedDomain::Piece> pieces;
        if (isTrimmed) pieces = trimmed(source, patches, found, nu, nv);
        const std::uint32_t number = tessellator_.addSurface(patches, found, true);
        patches_.push_back(std::move(made));
        freeForms_.back() = &patches;
        made_.push_back({&patches, nullptr, nullptr, {source.material, source.label}});
        for (const TrimmedDomain::Piece& piece : pieces) tessellator_.addPiece(number, piece.places, piece.triangles);
        if (isTrimmed) return;
        for (std::uint32_t patch = 0; patch < patches.patches(); ++patch) {
            const Grid grid(patch, nu, nv, patches);
            tessellator_.addPiece(number, grid.places, grid.triangles);
        }
    }

    /// What is said of the trimming of the surface counts, else what is said of the curve, else what of the surface.
    std::vector<TrimmedDomain::Piece> trimmed(const SurfaceSource& source, const FreeFormPatches& patches,
                                              const Approximation& ofSurface, int nu, int nv) const {
        CurveRules curves;
        curves.measure = &measure_;
        curves.rules = [&](const CurveSource& curve) {
            for (const auto& [kind, name] :
                 {std::pair(ApproximationKind::Trim, &source.name), std::pair(ApproximationKind::Curve, &curve.name)}) {
                Approximation found =
                    rulesFor(kind, *name, job_.source->approximation, group_.approximation, job_.outer);
                if (!found.empty()) return found;
            }
            return ofSurface;
        };
        return TrimmedDomain(source, group_, patches, curves, nu, nv).pieces();
    }

    void add(const SubdivisionSource& mesh) {
        if (mesh.faces.empty()) return;
        std::vector<ControlPoint> points;
        for (const int corner : mesh.corners) points.push_back({corner, 1});
        checkFinite(points);
        auto made = std::make_unique<SubdivisionPatches>(mesh, group_);
        const SubdivisionPatches& patches = *made;
        const Approximation found =
            rules(mesh.catmullClark ? ApproximationKind::CatmullClark : ApproximationKind::Subdivision, mesh.name);
        // Corners of faces are halves already; whole faces beside them have to meet them.
        const int whole = 1 << std::max(levelsOf(found), patches.hasParts() ? 1 : 0);
        const int part = std::max(whole / 2, 1);
        plan(patches.patches(), patches.hasParts() ? part : whole, patches.hasParts() ? part : whole);
        const std::uint32_t number = tessellator_.addSurface(patches, found, false);
        patches_.push_back(std::move(made));
        made_.push_back({&patches, &patches, &mesh, {}});
        for (std::uint32_t patch = 0; patch < patches.patches(); ++patch) {
            if (patches.isTriangle()) {
                addTriangularGrid(tessellator_, number, patch, whole);
                continue;
            }
            const int parts = patches.isWhole(patch) ? whole : part;
            const Grid grid(patch, parts, parts, patches);
            tessellator_.addPiece(number, grid.places, grid.triangles);
        }
    }

    void checkFinite(const std::vector<ControlPoint>& points) const {
        for (const ControlPoint& point : points) {
            const int position = group_.vertices[static_cast<std::size_t>(point.vertex)].position;
            if (!isFinite(group_.vectors[static_cast<std::size_t>(position)]))
                throw Failure("a control point is not finite");
        }
    }
};

}  // namespace

bool hasSurfaces(const ObjectSource& source) {
    return std::any_of(source.groups.begin(), source.groups.end(),
                       [](const PolygonGroupSource& group) { return !group.surfaces.empty(); });
}

std::vector<PolygonGroupSource> tessellate(const TessellationJob& job) {
    EdgeMeasure measure = job.measure;
    if (job.source->hasTransform) {
        const M44d baked = affineMatrix(job.source->transform);
        measure = [baked, given = job.measure](const V3d& a, const V3d& b, const ApproximationRule& rule, float limit) {
            return given(transformPoint(a, baked), transformPoint(b, baked), rule, limit);
        };
    }
    std::vector<PolygonGroupSource> result;
    for (const PolygonGroupSource& group : job.source->groups) {
        if (group.surfaces.empty()) continue;
        if (auto made = GroupTessellation(job, group, measure).run()) result.push_back(std::move(*made));
    }
    return result;
}

}  // namespace lumorender
