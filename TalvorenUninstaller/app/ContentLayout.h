#pragma once

#include <QRect>

// The window's content is laid out on a fixed 620 x 520 grid whose frames are
// given from the bottom-left corner, y up, as the program's home desktop
// measures them. Qt places widgets from the top-left, so every frame passes
// through this one conversion.
namespace ContentLayout {

inline constexpr int kWidth = 620;
inline constexpr int kHeight = 520;

// The frame (x, y, width, height), measured from the bottom left, as a Qt
// rectangle measured from the top left of the content.
constexpr QRect frame(int x, int y, int width, int height) { return QRect(x, kHeight - y - height, width, height); }

}  // namespace ContentLayout
