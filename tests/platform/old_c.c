/* The headers compile as C89, as `cc -ansi` has it; the examples and the tests' modules show that they can be used. */
#include "geoshader.h"
#include "shader.h"
