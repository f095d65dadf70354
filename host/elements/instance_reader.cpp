// Reads `instance` and `instgroup`.
#include "database/declaration.h"
#include "mi/geometry_api.h"
#include "mi/records.h"
#include "elements/element_readers.h"
#include "support/geometry.h"
#include "parsing/named_values.h"
#include "elements/object_defaults.h"
#include "elements/object_flags.h"
#include "parameters/parameter_values.h"
#include "parameters/shader_calls.h"
#include "parsing/statements.h"
#include "parameters/user_data.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <optional>

namespace lumorender {

namespace {

constexpr std::size_t kParameters = offsetof(miInstance, param);

struct InstanceReader {
    SceneContext& scene;
    Cursor& in;
    miInstance instance = {};
    InstanceDetail detail = {};
    std::vector<std::byte> parameters = {};

    bool readOther();
    void readElementName();
    void loadFormer(miTag former);

    void readTransform();
    void readMotion();
    void setFlag(int InstanceDetail::* flag, miUint1 miInstance::* byte, int value);
    void readFlag(int InstanceDetail::* flag, miUint1 miInstance::* byte);
    void readTrace();
    void readVisible();
    void readFace();
    void readOverride();
    void readMaterials(bool overrides);
    void readLights();
    void readParameters();
    void readApproximations(bool overrides);
    void store(const std::string& name);
    void read();
};

using Reader = InstanceReader;
using D = InstanceDetail;
using I = miInstance;

const StatementTable<Reader>& statements() {
    // clang-format off
    static const StatementTable<Reader> table = {
        {"transform", [](Reader& r) { r.readTransform(); }},
        {"motion", [](Reader& r) { r.readMotion(); }},
        {"hide", [](Reader& r) { r.instance.off = r.in.readFlag(); }},
        {"visible", [](Reader& r) { r.readVisible(); }},
        {"shadow", [](Reader& r) { r.readFlag(&D::shadow, &I::shadow); }},
        {"trace", [](Reader& r) { r.readTrace(); }},
        {"reflection", [](Reader& r) { r.readFlag(&D::reflection, &I::reflection); }},
        {"refraction", [](Reader& r) { r.readFlag(&D::refraction, &I::refraction); }},
        {"transparency", [](Reader& r) { r.readFlag(&D::transparency, &I::transparency); }},
        {"caustic", [](Reader& r) { r.readFlag(&D::caustic, &I::caustic); }},
        {"globillum", [](Reader& r) { r.readFlag(&D::globillum, &I::globillum); }},
        {"finalgather", [](Reader& r) { r.readFlag(&D::finalgather, &I::finalgather); }},
        {"shadowmap", [](Reader& r) { r.instance.shadowmap = r.in.readFlag(); }},
        {"select", [](Reader& r) { r.in.readFlag(); }},
        {"face", [](Reader& r) { r.readFace(); }},
        {"override", [](Reader& r) { r.readOverride(); }},
        {"material", [](Reader& r) { r.readMaterials(false); }},
        {"approximate", [](Reader& r) { r.readApproximations(false); }},
        {"light", [](Reader& r) { r.readLights(); }},
        {"shading", [](Reader& r) { r.in.expect("samples"); r.instance.shading_samples = r.in.readFloat(); }},
        {"samples", [](Reader& r) { r.in.readFloats(2); }},
        {"tag", [](Reader& r) { r.instance.label = static_cast<miUint>(r.in.readInteger()); }},
        {"data", [](Reader& r) { readDataStatement(r.scene, r.instance.userdata); }},
        {"attribute", [](Reader& r) { readAttribute(r.scene, r.detail); }},
    };
    // clang-format on
    return table;
}

void InstanceReader::loadFormer(miTag former) {
    const auto* record = static_cast<const std::byte*>(scene.database.record(former));
    const std::size_t size = scene.database.size(former);
    std::memcpy(&instance, record, std::min(size, sizeof instance));
    if (instance.param_size > 0 && kParameters + static_cast<std::size_t>(instance.param_size) <= size)
        parameters.assign(record + kParameters, record + kParameters + instance.param_size);
    if (const auto* given = scene.database.detail<InstanceDetail>(former)) detail = *given;
}

bool InstanceReader::readOther() {
    if (!in.accept('(')) return false;
    readParameters();
    return true;
}

/// The element may come later in the file.
void InstanceReader::readElementName() {
    const Place place = in.place();
    if (in.accept("geometry")) {
        scene.problems.tell(place, "instance", "geometry");
        instance.item = readShaderList(scene);
        return;
    }
    const bool isBareName = in.current().kind == TokenKind::Symbol && !in.at("end") && !statements().find(in.current());
    if (!in.atString() && !isBareName) return;
    instance.item = scene.reserve(in.readName("the name of an element"));
}

void InstanceReader::readTransform() {
    narrow(M44d(), instance.tf.global_to_local);
    narrow(M44d(), instance.tf.local_to_global);
    instance.tf.identity = 1;
    const Place place = in.place();
    if (atShader(in)) {
        instance.tf.function = readShaderList(scene);
        return;
    }
    instance.tf.function = miNULLTAG;
    if (!in.atNumber()) return;
    miMatrix matrix;
    in.readMatrix(matrix);
    M44d inverse;
    if (!invert(affineMatrix(matrix), inverse))
        return scene.problems.warning(place, "the transform is singular, identity is used");
    // An inverse may have other signs of zeros.
    instance.tf.identity = std::equal(std::begin(matrix), std::end(matrix), std::begin(instance.tf.global_to_local));
    if (!instance.tf.identity) narrow(inverse, instance.tf.local_to_global);
    std::copy_n(matrix, 16, instance.tf.global_to_local);
}

void InstanceReader::readMotion() {
    narrow(M44d(), instance.motion_transform);
    detail.motionOff = in.accept("off");
    if (detail.motionOff) {
        detail.hasMotionTransform = false;
        return;
    }
    in.expect("transform");
    const Place place = in.place();
    detail.hasMotionTransform = in.atNumber();
    if (!detail.hasMotionTransform) return;
    miMatrix matrix;
    in.readMatrix(matrix);
    M44d inverse;
    detail.hasMotionTransform = invert(affineMatrix(matrix), inverse);
    if (!detail.hasMotionTransform)
        return scene.problems.warning(place, "the motion transform is singular, there is no motion");
    std::copy_n(matrix, 16, instance.motion_transform);
}

void InstanceReader::setFlag(int InstanceDetail::* flag, miUint1 miInstance::* byte, int value) {
    detail.*flag = value;
    instance.*byte = static_cast<miUint1>(value);
}

void InstanceReader::readFlag(int InstanceDetail::* flag, miUint1 miInstance::* byte) {
    // What no longer casts shadows (4) still receives them (2).
    const int off = flag == &D::shadow ? 6 : kInstanceFlagOff;
    setFlag(flag, byte, readTraceFlag(in, off));
}

void InstanceReader::readTrace() {
    const int value = readTraceFlag(in, kInstanceFlagOff);
    setFlag(&D::reflection, &I::reflection, value);
    setFlag(&D::refraction, &I::refraction, value);
    setFlag(&D::finalgather, &I::finalgather, value);
}

void InstanceReader::readVisible() { setFlag(&D::visible, &I::visible, in.readFlag()); }

void InstanceReader::readFace() {
    detail.face = readFaceSide(in);
    instance.face = static_cast<miUint1>(detail.face);
}

void InstanceReader::readOverride() {
    if (in.accept("material")) return readMaterials(true);
    in.expect("approximate");
    readApproximations(true);
}

void InstanceReader::readApproximations(bool overrides) {
    detail.approximation.clear();
    detail.overridesApproximation = overrides;
    if (!in.accept('[')) return readApproximation(scene, detail.approximation);
    while (!in.accept(']')) {
        const char* const before = in.current().at;
        in.accept("approximate");
        readApproximation(scene, detail.approximation, ApproximationNames::PartedBySpaces);
        in.accept(',');
        if (in.current().at == before) in.fail("a word of an approximation or \"]\"");
    }
}

void InstanceReader::readMaterials(bool overrides) {
    const auto readOne = [this] { return scene.readReference({miSCENE_MATERIAL, miSCENE_FUNCTION}, "a material"); };
    detail.materials.clear();
    if (in.accept('[')) {
        while (!in.accept(']')) {
            detail.materials.push_back(in.accept("null") ? miNULLTAG : readOne());
            in.accept(',');
        }
    } else if (in.atString()) {
        detail.materials.push_back(readOne());
    } else if (in.atName() && !statements().find(in.current()) && !in.at("end")) {
        detail.materials.push_back(readOne());
    }
    instance.material = detail.materials.empty() ? miNULLTAG : detail.materials.front();
    instance.mtl_array_size = static_cast<int>(detail.materials.size() > 1 ? detail.materials.size() : 0);
    instance.mtl_override = overrides;
}

void InstanceReader::readLights() {
    const bool shadows = in.accept("shadow");
    const bool exclusive = (in.atString() && in.current().text == "exclusive") || in.at("exclusive");
    if (exclusive) in.advance();
    std::vector<miTag> lights;
    in.expect('[');
    while (!in.accept(']')) {
        for (const miTag light : lightsOf(scene, scene.readReference({miSCENE_INSTANCE}, "a light instance")))
            lights.push_back(light);
        in.accept(',');
    }
    (shadows ? detail.hasShadowLights : detail.hasLights) = true;
    (shadows ? detail.shadowLights : detail.lights) = std::move(lights);
    (shadows ? instance.shadow_excl : instance.exclusive) = exclusive;
}

/// Laid out for the inheritance function of the options; without one there is nothing but the order of the values.
void InstanceReader::readParameters() {
    const auto take = [this](const ParameterBlock& block) {
        parameters.assign(block.values(), block.values() + block.size());
    };
    auto* declaration = scene.database.detail<Declaration>(scene.inheritance);
    instance.param_decl = declaration ? scene.inheritance : miNULLTAG;
    if (in.accept(')'))
        parameters.clear();
    else if (!declaration)
        take(readUndeclaredParameters(scene, detail.textWords));
    else {
        declaration->used = true;
        ParameterBlock block(declaration->parameters, declaration->parameterSize);
        ParameterReader(scene, block, fmt::format("the parameters for \"{}\"", declaration->name), false)
            .readList(declaration->parameters, 0, ')');
        take(block);
    }
    if (parameters.empty()) instance.param_decl = miNULLTAG;
}

void InstanceReader::store(const std::string& name) {
    instance.param_size = static_cast<int>(parameters.size());
    std::vector<std::byte> record(std::max(sizeof instance, kParameters + parameters.size()));
    std::memcpy(record.data(), &instance, kParameters);
    std::copy(parameters.begin(), parameters.end(), record.begin() + kParameters);
    scene.storeBytes(name, miSCENE_INSTANCE, record.data(), record.size(),
                     std::make_unique<InstanceDetail>(std::move(detail)));
}

void InstanceReader::read() {
    const std::string name = scene.readNewName("the name of the instance");
    setDefaults(instance);
    if (const miTag former = scene.edited(name, miSCENE_INSTANCE, "instance")) loadFormer(former);
    readElementName();
    readStatements(*this, statements(), "instance");
    store(name);
}

}  // namespace

void readInstance(SceneContext& scene) { InstanceReader{scene, scene.in}.read(); }

/// An incremental group loses its instances first.
void readInstanceGroup(SceneContext& scene) {
    Cursor& in = scene.in;
    const std::string name = scene.readNewName("the name of the instance group");
    miGroup record = {};
    GroupDetail detail;
    if (const miTag former = scene.edited(name, miSCENE_GROUP, "instance group"))
        scene.loadEdited(former, miSCENE_GROUP, record, detail);
    detail.instances.clear();
    while (!in.acceptEnd("instgroup")) {
        if (in.accept("merge")) {
            detail.merge = in.readFloat();
        } else if (in.accept("tag")) {
            record.label = static_cast<miUint>(in.readInteger());
        } else if (in.accept("data")) {
            readDataStatement(scene, record.userdata);
        } else {
            if (!in.atName() || (!in.atString() && isCommand(in.current().text)))
                in.fail("the name of an instance or \"end instgroup\"");
            detail.instances.push_back(scene.reserve(in.readName("the name of an instance")));
        }
    }
    scene.store(name, miSCENE_GROUP, record, std::make_unique<GroupDetail>(std::move(detail)));
}

}  // namespace lumorender
