#pragma once

// The protobuf counterpart of Bench::MakeInfo (bench/ethernet_sample.h): the same content, field
// for field, for every benchmark that sets protobuf or a framework built on it beside us.

#include <ethernet_info.pb.h>

#include <string>

namespace Bench {

inline void FillProto(nexar::bench::EthernetInfo& info, std::string const& label = "Network adapter 1") {
  using Info = nexar::bench::EthernetInfo;
  using Backing = nexar::bench::EthernetBackingInfo;
  info.set_label(label);
  info.set_type(Info::VMXNET3);
  info.set_upt_compatibility_enabled(true);
  info.set_upt_v2_compatibility_enabled(false);
  info.set_mac_type(Info::ASSIGNED);
  info.set_mac_address("00:50:56:a1:3c:7e");
  info.set_pci_slot_number(192);
  info.set_wake_on_lan_enabled(true);
  Backing& backing = *info.mutable_backing();
  backing.set_type(Backing::DISTRIBUTED_PORTGROUP);
  backing.set_network("dvportgroup-1042");
  backing.set_distributed_switch_uuid("50 2e 4f 1a 9b 3c 7d 21-8e 44 0c 6f 5a 3b 2d 19");
  backing.set_distributed_port("1027");
  backing.set_connection_cookie(1837465921);
  info.set_state(nexar::bench::CONNECTED);
  info.set_start_connected(true);
  info.set_allow_guest_control(false);
}

}  // namespace Bench
