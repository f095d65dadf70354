// Declarations of shaders and data: names, types and the memory layout of their parameters and results.
#pragma once

#include "database/database.h"
#include "mi/codes.h"
#include "mi/function.h"
#include "mi/state.h"

#include <string>
#include <vector>

namespace lumorender {

/// A parameter, a result or a member of either. Layout is that of a C record: natural alignment, declaration order.
struct Parameter {
    std::string name;
    miParam_type type = miTYPE_INVALID;  ///< of one element, for arrays too; miTYPE_STRUCT has members
    bool isArray = false;                ///< in memory: int start, int count, one inline element
    std::size_t offset = 0;              ///< bytes from the start of the enclosing record
    std::size_t elementOffset = 0;       ///< where the (first) element lies: offset, or offset + 8 for arrays
    std::size_t elementSize = 0;
    std::size_t alignment = 4;
    std::vector<Parameter> members;  ///< of a struct
    /// Declared default components, empty = 0. Doubles hold all integers exactly; identifying words use every bit.
    std::vector<double> defaults;

    const Parameter* member(std::string_view memberName) const;
};

/// Lays `members` out one after another and returns the size of the record.
std::size_t layOut(std::vector<Parameter>& members);

/// Bytes of one value of a simple type (tags 4, vector 12, color 16, transform 64 ...).
std::size_t sizeOfType(miParam_type type);
const char* nameOfType(miParam_type type);

/// Result, name and parameters as a scene would declare them: `struct { color "a" } "name" ( array scalar "b" )`.
std::string signatureText(const Parameter& result, std::string_view name, const std::vector<Parameter>& parameters);

using ShaderEntry = miBoolean (*)(void* result, miState* state, void* parameters, void* argument);
using ShaderInit = void (*)(miState* state, void* parameters, miBoolean* wantInstanceInit);
using ShaderExit = void (*)(miState* state, void* parameters);
using ShaderVersion = int (*)();

/// The functions of a shader in its module; null where the module has none.
struct EntryPoints {
    ShaderEntry call = nullptr;
    ShaderInit init = nullptr;
    ShaderExit exit = nullptr;
    ShaderVersion version = nullptr;
};

enum class DeclarationKind { Shader, Data, Phenomenon };

/// The detail of a miSCENE_FUNCTION_DECL element.
struct Declaration : Detail {
    std::string name;
    DeclarationKind kind = DeclarationKind::Shader;
    Parameter result;  ///< type, members and size of what the shader returns
    std::vector<Parameter> parameters;
    std::size_t parameterSize = 0;
    int version = 0;
    std::string signature;  ///< result, name and parameters in the scene language, without defaults
    EntryPoints entry;
    std::string where;     ///< "file:line" of the declaration
    bool refused = false;  ///< the module expects another layout: the shader is not called
    bool used = false;     ///< elements with this layout exist: it cannot change any more

    const Parameter* parameter(std::string_view parameterName) const;
};

/// The detail of a miSCENE_FUNCTION element that stands for one member of another shader's struct result
/// (`"shader.member"`): evaluating it evaluates `source` and picks the member.
struct MemberConnection : Detail {
    miTag source = 0;
    std::size_t offset = 0;
    std::size_t size = 0;
};

/// The detail of a miSCENE_FUNCTION element that stands for a phenomenon, whose shaders have been made for it alone.
struct PhenomenonInstance : Detail {
    /// Shaders that the camera, or the scene, gets with it. Those of higher priority run later, the camera's own at 0.
    struct CameraShaders {
        miTag shaders = 0;
        int priority = 0;
    };
    miTag root = 0;  ///< function or list that is called in its place
    CameraShaders lens, volume, environment, output;
    CameraShaders geometry;                ///< make objects that stand in the world
    std::vector<std::string> outputTypes;  ///< of the buffers that its output shaders open
    miTag contourStore = 0, contourContrast = 0;
};

/// The detail of a material or light that a phenomenon is.
struct PhenomenonElement : Detail {
    miTag function = 0;  ///< of the phenomenon's use, with a PhenomenonInstance; nobody calls it
};

/// The detail of a miSCENE_FLIST element: shaders that are called one after another with the same result.
/// A slot (material shader, lens, state shaders ...) names a FUNCTION or, for more than one, an FLIST.
struct FunctionList : Detail {
    std::vector<miTag> functions;
};

}  // namespace lumorender
