// Which frame buffers a render has.
#include "render/frame_buffers.h"

#include "image/file_formats.h"
#include "photometry/color_space.h"
#include "support/messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace lumorender {

namespace {

bool isColorRecord(miImg_type type) {
    const PixelFormat format = pixelFormat(type);
    return format.color && format.channels >= 3;
}

AutomaticValue automaticFor(const FrameBufferDescription& buffer) {
    if (buffer.user) return AutomaticValue::None;
    switch (buffer.datatype) {
        case miIMG_TYPE_Z: return AutomaticValue::Depth;
        case miIMG_TYPE_N: return AutomaticValue::Normal;
        case miIMG_TYPE_M: return AutomaticValue::Motion;
        case miIMG_TYPE_TAG: return AutomaticValue::Label;
        case miIMG_TYPE_COVERAGE: return AutomaticValue::Coverage;
        default: return AutomaticValue::None;
    }
}

BufferSlot makeSlot(const FrameBufferDescription& description, int shaderIndex, bool takesResult = false) {
    return {description, pixelFormat(description.datatype), automaticFor(description), shaderIndex, takesResult};
}

/// "+z" and "-rgba": whether samples are averaged. Without a sign those of colors are.
struct SignedType {
    std::string name;
    int sign = 0;

    explicit SignedType(const std::string& text) : name(text) {
        if (!name.empty() && (name[0] == '+' || name[0] == '-')) {
            sign = name[0] == '+' ? 1 : -1;
            name.erase(0, 1);
        }
    }
    bool filters(bool byItself) const { return sign == 0 ? byItself : sign > 0; }
};

/// The buffers that old scenes number in their options. Without named buffers shaders put values by these numbers.
void addNumberedBuffers(BufferLayout& layout, const OptionsDetail& options, bool named, int& next) {
    for (const auto& [number, text] : options.frameBuffers) {
        const SignedType type(text);
        FrameBufferDescription description;
        description.name = fmt::format("fb{}", number);
        description.datatype = imageTypeByName(type.name);
        if (description.datatype == miIMG_TYPE_COUNT) description.datatype = miIMG_TYPE_RGBA;
        description.filtering = type.filters(pixelFormat(description.datatype).color);
        description.user = true;
        const int index = named ? next : number;
        next = std::max(next, index + 1);
        layout.slots.push_back(makeSlot(description, index));
    }
}

/// What `output` statements ask for besides the picture and user buffers.
void addOutputBuffer(BufferLayout& layout, const OutputKind& kind) {
    if (kind.type == miIMG_TYPE_COUNT || layout.slotOf(kind) >= 0) return;
    FrameBufferDescription description;
    description.name = imageTypeName(kind.type);
    description.datatype = kind.type;
    description.filtering = kind.filtered;
    layout.slots.push_back(makeSlot(description, -1, pixelFormat(kind.type).color));
}

void addOutputBuffers(BufferLayout& layout, const CameraDetail& camera) {
    for (const OutputFile& output : camera.files) addOutputBuffer(layout, kindOf(output));
    for (const OutputShader& step : camera.outputShaders)
        for (const OutputKind& kind : kindsOf(step.types)) addOutputBuffer(layout, kind);
}

}  // namespace

int BufferSlot::sampleWords() const {
    if (format.integer) return 1;
    if (isColorRecord(description.datatype)) return 4;
    return format.channels == 1 ? 1 : 3;
}

OutputKind kindOfType(const std::string& text) {
    const SignedType type(text);
    OutputKind kind;
    if (type.name.starts_with("fb")) {
        const std::string digits = type.name.substr(2);
        std::from_chars(digits.data(), digits.data() + digits.size(), kind.number);
        return kind;
    }
    kind.type = imageTypeByName(type.name);
    kind.filtered = type.filters(pixelFormat(kind.type).color);
    return kind;
}

OutputKind kindOf(const OutputFile& output) {
    if (!output.type.empty()) return kindOfType(output.type);
    ImageFile file;
    file.path = output.file;
    file.format = output.format;
    const FileFormat* format = formatOf(file);
    return kindOfType(imageTypeName(format ? format->natural : miIMG_TYPE_RGBA));
}

std::vector<OutputKind> kindsOf(const std::vector<std::string>& types) {
    std::vector<OutputKind> kinds;
    for (const std::string& type : types)
        if (type != "contour") kinds.push_back(kindOfType(type));
    return kinds;
}

