#pragma once

#include <QDialog>
#include <functional>

namespace dovrel::app {

class AppServices;

// The welcome a person sees once: what Dovrel does and the keys that do it, with one button to
// begin. Laid out with the kit's anchors, in the style of its parent window.
class OnboardingDialog final : public QDialog {
  public:
    explicit OnboardingDialog(QWidget* parent = nullptr);
};

// Shows the welcome over `window` unless the settings say the person has seen it, and records
// that they have. `present` shows the dialog (exec() when not given; tests pass their own).
// Returns whether it was shown.
bool showOnboardingIfNeeded(AppServices& services, QWidget* window,
                            const std::function<void(OnboardingDialog&)>& present = {});

}  // namespace dovrel::app
