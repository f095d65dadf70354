// Texture files for shaders, through a cache.
#pragma once

#include "mi/types.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumorender {

/// A texture that look-ups read. Coordinates run 0..1 from the lower left corner and repeat outside.
class Texture {
public:
    virtual ~Texture() = default;
    /// Bilinear at a point (`filtered` false: nearest pixel). Thread-safe. False where the file cannot be read.
    virtual bool lookup(miColor& result, float u, float v, bool filtered) const = 0;
    /// Over a footprint given by the texture-space derivatives per pixel step (mip-mapped, anisotropic).
    virtual bool lookup(miColor& result, float u, float v, float dudx, float dvdx, float dudy, float dvdy) const = 0;
    virtual int width() const = 0;
    virtual int height() const = 0;
    virtual int components() const = 0;
};

/// Opens a texture file. Returns null and says why in `error` where that fails. Integer textures are linearised by
/// value ^ gamma when gamma is not 1.
std::unique_ptr<Texture> openTexture(const std::string& file, float gamma, std::string& error);

/// A texture from pixels in memory: rows from the bottom, `components` floats each.
std::unique_ptr<Texture> memoryTexture(std::vector<float> pixels, int width, int height, int components);

}  // namespace lumorender
