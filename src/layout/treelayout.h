#pragma once

#include "layout/layoutresult.h"

namespace TreeLayout {

// Each folder a disc with its contents on a ring below it, files as slim buildings, a line from
// every folder to each child; crowded folders drawn whole as in the city.
LayoutResult build(const FileNode& root, HeightMode height, float scale = 1);

} // namespace TreeLayout
