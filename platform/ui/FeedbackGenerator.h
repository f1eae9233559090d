#pragma once

#include <functional>
#include <string_view>

namespace dovrel::ui {

// Feedback generators, as a phone has them for its haptic engine. The desktop has no haptics:
// each occurrence plays a freedesktop sound-theme event through libcanberra instead, on a
// background thread, so a call never blocks and never fails; with no sound server (or no sound
// theme) nothing is heard. The events:
//   notification success "complete", warning "dialog-warning", error "dialog-error";
//   impact light "button-pressed", medium "button-toggle-on", heavy "bell";
//   selection changed "message".
// Generators may be made and fired from any thread.

class NotificationFeedbackGenerator {
  public:
    enum class FeedbackType { success = 0, warning = 1, error = 2 };

    // Sets up the sound context ahead of time (optional).
    void prepare();
    void notificationOccurred(FeedbackType type);
};

class ImpactFeedbackGenerator {
  public:
    enum class FeedbackStyle { light = 0, medium = 1, heavy = 2 };

    explicit ImpactFeedbackGenerator(FeedbackStyle style = FeedbackStyle::medium) : style_(style) {}
    FeedbackStyle style() const { return style_; }

    void prepare();
    void impactOccurred();

  private:
    FeedbackStyle style_;
};

class SelectionFeedbackGenerator {
  public:
    void prepare();
    void selectionChanged();
};

// The sound event of each occurrence.
std::string_view soundEvent(NotificationFeedbackGenerator::FeedbackType type);
std::string_view soundEvent(ImpactFeedbackGenerator::FeedbackStyle style);
std::string_view selectionSoundEvent();

// Observes every event the generators hand to the player (tests; the player still plays it).
// Called on the firing thread. Pass an empty function to stop observing.
void setFeedbackSoundObserver(std::function<void(std::string_view event)> observer);

}  // namespace dovrel::ui
