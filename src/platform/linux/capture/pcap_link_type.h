#pragma once

namespace vicinix::pcap_link_type {

// The pcap link types our captures use, spelled out because older libpcap
// headers lack some.
inline constexpr int kH4 = 187;
inline constexpr int kH4WithDirection = 201;
inline constexpr int kLinuxMonitor = 254;
// Over-the-air sniffers: link-layer packets, not HCI.
inline constexpr int kLELinkLayer = 251;
inline constexpr int kLELinkLayerWithHeader = 256;
inline constexpr int kNordicBLE = 272;

}  // namespace vicinix::pcap_link_type
