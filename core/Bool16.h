#pragma once

#include <QtGlobal>

// The windows keep their flags as 16-bit booleans: true has every bit set, false is 0.
using Bool16 = qint16;
inline constexpr Bool16 True16 = -1;
inline constexpr Bool16 False16 = 0;
