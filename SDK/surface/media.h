/* What a refracted ray travels in: solids that it entered and has not left. */
#pragma once

#include <shader.h>

namespace lumo {

/* Where solids overlap (a liquid that reaches into its glass) the one entered last fills the place. */
class OpenSolids {
public:
    /* For a ray that hits its solid, that of `state`, from inside. */
    explicit OpenSolids(const miState* state);

    /* Hits where the ray entered the solid that fills the place, and the one around that; null where it began inside,
     * or in the open. Their states live as long as the ray. */
    const miState* inner() const { return inner_; }
    const miState* around() const { return around_; }

private:
    /* Solids of one material that lie in each other close one by one. */
    bool takeClosed(miTag material);
    void close(miTag material);

    static constexpr int kMostClosed = 32;
    miTag closed_[kMostClosed] = {};
    int closedCount_ = 0;
    const miState* inner_ = nullptr;
    const miState* around_ = nullptr;
};

}  // namespace lumo
