/* All scene records as they lie in the database. */
#pragma once

#include "camera.h"
#include "function.h"
#include "instance.h"
#include "light.h"
#include "material.h"
#include "object.h"
#include "options.h"
