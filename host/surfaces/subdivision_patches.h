// Subdivision surfaces: the limit of their control meshes, face by face.
#pragma once

#include "database/elements.h"
#include "surfaces/patches.h"

#include <memory>
#include <span>

namespace lumorender {

/// Faces that are no quadrilaterals, or of Loop's scheme no triangles, are several patches: one at each corner.
class SubdivisionPatches : public PatchSet {
public:
    /// Catmull-Clark, or Loop where there are triangles only and the mesh does not ask for the former. Vertices at one
    /// place of the group are one point of the control mesh; where their textures differ they have a seam.
    /// Throws Failure for a mesh that makes no surface.
    SubdivisionPatches(const SubdivisionSource& mesh, const PolygonGroupSource& group);
    ~SubdivisionPatches() override;

    std::uint32_t patches() const override { return static_cast<std::uint32_t>(patches_.size()); }
    PatchPoint at(const PatchPlace& place) const override;
    void detail(const PatchPlace& place, PatchDetail& detail) const override;
    std::size_t textures() const override { return textures_; }
    std::size_t motions() const override { return motions_; }
    int derivatives() const override { return derivatives_ ? 5 : 0; }

    /// A triangle: u and v from 0 to 1, and both together no more.
    bool isTriangle() const { return isLoop_; }
    /// Whether the patch is a face, and not one corner of it.
    bool isWhole(std::uint32_t patch) const { return patches_[patch].corner < 0; }
    /// Whether some patch is not.
    bool hasParts() const { return hasParts_; }
    /// The face that the patch belongs to, as the control mesh counts them.
    std::uint32_t face(std::uint32_t patch) const { return patches_[patch].face; }

private:
    struct Patch {
        std::uint32_t face;
        int corner;  ///< of the face, or -1 for all of it
    };
    struct Limit;  ///< the library's surfaces, one for each face

    std::vector<Patch> patches_;
    std::size_t textures_ = 0, motions_ = 0;
    bool isLoop_ = false, hasParts_ = false, derivatives_ = false;
    std::unique_ptr<Limit> limit_;

    V3d normalNear(PatchPlace place) const;
};

}  // namespace lumorender
