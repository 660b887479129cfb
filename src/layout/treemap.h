#pragma once

#include <vector>

// An axis-aligned rectangle: the minimum corner and the extents. In the city, y runs along the
// ground's depth axis.
struct TMRect {
    double x = 0;
    double y = 0;
    double w = 0;
    double h = 0;
};

namespace Treemap {

// Cuts the rectangle into one tile per weight, in the order given, with areas in proportion to the
// weights and rows chosen to keep the tiles close to square. Callers sort the weights beforehand.
std::vector<TMRect> squarify(const std::vector<double>& weights, TMRect rect);

} // namespace Treemap
