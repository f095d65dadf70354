// Lights: the statements that are present make their type.
#include "echo/element_writers.h"
#include "mi/records.h"

namespace lumorender {

namespace {

void writeSamples(ElementText& out, const miLight& light) {
    for (const short count :
         {light.samples_u, light.samples_v, light.low_level, light.low_samples_u, light.low_samples_v})
        out.add(int{count});
}

void writeArea(ElementText& out, const miLight& light) {
    const miLight_primitive& shape = light.primitive;
    // Where the object was deleted there is no shape.
    if (light.area == miLIGHT_OBJECT && out.database.name(shape.object.object).empty()) return;
    switch (light.area) {
        case miLIGHT_NONE: return;
        case miLIGHT_RECTANGLE: out.statement("rectangle", shape.rectangle.edge_u, shape.rectangle.edge_v); break;
        case miLIGHT_DISC: out.statement("disc", shape.disc.normal, shape.disc.radius); break;
        case miLIGHT_SPHERE: out.statement("sphere", shape.sphere.radius); break;
        case miLIGHT_CYLINDER: out.statement("cylinder", shape.cylinder.axis, shape.cylinder.radius); break;
        case miLIGHT_OBJECT: out.statement("object", Name{shape.object.object}); break;
        case miLIGHT_USER: out.statement("user"); break;
    }
    writeSamples(out, light);
}

void writeShadowMap(ElementText& out, const miLight& light) {
    if (light.use_shadow_maps) out.statement("shadowmap on");
    if (light.shmap.type) out.statement("shadowmap detail samples", int{light.shmap.samples});
    if (light.shadowmap_resolution != 256) out.statement("shadowmap resolution", light.shadowmap_resolution);
    if (!isZero(light.shadowmap_softness)) out.statement("shadowmap softness", light.shadowmap_softness);
    if (light.shadowmap_samples != 1) out.statement("shadowmap samples", light.shadowmap_samples);
    if (!isZero(light.shadowmap_bias)) out.statement("shadowmap bias", light.shadowmap_bias);
    if (!isZero(light.shmap.accuracy)) out.statement("shadowmap accuracy", light.shmap.accuracy);
    if (light.shmap.filter) out.statement("shadowmap filter box", light.shmap.filter_u, light.shmap.filter_v);
    if (light.shadowmap_file) out.statement("shadowmap file", Quoted{out.database.string(light.shadowmap_file)});
    if (light.shmap.camera) out.statement("shadowmap camera", Name{light.shmap.camera});
}

void writePhotons(ElementText& out, const char* words, miUint store, miUint emit) {
    if (store != 0 || emit != 0) out.statement(words, store, emit);
}

}  // namespace

void writeLight(ElementText& out, miTag tag) {
    if (writePhenomenonElement(out, tag)) return;
    const auto& light = *out.database.as<miLight>(tag, miSCENE_LIGHT);
    out.text += "light";
    out.add(Quoted{out.database.name(tag)});
    writeSlotStatement(out, "", light.shader);
    const bool isDistant = light.type == miLIGHT_DIRECTION;
    if (!isDistant || light.dirlight_has_org) out.statement("origin", light.origin);
    if (light.type != miLIGHT_ORIGIN) out.statement("direction", light.direction);
    const bool mayHaveSpread = !isZero(light.spread) && !light.dirlight_has_org;
    if (light.type == miLIGHT_SPOT || mayHaveSpread) out.statement("spread", light.spread);
    writeArea(out, light);
    if (!isSameValue(light.energy, miColor{})) out.statement("energy", light.energy);
    if (light.emitter_spectrum) out.statement("energy spectrum", Name{light.emitter_spectrum});
    if (light.exponent != 2) out.statement("exponent", light.exponent);
    writeSlotStatement(out, "emitter", light.emitter);
    writePhotons(out, "caustic photons", light.caustic_store_photons, light.caustic_emit);
    writePhotons(out, "globillum photons", light.global_store_photons, light.global_emit);
    if (light.photons_only) out.statement("photons only on");
    if (light.visible) out.statement("visible on");
    if (light.label != 0) out.statement("tag", light.label);
    if (light.lightprofile) out.statement("lightprofile", Name{light.lightprofile});
    writeShadowMap(out, light);
    writeDataStatements(out, light.userdata);
    writeAttributes(out, tag);
    out.text += "\nend light\n";
}

}  // namespace lumorender
