/* A small scene around the double: camera, options, a hit by an eye ray, and shader instances with parameters. */
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "library.h"
#include "renderer.h"

namespace twin {

/* Words of the per-sample record. */
constexpr int kVexabaseWords = 144;

/* A function record as renderers lay it out: behind it the parameters and, at the same distance from each, its ghost tag. */
class FunctionRecord {
public:
    miFunction& function() { return *reinterpret_cast<miFunction*>(memory_.get()); }

    void setGhost(const void* parameter, miTag tag) {
        std::memcpy(static_cast<char*>(const_cast<void*>(parameter)) + function().ghost_offs, &tag, sizeof tag);
    }

    /* Connects a parameter in there to a value, or to a function void*(miState*). */
    template <class Source>
    Evaluation::Connection& connect(const void* parameter, Source source) {
        setGhost(parameter, 77);
        function().has_connections = 1;
        return renderer().evaluation.connect(parameter, source);
    }

    /* The instance's user pointer, as the renderer keeps it. */
    void*& object() { return *Renderer::userPointerSlot(&function()); }

protected:
    void allocate(std::size_t parameters);

    std::unique_ptr<std::byte[]> memory_;
};

/* With parameters of any layout. */
template <class Parameters>
class ShaderInstance : public FunctionRecord {
public:
    explicit ShaderInstance(const Parameters& values = {}) {
        allocate(sizeof values);
        std::memcpy(parameters(), &values, sizeof values);
    }

    Parameters* parameters() { return reinterpret_cast<Parameters*>(function().parameters); }
    Parameters* operator->() { return parameters(); }
};

/* The functions of an exported shader. `Result` is what the first argument points to. */
template <class Parameters, class Result = void>
struct ShaderEntry {
    explicit ShaderEntry(const std::string& name)
        : call(reinterpret_cast<Call*>(librarySymbol(name.c_str()))),
          init(libraryHas(name + "_init") ? reinterpret_cast<Init*>(librarySymbol((name + "_init").c_str())) : nullptr),
          exit(libraryHas(name + "_exit") ? reinterpret_cast<Exit*>(librarySymbol((name + "_exit").c_str()))
                                          : nullptr) {}

    using Call = miBoolean(Result*, miState*, Parameters*, void*);
    using Init = void(miState*, Parameters*, miBoolean*);
    using Exit = void(miState*, Parameters*);

    Call* call;
    Init* init;
    Exit* exit;
};

/* The scene: 640 x 480 pinhole camera at the origin that looks down -z, trace depth 4, and an eye ray that hits a surface
 * at (0, 0, -5) face on. Renders tiles, nothing else is answered. */
class Stage {
public:
    Stage();

    miOptions options{};
    miCamera camera{};
    RenderingState rendering;
    miState state{};

    /* Makes a function the running one. */
    void run(FunctionRecord& shader) { state.shader = &shader.function(); }

    /* Places the per-sample record with neutral values, and returns its words. */
    miUint* placeVexabase();
    miScalar vexabaseScalar(int word) const;

    /* Copy of the state for a secondary ray. */
    miState child(miRay_type type);
};

/* Starts every test with a new double, and ends it with the checks that hold for all of them. */
class LibraryTest : public ::testing::Test {
public:
    LibraryTest();
    ~LibraryTest() override;

protected:
    /* For tests that leave something behind on purpose. */
    std::size_t expectedAllocations = 0;

    void TearDown() override;

    std::unique_ptr<Stage> stage_;
    Stage& stage;
    miState* state;
};

}  // namespace twin
