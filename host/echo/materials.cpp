// Materials, textures and light profiles.
#include "database/elements.h"
#include "echo/element_writers.h"
#include "mi/records.h"
#include "photometry/light_profile.h"

#include <bit>
#include <cmath>

namespace lumorender {

void writeMaterial(ElementText& out, miTag tag) {
    if (writePhenomenonElement(out, tag)) return;
    const auto& material = *out.database.as<miMaterial>(tag, miSCENE_MATERIAL);
    out.text += "material";
    out.add(Quoted{out.database.name(tag)});
    if (material.opaque) out.statement("opaque");
    writeSlotStatement(out, "", material.shader);
    writeSlotStatement(out, "displace", material.displace);
    writeSlotStatement(out, "shadow", material.shadow);
    writeSlotStatement(out, "volume", material.volume);
    writeSlotStatement(out, "environment", material.environment);
    writeSlotStatement(out, "contour", material.contour);
    writeSlotStatement(out, "photon", material.photon);
    writeSlotStatement(out, "photonvol", material.photonvol);
    writeSlotStatement(out, "lightmap", material.lightmap);
    writeSlotStatement(out, "bsdf", material.bsdf);
    writeAttributes(out, tag);
    out.text += "\nend material\n";
}

namespace {

/// As many bits as the scene has given: gamma is for whole numbers only.
std::uint32_t wordOf(float component, int bits) {
    if (bits == 32) return std::bit_cast<std::uint32_t>(component);
    return static_cast<std::uint32_t>(std::lround(component * static_cast<float>((1 << bits) - 1)));
}

void writePixels(ElementText& out, const TextureDetail& texture) {
    std::vector<unsigned char> bytes;
    bytes.reserve(texture.pixels.size() * static_cast<std::size_t>(texture.bits) / 8);
    for (const float component : texture.pixels) {
        const std::uint32_t word = wordOf(component, texture.bits);
        for (int shift = texture.bits - 8; shift >= 0; shift -= 8)
            bytes.push_back(static_cast<unsigned char>(word >> shift));
    }
    out.add("[");
    out.add(texture.width);
    out.add(texture.height);
    out.add(texture.bits / 8);
    out.add("]");
    out.bytes(bytes.data(), bytes.size());
}

}  // namespace

/// Images are named by where they were found, so that the text may lie in another folder than the scene.
void writeTexture(ElementText& out, miTag tag) {
    const auto* texture = out.database.detail<TextureDetail>(tag);
    if (!texture) return;
    if (texture->local) out.text += "local ";
    if (texture->writable) out.text += "writable ";
    if (!isZero(texture->filterScale)) {
        out.text += "filter";
        out.add(texture->filterScale);
        out.text += ' ';
    }
    out.text += texture->components == 1 ? "scalar" : texture->components == 3 ? "vector" : "color";
    out.add("texture");
    out.add(Quoted{out.database.name(tag)});
    if (texture->profile) {
        out.add("colorprofile");
        out.add(Name{texture->profile});
    }
    if (!texture->pixels.empty()) {
        writePixels(out, *texture);
    } else {
        const bool isMade = texture->writable;  // beside the picture, wherever the scene lies
        if (!texture->file.empty()) out.add(Quoted{isMade ? texture->givenFile : texture->file});
        if (!texture->pixelType.empty()) out.add(Quoted{texture->pixelType});
        if (!texture->fileFormat.empty()) out.add(Quoted{texture->fileFormat});
        if (texture->width > 0) {
            out.add("[");
            out.add(texture->width);
            out.add(texture->height);
            if (!texture->file.empty()) out.add(texture->depth);
            out.add("]");
        }
    }
    out.text += '\n';
}

void writeLightProfile(ElementText& out, miTag tag) {
    const auto* profile = out.database.detail<LightProfile>(tag);
    if (!profile) return;
    out.text += "lightprofile";
    out.add(Quoted{out.database.name(tag)});
    if (profile->format) out.statement("format", profile->format == PhotometricFormat::Ies ? "ies" : "eulumdat");
    if (!profile->file.empty()) out.statement("file", Quoted{profile->file});
    if (profile->curve == Curve::Smooth) out.statement("hermite", 3);
    if (profile->horizontalSteps != 0 || profile->verticalSteps != 0)
        out.statement("resolution", profile->horizontalSteps, profile->verticalSteps);
    out.text += "\nend lightprofile\n";
}

}  // namespace lumorender
