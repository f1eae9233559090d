#include "platform/foundation/KeyedArchiver.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/foundation/KeyedUnarchiver.h"
#include "platform/foundation/PropertyList.h"

namespace dovrel {
namespace {

Data fixture(const std::string& name) {
    std::ifstream file(std::string(DOVREL_TEST_DATA_DIR) + "/keyed-archives/" + name,
                       std::ios::binary);
    EXPECT_TRUE(file.good()) << name;
    return Data(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A node of a linked list, decoded recursively through its "child".
struct Node : SecureCoding {
    static constexpr std::string_view kClassName = "Node";
    std::int64_t value = 0;
    const Node* child = nullptr;         // what encode() writes
    std::shared_ptr<Node> decodedChild;  // what decode() read

    std::string className() const override { return std::string(kClassName); }
    void encode(KeyedArchiver& coder) const override {
        coder.encodeInteger(value, "value");
        if (child != nullptr) {
            coder.encodeObject(child, "child");
        }
    }
    static std::optional<Node> decode(KeyedUnarchiver& coder) {
        Node node;
        node.value = coder.decodeInteger("value");
        if (std::optional<Node> child = coder.decodeObject<Node>("child")) {
            node.decodedChild = std::make_shared<Node>(std::move(*child));
        }
        return node;
    }
};

// One field of every kind the coder handles.
struct Sample : SecureCoding {
    static constexpr std::string_view kClassName = "Sample";
    std::int64_t integer = 0;
    double real = 0;
    bool flag = false;
    Data bytes;
    std::optional<std::string> text;
    std::optional<Date> date;
    std::optional<std::int64_t> nodeValue;
    const Node* node = nullptr;
    bool encodeNullObject = false;

    std::string className() const override { return std::string(kClassName); }
    void encode(KeyedArchiver& coder) const override {
        coder.encodeInteger(integer, "integer");
        coder.encodeDouble(real, "real");
        coder.encodeBool(flag, "flag");
        coder.encodeBytes(bytes, "bytes");
        if (text) {
            coder.encodeString(*text, "text");
        }
        if (date) {
            coder.encodeDate(*date, "date");
        }
        if (node != nullptr) {
            coder.encodeObject(node, "node");
        }
        if (encodeNullObject) {
            coder.encodeObject(nullptr, "nothing");
        }
    }
    static std::optional<Sample> decode(KeyedUnarchiver& coder) {
        Sample sample;
        sample.integer = coder.decodeInteger("integer");
        sample.real = coder.decodeDouble("real");
        sample.flag = coder.decodeBool("flag");
        sample.bytes = coder.decodeBytes("bytes").value_or(Data{});
        sample.text = coder.decodeString("text");
        sample.date = coder.decodeDate("date");
        if (std::optional<Node> node = coder.decodeObject<Node>("node")) {
            sample.nodeValue = node->value;
        }
        return sample;
    }
};

// Parses archive bytes back into a property list for looking at the layout.
PlistNode parsed(const Data& data) {
    std::optional<PlistNode> root = parseBinaryPropertyList(data);
    EXPECT_TRUE(root.has_value());
    return root ? std::move(*root) : PlistNode(plist_new_dict());
}

std::string stringAt(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) {
        return "<not a string>";
    }
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return std::string(text, length);
}

std::uint64_t uidAt(plist_t node) {
    std::uint64_t uid = std::numeric_limits<std::uint64_t>::max();
    if (node != nullptr && plist_get_node_type(node) == PLIST_UID) {
        plist_get_uid_val(node, &uid);
    }
    return uid;
}

TEST(KeyedArchiver, WritesTheKeyedArchiveLayout) {
    Sample sample;
    sample.integer = 42;
    const PlistNode archive = parsed(KeyedArchiver::archivedData(sample));

    EXPECT_EQ(stringAt(plist_dict_get_item(archive.get(), "$archiver")), "NSKeyedArchiver");
    std::uint64_t version = 0;
    plist_get_uint_val(plist_dict_get_item(archive.get(), "$version"), &version);
    EXPECT_EQ(version, 100000u);
    const plist_t top = plist_dict_get_item(archive.get(), "$top");
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(uidAt(plist_dict_get_item(top, "root")), 1u);

    const plist_t objects = plist_dict_get_item(archive.get(), "$objects");
    ASSERT_NE(objects, nullptr);
    EXPECT_EQ(stringAt(plist_array_get_item(objects, 0)), "$null");
    const plist_t root = plist_array_get_item(objects, 1);
    ASSERT_EQ(plist_get_node_type(root), PLIST_DICT);
    std::uint64_t integer = 0;
    plist_get_uint_val(plist_dict_get_item(root, "integer"), &integer);
    EXPECT_EQ(integer, 42u);

    const std::uint64_t classUID = uidAt(plist_dict_get_item(root, "$class"));
    ASSERT_LT(classUID, plist_array_get_size(objects));
    const plist_t record = plist_array_get_item(objects, static_cast<std::uint32_t>(classUID));
    EXPECT_EQ(stringAt(plist_dict_get_item(record, "$classname")), "Sample");
    const plist_t classes = plist_dict_get_item(record, "$classes");
    ASSERT_EQ(plist_array_get_size(classes), 2u);
    EXPECT_EQ(stringAt(plist_array_get_item(classes, 0)), "Sample");
    EXPECT_EQ(stringAt(plist_array_get_item(classes, 1)), "NSObject");
}

TEST(KeyedArchiver, WritesDatesAsNSDateObjectsWithNSTime) {
    Sample sample;
    sample.date = Date(123.5);
    const PlistNode archive = parsed(KeyedArchiver::archivedData(sample));
    const plist_t objects = plist_dict_get_item(archive.get(), "$objects");
    const plist_t root = plist_array_get_item(objects, 1);
    const std::uint64_t dateUID = uidAt(plist_dict_get_item(root, "date"));
    ASSERT_LT(dateUID, plist_array_get_size(objects));
    const plist_t date = plist_array_get_item(objects, static_cast<std::uint32_t>(dateUID));
    double time = 0;
    plist_get_real_val(plist_dict_get_item(date, "NS.time"), &time);
    EXPECT_EQ(time, 123.5);
    const plist_t record = plist_array_get_item(
        objects, static_cast<std::uint32_t>(uidAt(plist_dict_get_item(date, "$class"))));
    EXPECT_EQ(stringAt(plist_dict_get_item(record, "$classname")), "NSDate");
}

TEST(KeyedArchiver, WritesStringsAsPlainStringObjectsOnce) {
    struct TwoStrings : SecureCoding {
        std::string className() const override { return "TwoStrings"; }
        void encode(KeyedArchiver& coder) const override {
            coder.encodeString("same", "first");
            coder.encodeString("same", "second");
        }
    };
    const PlistNode archive = parsed(KeyedArchiver::archivedData(TwoStrings()));
    const plist_t objects = plist_dict_get_item(archive.get(), "$objects");
    const plist_t root = plist_array_get_item(objects, 1);
    const std::uint64_t first = uidAt(plist_dict_get_item(root, "first"));
    EXPECT_EQ(first, uidAt(plist_dict_get_item(root, "second")));
    EXPECT_EQ(stringAt(plist_array_get_item(objects, static_cast<std::uint32_t>(first))), "same");
}

TEST(KeyedArchiver, RoundTripsEveryKindOfValue) {
    Node node;
    node.value = 9;
    Sample sample;
    sample.integer = -1234567890123;
    sample.real = -0.125;
    sample.flag = true;
    sample.bytes = {0x00, 0xFF, 0x10};
    sample.text = "Ünïcødé text";
    sample.date = Date(-86400.25);
    sample.node = &node;

    const std::optional<Sample> decoded =
        KeyedUnarchiver::unarchivedObject<Sample>(KeyedArchiver::archivedData(sample));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->integer, -1234567890123);
    EXPECT_EQ(decoded->real, -0.125);
    EXPECT_TRUE(decoded->flag);
    EXPECT_EQ(decoded->bytes, (Data{0x00, 0xFF, 0x10}));
    EXPECT_EQ(decoded->text, "Ünïcødé text");
    EXPECT_EQ(decoded->date, Date(-86400.25));
    EXPECT_EQ(decoded->nodeValue, 9);
}

TEST(KeyedArchiver, RoundTripsTheExtremeIntegers) {
    for (const std::int64_t value :
         {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{0},
          std::int64_t{255}, std::int64_t{65536}, std::numeric_limits<std::int64_t>::max()}) {
        Sample sample;
        sample.integer = value;
        const std::optional<Sample> decoded =
            KeyedUnarchiver::unarchivedObject<Sample>(KeyedArchiver::archivedData(sample));
        ASSERT_TRUE(decoded.has_value());
        EXPECT_EQ(decoded->integer, value);
    }
}

// Writes a key that starts with "$", as the archive's own entries do.
struct Dollar : SecureCoding {
    static constexpr std::string_view kClassName = "Dollar";
    std::int64_t value = 0;
    std::string className() const override { return "Dollar"; }
    void encode(KeyedArchiver& coder) const override { coder.encodeInteger(value, "$class"); }
    static std::optional<Dollar> decode(KeyedUnarchiver& coder) {
        Dollar dollar;
        dollar.value = coder.decodeInteger("$class");
        return dollar;
    }
};

TEST(KeyedArchiver, KeysStartingWithDollarAreEscapedAndReadBack) {
    Dollar dollar;
    dollar.value = 77;
    const Data data = KeyedArchiver::archivedData(dollar);
    const PlistNode archive = parsed(data);
    const plist_t root = plist_array_get_item(plist_dict_get_item(archive.get(), "$objects"), 1);
    EXPECT_NE(plist_dict_get_item(root, "$$class"), nullptr);
    const std::optional<Dollar> decoded = KeyedUnarchiver::unarchivedObject<Dollar>(data);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->value, 77);
}

TEST(KeyedArchiver, AbsentObjectIsTheNullReference) {
    Sample sample;
    sample.encodeNullObject = true;
    const PlistNode archive = parsed(KeyedArchiver::archivedData(sample));
    const plist_t root = plist_array_get_item(plist_dict_get_item(archive.get(), "$objects"), 1);
    EXPECT_EQ(uidAt(plist_dict_get_item(root, "nothing")), 0u);
}

TEST(KeyedArchiver, EncodedCycleTerminatesAndDecodesAsAbsent) {
    Node node;
    node.value = 1;
    node.child = &node;
    const Data data = KeyedArchiver::archivedData(node);
    const PlistNode archive = parsed(data);
    const plist_t root = plist_array_get_item(plist_dict_get_item(archive.get(), "$objects"), 1);
    EXPECT_EQ(uidAt(plist_dict_get_item(root, "child")), 1u);
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(data).has_value());
}

