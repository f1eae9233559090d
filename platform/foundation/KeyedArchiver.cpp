#include "platform/foundation/KeyedArchiver.h"

#include <string>

namespace dovrel {

namespace {

constexpr std::uint64_t kNullUID = 0;

// Keys starting with "$" get one more "$", leaving the "$"-names to the archive's own entries.
std::string escapedKey(std::string_view key) {
    std::string escaped;
    if (!key.empty() && key.front() == '$') {
        escaped.push_back('$');
    }
    escaped.append(key);
    return escaped;
}

}  // namespace

KeyedArchiver::KeyedArchiver() : objects_(plist_new_array()) {
    plist_array_append_item(objects_.get(), plist_new_string("$null"));
}

Data KeyedArchiver::archivedData(const SecureCoding& rootObject) {
    KeyedArchiver archiver;
    PlistNode top(plist_new_dict());
    archiver.current_ = top.get();
    archiver.encodeObject(&rootObject, "root");
    archiver.current_ = nullptr;

    PlistNode archive(plist_new_dict());
    plist_dict_set_item(archive.get(), "$archiver",
                        plist_new_string(std::string(kArchiverName).c_str()));
    plist_dict_set_item(archive.get(), "$objects", archiver.objects_.release());
    plist_dict_set_item(archive.get(), "$top", top.release());
    plist_dict_set_item(archive.get(), "$version",
                        plist_new_uint(static_cast<std::uint64_t>(kVersion)));
    return binaryPropertyList(archive.get());
}

void KeyedArchiver::set(std::string_view key, plist_t value) {
    plist_dict_set_item(current_, escapedKey(key).c_str(), value);
}

std::uint64_t KeyedArchiver::append(plist_t object) {
    const std::uint64_t uid = plist_array_get_size(objects_.get());
    plist_array_append_item(objects_.get(), object);
    return uid;
}

std::uint64_t KeyedArchiver::classRecord(const std::vector<std::string>& classHierarchy) {
    const std::string& className = classHierarchy.front();
    if (const auto found = classRecords_.find(className); found != classRecords_.end()) {
        return found->second;
    }
    PlistNode classes(plist_new_array());
    for (const std::string& name : classHierarchy) {
        plist_array_append_item(classes.get(), plist_new_string(name.c_str()));
    }
    PlistNode record(plist_new_dict());
    plist_dict_set_item(record.get(), "$classes", classes.release());
    plist_dict_set_item(record.get(), "$classname", plist_new_string(className.c_str()));
    const std::uint64_t uid = append(record.release());
    classRecords_.emplace(className, uid);
    return uid;
}

void KeyedArchiver::encodeInteger(std::int64_t value, std::string_view key) {
    // Stored as the 64-bit two's complement pattern: the binary writer emits negative numbers as
    // 8-byte signed integers, the form the phone reads back as negative.
    set(key, plist_new_uint(static_cast<std::uint64_t>(value)));
}

void KeyedArchiver::encodeDouble(double value, std::string_view key) {
    set(key, plist_new_real(value));
}

void KeyedArchiver::encodeBool(bool value, std::string_view key) {
    set(key, plist_new_bool(value ? 1 : 0));
}

void KeyedArchiver::encodeBytes(const Data& bytes, std::string_view key) {
    set(key, plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

void KeyedArchiver::encodeString(std::string_view value, std::string_view key) {
    auto found = strings_.find(value);
    if (found == strings_.end()) {
        const std::string text(value);
        found = strings_.emplace(text, append(plist_new_string(text.c_str()))).first;
    }
    set(key, plist_new_uid(found->second));
}

void KeyedArchiver::encodeDate(Date date, std::string_view key) {
    PlistNode object(plist_new_dict());
    plist_dict_set_item(object.get(), "NS.time",
                        plist_new_real(date.timeIntervalSinceReferenceDate()));
    plist_dict_set_item(object.get(), "$class", plist_new_uid(classRecord({"NSDate", "NSObject"})));
    set(key, plist_new_uid(append(object.release())));
}

void KeyedArchiver::encodeObject(const SecureCoding* object, std::string_view key) {
    if (object == nullptr) {
        set(key, plist_new_uid(kNullUID));
        return;
    }
    if (const auto found = encodedObjects_.find(object); found != encodedObjects_.end()) {
        set(key, plist_new_uid(found->second));
        return;
    }
    // The object gets its UID before its fields are encoded, so a field that refers back to it
    // finds it in encodedObjects_ instead of recursing.
    plist_t dictionary = plist_new_dict();
    const std::uint64_t uid = append(dictionary);
    encodedObjects_.emplace(object, uid);
    set(key, plist_new_uid(uid));

    plist_t const outer = current_;
    current_ = dictionary;
    object->encode(*this);
    std::vector<std::string> hierarchy = object->classHierarchy();
    if (hierarchy.empty()) {
        hierarchy.push_back(object->className());
    }
    plist_dict_set_item(dictionary, "$class", plist_new_uid(classRecord(hierarchy)));
    current_ = outer;
}

}  // namespace dovrel
