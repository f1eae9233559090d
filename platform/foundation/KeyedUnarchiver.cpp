#include "platform/foundation/KeyedUnarchiver.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace dovrel {

namespace {

// Deeper nesting than any archive of ours needs; bounds the recursion a hostile archive causes.
constexpr std::size_t kMaximumNesting = 64;

constexpr std::int64_t kCoderReadCorruptError = 4864;

std::string escapedKey(std::string_view key) {
    std::string escaped;
    if (!key.empty() && key.front() == '$') {
        escaped.push_back('$');
    }
    escaped.append(key);
    return escaped;
}

bool isType(plist_t node, plist_type type) {
    return node != nullptr && plist_get_node_type(node) == type;
}

std::optional<std::string_view> stringValue(plist_t node) {
    if (!isType(node, PLIST_STRING)) {
        return std::nullopt;
    }
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    if (text == nullptr) {
        return std::nullopt;
    }
    return std::string_view(text, length);
}

struct IteratorDeleter {
    void operator()(void* iterator) const noexcept { std::free(iterator); }
};

}  // namespace

KeyedUnarchiver::KeyedUnarchiver(PlistNode root, plist_t objects, plist_t top)
    : root_(std::move(root)), objects_(objects), current_(top) {}

std::unique_ptr<KeyedUnarchiver> KeyedUnarchiver::open(const Data& data) {
    std::optional<PlistNode> root = parseBinaryPropertyList(data);
    if (!root || !isType(root->get(), PLIST_DICT)) {
        return nullptr;
    }
    plist_t archive = root->get();
    const plist_t version = plist_dict_get_item(archive, "$version");
    std::uint64_t versionValue = 0;
    if (isType(version, PLIST_UINT)) {
        plist_get_uint_val(version, &versionValue);
    }
    const plist_t objects = plist_dict_get_item(archive, "$objects");
    const plist_t top = plist_dict_get_item(archive, "$top");
    if (stringValue(plist_dict_get_item(archive, "$archiver")) != "NSKeyedArchiver" ||
        versionValue != 100000 || !isType(objects, PLIST_ARRAY) ||
        plist_array_get_size(objects) == 0 || !isType(top, PLIST_DICT)) {
        return nullptr;
    }
    return std::unique_ptr<KeyedUnarchiver>(new KeyedUnarchiver(std::move(*root), objects, top));
}

void KeyedUnarchiver::failWithError(Error error) {
    if (!error_) {
        error_ = std::move(error);
    }
}

void KeyedUnarchiver::failCorrupt(std::string_view reason) {
    failWithError(Error("NSCocoaErrorDomain", kCoderReadCorruptError,
                        {{Error::kLocalizedDescriptionKey,
                          "The data couldn’t be read because it isn’t in the correct format."},
                         {"NSDebugDescription", std::string(reason)}}));
}

plist_t KeyedUnarchiver::value(std::string_view key) const {
    if (current_ == nullptr) {
        return nullptr;
    }
    return plist_dict_get_item(current_, escapedKey(key).c_str());
}

bool KeyedUnarchiver::containsValue(std::string_view key) const {
    return !error_ && value(key) != nullptr;
}

std::vector<std::string> KeyedUnarchiver::allKeys() const {
    std::vector<std::string> keys;
    if (error_ || current_ == nullptr) {
        return keys;
    }
    plist_dict_iter rawIterator = nullptr;
    plist_dict_new_iter(current_, &rawIterator);
    const std::unique_ptr<void, IteratorDeleter> iterator(rawIterator);
    if (iterator == nullptr) {
        return keys;
    }
    while (true) {
        char* rawKey = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(current_, rawIterator, &rawKey, &item);
        if (rawKey == nullptr) {
            break;
        }
        const std::unique_ptr<char, IteratorDeleter> ownedKey(rawKey);
        const std::string_view key(rawKey);
        if (key.starts_with("$$")) {
            keys.emplace_back(key.substr(1));
        } else if (!key.starts_with("$")) {
            keys.emplace_back(key);
        }
    }
    return keys;
}

plist_t KeyedUnarchiver::referencedObject(plist_t reference, std::uint64_t* uid) {
    if (!isType(reference, PLIST_UID)) {
        failCorrupt("an object reference is not a UID");
        return nullptr;
    }
    std::uint64_t index = 0;
    plist_get_uid_val(reference, &index);
    if (index >= plist_array_get_size(objects_)) {
        failCorrupt("an object reference points outside $objects");
        return nullptr;
    }
    if (uid != nullptr) {
        *uid = index;
    }
    const plist_t object = plist_array_get_item(objects_, static_cast<std::uint32_t>(index));
    if (index == 0 || stringValue(object) == "$null") {
        return nullptr;
    }
    return object;
}

bool KeyedUnarchiver::isOfClass(plist_t object,
                                std::initializer_list<std::string_view> classNames) {
    const plist_t reference = plist_dict_get_item(object, "$class");
    if (reference == nullptr) {
        failCorrupt("an object has no $class");
        return false;
    }
    const plist_t record = referencedObject(reference, nullptr);
    if (error_) {
        return false;
    }
    const std::optional<std::string_view> className =
        isType(record, PLIST_DICT) ? stringValue(plist_dict_get_item(record, "$classname"))
                                   : std::nullopt;
    if (!className) {
        failCorrupt("a class record has no $classname");
        return false;
    }
    const auto isWanted = [&](std::string_view name) {
        return std::find(classNames.begin(), classNames.end(), name) != classNames.end();
    };
    if (isWanted(*className)) {
        return true;
    }
    const plist_t classes = plist_dict_get_item(record, "$classes");
    if (isType(classes, PLIST_ARRAY)) {
        const std::uint32_t count = plist_array_get_size(classes);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::optional<std::string_view> name =
                stringValue(plist_array_get_item(classes, i));
            if (name && isWanted(*name)) {
                return true;
            }
        }
    }
    return false;
}

