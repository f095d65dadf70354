#include "SDK/lumo.h"

#include "binding/renderer.h"

// The message itself is the format: callers may rely on "%" being interpreted, so nothing is escaped here.
void lumoFatal(const std::string& message) { lumo::mi_fatal(message.c_str()); }
void lumoError(const std::string& message) { lumo::mi_error(message.c_str()); }
void lumoWarning(const std::string& message) { lumo::mi_warning(message.c_str()); }
void lumoInfo(const std::string& message) { lumo::mi_info(message.c_str()); }
