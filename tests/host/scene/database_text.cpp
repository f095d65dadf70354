#include "tests/host/scene/database_text.h"

#include "database/assembly.h"
#include "database/declaration.h"
#include "database/elements.h"
#include "database/passes.h"
#include "database/placeholder.h"
#include "mi/geometry_api.h"
#include "mi/records.h"
#include "parameters/user_data.h"
#include "photometry/light_profile.h"
#include "photometry/spectrum.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string_view>
#include <type_traits>

namespace lumorender {
namespace {

class DatabaseText {
public:
    explicit DatabaseText(const Database& database) : database_(database) {
        for (miTag tag = 1; tag < database.end(); ++tag)
            if (const auto* each = declarationOf(tag); each && each->kind == DeclarationKind::Phenomenon)
                phenomena_.insert(each->name);
    }

    std::string all() {
        std::map<std::string_view, miTag> names;
        for (miTag tag = 1; tag < database_.end(); ++tag)
            if (isNamed(tag) && database_.type(tag) != miSCENE_NONE && database_.type(tag) != miSCENE_FUNCTION_DECL)
                names.emplace(database_.name(tag), tag);
        for (const auto& [name, tag] : names) {
            put("\n\"", name, "\" ");
            element(tag);
        }
        return std::move(text_);
    }

private:
    const Database& database_;
    std::set<std::string> phenomena_;
    std::string text_;

    template <class... Parts>
    void put(const Parts&... parts) {
        (fmt::format_to(std::back_inserter(text_), "{}", parts), ...);
    }

    template <class Value>
    void show(const Value& value) {
        if constexpr (std::is_convertible_v<const Value&, std::string_view>)
            put('"', std::string_view(value), "\" ");
        else if constexpr (std::is_floating_point_v<Value>)
            fmt::format_to(std::back_inserter(text_), "{} ", value);
        else if constexpr (std::is_enum_v<Value>)
            put(static_cast<int>(value), ' ');
        else if constexpr (std::is_arithmetic_v<Value>)
            put(+value, ' ');
        else if constexpr (requires { value.valueless_by_exception(); })
            put(value.index(), ':'), std::visit([this](const auto& held) { show(held); }, value);
        else if constexpr (requires { value.second; })
            show(value.first), show(value.second);
        else if constexpr (requires { value.z; })
            show(value.x), show(value.y), show(value.z);
        else if constexpr (requires { value.has_value(); })
            value ? show(*value) : put("- ");
        else if constexpr (requires { std::begin(value); }) {
            put("[ ");
            for (const auto& each : value) show(each);
            put("] ");
        } else
            parts(value);
    }
    template <class... Values>
    void showAll(const Values&... values) {
        (show(values), ...);
    }

    /// Elements of a phenomenon's body are parts of its use: "phenomenon 3::x", in whatever order uses are counted.
    bool isNamed(miTag tag) const {
        static const std::regex use("([^:]*) [0-9]+::");
        const std::string name(database_.name(tag));
        for (std::sregex_iterator i(name.begin(), name.end(), use), end; i != end; ++i)
            if (phenomena_.contains((*i)[1].str())) return false;
        return !name.empty();
    }
    void name(miTag tag) {
        if (isNamed(tag))
            put('"', database_.name(tag), "\" ");
        else if (database_.type(tag) == miSCENE_NONE)  // never was one, or was deleted
            put("0 ");
        else
            element(tag);
    }
    void names(const std::vector<miTag>& tags) {
        put("[ ");
        for (const miTag tag : tags) name(tag);
        put("] ");
    }

    /// What these members name, and where the rest of the record is not 0, its bytes.
    template <class Record, class... Tags>
    void record(const Record& original, Tags Record::*... tags) {
        Record rest = original;
        ((name(rest.*tags), rest.*tags = 0), ...);
        bytes(reinterpret_cast<const unsigned char*>(&rest), sizeof rest);
    }
    void bytes(const unsigned char* values, std::size_t count) {
        for (std::size_t i = 0; i < count; i += 4) {
            std::uint32_t word = 0;
            std::memcpy(&word, values + i, std::min<std::size_t>(4, count - i));
            if (word != 0) fmt::format_to(std::back_inserter(text_), "{}:{:x} ", i, word);
        }
    }

