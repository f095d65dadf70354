// What the host keeps of scene elements besides the records that shaders see.
#pragma once

#include "database/approximation.h"
#include "database/database.h"
#include "database/surface_source.h"
#include "mi/codes.h"
#include "mi/types.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace lumorender {

/// Of a miSCENE_GROUP, whose record is a miGroup: the instances it holds.
struct GroupDetail : Detail {
    std::vector<miTag> instances;
    float merge = 0;  ///< told to shaders that ask for it
};

/// Three-valued trace flags of an instance statement: `set` bits count, the others come from above or the object.
struct InstanceDetail : Detail {
    std::vector<miTag> materials;     ///< one, or a list indexed by polygon label; empty = none given
    bool hasMotionTransform = false;  ///< miInstance::motion_transform is given: same meaning at shutter close
    bool motionOff = false;           ///< `motion off`: no motion, not even inherited
    bool hasLights = false;           ///< miInstance::exclusive tells which sense
    std::vector<miTag> lights;
    bool hasShadowLights = false;
    std::vector<miTag> shadowLights;
    /// Flags as the scene gave them; -1 = not given. Values as in the scene language (bits cast 1, receive 2,
    /// don't cast 4, don't receive 8); visible 0 or 1.
    int visible = -1, shadow = -1, reflection = -1, refraction = -1, transparency = -1, finalgather = -1;
    int caustic = -1, globillum = -1;
    char face = 0;                ///< 'f', 'b', 'a', or 0 = not given
    Approximation approximation;  ///< for what is below and says nothing itself, or, with the flag, for all of it
    bool overridesApproximation = false;
    /// Where texts lie among parameters of which no declaration is known.
    std::vector<int> textWords;
};

/// Of a miSCENE_STRING-optioned miOptions: the string options, a miSCENE_LOCAL element that string_options names.
struct StringOptions : Detail {
    using Value = std::variant<bool, int, float, std::string, std::vector<float>>;  ///< 2 to 4 floats
    std::map<std::string, Value, std::less<>> values;
};

/// Of a miSCENE_OPTIONS: what has no place in the record.
struct OptionsDetail : Detail {
    std::map<int, std::string>
        frameBuffers;  ///< `frame buffer N "type"`: user buffers by number; "+" or "-" may stand first
    std::vector<std::string> gatherFiles;  ///< points of final gathering: all are read, the first is written
    bool gatherOnly = false;               ///< final gather points are made, and no picture
    Approximation approximation;           ///< beats what objects and instances say; empty = they count
};

/// How scenes want a picture to be stored.
struct FileSettings {
    std::string where;  ///< "file:line" of the statement, for messages
    std::string compression;
    int quality = -1;
    float dpi = 0;            ///< pixels per inch; 0 = none given
    bool dataWindow = false;  ///< `dod`
};

/// One named frame buffer of a camera.
struct FrameBufferDescription : FileSettings {
    std::string name;
    miImg_type datatype = miIMG_TYPE_RGBA;
    std::string filetype;   ///< empty = from the file name's ending
    std::string filename;   ///< empty = not written, still there for shaders
    bool filtering = true;  ///< average the samples of a pixel; else the first sample's value stands
    bool primary = false;   ///< takes the result of the eye ray
    bool user = false;
    std::string colorProfile = {};  ///< of its file; empty = the colors of the render
};

/// Of a miSCENE_FBINFO element, which miCamera::buffertag names. Shaders know a buffer by its index: 0 is the primary
/// color, the others count from 1 in order of appearance. The primary buffer has index 0 alone.
struct FrameBufferSet : Detail {
    std::vector<FrameBufferDescription> buffers;  ///< in order of appearance, the primary one among them
    bool isFixed = false;                         ///< a picture has been made for them, so shaders may not change them
    int changes = 0;                              ///< by shaders

    /// The buffer of this name, made where there is none.
    FrameBufferDescription& named(std::string_view name);
    /// At most one is primary.
    void setPrimary(FrameBufferDescription& buffer, bool isPrimary);
    /// The index shaders use for the buffer of this name, or -1.
    int shaderIndex(std::string_view name) const;
    /// The buffer that shaders know by this index, or null: also for index 0 where no buffer is primary.
    const FrameBufferDescription* atShaderIndex(int index) const;
    /// The position of the primary buffer in `buffers`, or -1 where there is none.
    int primaryPosition() const;
    /// How many shader indices there are (the primary's 0 included, which always exists).
    int shaderCount() const;
};

/// An `output "type" "format" "file"` statement of a camera.
struct OutputFile : FileSettings {
    std::string type;    ///< "rgba", "+z", "fb0" ...; empty = what the format holds usually
    std::string format;  ///< "tif", "exr", "png" ...
    std::string file;
    std::size_t shadersBefore = 0;  ///< output shaders of the camera that work before it is written
};

/// An `output "type,type" "shader" (..)` statement of a camera.
struct OutputShader {
    std::string where;               ///< "file:line" of the statement, for messages
    std::vector<std::string> types;  ///< of the buffers that the shader opens: "rgba", "+z", "fb0" ...
    miTag shader = 0;
};

