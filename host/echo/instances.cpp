// Instances and groups of them.
#include "database/assembly.h"
#include "database/elements.h"
#include "echo/element_writers.h"
#include "mi/geometry_api.h"
#include "mi/records.h"

#include <algorithm>

namespace lumorender {

namespace {

bool isIdentity(const miMatrix& matrix) {
    constexpr miMatrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    return isSameValue(matrix, kIdentity);
}

void writeItem(ElementText& out, miTag item) {
    const int type = out.database.type(item);
    const bool isShader = type == miSCENE_FUNCTION || type == miSCENE_FLIST;
    if (isShader) {
        out.add("geometry");
        writeSlot(out, item);
    } else if (!out.database.name(item).empty()) {
        out.add(LaterName{item});
    }
}

void writePlacement(ElementText& out, const miInstance& instance, const InstanceDetail& detail) {
    if (instance.tf.function)
        writeSlotStatement(out, "transform", instance.tf.function);
    else if (!isIdentity(instance.tf.global_to_local))
        out.statement("transform", instance.tf.global_to_local);
    if (detail.motionOff)
        out.statement("motion off");
    else if (detail.hasMotionTransform)
        out.statement("motion transform", instance.motion_transform);
    if (instance.off) out.statement("hide on");
}

void writeFlags(ElementText& out, const miInstance& instance, const InstanceDetail& detail) {
    const auto flag = [&](const char* word, int value) {
        if (value >= 0) out.statement(word, value);
    };
    if (detail.visible >= 0) out.statement("visible", detail.visible != 0);
    flag("shadow", detail.shadow);
    flag("reflection", detail.reflection);
    flag("refraction", detail.refraction);
    flag("transparency", detail.transparency);
    flag("caustic", detail.caustic);
    flag("globillum", detail.globillum);
    flag("finalgather", detail.finalgather);
    if (instance.shadowmap) out.statement("shadowmap on");
    if (detail.face != 0) out.statement("face", faceWord(detail.face));
    if (!isZero(instance.shading_samples)) out.statement("shading samples", instance.shading_samples);
    if (instance.label != 0) out.statement("tag", instance.label);
}

void writeInherited(ElementText& out, const miInstance& instance, const InstanceDetail& detail) {
    if (!detail.materials.empty() || instance.mtl_override) {
        out.statement(instance.mtl_override ? "override material" : "material");
        out.names(detail.materials);
    }
    if (!detail.approximation.empty() || detail.overridesApproximation) {
        out.statement(detail.overridesApproximation ? "override approximate [" : "approximate [");
        for (const ApproximationRule& rule : detail.approximation) {
            if (&rule != &detail.approximation.front()) out.text += ',';
            writeRule(out, rule);
        }
        out.add("]");
    }
}

void writeLights(ElementText& out, const char* words, bool excludes, const std::vector<miTag>& lights) {
    out.statement(words);
    if (excludes) out.add(Quoted{"exclusive"});
    std::vector<miTag> named;
    std::copy_if(lights.begin(), lights.end(), std::back_inserter(named),
                 [&](miTag tag) { return !out.database.name(tag).empty(); });
    out.names(named);
}

/// Without an inheritance function nothing is known of the words but which of them are texts.
void writeUndeclared(ElementText& out, const miInstance& instance, const InstanceDetail& detail) {
    out.statement("(");
    for (int at = 0; at < instance.param_size; at += static_cast<int>(sizeof(miTag))) {
        const auto word = *reinterpret_cast<const miTag*>(instance.param + at);
        const auto isText = std::find(detail.textWords.begin(), detail.textWords.end(), at) != detail.textWords.end();
        isText ? out.add(Quoted{out.database.string(word)}) : out.add(static_cast<int>(word));
    }
    out.add(")");
}

}  // namespace

void writeInstance(ElementText& out, miTag tag) {
    const auto& instance = *out.database.as<miInstance>(tag, miSCENE_INSTANCE);
    static const InstanceDetail kNothing;
    const auto* stored = out.database.detail<InstanceDetail>(tag);
    const InstanceDetail& detail = stored ? *stored : kNothing;
    out.text += "instance";
    out.add(Quoted{out.database.name(tag)});
    writeItem(out, instance.item);
    writePlacement(out, instance, detail);
    writeFlags(out, instance, detail);
    writeInherited(out, instance, detail);
    if (detail.hasLights) writeLights(out, "light", instance.exclusive, detail.lights);
    if (detail.hasShadowLights) writeLights(out, "light shadow", instance.shadow_excl, detail.shadowLights);
    writeDataStatements(out, instance.userdata);
    writeAttributes(out, tag);
    if (instance.param_size > 0) {
        out.line();
        out.needed.push_back(instance.param_decl);
        if (const auto* declaration = out.database.detail<Declaration>(instance.param_decl))
            writeParameters(out, declaration->parameters, instance.param, nullptr, true);
        else
            writeUndeclared(out, instance, detail);
    }
    out.text += "\nend instance\n";
}

void writeInstanceGroup(ElementText& out, miTag tag) {
    out.text += "instgroup";
    out.add(Quoted{out.database.name(tag)});
    const auto& record = *out.database.as<miGroup>(tag, miSCENE_GROUP);
    if (record.label != 0) out.statement("tag", record.label);
    writeDataStatements(out, record.userdata);
    const auto* group = out.database.detail<GroupDetail>(tag);
    if (group && !isZero(group->merge)) out.statement("merge", group->merge);
    if (group)
        for (const miTag instance : group->instances) {
            if (out.database.name(instance).empty()) continue;
            out.line();
            out.add(LaterName{instance});
        }
    out.text += "\nend instgroup\n";
    if (!out.database.detail<AssemblyGroup>(tag)) return;
    out.text += "incremental assembly";
    out.add(Quoted{out.database.name(tag)});
    out.text += " end assembly\n";
}

}  // namespace lumorender