    void element(miTag tag) {
        const int type = database_.type(tag);
        put('{', type, ' ');
        switch (type) {
            case miSCENE_STRING: show(database_.string(tag)); break;
            case miSCENE_FUNCTION: function(tag); break;
            case miSCENE_FLIST: names(database_.detail<FunctionList>(tag)->functions); break;
            case miSCENE_USERDATA: userData(tag); break;
            case miSCENE_OPTIONS: options(tag); break;
            case miSCENE_CAMERA: camera(tag); break;
            case miSCENE_LIGHT: light(*database_.as<miLight>(tag, type)); break;
            case miSCENE_MATERIAL:
                record(*database_.as<miMaterial>(tag, type), &miMaterial::shader, &miMaterial::displace,
                       &miMaterial::shadow, &miMaterial::volume, &miMaterial::environment, &miMaterial::contour,
                       &miMaterial::photon, &miMaterial::photonvol, &miMaterial::lightmap, &miMaterial::bsdf);
                break;
            case miSCENE_IMAGE: show(*database_.detail<TextureDetail>(tag)); break;
            case miSCENE_LIGHTPROFILE: show(*database_.detail<LightProfile>(tag)); break;
            case miSCENE_COLORPROFILE: show(*database_.detail<ColorProfile>(tag)); break;
            case miSCENE_SPECTRUM: show(database_.detail<Spectrum>(tag)->values); break;
            case miSCENE_OBJECT: object(tag); break;
            case miSCENE_INSTANCE: instance(tag); break;
            case miSCENE_GROUP: group(tag); break;
            case miSCENE_FUNCTION_DECL: put(database_.name(tag), ' ', declarationOf(tag)->signature); break;
            default: break;
        }
        if (const auto* detail = database_.detail<Detail>(tag); detail && detail->attributes) show(*detail->attributes);
        put("} ");
    }

    void group(miTag which) {
        const auto& record = *database_.as<miGroup>(which, miSCENE_GROUP);
        show(record.label), name(record.userdata);
        const auto& group = *database_.detail<GroupDetail>(which);
        show(database_.detail<AssemblyGroup>(which) != nullptr);
        show(group.merge);
        for (const miTag tag : group.instances)
            if (!database_.name(tag).empty()) name(tag);  // others were deleted
    }

    const Declaration* declarationOf(miTag tag) const { return database_.detail<Declaration>(tag); }

    void function(miTag tag) {
        if (const auto* member = database_.detail<MemberConnection>(tag)) {
            name(member->source);
            return showAll(member->offset, member->size);
        }
        const auto& function = *database_.as<miFunction>(tag, miSCENE_FUNCTION);
        name(function.interfacephen);
        showAll(int(function.type), function.result_size, function.has_connections, function.label);
        if (const auto* use = database_.detail<PhenomenonInstance>(tag)) phenomenon(*use);
        block(function.function_decl, function.parameters, function.parameter_size, function.ghost_offs);
    }

    void phenomenon(const PhenomenonInstance& use) {
        for (const miTag tag : {use.root, use.lens.shaders, use.volume.shaders, use.environment.shaders,
                                use.output.shaders, use.geometry.shaders, use.contourStore, use.contourContrast})
            name(tag);
        showAll(use.lens.priority, use.volume.priority, use.environment.priority, use.output.priority,
                use.geometry.priority, use.outputTypes);
    }

    void userData(miTag tag) {
        const auto& data = *database_.as<miUserdata>(tag, miSCENE_USERDATA);
        show(data.label);
        if (const auto* copy = database_.detail<DataCopy>(tag)) name(copy->original);
        block(data.data_decl, data.parameters, data.parameter_size, 0);
        if (data.next_data) name(data.next_data);
    }

    /// Values, and, so many bytes behind each, where it comes from. What was an array before a change may still lie
    /// there, so the size of what is declared says nothing.
    void block(miTag declaration, const char* values, int size, int ghosts) {
        name(declaration);
        if (const auto* known = declarationOf(declaration); known && size >= static_cast<int>(known->parameterSize))
            list(known->parameters, values, ghosts);
        else
            show(size), bytes(reinterpret_cast<const unsigned char*>(values), static_cast<std::size_t>(size));
    }
    template <class Value>
    static Value at(const char* values) {
        Value value;
        std::memcpy(&value, values, sizeof value);
        return value;
    }
    void ghost(const char* values, int ghosts) {
        if (ghosts == 0) return;
        const auto tag = at<miTag>(values + ghosts);
        if (tag == miPARAMTAG)
            put("given ");
        else if (tag != 0)
            put("= "), name(tag);
    }
    void list(const std::vector<Parameter>& parameters, const char* values, int ghosts) {
        for (const Parameter& parameter : parameters) {
            put(parameter.name, ' ');
            if (!parameter.isArray) {
                value(parameter, values + parameter.elementOffset, ghosts);
                continue;
            }
            ghost(values + parameter.offset, ghosts);
            const auto start = at<miInteger>(values + parameter.offset);
            const auto count = at<miInteger>(values + parameter.offset + sizeof start);
            const char* first = values + parameter.elementOffset;
            show(count);
            for (int i = start; i < start + count; ++i)
                value(parameter, first + static_cast<std::ptrdiff_t>(parameter.elementSize) * i, ghosts);
        }
    }
    void value(const Parameter& parameter, const char* values, int ghosts) {
        ghost(values, ghosts);
        if (parameter.type == miTYPE_STRUCT) return list(parameter.members, values, ghosts);
        static const std::string_view numbers = "boolean integer scalar vector color transform ";
        if (numbers.find(std::string(nameOfType(parameter.type)) + " ") == std::string_view::npos)
            return name(at<miTag>(values));
        put("( ");
        bytes(reinterpret_cast<const unsigned char*>(values), sizeOfType(parameter.type));
        put(") ");
    }

