// A till: takes sales from a file or from the keyboard, keeps each encrypted on the disk, and
// delivers them to the acquirer, oldest first, whenever it can be reached.

#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include "kelm/base/format.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/validation/formatting/kelm_amount_formatter.h"
#include "terminal/configuration.h"
#include "terminal/entry.h"
#include "terminal/till.h"

namespace {

constexpr const char* kHelp = R"(usage: terminal [options] [sales.csv]

Takes the sales of a file, or of the keyboard when there is none, keeps each on the disk,
encrypted, and delivers them to the acquirer, oldest first. Sales survive a dead network, a crash
and a loss of power; a file that was taken in part is continued where it stopped. Without a
configuration that can be trusted sales are kept and not delivered.

A line of sales: id;time;amount;currency;card number or IBAN;description
Amounts are typed as the locale writes them. Cards and IBANs are checked, and only their last four
signs are kept. Lines that are empty or begin with # are passed over; a bad line is reported, the
others go on.

  --configuration FILE  the sealed configuration, which names the acquirer (./sealed.json)
  --trust FOLDER   certificate, key and vector that open it (default: ./trust); both are made by
                   examples/provision
  --data FOLDER    where sales, key and settings are kept (default: ./till-data)
  --offline        take sales, deliver nothing
  --deliver        deliver what waits, take nothing
  --locale ID      how amounts are typed and receipts printed (default: the system's locale)
  --receipts       print a receipt for each sale (the keyboard always gets one)
  --patience MS    give up when nothing could be delivered for so long (default: 20000)
  --pace MS        pause between two sales, as at a real till (default: 0)
  --log FILE       appends what the library logs to FILE ("-": standard error)
  --help           this text

Ends with 0 when nothing is left to deliver (or --offline took everything), 1 when sales wait,
2 for a mistake in the call, 3 when a line or a sale was refused.
)";

struct Options {
  std::string configuration = "sealed.json";
  std::string trust = "trust";
  std::string data = "till-data";
  std::string sales;
  bool take = true;
  bool deliver = true;
  std::chrono::milliseconds patience{20000};
  std::chrono::milliseconds pace{0};
  std::string log;
  std::string locale = kelm::KelmAmountFormatter().locale();
  bool receipts = false;
};

bool readOptions(int argc, char** argv, Options& options) {
  const option known[] = {{"configuration", required_argument, nullptr, 'c'},
                          {"trust", required_argument, nullptr, 't'},
                          {"data", required_argument, nullptr, 'd'},
                          {"offline", no_argument, nullptr, 'o'},
                          {"deliver", no_argument, nullptr, 'D'},
                          {"patience", required_argument, nullptr, 'p'},
                          {"pace", required_argument, nullptr, 'P'},
                          {"log", required_argument, nullptr, 'l'},
                          {"locale", required_argument, nullptr, 'L'},
                          {"receipts", no_argument, nullptr, 'r'},
                          {"help", no_argument, nullptr, 'h'},
                          {nullptr, 0, nullptr, 0}};
  for (int c; (c = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
    switch (c) {
      case 'c':
        options.configuration = optarg;
        break;
      case 't':
        options.trust = optarg;
        break;
      case 'd':
        options.data = optarg;
        break;
      case 'o':
        options.deliver = false;
        break;
      case 'D':
        options.take = false;
        break;
      case 'p':
        options.patience = std::chrono::milliseconds(std::atol(optarg));
        break;
      case 'P':
        options.pace = std::chrono::milliseconds(std::atol(optarg));
        break;
      case 'l':
        options.log = optarg;
        break;
      case 'L':
        options.locale = optarg;
        break;
      case 'r':
        options.receipts = true;
        break;
      case 'h':
        std::cout << kHelp;
        std::exit(0);
      default:
        return false;
    }
  }
  if (optind < argc) options.sales = argv[optind++];
  return optind == argc && (options.take || options.deliver);
}

/// Writes what the library logs to a file, or drops it.
class LogFile : public kelm::VaspLogDelegate {
 public:
  explicit LogFile(const std::string& path)
      : file_(path.empty()  ? nullptr
              : path == "-" ? stderr
                            : std::fopen(path.c_str(), "a")) {}
  void logwithLevel_aspect_from_threadName_message(kelm::LogLevel level, kelm::LogAspect,
                                                   const char* from, std::string_view thread,
                                                   std::string_view message) override {
    if (file_ == nullptr) return;
    const std::string line = kelm::format("%@ %@ %@ %@\n", level, thread, from, message);
    std::fwrite(line.data(), 1, line.size(), file_);
    std::fflush(file_);
  }

 private:
  std::FILE* file_;  // open until the process ends
};

/// Where to deliver; empty when nothing is to be delivered, or nobody says reliably where.
std::string acquirerUrlOf(const Options& options, terminal::Screen& screen) {
  if (!options.deliver) return {};
  const auto configuration = terminal::readConfiguration(options.configuration, options.trust);
  if (configuration) return configuration->acquirerUrl;
  screen.warn(
      kelm::format("%@. Nothing is delivered.", configuration.error().localizedDescription()));
  return {};
}

struct Taken {
  std::size_t sales = 0;
  std::size_t refused = 0;
  terminal::Totals totals;
};

bool isPassedOver(std::string_view line) { return line.empty() || line.front() == '#'; }

/// Takes one line of a file or of the keyboard. False when the sale could not be kept.
bool takeLine(std::string_view line, std::size_t number, terminal::Till& till,
              terminal::Screen& screen, const Options& options, Taken& taken) {
  if (isPassedOver(line)) return true;
  const auto parsed = terminal::parseEntry(line, options.locale);
  if (const auto* problem = std::get_if<std::string>(&parsed)) {
    ++taken.refused;
    screen.warn(kelm::format("line %@: %@", number, *problem));
    return true;
  }
  if (till.full() && options.deliver) till.deliver(options.patience);
  const auto& sale = std::get<terminal::Sale>(parsed);
  if (!till.take(sale)) {
    screen.warn(
        kelm::format("line %@: sale %@ was NOT taken: %@", number, sale.id,
                     till.full() ? "too many sales wait, deliver first" : "it could not be kept"));
    return false;
  }
  ++taken.sales;
  taken.totals.add(sale);
  if (options.receipts) screen.say(terminal::receiptOf(sale, options.locale));
  return true;
}

std::vector<std::string> linesOf(const std::string& path, bool& readable) {
  std::ifstream file(path);
  readable = file.good();
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  return lines;
}

/// Takes the sales of a file from where an earlier run stopped. False when it had to stop.
bool takeFile(const Options& options, terminal::Till& till, terminal::Screen& screen,
              Taken& taken) {
  bool readable = false;
  const auto lines = linesOf(options.sales, readable);
  if (!readable) {
    screen.warn(kelm::format("%@ cannot be read", options.sales));
    return false;
  }
  const std::string file = std::filesystem::weakly_canonical(options.sales).string();
  const std::size_t first = std::min(till.linesTaken(file), lines.size());
  if (first == lines.size() && first > 0)
    screen.say("Every sale of the file was taken already.");
  else if (first > 0)
    screen.say(kelm::format("Going on at line %@ of the file.", first + 1));
  const auto isSale = [](const std::string& line) { return !isPassedOver(line); };
  const auto total = static_cast<std::size_t>(std::ranges::count_if(lines, isSale));
  auto done = static_cast<std::size_t>(
      std::count_if(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(first), isSale));
  for (std::size_t i = first; i < lines.size(); ++i) {
    // Only the first line can be one that was kept just before the earlier run ended.
    const bool kept = i == first && till.holds(lines[i]);
    if (!kept && !takeLine(lines[i], i + 1, till, screen, options, taken)) return false;
    if (!till.setLinesTaken(file, i + 1)) {
      screen.warn("The position in the file could not be kept.");
      return false;
    }
    if (!isSale(lines[i])) continue;
    screen.progress("taking sales", ++done, total);
    std::this_thread::sleep_for(options.pace);
  }
  return true;
}

bool takeKeyboard(Options options, terminal::Till& till, terminal::Screen& screen, Taken& taken) {
  const bool typed = isatty(STDIN_FILENO) == 1;
  if (typed) {
    options.receipts = true;
    screen.say("Type sales as id;time;amount;currency;card or IBAN;description; end with Ctrl-D.");
  }
  std::string line;
  for (std::size_t number = 1; std::getline(std::cin, line); ++number) {
    if (!takeLine(line, number, till, screen, options, taken)) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!readOptions(argc, argv, options)) {
    std::cerr << kHelp;
    return 2;
  }
  options.data = std::filesystem::absolute(options.data).lexically_normal().string();
  setenv("XDG_CONFIG_HOME", (options.data + "/settings").c_str(), 1);
  setenv("XDG_DATA_HOME", options.data.c_str(), 1);  // the keychain
  kelm::VaspLogger::setLogDelegate(std::make_shared<LogFile>(options.log));

  terminal::Screen screen;
  const bool isToDeliver = options.deliver;
  const std::string acquirerUrl = acquirerUrlOf(options, screen);
  options.deliver = !acquirerUrl.empty();
  terminal::Till till({options.data, acquirerUrl, options.locale}, screen);
  if (!till.open()) return 1;
  if (const std::size_t waiting = till.waiting(); waiting > 0) {
    screen.say(kelm::format("%@ sales wait from before.", waiting));
  }
  Taken taken;
  bool complete = true;
  if (options.take) {
    complete = options.sales.empty() ? takeKeyboard(options, till, screen, taken)
                                     : takeFile(options, till, screen, taken);
    screen.say(kelm::format("%@ sales taken (%@), %@ wait for delivery.", taken.sales,
                            taken.totals.text(), till.waiting()));
  }
  const bool delivered = options.deliver && till.deliver(options.patience);
  if (delivered) screen.say("Everything is delivered.");
  if (!complete || taken.refused > 0) return 3;
  return delivered || !isToDeliver ? 0 : 1;
}
