// Captures read through libpcap: each record's frame is unwrapped down to its UDP payload (link
// layer, VLAN tags, IP, UDP), and the payloads of each flow go to that flow's depacketiser.
//
// The library is loaded when the first capture is opened, not when the tool starts: linked, it
// (and the message bus, systemd and compression libraries behind it) costs every run a dozen
// mappings and about a millisecond, a run over packet files included.
#include <arpa/inet.h>
#include <pcap/pcap.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dump/input.h"
#include "dump/loaded_library.h"
#include "dump/rtp_frames.h"
#include "rdd18/internal/byte_order.h"

namespace rdd18::dump {

namespace {

using internal::loadBigEndian16;

constexpr unsigned kIpv4 = 0x0800, kIpv6 = 0x86DD, kVlan = 0x8100, kQinQ = 0x88A8;
constexpr unsigned kUdp = 17;

/// A UDP datagram of a record: its destination and payload.
struct Datagram {
    std::string destination;  // "ADDR:PORT"
    std::span<const unsigned char> payload;
};

std::string address(int family, const unsigned char* bytes, unsigned port) {
    char text[INET6_ADDRSTRLEN];
    inet_ntop(family, bytes, text, sizeof text);
    return (family == AF_INET6 ? "[" + std::string(text) + "]" : std::string(text)) + ":" +
           std::to_string(port);
}

/// The UDP datagram of the IP packet `ip`, if it is one (unfragmented).
std::optional<Datagram> udpOf(std::span<const unsigned char> ip) {
    if (ip.empty()) return std::nullopt;
    std::size_t header = 0;
    const unsigned char* destination = nullptr;
    int family = AF_INET;
    if (ip[0] >> 4 == 4) {
        header = std::size_t{ip[0] & 0x0Fu} * 4;
        // Fragments (more to come, or an offset) are not put together: flows of ancillary data
        // send datagrams well below the MTU.
        if (ip.size() < 20 || header < 20 || ip[9] != kUdp || (loadBigEndian16(&ip[6]) & 0x3FFFu))
            return std::nullopt;
        ip = ip.first(std::min<std::size_t>(ip.size(), loadBigEndian16(&ip[2])));
        destination = &ip[16];
    } else if (ip[0] >> 4 == 6) {
        header = 40;
        if (ip.size() < header || ip[6] != kUdp) return std::nullopt;
        ip = ip.first(std::min<std::size_t>(ip.size(), header + loadBigEndian16(&ip[4])));
        destination = &ip[24];
        family = AF_INET6;
    } else {
        return std::nullopt;
    }
    if (ip.size() < header + 8) return std::nullopt;
    const auto udp = ip.subspan(header);
    const std::size_t length = loadBigEndian16(&udp[4]);
    if (length < 8 || length > udp.size()) return std::nullopt;
    return Datagram{address(family, destination, loadBigEndian16(&udp[2])),
                    udp.subspan(8, length - 8)};
}

/// The IP packet of a record of link type `link`, if it holds one.
std::span<const unsigned char> ipOf(int link, std::span<const unsigned char> record) {
    std::size_t at = 0;
    unsigned type = 0;
    switch (link) {
        case DLT_EN10MB:
            at = 14;
            if (record.size() < at) return {};
            type = loadBigEndian16(&record[12]);
            while ((type == kVlan || type == kQinQ) && record.size() >= at + 4) {
                type = loadBigEndian16(&record[at + 2]);
                at += 4;
            }
            break;
        case DLT_LINUX_SLL:
            at = 16;
            if (record.size() < at) return {};
            type = loadBigEndian16(&record[14]);
            break;
        case DLT_LINUX_SLL2:
            at = 20;
            if (record.size() < at) return {};
            type = loadBigEndian16(&record[0]);
            break;
        case DLT_RAW:
            return record;
        default:
            return {};
    }
    if (type != kIpv4 && type != kIpv6) return {};
    return record.subspan(at);
}

struct Flow {
    std::unique_ptr<FlowFrames> frames;  // none while the flow isn't known to carry RFC 8331
};

// The functions of libpcap this reader calls, looked up by name.
struct LibPcap {
    decltype(&::pcap_open_offline_with_tstamp_precision) open;
    decltype(&::pcap_close) close;
    decltype(&::pcap_datalink) datalink;
    decltype(&::pcap_datalink_val_to_name) datalinkName;
    decltype(&::pcap_next_ex) next;
    decltype(&::pcap_geterr) geterr;
};

LibPcap load() {
    // By the sonames the library goes by: Debian's, then that of most other systems, then
    // macOS's. The functions called here have kept their signatures since libpcap 1.5.
    const LoadedLibrary library({"libpcap.so.0.8", "libpcap.so.1", "libpcap.A.dylib"},
                                std::string("reading captures needs libpcap, and it can't be "
                                            "loaded: install libpcap"));
    LibPcap l{};
    library.bind(l.open, "pcap_open_offline_with_tstamp_precision");
    library.bind(l.close, "pcap_close");
    library.bind(l.datalink, "pcap_datalink");
    library.bind(l.datalinkName, "pcap_datalink_val_to_name");
    library.bind(l.next, "pcap_next_ex");
    library.bind(l.geterr, "pcap_geterr");
    return l;
}

// The library, loaded by the first call; a failed load throws each time it is asked for.
const LibPcap& libpcap() {
    static const LibPcap loaded = load();
    return loaded;
}

}  // namespace

void readPcap(const std::string& path, const SourceOptions& options, const FrameVisitor& visit) {
    const LibPcap& pcap = libpcap();
    char error[PCAP_ERRBUF_SIZE] = "";
    const std::unique_ptr<pcap_t, void (*)(pcap_t*)> capture(
        pcap.open(path.c_str(), PCAP_TSTAMP_PRECISION_NANO, error), pcap.close);
    if (!capture) throw InputError(path + ": " + error);
    const int link = pcap.datalink(capture.get());
    if (link != DLT_EN10MB && link != DLT_LINUX_SLL && link != DLT_LINUX_SLL2 && link != DLT_RAW) {
        const char* name = pcap.datalinkName(link);
        throw InputError(path + ": link type " + (name ? name : std::to_string(link)) +
                         " is not read (Ethernet, Linux cooked and raw IP are)");
    }
    std::map<std::string, Flow> flows;
    std::vector<FlowFrames*> order;  // the flows carrying RFC 8331, as first seen
    auto finishAll = [&] {
        for (FlowFrames* f : order) f->finish();
    };
    pcap_pkthdr* record = nullptr;
    const unsigned char* bytes = nullptr;
    int status = 0;
    while ((status = pcap.next(capture.get(), &record, &bytes)) == 1) {
        const auto datagram = udpOf(ipOf(link, {bytes, record->caplen}));
        if (!datagram) continue;
        if (!options.flow.empty() && datagram->destination != options.flow) continue;
        Flow& flow = flows[datagram->destination];
        if (!flow.frames) {
            if (options.flow.empty() && !carriesRfc8331(datagram->payload)) continue;
            flow.frames = std::make_unique<FlowFrames>(path, datagram->destination, options, visit);
            order.push_back(flow.frames.get());
        }
        // With nanosecond precision asked for, libpcap gives every capture's times in ns.
        flow.frames->push(datagram->payload,
                          {record->ts.tv_sec, static_cast<std::uint32_t>(record->ts.tv_usec)});
    }
    finishAll();
    if (status == PCAP_ERROR) throw InputError(path + ": " + pcap.geterr(capture.get()));
    if (order.empty())
        throw InputError(path + (options.flow.empty()
                                     ? ": no UDP flow carries RTP packets of RFC 8331 payloads"
                                     : ": no UDP datagram to " + options.flow));
}

}  // namespace rdd18::dump
