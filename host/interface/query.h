// The answers of mi_query, one function for each kind of thing that is asked about.
#pragma once

#include "tracing/context.h"

#include <cstring>

namespace lumorender {

/// A question: what the shader passed to mi_query. The state may be null for codes that go by tag.
struct Query {
    int code = 0;
    miState* state = nullptr;
    miTag tag = 0;
    void* result = nullptr;
    const Database& database;
    int index = 0;         ///< the optional argument of codes that take a number
    void* more = nullptr;  ///< ... and of those that take a pointer

    template <class T>
    bool answer(const T& value) const {
        std::memcpy(result, &value, sizeof value);
        return true;
    }
};

/// Each returns false where the code is none of its own or there is no answer.
bool answerAboutInterface(const Query& query);
bool answerAboutRender(const Query& query);
bool answerAboutPlace(const Query& query);  ///< what a ray has met
bool answerAboutExtent(const Query& query);
bool answerAboutInstance(const Query& query);
bool answerAboutObject(const Query& query);
bool answerAboutLight(const Query& query);
bool answerAboutMaterial(const Query& query);
bool answerAboutFunction(const Query& query);
bool answerAboutData(const Query& query);
bool answerAboutImage(const Query& query);
bool answerAboutTransform(const Query& query);
bool answerAboutLightProfile(const Query& query);

}  // namespace lumorender
