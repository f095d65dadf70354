// lumorender from its arguments to its exit code.
#pragma once

namespace lumorender {

/// Runs the program. 0: everything was rendered and written. 1: something failed or was stopped, as messages say.
/// 2: the command line is wrong.
int runApplication(int argumentCount, const char* const* arguments);

}  // namespace lumorender
