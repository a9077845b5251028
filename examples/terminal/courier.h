#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "kelm/queue/kelm_reliable_queue.h"

namespace kelm::platform {
class UrlSession;
}

namespace terminal {

/// Sends the payloads of one run to the acquirer, one after the other in the order of the queue.
/// The first failure ends the run: what follows it stays queued, so that the order holds.
/// Everything happens on the main thread.
class Courier : public std::enable_shared_from_this<Courier> {
 public:
  /// How a run ended: empty when everything was delivered.
  using Ended = std::function<void(std::optional<std::string> problem)>;

  Courier(std::string acquirerUrl, std::shared_ptr<kelm::platform::UrlSession> session);

  /// Takes one payload of the run that is being collected.
  void collect(kelm::Data payload, kelm::ReliableQueueDone done);
  /// Sends what was collected; `delivered` is called after each one that the acquirer has.
  void send(std::function<void()> delivered, Ended ended);

 private:
  struct Parcel {
    kelm::Data payload;
    kelm::ReliableQueueDone done;
  };

  void sendNext();
  void answered(int statusCode, const std::optional<kelm::Error>& error);
  void fail(const std::string& problem);

  std::string url_;
  std::shared_ptr<kelm::platform::UrlSession> session_;
  std::deque<Parcel> parcels_;
  std::function<void()> delivered_;
  Ended ended_;
};

}  // namespace terminal
