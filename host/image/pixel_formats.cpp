// What is known about each frame-buffer data type, in one table.
#include "image/image.h"
#include "image/layers.h"

#include "support/messages.h"

#include <array>

namespace lumorender {
namespace {

struct TypeFacts {
    const char* name;
    PixelFormat format;
    const char* suffixes;      ///< one letter per channel in EXR files; "#" stands for "id"
    const char* defaultLayer;  ///< layer name of an unnamed layer whose bare letters could be taken for something else
};

constexpr PixelFormat kLabel{1, true, false, 32, false};

constexpr PixelFormat color(int channels, int depth, bool half) { return {channels, false, half, depth, true}; }
constexpr PixelFormat data(int channels) { return {channels, false, false, 32, false}; }

// In the order of miImg_type. Eight bits fit into half floats without loss, sixteen do not.
constexpr std::array<TypeFacts, miIMG_TYPE_COUNT> kTypes{{
    {"rgba", color(4, 8, true), "RGBA", ""},
    {"rgba_16", color(4, 16, false), "RGBA", ""},
    {"rgb", color(3, 8, true), "RGB", ""},
    {"rgb_16", color(3, 16, false), "RGB", ""},
    {"a", color(1, 8, true), "A", ""},
    {"a_16", color(1, 16, false), "A", ""},
    {"s", color(1, 8, true), "Y", ""},
    {"s_16", color(1, 16, false), "Y", ""},
    {"vta", data(2), "UV", "gradient"},
    {"vts", data(2), "UV", "gradient"},
    {"z", data(1), "Z", ""},
    {"n", data(3), "XYZ", "N"},
    {"tag", kLabel, "#", ""},
    {"rgba_fp", color(4, 32, false), "RGBA", ""},
    {"m", data(3), "XYZ", "motion"},
    {"bit", {1, false, true, 8, false}, "Y", ""},
    {"rgb_fp", color(3, 32, false), "RGB", ""},
    {"coverage", data(1), "Y", ""},
    {"rgbe", color(3, 32, false), "RGB", ""},
    {"a_fp", color(1, 32, false), "A", ""},
    {"s_fp", color(1, 32, false), "Y", ""},
    {"rgba_h", color(4, 32, true), "RGBA", ""},
    {"rgb_h", color(3, 32, true), "RGB", ""},
    {"a_h", color(1, 32, true), "A", ""},
    {"s_h", color(1, 32, true), "Y", ""},
}};

const TypeFacts* facts(miImg_type type) {
    const auto index = static_cast<std::size_t>(type);
    return index < kTypes.size() ? &kTypes[index] : nullptr;
}

}  // namespace

PixelFormat pixelFormat(miImg_type type) {
    const TypeFacts* known = facts(type);
    return known ? known->format : PixelFormat{};
}

miImg_type imageTypeByName(const std::string& name) {
    for (std::size_t i = 0; i < kTypes.size(); ++i)
        if (name == kTypes[i].name) return static_cast<miImg_type>(i);
    return miIMG_TYPE_COUNT;
}

const char* imageTypeName(miImg_type type) {
    const TypeFacts* known = facts(type);
    return known ? known->name : "?";
}

bool isAlphaType(miImg_type type) {
    return type == miIMG_TYPE_A || type == miIMG_TYPE_A_16 || type == miIMG_TYPE_A_FP || type == miIMG_TYPE_A_H;
}

float pixelShape(const Metadata& metadata) {
    const auto found = metadata.find("pixelAspectRatio");
    const float* shape = found == metadata.end() ? nullptr : std::get_if<float>(&found->second);
    return shape ? *shape : 1.0f;
}

std::vector<std::string> channelNames(const std::string& layerName, miImg_type type) {
    const TypeFacts* known = facts(type);
    if (!known) return {};
    std::string prefix = layerName.empty() ? known->defaultLayer : layerName;
    if (!prefix.empty()) prefix += '.';
    std::vector<std::string> names;
    for (const char* letter = known->suffixes; *letter; ++letter)
        names.push_back(prefix + (*letter == '#' ? std::string("id") : std::string(1, *letter)));
    return names;
}

void checkLayer(const LayerImage& layer, const DataWindow& window) {
    const auto complain = [&](const std::string& what) {
        throw Failure(fmt::format("layer '{}': {}", layer.name.empty() ? "(primary)" : layer.name, what));
    };
    if (!facts(layer.type)) complain(fmt::format("{} is no data type", static_cast<int>(layer.type)));
    if (layer.width <= 0 || layer.height <= 0 || layer.width != window.width || layer.height != window.height)
        complain(fmt::format("its {} x {} pixels do not fill the window of {} x {}", layer.width, layer.height,
                             window.width, window.height));
    if (window.x0 < 0 || window.y0 < 0 || window.x0 > window.fullWidth - window.width ||
        window.y0 > window.fullHeight - window.height)
        complain("the window reaches out of the image");
    const PixelFormat format = pixelFormat(layer.type);
    const std::size_t expected = pixelCount(layer) * static_cast<std::size_t>(format.channels);
    const std::size_t found = format.integer ? layer.labels.size() : layer.pixels.size();
    if (found != expected) complain(fmt::format("it has {} values where {} were expected", found, expected));
}

}  // namespace lumorender
