// Widespread image formats, through OpenImageIO.
#include "image/library_output.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <OpenImageIO/imageio.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cmath>

namespace lumorender {
namespace {

struct CommonFormat {
    const char* name;    ///< as scenes and file endings call it
    const char* plugin;  ///< as the library calls it
    int depth;           ///< the most precise it has: 8, 16 or 32 (floats)
    bool gray;           ///< single values are allowed
    bool alpha;
    bool straight;  ///< alpha is straight: colors are divided by it
};

constexpr CommonFormat kFormats[] = {
    {"png", "png", 16, true, true, true},    {"tif", "tiff", 32, true, true, false},
    {"tiff", "tiff", 32, true, true, false}, {"tga", "targa", 8, true, true, true},
    {"jpg", "jpeg", 8, true, false, false},  {"jpeg", "jpeg", 8, true, false, false},
    {"hdr", "hdr", 32, false, false, false}, {"bmp", "bmp", 8, false, true, false},
    {"ppm", "pnm", 16, false, false, false}, {"pgm", "pnm", 16, true, false, false},
    {"iff", "iff", 8, false, true, false},   {"rla", "rla", 32, true, true, false},
    {"rgb", "sgi", 16, true, true, false},   {"sgi", "sgi", 16, true, true, false},
    {"dpx", "dpx", 16, false, true, false},  {"webp", "webp", 8, false, true, true},
};

const CommonFormat* find(const std::string& name) {
    const auto* end = std::end(kFormats);
    const auto* found = std::find_if(std::begin(kFormats), end, [&](const CommonFormat& f) { return name == f.name; });
    return found == end ? nullptr : found;
}

/// Channels in the file: 1 for single values, 3 for colors and vectors, 4 with alpha.
int channelsInFile(const CommonFormat& format, const PixelFormat& pixel) {
    if (pixel.channels == 1 && format.gray) return 1;
    return pixel.channels == 4 && format.alpha ? 4 : 3;
}

int depthInFile(const CommonFormat& format, const PixelFormat& pixel) {
    if (format.plugin == std::string("hdr")) return 32;
    if (pixel.bitDepth == 16 && format.plugin == std::string("rla")) return 16;
    return std::min(format.depth, pixel.bitDepth);
}

/// Straight-alpha formats hold the color that the pixel would have if it were fully covered.
void divideByAlpha(float* pixel) {
    if (pixel[3] > 0 && pixel[3] < 1)
        for (int c = 0; c < 3; ++c) pixel[c] /= pixel[3];
}

/// The range of integer files; what is no number becomes 0.
float clampUnit(float value) { return value > 0 ? std::min(value, 1.0f) : 0.0f; }

struct Encoding {
    int channels;
    bool integer, normal, gamma, straight;
    float exponent;
};

void encodePixel(float* pixel, const Encoding& how) {
    if (how.straight && how.channels == 4) divideByAlpha(pixel);
    for (int c = 0; c < how.channels && how.integer; ++c) {
        if (how.normal) pixel[c] = pixel[c] * 0.5f + 0.5f;
        pixel[c] = clampUnit(pixel[c]);
        if (how.gamma && c < 3) pixel[c] = std::pow(pixel[c], how.exponent);
    }
}

void encode(std::vector<float>& image, const Encoding& how, int height) {
    const std::size_t rowValues = image.size() / static_cast<std::size_t>(height);
    tbb::parallel_for(0, height, [&](int y) {
        float* row = image.data() + static_cast<std::size_t>(y) * rowValues;
        for (float* pixel = row; pixel < row + rowValues; pixel += how.channels) encodePixel(pixel, how);
    });
}

struct InsertMetadata {
    OIIO::ImageSpec& spec;
    const std::string& name;
    void operator()(const std::string& value) const { spec.attribute(name, value); }
    void operator()(int value) const { spec.attribute(name, value); }
    void operator()(float value) const {
        spec.attribute(name == "pixelAspectRatio" ? "PixelAspectRatio" : name, value);
    }
    void operator()(const std::vector<float>& value) const {
        const bool matrix = value.size() == 16;
        spec.attribute(
            name, matrix ? OIIO::TypeMatrix : OIIO::TypeDesc(OIIO::TypeDesc::FLOAT, static_cast<int>(value.size())),
            value.data());
    }
};

OIIO::ImageSpec makeSpec(const ImageFile& file, const DataWindow& window, int channels, OIIO::TypeDesc type,
                         const Metadata& metadata) {
    // The library passes over names that a format does not have; TIFF calls its run lengths "packbits", TGA "rle".
    const bool runLengths = file.compression == "rle" && file.path.extension() != ".tga";
    const std::string compression = runLengths ? "packbits" : file.compression;
    OIIO::ImageSpec spec(window.fullWidth, window.fullHeight, channels, type);
    for (const auto& [name, value] : metadata) std::visit(InsertMetadata{spec, name}, value);
    if (!file.compression.empty()) spec.attribute("compression", compression);
    if (file.quality >= 0) spec.attribute("CompressionQuality", std::clamp(file.quality, 1, 100));
    return spec;
}

/// Labels must arrive bit by bit, so only TIFF takes them here.
void writeLabels(WholeFile& target, const CommonFormat& format, const ImageFile& file, const DataWindow& window,
                 const Metadata& metadata) {
    if (format.plugin != std::string("tiff"))
        throw Failure(fmt::format("{} files cannot hold labels; exr, tif and tt can", format.name));
    const LayerImage& layer = *file.layers.front();
    const auto fullWidth = static_cast<std::size_t>(window.fullWidth), width = static_cast<std::size_t>(window.width);
    std::vector<std::uint32_t> image(fullWidth * static_cast<std::size_t>(window.fullHeight), 0);
    for (int row = 0; row < window.height; ++row) {
        const int fromTop = window.fullHeight - 1 - window.y0 - row;
        std::copy_n(layer.labels.data() + static_cast<std::size_t>(row) * width, width,
                    image.data() + static_cast<std::size_t>(fromTop) * fullWidth + static_cast<std::size_t>(window.x0));
    }
    const OIIO::ImageSpec spec = makeSpec(file, window, 1, OIIO::TypeDesc::UINT32, metadata);
    writeThroughLibrary(target, format.plugin, spec, OIIO::TypeDesc::UINT32, image.data());
}

}  // namespace

void writeThroughLibrary(WholeFile& target, const char* plugin, const OIIO::ImageSpec& spec, OIIO::TypeDesc given,
                         const void* pixels) {
    const auto output = OIIO::ImageOutput::create(plugin);
    if (!output) throw Failure(fmt::format("this build cannot write {} files ({})", plugin, OIIO::geterror()));
    // Runs of lengths and dictionaries may take more than the pixels themselves.
    const MemoryFile memory(2 * spec.image_bytes() + (1 << 16));
    if (!output->open(memory.name(), spec)) throw Failure(output->geterror());
    const bool written = output->write_image(given, pixels);
    const bool closed = output->close();
    if (!written || !closed) throw Failure(output->geterror());
    memory.copyTo(target);
}

bool isCommonFormat(const std::string& format) { return find(format) != nullptr; }

void writeCommon(WholeFile& target, const std::string& name, const ImageFile& file, const DataWindow& window,
                 const Metadata& metadata) {
    const CommonFormat& format = *find(name);
    const LayerImage& layer = *file.layers.front();
    const PixelFormat pixel = pixelFormat(layer.type);
    if (pixel.integer) return writeLabels(target, format, file, window, metadata);

    // The pixels as the file wants them: rows from the top, straight or multiplied alpha, display gamma.
    const int channels = channelsInFile(format, pixel), depth = depthInFile(format, pixel);
    const bool gamma = pixel.color && file.gamma > 0 && file.gamma != 1;
    std::vector<float> image =
        fullImage(layer.type, depth < 32 ? layer.shownPixels() : layer.pixels, window, channels, true);
    encode(image, {channels, depth < 32, layer.type == miIMG_TYPE_N, gamma, format.straight, 1 / file.gamma},
           window.fullHeight);

    const OIIO::TypeDesc type = depth == 8    ? OIIO::TypeDesc::UINT8
                                : depth == 16 ? OIIO::TypeDesc::UINT16
                                              : OIIO::TypeDesc::FLOAT;
    OIIO::ImageSpec spec = makeSpec(file, window, channels, type, metadata);
    if (format.straight) spec.attribute("oiio:UnassociatedAlpha", 1);
    if (format.plugin == std::string("pnm")) spec.attribute("pnm:pfmflip", 0);  // meant for floats, done to bytes, too
    writeThroughLibrary(target, format.plugin, spec, OIIO::TypeDesc::FLOAT, image.data());
}

}  // namespace lumorender
