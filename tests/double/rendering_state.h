/* What the renderer keeps for one rendering state (one per thread and render): shader-state entries and the values of
 * the frame buffers at the current sample. miState::ts points to it. */
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <shader.h>

namespace twin {

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

struct RenderingState {
    ShaderStateStore entries;
    SampleBuffers buffers;

    void endSample() { entries.endSample(); }
};

}  // namespace twin
