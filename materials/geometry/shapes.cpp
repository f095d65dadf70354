/*
 * mib_geo_cube, _square, _sphere, _cylinder, _cone, _torus: simple shapes as geometry shaders. They fit into a cube of
 * edge 1 around the origin; what turns around an axis does so around y. Normals and a texture space belong to them.
 */
#include "module/export.h"
#include "module/parameters.h"

#include "geoshader.h"

#include <cmath>

namespace materials {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kMostParts = 4096;

struct NoParameters {
    char unused;
};

struct Round {
    miInteger u_subdiv; /* around; 0 = enough to look round */
    miInteger v_subdiv; /* along */
};

struct Capped {
    miInteger u_subdiv;
    miInteger v_subdiv;
    miInteger p_subdiv; /* rings of its caps */
};

struct Torus {
    miInteger u_subdiv;
    miInteger v_subdiv;
    miScalar radius; /* of the tube, of the whole's half width */
};

/* A place on a shape. */
struct Place {
    miVector point, normal;
};

int parts(int wanted, int usual) { return wanted > 0 ? wanted : usual; }

/* The object that is being built, and how many vectors and vertices it has. */
class Shape {
public:
    Shape() {
        miObject* object = mi_api_object_begin(nullptr);
        object->visible = miTRUE;
        object->shadow = object->reflection = object->refraction = object->finalgather = 3;
        object->caustic = object->globillum = 3;
        mi_api_object_group_begin(0);
    }

    /* columns x rows faces, whose outside is where u turns to v counter-clockwise. `at(u, v)` is asked for 0..1. */
    template <class At>
    void addGrid(int columns, int rows, const At& at) {
        const int first = vertices_;
        for (int row = 0; row <= rows; ++row)
            for (int column = 0; column <= columns; ++column) {
                const double u = 1.0 * column / columns, v = 1.0 * row / rows;
                addVertex(at(u, v), static_cast<miScalar>(u), static_cast<miScalar>(v));
            }
        for (int row = 0; row < rows; ++row)
            for (int column = 0; column < columns; ++column) {
                const int a = first + row * (columns + 1) + column, above = a + columns + 1;
                addFace(a, a + 1, above + 1, above);
            }
    }

    bool addTo(miTag& result) {
        /* All vectors come before all vertices. */
        for (int i = 0; i < vertices_; ++i) {
            mi_api_vertex_add(3 * i);
            mi_api_vertex_normal_add(3 * i + 1);
            mi_api_vertex_tex_add(3 * i + 2, -1, -1);
        }
        for (int i = 0; i < faces_; ++i) emitFace(corners_ + 4 * i);
        mi_mem_release(corners_);
        mi_api_object_group_end();
        return mi_geoshader_add_result(&result, mi_api_object_end()) != miFALSE;
    }

private:
    void addVertex(const Place& place, miScalar u, miScalar v) {
        miVector point = place.point, normal = place.normal, texture = {u, v, 0};
        mi_api_vector_xyz_add(&point);
        mi_api_vector_xyz_add(&normal);
        mi_api_vector_xyz_add(&texture);
        ++vertices_;
    }

    void addFace(int a, int b, int c, int d) {
        if (faces_ == room_) {
            room_ = room_ > 0 ? 2 * room_ : 64;
            corners_ = static_cast<int*>(mi_mem_reallocate(corners_, static_cast<miUint>(room_) * 4 * sizeof(int)));
        }
        int* corners = corners_ + 4 * faces_++;
        corners[0] = a;
        corners[1] = b;
        corners[2] = c;
        corners[3] = d;
    }

    static void emitFace(const int* corners) {
        mi_api_poly_begin_tag(1, miNULLTAG);
        for (int k = 0; k < 4; ++k) mi_api_poly_index_add(corners[k]);
        mi_api_poly_end();
    }

