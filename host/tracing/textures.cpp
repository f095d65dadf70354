#include "tracing/textures.h"

#include "database/elements.h"
#include "support/messages.h"

namespace lumorender {

bool TextureTable::open(const Database& database, float gamma) {
    bool complete = true;
    for (miTag tag = 1; tag < database.end(); ++tag) {
        if (database.type(tag) != miSCENE_IMAGE) continue;
        const auto* detail = database.detail<TextureDetail>(tag);
        if (!detail) continue;
        Entry entry;
        entry.filterScale = detail->filterScale > 0 ? detail->filterScale : 0;
        if (!detail->pixels.empty()) {
            entry.texture = memoryTexture(detail->pixels, detail->width, detail->height, detail->components);
        } else {
            std::string reason;
            entry.texture = openTexture(detail->file, gamma, reason);
            if (!entry.texture) {
                error("IMG", "texture \"{}\": cannot read \"{}\": {}", database.name(tag), detail->file, reason);
                complete = false;
            }
        }
        textures_.emplace(tag, std::move(entry));
    }
    return complete;
}

}  // namespace lumorender
