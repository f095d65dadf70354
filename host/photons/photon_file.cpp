#include "photons/photon_file.h"

#include "saving/digest.h"
#include "support/abort.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/whole_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>

namespace lumorender {

namespace {

constexpr std::array<char, 8> kMagic = {'P', 'H', 'O', 'T', 'O', 'N', 'M', 'P'};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kByteOrder = 0x01020304;

struct Header {
    std::array<char, 8> magic = kMagic;
    std::uint32_t version = kVersion;
    std::uint32_t byteOrder = kByteOrder;
    std::array<std::uint64_t, kPhotonKinds> counts = {};
    std::uint64_t checksum = 0;  ///< of the photons
};
static_assert(sizeof(Header) == 48);

std::uint64_t checksumOf(const PhotonMaps& maps) {
    std::uint64_t sum = 0;
    for (const PhotonMap& map : maps.maps) sum = digestOf(std::as_bytes(map.all()), sum);
    return sum;
}

/// What is wrong with the beginning of a file of this size; empty where nothing is.
std::string problemOf(const Header& header, std::uintmax_t size) {
    if (size < sizeof header || header.magic != kMagic) return "is no file of photon maps";
    if (header.byteOrder != kByteOrder) return "comes from a machine with another byte order";
    if (header.version != kVersion) return fmt::format("has version {}, expected version {}", header.version, kVersion);
    std::uintmax_t left = (size - sizeof header) / sizeof(Photon);
    bool fits = (size - sizeof header) % sizeof(Photon) == 0;
    for (const std::uint64_t count : header.counts) {
        fits = fits && count <= left;
        left -= std::min<std::uintmax_t>(count, left);
    }
    return fits && left == 0 ? "" : fmt::format("has {} bytes, not as many as its photons take", size);
}

}  // namespace

bool readPhotonFile(const std::filesystem::path& file, PhotonMaps& maps, std::string& problem) {
    problem.clear();
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) return false;
    std::string content;
    if (const std::string obstacle = readFile(file, content); !obstacle.empty()) {
        problem = "is not read: " + obstacle;
        return false;
    }
    Header header;
    header.magic = {};
    std::memcpy(&header, content.data(), std::min(content.size(), sizeof header));
    problem = problemOf(header, content.size());
    if (!problem.empty()) return false;

    PhotonMaps read = {{}, maps.radius};
    const char* from = content.data() + sizeof header;
    bool isGood = true;
    for (std::size_t k = 0; k < kPhotonKinds; ++k) {
        std::vector<Photon> photons(header.counts[k]);
        std::memcpy(photons.data(), from, photons.size() * sizeof(Photon));
        from += photons.size() * sizeof(Photon);
        isGood = isGood && std::all_of(photons.begin(), photons.end(), isSound);
        read.maps[k] = PhotonMap::ofOrdered(std::move(photons));
    }
    if (checksumOf(read) != header.checksum)
        problem = "is damaged: its checksum is wrong";
    else if (!isGood)
        problem = "holds photons that are no numbers";
    if (!problem.empty()) return false;
    maps = std::move(read);
    return true;
}

bool isPhotonFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::array<char, kMagic.size()> magic = {};
    stream.read(magic.data(), magic.size());
    return stream.gcount() == 0 ? stream.eof() : magic == kMagic;
}

bool writePhotonFile(const std::filesystem::path& file, const PhotonMaps& maps) {
    Header header;
    for (std::size_t k = 0; k < kPhotonKinds; ++k) header.counts[k] = maps.maps[k].all().size();
    header.checksum = checksumOf(maps);
    const WorkToKeep work;
    try {
        WholeFile target(file);
        target.write(&header, sizeof header);
        for (const PhotonMap& map : maps.maps) target.write(map.all().data(), map.all().size_bytes());
        target.keep();
        return true;
    } catch (const Failure& failure) {
        error("RC", "photon map file \"{}\" cannot be written: {}", file.string(), failure.what());
        return false;
    }
}

}  // namespace lumorender
