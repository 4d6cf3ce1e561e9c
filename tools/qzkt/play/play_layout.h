// Where each layer of qzkt play goes on the canvas: side by side in a grid of cells the size
// of the largest layer, as close to square as the count allows (2 layers: 2x1, 3 or 4: 2x2,
// 5 and 6: 3x2), filled row by row; each layer at its own size in the top-left of its cell.
#pragma once

#include <vector>

struct LayerPlace {
    int x = 0, y = 0, width = 0, height = 0;
};

struct CanvasLayout {
    int width = 0, height = 0;
    std::vector<LayerPlace> places; // one per layer, in order
};

// sizes: each layer's width and height, at least one.
CanvasLayout PlaceLayers(const std::vector<LayerPlace>& sizes);
