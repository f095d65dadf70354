// The readers of all elements. Each is called behind the element's keyword and reads to its end.
#pragma once

#include "scene/context.h"

namespace lumorender {

void readOptions(SceneContext& scene);
void readCamera(SceneContext& scene);
void readLight(SceneContext& scene);
void readMaterial(SceneContext& scene);
void readObject(SceneContext& scene);
void readInstance(SceneContext& scene);
void readInstanceGroup(SceneContext& scene);

/// At `local`, `filter`, `writable` or the kind of texture.
void readTexture(SceneContext& scene);

void readLightProfile(SceneContext& scene);

/// Behind `colorprofile`, `spectrum`, `assembly`: known by name from then on, but without content.
void skipColorProfile(SceneContext& scene);
void skipSpectrum(SceneContext& scene);
void skipAssembly(SceneContext& scene);

}  // namespace lumorender
