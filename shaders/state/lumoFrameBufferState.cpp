/* lumoFrameBufferState: state shader that runs the render passes.
 *
 * At state init it turns the camera's frame-buffer data block into three records that travel with the state (see
 * FrameBufferInfo, PassState and FrameBufferState in the SDK). Before each sample it clears what passes gather in, and
 * after each sample it writes what they gathered into the buffers that no shader wrote itself. List it once in the
 * options, behind the shader that places the host's record.
 */
#include "SDK/framework/float4.h"
#include "SDK/color/color.h"
#include "SDK/framework/export_shader.h"
#include "SDK/passes/frame_buffer_block.h"
#include "SDK/passes/frame_buffers.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/passes/named_buffers.h"

#include <algorithm>

namespace lumo {
namespace {

constexpr char kSource[] = "sdk/lumoFrameBufferState";
constexpr char kName[] = "lumoFrameBufferState";

/* More slots than this are a mistake in the scene's trace depth, not a need. */
constexpr std::size_t kMostSlots = std::size_t{1} << 24;

/* ---- State init and exit ---- */

/* Key and value of a shader-state entry; the renderer keeps a copy. No size removes it. */
bool publish(miState* state, const char* key, void* value, std::size_t size) {
    return mi_shaderstate_set(state, key, value, static_cast<int>(size), miSS_LIFETIME_RECT);
}

PassState passStateOf(const FrameBufferBlock& block) {
    PassState passes;
    miUint first = 0;
    for (miUint type = 0; type < kPassTypeCount; ++type) {
        passes.types[type] = {block.typeCount(type), first};
        first += passes.types[type].count;
    }
    return passes;
}

/* Publishes one empty entry per buffer. False when there is no memory for them or their slots. */
bool publishEntries(miState* state, miUint count) {
    if (count == 0) return true;
    const std::size_t slotsPerEntry = static_cast<std::size_t>(traceDepth(state)) + 2;
    if (slotsPerEntry * count > kMostSlots) {
        reportError("lumoFrameBufferState(): The trace depth is too large for so many frame buffers.");
        return false;
    }
    const std::size_t entryBytes = sizeof(FrameBufferInfo) * count;
    const std::size_t slotBytes = sizeof(FrameBufferSlot) * slotsPerEntry * count;
    auto* entries = static_cast<FrameBufferInfo*>(mi_mem_int_allocate(kSource, 211, static_cast<miUint>(entryBytes)));
    auto* slots = static_cast<FrameBufferSlot*>(mi_mem_int_allocate(kSource, 219, static_cast<miUint>(slotBytes)));
    bool kept = false;
    if (entries && slots) {
        for (miUint k = 0; k < count; ++k) {
            entries[k] = {};
            entries[k].slots = slots + k * slotsPerEntry;
        }
        entries->index = kNamesUnresolved;
        kept = publish(state, FRAME_BUFFER_INFO_KEY, entries, entryBytes);
    }
    if (slots && !kept) mi_mem_int_release(kSource, 260, slots);
    if (entries) mi_mem_int_release(kSource, 260, entries);
    return kept;
}

miBoolean initState(miState* state) {
    const FrameBufferBlock block(state);
    if (!block.present()) return miFALSE;
    FrameBufferState frame = {};
    if (renderOptionIsOn(state, "vexa allocate temp data on heap")) frame.flags = kFrameTempOnHeap;
    block.report(kName);

    if (!publishEntries(state, block.recordCount())) return miFALSE;
    PassState passes = passStateOf(block);
    publish(state, PASS_TYPE_INFO_KEY, &passes, sizeof passes);
    publish(state, FRAME_BUFFER_STATE_KEY, &frame, sizeof frame);
    return miTRUE;
}

miBoolean exitState(miState* state) {
    // Slots of a state that never saw a sample are deliberately left to the renderer, which frees what modules leave
    // behind: only resolved entries are sure to be complete.
    const FrameBuffers buffers = currentFrameBuffers(state);
    if (!buffers.empty() && buffers.entries.front().index != kNamesUnresolved)
        mi_mem_int_release(kSource, 276, buffers.entries.front().slots);
    for (const char* key : {PASS_TYPE_INFO_KEY, FRAME_BUFFER_INFO_KEY, FRAME_BUFFER_STATE_KEY})
        publish(state, key, nullptr, 0);
    return miTRUE;
}

/* ---- First sample of a state ---- */

miUint flagsOf(const FrameBufferRecord& record) {
    miUint flags = record.composited ? kEntryComposited : 0;
    const miInteger switches[] = {record.matte,
                                  record.user4,
                                  record.user8,
                                  record.throughReflection,
                                  record.throughRefraction,
                                  record.timesSurfaceColor,
                                  record.shadowed,
                                  record.ignoresOccluderMask};
    miUint flag = kEntryMatte;
    for (const miInteger value : switches) {
        flags |= value > 0 ? flag : 0;
        flag <<= 1;
    }
    return flags;
}

/* What follows from the pass type alone, whatever the scene says. */
void applyPassTypeRules(const FrameBuffers& buffers) {
    for (const miUint type : {kPassShadow, kPassShadowLuminance, kPassShadowIrradiance, kPassShadowCosine})
        setPassFlags(buffers, type, kEntryShadowInverted | kEntryShadowed);
    for (const miUint type : {kPassTranslucenceNoShadow, kPassDiffuseNoShadow, kPassSpecularNoShadow,
                              kPassBeautyNoShadow, kPassDirectIrradianceNoShadow})
        clearPassFlags(buffers, type, kEntryShadowed);
    for (const miUint type : {kPassReserved32, kPassAmbientMaterialColor, kPassDiffuseMaterialColor, kPassMatte,
                              kPassTransparency, kPassIncidence})
        setPassFlags(buffers, type, kEntryNoTracedLight);
}

/* The index of a record's buffer. One that the camera does not have gets 0, the primary buffer: that takes the
 * surface's result after the sample, whatever is written before. */
miUint resolveName(miState* state, const FrameBufferRecord& record) {
    if (record.frameBufferName == miNULLTAG)
        reportError("Missing frameBufferName parameter in frameBufferInfo record.");
    const PinnedText name(record.frameBufferName);
    const std::optional<miUint> index = name ? frameBufferIndex(state, name.get()) : std::nullopt;
    if (name && !index) mi_error("lumoFrameBufferState(): The camera has no frame buffer named \"%s\".", name.get());
    return index.value_or(0);
}

void resolveNames(miState* state, const FrameBuffers& buffers) {
    const FrameBufferBlock block(state);
    const miUint count = std::min(buffers.count(), block.recordCount());
    for (miUint k = 0; k < count; ++k) {
        const FrameBufferRecord record = block.record(k);
        FrameBufferInfo& entry = buffers.entries[k];
        entry.index = resolveName(state, record);
        entry.flags = flagsOf(record);
        entry.minReflectionLevel = record.minReflectionLevel;
        entry.maxReflectionLevel = record.maxReflectionLevel;
        entry.minRefractionLevel = record.minRefractionLevel;
        entry.maxRefractionLevel = record.maxRefractionLevel;
        entry.identifier = record.identifier;
    }
    applyPassTypeRules(buffers);
}

/* ---- Each sample ---- */

miBoolean initSample(miState* state) {
    if (!rendersTiles(state)) return miTRUE;
    if (FrameBufferState* frame = publishedFrameBufferState(state)) *frame = {frame->flags & kFrameTempOnHeap, kBlack};
    const FrameBuffers buffers = publishedFrameBuffers(state);
    if (buffers.empty()) return miTRUE;

    if (buffers.entries.front().index == kNamesUnresolved) resolveNames(state, buffers);
    for (FrameBufferInfo& entry : buffers.entries) {
        entry.slots->levelFlags = 0;
        entry.slots->transparency = kBlack;
        entry.slots->color = kBlack;
    }
    return static_cast<miBoolean>(buffers.count());
}

bool wasRasterized(const miState* state) { return state->options->scanline == 'r' && state->scanline; }

/* Colors that are handed over: four floats, aligned as vectors are. */
Float4 opaqueWhereCovered(Float4 color) {
    constexpr Int4 kAlpha = {0, 0, 0, -1};
    const Int4 covered = (color > Float4{0, 0, 0, 0}) & kAlpha;
    return covered ? Float4{0, 0, 0, 1} : color;
}

/* Writes entries into their buffers, but for those that a shader already wrote for this sample. A renderer that shows
 * its values saves two calls for each buffer. */
class Flush {
public:
    explicit Flush(miState* state) : state_(state), isRasterized_(wasRasterized(state)) {
        lumorender_sample_values(state, &values_);
    }

