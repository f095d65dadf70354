// The textures of a render, opened before the first sample.
#pragma once

#include "database/database.h"
#include "database/elements.h"
#include "image/writable_texture.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>

namespace lumorender {

struct TextureRules {
    float gamma = 1;
    miTag profile = 0;      ///< space of the render, into which colors of textures with a profile are brought
    bool lightMaps = true;  ///< are made: writable textures need no file to begin with
    /// Where a file lies that a render writes; none = under the name that it has.
    std::function<std::filesystem::path(const std::filesystem::path&)> located = {};
};

/// Texture elements by tag. Read-only while rendering.
class TextureTable {
public:
    /// Opens the textures that shaders name, and those in user data. A file that cannot be read is an error naming it;
    /// one that is missing and that nothing uses is a warning.
    /// @return false when one could not be opened. Throws Failure where writable ones take more memory than they may.
    bool open(const Database& database, const std::set<miTag>& named, const TextureRules& rules);

    const Texture* find(miTag tag) const {
        const auto found = textures_.find(tag);
        return found == textures_.end() ? nullptr : found->second.texture.get();
    }
    /// How many pixels of the image look-ups of the texture shall cover, as the scene asks; 0 = they are points.
    float filterScale(miTag tag) const {
        const auto found = textures_.find(tag);
        return found == textures_.end() ? 0 : found->second.filterScale;
    }

    /// Those that light map shaders put pixels into, by tag. Null for others.
    const std::map<miTag, WritableTexture*>& writables() const { return writables_; }
    WritableTexture* writable(miTag tag) const {
        const auto found = writables_.find(tag);
        return found == writables_.end() ? nullptr : found->second;
    }

private:
    struct Entry {
        std::unique_ptr<Texture> texture;
        std::unique_ptr<ShaderImage> image;  ///< what shaders see of its pixels, unless the texture is one itself
        float filterScale = 0;
    };

    static std::unique_ptr<Texture> openFile(const Database& database, miTag tag, const TextureDetail& detail,
                                             const TextureRules& rules);
    static std::unique_ptr<Texture> opened(const Database& database, miTag tag, const TextureDetail& detail,
                                           const TextureRules& rules);
    std::unique_ptr<Texture> writable(miTag tag, const TextureDetail& detail, std::unique_ptr<Texture> before);
    static void showPixels(const Database& database, miTag tag, Entry& entry);

    std::unordered_map<miTag, Entry> textures_;
    std::map<miTag, WritableTexture*> writables_;
    double writableBytes_ = 0;
};

}  // namespace lumorender
