#include "DovrelFoundation/UI/ModalContext.h"

namespace dovrel {

bool ViewControllerModalContext::isPresenting() const {
    const auto controller = controller_.lock();
    return controller != nullptr && controller->presentedViewController() != nullptr;
}

void ViewControllerModalContext::present(std::shared_ptr<ui::ViewController> presented,
                                         bool animated, std::function<void()> completion) {
    if (const auto controller = controller_.lock()) {
        controller->present(std::move(presented), animated, std::move(completion));
    }
}

void ViewControllerModalContext::dismiss(bool animated, std::function<void()> completion) {
    if (const auto controller = controller_.lock()) {
        controller->dismiss(animated, std::move(completion));
    }
}

}  // namespace dovrel
