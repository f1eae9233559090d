#include "apps/dovrel-app/DialogStyle.h"

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/UI/OverridableUserInterfaceStyle.h"
#include "DovrelFoundation/UI/Styles.h"
#include "platform/ui/Appearance.h"

namespace dovrel::app {

void adoptParentStyle(QWidget* dialog) {
    if (QWidget* parent = dialog->parentWidget()) {
        StyledView(dialog).setOverrideUserInterfaceStyle(ui::effectiveUserInterfaceStyle(parent));
    }
    apply(dialog, ViewStyle{backgroundDefault()});
}

}  // namespace dovrel::app
