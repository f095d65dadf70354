#include "SDK/passes/frame_buffer_block.h"

#include "binding/renderer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace lumo {
namespace {

constexpr miUint kBlockMagic = 0x46427566u;  // "FBuf"

/* Word numbers in the block: the header (start, count) of each array, which its inline element follows. */
constexpr miUint kPassNames = 1, kRecords = 4, kTypeCounts = 21, kHeaderEnd = 23;
constexpr miUint kRecordWords = 15;

static_assert(sizeof(FrameBufferRecord) == kRecordWords * 4);
static_assert(offsetof(FrameBufferData, i_passNames) == kPassNames * 4);
static_assert(offsetof(FrameBufferData, i_frameBufferInfo) == kRecords * 4);
static_assert(offsetof(FrameBufferData, i_FrameBufferTypeCounts) == kTypeCounts * 4);
static_assert(sizeof(FrameBufferData) == 24 * 4);

/* No scene has that many buffers of one kind: a larger count is damage, and its sums must not overflow. */
constexpr miInteger kLargestCount = 1 << 16;
/* When the block's size is not known, counts cannot be checked; then only what every scene stays below is believed. */
constexpr miInteger kLargestUncheckedCount = 1 << 12;

std::size_t blockWords(miState* state, miTag tag) {
    miInteger bytes = 0;
    return mi_query(miQ_DATA_PARAM_SIZE, state, tag, &bytes) && bytes > 0 ? static_cast<std::size_t>(bytes) / 4 : 0;
}

}  // namespace

FrameBufferBlock::FrameBufferBlock(miState* state) : block_(getFrameBufferDataBlock(state)) {
    if (present()) sizeWords_ = blockWords(state, block_.tag());
    passNames_ = readArray("passNames", kPassNames, 1);
    records_ = readArray("frameBufferInfo", kRecords, kRecordWords);
    typeCounts_ = readArray("FrameBufferTypeCounts", kTypeCounts, 1);
}

FrameBufferBlock::~FrameBufferBlock() {
    if (present()) mi_db_unpin(block_.tag());
}

miUint FrameBufferBlock::word(std::size_t index) const {
    miUint word;
    std::memcpy(&word, reinterpret_cast<const char*>(block_.data()) + index * sizeof word, sizeof word);
    return block_.swapped() ? __builtin_bswap32(word) : word;
}

FrameBufferBlock::Array FrameBufferBlock::readArray(const char* name, miUint header, miUint elementWords) const {
    Array array{name, 0, elementWords, 0, true};
    if (!present()) return array;

    // A block that ends inside its fixed part has no array that could be trusted.
    array.fits = sizeWords_ == 0 || sizeWords_ >= kHeaderEnd;
    if (!array.fits) return array;

    // Starts and counts are signed words that anything may have written. Sums are made in 64 bits.
    const auto start = std::bit_cast<miInteger>(word(header));
    const auto count = std::bit_cast<miInteger>(word(header + 1));
    const auto first = std::int64_t{header} + 2 + std::int64_t{start} * elementWords;
    const auto end = first + std::int64_t{count} * elementWords;
    const bool inside = sizeWords_ ? end <= static_cast<std::int64_t>(sizeWords_)
                                   : count <= kLargestUncheckedCount && start <= kLargestUncheckedCount;
    array.fits = count == 0 || (start >= 0 && count > 0 && count <= kLargestCount && inside);
    if (array.fits && count > 0) {
        array.firstWord = static_cast<miUint>(first);
        array.count = static_cast<miUint>(count);
    }
    return array;
}

FrameBufferRecord FrameBufferBlock::record(miUint index) const {
    std::array<miUint, kRecordWords> words;
    for (miUint i = 0; i < kRecordWords; ++i) words[i] = wordOf(records_, index, i);
    return std::bit_cast<FrameBufferRecord>(words);
}

miUint FrameBufferBlock::typeCount(miUint type) const {
    if (type >= typeCounts_.count) return 0;
    const auto count = std::bit_cast<miInteger>(wordOf(typeCounts_, type, 0));
    return static_cast<miUint>(std::clamp(count, 0, kLargestCount));
}

void FrameBufferBlock::report(const std::string& who) const {
    for (const Array* array : {&passNames_, &records_, &typeCounts_})
        if (!array->fits)
            lumoError(who + "(): Array " + array->name + " does not fit the frame-buffer data block and is ignored.");

    if (typeCounts_.count != kPassTypeCount)
        lumoError(who + "(): FrameBufferTypeCounts array does not have the expected number of elements.");

    for (miUint type = 0; type < typeCounts_.count; ++type)
        if (std::bit_cast<miInteger>(wordOf(typeCounts_, type, 0)) < 0)
            lumoError(who + "(): FrameBufferTypeCounts holds a negative number, which is taken as 0.");

    // With a wrong sum the published records would not fit each other, and every buffer would be hidden without a word.
    miUint sum = 0;
    for (miUint type = 0; type < kPassTypeCount; ++type) sum += typeCount(type);
    if (sum != records_.count)
        lumoError(who + "(): FrameBufferTypeCounts adds up to " + std::to_string(sum) +
                  " buffers, but frameBufferInfo has " + std::to_string(records_.count) + "; no pass will be written.");
}

}  // namespace lumo

MIDataPtr<FrameBufferData> getFrameBufferDataBlock(miState* state) {
    if (!state->camera) return {};
    miTag found = miNULLTAG;
    miInteger swapped = 0;
    const void* data = get_userdata(lumo::kBlockMagic, miSCENE_USERDATA, state->camera->userdata, &found, &swapped);
    return {static_cast<const FrameBufferData*>(data), found, swapped != 0};
}
