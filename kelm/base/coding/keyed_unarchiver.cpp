#include <map>
#include <unordered_map>

#include "kelm/base/coding/archive_format.h"
#include "kelm/base/coding/property_list.h"
#include "kelm/base/format.h"
#include "kelm/base/mutex.h"

namespace kelm {
namespace {

using namespace archive;

struct Registry {
  Mutex mutex;
  std::map<std::string, ArchiveFactory, std::less<>> factories KELM_GUARDED_BY(mutex);

  static Registry& shared() {
    static Registry& registry = *new Registry;  // outlives every static that registers or decodes
    return registry;
  }
  ArchiveFactory find(std::string_view name) {
    const Lock lock(mutex);
    const auto found = factories.find(name);
    return found == factories.end() ? nullptr : found->second;
  }
};

/// What a decoded value counts in the account that bounds expansion, beside its bytes.
constexpr std::size_t kNodeCost = 16;
/// How much may be made of each byte of an archive. The archiver's own stay below 2.
constexpr std::size_t kExpansion = 8;

class Unarchiver {
 public:
  explicit Unarchiver(KeyedUnarchiverDelegate* delegate) : delegate_(delegate) {}

  Result<Value> unarchive(DataView archive) {
    const Result<Value> list = parsePropertyList(archive);
    if (!list) return list.error();
    budget_ = kExpansion * archive.size();
    try {
      const Value& rootReference = open(*list);
      Value root = decode(rootReference);
      if (error_) return *error_;
      if (delegate_) delegate_->didFinish();
      return root;
    } catch (const Stop&) {
      return *error_;
    }
  }

 private:
  /// Hands one object what it had encoded.
  class Decoder final : public KeyedDecoder {
   public:
    Decoder(Unarchiver& unarchiver, const Dictionary& record)
        : unarchiver_(unarchiver), record_(record) {}
    bool contains(std::string_view key) const override { return record_.contains(storedKey(key)); }
    std::optional<Value> decode(std::string_view key) override {
      const Value* reference = record_.find(storedKey(key));
      if (!reference) return {};
      return unarchiver_.decode(*reference);
    }

   private:
    Unarchiver& unarchiver_;
    const Dictionary& record_;
  };

  /// How far one entry of "$objects" is.
  struct Slot {
    enum class State : char { Untouched, Open, Kept };
    State state = State::Untouched;
    std::uint32_t references = 0;
    std::size_t cost = 0;
    Value value;
  };

  [[noreturn]] void stop(std::string_view sentence) {
    if (!error_) error_ = Error::make(error_domain::kFormat, 3, sentence);
    throw Stop();
  }
  [[noreturn]] void stopAsMalformed() { stop("The archive is malformed"); }

  /// While an entry is being decoded; ends also when a factory throws.
  class Visit {
   public:
    Visit(Unarchiver& unarchiver, Slot& slot) : unarchiver_(unarchiver), slot_(slot) {
      if (unarchiver.depth_ == kArchiveMaxDepth) unarchiver.stop("The nesting is too deep");
      ++unarchiver.depth_;
      slot.state = Slot::State::Open;
    }
    ~Visit() {
      --unarchiver_.depth_;
      if (slot_.state == Slot::State::Open) slot_.state = Slot::State::Untouched;
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

   private:
    Unarchiver& unarchiver_;
    Slot& slot_;
  };

  template <class T>
  const T& entry(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    const T* content = value ? value->get<T>() : nullptr;
    if (!content) stopAsMalformed();
    return *content;
  }

  /// Checks the frame of the archive and returns the reference to its root.
  const Value& open(const Value& list) {
    const auto* all = list.get<Dictionary>();
    if (!all || entry<std::string>(*all, kArchiver) != kArchiverName ||
        entry<std::int64_t>(*all, kVersion) != kVersionNumber)
      stop("This is no archive");
    objects_ = &entry<List>(*all, kObjects);
    if (objects_->empty() || objects_->front() != Value(kNull)) stopAsMalformed();
    slots_.resize(objects_->size());
    for (const Value& object : *objects_)
      countReferences(object);
    const Value* root = entry<Dictionary>(*all, kTop).find(kArchiveRootKey);
    if (!root) stopAsMalformed();
    return *root;
  }

  static std::optional<std::size_t> indexOf(const Value& reference) {
    const auto* dictionary = reference.get<Dictionary>();
    if (!dictionary || dictionary->size() != 1) return {};
    const Value* number = dictionary->find(kReference);
    const auto* index = number ? number->get<std::int64_t>() : nullptr;
    if (!index || *index < 0) return {};
    return static_cast<std::size_t>(*index);
  }
  void countReference(const Value& value) {
    const auto index = indexOf(value);
    if (index && *index < slots_.size()) ++slots_[*index].references;
  }
  void countReferences(const Value& object) {
    const auto* record = object.get<Dictionary>();
    if (!record) return;
    for (const Dictionary::Entry& entry : *record) {
      countReference(entry.value);
      if (const auto* items = entry.value.get<List>())
        for (const Value& item : *items)
          countReference(item);
    }
  }

  const Value& target(const Value& reference, std::size_t& index) {
    const auto found = indexOf(reference);
    if (!found || *found >= objects_->size()) stopAsMalformed();
    index = *found;
    return (*objects_)[index];
  }

