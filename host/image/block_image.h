// Images whose record, keeper and pixels are one block of memory, so that shaders may release them by their record.
#pragma once

#include "image/shader_image.h"

#include <cstddef>

namespace lumorender {

/// The layout of a block: the record that shaders hold, the image, its pixels.
class BlockImage final : public ShaderImage {
public:
    /// Bytes of a block.
    static std::size_t sizeFor(int columns, int rows, miImg_type kind);
    /// Makes an image in a zeroed block of that size. Needs no destructor.
    static miImg_image* make(void* block, int columns, int rows, miImg_type kind, const ColorRules& rules);

    bool isLabels() const { return labels_; }
    std::size_t values() const;
    float* pixels() { return pixels_; }
    miUint* labels() { return reinterpret_cast<miUint*>(pixels_); }

    miUint* label(int x, int y) override;

private:
    BlockImage(int columns, int rows, miImg_type kind, const ColorRules& rules, float* pixels);

    bool isInside(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
    std::size_t indexOf(int x, int y) const;
    bool read(float* values, int x, int y) const override;
    void write(const float* values, int x, int y) override;

    float* pixels_;
    bool labels_;
};

}  // namespace lumorender
