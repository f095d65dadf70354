#include "render/frame_buffers.h"

#include "tracing/spaces.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace lumorender {

namespace {

/// Where a float's exponent lies in its word.
constexpr std::uint32_t kExponent = 0x7f800000, kExponentStep = 0x00800000, kHighestBit = 0x80000000;

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
        const bool known = std::any_of(layout.slots.begin(), layout.slots.end(),
                                       [&](const BufferSlot& slot) { return slot.description.name == type; });
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

/// The picture, as far as it is colors that are filtered.
bool isShown(const BufferLayout& layout, std::size_t slot) {
    const BufferSlot& it = layout.slots[slot];
    return static_cast<int>(slot) == layout.primary && it.shaderIndex == 0 && it.format.color && !it.format.integer &&
           it.description.filtering;
}

void endAtWhite(SampleValue& value) {
    float channels[4];
    std::memcpy(channels, value.words, sizeof channels);
    for (float& channel : channels)
        if (channel > 1 && std::isfinite(channel)) channel = 1;
    std::memcpy(value.words, channels, sizeof channels);
}

bool untouched(const SampleValue& value) {
    return (value.words[0] | value.words[1] | value.words[2] | value.words[3]) == 0;
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

TileBuffers::TileBuffers(const BufferLayout& layout) {
    for (std::size_t i = 0; i < layout.slots.size(); ++i) {
        const BufferSlot& slot = layout.slots[i];
        const PixelFormat& format = slot.format;
        const bool filtered = slot.description.filtering && !format.integer;
        Plane& plane = planes_.emplace_back(Plane{slot.shaderIndex, format.integer ? 1 : format.channels, filtered,
                                                  format.integer, format.channels == 1, slot.automatic});
        plane.image = i;
        plane.sumsValues = filtered && slot.shaderIndex > 0 && slot.automatic == AutomaticValue::None;
        if (format.color) std::fill_n(plane.exponents, format.channels, kExponent);
    }
    if (isShown(layout, static_cast<std::size_t>(layout.primary))) {
        Plane plane = planes_[static_cast<std::size_t>(layout.primary)];
        plane.shown = true;
        planes_.push_back(plane);
    }
    sums_.resize(planes_.size());
}

void TileBuffers::start(int width, int height) {
    width_ = width;
    height_ = height;
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    // Planes of a power of two would fall on the same few cache lines: each begins a little further on.
    constexpr std::size_t kShift = 16 + 16;
    std::size_t first = 0;
    for (Plane& plane : planes_) {
        plane.first = first;
        first += pixels * static_cast<std::size_t>(plane.channels) + kShift;
    }
    pixels_.resize(first);
}

void TileBuffers::add(const miColor& result, const miState& state, const std::vector<SampleValue>& values,
                      bool stands) {
    SampleValue primary;
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const Plane& plane = planes_[i];
        if (plane.sumsValues) {
            addFiltered(plane, sums_[i], values[static_cast<std::size_t>(plane.shaderIndex)]);
            continue;
        }
        if (!plane.filtered && !stands) continue;
        const SampleValue* value = &primary;
        if (plane.shaderIndex > 0) {
            value = &values[static_cast<std::size_t>(plane.shaderIndex)];
        } else {
            // The result as the buffer's channels: colors as they are, one channel as alpha.
            const bool isResult = plane.shaderIndex == 0;
            const miColor color = !isResult ? miColor{} : plane.alphaOnly ? miColor{result.a, 0, 0, 0} : result;
            std::memcpy(primary.words, &color, sizeof color);
        }
        if (plane.automatic != AutomaticValue::None && untouched(*value)) {
            primary = automaticValue(plane.automatic, state);
            value = &primary;
        }
        if (plane.shown) endAtWhite(primary);
        Sum& sum = sums_[i];
        if (plane.filtered) {
            addFiltered(plane, sum, *value);
            continue;
        }
        sum.weight = 1;
        sum.label = value->words[0];
        std::memcpy(sum.value, value->words, sizeof sum.value);
    }
}

void TileBuffers::addFiltered(const Plane& plane, Sum& sum, const SampleValue& value) {
    // One more than an exponent of ones only, which infinities and what is no number have, reaches the highest bit.
    std::uint32_t carries = 0;
    for (int c = 0; c < 4; ++c) carries |= (value.words[c] & plane.exponents[c]) + kExponentStep;
    if ((carries & kHighestBit) != 0) {
        if (!plane.shown) ++dropped_;
        return;
    }
    float channels[4];
    std::memcpy(channels, value.words, sizeof channels);
    for (int c = 0; c < 4; ++c) sum.value[c] += channels[c];
    sum.weight += 1;
}

void TileBuffers::endPixel(int x, int y) {
    const auto pixel = static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const Plane& plane = planes_[i];
        Sum& sum = sums_[i];
        const auto channels = static_cast<std::size_t>(plane.channels);
        std::uint32_t* target = &pixels_[plane.first + pixel * channels];
        if (plane.integer) {
            *target = sum.label;
        } else {
            const float scale = sum.weight > 0 ? 1 / sum.weight : 0;
            for (float& v : sum.value) v *= scale;
            if (channels == 4)
                std::memcpy(target, sum.value, 4 * sizeof(float));
            else
                std::memcpy(target, sum.value, channels * sizeof(float));
        }
        sum = {};
    }
}

