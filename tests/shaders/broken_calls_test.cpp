/* The exported functions and shaders with nothing to work on: no buffers, no camera, null where null is allowed, numbers
 * out of all ranges; with a renderer, with one that has no function at all, and without any.
 */
#include <cmath>
#include <dlfcn.h>
#include <limits>

#include "export_list.h"
#include "frame_buffer_scene.h"

namespace {

using twin::renderer;

constexpr miScalar kNaN = std::numeric_limits<miScalar>::quiet_NaN();
constexpr miScalar kInfinity = std::numeric_limits<miScalar>::infinity();
constexpr miInteger kMost = std::numeric_limits<miInteger>::max(), kLeast = std::numeric_limits<miInteger>::min();
constexpr miColor kWhite = {1, 1, 1, 1};

enum class Host { kComplete, kWithoutFunctions, kNone };

class BrokenCalls : public twin::LibraryTest, public ::testing::WithParamInterface<Host> {
protected:
    BrokenCalls() : module_(GetParam() == Host::kComplete ? twin::loadModule(LUMO_LIBRARY) : twin::loadFreshLibrary()) {
        if (GetParam() == Host::kWithoutFunctions)
            function<void(void*)>("miSetModuleHandle")(dlopen("libm.so.6", RTLD_NOW));
        testing::internal::CaptureStderr();
        state->camera = nullptr;
        state->camera_inst = state->instance = state->light_instance = miNULLTAG;
    }
    ~BrokenCalls() override { testing::internal::GetCapturedStderr(); }

