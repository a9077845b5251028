#include <utility>

#include "kelm/base/error.h"
#include "kelm/platform/reporting.h"
#include "kelm/storage/log_lines.h"
#include "kelm/storage/vasp_file_handler.h"

namespace kelm {

bool VaspFileHandler::storeNSCodableObject_withFullPath(const std::optional<Value>& object,
                                                        Path path) const {
  if (!object) return false;
  std::optional<Data> archive;
  try {
    if (Result<Data> made = archivedData(*object)) archive = std::move(*made);
  } catch (...) {  // what an object raises while it is encoded
    file_log::warn("-[VaspFileHandler storeNSCodableObject:withFullPath:]",
                   "Cant archive object: %@", platform::describeCurrentException());
  }
  return archive && storeNSData_withFullpath(*archive, path);
}

std::optional<Value> VaspFileHandler::readNSCodableObjectWithFullpath(Path path) const {
  return readNSCodableObjectUsingDelegate_withFullpath(nullptr, path);
}

std::optional<Value> VaspFileHandler::readNSCodableObjectUsingDelegate_withFullpath(
    KeyedUnarchiverDelegate* delegate, Path path) const {
  const std::optional<Data> archive = readNSDataWithFullpath(path);
  if (!archive) return std::nullopt;
  try {
    Result<Value> root = unarchivedValue(*archive, delegate);
    if (root) return std::move(*root);
  } catch (const Exception&) {  // what an object raises while it is decoded
  }
  return std::nullopt;
}

}  // namespace kelm
