#include "dump/udp_sender.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

namespace rdd18::dump {

namespace {

constexpr std::string_view kScheme = "udp://";
constexpr std::uint32_t kMaxGroupSource = 200;

}  // namespace

std::optional<SendTarget> parseSendTarget(std::string_view url, std::uint32_t sourceNumber) {
    SendTarget target;
    if (url.empty()) {
        if (sourceNumber < 1 || sourceNumber > kMaxGroupSource) return std::nullopt;
        target.host = "239.135.1." + std::to_string(sourceNumber);
        return target;
    }
    if (!url.starts_with(kScheme)) return std::nullopt;
    url.remove_prefix(kScheme.size());
    std::string_view host = url, port;
    if (url.starts_with('[')) {  // [IPv6]:port
        const auto close = url.find(']');
        if (close == std::string_view::npos) return std::nullopt;
        host = url.substr(1, close - 1);
        port = url.substr(close + 1);
        if (!port.empty() && !port.starts_with(':')) return std::nullopt;
        if (!port.empty()) port.remove_prefix(1);
    } else if (const auto colon = url.rfind(':'); colon != std::string_view::npos) {
        host = url.substr(0, colon);
        port = url.substr(colon + 1);
        if (port.empty()) return std::nullopt;
    }
    if (host.empty()) return std::nullopt;
    target.host = std::string(host);
    if (!port.empty()) {
        unsigned n = 0;
        const auto [end, ec] = std::from_chars(port.data(), port.data() + port.size(), n);
        if (ec != std::errc() || end != port.data() + port.size() || n < 1 || n > 65535)
            return std::nullopt;
        target.port = static_cast<std::uint16_t>(n);
    }
    return target;
}

std::string targetText(const SendTarget& target) {
    const bool v6 = target.host.find(':') != std::string::npos;
    return (v6 ? "[" + target.host + "]" : target.host) + ":" + std::to_string(target.port);
}

UdpSender::UdpSender(const SendTarget& target) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(target.port);
    if (const int e = getaddrinfo(target.host.c_str(), port.c_str(), &hints, &found); e != 0)
        throw SendError("can't resolve " + target.host + ": " + gai_strerror(e));
    std::string reason = "no address";
    for (addrinfo* a = found; a; a = a->ai_next) {
        const int s = ::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol);
        if (s < 0 || ::connect(s, a->ai_addr, a->ai_addrlen) != 0) {
            reason = std::strerror(errno);
            if (s >= 0) ::close(s);
            continue;
        }
        socket_ = s;
        break;
    }
    freeaddrinfo(found);
    if (socket_ < 0) throw SendError("can't send to " + targetText(target) + ": " + reason);
}

UdpSender::~UdpSender() {
    ::close(socket_);
}

std::optional<std::string> UdpSender::send(std::span<const unsigned char> datagram) noexcept {
    const ssize_t sent = ::send(socket_, datagram.data(), datagram.size(), MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(datagram.size())) return std::nullopt;
    return sent < 0 ? std::strerror(errno) : "the datagram went out cut short";
}

}  // namespace rdd18::dump
