// Reads `material`.
#include "mi/records.h"
#include "elements/element_readers.h"
#include "parameters/shader_calls.h"
#include "parsing/statements.h"
#include "parameters/user_data.h"

#include <set>

namespace lumorender {

namespace {

struct MaterialReader {
    SceneContext& scene;
    Cursor& in;
    miMaterial material = {};
    Detail detail = {};
    std::set<const miTag*> seen = {};

    bool readOther() {
        if (!atShader(in)) return false;
        readSlot(material.shader);
        return true;
    }

    /// The first statement of a kind replaces what an incremental edit found there.
    void readSlot(miTag& slot) {
        const bool first = seen.insert(&slot).second;
        const bool clears = !atShader(in);
        const miTag added = readShaderList(scene);
        slot = first || clears ? added : joinShaders(scene, slot, added);
    }

    void read();
};

using Reader = MaterialReader;

const StatementTable<Reader>& statements() {
    static const StatementTable<Reader> table = {
        {"opaque", [](Reader& r) { r.material.opaque = r.in.readFlag(); }},
        {"displace", [](Reader& r) { r.readSlot(r.material.displace); }},
        {"shadow", [](Reader& r) { r.readSlot(r.material.shadow); }},
        {"volume", [](Reader& r) { r.readSlot(r.material.volume); }},
        {"environment", [](Reader& r) { r.readSlot(r.material.environment); }},
        {"contour", [](Reader& r) { r.readSlot(r.material.contour); }},
        {"photon", [](Reader& r) { r.readSlot(r.material.photon); }},
        {"photonvol", [](Reader& r) { r.readSlot(r.material.photonvol); }},
        {"lightmap", [](Reader& r) { r.readSlot(r.material.lightmap); }},
        {"bsdf", [](Reader& r) { r.readSlot(r.material.bsdf); }},
        {"hardware", [](Reader& r) { readShaderList(r.scene); }},
        {"attribute", [](Reader& r) { readAttribute(r.scene, r.detail); }},
    };
    return table;
}

void MaterialReader::read() {
    const std::string name = scene.readNewName("the name of the material");
    if (const miTag former = scene.edited(name, miSCENE_MATERIAL, "material"))
        scene.loadEdited(former, miSCENE_MATERIAL, material, detail);
    readStatements(*this, statements(), "material");
    scene.store(name, miSCENE_MATERIAL, material, std::make_unique<Detail>(detail));
}

}  // namespace

void readMaterial(SceneContext& scene) { MaterialReader{scene, scene.in}.read(); }

}  // namespace lumorender
