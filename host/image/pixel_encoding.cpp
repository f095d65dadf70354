#include "image/pixel_encoding.h"

#include "support/quasi_random.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>

namespace lumorender {

namespace {

/// What is no number becomes 0.
float clampTo(float value, float limit) { return value > 0 ? std::min(value, limit) : 0.0f; }

float luminanceOf(const float* color, const ColorRules& rules) {
    return color[0] * rules.luminance[0] + color[1] * rules.luminance[1] + color[2] * rules.luminance[2];
}

/// Moves the color towards the gray of its luminance until its channels lie between 0 and the limit.
void desaturate(float* color, float limit, const ColorRules& rules) {
    const float gray = clampTo(luminanceOf(color, rules), limit);
    float keep = 1;
    for (int c = 0; c < 3; ++c) {
        if (color[c] > limit) keep = std::min(keep, (limit - gray) / (color[c] - gray));
        if (color[c] < 0) keep = std::min(keep, gray / (gray - color[c]));
    }
    for (int c = 0; c < 3; ++c) color[c] = gray + (color[c] - gray) * keep;
}

/// How the pixels of one file become what it holds.
class Encoder {
public:
    Encoder(const FileLayer& layer, const FilePixels& how, const ColorRules& rules)
        : how_(how),
          rules_(rules),
          type_(layer.type),
          format_(pixelFormat(layer.type)),
          from_(pixelFormat(layer.image->type).channels),
          isAlpha_(isAlphaType(layer.type)),
          encoding_(layer.encoding.get()),
          exponent_(rules.gamma > 0 ? 1 / rules.gamma : 1) {}

    /// `x` and `y` count from the lower left corner of the image.
    void encode(const float* source, float* target, int x, int y) const {
        float pixel[4] = {0, 0, 0, 1};
        if (format_.color && from_ >= 3)
            encodeColor(source, pixel);
        else
            encodeData(source, pixel);
        if (how_.depth < 32)
            finish(pixel, x, y);
        else if (encoding_ && format_.color && !isAlpha_)
            for (int c = 0; c < 3; ++c) pixel[c] = curved(pixel[c], *encoding_);
        std::copy_n(pixel, how_.channels, target);
    }

private:
    void encodeColor(const float* source, float* pixel) const {
        float rgba[4] = {source[0], source[1], source[2], from_ == 4 ? source[3] : 1.0f};
        if (encoding_) toPrimaries(rgba, *encoding_);
        if (!rules_.premultiplied) divideByAlpha(rgba);
        if (how_.depth < 32 && !isAlpha_) clipColor(rgba, rules_);
        if (how_.straight && how_.channels == 4 && rules_.premultiplied) divideByAlpha(rgba);
        float converted[4] = {};
        convertPixel(rgba, 4, converted, type_, rules_);
        spread(converted, format_.channels, pixel);
    }

    void encodeData(const float* source, float* pixel) const {
        float own[4] = {};
        std::copy_n(source, std::min(from_, 4), own);
        if (how_.depth < 32 && type_ == miIMG_TYPE_N)
            for (float& value : own) value = value * 0.5f + 0.5f;
        spread(own, from_, pixel);
    }

    void spread(const float* values, int count, float* pixel) const {
        for (int c = 0; c < 3; ++c) pixel[c] = count == 1 ? values[0] : c < count ? values[c] : 0.0f;
        if (count == 4) pixel[3] = values[3];
    }

    void finish(float* pixel, int x, int y) const {
        const float steps = how_.depth == 8 ? 255.0f : 65535.0f;
        for (int c = 0; c < how_.channels; ++c) {
            pixel[c] = clampTo(pixel[c], 1);
            const bool isColor = format_.color && !isAlpha_ && c < 3;
            if (isColor && encoding_)
                pixel[c] = curved(pixel[c], *encoding_);
            else if (isColor && exponent_ != 1)
                pixel[c] = std::pow(pixel[c], exponent_);
            if (isColor && rules_.dither) pixel[c] = clampTo(pixel[c] + noise(x, y, c) / steps, 1);
        }
    }

