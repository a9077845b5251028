#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// An absolute URL with a host (RFC 3986), in one normal form: scheme and host in lower case, IPv6
/// addresses as RFC 5952 writes them, no default port, no dot segments, at least "/" as the path,
/// no fragment, since that never travels. A value; equal URLs have equal texts.
class KELM_API Url {
 public:
  /// Absent for what RFC 3986 does not allow (blanks, controls, quotes, non-ASCII letters, a "%"
  /// without two hexadecimal digits, a second "#"), and for what programs read differently: a "%"
  /// or a punctuation mark but "-", ".", "_" and "~" in the host, an empty host or label, a host
  /// that ends in a number and is no address of four plain decimals, an IPv6 zone, a second "@", a
  /// port that is no number up to 65535.
  static std::optional<Url> parse(std::string_view text);
  /// Resolves a reference, such as the one of a redirect, against this URL (RFC 3986, section 5.2).
  /// Absent for one that is malformed.
  std::optional<Url> resolve(std::string_view reference) const;
  /// True if the text is an absolute URL or a relative reference by the characters and the grammar
  /// of RFC 3986, with an authority, if it has one, that parse() takes; only http and https need a
  /// host in theirs.
  static bool isReference(std::string_view text);

  const std::string& scheme() const { return scheme_; }
  bool isSecure() const { return scheme_ == "https"; }  ///< speaks TLS
  /// The name or address, without brackets.
  const std::string& host() const { return host_; }
  /// The one given, or the default of http and https; 0 for another scheme without one.
  std::uint16_t port() const { return port_; }
  const std::string& path() const { return path_; }
  /// The part behind "?"; absent without a "?", which differs from an empty one.
  const std::optional<std::string>& query() const { return query_; }
  /// Name and password as they were written, with their escapes; absent without "@".
  const std::optional<std::string>& userInfo() const { return userInfo_; }

  /// The whole, as it is requested.
  std::string text() const;
  /// Scheme, host and port: "https://h:443". URLs are of one origin if these are equal.
  std::string origin() const;

  bool operator==(const Url&) const = default;

 private:
  Url() = default;
  bool setAuthority(std::string_view authority);
  void setPath(std::string_view path);
  std::string hostText() const;

  std::string scheme_, host_, path_;
  std::optional<std::string> userInfo_, query_;
  std::uint16_t port_ = 0;
};

}  // namespace kelm
