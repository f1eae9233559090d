#include "platform/foundation/ColorAssetCatalog.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/foundation/Error.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel {
namespace {

using testing::TemporaryDirectory;

std::int64_t errorCode(std::string_view json) {
    try {
        ColorAssetCatalog::parse(json);
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), ColorAssetCatalog::kErrorDomain);
        return error.code();
    }
    return 0;
}

TEST(ColorAssetCatalog, HexTextsGiveRgbaComponents) {
    EXPECT_EQ(ColorAssetCatalog::componentsFromHexString("#FF8000"),
              (std::vector<double>{1.0, 128 / 255.0, 0.0, 1.0}));
    EXPECT_EQ(ColorAssetCatalog::componentsFromHexString("#ff800033"),
              (std::vector<double>{1.0, 128 / 255.0, 0.0, 0x33 / 255.0}));
}

TEST(ColorAssetCatalog, OtherTextsAreNotColours) {
    for (std::string_view text : {"", "#", "FF8000", "#FF800", "#FF80000", "#GG8000", "#FF8000 ",
                                  "#FF80003344", "rgb(1,2,3)"}) {
        EXPECT_EQ(ColorAssetCatalog::componentsFromHexString(text), std::nullopt) << text;
    }
}

TEST(ColorAssetCatalog, NamedColoursCarryLightAndDarkAppearances) {
    const auto catalog = ColorAssetCatalog::parse(R"({
        "banana": {"light": "#FFFF00", "dark": "#808000"},
        "plain": {"light": "#00000080"}
    })");
    EXPECT_EQ(catalog.size(), 2u);
    EXPECT_EQ(catalog.color("banana"),
              Color({1.0, 1.0, 0.0, 1.0}, std::vector<double>{128 / 255.0, 128 / 255.0, 0.0, 1.0}));
    EXPECT_EQ(catalog.color("plain"), Color({0.0, 0.0, 0.0, 128 / 255.0}));
    EXPECT_EQ(catalog.color("Banana"), std::nullopt);
    EXPECT_EQ(catalog.color("missing"), std::nullopt);
}

TEST(ColorAssetCatalog, MalformedFilesAreRejected) {
    EXPECT_EQ(errorCode("{"), ColorAssetCatalog::kMalformedFile);
    EXPECT_EQ(errorCode("[]"), ColorAssetCatalog::kMalformedFile);
    EXPECT_EQ(errorCode(R"({"a": "#FFFFFF"})"), ColorAssetCatalog::kMalformedFile);
    EXPECT_EQ(errorCode(R"({"a": {"dark": "#FFFFFF"}})"), ColorAssetCatalog::kMalformedFile);
    EXPECT_EQ(errorCode(R"({"a": {"light": 16777215}})"), ColorAssetCatalog::kMalformedFile);
    EXPECT_EQ(errorCode(R"({"a": {"light": "#FFFFFF", "dark": "white"}})"),
              ColorAssetCatalog::kMalformedFile);
    EXPECT_EQ(errorCode("{}"), 0);
}

TEST(ColorAssetCatalog, LoadsAFileAndNamesItInErrors) {
    TemporaryDirectory folder;
    const auto good = folder.path() / "colors.json";
    std::ofstream(good) << R"({"sky": {"light": "#0080FF"}})";
    EXPECT_EQ(ColorAssetCatalog::load(good).color("sky"), Color({0.0, 128 / 255.0, 1.0, 1.0}));

    const auto bad = folder.path() / "bad.json";
    std::ofstream(bad) << "not json";
    try {
        ColorAssetCatalog::load(bad);
        FAIL() << "loaded a malformed file";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), ColorAssetCatalog::kMalformedFile);
        EXPECT_NE(error.localizedDescription().find(bad.string()), std::string::npos);
    }
}

TEST(ColorAssetCatalog, MissingFileIsUnreadable) {
    TemporaryDirectory folder;
    try {
        ColorAssetCatalog::load(folder.path() / "missing.json");
        FAIL() << "loaded a missing file";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), ColorAssetCatalog::kUnreadableFile);
    }
}

}  // namespace
}  // namespace dovrel
