#include "geometry/displacement.h"

#include "geometry/mesh.h"
#include "geometry/subdivision.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/messages.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numbers>

namespace lumorender {

namespace {

constexpr std::uint32_t kNone = ~std::uint32_t{0};
/// Edges are halved so often at most, whatever is asked for.
constexpr int kMostPasses = 24;

/// The middle of an edge, or (0) its first corner, as a place on a triangle.
constexpr std::array<std::array<float, 2>, 3> kCorner = {{{0, 0}, {1, 0}, {0, 1}}};
constexpr std::array<std::array<float, 2>, 3> kMiddle = {{{0.5F, 0}, {0.5F, 0.5F}, {0, 0.5F}}};

class Displacer {
public:
    Displacer(const DisplacementJob& job, const EdgeMeasure& measure, const HeightFunction& heights)
        : job_(job),
          measure_(measure),
          heights_(heights),
          mesh_(std::make_unique<Mesh>(*job.instance->mesh)),
          still_(*job.instance),
          division_(*mesh_) {
        still_.mesh = mesh_.get();
        static const Placement atOrigin;
        still_.placement = &atOrigin;
        still_.motionSteps = 0;
        still_.inPlace = true;
        still_.moves = false;
        for (const ApproximationRule& rule : job.approximation)
            looksAtSurface_ = looksAtSurface_ || rule.distance > 0 || rule.angle > 0;
    }

    std::unique_ptr<Mesh> run() {
        for (pass_ = 0; pass_ < kMostPasses; ++pass_)
            if (!refine()) break;
        moveVertices();
        renewNormals();
        tell();
        return std::move(mesh_);
    }

private:
    const DisplacementJob& job_;
    const EdgeMeasure& measure_;
    const HeightFunction& heights_;
    std::unique_ptr<Mesh> mesh_;
    FlatInstance still_;  ///< the instance at the origin, with the mesh as it is now
    Subdivision division_;
    int pass_ = 0;
    bool looksAtSurface_ = false;
    float coarse_ = 0;  ///< what edges still needed when there was no more room
    std::size_t infinite_ = 0, beyond_ = 0;
    float farthest_ = 0;

    bool isDisplaced(std::uint32_t triangle) const { return job_.displaced[mesh_->surface(triangle)]; }
    const std::uint32_t* corners(std::size_t triangle) const { return &mesh_->indices[3 * triangle]; }

    Hit place(std::uint32_t triangle, const std::array<float, 2>& at) const {
        Hit hit;
        hit.instance = &still_;
        hit.primitive = triangle;
        hit.u = at[0];
        hit.v = at[1];
        const std::uint32_t* v = corners(triangle);
        hit.point = wide(mesh_->positions[v[0]]) * (1.0 - hit.u - hit.v) + wide(mesh_->positions[v[1]]) * hit.u +
                    wide(mesh_->positions[v[2]]) * hit.v;
        return hit;
    }

    /// What shaders say, without what is no number, and within the bound.
    std::vector<float> heightsAt(const std::vector<Hit>& places) {
        throwIfAborted();
        std::vector<float> result(places.size(), 0);
        heights_(still_, places, result);
        for (float& height : result) {
            if (!std::isfinite(height)) {
                ++infinite_;
                height = 0;
            }
            if (!(job_.most > 0) || std::abs(height) <= job_.most) continue;
            ++beyond_;
            farthest_ = std::max(farthest_, std::abs(height));
            height = std::copysign(job_.most, height);
        }
        return result;
    }

    /// Where each place goes; zero where nothing displaces it.
    std::vector<miVector> movesOfPlaces() {
        std::vector<std::uint32_t> vertices;
        std::vector<Hit> hits;
        std::vector<bool> seen(mesh_->vertices(), false);
        for (std::uint32_t t = 0; t < mesh_->triangles(); ++t)
            for (std::size_t i = 0; isDisplaced(t) && i < 3; ++i) {
                const std::uint32_t vertex = corners(t)[i];
                if (seen[vertex]) continue;
                seen[vertex] = true;
                vertices.push_back(vertex);
                hits.push_back(place(t, kCorner[i]));
            }
        const std::vector<float> heights = heightsAt(hits);

        struct Sum {
            V3d normal = V3d(0);
            double height = 0;
            int count = 0;
        };
        std::vector<Sum> sums(division_.places());
        for (std::size_t i = 0; i < vertices.size(); ++i) {
            Sum& sum = sums[division_.placeOf(vertices[i])];
            sum.normal += wide(mesh_->normals[vertices[i]]);
            sum.height += static_cast<double>(heights[i]);
            ++sum.count;
        }
        std::vector<miVector> moves(sums.size(), miVector{0, 0, 0});
        for (std::size_t i = 0; i < sums.size(); ++i)
            if (sums[i].count > 0) moves[i] = narrow(unit(sums[i].normal) * (sums[i].height / sums[i].count));
        return moves;
    }

