// Pixels of layers as files want them: channels of another type, the range of whole numbers, straight alpha, gamma.
#pragma once

#include "image/image.h"

#include <vector>

namespace lumorender {

/// Brings a color and its alpha into the range 0..1, as files of whole numbers end there. What is no number becomes 0.
///
/// `Rgb`: colors keep their brightness, and alpha is raised to the largest of them where it is smaller, so that the
/// color is one of a covered part of the pixel. `Alpha`: alpha counts, colors end at it. `Raw`: each for itself; so it
/// is for straight colors, too, which may well be brighter than alpha. With `desaturate` colors that are too bright
/// become paler, by as much as their luminance needs to stay, in place of losing their hue's strongest part.
void clipColor(float* rgba, const ColorRules& rules);

/// The color with the primaries of the encoding, linear.
void toPrimaries(float* rgb, const ColorEncoding& encoding);

/// A linear number as the encoding has it; negative ones are mirrored.
float curved(float linear, const ColorEncoding& encoding);

/// Of a color and its alpha; straight colors of nothing stay as they are.
void divideByAlpha(float* rgba);

/// One pixel of `from` channels as a type with other channels: a missing alpha is 1, a single value becomes gray, gray
/// values are luminance, and `a` types are the alpha.
void convertPixel(const float* source, int from, float* target, miImg_type type, const ColorRules& rules);

/// What an image file holds per pixel.
struct FilePixels {
    int channels = 4;
    int depth = 32;         ///< 8 or 16: values lie in 0..1; 32: floats as they are
    bool straight = false;  ///< the format wants colors that are divided by alpha
};

/// The full image as the file's type says, black outside the data window; rows from the top or from the bottom. Values for
/// 8 and 16 bits are clipped, raised to 1 / gamma and dithered, so that all that is left is to round them.
std::vector<float> filePixels(const FileLayer& layer, const DataWindow& window, const FilePixels& how,
                              const ColorRules& rules, bool fromTop);

/// Nearest of the numbers 0..largest; what is no number becomes 0.
std::uint32_t quantize(float value, float largest);

}  // namespace lumorender