    template <class Signature>
    Signature* function(const std::string& name) {
        return reinterpret_cast<Signature*>(dlsym(module_, name.c_str()));
    }

private:
    void* const module_;
};

#define CALL(name) function<decltype(::name)>(#name)

/* Where parameters are inherited down the scene graph the renderer calls it, and hands over what is no state. */
TEST_P(BrokenCalls, TraversalLooksAtNothing) {
    using Traversal = miBoolean(void*, void*, void*, void*);
    for (void* argument : {static_cast<void*>(nullptr), reinterpret_cast<void*>(8)})
        EXPECT_EQ(function<Traversal>("lumoTraversal")(argument, argument, argument, argument), miTRUE);
}

TEST_P(BrokenCalls, SceneDataAndMemory) {
    for (const miUint type : {0u, 7u, 10u, 34u, 0xFFFFFFFFu})
        EXPECT_EQ(CALL(get_userdata)(0x56657861, type, miNULLTAG, nullptr, nullptr), nullptr) << type;
    miVector origin = {9, 9, 9};
    CALL(origin_from_camera)(state, &origin);
    EXPECT_EQ(origin.x + origin.y + origin.z, 0);

    renderer().memory.poolsFail = true;
    EXPECT_EQ(CALL(get_tla)(state->global_lock, 1, 16), nullptr);
    LumoStack stack;
    CALL(stack_create)(state, &stack, 0);
    EXPECT_EQ(CALL(stack_push)(&stack), nullptr);
    CALL(stack_pop)(&stack);
    EXPECT_EQ(stack.count, 0u);
    CALL(clr_tla_list)(state->global_lock);

    renderer().queries.answer(miQ_SAMPLE_MOVING, 0);
    for (const miScalar contrast : {kNaN, kInfinity, -kInfinity, 0.0f, 1e-40f})
        for (const miScalar close : {kNaN, kInfinity, -1.0f, 1.0f}) {
            stage.options.time_contrast = {contrast, contrast, contrast, contrast};
            stage.options.shutter = close;
            LumoTimeSampler sampler;
            CALL(tmsampler_init)(&sampler, state, miTRUE);
            EXPECT_TRUE(sampler.count >= 1 && sampler.count <= 100);
            CALL(tmsampler_next)(&sampler, state);
        }
}

TEST_P(BrokenCalls, FrameBuffers) {
    PassState* passes = nullptr;
    FrameBufferInfo* entries = nullptr;
    EXPECT_EQ(CALL(getFrameBufferInfo)(state, &passes, &entries), 0u);
    EXPECT_EQ(CALL(getFrameBufferState)(state), nullptr);
    EXPECT_TRUE(CALL(getFrameBufferDataBlock)(state).empty());
    for (const miInteger index : {0, -1, kMost, kLeast})
        EXPECT_EQ(CALL(getNonMaterialPassFrameBufferIndex)(state, index), 0u);
    EXPECT_EQ(CALL(getNamedFrameBufferID)(state, miNULLTAG), 0u);
    EXPECT_EQ(CALL(getNamedFrameBufferID)(state, renderer().stringOptions), 0u) << "no text";

    for (const char* mask : {"", "\x80\xFF", "g!", "0"}) CALL(contributesToPass)(0xFFFFFFFF, mask);
    CALL(tracePassInit)(0, nullptr, state);
    CALL(tracePassAdd)(0, nullptr, state, &kWhite, 7);

    FrameBufferSlot slots[6] = {};
    FrameBufferInfo entry{};
    entry.slots = slots;
    const miScalar weight = kNaN;
    const miInteger value = kLeast;
    const miCBoolean flags = 0xFF;
    for (const miUint mode : {0u, 1u, 2u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(CALL(passWriteColor)(state, &kWhite, &entry, &mode, &flags, &weight, nullptr, nullptr), miTRUE);
        EXPECT_EQ(CALL(passWriteInteger)(state, &value, &entry, &mode, &flags, &weight), miTRUE);
    }
    const miBoolean useLight = miTRUE;
    EXPECT_EQ(CALL(passAddToLightSum)(state, &kWhite, &entry, &useLight, nullptr), miTRUE);
}

/* No entries, entries that are not there, and one; sample counts from nowhere. */
TEST_P(BrokenCalls, Lights) {
    FrameBufferSlot slots[6] = {};
    FrameBufferInfo one{};
    one.flags = kEntryShadowed;
    one.slots = slots;
    const std::pair<miUint, FrameBufferInfo*> cases[] = {{0, nullptr}, {0, &one}, {3, nullptr}, {1, &one}};
    const miUint mode = kWriteAdd;
    const miCBoolean flags = 0;
    for (const auto& [count, first] : cases) {
        miColor result = {9, 9, 9, 9};
        CALL(sampleLightBegin)(count, first);
        CALL(setupLightContributions)(count, first, state);
        CALL(handleNonLumoLights)(count, first, &kWhite, miNULLTAG, state);
        CALL(setLightIrradiance)(count, first, &kWhite);
        CALL(traceShadow)(count, first, &result, &kWhite, &kWhite, 1, state);
        EXPECT_EQ(result.a, 1);
        result = {9, 9, 9, 9};
        CALL(traceShadowAccumulateBegin)(count, first);
        CALL(traceShadowAccumulate)(count, first, &result, state);
        EXPECT_EQ(result.a, 1);
        EXPECT_EQ(CALL(applyShadowTransparencyToFrameBuffers)(count, first, &kWhite, 0, state), count && first);
        CALL(traceShadowAccumulateEnd)(count, first, 0xFFFFFFFF, &kWhite, &kWhite);
        for (const miInteger samples : {0, -1, kLeast, kMost})
            CALL(sampleLightEnd)(state, count, first, samples, &mode, &flags, &kWhite.r);
        EXPECT_EQ(one.flags == kEntryShadowed, !(count && first)) << "nothing happens without entries";
    }
    // Only the one sample count above 0 was written: the sum, which is black, over it.
    EXPECT_EQ(slots[0].contribution.r, 0);
    EXPECT_EQ(one.flags & kEntryInLightLoop, 0u);
    EXPECT_EQ(renderer().messageCount("error", "setupLightContributions was called outside of a light shader."),
              GetParam() == Host::kComplete ? 1 : 0);

    const miVector point = {0, 0, 0}, up = {0, 0, 1};
    miVector direction;
    EXPECT_EQ(CALL(arealight_lambertian_reflect)(&point, &up, nullptr), 0);
    EXPECT_EQ(CALL(arealight_max_phong_spec_dir)(&point, &up, nullptr, miNULLTAG, &direction), 0);
    EXPECT_EQ(direction.z, 1);
    for (const miScalar odd : {kNaN, kInfinity, 1e30f, -1e30f, 0.0f}) {
        const miVector corners[4] = {{odd, odd, 1}, {1, odd, 1}, {0, 0, odd}, {0, 0, 0}}, ray = {odd, odd, 0};
        CALL(arealight_lambertian_reflect)(&point, &up, corners);
        CALL(arealight_max_phong_spec_dir)(&point, &ray, corners, miNULLTAG, &direction);
    }
}

TEST_P(BrokenCalls, Models) {
    struct {
        miColor irradianceColor = kWhite, irradiance = kWhite;
    } block;
    miColor color;
    ScatterSettings scatter{};
    miVector u, v;
    for (const miScalar odd : {kNaN, kInfinity, -kInfinity, 1e30f, 0.0f, 1e-40f, 1.0f}) {
        const miVector dir = {odd, odd, odd};
        CALL(compute_lambert_translucence)(state, odd, &dir, odd, odd, odd, nullptr);
        CALL(compute_phong_specular)(&dir, odd, odd, &dir, state);
        CALL(compute_blinn_specular)(odd, odd, &dir, odd, odd, odd, &dir, state);
        CALL(compute_hairtubeshader_specular)(odd, &dir, &dir, &dir);
        const miColor odds = {odd, odd, odd, odd};
        EXPECT_EQ(
            CALL(compute_irradiance)(&color, &block.irradianceColor, odd, &odds, &odds, odd, &block.irradiance, state),
            &color);
        for (const miInteger rays : {0, 1, kMost, kLeast}) {
            RefractionSettings refraction{};
            refraction.refractions = refraction.chromaticAberration = miTRUE;
            refraction.refractiveIndex = refraction.lightAbsorbance = refraction.surfaceThickness = odd;
            refraction.refractionBlur = odd;
            refraction.refractionRays = refraction.refractionLimit = rays;
            refraction.transparency = kWhite;
            CALL(compute_refraction)(&color, state, &refraction, nullptr, 0, nullptr);
            for (miInteger lobe = -1; lobe <= kLobeFacets + 1; ++lobe) {
                const ReflectionSettings reflection = {odd, odds, odd,  rays,       odd, rays,
                                                       dir, odd,  lobe, {odd, odd}, dir, miFALSE};
                CALL(compute_reflection)(&color, state, &reflection, nullptr, 0, nullptr);
            }
        }
        EXPECT_EQ(CALL(compute_scatter)(&color, state, &scatter, nullptr), miFALSE);

        miVector derivs[miDERIVATIVES] = {dir, dir};
        state->derivs = derivs;
        state->normal = {odd, 0, 0};
        EXPECT_EQ(CALL(get_derivs)(state, &u, &v), miFALSE);
        EXPECT_NEAR(mi_vector_norm(&u), 1, 1e-5);
        EXPECT_NEAR(mi_vector_norm(&v), 1, 1e-5);
        state->derivs = nullptr;
        EXPECT_EQ(CALL(get_derivs)(state, &u, &v), miFALSE);
    }
    CALL(destroy_scatter)(nullptr);
}

/* No shader has anything to give without the renderer's functions, but each comes back from every call. */
TEST_P(BrokenCalls, EveryShader) {
    using Words = std::array<miUint, 512>;
    OperationArgument argument{99, miTRUE};
    for (const std::string& name : twin::declaredShaders()) {
        SCOPED_TRACE(name);
        twin::ShaderInstance<Words> shader;
        stage.run(shader);
        miBoolean wantsInstances = 9;
        auto* init = function<void(miState*, Words*, miBoolean*)>(name + "_init");
        auto* exit = function<void(miState*, Words*)>(name + "_exit");
        auto* call = function<miBoolean(void*, miState*, Words*, void*)>(name);
        std::array<miScalar, 64> result{};
        if (init) {
            init(state, nullptr, &wantsInstances);
            init(state, shader.parameters(), &wantsInstances);
        }
        const miBoolean returned = call(&result, state, shader.parameters(), &argument);
        EXPECT_EQ(returned, name == "lumoTraversal" ? miTRUE : miFALSE);
        if (exit) {
            exit(state, shader.parameters());
            exit(state, nullptr);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(With, BrokenCalls, ::testing::Values(Host::kComplete, Host::kWithoutFunctions, Host::kNone));

}  // namespace
