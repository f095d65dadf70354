#include "image/block_image.h"

#include <algorithm>
#include <new>

namespace lumorender {

namespace {

constexpr std::size_t rounded(std::size_t size) { return (size + 15) / 16 * 16; }
constexpr std::size_t kRecord = rounded(sizeof(miImg_image));

std::size_t valuesOf(int columns, int rows, miImg_type kind) {
    return static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows) *
           static_cast<std::size_t>(pixelFormat(kind).channels);
}

}  // namespace

std::size_t BlockImage::sizeFor(int columns, int rows, miImg_type kind) {
    return kRecord + rounded(sizeof(BlockImage)) + valuesOf(columns, rows, kind) * sizeof(float);
}

miImg_image* BlockImage::make(void* block, int columns, int rows, miImg_type kind, const ColorRules& rules) {
    auto* bytes = static_cast<std::byte*>(block);
    auto* pixels = reinterpret_cast<float*>(bytes + kRecord + rounded(sizeof(BlockImage)));
    const auto* image = new (bytes + kRecord) BlockImage(columns, rows, kind, rules, pixels);
    return new (block) miImg_image(*image);
}

BlockImage::BlockImage(int columns, int rows, miImg_type kind, const ColorRules& rules, float* pixels)
    : ShaderImage(columns, rows, kind, rules), pixels_(pixels), labels_(pixelFormat(kind).integer) {}

std::size_t BlockImage::values() const { return valuesOf(width, height, type); }

std::size_t BlockImage::indexOf(int x, int y) const {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) *
           static_cast<std::size_t>(channels());
}

miUint* BlockImage::label(int x, int y) { return labels_ && isInside(x, y) ? labels() + indexOf(x, y) : nullptr; }

bool BlockImage::read(float* values, int x, int y) const {
    if (labels_ || !isInside(x, y)) return false;
    std::copy_n(pixels_ + indexOf(x, y), channels(), values);
    return true;
}

void BlockImage::write(const float* values, int x, int y) {
    if (!labels_ && isInside(x, y)) std::copy_n(values, channels(), pixels_ + indexOf(x, y));
}

}  // namespace lumorender
