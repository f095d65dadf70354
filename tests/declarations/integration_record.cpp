/* The integration module is not exported by the macros of the library: its record is described here. */
#include "integration/vexabase.cpp"
#include "tests/declarations/record_layout.h"

static const bool vexabaseIsDescribed = describeShader("vexabase", layoutOf<lumo::VexabaseParameters>());
