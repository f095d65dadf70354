/* A point with a material that has highlights and a mirror. */
#pragma once

#include <algorithm>
#include <random>

#include "surface_scene.h"

/* Words of the parameter blocks; each material's own begin at kOwn. */
namespace gloss {
constexpr int kDiffuse = 17, kNormalCamera = 36;
constexpr int kSpecularColor = 59, kSecondaryScale = 63, kReflectedColor = 64, kReflectivity = 68, kLimit = 69,
              kBlur = 70, kRays = 71, kOwn = 72;
constexpr int kWords = 86;
}  // namespace gloss

/* Blocks of all materials, with room for the longest; an opaque white surface without diffuse light, with a white
 * highlight and no mirror. */
struct GlossWords {
    std::array<miUint, gloss::kWords> words{};

    GlossWords() {
        std::ranges::copy(LambertWords().words, words.begin());
        scalar(gloss::kDiffuse, 0).color(gloss::kSpecularColor, 1, 1, 1).scalar(gloss::kSecondaryScale, 1);
        color(gloss::kReflectedColor, 1, 1, 1).integer(gloss::kLimit, 100).integer(gloss::kRays, 1);
    }
    GlossWords& integer(int slot, miInteger value) { return word(slot) = static_cast<miUint>(value), *this; }
    GlossWords& scalar(int slot, miScalar value) { return word(slot) = std::bit_cast<miUint>(value), *this; }
    GlossWords& color(int slot, miScalar r, miScalar g, miScalar b) {
        return scalar(slot, r).scalar(slot + 1, g).scalar(slot + 2, b).scalar(slot + 3, 1);
    }
    /* The material's own parameters, in order. */
    GlossWords& own(std::initializer_list<miScalar> values) {
        int slot = gloss::kOwn;
        for (const miScalar value : values) scalar(slot++, value);
        return *this;
    }
    miUint& word(int slot) { return words[static_cast<std::size_t>(slot)]; }
};

class GlossTest : public SurfaceTest {
protected:
    const SurfaceShaderReturnType& shadeAs(const std::string& name, twin::ShaderInstance<GlossWords>& shader) {
        const twin::ShaderEntry<GlossWords> entry(name);
        stage.run(shader);
        miBoolean wantsInstances = miFALSE;
        entry.init(state, shader.parameters(), &wantsInstances);
        returned = entry.call(&result, state, shader.parameters(), nullptr);
        entry.exit(state, shader.parameters());
        return result;
    }
    const SurfaceShaderReturnType& shadeAs(const std::string& name, const GlossWords& words) {
        twin::ShaderInstance<GlossWords> shader(words);
        return shadeAs(name, shader);
    }

    /* Direction from the point to the eye. */
    void lookFrom(const miVector& view) {
        state->dir = {-view.x, -view.y, -view.z};
        state->dot_nd = mi_vector_dot(&state->normal, &state->dir);
    }
};
