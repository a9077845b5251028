#include <unordered_map>

#include "kelm/base/coding/archive_format.h"
#include "kelm/base/coding/property_list.h"
#include "kelm/base/coding/xml_text.h"
#include "kelm/base/format.h"

namespace kelm {
namespace {

using namespace archive;

/// Texts up to this size are kept once, which serves the keys of dictionaries. Longer ones are
/// not: an archive never grows much when it is read back.
constexpr std::size_t kSharedTextBytes = 64;

class Archiver {
 public:
  Result<Data> archive(const Value& root) {
    objects_.emplace_back(kNull);
    try {
      Dictionary top{{std::string(kArchiveRootKey), add(root)}};
      if (error_) return *error_;
      const Dictionary all{{std::string(kVersion), kVersionNumber},
                           {std::string(kArchiver), kArchiverName},
                           {std::string(kTop), std::move(top)},
                           {std::string(kObjects), std::move(objects_)}};
      if (const auto xml = writePropertyList(all)) return dataOf(*xml);
      return Error::make(error_domain::kFormat, 3, "The archive cannot be written");
    } catch (const Stop&) {
      return *error_;
    }
  }

 private:
  /// Collects what one object encodes.
  class Encoder final : public KeyedEncoder {
   public:
    Encoder(Archiver& archiver, Dictionary& record) : archiver_(archiver), record_(record) {}
    void encode(std::string_view key, const Value& value) override {
      if (!isXmlText(key))
        archiver_.stop(format("A key of an object is no text: %@", bytesOf(key)));
      record_.set(storedKey(key), archiver_.add(value));
    }

   private:
    Archiver& archiver_;
    Dictionary& record_;
  };

  [[noreturn]] void stop(std::string_view sentence) {
    if (!error_) error_ = Error::make(error_domain::kFormat, 3, sentence);
    throw Stop();
  }

  static Value reference(std::uint64_t index) {
    return Dictionary{{std::string(kReference), static_cast<std::int64_t>(index)}};
  }

  /// Keeps a value and returns the reference to it.
  Value add(const Value& value) {
    if (depth_ == kArchiveMaxDepth) stop("The nesting is too deep");
    const struct Level {
      int& depth;
      ~Level() { --depth; }
    } level{++depth_};
    const std::uint64_t index =
        std::visit([this](const auto& c) { return put(c); }, value.storage());
    return reference(index);
  }

  std::uint64_t append(Value stored) {
    objects_.push_back(std::move(stored));
    return objects_.size() - 1;
  }

  std::uint64_t put(const Null&) { return 0; }
  template <class T>
  std::uint64_t put(const T& leaf) {
    return append(Value(leaf));
  }
  std::uint64_t put(const std::string& text) {
    const bool isShared = text.size() <= kSharedTextBytes;
    if (const auto known = texts_.find(text); isShared && known != texts_.end())
      return known->second;
    const std::uint64_t index = isXmlText(text)
                                    ? append(Value(text))
                                    : append(record(kText, {{std::string(kBytes), dataOf(text)}}));
    if (isShared) texts_.emplace(text, index);
    return index;
  }
  std::uint64_t put(const Decimal& number) {
    return append(record(kDecimal, {{std::string(kDigits), number.text()}}));
  }
  std::uint64_t put(const Date& date) {
    return append(record(kDate, {{std::string(kSeconds), date.secondsSince1970}}));
  }
  std::uint64_t put(const List& list) {
    const std::uint64_t index = append(Null{});
    List items;
    for (const Value& item : list)
      items.push_back(add(item));
    objects_[index] = record(kList, {{std::string(kItems), std::move(items)}});
    return index;
  }
  std::uint64_t put(const Dictionary& dictionary) {
    const std::uint64_t index = append(Null{});
    List keys;
    List items;
    for (const Dictionary::Entry& entry : dictionary) {
      keys.push_back(add(entry.key));
      items.push_back(add(entry.value));
    }
    objects_[index] = record(kDictionary, {{std::string(kKeys), std::move(keys)},
                                           {std::string(kItems), std::move(items)}});
    return index;
  }
  std::uint64_t put(const ObjectPointer& object) {
    if (const auto known = seen_.find(object); known != seen_.end()) return known->second;
    const auto* archivable = dynamic_cast<const Archivable*>(object.get());
    if (!archivable) stop(format("An object cannot be archived: %@", object));
    const std::string name = archivable->archiveClassName();
    if (!isXmlText(name) || name.empty() || name.starts_with('$'))
      stop(format("This cannot be the name of a class: %@", name));
    const std::uint64_t index = append(Null{});
    seen_.emplace(object, index);  // first of all: what it encodes may refer to it
    Dictionary stored = record(name, {});
    Encoder encoder(*this, stored);
    archivable->encodeWith(encoder);
    objects_[index] = std::move(stored);
    return index;
  }

  Dictionary record(std::string_view className, const Dictionary& content) {
    Dictionary stored{{std::string(kClass), reference(classIndex(className))}};
    stored.addEntries(content);
    return stored;
  }
  std::uint64_t classIndex(std::string_view name) {
    const auto [known, isNew] = classes_.try_emplace(std::string(name), objects_.size());
    if (isNew)
      append(Dictionary{{std::string(kClassName), name}, {std::string(kClasses), List{name}}});
    return known->second;
  }

  List objects_;
  std::unordered_map<std::string, std::uint64_t> texts_;
  std::unordered_map<std::string, std::uint64_t> classes_;
  std::unordered_map<ObjectPointer, std::uint64_t> seen_;  // holds them, so that none moves in
  std::optional<Error> error_;
  int depth_ = 0;
};

}  // namespace

Result<Data> archivedData(const Value& root) { return Archiver().archive(root); }

}  // namespace kelm
