#include "kelm/platform/linux/http/resolver.h"

#include <netdb.h>
#include <sys/socket.h>

#include <array>
#include <exception>
#include <memory>
#include <utility>

#include "kelm/platform/linux/http/network_thread.h"
#include "kelm/platform/process.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr int kMaxThreads = 8;

std::vector<std::string> addressesOf(const std::string& host) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_ADDRCONFIG;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, &freeaddrinfo);
  std::vector<std::string> addresses;
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    std::array<char, NI_MAXHOST> text;
    if (getnameinfo(entry->ai_addr, entry->ai_addrlen, text.data(), text.size(), nullptr, 0,
                    NI_NUMERICHOST) != 0)
      continue;
    const std::string address = text.data();
    addresses.push_back(entry->ai_family == AF_INET6 ? '[' + address + ']' : address);
  }
  return addresses;
}

}  // namespace

Resolver& Resolver::instance() {
  static auto* const kInstance = new Resolver;
  return *kInstance;
}

void Resolver::resolve(std::string host, Answer answer) {
  {
    const Lock lock(mutex_);
    questions_.push_back({std::move(host), std::move(answer)});
    if (threads_ == kMaxThreads) return;
    ++threads_;
  }
  try {
    startThread("kelm-names", [this] { work(); });
  } catch (const std::exception&) {  // the others, if there are any, answer
    const Lock lock(mutex_);
    --threads_;
    if (threads_ > 0) return;
    for (Question& question : questions_)
      NetworkThread::instance().post([answer = std::move(question.answer)] { answer({}); });
    questions_.clear();
  }
}

void Resolver::work() {
  for (;;) {
    Question question;
    {
      const Lock lock(mutex_);
      if (questions_.empty()) {
        --threads_;
        return;
      }
      question = std::move(questions_.front());
      questions_.pop_front();
    }
    NetworkThread::instance().post([answer = std::move(question.answer),
                                    addresses = addressesOf(question.host)] { answer(addresses); });
  }
}

}  // namespace kelm::platform::url_sessions
