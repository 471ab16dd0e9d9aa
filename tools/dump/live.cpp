// A flow received live: one UDP socket, IPv4 or IPv6 (joined to the group for a multicast
// address), its
// datagrams fed to the flow's depacketiser as they arrive, until the frames asked for are written
// or SIGINT comes.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <vector>

#include "dump/input.h"
#include "dump/rtp_frames.h"

namespace rdd18::dump {

namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void onInterrupt(int) {
    interrupted = 1;
}

/// SIGINT sets `interrupted` while this lives; the handler before is put back after.
class InterruptGuard {
  public:
    InterruptGuard() {
        interrupted = 0;
        struct sigaction action {};
        action.sa_handler = onInterrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &previous_);
    }
    ~InterruptGuard() { sigaction(SIGINT, &previous_, nullptr); }
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

  private:
    struct sigaction previous_ {};
};

class Socket {
  public:
    explicit Socket(int family) : fd_(socket(family, SOCK_DGRAM, 0)) {}
    ~Socket() {
        if (fd_ >= 0) close(fd_);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd() const noexcept { return fd_; }

  private:
    int fd_;
};

[[noreturn]] void fail(const std::string& url, const std::string& what) {
    throw InputError(url + ": " + what);
}

[[noreturn]] void failErrno(const std::string& url, const char* what) {
    fail(url, std::string(what) + ": " + std::strerror(errno));
}

/// Where a flow is sent: an IPv4 or IPv6 address and a port.
struct Endpoint {
    sockaddr_storage address{};
    socklen_t size = 0;
};

/// The endpoint of "udp://ADDR:PORT", ADDR an IPv4 address or an IPv6 one in brackets.
Endpoint parseUrl(const std::string& url) {
    constexpr std::string_view kScheme = "udp://";
    const auto colon = url.rfind(':');
    if (url.rfind(kScheme, 0) != 0 || colon <= kScheme.size()) fail(url, "not udp://ADDR:PORT");
    const std::string host = url.substr(kScheme.size(), colon - kScheme.size());
    const std::string port = url.substr(colon + 1);
    char* end = nullptr;
    const unsigned long n = std::strtoul(port.c_str(), &end, 10);
    if (port.empty() || *end || n == 0 || n > 65535) fail(url, "port is not 1 to 65535");
    Endpoint e;
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        auto* a = reinterpret_cast<sockaddr_in6*>(&e.address);
        a->sin6_family = AF_INET6;
        a->sin6_port = htons(static_cast<std::uint16_t>(n));
        if (inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &a->sin6_addr) != 1)
            fail(url, "address is not an IPv6 address");
        e.size = sizeof *a;
        return e;
    }
    auto* a = reinterpret_cast<sockaddr_in*>(&e.address);
    a->sin_family = AF_INET;
    a->sin_port = htons(static_cast<std::uint16_t>(n));
    if (inet_pton(AF_INET, host.c_str(), &a->sin_addr) != 1)
        fail(url, "address is not an IPv4 address (nor an IPv6 one in brackets)");
    e.size = sizeof *a;
    return e;
}

/// Joins the group of a multicast endpoint, on `interface` when it is named.
void join(int fd, const Endpoint& e, const std::string& interface, const std::string& url) {
    unsigned index = 0;
    if (!interface.empty() && (index = if_nametoindex(interface.c_str())) == 0)
        fail(url, "no interface " + interface);
    int result = 0;
    if (e.address.ss_family == AF_INET6) {
        const auto& a = reinterpret_cast<const sockaddr_in6&>(e.address);
        if (!IN6_IS_ADDR_MULTICAST(&a.sin6_addr)) return;
        const ipv6_mreq group{a.sin6_addr, index};
        result = setsockopt(fd, IPPROTO_IPV6, IPV6_JOIN_GROUP, &group, sizeof group);
    } else {
        const auto& a = reinterpret_cast<const sockaddr_in&>(e.address);
        if (!IN_MULTICAST(ntohl(a.sin_addr.s_addr))) return;
        ip_mreqn group{};
        group.imr_multiaddr = a.sin_addr;
        group.imr_ifindex = static_cast<int>(index);
        result = setsockopt(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group);
    }
    if (result != 0) failErrno(url, "joining the group");
}

Moment now() {
    timespec t{};
    clock_gettime(CLOCK_REALTIME, &t);
    return {t.tv_sec, static_cast<std::uint32_t>(t.tv_nsec)};
}

/// Receives one datagram into `into`: its size (negative on failure) and when the kernel took it
/// in (SO_TIMESTAMPNS), or now when the kernel gave no time.
ssize_t receive(int fd, std::vector<unsigned char>& into, Moment& when) {
    iovec data{into.data(), into.size()};
    alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(timespec))];
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t n = recvmsg(fd, &message, 0);
    when = now();
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); n >= 0 && c; c = CMSG_NXTHDR(&message, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_TIMESTAMPNS) continue;
        timespec t{};
        std::memcpy(&t, CMSG_DATA(c), sizeof t);
        when = {t.tv_sec, static_cast<std::uint32_t>(t.tv_nsec)};
    }
    return n;
}

}  // namespace

void readLive(const std::string& url, const SourceOptions& options, const FrameVisitor& visit) {
    const Endpoint endpoint = parseUrl(url);
    Socket socket(endpoint.address.ss_family);
    if (socket.fd() < 0) failErrno(url, "socket");
    const int on = 1;
    setsockopt(socket.fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    setsockopt(socket.fd(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);  // arrival times
    // Room for bursts: a frame's packets come back to back.
    const int buffer = 4 << 20;
    setsockopt(socket.fd(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
    if (bind(socket.fd(), reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.size) != 0)
        failErrno(url, "bind");
    join(socket.fd(), endpoint, options.interface, url);
    InterruptGuard guard;
    FlowFrames frames(url, url.substr(6), options, visit);
    std::vector<unsigned char> datagram(65536);
    pollfd wait{socket.fd(), POLLIN, 0};
    while (!frames.done() && !interrupted) {
        // A short wait, so that an interrupt is seen even when the flow is silent.
        if (poll(&wait, 1, 100) <= 0) continue;
        Moment arrival;
        const ssize_t n = receive(socket.fd(), datagram, arrival);
        if (n < 0 && errno != EINTR) failErrno(url, "recv");
        if (n >= 0) frames.push({datagram.data(), static_cast<std::size_t>(n)}, arrival);
    }
    if (interrupted) frames.finish();
}

}  // namespace rdd18::dump
