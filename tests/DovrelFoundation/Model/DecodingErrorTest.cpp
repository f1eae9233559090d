#include "DovrelFoundation/Model/DecodingError.h"

#include <gtest/gtest.h>

namespace dovrel {
namespace {

TEST(DecodingError, CodingPathTextPutsIndexesInBracketsAndKeysAfterDots) {
    EXPECT_EQ(DecodingError::codingPathText({}), "");
    EXPECT_EQ(DecodingError::codingPathText({"remind"}), "remind");
    EXPECT_EQ(DecodingError::codingPathText({"habits", "3", "performings", "0", "date"}),
              "habits[3].performings[0].date");
    EXPECT_EQ(DecodingError::codingPathText({"0", "name"}), "[0].name");
}

TEST(DecodingError, IsAnErrorOfItsDomainWithTheKindAsCodeAndThePlaceInTheDescription) {
    const DecodingError error(DecodingError::Kind::keyNotFound, {"habits", "1", "remind"},
                              "No value associated with key \"remind\".");
    EXPECT_EQ(error.domain(), "DecodingError");
    EXPECT_EQ(error.code(), 3);
    EXPECT_EQ(error.kind(), DecodingError::Kind::keyNotFound);
    EXPECT_EQ(error.localizedDescription(),
              "No value associated with key \"remind\". (at habits[1].remind)");
    EXPECT_EQ(error.userInfo().at("codingPath"), "habits[1].remind");
    EXPECT_EQ(error.userInfo().at("debugDescription"), "No value associated with key \"remind\".");

    const DecodingError atTop(DecodingError::Kind::dataCorrupted, {}, "Not a record.");
    EXPECT_EQ(atTop.localizedDescription(), "Not a record.");
}

}  // namespace
}  // namespace dovrel