    void options(miTag tag) {
        record(*database_.as<miOptions>(tag, miSCENE_OPTIONS), &miOptions::contour_contrast, &miOptions::contour_store,
               &miOptions::finalgather_file, &miOptions::photonmap_file, &miOptions::userdata, &miOptions::inh_funcdecl,
               &miOptions::state_func, &miOptions::string_options, &miOptions::render_cprof);
        const auto& options = database_.as<miOptions>(tag, miSCENE_OPTIONS)->string_options;
        if (const auto* strings = database_.detail<StringOptions>(options)) show(strings->values);
        if (const auto* detail = database_.detail<OptionsDetail>(tag))
            showAll(detail->frameBuffers, detail->gatherFiles, detail->gatherOnly, detail->approximation);
    }

    void camera(miTag tag) {
        const auto& camera = *database_.as<miCamera>(tag, miSCENE_CAMERA);
        record(camera, &miCamera::volume, &miCamera::environment, &miCamera::lens, &miCamera::output,
               &miCamera::userdata, &miCamera::buffertag, &miCamera::pass);
        if (const auto* list = database_.detail<PassList>(camera.pass))
            for (const PassStatement& pass : list->passes)
                showAll(int(pass.kind), pass.types, pass.reads, pass.write), name(pass.shader);
        if (const auto* buffers = database_.detail<FrameBufferSet>(camera.buffertag)) show(buffers->buffers);
        if (const auto* detail = database_.detail<CameraDetail>(tag)) {
            showAll(detail->files, detail->focus, detail->lensRadius);
            for (const OutputShader& step : detail->outputShaders) show(step.types), name(step.shader);
        }
    }

    void light(miLight light) {
        name(light.shmap.camera);
        light.shmap.camera = 0;
        if (light.area == miLIGHT_OBJECT && database_.type(light.primitive.object.object) == miSCENE_NONE) {
            light.area = miLIGHT_NONE;  // its object was deleted
            light.primitive = {};
        }
        if (light.area == miLIGHT_OBJECT) {
            name(light.primitive.object.object);
            light.primitive.object.object = 0;
        }
        // Samples of a shape that it had once are nobody's.
        if (light.area == miLIGHT_NONE)
            light.samples_u = light.samples_v = light.low_samples_u = light.low_samples_v = light.low_level = 0;
        record(light, &miLight::shader, &miLight::emitter, &miLight::shadowmap_file, &miLight::userdata,
               &miLight::emitter_spectrum, &miLight::lightprofile);
    }

    void object(miTag tag) {
        miObject record = *database_.as<miObject>(tag, miSCENE_OBJECT);
        record.geo = {};
        this->record(record, &miObject::userdata, &miObject::functions);
        const auto* placeholder = database_.detail<Placeholder>(tag);
        const auto source = sourceOf(database_, tag);
        if (placeholder && !source) show(placeholder->file);
        if (!source) return;
        showAll(source->tagged, source->hasTransform, source->transform, source->groups, source->approximation);
        if (source->hair) show(*source->hair);
    }

