// Objects: flags, polygons and hair; surfaces have a file of their own. Triangle lists have become groups of polygons.
#include "database/elements.h"
#include "database/placeholder.h"
#include "echo/element_writers.h"
#include "elements/object_flags.h"
#include "mi/records.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumorender {

namespace {

void writeFlags(ElementText& out, const miObject& object) {
    const auto flag = [&](const char* word, int value, int standard) {
        if (value != standard) out.statement(word, value);
    };
    if (object.visible) out.statement("visible on");
    flag("shadow", object.shadow, kObjectFlagOff);
    flag("reflection", object.reflection, kObjectFlagOff);
    flag("refraction", object.refraction, kObjectFlagOff);
    flag("transparency", object.transparency, kFlagOn);
    flag("caustic", object.caustic, kObjectFlagOff);
    flag("globillum", object.globillum, kObjectFlagOff);
    flag("finalgather", object.finalgather, kObjectFlagOff);
    if (object.shadowmap) out.statement("shadowmap on");
    if (object.face) out.statement("face", faceWord(object.face));
    if (object.label != 0) out.statement("tag", object.label);
    if (object.mbox_explicit) out.statement("motion box", object.bbox_min_m, object.bbox_max_m);
    if (!isZero(object.maxdisplace)) out.statement("max displace", object.maxdisplace);
    if (!isZero(object.ray_offset)) out.statement("ray offset", object.ray_offset);
    if (object.min_samples != -128 || object.max_samples != 127)
        out.statement("samples", int{object.min_samples}, int{object.max_samples});
    if (!isZero(object.shading_samples)) out.statement("shading samples", object.shading_samples);
    if (object.volume_id != 0) out.statement("volume group", object.volume_id);
}

void writeVertex(ElementText& out, const PolygonGroupSource& group, const VertexSource& vertex, float sharpness) {
    const int* extra = group.extras.data() + vertex.firstExtra;
    out.statement("v", vertex.position);
    if (vertex.normal >= 0) {
        out.add("n");
        out.add(vertex.normal);
    }
    if (vertex.derivatives > 0) out.add("d");
    for (int i = 0; i < vertex.derivatives; ++i) out.add(*extra++);
    for (int i = 0; i < vertex.textures; ++i) {
        out.add("t");
        for (int k = 0; k < 3; ++k, ++extra)
            if (*extra >= 0) out.add(*extra);
    }
    for (int i = 0; i < vertex.motions; ++i) {
        out.add("m");
        out.add(*extra++);
    }
    for (int i = 0; i < vertex.users; ++i) {
        out.add("u");
        out.add(*extra++);
    }
    if (sharpness > 0) out.add("corner");
    if (sharpness > 0 && sharpness != kSharpForever) {
        out.add("level");
        out.add(sharpness);
    }
}

/// A material stays for the polygons that follow.
void writePolygons(ElementText& out, const PolygonGroupSource& group, bool tagged) {
    miTag material = miNULLTAG;
    for (const PolygonSource& polygon : group.polygons) {
        out.statement(polygon.convex ? "c" : "p");
        if (tagged) out.add(polygon.label);
        const miTag own = out.database.name(polygon.material).empty() ? miNULLTAG : polygon.material;
        if (!tagged && own != material) out.add(Name{own});
        material = own;
        for (std::uint32_t i = 0; i < polygon.count; ++i) {
            const int corner = group.corners[polygon.first + i];
            corner < 0 ? out.add("hole") : out.add(corner);
        }
    }
}

void writeGroup(ElementText& out, const PolygonGroupSource& group, bool tagged) {
    out.statement("group");
    if (!isZero(group.surfaces.merge)) {
        out.add("merge");
        out.add(group.surfaces.merge);
    }
    for (const miVector& vector : group.vectors) {
        out.line();
        out.add(vector);
    }
    const std::vector<float>& sharpness = group.surfaces.sharpness;
    for (std::size_t i = 0; i < group.vertices.size(); ++i)
        writeVertex(out, group, group.vertices[i], sharpness.empty() ? 0 : sharpness[i]);
    writePolygons(out, group, tagged);
    writeSurfaces(out, group.surfaces, tagged);
    writeApproximation(out, group.approximation);
    out.statement("end group");
}

/// In the order in which they lie among the numbers.
void writeExtras(ElementText& out, const char* word, const HairExtras& extras) {
    struct Extra {
        int at;
        const char* word;
        int count;  ///< 0 = none is written
    };
    std::array<Extra, 5> all = {{{extras.normal, "n", 0},
                                 {extras.motion, "m", extras.motions},
                                 {extras.texture, "t", extras.textures},
                                 {extras.user, "u", extras.users},
                                 {extras.radius, "radius", 0}}};
    std::sort(all.begin(), all.end(), [](const Extra& a, const Extra& b) { return a.at < b.at; });
    for (const Extra& extra : all) {
        if (extra.at < 0) continue;
        out.statement(word, extra.word);
        if (extra.count > 0) out.add(extra.count);
    }
}

void writeHair(ElementText& out, const HairSource& hair) {
    constexpr std::size_t kPerLine = 12;
    out.statement("hair");
    if (!out.database.name(hair.material).empty()) out.statement("material", Name{hair.material});
    out.statement("radius", hair.radius);
    out.statement("approximate", hair.approximation);
    out.statement("degree", hair.degree);
    writeExtras(out, "hair", hair.perHair);
    writeExtras(out, "vertex", hair.perVertex);
    out.statement("scalar [", static_cast<miUint>(hair.scalars.size()), "]");
    for (std::size_t i = 0; i < hair.scalars.size(); ++i) {
        if (i % kPerLine == 0) out.line();
        out.add(hair.scalars[i]);
    }
    out.statement("hair [", static_cast<miUint>(hair.offsets.size()), "]");
    for (const std::uint32_t offset : hair.offsets) out.add(offset);
    out.statement("end hair");
}

}  // namespace

