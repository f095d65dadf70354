/* lumoVexaAssetBinder: one node that stands for an asset. Which of several shaders gives it its look is chosen by number
 * or by name, for the whole scene or for single instances; nothing else in the scene changes.
 *
 * It serves wherever a shader is called: as a surface in a shading engine or a material, as a shadow, displacement,
 * environment or volume shader. The chosen shader is called once, in the place and with the state of the binder, and
 * gives all of its result; the others are not called. Of a shader with a color alone an opaque surface is made.
 *
 * Parameters
 *   assets     shaders, one for each look
 *   names      of the looks, in the same order; fewer or none do no harm
 *   selection  number of the look, from 0
 *   selector   name of the look; one that is there goes before the number
 *   standIn    shader where neither leads to one
 *
 * An instance chooses for itself by a block of user data "AssetChoice": `asset`, a name, or `selection`, a number; what
 * is not there leaves the choice to the binder. Where nothing is found the call has no result.
 *
 * Example: a crowd of one model in three liveries.
 *   shader "livery" "lumoVexaAssetBinder" ( "assets" [ "red", "blue", "rusty" ], "names" [ "red", "blue", "rusty" ] )
 *   data "old" "AssetChoice" ( "asset" "rusty" )
 *   instance "bus7" "bus" data "old" end instance
 */
#include "SDK/framework/export_shader.h"
#include "SDK/framework/renderer_access.h"
#include "SDK/passes/pass_filter.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace lumo {

struct AssetBinderParameters {
    ParameterArray<miTag> assets, names;
    miInteger selection;
    miTag selector;
    miTag standIn;
};

namespace {

using P = AssetBinderParameters;

/* What an instance says, as scenes declare it. */
struct AssetChoice {
    miUint magic;
    miTag asset;
    miInteger selection;
};
constexpr miUint kChoiceMagic = 0x41737365; /* "Asse" */
constexpr miInteger kNone = -1;

/* Results of unknown shaders go here first where they do not fit ours. */
constexpr miInteger kLargestResult = 4096;

AssetChoice choiceOf(miState* state) {
    AssetChoice choice = {0, miNULLTAG, kNone};
    const PinnedInstance instance(shadedObject(state));
    if (!instance || instance->userdata == miNULLTAG) return choice;
    visitUserdata(instance->userdata, [&](miTag, const miUserdata& block) {
        miUint magic = 0;
        if (block.parameter_size < static_cast<int>(sizeof choice)) return false;
        std::memcpy(&magic, block.parameters, sizeof magic);
        if (magic == kChoiceMagic) std::memcpy(&choice, block.parameters, sizeof choice);
        return magic == kChoiceMagic;
    });
    return choice;
}

bool sameText(miTag a, const char* text) {
    const PinnedText pinned(a);
    return pinned && std::strcmp(pinned.get(), text) == 0;
}

miInteger callType(miState* state) {
    miInteger type = miSHADER_MATERIAL;
    mi_query(miQ_FUNC_CALLTYPE, state, miNULLTAG, &type);
    return type;
}

/* A shader that gives more than a surface: what is more stays behind. */
miBoolean callLarge(SurfaceShaderReturnType* result, miState* state, miShader_type type, miTag asset) {
    alignas(16) char record[kLargestResult] = {};
    const miBoolean ok = mi_call_shader_x(reinterpret_cast<miColor*>(record), type, state, asset, nullptr);
    if (ok) std::memcpy(result, record, sizeof *result);
    return ok;
}

/* As the surface of an object the result is a record. */
miBoolean callSurface(SurfaceShaderReturnType* result, miState* state, miShader_type type, miTag asset) {
    constexpr miInteger kWhole = sizeof *result;
    miInteger size = kWhole;
    mi_query(miQ_FUNC_RESULT_SIZE, state, asset, &size);
    if (size > kLargestResult) return miFALSE;
    if (size > kWhole) return callLarge(result, state, type, asset);
    *result = {};
    if (!mi_call_shader_x(&result->color, type, state, asset, nullptr)) return miFALSE;
    if (size < kWhole) result->matteOpacity = result->opacity = {1, 1, 1, 0};
    return miTRUE;
}

class AssetBinderClass : public Shader<P> {
public:
    using Result = SurfaceShaderReturnType;

    explicit AssetBinderClass(const Helper& in) : Shader(in), named_(indexOf(in, in(&P::selector))) {}

    miBoolean shade(Result* result, const Helper& in) const {
        miState* state = in.state();
        if (!requireVexabase(state)) return miFALSE;
        const miTag asset = chosenAsset(in);
        if (asset == miNULLTAG) return miFALSE;
        const auto type = static_cast<miShader_type>(callType(state));
        const bool asSurface = type == miSHADER_MATERIAL || type == miSHADER_TEXTURE;
        // Shadow rays, also those that come by way of a connection, bring a color to be attenuated.
        if (asSurface && state->type != miRAY_SHADOW) return callSurface(result, state, type, asset);
        return mi_call_shader_x(&result->color, type, state, asset, nullptr);
    }

private:
    miTag chosenAsset(const Helper& in) const {
        const AssetChoice choice = choiceOf(in.state());
        miTag asset = assetAt(in, indexOf(in, choice.asset));
        if (asset == miNULLTAG) asset = assetAt(in, choice.selection);
        if (asset == miNULLTAG) asset = assetAt(in, named_);
        if (asset == miNULLTAG) asset = assetAt(in, in(&P::selection));
        return asset != miNULLTAG ? asset : in(&P::standIn);
    }

    static miTag assetAt(const Helper& in, miInteger index) {
        if (index < 0) return miNULLTAG;
        const auto assets = in.elements(&P::assets);
        const auto number = static_cast<std::size_t>(index);
        return number < assets.size() ? in.element(assets[number]) : miNULLTAG;
    }

    /* Of the look with this name; kNone, and a message when there should be one. */
    miInteger indexOf(const Helper& in, miTag name) const {
        const PinnedText text(name);
        if (!text || *text.get() == 0) return kNone;
        const auto names = in.elements(&P::names);
        const auto found = std::find_if(names.begin(), names.end(),
                                        [&](miTag& each) { return sameText(in.element(each), text.get()); });
        if (found != names.end()) return static_cast<miInteger>(found - names.begin());
        if (!complained_.exchange(true, std::memory_order_relaxed))
            reportWarning("lumoVexaAssetBinder(): A name is not among the names of the assets.");
        return kNone;
    }

    mutable std::atomic<bool> complained_{false}; /* threads share it */
    const miInteger named_;
};

}  // namespace

LUMO_EXPORT_SHADER(lumoVexaAssetBinder, AssetBinderClass, "shaders/lumoAssetBinder")

}  // namespace lumo
