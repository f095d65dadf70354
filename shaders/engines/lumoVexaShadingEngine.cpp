/* lumoVexaShadingEngine: the shader of a shading group. Evaluates a surface, looks through it where it is transparent,
 * and routes what surfaces write into the passes.
 *
 * In order: shaders that write user buffers before the surface; the surface; its colors and opacity into the slots of
 * the passes; what lies behind, merged into picture and passes; opacity, alpha and glow for renderer and host.
 * Parameters: `surfaceShader`, connected to a surface material. From a transparency of 1 - `transparencyThreshold` on
 * the surface counts as not there. `opaquePasses` keeps what lies behind out of the passes. `preSurfaceShaders` are
 * evaluated before the surface.
 * Its result's alpha is the surface's matte opacity, and behind it the alpha of what is seen through the surface.
 *
 * Example:
 *   shader "red" "lumoVexaLambert" ( "color" .8 .1 .1 )
 *   material "red_group"
 *       "lumoVexaShadingEngine" ( "surfaceShader" = "red" ) shadow "lumoVexaFastShadow" ()
 *   end material
 */
#include "SDK/color/color.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/framework/export_shader.h"
#include "SDK/engine/shading_preamble.h"
#include "SDK/engine/transparency_walk.h"
#include "SDK/surface/surface_result.h"

#include <cmath>
#include <cstring>

namespace lumo {

struct ShadingEngineParameters {
    miColor surfaceShader;
    miScalar transparencyThreshold;
    miBoolean opaquePasses;
    ParameterArray<miColor> preSurfaceShaders;
};

namespace {

using P = ShadingEngineParameters;

/* Seen this flat a surface is neither front nor back, and what divides by the cosine fails. */
constexpr miScalar kGrazing = 1e-5f;
constexpr miScalar kTilt = 0.0015f;
/* Glow below one step of an 8-bit image is none. */
constexpr miScalar kFaintestGlow = 0.004f;

/* What the engine takes from a surface's result. */
struct SeenSurface {
    miColor color = kBlack, glow = kBlack, matte = kBlack, transparency = kBlack;

    SeenSurface() = default;
    explicit SeenSurface(const SurfaceShaderReturnType& surface)
        : color(surface.color), glow(surface.glowColor), matte(matteOf(surface)), transparency(surface.transparency) {}
};

class EngineHelper : public ShaderHelper<P> {
public:
    using ShaderHelper<P>::ShaderHelper;

    bool hasSurface() const {
        const miTag tag = connection(&block()->surfaceShader);
        return tag != miNULLTAG && tag != ~miTag{0};
    }

    /* What the surface gives, as far as its result goes: a shader with a color alone, say a texture, is opaque. */
    SeenSurface evaluateSurface() const {
        constexpr miInteger kWhole = sizeof(SurfaceShaderReturnType);
        const ShaderResult result = shaderResult(&block()->surfaceShader, kWhole);
        if (result.size >= kWhole) return SeenSurface(*static_cast<const SurfaceShaderReturnType*>(result.data));
        if (result.size <= 0) return SeenSurface();
        SurfaceShaderReturnType surface{};
        surface.matteOpacity = {1, 1, 1, 0};
        std::memcpy(&surface, result.data, static_cast<std::size_t>(result.size));
        return SeenSurface(surface);
    }
};

/* Shuts all buffers but to shaders that open the one they write. */
class ClosedBuffers {
public:
    explicit ClosedBuffers(std::span<FrameBufferInfo> entries) : entries_(entries) {
        for (FrameBufferInfo& entry : entries_) entry.flags |= kEntryClosed;
    }
    ~ClosedBuffers() {
        for (FrameBufferInfo& entry : entries_) entry.flags &= ~static_cast<miUint>(kEntryClosed);
    }