    int vertices_ = 0, faces_ = 0, room_ = 0;
    int* corners_ = nullptr;
};

miVector vectorOf(double x, double y, double z) {
    return {static_cast<miScalar>(x), static_cast<miScalar>(y), static_cast<miScalar>(z)};
}

/* At a share of the turn around y, from z towards x. */
miVector around(double turn, double radius, double y) {
    return vectorOf(radius * std::sin(2 * kPi * turn), y, radius * std::cos(2 * kPi * turn));
}

bool makeSquare(miTag& result, miState* state, Round& p) {
    const Parameters in(state);
    Shape shape;
    shape.addGrid(in.count(p.u_subdiv, 1, kMostParts), in.count(p.v_subdiv, 1, kMostParts),
                  [](double u, double v) { return Place{vectorOf(u - .5, v - .5, 0), {0, 0, 1}}; });
    return shape.addTo(result);
}

bool makeCube(miTag& result, miState*, NoParameters&) {
    Shape shape;
    for (int axis = 0; axis < 3; ++axis)
        for (const double side : {-.5, .5})
            shape.addGrid(1, 1, [&](double u, double v) {
                /* The first direction turns round on the lower side, so that faces look outwards. */
                const double along[3] = {side, side > 0 ? u - .5 : .5 - u, v - .5};
                double point[3], normal[3] = {0, 0, 0};
                for (int k = 0; k < 3; ++k) point[(axis + k) % 3] = along[k];
                normal[axis] = 2 * side;
                return Place{vectorOf(point[0], point[1], point[2]), vectorOf(normal[0], normal[1], normal[2])};
            });
    return shape.addTo(result);
}

bool makeSphere(miTag& result, miState* state, Round& p) {
    const Parameters in(state);
    Shape shape;
    shape.addGrid(parts(in.count(p.u_subdiv, 0, kMostParts), 64), parts(in.count(p.v_subdiv, 0, kMostParts), 32),
                  [](double u, double v) {
                      const double angle = kPi * (v - .5);
                      const miVector normal = around(u, v == 0 || v == 1 ? 0 : std::cos(angle), std::sin(angle));
                      return Place{around(u, v == 0 || v == 1 ? 0 : .5 * std::cos(angle), .5 * std::sin(angle)),
                                   normal};
                  });
    return shape.addTo(result);
}

/* A disc of radius 1/2 that looks up or down. */
void addCap(Shape& shape, int columns, int rings, double y) {
    shape.addGrid(columns, rings, [y](double u, double v) {
        return Place{around(u, .5 * (y > 0 ? 1 - v : v), y), vectorOf(0, y > 0 ? 1 : -1, 0)};
    });
}

bool makeCylinder(miTag& result, miState* state, Capped& p) {
    const Parameters in(state);
    const int columns = parts(in.count(p.u_subdiv, 0, kMostParts), 64);
    const int rings = in.count(p.p_subdiv, 1, kMostParts);
    Shape shape;
    shape.addGrid(columns, in.count(p.v_subdiv, 1, kMostParts),
                  [](double u, double v) { return Place{around(u, .5, v - .5), around(u, 1, 0)}; });
    addCap(shape, columns, rings, -.5);
    addCap(shape, columns, rings, .5);
    return shape.addTo(result);
}

/* Its point is at the top. The side falls by 1 over 1/2. */
bool makeCone(miTag& result, miState* state, Capped& p) {
    const Parameters in(state);
    const int columns = parts(in.count(p.u_subdiv, 0, kMostParts), 64);
    Shape shape;
    const double outwards = 1 / std::sqrt(1.25), upwards = .5 / std::sqrt(1.25);
    shape.addGrid(columns, in.count(p.v_subdiv, 1, kMostParts), [&](double u, double v) {
        return Place{around(u, .5 * (1 - v), v - .5), around(u, outwards, upwards)};
    });
    addCap(shape, columns, in.count(p.p_subdiv, 1, kMostParts), -.5);
    return shape.addTo(result);
}

bool makeTorus(miTag& result, miState* state, Torus& p) {
    const Parameters in(state);
    const miScalar given = in.within(p.radius, 0, 1);
    const double tube = .25 * static_cast<double>(given > 0 ? given : .5F), ring = .5 - tube;
    Shape shape;
    shape.addGrid(parts(in.count(p.u_subdiv, 0, kMostParts), 64), parts(in.count(p.v_subdiv, 0, kMostParts), 32),
                  [&](double u, double v) {
                      const double c = std::cos(2 * kPi * v), s = std::sin(2 * kPi * v);
                      return Place{around(u, ring + tube * c, tube * s), around(u, c, s)};
                  });
    return shape.addTo(result);
}

/* An element, and what it is made of. */
struct Instance {
    miTag object;
    miTag material;
};

struct InstanceOfMany {
    miTag object;
    miInteger i_materials, n_materials;
    miTag materials[1];
};

bool addInstance(miTag& result, miTag object, miTag material) {
    miInstance* instance = mi_api_instance_begin(nullptr);
    instance->material = material;
    const miTag tag = mi_api_instance_end(mi_api_tag_lookup(object), miNULLTAG, miNULLTAG);
    return tag && mi_geoshader_add_result(&result, tag);
}

bool makeInstance(miTag& result, miState* state, Instance& p) {
    const Parameters in(state);
    return addInstance(result, in(p.object), in(p.material));
}

bool makeInstanceOfMany(miTag& result, miState* state, InstanceOfMany& p) {
    const Parameters in(state);
    const int first = in(p.i_materials), count = in(p.n_materials);
    if (!in.holds(p.materials, sizeof p.materials[0], first, count)) return false;
    miDlist* list = mi_api_dlist_create(miDLIST_TAG);
    for (int k = 0; k < count; ++k)
        mi_api_dlist_add(list, reinterpret_cast<void*>(static_cast<size_t>(in(p.materials[first + k]))));
    return addInstance(result, in(p.object), count > 0 ? mi_api_taglist(list) : miNULLTAG);
}

}  // namespace

MATERIALS_SHADER(mib_geo_square, miTag, Round, makeSquare)
MATERIALS_SHADER(mib_geo_cube, miTag, NoParameters, makeCube)
MATERIALS_SHADER(mib_geo_sphere, miTag, Round, makeSphere)
MATERIALS_SHADER(mib_geo_cylinder, miTag, Capped, makeCylinder)
MATERIALS_SHADER(mib_geo_cone, miTag, Capped, makeCone)
MATERIALS_SHADER(mib_geo_torus, miTag, Torus, makeTorus)
MATERIALS_SHADER(mib_geo_instance, miTag, Instance, makeInstance)
MATERIALS_SHADER(mib_geo_instance_mlist, miTag, InstanceOfMany, makeInstanceOfMany)

}  // namespace materials
