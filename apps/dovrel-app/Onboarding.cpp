#include "apps/dovrel-app/Onboarding.h"

#include <QLabel>
#include <QPushButton>

#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/DialogStyle.h"
#include "platform/ui/View.h"
#include "platform/ui/WrappingLabel.h"

namespace dovrel::app {

namespace {

using ui::LayoutRelation;

constexpr double kMargin = 24;
constexpr int kWidth = 520;

}  // namespace

OnboardingDialog::OnboardingDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(appText("App.Onboarding.Title"));
    auto* title = makeAnchored<QLabel>(this, appText("App.Onboarding.Title"));
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.5);
    large.setBold(true);
    title->setFont(large);
    AnchoredView(title).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(title).pinTopEqualToSuperview(kMargin);
    QWidget* above = title;
    for (const char* key :
         {"App.Onboarding.Habits", "App.Onboarding.Score", "App.Onboarding.Keys"}) {
        // The text wraps at the dialog's width less its margins, and is as tall as it needs there.
        auto* text = makeAnchored<ui::WrappingLabel>(this);
        text->setText(appText(key));
        text->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        text->setPreferredMaxLayoutWidth(kWidth - 2 * static_cast<int>(kMargin));
        AnchoredView(text).pinLeadingEqualToSuperview(kMargin);
        AnchoredView(text).pinTrailingEqualToSuperview(-kMargin);
        AnchoredView(text).pinTop(LayoutRelation::equal, AnchoredView(above).bottomAnchor(), 12);
        above = text;
    }
    auto* start = makeAnchored<QPushButton>(this, appText("App.Onboarding.Start"));
    start->setDefault(true);
    AnchoredView(start).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(start).pinTop(LayoutRelation::greaterThanOrEqual,
                               AnchoredView(above).bottomAnchor(), kMargin);
    AnchoredView(start).pinBottomEqualToSuperview(-kMargin);
    connect(start, &QPushButton::clicked, this, &QDialog::accept);
    adoptParentStyle(this);
    resize(kWidth, 300);
}

bool showOnboardingIfNeeded(AppServices& services, QWidget* window,
                            const std::function<void(OnboardingDialog&)>& present) {
    if (services.settings().didUserSeeOnboarding()) {
        return false;
    }
    OnboardingDialog dialog(window);
    if (present) {
        present(dialog);
    } else {
        dialog.exec();
    }
    services.settings().setDidUserSeeOnboarding(true);
    return true;
}

}  // namespace dovrel::app