    explicit operator bool() const { return get_ && put_; }

    void operator()(std::span<FrameBufferInfo> entries, bool forcesAlpha) const {
        for (FrameBufferInfo& entry : entries) {
            if (entry.index < values_.count && values_.words[entry.index] == 4) [[likely]] {
                miColor& value = values_.colors[entry.index];
                const Float4 current = load4(&value.r);
                const Float4 out = outOf(*entry.slots, current, forcesAlpha);
                if (isZero(current)) std::memcpy(&value, &out, sizeof out);
            } else {
                flushByCalls(entry, forcesAlpha);
            }
        }
    }

private:
    static bool isZero(Float4 value) { return bits4(value == Float4{0, 0, 0, 0}) == 0xF; }

    [[gnu::noinline]] void flushByCalls(const FrameBufferInfo& entry, bool forcesAlpha) const {
        const int buffer = static_cast<int>(entry.index);
        Float4 current = {0, 0, 0, 0};
        const bool isFree = get_(state_, buffer, &current) && isZero(current);
        Float4 out = outOf(*entry.slots, current, forcesAlpha);
        if (isFree) put_(state_, buffer, &out);
    }

    /* What leaves a slot, which keeps it, in front of what is in the buffer. */
    Float4 outOf(FrameBufferSlot& slot, Float4 current, bool forcesAlpha) const {
        Float4 out = load4(&slot.color.r);
        if (isRasterized_) out = (1 - load4(&slot.transparency.r)) * current + out;
        if (forcesAlpha) out = opaqueWhereCovered(out);
        if (!isRasterized_) std::memcpy(&slot.color, &out, sizeof out);
        return out;
    }

