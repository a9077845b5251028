#pragma once

#include <string>

namespace bench {

/// An HTTP server in a process of its own on a free loopback port, as bare as can be, so that a
/// client's costs stand out: one thread, connections kept open. A GET is answered with one
/// mebibyte of JSON text (below "/binary", of bytes that are no text), everything else with a short
/// JSON text. Ends with this process.
class TinyHttpServer {
 public:
  /// Forks: to be called before any thread is started.
  static const TinyHttpServer& instance();

  std::string url(const char* path) const;

 private:
  TinyHttpServer();

  int port_ = 0;
};

/// Binds this process, and what it starts from now on, to one processor.
void pinToOneProcessor();

}  // namespace bench
