#pragma once

#include <memory>

#include "DovrelFoundation/UI/UIKitExtensions.h"
#include "platform/ui/Nib.h"
#include "platform/ui/ViewController.h"

namespace dovrel {

// Makes a controller of class `Controller` whose view is the nib named after the class
// (<resources>/nibs/<kClassName>.ui in the main bundle). A missing or unreadable nib stops the
// process: the class and its nib ship together, so its absence is a programming error.
template <typename Controller>
std::shared_ptr<Controller> loadFromNib();

[[noreturn]] void failToLoadNib(const std::string& name);

template <typename Controller>
std::shared_ptr<Controller> loadFromNib() {
    const std::string name = className<Controller>();
    QWidget* view = ui::loadNib(name);
    if (view == nullptr)
        failToLoadNib(name);
    auto controller = std::make_shared<Controller>();
    controller->setView(view);
    return controller;
}

}  // namespace dovrel