void TileBuffers::finish(int x0, int y0, std::vector<LayerImage>& images) const {
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const Plane& plane = planes_[i];
        LayerImage& image = images[plane.image];
        const auto channels = static_cast<std::size_t>(plane.channels);
        const std::size_t words = static_cast<std::size_t>(width_) * channels;
        void* pixels =
            plane.integer ? static_cast<void*>(image.labels.data()) : (plane.shown ? image.shown : image.pixels).data();
        for (int y = 0; y < height_; ++y) {
            const auto target =
                static_cast<std::size_t>(y0 + y) * static_cast<std::size_t>(image.width) + static_cast<std::size_t>(x0);
            std::memcpy(static_cast<std::uint32_t*>(pixels) + target * channels,
                        &pixels_[plane.first + static_cast<std::size_t>(y) * words], words * sizeof(std::uint32_t));
        }
    }
}

namespace {

/// Zeroes that tiles can be written to fast: a tile touches a piece of every row of every image, each on another small
/// page.
template <class T>
void fillOnLargePages(std::vector<T>& values, std::size_t count) {
    values.reserve(count);
    constexpr std::uintptr_t kPage = 4096;
    const auto first = (reinterpret_cast<std::uintptr_t>(values.data()) + kPage - 1) & ~(kPage - 1);
    const auto last = reinterpret_cast<std::uintptr_t>(values.data() + count) & ~(kPage - 1);
    // Where the system has none to give, small ones do.
    if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    values.assign(count, T{});
}

}  // namespace

LayerImage makeImage(const std::string& name, miImg_type type, bool isShown, const DataWindow& window) {
    const auto pixels = static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height);
    const PixelFormat format = pixelFormat(type);
    LayerImage image;
    image.name = name;
    image.type = type;
    image.width = window.width;
    image.height = window.height;
    if (format.integer)
        fillOnLargePages(image.labels, pixels);
    else
        fillOnLargePages(image.pixels, pixels * static_cast<std::size_t>(format.channels));
    if (isShown) fillOnLargePages(image.shown, image.pixels.size());
    return image;
}

std::vector<LayerImage> makeImages(const BufferLayout& layout, const DataWindow& window) {
    std::vector<LayerImage> images;
    for (std::size_t i = 0; i < layout.slots.size(); ++i) {
        const FrameBufferDescription& buffer = layout.slots[i].description;
        images.push_back(makeImage(buffer.name, buffer.datatype, isShown(layout, i), window));
    }
    return images;
}

}  // namespace lumorender
