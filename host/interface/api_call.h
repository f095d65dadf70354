// What all calls that build elements have in common.
#pragma once

#include "building/build_session.h"
#include "building/misuse.h"
#include "library/memory.h"
#include "support/messages.h"

#include <algorithm>
#include <string>

namespace lumorender {

/// A name that a module has handed over.
inline std::string takeName(char* name) {
    const std::string text = name ? name : "";
    releaseHandedOver(name);
    return text.starts_with("::") ? text.substr(2) : text;
}

/// Carries out a call on what the thread builds. False, after a message, where that does not work.
template <class Call>
bool building(const char* function, const Call& call) noexcept {
    try {
        BuildSession* session = BuildSession::current();
        if (!session) {
            error("API", "{} was called, but no geometry shader is running, and no callback of an object", function);
            return false;
        }
        try {
            call(*session);
            return true;
        } catch (const Misuse& misuse) {
            error("API", "{}: {}: {}", session->who(), function, misuse.text);
        } catch (const std::exception& failure) {
            error("API", "{}: {}: {}", session->who(), function, failure.what());
        }
    } catch (...) {
        // No memory for a message.
    }
    return false;
}

/// The same for what answers a tag or a pointer: 0 or null where it does not work.
template <class Answer, class Call>
Answer built(const char* function, const Call& call) noexcept {
    Answer answer{};
    building(function, [&](BuildSession& session) { answer = call(session); });
    return answer;
}

/// Modules write into a record without looking whether there is one.
template <class Record, class Call>
Record* recordOf(const char* function, const Call& call) noexcept {
    static thread_local Record lost;
    auto* record = built<Record*>(function, call);
    if (record) return record;
    lost = {};
    return &lost;
}

/// By constants: parts along u and v, then length, distance and angle.
inline ApproximationRule ruleOf(const miApprox& given) {
    ApproximationRule rule;
    if (given.cnst[miCNST_UPARAM] > 0 || given.cnst[miCNST_VPARAM] > 0) {
        rule.parametric = static_cast<int>(std::clamp(given.cnst[miCNST_UPARAM], 0.0F, 100.0F));
        rule.parts[0] = given.cnst[miCNST_UPARAM];
        rule.parts[1] = given.cnst[miCNST_VPARAM];
    }
    rule.regular = given.method == miAPPROX_REGULAR_PARAMETRIC;
    rule.view = given.view_dep != 0;
    rule.any = given.any != 0;
    rule.length = given.cnst[miCNST_LENGTH];
    rule.distance = given.cnst[miCNST_DISTANCE];
    rule.angle = given.cnst[miCNST_ANGLE];
    rule.least = given.subdiv[miMIN];
    rule.most = given.subdiv[miMAX];
    rule.mostTriangles = given.max;
    return rule;
}

}  // namespace lumorender
