#include "kelm/platform/linux/core/journal.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

namespace kelm::platform {

namespace {

// A journal that is stopped keeps a few entries; then each further one would wait for ever.
constexpr timeval kPatience{.tv_sec = 0, .tv_usec = 50'000};

int openSocket() {
  const int number = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (number >= 0) ::setsockopt(number, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
  return number;
}

/// "NAME=value", or, for a value of several lines, the name, the length as 64 bits in little-endian
/// order and the value.
void appendField(std::string& entry, const Journal::Field& field) {
  entry.append(field.name);
  if (field.value.find('\n') == std::string_view::npos) {
    entry.push_back('=');
  } else {
    entry.push_back('\n');
    for (int shift = 0; shift < 64; shift += 8)
      entry.push_back(static_cast<char>(static_cast<std::uint64_t>(field.value.size()) >> shift));
  }
  entry.append(field.value).push_back('\n');
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = retried([&] { return ::write(file, bytes.data(), bytes.size()); });
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

Journal::Journal(std::string path) : path_(std::move(path)), socket_(openSocket()) {}

bool Journal::isThere() { return ::access(kSocketPath, W_OK) == 0; }

bool Journal::send(std::span<const Field> fields) const {
  std::string entry;
  for (const Field& field : fields)
    appendField(entry, field);
  if (sendDatagram(entry)) return true;
  return (errno == EMSGSIZE || errno == ENOBUFS) && sendAsFile(entry);
}

bool Journal::sendDatagram(std::string_view entry) const {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path_.copy(address.sun_path, sizeof address.sun_path - 1);
  return retried([&] {
           return ::sendto(socket_.number(), entry.data(), entry.size(), MSG_NOSIGNAL,
                           reinterpret_cast<const sockaddr*>(&address), sizeof address);
         }) >= 0;
}

bool Journal::sendAsFile(std::string_view entry) const {
  constexpr int kAllSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
  const Descriptor file(::memfd_create("journal-entry", MFD_ALLOW_SEALING | MFD_CLOEXEC));
  if (file.number() < 0 || !writeAll(file.number(), entry) ||
      ::fcntl(file.number(), F_ADD_SEALS, kAllSeals) != 0)
    return false;
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path_.copy(address.sun_path, sizeof address.sun_path - 1);
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_name = &address;
  message.msg_namelen = sizeof address;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* const rights = CMSG_FIRSTHDR(&message);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof(int));
  const int number = file.number();
  std::memcpy(CMSG_DATA(rights), &number, sizeof number);
  return retried([&] { return ::sendmsg(socket_.number(), &message, MSG_NOSIGNAL); }) >= 0;
}

}  // namespace kelm::platform
