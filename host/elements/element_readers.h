// The readers of all elements. Each is called behind the element's keyword and reads to its end.
#pragma once

#include "database/approximation.h"
#include "database/passes.h"
#include "parsing/context.h"

#include <cstdint>
#include <string_view>

namespace lumorender {

void readOptions(SceneContext& scene);
void readCamera(SceneContext& scene);
void readLight(SceneContext& scene);
void readMaterial(SceneContext& scene);
void readObject(SceneContext& scene);
void readInstance(SceneContext& scene);
void readInstanceGroup(SceneContext& scene);

/// Behind `pass` of a camera: appends to the list, or empties it; or says whether what is hidden is rendered.
void readPass(SceneContext& scene, PassList& list, miBoolean& mask);

/// At one of the words that begin a texture.
bool isTextureWord(const Token& token);

/// One use of a phenomenon: the tag of a shader, material or light. Throws SyntaxError where it cannot be used.
miTag makePhenomenon(SceneContext& scene, const Place& place, const std::string& name, miTag declaration,
                     const ParameterBlock& block, int given);

/// At `local`, `filter`, `writable` or the kind of texture.
void readTexture(SceneContext& scene);

void readLightProfile(SceneContext& scene);

void readColorProfile(SceneContext& scene);
void readSpectrum(SceneContext& scene);

/// Reads commands to the end of the text. Broken ones are reported and stepped over.
void readCommands(SceneContext& scene);

/// The commands of a file that is read for itself, and what is wrong with it.
void readFileCommands(SceneContext& scene, const std::string& name, const std::filesystem::path& folder,
                      std::string text);

/// Behind `frame` and `view` of former versions: `N [time]`, and the statements of a camera and of options up to and past
/// `end view`. Behind `end frame` what was read is placed and rendered.
void readFrame(SceneContext& scene);
void readView(SceneContext& scene);
void endFrame(SceneContext& scene);

/// The statements of a view, as a camera and options of these names.
void readViewAs(SceneContext& scene, const std::string& camera, const std::string& options);

/// Nothing is rendered after an error. Throws StopReading where the application wants no more.
void carryOutRender(SceneContext& scene, const Place& place, RenderCommand command);

/// Behind `render`. Nothing is rendered after an error. Throws StopReading where the application wants no more.
void readRender(SceneContext& scene);

/// Behind `trilist` of an object, up to and past its end. The triangles become a group of polygons.
void readTrilist(SceneContext& scene, bool tagged, PolygonGroupSource& group);

/// Behind `group` of an object, up to and past `end group`. Free-form curves and surfaces use the object's bases.
void readPolygonGroup(SceneContext& scene, bool tagged, const std::vector<BasisSource>& bases,
                      PolygonGroupSource& group);

/// Behind `basis` of an object. One of the same name replaces the former.
void readBasis(SceneContext& scene, std::vector<BasisSource>& bases);

/// What the readers of surfaces in a group know of it.
struct GroupInReading {
    SceneContext& scene;
    bool tagged;
    const std::vector<BasisSource>& bases;
    PolygonGroupSource& group;
    miTag material = 0;  ///< stays for those that name none

    /// The number of a vertex of the group.
    int readVertex() const;
    /// The label of a tagged object, or a material, which stays.
    std::uint32_t readHeading();
};

/// Behind `curve`, `space curve`, `surface`, `connect`, `subdivision` and `ccmesh` in a group.
void readCurve(GroupInReading& group, bool inSpace);
void readSurface(GroupInReading& group);
void readConnection(GroupInReading& group);
void readSubdivisionSurface(GroupInReading& group);
void readCatmullClarkMesh(GroupInReading& group);
/// Behind `hair` of an object, up to and past `end hair`.
HairSource readHair(SceneContext& scene);

/// What is wrong with the place in `scalars` where the next hair begins, or the last one ends; empty where it is right.
std::string problemOfOffset(const HairSource& hair, std::uint32_t offset);

/// A vector of a group that is not finite would spoil the whole object's bounds.
void warnOfBrokenVectors(SceneContext& scene, const Place& place, const PolygonGroupSource& group);

/// At `"name" value`.
void readStringOption(SceneContext& scene, StringOptions& options);

/// Behind `attribute` in options: the same, with words for storage and type before.
void readOptionAttribute(SceneContext& scene, StringOptions& options);

/// Behind `framebuffer`: adds or edits a buffer.
void readFrameBuffer(SceneContext& scene, FrameBufferSet& buffers);

/// Whether `frame buffer N "type"` may say this; empty is rgba.
bool isBufferType(std::string_view type);

/// The type as the scene language names it.
std::string_view bufferTypeName(miImg_type type);

/// The data type of this name, and whether its samples are averaged. @return false where there is none
bool setBufferType(FrameBufferDescription& buffer, std::string_view type);

/// Behind `output`: a file, or a shader that is appended to `shaders`; without anything, all former ones are removed.
void readOutput(SceneContext& scene, CameraDetail& camera, FrameBufferSet& buffers);

/// At the types of the buffers that an output shader opens, as far as they stand before it.
std::vector<std::string> readOutputTypes(SceneContext& scene);

/// Where no buffer says that it is the primary one, the first color buffer that is no user buffer is.
void choosePrimary(FrameBufferSet& buffers);

/// At `approximate`, or at one of the words that say for which rays it is.
bool isApproximation(const Cursor& in);

/// How names of surfaces follow on an approximation: in a list of statements commas part these, and options have string
/// options behind them.
enum class ApproximationNames : std::uint8_t { PartedByCommas, PartedBySpaces, None };

/// Behind `approximate`: appends the statement.
void readApproximation(SceneContext& scene, Approximation& approximation,
                       ApproximationNames names = ApproximationNames::PartedByCommas);

/// To `end <word>` and past it.
void skipToEnd(SceneContext& scene, std::string_view word);

/// Past the end of a broken element, or before the next one where the end cannot be found.
void recover(SceneContext& scene, std::string_view element);

}  // namespace lumorender