TEST(KeyedUnarchiver, MissingKeysDecodeAsZeroOrNothing) {
    struct Empty : SecureCoding {
        std::string className() const override { return "Sample"; }
        void encode(KeyedArchiver&) const override {}
    };
    const Data data = KeyedArchiver::archivedData(Empty());
    bool checked = false;
    const auto decoded = KeyedUnarchiver::unarchivedObject(
        data, {"Sample"}, [&](KeyedUnarchiver& coder) -> std::optional<int> {
            EXPECT_FALSE(coder.containsValue("integer"));
            EXPECT_EQ(coder.decodeInteger("integer"), 0);
            EXPECT_EQ(coder.decodeDouble("real"), 0.0);
            EXPECT_FALSE(coder.decodeBool("flag"));
            EXPECT_FALSE(coder.decodeBytes("bytes").has_value());
            EXPECT_FALSE(coder.decodeString("text").has_value());
            EXPECT_FALSE(coder.decodeDate("date").has_value());
            EXPECT_FALSE(coder.decodeObject<Node>("node").has_value());
            EXPECT_TRUE(coder.allKeys().empty());
            checked = true;
            return 1;
        });
    EXPECT_TRUE(checked);
    EXPECT_EQ(decoded, 1);
}

TEST(KeyedUnarchiver, RootOfAnotherClassIsAbsent) {
    Node node;
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Sample>(KeyedArchiver::archivedData(node)));
}

