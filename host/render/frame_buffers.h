// Frame buffers of a render: what shaders write per sample, and how samples become pixels.
#pragma once

#include "database/elements.h"
#include "image/image.h"
#include "mi/state.h"
#include "render/context.h"

#include <vector>

namespace lumorender {

/// What the host itself writes into a buffer of a geometric type that no shader touched.
enum class AutomaticValue { None, Depth, Normal, Motion, Label, Coverage };

struct BufferSlot {
    FrameBufferDescription description;
    PixelFormat format;
    AutomaticValue automatic = AutomaticValue::None;
    int shaderIndex = 0;           ///< 0 = the primary color: takes the sample's result
};

/// The buffers of a render. Shader index 0 is the primary color; named user buffers start at 1.
struct BufferLayout {
    std::vector<BufferSlot> slots;
    int primary = 0;               ///< position of the primary color in slots
    std::vector<int> words;        ///< by shader index: 32-bit words that mi_fb_put and mi_fb_get move
};

/// From the camera's named buffers and its `output` statements.
BufferLayout makeBufferLayout(const FrameBufferSet* set, const CameraDetail* camera);

/// The part of the image that a thread works on, with the sums of its samples. Reused from tile to tile.
class TileBuffers {
public:
    explicit TileBuffers(const BufferLayout& layout) : layout_(layout) {}

    void start(int width, int height);

    /// Adds a sample. `stands` marks the one sample of the pixel that unfiltered buffers keep.
    void add(int x, int y, const miColor& result, const miState& state, const std::vector<SampleValue>& values,
             bool stands);

    /// Divides the sums and writes the pixels into the images, whose rows begin at the lower left corner.
    void finish(int x0, int y0, std::vector<LayerImage>& images) const;

    /// Color samples that were not finite and were left out, since the object was made.
    long droppedSamples() const { return dropped_; }

private:
    struct Plane {
        std::vector<float> sums;
        std::vector<float> weights;      ///< samples that count, per pixel
        std::vector<std::uint32_t> labels;
    };

    void addFiltered(Plane& plane, std::size_t pixel, const BufferSlot& slot, const float* value);
    void keep(Plane& plane, std::size_t pixel, const BufferSlot& slot, const SampleValue& value);

    const BufferLayout& layout_;
    std::vector<Plane> planes_;
    int width_ = 0;
    int height_ = 0;
    long dropped_ = 0;
};

/// Empty images for the layout's buffers.
std::vector<LayerImage> makeImages(const BufferLayout& layout, const DataWindow& window);

}  // namespace lumorender
