#include "kelm/crypto/canonical_text.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <vector>

#include "kelm/base/describe.h"

namespace kelm {

namespace {

/// In UTF-16 the letters beyond U+FFFF, which start with F0 to F4 in UTF-8, come before U+E000 to
/// U+FFFF, which start with EE and EF. All others are in the order of their bytes.
constexpr unsigned rank(char letter) {
  const auto byte = static_cast<unsigned char>(letter);
  return byte == 0xEE || byte == 0xEF ? byte + 0x100U : byte;
}

bool isBefore(const Dictionary::Entry* a, const Dictionary::Entry* b) {
  return std::ranges::lexicographical_compare(a->key, b->key, std::less<>(), rank, rank);
}

std::string_view nameOf(bool value) { return value ? "true" : "false"; }

template <class Take>
void walk(const Value& value, const Take& take);

template <class Take>
void walk(const Dictionary& dictionary, const Take& take) {
  std::vector<const Dictionary::Entry*> entries;
  entries.reserve(dictionary.size());
  for (const Dictionary::Entry& entry : dictionary)
    entries.push_back(&entry);
  std::ranges::sort(entries, isBefore);
  for (const Dictionary::Entry* const entry : entries)
    walk(entry->value, take);
}

template <class Take>
void walk(const List& list, const Take& take) {
  for (const Value& value : list)
    walk(value, take);
}

template <class Take>
void walk(const Value& value, const Take& take) {
  if (const auto* const dictionary = value.get<Dictionary>())
    walk(*dictionary, take);
  else if (const auto* const list = value.get<List>())
    walk(*list, take);
  else
    take(value);
}

/// Collects the values; a bool becomes its text.
struct Collect {
  List& values;

  void operator()(const Value& value) const {
    if (const bool* const truth = value.get<bool>())
      values.emplace_back(nameOf(*truth));
    else
      values.push_back(value);
  }
};

}  // namespace

std::string canonicalText(const Value& configuration) {
  std::string text;
  bool isFirst = true;
  walk(configuration, [&text, &isFirst](const Value& value) {
    if (!isFirst) text += ';';
    isFirst = false;
    if (const bool* const truth = value.get<bool>())
      text += nameOf(*truth);
    else if (const auto* const part = value.get<std::string>())
      text += *part;
    else
      text += describe(value);
  });
  return text;
}

void appendCanonicalValues(const Dictionary& dictionary, List& values) {
  walk(dictionary, Collect{values});
}
void appendCanonicalValues(const List& list, List& values) { walk(list, Collect{values}); }
void appendCanonicalValues(const Value& value, List& values) { walk(value, Collect{values}); }

}  // namespace kelm
