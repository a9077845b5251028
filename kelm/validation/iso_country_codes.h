#pragma once

#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/object.h"

namespace kelm {

/// A country as an object of one's own; a new one is empty.
class KELM_API IsoCountryInfoObj : public Object {
 public:
  std::string name;
  std::string numeric;
  std::string alpha2;
  std::string alpha3;
  std::string calling;
  std::string currency;
  std::string continent;
  std::string flag;
};

/// Countries by calling code. Thread-safe.
class KELM_API IsoCountryCodes {
 public:
  IsoCountryCodes() = delete;

  /// `searchByCallingCode(_:)` The first country in the table with the calling code, which is
  /// given without "+"; `calling` and `continent` stay empty. An empty object when there is none.
  /// Allocates nothing but the room of a name of more than 15 bytes.
  static IsoCountryInfoObj searchByCallingCode(std::string_view callingCode);
};

}  // namespace kelm
