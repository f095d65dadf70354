/* Shapes of area lights: what the renderer knows of them, which side shines, and points all over them. */
#pragma once

#include "SDK/framework/double_vector.h"

#include "shaders/lights/light_samples.h"
#include "shaders/lights/lumoVexaLight.h"

namespace lumo {

/* In the light's space. A rectangle is spanned by u and v around its center and shines to the side of u x v, a disc to
 * the side of its normal u, a sphere and a cylinder around the axis u all around. */
struct LightShape {
    miLight_area area = miLIGHT_NONE;
    DoubleVector center, u, v;
    double radius = 0;
};

/* Of the state's light. NONE where the renderer does not know one, and for shapes that only it can sample. */
LightShape lightShape(miState* state);

/* The square from -1 to 1 in the light's x and y, which shines along -z: what a flat light without a shape is. */
LightShape unitSquare();

/* Whether the ray meets the dark side of a flat shape: it leaves from there, or, when it looks at the light, arrives
 * there. */
bool isDarkSide(const LightCall& call, const LightShape& shape);
/* The same for the shape of the state's light. Most lights have none, and nothing else of it is asked then. */
bool isDarkSide(const LightCall& call);

/* Corners of a rectangle in internal space, so ordered that the contour integral is positive on the side that shines.
 */
void placeCorners(miState* state, const LightShape& shape, miVector corners[4]);

/* Places on a shape from which light gets to the state's point. */
class ShapeSampler {
public:
    ShapeSampler(miState* state, const LightShape& shape);

    /* In internal space. Even steps of `at` are even steps of: area on flat shapes; solid angle seen from the point on
     * a sphere; angle seen from the point, and length, on a cylinder. Inside a sphere or cylinder: of area. */
    DoubleVector operator[](const SquarePoint& at) const;

private:
    DoubleVector onSphere(const SquarePoint& at) const;
    DoubleVector onCylinder(const SquarePoint& at) const;

    const LightShape& shape_;
    DoubleVector point_;              /* in the light's space, from the shape's center */
    DoubleVector a_, b_;              /* at right angles to the shape's own direction, or to the point's */
    DoubleVector origin_, x_, y_, z_; /* of the light's space, in internal space */
};

}  // namespace lumo
