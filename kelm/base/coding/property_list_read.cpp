#include <expat.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <memory>

#include "kelm/base/civil_time.h"
#include "kelm/base/coding/base64.h"
#include "kelm/base/coding/property_list.h"

namespace kelm {
namespace {

std::optional<Value> integerOf(std::string_view text) {
  const char* const end = text.data() + text.size();
  std::int64_t number = 0;
  const auto parsed = std::from_chars(text.data(), end, number);
  if (parsed.ec == std::errc{} && parsed.ptr == end) return Value(number);
  std::uint64_t large = 0;
  const auto again = std::from_chars(text.data(), end, large);
  if (again.ec == std::errc{} && again.ptr == end) return Value(large);
  return {};
}

std::optional<Value> realOf(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return {};
  }
  const std::string_view magnitude = text.substr(text.starts_with('-') ? 1 : 0);
  const bool isWord = magnitude == "nan" || magnitude == "inf" || magnitude == "infinity";
  if (!isWord && magnitude.find_first_not_of("0123456789.eE+-") != magnitude.npos) return {};
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  if (parsed.ec != std::errc{} || parsed.ptr != end) return {};
  return Value(number);
}

/// "2023-11-14T22:13:20Z", exactly.
std::optional<Value> dateOf(std::string_view text) {
  constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != kShape.size()) return {};
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (kShape[i] == 'd' ? !isDigit : text[i] != kShape[i]) return {};
  }
  const auto field = [&](std::size_t at, std::size_t length) {
    int number = 0;
    std::from_chars(text.data() + at, text.data() + at + length, number);
    return number;
  };
  const CivilTime civil{field(0, 4),  field(5, 2),  field(8, 2),
                        field(11, 2), field(14, 2), field(17, 2)};
  if (!isValid(civil)) return {};
  return Value(Date{static_cast<double>(secondsSince1970(civil))});
}

std::optional<Value> bytesOfText(std::string_view text) {
  std::optional<Data> bytes = dataOfBase64(text);
  return bytes ? std::optional<Value>(std::move(*bytes)) : std::nullopt;
}

/// The value of an element that holds text only; absent when the text does not fit.
std::optional<Value> leafOf(std::string_view name, std::string&& text) {
  if (name == "string") return Value(std::move(text));
  if (name == "integer") return integerOf(text);
  if (name == "real") return realOf(text);
  if (name == "date") return dateOf(text);
  if (name == "data") return bytesOfText(text);
  if (!text.empty()) return {};
  return Value(name == "true");
}

bool isLeaf(std::string_view name) {
  constexpr std::string_view kLeaves[] = {"string", "integer", "real", "date",
                                          "data",   "true",    "false"};
  return std::find(std::begin(kLeaves), std::end(kLeaves), name) != std::end(kLeaves);
}

/// Builds the value while the parser reports elements; open containers stand on its own stack.
class Reader {
 public:
  Reader() : parser_(XML_ParserCreate("UTF-8"), XML_ParserFree) {
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(
        parser_.get(),
        [](void* self, const char* name, const char**) {
          static_cast<Reader*>(self)->guarded(&Reader::start, name);
        },
        [](void* self, const char* name) {
          static_cast<Reader*>(self)->guarded(&Reader::end, name);
        });
    XML_SetCharacterDataHandler(parser_.get(), [](void* self, const char* text, int length) {
      static_cast<Reader*>(self)->guarded(&Reader::characters,
                                          std::string_view(text, static_cast<std::size_t>(length)));
    });
    XML_SetStartDoctypeDeclHandler(parser_.get(), [](void* self, const char*, const char*,
                                                     const char*, int hasInternalSubset) {
      if (hasInternalSubset) static_cast<Reader*>(self)->fail("A document type of its own");
    });
    // An entity that only an outer document type could define.
    XML_SetSkippedEntityHandler(parser_.get(), [](void* self, const char*, int) {
      static_cast<Reader*>(self)->fail("An entity");
    });
  }

