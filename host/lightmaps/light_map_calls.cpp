#include "lightmaps/light_map_calls.h"

#include "geometry/precise_hit.h"
#include "image/writable_texture.h"
#include "mi/camera.h"
#include "mi/material.h"
#include "mi/options.h"
#include "render/frame_buffers.h"
#include "support/quasi_random.h"
#include "tracing/eye_samples.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"
#include "tracing/textures.h"
#include "tracing/tracing.h"
#include "tracing/volumes.h"

namespace lumorender {

namespace {

constexpr int kRowsTogether = 8;  ///< of a share

/// At shutter open.
Hit hitAt(const LightMapShare& share, float u, float v) {
    Hit hit;
    hit.instance = share.instance;
    hit.primitive = share.triangle;
    hit.u = u;
    hit.v = v;
    hit.dist = 1;
    hit.sides = Hit::kFront;
    const TriangleCorners corners = cornersAt(*share.instance->mesh, share.triangle, 0);
    hit.point = transformPoint(corners.a * (1.0 - u - v) + corners.b * double(u) + corners.c * double(v),
                               share.instance->placement->localToWorld);
    return hit;
}

}  // namespace

LightMapCalls::LightMapCalls(const RenderScene& scene, short threadIndex)
    : scene_(scene), context_(scene, threadIndex) {
    createRootState(context_);
    context_.values.resize(scene.buffers->words.size());
    context_.stage = miSTAGE_LIGHTMAP;
    miColor unused = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_STATE_INIT, &unused, false);
}

void LightMapCalls::finish() {
    resetRootState(context_);
    miColor unused = {0, 0, 0, 0};
    runStateShaders(context_, miSTATE_SHADER_STATE_EXIT, &unused, false);
}

LightMapCalls*& LightMapCalls::running() {
    static thread_local LightMapCalls* calls = nullptr;
    return calls;
}

void LightMapCalls::draw(const LightMapShare& share) {
    share_ = &share;
    for (int i = 0; i < 3; ++i) {
        miColor place = {0, 0, 0, 0};
        resetRootState(context_);
        context_.root->state.type = miRAY_LM_VERTEX;
        moveTo(i == 1 ? 1.0F : 0.0F, i == 2 ? 1.0F : 0.0F, 0);
        if (!call(share.shaders, place)) return;
        corners_[static_cast<std::size_t>(i)] = {place.r, place.g};
    }
    resetRootState(context_);
    context_.root->state.type = miRAY_LM_MESH;
    moveTo(1.0F / 3, 1.0F / 3, 0);
    walk_ = {};
    const WritableTexture::Turn turn(share.turn);
    miColor unused = {0, 0, 0, 0};
    call(share.shaders, unused);
}

void LightMapCalls::complete(miTag shaders, std::uint64_t turn) {
    share_ = nullptr;
    resetRootState(context_);
    context_.root->state.type = miRAY_LM_MESH;
    const WritableTexture::Turn mine(turn);
    miColor unused = {0, 0, 0, 0};
    call(shaders, unused);
}

bool LightMapCalls::call(miTag shaders, miColor& result) {
    running() = this;
    context_.shading = {context_.root->state.environment, false, hitOf(&context_.root->state)};
    runStateShaders(context_, miSTATE_SHADER_SAMPLE_INIT, &result, false);
    const bool ok = callShader(context_, &context_.root->state, shaders, miSHADER_LIGHTMAP, &result);
    runStateShaders(context_, miSTATE_SHADER_SAMPLE_EXIT, &result, ok);
    context_.states.endEyeRay();
    context_.shading = {};
    running() = nullptr;
    return ok;
}

/// The state of a surface that is seen from a unit straight above it.
void LightMapCalls::moveTo(float u, float v, std::uint32_t seed) {
    RayRecord& record = *context_.root;
    miState& state = record.state;
    state.time = scene_.options->shutter_delay;
    record.hit = hitAt(*share_, u, v);
    fillHit(context_, record, false);
    state.dir = -state.normal;
    state.org = state.point + state.normal;
    state.dot_nd = -1;
    const miMaterial* material = scene_.slots->material(state.material);
    state.environment = material && material->environment ? material->environment : scene_.camera->environment;
    state.volume = scene_.camera->volume;
    state.refraction_volume = volumeBehind(context_, state, material);
    seedEyeState(state, seed, 0);
}

WritableTexture* LightMapCalls::map(miTag texture) const {
    return scene_.textures ? scene_.textures->writable(texture) : nullptr;
}

bool LightMapCalls::isMine(int row) const { return row / kRowsTogether % share_->count == share_->number; }

void LightMapCalls::startWalk(miTag texture) {
    const WritableTexture& map = *this->map(texture);
    std::array<MapPoint, 3> corners = corners_;
    for (MapPoint& corner : corners) corner = {corner.x * map.width(), corner.y * map.height()};
    const TriangleTexels texels(corners, map.width(), map.height());
    walk_.texture = texture;
    walk_.texels = texels;
    walk_.x = texels.firstColumn();
    walk_.y = texels.firstRow();
}

/// What the running shader has evaluated at the last texel, and the rays that it sent from there.
void LightMapCalls::forgetEvaluated() {
    if (!walk_.hasBegun) {
        walk_.hasBegun = true;
        walk_.memory = context_.arena.mark();
    }
    context_.arena.release(walk_.memory);
    context_.root->state.child = nullptr;
    context_.frame->evaluated = nullptr;
    context_.frame->evaluatedCount = context_.frame->evaluatedCapacity = 0;
}

bool LightMapCalls::nextTexel(miTag texture, int& x, int& y) {
    if (!share_ || !context_.frame) return false;
    if (walk_.texture != texture) startWalk(texture);
    for (; walk_.y < walk_.texels.endRow(); ++walk_.y, walk_.x = walk_.texels.firstColumn()) {
        if (!isMine(walk_.y)) continue;
        while (walk_.x < walk_.texels.endColumn()) {
            x = walk_.x++;
            y = walk_.y;
            std::array<double, 3> weights;
            if (!walk_.texels.contains(x, y, weights)) continue;
            forgetEvaluated();
            moveTo(static_cast<float>(weights[1]), static_cast<float>(weights[2]),
                   mixSeeds(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)));
            return true;
        }
    }
    return false;
}

}  // namespace lumorender