    /// One pass over all edges. False when nothing is left to divide.
    bool refine() {
        auto& edges = division_.edges();
        std::vector<bool> touched(edges.size(), false);
        std::vector<miVector> bends;
        if (looksAtSurface_) bends = bendsOfEdges();
        bool any = false;
        for (std::size_t i = 0; i < edges.size(); ++i) {
            edges[i].need = needOf(edges[i], bends.empty() ? miVector{0, 0, 0} : bends[i]);
            any = any || edges[i].need > 1;
        }
        if (!any) return false;
        std::size_t most = job_.mostTriangles;
        for (const ApproximationRule& rule : job_.approximation)
            if (rule.mostTriangles > 0) most = std::min(most, rule.mostTriangles);
        if (division_.trianglesAfterwards() <= most) {
            division_.divide();
            return true;
        }
        divideNeediest(most);
        return false;
    }

    /// Only the edges that need it most, as far as there is room.
    void divideNeediest(std::size_t most) {
        auto& edges = division_.edges();
        const std::size_t room = most > mesh_->triangles() ? (most - mesh_->triangles()) / 2 : 0;
        std::vector<float> needs;
        for (const Subdivision::Edge& edge : edges)
            if (edge.need > 1) needs.push_back(edge.need);
        const std::size_t count = std::min(room, needs.size() - 1);
        std::nth_element(needs.begin(), needs.begin() + static_cast<std::ptrdiff_t>(count), needs.end(),
                         std::greater<float>());
        coarse_ = needs[count];
        // Each divided edge stands between two triangles; those that need as much as the first one left out stay, too.
        for (Subdivision::Edge& edge : edges)
            if (!(edge.need > coarse_)) edge.need = 0;
        division_.divide();
    }

    /// Of the rule that asks for most.
    float needOf(const Subdivision::Edge& edge, const miVector& bend) const {
        float need = 0;
        for (const ApproximationRule& rule : job_.approximation) need = std::max(need, needBy(rule, edge, bend));
        return need;
    }

    float needBy(const ApproximationRule& rule, const Subdivision::Edge& edge, const miVector& bend) const {
        if (pass_ < std::max(rule.least, rule.parametric)) return 2;
        if (pass_ >= rule.most) return 0;
        const auto [first, second] = division_.verticesOf(edge);
        const V3d a = wide(mesh_->positions[first]), b = wide(mesh_->positions[second]);
        float most = 0, least = 1e30F;
        const auto take = [&](float need) {
            most = std::max(most, need);
            least = std::min(least, need);
        };
        if (rule.length > 0) take(measure_(a, b, rule, rule.length));
        if (rule.distance > 0) {
            const V3d middle = (a + b) * 0.5, away = wide(bend);
            take(isZero(bend) ? 0 : measure_(middle, middle + away, rule, rule.distance));
        }
        if (rule.angle > 0) {
            // Both halves lean by the bend over half the length.
            const double lean = 2 * std::atan2(length(wide(bend)), length(b - a) / 2) * 180 / std::numbers::pi;
            take(static_cast<float>(lean / static_cast<double>(rule.angle)));
        }
        return most > 0 && rule.any ? least : most;
    }

    /// How far the displaced surface is from the middle of the displaced edges.
    std::vector<miVector> bendsOfEdges() {
        const std::vector<miVector> moves = movesOfPlaces();
        const auto& edges = division_.edges();
        std::vector<Hit> hits;
        std::vector<std::size_t> numbers;
        std::vector<miVector> bends(edges.size(), miVector{0, 0, 0});
        for (std::size_t i = 0; i < edges.size(); ++i) {
            if (!isDisplaced(edges[i].triangle)) continue;
            hits.push_back(place(edges[i].triangle, kMiddle[edges[i].corner]));
            numbers.push_back(i);
        }
        const std::vector<float> heights = heightsAt(hits);
        for (std::size_t i = 0; i < hits.size(); ++i) {
            const auto [a, b] = division_.verticesOf(edges[numbers[i]]);
            const miVector normal = unit(mesh_->normals[a] + mesh_->normals[b]);
            const miVector straight = (moves[division_.placeOf(a)] + moves[division_.placeOf(b)]) * 0.5F;
            bends[numbers[i]] = normal * heights[i] - straight;
        }
        return bends;
    }

