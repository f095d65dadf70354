/* The module under test, loaded once per process, and its functions under their own names. */
#pragma once

#include <string>

#include "SDK/lumo.h"

namespace twin {

/* Address of an exported symbol of lumovexa.so; ends the program when it is missing. */
void* librarySymbol(const char* name);
bool libraryHas(const std::string& name);

/* Loads a module and hands it the executable as renderer. `path` as for dlopen. */
void* loadModule(const std::string& path);

/* Loads another instance of lumovexa.so, with globals of its own, that has no renderer yet. */
void* loadFreshLibrary();

/* A function of the library, looked up on first use. */
template <class Signature>
class LibraryFunction;

template <class Result, class... Arguments>
class LibraryFunction<Result(Arguments...)> {
public:
    explicit constexpr LibraryFunction(const char* name) : name_(name) {}

    Result operator()(Arguments... arguments) const
    {
        if (!function_)
            function_ = reinterpret_cast<Result (*)(Arguments...)>(librarySymbol(name_));
        return function_(arguments...);
    }

private:
    const char* name_;
    mutable Result (*function_)(Arguments...) = nullptr;
};

/* The exported variable of this name. */
template <class T>
T& libraryVariable(const char* name)
{
    return *static_cast<T*>(librarySymbol(name));
}

#define LIBRARY_FUNCTION(name) inline const twin::LibraryFunction<decltype(::name)> name{#name};

}  // namespace twin

/* Functions of the library, called as library::get_tla(...). */
namespace library {

LIBRARY_FUNCTION(miSetModuleHandle)
LIBRARY_FUNCTION(get_userdata)
LIBRARY_FUNCTION(origin_from_camera)
LIBRARY_FUNCTION(get_tla)
LIBRARY_FUNCTION(clr_tla_list)
LIBRARY_FUNCTION(stack_create)
LIBRARY_FUNCTION(stack_push)
LIBRARY_FUNCTION(stack_pop)
LIBRARY_FUNCTION(tmsampler_init)
LIBRARY_FUNCTION(tmsampler_isDone)
LIBRARY_FUNCTION(tmsampler_next)
LIBRARY_FUNCTION(getFrameBufferInfo)
LIBRARY_FUNCTION(getFrameBufferState)
LIBRARY_FUNCTION(getFrameBufferDataBlock)
LIBRARY_FUNCTION(getNonMaterialPassFrameBufferIndex)
LIBRARY_FUNCTION(getNamedFrameBufferID)
LIBRARY_FUNCTION(contributesToPass)
LIBRARY_FUNCTION(tracePassInit)
LIBRARY_FUNCTION(tracePassAdd)
LIBRARY_FUNCTION(passWriteColor)
LIBRARY_FUNCTION(passWriteInteger)
LIBRARY_FUNCTION(passAddToLightSum)
LIBRARY_FUNCTION(lumoFatal)
LIBRARY_FUNCTION(lumoError)
LIBRARY_FUNCTION(lumoWarning)
LIBRARY_FUNCTION(lumoInfo)

}  // namespace library
