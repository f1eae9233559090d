#include "platform/ui/WrappingLabel.h"

#include <QFontMetrics>
#include <algorithm>

namespace dovrel::ui {

WrappingLabel::WrappingLabel(QWidget* parent) : QLabel(parent) {
    setWordWrap(true);
    setAlignment(Qt::AlignCenter);
}

void WrappingLabel::setPreferredMaxLayoutWidth(int width) {
    width = std::max(0, width);
    if (width != preferredMaxLayoutWidth_) {
        preferredMaxLayoutWidth_ = width;
        updateGeometry();
    }
}

QSize WrappingLabel::sizeHint() const {
    const QMargins margins = contentsMargins();
    const int extra = margins.left() + margins.right() + 2 * margin();
    // The width of the text on one line.
    const QFontMetrics metrics(font());
    const int natural =
        metrics.boundingRect(QRect(0, 0, 1 << 20, 1 << 20), Qt::TextSingleLine, text()).width() +
        extra;
    const int width =
        preferredMaxLayoutWidth_ > 0 ? std::min(natural, preferredMaxLayoutWidth_) : natural;
    return QSize(width, heightForWidth(width));
}

QSize WrappingLabel::minimumSizeHint() const {
    return sizeHint();
}

}  // namespace dovrel::ui
