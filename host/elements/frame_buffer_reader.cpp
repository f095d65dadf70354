#include "elements/element_readers.h"

#include "parameters/shader_calls.h"
#include "parsing/statements.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace lumorender {

namespace {

struct TypeName {
    std::string_view name;
    miImg_type type;
    bool isColor;  ///< the samples of a pixel may be averaged
};

constexpr TypeName kTypes[] = {
    {"rgba", miIMG_TYPE_RGBA, true},
    {"rgba_16", miIMG_TYPE_RGBA_16, true},
    {"rgba_fp", miIMG_TYPE_RGBA_FP, true},
    {"rgba_h", miIMG_TYPE_RGBA_H, true},
    {"rgb", miIMG_TYPE_RGB, true},
    {"rgb_16", miIMG_TYPE_RGB_16, true},
    {"rgb_fp", miIMG_TYPE_RGB_FP, true},
    {"rgb_h", miIMG_TYPE_RGB_H, true},
    {"rgbe", miIMG_TYPE_RGBE, true},
    {"a", miIMG_TYPE_A, true},
    {"a_16", miIMG_TYPE_A_16, true},
    {"a_fp", miIMG_TYPE_A_FP, true},
    {"a_h", miIMG_TYPE_A_H, true},
    {"s", miIMG_TYPE_S, true},
    {"s_16", miIMG_TYPE_S_16, true},
    {"s_fp", miIMG_TYPE_S_FP, true},
    {"s_h", miIMG_TYPE_S_H, true},
    {"vta", miIMG_TYPE_VTA, false},
    {"vts", miIMG_TYPE_VTS, false},
    {"z", miIMG_TYPE_Z, false},
    {"n", miIMG_TYPE_N, false},
    {"m", miIMG_TYPE_M, false},
    {"tag", miIMG_TYPE_TAG, false},
    {"bit", miIMG_TYPE_BIT, false},
    {"coverage", miIMG_TYPE_COVERAGE, false},
};

bool isColor(miImg_type type) {
    return std::any_of(std::begin(kTypes), std::end(kTypes),
                       [&](const TypeName& t) { return t.type == type && t.isColor; });
}

const TypeName* findType(std::string_view name) {
    const auto* found =
        std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeName& t) { return t.name == name; });
    return found == std::end(kTypes) ? nullptr : found;
}

struct FrameBufferReader {
    SceneContext& scene;
    Cursor& in;
    FrameBufferDescription& buffer;
    std::optional<bool> filtering = {};
    std::optional<bool> primary = {};

    /// "+" and "-" before a type say whether samples are averaged.
    void readType() {
        std::string_view name = in.readName("a data type");
        if (name.starts_with('+') || name.starts_with('-')) {
            filtering = name.front() == '+';
            name.remove_prefix(1);
        }
        if (!setBufferType(buffer, name))
            scene.problems.error(in.place(), fmt::format("found data type \"{}\", expected one like rgba_fp", name));
    }

    void readFileName() {
        buffer.where = in.place().text();
        buffer.filename = scene.readFileName();
    }

    void readProfile() {
        const miTag profile = scene.readReference({miSCENE_COLORPROFILE}, "a color profile");
        buffer.colorProfile = scene.database.name(profile);
    }
};

using Reader = FrameBufferReader;

const StatementTable<Reader>& items() {
    // clang-format off
    static const StatementTable<Reader> table = {
        {"datatype", [](Reader& r) { r.readType(); }},
        {"filetype", [](Reader& r) { r.buffer.filetype = r.in.readName("a file format"); }},
        {"filename", [](Reader& r) { r.readFileName(); }},
        {"filtering", [](Reader& r) { r.filtering = r.in.readBoolean(); }},
        {"primary", [](Reader& r) { r.primary = r.in.readBoolean(); }},
        {"user", [](Reader& r) { r.buffer.user = r.in.readBoolean(); }},
        {"compression", [](Reader& r) { r.buffer.compression = r.in.readName("a compression"); }},
        {"quality", [](Reader& r) { r.buffer.quality = r.in.readInteger(0, 100); }},
        {"dod", [](Reader& r) { r.buffer.dataWindow = r.in.readBoolean(); }},
        {"dpi", [](Reader& r) { r.buffer.dpi = r.in.readFloat(); }},
        {"field", [](Reader& r) { r.in.readName("even or odd"); }},
        {"colorprofile", [](Reader& r) { r.readProfile(); }},
        {"useprimary", [](Reader& r) { r.in.readBoolean(); }},
        {"useopacity", [](Reader& r) { r.in.readBoolean(); }},
    };
    // clang-format on
    return table;
}

/// One parameter of an output file, if one stands here.
bool readFileParameter(SceneContext& scene, FileSettings& file) {
    constexpr float kMostDense = 1e6f;
    Cursor& in = scene.in;
    if (in.accept("quality")) {
        file.quality = in.readInteger(0, 100);
    } else if (in.accept("compress") || in.accept("compression")) {
        file.compression = in.readName("a compression");
    } else if (in.accept("dpi")) {
        file.dpi = in.readFloat();
        if (!(file.dpi > 0 && file.dpi <= kMostDense)) in.fail("a number of dots per inch above 0 before this");
    } else if (in.accept("dod")) {
        file.dataWindow = true;
    } else if (in.at("even") || in.at("odd")) {
        scene.problems.tell(in.place(), "output", in.current().text);
        in.advance();
    } else {
        return false;
    }
    return true;
}

