#include "image/shader_image.h"

#include "image/pixel_encoding.h"

#include <algorithm>
#include <array>

namespace lumorender {

ShaderImage::ShaderImage(int columns, int rows, miImg_type kind, const ColorRules& rules)
    : miImg_image{columns, rows, kind, nullptr}, channels_(pixelFormat(kind).channels), rules_(rules) {
    host = this;
}

miColor ShaderImage::color(int x, int y) const {
    std::array<float, 4> values = {}, color = {};
    if (!read(values.data(), x, y)) return {0, 0, 0, 0};
    if (channels_ == 4)
        color = values;
    else
        convertPixel(values.data(), channels_, color.data(), miIMG_TYPE_RGBA_FP, rules_);
    return {color[0], color[1], color[2], color[3]};
}

miScalar ShaderImage::scalar(int x, int y) const {
    std::array<float, 4> values = {};
    if (!read(values.data(), x, y) || channels_ == 1) return values[0];
    float value = 0;
    convertPixel(values.data(), channels_, &value, miIMG_TYPE_S_FP, rules_);
    return value;
}

miVector ShaderImage::vector(int x, int y) const {
    std::array<float, 4> values = {};
    if (channels_ != 3 || !read(values.data(), x, y)) return {0, 0, 0};
    return {values[0], values[1], values[2]};
}

void ShaderImage::setColor(const miColor& color, int x, int y) {
    const float values[4] = {color.r, color.g, color.b, color.a};
    put(values, 4, x, y);
}

void ShaderImage::setScalar(miScalar value, int x, int y) { put(&value, 1, x, y); }

void ShaderImage::setVector(const miVector& vector, int x, int y) {
    const float values[3] = {vector.x, vector.y, vector.z};
    if (channels_ == 3) put(values, 3, x, y);
}

void ShaderImage::put(const float* given, int count, int x, int y) {
    std::array<float, 4> values = {};
    if (count == channels_)
        std::copy_n(given, count, values.begin());
    else
        convertPixel(given, count, values.data(), type, rules_);
    write(values.data(), x, y);
}

}  // namespace lumorender
