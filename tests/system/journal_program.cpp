// Logs as a host does that configures nothing, and ends.

#include <string>

#include "kelm/logging/vasp_logger.h"
#include "kelm/logging/zu_os_logger.h"

int main() {
  using kelm::VaspLogger;
  VaspLogger::logwithLevel_aspect_from_message(0, 0x100, "main", "plain %d%%", 100);
  VaspLogger::logwithLevel_aspect_formattedMessage(4, 0x200000, "perché\nsecond line %@ %n");
  VaspLogger::logwithLevel_aspect_formattedMessage(1, 0, std::string("nul\0inside", 10));
  VaspLogger::logwithLevel_aspect_formattedMessage(1, 0, std::string(1001, 'x'));
  for (int i = 0; i < 500; ++i)
    VaspLogger::logwithLevel_aspect_from_message(2, 0, "main", "line %d", i);
  VaspLogger::flush(std::chrono::minutes(1));
  kelm::ZuOSLogger::processLogData_level(kelm::dataOf(std::string(20'000, 'y')), 3);
  kelm::ZuOSLogger::processLogData_level(kelm::dataOf(std::string(1 << 20, 'z')), 3);
  kelm::ZuOSLogger::processLogData_level(kelm::dataOf("not \xFF UTF-8"), 3);
  return 0;
}
