#include "tracing/contour_sample.h"

#include "mi/images.h"
#include "tracing/shader_calls.h"
#include "tracing/shader_table.h"
#include "tracing/spaces.h"

#include <algorithm>
#include <array>

namespace lumorender {

namespace {

using StoreEntry = miBoolean (*)(void* info, int* size, miState* state, void* parameters, miColor* color);
using ContrastEntry = miBoolean (*)(void* info1, void* info2, int level, miState* state, void* parameters);
using ContourEntry = miBoolean (*)(miContour_endpoint* end, void* near, void* far, miState* state, void* parameters);

/// Modules export all entry points as one type of function; these have arguments of their own.
template <class Entry>
Entry entryAs(ShaderEntry entry) {
    return reinterpret_cast<Entry>(reinterpret_cast<void (*)()>(entry));
}

/// Shaders only read infos, which are of no type that is known here.
void* bytesOf(const ContourInfo* info) { return info ? const_cast<std::byte*>(info->info.data()) : nullptr; }

/// The state of a hit as it can be kept: lists and records of the call are gone.
miState keptState(const miState& state) {
    miState kept = state;
    kept.parent = kept.child = nullptr;
    kept.pri = nullptr;
    kept.tex_list = kept.bump_x_list = kept.bump_y_list = kept.derivs = nullptr;
    kept.user = nullptr;
    kept.user_size = 0;
    return kept;
}

}  // namespace

const ContourInfo* ContourSample::find(int reflections, int refractions) const {
    const auto found = std::find_if(infos_.begin(), infos_.end(), [&](const ContourInfo& info) {
        return info.reflections == reflections && info.refractions == refractions;
    });
    return found == infos_.end() ? nullptr : &*found;
}

void ContourSample::store(ThreadContext& context, miState* state, const miColor& color, miTag storeShader) {
    if (context.gather.depth > 0 || find(state->reflection_level, state->refraction_level)) return;
    constexpr std::size_t kMost = 4096;
    alignas(16) std::array<std::byte, kMost> bytes = {};
    int size = 0;
    miColor shown = color;
    const bool stored =
        callOther(context, state, storeShader, miSHADER_CONTOUR, [&](ShaderEntry entry, void* parameters) {
            return entryAs<StoreEntry>(entry)(bytes.data(), &size, state, parameters, &shown);
        });
    if (!stored) return;
    ContourInfo& info = infos_.emplace_back();
    info.reflections = state->reflection_level;
    info.refractions = state->refraction_level;
    const std::size_t kept = std::clamp<std::size_t>(static_cast<std::size_t>(std::max(size, 1)), 1, kMost);
    info.info.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(kept));
    info.state = keptState(*state);
    miVector point = state->point;
    toCamera(*state, state->point, point);
    info.depth = -point.z;
}

bool seesContour(ThreadContext& context, miTag contrast, const ContourInfo* a, const ContourInfo* b, int level) {
    if (!a && !b) return false;
    miState* state = &context.root->state;
    return callOther(context, state, contrast, miSHADER_CONTOUR, [&](ShaderEntry entry, void* parameters) {
        return entryAs<ContrastEntry>(entry)(bytesOf(a), bytesOf(b), level, state, parameters);
    });
}

bool contourEnd(ThreadContext& context, const ContourInfo& near, const ContourInfo* far, miContour_endpoint& end) {
    const miMaterial* material = context.scene->slots->material(near.state.material);
    if (!material || !material->contour) return false;
    miState* state = &context.root->state;
    *state = near.state;
    return callOther(context, state, material->contour, miSHADER_CONTOUR, [&](ShaderEntry entry, void* parameters) {
        return entryAs<ContourEntry>(entry)(&end, bytesOf(&near), bytesOf(far), state, parameters);
    });
}

}  // namespace lumorender