    ClosedBuffers(const ClosedBuffers&) = delete;
    ClosedBuffers& operator=(const ClosedBuffers&) = delete;

private:
    const std::span<FrameBufferInfo> entries_;
};

void runPreSurfaceShaders(const EngineHelper& in, const FrameBuffers& buffers) {
    const auto shaders = in.elements(&P::preSurfaceShaders);
    const bool isWriting = !buffers.empty() && (buffers.entries.front().flags & kEntryWritePhase);
    if (shaders.empty() || isWriting) return;
    const ClosedBuffers closed(buffers.entries);
    for (miColor& shader : shaders) in.element(shader);
}

void tiltGrazingNormal(miState* state) {
    if (!(std::fabs(state->dot_nd) < kGrazing)) return;
    miVector away = state->dir;
    mi_vector_mul(&away, state->dot_nd + kTilt);
    mi_vector_sub(&state->normal, &state->normal, &away);
    mi_vector_normalize(&state->normal);
    state->dot_nd = mi_vector_dot(&state->normal, &state->dir);
}

/* What was written at this level becomes what is handed up. Without a factor it is copied, not multiplied by 1: labels
 * travel as the bits of an integer. */
void handUp(const LevelSlots& slots, const SeenSurface& surface) {
    for (const FrameBufferInfo& entry : slots.entries()) {
        FrameBufferSlot& slot = slots.of(entry);
        // The field holds opacity. Nothing may be left of another eye ray of the sample.
        const bool holdsOut = !(slot.levelFlags & kLevelFiltered) || (entry.flags & kEntryMatte);
        slot.transparency = holdsOut ? 1 - surface.transparency : kBlack;
        slot.color = entry.flags & kEntryTimesSurfaceColor ? slot.contribution * surface.color : slot.contribution;
    }
}

bool isWorthARay(const miColor& transparency, const Vexabase& record) {
    return !isBlack(transparency) && largestChannel(transparency * record.contributionWeight) > record.lowerImportance;
}

void putUnder(miColor& result, const miColor& transparency, const miColor& behind) {
    result.r += transparency.r * behind.r;
    result.g += transparency.g * behind.g;
    result.b += transparency.b * behind.b;
    result.a += luminance(transparency) * behind.a;
}

/* The rasterizer composites samples by an opacity of their own. */
void handOverOpacity(miState* state, const miColor& transparency) {
    if (state->options->scanline != 'r' || !state->scanline) return;
    miColor opacity = 1 - transparency;
    opacity.a = luminance(opacity);
    mi_opacity_set(state, &opacity);
}

/* The host's effects behind the render take glow and alpha from the record. */
void leaveGlowAndAlpha(Vexabase& record, const SeenSurface& surface) {
    const miColor& glow = surface.glow;
    if (largestChannel(glow) > kFaintestGlow) record.glow = {glow.r, glow.g, glow.b, 1};
    const miScalar alpha = luminance(surface.matte);
    for (miScalar& copy : record.surfaceAlpha) copy = alpha;
}

/* One call of the engine, once everything is found. */
struct GroupCall {
    const EngineHelper& in;
    Vexabase& record;
    FrameBufferState* frame; /* null while tiles are not being rendered */
    const LevelSlots& slots;
    miScalar threshold; /* of transparency, read before anything changes the state */
    bool looksBehind;   /* for buffers that leave the object out */
};

/* Traces on where something is to be seen behind, and adds it to the result. */
void lookThrough(miColor& result, const GroupCall& call, const SeenSurface& surface, bool counts) {
    miState* state = call.in.state();
    const miColor& t = surface.transparency;
    if (!(call.looksBehind || isWorthARay(t, call.record)) || isWalkTooDeep(state)) return;
    const WalkSettings walk = {.kind = counts ? WalkKind::kTransparent : WalkKind::kContinued,
                               .opaquePasses = call.in(&P::opaquePasses) != miFALSE,
                               .tempOnHeap = call.frame && (call.frame->flags & kFrameTempOnHeap),
                               .volume = state->volume};
    // An opaque surface is looked behind for the buffers only that leave it out: the picture shows nothing of it.
    const EffectsScope effects(call.record, isBlack(t));
    const GoingOn goingOn(call.frame, counts && isBlack(1 - t));
    const miColor behind = lookBehind(call.slots, state, walk);
    if (!isBlack(t)) putUnder(result, t, behind);
    tellOfSurface(call.frame, surface.transparency, counts);
}

void shadeSurface(miColor& result, const GroupCall& call, const SeenSurface& surface) {
    const bool counts = !(luminance(surface.transparency) > 1 - call.threshold);
    result = surface.color;
    result.a = luminance(surface.matte);
    tellOfSurface(call.frame, surface.transparency, counts);
    handUp(call.slots, surface);
    lookThrough(result, call, surface, counts);
    handOverOpacity(call.in.state(), surface.transparency);
    leaveGlowAndAlpha(call.record, surface);
}

miBoolean shadeGroup(miColor* result, const EngineHelper& in) {
    miState* state = in.state();
    Vexabase* record = vexabaseOf(state);
    const bool tiles = rendersTiles(state);
    FrameBufferState* frame = tiles ? publishedFrameBufferState(state) : nullptr;
    const miScalar threshold = in(&P::transparencyThreshold);
    tellOfSurface(frame, kBlack, true);
    if (!record) {
        reportWarning("vexa_shadingengine(): Internal state error.");
        return miFALSE;
    }
    if (!in.hasSurface()) {
        reportWarning("vexa_shadingengine(): Cannot evaluate surface shader.");
        return miFALSE;
    }
    // In place of a shadow or photon shader an engine is opaque: such calls give no surface record.
    if (state->type == miRAY_SHADOW || miRAY_PHOTON(state->type)) return miFALSE;

    prepareShading(state, *record, EngineRays::kAll);
    const FrameBuffers buffers = tiles ? publishedFrameBuffers(state) : FrameBuffers{};
    const LevelSlots slots(buffers, state);
    const GroupCall call{in, *record, frame, slots, threshold, beginSurface(slots, state)};
    runPreSurfaceShaders(in, buffers);
    tiltGrazingNormal(state);
    shadeSurface(*result, call, in.evaluateSurface());
    return miTRUE;
}

}  // namespace

LUMO_EXPORT_ENGINE(lumoVexaShadingEngine, shadeGroup, miColor, ShadingEngineParameters)

}  // namespace lumo
