#pragma once

#include <any>
#include <functional>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>

#include "platform/foundation/ValueTransformer.h"

namespace dovrel {

// A value transformer that has a registration name.
class NamedValueTransformer {
  public:
    virtual ~NamedValueTransformer() = default;
    virtual const std::string& name() const = 0;

  protected:
    NamedValueTransformer() = default;
    NamedValueTransformer(const NamedValueTransformer&) = default;
    NamedValueTransformer& operator=(const NamedValueTransformer&) = default;
};

// A transformer from values of type From to values of type To made of two functions over
// optionals: `transform` (From to To) and `reverseTransform` (To to From).
//
// transformedValue() takes its input as a From (an empty value, or a value of any other type,
// is passed to `transform` as nothing) and returns the function's result, or an empty value
// when the result is nothing; reverseTransformedValue() does the same with To and
// `reverseTransform`. The type of transformed values is To. Reverse transformation is allowed.
// There is no transformer without its name and functions.
template <class From, class To>
class ClosureValueTransformer final : public ValueTransformer, public NamedValueTransformer {
  public:
    using Transform = std::function<std::optional<To>(const std::optional<From>&)>;
    using ReverseTransform = std::function<std::optional<From>(const std::optional<To>&)>;

    ClosureValueTransformer() = delete;
    ClosureValueTransformer(std::string name, Transform transform,
                            ReverseTransform reverseTransform)
        : name_(std::move(name)),
          transform_(std::move(transform)),
          reverseTransform_(std::move(reverseTransform)) {}

    const std::string& name() const override { return name_; }

    const std::type_info& transformedValueClass() const override { return typeid(To); }

    std::any transformedValue(const std::any& value) const override {
        return erased(transform_(unerased<From>(value)));
    }

    std::any reverseTransformedValue(const std::any& value) const override {
        return erased(reverseTransform_(unerased<To>(value)));
    }

  private:
    // Kept out of line: inlined into a caller that holds a small value of another type, GCC 12
    // warns (-Warray-bounds) about the copy on the branch that the type check rules out.
    template <class T>
    [[gnu::noinline]] static std::optional<T> unerased(const std::any& value) {
        if (const T* typed = std::any_cast<T>(&value)) {
            return *typed;
        }
        return std::nullopt;
    }

    template <class T>
    static std::any erased(std::optional<T> value) {
        if (!value) {
            return {};
        }
        return std::any(std::move(*value));
    }

    std::string name_;
    Transform transform_;
    ReverseTransform reverseTransform_;
};

}  // namespace dovrel
