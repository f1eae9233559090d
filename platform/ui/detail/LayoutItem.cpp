#include "platform/ui/detail/LayoutItem.h"

#include "platform/ui/detail/ViewData.h"

namespace dovrel::ui::detail {

// A remembered attachment is still the host's when the host is the same widget and no
// attachment was destroyed since: a destroyed widget takes its attachment along (moving the
// epoch), so a widget at the same address later is never mistaken for the old one.
ViewData* ItemRef::hostData() const {
    const QWidget* host = hostWidget();
    if (host != nullptr && host == hostDataWidget_ && hostDataEpoch_ == attachmentEpoch()) {
        return hostData_;
    }
    ViewData* data = ViewData::find(host);
    if (data != nullptr) {
        hostData_ = data;
        hostDataWidget_ = host;
        hostDataEpoch_ = attachmentEpoch();
    }
    return data;
}

ViewData& ItemRef::hostDataMade() const {
    if (ViewData* data = hostData()) {
        return *data;
    }
    QWidget* host = hostWidget();
    ViewData& data = ViewData::of(host);
    hostData_ = &data;
    hostDataWidget_ = host;
    hostDataEpoch_ = attachmentEpoch();
    return data;
}

const ItemVariables& ItemRef::variables() const {
    if (guide_) {
        return guide_->variables;
    }
    return hostDataMade().variables;
}

bool ItemRef::isRightToLeft() const {
    const QWidget* host = hostWidget();
    return host != nullptr && host->layoutDirection() == Qt::RightToLeft;
}

}  // namespace dovrel::ui::detail
