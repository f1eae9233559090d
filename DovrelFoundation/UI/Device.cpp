#include "DovrelFoundation/UI/Device.h"

#include "platform/ui/Screen.h"

namespace dovrel {

namespace {

std::int64_t nativeHeight() {
    return ui::Screen::nativeBounds().height();
}

}  // namespace

ScreenType Device::screenType() {
    return dovrel::screenType(nativeHeight());
}

bool Device::has4InchDisplay() {
    return dovrel::has4InchDisplay(nativeHeight());
}

bool Device::hasEnlargedOffsetsInNavigationBar() {
    return dovrel::hasEnlargedOffsetsInNavigationBar(nativeHeight());
}

}  // namespace dovrel
