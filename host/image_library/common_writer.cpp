// Widespread image formats, through OpenImageIO.
#include "image_library/functions.h"

#include "image/file_formats.h"
#include "image/pixel_encoding.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>

namespace lumorender {
namespace {

struct InsertMetadata {
    OIIO::ImageSpec& spec;
    const std::string& name;
    void operator()(const std::string& value) const { spec.attribute(name, value); }
    void operator()(int value) const { spec.attribute(name, value); }
    void operator()(float value) const { spec.attribute(name, value); }
    void operator()(const std::vector<float>& value) const {
        const bool matrix = value.size() == 16;
        spec.attribute(
            name, matrix ? OIIO::TypeMatrix : OIIO::TypeDesc(OIIO::TypeDesc::FLOAT, static_cast<int>(value.size())),
            value.data());
    }
};

/// Pixels per inch, of which two say the shape of a pixel, too; formats that keep no density may keep the shape.
void insertShape(OIIO::ImageSpec& spec, const FileFormat& format, float density, float shape) {
    if (format.density && (density > 0 || shape != 1)) {
        constexpr float kUsual = 72;
        spec.attribute("XResolution", density > 0 ? density : kUsual);
        spec.attribute("YResolution", (density > 0 ? density : kUsual) * shape);
        spec.attribute("ResolutionUnit", "in");
    }
    if (format.shape) spec.attribute("PixelAspectRatio", shape);
}

OIIO::ImageSpec makeSpec(const FileFormat& format, const ImageFile& file, const DataWindow& window, int channels,
                         OIIO::TypeDesc type, const Metadata& metadata) {
    OIIO::ImageSpec spec(window.fullWidth, window.fullHeight, channels, type);
    for (const auto& [name, value] : metadata)
        if (name != "pixelAspectRatio") std::visit(InsertMetadata{spec, name}, value);
    // The text that most formats have room for.
    if (metadata.contains("incomplete"))
        spec.attribute("ImageDescription", std::get<std::string>(metadata.at("incomplete")));
    insertShape(spec, format, file.density, pixelShape(metadata));
    // The library passes over names that a format does not have; TIFF calls its run lengths "packbits", TGA "rle".
    const bool packBits = file.compression == "rle" && format.plugin == std::string_view("tiff");
    if (hasWord(format.compressions, file.compression))
        spec.attribute("compression", packBits ? "packbits" : file.compression);
    if (file.quality >= 0) spec.attribute("CompressionQuality", std::clamp(file.quality, 1, 100));
    return spec;
}

/// Writes a whole image of `given` values by the plugin of this name. The plugins do not all notice that a disk is full,
/// and one of them ends the program then: they write into memory, from where checked writes take it to `target`. Throws
/// Failure with the plugin's reason.
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

}  // namespace

void writeCommonFile(WholeFile& target, const FileFormat& format, const ImageFile& file, const DataWindow& window,
                     const Metadata& metadata) {
    const FileLayer& layer = file.layers.front();
    const PixelFormat pixel = pixelFormat(layer.type);
    if (pixel.integer) {
        // Labels must arrive bit by bit.
        const auto labels = fullLabels(*layer.image, window, true);
        const OIIO::ImageSpec spec = makeSpec(format, file, window, 1, OIIO::TypeDesc::UINT32, metadata);
        return writeThroughLibrary(target, format.plugin, spec, OIIO::TypeDesc::UINT32, labels.data());
    }

    const int channels = channelsInFile(format, pixel), depth = depthInFile(format, pixel);
    const std::vector<float> image = filePixels(layer, window, {channels, depth, format.straight}, file.colors, true);
    const OIIO::TypeDesc type = depth == 8    ? OIIO::TypeDesc::UINT8
                                : depth == 16 ? OIIO::TypeDesc::UINT16
                                              : OIIO::TypeDesc::FLOAT;
    OIIO::ImageSpec spec = makeSpec(format, file, window, channels, type, metadata);
    if (format.straight || !file.colors.premultiplied) spec.attribute("oiio:UnassociatedAlpha", 1);
    if (format.plugin == std::string_view("pnm"))
        spec.attribute("pnm:pfmflip", 0);  // meant for floats, done to bytes, too
    writeThroughLibrary(target, format.plugin, spec, OIIO::TypeDesc::FLOAT, image.data());
}

void writePngFile(WholeFile& target, const RgbImage& image) {
    OIIO::ImageSpec spec(image.width, image.height, 3, OIIO::TypeDesc::UINT8);
    spec.attribute("oiio:ColorSpace", "sRGB");
    writeThroughLibrary(target, "png", spec, OIIO::TypeDesc::UINT8, image.pixels.data());
}

}  // namespace lumorender
