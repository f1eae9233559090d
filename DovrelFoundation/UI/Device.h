#pragma once

#include "DovrelFoundation/Appearance/ScreenType.h"

namespace dovrel {

// The device's screen class, read from the primary screen's native height in pixels (its
// height in points times its scale, platform/ui/Screen.h) at every call, so that a move to
// another screen or a change of scale is seen at once. Main thread only.
struct Device {
    static ScreenType screenType();
    static bool has4InchDisplay();
    static bool hasEnlargedOffsetsInNavigationBar();
};

}  // namespace dovrel
