#include "kelm/collections/vasp_ordered_dictionary.h"

#include <algorithm>
#include <utility>

#include "kelm/base/describe.h"
#include "kelm/base/error.h"
#include "kelm/base/text_hash.h"

namespace kelm {

namespace {

constexpr std::string_view kFailure = "Invalid Argument";
constexpr std::size_t kMostReserved = 65536;
constexpr std::string_view kArchivedDictionary = "VPORDEREDDICT_DICT";
constexpr std::string_view kArchivedOrder = "VPORDEREDDICT_ARR";

const bool kRegistered =
    registerArchivableClass("VaspOrderedDictionary", VaspOrderedDictionary::decodedFrom);

std::string_view required(VaspOrderedDictionary::Key key) {
  if (!key) throw Exception(exception_name::kInvalidArgument, "The key is absent");
  return *key;
}

Value& required(std::optional<Value>& value) {
  if (!value) throw Exception(exception_name::kInvalidArgument, "The value is absent");
  return *value;
}

[[noreturn]] void raiseNotImplemented() { throw Exception(kFailure, "Not Yet implemented"); }

/// An operation of this thread that goes into a dictionary, and those that led to it.
class Visit {
 public:
  explicit Visit(const VaspOrderedDictionary& visited) : visited_(visited), outer_(innermost_) {
    depth_ = outer_ ? outer_->depth_ + 1 : 1;
    innermost_ = this;
  }
  ~Visit() { innermost_ = outer_; }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;

  bool isTooDeep() const { return depth_ > kArchiveMaxDepth; }
  bool isRepeated() const {
    for (const Visit* visit = outer_; visit; visit = visit->outer_)
      if (&visit->visited_ == &visited_) return true;
    return false;
  }

