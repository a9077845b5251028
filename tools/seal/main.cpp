#include <getopt.h>

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "kelm/logging/vasp_logger.h"
#include "tools/seal/commands.h"

namespace {

using namespace kelm::seal;

constexpr int kFailed = 1;
constexpr int kWronglyUsed = 2;

/// The tool says itself what went wrong; log lines of the library would repeat it.
class SilentDelegate final : public kelm::VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(kelm::LogLevel /*level*/,
                                                   kelm::LogAspect /*aspect*/, const char* /*from*/,
                                                   std::string_view /*threadName*/,
                                                   std::string_view /*message*/) override {}
};

void printHelp(std::ostream& out) {
  out << "usage: kelm-seal COMMAND OPTIONS\n"
         "\n"
         "Makes sealed configuration files and signed strings, and checks what it made as an\n"
         "application does. Every option names a file; no argument holds a secret. A password or\n"
         "key whose option is missing is asked for at the terminal.\n";
  for (const Command& command : commands())
    out << "\n  " << command.name << ' ' << command.options << "\n      " << command.purpose
        << '\n';
  out << "\nCertificates are DER or PEM, bundles PKCS#12, keys, vectors and key material Base64.\n"
         "What is sealed with a lost key is lost, so an existing file is replaced with --force "
         "alone.\n"
         "Exit status: 0 done, 1 failed, 2 wrong arguments.\n";
}

Options parsedOptions(const Command& command, int count, char** arguments) {
  constexpr std::array kNames = {
      "bundle", "bundle-password", "certificate", "ck1", "ck2", "cks", "configuration", "iv",
      "key",    "output",          "sealed",      "text"};
  std::array<option, kNames.size() + 2> table{};
  std::ranges::transform(kNames, table.begin(), [](const char* name) {
    return option{name, required_argument, nullptr, 0};
  });
  table[kNames.size()] = {"force", no_argument, nullptr, 0};
  Options options;
  opterr = 0;
  int index = 0;
  int outcome = 0;
  while ((outcome = getopt_long(count, arguments, "", table.data(), &index)) == 0) {
    const std::string name = table[static_cast<std::size_t>(index)].name;
    const std::string end = name == "force" ? "]" : " ";
    if (command.options.find("--" + name + end) == std::string_view::npos)
      throw WrongUse("--" + name + " is no option of " + std::string(command.name));
    if (name == "force")
      options.force = true;
    else
      options.set(name, optarg);
  }
  if (outcome != -1)
    throw WrongUse("unknown or incomplete option " + std::string(arguments[optind - 1]));
  if (optind < count) throw WrongUse("unexpected argument " + std::string(arguments[optind]));
  return options;
}

void run(int count, char** arguments) {
  const std::string_view name = count > 1 ? arguments[1] : "";
  if (name == "--help" || name == "help") {
    printHelp(std::cout);
    return;
  }
  const auto found = std::ranges::find(commands(), name, &Command::name);
  if (found == commands().end())
    throw WrongUse(name.empty() ? "no command" : "unknown command " + std::string(name));
  found->run(parsedOptions(*found, count - 1, arguments + 1), std::cout, std::cerr);
  std::cout.flush();
  if (!std::cout) throw Problem("standard output cannot be written");
}

}  // namespace

int main(int count, char** arguments) {
  kelm::VaspLogger::setLogDelegate(std::make_shared<SilentDelegate>());
  try {
    run(count, arguments);
    return 0;
  } catch (const WrongUse& wrong) {
    std::cerr << "kelm-seal: " << wrong.what() << "\nTry kelm-seal --help\n";
    return kWronglyUsed;
  } catch (const std::exception& problem) {
    std::cerr << "kelm-seal: " << problem.what() << '\n';
    return kFailed;
  }
}
