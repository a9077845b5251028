#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/object.h"
#include "kelm/base/value.h"

namespace kelm {

struct PropertyTable;

/// An object whose properties can be read and written by name. A class lists its own properties
/// once, in a table that names its superclass's table, if that has one:
///
///   class Shop : public KeyValueCoded {
///    public:
///     static const PropertyTable& properties() {
///       static const PropertyTable kTable{nullptr, {property("name", &Shop::name_),
///           property("tills", &Shop::tills, &Shop::setTills)}};
///       return kTable;
///     }
///     const PropertyTable& propertyTable() const override { return properties(); }
///     ...
///
/// As thread-safe as the class is.
class KELM_API KeyValueCoded : public Object {
 public:
  /// The table of the object's own class.
  virtual const PropertyTable& propertyTable() const = 0;

  /// The property's value, absent when it is empty. An unknown name raises
  /// NSUnknownKeyException, here and below.
  std::optional<Value> valueForKey(std::string_view name) const;
  /// Sets the property. A value of a kind that it cannot hold exactly raises
  /// NSInvalidArgumentException and changes nothing.
  void setValueForKey(const Value& value, std::string_view name);
};

/// How one property is read and written.
struct KELM_API Property {
  std::string_view name;  ///< constant text
  std::function<std::optional<Value>(const KeyValueCoded&)> read;
  std::function<bool(KeyValueCoded&, const Value&)> write;  ///< false: not a value for it
};

/// The properties that one class declares, in order.
struct KELM_API PropertyTable {
  const PropertyTable* superclass = nullptr;
  std::vector<Property> properties;

  /// The property of that name, of this class or else the nearest superclass; else nullptr.
  const Property* find(std::string_view name) const;
};

namespace internal {

template <class T>
struct IsOptional : std::false_type {};
template <class T>
struct IsOptional<std::optional<T>> : std::true_type {};
template <class T>
struct IsShared : std::false_type {};
template <class T>
struct IsShared<std::shared_ptr<T>> : std::true_type {};

template <std::integral T, class Number>
std::optional<T> inRange(Number number) {
  return std::in_range<T>(number) ? std::optional<T>(static_cast<T>(number)) : std::nullopt;
}

template <std::integral T>
std::optional<T> integralFromValue(const Value& value) {
  if (const auto* number = value.get<std::int64_t>()) return inRange<T>(*number);
  if (const auto* number = value.get<std::uint64_t>()) return inRange<T>(*number);
  if (const auto* flag = value.get<bool>()) return static_cast<T>(*flag);
  if (const auto* decimal = value.get<Decimal>()) {
    const auto number = decimal->exactSigned();
    return number ? inRange<T>(*number) : std::nullopt;
  }
  const auto* real = value.get<double>();
  if (real == nullptr || !(*real >= -0x1p63 && *real < 0x1p63)) return std::nullopt;
  const auto whole = static_cast<std::int64_t>(*real);
  return static_cast<double>(whole) == *real ? inRange<T>(whole) : std::nullopt;
}

}  // namespace internal

/// A field's value as a `Value`; absent for an empty optional or pointer.
template <class T>
std::optional<Value> valueFrom(const T& field) {
  if constexpr (internal::IsOptional<T>::value) {
    if (!field) return std::nullopt;
    return valueFrom(*field);
  } else if constexpr (internal::IsShared<T>::value) {
    if (!field) return std::nullopt;
    return Value(field);
  } else {
    return Value(field);
  }
}

/// What a `Value` is as a T: numbers where they fit exactly (a real may round), a bool also from
/// a number, text, data, dates, lists and dictionaries from their own kind, an object from one of
/// its class; `Null` empties an optional or a pointer. Absent when it is none.
template <class T>
std::optional<T> valueAs(const Value& value) {
  if constexpr (std::is_same_v<T, Value>) {
    return value;
  } else if constexpr (internal::IsOptional<T>::value) {
    if (value.isNull()) return std::optional<T>(std::in_place);
    auto inner = valueAs<typename T::value_type>(value);
    return inner ? std::optional<T>(std::in_place, std::move(*inner)) : std::nullopt;
  } else if constexpr (internal::IsShared<T>::value) {
    if (value.isNull()) return std::optional<T>(std::in_place);
    const ObjectPointer* object = value.get<ObjectPointer>();
    auto typed = object ? std::dynamic_pointer_cast<typename T::element_type>(*object) : nullptr;
    return typed ? std::optional<T>(std::move(typed)) : std::nullopt;
  } else if constexpr (std::is_same_v<T, bool>) {
    return value.boolean();
  } else if constexpr (std::is_integral_v<T>) {
    return internal::integralFromValue<T>(value);
  } else if constexpr (std::is_floating_point_v<T>) {
    const std::optional<double> real = value.real();
    return real ? std::optional<T>(static_cast<T>(*real)) : std::nullopt;
  } else {
    const T* content = value.get<T>();
    return content ? std::optional<T>(*content) : std::nullopt;
  }
}

/// A property that is a data member. Where the member is declared in a base class, name the class:
/// `property<Shop>("name", &Base::name_)`.
template <class Class, class T>
requires std::is_object_v<T> Property property(std::string_view name, T Class::*field) {
  return {name,
          [field](const KeyValueCoded& object) {
            return valueFrom(static_cast<const Class&>(object).*field);
          },
          [field](KeyValueCoded& object, const Value& value) {
            std::optional<T> typed = valueAs<T>(value);
            if (typed) static_cast<Class&>(object).*field = std::move(*typed);
            return typed.has_value();
          }};
}

/// A property behind a getter and a setter.
template <class Class, class Read, class Written>
Property property(std::string_view name, Read (Class::*getter)() const,
                  void (Class::*setter)(Written)) {
  using T = std::remove_cvref_t<Written>;
  return {
      name,
      [getter](const KeyValueCoded& object) {
        return valueFrom<std::remove_cvref_t<Read>>((static_cast<const Class&>(object).*getter)());
      },
      [setter](KeyValueCoded& object, const Value& value) {
        std::optional<T> typed = valueAs<T>(value);
        if (typed) (static_cast<Class&>(object).*setter)(std::move(*typed));
        return typed.has_value();
      }};
}

}  // namespace kelm