 private:
  static thread_local const Visit* innermost_;
  const VaspOrderedDictionary& visited_;
  const Visit* const outer_;
  int depth_ = 0;
};
thread_local const Visit* Visit::innermost_ = nullptr;

const VaspOrderedDictionary* orderedDictionaryIn(const Value& value) {
  const auto* object = value.get<ObjectPointer>();
  return object ? dynamic_cast<const VaspOrderedDictionary*>(object->get()) : nullptr;
}

}  // namespace

using Pointer = VaspOrderedDictionary::Pointer;

VaspOrderedDictionary::~VaspOrderedDictionary() = default;

Pointer VaspOrderedDictionary::initWithCapacity(std::size_t capacity) {
  auto made = std::make_shared<VaspOrderedDictionary>();
  made->entries_.reserve(std::min(capacity, kMostReserved));
  return made;
}

Pointer VaspOrderedDictionary::initWithObjects_forKeys(const List& values, const Keys& keys) {
  Pointer made = initWithCapacity(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (i >= values.size()) raiseOutOfRange(i, values.size());
    made->setObject_forKey(values[i], keys[i]);
  }
  return made;
}

Pointer VaspOrderedDictionary::initWithObjects_forKeys_count(std::span<const Value> values,
                                                             std::span<const std::string> keys,
                                                             std::size_t count) {
  const std::size_t most = std::min(values.size(), keys.size());
  if (count > most) raiseOutOfRange(count - 1, most);
  return initWithObjects_forKeys({values.begin(), values.begin() + count},
                                 {keys.begin(), keys.begin() + count});
}

Pointer VaspOrderedDictionary::initWithDictionary(const Dictionary& source) {
  Pointer made = initWithCapacity(source.size());
  for (const Dictionary::Entry& entry : source)
    made->setObject_forKey(entry.value, entry.key);
  return made;
}

Pointer VaspOrderedDictionary::initWithDictionary_copyItems(const Dictionary& source, bool) {
  return initWithDictionary(source);
}

Pointer VaspOrderedDictionary::initWithContentsOfFile(std::string_view) { raiseNotImplemented(); }
Pointer VaspOrderedDictionary::initWithContentsOfURL(std::string_view) { raiseNotImplemented(); }
Pointer VaspOrderedDictionary::dictionaryWithContentsOfFile(std::string_view path) {
  return initWithContentsOfFile(path);
}
Pointer VaspOrderedDictionary::dictionaryWithContentsOfURL(std::string_view url) {
  return initWithContentsOfURL(url);
}

Pointer VaspOrderedDictionary::dictionaryWithObject_forKey(std::optional<Value> value, Key key) {
  auto made = std::make_shared<VaspOrderedDictionary>();
  made->setObject_forKey(std::move(value), key);
  return made;
}
Pointer VaspOrderedDictionary::dictionaryWithObjects_forKeys(const List& values, const Keys& keys) {
  return initWithObjects_forKeys(values, keys);
}
Pointer VaspOrderedDictionary::dictionaryWithObjects_forKeys_count(
    std::span<const Value> values, std::span<const std::string> keys, std::size_t count) {
  return initWithObjects_forKeys_count(values, keys, count);
}
Pointer VaspOrderedDictionary::dictionaryWithDictionary(const Dictionary& source) {
  return initWithDictionary(source);
}

Pointer VaspOrderedDictionary::ofArguments(const std::vector<Argument>& arguments,
                                           bool repeatsKeys) {
  auto made = std::make_shared<VaspOrderedDictionary>();
  const auto end = std::find_if(arguments.begin(), arguments.end(),
                                [](const Argument& argument) { return !argument.value; });
  const auto count = end - arguments.begin();
  if (count < 2) return made;
  if (count % 2 != 0) throw Exception(kFailure, "ObjectsAndKeys are not same count");
  for (auto at = arguments.begin(); at != end; at += 2) {
    const auto key = at[1].value->text();
    if (!key) throw Exception(exception_name::kInvalidArgument, "A key is no text");
    if (repeatsKeys)
      made->entries_.append(*key, *at->value);
    else
      made->setObject_forKey(at->value, key);
  }
  return made;
}

std::optional<Value> VaspOrderedDictionary::objectForKey(Key key) const {
  const Value* value = key ? entries_.find(*key) : nullptr;
  return value ? std::optional<Value>(*value) : std::nullopt;
}

std::string VaspOrderedDictionary::keyAtIndex(std::size_t index) const {
  if (index >= entries_.length()) raiseOutOfRange(index, entries_.length());
  return entries_.at(index).key;
}

Value VaspOrderedDictionary::objectAtIndex(std::size_t index) const {
  if (index >= entries_.length()) raiseOutOfRange(index, entries_.length());
  return entries_.at(index).value;
}

void VaspOrderedDictionary::setObject_forKey(std::optional<Value> value, Key key) {
  const std::string_view name = required(key);
  entries_.set(name, std::move(required(value)));
}

void VaspOrderedDictionary::removeObjectForKey(Key key) { entries_.remove(required(key)); }

void VaspOrderedDictionary::removeAllObjects() { entries_.clear(); }

void VaspOrderedDictionary::insertObject_forKey_atIndex(std::optional<Value> value, Key key,
                                                        std::size_t index) {
  const std::string_view name = required(key);
  Value& given = required(value);
  if (index > entries_.length()) raiseOutOfRange(index, entries_.length());
  entries_.insert(index, name, std::move(given));
}

void VaspOrderedDictionary::sortUsingComparator(const Comparator& comparator) {
  entries_.sort([&](std::string_view a, std::string_view b) { return comparator(a, b) < 0; });
}

VaspOrderedDictionary::Keys VaspOrderedDictionary::allKeys() const { return {begin(), end()}; }

List VaspOrderedDictionary::allValues() const {
  List values;
  values.reserve(entries_.length());
  for (auto at = begin(); at != end(); ++at)
    values.push_back(at.entry().value);
  return values;
}

Enumerator<std::string> VaspOrderedDictionary::reverseKeyEnumerator() const {
  Keys keys = allKeys();
  std::reverse(keys.begin(), keys.end());
  return Enumerator(std::move(keys));
}

Enumerator<Value> VaspOrderedDictionary::reverseObjectEnumerator() const {
  List values = allValues();
  std::reverse(values.begin(), values.end());
  return Enumerator(std::move(values));
}

bool VaspOrderedDictionary::isEqualToOrderedDictionary(const VaspOrderedDictionary& other) const {
  const Visit visit(*this);
  if (visit.isTooDeep() || count() != other.count() || entries_.length() != other.entries_.length())
    return false;
  for (auto a = begin(), b = other.begin(); a != end(); ++a, ++b)
    if (*a != *b || a.entry().value != b.entry().value) return false;
  return true;
}

bool VaspOrderedDictionary::isEqual(const Object& other) const {
  if (this == &other) return true;
  const auto* dictionary = dynamic_cast<const VaspOrderedDictionary*>(&other);
  return dictionary && isEqualToOrderedDictionary(*dictionary);
}

bool VaspOrderedDictionary::isEqualToDictionary(const Dictionary& other) const {
  if (count() != other.size()) return false;
  for (auto at = begin(); at != end(); ++at) {
    const Value* match = other.find(*at);
    if (!match || *match != at.entry().value) return false;
  }
  return true;
}

// Values are left out: they could hold this dictionary.
std::size_t VaspOrderedDictionary::hash() const {
  std::size_t ofDictionary = 0;
  std::size_t ofOrder = 0;
  for (const std::string& key : *this) {
    ofDictionary += textHash(key);
    ofOrder = ofOrder * 31 + textHash(key);
  }
  return ofDictionary + ofOrder;
}

Pointer VaspOrderedDictionary::copy() const {
  Pointer made = initWithCapacity(count());
  for (auto at = begin(); at != end(); ++at)
    made->entries_.set(*at, at.entry().value);
  return made;
}

VaspOrderedDictionary::operator Dictionary() const {
  Dictionary dictionary;
  for (auto at = begin(); at != end(); ++at)
    dictionary.set(*at, at.entry().value);
  return dictionary;
}

std::string VaspOrderedDictionary::descriptionWithLocale_indent(
    std::optional<std::string_view> locale, std::size_t level) const {
  const Visit visit(*this);
  if (visit.isRepeated() || visit.isTooDeep()) return "...";
  const std::string prefix(4 * level, ' ');
  std::string text = prefix + "{\n";
  for (auto at = begin(); at != end(); ++at) {
    text.append(prefix).append("    ").append(*at).append(" = ");
    const Value& value = at.entry().value;
    if (const auto* dictionary = orderedDictionaryIn(value))
      text += dictionary->descriptionWithLocale_indent(locale, level);
    else
      text += describe(value, level);
    text += ";\n";
  }
  return text.append(prefix).append("}\n");
}

void VaspOrderedDictionary::encodeWith(KeyedEncoder& encoder) const {
  encoder.encode(kArchivedDictionary, Dictionary(*this));
  encoder.encode(kArchivedOrder, List(begin(), end()));
}

ObjectPointer VaspOrderedDictionary::decodedFrom(KeyedDecoder& decoder) {
  const auto dictionary = decoder.decode(kArchivedDictionary);
  const auto order = decoder.decode(kArchivedOrder);
  const auto* entries = dictionary ? dictionary->get<Dictionary>() : nullptr;
  const auto* keys = order ? order->get<List>() : nullptr;
  if (!entries || !keys) return nullptr;
  Pointer made = initWithCapacity(keys->size());
  for (const Value& key : *keys) {
    const Value* value = key.text() ? entries->find(*key.text()) : nullptr;
    if (!value) return nullptr;
    made->entries_.append(*key.text(), *value);
  }
  return made->count() == entries->size() ? made : nullptr;
}

}  // namespace kelm
