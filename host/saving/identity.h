// What decides a picture, as names and values: work is joined only where all of it is the same.
#pragma once

#include "saving/bytes.h"

#include <string>
#include <vector>

namespace lumorender {

struct IdentityEntry {
    std::string name;   ///< for people: "resolution", "scene file \"a.mi\"", "module \"lumovexa.so\""
    std::string value;  ///< for people as far as it is not a digest
    bool isDigest = false;
    bool mayDiffer = false;  ///< the picture is the same but for rounding
};

struct Identity {
    std::vector<IdentityEntry> entries;

    /// A second entry of one name gets a number behind it: two files in different folders may have it.
    void add(std::string name, std::string value) { insert({std::move(name), std::move(value)}); }
    void addDigest(std::string name, std::string digest) { insert({std::move(name), std::move(digest), true}); }
    /// The program that renders, and the processor that it runs on.
    void addProgram();

    std::vector<std::byte> bytes() const;
    /// Throws Failure where the bytes are none.
    static Identity fromBytes(std::span<const std::byte> bytes);

private:
    void insert(IdentityEntry entry);
};

/// What is different, as a sentence for people of a few parts at most: "resolution is 640 x 480, was 320 x 240".
/// Empty where nothing is.
std::string differences(const Identity& now, const Identity& before, bool ofThoseThatMay = false);

}  // namespace lumorender
