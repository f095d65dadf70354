/* Light that comes to an architectural material from lights and from around. */
#pragma once

#include "architectural/mia_levels.h"

namespace materials {

/* Of all lights, before levels. */
struct MiaDirect {
    miColor diffuse = {0, 0, 0, 0}, back = {0, 0, 0, 0}, highlights = {0, 0, 0, 0}, baseHighlights = {0, 0, 0, 0};

    void add(const MiaDirect& more, miScalar factor) {
        diffuse += more.diffuse * factor;
        back += more.back * factor;
        highlights += more.highlights * factor;
        baseHighlights += more.baseHighlights * factor;
    }
};

MiaDirect directLight(const MiaCall& call, const MiaSurface& surface, const MiaLevels& levels);

/* Gathered light and occlusion. */
struct MiaIndirect {
    miColor raw = kBlack;      /* as the renderer gathers it */
    miColor openness = kWhite; /* 1 where nothing is near */
    miColor occluded = kBlack; /* the light after occlusion, with the ambient light */
    miColor back = kBlack;     /* gathered on the other side */
};

MiaIndirect indirectLight(const MiaCall& call, const MiaSurface& surface, const MiaLevels& levels);

}  // namespace materials
