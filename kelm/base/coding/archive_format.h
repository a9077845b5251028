#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/coding/keyed_archive.h"
#include "kelm/base/error.h"

namespace kelm::archive {

// The words of the format. Those that start with '$' are its own: a key of an object that starts
// so is kept with one more '$', and no class may be called so.
inline constexpr std::string_view kArchiver = "$archiver";
inline constexpr std::string_view kArchiverName = "KelmKeyedArchiver";
inline constexpr std::string_view kVersion = "$version";
inline constexpr std::int64_t kVersionNumber = 100000;
inline constexpr std::string_view kTop = "$top";
inline constexpr std::string_view kObjects = "$objects";
inline constexpr std::string_view kNull = "$null";
inline constexpr std::string_view kReference = "CF$UID";
inline constexpr std::string_view kClass = "$class";
inline constexpr std::string_view kClassName = "$classname";
inline constexpr std::string_view kClasses = "$classes";

// Kinds of values that a property list lacks, or holds too loosely, are records of these classes.
inline constexpr std::string_view kList = "$list";              // $items
inline constexpr std::string_view kDictionary = "$dictionary";  // $keys, $items
inline constexpr std::string_view kDecimal = "$decimal";        // $digits
inline constexpr std::string_view kDate = "$date";              // $seconds
inline constexpr std::string_view kText = "$text";              // $bytes; not fit for XML
inline constexpr std::string_view kItems = "$items";
inline constexpr std::string_view kKeys = "$keys";
inline constexpr std::string_view kDigits = "$digits";
inline constexpr std::string_view kSeconds = "$seconds";
inline constexpr std::string_view kBytes = "$bytes";

inline std::string storedKey(std::string_view key) {
  return key.starts_with('$') ? "$" + std::string(key) : std::string(key);
}

/// Ends an archiving or unarchiving from within. No std::exception, so that a class that handles
/// those of its own does not take it for one.
struct Stop {};

}  // namespace kelm::archive
