#pragma once

#include <optional>
#include <utility>
#include <variant>

#include "kelm/base/error.h"

namespace kelm {

/// What an operation of a service produced, or why it did not. Services that produce nothing
/// return `Failure` instead: empty for success.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : outcome_(std::move(value)) {}      // NOLINT(google-explicit-constructor)
  Result(Error error) : outcome_(std::move(error)) {}  // NOLINT(google-explicit-constructor)

  explicit operator bool() const { return outcome_.index() == 0; }
  /// The value; only after a successful test.
  T& operator*() { return *std::get_if<0>(&outcome_); }
  const T& operator*() const { return *std::get_if<0>(&outcome_); }
  T* operator->() { return std::get_if<0>(&outcome_); }
  const T* operator->() const { return std::get_if<0>(&outcome_); }
  /// The error; only after a failed test.
  const Error& error() const { return *std::get_if<1>(&outcome_); }

 private:
  std::variant<T, Error> outcome_;
};

using Failure = std::optional<Error>;

}  // namespace kelm
