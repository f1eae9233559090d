#pragma once

#include <QAbstractButton>
#include <QLabel>
#include <functional>
#include <optional>
#include <string>

namespace dovrel {

// What a label shows.
struct LabelViewModel {
    std::optional<std::string> text;
};

// What a button shows and does when tapped (clicked).
struct ButtonViewModel {
    std::optional<std::string> title;
    std::function<void()> action;  // empty: a tap does nothing
};

// Sets the label's text to the model's; no model, or a model without text, clears it. The
// label's visibility is not changed.
void setup(QLabel* label, const std::optional<LabelViewModel>& viewModel);

// Keeps the model on the button (until the button is destroyed or set up without one):
//   no model before, none now: nothing;
//   none before, a model now: store it, set the title (cleared without one), connect the tap
//     handler to clicks, show the button;
//   a model before, none now: forget it, clear the title, disconnect the handler, hide it;
//   a model before and now: replace it and set the title; connection and visibility stay.
// So a button without a model is hidden, and its handler is connected once however often it is
// set up. The handler runs the stored model's action, when it has one. Main thread only.
void setup(QAbstractButton* button, const std::optional<ButtonViewModel>& viewModel);

// The model the button was last set up with.
std::optional<ButtonViewModel> viewModel(const QAbstractButton* button);

// A closure run on every tap, independent of the view model (a button may have both; both run).
// Setting one stores it and connects the button to performActionOnTap once; setting an empty one
// removes the stored closure.
std::function<void()> actionOnTap(const QAbstractButton* button);
void setActionOnTap(QAbstractButton* button, std::function<void()> action);
// Runs the stored closure, if there is one.
void performActionOnTap(QAbstractButton* button);

}  // namespace dovrel
