#pragma once

#include "platform/DesktopPlatform.h"

#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <cstddef>
#include <optional>
#include <variant>
#include <vector>

// Where show() puts the window: a whole frame on the chosen screen, or, when
// there is no screen at all, only a fixed origin.
using WindowPlacement = std::variant<QRectF, QPointF>;

// The origin used when no screen is known.
inline constexpr QPointF kNoScreenWindowOrigin{120.0, 120.0};

// Chooses a screen and centres a window of `windowSize` in its visible frame,
// keeping 32 points of margin. All rectangles are in desktop coordinates
// (origin at the bottom left of the primary screen, y up). The screen is the
// first one at the origin, else the first whose visible frame starts above
// its bottom edge (the one with the Dock at the bottom), else the main screen,
// else the first screen. Depends on nothing but its arguments.
WindowPlacement placeWindow(const std::vector<ScreenGeometry>& screens, std::optional<std::size_t> mainScreen,
                            const QSizeF& windowSize);
