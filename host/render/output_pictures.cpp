#include "render/output_pictures.h"

#include "image/pixel_encoding.h"

#include <algorithm>

namespace lumorender {

OutputPicture::OutputPicture(LayerImage& layer, const DataWindow& window, const ColorRules& colors)
    : ShaderImage(window.fullWidth, window.fullHeight, layer.type, colors),
      layer_(layer),
      window_(window),
      colors_(colors) {}

std::ptrdiff_t OutputPicture::indexOf(int x, int y) const {
    const int column = x - window_.x0, row = y - window_.y0;
    if (column < 0 || row < 0 || column >= window_.width || row >= window_.height) return -1;
    return static_cast<std::ptrdiff_t>(row) * window_.width + column;
}

miUint* OutputPicture::label(int x, int y) {
    const std::ptrdiff_t index = indexOf(x, y);
    return index < 0 || layer_.labels.empty() ? nullptr : &layer_.labels[static_cast<std::size_t>(index)];
}

bool OutputPicture::read(float* values, int x, int y) const {
    const std::ptrdiff_t index = indexOf(x, y);
    if (index < 0 || layer_.pixels.empty()) return false;
    std::copy_n(&layer_.pixels[static_cast<std::size_t>(index * channels())], channels(), values);
    return true;
}

/// What was there already keeps its pixel for screens, whose samples ended at white before they were averaged.
void OutputPicture::write(const float* values, int x, int y) {
    const std::ptrdiff_t index = indexOf(x, y);
    if (index < 0 || layer_.pixels.empty()) return;
    const auto first = static_cast<std::size_t>(index * channels());
    float* to = &layer_.pixels[first];
    if (std::equal(to, to + channels(), values)) return;
    std::copy_n(values, channels(), to);
    if (layer_.shown.empty()) return;
    float* shown = &layer_.shown[first];
    std::copy_n(values, channels(), shown);
    if (channels() == 4) clipColor(shown, colors_);
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

OutputPicture* OutputPictures::find(int number) { return at(layout_.slotOfNumber(number, kinds_)); }

OutputPicture* OutputPictures::find(std::string_view name) {
    const auto found = std::find_if(layout_.slots.begin(), layout_.slots.end(), [&](const BufferSlot& slot) {
        return !name.empty() && slot.shaderIndex >= 0 && slot.description.name == name;
    });
    return found == layout_.slots.end() ? nullptr : at(static_cast<int>(found - layout_.slots.begin()));
}

}  // namespace lumorender
