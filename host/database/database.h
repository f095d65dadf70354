// The scene database: elements by tag, in the renderer's own record layouts, so that shaders can access them directly.
#pragma once

#include "mi/codes.h"
#include "mi/types.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace lumorender {

/// What the host keeps for an element besides the record that shaders see. Each element type has its own detail.
struct Detail {
    virtual ~Detail() = default;

    /// `attribute` statements by the attributes' names, as they are written: they are kept for who reads an echo.
    std::shared_ptr<const std::map<std::string, std::string>> attributes;
};

/// Tags are indices: access is an array look-up without a lock and may run on any thread, also while other threads
/// create elements. Names and deletion belong to the thread that reads the scene.
class Database {
public:
    Database();
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Makes an element of a scene type (miSCENE_*) with a zeroed record of `size` bytes, 16-byte aligned.
    miTag create(int sceneType, std::size_t size);

    /// Makes a named element. A name that exists is given a new record under its old tag, so that whatever refers to
    /// it sees the new one. Elements named in advance by `reserve` take this road too.
    miTag define(std::string_view name, int sceneType, std::size_t size);

    /// The tag of a name that may be defined later (an instance group names instances that come later).
    /// Until then its type is miSCENE_NONE.
    miTag reserve(std::string_view name);

    /// Gives the element a larger or smaller record; the growth is zeroed. Returns the record.
    void* resize(miTag tag, std::size_t size);
    void remove(miTag tag);

    /// The tag of a defined or reserved name, or 0.
    miTag find(std::string_view name) const;

    /// The element's record, or null where the tag names nothing.
    void* record(miTag tag) const noexcept {
        const Element* found = element(tag);
        return found ? found->record.load(std::memory_order_acquire) : nullptr;
    }
    int type(miTag tag) const noexcept {
        const Element* found = element(tag);
        return found ? found->type.load(std::memory_order_acquire) : miSCENE_NONE;
    }
    /// Both at once. Type and record of nothing are miSCENE_NONE and null.
    struct Record {
        int type = miSCENE_NONE;
        void* data = nullptr;
    };
    Record typed(miTag tag) const noexcept {
        const Element* found = element(tag);
        if (!found) return {};
        // The record is published last.
        void* data = found->record.load(std::memory_order_acquire);
        return {found->type.load(std::memory_order_acquire), data};
    }
    std::size_t size(miTag tag) const noexcept;
    /// The element's name; empty for anonymous elements.
    std::string_view name(miTag tag) const noexcept;
    /// One past the largest tag.
    miTag end() const noexcept { return next_.load(std::memory_order_acquire); }

    /// The record as T if the element is of the scene type, else null.
    template <class T>
    T* as(miTag tag, int sceneType) const noexcept {
        const Element* found = element(tag);
        if (!found || found->type.load(std::memory_order_acquire) != sceneType) return nullptr;
        return static_cast<T*>(found->record.load(std::memory_order_acquire));
    }

    void setDetail(miTag tag, std::unique_ptr<Detail> detail);

    /// The element's detail as T, or null where it has none or another.
    template <class T>
    T* detail(miTag tag) const noexcept {
        return dynamic_cast<T*>(detailOf(tag));
    }

    /// Makes a STRING element (zero terminated). Equal strings share one element.
    miTag addString(std::string_view text);
    /// The text of a STRING element; empty for anything else.
    std::string_view string(miTag tag) const noexcept;

private:
    /// The record is published last and read first, so a thread that sees it sees the type and size that belong to it.
    struct Element {
        std::atomic<void*> record{nullptr};
        std::atomic<int> type{miSCENE_NONE};
        std::atomic<std::size_t> size{0};
        std::string name;
        std::unique_ptr<Detail> detail;

        ~Element();
        void fill(int sceneType, std::size_t recordSize);
        void empty();
    };
    static constexpr std::size_t kChunkBits = 12;
    static constexpr std::size_t kChunkSize = std::size_t{1} << kChunkBits;
    static constexpr std::size_t kChunks = 1 << 14;

    Element* element(miTag tag) const noexcept {
        const std::size_t chunkIndex = tag >> kChunkBits;
        if (chunkIndex >= kChunks) return nullptr;
        Element* chunk = (*chunks_)[chunkIndex].load(std::memory_order_acquire);
        // Tag 0 has a place that nothing is ever put in.
        return chunk ? chunk + (tag & (kChunkSize - 1)) : nullptr;
    }
    Detail* detailOf(miTag tag) const noexcept;
    miTag allocateTag();

    std::unique_ptr<std::array<std::atomic<Element*>, kChunks>> chunks_;
    std::atomic<miTag> next_{1};
    mutable std::mutex mutex_;  ///< for names, strings and new chunks
    std::unordered_map<std::string, miTag> names_;
    std::unordered_map<std::string, miTag> strings_;
};

}  // namespace lumorender
