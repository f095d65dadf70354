#include "database/database.h"

#include "mi/codes.h"
#include "support/messages.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace lumorender {

namespace {

/// Zeroed memory of at least one 16-byte unit; malloc aligns to 16 bytes on every system the host runs on.
void* allocateRecord(std::size_t size) {
    static_assert(alignof(std::max_align_t) >= 16);
    void* record = std::calloc(1, std::max<std::size_t>(size, 16));
    if (!record) throw std::bad_alloc();
    return record;
}

}  // namespace

Database::Element::~Element() { std::free(record.load()); }

void Database::Element::fill(int sceneType, std::size_t recordSize) {
    void* fresh = allocateRecord(recordSize);
    detail.reset();
    size.store(recordSize);
    type.store(sceneType, std::memory_order_release);
    std::free(record.exchange(fresh));
}

void Database::Element::empty() {
    type.store(miSCENE_NONE);
    size.store(0);
    detail.reset();
    name.clear();
    std::free(record.exchange(nullptr));
}

Database::Database() : chunks_(std::make_unique<std::array<std::atomic<Element*>, kChunks>>()) {}

Database::~Database() {
    for (const auto& chunk : *chunks_) delete[] chunk.load();
}

/// Tags are never used again, so that a stale one names nothing instead of something else.
miTag Database::allocateTag() {
    const miTag tag = next_.fetch_add(1, std::memory_order_acq_rel);
    const std::size_t chunkIndex = tag >> kChunkBits;
    if (chunkIndex >= kChunks) throw Failure("the scene database is full: more than 67 million elements");
    std::atomic<Element*>& chunk = (*chunks_)[chunkIndex];
    if (!chunk.load(std::memory_order_acquire)) {
        const std::lock_guard lock(mutex_);
        if (!chunk.load(std::memory_order_relaxed)) chunk.store(new Element[kChunkSize], std::memory_order_release);
    }
    return tag;
}

miTag Database::create(int sceneType, std::size_t size) {
    const miTag tag = allocateTag();
    element(tag)->fill(sceneType, size);
    return tag;
}

miTag Database::define(std::string_view name, int sceneType, std::size_t size) {
    const miTag tag = reserve(name);
    element(tag)->fill(sceneType, size);
    return tag;
}

miTag Database::reserve(std::string_view name) {
    if (const miTag known = find(name)) return known;
    const miTag tag = allocateTag();
    element(tag)->name = name;
    const std::lock_guard lock(mutex_);
    names_.emplace(name, tag);
    return tag;
}

void* Database::resize(miTag tag, std::size_t size) {
    Element* resized = element(tag);
    void* old = resized ? resized->record.load() : nullptr;
    if (!old) return nullptr;
    void* fresh = allocateRecord(size);
    std::memcpy(fresh, old, std::min(size, resized->size.load()));
    resized->size.store(size);
    resized->record.store(fresh, std::memory_order_release);
    std::free(old);
    return fresh;
}

void Database::remove(miTag tag) {
    Element* removed = element(tag);
    if (!removed) return;
    {
        const std::lock_guard lock(mutex_);
        if (!removed->name.empty()) names_.erase(removed->name);
        if (removed->type == miSCENE_STRING) {
            const auto shared = strings_.find(std::string(string(tag)));
            if (shared != strings_.end() && shared->second == tag) strings_.erase(shared);
        }
    }
    removed->empty();
}

miTag Database::find(std::string_view name) const {
    const std::lock_guard lock(mutex_);
    const auto found = names_.find(std::string(name));
    return found == names_.end() ? miNULLTAG : found->second;
}

std::size_t Database::size(miTag tag) const noexcept {
    const Element* found = element(tag);
    return found ? found->size.load(std::memory_order_acquire) : 0;
}

std::string_view Database::name(miTag tag) const noexcept {
    const Element* found = element(tag);
    return found ? std::string_view(found->name) : std::string_view();
}

void Database::setDetail(miTag tag, std::unique_ptr<Detail> detail) {
    if (tag == miNULLTAG) return;
    if (Element* described = element(tag)) described->detail = std::move(detail);
}

Detail* Database::detailOf(miTag tag) const noexcept {
    const Element* found = element(tag);
    return found ? found->detail.get() : nullptr;
}

miTag Database::addString(std::string_view text) {
    std::string key(text);
    {
        const std::lock_guard lock(mutex_);
        if (const auto known = strings_.find(key); known != strings_.end()) return known->second;
    }
    const miTag tag = create(miSCENE_STRING, text.size() + 1);
    std::memcpy(record(tag), text.data(), text.size());
    const std::lock_guard lock(mutex_);
    return strings_.emplace(std::move(key), tag).first->second;
}

std::string_view Database::string(miTag tag) const noexcept {
    const char* text = as<const char>(tag, miSCENE_STRING);
    return text ? std::string_view(text, strnlen(text, size(tag))) : std::string_view();
}

}  // namespace lumorender
