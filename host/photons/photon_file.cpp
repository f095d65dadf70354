#include "photons/photon_file.h"

#include "saving/record_file.h"

#include <algorithm>
#include <cstring>

namespace lumorender {

namespace {

constexpr RecordFileKind kKind = {
    {'P', 'H', 'O', 'T', 'O', 'N', 'M', 'P'}, 2, kPhotonKinds, sizeof(Photon), "photon maps"};

}  // namespace

bool readPhotonFile(const std::filesystem::path& path, PhotonMaps& maps, std::string& problem) {
    RecordFile file;
    if (!readRecordFile(kKind, path, file, problem)) return false;
    PhotonMaps read;
    read.radius = maps.radius;
    for (std::size_t k = 0; k < kPhotonKinds; ++k) {
        std::vector<Photon> photons(file.lists[k].size() / sizeof(Photon));
        std::memcpy(photons.data(), file.lists[k].data(), file.lists[k].size());
        if (!std::all_of(photons.begin(), photons.end(), isSound)) {
            problem = "holds photons that are no numbers";
            return false;
        }
        read.maps[k] = PhotonMap::ofOrdered(std::move(photons));
    }
    maps = std::move(read);
    return true;
}

bool isPhotonFile(const std::filesystem::path& path) { return isRecordFile(kKind, path); }

bool writePhotonFile(const std::filesystem::path& path, const PhotonMaps& maps) {
    std::array<std::span<const std::byte>, kPhotonKinds> lists;
    for (std::size_t k = 0; k < kPhotonKinds; ++k) lists[k] = std::as_bytes(maps.maps[k].all());
    return writeRecordFile(kKind, path, lists);
}

}  // namespace lumorender
