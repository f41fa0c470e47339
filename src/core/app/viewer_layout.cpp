#include "core/app/viewer_layout.h"

namespace kestrova {
namespace {

std::optional<int> size(int value) {
    if (value < 0) return std::nullopt;  // an invalid size fails its step alone
    return value;
}

}  // namespace

ViewerLayout viewerLayout(int w, int h) {
    ViewerLayout layout;
    layout.urlsHeight = size(h - 750);
    layout.urlsWidth = size(w - 3200);
    layout.treeHeight = size(h - 750);
    layout.panel1Width = size(w - 2400);
    layout.progressTop = h - 210;
    layout.progressWidth = size(w - 3180);
    layout.labelLeft = w - 4500;
    layout.labelTop = h - 500;
    layout.cancelLeft = w - 3100;
    layout.cancelTop = h - 230;
    return layout;
}

}  // namespace kestrova
