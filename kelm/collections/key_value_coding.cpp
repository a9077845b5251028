#include "kelm/collections/key_value_coding.h"

#include "kelm/base/error.h"
#include "kelm/base/format.h"

namespace kelm {

namespace {

const Property& known(const KeyValueCoded& object, std::string_view name) {
  const Property* property = object.propertyTable().find(name);
  if (property == nullptr) {
    throw Exception(exception_name::kUndefinedKey,
                    format("%@ has no property \"%@\"", object, name));
  }
  return *property;
}

}  // namespace

const Property* PropertyTable::find(std::string_view name) const {
  for (const PropertyTable* table = this; table != nullptr; table = table->superclass)
    for (const Property& property : table->properties)
      if (property.name == name) return &property;
  return nullptr;
}

std::optional<Value> KeyValueCoded::valueForKey(std::string_view name) const {
  return known(*this, name).read(*this);
}

void KeyValueCoded::setValueForKey(const Value& value, std::string_view name) {
  if (known(*this, name).write(*this, value)) return;
  throw Exception(exception_name::kInvalidArgument,
                  format("%@ cannot take this value for \"%@\"", *this, name));
}

}  // namespace kelm
