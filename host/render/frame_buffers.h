// Frame buffers of a render: what shaders write per sample, and how samples become pixels.
#pragma once

#include "database/elements.h"
#include "image/image.h"
#include "mi/state.h"
#include "saving/picture_plan.h"
#include "support/lanes.h"
#include "tracing/context.h"

#include <vector>

namespace lumorender {

/// What the host itself writes into a buffer of a geometric type that no shader touched.
enum class AutomaticValue { None, Depth, Normal, Motion, Label, Coverage };

struct BufferSlot {
    FrameBufferDescription description;
    PixelFormat format;
    AutomaticValue automatic = AutomaticValue::None;
    int shaderIndex = 0;                                 ///< by which shaders put values; -1 = none
    bool takesResult = false;                            ///< the sample's result, and nothing that shaders put
    std::shared_ptr<const ColorEncoding> encoding = {};  ///< of the colors in its file, where a profile says so

    /// 32-bit words of a sample: colors are whole records.
    int sampleWords() const;
};

/// What a sample has for each buffer, by its slot, and how far away along the camera's axis it has seen something: 0 is
/// nothing.
struct BufferSample {
    float depth = 0;
    std::vector<SampleValue> values;
};

/// What an `output` statement asks for.
struct OutputKind {
    miImg_type type = miIMG_TYPE_COUNT;
    bool filtered = true;  ///< the samples of a pixel are averaged; else one of them stands
    int number = -1;       ///< of a user frame buffer, "fb3"; -1 = none

    /// Colors come of the picture's own buffer, all else has buffers of its own.
    bool isPicture() const { return number < 0 && filtered && pixelFormat(type).color; }
};
OutputKind kindOf(const OutputFile& output);

/// The same for one of the types that an output shader's statement names, which is not empty.
OutputKind kindOfType(const std::string& type);

/// Of the buffers that an output shader opens, from a list that may name contours, too.
std::vector<OutputKind> kindsOf(const std::vector<std::string>& types);

/// The buffers of a render. Where buffers have names shader index 0 is the primary color, and the others start at 1;
/// without names the user buffers N of the options have the index N.
struct BufferLayout {
    std::vector<BufferSlot> slots;
    int primary = 0;         ///< position of the primary color in slots
    bool named = false;      ///< buffers of the camera have names
    std::vector<int> words;  ///< by shader index: 32-bit words that mi_fb_put and mi_fb_get move
    ColorRules colors;       ///< how colors come into files

    /// The buffer that an output statement is written from, or -1 for a user buffer that there is not.
    int slotOf(const OutputKind& kind) const;

    /// The buffer that output shaders know by this number, where their statement names these types; or -1.
    int slotOfNumber(int number, const std::vector<OutputKind>& kinds) const;
};

/// From the camera's named buffers, the numbered ones of the options, the camera's `output` statements, and those that
/// phenomena bring.
BufferLayout makeBufferLayout(const FrameBufferSet* set, const CameraDetail* camera, const OptionsDetail* options,
                              const ColorRules& colors = {}, const std::vector<OutputKind>& further = {});

/// Gives buffers the encodings of their color profiles; `from` is that of the render, or 0. What there is not is an error.
void useColorProfiles(BufferLayout& layout, const Database& database, miTag from);

/// The part of the image that a thread works on. A pixel's samples come one after the other, so only one pixel at a
/// time is summed up; what is done waits in planes of the tile's size, whose rows the images take whole. Reused from
/// tile to tile.
class TileBuffers {
public:
    explicit TileBuffers(const BufferLayout& layout);

    /// Every pixel of the tile has to be ended.
    void start(int width, int height);

    /// Adds a sample to the pixel. `stands` marks the one sample of the pixel that unfiltered buffers keep.
    void add(const miColor& result, const miState& state, const std::vector<SampleValue>& values, bool stands);

    /// The same in two steps, between which the sample may be changed.
    void takeSample(const miColor& result, const miState& state, const std::vector<SampleValue>& values,
                    BufferSample& sample) const;
    void add(const BufferSample& sample, bool stands);

    /// Keeps what pixels may take of a sample, by the number of samples that were kept before it.
    void keep(const miColor& result, const miState& state, const std::vector<SampleValue>& values);
    void forgetSamples() { kept_.clear(); }
    /// Adds a part of a sample that was kept to the filtered buffers.
    void addPart(int sample, float weight);
    /// Gives unfiltered buffers a sample that was kept.
    void letStand(int sample);
    /// Pixels that are made of parts end at their smallest and largest samples.
    void clip() { clips_ = true; }
    std::size_t bytesPerSample() const { return planes_.size() * sizeof(SampleValue); }

    /// The pixel is done: divides its sums, and the next sample belongs to another pixel. Without samples it is zero.
    void endPixel(int x, int y);

    /// Writes the pixels into the images, whose rows begin at the lower left corner.
    void finish(int x0, int y0, std::vector<LayerImage>& images) const;

    /// Color samples that were not finite and were left out, since the object was made.
    long droppedSamples() const { return dropped_; }

private:
    /// What a buffer does with each sample, looked up once.
    struct Plane {
        int shaderIndex;
        int channels;  ///< words per pixel; a label is one
        bool filtered, integer, alphaOnly, takesResult;
        AutomaticValue automatic;
        alignas(16) std::uint32_t exponents[4] = {};  ///< bits by channel that tell whether a color is finite
        std::size_t first = 0;                        ///< its words in pixels_
        std::size_t image = 0;                        ///< that it belongs to
        bool shown = false;                           ///< samples end at white: LayerImage::shown
    };
    /// The pixel that is being sampled.
    struct Sum {
        alignas(16) float value[4] = {};
        std::uint32_t label = 0;
        float missing = 0;  ///< weight of samples that are no colors
    };
    /// A buffer that sums up what shaders put, and nothing else. Most are: each sample goes through all of these.
    struct PutPlane {
        alignas(16) std::uint32_t exponents[4];
        std::size_t value;  ///< of a sample, by shader index
        std::size_t plane;
    };
    struct Range {
        alignas(16) float least[4], most[4];
    };

    /// Takes what shaders put.
    static bool isPut(const Plane& plane) { return plane.shaderIndex >= 0 && !plane.takesResult; }
    /// What the plane takes of a sample.
    static Words valueOf(const Plane& plane, const miColor& result, const miState& state,
                         const std::vector<SampleValue>& values);
    void addValue(const Plane& plane, Sum& sum, Words value);
    static void keepValue(Sum& sum, Words value);
    void widenRanges(int sample);
    void clipSum(std::size_t plane, float* channels);

    std::vector<Plane> planes_;
    std::vector<PutPlane> putPlanes_;
    std::vector<std::size_t> otherPlanes_;
    std::vector<Sum> sums_;
    float weight_ = 0;               ///< of the running pixel's samples
    std::vector<SampleValue> kept_;  ///< sample by sample, each with a value for every plane
    std::vector<Range> ranges_;      ///< of the running pixel, by plane; empty without clipping
    bool clips_ = false;
    std::vector<std::uint32_t> pixels_;  ///< plane after plane
    int width_ = 0;
    int height_ = 0;
    long dropped_ = 0;
    ColorRules colors_;
};

/// Black images of the window. Throws Failure where they take more memory than they may, and where a stop is requested.
std::vector<LayerImage> makeImages(const std::vector<PicturePlan::Layer>& layers, const DataWindow& window);

/// Those of the layout's buffers.
std::vector<LayerImage> makeImages(const BufferLayout& layout, const DataWindow& window);

}  // namespace lumorender
