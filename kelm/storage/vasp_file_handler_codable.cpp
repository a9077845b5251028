#include "kelm/base/error.h"
#include "kelm/storage/vasp_file_handler.h"

namespace kelm {

bool VaspFileHandler::storeNSCodableObject_withFullPath(const std::optional<Value>& object,
                                                        Path path) const {
  if (!object) return false;
  const Result<Data> archive = archivedData(*object);
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
