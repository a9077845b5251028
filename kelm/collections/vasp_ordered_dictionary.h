#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/coding/keyed_archive.h"
#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/collections/enumerator.h"
#include "kelm/collections/ordered_entries.h"

namespace kelm {

/// A dictionary that remembers the order in which its keys came, lets keys be read, inserted and
/// sorted by position, and removes fast with the order kept. It converts to `Dictionary`, in its
/// order, and stands in a `Value` as an object that can be archived.
///
/// Every key stands once in the order, but for two ways to repeat one:
/// `insertObject_forKey_atIndex` of a key that is present, and `initWithObjectsAndKeys`. `count`
/// counts entries; positions, `allKeys`, `allValues` and enumerations follow the order, repeated
/// keys included.
///
/// An absent key or value raises NSInvalidArgumentException, a position that is none
/// NSRangeException; nothing has changed then. All but inserting, sorting, copying and what
/// returns everything costs no more for a longer dictionary, or a logarithm. Not thread-safe;
/// constant operations may run at the same time.
class KELM_API VaspOrderedDictionary : public Archivable {
 public:
  using Pointer = std::shared_ptr<VaspOrderedDictionary>;
  using Key = std::optional<std::string_view>;
  using Keys = std::vector<std::string>;
  /// Negative, 0 or positive when the first key comes before, with or after the second.
  using Comparator = std::function<int(std::string_view, std::string_view)>;
  /// One of a list of arguments that ends at the first empty one.
  struct Argument;
  using KeyIterator = OrderedEntries::Iterator;

  /// `init`
  VaspOrderedDictionary() = default;
  VaspOrderedDictionary(const VaspOrderedDictionary&) = delete;
  VaspOrderedDictionary& operator=(const VaspOrderedDictionary&) = delete;
  ~VaspOrderedDictionary() override;

  /// `initWithCapacity:` Empty; the capacity is a hint.
  static Pointer initWithCapacity(std::size_t capacity);
  /// `initWithObjects:forKeys:` Sets each key to the value of the same number. Raises
  /// NSRangeException when there are fewer values.
  static Pointer initWithObjects_forKeys(const List& values, const Keys& keys);
  /// `initWithObjects:forKeys:count:` The same with the first `count` of both.
  static Pointer initWithObjects_forKeys_count(std::span<const Value> values,
                                               std::span<const std::string> keys,
                                               std::size_t count);
  /// `initWithDictionary:` The source's entries in its order.
  static Pointer initWithDictionary(const Dictionary& source);
  /// `initWithDictionary:copyItems:` The same: the flag is ignored.
  static Pointer initWithDictionary_copyItems(const Dictionary& source, bool copyItems);
  /// `initWithObjectsAndKeys:` Of value, key, value, key and so on up to the first empty argument.
  /// A repeated key repeats in the order, and its last value counts. Empty for fewer than two
  /// arguments; raises "Invalid Argument" for an odd number of them.
  template <class... Arguments>
  static Pointer initWithObjectsAndKeys(const Arguments&... arguments);
  /// `initWithContentsOfFile:` Raises "Invalid Argument": "Not Yet implemented".
  static Pointer initWithContentsOfFile(std::string_view path);
  /// `initWithContentsOfURL:` The same.
  static Pointer initWithContentsOfURL(std::string_view url);

  /// `dictionary`, and the class's shorthands of the above.
  static Pointer dictionary() { return initWithCapacity(0); }
  static Pointer dictionaryWithCapacity(std::size_t capacity) { return initWithCapacity(capacity); }
  static Pointer dictionaryWithObject_forKey(std::optional<Value> value, Key key);
  static Pointer dictionaryWithObjects_forKeys(const List& values, const Keys& keys);
  static Pointer dictionaryWithObjects_forKeys_count(std::span<const Value> values,
                                                     std::span<const std::string> keys,
                                                     std::size_t count);
  static Pointer dictionaryWithDictionary(const Dictionary& source);
  static Pointer dictionaryWithContentsOfFile(std::string_view path);
  static Pointer dictionaryWithContentsOfURL(std::string_view url);
  /// `dictionaryWithObjectsAndKeys:` As `initWithObjectsAndKeys:`, but a repeated key keeps its
  /// first position, once.
  template <class... Arguments>
  static Pointer dictionaryWithObjectsAndKeys(const Arguments&... arguments);

  /// `count` The number of entries.
  std::size_t count() const { return entries_.size(); }
  /// `objectForKey:` A copy of the value; absent for an unknown or absent key.
  std::optional<Value> objectForKey(Key key) const;
  /// `keyAtIndex:`
  std::string keyAtIndex(std::size_t index) const;
  /// `objectAtIndex:` The value of the key at a position.
  Value objectAtIndex(std::size_t index) const;

