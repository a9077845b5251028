#include "kelm/queue/folder_key.h"

#include <cerrno>
#include <string_view>

#include "kelm/base/wipe.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/crypto/vasp_pbkdf2.h"
#include "kelm/platform/file_system.h"

namespace kelm {

namespace {

constexpr std::string_view kFileName = "/.kelm-queue";
constexpr std::string_view kFormat = "kelm-queue ";
constexpr std::string_view kVersion = "kelm-queue 1 ";
constexpr std::size_t kMostFileBytes = 4096;
constexpr std::size_t kBlockBytes = 16;
constexpr std::uint32_t kDigestBytes = 32;

// PBKDF2 with one round and one block is the HMAC of its salt with a counter behind it.
Data keyedDigest(DataView key, DataView text) {
  return VaspPBKDF2::pbkdf2OfPasswordData_withSalt_expectingSize_performingRound(key, text,
                                                                                 kDigestBytes, 1)
      .value_or(Data());
}

// As the cipher takes short ones.
Data filled(DataView bytes) {
  Data result(bytes.begin(), bytes.end());
  if (result.size() < kBlockBytes) result.resize(kBlockBytes);
  return result;
}

platform::FileSystem& files() { return *platform::current<platform::FileSystem>(); }

}  // namespace

FolderKey::FolderKey(DataView key, DataView vector) {
  Data whole = filled(key);
  Data derived = keyedDigest(whole, bytesOf("kelm-queue key check"));
  Data checked = dataOf("payloads of this folder are encrypted so, vector ");
  append(checked, DataView(filled(vector)).first(kBlockBytes));
  text_ = std::string(kVersion) +
          VaspCryptoUtils::hexadecimalStringOfData(keyedDigest(derived, checked)) + '\n';
  wipe(whole);
  wipe(derived);
}

FolderKey::State FolderKey::stateOf(const std::string& folder) const {
  const auto content = files().readFile(folder + std::string(kFileName), kMostFileBytes);
  if (!content) {
    const std::int64_t code = content.error().code;
    return code == ENOENT || code == ENOTDIR ? State::NotSet : State::Unknown;
  }
  const std::string_view text = textOf(*content);
  if (text == text_) return State::Same;
  return text.starts_with(kFormat) && !text.starts_with(kVersion) ? State::LaterLayout
                                                                  : State::Other;
}

FolderKey::State FolderKey::claim(const std::string& folder) const {
  const State state = stateOf(folder);
  if (state != State::NotSet) return state;
  const Failure failure = files().createFile(folder + std::string(kFileName), bytesOf(text_));
  return failure ? stateOf(folder) : State::Same;
}

Failure FolderKey::adopt(const std::string& folder) const {
  return files().replaceFile(folder + std::string(kFileName), bytesOf(text_));
}

}  // namespace kelm
