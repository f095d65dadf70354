// Multi-layer OpenEXR files: one part, every layer's channels beside each other, halves or floats by the layer's type.
#include "image/layers.h"
#include "image/pixel_encoding.h"

#include "support/messages.h"
#include "support/whole_file.h"

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFloatAttribute.h>
#include <OpenEXR/ImfFloatVectorAttribute.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfIntAttribute.h>
#include <OpenEXR/ImfMatrixAttribute.h>
#include <OpenEXR/ImfOutputFile.h>
#include <OpenEXR/ImfStandardAttributes.h>
#include <OpenEXR/ImfStringAttribute.h>
#include <OpenEXR/ImfThreading.h>
#include <OpenEXR/ImfVecAttribute.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

namespace lumorender {
namespace {

/// What the library writes goes through checks that its own streams do not make.
class CheckedStream : public Imf::OStream {
public:
    CheckedStream(const char* name, WholeFile& file) : OStream(name), file_(file) {}
    void write(const char bytes[], int count) override { file_.write(bytes, static_cast<std::size_t>(count)); }
    std::uint64_t tellp() override { return file_.position(); }
    void seekp(std::uint64_t position) override { file_.seek(position); }

private:
    WholeFile& file_;
};

constexpr float kLargestHalf = 65504.0f;

/// Rows that are converted and handed over at once: enough blocks for all threads, little memory beside the layers.
constexpr int kRowsAtOnce = 256;

/// A layer on its way into the file: its channels and the converted rows of the moment.
struct ExrLayer {
    const LayerImage* image;
    miImg_type as;
    std::vector<std::string> channels;
    Imf::PixelType type;
    std::size_t valueSize;
    const ColorEncoding* encoding;
    std::vector<char> rows;
};

Imf::PixelType exrType(const PixelFormat& format) {
    return format.integer ? Imf::UINT : format.half ? Imf::HALF : Imf::FLOAT;
}

/// The layer's channels; under another layer name where one of them is taken.
std::vector<std::string> freeChannels(const FileLayer& layer, std::set<std::string>& taken) {
    const auto clashes = [&](const std::vector<std::string>& names) {
        return std::any_of(names.begin(), names.end(), [&](const std::string& name) { return taken.count(name) > 0; });
    };
    std::vector<std::string> names = channelNames(layer.name, layer.type);
    std::string newName;
    for (int number = 2; clashes(names); ++number) {
        newName = fmt::format("{}_{}", layer.name.empty() ? "layer" : layer.name, number);
        names = channelNames(newName, layer.type);
    }
    if (!newName.empty())
        warning("IMG", "two layers would write the channels of '{}'; the second is written as '{}'", layer.name,
                newName);
    taken.insert(names.begin(), names.end());
    return names;
}

std::vector<ExrLayer> prepareLayers(const ImageFile& file) {
    std::vector<ExrLayer> layers;
    std::set<std::string> taken;
    for (const FileLayer& layer : file.layers) {
        const Imf::PixelType type = exrType(pixelFormat(layer.type));
        layers.push_back({layer.image,
                          layer.type,
                          freeChannels(layer, taken),
                          type,
                          type == Imf::HALF ? 2u : 4u,
                          layer.encoding.get(),
                          {}});
    }
    return layers;
}

Imf::Compression compressionOf(const ImageFile& file) {
    static const std::map<std::string, Imf::Compression> kNames{
        {"", Imf::PIZ_COMPRESSION},        {"none", Imf::NO_COMPRESSION},  {"rle", Imf::RLE_COMPRESSION},
        {"zips", Imf::ZIPS_COMPRESSION},   {"zip", Imf::ZIP_COMPRESSION},  {"piz", Imf::PIZ_COMPRESSION},
        {"pxr24", Imf::PXR24_COMPRESSION}, {"b44", Imf::B44_COMPRESSION},  {"b44a", Imf::B44A_COMPRESSION},
        {"dwaa", Imf::DWAA_COMPRESSION},   {"dwab", Imf::DWAB_COMPRESSION}};
    if (const auto found = kNames.find(file.compression); found != kNames.end()) return found->second;
    warning("IMG", "{}: '{}' is no EXR compression; piz is used", file.path.string(), file.compression);
    return Imf::PIZ_COMPRESSION;
}

void insertVector(Imf::Header& header, const std::string& name, const std::vector<float>& values) {
    const float* v = values.data();
    switch (values.size()) {
        case 2: header.insert(name, Imf::V2fAttribute({v[0], v[1]})); break;
        case 3: header.insert(name, Imf::V3fAttribute({v[0], v[1], v[2]})); break;
        case 9: header.insert(name, Imf::M33fAttribute({v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]})); break;
        case 16:
            header.insert(name, Imf::M44fAttribute({v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10],
                                                    v[11], v[12], v[13], v[14], v[15]}));
            break;
        default: header.insert(name, Imf::FloatVectorAttribute(values));
    }
}

