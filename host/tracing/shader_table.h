// The shader functions of a render: their entry points and what each instance keeps between init and exit.
#pragma once

#include "database/declaration.h"
#include "mi/function.h"
#include "mi/types.h"
#include "mi/material.h"

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace lumorender {

struct ThreadContext;

/// What shades a surface: where a material says only how it scatters light, that.
inline miTag surfaceShaderOf(const miMaterial& material) { return material.shader ? material.shader : material.bsdf; }

/// What the host keeps for one FUNCTION element during a render. Reached from the record in one load (`runtimeOf`).
struct FunctionRuntime {
    miTag tag = 0;
    miFunction* function = nullptr;
    const Declaration* declaration = nullptr;
    const MemberConnection* member = nullptr;  ///< set for a connection to one member of a struct result
    ShaderEntry call = nullptr;
    std::size_t resultSize = 16;  ///< at least 16
    void* userPointer = nullptr;  ///< what query 51 gives the address of
    miLock lock = {};
    miLock* declarationLock = nullptr;  ///< one for all that call the same function
    bool instanceInitialised = false;
};

inline FunctionRuntime* runtimeOf(const miFunction* function) {
    return static_cast<FunctionRuntime*>(function->sparep1[0].p);
}

/// Finds the functions that a render can call, and runs their init and exit around it. Belongs to the thread that
/// renders; render threads only read.
class ShaderTable {
public:
    explicit ShaderTable(Database& database) : database_(database) {}
    ~ShaderTable();

    /// Adds the function or list in a slot, with everything connected to it, inner functions first.
    /// Throws Failure naming the shader where a module lacks the function.
    void add(miTag slot, miShader_type type);

    /// Runs shader-level init once for each declaration and instance init where the shader asked for it, in the order
    /// of adding. The context's root state is handed to them. A second time, those that were added since.
    void initialise(ThreadContext& context);
    /// Instance exits, then shader-level exits, in reverse order.
    void finish(ThreadContext& context);

    /// Bytes that the results of a slot's shaders need; at least 16.
    std::size_t resultSizeOf(miTag slot) const;

    bool knows(miTag tag) const { return seen_.contains(tag); }
    /// Textures that parameters of the shaders name.
    const std::set<miTag>& textures() const { return textures_; }

    /// Those that a render can call.
    const std::vector<const PhenomenonInstance*>& phenomena() const { return phenomena_; }

private:
    struct DeclarationRuntime {
        const Declaration* declaration = nullptr;
        miBoolean wantsInstances = miFALSE;
        FunctionRuntime* first = nullptr;  ///< stands for the shader while its shader-level init runs
        miShader_type type = miSHADER_OTHER;
        miLock lock = {};
    };
    struct Use {
        FunctionRuntime* runtime = nullptr;
        miShader_type type = miSHADER_OTHER;
        std::size_t declaration = 0;
    };

    void addFunction(miTag tag, miShader_type type);
    void addList(miTag tag, const FunctionList& list, miShader_type type);
    void checkDepth(miTag tag) const;
    void addPhenomenon(FunctionRuntime& runtime, const PhenomenonInstance& phenomenon, miShader_type type);
    void addConnections(const miFunction& function);
    void addNamedShaders(const std::vector<Parameter>& parameters, const miFunction& function, std::size_t base);
    void addNamedShader(const Parameter& parameter, const miFunction& function, std::size_t offset);
    std::size_t declarationIndex(const Declaration& declaration, FunctionRuntime& first, miShader_type type);

    Database& database_;
    std::deque<FunctionRuntime> runtimes_;
    std::deque<DeclarationRuntime> declarations_;
    std::vector<Use> uses_;
    std::vector<const PhenomenonInstance*> phenomena_;
    std::set<miTag> textures_;
    std::set<miTag> seen_;
    std::map<miTag, std::size_t> listSizes_;  ///< of the largest result in each list
    std::set<miTag> open_;  ///< functions and lists whose connections are being followed: meeting one again is a cycle
    std::size_t initialisedDeclarations_ = 0, initialisedUses_ = 0;
};

/// The functions of a slot, in calling order.
struct FunctionSpan {
    FunctionRuntime* const* first = nullptr;
    std::uint32_t count = 0;
    std::uint32_t resultSize = 0;  ///< of the largest result: all write the same one, one after the other

    FunctionRuntime* const* begin() const { return first; }
    FunctionRuntime* const* end() const { return first + count; }
};

/// Read-only while rendering. Tags that were made after it was built are not in it.
class SlotTable {
public:
    /// Takes functions that have a runtime, lists that the table knows, and all materials. Throws Failure where lists of
    /// lists unfold into too much.
    void build(const Database& database, const ShaderTable& shaders);

    /// The functions of a FUNCTION or FLIST element; empty for anything else.
    FunctionSpan functions(miTag tag) const { return tag < end_ ? table_[tag].functions : FunctionSpan{}; }
    const miMaterial* material(miTag tag) const { return tag < end_ ? table_[tag].material : nullptr; }

private:
    struct Entry {
        FunctionSpan functions;
        const miMaterial* material = nullptr;
    };
    void addFunctions(const Database& database, miTag tag);

    std::vector<Entry> entries_;
    const Entry* table_ = nullptr;
    std::size_t end_ = 0;
    std::vector<FunctionRuntime*> runtimes_;
    std::size_t visits_ = 0;
};

}  // namespace lumorender