  /// `setObject:forKey:` A key that is present keeps its position; a new one comes last.
  void setObject_forKey(std::optional<Value> value, Key key);
  /// `removeObjectForKey:` Removes the key wherever it stands; nothing for an unknown one.
  void removeObjectForKey(Key key);
  /// `removeAllObjects`
  void removeAllObjects();
  /// `insertObject:forKey:atIndex:` Puts the key at a position, the last one's successor at most,
  /// and sets its value. A key that is present keeps its earlier positions too.
  void insertObject_forKey_atIndex(std::optional<Value> value, Key key, std::size_t index);
  /// `sortUsingComparator:` Keys that compare as equal keep their order. A comparator that
  /// contradicts itself gives some order; one that throws leaves the old one.
  void sortUsingComparator(const Comparator& comparator);

  /// `allKeys` A copy, in order.
  Keys allKeys() const;
  /// `allValues` The value of each key of `allKeys`.
  List allValues() const;
  /// `keyEnumerator` and so on: of the keys or values of this moment, forwards or backwards.
  Enumerator<std::string> keyEnumerator() const { return Enumerator(allKeys()); }
  Enumerator<std::string> reverseKeyEnumerator() const;
  Enumerator<Value> objectEnumerator() const { return Enumerator(allValues()); }
  Enumerator<Value> reverseObjectEnumerator() const;
  /// The keys in order, without a copy: `for (const std::string& key : *dictionary)`. The
  /// dictionary must not change meanwhile.
  KeyIterator begin() const { return entries_.begin(); }
  KeyIterator end() const { return entries_.end(); }

  /// `isEqualToOrderedDictionary:` The same count, the same keys and equal values in one order.
  /// Nesting deeper than 512 counts as different.
  bool isEqualToOrderedDictionary(const VaspOrderedDictionary& other) const;
  /// `isEqual:` The same for another object of this class; true for the object itself.
  bool isEqual(const Object& other) const override;
  /// `isEqualToDictionary:` The same entries; the order does not count.
  bool isEqualToDictionary(const Dictionary& other) const;
  /// `hash` Of the keys and their order.
  std::size_t hash() const override;
  /// `copy`, `mutableCopy`, and both with a zone, which is ignored: another dictionary of the same
  /// entries, with no key repeated in its order.
  Pointer copy() const;
  Pointer mutableCopy() const { return copy(); }
  Pointer copyWithZone(const void*) const { return copy(); }
  Pointer mutableCopyWithZone(const void*) const { return copy(); }
  /// The entries in order.
  operator Dictionary() const;  // NOLINT(google-explicit-constructor)

  /// `descriptionWithLocale:indent:` A line for each key of the order, indented by `level` + 1
  /// times four blanks, between lines with the braces. Nested dictionaries and lists are described
  /// at the same level. No value here is written differently in different places, so the locale is
  /// only handed on. A dictionary inside itself, or deeper than 512 levels, is "...".
  virtual std::string descriptionWithLocale_indent(std::optional<std::string_view> locale,
                                                   std::size_t level) const;
  std::string description() const override { return descriptionWithLocale_indent({}, 0); }

  /// `classForCoder` The name under which it is archived.
  virtual std::string classForCoder() const { return "VaspOrderedDictionary"; }
  /// `classForKeyedArchiver` The same.
  std::string classForKeyedArchiver() const { return classForCoder(); }
  /// `supportsSecureCoding` True: dictionaries and lists both do.
  static bool supportsSecureCoding() { return true; }
  std::string archiveClassName() const override { return classForKeyedArchiver(); }
  void encodeWith(KeyedEncoder& encoder) const override;
  /// Null for an archive whose order and entries do not have the same keys.
  static ObjectPointer decodedFrom(KeyedDecoder& decoder);

 private:
  static Pointer ofArguments(const std::vector<Argument>& arguments, bool repeatsKeys);

  OrderedEntries entries_;
};

struct VaspOrderedDictionary::Argument {
  std::optional<Value> value;

  Argument(std::nullopt_t) {}  // NOLINT(google-explicit-constructor)
  Argument(std::nullptr_t) {}  // NOLINT(google-explicit-constructor)
  Argument(const char* text) {
    if (text) value = text;
  }  // NOLINT(google-explicit-constructor)
  template <class T>
  Argument(const std::shared_ptr<T>& object) {  // NOLINT(google-explicit-constructor)
    if (object) value = object;
  }
  template <class T>
  Argument(const T& given) : value(given) {}  // NOLINT(google-explicit-constructor)
};

template <class... Arguments>
VaspOrderedDictionary::Pointer VaspOrderedDictionary::initWithObjectsAndKeys(
    const Arguments&... arguments) {
  return ofArguments({Argument(arguments)...}, true);
}

template <class... Arguments>
VaspOrderedDictionary::Pointer VaspOrderedDictionary::dictionaryWithObjectsAndKeys(
    const Arguments&... arguments) {
  return ofArguments({Argument(arguments)...}, false);
}

}  // namespace kelm
