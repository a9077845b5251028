#include "kelm/base/error.h"

#include <system_error>

#include "kelm/base/format.h"

namespace kelm {
namespace {

std::string joined(std::string_view name, std::string_view reason) {
  return std::string(name) + ": " + std::string(reason);
}

}  // namespace

Error Error::make(std::string_view domain, std::int64_t code, std::string_view sentence) {
  Error error{std::string(domain), code, {}};
  if (!sentence.empty()) error.userInfo.set(kSentenceKey, sentence);
  return error;
}

std::string Error::localizedDescription() const {
  if (const Value* sentence = userInfo.find(kSentenceKey)) return describe(*sentence);
  return format("The operation failed (%@ error %lld)", domain, code);
}

bool Error::operator==(const Error&) const = default;

Error posixError(int errnoValue, std::string_view path) {
  std::string sentence = std::generic_category().message(errnoValue);
  if (!path.empty()) sentence.append(": ").append(path);
  return Error::make(error_domain::kPosix, errnoValue, sentence);
}

Exception::Exception(std::string_view name, std::string_view reason)
    : std::runtime_error(joined(name, reason)), name_(name), reason_(reason) {}

void raiseOutOfRange(std::size_t index, std::size_t count) {
  throw Exception(exception_name::kRange,
                  format("index %zu is out of range, the count is %zu", index, count));
}

}  // namespace kelm
