#include "parsing/language.h"

#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lumorender {

namespace {

using enum Effect;

constexpr std::string_view kPhotons =
    "photons for caustics are aimed at what casts them, others go where lights send them";
constexpr std::string_view kMaps = "shadows are traced, no maps are made";
constexpr std::string_view kRasterizer = "there is no rasterizer, every ray is traced";
constexpr std::string_view kKernels = "the ray tracing kernels choose their own structures";
constexpr std::string_view kInforms = "informs people, the host renders as the options say";

// docs/language_tables.py reads these rows: one to a line.
// clang-format off
constexpr Meaning kLanguage[] = {
    {"scene", "$include|$lookup|$ifdef|$ifndef|$ifeq|$ifneq|$elseifdef|$elseifeq|$else|$endif", Used, ""},
    {"scene", "$code", Refused, "scenes may not run code"},
    {"scene", "set|verbose|echo|link|version|min|max|registry|delete|namespace|end|render|incremental", Used, ""},
    {"scene", "declare|shader|data|options|camera|light|material|object|instance|instgroup|lightprofile|colorprofile|spectrum", Used, ""},
    {"scene", "color|scalar|vector|local|filter|writable", Used, "textures"},
    {"scene", "system|code", Refused, "scenes may not run code"},
    {"scene", "call", Used, "when it is read"},
    {"scene", "root", Used, "in files of assemblies"},
    {"scene", "assembly", Used, ""},
    {"scene", "frame|view", Used, "of former versions: rendered at the frame's end"},
    {"scene", "debug", Idle, "the host has no such modes"},
    {"scene", "memory", Idle, "memory is not limited by scenes"},
    {"scene", "touch", Idle, "everything is made anew for each render"},
    {"scene", "gui", Idle, "it describes user interfaces"},
    {"scene", "private|session", Idle, "there is one database"},

    {"registry", "value|link|mi|echo", Used, ""},
    {"registry", "code|system", Refused, "scenes may not run code"},
    {"registry", "spdl", Idle, "it describes user interfaces"},

    {"declare", "version|shader|material|light|instance|root|lens|volume|environment|output|contour|geometry", Used, ""},
    {"declare", "apply|scanline|trace|shadow|face|texture|bump|derivative|object|camera|mixed|parallel|volume=level|hardware", Used, kInforms},

    {"options", "samples|jitter|trace|shutter|motion|task|lens|volume|geometry|displace|hair|autovolume|gamma|face|shadow", Used, ""},
    {"options", "approximate|max|state|inheritance|traversal|luminance|data|attribute|object|finalgather|frame|output|contour", Used, ""},
    {"options", "samples=collect|samples=motion|shading", Idle, kRasterizer},
    {"options", "merge", Idle, "borders of surfaces are always joined where their groups say so"},
    {"options", "contrast|time", Used, ""},
    {"options", "filter", Used, ""},
    {"options", "scanline", Used, "shaders see rast in options and states; every ray is traced"},
    {"options", "photon|photonvol|photonmap", Used, ""},
    {"options", "shadowmap", Used, "as rays; a warning when the render begins"},
    {"options", "shadowmap=rebuild|shadowmap=motion|shadowmap=bias|shadowmap=trace|shadowmap=window", Idle, kMaps},
    {"options", "field", Missing, "fields are not rendered, the picture has all lines"},
    {"options", "field=off|samplelock=on", Used, ""},
    {"options", "samplelock", Idle, "every frame has the same pattern of samples"},
    {"options", "acceleration|bsp|grid", Idle, kKernels},
    {"options", "camera=space", Used, "transforms of instances do not count"},
    {"options", "mixed=space", Missing, "the scene is rendered in object space"},
    {"options", "displace=presample", Idle, "what is displaced is so before the first sample"},
    {"options", "pass", Used, ""},
    {"options", "lightmap", Used, ""},
    {"options", "colorclip|desaturate|premultiply|dither", Used, ""},
    {"options", "caustic|globillum", Used, "of all objects by default, as far as their instances do not say otherwise"},
    {"options", "diagnostic", Used, "off"},
    {"options", "diagnostic=on", Missing, "pictures of the renderer's work are not made"},
    {"options", "colorprofile", Used, "of colors behind it"},
    {"options", "hardware", Idle, "nothing is rendered by graphics hardware"},

    {"string option", "ambient occlusion|ambient occlusion rays|ambient occlusion cache|ambient occlusion cache density", Used, ""},
    {"string option", "ambient occlusion cache points|ambient occlusion min distance|ambient occlusion max distance", Used, ""},
    {"string option", "ambient occlusion falloff|finalgather points|finalgather normal tolerance", Used, ""},
    {"string option", "finalgather mode", Idle, "final gathering works in one way"},
    {"string option", "irradiance particles", Used, "light is gathered in their place, with a warning"},
    {"string option", "irradiance particles=off|importon=off|progressive=off|unified sampling=off|environment lighting mode=off", Used, ""},
    {"string option", "irradiance particles rays|irradiance particles indirect passes|irradiance particles scale", Used, "of the gathering in their place"},
    {"string option", "irradiance particles interpolate|irradiance particles interppoints|irradiance particles env", Idle, "irradiance particles are not made"},
    {"string option", "irradiance particles env scale|irradiance particles file|irradiance particles rebuild", Idle, "irradiance particles are not made"},
    {"string option", "importon|importon density|importon merge|importon trace depth|importon traverse", Idle, kPhotons},
    {"string option", "progressive", Missing, "the picture is rendered in one pass, with the samples of the options"},
    {"string option", "progressive min samples|progressive max samples|progressive max time|progressive error threshold", Idle, "the picture is rendered in one pass"},
    {"string option", "unified sampling", Missing, "every pixel takes the samples of the options"},
    {"string option", "samples quality|samples min|samples max|samples error cutoff", Idle, "every pixel takes the samples of the options"},
    {"string option", "rast motion factor|rast transparency depth", Idle, kRasterizer},
    {"string option", "shadowmap pixel samples", Idle, kMaps},
    {"string option", "caustic merge|globillum merge|photonvol merge", Used, ""},
    {"string option", "environment lighting mode", Missing, "surroundings light surfaces by final gathering, or by lights that sample them"},
    {"string option", "environment lighting quality|environment lighting shadow", Idle, "surroundings light surfaces by final gathering, or by lights that sample them"},
    {"string option", "light relative scale", Missing, "what it is relative to is not known; lights shine as their shaders say"},
    {"string option", "trace camera clip", Used, "eye rays always keep to the camera's clipping planes"},

    {"camera", "focal|aperture|aspect|resolution|window|offset|clip|lens|volume|environment|frame|output|framebuffer|data|dof", Used, ""},
    {"camera", "field=0", Used, ""},
    {"camera", "field", Idle, "it is a number for shaders, whose camera record has no place for it"},
    {"camera", "pass", Used, ""},
    {"pass", "write|merge|read|prep|delete|mask|null", Used, ""},
    {"camera", "attribute", Used, "kept, and written by -echo; shaders have no call that asks for it"},

    {"output", "file|quality|compress|dpi|dod|shader", Used, ""},
    {"output", "even|odd", Missing, "fields are not rendered, the picture has all lines"},

    {"framebuffer", "datatype|filetype|filename|filtering|primary|user|compression|quality|dod|dpi|colorprofile", Used, ""},
    {"framebuffer", "field", Missing, "fields are not rendered, the picture has all lines"},
    {"framebuffer", "useprimary|useopacity", Idle, "every buffer takes what shaders put into it"},

    {"light", "shader|origin|direction|energy|visible|tag|rectangle|disc|sphere|cylinder|object|user|data|photons", Used, ""},
    {"light", "spread", Used, "shaders ask for it; light outside of the cone is theirs to leave out"},
    {"light", "exponent|emitter|caustic|globillum", Used, ""},
    {"light", "lightprofile", Used, "where no parameter of the light's shader names a profile"},
    {"light", "shadowmap", Idle, kMaps},
    {"light", "shadowmap=off|shadowmap=false", Used, ""},
    {"light", "attribute", Used, "kept, and written by -echo; shaders have no call that asks for it"},

    {"material", "shader|displace|shadow|volume|environment", Used, ""},
    {"material", "opaque", Used, "shaders ask for it; shadow shaders are called all the same"},
    {"material", "contour|photon|photonvol|lightmap|bsdf", Used, "nothing behind the word empties the slot"},
    {"material", "bsdf=shader", Used, "called as the surface's shader where the material has no other"},
    {"material", "hardware", Idle, "nothing is rendered by graphics hardware"},
    {"material", "attribute", Used, "kept, and written by -echo; shaders have no call that asks for it"},

    {"texture", "filter|file|shader|pixels|colorprofile|writable", Used, ""},
    {"texture", "local", Idle, "files are read by this machine anyway"},

    {"colorprofile", "color|space|transform|white|gamma", Used, ""},

    {"lightprofile", "format|file|hermite|resolution", Used, ""},
    {"lightprofile", "flags", Missing, "what its bits mean is not known; files are taken as they are"},
    {"lightprofile", "flags=0", Used, ""},

    {"assembly", "file", Used, ""},
    {"assembly", "box", Used, "geometry comes when a ray meets it"},
    {"assembly", "motion", Idle, "the extent of what comes on demand is known by its geometry"},

    {"object", "visible|shadow|trace|reflection|refraction|transparency|finalgather|tagged|face|tag|data|transform", Used, ""},
    {"object", "max|group|trilist|hair|approximate|file|basis|caustic|globillum", Used, ""},
    {"object", "shadowmap", Idle, kMaps},
    {"object", "select", Idle, "it is for interactive programs"},
    {"object", "attribute", Used, "kept, and written by -echo; shaders have no call that asks for it"},
    {"object", "box|motion", Used, "of geometry that comes when a ray meets the box; else objects are as large as their geometry"},
    {"object", "ray", Idle, "rays start as near to their surface as its numbers allow"},
    {"object", "samples", Idle, "every pixel takes the samples of the options"},
    {"object", "shading", Idle, kRasterizer},
    {"object", "volume", Idle, "automatic volumes tell solids by their materials' volume shaders"},
    {"object", "intersection", Used, "with a box that the surface lies in"},

    {"group", "v|n|d|t|m|u|c|cp|p|hole|strip|fan|approximate", Used, ""},
    {"group", "merge", Used, "joins borders of surfaces; polygons stay as they are"},
    {"group", "cusp|conic|corner|dart|curve|surface|connect|subdivision|ccmesh", Used, ""},
    {"group", "space", Used, "curves in space are read and not drawn"},

    {"surface", "rational|w|derivative|texture|volume|motion|trim|hole|special|crease|level", Used, ""},

    {"trilist", "vertex|triangle|vector|p|n|d|d2|m|b|t|u|scalar|binary|integer|approximate", Used, ""},
    {"trilist", "border|data|topology", Idle, "it serves tessellation"},

    {"hair", "material|radius|approximate|degree|hair|vertex|scalar|n|m|t|u", Used, ""},
    {"hair", "max", Idle, kKernels},

    {"approximate", "displace|trilist|all|view|offscreen|any|fine|parametric|length|spatial|distance|angle|curvature|max", Used, ""},
    {"approximate", "surface|subdivision|ccmesh|curve|trim|regular", Used, ""},
    {"approximate", "space", Idle, "curves in space are not drawn"},
    {"approximate", "tree|grid|delaunay|nosmoothing|implicit|sharp|grading|samples", Idle, "triangles are halved at their edges"},
    {"approximate", "visible|trace|shadow|caustic|globillum", Idle, "all rays meet the same triangles, as fine as any of the statements says"},

    {"instance", "element|transform|motion|hide|visible|shadow|trace|reflection|refraction|transparency|finalgather|face", Used, ""},
    {"instance", "override|material|approximate|light|tag|data|parameters|geometry|caustic|globillum", Used, ""},
    {"instance", "shadowmap", Idle, kMaps},
    {"instance", "select", Idle, "it is for interactive programs"},
    {"instance", "samples", Idle, "every pixel takes the samples of the options"},
    {"instance", "shading", Idle, kRasterizer},
    {"instance", "attribute", Used, "kept, and written by -echo; shaders have no call that asks for it"},

    {"instgroup", "members|tag|data", Used, ""},
    {"instgroup", "merge", Used, "shaders ask for it; vertices stay as they are"},
};
// clang-format on

using Statement = std::pair<std::string_view, std::string_view>;  // element and word

struct StatementHash {
    std::size_t operator()(const Statement& s) const {
        return std::hash<std::string_view>{}(s.first) * 31 + std::hash<std::string_view>{}(s.second);
    }
};

std::string_view takeUntil(std::string_view& text, char end) {
    const std::size_t at = text.find(end);
    const std::string_view taken = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + 1);
    return taken;
}

/// By what follows the word; nothing stands for whatever else does.
using Continuations = std::vector<std::pair<std::string_view, const Meaning*>>;
using Index = std::unordered_map<Statement, Continuations, StatementHash>;

Index makeIndex() {
    Index index;
    for (const Meaning& row : kLanguage) {
        for (std::string_view words = row.words; !words.empty();) {
            std::string_view next = takeUntil(words, '|');
            const std::string_view word = takeUntil(next, '=');
            index[{row.element, word}].emplace_back(next, &row);
        }
    }
    return index;
}

}  // namespace

std::span<const Meaning> language() { return kLanguage; }

const Meaning* meaningOf(std::string_view element, std::string_view word, std::string_view next) {
    static const Index index = makeIndex();
    const auto found = index.find({element, word});
    if (found == index.end()) return nullptr;
    const Meaning* otherwise = nullptr;
    for (const auto& [continuation, row] : found->second) {
        if (continuation.empty()) otherwise = row;
        if (!continuation.empty() && continuation == next) return row;
    }
    return otherwise;
}

}  // namespace lumorender
