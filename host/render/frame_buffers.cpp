#include "render/frame_buffers.h"

#include "render/spaces.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

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

BufferSlot makeSlot(const FrameBufferDescription& description, int shaderIndex) {
    return {description, pixelFormat(description.datatype), automaticFor(description), shaderIndex};
}

int recordWords(const BufferSlot& slot) {
    if (slot.format.integer) return 1;
    if (isColorRecord(slot.description.datatype)) return 4;
    return slot.format.channels == 1 ? 1 : 3;
}

/// A buffer for every kind of data that an `output "type" "format" "file"` statement asks for.
void addOutputBuffers(BufferLayout& layout, const CameraDetail& camera) {
    for (const OutputFile& output : camera.files) {
        std::string type = output.type;
        if (!type.empty() && (type[0] == '+' || type[0] == '-')) type.erase(0, 1);
        const miImg_type datatype = imageTypeByName(type);
        if (datatype == miIMG_TYPE_COUNT || isColorRecord(datatype)) continue;
        const bool known = std::any_of(layout.slots.begin(), layout.slots.end(), [&](const BufferSlot& slot) {
            return slot.description.name == type;
        });
        if (known) continue;
        FrameBufferDescription description;
        description.name = type;
        description.datatype = datatype;
        description.filtering = output.type[0] == '+';
        layout.slots.push_back(makeSlot(description, -1));
    }
}

SampleValue automaticValue(AutomaticValue kind, const miState& state) {
    SampleValue value;
    const auto put = [&](float x, float y, float z) {
        const float v[3] = {x, y, z};
        std::memcpy(value.words, v, sizeof v);
    };
    if (state.instance == 0) return value;
    miVector v;
    switch (kind) {
        case AutomaticValue::Depth:
            toCamera(state, state.point, v);
            put(-v.z, 0, 0);
            break;
        case AutomaticValue::Normal:
            normalToCamera(state, state.normal, v);
            put(v.x, v.y, v.z);
            break;
        case AutomaticValue::Motion: put(state.motion.x, state.motion.y, state.motion.z); break;
        case AutomaticValue::Coverage: put(1, 0, 0); break;
        case AutomaticValue::Label: value.words[0] = state.label; break;
        case AutomaticValue::None: break;
    }
    return value;
}

bool untouched(const SampleValue& value) {
    return (value.words[0] | value.words[1] | value.words[2] | value.words[3]) == 0;
}

/// The primary result as the buffer's channels: colors as they are, one channel as alpha.
SampleValue resultValue(const BufferSlot& slot, const miColor& result) {
    SampleValue value;
    const bool alphaOnly = slot.format.channels == 1;
    const miColor color = alphaOnly ? miColor{result.a, 0, 0, 0} : result;
    std::memcpy(value.words, &color, sizeof color);
    return value;
}

}  // namespace

BufferLayout makeBufferLayout(const FrameBufferSet* set, const CameraDetail* camera) {
    BufferLayout layout;
    const int primary = set ? set->primaryPosition() : -1;
    int next = 1;
    if (set)
        for (std::size_t i = 0; i < set->buffers.size(); ++i) {
            const bool isPrimary = static_cast<int>(i) == primary;
            if (isPrimary) layout.primary = static_cast<int>(layout.slots.size());
            layout.slots.push_back(makeSlot(set->buffers[i], isPrimary ? 0 : next++));
        }
    if (primary < 0) {
        FrameBufferDescription description;
        description.datatype = miIMG_TYPE_RGBA_FP;
        layout.primary = static_cast<int>(layout.slots.size());
        layout.slots.push_back(makeSlot(description, 0));
    }
    layout.words.assign(static_cast<std::size_t>(next), 4);
    for (const BufferSlot& slot : layout.slots)
        if (slot.shaderIndex > 0) layout.words[static_cast<std::size_t>(slot.shaderIndex)] = recordWords(slot);
    if (camera) addOutputBuffers(layout, *camera);
    return layout;
}

