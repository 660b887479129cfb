#pragma once

#include "layout/aggregation.h"
#include "layout/layoutresult.h"

#include <functional>

namespace CityLayout {

using LotWeight = std::function<double(const FileNode& file)>;

// Every folder a paved lot tiled among its children, every file a building on its folder's lot, and
// crowded folders drawn whole. `lot` gives a file's ground weight (1 when absent); `only`, when
// given, keeps just those nodes and draws no folder whole.
LayoutResult build(const FileNode& root, HeightMode height, float scale = 1, const LotWeight& lot = {},
    const NodeSet* only = nullptr);

// The height of a building whose measure is `measure` in a city laid out as `result`, and whether a
// building that tall steps back near its top; the history view moves heights with these.
float buildingHeight(double measure, const LayoutResult& result);
bool hasSetback(float height, float peak, bool aggregated);

} // namespace CityLayout
