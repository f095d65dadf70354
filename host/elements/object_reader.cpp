// Reads `object`.
#include "mi/records.h"
#include "elements/element_readers.h"
#include "elements/object_defaults.h"
#include "elements/object_files.h"
#include "elements/object_flags.h"
#include "parameters/shader_calls.h"
#include "parsing/statements.h"
#include "parameters/user_data.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

struct ObjectReader {
    SceneContext& scene;
    Cursor& in;
    miObject object = {};
    ObjectSource source = {};
    bool isPlaceholder = false;
    std::filesystem::path file = {};
    std::vector<BasisSource> bases = {};

    bool readOther() { return false; }

    miUint1 readFlag(int off = kObjectFlagOff) { return static_cast<miUint1>(readTraceFlag(in, off)); }

    void readTrace() {
        const miUint1 flag = readFlag();
        object.reflection = object.refraction = object.finalgather = flag;
    }

    void readTagged() {
        const Place place = in.place();
        const bool tagged = in.readFlag();
        if (tagged != source.tagged && !source.groups.empty())
            return scene.problems.warning(place, "found tagged behind polygons, it must stand before them: ignored");
        source.tagged = tagged;
        object.mtl_is_label = source.tagged;
    }

    void readTransform() {
        in.readMatrix(source.transform);
        source.hasTransform = true;
    }

    void readBox() {
        object.bbox_min = in.readVector();
        object.bbox_max = in.readVector();
    }

    void readMotionBox() {
        in.expect("box");
        object.bbox_min_m = in.readVector();
        object.bbox_max_m = in.readVector();
        object.mbox_explicit = 1;
    }

    void readSamples() {
        object.max_samples = static_cast<miSint1>(in.readInteger(-128, 127));
        if (!in.atInteger()) return;
        object.min_samples = object.max_samples;
        object.max_samples = static_cast<miSint1>(in.readInteger(-128, 127));
    }

    void readGroup() {
        PolygonGroupSource group;
        readPolygonGroup(scene, source.tagged, bases, group);
        source.groups.push_back(std::move(group));
    }

    void readTriangles() {
        PolygonGroupSource group;
        readTrilist(scene, source.tagged, group);
        source.groups.push_back(std::move(group));
    }

    void readHairs() {
        const Place place = in.place();
        if (source.hair) throw SyntaxError{place, "found hair, expected one hair statement in an object"};
        source.hair = readHair(scene);
        object.type = miOBJECT_HAIR;
    }

    void readFile() {
        const std::string name = scene.readFileName();
        file = scene.locate(name, scene.settings.objectPath);
        isPlaceholder = true;
    }
    std::unique_ptr<Detail> takeDetail();
    bool mayComeLater(std::string_view text) const;
    std::unique_ptr<Detail> takePart();
    void useShape();

    bool hasName() const;
    void read();
};

using Reader = ObjectReader;

const StatementTable<Reader>& statements() {
    // clang-format off
    static const StatementTable<Reader> table = {
        {"visible", [](Reader& r) { r.object.visible = r.in.readFlag(); }},
        {"shadow", [](Reader& r) { r.object.shadow = r.readFlag(); }},
        {"trace", [](Reader& r) { r.readTrace(); }},
        {"reflection", [](Reader& r) { r.object.reflection = r.readFlag(); }},
        {"refraction", [](Reader& r) { r.object.refraction = r.readFlag(); }},
        {"transparency", [](Reader& r) { r.object.transparency = r.readFlag(); }},
        {"caustic", [](Reader& r) { r.object.caustic = r.readFlag(); }},
        {"globillum", [](Reader& r) { r.object.globillum = r.readFlag(); }},
        {"finalgather", [](Reader& r) { r.object.finalgather = r.readFlag(); }},
        {"shadowmap", [](Reader& r) { r.object.shadowmap = r.in.readFlag(); }},
        {"select", [](Reader& r) { r.in.readFlag(); }},
        {"tagged", [](Reader& r) { r.readTagged(); }},
        {"face", [](Reader& r) { r.object.face = static_cast<miUint1>(readFaceSide(r.in)); }},
        {"tag", [](Reader& r) { r.object.label = static_cast<miUint>(r.in.readInteger()); }},
        {"data", [](Reader& r) { readDataStatement(r.scene, r.object.userdata); }},
        {"attribute", [](Reader& r) { readAttribute(r.scene, r.source); }},
        {"transform", [](Reader& r) { r.readTransform(); }},
        {"box", [](Reader& r) { r.readBox(); }},
        {"motion", [](Reader& r) { r.readMotionBox(); }},
        {"max", [](Reader& r) { r.in.expect("displace"); r.object.maxdisplace = r.in.readFloat(); }},
        {"ray", [](Reader& r) { r.in.expect("offset"); r.object.ray_offset = r.in.readFloat(); }},
        {"samples", [](Reader& r) { r.readSamples(); }},
        {"shading", [](Reader& r) { r.in.expect("samples"); r.object.shading_samples = r.in.readFloat(); }},
        {"volume", [](Reader& r) {
            r.in.expect("group");
            r.object.volume_id = static_cast<miUint>(r.in.readInteger());
        }},
        {"basis", [](Reader& r) { readBasis(r.scene, r.bases); }},
        {"group", [](Reader& r) { r.readGroup(); }},
        {"trilist", [](Reader& r) { r.readTriangles(); }},
        {"hair", [](Reader& r) { r.readHairs(); }},
        {"file", [](Reader& r) { r.readFile(); }},
        {"intersection", [](Reader& r) { r.object.functions = readShaderList(r.scene); }},
        {"approximate", [](Reader& r) { readApproximation(r.scene, r.source.approximation); }},
    };
    // clang-format on
    return table;
}

