// Reads `camera`.
#include "mi/records.h"
#include "elements/element_readers.h"
#include "elements/options_reader.h"
#include "parameters/shader_calls.h"
#include "parsing/statements.h"
#include "parameters/user_data.h"

#include <algorithm>

namespace lumorender {

namespace {

struct CameraReader {
    SceneContext& scene;
    Cursor& in;
    miCamera camera = {};
    CameraDetail detail = {};
    FrameBufferSet buffers = {};
    PassList passes = {};
    bool lensSeen = false, volumeSeen = false, environmentSeen = false;

    bool readOther() { return false; }

    void setDefaults() {
        camera.focal = 1;
        camera.aperture = 1;
        camera.aspect = 1.33f;
        camera.clip = {kNearestClip, kFarthestClip};
        camera.x_resolution = 768;
        camera.y_resolution = 576;
        camera.window = {0, 0, 65535, 65535};
    }

    void readFocal() {
        camera.orthographic = in.accept("infinity");
        if (!camera.orthographic) camera.focal = in.readFloat();
    }

    void readLens() {
        const Place place = in.place();
        detail.focus = in.readFloat();
        detail.lensRadius = in.readFloat();
        if (detail.focus > 0 && detail.lensRadius >= 0) return;
        detail.focus = detail.lensRadius = 0;
        scene.problems.warning(place, "found a lens without a distance above 0 and a radius, everything is sharp");
    }

    void readResolution() {
        camera.x_resolution = in.readInteger(1, 1 << 20);
        camera.y_resolution = in.readInteger(1, 1 << 20);
    }

    void readWindow() {
        camera.window.xl = in.readInteger();
        camera.window.yl = in.readInteger();
        camera.window.xh = in.readInteger();
        camera.window.yh = in.readInteger();
    }

    /// The first statement of a kind in an incremental edit replaces what was there; further ones append.
    void readSlot(miTag& slot, bool& seen) {
        const bool clears = !atShader(in);
        const miTag added = readShaderList(scene);
        slot = clears || !seen ? added : joinShaders(scene, slot, added);
        seen = true;
    }

    void readFrame() {
        camera.frame = in.readInteger();
        if (in.atNumber()) camera.frame_time = in.readFloat();
    }

    void store(const std::string& name);
    void read();
};

using Reader = CameraReader;

const StatementTable<Reader>& statements() {
    // clang-format off
    static const StatementTable<Reader> table = {
        {"focal", [](Reader& r) { r.readFocal(); }},
        {"aperture", [](Reader& r) { r.camera.aperture = r.in.readFloat(); }},
        {"aspect", [](Reader& r) { r.camera.aspect = r.in.readFloat(); }},
        {"resolution", [](Reader& r) { r.readResolution(); }},
        {"window", [](Reader& r) { r.readWindow(); }},
        {"offset", [](Reader& r) { r.camera.x_offset = r.in.readFloat(); r.camera.y_offset = r.in.readFloat(); }},
        {"clip", [](Reader& r) { r.camera.clip.min = r.in.readFloat(); r.camera.clip.max = r.in.readFloat(); }},
        {"dof", [](Reader& r) { r.readLens(); }},
        {"lens", [](Reader& r) { r.readSlot(r.camera.lens, r.lensSeen); }},
        {"volume", [](Reader& r) { r.readSlot(r.camera.volume, r.volumeSeen); }},
        {"environment", [](Reader& r) { r.readSlot(r.camera.environment, r.environmentSeen); }},
        {"frame", [](Reader& r) { r.readFrame(); }},
        {"field", [](Reader& r) { r.in.skipGroup(); }},
        {"output", [](Reader& r) { readOutput(r.scene, r.detail, r.buffers); }},
        {"framebuffer", [](Reader& r) { readFrameBuffer(r.scene, r.buffers); }},
        {"pass", [](Reader& r) { readPass(r.scene, r.passes, r.camera.pass_mask); }},
        {"data", [](Reader& r) { readDataStatement(r.scene, r.camera.userdata); }},
        {"attribute", [](Reader& r) { readAttribute(r.scene, r.detail); }},
    };
    // clang-format on
    return table;
}

void CameraReader::read() {
    const std::string name = scene.readNewName("the name of the camera");
    setDefaults();
    if (const miTag former = scene.edited(name, miSCENE_CAMERA, "camera")) {
        scene.loadEdited(former, miSCENE_CAMERA, camera, detail);
        if (const auto* given = scene.database.detail<FrameBufferSet>(camera.buffertag)) buffers = *given;
        if (const auto* given = scene.database.detail<PassList>(camera.pass)) passes = *given;
    }
    readStatements(*this, statements(), "camera");
    store(name);
}

void CameraReader::store(const std::string& name) {
    choosePrimary(buffers);
    camera.buffertag =
        scene.storeBytes({}, miSCENE_FBINFO, nullptr, 16, std::make_unique<FrameBufferSet>(std::move(buffers)));
    camera.pass = miNULLTAG;
    if (!passes.passes.empty())
        camera.pass = scene.storeBytes({}, miSCENE_FBINFO, nullptr, 16, std::make_unique<PassList>(std::move(passes)));
    camera.output = miNULLTAG;
    for (const OutputShader& step : detail.outputShaders)
        camera.output = joinShaders(scene, camera.output, step.shader);
    scene.store(name, miSCENE_CAMERA, camera, std::make_unique<CameraDetail>(std::move(detail)));
}

}  // namespace

void readCamera(SceneContext& scene) { CameraReader{scene, scene.in}.read(); }

/// What both have is said of the camera.
void readViewAs(SceneContext& scene, const std::string& camera, const std::string& options) {
    CameraReader seen{scene, scene.in};
    seen.setDefaults();
    seen.camera.frame = scene.frame.number;
    seen.camera.frame_time = scene.frame.time;
    OptionsReader rules(scene);
    Cursor& in = scene.in;
    while (!in.acceptEnd("view")) {
        const Place place = in.place();
        const std::string_view word = in.current().text;
        const auto readOfCamera = statements().find(in.current());
        const auto readOfOptions = optionStatements().find(in.current());
        if (readOfCamera || readOfOptions) {
            in.advance();
            scene.problems.tell(place, readOfCamera ? "camera" : "options", word, in.continuation());
            readOfCamera ? readOfCamera(seen) : readOfOptions(rules);
        } else if (!rules.readOther()) {
            scene.skipUnknown("view", [&] {
                return statements().find(in.current()) != nullptr || optionStatements().find(in.current()) != nullptr;
            });
        }
    }
    seen.store(camera);
    rules.store(options);
}

}  // namespace lumorender
