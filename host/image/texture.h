// Texture files for shaders, through a cache.
#pragma once

#include "mi/types.h"

#include <memory>
#include <string>
#include <vector>

namespace lumorender {

/// What one look-up covers: an ellipse around its point, the image of the circle around a pixel.
struct Footprint {
    float dudx = 0, dvdx = 0, dudy = 0, dvdy = 0;  ///< change of the coordinates from pixel to pixel
    bool interpolates = true;                      ///< between the texture's pixels, else the nearest one
};

/// The footprint, not longer than `eccentricity` times its width (it gets wider; below 1 = any length), and `factor`
/// times as large. Lengths are compared in pixels of the texture.
Footprint limitedFootprint(const Footprint& footprint, int width, int height, float eccentricity, float factor);

/// A texture that look-ups read. Coordinates run 0..1 from the lower left corner and repeat outside; what is no finite
/// number counts as 0. All look-ups are thread-safe.
///
/// Results: one component fills r g b, alpha 1; two are gray and alpha; three have alpha 1. Colors are the file's own,
/// never multiplied by a straight alpha. On failure the result is black and the reason is told once per texture.
class Texture {
public:
    virtual ~Texture() = default;
    /// Bilinear at a point (`filtered` false: nearest pixel), at full resolution.
    virtual bool lookup(miColor& result, float u, float v, bool filtered) const = 0;
    /// Over a footprint (mip-mapped; anisotropic for files).
    virtual bool lookup(miColor& result, float u, float v, const Footprint& footprint) const = 0;
    virtual int width() const = 0;
    virtual int height() const = 0;
    virtual int components() const = 0;
    virtual int bits() const { return 32; }  ///< of a component, as it is stored
};

/// Opens a texture file, any that OpenImageIO reads. Returns null and says why in `error` where that fails. Integer
/// textures are linearised by value ^ gamma (colors only, after filtering) when gamma is not 1. Pixels are read when
/// look-ups need them, and cached for all textures together; a file that changed since it was last opened is read anew.
/// A file must not change while look-ups of it run.
std::unique_ptr<Texture> openTexture(const std::string& file, float gamma, std::string& error);

/// A texture from pixels in memory: rows from the bottom, `components` floats each (1 to 4), linearised as those of files
/// are where they were whole numbers (below 32 bits). Null where the sizes do not match the pixels.
std::unique_ptr<Texture> memoryTexture(std::vector<float> pixels, int width, int height, int components, int bits = 32,
                                       float gamma = 1);

}  // namespace lumorender
