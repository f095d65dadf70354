#include "geometry/mesh.h"

#include "geometry/triangulator.h"
#include "support/abort.h"
#include "support/geometry.h"
#include "support/messages.h"

#include "mi/codes.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

namespace lumorender {

namespace {

/// Height of a triangle in relation to its longest side, below which it has no area.
constexpr double kNoArea = 1e-12;

bool hasArea(const miVector& a, const miVector& b, const miVector& c) {
    const V3d ab = wide(b) - wide(a), ac = wide(c) - wide(a), bc = wide(c) - wide(b);
    const double longest = std::max({dot(ab, ab), dot(ac, ac), dot(bc, bc)});
    return length(cross(ab, ac)) > kNoArea * longest;
}

/// What the vertices of all groups have: it decides which lists the mesh gets.
struct Contents {
    std::size_t vertices = 0, polygons = 0, corners = 0;
    bool normals = false, bumps = false, derivatives = false;
    std::uint32_t textures = 0, motions = 0;

    void add(const PolygonGroupSource& group) {
        vertices += group.vertices.size();
        polygons += group.polygons.size();
        corners += group.corners.size();
        for (const VertexSource& vertex : group.vertices) {
            normals = normals || vertex.normal >= 0;
            derivatives = derivatives || vertex.derivatives > 0;
            textures = std::max<std::uint32_t>(textures, vertex.textures);
            motions = std::max<std::uint32_t>(motions, vertex.motions);
            for (std::uint32_t t = 0; t < vertex.textures; ++t) {
                const std::size_t at = vertex.firstExtra + vertex.derivatives + 3 * t + 1;
                bumps = bumps || (at < group.extras.size() && group.extras[at] >= 0);
            }
        }
    }
};

/// Bytes of the mesh, and of what the ray tracing kernels make of it.
double estimate(const Contents& contents) {
    constexpr double kKernels = 100;  // of a triangle
    const double lists = 1 + contents.motions + (contents.normals ? 1 : 0) +
                         (contents.bumps ? 3.0 : 1.0) * contents.textures + (contents.derivatives ? 5 : 0);
    return static_cast<double>(contents.vertices) * lists * sizeof(miVector) +
           static_cast<double>(contents.corners) * (3 * sizeof(std::uint32_t) + kKernels);
}

class MeshBuilder {
public:
    MeshBuilder(const ObjectSource& source, const std::string& name, std::span<const PolygonGroupSource> surfaces)
        : source_(source), name_(name) {
        for (const PolygonGroupSource& group : source.groups)
            if (!group.polygons.empty()) groups_.push_back(&group);
        for (const PolygonGroupSource& group : surfaces) groups_.push_back(&group);
    }

    std::unique_ptr<Mesh> build() {
        takeTransform();
        for (const PolygonGroupSource* group : groups_) contents_.add(*group);
        if (contents_.vertices >= std::numeric_limits<std::uint32_t>::max()) {
            error("GEOM", "object \"{}\": more than 4294967294 vertices, left out", name_);
            return nullptr;
        }
        makeLists();
        for (const PolygonGroupSource* each : groups_) {
            const PolygonGroupSource& group = *each;
            const std::size_t firstVertex = mesh_->positions.size();
            for (const VertexSource& vertex : group.vertices) addVertex(group, vertex);
            for (const PolygonSource& polygon : group.polygons) {
                throwIfAborted();
                addPolygon(group, polygon, firstVertex);
            }
        }
        finish();
        return mesh_->indices.empty() ? nullptr : std::move(mesh_);
    }

private:
    const ObjectSource& source_;
    const std::string& name_;
    std::vector<const PolygonGroupSource*> groups_;
    std::unique_ptr<Mesh> mesh_ = std::make_unique<Mesh>();
    Contents contents_;
    bool baked_ = false;
    M44d matrix_, inverse_;
    Triangulator triangulator_;
    std::vector<bool> broken_;  ///< vertices
    std::vector<miVector> points_;
    std::vector<std::uint32_t> numbers_, loopSizes_;
    std::unordered_map<std::uint64_t, std::uint32_t> surfaceNumbers_;
    std::size_t flat_ = 0, wrong_ = 0, infinite_ = 0, brokenVertices_ = 0;

