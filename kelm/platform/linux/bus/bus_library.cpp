#include "kelm/platform/linux/bus/bus_library.h"

#include <dlfcn.h>

namespace kelm::platform::bus {

namespace {

template <class Function>
bool find(void* handle, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(handle, name));
  return function != nullptr;
}

const Library* openLibrary() {
  void* const handle = dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return nullptr;
  auto* const found = new Library;
#define KELM_FIND(name) find(handle, #name, found->name)
  const bool isWhole =
      KELM_FIND(sd_bus_open_system) && KELM_FIND(sd_bus_close_unref) && KELM_FIND(sd_bus_process) &&
      KELM_FIND(sd_bus_wait) && KELM_FIND(sd_bus_call_async) &&
      KELM_FIND(sd_bus_message_new_method_call) && KELM_FIND(sd_bus_message_set_auto_start) &&
      KELM_FIND(sd_bus_message_unref) && KELM_FIND(sd_bus_message_get_errno) &&
      KELM_FIND(sd_bus_message_peek_type) && KELM_FIND(sd_bus_message_enter_container) &&
      KELM_FIND(sd_bus_message_exit_container) && KELM_FIND(sd_bus_message_read_basic);
#undef KELM_FIND
  if (isWhole) return found;
  delete found;
  return nullptr;
}

}  // namespace

const Library* library() {
  static const Library* const kLibrary = openLibrary();
  return kLibrary;
}

}  // namespace kelm::platform::bus