/// The type that an output statement names, "+" or "-" before it. Returns false where there is none.
bool checkOutputType(SceneContext& scene, const Place& place, std::string_view type) {
    if (type == "contour") {
        scene.problems.unsupported(place, "contours have no picture of their own, their file is not written");
        return false;
    }
    if (type.starts_with('+') || type.starts_with('-')) type.remove_prefix(1);
    const bool isUserBuffer = type.starts_with("fb") && type.size() > 2 && type.size() < 7 &&
                              type.find_first_not_of("0123456789", 2) == std::string_view::npos;
    if (type.empty() || isUserBuffer || findType(type)) return true;
    scene.problems.error(place, fmt::format("found output type \"{}\", expected one like rgba_16, z or fb0", type));
    return false;
}

/// Those of a list: "rgba,+z". A shader may ask for the lines of contours, too, which have no pixels.
std::vector<std::string> typesOf(SceneContext& scene, const Place& place, std::string_view list) {
    std::vector<std::string> types;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        std::string_view type = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        while (type.starts_with(' ')) type.remove_prefix(1);
        while (type.ends_with(' ')) type.remove_suffix(1);
        if (type == "contour" || (!type.empty() && checkOutputType(scene, place, type))) types.emplace_back(type);
    }
    return types;
}

}  // namespace

std::vector<std::string> readOutputTypes(SceneContext& scene) {
    Cursor& in = scene.in;
    if (!in.atString() || in.followedBy('(')) return {};
    const Place place = in.place();
    return typesOf(scene, place, in.readString());
}

void readFrameBuffer(SceneContext& scene, FrameBufferSet& buffers) {
    Cursor& in = scene.in;
    const std::string_view name = in.readName("the name of a frame buffer");
    FrameBufferDescription& buffer = buffers.named(name);
    Reader reader{scene, in, buffer};
    while (const auto read = items().find(in.current())) {
        const Place place = in.place();
        const std::string_view word = in.current().text;
        in.advance();
        scene.problems.tell(place, "framebuffer", word, in.continuation());
        read(reader);
    }
    if (reader.filtering) buffer.filtering = *reader.filtering;
    if (reader.primary) buffers.setPrimary(buffer, *reader.primary);
}

bool setBufferType(FrameBufferDescription& buffer, std::string_view type) {
    const TypeName* known = findType(type);
    if (!known) return false;
    buffer.datatype = known->type;
    buffer.filtering = known->isColor;
    return true;
}

void choosePrimary(FrameBufferSet& buffers) {
    if (buffers.primaryPosition() >= 0) return;
    const auto first = std::find_if(buffers.buffers.begin(), buffers.buffers.end(),
                                    [](const auto& b) { return !b.user && isColor(b.datatype); });
    if (first != buffers.buffers.end()) first->primary = true;
}

/// One, two or three texts may follow; what it is, is known only behind them.
void readOutput(SceneContext& scene, CameraDetail& camera, FrameBufferSet& buffers) {
    Cursor& in = scene.in;
    if (!atShader(in)) {
        camera.files.clear();
        camera.outputShaders.clear();
        buffers.buffers.clear();
        return;
    }
    const Place place = in.place();
    OutputFile file;
    file.where = place.text();
    std::vector<std::string> texts;
    while (in.atString() && texts.size() < 3 && !in.followedBy('(')) {
        texts.push_back(scene.readFileName());
        // Parameters stand between the format and the name; some writers put them behind the name.
        while (readFileParameter(scene, file)) {
        }
    }
    if (in.at('=') || (in.atString() && in.followedBy('('))) {
        scene.problems.tell(in.place(), "output", "shader");
        OutputShader step{place.text(), {}, 0};
        if (!texts.empty()) step.types = typesOf(scene, place, texts.front());
        step.shader = readShaderList(scene);
        if (step.shader) camera.outputShaders.push_back(std::move(step));
        return;
    }
    if (texts.size() < 2) in.fail("an output shader, or the format and name of an output file");
    if (texts.size() == 3) file.type = texts.front();
    file.format = texts[texts.size() - 2];
    file.file = texts.back();
    file.shadersBefore = camera.outputShaders.size();
    if (checkOutputType(scene, place, file.type)) camera.files.push_back(std::move(file));
}

std::string_view bufferTypeName(miImg_type type) {
    const auto* found =
        std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeName& t) { return t.type == type; });
    return found == std::end(kTypes) ? std::string_view() : found->name;
}

bool isBufferType(std::string_view type) {
    if (type.starts_with('+') || type.starts_with('-')) type.remove_prefix(1);
    return type.empty() || findType(type) != nullptr;
}

}  // namespace lumorender
