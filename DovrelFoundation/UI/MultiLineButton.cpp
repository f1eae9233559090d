#include "DovrelFoundation/UI/MultiLineButton.h"

#include "platform/ui/WrappingLabel.h"

namespace dovrel {

QSize MultiLineButton::intrinsicContentSize() const {
    return titleLabel() != nullptr ? titleLabel()->sizeHint() : QSize(0, 0);
}

void MultiLineButton::layoutSubviews() {
    TitleLabelButton::layoutSubviews();
    if (titleLabel() != nullptr)
        titleLabel()->setPreferredMaxLayoutWidth(titleLabel()->width());
    TitleLabelButton::layoutSubviews();
}

}  // namespace dovrel
