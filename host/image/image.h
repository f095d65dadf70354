// Finished frame buffers and how they reach files.
#pragma once

#include "mi/codes.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace lumorender {

/// Channels of a frame-buffer data type, and how they are kept while rendering and in files.
struct PixelFormat {
    int channels = 4;
    bool integer = false;    ///< labels and tags: one 32-bit unsigned integer
    bool half = false;       ///< written as half floats where the file can
    int bitDepth = 32;       ///< 8 or 16 for integer image files
    bool color = true;       ///< color types are filtered by default, others keep one sample
};
PixelFormat pixelFormat(miImg_type type);

/// The data type of a name in the scene language ("rgba_fp", "z", "n" ...), or count where there is none.
miImg_type imageTypeByName(const std::string& name);

/// One frame buffer as an image. Rows run from the bottom, as raster space does; writers turn them.
struct LayerImage {
    std::string name;                 ///< layer name; empty for the primary layer of a file (channels R G B A)
    miImg_type type = miIMG_TYPE_RGBA_FP;
    int width = 0, height = 0;        ///< of the data window below
    std::vector<float> pixels;        ///< channels per pixel by the type; empty for integer types
    std::vector<std::uint32_t> labels;
};

/// The part of the full image that was rendered (camera window): pixels from the lower left corner.
struct DataWindow {
    int x0 = 0, y0 = 0, width = 0, height = 0;
    int fullWidth = 0, fullHeight = 0;
};

using Metadata = std::map<std::string, std::variant<std::string, int, float, std::vector<float>>>;

/// One image file with the layers that go into it.
struct ImageFile {
    std::filesystem::path path;
    std::string format;               ///< "exr", "png", "tif" ...; empty = from the path's ending
    std::string compression;          ///< "none", "piz", "zip", "rle", "pxr24", "dwaa"; empty = the format's default
    int quality = -1;
    float gamma = 1;                  ///< for 8- and 16-bit files: value ^ (1 / gamma)
    std::vector<const LayerImage*> layers;
};

/// Writes the file (through a temporary name, so that an interrupted write leaves no half file). EXR holds all layers,
/// in the compositors' channel names (`diffuse.R`, `depth.Z`, `N.X`); other formats hold the first layer only and warn
/// about the rest. Returns an empty string, or why it failed. Throws nothing.
std::string writeImageFile(const ImageFile& file, const DataWindow& window, const Metadata& metadata);

/// A PNG for a quick look at any layer: colors with the display curve (sRGB), depth and vectors scaled to their range.
std::string writePreview(const std::filesystem::path& path, const LayerImage& layer, const DataWindow& window);

/// A contact sheet of all layers with their names, for a quick look.
std::string writeContactSheet(const std::filesystem::path& path, const std::vector<const LayerImage*>& layers,
                              const DataWindow& window);

}  // namespace lumorender
