#include "platform/ui/Nib.h"

#include <QFile>
#include <QUiLoader>
#include <string>

#include "platform/foundation/Bundle.h"

namespace dovrel::ui {

namespace {

std::string nibPath(std::string_view name) {
    return "nibs/" + std::string(name) + ".ui";
}

}  // namespace

bool nibExists(std::string_view name) {
    return Bundle::main().pathForResource(nibPath(name)).has_value();
}

QWidget* loadNib(std::string_view name, QWidget* parent) {
    const auto path = Bundle::main().pathForResource(nibPath(name));
    if (!path) {
        qWarning("No nib named %s in %s", std::string(name).c_str(),
                 Bundle::main().resourcePath().c_str());
        return nullptr;
    }
    QFile file(QString::fromStdString(path->string()));
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("Cannot read the nib %s", path->c_str());
        return nullptr;
    }
    QUiLoader loader;
    QWidget* widget = loader.load(&file, parent);
    if (widget == nullptr) {
        qWarning("Cannot load the nib %s: %s", path->c_str(), qPrintable(loader.errorString()));
    }
    return widget;
}

}  // namespace dovrel::ui
