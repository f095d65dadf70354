// Finished frame buffers and how they reach files.
#pragma once

#include "mi/codes.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace lumorender {

/// Channels of a frame-buffer data type, and how they are kept while rendering and in files.
struct PixelFormat {
    int channels = 4;
    bool integer = false;  ///< labels and tags: one 32-bit unsigned integer
    bool half = false;     ///< half floats in files that have them (EXR); otherwise floats
    int bitDepth = 32;     ///< 8, 16, or 32 for "as precise as the file can"; formats with floats keep floats at 32
    bool color = true;     ///< colors, alpha and intensity are filtered by default, others keep one sample
};
PixelFormat pixelFormat(miImg_type type);

/// The data type of a name in the scene language ("rgba_fp", "z", "n" ...), or count where there is none.
miImg_type imageTypeByName(const std::string& name);

/// The scene language's name of a data type; "?" for a number that is none.
const char* imageTypeName(miImg_type type);

/// Whether the type is one channel of alpha.
bool isAlphaType(miImg_type type);

/// The data type that a file format holds when the scene names none: rgba_h for "exr", z for "zt", rgba for most.
/// Count for a format that cannot be written.
miImg_type naturalImageType(const std::string& fileFormat);

/// One frame buffer as an image. Rows run from the bottom, as raster space does; writers turn them.
struct LayerImage {
    std::string name;  ///< layer name; empty for the primary layer of a file (channels R G B A)
    miImg_type type = miIMG_TYPE_RGBA_FP;
    int width = 0, height = 0;  ///< of the data window below
    std::vector<float> pixels;  ///< channels per pixel by the type; empty for integer types
    std::vector<std::uint32_t> labels;
    /// Of the picture, its pixels for screens: each sample ends at white before it is filtered. A sample far above
    /// white would outweigh all others of its pixel, and leave the edges of lamps and highlights as stairs. Else empty.
    std::vector<float> shown = {};

    /// What files and pictures that end at white are made of.
    const std::vector<float>& shownPixels() const { return shown.empty() ? pixels : shown; }
};

/// The part of the full image that was rendered (camera window): pixels from the lower left corner.
struct DataWindow {
    int x0 = 0, y0 = 0, width = 0, height = 0;
    int fullWidth = 0, fullHeight = 0;
};

/// How colors come into the range of whole numbers; `clipColor` says more.
enum class ColorClip { Rgb, Alpha, Raw };

/// What the options say of colors in files. All but `premultiplied` are for 8 and 16 bits only; depths, normals and the
/// like are not touched.
struct ColorRules {
    float gamma = 1;  ///< value ^ (1 / gamma)
    ColorClip clip = ColorClip::Rgb;
    bool desaturate = false;    ///< colors that are too bright become paler
    bool premultiplied = true;  ///< false: colors are divided by alpha, in every file that has both
    bool dither = false;        ///< noise of one step, in place of bands
    std::array<float, 3> luminance = {.299f, .587f, .114f};
};

/// Linear colors of the render as the numbers of another color space.
struct ColorEncoding {
    std::array<float, 9> matrix = {1, 0, 0, 0, 1, 0, 0, 0, 1};  ///< a row of it for each of red, green and blue
    float gamma = 1;                                            ///< value ^ (1 / gamma)
    bool hasToe = false;                                        ///< sRGB's curve instead
};

/// A layer of a file, and what it is there: of a color buffer any type of colors, else its own type.
struct FileLayer {
    const LayerImage* image;
    miImg_type type;
    std::string name;                                    ///< empty for the one with the plain channels
    std::shared_ptr<const ColorEncoding> encoding = {};  ///< of colors, in the place of ColorRules::gamma; null = none

    FileLayer(const LayerImage* layer) : FileLayer(layer, layer->type) {}
    FileLayer(const LayerImage* layer, miImg_type as) : image(layer), type(as), name(layer->name) {}
};

/// Written into the file's header under its keys. In EXR files vectors of 2, 3, 9 and 16 floats become vectors and
/// matrices (row by row). "pixelAspectRatio" (float) sets the shape of the pixels, width by height. "incomplete" (text) marks
/// a picture that was stopped; in formats without room for texts only the file's name tells.
using Metadata = std::map<std::string, std::variant<std::string, int, float, std::vector<float>>>;

/// One image file with the layers that go into it.
struct ImageFile {
    std::filesystem::path path;
    std::string format;       ///< "exr", "png", "tif", "ct" ...; empty = from the path's ending
    std::string compression;  ///< EXR: none rle zips zip piz pxr24 b44 b44a dwaa dwab; empty = the format's
                              ///< default (EXR: piz, lossless and the fastest on noisy pictures)
    int quality = -1;         ///< 0..100 for lossy compression; -1 = the format's default
    float density = 0;        ///< pixels per inch of width; 0 = none
    bool tight = false;       ///< EXR: the data window ends where the last pixels are that hold anything
    ColorRules colors;
    std::vector<FileLayer> layers;
};

/// Writes the file, which takes its name when it is whole. Returns an empty string, or why it failed. Throws nothing.
/// Creates no folders.
///
/// EXR holds all layers in one part, in the compositors' channel names. Colors: `R G B A` for the layer without a name,
/// `name.R` and so on for others; alpha `name.A`, scalars and coverage `name.Y`, depth `name.Z`, normals and
/// motion `name.X name.Y name.Z`, bump gradients `name.U name.V`, labels `name.id` (unsigned integers). Without a name:
/// `A`, `Y`, `Z`, `N.X ..`, `motion.X ..`, `gradient.U ..`, `id`. Where two layers would share a channel the later one
/// is renamed (`name_2`), with a warning. Finite values outside the range of half floats are clamped to it.
///
/// Other formats hold the first layer only and warn about the rest. They hold the full image, black outside the
/// data window. Labels fit into exr, tif and tt only. Formats whose alpha is straight (png, tga, webp) get colors
/// divided by alpha. In 8- and 16-bit files normals are mapped from -1..1 to 0..1, all else is brought to 0..1. The
/// format "null" writes nothing.
std::string writeImageFile(const ImageFile& file, const DataWindow& window, const Metadata& metadata);

/// A PNG for a quick look at any layer: colors with the display curve (sRGB) over black, alpha as it is, normals mapped
/// from -1..1 to 0..1, scalars and depth scaled from their smallest to their largest value (far misses are white),
/// other vectors scaled by their largest component, labels in random but stable colors.
/// Returns an empty string, or why it failed.
std::string writePreview(const std::filesystem::path& path, const LayerImage& layer, const DataWindow& window);

/// A contact sheet (PNG, at most 2000 pixels wide) of all layers with their names, types and ranges of values.
/// Returns an empty string, or why it failed.
std::string writeContactSheet(const std::filesystem::path& path, const std::vector<const LayerImage*>& layers,
                              const DataWindow& window);

}  // namespace lumorender
