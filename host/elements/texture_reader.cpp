// Reads textures: image files, pixels in the scene itself, and shaders that compute them.
#include "elements/element_readers.h"
#include "mi/images.h"
#include "parameters/shader_calls.h"

#include <fmt/format.h>

#include <bit>
#include <cstring>

namespace lumorender {

namespace {

constexpr int kLargestSide = 1 << 16;

struct TextureReader {
    SceneContext& scene;
    Cursor& in;
    TextureDetail texture = {};

    /// `local`, `filter [scale]`, `writable`, in any order.
    void readModifiers() {
        for (;;) {
            const Place place = in.place();
            const std::string_view word = in.current().text;
            if (in.accept("local")) {
                texture.local = true;
            } else if (in.accept("filter")) {
                texture.filterScale = in.atNumber() ? in.readFloat() : 1;
            } else if (in.accept("writable")) {
                texture.writable = true;
            } else {
                return;
            }
            scene.problems.tell(place, "texture", word);
        }
    }

    void readKind() {
        if (in.accept("color"))
            texture.components = 4;
        else if (in.accept("scalar"))
            texture.components = 1;
        else if (in.accept("vector"))
            texture.components = 3;
        else
            in.fail("color, scalar or vector texture");
        in.expect("texture");
    }

    /// `[ width height [third] ]`
    int readSize(int third) {
        in.expect('[');
        texture.width = in.readInteger(1, kLargestSide);
        texture.height = in.readInteger(1, kLargestSide);
        if (in.atInteger()) third = in.readInteger(0, kLargestSide);
        in.expect(']');
        return third;
    }

    void readFile() {
        texture.givenFile = scene.readFileName();
        texture.file = scene.locateImage(texture.givenFile, texture.hint).string();
        // What files without a header of their own hold, and what a light map is written as.
        if (in.atString()) texture.pixelType = in.readString();
        if (in.atString()) texture.fileFormat = in.readString();
        if (in.at('[')) texture.depth = readSize(0);
    }

    static float component(const unsigned char* bytes, int width) {
        if (width == 1) return static_cast<float>(bytes[0]) / 255.0f;
        if (width == 2) return static_cast<float>(bytes[0] * 256 + bytes[1]) / 65535.0f;
        std::uint32_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        return std::bit_cast<float>(__builtin_bswap32(word));
    }

    void readPixels() {
        const Place place = in.place();
        const int width = readSize(1);
        if (width != 1 && width != 2 && width != 4)
            return scene.problems.error(place, fmt::format("found {} bytes per component, expected 1, 2 or 4", width));
        // Pixels that light map shaders put need no others before.
        if (texture.writable && in.current().kind != TokenKind::Bytes) return;
        const auto bytes = in.readBytes();
        const auto perComponent = static_cast<std::size_t>(texture.width) * static_cast<std::size_t>(texture.height) *
                                  static_cast<std::size_t>(width);
        const std::size_t components = bytes.size() / perComponent;
        const bool fits = bytes.size() == components * perComponent && components > 0 && components <= 4;
        if (!fits)
            return scene.problems.error(place, fmt::format("found {} bytes of pixels, expected {} for each component",
                                                           bytes.size(), perComponent));
        texture.components = static_cast<int>(components);
        texture.bits = 8 * width;
        texture.pixels.reserve(bytes.size() / static_cast<std::size_t>(width));
        for (std::size_t at = 0; at < bytes.size(); at += static_cast<std::size_t>(width))
            texture.pixels.push_back(component(&bytes[at], width));
    }

    void read() {
        readModifiers();
        readKind();
        const std::string name = scene.readNewName("the name of the texture");
        if (in.at("colorprofile")) {
            in.advance();
            texture.profile = scene.readReference({miSCENE_COLORPROFILE}, "a color profile");
        }
        if (in.at('=') || (in.atString() && in.followedBy('('))) {
            readShadersAs(scene, name);
            return;
        }
        in.at('[') ? readPixels() : readFile();
        scene.storeBytes(name, miSCENE_IMAGE, nullptr, sizeof(miImg_image),
                         std::make_unique<TextureDetail>(std::move(texture)));
    }
};

}  // namespace

void readTexture(SceneContext& scene) { TextureReader{scene, scene.in}.read(); }

}  // namespace lumorender
