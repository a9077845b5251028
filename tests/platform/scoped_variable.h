#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace kelm::testing {

/// An environment variable with another value, or none, for a scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const std::optional<std::string>& value) : name_(name) {
    if (const char* earlier = std::getenv(name)) earlier_ = earlier;
    set(value);
  }
  ~ScopedVariable() { set(earlier_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void set(const std::optional<std::string>& value) {
    if (value)
      ::setenv(name_, value->c_str(), 1);
    else
      ::unsetenv(name_);
  }

  const char* name_;
  std::optional<std::string> earlier_;
};

}  // namespace kelm::testing
