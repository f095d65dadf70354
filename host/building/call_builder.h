// The parameters of a shader call, given one by one.
#pragma once

#include "database/declaration.h"
#include "parameters/parameter_block.h"

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// One call of a declared shader. All functions throw Misuse where a name or type does not fit.
class CallBuilder {
public:
    using FindName = std::function<miTag(std::string_view name)>;

    CallBuilder(Database& database, miTag declarationTag, FindName find);

    void name(std::string_view parameter);
    /// @param value by the type: numbers, or a text for everything that has a name; null where `tag` has it.
    void value(miParam_type type, const void* value, const miTag* tag);
    void connect(miTag shader);
    void push(bool array);
    void pop();

    /// Record, parameters and ghosts of the function.
    std::vector<std::byte> finish();

private:
    /// Where names are looked up and values go: the call itself, a struct, or the elements of an array.
    struct Level {
        const std::vector<Parameter>* members = nullptr;  ///< null in arrays
        const Parameter* array = nullptr;
        const Parameter* named = nullptr;
        std::size_t base = 0;
        ParameterBlock* block = nullptr;
    };

    const Parameter& next(std::size_t& at);
    miTag tagOf(const Parameter& parameter, const char* text, const miTag* tag) const;

    Database& database_;
    miTag declarationTag_;
    const Declaration& declaration_;
    FindName find_;
    ParameterBlock block_;
    std::deque<ParameterBlock> elements_;  ///< of the arrays that are open
    std::vector<Level> levels_;
    int given_ = 0;
};

}  // namespace lumorender