/// An object may lack its name; then a flag stands in its place.
bool ObjectReader::hasName() const {
    return in.atString() || (in.atName() && !in.at("end") && !statements().find(in.current()));
}

void ObjectReader::read() {
    source.where = in.place().text();
    const std::string name = hasName() ? scene.readNewName("the name of the object") : std::string();
    setDefaults(object);
    if (const miTag former = scene.onObject ? miNULLTAG : scene.edited(name, miSCENE_OBJECT, "object")) {
        object = *scene.database.as<miObject>(former, miSCENE_OBJECT);
        object.type = miOBJECT_POLYGONS;  // its geometry is given anew
        object.functions = miNULLTAG;
        object.n_functions = 0;
        source.attributes = scene.database.detail<Detail>(former)->attributes;
        if (const auto given = sourceOf(scene.database, former)) {
            source.tagged = given->tagged;
            source.hasTransform = given->hasTransform;
            std::copy_n(given->transform, 16, source.transform);
        }
    }
    readStatements(*this, statements(), "object");
    if (source.hair && !source.groups.empty()) {
        scene.problems.warning(in.place(), "found polygons and hair in one object, the polygons are left out");
        source.groups.clear();
    }
    if (scene.onObject) return scene.onObject(std::make_unique<ObjectSource>(std::move(source)));
    std::unique_ptr<Detail> detail = takeDetail();
    scene.store(name, miSCENE_OBJECT, object, std::move(detail));
}

/// A surface that shaders find within the box.
void ObjectReader::useShape() {
    if (source.hair || !source.groups.empty())
        scene.problems.warning(in.place(), "found geometry in an object with an intersection shader, it is left out");
    if (source.hasTransform)
        scene.problems.warning(in.place(),
                               "found a transform in an object with an intersection shader, it is left out");
    source.hair.reset();
    source.groups.clear();
    source.hasTransform = false;
    std::fill_n(source.transform, 16, 0.0F);
    object.n_functions = static_cast<miUint>(shadersOf(scene, object.functions).size());
    object.type = miOBJECT_INTERSECT_FUNC;
}

/// Geometry, or where it is to come from.
std::unique_ptr<Detail> ObjectReader::takeDetail() {
    if (isPlaceholder && (source.hair || !source.groups.empty()))
        scene.problems.warning(in.place(), "found geometry in an object with a file, the file is left out");
    else if (isPlaceholder) {
        auto placeholder = std::make_unique<Placeholder>();
        placeholder->where = source.where;
        placeholder->attributes = source.attributes;
        placeholder->file = file.string();
        placeholder->from = fmt::format("file \"{}\"", file.string());
        placeholder->loader =
            objectFile(scene.database, scene.modules, scene.settingsForLater(), file, scene.namespaces);
        object.type = miOBJECT_PLACEHOLDER;
        return placeholder;
    }
    if (object.functions) useShape();
    setBounds(object, source);
    if (auto part = takePart()) return part;
    return std::make_unique<ObjectSource>(std::move(source));
}

bool hasDirectives(std::string_view text) {
    return text.find("\n$") != std::string_view::npos || text.find("\r$") != std::string_view::npos;
}

/// Its box is known by the vertices alone; the text says the same when it is read by itself.
bool ObjectReader::mayComeLater(std::string_view text) const {
    if (source.hair || source.groups.empty() || object.functions || !hasBox(object)) return false;
    if (text.starts_with("incremental") || hasDirectives(text)) return false;
    return std::none_of(source.groups.begin(), source.groups.end(), [](const PolygonGroupSource& group) {
        return !group.surfaces.empty() || !group.surfaces.curves.empty() ||
               std::any_of(group.vertices.begin(), group.vertices.end(), [](const auto& v) { return v.motions > 0; });
    });
}

/// Each once; none where polygons have labels.
std::vector<miTag> materialsOf(const ObjectSource& source) {
    std::vector<miTag> materials;
    if (source.tagged) return materials;
    for (const PolygonGroupSource& group : source.groups)
        for (const PolygonSource& polygon : group.polygons)
            if (polygon.material && (materials.empty() || materials.back() != polygon.material))
                materials.push_back(polygon.material);
    std::sort(materials.begin(), materials.end());
    materials.erase(std::unique(materials.begin(), materials.end()), materials.end());
    return materials;
}

/// In an assembly with a box; null where the geometry is to stay.
std::unique_ptr<Detail> ObjectReader::takePart() {
    const Place begin = scene.elementPlace, end = in.place();
    if (scene.assemblyFile.empty() || begin.source != end.source || begin.source->name() != scene.assemblyFile.string())
        return nullptr;
    const std::string_view text(begin.at, static_cast<std::size_t>(end.at - begin.at));
    if (!mayComeLater(text)) return nullptr;
    auto placeholder = std::make_unique<Placeholder>();
    placeholder->where = source.where;
    placeholder->attributes = source.attributes;
    placeholder->file = scene.assemblyFile.string();
    placeholder->from = fmt::format("assembly \"{}\"", placeholder->file);
    placeholder->isPart = true;
    placeholder->materials = materialsOf(source);
    placeholder->loader =
        objectPart(scene, placeholder->file, static_cast<std::size_t>(begin.at - begin.source->begin()), text);
    return placeholder;
}

}  // namespace

void readObject(SceneContext& scene) { ObjectReader{scene, scene.in}.read(); }

}  // namespace lumorender
