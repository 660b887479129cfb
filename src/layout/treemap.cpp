#include "layout/treemap.h"

#include <algorithm>
#include <numeric>

namespace Treemap {

std::vector<TMRect> squarify(const std::vector<double>& weights, TMRect rect)
{
    const size_t n = weights.size();
    std::vector<TMRect> tiles(n, TMRect { rect.x, rect.z, 0, 0 });
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0);
    if (n == 0 || !(total > 0) || !(rect.width > 0) || !(rect.depth > 0))
        return tiles;
    std::vector<double> areas(n);
    const double scale = rect.width * rect.depth / total;
    for (size_t i = 0; i < n; ++i)
        areas[i] = std::max(weights[i], 1e-9) * scale; // a zero weight still gets a sliver

    double x = rect.x, z = rect.z, width = rect.width, depth = rect.depth;
    // The worst aspect ratio of a row with this sum, largest and smallest item along a side s.
    const auto worst = [](double s2, double sum, double largest, double smallest) {
        return std::max(s2 * largest / (sum * sum), sum * sum / (s2 * smallest));
    };
    for (size_t first = 0; first < n;) {
        const double side = std::max(std::min(width, depth), 1e-9);
        const double s2 = side * side;
        size_t end = first + 1;
        double sum = areas[first], largest = areas[first], smallest = areas[first];
        while (end < n) {
            const double next = areas[end];
            const double current = worst(s2, sum, largest, smallest);
            const double with = worst(s2, sum + next, std::max(largest, next), std::min(smallest, next));
            if (current < with)
                break;
            sum += next;
            largest = std::max(largest, next);
            smallest = std::min(smallest, next);
            ++end;
        }
        if (depth <= width) { // a column along the low-x edge
            const double t = sum / std::max(depth, 1e-9);
            double at = z;
            for (size_t i = first; i < end; ++i) {
                tiles[i] = { x, at, t, areas[i] / t };
                at += areas[i] / t;
            }
            x += t;
            width -= t;
        } else { // a row along the low-z edge
            const double t = sum / std::max(width, 1e-9);
            double at = x;
            for (size_t i = first; i < end; ++i) {
                tiles[i] = { at, z, areas[i] / t, t };
                at += areas[i] / t;
            }
            z += t;
            depth -= t;
        }
        first = end;
    }
    return tiles;
}

} // namespace Treemap
