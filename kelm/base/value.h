#pragma once

#include <compare>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/date.h"
#include "kelm/base/decimal.h"
#include "kelm/base/export.h"
#include "kelm/base/object.h"

namespace kelm {

class Value;
using List = std::vector<Value>;

/// Text keys to values, in the order in which the keys were first set; setting a key again keeps
/// its place, removing one keeps the order of the others. Look-up is by hash from 16 entries on.
/// A value type: copies are independent, objects inside are shared. Not thread-safe.
class KELM_API Dictionary {
 public:
  struct Entry;

  Dictionary();
  Dictionary(std::initializer_list<Entry> entries);
  Dictionary(const Dictionary&);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary&);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();

  bool empty() const { return size() == 0; }
  std::size_t size() const;
  /// The value of a key, nullptr when there is none. Valid until the next change.
  const Value* find(std::string_view key) const;
  Value* find(std::string_view key);
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  void set(std::string_view key, Value value);
  /// Makes room for that many entries, which makes setting them cheaper.
  void reserve(std::size_t entries);
  /// True when the key was there.
  bool remove(std::string_view key);
  void clear();
  /// Sets every entry of `other`.
  void addEntries(const Dictionary& other);

  /// Entries in order. Keys must not be changed through them.
  const Entry* begin() const;
  const Entry* end() const;

  /// Same keys with equal values; the order does not count.
  bool operator==(const Dictionary& other) const;

 private:
  struct Index;
  std::size_t position(std::string_view key) const;

  std::vector<Entry> entries_;
  std::unique_ptr<Index> index_;  // present from 16 entries on
};

/// The object that stands for "no value" where a collection must hold something.
struct Null {
  bool operator==(const Null&) const = default;
};

/// One value of a dictionary or list. Absence is not a value: use std::optional<Value>, or
/// `Null` inside collections. Numbers compare by value across kinds (1 == 1.0 == 1u), a bool
/// equals only a bool; 0.1 as a decimal is not the double 0.1, which is a little more.
class KELM_API Value {
 public:
  using Storage = std::variant<Null, bool, std::int64_t, std::uint64_t, double, Decimal,
                               std::string, Data, Date, List, Dictionary, ObjectPointer>;

  Value() = default;
  Value(Null) {}                                          // NOLINT(google-explicit-constructor)
  Value(std::string text) : storage_(std::move(text)) {}  // NOLINT(google-explicit-constructor)
  Value(std::string_view text) : storage_(std::string(text)) {}      // NOLINT
  Value(const char* text) : storage_(std::string(text)) {}           // NOLINT
  Value(Decimal number) : storage_(number) {}                        // NOLINT
  Value(Data data) : storage_(std::move(data)) {}                    // NOLINT
  Value(Date date) : storage_(date) {}                               // NOLINT
  Value(List list) : storage_(std::move(list)) {}                    // NOLINT
  Value(Dictionary dictionary) : storage_(std::move(dictionary)) {}  // NOLINT
  /// A null pointer becomes `Null`.
  template <class T>
  requires std::is_base_of_v<Object, T> Value(
      std::shared_ptr<T> object) {  // NOLINT(google-explicit-constructor)
    if (object) storage_ = ObjectPointer(std::move(object));
  }
  template <class T>
  requires std::is_arithmetic_v<T> Value(T number) {  // NOLINT(google-explicit-constructor)
    if constexpr (std::is_same_v<T, bool>)
      storage_ = number;
    else if constexpr (std::is_floating_point_v<T>)
      storage_ = static_cast<double>(number);
    else if constexpr (std::is_signed_v<T>)
      storage_ = static_cast<std::int64_t>(number);
    else
      storage_ = static_cast<std::uint64_t>(number);
  }

  /// The content if it is exactly of type T (one of Storage), else nullptr.
  template <class T>
  const T* get() const {
    return std::get_if<T>(&storage_);
  }
  template <class T>
  T* get() {
    return std::get_if<T>(&storage_);
  }

  bool isNull() const { return storage_.index() == 0; }
  bool isNumber() const { return storage_.index() >= 1 && storage_.index() <= 5; }
  /// Text of a text value; absent for every other kind.
  std::optional<std::string_view> text() const;
  /// The number or bool as a signed integer: truncated towards zero, clamped to the range, 0 for
  /// NaN. Absent when it is no number.
  std::optional<std::int64_t> integer() const;
  std::optional<double> real() const;
  /// True for a number other than zero. Absent when it is no number.
  std::optional<bool> boolean() const;

  const Storage& storage() const { return storage_; }
  bool operator==(const Value& other) const;
  /// Equal values have equal hashes.
  std::size_t hash() const;

 private:
  Storage storage_;
};

struct Dictionary::Entry {
  std::string key;
  Value value;
};

}  // namespace kelm
