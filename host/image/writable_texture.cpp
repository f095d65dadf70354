#include "image/writable_texture.h"

#include "support/messages.h"

#include <algorithm>
#include <limits>

namespace lumorender {

namespace {

miImg_type typeOf(int components) {
    return components == 1 ? miIMG_TYPE_S_FP : components == 3 ? miIMG_TYPE_RGB_FP : miIMG_TYPE_RGBA_FP;
}

}  // namespace

WritableTexture::WritableTexture(int columns, int rows, int components, std::unique_ptr<Texture> before)
    : ShaderImage(columns, rows, typeOf(components)), shown_(std::move(before)) {
    const std::size_t texels = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    pixels_.resize(texels * static_cast<std::size_t>(channels()));
    turns_.resize(texels);
}

std::uint64_t& WritableTexture::running() {
    static thread_local std::uint64_t turn = 0;
    return turn;
}

bool WritableTexture::isInside(int x, int y) const { return x >= 0 && y >= 0 && x < width() && y < height(); }

std::size_t WritableTexture::indexOf(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width()) + static_cast<std::size_t>(x);
}

bool WritableTexture::isDrawn() const {
    return std::any_of(turns_.begin(), turns_.end(), [](std::uint64_t turn) { return turn != 0; });
}

bool WritableTexture::read(float* values, int x, int y) const {
    if (!isInside(x, y) || !shown_) return false;
    miColor color = {0, 0, 0, 0};
    const float u = (static_cast<float>(x) + .5F) / static_cast<float>(width());
    const float v = (static_cast<float>(y) + .5F) / static_cast<float>(height());
    if (!shown_->lookup(color, u, v, false)) return false;
    const float all[4] = {color.r, color.g, color.b, color.a};
    std::copy_n(all, channels(), values);
    return true;
}

void WritableTexture::write(const float* values, int x, int y) {
    const std::uint64_t turn = running();
    if (turn == 0) return warning("API", "pixels of textures are put by light map shaders only");
    if (!isInside(x, y)) return;
    const std::lock_guard lock(locks_[static_cast<std::size_t>(y) % kLocks]);
    const std::size_t index = indexOf(x, y);
    if (turns_[index] > turn) return;
    turns_[index] = turn;
    std::copy_n(values, channels(), &pixels_[index * static_cast<std::size_t>(channels())]);
}

/// False where none of the eight pixels around has a value.
bool WritableTexture::meanAround(float* values, int x, int y) const {
    std::fill_n(values, channels(), 0.0F);
    int count = 0;
    for (int row = y - 1; row <= y + 1; ++row)
        for (int column = x - 1; column <= x + 1; ++column) {
            if (!isInside(column, row) || turns_[indexOf(column, row)] == 0) continue;
            const float* pixel = &pixels_[indexOf(column, row) * static_cast<std::size_t>(channels())];
            for (int c = 0; c < channels(); ++c) values[c] += pixel[c];
            ++count;
        }
    for (int c = 0; c < channels() && count > 0; ++c) values[c] /= static_cast<float>(count);
    return count > 0;
}

void WritableTexture::growEdges(int pixels) {
    struct Grown {
        std::size_t index;
        float values[4];
    };
    std::vector<Grown> grown;
    for (int round = 0; round < pixels; ++round) {
        grown.clear();
        Grown next = {};
        for (int y = 0; y < height(); ++y)
            for (int x = 0; x < width(); ++x) {
                next.index = indexOf(x, y);
                if (turns_[next.index] == 0 && meanAround(next.values, x, y)) grown.push_back(next);
            }
        if (grown.empty()) return;
        for (const Grown& each : grown) {
            turns_[each.index] = std::numeric_limits<std::uint64_t>::max();
            std::copy_n(each.values, channels(), &pixels_[each.index * static_cast<std::size_t>(channels())]);
        }
    }
}

void WritableTexture::show() {
    if (isDrawn()) shown_ = memoryTexture(pixels_, width(), height(), channels());
}

LayerImage WritableTexture::layer() const {
    LayerImage layer;
    layer.type = type;
    layer.width = width();
    layer.height = height();
    layer.pixels = pixels_;
    return layer;
}

bool WritableTexture::lookup(miColor& result, float u, float v, bool filtered) const {
    result = {0, 0, 0, 0};
    return !shown_ || shown_->lookup(result, u, v, filtered);
}

bool WritableTexture::lookup(miColor& result, float u, float v, const Footprint& footprint) const {
    result = {0, 0, 0, 0};
    return !shown_ || shown_->lookup(result, u, v, footprint);
}

}  // namespace lumorender
