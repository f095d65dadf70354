#include "render/frame_buffers.h"

#include "image/pixel_encoding.h"
#include "support/abort.h"
#include "support/lanes.h"
#include "support/limits.h"
#include "support/messages.h"
#include "tracing/spaces.h"

#include <sys/mman.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace lumorender {

namespace {

/// Where a float's exponent lies in its word.
constexpr std::uint32_t kExponent = 0x7f800000, kExponentStep = 0x00800000;

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
    return static_cast<int>(slot) == layout.primary && it.takesResult && it.format.color && !it.format.integer &&
           it.description.filtering;
}

Words wordsAt(const std::uint32_t* words) {
    Words result;
    std::memcpy(&result, std::assume_aligned<16>(words), sizeof result);
    return result;
}
Words wordsOf(const SampleValue& value) { return wordsAt(value.words); }
/// Part by part, as shaders write it: read as a whole at once it would be waited for.
Words wordsOf(const miColor& color) { return reinterpret_cast<Words>(Lanes{color.r, color.g, color.b, color.a}); }
SampleValue sampleValue(Words words) {
    SampleValue value;
    std::memcpy(value.words, &words, sizeof words);
    return value;
}

bool hasHighBit(Words words) {
#if defined(__SSE2__)
    return _mm_movemask_ps(reinterpret_cast<__m128>(words)) != 0;
#else
    return ((words[0] | words[1] | words[2] | words[3]) & 0x80000000) != 0;
#endif
}

/// One more than an exponent of ones only, which infinities and what is no number have, reaches the highest bit.
bool isFinite(const std::uint32_t* exponents, Words value) {
    return !hasHighBit((value & wordsAt(exponents)) + kExponentStep);
}

/// What is not finite stays so, and is left out with its sample.
Words endAtWhite(Words value, const ColorRules& rules) {
    constexpr std::uint32_t kAllChannels[4] = {kExponent, kExponent, kExponent, kExponent};
    const auto color = reinterpret_cast<Lanes>(value);
    // Most samples are colors that no rule changes.
    const Lanes most = {color[3], color[3], color[3], 1};
    if (!hasHighBit(~reinterpret_cast<Words>((color >= Lanes{}) & (color <= most)))) return value;
    if (!isFinite(kAllChannels, value)) return value;
    float channels[4] = {color[0], color[1], color[2], color[3]};
    clipColor(channels, rules);
    return reinterpret_cast<Words>(Lanes{channels[0], channels[1], channels[2], channels[3]});
}

void addTo(float* sum, Lanes values) {
    Lanes all;
    std::memcpy(&all, std::assume_aligned<16>(sum), sizeof all);
    all += values;
    std::memcpy(std::assume_aligned<16>(sum), &all, sizeof all);
}

bool untouched(Words value) { return (value[0] | value[1] | value[2] | value[3]) == 0; }

}  // namespace

