// Reads `options`.
#pragma once

#include "mi/records.h"
#include "parsing/statements.h"

#include <string>

namespace lumorender {

/// What options are without any statement.
miOptions defaultOptions();

struct OptionsReader {
    explicit OptionsReader(SceneContext& itsScene) : scene(itsScene), in(itsScene.in) {}

    void read();
    bool readOther();

    SceneContext& scene;
    Cursor& in;
    miOptions options = defaultOptions();
    StringOptions strings;
    OptionsDetail detail;

    void store(const std::string& name);

    void readSamples();
    void readFilter();
    void readTrace();
    void readScanline();
    void readPhoton();
    void readDepths(int& reflection, int& refraction, int& sum);
    void readShadow();
    void readShadowmap();
    void readShutter();
    void readMotion();
    void readBsp();
    void readSpace(char space);
    void readDisplace();
    void readLightmap();
    void readColorclip();
    void readCaustic();
    void readGlobillum();
    void readPhotonVolume();
    void readPhotonmap();
    void readPhotonmapOnly();
    void readFinalgather();
    void readFinalgatherDepths();
    void readFinalgatherFiles();
    void switchFinalgather(int mode, bool only = false);
    void readAccuracy(int& count, float& radius);
    void readFrameBuffer();
    void readStateShaders();
    void readContour();
    void readInheritance(bool traversal);
    void readLuminance();
    void readColorProfile();
    void readContrast(miColor& contrast);
    miTag readFileOrOff();
    /// A photon switch: on, off, or a number of generate and receive bits.
    void readPhotonSwitch(miBoolean& enabled, miUint1& bits);
};

const StatementTable<OptionsReader>& optionStatements();

}  // namespace lumorender
