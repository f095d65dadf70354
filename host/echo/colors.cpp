// Color profiles and spectra.
#include "echo/element_writers.h"
#include "photometry/spectrum.h"

namespace lumorender {

void writeColorProfile(ElementText& out, miTag tag) {
    const auto* profile = out.database.detail<ColorProfile>(tag);
    if (!profile) return;
    out.text += "colorprofile";
    out.add(Quoted{out.database.name(tag)});
    if (!profile->name.empty()) out.statement("color space", Quoted{profile->name});
    if (!profile->transform.empty()) out.statement("transform");
    for (const float number : profile->transform) out.add(number);
    if (!profile->white.empty()) out.statement("white");
    for (const float number : profile->white) out.add(number);
    if (profile->gamma > 0) out.statement("gamma", profile->gamma);
    out.text += "\nend colorprofile\n";
}

void writeSpectrum(ElementText& out, miTag tag) {
    const auto* spectrum = out.database.detail<Spectrum>(tag);
    if (!spectrum) return;
    out.text += "spectrum";
    out.add(Quoted{out.database.name(tag)});
    for (const auto& [nanometers, value] : spectrum->values)
        out.statement("", static_cast<float>(nanometers), static_cast<float>(value));
    out.text += "\nend spectrum\n";
}

}  // namespace lumorender
