// Light profiles from anywhere: any bytes are read or refused with a message, and what is read can be looked at.
#include "photometry/photometric_files.h"
#include "photometry/photometric_text.h"

#include <cstddef>
#include <cstdint>

using namespace lumorender;

/// The first byte chooses the format.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const Curve curve = data[0] & 1 ? Curve::Smooth : Curve::Straight;
    try {
        LightDistribution distribution(data[0] & 2 ? readEulumdat(text) : readIes(text), curve);
        for (int i = -8; i <= 8; ++i)
            if (!(distribution.at(i, i / 8.) >= 0)) __builtin_trap();
        distribution.resample(data[0] & 12, 3);
    } catch (const PhotometricError&) {
    }
    return 0;
}
