#include "renderer.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <mi/functions.h>

struct miLock_s {
    std::mutex mutex;
};

namespace twin {

namespace {

miLock_s theGlobalLock;

}  // namespace

Renderer* currentRenderer = new Renderer;

void resetRenderer() {
    delete currentRenderer;
    currentRenderer = nullptr;
    currentRenderer = new Renderer;
}

Renderer::Renderer() {
    stringOptions = database.add(miSCENE_LOCAL, 8);
    frameBuffers = database.add(miSCENE_FBINFO, 8);
    globalLock.ptr = &theGlobalLock;
}

std::vector<Message> Renderer::messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
}

int Renderer::messageCount(const std::string& level, const std::string& text) {
    const auto said = messages();
    return static_cast<int>(std::count_if(said.begin(), said.end(), [&](const Message& each) {
        return each.level == level && each.text.find(text) != std::string::npos;
    }));
}

void Renderer::say(const std::string& level, const std::string& text) {
    const std::lock_guard lock(mutex_);
    (level == "violation" ? violations_ : messages_).push_back({level, text});
}

void Renderer::violation(const std::string& what) { say("violation", what); }

void* Evaluation::eval(miState* state, void* parameter, bool fresh) {
    const auto found = connections_.find(parameter);
    if (found == connections_.end()) {
        renderer().violation("evaluation of an address that is no connected parameter");
        return nullptr;
    }
    evaluations += !fresh;
    ++(fresh ? found->second.calls : found->second.evaluations);
    return found->second.shader(state);
}

const ShaderStateStore::Entry* ShaderStateStore::find(const char* key) const {
    for (const Entry& each : entries_)
        if (each.key == key) return &each;
    return nullptr;
}

bool ShaderStateStore::set(const char* key, const void* value, int size, int lifetime) {
    if (!value || size == 0) {
        std::erase_if(entries_, [&](const Entry& each) { return each.key == key; });
        return true;
    }
    if (key == refused) return false;
    auto* entry = const_cast<Entry*>(find(key));
    if (!entry) entry = &entries_.emplace_back(Entry{key, {}, 0, 0});
    const auto bytes = static_cast<std::size_t>(size), unit = sizeof(std::max_align_t);
    if (entry->size != size) entry->value = std::vector<std::max_align_t>((bytes + unit - 1) / unit);
    entry->size = size;
    entry->lifetime = lifetime;
    std::memmove(entry->value.data(), value, bytes);
    return true;
}

void* ShaderStateStore::get(const char* key, int* size) const {
    auto* entry = const_cast<Entry*>(find(key));
    if (size) *size = entry ? entry->size : 0;
    return entry ? entry->value.data() : nullptr;
}

bool SampleBuffers::put(int buffer, const void* data) {
    const auto size = sizes.find(buffer);
    if (size != sizes.end()) std::memcpy(values_[buffer].words, data, size->second);
    return size != sizes.end();
}

bool SampleBuffers::get(int buffer, void* data) const {
    const auto size = sizes.find(buffer);
    if (size != sizes.end()) std::memcpy(data, value(buffer).words, size->second);
    return size != sizes.end();
}

Memory::~Memory() {
    for (void* memory : live_) std::free(memory);
    while (!pools_.empty()) deletePool(*pools_.begin());
}

void* Memory::allocate(std::size_t size) {
    const std::lock_guard lock(mutex_);
    allocations.push_back({size});
    return fails && fails(allocations.back()) ? nullptr : *live_.insert(std::calloc(1, size)).first;
}

void Memory::release(void* memory) {
    const std::lock_guard lock(mutex_);
    if (live_.erase(memory) == 0) return renderer().violation("release of memory that is not allocated");
    std::free(memory);
}

miMemblk* Memory::createPool(int size) {
    const std::lock_guard lock(mutex_);
    return poolsFail ? nullptr : *pools_.insert(new miMemblk{size, {}}).first;
}

void Memory::deletePool(miMemblk* pool) {
    const std::lock_guard lock(mutex_);
    if (pools_.erase(pool) == 0) return renderer().violation("deletion of a pool that does not exist");
    for (void* block : pool->blocks) std::free(block);
    delete pool;
}

void* Memory::takeBlock(miMemblk* pool) {
    const auto size = static_cast<std::size_t>(pool->size);
    return *pool->blocks.insert(std::memset(std::malloc(size), 0xCD, size)).first;
}

void Memory::giveBlock(miMemblk* pool, void* block) {
    if (pool->blocks.erase(block) == 0) return renderer().violation("return of a block that is not the pool's");
    std::free(block);
}

}  // namespace twin

using twin::renderer;

// Each call goes to its part, hook or evaluation.
#define FORWARD(Result, name, parameters, target) \
    Result mi_##name parameters { return renderer().target; }

