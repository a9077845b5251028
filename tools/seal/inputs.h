#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/wipe.h"
#include "kelm/crypto/vasp_rsa.h"

namespace kelm::seal {

/// Why a command failed, for the user.
struct Problem : std::runtime_error {
  using runtime_error::runtime_error;
};
/// The arguments make no sense; the user is pointed to the help.
struct WrongUse : std::runtime_error {
  using runtime_error::runtime_error;
};

/// Bytes that are wiped when they go.
class Secret {
 public:
  explicit Secret(Data bytes) : bytes_(std::move(bytes)) {}
  ~Secret() { wipe(bytes_); }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  DataView bytes() const { return bytes_; }
  std::string_view text() const { return textOf(bytes_); }

 private:
  Data bytes_;
};

/// The options of a command: names to the paths that they gave. None holds a secret.
class Options {
 public:
  void set(const std::string& name, const std::string& path) { paths_[name] = path; }
  std::optional<std::string> find(const std::string& name) const;
  /// WrongUse when the option was not given.
  std::string path(const std::string& name) const;
  const std::map<std::string, std::string>& paths() const { return paths_; }
  /// True if existing files may be replaced.
  bool force = false;

 private:
  std::map<std::string, std::string> paths_;
};

/// A whole file.
Data readFile(const std::string& path);
/// A text file without the line end that editors leave.
Secret readText(const std::string& path);
/// Writes a file, atomically. Its owner alone can read a new one; one that is replaced keeps its
/// permissions.
void writeFile(const std::string& path, DataView content);
void removeFile(const std::string& path);
/// Checks, before anything is written, that each of the outputs names a file of its own, by
/// whichever path, that no other option names, and that none exists unless the user forces it: a
/// key that is lost takes what it sealed with it.
void checkOutputs(const Options& options, std::span<const char* const> outputs);

/// The text of the file that an option names; without the option, what the user types at the
/// terminal, unseen, at the prompt.
Secret secretText(const Options& options, const std::string& name, const std::string& prompt);
/// The same as Base64; Problem when it is not.
Secret secretBytes(const Options& options, const std::string& name, const std::string& prompt);

/// The certificate of --certificate (DER or PEM) as Base64 of its DER, as applications take it.
std::string base64Certificate(const Options& options);
/// The private key of --bundle (PKCS#12), opened with the password of --bundle-password.
std::shared_ptr<VaspRSA> privateKey(const Options& options);

}  // namespace kelm::seal
