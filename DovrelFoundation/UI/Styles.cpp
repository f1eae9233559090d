#include "DovrelFoundation/UI/Styles.h"

#include "platform/ui/Controls.h"

namespace dovrel {

void apply(QWidget* view, const ViewStyle& style) {
    ui::setBackgroundColor(view, style.backgroundColor);
}

void apply(QLabel* label, const LabelStyle& style) {
    apply(static_cast<QWidget*>(label), style.viewStyle);
    ui::setTextColor(label, style.textColor);
}

void apply(QAbstractButton* button, const ButtonStyle& style) {
    apply(static_cast<QWidget*>(button), style.viewStyle);
    ui::setTitleColor(button, style.titleColor);
}

}  // namespace dovrel
