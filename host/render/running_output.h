// Where shaders of the running render may write images.
#pragma once

#include "image/image.h"
#include "render/output_rules.h"

namespace lumorender {

/// Set while a render calls shaders, read by all its threads; nothing else changes meanwhile.
class RunningOutput {
public:
    /// Both must outlive the object.
    RunningOutput(const OutputRules& where, const ColorRules& how) : rules(where), colors(how) { current_ = this; }
    ~RunningOutput() { current_ = nullptr; }
    RunningOutput(const RunningOutput&) = delete;
    RunningOutput& operator=(const RunningOutput&) = delete;

    /// Null where nothing is rendered.
    static const RunningOutput* current() { return current_; }

    const OutputRules& rules;
    const ColorRules& colors;

private:
    static inline const RunningOutput* current_ = nullptr;
};

}  // namespace lumorender
