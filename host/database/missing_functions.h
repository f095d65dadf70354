// Functions that modules call and that nobody provides.
#pragma once

namespace lumorender {

/// For a module that was just opened lazily, and for the libraries that came with it: a warning for each function that
/// they call and that neither they nor the program have. A call of one ends the program with a message that names the
/// function and who called it. Belongs to the thread that reads scenes, and no shader may be running.
void coverMissingFunctions(void* module);

}  // namespace lumorender
