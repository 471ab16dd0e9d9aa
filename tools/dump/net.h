// The tool's UDP sockets, one interface over POSIX sockets and Winsock: the platform's calls stand
// in net.cpp alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "dump/rtp_frames.h"

namespace rdd18::dump::net {

/// A socket that couldn't be opened, bound, joined or read; the text says which and why.
class NetError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// An open UDP socket, closed when destroyed.
class UdpSocket {
  public:
    /// A socket connected to `host` (a name or an address) and `port`, multicast staying on the
    /// local network (one hop). Throws `NetError` when the name can't be resolved or no address
    /// takes a socket.
    static UdpSocket connectedTo(const std::string& host, std::uint16_t port);

    /// A socket bound to the numeric address `host` (IPv4, or IPv6) and `port`, joined to its
    /// group when the address is a multicast one (on the interface named `interfaceName`, or any
    /// when it is empty), with a large receive buffer and the kernel's arrival times where the
    /// platform gives them. Throws `NetError` for an address that is no IP address, an unknown
    /// interface, or a socket, bind or join that fails.
    static UdpSocket boundTo(const std::string& host, std::uint16_t port,
                             const std::string& interfaceName);

    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&&) = delete;
    UdpSocket(const UdpSocket&) = delete;
    ~UdpSocket();

    /// The local port the socket is bound to (the one the system chose for port 0); 0 when the
    /// system can't tell.
    std::uint16_t localPort() const noexcept;

    /// Sends one datagram on a connected socket; on failure, the reason (the socket stays
    /// usable).
    std::optional<std::string> send(std::span<const unsigned char> datagram) noexcept;

    /// Waits up to `waitMs` milliseconds for a datagram and receives it into `into`: its size,
    /// or nothing when none came (or the wait was interrupted). `when` is the kernel's arrival
    /// time where the platform tells it, else the time it was read. Throws `NetError` when the
    /// socket fails.
    std::optional<std::size_t> receive(std::span<unsigned char> into, Moment& when, int waitMs);

  private:
    explicit UdpSocket(std::intptr_t handle) noexcept : handle_(handle) {}
    std::intptr_t handle_;  // a descriptor, or a Winsock SOCKET
};

}  // namespace rdd18::dump::net
