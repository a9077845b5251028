#include <limits>
#include <nlohmann/json.hpp>

#include "kelm/base/coding/json.h"

namespace kelm {
namespace {

Error malformed(std::string_view sentence, std::size_t offset) {
  Error error = Error::make(error_domain::kFormat, 1, sentence);
  error.userInfo.set("offset", static_cast<std::uint64_t>(offset));
  return error;
}

/// Builds the value while the parser calls. The open lists and dictionaries stand on a stack of
/// our own, so that no nesting can exhaust the machine's.
class Builder {
 public:
  Result<Value> result() && {
    if (error_) return std::move(*error_);
    return std::move(root_);
  }
  bool isTooDeep() const { return isTooDeep_; }

  bool null() { return add(Null{}); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(std::int64_t number) { return add(number); }
  bool number_unsigned(std::uint64_t number) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    return number <= most ? add(static_cast<std::int64_t>(number)) : add(number);
  }
  bool number_float(double number, const std::string&) { return add(number); }
  bool string(std::string& text) { return add(std::move(text)); }
  bool binary(nlohmann::json::binary_t&) { return false; }  // JSON text has none
  bool start_object(std::size_t) { return open(Dictionary()); }
  bool start_array(std::size_t) { return open(List()); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }
  bool key(std::string& text) {
    open_.back().key = std::move(text);
    return true;
  }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& e) {
    error_ = malformed(e.id == 406 ? "A number is too large" : "The text is not JSON", position);
    return false;
  }

 private:
  struct Open {
    Value container;
    std::string key;  // of the entry that comes next
  };

  bool open(Value container) {
    isTooDeep_ = open_.size() == kJsonMaxDepth;
    if (isTooDeep_) return false;
    open_.push_back({std::move(container), {}});
    return true;
  }
  bool close() {
    Value done = std::move(open_.back().container);
    open_.pop_back();
    return add(std::move(done));
  }
  bool add(Value value) {
    if (open_.empty())
      root_ = std::move(value);
    else if (auto* list = open_.back().container.get<List>())
      list->push_back(std::move(value));
    else
      open_.back().container.get<Dictionary>()->set(open_.back().key, std::move(value));
    return true;
  }

  Value root_;
  std::vector<Open> open_;
  std::optional<Error> error_;
  bool isTooDeep_ = false;
};

/// Where the first bracket stands that goes past the greatest depth.
std::size_t offsetOfTooDeep(std::string_view json) {
  int depth = 0;
  bool inText = false;
  for (std::size_t at = 0; at < json.size(); ++at) {
    const char c = json[at];
    if (c == '"') inText = !inText;
    if (inText && c == '\\') ++at;
    if (inText) continue;
    if (c == '[' || c == '{') ++depth;
    if (c == ']' || c == '}') --depth;
    if (depth > kJsonMaxDepth) return at;
  }
  return json.size();
}

}  // namespace

Result<Value> parseJson(std::string_view json) {
  // The parser takes NUL for the end of the text.
  if (const std::size_t nul = json.find('\0'); nul != json.npos)
    return malformed("The text is not JSON", nul);
  Builder builder;
  nlohmann::json::sax_parse(json.begin(), json.end(), &builder);
  if (builder.isTooDeep()) return malformed("The nesting is too deep", offsetOfTooDeep(json));
  Result<Value> result = std::move(builder).result();
  if (result && !result->get<List>() && !result->get<Dictionary>())
    return malformed("The top is neither a list nor a dictionary", 0);
  return result;
}

}  // namespace kelm
