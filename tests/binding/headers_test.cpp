/* What a compiler cannot check of the interface's headers: places in the virtual tables, the connection rule, defaults. */
#include <cmath>
#include <cstring>

#include "geoshader.h"
#include "mi_shader_if.h"
#include "scene.h"

namespace {

using Headers = twin::LibraryTest;

/* A pointer to a virtual method holds 1 + the byte offset of its place (Itanium C++ ABI). */
template <class Method>
std::size_t placeOf(Method method) {
    std::size_t word;
    std::memcpy(&word, &method, sizeof word);
    return (word - 1) / sizeof(void*);
}

TEST_F(Headers, MethodsKeepTheirPlaces) {
    using namespace mi::shader_v3;
    EXPECT_EQ(placeOf(&Interface::getOptions), 0u);
    EXPECT_EQ(placeOf(&Interface::release), 4u);
    EXPECT_EQ(placeOf(&Interface::createMapDeclaration), 11u);
    EXPECT_EQ(placeOf(&Interface::accessFramebuffer), 21u);
    EXPECT_EQ(placeOf<bool (Interface::*)(const Framebuffer*, miTag)>(&Interface::releaseFramebuffer), 22u);
    EXPECT_EQ(placeOf(&Interface::editFramebuffer), 23u);
    EXPECT_EQ(placeOf(&Interface::getPassNumber), 35u);
    EXPECT_EQ(placeOf<bool (Options::*)(const char*, bool*) const>(&Options::get), 7u);
    EXPECT_EQ(placeOf(&Options::release), 15u);
    EXPECT_EQ(placeOf<bool (Framebuffer::*)(const char*, const char*, const char*&) const>(&Framebuffer::get), 7u);
    EXPECT_EQ(placeOf(&Framebuffer::get_datatype), 15u);
}

TEST_F(Headers, ParametersAreEvaluatedWhereTheyAreConnected) {
    twin::ShaderInstance<miScalar> shader(3);
    stage.run(shader);
    miScalar* const value = shader.parameters();
    miScalar connected = 7;
    EXPECT_TRUE(*mi_eval_scalar(value) == 3 && !miParameterIsSet(state, value));
    shader.setGhost(value, miPARAMTAG);
    EXPECT_TRUE(*mi_eval_scalar(value) == 3 && miParameterIsSet(state, value)) << "set without connection";
    shader.connect(value, &connected);
    EXPECT_EQ(*mi_eval_scalar(value), 7);
    shader.function().has_connections = 0;
    EXPECT_EQ(*mi_eval_scalar(value), 3) << "no connections in the whole function";
}

TEST_F(Headers, DefaultsVectorsAndRayClasses) {
    stage.options.globillum_accuracy = 100;
    stage.options.caustic_radius = 0.5f;
    miIrrad_options irrad;
    std::memset(&irrad, 0xff, sizeof irrad);
    miIRRAD_DEFAULT(&irrad, state);
    EXPECT_TRUE(irrad.size == 56 && irrad.globillum_accuracy == 100 && irrad.caustic_radius == 0.5f);
    EXPECT_TRUE(irrad.importance == -1 && irrad.finalgather_points == 0 && irrad.padding[1] == 0);

    miVector a = {1, 2, 3}, b = {-2, 1, 4}, zero = {0, 0, 0};
    mi_vector_prod(&a, &a, &b);
    EXPECT_TRUE(a.x == 5 && a.y == -10 && a.z == 5);
    mi_vector_normalize(&a);
    mi_vector_normalize(&zero);
    EXPECT_TRUE(std::fabs(mi_vector_norm(&a) - 1) < 1e-6f && zero.x == 0 && zero.z == 0);
    EXPECT_TRUE(miRAY_SECONDARY(miRAY_FINALGATHER) && !miRAY_SECONDARY(miPHOTON_ABSORB) && miRAY_PHOTON(miPHOTON_HULL));
}

}  // namespace