FORWARD(void*, mem_int_allocate, (const char*, int, miUint size), memory.allocate(size))
FORWARD(void*, mem_int_test_allocate, (const char*, int, miUint size), memory.allocate(size))
FORWARD(void, mem_int_release, (const char*, int, void* p), memory.release(p))
FORWARD(miMemblk*, mem_int_blkcreate, (const char*, int, int size), memory.createPool(size))
FORWARD(void, mem_blkdelete, (miMemblk * pool), memory.deletePool(pool))
FORWARD(void*, mem_blkfallocate, (miMemblk * pool), memory.takeBlock(pool))
FORWARD(void, mem_blkfrelease, (miMemblk * pool, void* block), memory.giveBlock(pool, block))

FORWARD(void*, phen_eval, (miState * s, void* parameter), evaluation.eval(s, parameter, false))
FORWARD(void*, phen_call, (miState * s, void* parameter), evaluation.eval(s, parameter, true))
void mi_flush_cache(miState*) {}  // it remembers nothing

FORWARD(miBoolean, trace_eye, (miColor * c, miState* s, const miVector* o, const miVector* d), tracing.eye(c, s, o, d))
FORWARD(miBoolean, trace_reflection, (miColor * c, miState* s, const miVector* d), tracing.reflection(c, s, d))
FORWARD(miBoolean, trace_refraction, (miColor * c, miState* s, const miVector* d), tracing.refraction(c, s, d))
FORWARD(miBoolean, trace_environment, (miColor * c, miState* s, const miVector* d), tracing.environment(c, s, d))
FORWARD(miBoolean, trace_transparent, (miColor * c, miState* s), tracing.transparent(c, s))
FORWARD(miBoolean, trace_continue, (miColor * c, miState* s), tracing.continued(c, s))
FORWARD(miBoolean, trace_shadow, (miColor * c, miState* s), tracing.shadow(c, s))
FORWARD(miBoolean, trace_shadow_seg, (miColor * c, miState* s), tracing.shadowSegment(c, s))
FORWARD(miBoolean, trace_probe, (miState * s, const miVector* d, const miVector* o), tracing.probe(s, d, o))
FORWARD(void, opacity_set, (miState * s, const miColor* opacity), tracing.opacitySet(s, opacity))

FORWARD(miBoolean, sample_light, (miColor * c, miVector* d, miScalar* cosine, miState* s, miTag light, int* n),
        lighting.sample(c, d, cosine, s, light, n))
FORWARD(miBoolean, instance_lightlist, (int* n, miTag** list, miState* s), lighting.instanceLights(n, list, s))
FORWARD(miBoolean, exclusive_lightlist, (int* n, miTag** list, miState* s), lighting.exclusiveLights(n, list, s))
FORWARD(miScalar, lightprofile_sample, (miState * s, miTag profile, miBoolean r), lighting.profile(s, profile, r))
FORWARD(miBoolean, compute_avg_radiance, (miColor * c, miState* s, miUchar side, miIrrad_options* options),
        lighting.averageRadiance(c, s, side, options))
FORWARD(miScalar, ambient_occlusion, (miState * s, miAmboccl_options* o, miVector* bent),
        lighting.occlusion(s, o, bent))
FORWARD(miBoolean, lookup_color_texture, (miColor * c, miState* s, miTag t, miVector* at),
        lighting.colorTexture(c, s, t, at))

// Single points are where the state's spare word says.
miBoolean mi_sample(double* point, int* instance, miState* state, miUshort dimensions, const miUint* count) {
    if (count && static_cast<miUint>(*instance) >= *count) return miFALSE;
    std::fill_n(point, dimensions, count ? (*instance + 0.5) / *count : 0.5 + state->pad / 64.0);
    ++*instance;
    return miTRUE;
}

#define MESSAGE(name)                                         \
    void mi_##name(const char* format, ...) {                 \
        char text[2048];                                      \
        va_list arguments;                                    \
        va_start(arguments, format);                          \
        std::vsnprintf(text, sizeof text, format, arguments); \
        va_end(arguments);                                    \
        renderer().say(#name, text);                          \
    }

MESSAGE(fatal)
MESSAGE(error)
MESSAGE(warning)
MESSAGE(info)

void mi_lock(miLock lock) {
    lock.ptr->mutex.lock();
    ++renderer().timesLocked;
}
void mi_unlock(miLock lock) { lock.ptr->mutex.unlock(); }

static twin::RenderingState& of(const miState* state) { return *static_cast<twin::RenderingState*>(state->ts); }

miBoolean mi_shaderstate_set(miState* state, const char* key, void* value, int size, int lifetime) {
    return of(state).entries.set(key, value, size, lifetime);
}
void* mi_shaderstate_get(miState* state, const char* key, int* size) { return of(state).entries.get(key, size); }
miBoolean mi_fb_put(miState* state, int buffer, void* data) { return of(state).buffers.put(buffer, data); }
miBoolean mi_fb_get(miState* state, int buffer, void* data) { return of(state).buffers.get(buffer, data); }
