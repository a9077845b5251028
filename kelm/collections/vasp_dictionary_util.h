#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/collections/key_value_coding.h"

namespace kelm {

/// Operations on dictionaries: query strings, look-up without case, flattening, objects'
/// properties, a digest. Stateless; thread-safe.
class KELM_API VaspDictionaryUtil {
 public:
  VaspDictionaryUtil() = delete;

  /// `queryStringFromNSDictionary:` "key=value" for each key that is not empty, both
  /// percent-encoded (`ZuStringEncoder urlEncodeString:`), in the dictionary's order; before each
  /// but the first key's comes "&", so an empty first key leaves a leading "&". Values should be
  /// texts; another kind goes as its description.
  static std::string queryStringFromNSDictionary(const Dictionary& dictionary);

  /// `NSDictionaryFromQueryString:` The pairs of a query string, decoded; of a repeated key the
  /// last value counts. A piece without exactly one "=" is ignored, and so is one whose escapes
  /// are not valid UTF-8. Empty for an empty or absent text.
  static Dictionary NSDictionaryFromQueryString(std::optional<std::string_view> query);

  /// `getValueFromDictionary:caseInsesitiveStringKey:` The value of the first key, in the
  /// dictionary's order, that equals `key` in lower case (Unicode's full mapping). Absent when
  /// there is none.
  static std::optional<Value> getValueFromDictionary_caseInsesitiveStringKey(
      const Dictionary& dictionary, std::string_view key);
  /// The same for arguments that may be missing: absent unless the one is a dictionary and the
  /// other a text.
  static std::optional<Value> getValueFromDictionary_caseInsesitiveStringKey(
      const std::optional<Value>& dictionary, const std::optional<Value>& key);

  /// `flatDictionaryFromDictionary:` The entries of the dictionary and of those nested in it, at
  /// any depth, under their own keys; of equal keys the last one met counts. Lists are kept whole.
  /// Does not recurse; copying and destroying a dictionary does, so that some thousand levels are
  /// as deep as one can be built.
  static Dictionary flatDictionaryFromDictionary(const Dictionary& dictionary);

  /// `fillObject:withDictionary:` Sets the property named by each key. A key that is no property
  /// raises NSUnknownKeyException, a value that the property cannot hold
  /// NSInvalidArgumentException; what came before it in order stays set.
  static void fillObject_withDictionary(KeyValueCoded& object, const Dictionary& dictionary);

  /// `dictionaryOfObject:` The properties that the object's own class declares, not those of its
  /// superclasses. An empty one raises NSInvalidArgumentException.
  static Dictionary dictionaryOfObject(const KeyValueCoded& object);

  /// `sha256ByteDigestForDictionary:` The 32-byte SHA-256 of the dictionary as compact JSON, keys
  /// in their order: equal dictionaries of another order have another digest. Absent for an
  /// absent dictionary and for one that JSON cannot hold.
  static std::optional<Data> sha256ByteDigestForDictionary(std::optional<Dictionary> dictionary);
};

}  // namespace kelm
