#include "kelm/collections/vasp_dictionary_util.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kelm/base/coding/json.h"
#include "kelm/base/describe.h"
#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/collections/letter_case.h"
#include "kelm/crypto/vasp_sha2.h"
#include "kelm/crypto/zu_string_encoder.h"

namespace kelm {

namespace {

void appendEncoded(std::string& query, std::string_view text) {
  query += *ZuStringEncoder::urlEncodeString(text);
}

/// The two sides of the only "=" of a piece.
std::optional<std::pair<std::string_view, std::string_view>> pairOf(std::string_view piece) {
  const std::size_t equals = piece.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  const std::string_view value = piece.substr(equals + 1);
  if (value.find('=') != std::string_view::npos) return std::nullopt;
  return std::pair(piece.substr(0, equals), value);
}

}  // namespace

std::string VaspDictionaryUtil::queryStringFromNSDictionary(const Dictionary& dictionary) {
  std::string query;
  bool first = true;
  for (const auto& [key, value] : dictionary) {
    const bool joins = !std::exchange(first, false);
    if (key.empty()) continue;
    if (joins) query += '&';
    appendEncoded(query, key);
    query += '=';
    if (const auto text = value.text())
      appendEncoded(query, *text);
    else
      appendEncoded(query, describe(value));
  }
  return query;
}

Dictionary VaspDictionaryUtil::NSDictionaryFromQueryString(std::optional<std::string_view> query) {
  Dictionary dictionary;
  std::string_view rest = query.value_or("");
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('&'), rest.size());
    if (const auto pair = pairOf(rest.substr(0, end))) {
      const auto key = ZuStringEncoder::urlDecodeString(pair->first);
      auto value = ZuStringEncoder::urlDecodeString(pair->second);
      if (key && value) dictionary.set(*key, std::move(*value));
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return dictionary;
}

std::optional<Value> VaspDictionaryUtil::getValueFromDictionary_caseInsesitiveStringKey(
    const Dictionary& dictionary, std::string_view key) {
  const std::string wanted = lowerCased(key);
  for (const auto& [name, value] : dictionary)
    if (lowerCased(name) == wanted) return value;
  return std::nullopt;
}

std::optional<Value> VaspDictionaryUtil::getValueFromDictionary_caseInsesitiveStringKey(
    const std::optional<Value>& dictionary, const std::optional<Value>& key) {
  const Dictionary* entries = dictionary ? dictionary->get<Dictionary>() : nullptr;
  const std::string* name = key ? key->get<std::string>() : nullptr;
  if (entries == nullptr || name == nullptr) return std::nullopt;
  return getValueFromDictionary_caseInsesitiveStringKey(*entries, std::string_view(*name));
}

Dictionary VaspDictionaryUtil::flatDictionaryFromDictionary(const Dictionary& dictionary) {
  // Depth first with a stack of its own: nesting may be deeper than the thread's stack. Writing
  // straight to the one result gives what merging level by level would.
  struct Level {
    const Dictionary::Entry* next;
    const Dictionary::Entry* end;
  };
  Dictionary flat;
  std::vector<Level> levels{{dictionary.begin(), dictionary.end()}};
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.end) {
      levels.pop_back();
      continue;
    }
    const auto& [key, value] = *level.next++;
    if (const auto* nested = value.get<Dictionary>())
      levels.push_back({nested->begin(), nested->end()});
    else
      flat.set(key, value);
  }
  return flat;
}

void VaspDictionaryUtil::fillObject_withDictionary(KeyValueCoded& object,
                                                   const Dictionary& dictionary) {
  for (const auto& [key, value] : dictionary)
    object.setValueForKey(value, key);
}

Dictionary VaspDictionaryUtil::dictionaryOfObject(const KeyValueCoded& object) {
  Dictionary dictionary;
  for (const Property& property : object.propertyTable().properties) {
    std::optional<Value> value = property.read(object);
    if (!value) {
      throw Exception(exception_name::kInvalidArgument,
                      format("property \"%@\" of %@ is empty", property.name, object));
    }
    dictionary.set(property.name, std::move(*value));
  }
  return dictionary;
}

std::optional<Data> VaspDictionaryUtil::sha256ByteDigestForDictionary(
    std::optional<Dictionary> dictionary) {
  if (!dictionary) return std::nullopt;
  const std::optional<std::string> json = writeJson(Value(std::move(*dictionary)));
  return json ? VaspSha2::sha256ByteDigestForData(bytesOf(*json)) : std::nullopt;
}

}  // namespace kelm
