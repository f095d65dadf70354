#include "surfaces/triangle_group.h"

#include <tbb/parallel_for.h>

namespace lumorender {

namespace {

class GroupMaker {
public:
    GroupMaker(const Tessellator& tessellator, const std::vector<MadeSurface>& surfaces)
        : tessellator_(tessellator), surfaces_(surfaces) {}

    PolygonGroupSource make() {
        for (const Tessellator::Triangle& triangle : tessellator_.triangles()) addTriangle(triangle);
        layOut();
        tbb::parallel_for(std::size_t{0}, used_.size(), [this](std::size_t i) { fill(i); });
        return std::move(group_);
    }

private:
    const Tessellator& tessellator_;
    const std::vector<MadeSurface>& surfaces_;
    PolygonGroupSource group_;
    std::vector<std::uint32_t> numbers_;  ///< of the tessellation's vertices in the group
    std::vector<std::uint32_t> used_;     ///< the other way round

    const Tessellator::Vertex& vertexOf(std::uint32_t number) const { return tessellator_.vertices()[number]; }
    miVector positionOf(std::uint32_t vertex) const { return narrow(tessellator_.position(vertexOf(vertex).place)); }

    bool hasCorners(const Tessellator::Triangle& triangle) const {
        miVector corners[3];
        for (int i = 0; i < 3; ++i) corners[i] = positionOf(triangle.vertices[i]);
        for (int i = 0; i < 3; ++i)
            if (isZero(corners[i] - corners[(i + 1) % 3])) return false;
        return true;
    }

    void addTriangle(const Tessellator::Triangle& triangle) {
        if (!hasCorners(triangle)) return;
        const auto first = static_cast<std::uint32_t>(group_.corners.size());
        numbers_.resize(tessellator_.vertices().size(), Tessellator::kNone);
        for (const std::uint32_t vertex : triangle.vertices) {
            std::uint32_t& number = numbers_[vertex];
            if (number == Tessellator::kNone) {
                number = static_cast<std::uint32_t>(used_.size());
                used_.push_back(vertex);
            }
            group_.corners.push_back(static_cast<int>(number));
        }
        const MadeSurface& surface = surfaces_[triangle.surface];
        MadeSurface::Heading heading = surface.heading;
        if (surface.subdivision) {
            const std::uint32_t patch = vertexOf(triangle.vertices[0]).at.patch;
            const ControlFace& face = surface.mesh->faces[surface.subdivision->face(patch)];
            heading = {face.material, face.label};
        }
        group_.polygons.push_back({first, 3, heading.material, heading.label, true});
    }

    /// Each vertex has its vectors in a row: position, normal, derivatives, textures, motions.
    void layOut() {
        int next = 0;
        for (const std::uint32_t number : used_) {
            const PatchSet& patches = *surfaces_[vertexOf(number).surface].patches;
            VertexSource& vertex = group_.vertices.emplace_back();
            vertex.position = next++;
            vertex.normal = next++;
            vertex.firstExtra = static_cast<std::uint32_t>(group_.extras.size());
            vertex.derivatives = static_cast<std::uint8_t>(patches.derivatives());
            vertex.textures = static_cast<std::uint8_t>(patches.textures());
            vertex.motions = static_cast<std::uint8_t>(patches.motions());
            for (int i = 0; i < vertex.derivatives; ++i) group_.extras.push_back(next++);
            for (int i = 0; i < vertex.textures; ++i) group_.extras.insert(group_.extras.end(), {next++, -1, -1});
            for (int i = 0; i < vertex.motions; ++i) group_.extras.push_back(next++);
        }
        group_.vectors.resize(static_cast<std::size_t>(next));
    }

    void fill(std::size_t number) {
        const std::uint32_t source = used_[number];
        const Tessellator::Vertex& from = vertexOf(source);
        const VertexSource& vertex = group_.vertices[number];
        miVector* next = &group_.vectors[static_cast<std::size_t>(vertex.position)];
        *next++ = positionOf(source);
        *next++ = narrow(from.normal);
        if (vertex.derivatives + vertex.textures + vertex.motions == 0) return;
        PatchDetail detail;
        surfaces_[from.surface].patches->detail(from.at, detail);
        const int skipped = vertex.derivatives == 3 ? 2 : 0;
        for (std::size_t i = 0; i < vertex.derivatives; ++i)
            *next++ = narrow(detail.derivatives[i + static_cast<std::size_t>(skipped)]);
        for (std::size_t i = 0; i < vertex.textures; ++i) *next++ = narrow(detail.textures[i]);
        if (vertex.motions == 0) return;
        // Both sides of an edge move alike.
        const Tessellator::Vertex& owner = vertexOf(tessellator_.owner(from.place));
        const PatchSet& patches = *surfaces_[owner.surface].patches;
        if (patches.motions() >= vertex.motions) patches.detail(owner.at, detail);
        for (std::size_t i = 0; i < vertex.motions; ++i) *next++ = narrow(detail.motions[i]);
    }
};

}  // namespace

PolygonGroupSource triangleGroup(const Tessellator& tessellator, const std::vector<MadeSurface>& surfaces) {
    return GroupMaker(tessellator, surfaces).make();
}

}  // namespace lumorender
