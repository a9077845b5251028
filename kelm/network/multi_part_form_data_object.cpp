#include "kelm/network/multi_part_form_data_object.h"

#include "kelm/base/format.h"

namespace kelm {

std::string MultiPartFormDataObject::description() const {
  return format("key: %@ , value: %@, obj: %@ , contentType: %@", key_, value_, object_,
                contentType_);
}

}  // namespace kelm