struct InsertMetadata {
    Imf::Header& header;
    const std::string& name;
    void operator()(const std::string& value) const { header.insert(name, Imf::StringAttribute(value)); }
    void operator()(int value) const { header.insert(name, Imf::IntAttribute(value)); }
    void operator()(float value) const { header.insert(name, Imf::FloatAttribute(value)); }
    void operator()(const std::vector<float>& value) const { insertVector(header, name, value); }
};

/// Metadata must not cost the picture: a key that the format keeps for itself is left out.
void insertMetadata(Imf::Header& header, const Metadata& metadata) {
    for (const auto& [name, value] : metadata) {
        try {
            std::visit(InsertMetadata{header, name}, value);
        } catch (const std::exception& problem) {
            warning("IMG", "the metadata '{}' cannot be stored: {}", name, problem.what());
        }
    }
}

/// The format's rows run downwards, so the window's upper edge is its first row.
Imf::Header makeHeader(const ImageFile& file, const DataWindow& window, const std::vector<ExrLayer>& layers,
                       const Metadata& metadata) {
    const int top = window.fullHeight - window.y0 - window.height;
    const Imath::Box2i full({0, 0}, {window.fullWidth - 1, window.fullHeight - 1});
    const Imath::Box2i data({window.x0, top}, {window.x0 + window.width - 1, top + window.height - 1});
    Imf::Header header(full, data, 1, {0, 0}, 1, Imf::INCREASING_Y, compressionOf(file));
    insertMetadata(header, metadata);
    for (const ExrLayer& layer : layers)
        for (const std::string& channel : layer.channels) header.channels().insert(channel, Imf::Channel(layer.type));
    // Quality 90 is the compression level 45 that such files usually have.
    if (file.density > 0) Imf::addXDensity(header, file.density);
    if (file.quality >= 0) header.dwaCompressionLevel() = 4.5f * static_cast<float>(100 - std::min(file.quality, 100));
    return header;
}

/// Nearest half, with finite values kept finite: an infinite pixel spoils every filter of a compositor.
Imath::half toHalf(float value) {
    return Imath::half(std::isfinite(value) ? std::clamp(value, -kLargestHalf, kLargestHalf) : value);
}

/// Part of a layer, which is stored upside down.
struct Part {
    int left, top, width;  ///< of the layer's rows counted from the top
};

/// A row as the file has it, where that is not what the layer holds: other channels, colors of another space or divided
/// by alpha.
const float* convertedRow(const ExrLayer& layer, const float* source, int width, const ColorRules& rules,
                          std::vector<float>& row) {
    const int from = pixelFormat(layer.image->type).channels;
    const bool isColor = pixelFormat(layer.as).color;
    const bool divide = !rules.premultiplied && from == 4 && isColor;
    const ColorEncoding* encoding = from >= 3 && isColor && !isAlphaType(layer.as) ? layer.encoding : nullptr;
    if (layer.as == layer.image->type && !divide && !encoding) return source;
    const std::size_t channels = layer.channels.size();
    row.resize(static_cast<std::size_t>(width) * channels);
    for (int x = 0; x < width; ++x, source += from) {
        float pixel[4] = {};
        std::copy_n(source, from, pixel);
        if (encoding) toPrimaries(pixel, *encoding);
        if (divide) divideByAlpha(pixel);
        float* target = &row[static_cast<std::size_t>(x) * channels];
        convertPixel(pixel, from, target, layer.as, rules);
        if (encoding)
            for (std::size_t c = 0; c < std::min<std::size_t>(channels, 3); ++c)
                target[c] = curved(target[c], *encoding);
    }
    return row.data();
}

