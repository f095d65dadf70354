/* A double of the renderer, for tests and measurements of shader modules. The mi_* functions that a module looks up are
 * those of the executable this is linked into; what they answer is set on the parts of renderer().
 *
 * A test sets parts up before it calls the module. Calls from several threads are safe as long as nothing is set up
 * meanwhile and every thread has a RenderingState of its own. What shaders call all the time (queries, entries, connected
 * parameters, hooks) takes no lock and allocates nothing, so that measurements may use the double as well. */
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "elements.h"

/* A pool. Blocks are filled with garbage: the fast allocation promises nothing about their content. */
struct miMemblk {
    int size;
    std::set<void*> blocks;
};

namespace twin {

/* A call by which shaders reach other shaders and the tracer. A test scripts each with a function and reads how often it
 * was called; without a script a call returns zero and leaves its results alone. */
template <class Signature>
class Hook;

template <class Result, class... Arguments>
class Hook<Result(Arguments...)> {
public:
    template <class Function>
    Hook& operator=(Function function) {
        script_ = std::move(function);
        return *this;
    }

    Result operator()(Arguments... arguments) {
        calls_.fetch_add(1, std::memory_order_relaxed);
        return script_ ? script_(arguments...) : Result();
    }

    int calls() const { return calls_; }

private:
    std::function<Result(Arguments...)> script_;
    std::atomic<int> calls_{0};
};

struct Tracing {
    Hook<miBoolean(miColor*, miState*, const miVector* origin, const miVector* dir)> eye;
    Hook<miBoolean(miColor*, miState*, const miVector* dir)> reflection, refraction, environment;
    Hook<miBoolean(miColor*, miState*)> transparent, continued, shadow, shadowSegment;
    Hook<miBoolean(miState*, const miVector* dir, const miVector* origin)> probe;
    Hook<void(miState*, const miColor*)> opacitySet;
};

struct Lighting {
    Hook<miBoolean(miColor*, miVector* dir, miScalar* cosine, miState*, miTag light, int* samples)> sample;
    Hook<miBoolean(int* n, miTag** lights, miState*)> instanceLights, exclusiveLights;
    Hook<miScalar(miState*, miTag profile, miBoolean relative)> profile;
    Hook<miBoolean(miColor*, miState*, miUchar side, miIrrad_options*)> averageRadiance;
    Hook<miScalar(miState*, miAmboccl_options*, miVector* bent)> occlusion;
    Hook<miBoolean(miColor*, miState*, miTag texture, miVector* coordinate)> colorTexture;
};

/* Parameters that are connected to other shaders, by the parameter's address in the original block. */
class Evaluation {
public:
    struct Connection {
        std::function<void*(miState*)> shader;
        std::atomic<int> evaluations{0}; /* mi_phen_eval */
        std::atomic<int> calls{0};       /* mi_phen_call */
    };

    /* To a value, whose address stays the caller's, or to a function void*(miState*). */
    template <class Source>
    Connection& connect(const void* parameter, Source source) {
        Connection& connection = connections_[parameter];
        if constexpr (std::is_convertible_v<Source, const void*> && !std::is_class_v<Source>)
            connection.shader = [source](miState*) { return static_cast<void*>(source); };
        else
            connection.shader = source;
        return connection;
    }

    void* eval(miState* state, void* parameter, bool fresh);

    std::atomic<int> evaluations{0};

private:
    std::unordered_map<const void*, Connection> connections_;
};

/* Entries by name. A value keeps its address, a multiple of 16, while the entry lives. */
class ShaderStateStore {
public:
    bool set(const char* key, const void* value, int size, int lifetime);
    void* get(const char* key, int* size) const;

    /* Entries of this name are not kept. */
    std::string refused;

    /* -1 when there is no such entry. */
    int lifetime(const char* key) const { return find(key) ? find(key)->lifetime : -1; }
    std::size_t count() const { return entries_.size(); }

    /* Drops what lives for one eye ray at most. */
    void endSample() {
        std::erase_if(entries_, [](const Entry& each) { return each.lifetime < miSS_LIFETIME_RECT; });
    }

private:
    struct Entry {
        std::string key;
        std::vector<std::max_align_t> value;
        int size, lifetime;
    };
    const Entry* find(const char* key) const;

    std::vector<Entry> entries_;
};

/* Frame buffers at the current sample: all zero at its start, then what was put last. */
class SampleBuffers {
public:
    union Value {
        miColor color;
        miUint words[4];
    };

    /* Bytes of each buffer that exist, by index: 16 color, 12 vector, 4 scalar or label; none means no such buffer. */
    std::map<int, std::size_t> sizes;

    bool put(int buffer, const void* data);
    bool get(int buffer, void* data) const;

    /* For tests: the value, zero when nothing was put. */
    Value value(int buffer) const { return wasPut(buffer) ? values_.at(buffer) : Value{}; }
    bool wasPut(int buffer) const { return values_.count(buffer) != 0; }
    void beginSample() { values_.clear(); }

private:
    std::map<int, Value> values_;
};

/* What is kept for one rendering state (one per thread and render); miState::ts points to it. */
struct RenderingState {
    ShaderStateStore entries;
    SampleBuffers buffers;

    void endSample() { entries.endSample(); }
};

struct Allocation {
    std::size_t size;
};

/* The allocator: fails when told to, and counts what was never given back. */
class Memory {
public:
    ~Memory();

    /* When set and true for a request, the request gets null. */
    std::function<bool(const Allocation&)> fails;
    bool poolsFail = false;
    std::vector<Allocation> allocations;

    void* allocate(std::size_t size);
    void release(void* memory);
    miMemblk* createPool(int size);
    void deletePool(miMemblk* pool);
    void* takeBlock(miMemblk* pool);
    void giveBlock(miMemblk* pool, void* block);

    std::size_t liveAllocations() const { return live_.size(); }
    std::size_t livePools() const { return pools_.size(); }

private:
    std::mutex mutex_;
    std::set<void*> live_;
    std::set<miMemblk*> pools_;
};

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

    /* Options by name, those of the tag stringOptions; index by buffer name, those of the tag frameBuffers. */
    std::map<std::string, std::variant<bool, int, float>> options;
    std::map<std::string, std::size_t> bufferNames;
    miTag stringOptions, frameBuffers;

    /* Objects of the C++ interface that were handed out and not given back. */
    std::atomic<int> objectsOut{0};
    bool hasInterface = true;

    miLock globalLock;
    std::atomic<int> timesLocked{0};

    /* What has been said; and what a module did that no renderer would take. */
    std::vector<Message> messages();
    int messageCount(const std::string& level, const std::string& text);
    void say(const std::string& level, const std::string& text);
    std::vector<Message> violations() { return violations_; }
    void violation(const std::string& what);

    /* Of a shader instance; it lies in the part of the record that belongs to the renderer. */
    static void** userPointerSlot(const miFunction* function) {
        return &const_cast<miFunction*>(function)->sparep1[0].p;
    }

private:
    std::mutex mutex_;
    std::vector<Message> messages_, violations_;
};

extern Renderer* currentRenderer;
inline Renderer& renderer() { return *currentRenderer; }

/* Everything as at the start. */
void resetRenderer();

}  // namespace twin
