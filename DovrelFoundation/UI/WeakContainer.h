#pragma once

#include <QObject>
#include <QPointer>
#include <memory>
#include <type_traits>

namespace dovrel {

// A weak reference in a box, for lists of observers or delegates that must not keep them alive.
// `T` is a shared object (held elsewhere by std::shared_ptr) or a QObject (owned by its parent):
// value() yields it while it lives and nothing once it was released or deleted elsewhere.
template <typename T>
class WeakContainer {
  public:
    using Pointer = std::conditional_t<std::is_base_of_v<QObject, T>, T*, std::shared_ptr<T>>;

    explicit WeakContainer(const Pointer& value) : value_(value) {}

    // The object, or null once it is gone.
    Pointer value() const {
        if constexpr (std::is_base_of_v<QObject, T>) {
            return value_.data();
        } else {
            return value_.lock();
        }
    }

  private:
    std::conditional_t<std::is_base_of_v<QObject, T>, QPointer<T>, std::weak_ptr<T>> value_;
};

}  // namespace dovrel
