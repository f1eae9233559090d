// The three blobs the store keeps in transformable attributes: a colour, a repeat interval and
// the five latest checkmark dates. What a decoder accepts is then used as the program uses it.

#include <cstdint>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "DovrelFoundation/Progress/HabitProgress.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    const Data data(bytes, bytes + size);
    if (const auto color = colorFromBlob(data)) {
        (void)hex(*color);
        (void)colorBlob(*color);
    }
    const auto interval = repeatIntervalFromBlob(data);
    const auto lastFive = lastFivePerformingDatesFromBlob(data);
    if (interval) {
        (void)interval->name();
        (void)repeatIntervalBlob(*interval);
    }
    if (lastFive) {
        (void)lastFivePerformingDatesBlob(*lastFive);
    }
    // A habit's progress on a later day, from both caches as the list computes it.
    const Date reference(800'000'000.0);
    (void)habitProgress(interval, lastFive, 42.0, reference + 10 * 86'400.0,
                        [] { return std::vector<Date>{}; });
    return 0;
}
