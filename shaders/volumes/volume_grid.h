/* Voxel grids: blocks of user data with a number at each voxel, and colors where the scene has them.
 *
 * A grid fills the box from -1 to 1. Values lie in the middles of voxels, x runs fastest and z slowest; between the
 * middles they are interpolated, and up to the walls of the box they stay what they are at the outermost ones.
 */
#pragma once

#include "SDK/framework/parameter_array.h"
#include "SDK/framework/renderer_array.h"
#include "shaders/volumes/shapes.h"

namespace lumo {

/* As the scene declares it ("VolumeGrid"), and as it lies in files. */
struct VolumeGridBlock {
    miUint magic;
    miInteger width, height, depth;
    ParameterArray<miScalar> density, temperature;
    ParameterArray<miColor> color;
};
inline constexpr miUint kVolumeGridMagic = 0x56477264; /* "VGrd" */

class VolumeGrid {
public:
    VolumeGrid() = default;
    ~VolumeGrid();

    VolumeGrid(const VolumeGrid&) = delete;
    VolumeGrid& operator=(const VolumeGrid&) = delete;

    /* Once in its life. Returns what is wrong with the block, null when nothing is. A block that is used stays pinned. */
    const char* open(miTag block);

    miTag tag() const { return tag_; }

    /* Points inside the box, in the primitive's space. Density is not below 0; without temperatures they are 0, without
     * colors all are white. */
    miScalar density(const DoubleVector& p) const;
    miScalar temperature(const DoubleVector& p) const;
    miColor color(const DoubleVector& p) const;
    bool hasColor() const { return colors_ != nullptr; }

    /* From t on the grid is empty up to the distance that this returns: t itself where it is not, and no more than
     * `end`. */
    double clearUntil(const VolumeRay& ray, double t, double end) const;

    /* How many t a ray takes from one voxel to the next. */
    double voxelLength(const VolumeRay& ray) const;

private:
    struct Corner {
        std::size_t index;
        miScalar weight;
    };
    template <class Value>
    Value between(const Value* values, const DoubleVector& p) const;

    const char* take(const VolumeGridBlock& block, std::size_t bytes);
    bool makeBricks();
    DoubleVector scale() const;
    std::size_t brickOf(const DoubleVector& voxel, DoubleVector& low, DoubleVector& high) const;

    miTag tag_ = miNULLTAG;
    int size_[3] = {0, 0, 0}, bricks_[3] = {0, 0, 0};
    const miScalar *densities_ = nullptr, *temperatures_ = nullptr;
    const miColor* colors_ = nullptr;
    RendererArray<miScalar> largest_{"shaders/lumoVolumeEngine"}; /* by brick */
};

}  // namespace lumo
