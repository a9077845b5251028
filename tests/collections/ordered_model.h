#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kelm/collections/vasp_ordered_dictionary.h"

namespace kelm::testing {

/// What an ordered dictionary is to do, by the simplest means: a dictionary and an array of keys.
struct OrderedModel {
  std::map<std::string, int> dictionary;
  std::vector<std::string> array;

  void set(const std::string& key, int value) {
    if (!dictionary.contains(key)) array.push_back(key);
    dictionary[key] = value;
  }
  void remove(const std::string& key) {
    dictionary.erase(key);
    std::erase(array, key);
  }
  void insert(const std::string& key, int value, std::size_t index) {
    array.insert(array.begin() + static_cast<std::ptrdiff_t>(index), key);
    dictionary[key] = value;
  }
  List values() const {
    List values;
    for (const std::string& key : array)
      values.emplace_back(dictionary.at(key));
    return values;
  }
};

/// A dictionary and its model, changed alike.
class OrderedPair {
 public:
  /// Takes one step, which three numbers choose; the first difference that it meets, as text.
  std::optional<std::string> step(unsigned choice, unsigned keyNumber, unsigned value) {
    const std::string key = "key" + std::to_string(keyNumber);
    const int number = static_cast<int>(value);
    const std::size_t length = model_.array.size();
    choice %= 16;
    if (choice < 5) {
      dictionary_->setObject_forKey(number, key);
      model_.set(key, number);
    } else if (choice < 10) {
      dictionary_->removeObjectForKey(key);
      model_.remove(key);
    } else if (choice < 12) {
      dictionary_->insertObject_forKey_atIndex(number, key, value % (length + 1));
      model_.insert(key, number, value % (length + 1));
    } else if (choice == 12) {
      sort(value % 2 == 0);
    } else if (choice == 13) {
      return readAt(length == 0 ? 0 : value % length);
    } else {
      return readKey(key);
    }
    return {};
  }

  /// The first difference, in all that can be read.
  std::optional<std::string> difference() const {
    if (dictionary_->count() != model_.dictionary.size()) return "count";
    if (dictionary_->allKeys() != model_.array) return "allKeys";
    if (dictionary_->allValues() != model_.values()) return "allValues";
    for (std::size_t i = 0; i < model_.array.size(); ++i)
      if (dictionary_->keyAtIndex(i) != model_.array[i]) return "key at " + std::to_string(i);
    return {};
  }

 private:
  void sort(bool forwards) {
    // By the last digit, so that there are equals.
    dictionary_->sortUsingComparator([&](std::string_view a, std::string_view b) {
      return forwards ? a.back() - b.back() : b.back() - a.back();
    });
    std::stable_sort(model_.array.begin(), model_.array.end(), [&](auto& a, auto& b) {
      return forwards ? a.back() < b.back() : b.back() < a.back();
    });
  }
  std::optional<std::string> readAt(std::size_t index) const {
    if (index >= model_.array.size()) return {};
    const std::string& key = model_.array[index];
    if (dictionary_->keyAtIndex(index) == key &&
        dictionary_->objectAtIndex(index) == Value(model_.dictionary.at(key)))
      return {};
    return "read at " + std::to_string(index);
  }
  std::optional<std::string> readKey(const std::string& key) const {
    const auto known = model_.dictionary.find(key);
    const auto value = dictionary_->objectForKey(key);
    const bool isSame = known == model_.dictionary.end() ? !value : value == Value(known->second);
    return isSame ? std::nullopt : std::optional("read of " + key);
  }

  VaspOrderedDictionary::Pointer dictionary_ = VaspOrderedDictionary::dictionary();
  OrderedModel model_;
};

}  // namespace kelm::testing
