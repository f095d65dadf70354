// What a thread builds by calls while a geometry shader or a callback runs.
#pragma once

#include "building/call_builder.h"
#include "building/made_elements.h"
#include "building/object_builder.h"
#include "database/modules.h"
#include "parsing/scene_actions.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>

namespace lumorender {

/// What all sessions of a render work on.
struct BuildWorld {
    BuildWorld(Database& itsDatabase, Modules& itsModules, std::shared_ptr<const ReaderSettings> itsSettings)
        : database(itsDatabase), modules(itsModules), settings(std::move(itsSettings)), made(itsDatabase) {}

    Database& database;
    Modules& modules;
    std::shared_ptr<const ReaderSettings> settings;  ///< for files of objects
    MadeElements made;
};

/// While it lives it is the one of its thread. Calls that are out of order throw Misuse.
class BuildSession {
public:
    /// Of a geometry shader, which makes elements.
    BuildSession(std::shared_ptr<BuildWorld> world, std::string shader);
    /// Of a callback, which builds the geometry of the object: other elements cannot be made any more.
    BuildSession(std::shared_ptr<BuildWorld> world, miTag object, std::string who);
    /// Tells what was begun and not ended.
    ~BuildSession();
    BuildSession(const BuildSession&) = delete;
    BuildSession& operator=(const BuildSession&) = delete;

    static BuildSession* current();
    const std::string& who() const { return who_; }
    /// What a callback has built; null where it built nothing.
    std::unique_ptr<ObjectSource> takeBuilt() { return std::move(built_); }

    miTag find(std::string_view name) const { return world_->made.find(name); }
    std::string nameOf(miTag tag) const { return world_->made.nameOf(tag); }
    void setIncremental(bool on) { incremental_ = on; }

    miObject* beginObject(const std::string& name);
    ObjectBuilder& object();
    void setFile(const std::string& file);
    void setCallback(miApi_object_callback callback, void* parameters);
    miTag endObject();

    miInstance* beginInstance(const std::string& name);
    /// @param element empty = what the record says, or the shader.
    /// @param parameters a call of the inheritance function, whose values the instance gets; 0 = none
    miTag endInstance(const std::string& element, miTag geometryShader, miTag parameters);
    miGroup* beginGroup(const std::string& name);
    void addToGroup(const std::string& instance);
    void clearGroup();
    miTag endGroup();
    miMaterial* beginMaterial(const std::string& name);
    miTag endMaterial();
    miLight* beginLight(const std::string& name);
    miTag endLight();

    void beginCall(const std::string& declaration);
    CallBuilder& call();
    miTag endCall();
    miTag shaderList(miTag first, miTag second);
    void nameShader(const std::string& name, miTag shader);

    miDlist* newList(int kind);
    /// What `item` is the kind of the list says: a tag in the place of a pointer, or the address of a number.
    void addToList(miDlist* list, const void* item);
    std::vector<float> scalarsOf(miDlist* list);
    miTag storeList(miDlist* list);

    /// Adds to a geometry shader's result, which becomes a group.
    void addResult(miTag& result, miTag element);
    void* edit(miTag element);
    void endEdit(miTag element);

private:
    template <class Record>
    struct Open {
        std::string name;
        miTag edited = 0;
        Record record = {};
    };
    template <class Record>
    Record* begin(std::unique_ptr<Open<Record>>& open, const std::string& name, int type);
    template <class Record>
    Open<Record> end(std::unique_ptr<Open<Record>>& open) const;
    template <class Record>
    miTag store(const Open<Record>& open, int type, std::unique_ptr<Detail> detail);
    void requireShader() const;
    miTag instanceOf(miTag element);
    miTag storeWithParameters(const Open<miInstance>& open, std::unique_ptr<Detail> detail, miTag call);
    void adopt(const miInstance& record, InstanceDetail& detail) const;
    /// Of tags, or of numbers.
    struct GrowingList {
        int kind = miDLIST_TAG;
        std::vector<miTag> tags = {};
        std::vector<float> scalars = {};
    };
    GrowingList& listOf(miDlist* list);

    std::shared_ptr<BuildWorld> world_;
    std::string who_;
    miTag target_ = 0;  ///< object whose geometry is built; 0 in geometry shaders
    BuildSession* outer_;
    bool incremental_ = false;
    std::string objectName_;
    miTag editedObject_ = 0;
    std::unique_ptr<ObjectBuilder> object_;
    std::unique_ptr<Detail> placeholder_;
    std::unique_ptr<ObjectSource> built_;
    std::unique_ptr<Open<miInstance>> instance_;
    std::unique_ptr<Open<miGroup>> group_;
    std::vector<miTag> members_;
    std::unique_ptr<Open<miMaterial>> material_;
    std::unique_ptr<Open<miLight>> light_;
    std::unique_ptr<CallBuilder> call_;
    std::deque<GrowingList> lists_;
};

}  // namespace lumorender
