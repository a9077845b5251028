#include "kelm/base/object.h"

#include <functional>

#include "kelm/base/format.h"

namespace kelm {

Object::~Object() = default;

std::string Object::description() const {
  return format("<object %p>", static_cast<const void*>(this));
}

bool Object::isEqual(const Object& other) const { return this == &other; }

std::size_t Object::hash() const { return std::hash<const void*>{}(this); }

}  // namespace kelm
