// Scenes of the shader library's lights and Lambert surfaces, with the passes that they write as float layers.
#pragma once

#include "pixels.h"
#include "scene_text.h"

#include <string>
#include <vector>

namespace rendertest {

/// What a record of the frame-buffer block sets.
enum EntryFlags : unsigned {
    kComposited = 0x1,
    kMatte = 0x2,
    kTimesSurfaceColor = 0x40,
    kShadowed = 0x80,
    kIgnoresOccluderMask = 0x100,
    kUsual = kComposited | kShadowed,
};

struct Rgb {
    double r = 0, g = 0, b = 0;
};

inline Rgb operator*(const Rgb& a, const Rgb& b) { return {a.r * b.r, a.g * b.g, a.b * b.b}; }
inline Rgb operator*(double s, const Rgb& a) { return {s * a.r, s * a.g, s * a.b}; }
inline Rgb operator+(const Rgb& a, const Rgb& b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
inline Rgb operator-(const Rgb& a, const Rgb& b) { return {a.r - b.r, a.g - b.g, a.b - b.b}; }

/// The camera of SceneText. Every pass is a layer of the picture; "" is the surface's result itself.
class LitScene {
public:
    struct Pass {
        std::string name;
        int type;
        unsigned flags = kUsual;
    };

    /// Ordered by type.
    explicit LitScene(std::vector<Pass> passes = {});

    /// Place: "origin ..." or "direction ...". Of the instance: lists, data.
    void light(const std::string& name, const std::string& shader, const std::string& place,
               const std::string& instance = {});
    /// A shading group and its surface. Without a shadow shader of its own it is opaque.
    void lambert(const std::string& name, const std::string& parameters, const std::string& shadow = {},
                 const std::string& engine = {});
    /// As `wall` in scene_text.h.
    void wall(const std::string& name, double z, const std::string& material, double size = 1000,
              const std::string& instance = {});
    void addInstance(const std::string& text, const std::string& name);

    /// Statement of an instance that leaves it out of these passes.
    std::string leftOutOf(const std::vector<std::string>& passes);

    std::string text() const;

    /// Materials, profiles and what else has no instance.
    void addElement(const std::string& element) { elements_ += element + "\n"; }

    std::string options, camera;
    std::string record;  ///< parameters of the per-sample record

private:
    std::vector<Pass> passes_;
    std::string elements_, members_;
    int masks_ = 0;
};

/// The parameter "name" of a color or a scalar.
std::string parameter(const std::string& name, const Rgb& value);
std::string parameter(const std::string& name, double value);

/// Compares rgb of a layer with `expected(x, y)`, in all 4 x 4 pixels, relative to the expected value.
template <class Expected>
void expectLayer(const Picture& image, const std::string& layer, Expected expected, double relative = 1e-4,
                 double absolute = 1e-7) {
    const std::string prefix = layer.empty() ? "" : layer + ".";
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const Rgb value = expected(x, y);
            const auto check = [&](const char* channel, double one) {
                EXPECT_NEAR(image.at(prefix + channel, x, y), one, std::abs(one) * relative + absolute)
                    << prefix << channel << " at " << x << " " << y;
            };
            check("R", value.r);
            check("G", value.g);
            check("B", value.b);
        }
}

inline void expectLayer(const Picture& image, const std::string& layer, const Rgb& expected) {
    expectLayer(image, layer, [&](int, int) { return expected; });
}

}  // namespace rendertest
