#include "platform/notifications/JsonWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace dovrel::notifications {
namespace {

TEST(JsonWriter, ObjectsNestAndPlaceTheirCommas) {
    JsonWriter writer;
    writer.beginObject();
    writer.key("a").integer(1);
    writer.key("b").beginObject().key("c").text("x").key("d").null().endObject();
    writer.key("e").boolean(false);
    writer.endObject();
    EXPECT_EQ(writer.result(), R"({"a":1,"b":{"c":"x","d":null},"e":false})");
}

TEST(JsonWriter, AnEmptyObjectIsTwoBraces) {
    JsonWriter writer;
    writer.beginObject().key("inner").beginObject().endObject().endObject();
    EXPECT_EQ(writer.result(), R"({"inner":{}})");
}

TEST(JsonWriter, QuotesBackslashesAndControlCharactersAreEscaped) {
    JsonWriter writer;
    writer.beginObject().key("t").text("say \"hi\"\\\n\t\r\x01\x1f").endObject();
    EXPECT_EQ(writer.result(), R"({"t":"say \"hi\"\\\n\t\r\u0001\u001f"})");
    EXPECT_EQ(nlohmann::json::parse(writer.result())["t"], "say \"hi\"\\\n\t\r\x01\x1f");
}

TEST(JsonWriter, ValidUtf8IsKeptAsItIs) {
    const std::string text = "Пити воду 💧 ü";
    JsonWriter writer;
    writer.beginObject().key("t").text(text).endObject();
    EXPECT_EQ(nlohmann::json::parse(writer.result())["t"], text);
}

TEST(JsonWriter, BytesThatAreNotUtf8BecomeReplacementCharacters) {
    // A lone continuation byte, an overlong "/", a surrogate, a truncated sequence at the end.
    const std::string text = std::string("a\x80") + "b\xC0\xAF" + "c\xED\xA0\x80" + "d\xE2\x82";
    JsonWriter writer;
    writer.beginObject().key("t").text(text).endObject();
    const auto parsed = nlohmann::json::parse(writer.result());
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(parsed["t"], "a" + replacement + "b" + replacement + replacement + "c" + replacement +
                               replacement + replacement + "d" + replacement + replacement);
}

TEST(JsonWriter, RealsReadBackExactlyAndStayReals) {
    for (const double value : {0.0, 3.0, -2.5, 0.1, 1e300, 5e-324, 786297600.123456789,
                               std::numeric_limits<double>::max()}) {
        JsonWriter writer;
        writer.beginObject().key("r").real(value).endObject();
        const auto parsed = nlohmann::json::parse(writer.result())["r"];
        EXPECT_TRUE(parsed.is_number_float()) << writer.result();
        EXPECT_EQ(parsed.get<double>(), value) << writer.result();
    }
}

TEST(JsonWriter, IntegersKeepTheirWholeRange) {
    JsonWriter writer;
    writer.beginObject()
        .key("min")
        .integer(std::numeric_limits<std::int64_t>::min())
        .key("max")
        .unsignedInteger(std::numeric_limits<std::uint64_t>::max())
        .endObject();
    const auto parsed = nlohmann::json::parse(writer.result());
    EXPECT_EQ(parsed["min"].get<std::int64_t>(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(parsed["max"].get<std::uint64_t>(), std::numeric_limits<std::uint64_t>::max());
}

}  // namespace
}  // namespace dovrel::notifications
