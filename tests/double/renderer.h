/* A double of the renderer, for tests and measurements of shader modules. The mi_* functions that a module looks up are
 * those of the executable this is linked into; what they answer is set on the parts of renderer().
 *
 * A test sets parts up before it calls the module. Calls from several threads are safe as long as nothing is set up
 * meanwhile and every thread has a RenderingState of its own. What shaders call all the time (queries, entries, connected
 * parameters, hooks) takes no lock and allocates nothing, so that measurements may use the double as well.
 */
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "calls.h"
#include "database.h"
#include "memory.h"
#include "queries.h"
#include "rendering_state.h"
#include "spaces.h"

namespace twin {

struct Message {
    std::string level; /* fatal, error, warning, info ... */
    std::string text;  /* formatted */
};

class Renderer {
public:
    Renderer();

    Database database;
    Memory memory;
    Queries queries;
    Evaluation evaluation;
    Tracing tracing;
    Lighting lighting;
    Spaces spaces;

    /* Options by name; those of the tag stringOptions. */
    std::map<std::string, std::variant<bool, int, float>> options;
    miTag stringOptions;

    /* Index by buffer name; those of the tag frameBuffers. */
    std::map<std::string, std::size_t> bufferNames;
    miTag frameBuffers;

    /* Objects of the C++ interface that were handed out and not given back. */
    std::atomic<int> interfacesOut{0}, optionsOut{0}, frameBuffersOut{0};
    bool hasInterface = true;

    miLock globalLock;
    std::atomic<int> timesLocked{0};

    /* What has been said; and what a module did that no renderer would take. */
    std::vector<Message> messages();
    int messageCount(const std::string& level, const std::string& text);
    std::vector<std::string> violations();

    void say(const std::string& level, const std::string& text);
    void violation(const std::string& what);

    /* Of a shader instance; it lies in the part of the record that belongs to the renderer. */
    static void** userPointerSlot(const miFunction* function) {
        return &const_cast<miFunction*>(function)->sparep1[0].p;
    }

private:
    std::mutex mutex_;
    std::vector<Message> messages_;
    std::vector<std::string> violations_;
};

extern Renderer* currentRenderer;
inline Renderer& renderer() { return *currentRenderer; }

/* Everything as at the start. */
void resetRenderer();

}  // namespace twin
