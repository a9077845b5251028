#include "kelm/platform/linux/reachability/routes.h"

#include <linux/if_arp.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstring>
#include <map>
#include <span>
#include <string_view>

#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

namespace flag = reachability_flag;

namespace {

constexpr timeval kAnswerLimit{1, 0};  // the kernel answers at once
constexpr std::size_t kBufferSize = 32768;

struct Way {
  ReachabilityFlags flags = 0;
  int link = 0;
};

template <class T>
std::optional<T> valueOf(const rtattr* attribute) {
  T value{};
  if (RTA_PAYLOAD(attribute) < sizeof value) return std::nullopt;
  std::memcpy(&value, RTA_DATA(attribute), sizeof value);
  return value;
}

template <class Visit>
void forEachAttribute(const rtattr* first, int size, const Visit& visit) {
  for (const rtattr* a = first; RTA_OK(a, size); a = RTA_NEXT(a, size))
    visit(a->rta_type & NLA_TYPE_MASK, a);
}

/// One request and its answers.
class Exchange {
 public:
  Exchange() : socket_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {
    if (socket_.isOpen())
      ::setsockopt(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, &kAnswerLimit, sizeof kAnswerLimit);
  }
  bool isOpen() const { return socket_.isOpen(); }

  /// Calls `visit` with each message of the answer; false when there was none to be had. An answer
  /// that says "no" is one without messages.
  template <class Visit>
  bool ask(const nlmsghdr& request, const Visit& visit) {
    const auto sent =
        retried([&] { return ::send(socket_.number(), &request, request.nlmsg_len, 0); });
    if (sent != static_cast<ssize_t>(request.nlmsg_len)) return false;
    const bool isDump = (request.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
    do {
      const ssize_t got =
          retried([&] { return ::recv(socket_.number(), buffer_, sizeof buffer_, 0); });
      if (got <= 0) return false;
      auto left = static_cast<unsigned>(got);
      for (auto* m = reinterpret_cast<nlmsghdr*>(buffer_); NLMSG_OK(m, left);
           m = NLMSG_NEXT(m, left)) {
        if (m->nlmsg_type == NLMSG_DONE || m->nlmsg_type == NLMSG_ERROR) return true;
        visit(*m);
      }
    } while (isDump);
    return true;
  }

 private:
  const Descriptor socket_;
  alignas(nlmsghdr) char buffer_[kBufferSize];
};

bool isInternet(const SocketAddress& address) {
  return address.family == SocketAddress::Family::IPv4 &&
         address.address == SocketAddress().address;
}

struct RouteRequest {
  nlmsghdr head{};
  rtmsg route{};
  char attributes[RTA_SPACE(16)]{};
};

/// For one address its route, for the internet all routes of all families.
RouteRequest requestFor(const SocketAddress& address) {
  RouteRequest request;
  request.head.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
  request.head.nlmsg_type = RTM_GETROUTE;
  request.head.nlmsg_flags = NLM_F_REQUEST;
  if (isInternet(address)) {
    request.head.nlmsg_flags |= NLM_F_DUMP;
    return request;
  }
  const bool isIPv4 = address.family == SocketAddress::Family::IPv4;
  const std::size_t size = isIPv4 ? 4 : 16;
  request.route.rtm_family = isIPv4 ? AF_INET : AF_INET6;
  request.route.rtm_dst_len = static_cast<unsigned char>(size * 8);
  rtattr target{};
  target.rta_type = RTA_DST;
  target.rta_len = static_cast<unsigned short>(RTA_LENGTH(size));
  std::memcpy(request.attributes, &target, sizeof target);
  std::memcpy(request.attributes + RTA_LENGTH(0), address.address.data(), size);
  request.head.nlmsg_len += RTA_LENGTH(size);
  return request;
}

/// The first link of a route over several.
int firstHop(const rtattr* attribute) {
  const auto hop = valueOf<rtnexthop>(attribute);
  return hop ? hop->rtnh_ifindex : 0;
}

/// The way that a route's message describes, absent when it leads nowhere.
std::optional<Way> wayOf(const nlmsghdr& message, bool internet) {
  if (message.nlmsg_type != RTM_NEWROUTE || message.nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg)))
    return std::nullopt;
  const auto* const route = static_cast<const rtmsg*>(NLMSG_DATA(&message));
  const bool isOther = route->rtm_dst_len != 0 || route->rtm_table != RT_TABLE_MAIN;
  if ((internet && isOther) || (route->rtm_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) != 0 ||
      (route->rtm_type != RTN_UNICAST && route->rtm_type != RTN_LOCAL))
    return std::nullopt;
  Way way{flag::kReachable, 0};
  bool hasGateway = false;
  forEachAttribute(RTM_RTA(route), static_cast<int>(RTM_PAYLOAD(&message)),
                   [&](int type, const rtattr* attribute) {
                     if (type == RTA_OIF) way.link = valueOf<int>(attribute).value_or(0);
                     if (type == RTA_MULTIPATH && way.link == 0) way.link = firstHop(attribute);
                     hasGateway |= type == RTA_GATEWAY || type == RTA_VIA || type == RTA_MULTIPATH;
                   });
  if (way.link == 0) return std::nullopt;
  if (!hasGateway && !internet) way.flags |= flag::kIsDirect;
  if (route->rtm_type == RTN_LOCAL) way.flags |= flag::kIsLocalAddress;
  return way;
}