bool KeyedUnarchiver::withObject(std::string_view key,
                                 std::initializer_list<std::string_view> classNames,
                                 const std::function<void(KeyedUnarchiver&)>& body) {
    if (error_) {
        return false;
    }
    const plist_t reference = value(key);
    if (!isType(reference, PLIST_UID)) {
        return false;  // absent, or an inline value: not an object of any class
    }
    std::uint64_t uid = 0;
    const plist_t object = referencedObject(reference, &uid);
    if (object == nullptr || !isType(object, PLIST_DICT) || !isOfClass(object, classNames)) {
        return false;
    }
    if (std::find(decoding_.begin(), decoding_.end(), uid) != decoding_.end()) {
        failCorrupt("an object contains itself");
        return false;
    }
    if (decoding_.size() >= kMaximumNesting) {
        failCorrupt("objects are nested too deeply");
        return false;
    }

    // Restores the outer object even when `body` throws.
    struct Position {
        KeyedUnarchiver& coder;
        plist_t outer;
        ~Position() {
            coder.current_ = outer;
            coder.decoding_.pop_back();
        }
    };
    decoding_.push_back(uid);
    const Position position{*this, current_};
    current_ = object;
    body(*this);
    return true;
}

std::int64_t KeyedUnarchiver::decodeInteger(std::string_view key) {
    const plist_t node = error_ ? nullptr : value(key);
    if (node == nullptr) {
        return 0;
    }
    switch (plist_get_node_type(node)) {
        case PLIST_UINT: {
            std::uint64_t bits = 0;
            plist_get_uint_val(node, &bits);
            return static_cast<std::int64_t>(bits);
        }
        case PLIST_REAL: {
            double real = 0;
            plist_get_real_val(node, &real);
            // Only values whose truncation fits: -2^63 <= real < 2^63.
            if (std::isfinite(real) && real >= -9223372036854775808.0 &&
                real < 9223372036854775808.0) {
                return static_cast<std::int64_t>(real);
            }
            break;
        }
        case PLIST_BOOLEAN:
            return plist_bool_val_is_true(node) ? 1 : 0;
        default:
            break;
    }
    failCorrupt("a value read as an integer is not a number");
    return 0;
}

double KeyedUnarchiver::decodeDouble(std::string_view key) {
    const plist_t node = error_ ? nullptr : value(key);
    if (node == nullptr) {
        return 0;
    }
    switch (plist_get_node_type(node)) {
        case PLIST_REAL: {
            double real = 0;
            plist_get_real_val(node, &real);
            return real;
        }
        case PLIST_UINT: {
            std::uint64_t bits = 0;
            plist_get_uint_val(node, &bits);
            return static_cast<double>(static_cast<std::int64_t>(bits));
        }
        case PLIST_BOOLEAN:
            return plist_bool_val_is_true(node) ? 1 : 0;
        default:
            break;
    }
    failCorrupt("a value read as a double is not a number");
    return 0;
}

bool KeyedUnarchiver::decodeBool(std::string_view key) {
    const plist_t node = error_ ? nullptr : value(key);
    if (node == nullptr) {
        return false;
    }
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN:
            return plist_bool_val_is_true(node) != 0;
        case PLIST_UINT: {
            std::uint64_t bits = 0;
            plist_get_uint_val(node, &bits);
            return bits != 0;
        }
        case PLIST_REAL: {
            double real = 0;
            plist_get_real_val(node, &real);
            return real != 0;
        }
        default:
            break;
    }
    failCorrupt("a value read as a boolean is not a boolean");
    return false;
}

std::optional<Data> KeyedUnarchiver::decodeBytes(std::string_view key) {
    const plist_t node = error_ ? nullptr : value(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    if (!isType(node, PLIST_DATA)) {
        failCorrupt("a value read as bytes is not data");
        return std::nullopt;
    }
    std::uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(node, &length);
    if (bytes == nullptr || length == 0) {
        return Data();
    }
    const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes);
    return Data(begin, begin + length);
}

std::optional<std::string> KeyedUnarchiver::decodeString(std::string_view key) {
    const plist_t reference = error_ ? nullptr : value(key);
    if (!isType(reference, PLIST_UID)) {
        return std::nullopt;
    }
    const plist_t object = referencedObject(reference, nullptr);
    if (const std::optional<std::string_view> text = stringValue(object)) {
        return std::string(*text);
    }
    std::optional<std::string> result;
    withObject(key, {"NSString", "NSMutableString"}, [&](KeyedUnarchiver& coder) {
        if (const std::optional<std::string_view> text = stringValue(coder.value("NS.string"))) {
            result = std::string(*text);
        }
    });
    return error_ ? std::nullopt : result;
}

std::optional<Date> KeyedUnarchiver::decodeDate(std::string_view key) {
    std::optional<Date> result;
    withObject(key, {"NSDate"},
               [&](KeyedUnarchiver& coder) { result = Date(coder.decodeDouble("NS.time")); });
    return error_ ? std::nullopt : result;
}

}  // namespace dovrel
