#include <gtest/gtest.h>

#include <QFile>
#include <QLabel>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "DovrelFoundation/UI/LoadFromNib.h"
#include "DovrelFoundation/UI/ModalContext.h"
#include "DovrelFoundation/UI/MultiLineButton.h"
#include "DovrelFoundation/UI/TapticFeedbackGenerator.h"
#include "DovrelFoundation/UI/UIKitExtensions.h"
#include "DovrelFoundation/UI/WeakContainer.h"
#include "platform/ui/FeedbackGenerator.h"
#include "platform/ui/WrappingLabel.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel {
namespace {

class ControlsTest : public ::testing::Test {
  protected:
    void SetUp() override { ui::test::application(); }
};

TEST_F(ControlsTest, AWeakContainerYieldsNothingOnceItsObjectIsReleased) {
    auto shared = std::make_shared<int>(7);
    WeakContainer<int> box(shared);
    ASSERT_NE(box.value(), nullptr);
    EXPECT_EQ(*box.value(), 7);
    shared.reset();
    EXPECT_EQ(box.value(), nullptr);

    auto* widget = new QWidget;
    WeakContainer<QWidget> widgetBox(widget);
    EXPECT_EQ(widgetBox.value(), widget);
    delete widget;
    EXPECT_EQ(widgetBox.value(), nullptr);
}

TEST_F(ControlsTest, AMultiLineButtonWithoutTitleLabelHasZeroIntrinsicSize) {
    MultiLineButton button;
    ASSERT_EQ(button.titleLabel(), nullptr);
    EXPECT_EQ(button.intrinsicContentSize(), QSize(0, 0));
    EXPECT_EQ(button.sizeHint(), QSize(0, 0));
}

TEST_F(ControlsTest, AMultiLineButtonWrapsItsTitleAtTheWidthItIsGiven) {
    MultiLineButton button;
    button.setTitle(QString("Remind me to drink a glass of water every two hours"));
    ASSERT_NE(button.titleLabel(), nullptr);
    EXPECT_EQ(button.intrinsicContentSize(), button.titleLabel()->sizeHint());
    const int oneLine = button.titleLabel()->sizeHint().height();
    button.resize(120, 200);
    button.layoutSubviews();  // what a resize event runs once the button is on screen
    EXPECT_EQ(button.titleLabel()->preferredMaxLayoutWidth(), button.titleLabel()->width());
    EXPECT_GT(button.titleLabel()->width(), 0);
    EXPECT_LE(button.intrinsicContentSize().width(), 120);
    EXPECT_GT(button.intrinsicContentSize().height(), oneLine);  // wrapped over several lines
}

TEST_F(ControlsTest, EachFeedbackShortcutFiresItsOwnEvent) {
    std::mutex lock;
    std::vector<std::string> events;
    ui::setFeedbackSoundObserver([&](std::string_view event) {
        const std::lock_guard guard(lock);
        events.emplace_back(event);
    });
    TapticFeedbackGenerator::generateNotificationFeedbackSuccess();
    TapticFeedbackGenerator::generateNotificationFeedbackWarning();
    TapticFeedbackGenerator::generateNotificationFeedbackError();
    TapticFeedbackGenerator::generateImpactFeedbackLight();
    TapticFeedbackGenerator::generateImpactFeedbackMedium();
    TapticFeedbackGenerator::generateImpactFeedbackHeavy();
    TapticFeedbackGenerator::generateSelectionFeedback();
    ui::setFeedbackSoundObserver({});
    const std::lock_guard guard(lock);
    std::vector<std::string> expected = {
        std::string(ui::soundEvent(ui::NotificationFeedbackGenerator::FeedbackType::success)),
        std::string(ui::soundEvent(ui::NotificationFeedbackGenerator::FeedbackType::warning)),
        std::string(ui::soundEvent(ui::NotificationFeedbackGenerator::FeedbackType::error)),
        std::string(ui::soundEvent(ui::ImpactFeedbackGenerator::FeedbackStyle::light)),
        std::string(ui::soundEvent(ui::ImpactFeedbackGenerator::FeedbackStyle::medium)),
        std::string(ui::soundEvent(ui::ImpactFeedbackGenerator::FeedbackStyle::heavy)),
        std::string(ui::selectionSoundEvent())};
    std::sort(expected.begin(), expected.end());
    std::sort(events.begin(), events.end());
    EXPECT_EQ(events, expected);
}

TEST_F(ControlsTest, EdgeInsetsLeaveOutSidesAsZero) {
    EXPECT_EQ(EdgeInsets::make(), (EdgeInsets{0, 0, 0, 0}));
    EXPECT_EQ(EdgeInsets::make(4, std::nullopt, 8), (EdgeInsets{4, 0, 8, 0}));
    EXPECT_EQ(EdgeInsets::make(std::nullopt, std::nullopt, std::nullopt, 2),
              (EdgeInsets{0, 0, 0, 2}));
}

TEST_F(ControlsTest, AddArrangedSubviewsKeepsArgumentOrder) {
    ui::StackView stack;
    auto* first = new QLabel("1");
    auto* second = new QLabel("2");
    auto* third = new QLabel("3");
    addArrangedSubviews(&stack, first, second, third);
    EXPECT_EQ(stack.arrangedSubviews(), (std::vector<QWidget*>{first, second, third}));
}

struct HabitCell {
    static constexpr const char* kClassName = "HabitCell";
};

TEST_F(ControlsTest, ACellIsIdentifiedByItsClassName) {
    EXPECT_EQ(reuseIdentifier<HabitCell>(), "HabitCell");
    EXPECT_EQ(nibName<HabitCell>(), "HabitCell");
}

class PresentedController : public ui::ViewController {};

TEST_F(ControlsTest, AControllerIsAModalContext) {
    auto presenter = std::make_shared<ui::ViewController>();
    presenter->view()->resize(200, 100);
    ViewControllerModalContext context(presenter);
    ModalContext& modal = context;
    EXPECT_FALSE(modal.isPresenting());
    bool presented = false;
    modal.present(std::make_shared<PresentedController>(), false, [&] { presented = true; });
    EXPECT_TRUE(modal.isPresenting());
    EXPECT_FALSE(presented);  // after the transition, not inside the call
    for (int i = 0; i < 20 && !presented; ++i)
        QCoreApplication::processEvents();
    EXPECT_TRUE(presented);
    bool dismissed = false;
    modal.dismiss(false, [&] { dismissed = true; });
    for (int i = 0; i < 20 && !dismissed; ++i)
        QCoreApplication::processEvents();
    EXPECT_TRUE(dismissed);
    EXPECT_FALSE(modal.isPresenting());
    modal.present(std::make_shared<PresentedController>());  // animated, no completion
    EXPECT_TRUE(modal.isPresenting());
    modal.dismiss();
    for (int i = 0; i < 20 && modal.isPresenting(); ++i)
        QCoreApplication::processEvents();
    EXPECT_FALSE(modal.isPresenting());
    presenter.reset();
    EXPECT_FALSE(context.isPresenting());  // the controller is gone: nothing presents
}

class SettingsController : public ui::ViewController {
  public:
    static constexpr const char* kClassName = "SettingsController";
};

// The main bundle is found once per process, so the nib is tried in a process of its own whose
// resources hold a nib named after the class.
TEST_F(ControlsTest, LoadFromNibMakesTheControllerWithTheNibOfItsClassName) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process: a forked Qt one crashes
    EXPECT_EXIT(
        {
            const std::filesystem::path built = DOVREL_BUILD_RESOURCES_DIR;
            const auto resources = std::filesystem::temp_directory_path() /
                                   ("dovrel-nib-test-" + std::to_string(getpid()));
            std::filesystem::create_directories(resources / "nibs");
            std::filesystem::copy_file(built / "colors.json", resources / "colors.json");
            std::ofstream(resources / "nibs" / "SettingsController.ui")
                << R"(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0"><class>Settings</class>
<widget class="QWidget" name="Settings"><layout class="QVBoxLayout" name="layout">
<item><widget class="QLabel" name="title"><property name="text"><string>Reminders</string></property></widget></item>
</layout></widget></ui>)";
            setenv("DOVREL_RESOURCES", resources.c_str(), 1);
            const auto controller = loadFromNib<SettingsController>();
            const auto* title = controller->view()->findChild<QLabel*>("title");
            std::filesystem::remove_all(resources);
            std::fprintf(stderr, "title %s\n", title ? qPrintable(title->text()) : "missing");
            std::exit(title != nullptr && title->text() == "Reminders" ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "title Reminders");
}

class MissingController : public ui::ViewController {
  public:
    static constexpr const char* kClassName = "MissingController";
};

TEST_F(ControlsTest, LoadFromNibWithoutTheNibStops) {
    EXPECT_DEATH(loadFromNib<MissingController>(),
                 "Fatal error: Could not load nib named MissingController in the main bundle");
}

}  // namespace
}  // namespace dovrel