  void spend(std::size_t cost) {
    if (cost > budget_ - spent_) stop("The archive expands without measure");
    spent_ += cost;
  }

  Value decode(const Value& reference) {
    std::size_t index = 0;
    const Value& stored = target(reference, index);
    spend(kNodeCost);
    if (index == 0) return Null{};
    Slot& slot = slots_[index];
    if (slot.state == Slot::State::Kept) {
      spend(slot.cost);
      return slot.value;
    }
    if (slot.state == Slot::State::Open) stop("A reference back to what is being decoded");
    const Visit visit(*this, slot);
    const std::size_t before = spent_;
    bool isObject = false;
    Value value = make(stored, isObject);
    // Values that stand in one place only are not worth a copy.
    if (!isObject && slot.references <= 1) return value;
    slot.cost = isObject ? 0 : spent_ - before;
    spend(slot.cost);
    slot.value = value;
    slot.state = Slot::State::Kept;
    return value;
  }

  Value make(const Value& stored, bool& isObject) {
    if (const auto* record = stored.get<Dictionary>()) return makeOfRecord(*record, isObject);
    if (const auto* text = stored.get<std::string>())
      spend(text->size());
    else if (const auto* data = stored.get<Data>())
      spend(data->size());
    else if (!stored.isNumber())
      stopAsMalformed();
    return stored;
  }

  Value makeOfRecord(const Dictionary& record, bool& isObject) {
    const Value* reference = record.find(kClass);
    if (!reference) stopAsMalformed();
    std::size_t classIndex = 0;
    const auto* description = target(*reference, classIndex).get<Dictionary>();
    if (!description) stopAsMalformed();
    const std::string& name = entry<std::string>(*description, kClassName);
    if (name == kList) return decodedItems(record, kItems);
    if (name == kDictionary) return makeDictionary(record);
    if (name == kDate) return Date{entry<double>(record, kSeconds)};
    if (name == kDecimal) {
      const auto number = Decimal::fromText(entry<std::string>(record, kDigits));
      if (!number) stopAsMalformed();
      return *number;
    }
    if (name == kText) {
      const Data& bytes = entry<Data>(record, kBytes);
      spend(bytes.size());
      return Value(textOf(bytes));
    }
    isObject = true;
    return makeObject(name, record);
  }

  List decodedItems(const Dictionary& record, std::string_view key) {
    const List& references = entry<List>(record, key);
    List items;
    items.reserve(references.size());
    for (const Value& reference : references)
      items.push_back(decode(reference));
    return items;
  }

  Value makeDictionary(const Dictionary& record) {
    const List keys = decodedItems(record, kKeys);
    List items = decodedItems(record, kItems);
    if (keys.size() != items.size()) stopAsMalformed();
    Dictionary dictionary;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const auto key = keys[i].text();
      if (!key || dictionary.contains(*key)) stopAsMalformed();
      dictionary.set(*key, std::move(items[i]));
    }
    return dictionary;
  }

  Value makeObject(const std::string& name, const Dictionary& record) {
    Decoder decoder(*this, record);
    ObjectPointer object = factoryFor(name)(decoder);
    if (error_) throw Stop();  // the factory went on after all
    if (!object) stop(format("An object of class %@ could not be made", name));
    return delegate_ ? delegate_->replacementFor(std::move(object)) : Value(std::move(object));
  }

  const ArchiveFactory& factoryFor(const std::string& name) {
    const auto known = factories_.find(name);
    if (known != factories_.end()) return known->second;
    ArchiveFactory factory = Registry::shared().find(delegate_ ? delegate_->classFor(name) : name);
    if (!factory && delegate_)
      if (const auto substitute = delegate_->cannotDecodeClass(name))
        factory = Registry::shared().find(*substitute);
    if (!factory) stop(format("No class %@ is registered", name));
    return factories_.emplace(name, std::move(factory)).first->second;
  }

  KeyedUnarchiverDelegate* delegate_;
  const List* objects_ = nullptr;
  std::vector<Slot> slots_;
  std::unordered_map<std::string, ArchiveFactory> factories_;
  std::optional<Error> error_;
  std::size_t budget_ = 0;
  std::size_t spent_ = 0;
  int depth_ = 0;
};

}  // namespace

KeyedUnarchiverDelegate::~KeyedUnarchiverDelegate() = default;
std::string KeyedUnarchiverDelegate::classFor(std::string_view archivedName) {
  return std::string(archivedName);
}
std::optional<std::string> KeyedUnarchiverDelegate::cannotDecodeClass(std::string_view) {
  return {};
}
Value KeyedUnarchiverDelegate::replacementFor(ObjectPointer object) { return object; }
void KeyedUnarchiverDelegate::didFinish() {}

bool registerArchivableClass(std::string_view name, ArchiveFactory factory) {
  Registry& registry = Registry::shared();
  const Lock lock(registry.mutex);
  registry.factories.insert_or_assign(std::string(name), std::move(factory));
  return true;
}

Result<Value> unarchivedValue(DataView archive, KeyedUnarchiverDelegate* delegate) {
  return Unarchiver(delegate).unarchive(archive);
}

}  // namespace kelm