/// Applies the state of a link to a route: nothing when it is down or has no carrier.
ReachabilityFlags overLink(Exchange& exchange, const Way& way) {
  struct {
    nlmsghdr head{};
    ifinfomsg link{};
  } request;
  request.head.nlmsg_len = NLMSG_LENGTH(sizeof(ifinfomsg));
  request.head.nlmsg_type = RTM_GETLINK;
  request.head.nlmsg_flags = NLM_F_REQUEST;
  request.link.ifi_index = way.link;
  ReachabilityFlags flags = 0;
  exchange.ask(request.head, [&](const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWLINK) return;
    const auto* const link = static_cast<const ifinfomsg*>(NLMSG_DATA(&message));
    constexpr unsigned kWorking = IFF_UP | IFF_RUNNING;
    if ((link->ifi_flags & kWorking) != kWorking) return;
    flags = way.flags;
    bool isCellular = link->ifi_type == ARPHRD_RAWIP;
    forEachAttribute(IFLA_RTA(link), static_cast<int>(IFLA_PAYLOAD(&message)),
                     [&](int type, const rtattr* attribute) {
                       // Kernel and device manager name cellular links wwan0, wwp0s20u4, …
                       if (type == IFLA_IFNAME)
                         isCellular |= RTA_PAYLOAD(attribute) > 2 &&
                                       std::memcmp(RTA_DATA(attribute), "ww", 2) == 0;
                     });
    if (isCellular) flags |= flag::kIsCellular;
  });
  return flags;
}

}  // namespace

bool isBetterWay(ReachabilityFlags way, ReachabilityFlags other) {
  if ((way & flag::kReachable) == 0) return false;
  if ((other & flag::kReachable) == 0) return true;
  return (other & flag::kIsCellular) != 0 && (way & flag::kIsCellular) == 0;
}

std::optional<ReachabilityFlags> routeFlags(const SocketAddress& address) {
  Exchange exchange;
  if (!exchange.isOpen()) return std::nullopt;
  const bool internet = isInternet(address);
  std::map<int, Way> ways;  // by link: of several default routes over one any will do
  const bool answered = exchange.ask(requestFor(address).head, [&](const nlmsghdr& message) {
    if (const auto way = wayOf(message, internet)) ways.emplace(way->link, *way);
  });
  if (!answered) return std::nullopt;
  ReachabilityFlags best = 0;
  for (const auto& [link, way] : ways) {
    const ReachabilityFlags flags = overLink(exchange, way);
    if (isBetterWay(flags, best)) best = flags;
  }
  return best;
}

}  // namespace kelm::platform
