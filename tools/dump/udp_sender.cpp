#include "dump/udp_sender.h"

#include <charconv>

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

namespace {

net::UdpSocket connect(const SendTarget& target) {
    try {
        return net::UdpSocket::connectedTo(target.host, target.port);
    } catch (const net::NetError& e) {
        throw SendError("can't send to " + targetText(target) + ": " + e.what());
    }
}

}  // namespace

UdpSender::UdpSender(const SendTarget& target) : socket_(connect(target)) {}

std::optional<std::string> UdpSender::send(std::span<const unsigned char> datagram) noexcept {
    return socket_.send(datagram);
}

}  // namespace rdd18::dump