TileBuffers::TileBuffers(const BufferLayout& layout) : colors_(layout.colors) {
    for (std::size_t i = 0; i < layout.slots.size(); ++i) {
        const BufferSlot& slot = layout.slots[i];
        const PixelFormat& format = slot.format;
        const bool filtered = slot.description.filtering && !format.integer;
        Plane& plane =
            planes_.emplace_back(Plane{slot.shaderIndex, format.integer ? 1 : format.channels, filtered, format.integer,
                                       format.channels == 1, slot.takesResult, slot.automatic});
        plane.image = i;
        if (format.color) std::fill_n(plane.exponents, format.channels, kExponent);
        if (filtered && isPut(plane) && slot.automatic == AutomaticValue::None) {
            PutPlane& put = putPlanes_.emplace_back();
            std::copy_n(plane.exponents, 4, put.exponents);
            put.value = static_cast<std::size_t>(plane.shaderIndex);
            put.plane = i;
        } else {
            otherPlanes_.push_back(i);
        }
    }
    if (isShown(layout, static_cast<std::size_t>(layout.primary))) {
        Plane plane = planes_[static_cast<std::size_t>(layout.primary)];
        plane.shown = true;
        otherPlanes_.push_back(planes_.size());
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

Words TileBuffers::valueOf(const Plane& plane, const miColor& result, const miState& state,
                           const std::vector<SampleValue>& values) {
    Words value = {};
    // The result as the buffer's channels: colors as they are, one channel as alpha.
    if (isPut(plane))
        value = wordsOf(values[static_cast<std::size_t>(plane.shaderIndex)]);
    else if (plane.takesResult)
        value = wordsOf(plane.alphaOnly ? miColor{result.a, 0, 0, 0} : result);
    if (plane.automatic == AutomaticValue::None || !untouched(value)) return value;
    return wordsOf(automaticValue(plane.automatic, state));
}

void TileBuffers::add(const miColor& result, const miState& state, const std::vector<SampleValue>& values,
                      bool stands) {
    weight_ += 1;
    Sum* const sums = sums_.data();
    for (const PutPlane& put : putPlanes_) {
        const Words value = wordsOf(values[put.value]);
        Sum& sum = sums[put.plane];
        if (isFinite(put.exponents, value))
            addTo(sum.value, reinterpret_cast<Lanes>(value));
        else
            ++dropped_, sum.missing += 1;
    }
    for (const std::size_t i : otherPlanes_) {
        const Plane& plane = planes_[i];
        if (plane.filtered || stands) addValue(plane, sums_[i], valueOf(plane, result, state, values));
    }
}

void TileBuffers::takeSample(const miColor& result, const miState& state, const std::vector<SampleValue>& values,
                             BufferSample& sample) const {
    std::memcpy(&sample.depth, automaticValue(AutomaticValue::Depth, state).words, sizeof sample.depth);
    sample.values.resize(planes_.size());
    for (const Plane& plane : planes_)
        if (!plane.shown) sample.values[plane.image] = sampleValue(valueOf(plane, result, state, values));
}

void TileBuffers::add(const BufferSample& sample, bool stands) {
    weight_ += 1;
    for (std::size_t i = 0; i < planes_.size(); ++i)
        if (planes_[i].filtered || stands) addValue(planes_[i], sums_[i], wordsOf(sample.values[planes_[i].image]));
}

void TileBuffers::addValue(const Plane& plane, Sum& sum, Words value) {
    if (!plane.filtered) return keepValue(sum, value);
    if (plane.shown) value = endAtWhite(value, colors_);
    if (isFinite(plane.exponents, value)) return addTo(sum.value, reinterpret_cast<Lanes>(value));
    if (!plane.shown) ++dropped_;
    sum.missing += 1;
}

void TileBuffers::keepValue(Sum& sum, Words value) {
    sum.label = value[0];
    std::memcpy(sum.value, &value, sizeof sum.value);
}

void TileBuffers::keep(const miColor& result, const miState& state, const std::vector<SampleValue>& values) {
    for (const Plane& plane : planes_) {
        Words value = valueOf(plane, result, state, values);
        if (plane.shown)
            value = endAtWhite(value, colors_);
        else if (plane.filtered && !isFinite(plane.exponents, value))
            ++dropped_;
        kept_.push_back(sampleValue(value));
    }
}

void TileBuffers::addPart(int sample, float weight) {
    weight_ += weight;
    const SampleValue* kept = &kept_[static_cast<std::size_t>(sample) * planes_.size()];
    Sum* sum = sums_.data();
    for (const Plane& plane : planes_) {
        const Words value = wordsOf(*kept++);
        if (!plane.filtered) {
        } else if (isFinite(plane.exponents, value)) {
            addTo(sum->value, weight * reinterpret_cast<Lanes>(value));
        } else {
            sum->missing += weight;
        }
        ++sum;
    }
    if (clips_) widenRanges(sample);
}

void TileBuffers::letStand(int sample) {
    const SampleValue* value = &kept_[static_cast<std::size_t>(sample) * planes_.size()];
    for (std::size_t i = 0; i < planes_.size(); ++i, ++value)
        if (!planes_[i].filtered) keepValue(sums_[i], wordsOf(*value));
}

void TileBuffers::widenRanges(int sample) {
    if (ranges_.empty()) {
        constexpr float kMost = std::numeric_limits<float>::infinity();
        ranges_.assign(planes_.size(), {{kMost, kMost, kMost, kMost}, {-kMost, -kMost, -kMost, -kMost}});
    }
    const SampleValue* value = &kept_[static_cast<std::size_t>(sample) * planes_.size()];
    for (std::size_t i = 0; i < planes_.size(); ++i, ++value) {
        const Words words = wordsOf(*value);
        if (!isFinite(planes_[i].exponents, words)) continue;
        const auto channels = reinterpret_cast<Lanes>(words);
        for (int c = 0; c < 4; ++c) {
            ranges_[i].least[c] = std::min(ranges_[i].least[c], channels[c]);
            ranges_[i].most[c] = std::max(ranges_[i].most[c], channels[c]);
        }
    }
}

void TileBuffers::clipSum(std::size_t plane, float* channels) {
    if (plane >= ranges_.size()) return;
    const Range& range = ranges_[plane];
    for (int c = 0; c < 4; ++c)
        if (range.least[c] <= range.most[c]) channels[c] = std::clamp(channels[c], range.least[c], range.most[c]);
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
            const float weight = plane.filtered ? weight_ - sum.missing : 1;
            const float scale = weight > 0 ? 1 / weight : 0;
            for (float& v : sum.value) v *= scale;
            if (clips_) clipSum(i, sum.value);
            if (channels == 4)
                std::memcpy(target, sum.value, 4 * sizeof(float));
            else
                std::memcpy(target, sum.value, channels * sizeof(float));
        }
        sum = {};
    }
    weight_ = 0;
    ranges_.clear();
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
/// page. Throws Failure where a stop is requested.
template <class T>
void fillOnLargePages(std::vector<T>& values, std::size_t count) {
    values.reserve(count);
    constexpr std::uintptr_t kPage = 4096;
    const auto first = (reinterpret_cast<std::uintptr_t>(values.data()) + kPage - 1) & ~(kPage - 1);
    const auto last = reinterpret_cast<std::uintptr_t>(values.data() + count) & ~(kPage - 1);
    // Where the system has none to give, small ones do.
    if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    constexpr std::size_t kAtOnce = std::size_t{16} << 20;
    while (values.size() < count) {
        throwIfAborted();
        values.resize(std::min(values.size() + kAtOnce, count));
    }
}

LayerImage makeImage(const PicturePlan::Layer& layer, const DataWindow& window) {
    const auto pixels = static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height);
    const PixelFormat format = pixelFormat(layer.type);
    LayerImage image;
    image.name = layer.name;
    image.type = layer.type;
    image.width = window.width;
    image.height = window.height;
    if (format.integer)
        fillOnLargePages(image.labels, pixels);
    else
        fillOnLargePages(image.pixels, pixels * static_cast<std::size_t>(format.channels));
    if (layer.isShown) fillOnLargePages(image.shown, image.pixels.size());
    return image;
}

