#include "render/called_shaders.h"

#include "mi/records.h"
#include "render/render_shaders.h"
#include "support/messages.h"
#include "tracing/context.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"

#include "shader.h"

#include <vector>

namespace lumorender {

namespace {

class Calling {
public:
    Calling(Database& database, miTag group, miTag cameraInstance, miTag options) : table_(database) {
        scene_.database = &database;
        scene_.rootGroup = group;
        scene_.cameraInstance = cameraInstance;
        scene_.optionsTag = options;
        scene_.options = database.as<miOptions>(options, miSCENE_OPTIONS);
        const auto* instance = database.as<miInstance>(cameraInstance, miSCENE_INSTANCE);
        scene_.camera = instance ? database.as<miCamera>(instance->item, miSCENE_CAMERA) : nullptr;
        if (!scene_.options || !scene_.camera) throw Failure("it has no camera instance and options to be called with");
        mi_init_lock(&scene_.globalLock);
    }
    ~Calling() { mi_delete_lock(&scene_.globalLock); }
    Calling(const Calling&) = delete;
    Calling& operator=(const Calling&) = delete;

    bool call(miTag shaders) {
        table_.add(shaders, miSHADER_OTHER);
        prepare();
        ThreadContext context(scene_, 0);
        createRootState(context);
        resetRootState(context);
        table_.initialise(context);
        std::vector<miColor> result(table_.resultSizeOf(shaders) / sizeof(miColor) + 1);
        const bool good =
            callShader(context, &context.root->state, shaders, miSHADER_OTHER, result.data(), nullptr, false, true);
        resetRootState(context);
        table_.finish(context);
        return good;
    }

private:
    RenderScene scene_;
    ShaderTable table_;

    void prepare() {
        Database& database = *scene_.database;
        scene_.geometry = SceneGeometry::outline(database, scene_.rootGroup, *scene_.options, {});
        openForCalls(scene_, table_);
    }
};

}  // namespace

bool callShaders(Database& database, miTag shaders, miTag group, miTag cameraInstance, miTag options,
                 const std::string& where) {
    try {
        if (Calling(database, group, cameraInstance, options).call(shaders)) return true;
        warning("RC", "{}: the shader that is called says that it failed", where);
    } catch (const std::exception& problem) {
        error("RC", "{}: call: {}", where, problem.what());
    } catch (...) {
        error("RC", "{}: call: the shader ended by an exception", where);
    }
    return false;
}

}  // namespace lumorender
