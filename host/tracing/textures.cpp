#include "tracing/textures.h"

#include "database/elements.h"
#include "photometry/color_space.h"
#include "support/limits.h"
#include "support/messages.h"

#include <algorithm>
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
    int bits() const override { return texture_->bits(); }

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

/// What shaders read of a texture's pixels. They are not written.
class TexturePixels final : public ShaderImage {
public:
    explicit TexturePixels(const Texture& texture)
        : ShaderImage(texture.width(), texture.height(),
                      texture.components() == 1 ? miIMG_TYPE_S_FP : miIMG_TYPE_RGBA_FP),
          texture_(texture) {}

private:
    bool read(float* values, int x, int y) const override {
        if (x < 0 || y < 0 || x >= texture_.width() || y >= texture_.height()) return false;
        miColor color = {0, 0, 0, 0};
        const float u = (static_cast<float>(x) + .5F) / static_cast<float>(texture_.width());
        const float v = (static_cast<float>(y) + .5F) / static_cast<float>(texture_.height());
        if (!texture_.lookup(color, u, v, false)) return false;
        const float all[4] = {color.r, color.g, color.b, color.a};
        std::copy_n(all, channels(), values);
        return true;
    }
    void write(const float*, int, int) override {
        warning("API", "a shader puts pixels into a texture that is not writable; they are lost");
    }

    const Texture& texture_;
};

/// The file that a former render has written counts before one elsewhere.
std::string fileOf(const TextureDetail& texture, const TextureRules& rules) {
    std::error_code ignored;
    if (!texture.writable || !rules.located) return texture.file;
    const std::filesystem::path written = rules.located(texture.givenFile);
    return std::filesystem::exists(written, ignored) ? written.string() : texture.file;
}

bool isThere(const std::string& file) {
    std::error_code ignored;
    return std::filesystem::exists(file, ignored);
}

}  // namespace

/// Null, after a message, where it cannot be read.
std::unique_ptr<Texture> TextureTable::openFile(const Database& database, miTag tag, const TextureDetail& detail,
                                                const TextureRules& rules) {
    const std::string file = fileOf(detail, rules);
    std::string reason;
    auto texture = openTexture(file, detail.profile ? 1 : rules.gamma, reason);
    if (!texture)
        error("IMG", "texture \"{}\": cannot read \"{}\": {}{}", database.name(tag), file, reason, hintOf(detail));
    return texture;
}

std::unique_ptr<Texture> TextureTable::opened(const Database& database, miTag tag, const TextureDetail& detail,
                                              const TextureRules& rules) {
    std::unique_ptr<Texture> texture;
    if (detail.pixels.empty()) {
        texture = openFile(database, tag, detail, rules);
    } else {
        texture = memoryTexture(detail.pixels, detail.width, detail.height, detail.components, detail.bits,
                                detail.profile ? 1 : rules.gamma);
    }
    if (!texture || !detail.profile) return texture;
    const ColorConversion convert(spaceOfProfile(database, detail.profile), spaceOfProfile(database, rules.profile));
    return std::make_unique<ProfiledTexture>(std::move(texture), convert);
}

/// As large as the scene says, else as what it begins with.
std::unique_ptr<Texture> TextureTable::writable(miTag tag, const TextureDetail& detail,
                                                std::unique_ptr<Texture> before) {
    const int width = detail.width > 0 ? detail.width : before->width();
    const int height = detail.width > 0 ? detail.height : before->height();
    constexpr double kBytesPerTexel =
        3 * 4 * sizeof(float);  // twice its pixels, mip levels, in which turn each was put
    writableBytes_ += kBytesPerTexel * width * height;
    if (writableBytes_ > static_cast<double>(limits().memoryBytes))
        throw Failure(fmt::format("light maps would take {:.0f} MB, more than there may be (-memory)",
                                  writableBytes_ / (1 << 20)));
    auto texture = std::make_unique<WritableTexture>(width, height, detail.components, std::move(before));
    writables_[tag] = texture.get();
    return texture;
}

/// The record of a texture is an image.
void TextureTable::showPixels(const Database& database, miTag tag, Entry& entry) {
    auto* writable = dynamic_cast<WritableTexture*>(entry.texture.get());
    if (!writable) entry.image = std::make_unique<TexturePixels>(*entry.texture);
    if (auto* record = database.as<miImg_image>(tag, miSCENE_IMAGE); record && database.size(tag) >= sizeof *record)
        *record = writable ? *static_cast<miImg_image*>(writable) : *static_cast<miImg_image*>(entry.image.get());
}

bool TextureTable::open(const Database& database, const std::set<miTag>& named, const TextureRules& rules) {
    bool complete = true;
    for (miTag tag = 1; tag < database.end(); ++tag) {
        if (database.type(tag) != miSCENE_IMAGE) continue;
        const auto* detail = database.detail<TextureDetail>(tag);
        if (!detail) continue;
        if (!named.contains(tag) && !detail->isInData) {
            if (!detail->writable) warnOfMissing(database, tag, *detail);
            continue;
        }
        Entry entry;
        entry.filterScale = detail->filterScale > 0 ? detail->filterScale : 0;
        const bool begins = !detail->pixels.empty() || isThere(fileOf(*detail, rules));
        const bool isDrawn = detail->writable && rules.lightMaps;
        const bool isEmpty = detail->writable && detail->width > 0 && !begins && (isDrawn || detail->file.empty());
        if (!isEmpty) entry.texture = opened(database, tag, *detail, rules);
        complete = complete && (isEmpty || entry.texture);
        if (isEmpty || (isDrawn && entry.texture)) entry.texture = writable(tag, *detail, std::move(entry.texture));
        if (entry.texture) showPixels(database, tag, entry);
        textures_.emplace(tag, std::move(entry));
    }
    return complete;
}

}  // namespace lumorender
