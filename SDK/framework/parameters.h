/* Access to shader parameters. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <type_traits>

#include "SDK/framework/parameter_array.h"
#include "binding/renderer.h"

namespace lumo {

template <class T>
concept ParameterValue = std::is_arithmetic_v<T> || std::is_same_v<T, miColor> || std::is_same_v<T, miVector>;

/* The parameters of one shader call (or of an instance, at init). Every value is read by one rule: a connected
 * parameter is what the renderer evaluates it to, any other is what the scene stored. The block itself is out of
 * reach, so a shader cannot take a stored value for the real one by accident.
 *
 *   in(&BlendParameters::blender)                                        a parameter
 *   in(&BlendParameters::header, &MaterialHeader::passWriteMode)         a parameter of a record inside the block
 *   in.element(in.elements(&P::lights)[k])                               element k of an array parameter
 *   in.element(in.elements(&P::layers)[k], &Layer::color)                a member of a record there
 *
 * Helpers of single materials derive from this and give the parameters names. */
template <class P>
class ShaderHelper {
public:
    using Parameters = P;

    ShaderHelper(miState* state, P* parameters)
        : state_(state), parameters_(parameters), ghostOffset_(ghostOffsetOf(state)) {}

    miState* state() const { return state_; }

    template <ParameterValue T>
    T operator()(T P::* member) const {
        return evaluated(&(parameters_->*member));
    }

    template <class Record, ParameterValue T>
    T operator()(Record P::* record, T Record::* member) const {
        return evaluated(&(parameters_->*record.*member));
    }

    /* Where the elements of an array lie, for element(): their values may come from elsewhere. An array that does not lie
     * in the shader's block is empty, and an error. */
    template <class T>
    std::span<T> elements(ParameterArray<T> P::* array) const {
        return elementsOf(parameters_->*array);
    }

    template <ParameterValue T>
    T element(T& element) const {
        return evaluated(&element);
    }
    template <class Record, ParameterValue T>
    T element(Record& element, T Record::* member) const {
        return evaluated(&(element.*member));
    }

    template <class T>
    bool isConnected(T P::* member) const {
        return isConnectedAddress(&(parameters_->*member));
    }

    /* Calls the shader that a parameter is connected to, past the renderer's cache of evaluated parameters, and gives
     * its result; the stored value when nothing is connected. */
    template <ParameterValue T>
    T call(T P::* member) const {
        T* address = &(parameters_->*member);
        const void* result = isConnectedAddress(address) ? mi_phen_call(state_, address) : nullptr;
        return *static_cast<const T*>(result ? result : address);
    }

protected:
    template <class T>
    T evaluated(T* address) const {
        const void* result = isConnectedAddress(address) ? mi_phen_eval(state_, address) : nullptr;
        return *static_cast<const T*>(result ? result : address);
    }

    template <class T>
    std::span<T> elementsOf(ParameterArray<T>& array) const {
        const miInteger start = evaluated(&array.start), count = evaluated(&array.count);
        if (count == 0) return {};
        if (!fitsBlock(state_->shader, array.elements, sizeof(T), start, count)) {
            mi_error("LumoShaderSDK(): An array of %d elements does not lie in its parameter block and is left out.",
                     count);
            return {};
        }
        return {array.elements + start, static_cast<std::size_t>(count)};
    }

    /* The shader that a parameter is connected to, null when there is none. A parameter's ghost is a tag that lies at
     * the same offset from every parameter of the running function. */
    miTag connection(const void* address) const {
        if (ghostOffset_ == 0) return miNULLTAG;
        miTag ghost;
        std::memcpy(&ghost, static_cast<const char*>(address) + ghostOffset_, sizeof ghost);
        return ghost == miPARAMTAG ? miNULLTAG : ghost;
    }
    bool isConnectedAddress(const void* address) const { return connection(address) != miNULLTAG; }

    /* The whole result of the shader behind a parameter, in the renderer's memory: to be read before anything else is
     * evaluated or traced. No data without such a shader, and then the size is 0. */
    struct ShaderResult {
        const void* data = nullptr;
        miInteger size = 0; /* in bytes */
    };

    /* `unknown` is the size where the renderer does not tell one. */
    ShaderResult shaderResult(miColor* address, miInteger unknown) const {
        const miTag shader = connection(address);
        ShaderResult result;
        if (shader != miNULLTAG) result.data = mi_phen_eval(state_, address);
        if (!result.data) return result;
        result.size = unknown;
        mi_query(miQ_FUNC_RESULT_SIZE, state_, shader, &result.size);
        return result;
    }

    /* The same as a record, as far as the result goes; the rest of `record` stays as it is. Returns the size of the
     * result, and 0 without one: then the record begins with the stored color. */
    template <class Record>
    miInteger evaluateRecord(miColor* address, miInteger unknown, Record& record) const {
        constexpr miInteger kWhole = sizeof record;
        const ShaderResult result = shaderResult(address, unknown);
        if (!result.data)
            std::memcpy(&record, address, sizeof *address);
        else
            std::memcpy(&record, result.data, static_cast<std::size_t>(std::clamp(result.size, 0, kWhole)));
        return result.size;
    }

    /* For helpers that know a part of the block; values must go through evaluated(). */
    P* block() const { return parameters_; }

private:
    /* Where no parameter is connected, none has a ghost. Shaders without parameters may be called with anything for a
     * state: nothing is looked at then. */
    static std::ptrdiff_t ghostOffsetOf(const miState* state) {
        if constexpr (std::is_empty_v<P>) return 0;
        const miFunction* function = state ? state->shader : nullptr;
        return function && function->has_connections == 1 ? function->ghost_offs : 0;
    }

    miState* state_;
    P* parameters_;
    std::ptrdiff_t ghostOffset_;
};

/* For shaders without parameters. */
struct NoParameters {};

}  // namespace lumo
