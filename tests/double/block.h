/* Shaders with parameters by name, and what tests write such things with. */
#pragma once

#include <cmath>
#include <memory>
#include <sstream>
#include <string>

#include "scene.h"

namespace lumorender {
struct Declaration;
}

namespace twin {

/* All of it in one string. */
template <class... Parts>
std::string text(const Parts&... parts) {
    std::ostringstream stream;
    stream.precision(9);
    (stream << ... << parts);
    return stream.str();
}

inline miVector vector(double x, double y, double z) {
    return {static_cast<miScalar>(x), static_cast<miScalar>(y), static_cast<miScalar>(z)};
}

inline double apart(const miVector& a, const miVector& b) { return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z); }

/* A shader with its parameters as scenes give them: `Block("lumoVexaPhong", "cosinePower 40, color .2 .3 .4")` is laid
 * out, with the defaults that lumovexa.mi declares, by the reader that renders scenes. Values that name scene elements
 * other than strings are put with at<miTag>(). Needs the host's reader in the program.
 */
class Block : public FunctionRecord {
public:
    explicit Block(const std::string& shader, const std::string& parameters = "");

    void* parameters() { return function().parameters; }

    /* Address of a parameter, a member or an element: "color", "layers[1].color". Of an array itself it is that of its
     * start, which its count follows. Throws std::invalid_argument at a name that the shader does not have. */
    void* member(const std::string& path) { return member(path, 0); }

    /* The value there; throws when T has another size. */
    template <class T = miScalar>
    T& at(const std::string& path) {
        return *static_cast<T*>(member(path, sizeof(T)));
    }

    /* By name, too. */
    template <class Source>
    Evaluation::Connection& connect(const std::string& path, Source source) {
        return FunctionRecord::connect(member(path), source);
    }

    /* The library's shader, as the state's running one. Init and exit of shaders that have none do nothing. */
    miBoolean call(miState* state, void* result, void* argument = nullptr);
    void init(miState* state);
    void exit(miState* state);

private:
    void* member(const std::string& path, std::size_t expectedSize);

    std::string shader_;
    const lumorender::Declaration* declaration_;
};

}  // namespace twin
