#pragma once

namespace dovrel {

// Shortcuts for feedback: each makes a fresh generator and fires it at once, unprepared. On the
// desktop a generator plays a sound-theme event where a sound server answers (see
// platform/ui/FeedbackGenerator.h) and never blocks or fails. Any thread.
struct TapticFeedbackGenerator {
    static void generateNotificationFeedbackSuccess();
    static void generateNotificationFeedbackWarning();
    static void generateNotificationFeedbackError();
    static void generateImpactFeedbackLight();
    static void generateImpactFeedbackMedium();
    static void generateImpactFeedbackHeavy();
    static void generateSelectionFeedback();
};

}  // namespace dovrel
