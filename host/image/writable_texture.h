// Textures whose pixels shaders put, before the picture is rendered that looks them up.
#pragma once

#include "image/shader_image.h"
#include "image/texture.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace lumorender {

/// What is put is not seen before it is shown: until then look-ups and reads find what was there before, so they do not
/// depend on how far others are.
class WritableTexture final : public Texture, public ShaderImage {
public:
    /// `before` is what the texture holds until something is shown; black without.
    WritableTexture(int columns, int rows, int components, std::unique_ptr<Texture> before);

    /// While one lives its thread may put pixels, into any writable texture. Of several values for a pixel that of the
    /// highest number stays, whenever it is put. Numbers are of one thread each.
    class Turn {
    public:
        explicit Turn(std::uint64_t number) { running() = number + 1; }
        ~Turn() { running() = 0; }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
    };

    /// Whether anything was put.
    bool isDrawn() const;
    /// Gives pixels without a value that of the mean of their neighbours, from those that have one outwards.
    void growEdges(int pixels);
    /// From now on look-ups find what was put, if anything was. By one thread, while no other uses the texture.
    void show();
    /// What was put, as a layer of a file.
    LayerImage layer() const;

    bool lookup(miColor& result, float u, float v, bool filtered) const override;
    bool lookup(miColor& result, float u, float v, const Footprint& footprint) const override;
    int width() const override { return miImg_image::width; }
    int height() const override { return miImg_image::height; }
    int components() const override { return channels(); }

private:
    static constexpr std::size_t kLocks = 64;

    static std::uint64_t& running();
    bool isInside(int x, int y) const;
    std::size_t indexOf(int x, int y) const;
    bool read(float* values, int x, int y) const override;
    void write(const float* values, int x, int y) override;
    bool meanAround(float* values, int x, int y) const;

    std::unique_ptr<Texture> shown_;
    std::vector<float> pixels_;
    std::vector<std::uint64_t> turns_;  ///< in which a pixel was put; 0 = never
    mutable std::mutex locks_[kLocks];  ///< for rows
};

}  // namespace lumorender
