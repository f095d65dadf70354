// What the tests of image files share: a folder of their own, layers, files read back.
#pragma once

#include "image/image.h"
#include "tests/host/as_text.h"

#include <OpenImageIO/imageio.h>

#include <fstream>
#include <limits>

#include <unistd.h>

namespace lumorender::test {

namespace fs = std::filesystem;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInfinity = std::numeric_limits<float>::infinity();

/// A layer whose value c of pixel (x, y) from the lower left is value(x, y, c).
template <class Value>
LayerImage makeLayer(const std::string& name, miImg_type type, int width, int height, Value value) {
    LayerImage layer{name, type, width, height, {}, {}};
    const PixelFormat format = pixelFormat(type);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < format.channels; ++c) {
                if (format.integer)
                    layer.labels.push_back(static_cast<std::uint32_t>(value(x, y, c)));
                else
                    layer.pixels.push_back(static_cast<float>(value(x, y, c)));
            }
    return layer;
}

/// One row of pixels.
inline LayerImage row(miImg_type type, std::vector<float> pixels) {
    const int width = static_cast<int>(pixels.size()) / pixelFormat(type).channels;
    return {"", type, width, 1, std::move(pixels), {}};
}

inline DataWindow whole(int width, int height) { return {0, 0, width, height, width, height}; }
inline DataWindow whole(const LayerImage& layer) { return whole(layer.width, layer.height); }

/// A file as an independent reader sees it; rows from the top, as they are stored.
struct ReadImage {
    fs::path path;
    OIIO::ImageSpec spec;
    std::vector<float> pixels;

    explicit ReadImage(const fs::path& file) : path(file) {
        OIIO::ImageSpec asStored;
        asStored.attribute("oiio:UnassociatedAlpha", 1);
        const auto input = OIIO::ImageInput::open(path.string(), &asStored);
        if (!input) return;
        spec = input->spec();
        pixels.resize(spec.image_pixels() * static_cast<std::size_t>(spec.nchannels));
        input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::FLOAT, pixels.data());
    }
    float at(int column, int rowFromTop, int channel) const {
        return pixels.at(static_cast<std::size_t>((rowFromTop * spec.width + column) * spec.nchannels + channel));
    }
    float at(int column, int rowFromTop, const std::string& channel) const {
        return at(column, rowFromTop, spec.channelindex(channel));
    }
};

class ImageTest : public testing::Test {
protected:
    ImageTest() { fs::create_directories(folder); }
    ~ImageTest() override { fs::remove_all(folder); }

    std::string write(const std::string& name, std::vector<const LayerImage*> layers, const DataWindow& window,
                      const std::string& compression = "", float gamma = 1, const Metadata& metadata = {}) const {
        ImageFile file;
        file.path = folder / name;
        file.compression = compression;
        file.colors.gamma = gamma;
        file.layers.assign(layers.begin(), layers.end());
        return writeImageFile(file, window, metadata);
    }
    ReadImage written(const std::string& name, const LayerImage& layer, const std::string& compression = "",
                      float gamma = 1) const {
        EXPECT_EQ(write(name, {&layer}, whole(layer), compression, gamma), "");
        return ReadImage(folder / name);
    }

    const fs::path folder = fs::temp_directory_path() / ("image_test" + std::to_string(getpid()));
};

}  // namespace lumorender::test