    void instance(miTag tag) {
        miInstance record = *database_.as<miInstance>(tag, miSCENE_INSTANCE);
        name(record.tf.function);
        record.tf.function = 0;
        if (record.param_size == 0) record.param_decl = 0;
        if (record.param_size > 0) std::fill(std::begin(record.param), std::end(record.param), '\0');
        this->record(record, &miInstance::item, &miInstance::material, &miInstance::userdata, &miInstance::light_list,
                     &miInstance::shadow_list, &miInstance::param_decl, &miInstance::approx_list);
        const auto& original = *database_.as<miInstance>(tag, miSCENE_INSTANCE);
        const auto* detail = database_.detail<InstanceDetail>(tag);
        const bool hasTexts = detail && !detail->textWords.empty();
        if (original.param_size > 0 && !hasTexts) block(original.param_decl, original.param, original.param_size, 0);
        if (!detail) return;
        for (const int word : detail->textWords) show(database_.string(at<miTag>(original.param + word)));
        for (const auto* tags : {&detail->materials, &detail->lights, &detail->shadowLights}) names(*tags);
        const InstanceDetail& d = *detail;
        showAll(d.hasMotionTransform, d.motionOff, d.hasLights, d.hasShadowLights, d.visible, d.shadow, d.reflection,
                d.refraction, d.transparency, d.finalgather, d.caustic, d.globillum, d.face, d.approximation,
                d.overridesApproximation, d.textWords);
    }

    void parts(const ApproximationRule& r) {
        showAll(r.view, r.offscreen, r.any, r.parametric, r.length, r.distance, r.angle, r.least, r.most,
                r.mostTriangles);
        showAll(int(r.kind), r.all, r.names, r.parts, r.regular, r.percent);
    }
    void parts(const FileSettings& f) { showAll(f.compression, f.quality, f.dpi, f.dataWindow); }
    void parts(const OutputFile& f) {
        parts(static_cast<const FileSettings&>(f));
        showAll(f.type, f.format, f.file, f.shadersBefore);
    }
    void parts(const FrameBufferDescription& f) {
        parts(static_cast<const FileSettings&>(f));
        showAll(f.name, f.datatype, f.filetype, f.filename, f.filtering, f.primary, f.user, f.colorProfile);
    }
    void parts(const TextureDetail& t) {
        name(t.profile);
        showAll(t.file, t.filterScale, t.local, t.components, t.width, t.height, t.depth, t.pixels);
    }
    void parts(const LightProfile& p) {
        showAll(p.format, p.file, p.curve, p.horizontalSteps, p.verticalSteps, p.distribution != nullptr);
    }
    void parts(const ColorProfile& p) { showAll(p.name, p.transform, p.white, p.gamma); }
    void parts(const VertexSource& v) { showAll(v.position, v.normal, v.derivatives, v.textures, v.motions, v.users); }
    void parts(const PolygonGroupSource& g) {
        showAll(g.vectors, g.vertices, g.extras);
        for (const PolygonSource& p : g.polygons) {
            name(p.material);
            showAll(p.label, p.convex, std::vector(&g.corners[p.first], &g.corners[p.first] + p.count));
        }
        show(g.approximation);
        const SurfaceGroup& s = g.surfaces;
        showAll(s.curves, s.surfaces, s.connections, s.subdivisions, s.sharpness, s.merge);
    }
    void parts(const BasisSource& b) { showAll(b.name, b.kind, b.rational, b.degree, b.step, b.matrix); }
    void parts(const DirectionSource& d) { showAll(d.basis, d.rational, d.low, d.high, d.parameters); }
    void parts(const ControlPoint& p) { showAll(p.vertex, p.weight); }
    void parts(const CurveSource& c) { showAll(c.name, c.direction, c.points, c.specials, c.inSpace); }
    void parts(const CurvePiece& p) { showAll(p.curve, p.low, p.high); }
    void parts(const LoopSource& l) { showAll(l.kind, l.pieces); }
    void parts(const OverlaySource& o) { showAll(o.kind, o.volume, o.u, o.v, o.points); }
    void parts(const ConnectionSource& c) { showAll(c.surfaces, c.pieces); }
    void parts(const CreaseSource& c) { showAll(c.from, c.to, c.sharpness); }
    void parts(const ControlFace& f) {
        name(f.material);
        showAll(f.first, f.count, f.label);
    }
    void parts(const SurfaceSource& s) {
        name(s.material);
        showAll(s.name, s.label, s.u, s.v, s.points, s.firstDerivatives, s.secondDerivatives, s.overlays, s.loops,
                s.specials);
    }
    void parts(const SubdivisionSource& s) {
        showAll(s.name, s.catmullClark, s.derivatives, s.corners, s.faces, s.creases);
    }
    void parts(const HairExtras& e) {
        showAll(e.normal, e.motion, e.texture, e.user, e.radius, e.motions, e.textures, e.users, e.size);
    }
    void parts(const HairSource& h) {
        name(h.material);
        showAll(h.radius, h.degree, h.approximation, h.perHair, h.perVertex, h.scalars, h.offsets);
    }
};

}  // namespace

std::string databaseText(const Database& database) { return DatabaseText(database).all(); }

}  // namespace lumorender
