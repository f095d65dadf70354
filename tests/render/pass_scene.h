// Scenes whose surfaces are the shader library's, and the frame buffers that record what each ray level adds.
#pragma once

#include "scene_text.h"

#include <array>
#include <vector>

namespace rendertest {

/// A color buffer of a pass type, and its record.
struct PassBuffer {
    std::string name;
    int type = 0;
    unsigned flags = 0x81;  ///< the record's options as bits: composited 0x1, matte 0x2 ... ignoresOccluderMask 0x100
    std::array<int, 4> levels{0, 100, 0, 100};  ///< reflections: from, to; refractions: from, to
};

/// A scene with the library's modules, state shaders and these buffers, which get ordered by type.
SceneText passScene(std::vector<PassBuffer> buffers);

/// A shading group: `surface` is a surface shader's name with its parameters.
std::string group(const std::string& name, const std::string& surface,
                  const std::string& shadow = "\"lumoVexaFastShadow\" ()");

/// A surface that only shines, gray. It is in the beauty passes and in that of incandescence.
std::string shining(double value, const std::string& more = {});

/// Turns a wall away from the camera: it then stands at the negative of its z.
extern const char* const kTurned;

}  // namespace rendertest
