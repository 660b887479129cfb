#pragma once

#include <vector>

// A rectangle on the ground: its corner nearest the origin, and how far it runs along x (its width)
// and along z (its depth). Flat views tile with it too, z then running down the screen.
struct TMRect {
    double x = 0;
    double z = 0;
    double width = 0;
    double depth = 0;
};

namespace Treemap {

// Cuts the rectangle into one tile per weight, in the order given, with areas in proportion to the
// weights and rows chosen to keep the tiles close to square. Callers sort the weights beforehand.
std::vector<TMRect> squarify(const std::vector<double>& weights, TMRect rect);

} // namespace Treemap
