#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "platform/foundation/Data.h"
#include "platform/foundation/Date.h"

namespace dovrel {

template <typename T>
class DefaultsKey;

// A persistent store of small typed values by key: the user's settings and the app's
// bookkeeping. Each suite is one small SQLite file, so several instances, threads and
// processes (the application and its widget) can share a suite:
//  - a group suite, UserDefaults(groupIdentifier), lives in
//    FileManager::containerURL(groupIdentifier)/UserDefaults.sqlite;
//  - the standard suite, UserDefaults::standard(), lives in
//    FileManager::applicationDataDirectory()/UserDefaults.sqlite.
// Files are created with mode 0600 and opened in write-ahead-log mode with a busy timeout.
//
// Nothing is cached in memory: every read asks the file, so a read sees every write that any
// instance or process has finished before it. Writes are durable when they return.
//
// Values are typed. A value keeps the type it was written with: reading it back as another type
// (an integer as a double, a bool as an integer) finds nothing.
//
// Several processes. Every read and write waits for another process that holds the file, up to
// kSQLiteBusyTimeout (SQLiteBusyWait.h). A read followed by a write is not atomic: a value
// computed from another (a counter) is changed with update(), which no other writer can come
// between.
//
// Failures: the constructors throw Error (domain kErrorDomain) when the suite's file cannot be
// created or opened; set, remove and update throw Error when the write fails (a full disk, a
// suite that another process keeps locked past the busy timeout). A read that fails (after
// waiting) finds nothing.
//
// An instance may be used from several threads at once. It must not be used in a child process
// after fork(): the child opens its own.
class UserDefaults {
  public:
    using Value = std::variant<bool, std::int64_t, double, std::string, Date, Data>;

    static constexpr const char* kErrorDomain = "UserDefaults";
    static constexpr const char* kFileName = "UserDefaults.sqlite";

    // The suite named `suiteName` in its group container (created when missing).
    explicit UserDefaults(std::string_view suiteName);

    // The suite kept in the file at `file` (its directory must exist): for tools and tests.
    static UserDefaults atPath(const std::filesystem::path& file);

    // The application's own suite. One instance per data directory for the life of the
    // process: a later call after XDG_DATA_HOME changed (tests do that) opens the suite of the
    // new directory, and references to the earlier one stay valid. Throws Error as the
    // constructor does.
    static UserDefaults& standard();

    UserDefaults(UserDefaults&&) noexcept;
    UserDefaults& operator=(UserDefaults&&) noexcept;
    ~UserDefaults();

    // The suite's name; nothing for the standard suite and for atPath().
    const std::optional<std::string>& suiteName() const noexcept;

    // The suite's file.
    const std::filesystem::path& path() const noexcept;

    // The value stored under `key`, or nothing.
    std::optional<Value> object(std::string_view key) const;

    // Stores `value` under `key`, replacing what was there.
    void set(std::string_view key, const Value& value);

    // Removes the value under `key`, if any.
    void removeObject(std::string_view key);

    // Reads the value under `key`, hands it to `change` and stores what `change` returns
    // (nothing removes the value), in one write transaction: no other instance or process
    // writes between the read and the write. Returns what was stored. An exception thrown by
    // `change` leaves the suite as it was and reaches the caller.
    std::optional<Value> update(
        std::string_view key,
        const std::function<std::optional<Value>(std::optional<Value>)>& change);

    // Typed keys. get() returns the stored value when one of the key's type is there, and the
    // key's default otherwise. set() stores the value; for a key of std::optional type, setting
    // nothing removes the stored value. remove() removes it, so get() gives the default again.
    template <typename T>
    T get(const DefaultsKey<T>& key) const;
    template <typename T>
    void set(const DefaultsKey<T>& key, const T& value);
    template <typename T>
    void remove(const DefaultsKey<T>& key);
    // update() through a typed key: `change` gets what get() would answer and returns the value
    // to store (for a key of std::optional type, nothing removes it). Returns the new value.
    template <typename T>
    T update(const DefaultsKey<T>& key, const std::function<T(T)>& change);

  private:
    struct Storage;
    UserDefaults(std::optional<std::string> suiteName, const std::filesystem::path& file);

    std::unique_ptr<Storage> storage_;
};

namespace detail {

template <typename T>
struct DefaultsOptional : std::false_type {
    using Stored = T;
};
template <typename U>
struct DefaultsOptional<std::optional<U>> : std::true_type {
    using Stored = U;
};

template <typename T, typename Variant>
struct IsVariantAlternative;
template <typename T, typename... Types>
struct IsVariantAlternative<T, std::variant<Types...>>
    : std::bool_constant<(std::is_same_v<T, Types> || ...)> {};

}  // namespace detail

// A typed user-defaults key: a name and the value that reading gives when the suite holds no
// value of type T under that name. T is one of bool, std::int64_t, double, std::string, Date and
// Data, or std::optional of one of them (whose default, unless given, is nothing).
template <typename T>
class DefaultsKey {
  public:
    using Stored = typename detail::DefaultsOptional<T>::Stored;
    static constexpr bool kIsOptional = detail::DefaultsOptional<T>::value;
    static_assert(detail::IsVariantAlternative<Stored, UserDefaults::Value>::value,
                  "a defaults key holds bool, std::int64_t, double, std::string, Date or Data");

    DefaultsKey(std::string name, T defaultValue)
        : name_(std::move(name)), defaultValue_(std::move(defaultValue)) {}

    // A key of optional type whose default is nothing.
    explicit DefaultsKey(std::string name) requires kIsOptional : name_(std::move(name)),
                                                                  defaultValue_(std::nullopt) {}

    const std::string& name() const noexcept { return name_; }
    const T& defaultValue() const noexcept { return defaultValue_; }

  private:
    std::string name_;
    T defaultValue_;
};

template <typename T>
T UserDefaults::get(const DefaultsKey<T>& key) const {
    using Stored = typename DefaultsKey<T>::Stored;
    if (auto value = object(key.name())) {
        if (auto* stored = std::get_if<Stored>(&*value)) {
            return T(std::move(*stored));
        }
    }
    return key.defaultValue();
}

template <typename T>
void UserDefaults::set(const DefaultsKey<T>& key, const T& value) {
    using Stored = typename DefaultsKey<T>::Stored;
    if constexpr (DefaultsKey<T>::kIsOptional) {
        if (value) {
            set(key.name(), Value(std::in_place_type<Stored>, *value));
        } else {
            removeObject(key.name());
        }
    } else {
        set(key.name(), Value(std::in_place_type<Stored>, value));
    }
}

template <typename T>
void UserDefaults::remove(const DefaultsKey<T>& key) {
    removeObject(key.name());
}

template <typename T>
T UserDefaults::update(const DefaultsKey<T>& key, const std::function<T(T)>& change) {
    using Stored = typename DefaultsKey<T>::Stored;
    T result = key.defaultValue();
    update(key.name(), [&](std::optional<Value> stored) -> std::optional<Value> {
        T current = key.defaultValue();
        if (stored) {
            if (auto* typed = std::get_if<Stored>(&*stored)) {
                current = T(std::move(*typed));
            }
        }
        result = change(std::move(current));
        if constexpr (DefaultsKey<T>::kIsOptional) {
            if (!result) {
                return std::nullopt;
            }
            return Value(std::in_place_type<Stored>, *result);
        } else {
            return Value(std::in_place_type<Stored>, result);
        }
    });
    return result;
}

}  // namespace dovrel
