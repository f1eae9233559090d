#include "platform/ui/detail/LayoutItem.h"

#include "platform/ui/detail/ViewData.h"

namespace dovrel::ui::detail {

const ItemVariables& ItemRef::variables() const {
    if (guide_) {
        return guide_->variables;
    }
    return ViewData::of(widget_.data()).variables;
}

bool ItemRef::isRightToLeft() const {
    const QWidget* host = hostWidget();
    return host != nullptr && host->layoutDirection() == Qt::RightToLeft;
}

}  // namespace dovrel::ui::detail
