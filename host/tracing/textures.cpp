#include "tracing/textures.h"

#include "database/elements.h"
#include "photometry/color_space.h"
#include "support/messages.h"

#include <filesystem>

namespace lumorender {

namespace {

/// A texture whose colors are those of another space than the render's.
class ProfiledTexture final : public Texture {
public:
    ProfiledTexture(std::unique_ptr<Texture> texture, const ColorConversion& convert)
        : texture_(std::move(texture)), convert_(convert) {}

    bool lookup(miColor& result, float u, float v, bool filtered) const override {
        return convert(result, texture_->lookup(result, u, v, filtered));
    }
    bool lookup(miColor& result, float u, float v, const Footprint& footprint) const override {
        return convert(result, texture_->lookup(result, u, v, footprint));
    }
    int width() const override { return texture_->width(); }
    int height() const override { return texture_->height(); }
    int components() const override { return texture_->components(); }

private:
    bool convert(miColor& color, bool found) const {
        if (found) color = convert_(color);
        return found;
    }

    std::unique_ptr<Texture> texture_;
    ColorConversion convert_;
};

std::string hintOf(const TextureDetail& texture) { return texture.hint.empty() ? "" : "; " + texture.hint; }

void warnOfMissing(const Database& database, miTag tag, const TextureDetail& texture) {
    std::error_code ignored;
    if (!texture.pixels.empty() || std::filesystem::exists(texture.file, ignored)) return;
    warning("IMG", "texture \"{}\", which nothing uses: there is no \"{}\"{}", database.name(tag), texture.file,
            hintOf(texture));
}

}  // namespace

bool TextureTable::open(const Database& database, const std::set<miTag>& named, float gamma, miTag profile) {
    bool complete = true;
    for (miTag tag = 1; tag < database.end(); ++tag) {
        if (database.type(tag) != miSCENE_IMAGE) continue;
        const auto* detail = database.detail<TextureDetail>(tag);
        if (!detail) continue;
        if (!named.contains(tag) && !detail->isInData) {
            warnOfMissing(database, tag, *detail);
            continue;
        }
        Entry entry;
        entry.filterScale = detail->filterScale > 0 ? detail->filterScale : 0;
        if (!detail->pixels.empty()) {
            entry.texture = memoryTexture(detail->pixels, detail->width, detail->height, detail->components);
        } else {
            std::string reason;
            entry.texture = openTexture(detail->file, detail->profile ? 1 : gamma, reason);
            if (!entry.texture) {
                error("IMG", "texture \"{}\": cannot read \"{}\": {}{}", database.name(tag), detail->file, reason,
                      hintOf(*detail));
                complete = false;
            }
        }
        if (entry.texture && detail->profile)
            entry.texture = std::make_unique<ProfiledTexture>(
                std::move(entry.texture),
                ColorConversion(spaceOfProfile(database, detail->profile), spaceOfProfile(database, profile)));
        textures_.emplace(tag, std::move(entry));
    }
    return complete;
}

}  // namespace lumorender
