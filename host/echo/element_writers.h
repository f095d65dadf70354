// The writers of all elements: each appends the whole statement to the text, so that reading it makes the same element.
#pragma once

#include "database/approximation.h"
#include "database/declaration.h"
#include "database/surface_source.h"
#include "echo/element_text.h"

#include <vector>

namespace lumorender {

void writeDeclaration(ElementText& out, miTag tag);
/// An empty one has its declaration and no parameters.
void writeShader(ElementText& out, miTag tag, bool empty = false);
/// A material or light that a phenomenon is, by its use. False where the element is no such one.
bool writePhenomenonElement(ElementText& out, miTag tag);
void writeOptions(ElementText& out, miTag tag);
void writeCamera(ElementText& out, miTag tag);
void writeLight(ElementText& out, miTag tag);
void writeMaterial(ElementText& out, miTag tag);
void writeTexture(ElementText& out, miTag tag);
void writeUserData(ElementText& out, miTag tag, bool empty = false);
void writeLightProfile(ElementText& out, miTag tag);
void writeColorProfile(ElementText& out, miTag tag);
void writeSpectrum(ElementText& out, miTag tag);
void writeObject(ElementText& out, miTag tag);
void writeInstance(ElementText& out, miTag tag);
void writeInstanceGroup(ElementText& out, miTag tag);

/// The shaders of a slot: by name, or called in place.
void writeSlot(ElementText& out, miTag slot);

/// A line with the slot behind its keyword, if it has one, where it holds a shader.
void writeSlotStatement(ElementText& out, std::string_view words, miTag slot);

/// `( "name" value, .. )`: what was given, and what differs from the declared default. Without ghosts nothing is known
/// to have been given. Where anything was, although nothing has a value, `isGiven` tells.
void writeParameters(ElementText& out, const std::vector<Parameter>& parameters, const char* values, const char* ghosts,
                     bool isGiven = false);

/// The statements that give an element its user data.
void writeDataStatements(ElementText& out, miTag chain);

/// What else was said of an element.
void writeAttributes(ElementText& out, miTag tag);

/// Before a group: the bases that its curves and surfaces need and the groups before have not defined.
void writeBases(ElementText& out, const SurfaceGroup& surfaces, std::vector<BasisSource>& known);
/// What a group has besides polygons.
void writeSurfaces(ElementText& out, const SurfaceGroup& surfaces, bool tagged);

/// What stands behind the word `approximate`.
void writeRule(ElementText& out, const ApproximationRule& rule);
/// A statement for each rule.
void writeApproximation(ElementText& out, const Approximation& approximation);

/// front, back or both.
const char* faceWord(int code);

}  // namespace lumorender