TEST(KeyedUnarchiver, NestedObjectOfAnotherClassIsAbsentWithoutSpoilingTheRest) {
    Node node;
    node.value = 5;
    Sample sample;
    sample.integer = 8;
    sample.node = &node;
    const Data data = KeyedArchiver::archivedData(sample);
    const auto decoded = KeyedUnarchiver::unarchivedObject(
        data, {"Sample"}, [](KeyedUnarchiver& coder) -> std::optional<std::int64_t> {
            EXPECT_FALSE(coder.decodeObject<Sample>("node").has_value());
            EXPECT_FALSE(coder.decodeDate("node").has_value());
            return coder.decodeInteger("integer");
        });
    EXPECT_EQ(decoded, 8);
}

TEST(KeyedUnarchiver, ScalarOfTheWrongKindMakesTheArchiveUnreadable) {
    Sample sample;
    sample.text = "words";
    const Data data = KeyedArchiver::archivedData(sample);
    const auto decoded = KeyedUnarchiver::unarchivedObject(
        data, {"Sample"}, [](KeyedUnarchiver& coder) -> std::optional<std::int64_t> {
            const std::int64_t value = coder.decodeInteger("text");  // a string object's UID
            EXPECT_TRUE(coder.error().has_value());
            return value;
        });
    EXPECT_FALSE(decoded.has_value());
}

