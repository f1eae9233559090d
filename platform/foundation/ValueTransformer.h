#pragma once

#include <any>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

namespace dovrel {

// Converts values of one kind into another and, usually, back; the object store uses named
// transformers to keep values it cannot store natively (colours, repeat intervals) as blobs.
//
// Values are type-erased: an empty std::any is the absent value, and a transformer treats a
// value of a type it does not handle as absent too.
//
// The process-wide registry maps names to transformers. It is safe to use from any thread.
class ValueTransformer {
  public:
    virtual ~ValueTransformer() = default;

    // The type of the values that transformedValue() produces.
    virtual const std::type_info& transformedValueClass() const = 0;

    // Whether reverseTransformedValue() may be used. True unless a transformer says otherwise.
    virtual bool allowsReverseTransformation() const { return true; }

    // The forward conversion of `value`; empty when there is no result.
    virtual std::any transformedValue(const std::any& value) const = 0;

    // The backward conversion. By default the same as transformedValue(), as for a transformer
    // that is its own inverse; transformers with a distinct reverse override it.
    virtual std::any reverseTransformedValue(const std::any& value) const;

    // Registers `transformer` under `name`, replacing any transformer of that name. A null
    // transformer removes the registration.
    static void setValueTransformer(std::shared_ptr<ValueTransformer> transformer,
                                    std::string name);

    // The transformer registered under `name`, or null.
    static std::shared_ptr<ValueTransformer> valueTransformer(std::string_view name);

  protected:
    ValueTransformer() = default;
    ValueTransformer(const ValueTransformer&) = default;
    ValueTransformer& operator=(const ValueTransformer&) = default;
};

}  // namespace dovrel
