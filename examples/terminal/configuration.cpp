#include "terminal/configuration.h"

#include <optional>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/format.h"
#include "kelm/crypto/vasp_crypted_config_file_payload_reader.h"
#include "kelm/storage/vasp_file_handler.h"

namespace terminal {

namespace {

using kelm::VaspCryptedConfigFilePayload;
using kelm::VaspCryptedConfigFilePayloadReader;

constexpr const char* kDomain = "terminal.configuration";

std::string_view reasonOf(const kelm::Error& error) {
  switch (error.code) {
    case VaspCryptedConfigFilePayloadReader::kUnreadableFile:
      return "it cannot be read or is empty";
    case VaspCryptedConfigFilePayloadReader::kInvalidSignature:
      return "it was changed, or the signer is not the one of this release";
    default:
      return "it is damaged, or sealed for another release";
  }
}

std::string acquirerUrlOf(const kelm::Value& configuration) {
  const auto* members = configuration.get<kelm::Dictionary>();
  const kelm::Value* url = members == nullptr ? nullptr : members->find("acquirer");
  return std::string(url == nullptr ? std::string_view() : url->text().value_or(""));
}

}  // namespace

kelm::Result<Configuration> readConfiguration(const std::string& file,
                                              const std::string& trustFolder) {
  const kelm::VaspFileHandler files;
  const auto trusted = [&](const char* name) {
    return files.readNSStringWithFullpath(trustFolder + "/" + name);
  };
  std::optional<kelm::Error> error;
  const std::optional<VaspCryptedConfigFilePayload> payload =
      VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain(kDomain)
          .configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
              file, trusted("certificate"), trusted("iv"), trusted("key"), &error);
  std::string_view problem = "it names no acquirer";
  if (payload) {
    Configuration configuration{acquirerUrlOf(payload->kelmPayload), payload->fileContentHashing};
    if (!configuration.acquirerUrl.empty()) return configuration;
  } else if (error) {
    problem = reasonOf(*error);
  }
  return kelm::Error::make(kDomain, 1, kelm::format("%@: %@", file, problem));
}

}  // namespace terminal