const char* faceWord(int code) { return code == 'f' ? "front" : code == 'b' ? "back" : "both"; }

void writeObject(ElementText& out, miTag tag) {
    const auto& object = *out.database.as<miObject>(tag, miSCENE_OBJECT);
    out.text += "object";
    out.add(Quoted{out.database.name(tag)});
    writeFlags(out, object);
    writeDataStatements(out, object.userdata);
    writeAttributes(out, tag);
    const auto* placeholder = out.database.detail<Placeholder>(tag);
    const std::shared_ptr<const ObjectSource> source = sourceOf(out.database, tag);
    // Bounds are those of the geometry, where there is any.
    const bool isEmpty = !source || (source->groups.empty() && !source->hair);
    if (isEmpty && !(isSameValue(object.bbox_min, miVector{}) && isSameValue(object.bbox_max, miVector{})))
        out.statement("box", object.bbox_min, object.bbox_max);
    if (source) {
        if (source->tagged) out.statement("tagged on");
        if (source->hasTransform) out.statement("transform", source->transform);
        std::vector<BasisSource> bases;
        for (const PolygonGroupSource& group : source->groups) {
            writeBases(out, group.surfaces, bases);
            writeGroup(out, group, source->tagged);
        }
        if (source->hair) writeHair(out, *source->hair);
        writeApproximation(out, source->approximation);
    }
    if (object.functions) writeSlotStatement(out, "intersection", object.functions);
    if (placeholder && !placeholder->isPart) out.statement("file", Quoted{placeholder->file});
    out.text += "\nend object\n";
}

/// The levels stand last: behind `parametric` they are told from its numbers by there being four in all.
void writeRule(ElementText& out, const ApproximationRule& rule) {
    static constexpr const char* kKinds[] = {"",       "displace", "trilist",     "surface", "subdivision surface",
                                             "ccmesh", "curve",    "space curve", "trim"};
    const auto limit = [&](const char* word, float value) {
        if (isZero(value)) return;
        out.add(word);
        out.add(value);
    };
    if (rule.kind != ApproximationKind::Polygons) out.add(kKinds[static_cast<int>(rule.kind)]);
    if (rule.view) out.add("view");
    if (rule.offscreen) out.add("offscreen");
    if (rule.any) out.add("any");
    limit("length", rule.length);
    limit("distance", rule.distance);
    limit("angle", rule.angle);
    if (rule.regular) out.add("regular");
    if (rule.parametric >= 0) {
        out.add("parametric");
        for (const float parts : rule.parts) {
            out.add(parts);
            if (rule.percent) out.add("%");
        }
    }
    out.add(rule.least);
    out.add(rule.most);
    if (rule.mostTriangles > 0) {
        out.add("max");
        out.add(static_cast<miUint>(rule.mostTriangles));
    }
    if (rule.all) out.add("all");
    for (const std::string& name : rule.names) out.add(Quoted{name});
}

void writeApproximation(ElementText& out, const Approximation& approximation) {
    for (const ApproximationRule& rule : approximation) {
        out.statement("approximate");
        writeRule(out, rule);
    }
}

}  // namespace lumorender
