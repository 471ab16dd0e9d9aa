#include "dump/net.h"

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
// Below the socket headers, which it needs.
#include <iphlpapi.h>
#else
#include <arpa/inet.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#endif

#include <chrono>

namespace rdd18::dump::net {

namespace {

Moment now() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(since).count();
    return {ns / 1'000'000'000, static_cast<std::uint32_t>(ns % 1'000'000'000)};
}

#ifdef _WIN32
using Handle = SOCKET;
constexpr Handle kNone = INVALID_SOCKET;

/// Winsock is started once, before the first socket, and left running for the process.
void startWinsock() {
    static const bool started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    if (!started) throw NetError("Winsock can't be started");
}

std::string lastError() {
    char text[256] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   static_cast<DWORD>(WSAGetLastError()), 0, text, sizeof text, nullptr);
    std::string s(text);
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r' || s.back() == ' ')) s.pop_back();
    return s;
}

void closeHandle(Handle h) {
    closesocket(h);
}
bool interruptedCall() {
    return WSAGetLastError() == WSAEINTR;
}
int pollOne(Handle h, int waitMs) {
    WSAPOLLFD wait{h, POLLRDNORM, 0};
    return WSAPoll(&wait, 1, waitMs);
}
#else
using Handle = int;
constexpr Handle kNone = -1;

void startWinsock() {}
std::string lastError() {
    return std::strerror(errno);
}
void closeHandle(Handle h) {
    close(h);
}
bool interruptedCall() {
    return errno == EINTR;
}
int pollOne(Handle h, int waitMs) {
    pollfd wait{h, POLLIN, 0};
    return poll(&wait, 1, waitMs);
}
#endif

Handle handleOf(std::intptr_t h) {
    return static_cast<Handle>(h);
}

/// Joins the group of a multicast address, on the interface numbered `index` (0: any).
void joinGroup(Handle h, const sockaddr_storage& address, unsigned index) {
    int result = 0;
    if (address.ss_family == AF_INET6) {
        const auto& a = reinterpret_cast<const sockaddr_in6&>(address);
        if (!IN6_IS_ADDR_MULTICAST(&a.sin6_addr)) return;
        ipv6_mreq group{};
        group.ipv6mr_multiaddr = a.sin6_addr;
        group.ipv6mr_interface = index;
        result = setsockopt(h, IPPROTO_IPV6, IPV6_JOIN_GROUP, reinterpret_cast<const char*>(&group),
                            sizeof group);
    } else {
        const auto& a = reinterpret_cast<const sockaddr_in&>(address);
        if ((ntohl(a.sin_addr.s_addr) >> 28) != 0xE) return;  // 224.0.0.0/4
#ifdef _WIN32
        // Winsock takes an interface index as the address 0.0.0.index.
        ip_mreq group{};
        group.imr_multiaddr = a.sin_addr;
        group.imr_interface.s_addr = htonl(index);
#else
        ip_mreqn group{};
        group.imr_multiaddr = a.sin_addr;
        group.imr_ifindex = static_cast<int>(index);
#endif
        result = setsockopt(h, IPPROTO_IP, IP_ADD_MEMBERSHIP, reinterpret_cast<const char*>(&group),
                            sizeof group);
    }
    if (result != 0) throw NetError("joining the group: " + lastError());
}

}  // namespace

UdpSocket UdpSocket::connectedTo(const std::string& host, std::uint16_t port) {
    startWinsock();
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const std::string service = std::to_string(port);
    if (const int e = getaddrinfo(host.c_str(), service.c_str(), &hints, &found); e != 0)
        throw NetError("can't resolve " + host + ": " + gai_strerror(e));
    std::string reason = "no address";
    Handle chosen = kNone;
    for (addrinfo* a = found; a && chosen == kNone; a = a->ai_next) {
        const Handle h = ::socket(a->ai_family, a->ai_socktype, a->ai_protocol);
        if (h == kNone || ::connect(h, a->ai_addr, static_cast<int>(a->ai_addrlen)) != 0) {
            reason = lastError();
            if (h != kNone) closeHandle(h);
            continue;
        }
        chosen = h;
    }
    freeaddrinfo(found);
    if (chosen == kNone) throw NetError(reason);
    return UdpSocket(static_cast<std::intptr_t>(chosen));
}