/// Converts `count` rows of the part from its row `top` on.
void convertRows(ExrLayer& layer, const Part& part, int top, int count, const ColorRules& rules) {
    const auto values = static_cast<std::size_t>(part.width) * layer.channels.size();
    const std::size_t rowBytes = values * layer.valueSize;
    const auto sourceChannels = static_cast<std::size_t>(pixelFormat(layer.image->type).channels);
    layer.rows.resize(rowBytes * static_cast<std::size_t>(count));
    std::vector<float> converted;
    for (int row = 0; row < count; ++row) {
        const int fromTop = part.top + top + row;
        const std::size_t pixel =
            static_cast<std::size_t>(layer.image->height - 1 - fromTop) * static_cast<std::size_t>(layer.image->width) +
            static_cast<std::size_t>(part.left);
        char* target = layer.rows.data() + rowBytes * static_cast<std::size_t>(row);
        if (layer.type == Imf::UINT) {
            std::memcpy(target, &layer.image->labels[pixel], rowBytes);
            continue;
        }
        const float* source =
            convertedRow(layer, &layer.image->pixels[pixel * sourceChannels], part.width, rules, converted);
        if (layer.type == Imf::HALF)
            std::transform(source, source + values, reinterpret_cast<Imath::half*>(target), toHalf);
        else
            std::memcpy(target, source, rowBytes);
    }
}

/// The smallest part of the layers outside of which all is zero; one pixel where everything is.
DataWindow tightWindow(const std::vector<ExrLayer>& layers, const DataWindow& window) {
    int left = window.width, right = -1, low = window.height, high = -1;
    const auto include = [&](const auto& values, std::size_t channels) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i] == 0) continue;
            const auto pixel = static_cast<int>(i / channels);
            left = std::min(left, pixel % window.width), right = std::max(right, pixel % window.width);
            low = std::min(low, pixel / window.width), high = std::max(high, pixel / window.width);
        }
    };
    for (const ExrLayer& layer : layers) {
        include(layer.image->labels, 1);
        include(layer.image->pixels, static_cast<std::size_t>(pixelFormat(layer.image->type).channels));
    }
    DataWindow tight = window;
    if (right < 0) left = right = low = high = 0;
    tight.x0 += left, tight.width = right - left + 1;
    tight.y0 += low, tight.height = high - low + 1;
    return tight;
}

/// Describes the converted rows, whose first stands at `origin` in the file.
Imf::FrameBuffer frameBuffer(const std::vector<ExrLayer>& layers, const Imath::V2i& origin, int width, int count) {
    Imf::FrameBuffer buffer;
    for (const ExrLayer& layer : layers) {
        const std::size_t pixelSize = layer.valueSize * layer.channels.size();
        for (std::size_t c = 0; c < layer.channels.size(); ++c)
            buffer.insert(layer.channels[c],
                          Imf::Slice::Make(layer.type, layer.rows.data() + c * layer.valueSize, origin, width, count,
                                           pixelSize, pixelSize * static_cast<std::size_t>(width)));
    }
    return buffer;
}

}  // namespace

void writeExr(WholeFile& target, const ImageFile& file, const DataWindow& window, const Metadata& metadata) {
    std::vector<ExrLayer> layers = prepareLayers(file);
    const DataWindow stored = file.tight ? tightWindow(layers, window) : window;
    const Imf::Header header = makeHeader(file, stored, layers, metadata);
    const int threads = tbb::this_task_arena::max_concurrency();
    if (Imf::globalThreadCount() != threads) Imf::setGlobalThreadCount(threads);
    CheckedStream stream(file.path.c_str(), target);
    Imf::OutputFile output(stream, header);

    // Convert a band of every layer, then let the library compress the band on all threads.
    const Imath::V2i corner = header.dataWindow().min;
    const Part part{stored.x0 - window.x0, window.y0 + window.height - stored.y0 - stored.height, stored.width};
    for (int top = 0; top < stored.height; top += kRowsAtOnce) {
        const int count = std::min(kRowsAtOnce, stored.height - top);
        tbb::parallel_for(std::size_t{0}, layers.size(),
                          [&](std::size_t i) { convertRows(layers[i], part, top, count, file.colors); });
        output.setFrameBuffer(frameBuffer(layers, {corner.x, corner.y + top}, stored.width, count));
        output.writePixels(count);
    }
}

}  // namespace lumorender
