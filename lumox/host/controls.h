// Keyboard and mouse input as the library sees it: virtual-key codes, shift states
// and mouse buttons. Toolkit adapters translate their events into these.
#pragma once

#include <cstdint>
#include <functional>

#include "lumox/host/classes.h"

namespace lumox {

inline constexpr uint16_t VK_BACK = 8;
inline constexpr uint16_t VK_TAB = 9;
inline constexpr uint16_t VK_RETURN = 13;
inline constexpr uint16_t VK_SHIFT = 16;
inline constexpr uint16_t VK_CONTROL = 17;
inline constexpr uint16_t VK_ESCAPE = 27;
inline constexpr uint16_t VK_SPACE = 32;
inline constexpr uint16_t VK_PRIOR = 33;
inline constexpr uint16_t VK_NEXT = 34;
inline constexpr uint16_t VK_END = 35;
inline constexpr uint16_t VK_HOME = 36;
inline constexpr uint16_t VK_LEFT = 37;
inline constexpr uint16_t VK_UP = 38;
inline constexpr uint16_t VK_RIGHT = 39;
inline constexpr uint16_t VK_DOWN = 40;
inline constexpr uint16_t VK_INSERT = 45;
inline constexpr uint16_t VK_DELETE = 46;

enum TShiftStateItem : uint8_t { ssShift, ssAlt, ssCtrl, ssLeft, ssRight, ssMiddle, ssDouble };
using TShiftState = TLumSet<TShiftStateItem>;

// The extra buttons are the fourth and fifth (back and forward, as a rule).
enum TMouseButton : uint8_t { mbLeft, mbRight, mbMiddle, mbExtra1, mbExtra2 };

using TKeyEvent = std::function<void(TObject* Sender, uint16_t& Key, TShiftState Shift)>;
using TMouseEvent =
    std::function<void(TObject* Sender, TMouseButton Button, TShiftState Shift, int X, int Y)>;
using TMouseMoveEvent = std::function<void(TObject* Sender, TShiftState Shift, int X, int Y)>;
// A typed character, after the toolkit's keyboard layout.
using TKeyPressEvent = std::function<void(TObject* Sender, char32_t& Key)>;
// WheelDelta is 120 per notch, positive away from the user; a handler sets Handled.
using TMouseWheelEvent = std::function<void(TObject* Sender, TShiftState Shift, int WheelDelta,
                                            int X, int Y, bool& Handled)>;
using TMouseWheelUpDownEvent =
    std::function<void(TObject* Sender, TShiftState Shift, int X, int Y, bool& Handled)>;

// How a toolkit adapter lays a control out in its parent.
enum TAlign : uint8_t { alNone, alTop, alBottom, alLeft, alRight, alClient };

}  // namespace lumox
