#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/base/object.h"
#include "kelm/base/result.h"
#include "kelm/base/value.h"

namespace kelm {

/// The key of an archive's root in its table "$top".
inline constexpr std::string_view kArchiveRootKey = "root";
/// How deep values and objects may nest in an archive.
inline constexpr int kArchiveMaxDepth = 512;

/// Where an object puts what it consists of. Lives for one `encodeWith`.
class KELM_API KeyedEncoder {
 public:
  /// Keeps `value` under a key of this object; a key used again replaces. Keys are UTF-8 without
  /// control characters.
  virtual void encode(std::string_view key, const Value& value) = 0;

 protected:
  ~KeyedEncoder() = default;
};

/// Where an object finds it again. Lives for one call of a factory.
class KELM_API KeyedDecoder {
 public:
  virtual bool contains(std::string_view key) const = 0;
  /// Absent when nothing was kept under the key. When the archive is damaged there this does not
  /// return: the whole unarchiving ends with an error.
  virtual std::optional<Value> decode(std::string_view key) = 0;

 protected:
  ~KeyedDecoder() = default;
};

/// An object that can stand in an archive.
class KELM_API Archivable : public Object {
 public:
  /// The name under which its class is registered.
  virtual std::string archiveClassName() const = 0;
  virtual void encodeWith(KeyedEncoder& encoder) const = 0;
};

/// Makes an object from its archive; nullptr when it cannot.
using ArchiveFactory = std::function<ObjectPointer(KeyedDecoder&)>;

/// Names a class for unarchiving; a name used again replaces. True, so that it can initialise a
/// static. Any thread.
KELM_API bool registerArchivableClass(std::string_view name, ArchiveFactory factory);

/// Takes part in one unarchiving. What it throws reaches the caller.
class KELM_API KeyedUnarchiverDelegate {
 public:
  virtual ~KeyedUnarchiverDelegate();
  /// The class to make objects of the archived class `archivedName` with; that name by default.
  virtual std::string classFor(std::string_view archivedName);
  /// Asked when no such class is registered: another name, or absence (the default) to fail.
  virtual std::optional<std::string> cannotDecodeClass(std::string_view archivedName);
  /// What stands in the place of a decoded object; the object itself by default.
  virtual Value replacementFor(ObjectPointer object);
  /// Called once, when the root was decoded.
  virtual void didFinish();
};

/// Archives a value of any kind; objects must be `Archivable`. An object that stands in several
/// places is kept once. An object may refer back to one that is being archived, but such a cycle
/// cannot be unarchived. An error when an object is not `Archivable`, a class or key name is no
/// XML text, or nesting goes deeper than `kArchiveMaxDepth`. What `encodeWith` throws reaches the
/// caller.
///
/// The format is an XML property list: "$archiver" "KelmKeyedArchiver", "$version" 100000, "$top"
/// with the root's reference and "$objects" with everything that references point to, "$null"
/// first. A reference is a dictionary {"CF$UID": index}.
KELM_API Result<Data> archivedData(const Value& root);

/// Reads it back: equal values, shared objects shared, dictionaries in their order; numbers come
/// back as the first of int64, uint64 and double that holds them, a double as a double, a decimal
/// as a decimal. An error
/// for anything that is not such an archive, for an unknown class, a factory that made nothing, a
/// reference back to what is still being decoded, nesting deeper than `kArchiveMaxDepth`, and
/// references that make far more of the archive than it holds. What factories and the delegate
/// throw reaches the caller. `delegate` is borrowed for the call.
KELM_API Result<Value> unarchivedValue(DataView archive,
                                       KeyedUnarchiverDelegate* delegate = nullptr);

}  // namespace kelm
