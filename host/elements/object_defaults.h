// What objects and instances are where nothing else is said, and the box around an object's geometry.
#pragma once

#include "database/elements.h"
#include "mi/instance.h"
#include "mi/object.h"

namespace lumorender {

void setDefaults(miObject& object);

/// It stands where its parent does.
void setDefaults(miInstance& instance);

/// The box around polygons and hairs, at shutter open; the record keeps its own where there are none.
void setBounds(miObject& object, const ObjectSource& source);

}  // namespace lumorender