int BufferLayout::slotOf(const OutputKind& kind) const {
    if (kind.isPicture()) return primary;
    const auto isIt = [&](const BufferSlot& slot) {
        if (kind.number >= 0) return !slot.takesResult && slot.description.name == fmt::format("fb{}", kind.number);
        return slot.shaderIndex < 0 && slot.description.datatype == kind.type &&
               slot.description.filtering == kind.filtered;
    };
    const auto found = std::find_if(slots.begin(), slots.end(), isIt);
    return found == slots.end() ? -1 : static_cast<int>(found - slots.begin());
}

int BufferLayout::slotOfNumber(int number, const std::vector<OutputKind>& kinds) const {
    constexpr miImg_type kFixed[] = {miIMG_TYPE_RGBA, miIMG_TYPE_Z,   miIMG_TYPE_N,
                                     miIMG_TYPE_M,    miIMG_TYPE_TAG, miIMG_TYPE_COVERAGE};
    if (number == miRC_IMAGE_RGBA) return primary;
    if (number < 0) return -1;
    const bool isFixed = number <= miRC_IMAGE_COVERAGE;
    if (isFixed)
        for (const OutputKind& kind : kinds)
            if (kind.type == kFixed[number]) return slotOf(kind);
    const auto isIt = [&](const BufferSlot& slot) {
        if (named) return slot.shaderIndex == number && !slot.takesResult;
        if (isFixed) return slot.shaderIndex < 0 && slot.description.datatype == kFixed[number];
        return slot.shaderIndex >= 0 && !slot.takesResult && slot.shaderIndex == number - miRC_IMAGE_USER;
    };
    const auto found = std::find_if(slots.begin(), slots.end(), isIt);
    return found == slots.end() ? -1 : static_cast<int>(found - slots.begin());
}

BufferLayout makeBufferLayout(const FrameBufferSet* set, const CameraDetail* camera, const OptionsDetail* options,
                              const ColorRules& colors, const std::vector<OutputKind>& further) {
    BufferLayout layout;
    layout.colors = colors;
    const int primary = set ? set->primaryPosition() : -1;
    int next = 1;
    if (set)
        for (std::size_t i = 0; i < set->buffers.size(); ++i) {
            const bool isPrimary = static_cast<int>(i) == primary;
            if (isPrimary) layout.primary = static_cast<int>(layout.slots.size());
            layout.slots.push_back(makeSlot(set->buffers[i], isPrimary ? 0 : next++, isPrimary));
        }
    if (primary < 0) {
        FrameBufferDescription description;
        description.datatype = miIMG_TYPE_RGBA_FP;
        layout.primary = static_cast<int>(layout.slots.size());
        layout.slots.push_back(makeSlot(description, 0, true));
    }
    layout.named = set && !set->buffers.empty();
    if (options) addNumberedBuffers(layout, *options, layout.named, next);
    layout.words.assign(static_cast<std::size_t>(next), 0);
    if (layout.named) layout.words[0] = 4;
    for (const BufferSlot& slot : layout.slots)
        if (slot.shaderIndex >= 0 && !slot.takesResult)
            layout.words[static_cast<std::size_t>(slot.shaderIndex)] = slot.sampleWords();
    if (camera) addOutputBuffers(layout, *camera);
    for (const OutputKind& kind : further) addOutputBuffer(layout, kind);
    return layout;
}

void useColorProfiles(BufferLayout& layout, const Database& database, miTag from) {
    for (BufferSlot& slot : layout.slots) {
        const std::string& name = slot.description.colorProfile;
        if (name.empty() || !slot.format.color || isAlphaType(slot.description.datatype)) continue;
        const auto* profile = database.detail<ColorProfile>(database.find(name));
        if (!profile) {
            error("IMG", "framebuffer \"{}\": found no color profile \"{}\", its file has the colors of the render",
                  slot.description.name, name);
            continue;
        }
        const ColorSpace to = profile->space();
        const Imath::M33d matrix = ColorConversion(spaceOfProfile(database, from), to).matrix();
        ColorEncoding encoding{{}, static_cast<float>(to.gamma), to.hasToe};
        for (std::size_t i = 0; i < 9; ++i)
            encoding.matrix[i] = static_cast<float>(matrix[static_cast<int>(i / 3)][i % 3]);
        slot.encoding = std::make_shared<const ColorEncoding>(encoding);
    }
}

}  // namespace lumorender
