// Where --send sends datagrams, and the socket that sends them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "dump/net.h"

namespace rdd18::dump {

/// A UDP destination: a host name or address, and a port.
struct SendTarget {
    std::string host;
    std::uint16_t port = 55555;
};

/// The destination of "udp://HOST:PORT", "udp://HOST" (port 55555) or "" (the multicast group
/// 239.135.1.N of `sourceNumber` N, port 55555); an IPv6 address stands in brackets. Nothing for
/// any other text, a port outside 1-65535, or a default group for a source number outside
/// 1-200.
std::optional<SendTarget> parseSendTarget(std::string_view url, std::uint32_t sourceNumber);

/// The host and port of a target as text, "239.135.1.1:55555".
std::string targetText(const SendTarget& target);

class SendError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A UDP socket bound to one destination (unicast or multicast, which stays on the local
/// network: one hop).
class UdpSender {
  public:
    /// Resolves the target and opens the socket; throws `SendError` with the reason when either
    /// fails.
    explicit UdpSender(const SendTarget& target);

    /// Sends one datagram; on failure, the reason (the sender stays usable).
    std::optional<std::string> send(std::span<const unsigned char> datagram) noexcept;

  private:
    net::UdpSocket socket_;
};

}  // namespace rdd18::dump
