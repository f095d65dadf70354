// Reads what a camera says about images: frame buffers and outputs.
#pragma once

#include "scene/context.h"

#include <string_view>

namespace lumorender {

/// Behind `framebuffer`: adds or edits a buffer.
void readFrameBuffer(SceneContext& scene, FrameBufferSet& buffers);

/// Behind `output`: a file, or a shader that is appended to `shaders`; without anything, all former ones are removed.
void readOutput(SceneContext& scene, CameraDetail& camera, FrameBufferSet& buffers);

/// Where no buffer says that it is the primary one, the first color buffer that is no user buffer is.
void choosePrimary(FrameBufferSet& buffers);

}  // namespace lumorender