/// Where the clipping planes are when the scene says nothing.
constexpr float kNearestClip = 0.0001F, kFarthestClip = 1e6F;

/// Of a miSCENE_CAMERA.
struct CameraDetail : Detail {
    std::vector<OutputFile> files;
    std::vector<OutputShader> outputShaders;
    float focus = 0, lensRadius = 0;  ///< `dof`: what is so far away along the axis is sharp; radius 0 = all of it is
};

/// Of a miSCENE_IMAGE: where the texture comes from. The record's first word is reserved for the host.
struct TextureDetail : Detail {
    std::string file;
    std::string hint;       ///< for messages: what lies there under a similar name, where the file does not exist
    bool isInData = false;  ///< user data or parameters of an instance name it: any shader may find it there
    miTag profile = 0;      ///< of its colors; 0 = those of the render
    float filterScale = 0;  ///< how many pixels of the image a look-up covers; 0 = it is a point
    bool local = false;
    int components = 4;  ///< 4 color, 1 scalar, 3 vector
    int width = 0, height = 0, depth = 0;
    int bits = 32;                      ///< of a component, where the scene gives the pixels itself
    bool writable = false;              ///< light map shaders put pixels into it
    std::string givenFile;              ///< as the scene has it; where what was put is written to, if anywhere
    std::string pixelType, fileFormat;  ///< `"file" "rgba_fp" "exr"`; empty = as the file's ending says
    std::vector<float> pixels;  ///< where the scene gives the pixels itself: rows from the bottom, `components` each
};

/// A vertex of polygon geometry; -1 = not given. Indices count into the group's vectors.
struct VertexSource {
    int position = -1;
    int normal = -1;
    std::uint32_t firstExtra = 0;  ///< of this vertex's indices in PolygonGroupSource::extras
    std::uint8_t derivatives = 0;  ///< 0; 2: du dv; 3: duu dvv duv; 5: du dv duu dvv duv
    std::uint8_t textures = 0;     ///< three indices each in extras: coordinate, bump x, bump y (-1 = none)
    std::uint8_t motions = 0;
    std::uint8_t users = 0;
};

/// One polygon: `count` entries of PolygonGroupSource::corners, -1 between the outer loop and each hole.
struct PolygonSource {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
    miTag material = 0;       ///< 0 = inherited from the instance
    std::uint32_t label = 0;  ///< of tagged objects
    bool convex = true;
};

struct PolygonGroupSource {
    std::vector<miVector> vectors;
    std::vector<VertexSource> vertices;
    std::vector<int> extras;   ///< derivatives, then textures, then motions, then users, per vertex
    std::vector<int> corners;  ///< vertex numbers
    std::vector<PolygonSource> polygons;
    SurfaceGroup surfaces;  ///< beside the polygons; their control points are vertices of the group
    Approximation approximation;
};

/// What a hair, or each of its vertices, has besides positions: where each stands among its numbers, -1 = not given.
struct HairExtras {
    int normal = -1, motion = -1, texture = -1, user = -1, radius = -1;
    int motions = 0;              ///< vectors
    int textures = 0, users = 0;  ///< numbers
    int size = 0;                 ///< numbers in all
};

/// Hairs: curves of Bezier pieces, or of straight ones.
struct HairSource {
    miTag material = 0;     ///< 0 = inherited from the instance
    float radius = 1;       ///< of hairs and vertices that give none
    int degree = 1;         ///< 1 to 3: a hair of n pieces has 1 + degree n vertices
    int approximation = 1;  ///< straight parts that a curved piece is drawn with, at least
    HairExtras perHair, perVertex;
    /// Of each hair its extras, and for each vertex its position and extras.
    std::vector<float> scalars;
    std::vector<std::uint32_t> offsets;  ///< where in `scalars` each hair begins, and the end of the last one

    std::size_t hairs() const { return offsets.empty() ? 0 : offsets.size() - 1; }
    std::size_t vertexSize() const { return 3 + static_cast<std::size_t>(perVertex.size); }
    const float* hair(std::size_t number) const { return scalars.data() + offsets[number]; }
    const float* vertex(std::size_t number, std::size_t vertex) const {
        return hair(number) + perHair.size + vertex * vertexSize();
    }
    std::size_t vertices(std::size_t number) const {
        return (offsets[number + 1] - offsets[number] - static_cast<std::size_t>(perHair.size)) / vertexSize();
    }
};

/// Of a miSCENE_OBJECT with polygons or hair: the geometry as the scene file gives it.
struct ObjectSource : Detail {
    std::string where;  ///< file and line of the object, for messages
    bool tagged = false;
    bool hasTransform = false;  ///< `transform`: baked into the geometry
    miMatrix transform = {};
    std::vector<PolygonGroupSource> groups;
    std::optional<HairSource> hair;
    Approximation approximation;  ///< beside those of its groups
};

}  // namespace lumorender
