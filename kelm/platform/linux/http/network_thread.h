#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <vector>

#include "kelm/base/mutex.h"

namespace kelm::platform::url_sessions {

using Moment = std::chrono::steady_clock::time_point;

/// The one thread that waits for the sockets and the times of all sessions. Started on first use
/// and never destroyed; when the process exits it is stopped first, with what it was doing.
class NetworkThread {
 public:
  /// Whoever has sockets and times to wait for. Called on the network thread only.
  class Member {
   public:
    virtual ~Member() = default;
    /// `events`: EPOLLIN, EPOLLOUT, EPOLLERR, EPOLLHUP.
    virtual void socketReady(int socket, std::uint32_t events) = 0;
    /// After sockets were ready, jobs ran or its time came.
    virtual void advance(Moment now) = 0;
    /// When to advance at the latest.
    virtual Moment due() const = 0;
  };

  static NetworkThread& instance();

  /// Runs the job on the thread, after those posted before. From any thread.
  void post(std::function<void()> job);

  // On the network thread.
  void add(Member& member);
  void remove(Member& member);
  /// Waits for `events` of the socket, for none when 0.
  void watch(int socket, std::uint32_t events, Member& member);
  /// The socket will be waited for again and again: what the kernel was told stays when nothing
  /// is waited for, until the socket is closed by closeLasting().
  void markLasting(int socket);
  void closeLasting(int socket);

 private:
  struct Watched {
    Member* member = nullptr;  // while something is waited for
    std::uint32_t events = 0;  // as the kernel knows them
    bool lasting = false;
  };

  NetworkThread();
  void start();
  void stop();
  void run();
  void runJobs();
  void waitForEvents();
  void dispatch(int socket, std::uint32_t events);
  void tellKernel(int socket, std::uint32_t events);
  Watched& watched(int socket);
  int millisecondsToWait() const;
  void wake() const;

  const int epoll_;
  const int wakeUp_;  // an eventfd, edge-triggered: never read
  std::vector<Member*> members_;
  std::vector<Watched> watched_;  // by socket
  std::vector<std::function<void()>> running_;

  Mutex mutex_;
  std::condition_variable_any stopped_;
  std::vector<std::function<void()>> jobs_ KELM_GUARDED_BY(mutex_);
  bool sleeping_ KELM_GUARDED_BY(mutex_) = false;
  bool hasStopped_ KELM_GUARDED_BY(mutex_) = false;
  std::atomic<bool> stopping_{false};
};

}  // namespace kelm::platform::url_sessions