    void takeTransform() {
        if (!source_.hasTransform) return;
        matrix_ = affineMatrix(source_.transform);
        baked_ = invert(matrix_, inverse_);
        if (!baked_) warning("GEOM", "object \"{}\": transform is singular, replaced by the identity", name_);
    }

    /// One element more than is used: the ray tracing kernels read 16 bytes where a vertex has 12.
    void makeLists() {
        mesh_->textureSpaces = contents_.textures;
        mesh_->laterPositions.resize(contents_.motions);
        mesh_->positions.reserve(contents_.vertices + 1);
        for (auto& step : mesh_->laterPositions) step.reserve(contents_.vertices + 1);
        if (contents_.normals) mesh_->normals.reserve(contents_.vertices);
        mesh_->textures.reserve(contents_.vertices * contents_.textures);
        mesh_->indices.reserve(3 * (contents_.corners - std::min(contents_.corners, 2 * contents_.polygons)));
        broken_.reserve(contents_.vertices);
    }

    /// The vector of this number, zero where there is none.
    static miVector vectorAt(const PolygonGroupSource& group, int index) {
        const auto i = static_cast<std::size_t>(index);
        return index >= 0 && i < group.vectors.size() ? group.vectors[i] : miVector{0, 0, 0};
    }

    /// The vector that the vertex names in its list of further indices.
    static miVector extraAt(const PolygonGroupSource& group, std::size_t at) {
        return at < group.extras.size() ? vectorAt(group, group.extras[at]) : miVector{0, 0, 0};
    }

    miVector asPoint(const miVector& p) const { return baked_ ? narrow(transformPoint(wide(p), matrix_)) : p; }
    miVector asVector(const miVector& v) const { return baked_ ? narrow(transformVector(wide(v), matrix_)) : v; }
    miVector asNormal(const miVector& n) const {
        const miVector turned = unit(baked_ ? narrow(transformNormal(wide(n), inverse_)) : n);
        return isFinite(turned) ? turned : miVector{0, 0, 0};
    }

    void addVertex(const PolygonGroupSource& group, const VertexSource& vertex) {
        const bool exists = vertex.position >= 0 && static_cast<std::size_t>(vertex.position) < group.vectors.size();
        const miVector position = asPoint(vectorAt(group, vertex.position));
        bool broken = !exists || !isFinite(position);
        mesh_->positions.push_back(broken ? miVector{0, 0, 0} : position);
        if (contents_.normals) mesh_->normals.push_back(asNormal(vectorAt(group, vertex.normal)));

        std::size_t extra = vertex.firstExtra;
        addDerivatives(group, vertex, extra);
        extra += vertex.derivatives;
        addTextures(group, vertex, extra);
        extra += std::size_t{3} * vertex.textures;
        broken = !addMotion(group, vertex, extra) || broken;
        broken_.push_back(broken);
        brokenVertices_ += broken ? 1 : 0;
    }

    void addDerivatives(const PolygonGroupSource& group, const VertexSource& vertex, std::size_t extra) {
        if (!contents_.derivatives) return;
        const std::uint32_t skipped = vertex.derivatives == 3 ? 2 : 0;  // duu dvv duv without du dv
        for (std::uint32_t i = 0; i < miDERIVATIVES; ++i) {
            const bool given = i >= skipped && i - skipped < vertex.derivatives;
            mesh_->derivatives.push_back(given ? asVector(extraAt(group, extra + i - skipped)) : miVector{0, 0, 0});
        }
    }

    void addTextures(const PolygonGroupSource& group, const VertexSource& vertex, std::size_t extra) {
        for (std::uint32_t i = 0; i < contents_.textures; ++i, extra += 3) {
            const bool given = i < vertex.textures;
            mesh_->textures.push_back(given ? extraAt(group, extra) : miVector{0, 0, 0});
            if (!contents_.bumps) continue;
            mesh_->bumpX.push_back(given ? asVector(extraAt(group, extra + 1)) : miVector{0, 0, 0});
            mesh_->bumpY.push_back(given ? asVector(extraAt(group, extra + 2)) : miVector{0, 0, 0});
        }
    }

