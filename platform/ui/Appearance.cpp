#include "platform/ui/Appearance.h"

#include <QGuiApplication>
#include <QStyleHints>
#include <algorithm>
#include <string>

#include "platform/foundation/Bundle.h"
#include "platform/foundation/ColorAssetCatalog.h"
#include "platform/foundation/FatalError.h"
#include "platform/ui/detail/ViewData.h"

namespace dovrel::ui {

namespace {

using detail::ViewData;

const ColorAssetCatalog& assets() {
    static const ColorAssetCatalog* const catalog = [] {
        const auto file = Bundle::main().pathForResource("colors.json");
        if (!file) {
            fatalError("Missing colour asset file colors.json in " +
                       Bundle::main().resourcePath().string());
        }
        return new ColorAssetCatalog(ColorAssetCatalog::load(*file));
    }();
    return *catalog;
}

QColor named(const char* name, UserInterfaceStyle style) {
    const auto color = assets().color(name);
    if (!color) {
        fatalError(std::string("Missing colour asset ") + name);
    }
    return qColor(*color, style);
}

}  // namespace

QColor qColor(const Color& color, UserInterfaceStyle style) {
    const Color plain = color.resolved(style);
    const auto& c = plain.components();
    const auto channel = [](double value) { return std::clamp(value, 0.0, 1.0); };
    if (c.size() >= 4) {
        return QColor::fromRgbF(float(channel(c[0])), float(channel(c[1])), float(channel(c[2])),
                                float(channel(c[3])));
    }
    if (c.size() == 2) {
        const float white = float(channel(c[0]));
        return QColor::fromRgbF(white, white, white, float(channel(c[1])));
    }
    if (c.size() == 3) {
        return QColor::fromRgbF(float(channel(c[0])), float(channel(c[1])), float(channel(c[2])));
    }
    return QColor(Qt::transparent);
}

UserInterfaceStyle desktopUserInterfaceStyle() {
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    switch (QGuiApplication::styleHints()->colorScheme()) {
        case Qt::ColorScheme::Dark:
            return UserInterfaceStyle::dark;
        case Qt::ColorScheme::Light:
            return UserInterfaceStyle::light;
        default:
            break;
    }
#endif
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128
               ? UserInterfaceStyle::dark
               : UserInterfaceStyle::light;
}

QPalette palette(UserInterfaceStyle style) {
    if (style != UserInterfaceStyle::light && style != UserInterfaceStyle::dark) {
        style = desktopUserInterfaceStyle();
    }
    const QColor background = named("backgroundDefault", style);
    const QColor foreground = named("foregroundDefault", style);
    const QColor gray = named("foregroundGray", style);
    const QColor backgroundGray = named("backgroundGray", style);
    const QColor splitter = named("splitter", style);
    const QColor highlight = named("sky", style);

    QPalette result;
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        const bool disabled = group == QPalette::Disabled;
        result.setColor(group, QPalette::Window, background);
        result.setColor(group, QPalette::WindowText, disabled ? gray : foreground);
        // Fields and lists: on a dark window a field the colour of the window shows no edge
        // (the style draws frames darker than the window), so dark fields are a step lighter.
        result.setColor(group, QPalette::Base,
                        style == UserInterfaceStyle::dark ? backgroundGray : background);
        result.setColor(group, QPalette::AlternateBase, backgroundGray);
        result.setColor(group, QPalette::Text, disabled ? gray : foreground);
        result.setColor(group, QPalette::Button, backgroundGray);
        result.setColor(group, QPalette::ButtonText, disabled ? gray : foreground);
        result.setColor(group, QPalette::BrightText, background);
        result.setColor(group, QPalette::PlaceholderText, named("textPlaceholder", style));
        result.setColor(
            group, QPalette::Light,
            style == UserInterfaceStyle::dark ? backgroundGray.lighter(130) : background);
        result.setColor(group, QPalette::Midlight, backgroundGray);
        result.setColor(group, QPalette::Mid, splitter);
        result.setColor(group, QPalette::Dark, named("graphAxis", style));
        result.setColor(group, QPalette::Shadow, named("shadowMenu", style));
        result.setColor(group, QPalette::Highlight, highlight);
        result.setColor(group, QPalette::HighlightedText,
                        named("backgroundDefault", UserInterfaceStyle::light));
        result.setColor(group, QPalette::Link, highlight);
        result.setColor(group, QPalette::LinkVisited, named("grape", style));
        result.setColor(group, QPalette::ToolTipBase, named("backgroundMenu", style));
        result.setColor(group, QPalette::ToolTipText, foreground);
    }
    return result;
}

UserInterfaceStyle overrideUserInterfaceStyle(const QWidget* widget) {
    const ViewData* data = ViewData::find(widget);
    return data ? data->overrideStyle : UserInterfaceStyle::unspecified;
}

void setOverrideUserInterfaceStyle(QWidget* widget, UserInterfaceStyle style) {
    if (widget == nullptr) {
        return;
    }
    ViewData& data = ViewData::of(widget);
    data.overrideStyle = style;
    if (style == UserInterfaceStyle::light || style == UserInterfaceStyle::dark) {
        widget->setPalette(palette(style));
    } else if (widget->isWindow()) {
        widget->setPalette(palette(desktopUserInterfaceStyle()));
    } else {
        widget->setPalette(QPalette());  // inherit the parent's again
    }
    reapplyAssetColors(widget);
}

UserInterfaceStyle effectiveUserInterfaceStyle(const QWidget* widget) {
    for (const QWidget* current = widget; current != nullptr; current = current->parentWidget()) {
        const UserInterfaceStyle style = overrideUserInterfaceStyle(current);
        if (style == UserInterfaceStyle::light || style == UserInterfaceStyle::dark) {
            return style;
        }
    }
    return desktopUserInterfaceStyle();
}

void setAssetColor(QWidget* widget, QPalette::ColorRole role, const Color& color) {
    if (widget == nullptr) {
        return;
    }
    ViewData& data = ViewData::of(widget);
    auto found = std::find_if(data.assetColors.begin(), data.assetColors.end(),
                              [&](const auto& entry) { return entry.first == role; });
    if (found != data.assetColors.end()) {
        found->second = color;
    } else {
        data.assetColors.emplace_back(role, color);
    }
    QPalette current = widget->palette();
    current.setColor(role, qColor(color, effectiveUserInterfaceStyle(widget)));
    widget->setPalette(current);
}

void reapplyAssetColors(QWidget* widget) {
    if (widget == nullptr) {
        return;
    }
    std::vector<ViewData*> holders;
    if (ViewData* own = ViewData::find(widget)) {
        holders.push_back(own);
    }
    for (ViewData* data : widget->findChildren<ViewData*>()) {
        holders.push_back(data);
    }
    for (ViewData* data : holders) {
        if (data->assetColors.empty()) {
            continue;
        }
        QWidget* target = data->widget();
        const UserInterfaceStyle style = effectiveUserInterfaceStyle(target);
        QPalette current = target->palette();
        for (const auto& [role, color] : data->assetColors) {
            current.setColor(role, qColor(color, style));
        }
        target->setPalette(current);
    }
}

}  // namespace dovrel::ui
