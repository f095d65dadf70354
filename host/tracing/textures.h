// The textures of a render, opened before the first sample.
#pragma once

#include "database/database.h"
#include "image/texture.h"

#include <memory>
#include <set>
#include <unordered_map>

namespace lumorender {

/// Texture elements by tag. Read-only while rendering.
class TextureTable {
public:
    /// Opens the textures that shaders name, and those in user data. A file that cannot be read is an error naming it;
    /// one that is missing and that nothing uses is a warning.
    /// @return false when one could not be opened.
    /// Colors of a texture with a profile are brought into the space of the render, which `profile` names.
    bool open(const Database& database, const std::set<miTag>& named, float gamma, miTag profile);

    const Texture* find(miTag tag) const {
        const auto found = textures_.find(tag);
        return found == textures_.end() ? nullptr : found->second.texture.get();
    }
    /// How many pixels of the image look-ups of the texture shall cover, as the scene asks; 0 = they are points.
    float filterScale(miTag tag) const {
        const auto found = textures_.find(tag);
        return found == textures_.end() ? 0 : found->second.filterScale;
    }

private:
    struct Entry {
        std::unique_ptr<Texture> texture;
        float filterScale = 0;
    };
    std::unordered_map<miTag, Entry> textures_;
};

}  // namespace lumorender
