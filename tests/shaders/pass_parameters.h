/* Parameter blocks of the pass shaders as scenes fill them, word by word. */
#pragma once

#include <shader.h>

struct PassFields {
    miInteger buffer = 0;
    miInteger contribution = 0;
    miInteger holdOut = 0;
    miInteger opacityMode = 0;
    miScalar opacityThreshold = 0;
};

struct PlainPass {
    PassFields common;
};

struct DepthPass {
    PassFields common;
    miInteger remap = 0;
    miScalar near = 0, far = 0, minimum = 0, maximum = 0;
};

struct NormalizedMotionPass {
    PassFields common;
    miInteger automaticRange = 0;
    miScalar minimum = 0, maximum = 0, maximumDisplacement = 0;
    miInteger magnitude = 0;
};

/* Normal: its space; UV: whether to write the label. */
struct ChoicePass {
    PassFields common;
    miInteger choice = 0;
};
