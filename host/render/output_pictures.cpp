#include "render/output_pictures.h"

#include "image/pixel_encoding.h"

#include <algorithm>
#include <array>

namespace lumorender {

OutputPicture::OutputPicture(LayerImage& layer, const DataWindow& window, const ColorRules& colors)
    : miImg_image{window.fullWidth, window.fullHeight, layer.type},
      layer_(layer),
      window_(window),
      colors_(colors),
      channels_(pixelFormat(layer.type).channels) {}

std::ptrdiff_t OutputPicture::indexOf(int x, int y) const {
    const int column = x - window_.x0, row = y - window_.y0;
    if (column < 0 || row < 0 || column >= window_.width || row >= window_.height) return -1;
    return static_cast<std::ptrdiff_t>(row) * window_.width + column;
}

const float* OutputPicture::pixel(int x, int y) const {
    const std::ptrdiff_t index = indexOf(x, y);
    return index < 0 || layer_.pixels.empty() ? nullptr : &layer_.pixels[static_cast<std::size_t>(index * channels_)];
}

float* OutputPicture::values(int x, int y) { return const_cast<float*>(pixel(x, y)); }

miUint* OutputPicture::label(int x, int y) const {
    const std::ptrdiff_t index = indexOf(x, y);
    return index < 0 || layer_.labels.empty() ? nullptr : &layer_.labels[static_cast<std::size_t>(index)];
}

miColor OutputPicture::color(int x, int y) const {
    std::array<float, 4> color = {};
    if (const float* from = pixel(x, y)) {
        if (channels_ == 4)
            std::copy_n(from, 4, color.begin());
        else
            convertPixel(from, channels_, color.data(), miIMG_TYPE_RGBA_FP, colors_);
    }
    return {color[0], color[1], color[2], color[3]};
}

miScalar OutputPicture::scalar(int x, int y) const {
    const float* from = pixel(x, y);
    if (!from || channels_ == 1) return from ? *from : 0;
    float value = 0;
    convertPixel(from, channels_, &value, miIMG_TYPE_S_FP, colors_);
    return value;
}

miVector OutputPicture::vector(int x, int y) const {
    const float* from = channels_ == 3 ? pixel(x, y) : nullptr;
    return from ? miVector{from[0], from[1], from[2]} : miVector{0, 0, 0};
}

void OutputPicture::setColor(const miColor& color, int x, int y) {
    const float values[4] = {color.r, color.g, color.b, color.a};
    put(values, 4, x, y);
}

void OutputPicture::setScalar(miScalar value, int x, int y) { put(&value, 1, x, y); }

void OutputPicture::setVector(const miVector& vector, int x, int y) {
    const float values[3] = {vector.x, vector.y, vector.z};
    if (channels_ == 3) put(values, 3, x, y);
}

/// What was there already keeps its pixel for screens, whose samples ended at white before they were averaged.
void OutputPicture::put(const float* given, int count, int x, int y) {
    float* to = values(x, y);
    if (!to) return;
    std::array<float, 4> value = {};
    if (count == channels_)
        std::copy_n(given, count, value.begin());
    else
        convertPixel(given, count, value.data(), layer_.type, colors_);
    if (std::equal(to, to + channels_, value.begin())) return;
    std::copy_n(value.begin(), channels_, to);
    if (layer_.shown.empty()) return;
    float* shown = layer_.shown.data() + (to - layer_.pixels.data());
    std::copy_n(value.begin(), channels_, shown);
    if (channels_ == 4) clipColor(shown, colors_);
}

OutputPictures::OutputPictures(const BufferLayout& layout, const DataWindow& window, std::vector<LayerImage>& images)
    : layout_(layout) {
    for (LayerImage& image : images) pictures_.emplace_back(image, window, layout.colors);
}

OutputPictures*& OutputPictures::running() {
    static thread_local OutputPictures* pictures = nullptr;
    return pictures;
}

const ContourLine* OutputPictures::nextContour() {
    if (next_ < contours_.size()) return &contours_[next_++];
    next_ = 0;
    return nullptr;
}

OutputPicture* OutputPictures::at(int slot) { return slot < 0 ? nullptr : &pictures_[static_cast<std::size_t>(slot)]; }

OutputPicture* OutputPictures::find(int number) { return at(slotOf(number)); }

int OutputPictures::slotOf(int number) const {
    constexpr miImg_type kFixed[] = {miIMG_TYPE_RGBA, miIMG_TYPE_Z,   miIMG_TYPE_N,
                                     miIMG_TYPE_M,    miIMG_TYPE_TAG, miIMG_TYPE_COVERAGE};
    if (number == miRC_IMAGE_RGBA) return layout_.primary;
    if (number < 0) return -1;
    const bool isFixed = number <= miRC_IMAGE_COVERAGE;
    if (isFixed)
        for (const OutputKind& kind : kinds_)
            if (kind.type == kFixed[number]) return layout_.slotOf(kind);
    const auto isIt = [&](const BufferSlot& slot) {
        if (layout_.named) return slot.shaderIndex == number && !slot.takesResult;
        if (isFixed) return slot.shaderIndex < 0 && slot.description.datatype == kFixed[number];
        return slot.shaderIndex >= 0 && !slot.takesResult && slot.shaderIndex == number - miRC_IMAGE_USER;
    };
    const auto found = std::find_if(layout_.slots.begin(), layout_.slots.end(), isIt);
    return found == layout_.slots.end() ? -1 : static_cast<int>(found - layout_.slots.begin());
}

OutputPicture* OutputPictures::find(std::string_view name) {
    const auto found = std::find_if(layout_.slots.begin(), layout_.slots.end(), [&](const BufferSlot& slot) {
        return !name.empty() && slot.shaderIndex >= 0 && slot.description.name == name;
    });
    return found == layout_.slots.end() ? nullptr : at(static_cast<int>(found - layout_.slots.begin()));
}

}  // namespace lumorender
