// A small acquirer on this machine: takes sales by HTTP, keeps each once, in a file of lines.

#include <getopt.h>
#include <httplib.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "kelm/base/coding/json.h"
#include "terminal/sale.h"

namespace {

constexpr const char* kHelp = R"(usage: acquirer [options]

Listens on 127.0.0.1, takes sales at POST /sales and keeps each once: 201 for a new sale, 409 for
one that it has, 400 for what is no sale. GET /sales lists what it keeps, a line a sale.

  --port N         port to listen on; 0 (the default) takes a free one
  --port-file F    writes the port to F once it listens
  --keep F         the file of the sales, appended to (default: sales-received.csv)
  --fail N         answers 500 to the first N sales, without keeping them
  --hang-up N      keeps the next N sales but hangs up before it answers
  --help           this text
)";

struct Options {
  int port = 0;
  std::string portFile;
  std::string keep = "sales-received.csv";
  int fail = 0;
  int hangUp = 0;
};

/// The sales that were taken, in memory by id and in a file by line.
class Ledger {
 public:
  explicit Ledger(const std::string& path) : path_(path) {
    std::ifstream earlier(path);
    for (std::string line; std::getline(earlier, line);) {
      const auto sale = terminal::parseSale(line);
      if (const auto* known = std::get_if<terminal::Sale>(&sale)) ids_.insert(known->id);
    }
    file_ = std::fopen(path.c_str(), "a");
  }
  ~Ledger() {
    if (file_ != nullptr) std::fclose(file_);
  }
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;

  bool open() const { return file_ != nullptr; }
  bool has(const std::string& id) const { return ids_.contains(id); }
  /// True once the sale is on the disk.
  bool keep(const terminal::Sale& sale) {
    const std::string line = terminal::lineOf(sale) + '\n';
    if (std::fwrite(line.data(), 1, line.size(), file_) != line.size() || std::fflush(file_) != 0 ||
        fsync(fileno(file_)) != 0) {
      return false;
    }
    ids_.insert(sale.id);
    return true;
  }
  std::string text() const {
    std::ifstream file(path_);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
  std::set<std::string> ids_;
  std::FILE* file_ = nullptr;
};

class Acquirer {
 public:
  explicit Acquirer(const Options& options)
      : ledger_(options.keep), fail_(options.fail), hangUp_(options.hangUp) {
    server_.Post("/sales",
                 [this](const auto& request, auto& response) { take(request, response); });
    server_.Get("/sales", [this](const httplib::Request&, httplib::Response& response) {
      const std::lock_guard lock(mutex_);
      response.set_content(ledger_.text(), "text/csv; charset=utf-8");
    });
  }

  httplib::Server& server() { return server_; }
  bool ready() const { return ledger_.open(); }

 private:
  void take(const httplib::Request& request, httplib::Response& response) {
    const std::lock_guard lock(mutex_);
    const auto json = kelm::parseJson(request.body);
    const auto* fields = json ? json->get<kelm::Dictionary>() : nullptr;
    const auto sale = fields != nullptr ? terminal::saleOf(*fields) : std::nullopt;
    if (!sale) return answer(response, 400, "that is no sale");
    if (fail_ > 0) {
      --fail_;
      return answer(response, 500, "out of order, try later");
    }
    if (ledger_.has(sale->id)) return answer(response, 409, "this sale is here already");
    if (!ledger_.keep(*sale)) return answer(response, 500, "cannot keep it");
    std::cout << "took " << sale->id << ' ' << sale->amount << ' ' << sale->currency << std::endl;
    if (hangUp_ > 0) {
      --hangUp_;
      // A promised body that never comes: the connection closes in the middle of the answer.
      response.set_content_provider(64, "text/plain",
                                    [](std::size_t, std::size_t, auto&) { return false; });
      return;
    }
    answer(response, 201, "taken");
  }

  static void answer(httplib::Response& response, int status, const char* text) {
    response.status = status;
    response.set_content(std::string(text) + '\n', "text/plain");
  }

  httplib::Server server_;
  std::mutex mutex_;
  Ledger ledger_;
  int fail_;
  int hangUp_;
};

bool readOptions(int argc, char** argv, Options& options) {
  const option known[] = {{"port", required_argument, nullptr, 'p'},
                          {"port-file", required_argument, nullptr, 'f'},
                          {"keep", required_argument, nullptr, 'k'},
                          {"fail", required_argument, nullptr, 'e'},
                          {"hang-up", required_argument, nullptr, 'u'},
                          {"help", no_argument, nullptr, 'h'},
                          {nullptr, 0, nullptr, 0}};
  for (int c; (c = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
    switch (c) {
      case 'p':
        options.port = std::atoi(optarg);
        break;
      case 'f':
        options.portFile = optarg;
        break;
      case 'k':
        options.keep = optarg;
        break;
      case 'e':
        options.fail = std::atoi(optarg);
        break;
      case 'u':
        options.hangUp = std::atoi(optarg);
        break;
      case 'h':
        std::cout << kHelp;
        std::exit(0);
      default:
        return false;
    }
  }
  return optind == argc;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!readOptions(argc, argv, options)) {
    std::cerr << kHelp;
    return 2;
  }
  // Blocked in every thread; one of them waits for the signals and stops the server.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  Acquirer acquirer(options);
  if (!acquirer.ready()) {
    std::cerr << "acquirer: cannot write " << options.keep << '\n';
    return 1;
  }
  httplib::Server& server = acquirer.server();
  const int port = options.port == 0 ? server.bind_to_any_port("127.0.0.1")
                   : server.bind_to_port("127.0.0.1", options.port) ? options.port
                                                                    : -1;
  if (port < 0) {
    std::cerr << "acquirer: cannot listen on port " << options.port << '\n';
    return 1;
  }
  std::thread([&server, stopSignals] {
    int signal = 0;
    sigwait(&stopSignals, &signal);
    server.stop();
  }).detach();
  std::cout << "listening on http://127.0.0.1:" << port << std::endl;
  if (!options.portFile.empty()) {
    std::ofstream(options.portFile + ".new") << port << '\n';
    std::rename((options.portFile + ".new").c_str(), options.portFile.c_str());
  }
  return server.listen_after_bind() ? 0 : 1;
}