    /// -1/2 to 1/2, the same in every render of the pixel: rounding then gives the value in the mean of many pixels.
    static float noise(int x, int y, int c) {
        const std::uint32_t place = mixSeeds(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
        return static_cast<float>(mixSeeds(place, static_cast<std::uint32_t>(c)) >> 8) / 16777216.0f - 0.5f;
    }

    const FilePixels& how_;
    const ColorRules& rules_;
    miImg_type type_;
    PixelFormat format_;
    int from_;
    bool isAlpha_;
    const ColorEncoding* encoding_;
    float exponent_;
};

}  // namespace

void toPrimaries(float* rgb, const ColorEncoding& encoding) {
    const float r = rgb[0], g = rgb[1], b = rgb[2];
    const auto& m = encoding.matrix;
    for (std::size_t c = 0; c < 3; ++c) rgb[c] = r * m[c] + g * m[3 + c] + b * m[6 + c];
}

float curved(float linear, const ColorEncoding& encoding) {
    const float size = std::abs(linear);
    if (encoding.hasToe)
        return std::copysign(size <= .0031308f ? 12.92f * size : 1.055f * std::pow(size, 1 / 2.4f) - .055f, linear);
    return encoding.gamma == 1 ? linear : std::copysign(std::pow(size, 1 / encoding.gamma), linear);
}

void divideByAlpha(float* rgba) {
    if (rgba[3] > 0 && rgba[3] < 1)
        for (int c = 0; c < 3; ++c) rgba[c] /= rgba[3];
}

void clipColor(float* rgba, const ColorRules& rules) {
    const float alpha = clampTo(rgba[3], 1);
    const bool raw = rules.clip == ColorClip::Raw || !rules.premultiplied;
    const float limit = !raw && rules.clip == ColorClip::Alpha ? alpha : 1.0f;
    if (rules.desaturate) desaturate(rgba, limit, rules);
    for (int c = 0; c < 3; ++c) rgba[c] = clampTo(rgba[c], limit);
    rgba[3] = !raw && rules.clip == ColorClip::Rgb ? std::max({rgba[0], rgba[1], rgba[2], alpha}) : alpha;
}

void convertPixel(const float* source, int from, float* target, miImg_type type, const ColorRules& rules) {
    const int to = pixelFormat(type).channels;
    if (from >= 3 && to == 1) {
        target[0] = isAlphaType(type) ? (from == 4 ? source[3] : 1.0f) : luminanceOf(source, rules);
        return;
    }
    for (int c = 0; c < std::min(to, 3); ++c) target[c] = from == 1 ? source[0] : c < from ? source[c] : 0.0f;
    if (to == 4) target[3] = from == 4 ? source[3] : 1.0f;
}

std::vector<float> filePixels(const FileLayer& layer, const DataWindow& window, const FilePixels& how,
                              const ColorRules& rules, bool fromTop) {
    // Mattes are the alpha as it was, not as colors raised it.
    const bool shown = how.depth < 32 && !isAlphaType(layer.type);
    const std::vector<float>& pixels = shown ? layer.image->shownPixels() : layer.image->pixels;
    const auto fullWidth = static_cast<std::size_t>(window.fullWidth), to = static_cast<std::size_t>(how.channels);
    const auto from = static_cast<std::size_t>(pixelFormat(layer.image->type).channels);
    std::vector<float> image(fullWidth * static_cast<std::size_t>(window.fullHeight) * to, 0.0f);
    const Encoder encoder(layer, how, rules);
    tbb::parallel_for(0, window.height, [&](int row) {
        const int y = window.y0 + row, fileRow = fromTop ? window.fullHeight - 1 - y : y;
        const float* source =
            pixels.data() + static_cast<std::size_t>(row) * from * static_cast<std::size_t>(window.width);
        float* target =
            image.data() + (static_cast<std::size_t>(fileRow) * fullWidth + static_cast<std::size_t>(window.x0)) * to;
        for (int x = 0; x < window.width; ++x, source += from, target += to)
            encoder.encode(source, target, window.x0 + x, y);
    });
    return image;
}

std::uint32_t quantize(float value, float largest) {
    return value > 0 ? static_cast<std::uint32_t>(std::lround(std::min(value, 1.0f) * largest)) : 0;
}

}  // namespace lumorender