TEST(KeyedUnarchiver, DecoderFailureGivesAbsentAndKeepsTheFirstError) {
    Sample sample;
    const Data data = KeyedArchiver::archivedData(sample);
    const auto decoded = KeyedUnarchiver::unarchivedObject(
        data, {"Sample"}, [](KeyedUnarchiver& coder) -> std::optional<int> {
            coder.failWithError(Error("Test", 1));
            coder.failWithError(Error("Test", 2));
            EXPECT_EQ(coder.error()->code(), 1);
            EXPECT_EQ(coder.decodeInteger("integer"), 0);
            return 1;
        });
    EXPECT_FALSE(decoded.has_value());
}

TEST(KeyedUnarchiver, DecoderThatThrowsGivesAbsent) {
    const Data data = KeyedArchiver::archivedData(Sample());
    const auto decoded = KeyedUnarchiver::unarchivedObject(
        data, {"Sample"},
        [](KeyedUnarchiver&) -> std::optional<int> { throw std::runtime_error("bad"); });
    EXPECT_FALSE(decoded.has_value());
}

TEST(KeyedUnarchiver, ReadsAHandWrittenChainOfObjects) {
    const std::optional<Node> node =
        KeyedUnarchiver::unarchivedObject<Node>(fixture("node-chain.plist"));
    ASSERT_TRUE(node.has_value());
    EXPECT_EQ(node->value, 1);
    ASSERT_NE(node->decodedChild, nullptr);
    EXPECT_EQ(node->decodedChild->value, 2);
    ASSERT_NE(node->decodedChild->decodedChild, nullptr);
    EXPECT_EQ(node->decodedChild->decodedChild->value, 3);
    EXPECT_EQ(node->decodedChild->decodedChild->decodedChild, nullptr);
}

TEST(KeyedUnarchiver, CyclicUIDsGiveAbsent) {
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(fixture("node-cycle.plist")));
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(fixture("class-refers-to-object.plist")));
}

TEST(KeyedUnarchiver, OutOfRangeUIDGivesAbsent) {
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(fixture("root-uid-out-of-range.plist")));
}

TEST(KeyedUnarchiver, GarbageAndForeignPropertyListsGiveAbsent) {
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(Data{}));
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(fixture("garbage.bin")));
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(fixture("bplist-not-an-archive.plist")));
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(fixture("wrong-archiver.plist")));
    const std::string xml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>";
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(Data(xml.begin(), xml.end())));
}

TEST(KeyedUnarchiver, EveryTruncationOfAnArchiveGivesAbsent) {
    Node child;
    child.value = 2;
    Node node;
    node.value = 1;
    node.child = &child;
    const Data data = KeyedArchiver::archivedData(node);
    ASSERT_TRUE(KeyedUnarchiver::unarchivedObject<Node>(data).has_value());
    for (std::size_t length = 0; length < data.size(); ++length) {
        EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(
            Data(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length))))
            << "length " << length;
    }
}

TEST(KeyedUnarchiver, DeepNestingGivesAbsent) {
    std::vector<Node> nodes(200);
    for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
        nodes[i].child = &nodes[i + 1];
    }
    EXPECT_FALSE(KeyedUnarchiver::unarchivedObject<Node>(KeyedArchiver::archivedData(nodes[0])));
    std::vector<Node> shallow(10);
    for (std::size_t i = 0; i + 1 < shallow.size(); ++i) {
        shallow[i].child = &shallow[i + 1];
    }
    EXPECT_TRUE(KeyedUnarchiver::unarchivedObject<Node>(KeyedArchiver::archivedData(shallow[0])));
}

}  // namespace
}  // namespace dovrel
