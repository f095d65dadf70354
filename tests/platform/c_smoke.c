/* The headers compile as C99; the examples and the tests' modules show that they can be used from there. */
#include "geoshader.h"