  Result<Value> read(DataView xml) {
    constexpr std::size_t kPiece = 1 << 20;
    bool isLast = false;
    for (std::size_t at = 0; !isLast; at += kPiece) {
      const std::size_t size = std::min(kPiece, xml.size() - at);
      isLast = at + size == xml.size();
      const char* const bytes = reinterpret_cast<const char*>(xml.data() + at);
      const auto status = XML_Parse(parser_.get(), bytes, static_cast<int>(size), isLast);
      if (thrown_) std::rethrow_exception(thrown_);
      if (!problem_.empty()) return error(problem_);
      if (status != XML_STATUS_OK) return error("The XML is malformed");
    }
    return std::move(*root_);
  }

 private:
  struct Open {
    Value container;
    std::optional<std::string> key;  // of the entry that comes next
  };

  Error error(std::string_view sentence) const {
    Error error = Error::make(error_domain::kFormat, 2, sentence);
    const std::uint64_t line = XML_GetCurrentLineNumber(parser_.get());
    error.userInfo.set("line", line);
    return error;
  }
  void fail(std::string_view problem) {
    if (problem_.empty()) problem_ = problem;
    XML_StopParser(parser_.get(), XML_FALSE);
  }
  /// No exception may pass through the parser.
  template <class Argument>
  void guarded(void (Reader::*handler)(Argument), Argument argument) noexcept {
    if (thrown_ || !problem_.empty()) return;
    try {
      (this->*handler)(argument);
    } catch (...) {
      thrown_ = std::current_exception();
      XML_StopParser(parser_.get(), XML_FALSE);
    }
  }

  void start(const char* element) {
    const std::string_view name = element;
    if (!leaf_.empty()) return fail("An element inside a text");
    if (!isInside_) {
      if (name != "plist") return fail("The document is no property list");
      isInside_ = true;
    } else if (name == "key") {
      if (!dictionary() || open_.back().key) return fail("A misplaced key");
      leaf_ = name;
    } else if (!isExpected()) {
      fail("A misplaced element");
    } else if (isLeaf(name)) {
      leaf_ = name;
    } else if (name == "array" || name == "dict") {
      if (open_.size() == kPropertyListMaxDepth) return fail("The nesting is too deep");
      open_.push_back({name == "array" ? Value(List()) : Value(Dictionary()), {}});
    } else {
      fail("An unknown element");
    }
  }

  void end(const char* element) {
    const std::string_view name = element;
    if (leaf_ == "key") {
      open_.back().key = std::move(text_);
    } else if (!leaf_.empty()) {
      std::optional<Value> value = leafOf(leaf_, std::move(text_));
      if (!value) return fail("A malformed value");
      add(std::move(*value));
    } else if (name == "plist") {
      if (!root_) fail("No value");
    } else {
      if (open_.back().key) return fail("A key without a value");
      Value done = std::move(open_.back().container);
      open_.pop_back();
      add(std::move(done));
    }
    leaf_.clear();
    text_.clear();
  }

  void characters(std::string_view text) {
    if (!leaf_.empty())
      text_ += text;
    else if (text.find_first_not_of(" \t\r\n") != text.npos)
      fail("Text between the elements");
  }

  Dictionary* dictionary() {
    return open_.empty() ? nullptr : open_.back().container.get<Dictionary>();
  }
  bool isExpected() {
    if (open_.empty()) return !root_;
    return !dictionary() || open_.back().key;
  }
  void add(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
    } else if (Dictionary* to = dictionary()) {
      to->set(*open_.back().key, std::move(value));
      open_.back().key.reset();
    } else {
      open_.back().container.get<List>()->push_back(std::move(value));
    }
  }

  std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser_;
  std::optional<Value> root_;
  std::vector<Open> open_;
  std::string leaf_;  // the open element that holds text only
  std::string text_;
  bool isInside_ = false;
  std::string_view problem_;
  std::exception_ptr thrown_;
};

}  // namespace

Result<Value> parsePropertyList(DataView xml) { return Reader().read(xml); }

}  // namespace kelm
