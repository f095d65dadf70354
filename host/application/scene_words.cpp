// Words of the command line that say what a scene can say, too: they win over it.
#include "application/command_words.h"
#include "parsing/scanner.h"

namespace lumorender {

namespace {

using Line = CommandLine;

WordGroup cameraWords() {
    return {
        "Camera and picture",
        {
            {"resolution", "N:x N:y", "Pixels of the image", CameraStatement{"resolution"}},
            {"window", "N:x N:y N:x N:y",
             "Render only this part: its lower left and upper right pixel, counted from the lower left one",
             CameraStatement{"window"}},
            {"offset", "F:x F:y", "Move the image right and up, in pixels", CameraStatement{"offset"}},
            {"aspect", "F:ratio", "Width of the image divided by its height", CameraStatement{"aspect"}},
            {"aperture", "F:width", "Width of the film", CameraStatement{"aperture"}},
            {"focal", "infinity|F:distance", "Distance of the film; infinity is a parallel projection",
             CameraStatement{"focal"}},
            {"clip", "F:near F:far", "What the camera sees", CameraStatement{"clip"}},
            {"gamma", "F:gamma", "8 and 16 bit files hold colors to the power of 1 / gamma", OptionsStatement{"gamma"}},
            {"colorclip", "rgb|alpha|raw", "How colors are clipped", OptionsStatement{"colorclip"}},
            {"desaturate", "on|off", "Colors out of range lose saturation", OptionsStatement{"desaturate"}},
            {"premultiply", "on|off", "Colors are multiplied by alpha", OptionsStatement{"premultiply"}},
            {"dither", "on|off", "Noise against steps in 8 bit files", OptionsStatement{"dither"}},
            {"field", "off|even|odd", "Render every other line", NoEffect{"whole pictures are rendered"}},
        }};
}

WordGroup samplingWords() {
    return {
        "Sampling",
        {
            {"samples", "N:min [N:max [N:objmin [N:objmax]]]",
             "Minimum and maximum level: n means 4^n samples per pixel. One number is the maximum; the second pair "
             "bounds what objects ask for",
             OptionsStatement{"samples"}},
            {"jitter", "F:amount", "How far samples are moved inside their cells, 0 to 1", OptionsStatement{"jitter"}},
            {"filter", "[clip] box|triangle|gauss|mitchell|lanczos [F:width [F:height]]",
             "How samples are combined, and over how many pixels", OptionsStatement{"filter"}},
            {"contrast", "F:r F:g F:b [F:a]", "Difference of neighbours above which more samples are taken",
             OptionsStatement{"contrast"}},
            {"time_contrast", "F:r F:g F:b [F:a]", "The same where something moves", OptionsStatement{"time contrast"}},
            {"samplelock", "on|off", "The same samples in every frame",
             NoEffect{"the samples are the same in every frame"}},
            {"progressive", "on|off", "Refine the whole picture over and over", NoEffect{"tiles are rendered once"}},
        }};
}

WordGroup rayWords() {
    constexpr NoEffect kKernels{"the ray tracing kernels choose for themselves"};
    return {
        "Rays and motion",
        {
            {"trace", "on|off", "Whether reflections and refractions are traced", OptionsStatement{"trace"}},
            {"trace_depth", "N:reflection [N:refraction [N:sum]]", "How often a ray is reflected and refracted",
             OptionsStatement{"trace depth"}},
            {"shadow", "on|off|simple|sort|segments", "Shadows, and how shadow shaders are called",
             OptionsStatement{"shadow"}},
            {"shadowmap", "on|off|opengl|detail|only", "Shadow maps", NoEffect{"shadows are traced"}},
            {"face", "front|back|both", "Which side of surfaces is seen", OptionsStatement{"face"}},
            {"scanline", "on|off|rast|rapid|opengl",
             "What shaders are told of how eye rays are found; every ray is traced", OptionsStatement{"scanline"}},
            {"motion", "on|off", "Motion blur", OptionsStatement{"motion"}},
            {"motion_steps", "N:steps", "Steps of a motion transform, each linear", OptionsStatement{"motion steps"}},
            {"shutter", "[F:delay] F:time", "When the shutter opens and closes, in fractions of a frame",
             OptionsStatement{"shutter"}},
            {"shutter_delay", "F:delay", "When the shutter opens",
             [](Line& l, const Values& v) { l.shutterDelay = v[0]; }},
            {"acceleration", "T:name", "How the scene is sorted for tracing", kKernels},
            {"bsp_size", "N:count", "Triangles in a cell", kKernels},
            {"bsp_depth", "N:levels", "Depth of the tree of cells", kKernels},
            {"bsp_memory", "N:megabytes", "Memory for cells", kKernels},
            {"bsp_shadow", "on|off", "A tree of its own for shadows", kKernels},
            {"grid_size", "N:count", "Size of a grid of cells", kKernels},
            {"grid_depth", "N:levels", "Depth of a grid of cells", kKernels},
            {"grid_resolution", "N:x [N:y N:z]", "Cells of a grid", kKernels},
        }};
}

WordGroup indirectWords() {
    return {
        "Final gathering and occlusion",
        {
            {"finalgather", "on|off|fastlookup|only",
             "Gather indirect light; with only its points are made and no picture", OptionsStatement{"finalgather"}},
            {"finalgather_accuracy", "[view] N:rays [F:max [F:min]]",
             "Rays of a point, and radii within which points count: scene units, or with view pixels",
             OptionsStatement{"finalgather accuracy"}},
            {"finalgather_depth finalgather_trace_depth", "N:reflection [N:refraction [N:diffuse [N:sum]]]",
             "How often gathering rays go on", OptionsStatement{"finalgather trace depth"}},
            {"finalgather_falloff", "[F:start] F:stop", "Distances over which gathered light fades",
             OptionsStatement{"finalgather falloff"}},
            {"finalgather_filter", "N:strength", "How much single bright rays are held down, 0 not at all",
             OptionsStatement{"finalgather filter"}},
            {"finalgather_presample", "F:density", "How densely points are made ahead",
             OptionsStatement{"finalgather presample density"}},
            {"finalgather_scale", "F:r F:g F:b [F:a]", "Factor of gathered light",
             OptionsStatement{"finalgather scale"}},
            {"finalgather_secondary_scale", "F:r F:g F:b [F:a]", "Factor of light from further bounces",
             OptionsStatement{"finalgather secondary scale"}},
            {"finalgather_rebuild", "on|off|freeze", "Whether points in files are made anew, added to, or only used",
             OptionsStatement{"finalgather rebuild"}},
            {"finalgather_file", "off|T:file", "File of points",
             [](Line& l, const Values& v) {
                 l.optionsStatements += " finalgather file " + (v[0] == "off" ? v[0] : quotedText(v[0]));
             }},
            {"ao", "on|off", "Ambient occlusion", OptionsStatement{"\"ambient occlusion\""}},
            {"ao_rays", "N:rays", "Its rays", OptionsStatement{"\"ambient occlusion rays\""}},
            {"ao_cache", "on|off", "Whether it is interpolated", OptionsStatement{"\"ambient occlusion cache\""}},
            {"ao_cache_density", "F:density", "How densely its points are made",
             OptionsStatement{"\"ambient occlusion cache density\""}},
            {"ao_cache_points", "N:points", "Points that are interpolated",
             OptionsStatement{"\"ambient occlusion cache points\""}},
        }};
}

WordGroup photonWords() {
    constexpr NoEffect kPhotons{"photons for caustics are aimed at what casts them, others go where lights send them"};
    constexpr const char* kAccuracy = "N:photons [F:radius]";
    constexpr const char* kScale = "F:r F:g F:b [F:a]";
    return {
        "Photons",
        {
            {"caustic", "on|off|N:bits", "Caustics", OptionsStatement{"caustic"}},
            {"caustic_accuracy", kAccuracy, "Photons that count at a place", OptionsStatement{"caustic accuracy"}},
            {"caustic_filter", "box|cone|gauss [F:constant]", "How these are weighted",
             OptionsStatement{"caustic filter"}},
            {"caustic_scale", kScale, "Factor of caustics", OptionsStatement{"caustic scale"}},
            {"globillum", "on|off|N:bits", "Global illumination", OptionsStatement{"globillum"}},
            {"globillum_accuracy", kAccuracy, "Photons that count at a place", OptionsStatement{"globillum accuracy"}},
            {"globillum_scale", kScale, "Factor of global illumination", OptionsStatement{"globillum scale"}},
            {"photonvol_accuracy", kAccuracy, "Photons that count in volumes", OptionsStatement{"photonvol accuracy"}},
            {"photonvol_scale", kScale, "Factor of light in volumes", OptionsStatement{"photonvol scale"}},
            {"photon_depth photon_trace_depth", "N:reflection [N:refraction [N:sum]]",
             "How often a photon is reflected and refracted", OptionsStatement{"photon trace depth"}},
            {"photonmap_file", "off|T:file", "File of photons",
             [](Line& l, const Values& v) {
                 l.optionsStatements += " photonmap file " + (v[0] == "off" ? v[0] : quotedText(v[0]));
             }},
            {"photonmap_rebuild", "on|off", "Whether photons in files are made anew",
             OptionsStatement{"photonmap rebuild"}},
            {"photonmap_only", "on|off", "Make photons and no picture", OptionsStatement{"photonmap only"}},
            {"importon", "on|off", "Send photons where they matter", kPhotons},
            {"ip", "on|off", "Irradiance particles, in whose place light is gathered",
             OptionsStatement{"\"irradiance particles\""}},
        }};
}

WordGroup featureWords() {
    return {
        "Features",
        {
            {"lens", "on|off", "Whether lens shaders are called", OptionsStatement{"lens"}},
            {"volume", "on|off", "Whether volume shaders are called", OptionsStatement{"volume"}},
            {"autovolume", "on|off", "Whether rays know all volumes that they are in", OptionsStatement{"autovolume"}},
            {"geometry", "on|off", "Whether geometry shaders are called", OptionsStatement{"geometry"}},
            {"displace", "on|off", "Whether materials displace geometry", OptionsStatement{"displace"}},
            {"max_displace maxdisplace", "F:distance", "How far objects are displaced that do not say so themselves",
             OptionsStatement{"max displace"}},
            {"hair", "on|off", "Whether hairs are rendered", OptionsStatement{"hair"}},
            {"output", "on|off", "Whether output shaders are called", OptionsStatement{"output"}},
            {"lightmap", "on|off|only", "Whether light maps are made; with only no picture is",
             OptionsStatement{"lightmap"}},
            {"pass", "on|off", "Whether passes of samples are written and merged", OptionsStatement{"pass"}},
        }};
}

}  // namespace

std::vector<WordGroup> sceneWords() {
    return {cameraWords(), samplingWords(), rayWords(), indirectWords(), photonWords(), featureWords()};
}

}  // namespace lumorender
