#pragma once

#include <string>
#include <vector>

namespace dovrel {

class KeyedArchiver;

// An object that writes itself into a keyed archive (KeyedArchiver) under its runtime class
// name, so that a KeyedUnarchiver, here or on another platform, can rebuild it.
//
// Decoding is the other half and is static: a decodable type T provides
//   static constexpr std::string_view kClassName;                 // the class it reads
//   static std::optional<T> decode(KeyedUnarchiver& coder);        // "init(coder:)"
// and KeyedUnarchiver::unarchivedObject<T>() / decodeObject<T>() find it by that name.
class SecureCoding {
  public:
    virtual ~SecureCoding() = default;

    // The runtime class name recorded in the archive's class record ("$classname").
    virtual std::string className() const = 0;

    // The class chain recorded as "$classes", most derived first. By default the class itself
    // followed by the root class "NSObject".
    virtual std::vector<std::string> classHierarchy() const { return {className(), "NSObject"}; }

    // Writes the object's fields into `coder` with its encode* operations.
    virtual void encode(KeyedArchiver& coder) const = 0;

  protected:
    SecureCoding() = default;
    SecureCoding(const SecureCoding&) = default;
    SecureCoding& operator=(const SecureCoding&) = default;
};

}  // namespace dovrel
