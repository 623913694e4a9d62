#pragma once

#include <expected>

namespace tolvik {

/// A value or the reason why there is none.
template <class T, class E>
using Result = std::expected<T, E>;

/// Wraps a reason: `return failure(StoreError::full);`
template <class E>
[[nodiscard]] constexpr auto failure(E&& error) {
    return std::unexpected<std::decay_t<E>>(std::forward<E>(error));
}

}  // namespace tolvik