    miState* const state_;
    const bool isRasterized_;
    LumorenderSampleValues values_ = {};
    decltype(mi_fb_get.pointer()) const get_ = mi_fb_get.pointer();
    decltype(mi_fb_put.pointer()) const put_ = mi_fb_put.pointer();
};

miBoolean exitSample(miState* state, miBoolean shaderReturn) {
    if (state->type != miRAY_EYE || !shaderReturn) return miTRUE;
    const FrameBuffers buffers = currentFrameBuffers(state);
    if (buffers.empty()) return miTRUE;

    // What is partly covered counts as covered, but for the passes that decide their own alpha.
    const miUint ownAlphaBegin = buffers.passes->types[kPassOwnAlpha16].first;
    const PassRange& lastOwnAlpha = buffers.passes->types[kPassOwnAlpha18];
    const miUint ownAlphaEnd = lastOwnAlpha.first + lastOwnAlpha.count;
    const std::size_t begin = std::min<std::size_t>(ownAlphaBegin, buffers.count());
    const std::size_t end = std::clamp<std::size_t>(ownAlphaEnd, begin, buffers.count());
    const Flush flush(state);
    if (!flush) return miTRUE;
    flush(buffers.entries.first(begin), true);
    flush(buffers.entries.subspan(begin, end - begin), false);
    flush(buffers.entries.subspan(end), true);
    return miTRUE;
}

miBoolean runPasses(const ShaderHelper<NoParameters>& in, const miState_shader_arg& argument) {
    switch (operationOf(argument)) {
        case miSTATE_SHADER_STATE_INIT: return initState(in.state());
        case miSTATE_SHADER_STATE_EXIT: return exitState(in.state());
        case miSTATE_SHADER_SAMPLE_INIT: return initSample(in.state());
        case miSTATE_SHADER_SAMPLE_EXIT: return exitSample(in.state(), argument.shader_return);
    }
    reportWarning("vexa_state(): Invoked with invalid opcode.");
    return miFALSE;
}

}  // namespace

LUMO_EXPORT_STATE_SHADER(lumoFrameBufferState, runPasses, NoParameters)

}  // namespace lumo
