// Photon maps in files, kept from one render to the next.
#pragma once

#include "photons/photon_maps.h"

#include <filesystem>
#include <string>

namespace lumorender {

/// Reads all maps of a file. False where it is missing or broken: why is written to `problem`, empty where the file is
/// just not there. A file that was cut short or changed is told from a good one by its checksum.
bool readPhotonFile(const std::filesystem::path& path, PhotonMaps& maps, std::string& problem);

/// Whether the file begins as those of photons do, or is empty.
bool isPhotonFile(const std::filesystem::path& path);

/// The file is either the old one or the new one. Reports errors itself.
bool writePhotonFile(const std::filesystem::path& path, const PhotonMaps& maps);

}  // namespace lumorender
