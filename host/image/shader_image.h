// Images as shaders see them: a record, and pixels that they read and put one by one.
#pragma once

#include "image/image.h"
#include "mi/images.h"

namespace lumorender {

/// The record leads here, by its `host`. Pixels have as many channels as the record's type says; what a shader reads or
/// puts in another form is converted: a single value is gray as a color, a color is its luminance as a single value.
/// Vectors are for types of three channels that are no colors, and read as zero otherwise.
class ShaderImage : public miImg_image {
public:
    /// The rules say how much each color counts for luminance.
    ShaderImage(int columns, int rows, miImg_type kind, const ColorRules& rules = {});
    virtual ~ShaderImage() = default;
    ShaderImage(const ShaderImage&) = delete;
    ShaderImage& operator=(const ShaderImage&) = delete;

    int channels() const { return channels_; }

    /// Black where there is no such pixel.
    miColor color(int x, int y) const;
    void setColor(const miColor& color, int x, int y);
    miScalar scalar(int x, int y) const;
    void setScalar(miScalar value, int x, int y);
    miVector vector(int x, int y) const;
    void setVector(const miVector& vector, int x, int y);
    /// The label of a pixel, or null in images without labels, and where there is no such pixel.
    virtual miUint* label(int, int) { return nullptr; }

private:
    /// Of a pixel anywhere, all channels. False where there is none.
    virtual bool read(float* values, int x, int y) const = 0;
    /// The same; nothing happens where there is no pixel.
    virtual void write(const float* values, int x, int y) = 0;
    void put(const float* values, int count, int x, int y);

    int channels_;
    ColorRules rules_;
};

}  // namespace lumorender
