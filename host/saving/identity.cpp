#include "saving/identity.h"

#include "image/image_library.h"
#include "saving/digest.h"
#include "support/version.h"

#include <algorithm>

namespace lumorender {

namespace {

/// Libraries choose their code by these; sums are rounded differently in it.
std::string processor() {
    if (__builtin_cpu_supports("avx512f")) return "avx512";
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return "avx2";
    if (__builtin_cpu_supports("avx")) return "avx";
    return "sse";
}

const IdentityEntry* find(const Identity& identity, const std::string& name) {
    const auto found = std::find_if(identity.entries.begin(), identity.entries.end(),
                                    [&](const IdentityEntry& entry) { return entry.name == name; });
    return found == identity.entries.end() ? nullptr : &*found;
}

std::string difference(const IdentityEntry& now, const IdentityEntry* before) {
    if (!before) return now.name + " is new";
    if (now.value == before->value) return {};
    if (now.isDigest) return now.name + " has changed";
    return fmt::format("{} is {}, was {}", now.name, now.value, before->value);
}

}  // namespace

void Identity::addProgram() {
    addDigest("the program (" + std::string(kProgram) + ")", fileDigest("/proc/self/exe"));
    add("the image library", std::to_string(imageLibrary().version()));
    addDigest("the program's module for image files", fileDigest(imageLibraryFile()));
    insert({"the processor", processor(), false, true});
}

void Identity::insert(IdentityEntry entry) {
    const std::string name = entry.name;
    for (int number = 2; find(*this, entry.name); ++number) entry.name = fmt::format("{} ({})", name, number);
    entries.push_back(std::move(entry));
}

std::vector<std::byte> Identity::bytes() const {
    ByteWriter out;
    out.put(static_cast<std::uint64_t>(entries.size()));
    for (const IdentityEntry& entry : entries) {
        out.put(entry.name);
        out.put(entry.value);
        out.put(entry.isDigest);
        out.put(entry.mayDiffer);
    }
    return std::move(out.bytes);
}

Identity Identity::fromBytes(std::span<const std::byte> bytes) {
    ByteReader in(bytes);
    Identity identity;
    identity.entries.resize(in.count(2 * sizeof(std::uint64_t) + 2));
    for (IdentityEntry& entry : identity.entries) {
        in.get(entry.name);
        in.get(entry.value);
        entry.isDigest = in.take<std::uint8_t>() != 0;
        entry.mayDiffer = in.take<std::uint8_t>() != 0;
    }
    return identity;
}

std::string differences(const Identity& now, const Identity& before, bool ofThoseThatMay) {
    constexpr std::size_t kTold = 3;
    std::vector<std::string> found;
    const auto note = [&](std::string text) {
        if (!text.empty()) found.push_back(std::move(text));
    };
    for (const IdentityEntry& entry : now.entries)
        if (entry.mayDiffer == ofThoseThatMay) note(difference(entry, find(before, entry.name)));
    for (const IdentityEntry& entry : before.entries)
        if (entry.mayDiffer == ofThoseThatMay && !find(now, entry.name)) note(entry.name + " is gone");

    std::string text;
    for (std::size_t i = 0; i < std::min(found.size(), kTold); ++i) text += (i > 0 ? "; " : "") + found[i];
    if (found.size() > kTold) text += fmt::format("; and {} more", found.size() - kTold);
    return text;
}

}  // namespace lumorender
