#include "geometry/surface_materials.h"

namespace lumorender {

void SurfaceMaterials::choose(FlatInstance& instance) {
    const void* shape = instance.hair ? static_cast<const void*>(instance.hair) : instance.mesh;
    const auto [entry, isNew] = chosen_.try_emplace({shape, instance.materials, instance.overridesMaterial});
    std::vector<miTag>& chosen = entry->second;
    const auto choose = [&](miTag material, std::uint32_t label) {
        miTag inherited = 0;
        if (const auto* list = instance.materials) inherited = (*list)[label < list->size() ? label : 0];
        const bool own = material && !(instance.overridesMaterial && inherited);
        chosen.push_back(own ? material : inherited);
    };
    if (isNew && instance.hair)
        choose(instance.hair->source->material, 0);
    else if (isNew)
        for (const MeshSurface& surface : instance.mesh->surfaces) choose(surface.material, surface.label);
    instance.surfaceMaterials = chosen;
}

}  // namespace lumorender
