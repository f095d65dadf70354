// The textures of a render, opened before the first sample.
#pragma once

#include "database/database.h"
#include "image/texture.h"

#include <memory>
#include <unordered_map>

namespace lumorender {

/// Texture elements by tag. Read-only while rendering.
class TextureTable {
public:
    /// Opens every texture of the database. A file that cannot be read is an error naming it.
    /// @return false when one could not be opened.
    bool open(const Database& database, float gamma);

    const Texture* find(miTag tag) const {
        const auto found = textures_.find(tag);
        return found == textures_.end() ? nullptr : found->second.texture.get();
    }
    /// The scene asked for filtered look-ups of the texture.
    bool isFiltered(miTag tag) const {
        const auto found = textures_.find(tag);
        return found != textures_.end() && found->second.filtered;
    }

private:
    struct Entry {
        std::unique_ptr<Texture> texture;
        bool filtered = false;
    };
    std::unordered_map<miTag, Entry> textures_;
};

}  // namespace lumorender
