// Frame buffers as output shaders see them: pictures that they read and change before files are written.
#pragma once

#include "image/shader_image.h"
#include "render/contours.h"
#include "render/frame_buffers.h"

#include <deque>
#include <string_view>
#include <vector>

namespace lumorender {

/// One picture. Outside of what was rendered there are no pixels.
class OutputPicture final : public ShaderImage {
public:
    OutputPicture(LayerImage& layer, const DataWindow& window, const ColorRules& colors);

    miUint* label(int x, int y) override;

private:
    /// Of a pixel among those of the layer, or -1 outside.
    std::ptrdiff_t indexOf(int x, int y) const;
    bool read(float* values, int x, int y) const override;
    void write(const float* values, int x, int y) override;

    LayerImage& layer_;
    DataWindow window_;
    const ColorRules& colors_;
};

/// Finds pictures by the numbers and the names that shaders know. Belongs to the thread that calls output shaders.
class OutputPictures {
public:
    /// All of them must outlive the object.
    OutputPictures(const BufferLayout& layout, const DataWindow& window, std::vector<LayerImage>& images);

    /// What the statement of the next shader asks for: these types are meant by the fixed numbers.
    void setKinds(std::vector<OutputKind> kinds) {
        kinds_ = std::move(kinds);
        next_ = 0;
    }

    void setContours(std::vector<ContourLine> contours) { contours_ = std::move(contours); }
    std::size_t contours() const { return contours_.size(); }
    /// The next line, or null behind the last one; then the first is next.
    const ContourLine* nextContour();

    /// Those that the running thread's output shader works on, or null.
    static OutputPictures*& running();

    /// Null where there is none.
    OutputPicture* find(int number);
    OutputPicture* find(std::string_view name);

private:
    OutputPicture* at(int slot);

    const BufferLayout& layout_;
    std::deque<OutputPicture> pictures_;  ///< by slot
    std::vector<OutputKind> kinds_;
    std::vector<ContourLine> contours_;
    std::size_t next_ = 0;
};

}  // namespace lumorender