void TileBuffers::start(int width, int height) {
    width_ = width;
    height_ = height;
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    planes_.resize(layout_.slots.size());
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const BufferSlot& slot = layout_.slots[i];
        if (slot.format.integer) planes_[i].labels.assign(pixels, 0);
        else planes_[i].sums.assign(pixels * static_cast<std::size_t>(slot.format.channels), 0.0F);
        planes_[i].weights.assign(pixels, 0.0F);
    }
}

void TileBuffers::add(int x, int y, const miColor& result, const miState& state,
                      const std::vector<SampleValue>& values, bool stands) {
    const auto pixel = static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const BufferSlot& slot = layout_.slots[i];
        const bool filtered = slot.description.filtering && !slot.format.integer;
        if (!filtered && !stands) continue;
        SampleValue value;
        if (slot.shaderIndex == 0) value = resultValue(slot, result);
        else if (slot.shaderIndex > 0) value = values[static_cast<std::size_t>(slot.shaderIndex)];
        if (slot.automatic != AutomaticValue::None && untouched(value)) value = automaticValue(slot.automatic, state);
        if (filtered) addFiltered(planes_[i], pixel, slot, reinterpret_cast<const float*>(value.words));
        else keep(planes_[i], pixel, slot, value);
    }
}

void TileBuffers::addFiltered(Plane& plane, std::size_t pixel, const BufferSlot& slot, const float* value) {
    const auto channels = static_cast<std::size_t>(slot.format.channels);
    if (slot.format.color && !std::all_of(value, value + channels, [](float v) { return std::isfinite(v); })) {
        ++dropped_;
        return;
    }
    float* sum = plane.sums.data() + pixel * channels;
    for (std::size_t c = 0; c < channels; ++c) sum[c] += value[c];
    plane.weights[pixel] += 1.0F;
}

void TileBuffers::keep(Plane& plane, std::size_t pixel, const BufferSlot& slot, const SampleValue& value) {
    plane.weights[pixel] = 1.0F;
    if (slot.format.integer) {
        plane.labels[pixel] = value.words[0];
        return;
    }
    const auto channels = static_cast<std::size_t>(slot.format.channels);
    std::memcpy(plane.sums.data() + pixel * channels, value.words, channels * sizeof(float));
}

void TileBuffers::finish(int x0, int y0, std::vector<LayerImage>& images) const {
    const auto width = static_cast<std::size_t>(width_);
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const Plane& plane = planes_[i];
        LayerImage& image = images[i];
        const auto channels = static_cast<std::size_t>(layout_.slots[i].format.channels);
        for (int y = 0; y < height_; ++y) {
            const auto row = static_cast<std::size_t>(y) * width;
            const auto target = static_cast<std::size_t>(y0 + y) * static_cast<std::size_t>(image.width) +
                                static_cast<std::size_t>(x0);
            if (layout_.slots[i].format.integer) {
                std::copy_n(plane.labels.begin() + static_cast<std::ptrdiff_t>(row), width,
                            image.labels.begin() + static_cast<std::ptrdiff_t>(target));
                continue;
            }
            for (std::size_t x = 0; x < width; ++x) {
                const float weight = plane.weights[row + x];
                const float scale = weight > 0 ? 1.0F / weight : 0.0F;
                for (std::size_t c = 0; c < channels; ++c)
                    image.pixels[(target + x) * channels + c] = plane.sums[(row + x) * channels + c] * scale;
            }
        }
    }
}

std::vector<LayerImage> makeImages(const BufferLayout& layout, const DataWindow& window) {
    std::vector<LayerImage> images;
    const auto pixels = static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height);
    for (const BufferSlot& slot : layout.slots) {
        LayerImage& image = images.emplace_back();
        image.name = slot.description.name;
        image.type = slot.description.datatype;
        image.width = window.width;
        image.height = window.height;
        if (slot.format.integer) image.labels.assign(pixels, 0);
        else image.pixels.assign(pixels * static_cast<std::size_t>(slot.format.channels), 0.0F);
    }
    return images;
}

}  // namespace lumorender
