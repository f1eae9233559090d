#include "DovrelFoundation/Appearance/StringExtensions.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "platform/foundation/RegionOverrides.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel {
namespace {

using testing::ScopedEnvironment;

constexpr NSRange kNotFound{NSRange::kNotFound, 0};

// Pins the language of the string tables. LANGUAGE would take precedence over the pinned
// locale in gettext's lookup, so it is cleared for the test.
class LocalizedTest : public ::testing::Test {
  protected:
    ScopedEnvironment language_{"LANGUAGE", std::nullopt};
};

// ---- plural suffixes ----

TEST(PluralSuffix, OneForOneFewForTwoToFourManyForEverythingElse) {
    EXPECT_EQ(pluralSuffix(1), ".One");
    for (std::int64_t count : {2, 3, 4}) {
        EXPECT_EQ(pluralSuffix(count), ".Few") << count;
    }
    for (std::int64_t count : {0, 5, 6, 11, 12, 21, 22, 100, -1, -2, -4}) {
        EXPECT_EQ(pluralSuffix(count), ".Many") << count;
    }
    EXPECT_EQ(pluralSuffix(std::numeric_limits<std::int64_t>::max()), ".Many");
    EXPECT_EQ(pluralSuffix(std::numeric_limits<std::int64_t>::min()), ".Many");
}

TEST_F(LocalizedTest, CountsZeroAndFiveUseTheManyKeyAndFourTheFewKey) {
    // An untranslated key comes back as itself, so the looked-up key shows.
    EXPECT_EQ(localized("Untranslated.Phrase", 0), "Untranslated.Phrase.Many");
    EXPECT_EQ(localized("Untranslated.Phrase", 5), "Untranslated.Phrase.Many");
    EXPECT_EQ(localized("Untranslated.Phrase", 4), "Untranslated.Phrase.Few");
    EXPECT_EQ(localized("Untranslated.Phrase", 1), "Untranslated.Phrase.One");
    EXPECT_EQ(localized("Untranslated.Phrase", -3), "Untranslated.Phrase.Many");
}

TEST_F(LocalizedTest, CountsZeroAndFiveUseTheManyFormAndFourTheFewFormInUkrainian) {
    ScopedLocale locale("uk_UA");
    EXPECT_EQ(localized("RepeatInterval.Times", 0), "0 разів");
    EXPECT_EQ(localized("RepeatInterval.Times", 5), "5 разів");
    EXPECT_EQ(localized("RepeatInterval.Times", 4), "4 рази");
}

TEST_F(LocalizedTest, EnglishCountedPhrasesForEveryForm) {
    ScopedLocale locale("en_US");
    EXPECT_EQ(localized("RepeatInterval.Times", 1), "1 time");
    EXPECT_EQ(localized("RepeatInterval.Times", 3), "3 times");
    EXPECT_EQ(localized("RepeatInterval.Times", 5), "5 times");
    EXPECT_EQ(localized("RepeatInterval.PerDays", 1), "in 1 day");
    EXPECT_EQ(localized("RepeatInterval.PerDays", 2), "in 2 days");
    EXPECT_EQ(localized("RepeatInterval.PerDays", 14), "in 14 days");
    EXPECT_EQ(localized("RepeatInterval.EveryDay"), "every day");
    EXPECT_EQ(localized("RepeatInterval.PerWeek"), "per week");
}

TEST_F(LocalizedTest, UkrainianCountedPhrasesForEveryForm) {
    ScopedLocale locale("uk_UA");
    EXPECT_EQ(localized("RepeatInterval.Times", 1), "1 раз");
    EXPECT_EQ(localized("RepeatInterval.Times", 3), "3 рази");
    EXPECT_EQ(localized("RepeatInterval.Times", 5), "5 разів");
    EXPECT_EQ(localized("RepeatInterval.PerDays", 1), "за 1 день");
    EXPECT_EQ(localized("RepeatInterval.PerDays", 2), "за 2 дні");
    EXPECT_EQ(localized("RepeatInterval.PerDays", 7), "за 7 днів");
    EXPECT_EQ(localized("RepeatInterval.EveryDay"), "щодня");
    EXPECT_EQ(localized("RepeatInterval.PerWeek"), "на тиждень");
}

TEST_F(LocalizedTest, SuffixFollowsTheNumberOnlyNotTheLanguagesOwnPluralRules) {
    ScopedLocale locale("uk_UA");
    // Ukrainian grammar would say "21 раз" and "22 рази"; the suffix rule looks at the number
    // alone, so both take the .Many form.
    EXPECT_EQ(localized("RepeatInterval.Times", 21), "21 разів");
    EXPECT_EQ(localized("RepeatInterval.Times", 22), "22 разів");
    EXPECT_EQ(localized("RepeatInterval.Times", 11), "11 разів");
}

TEST_F(LocalizedTest, EveryIntegerPlaceholderFormTakesTheCount) {
    ScopedLocale locale("en_US");
    EXPECT_EQ(localized("Test.Apples", 1), "1 apple");                     // %d
    EXPECT_EQ(localized("Test.Apples", 3), "3 apples");                    // %ld
    EXPECT_EQ(localized("Test.Apples", 9000000000), "9000000000 apples");  // %lld, 64 bits
    EXPECT_EQ(localized("Test.Apples", -7), "-7 apples");
    EXPECT_EQ(localized("Test.Progress", 40), "40 of 100% done");  // %@ and %%
}

TEST_F(LocalizedTest, UntranslatedKeyComesBackAsItself) {
    ScopedLocale locale("uk_UA");
    EXPECT_EQ(localized("No.Such.Key"), "No.Such.Key");
    EXPECT_EQ(localized(""), "");
}

// ---- capitalizingFirstLetter ----

TEST(CapitalizingFirstLetter, OnlyTheFirstLetterChangesTheRestKeepsItsCase) {
    EXPECT_EQ(capitalizingFirstLetter("hello World"), "Hello World");
    EXPECT_EQ(capitalizingFirstLetter("hELLO"), "HELLO");
    EXPECT_EQ(capitalizingFirstLetter("Already"), "Already");
    EXPECT_EQ(capitalizingFirstLetter("a"), "A");
}

TEST(CapitalizingFirstLetter, EmptyTextStaysEmpty) {
    EXPECT_EQ(capitalizingFirstLetter(""), "");
}

TEST(CapitalizingFirstLetter, NonLatinLetters) {
    EXPECT_EQ(capitalizingFirstLetter("їжак бІгає"), "Їжак бІгає");
    EXPECT_EQ(capitalizingFirstLetter("ωmega"), "Ωmega");
}

TEST(CapitalizingFirstLetter, TitleCaseNotUpperCase) {
    EXPECT_EQ(capitalizingFirstLetter("ǆungla"), "ǅungla");   // U+01C6 -> U+01C5, not U+01C4
    EXPECT_EQ(capitalizingFirstLetter("ßtraße"), "Sstraße");  // full case mapping
}

TEST(CapitalizingFirstLetter, FirstCharacterKeepsItsCombiningMarks) {
    EXPECT_EQ(capitalizingFirstLetter("e\u0301clair"), "E\u0301clair");
    EXPECT_EQ(capitalizingFirstLetter("élan"), "Élan");
}

TEST(CapitalizingFirstLetter, TextThatDoesNotStartWithALetterIsUnchanged) {
    EXPECT_EQ(capitalizingFirstLetter("1st place"), "1st place");
    EXPECT_EQ(capitalizingFirstLetter(" leading space"), " leading space");
    EXPECT_EQ(capitalizingFirstLetter("😀 smile"), "😀 smile");
}

TEST(CapitalizingFirstLetter, RestIsCopiedByteForByte) {
    EXPECT_EQ(capitalizingFirstLetter("a\xFF\xFEz"), "A\xFF\xFEz");
}

// ---- nsRange ----

TEST(NSRange, WholeTextInUtf16Units) {
    EXPECT_EQ(nsRange("hello"), (NSRange{0, 5}));
    EXPECT_EQ(nsRange("привіт"), (NSRange{0, 6}));
    EXPECT_EQ(nsRange("😀a"), (NSRange{0, 3}));  // a surrogate pair and one unit
}

TEST(NSRange, EmptyTextIsNotFound) {
    EXPECT_EQ(nsRange(""), kNotFound);
}

TEST(NSRange, FirstOccurrenceInUtf16Units) {
    EXPECT_EQ(nsRange("hello world", "world"), (NSRange{6, 5}));
    EXPECT_EQ(nsRange("abab", "b"), (NSRange{1, 1}));
    EXPECT_EQ(nsRange("😀 світ", "світ"), (NSRange{3, 4}));
    EXPECT_EQ(nsRange("x😀y", "😀"), (NSRange{1, 2}));
}

TEST(NSRange, MissingOrEmptyNeedleIsNotFound) {
    EXPECT_EQ(nsRange("hello", "world"), kNotFound);
    EXPECT_EQ(nsRange("hello", ""), kNotFound);
    EXPECT_EQ(nsRange("", "a"), kNotFound);
    EXPECT_EQ(nsRange("hello", "Hello"), kNotFound);
}

}  // namespace
}  // namespace dovrel