    void moveVertices() {
        infinite_ = beyond_ = 0;
        farthest_ = 0;
        const std::vector<miVector> moves = movesOfPlaces();
        moved_.assign(moves.size(), false);
        for (std::size_t i = 0; i < moves.size(); ++i) moved_[i] = !isZero(moves[i]);
        faces_.resize(mesh_->triangles());
        for (std::uint32_t t = 0; t < faces_.size(); ++t) faces_[t] = outwards(t);
        for (std::uint32_t v = 0; v < mesh_->vertices(); ++v) {
            const miVector& move = moves[division_.placeOf(v)];
            mesh_->positions[v] = mesh_->positions[v] + move;
            for (auto& step : mesh_->laterPositions) step[v] = step[v] + move;
        }
    }

    std::vector<bool> moved_;         ///< places
    std::vector<signed char> faces_;  ///< triangles whose normals were those of their corners (1) or opposite (-1)

    V3d areaOf(std::uint32_t triangle) const {
        const std::uint32_t* v = corners(triangle);
        const V3d a = wide(mesh_->positions[v[0]]);
        return cross(wide(mesh_->positions[v[1]]) - a, wide(mesh_->positions[v[2]]) - a);
    }
    signed char outwards(std::uint32_t triangle) const {
        const std::uint32_t* v = corners(triangle);
        const miVector sum = mesh_->normals[v[0]] + mesh_->normals[v[1]] + mesh_->normals[v[2]];
        return dot(areaOf(triangle), wide(sum)) < 0 ? -1 : 1;
    }

    /// Vertices at one place with one normal had a smooth surface, and have one again.
    void renewNormals() {
        std::vector<std::uint32_t> group(mesh_->vertices()), next(mesh_->vertices(), kNone),
            last(division_.places(), kNone);
        for (std::uint32_t v = 0; v < group.size(); ++v) {
            const std::uint32_t place = division_.placeOf(v);
            group[v] = v;
            for (std::uint32_t other = last[place]; other != kNone; other = next[other])
                if (sameDirection(mesh_->normals[v], mesh_->normals[other])) group[v] = group[other];
            next[v] = last[place];
            last[place] = v;
        }
        std::vector<V3d> sums(group.size(), V3d(0));
        std::vector<bool> changes(group.size(), false);
        for (std::uint32_t t = 0; t < mesh_->triangles(); ++t) {
            const std::uint32_t* v = corners(t);
            const V3d area = areaOf(t) * static_cast<double>(faces_[t]);
            const bool moves =
                moved_[division_.placeOf(v[0])] || moved_[division_.placeOf(v[1])] || moved_[division_.placeOf(v[2])];
            for (std::size_t i = 0; i < 3; ++i) {
                sums[group[v[i]]] += area;
                if (moves) changes[group[v[i]]] = true;
            }
        }
        for (std::uint32_t v = 0; v < group.size(); ++v) {
            if (!changes[group[v]] || isZero(sums[group[v]])) continue;
            mesh_->normals[v] = narrow(unit(sums[group[v]]));
            flatten(v);
        }
    }
    static bool sameDirection(const miVector& a, const miVector& b) { return dot(a, b) > 0.99999F; }

    /// Derivatives and bump bases that came with the vertices lie in the new surface.
    void flatten(std::uint32_t vertex) {
        const miVector& n = mesh_->normals[vertex];
        const auto lay = [&n](miVector& v) { v = v - n * dot(n, v); };
        if (!mesh_->derivatives.empty())
            for (std::size_t i = 0; i < 2; ++i) lay(mesh_->derivatives[std::size_t{vertex} * miDERIVATIVES + i]);
        if (mesh_->bumpX.empty()) return;
        for (std::size_t i = 0; i < mesh_->textureSpaces; ++i) {
            lay(mesh_->bumpX[std::size_t{vertex} * mesh_->textureSpaces + i]);
            lay(mesh_->bumpY[std::size_t{vertex} * mesh_->textureSpaces + i]);
        }
    }

    void tell() const {
        if (coarse_ > 1)
            warning("GEOM",
                    "object \"{}\": divided into {} triangles, which is the bound; its edges are up to {:.3g} times "
                    "what they should be",
                    job_.name, mesh_->triangles(), coarse_);
        if (beyond_ > 0)
            warning("GEOM", "object \"{}\": displaced by up to {:g}, \"max displace\" is {:g}: {} place(s) stay there",
                    job_.name, farthest_, job_.most, beyond_);
        if (infinite_ > 0)
            warning("GEOM", "object \"{}\": {} displacement(s) were not finite, their places stay where they are",
                    job_.name, infinite_);
    }
};

}  // namespace

std::unique_ptr<Mesh> displaceMesh(const DisplacementJob& job, const EdgeMeasure& measure,
                                   const HeightFunction& heights) {
    return Displacer(job, measure, heights).run();
}

}  // namespace lumorender
