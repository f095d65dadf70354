#include "tracing/option_values.h"

#include "support/messages.h"

namespace lumorender {

namespace {

const StringOptions::Value* find(const StringOptions* options, const char* name) {
    if (!options) return nullptr;
    const auto found = options->values.find(name);
    return found == options->values.end() ? nullptr : &found->second;
}

}  // namespace

float numberOption(const StringOptions* options, const char* name, float otherwise) {
    const StringOptions::Value* given = find(options, name);
    if (!given) return otherwise;
    if (const float* value = std::get_if<float>(given)) return *value;
    if (const int* value = std::get_if<int>(given)) return static_cast<float>(*value);
    warning("RC", "option \"{}\": expected a number, {} is used", name, otherwise);
    return otherwise;
}

bool switchOption(const StringOptions* options, const char* name, bool otherwise) {
    const StringOptions::Value* given = find(options, name);
    if (!given) return otherwise;
    if (const bool* value = std::get_if<bool>(given)) return *value;
    if (const int* value = std::get_if<int>(given)) return *value != 0;
    warning("RC", "option \"{}\": expected on or off, {} is used", name, otherwise ? "on" : "off");
    return otherwise;
}

}  // namespace lumorender
