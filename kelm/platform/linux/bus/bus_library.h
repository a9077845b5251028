#pragma once

#include <cstdint>

// The few functions of libsystemd that a bus call needs, as sd-bus(3) declares them. The library is
// opened at run time, so that only a process that asks the bus loads it.
namespace kelm::platform::bus {

struct Bus;
struct Message;
struct Slot;
struct ErrorText;
using Handler = int (*)(Message* answer, void* context, ErrorText*);

struct Library {
  int (*sd_bus_open_system)(Bus**);
  Bus* (*sd_bus_close_unref)(Bus*);
  int (*sd_bus_process)(Bus*, Message**);
  int (*sd_bus_wait)(Bus*, std::uint64_t microseconds);
  int (*sd_bus_call_async)(Bus*, Slot**, Message*, Handler, void* context,
                           std::uint64_t microseconds);
  int (*sd_bus_message_new_method_call)(Bus*, Message**, const char* destination, const char* path,
                                        const char* interface, const char* method);
  int (*sd_bus_message_set_auto_start)(Message*, int);
  Message* (*sd_bus_message_unref)(Message*);
  int (*sd_bus_message_get_errno)(Message*);
  int (*sd_bus_message_peek_type)(Message*, char* type, const char** contents);
  int (*sd_bus_message_enter_container)(Message*, char type, const char* contents);
  int (*sd_bus_message_exit_container)(Message*);
  int (*sd_bus_message_read_basic)(Message*, char type, void* value);
};

/// The library, opened at the first call and never closed; nullptr where the system lacks it.
const Library* library();

}  // namespace kelm::platform::bus