/// Throws Failure where the images take more than they may.
void requireMemory(const std::vector<PicturePlan::Layer>& layers, const DataWindow& window) {
    double bytes = 0;
    for (const PicturePlan::Layer& layer : layers)
        bytes += (layer.isShown ? 8.0 : 4.0) * pixelFormat(layer.type).channels * window.width * window.height;
    const auto limit = static_cast<double>(limits().memoryBytes);
    if (bytes <= limit) return;
    constexpr double kMegabyte = 1 << 20;
    throw Failure(
        fmt::format("{} frame buffers of {} x {} pixels take {:.0f} MB, more than the {:.0f} MB that they may "
                    "have (-memory)",
                    layers.size(), window.width, window.height, bytes / kMegabyte, limit / kMegabyte));
}

}  // namespace

std::vector<LayerImage> makeImages(const std::vector<PicturePlan::Layer>& layers, const DataWindow& window) {
    requireMemory(layers, window);
    std::vector<LayerImage> images;
    for (const PicturePlan::Layer& layer : layers) images.push_back(makeImage(layer, window));
    return images;
}

std::vector<LayerImage> makeImages(const BufferLayout& layout, const DataWindow& window) {
    std::vector<PicturePlan::Layer> layers;
    for (std::size_t i = 0; i < layout.slots.size(); ++i) {
        const FrameBufferDescription& buffer = layout.slots[i].description;
        layers.push_back({buffer.name, buffer.datatype, isShown(layout, i)});
    }
    return makeImages(layers, window);
}

}  // namespace lumorender
