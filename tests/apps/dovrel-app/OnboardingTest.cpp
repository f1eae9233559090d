// The welcome is shown on the first launch only.

#include "apps/dovrel-app/Onboarding.h"
#include "tests/apps/dovrel-app/AppTestSupport.h"

namespace dovrel::app::test {
namespace {

class OnboardingTest : public AppTest {};

TEST_F(OnboardingTest, TheWelcomeIsShownOnceAndRemembered) {
    auto& window = open();
    ASSERT_FALSE(services_->settings().didUserSeeOnboarding());
    int shown = 0;
    const auto present = [&](OnboardingDialog& dialog) {
        ++shown;
        EXPECT_EQ(dialog.windowTitle(), "Welcome to Dovrel");
    };
    EXPECT_TRUE(showOnboardingIfNeeded(*services_, &window, present));
    EXPECT_TRUE(services_->settings().didUserSeeOnboarding());
    EXPECT_FALSE(showOnboardingIfNeeded(*services_, &window, present));
    EXPECT_EQ(shown, 1);
}

}  // namespace
}  // namespace dovrel::app::test
