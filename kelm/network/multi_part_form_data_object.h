#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kelm/base/object.h"
#include "kelm/base/value.h"

namespace kelm {

/// One part of a multipart form body: a text, or a file when `object` is present. Not thread-safe;
/// not to be changed while a body is built from it.
class KELM_API MultiPartFormDataObject : public Object {
 public:
  /// `key` The form field's name.
  const std::optional<std::string>& key() const { return key_; }
  /// `setKey:`
  void setKey(std::optional<std::string> key) { key_ = std::move(key); }
  /// `value` The text, or the name of the file.
  const std::optional<std::string>& value() const { return value_; }
  /// `setValue:`
  void setValue(std::optional<std::string> value) { value_ = std::move(value); }
  /// `object` The file's content, a byte buffer; absent for a text.
  const std::optional<Value>& object() const { return object_; }
  /// `setObject:`
  void setObject(std::optional<Value> object) { object_ = std::move(object); }
  /// `contentType` The file's media type; not used for a text.
  const std::optional<std::string>& contentType() const { return contentType_; }
  /// `setContentType:`
  void setContentType(std::optional<std::string> type) { contentType_ = std::move(type); }

  /// `description` "key: K , value: V, obj: O , contentType: T"; an absent field as "(null)".
  std::string description() const override;

 private:
  std::optional<std::string> key_;
  std::optional<std::string> value_;
  std::optional<Value> object_;
  std::optional<std::string> contentType_;
};

using MultiPartList = std::vector<std::shared_ptr<MultiPartFormDataObject>>;

}  // namespace kelm
