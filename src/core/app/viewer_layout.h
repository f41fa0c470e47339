// The main window's resize layout in twips (1/1440 inch). Every size step is computed on its
// own and left out when it would come out negative, so a window made very small still gets the
// steps that fit; moves always apply.
#pragma once

#include <optional>

namespace kestrova {

struct ViewerLayout {
    std::optional<int> urlsHeight, urlsWidth, treeHeight, panel1Width, progressWidth;
    int progressTop = 0;
    int labelLeft = 0, labelTop = 0;
    int cancelLeft = 0, cancelTop = 0;
};

// W and H: the window's inner width and height in twips.
ViewerLayout viewerLayout(int widthTwips, int heightTwips);

// 15 twips to a pixel at 96 dots per inch.
inline int twipsToPixels(int twips, double dpi = 96.0) { return static_cast<int>(twips * dpi / 1440.0); }
inline int pixelsToTwips(int pixels, double dpi = 96.0) { return static_cast<int>(pixels * 1440.0 / dpi); }

}  // namespace kestrova