UdpSocket UdpSocket::boundTo(const std::string& host, std::uint16_t port,
                             const std::string& interfaceName) {
    startWinsock();
    sockaddr_storage address{};
    int size = 0;
    if (auto* a6 = reinterpret_cast<sockaddr_in6*>(&address);
        inet_pton(AF_INET6, host.c_str(), &a6->sin6_addr) == 1) {
        a6->sin6_family = AF_INET6;
        a6->sin6_port = htons(port);
        size = sizeof *a6;
    } else if (auto* a4 = reinterpret_cast<sockaddr_in*>(&address);
               inet_pton(AF_INET, host.c_str(), &a4->sin_addr) == 1) {
        a4->sin_family = AF_INET;
        a4->sin_port = htons(port);
        size = sizeof *a4;
    } else {
        throw NetError("address is not an IPv4 address (nor an IPv6 one in brackets)");
    }
    unsigned index = 0;
    if (!interfaceName.empty() && (index = if_nametoindex(interfaceName.c_str())) == 0)
        throw NetError("no interface " + interfaceName);
    const Handle h = ::socket(address.ss_family, SOCK_DGRAM, 0);
    if (h == kNone) throw NetError("socket: " + lastError());
    UdpSocket socket(static_cast<std::intptr_t>(h));
    const int on = 1;
    setsockopt(h, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on), sizeof on);
#ifdef SO_TIMESTAMPNS
    setsockopt(h, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);  // arrival times
#endif
    // Room for bursts: a frame's packets come back to back.
    const int buffer = 4 << 20;
    setsockopt(h, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&buffer), sizeof buffer);
    if (bind(h, reinterpret_cast<const sockaddr*>(&address), size) != 0)
        throw NetError("bind: " + lastError());
    joinGroup(h, address, index);
    return socket;
}

UdpSocket::UdpSocket(UdpSocket&& other) noexcept : handle_(other.handle_) {
    other.handle_ = static_cast<std::intptr_t>(kNone);
}

UdpSocket::~UdpSocket() {
    if (handleOf(handle_) != kNone) closeHandle(handleOf(handle_));
}

std::uint16_t UdpSocket::localPort() const noexcept {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(handleOf(handle_), reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
    return ntohs(address.ss_family == AF_INET6
                     ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                     : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

std::optional<std::string> UdpSocket::send(std::span<const unsigned char> datagram) noexcept {
#ifdef _WIN32
    const int sent = ::send(handleOf(handle_), reinterpret_cast<const char*>(datagram.data()),
                            static_cast<int>(datagram.size()), 0);
    if (sent == static_cast<int>(datagram.size())) return std::nullopt;
#else
    const ssize_t sent = ::send(handle_, datagram.data(), datagram.size(), MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(datagram.size())) return std::nullopt;
#endif
    return sent < 0 ? lastError() : "the datagram went out cut short";
}

std::optional<std::size_t> UdpSocket::receive(std::span<unsigned char> into, Moment& when,
                                              int waitMs) {
    const int ready = pollOne(handleOf(handle_), waitMs);
    if (ready == 0 || (ready < 0 && interruptedCall())) return std::nullopt;
    if (ready < 0) throw NetError("poll: " + lastError());
#ifdef _WIN32
    const int n = recv(handleOf(handle_), reinterpret_cast<char*>(into.data()),
                       static_cast<int>(into.size()), 0);
    when = now();
#else
    iovec data{into.data(), into.size()};
    alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(timespec))];
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t n = recvmsg(handle_, &message, 0);
    when = now();
#ifdef SCM_TIMESTAMPNS
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); n >= 0 && c; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_TIMESTAMPNS) continue;
        timespec t{};
        std::memcpy(&t, CMSG_DATA(c), sizeof t);
        when = {t.tv_sec, static_cast<std::uint32_t>(t.tv_nsec)};
    }
#endif
#endif
    if (n < 0) {
        if (interruptedCall()) return std::nullopt;
        throw NetError("recv: " + lastError());
    }
    return static_cast<std::size_t>(n);
}

}  // namespace rdd18::dump::net
