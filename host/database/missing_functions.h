// Functions that modules call and that nobody provides.
#pragma once

#include <string>

namespace lumorender {

/// For a module that was just opened lazily, and for the libraries that came with it: a warning for each function that
/// they call and that neither they nor the program have. A call of one ends the program with a message that names the
/// function and who called it. Belongs to the thread that reads scenes, and no shader may be running.
void coverMissingFunctions(void* module);

/// For a module that the loader refuses because something is missing, as those are that were linked to be bound at
/// once: provides the function that the loader names, with a warning as above. False where that is no function, or was
/// provided already, so that another try would not help.
bool provideMissingFunction(const std::string& loaderSays);

}  // namespace lumorender
