#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/object.h"

namespace kelm {

/// A version in the manner of Semantic Versioning 2.0.0, read tolerantly: any text makes one, and
/// `isValid` tells whether it can be compared. Prereleases are compared as whole texts, not part
/// by part. Immutable, so threads may share one.
class KELM_API EDSemver : public Object {
 public:
  /// `spec` The version of the rules: "2.0.0".
  static std::string_view spec() { return "2.0.0"; }
  /// `semverWithString:` Raises the range failure for a text of blanks alone, nothing else.
  static EDSemver semverWithString(std::string_view text);
  /// `initWithString:` The same.
  static EDSemver initWithString(std::string_view text);

  const std::string& original() const { return original_; }
  /// `version` The numeric components, at least three, then the prerelease, then the build.
  const std::vector<std::string>& version() const { return version_; }
  bool isValid() const { return isValid_; }
  // What follows is 0 or empty while the version is not valid.
  std::int64_t major() const { return major_; }
  std::int64_t minor() const { return minor_; }
  std::int64_t patch() const { return patch_; }
  /// `prerelease` Element 3 of `version`: the fourth number when there are more than three.
  const std::string& prerelease() const { return prerelease_; }
  /// `build` Element 4 of `version`: with a fourth number the next one, or the prerelease.
  const std::string& build() const { return build_; }
  /// `pr` The prerelease's parts, at least three.
  const std::vector<std::string>& pr() const { return pr_; }

  /// `compare:` -1, 0 or 1: by numbers, then a prerelease before none, then the prereleases as
  /// UTF-16 text; builds do not count. Raises the invalid-argument failure "nil argument" when
  /// either is not valid or `other` is null.
  int compare(const EDSemver* other) const;
  /// `isEqualTo:` False for null and for objects of other classes; else what `compare:` says,
  /// raising too. So the next two.
  bool isEqualTo(const Object* other) const;
  /// `isLessThan:`
  bool isLessThan(const Object* other) const;
  /// `isGreaterThan:`
  bool isGreaterThan(const Object* other) const;

  /// `description` The original text.
  std::string description() const override;
  /// `debugDescription` Such as "<EDSemver: 0x7f0c (1.2.3)>".
  std::string debugDescription() const;

  /// `lex:` The components of a text without its blanks and one leading "v" and "=" each; the
  /// prerelease is what follows the last "-" before the first "+", the build what follows the last
  /// "+". Raises as `semverWithString:` does.
  static std::vector<std::string> lex(std::string_view text);
  /// `parse:strict:` The parts between the dots, filled up with "0" to three; `strict` has no
  /// effect.
  static std::vector<std::string> parse_strict(std::string_view text, bool strict);
  /// `check` Whether there is text and its first three components are numbers, as a parser
  /// without a style reads them in the user's locale: digits of any script, an exponent, the
  /// locale's decimal separator, "∞". One with more than digits and over 4096 bytes is none.
  bool check() const;

 private:
  explicit EDSemver(std::string_view text);
  bool comparesAs(int order, const Object* other) const;

  std::string original_;
  std::vector<std::string> version_;
  bool isValid_ = false;
  std::int64_t major_ = 0;
  std::int64_t minor_ = 0;
  std::int64_t patch_ = 0;
  std::string prerelease_;
  std::string build_;
  std::vector<std::string> pr_;
};

}  // namespace kelm
