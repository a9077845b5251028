#include "tools/seal/inputs.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kelm/base/result.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/platform/file_system.h"

namespace kelm::seal {

namespace {

constexpr std::string_view kPemBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kPemEnd = "-----END CERTIFICATE-----";
constexpr int kMostTyped = 1024;

platform::FileSystem& files() { return *platform::current<platform::FileSystem>(); }

Secret typedSecret(const std::string& prompt) {
  std::array<char, kMostTyped + 1> typed{};  // OpenSSL ends the text behind the most
  const int status = EVP_read_pw_string(typed.data(), kMostTyped, (prompt + ": ").c_str(), 0);
  Data bytes = dataOf({typed.data(), std::strlen(typed.data())});
  wipe({reinterpret_cast<std::uint8_t*>(typed.data()), typed.size()});
  ERR_clear_error();
  if (status != 0) throw Problem("no terminal to ask for: " + prompt);
  return Secret(std::move(bytes));
}

/// DER as it is; of PEM the first certificate.
Data derOf(Data file, const std::string& path) {
  const std::string_view text = textOf(file);
  const std::size_t begin = text.find(kPemBegin);
  if (begin == std::string_view::npos) return file;
  const std::size_t start = begin + kPemBegin.size();
  const std::size_t end = text.find(kPemEnd, start);
  std::optional<Data> der;
  if (end != std::string_view::npos)
    der = VaspBase64::dataOfBase64String(text.substr(start, end - start));
  if (!der) throw Problem(path + ": malformed PEM");
  return *std::move(der);
}

/// By device and inode of files that exist, else by their resolved paths.
bool areSameFile(const std::string& a, const std::string& b) {
  std::error_code failure;
  if (std::filesystem::equivalent(a, b, failure)) return true;
  const auto resolved = [&](const std::string& path) {
    return std::filesystem::weakly_canonical(std::filesystem::absolute(path, failure), failure);
  };
  return resolved(a) == resolved(b);
}

}  // namespace

std::optional<std::string> Options::find(const std::string& name) const {
  const auto found = paths_.find(name);
  return found != paths_.end() ? std::optional(found->second) : std::nullopt;
}

std::string Options::path(const std::string& name) const {
  const std::optional<std::string> path = find(name);
  if (!path) throw WrongUse("--" + name + " is missing");
  return *path;
}

Data readFile(const std::string& path) {
  Result<Data> content = files().readFile(path);
  if (!content) throw Problem(content.error().localizedDescription());
  return *std::move(content);
}

Secret readText(const std::string& path) {
  Data content = readFile(path);
  std::size_t size = content.size();
  if (size > 0 && content[size - 1] == '\n') --size;
  if (size > 0 && content[size - 1] == '\r') --size;
  Secret whole(std::move(content));
  return Secret(dataOf(whole.text().substr(0, size)));
}

void writeFile(const std::string& path, DataView content) {
  if (const Failure failure = files().replaceFile(path, content))
    throw Problem(failure->localizedDescription());
}

void removeFile(const std::string& path) {
  if (const Failure failure = files().remove(path)) throw Problem(failure->localizedDescription());
}

void checkOutputs(const Options& options, std::span<const char* const> outputs) {
  for (const char* const output : outputs) {
    const std::string path = options.path(output);
    for (const auto& [name, other] : options.paths())
      if (name != output && areSameFile(path, other))
        throw Problem("--" + name + " and --" + output + " are the same file: " + path);
    if (files().exists(path) && !options.force)
      throw Problem(path + ": exists, and is replaced with --force alone");
  }
}

Secret secretText(const Options& options, const std::string& name, const std::string& prompt) {
  const std::optional<std::string> path = options.find(name);
  return path ? readText(*path) : typedSecret(prompt);
}

Secret secretBytes(const Options& options, const std::string& name, const std::string& prompt) {
  const Secret text = secretText(options, name, prompt);
  std::optional<Data> bytes = VaspBase64::dataOfBase64String(text.text());
  if (!bytes || bytes->empty()) throw Problem(prompt + ": not Base64");
  return Secret(*std::move(bytes));
}

std::string base64Certificate(const Options& options) {
  const std::string path = options.path("certificate");
  const Data der = derOf(readFile(path), path);
  if (!VaspRSA::initWithPublicKey(der))
    throw Problem(path + ": no X.509 certificate with an RSA key of 512 to 8192 bits");
  return VaspBase64::base64OfData(der);
}

std::shared_ptr<VaspRSA> privateKey(const Options& options) {
  const std::string path = options.path("bundle");
  const Secret bundle(readFile(path));
  const Secret password = secretText(options, "bundle-password", "password of " + path);
  auto key = VaspRSA::initWithPrivateKey_withPassword(bundle.bytes(), password.text());
  if (!key) throw Problem(path + ": no PKCS#12 bundle with an RSA key, or the password is wrong");
  return key;
}

}  // namespace kelm::seal
