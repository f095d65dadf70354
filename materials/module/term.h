/* Parts of results. */
#pragma once

#include "math/color.h"

namespace materials {

/* What one kind of light comes to: result = raw * level. */
struct Term {
    miColor result, raw, level;
};

inline Term termOf(const miColor& raw, const miColor& level) { return {raw * level, raw, level}; }

/* Of two layers, where the raw color is what gives the result for their common level. */
inline Term termOf(const Term& a, const Term& b) {
    const miColor result = a.result + b.result, level = a.level + b.level;
    return {result, quotient(result, level), level};
}

/* A result and what it is of; the level is what the quotient says, and `otherwise` where there is no light. */
inline Term termOfResult(const miColor& result, const miColor& raw, const miColor& otherwise) {
    const auto level = [](miScalar a, miScalar b, miScalar c) { return b != 0 ? a / b : c; };
    return {result,
            raw,
            {level(result.r, raw.r, otherwise.r), level(result.g, raw.g, otherwise.g),
             level(result.b, raw.b, otherwise.b), 1}};
}

/* A result for a level, where the raw color is what the quotient says. */
inline Term termAtLevel(const miColor& result, const miColor& level) {
    return {result, quotient(result, level), level};
}

/* What any shader returns that is called by its tag: the largest record of the renderer's own has 93 words. */
struct AnyResult {
    miScalar words[256] = {};

    miColor* color() { return reinterpret_cast<miColor*>(this); }
};

}  // namespace materials
