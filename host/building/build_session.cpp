#include "building/build_session.h"

#include "building/misuse.h"
#include "building/object_callback.h"
#include "elements/object_defaults.h"
#include "elements/object_files.h"
#include "mi/records.h"
#include "support/messages.h"

#include <algorithm>

namespace lumorender {

namespace {

thread_local BuildSession* running = nullptr;

}  // namespace

BuildSession::BuildSession(std::shared_ptr<BuildWorld> world, std::string shader)
    : world_(std::move(world)), who_(std::move(shader)), outer_(std::exchange(running, this)) {}

BuildSession::BuildSession(std::shared_ptr<BuildWorld> world, miTag object, std::string who)
    : world_(std::move(world)), who_(std::move(who)), target_(object), outer_(std::exchange(running, this)) {}

BuildSession::~BuildSession() {
    running = outer_;
    const char* open = object_     ? "an object"
                       : instance_ ? "an instance"
                       : group_    ? "a group"
                       : material_ ? "a material"
                       : light_    ? "a light"
                       : call_     ? "a shader call"
                                   : nullptr;
    if (open) error("API", "{}: {} was begun and not ended, left out", who_, open);
}

BuildSession* BuildSession::current() { return running; }

void BuildSession::requireShader() const {
    if (target_) refuse("callbacks build the geometry of their object, and nothing else");
}

miObject* BuildSession::beginObject(const std::string& name) {
    if (object_) refuse("an object is open already");
    if (target_ && built_) refuse("the object has its geometry already");
    miObject record{};
    setDefaults(record);
    editedObject_ = incremental_ && !target_ ? find(name) : miNULLTAG;
    if (const auto* former = world_->database.as<miObject>(editedObject_, miSCENE_OBJECT))
        record = *former;
    else
        editedObject_ = miNULLTAG;
    objectName_ = name;
    placeholder_.reset();
    object_ = std::make_unique<ObjectBuilder>(record);
    return &object_->record;
}

ObjectBuilder& BuildSession::object() {
    if (!object_) refuse("no object is open");
    return *object_;
}

void BuildSession::setFile(const std::string& file) {
    object();
    if (target_) refuse("callbacks build geometry, they do not name further files");
    auto placeholder = std::make_unique<Placeholder>();
    placeholder->from = fmt::format("file \"{}\"", file);
    placeholder->loader = objectFile(world_->database, world_->modules, world_->settings, file, {});
    placeholder_ = std::move(placeholder);
}

void BuildSession::setCallback(miApi_object_callback callback, void* parameters) {
    object();
    if (target_) refuse("callbacks build geometry, they do not ask for further callbacks");
    if (!callback) refuse("there is no callback");
    auto placeholder = std::make_unique<Placeholder>();
    placeholder->from = "callback";
    placeholder->loader = std::make_shared<ObjectCallback>(world_, callback, parameters);
    placeholder_ = std::move(placeholder);
}

miTag BuildSession::endObject() {
    object();
    const std::unique_ptr<ObjectBuilder> builder = std::move(object_);
    auto source = builder->finish(who_);
    miObject& record = builder->record;
    if (target_) {
        built_ = std::move(source);
        return target_;
    }
    std::unique_ptr<Detail> detail;
    if (placeholder_) {
        if (!source->groups.empty() || source->hair) refuse("an object has geometry, or a file or callback, not both");
        record.type = miOBJECT_PLACEHOLDER;
        static_cast<Placeholder&>(*placeholder_).where = who_;
        detail = std::move(placeholder_);
    } else {
        if (source->hair) record.type = miOBJECT_HAIR;
        if (record.functions) record.type = miOBJECT_INTERSECT_FUNC;
        setBounds(record, *source);
        detail = std::move(source);
    }
    Open<miObject> open{objectName_, editedObject_, record};
    const miTag tag = store(open, miSCENE_OBJECT, std::move(detail));
    if (auto* placeholder = world_->database.detail<Placeholder>(tag))
        if (auto* callback = dynamic_cast<ObjectCallback*>(placeholder->loader.get()))
            callback->setObject(tag, fmt::format("{}, callback of object \"{}\"", who_, objectName_));
    return tag;
}

template <class Record>
Record* BuildSession::begin(std::unique_ptr<Open<Record>>& open, const std::string& name, int type) {
    requireShader();
    if (open) refuse("one is open already");
    open = std::make_unique<Open<Record>>();
    open->name = name;
    const miTag former = incremental_ ? find(name) : miNULLTAG;
    if (const auto* record = world_->database.as<Record>(former, type)) {
        open->record = *record;
        open->edited = former;
    }
    return &open->record;
}

template <class Record>
BuildSession::Open<Record> BuildSession::end(std::unique_ptr<Open<Record>>& open) const {
    if (!open) refuse("none is open");
    return *std::exchange(open, nullptr);
}

template <class Record>
miTag BuildSession::store(const Open<Record>& open, int type, std::unique_ptr<Detail> detail) {
    if (!open.edited) return world_->made.store(open.name, type, &open.record, sizeof open.record, std::move(detail));
    std::memcpy(world_->database.record(open.edited), &open.record, sizeof open.record);
    world_->database.setDetail(open.edited, std::move(detail));
    return open.edited;
}

miInstance* BuildSession::beginInstance(const std::string& name) {
    miInstance* record = begin(instance_, name, miSCENE_INSTANCE);
    if (!instance_->edited) setDefaults(*record);
    return record;
}

miTag BuildSession::endInstance(const std::string& element, miTag geometryShader, miTag parameters) {
    Open<miInstance> open = end(instance_);
    if (!element.empty()) open.record.item = find(element);
    if (!element.empty() && !open.record.item) refuse("there is no \"{}\" to be placed", element);
    if (element.empty() && geometryShader) open.record.item = geometryShader;
    auto detail = std::make_unique<InstanceDetail>();
    adopt(open.record, *detail);
    if (parameters) return storeWithParameters(open, std::move(detail), parameters);
    return store(open, miSCENE_INSTANCE, std::move(detail));
}

/// As the scene language has them: only their values, whatever they are connected to.
miTag BuildSession::storeWithParameters(const Open<miInstance>& open, std::unique_ptr<Detail> detail, miTag call) {
    const auto* function = world_->database.as<miFunction>(call, miSCENE_FUNCTION);
    if (!function) refuse("parameters of instances are given as a call of their inheritance function");
    if (open.edited) refuse("an instance that was there keeps its parameters");
    constexpr std::size_t kParameters = offsetof(miInstance, param);
    const auto size = static_cast<std::size_t>(function->parameter_size);
    miInstance record = open.record;
    record.param_decl = function->function_decl;
    record.param_size = function->parameter_size;
    std::vector<std::byte> bytes(std::max(sizeof record, kParameters + size));
    std::memcpy(bytes.data(), &record, kParameters);
    std::memcpy(bytes.data() + kParameters, function->parameters, size);
    return world_->made.store(open.name, miSCENE_INSTANCE, bytes.data(), bytes.size(), std::move(detail));
}

/// What has another place besides the record. Flags that are 0 were not given.
void BuildSession::adopt(const miInstance& record, InstanceDetail& detail) const {
    const auto flag = [](miUint1 byte) { return byte == 0 ? -1 : static_cast<int>(byte); };
    detail.visible = flag(record.visible);
    detail.shadow = flag(record.shadow);
    detail.reflection = flag(record.reflection);
    detail.refraction = flag(record.refraction);
    detail.transparency = flag(record.transparency);
    detail.finalgather = flag(record.finalgather);
    detail.caustic = flag(record.caustic);
    detail.globillum = flag(record.globillum);
    detail.face = static_cast<char>(record.face);
    const auto isIdentity = [](const miMatrix& m) {
        for (int i = 0; i < 16; ++i)
            if (m[i] != (i % 5 == 0 ? 1.0F : 0.0F)) return false;
        return true;
    };
    const bool isNull =
        std::all_of(record.motion_transform, record.motion_transform + 16, [](miScalar v) { return v == 0; });
    detail.hasMotionTransform = !isNull && (record.gen_motion != 0 || !isIdentity(record.motion_transform));
    detail.materials.clear();
    if (const auto* list = world_->database.as<miTag>(record.material, miSCENE_TAG))
        detail.materials.assign(list, list + world_->database.size(record.material) / sizeof(miTag));
    else if (record.material)
        detail.materials.push_back(record.material);
}

miGroup* BuildSession::beginGroup(const std::string& name) {
    miGroup* record = begin(group_, name, miSCENE_GROUP);
    members_.clear();
    return record;
}

void BuildSession::addToGroup(const std::string& instance) {
    if (!group_) refuse("no group is open");
    const miTag tag = find(instance);
    if (world_->database.type(tag) != miSCENE_INSTANCE) refuse("\"{}\" is no instance", instance);
    members_.push_back(tag);
}

void BuildSession::clearGroup() {
    if (!group_) refuse("no group is open");
    members_.clear();
}

miTag BuildSession::endGroup() {
    const Open<miGroup> open = end(group_);
    auto detail = std::make_unique<GroupDetail>();
    detail->instances = std::move(members_);
    return store(open, miSCENE_GROUP, std::move(detail));
}

miMaterial* BuildSession::beginMaterial(const std::string& name) { return begin(material_, name, miSCENE_MATERIAL); }
miTag BuildSession::endMaterial() { return store(end(material_), miSCENE_MATERIAL, nullptr); }
miLight* BuildSession::beginLight(const std::string& name) { return begin(light_, name, miSCENE_LIGHT); }
miTag BuildSession::endLight() { return store(end(light_), miSCENE_LIGHT, nullptr); }

void BuildSession::beginCall(const std::string& declaration) {
    requireShader();
    if (call_) refuse("the call of another shader is open");
    const miTag tag = world_->database.find(declaration);
    auto* declared = world_->database.detail<Declaration>(tag);
    if (!declared || declared->kind != DeclarationKind::Shader) refuse("no shader \"{}\" is declared", declaration);
    if (!declared->entry.call && !declared->refused) declared->entry = world_->modules.find(declared->name);
    if (!declared->entry.call) refuse("no linked module has the function of shader \"{}\"", declaration);
    declared->used = true;
    call_ = std::make_unique<CallBuilder>(world_->database, tag, [this](std::string_view name) { return find(name); });
}

CallBuilder& BuildSession::call() {
    if (!call_) refuse("no shader is being called");
    return *call_;
}

miTag BuildSession::endCall() {
    call();
    const std::unique_ptr<CallBuilder> ended = std::move(call_);
    const std::vector<std::byte> record = ended->finish();
    return world_->made.store({}, miSCENE_FUNCTION, record.data(), record.size(), nullptr);
}

miTag BuildSession::shaderList(miTag first, miTag second) {
    requireShader();
    auto list = std::make_unique<FunctionList>();
    for (const miTag tag : {first, second}) {
        if (const auto* further = world_->database.detail<FunctionList>(tag))
            list->functions.insert(list->functions.end(), further->functions.begin(), further->functions.end());
        else if (world_->database.type(tag) == miSCENE_FUNCTION)
            list->functions.push_back(tag);
        else if (tag)
            refuse("tag {} is no shader", tag);
    }
    if (list->functions.size() == 1) return list->functions.front();
    return world_->made.store({}, miSCENE_FLIST, nullptr, 16, std::move(list));
}

void BuildSession::nameShader(const std::string& name, miTag shader) {
    requireShader();
    const int type = world_->database.type(shader);
    if (type != miSCENE_FUNCTION && type != miSCENE_FLIST) refuse("tag {} is no shader", shader);
    world_->made.setName(name, shader);
}

miDlist* BuildSession::newList(int kind) {
    if (kind != miDLIST_TAG && kind != miDLIST_SCALAR && kind != miDLIST_GEOSCALAR)
        refuse("lists of kind {} are not supported, those of tags and of numbers are", kind);
    return reinterpret_cast<miDlist*>(&lists_.emplace_back(kind));
}

BuildSession::GrowingList& BuildSession::listOf(miDlist* list) {
    for (GrowingList& each : lists_)
        if (reinterpret_cast<miDlist*>(&each) == list) return each;
    refuse("this is no list of the running shader");
}

void BuildSession::addToList(miDlist* list, const void* item) {
    GrowingList& growing = listOf(list);
    if (growing.kind == miDLIST_TAG)
        growing.tags.push_back(static_cast<miTag>(reinterpret_cast<std::uintptr_t>(item)));
    else if (!item)
        refuse("there is no number");
    else if (growing.kind == miDLIST_SCALAR)
        growing.scalars.push_back(*static_cast<const miScalar*>(item));
    else
        growing.scalars.push_back(static_cast<float>(*static_cast<const miGeoScalar*>(item)));
}

std::vector<float> BuildSession::scalarsOf(miDlist* list) {
    const GrowingList& growing = listOf(list);
    if (growing.kind == miDLIST_TAG) refuse("a list of numbers is needed, not one of tags");
    return growing.scalars;
}

miTag BuildSession::storeList(miDlist* list) {
    requireShader();
    if (listOf(list).kind != miDLIST_TAG) refuse("a list of tags is needed, not one of numbers");
    const std::vector<miTag>& tags = listOf(list).tags;
    return world_->made.store({}, miSCENE_TAG, tags.data(), tags.size() * sizeof(miTag), nullptr);
}

miTag BuildSession::instanceOf(miTag element) {
    if (world_->database.type(element) == miSCENE_INSTANCE) return element;
    Open<miInstance> open;
    setDefaults(open.record);
    open.record.item = element;
    return store(open, miSCENE_INSTANCE, std::make_unique<InstanceDetail>());
}

/// One that a shader made itself may stand in the result already.
void BuildSession::addResult(miTag& result, miTag element) {
    requireShader();
    Database& database = world_->database;
    const int type = database.type(element);
    if (type != miSCENE_OBJECT && type != miSCENE_INSTANCE && type != miSCENE_GROUP && type != miSCENE_LIGHT)
        refuse("tag {} is no object, light, instance or group", element);
    if (database.type(result) != miSCENE_GROUP) {
        auto detail = std::make_unique<GroupDetail>();
        if (database.type(result) != miSCENE_NONE) detail->instances.push_back(instanceOf(result));
        result = store(Open<miGroup>(), miSCENE_GROUP, std::move(detail));
    }
    database.detail<GroupDetail>(result)->instances.push_back(instanceOf(element));
}

void* BuildSession::edit(miTag element) {
    void* record = world_->database.record(element);
    if (!record) refuse("there is no element with the tag {}", element);
    return record;
}

void BuildSession::endEdit(miTag element) {
    edit(element);
    Database& database = world_->database;
    if (const auto* instance = database.as<miInstance>(element, miSCENE_INSTANCE))
        if (auto* detail = database.detail<InstanceDetail>(element)) adopt(*instance, *detail);
    if (const auto* object = database.as<miObject>(element, miSCENE_OBJECT))
        if (auto* source = database.detail<ObjectSource>(element)) source->tagged = object->mtl_is_label != 0;
}

}  // namespace lumorender
