#include "DovrelFoundation/UI/TapticFeedbackGenerator.h"

#include "platform/ui/FeedbackGenerator.h"

namespace dovrel {

using ui::ImpactFeedbackGenerator;
using ui::NotificationFeedbackGenerator;

void TapticFeedbackGenerator::generateNotificationFeedbackSuccess() {
    NotificationFeedbackGenerator().notificationOccurred(
        NotificationFeedbackGenerator::FeedbackType::success);
}

void TapticFeedbackGenerator::generateNotificationFeedbackWarning() {
    NotificationFeedbackGenerator().notificationOccurred(
        NotificationFeedbackGenerator::FeedbackType::warning);
}

void TapticFeedbackGenerator::generateNotificationFeedbackError() {
    NotificationFeedbackGenerator().notificationOccurred(
        NotificationFeedbackGenerator::FeedbackType::error);
}

void TapticFeedbackGenerator::generateImpactFeedbackLight() {
    ImpactFeedbackGenerator(ImpactFeedbackGenerator::FeedbackStyle::light).impactOccurred();
}

void TapticFeedbackGenerator::generateImpactFeedbackMedium() {
    ImpactFeedbackGenerator(ImpactFeedbackGenerator::FeedbackStyle::medium).impactOccurred();
}

void TapticFeedbackGenerator::generateImpactFeedbackHeavy() {
    ImpactFeedbackGenerator(ImpactFeedbackGenerator::FeedbackStyle::heavy).impactOccurred();
}

void TapticFeedbackGenerator::generateSelectionFeedback() {
    ui::SelectionFeedbackGenerator().selectionChanged();
}

}  // namespace dovrel
