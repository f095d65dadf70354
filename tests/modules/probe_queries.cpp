// Asks what mi_query answers, and compares it with what the scene says.
#include "test_shader.h"

#include <cmath>
#include <cstring>

struct Check {
    miInteger code;
    miTag about;  ///< an element, or nothing; the "element" that the answer is to be
    miTag as;     ///< "number", "scalar", "vector", "second vector", "element", or "nothing" where no answer is right
    miVector answer;
    miTag image;  ///< asked about in the place of an element
};

struct Queries {
    int i_checks;
    int n_checks;
    Check checks[1];
};

static const char* textOf(miTag text) { return text ? static_cast<const char*>(mi_db_access(text)) : ""; }

/// Not a number where it is not answered.
static miVector answerTo(miState* state, const Check& check) {
    const auto code = static_cast<miQ_type>(check.code);
    const char* as = textOf(check.as);
    const miVector none = {miScalar(NAN), 0, 0};
    int number = 0;
    miScalar scalar = 0;
    const miTag about = check.image ? check.image : check.about;
    miVector vectors[2];
    miTag element = 0;
    if (std::strcmp(as, "element") == 0)
        return mi_query(code, state, 0, &element) ? miVector{miScalar(element == check.about), 0, 0} : none;
    if (std::strcmp(as, "number") == 0)
        return mi_query(code, state, about, &number) ? miVector{miScalar(number), 0, 0} : none;
    if (std::strcmp(as, "scalar") == 0) return mi_query(code, state, about, &scalar) ? miVector{scalar, 0, 0} : none;
    const bool isAnswered = mi_query(code, state, about, &vectors);
    return !isAnswered ? none : vectors[std::strcmp(as, "second vector") == 0 ? 1 : 0];
}

TEST_SHADER(probe_queries, Queries) {
    for (int i = 0; i < paras->n_checks; ++i) {
        const Check& check = paras->checks[paras->i_checks + i];
        const miVector answer = answerTo(state, check), &e = check.answer;
        const bool isRight =
            std::strcmp(textOf(check.as), "nothing") == 0
                ? std::isnan(answer.x)
                : std::fabs(answer.x - e.x) + std::fabs(answer.y - e.y) + std::fabs(answer.z - e.z) < 1e-4f;
        if (!isRight)
            mi_error("probe: query %d about tag %u answers %g %g %g, not %g %g %g", check.code, check.about,
                     double(answer.x), double(answer.y), double(answer.z), double(e.x), double(e.y), double(e.z));
    }
    *result = {1, 1, 1, 1};
    return miTRUE;
}

// ---- What shaders keep for each thread, and what they ask of themselves.

struct Kept {
    miScalar height;
    miColor tint;
};

extern "C" DLLEXPORT void probe_kept_init(miState* state, Kept* paras, miBoolean* instances) {
    *instances = miTRUE;
    miLock *own = nullptr, *shared = nullptr;
    if (!paras) return;
    HOLDS(mi_query(miQ_FUNC_LOCK, state, 0, &own) && mi_query(miQ_DECL_LOCK, state, 0, &shared) && own != shared);
    miTag declaration = 0;
    HOLDS(mi_query(miQ_FUNC_DECL, state, 0, &declaration) && mi_query(miQ_DECL_LOCK, state, declaration, &own));
    HOLDS(own == shared);
    mi_lock(*shared);
    mi_unlock(*shared);
}

TEST_SHADER(probe_kept, Kept) {
    int* count = nullptr;
    HOLDS(mi_query(miQ_FUNC_TLS_GET, state, 0, &count));
    if (!count) {
        count = static_cast<int*>(mi_mem_allocate(sizeof *count));
        HOLDS(mi_query(miQ_FUNC_TLS_SET, state, 0, &count));
    }
    ++*count;
    miScalar height = -1;
    miColor tint = {-1, 0, 0, 0};
    HOLDS(mi_query(miQ_FUNC_PARAM_VALUE, state, 0, &height, "height", miTYPE_SCALAR) && height == paras->height);
    HOLDS(!mi_query(miQ_FUNC_PARAM_VALUE, state, 0, &height, "height", miTYPE_COLOR) && height == paras->height);
    HOLDS(!mi_query(miQ_FUNC_PARAM_VALUE, state, 0, &height, "depth", miTYPE_SCALAR));
    HOLDS(!mi_query(miQ_FUNC_PARAM_VALUE, state, 0, &tint, "tint", miTYPE_COLOR) && tint.r == -1);  // connected
    *result = VALUE(tint);
    return miTRUE;
}

/// All threads together have counted all samples.
extern "C" DLLEXPORT void probe_kept_exit(miState* state, Kept* paras) {
    if (!paras) return;
    int **counts = nullptr, threads = -1, sum = 0;
    HOLDS(mi_query(miQ_FUNC_TLS_GETALL, state, 0, &counts, &threads));
    for (int i = 0; i < threads; ++i) {
        sum += *counts[i];
        mi_mem_release(counts[i]);
    }
    mi_info("probe: kept by %d threads, %d samples", threads, sum);
}
