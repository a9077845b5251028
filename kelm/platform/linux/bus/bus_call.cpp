#include "kelm/platform/linux/bus/bus_call.h"

#include <cerrno>
#include <optional>
#include <type_traits>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/linux/bus/bus_library.h"

namespace kelm::platform {

namespace {

using bus::Bus;
using bus::Library;
using bus::Message;

constexpr int kDeepest = 64;  // the standard's own limit for containers in a message

class Reader {
 public:
  Reader(const Library& library, Message* message) : library_(library), message_(message) {}

  /// The next value; absent at the end of the container and after an error.
  std::optional<Value> next(int depth = 0) {
    char type = 0;
    const char* contents = nullptr;
    if (problem_ < 0 || take(library_.sd_bus_message_peek_type(message_, &type, &contents)) <= 0)
      return std::nullopt;
    if (contents == nullptr) return basic(type);
    if (depth == kDeepest) {
      problem_ = -EBADMSG;
      return std::nullopt;
    }
    if (take(library_.sd_bus_message_enter_container(message_, type, contents)) < 0)
      return std::nullopt;
    Value read = inside(type, contents, depth + 1);
    take(library_.sd_bus_message_exit_container(message_));
    if (problem_ < 0) return std::nullopt;
    return read;
  }
  /// 0, or why a value could not be read, as a negative errno.
  int problem() const { return problem_; }

 private:
  Value inside(char type, const char* contents, int depth) {
    if (type == 'v') return next(depth).value_or(Null{});
    List list;
    while (auto value = next(depth))
      list.push_back(*std::move(value));
    if (type != 'a' || *contents != '{') return list;
    Dictionary dictionary;
    for (Value& entry : list) {
      List* pair = entry.get<List>();
      if (pair == nullptr || pair->size() != 2) continue;
      if (const auto key = (*pair)[0].text()) dictionary.set(*key, std::move((*pair)[1]));
    }
    return dictionary;
  }

  std::optional<Value> basic(char type) {
    switch (type) {
      case 'b':
        if (const auto flag = read<int>(type)) return Value(*flag != 0);
        return std::nullopt;
      case 'y':
        return read<std::uint8_t>(type);
      case 'n':
        return read<std::int16_t>(type);
      case 'q':
        return read<std::uint16_t>(type);
      case 'i':
        return read<std::int32_t>(type);
      case 'u':
        return read<std::uint32_t>(type);
      case 'x':
        return read<std::int64_t>(type);
      case 't':
        return read<std::uint64_t>(type);
      case 'd':
        return read<double>(type);
      case 'h':
        return read<int>(type);  // closed with the message
      case 's':
      case 'o':
      case 'g':
        return read<const char*>(type);
      default:
        problem_ = -EBADMSG;
        return std::nullopt;
    }
  }
  template <class T>
  std::optional<Value> read(char type) {
    T value{};
    if (take(library_.sd_bus_message_read_basic(message_, type, &value)) <= 0) return std::nullopt;
    return Value(value);
  }
  int take(int result) {
    if (result < 0) problem_ = result;
    return result;
  }

  const Library& library_;
  Message* const message_;
  int problem_ = 0;
};

/// One connection, for one call.
class Connection {
 public:
  explicit Connection(const Library& library) : library_(library) {
    status_ = library_.sd_bus_open_system(&bus_);
  }
  ~Connection() {
    if (bus_ != nullptr) library_.sd_bus_close_unref(bus_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// 0, or a negative errno.
  int send(const BusCall& call) {
    if (status_ < 0) return status_;
    Message* message = nullptr;
    int status = library_.sd_bus_message_new_method_call(bus_, &message, call.destination.c_str(),
                                                         call.path.c_str(), call.interface.c_str(),
                                                         call.method.c_str());
    if (status >= 0) status = library_.sd_bus_message_set_auto_start(message, 0);
    // Time-outs are ours: the library's own would not cover the greeting.
    if (status >= 0)
      status = library_.sd_bus_call_async(bus_, nullptr, message, &Connection::answered, this,
                                          UINT64_MAX);
    library_.sd_bus_message_unref(message);
    return status < 0 ? status : 0;
  }

  int receive(Duration limit) {
    const auto& clock = current<Clock>();
    const std::int64_t end = clock->monotonicNanoseconds() + limit.count();
    while (!answer_ && failure_ == 0) {
      int status = library_.sd_bus_process(bus_, nullptr);
      if (status < 0) return status;
      if (status > 0) continue;
      const std::int64_t left = (end - clock->monotonicNanoseconds()) / 1000;
      if (left <= 0) return -ETIMEDOUT;
      status = library_.sd_bus_wait(bus_, static_cast<std::uint64_t>(left));
      if (status < 0 && status != -EINTR) return status;
    }
    return failure_;
  }
  Value takeAnswer() { return *std::move(answer_); }

 private:
  static int answered(Message* message, void* context, bus::ErrorText*) {
    auto& self = *static_cast<Connection*>(context);
    const int refused = self.library_.sd_bus_message_get_errno(message);
    Reader reader(self.library_, message);
    std::optional<Value> value;
    if (refused == 0) value = reader.next();
    self.failure_ = refused != 0 ? -refused : reader.problem();
    if (self.failure_ == 0) self.answer_ = value.value_or(Null{});
    return 0;
  }

  const Library& library_;
  Bus* bus_ = nullptr;
  int status_ = 0;
  int failure_ = 0;
  std::optional<Value> answer_;
};

}  // namespace

Result<Value> callSystemBus(const BusCall& call, Duration limit) {
  const Library* const library = bus::library();
  if (library == nullptr) return posixError(ENOSYS, "libsystemd.so.0");
  Connection connection(*library);
  int status = connection.send(call);
  if (status == 0) status = connection.receive(limit);
  if (status != 0) return posixError(-status, call.destination);
  return connection.takeAnswer();
}

}  // namespace kelm::platform