    /// Each motion vector leads from where the one before it ended. False where it leads nowhere.
    bool addMotion(const PolygonGroupSource& group, const VertexSource& vertex, std::size_t extra) {
        miVector position = mesh_->positions.back();
        bool finite = true;
        for (std::uint32_t i = 0; i < contents_.motions; ++i) {
            const miVector moved = position + (i < vertex.motions ? asVector(extraAt(group, extra + i)) : miVector{});
            if (isFinite(moved))
                position = moved;
            else
                finite = false;
            mesh_->laterPositions[i].push_back(position);
        }
        return finite;
    }

    /// Collects the polygon's corners into the working lists; false where something about them is wrong.
    bool collectCorners(const PolygonGroupSource& group, const PolygonSource& polygon, std::size_t firstVertex) {
        points_.clear();
        numbers_.clear();
        loopSizes_.assign(1, 0);
        const std::size_t end = std::size_t{polygon.first} + polygon.count;
        bool right = end <= group.corners.size(), finite = true;
        for (std::size_t i = polygon.first; right && i < end; ++i) {
            const int corner = group.corners[i];
            if (corner == -1) {
                loopSizes_.push_back(0);
                continue;
            }
            right = corner >= 0 && static_cast<std::size_t>(corner) < group.vertices.size();
            if (!right) break;
            const std::size_t vertex = firstVertex + static_cast<std::size_t>(corner);
            finite = finite && !broken_[vertex];
            numbers_.push_back(static_cast<std::uint32_t>(vertex));
            points_.push_back(mesh_->positions[vertex]);
            ++loopSizes_.back();
        }
        wrong_ += right ? 0 : 1;
        infinite_ += right && !finite ? 1 : 0;
        return right && finite;
    }

    void addPolygon(const PolygonGroupSource& group, const PolygonSource& polygon, std::size_t firstVertex) {
        if (!collectCorners(group, polygon, firstVertex)) return;
        const bool fan = polygon.convex && loopSizes_.size() == 1;
        const auto triangles = fan ? triangulator_.convex(points_) : triangulator_.concave(points_, loopSizes_);
        const std::size_t before = mesh_->indices.size();
        for (const CornerTriple& t : triangles)
            if (hasArea(points_[t[0]], points_[t[1]], points_[t[2]]))
                for (const std::uint32_t corner : t) mesh_->indices.push_back(numbers_[corner]);
        if (mesh_->indices.size() == before)
            ++flat_;
        else
            mesh_->surfaceOfTriangle.resize(mesh_->triangles(), surfaceNumber(polygon));
    }

    std::uint32_t surfaceNumber(const PolygonSource& polygon) {
        const std::uint64_t key = std::uint64_t{polygon.material} << 32 | polygon.label;
        const auto [found, isNew] =
            surfaceNumbers_.try_emplace(key, static_cast<std::uint32_t>(mesh_->surfaces.size()));
        if (isNew) mesh_->surfaces.push_back({polygon.material, polygon.label});
        return found->second;
    }

    void finish() {
        if (mesh_->surfaces.size() <= 1) mesh_->surfaceOfTriangle = {};
        mesh_->surfaceOfTriangle.shrink_to_fit();
        mesh_->indices.shrink_to_fit();
        if (triangulator_.roughPolygons() > 0)
            warning(
                "GEOM",
                "object \"{}\": {} polygon(s) cross themselves too often, or have too many holes, to be divided well",
                name_, triangulator_.roughPolygons());
        if (flat_) warning("GEOM", "object \"{}\": {} polygon(s) without area left out", name_, flat_);
        if (wrong_) error("GEOM", "object \"{}\": {} polygon(s) with missing vertices left out", name_, wrong_);
        if (brokenVertices_)
            error("GEOM", "object \"{}\": {} vertices without a finite position, {} polygon(s) left out", name_,
                  brokenVertices_, infinite_);
    }
};

}  // namespace

double meshBytes(const ObjectSource& source, std::span<const PolygonGroupSource> surfaces) {
    Contents contents;
    for (const PolygonGroupSource& group : source.groups) contents.add(group);
    for (const PolygonGroupSource& group : surfaces) contents.add(group);
    return estimate(contents);
}

std::unique_ptr<Mesh> buildMesh(const ObjectSource& source, const std::string& name,
                                std::span<const PolygonGroupSource> surfaces) {
    return MeshBuilder(source, name, surfaces).build();
}

}  // namespace lumorender
