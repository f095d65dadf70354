#include "tracing/textures.h"

#include "database/elements.h"
#include "support/messages.h"

#include <filesystem>

namespace lumorender {

namespace {

std::string hintOf(const TextureDetail& texture) { return texture.hint.empty() ? "" : "; " + texture.hint; }

void warnOfMissing(const Database& database, miTag tag, const TextureDetail& texture) {
    std::error_code ignored;
    if (!texture.pixels.empty() || std::filesystem::exists(texture.file, ignored)) return;
    warning("IMG", "texture \"{}\", which nothing uses: there is no \"{}\"{}", database.name(tag), texture.file,
            hintOf(texture));
}

}  // namespace

bool TextureTable::open(const Database& database, const std::set<miTag>& named, float gamma) {
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
            entry.texture = openTexture(detail->file, gamma, reason);
            if (!entry.texture) {
                error("IMG", "texture \"{}\": cannot read \"{}\": {}{}", database.name(tag), detail->file, reason,
                      hintOf(*detail));
                complete = false;
            }
        }
        textures_.emplace(tag, std::move(entry));
    }
    return complete;
}

}  // namespace lumorender
