// A flow received live: one UDP socket, IPv4 or IPv6 (joined to the group for a multicast
// address), its datagrams fed to the flow's depacketiser as they arrive, until the frames asked
// for are written or SIGINT comes.
#include <csignal>
#include <vector>

#include "dump/input.h"
#include "dump/net.h"
#include "dump/rtp_frames.h"
#include "dump/udp_sender.h"

namespace rdd18::dump {

namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void onInterrupt(int) {
    interrupted = 1;
}

/// SIGINT sets `interrupted` while this lives; the handler before is put back after.
class InterruptGuard {
  public:
    InterruptGuard() : previous_((interrupted = 0, std::signal(SIGINT, onInterrupt))) {}
    ~InterruptGuard() { std::signal(SIGINT, previous_); }
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

  private:
    void (*previous_)(int);
};

}  // namespace

void readLive(const std::string& url, const SourceOptions& options, const FrameVisitor& visit) {
    const auto target = parseSendTarget(url, 0);
    if (!target) throw InputError(url + ": not udp://ADDR:PORT");
    std::optional<net::UdpSocket> socket;
    try {
        socket.emplace(net::UdpSocket::boundTo(target->host, target->port, options.interface));
    } catch (const net::NetError& e) {
        throw InputError(url + ": " + e.what());
    }
    InterruptGuard guard;
    FlowFrames frames(url, url.substr(6), options, visit);
    std::vector<unsigned char> datagram(65536);
    while (!frames.done() && !interrupted) {
        Moment arrival;
        // A short wait, so that an interrupt is seen even when the flow is silent.
        try {
            if (const auto n = socket->receive(datagram, arrival, 100))
                frames.push({datagram.data(), *n}, arrival);
        } catch (const net::NetError& e) {
            throw InputError(url + ": " + e.what());
        }
    }
    if (interrupted) frames.finish();
}

}  // namespace rdd18::dump
