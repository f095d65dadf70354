#include "echo/scene_echo.h"

#include "database/declaration.h"
#include "echo/element_writers.h"
#include "mi/records.h"
#include "parsing/scanner.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace lumorender {

namespace {

/// An element of the kind without any statement.
void writeEmpty(ElementText& out, const char* word, miTag tag) {
    out.text += word;
    out.add(Quoted{out.database.name(tag)});
    out.text += "\nend";
    out.add(word);
    out.text += '\n';
}

void writeEmpty(ElementText& out, miTag tag) {
    switch (out.database.type(tag)) {
        case miSCENE_FUNCTION: return writeShader(out, tag, true);
        case miSCENE_FLIST: return writeShader(out, tag, true);
        case miSCENE_USERDATA: return writeUserData(out, tag, true);
        case miSCENE_OPTIONS: return writeEmpty(out, "options", tag);
        case miSCENE_CAMERA: return writeEmpty(out, "camera", tag);
        case miSCENE_LIGHT: return writeEmpty(out, "light", tag);
        case miSCENE_MATERIAL: return writeEmpty(out, "material", tag);
        case miSCENE_OBJECT: return writeEmpty(out, "object", tag);
        case miSCENE_INSTANCE: return writeEmpty(out, "instance", tag);
        default: break;
    }
}

void writeElement(ElementText& out, miTag tag) {
    switch (out.database.type(tag)) {
        case miSCENE_FUNCTION_DECL: return writeDeclaration(out, tag);
        case miSCENE_FUNCTION:
        case miSCENE_FLIST: return writeShader(out, tag);
        case miSCENE_OPTIONS: return writeOptions(out, tag);
        case miSCENE_CAMERA: return writeCamera(out, tag);
        case miSCENE_LIGHT: return writeLight(out, tag);
        case miSCENE_MATERIAL: return writeMaterial(out, tag);
        case miSCENE_IMAGE: return writeTexture(out, tag);
        case miSCENE_USERDATA: return writeUserData(out, tag);
        case miSCENE_LIGHTPROFILE: return writeLightProfile(out, tag);
        case miSCENE_OBJECT: return writeObject(out, tag);
        case miSCENE_INSTANCE: return writeInstance(out, tag);
        case miSCENE_GROUP: return writeInstanceGroup(out, tag);
        case miSCENE_COLORPROFILE: return writeColorProfile(out, tag);
        case miSCENE_SPECTRUM: return writeSpectrum(out, tag);
        case miSCENE_ASSEMBLY: return writeEmpty(out, "assembly", tag);
        default: break;
    }
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Declarations, data, textures and the like are always whole.
bool canBeIncremental(int type) {
    switch (type) {
        case miSCENE_OPTIONS:
        case miSCENE_CAMERA:
        case miSCENE_LIGHT:
        case miSCENE_MATERIAL:
        case miSCENE_OBJECT:
        case miSCENE_INSTANCE:
        case miSCENE_GROUP:
        case miSCENE_FUNCTION:
        case miSCENE_FLIST: return true;
        default: return false;
    }
}

}  // namespace

SceneEcho::SceneEcho(const Database& database, const Modules& modules, const std::filesystem::path& file,
                     const EchoStyle& style)
    : database_(database), modules_(modules), path_(file), style_(style), file_(file) {}

void SceneEcho::keep() {
    for (const auto& object : objects_) object->keep();
    file_.keep();
}

void SceneEcho::render(const RenderCommand& command) {
    writeChanges({command.options, command.cameraInstance, command.rootGroup});
    if (!style_.renders) return;
    ElementText text(database_);
    text.text = "\nrender";
    for (const miTag tag : {command.rootGroup, command.cameraInstance, command.options}) text.add(Name{tag});
    file_.write(text.text + "\n");
}

void SceneEcho::call(const CallCommand& command) {
    writeLinks();
    writeDeletions();
    collectNames();
    visited_.clear();
    ElementText text(database_);
    text.text = "call";
    writeSlot(text, command.shaders);
    if (command.cameraInstance) {
        text.text += ',';
        text.add(Name{command.cameraInstance});
        text.add(Name{command.options});
    }
    for (const miTag needed : text.needed) visitWithMentioned(needed);
    file_.write(text.text + "\n");
}

void SceneEcho::rest() { writeChanges({}); }

void SceneEcho::writeChanges(const std::vector<miTag>& first) {
    writeLinks();
    writeDeletions();
    collectNames();
    visited_.clear();
    // Instances are laid out by the options that were read last, so options come first.
    for (const auto& [name, tag] : names_)
        if (database_.type(tag) == miSCENE_OPTIONS) visit(tag);
    for (const miTag tag : first) visitWithMentioned(tag);
    // Then what no render needs. Declarations are left out where nothing uses them; geometry shaders may, by name.
    for (const auto& [name, tag] : names_)
        if ((hasGeometryShaders_ || database_.type(tag) != miSCENE_FUNCTION_DECL) && !isInBody(name))
            visitWithMentioned(tag);
    file_.write(groups_);
    groups_.clear();
}

void SceneEcho::writeLinks() {
    for (const std::filesystem::path& file : modules_.linkedNames()) {
        const auto& folders = modules_.searchPath;
        const bool isSearched = std::find(folders.begin(), folders.end(), file.parent_path()) != folders.end();
        const std::string name = (isSearched ? file.filename() : file).string();
        if (!links_.insert(name).second) continue;
        ElementText text(database_);
        text.text = "link";
        text.add(Quoted{name});
        file_.write(text.text + "\n");
    }
}

/// A name that another element has now was deleted as well: what named the former one knows nothing of the other.
void SceneEcho::writeDeletions() {
    std::erase_if(written_, [this](const auto& entry) {
        const auto& [name, written] = entry;
        if (database_.find(name) == written.tag) return false;
        ElementText text(database_);
        text.text = "delete";
        text.add(Quoted{name});
        file_.write(text.text + "\n");
        return true;
    });
}

void SceneEcho::collectNames() {
    names_.clear();
    for (miTag tag = 1; tag < database_.end(); ++tag) {
        const std::string_view name = database_.name(tag);
        if (!name.empty() && database_.type(tag) != miSCENE_NONE) names_.emplace(name, tag);
        if (const auto* instance = database_.as<miInstance>(tag, miSCENE_INSTANCE)) {
            const int item = database_.type(instance->item);
            hasGeometryShaders_ = hasGeometryShaders_ || item == miSCENE_FUNCTION || item == miSCENE_FLIST;
        }
        const auto* phenomenon = database_.detail<PhenomenonInstance>(tag);
        hasGeometryShaders_ = hasGeometryShaders_ || (phenomenon && phenomenon->geometry.shaders);
        const auto* declaration = database_.detail<Declaration>(tag);
        if (declaration && declaration->kind == DeclarationKind::Phenomenon) phenomena_.insert(declaration->name);
    }
}

/// Elements of a phenomenon's body have names of the form "PHENOMENON 3::x". The phenomenon's use makes them again.
bool SceneEcho::isInBody(std::string_view name) const {
    for (std::size_t end = name.find("::"); end != std::string_view::npos; end = name.find("::")) {
        const std::string_view space = name.substr(0, end);
        const std::size_t blank = std::min(space.rfind(' '), space.size());
        if (phenomena_.contains(space.substr(0, blank)) && isNumber(space.substr(std::min(blank + 1, space.size()))))
            return true;
        name.remove_prefix(end + 2);
    }
    return false;
}

void SceneEcho::visit(miTag tag) {
    if (database_.name(tag).empty() || database_.type(tag) == miSCENE_NONE) return;
    if (!visited_.insert(tag).second) return announce(tag);
    open_.insert(tag);
    ElementText element(database_);
    writeElement(element, tag);
    for (const miTag needed : element.needed) visit(needed);
    open_.erase(tag);
    emit(tag, element);
    waiting_.insert(waiting_.end(), element.mentioned.begin(), element.mentioned.end());
}

/// What needs itself, by way of others or not, was changed after these had been made: first it stands there empty.
void SceneEcho::announce(miTag tag) {
    if (!open_.contains(tag) || written_.contains(database_.name(tag))) return;
    ElementText element(database_);
    writeEmpty(element, tag);
    for (const miTag needed : element.needed) visit(needed);
    written_.emplace(database_.name(tag), Written{tag, 0});
    file_.write(element.text);
}

void SceneEcho::visitWithMentioned(miTag tag) {
    visit(tag);
    while (!waiting_.empty()) {
        const miTag next = waiting_.front();
        waiting_.pop_front();
        visit(next);
    }
}

void SceneEcho::emit(miTag tag, const ElementText& element) {
    Written& written = written_[std::string(database_.name(tag))];
    const std::size_t hash = std::hash<std::string>()(element.text);
    if (written.hash == hash && written.tag == tag) return;
    written = {tag, hash};
    const int type = database_.type(tag);
    const std::string text =
        style_.incremental && canBeIncremental(type) ? "incremental " + element.text : element.text;
    if (type == miSCENE_GROUP) {
        groups_ += text;
        return;
    }
    if (const auto* options = database_.as<miOptions>(tag, miSCENE_OPTIONS)) inheritance_ = options->inh_funcdecl;
    if (type == miSCENE_INSTANCE) followInheritance(tag);
    if (style_.explodes && type == miSCENE_OBJECT)
        writeApart(text);
    else
        file_.write(text);
}

/// In a file NAME_1.mi, NAME_2.mi and so on.
void SceneEcho::writeApart(const std::string& text) {
    const auto number = objects_.size() + 1;
    const std::string name = fmt::format("{}_{}.mi", path_.stem().string(), number);
    objects_.push_back(std::make_unique<WholeFile>(path_.parent_path() / name));
    objects_.back()->write(text);
    file_.write(fmt::format("$include {}\n", quotedText(name)));
}

/// Options make their inheritance function the one that counts. Those by which the instance was laid out may have been
/// changed or deleted, so these ones come and go.
void SceneEcho::followInheritance(miTag instance) {
    const auto& record = *database_.as<miInstance>(instance, miSCENE_INSTANCE);
    if (record.param_size == 0 || record.param_decl == inheritance_) return;
    inheritance_ = record.param_decl;
    std::string name = "layout";
    while (names_.contains(name)) name += '_';
    ElementText text(database_);
    text.text = "options";
    text.add(Quoted{name});
    if (inheritance_) text.statement("inheritance", Name{inheritance_});
    text.text += " end options delete";
    text.add(Quoted{name});
    file_.write(text.text + "\n");
}

}  // namespace lumorender
