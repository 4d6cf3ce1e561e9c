// qzkt play's layer grid.
#include "play/play_layout.h"

#include <algorithm>

CanvasLayout PlaceLayers(const std::vector<LayerPlace>& sizes) {
    CanvasLayout layout;
    if (sizes.empty()) return layout;
    const int count = static_cast<int>(sizes.size());
    int columns = 1;
    while (columns * columns < count)
        ++columns;
    const int rows = (count + columns - 1) / columns;
    int cellWidth = 0, cellHeight = 0;
    for (const LayerPlace& size : sizes) {
        cellWidth = std::max(cellWidth, size.width);
        cellHeight = std::max(cellHeight, size.height);
    }
    for (int i = 0; i < count; ++i) {
        LayerPlace place = sizes[i];
        place.x = (i % columns) * cellWidth;
        place.y = (i / columns) * cellHeight;
        layout.places.push_back(place);
    }
    layout.width = cellWidth * std::min(columns, count);
    layout.height = cellHeight * rows;
    return layout;
}
