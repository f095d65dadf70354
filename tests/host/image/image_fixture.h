// What the tests of image files share: a folder of their own, layers with recognisable values, files read back.
#pragma once

#include "image/image.h"

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <fstream>

#include <unistd.h>

namespace lumorender::test {

namespace fs = std::filesystem;

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

inline DataWindow whole(int width, int height) { return {0, 0, width, height, width, height}; }

/// A file as an independent reader sees it; rows from the top, as they are stored.
struct ReadImage {
    OIIO::ImageSpec spec;
    std::vector<float> pixels;

    explicit ReadImage(const fs::path& path) {
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
    ImageTest() {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        folder = fs::temp_directory_path() / (std::string("image_test_") + info->name() + std::to_string(getpid()));
        fs::create_directories(folder);
    }
    ~ImageTest() override { fs::remove_all(folder); }

    std::string write(const std::string& name, std::vector<const LayerImage*> layers, const DataWindow& window) const {
        ImageFile file;
        file.path = folder / name;
        file.layers = std::move(layers);
        return writeImageFile(file, window, {});
    }

    std::string bytes(const std::string& name) const {
        std::ifstream input(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(input), {}};
    }

    fs::path folder;
};

}  // namespace lumorender::test
