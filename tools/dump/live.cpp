// A flow received live: one UDP socket (joined to the group for a multicast address), its
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
    Socket() : fd_(socket(AF_INET, SOCK_DGRAM, 0)) {}
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

/// The IPv4 address and port of "udp://ADDR:PORT".
sockaddr_in parseUrl(const std::string& url) {
    constexpr std::string_view kScheme = "udp://";
    const auto colon = url.rfind(':');
    sockaddr_in a{};
    a.sin_family = AF_INET;
    if (url.rfind(kScheme, 0) != 0 || colon <= kScheme.size()) fail(url, "not udp://ADDR:PORT");
    const std::string host = url.substr(kScheme.size(), colon - kScheme.size());
    const std::string port = url.substr(colon + 1);
    char* end = nullptr;
    const unsigned long n = std::strtoul(port.c_str(), &end, 10);
    if (port.empty() || *end || n == 0 || n > 65535) fail(url, "port is not 1 to 65535");
    if (inet_pton(AF_INET, host.c_str(), &a.sin_addr) != 1)
        fail(url, "address is not an IPv4 address");
    a.sin_port = htons(static_cast<std::uint16_t>(n));
    return a;
}

Moment now() {
    timespec t{};
    clock_gettime(CLOCK_REALTIME, &t);
    return {t.tv_sec, static_cast<std::uint32_t>(t.tv_nsec)};
}

}  // namespace

void readLive(const std::string& url, const SourceOptions& options, const FrameVisitor& visit) {
    sockaddr_in address = parseUrl(url);
    Socket socket;
    if (socket.fd() < 0) failErrno(url, "socket");
    const int on = 1;
    setsockopt(socket.fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    // Room for bursts: a frame's packets come back to back.
    const int buffer = 4 << 20;
    setsockopt(socket.fd(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
    if (bind(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        failErrno(url, "bind");
    if (IN_MULTICAST(ntohl(address.sin_addr.s_addr))) {
        ip_mreqn group{};
        group.imr_multiaddr = address.sin_addr;
        if (!options.interface.empty()) {
            group.imr_ifindex = static_cast<int>(if_nametoindex(options.interface.c_str()));
            if (group.imr_ifindex == 0) fail(url, "no interface " + options.interface);
        }
        if (setsockopt(socket.fd(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group) != 0)
            failErrno(url, "joining the group");
    }
    InterruptGuard guard;
    FlowFrames frames(url, url.substr(6), options, visit);
    std::vector<unsigned char> datagram(65536);
    pollfd wait{socket.fd(), POLLIN, 0};
    while (!frames.done() && !interrupted) {
        // A short wait, so that an interrupt is seen even when the flow is silent.
        if (poll(&wait, 1, 100) <= 0) continue;
        const ssize_t n = recv(socket.fd(), datagram.data(), datagram.size(), 0);
        if (n < 0 && errno != EINTR) failErrno(url, "recv");
        if (n >= 0) frames.push({datagram.data(), static_cast<std::size_t>(n)}, now());
    }
    if (interrupted) frames.finish();
}

}  // namespace rdd18::dump
