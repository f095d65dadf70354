// What Ctrl-C and SIGTERM do.
#pragma once

namespace lumorender {

/// From now on the first interrupt asks everything to stop in good order. What has not done so after a second is ended,
/// unless there is work to keep (support/abort.h): that is finished first, and another interrupt gives it up. Files that
/// are being written leave nothing behind.
void answerInterrupts();

}  // namespace lumorender
