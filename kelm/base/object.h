#pragma once

#include <memory>
#include <string>

#include "kelm/base/export.h"

namespace kelm {

/// Something with identity that can stand in a list or dictionary. Equality is identity unless
/// a class says otherwise.
class KELM_API Object {
 public:
  virtual ~Object();
  /// What "%@" prints of it.
  virtual std::string description() const;
  virtual bool isEqual(const Object& other) const;
  virtual std::size_t hash() const;
};

using ObjectPointer = std::shared_ptr<Object>;

}  // namespace kelm
