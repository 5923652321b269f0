// The proxy's list of the host adapter ports it sees, added to the ports the HBA library found.
#include <cstring>
#include <memory>
#include <new>

#include "diag/debug_log.h"
#include "provider/host_inventory.h"
#include "provider/provider.h"
#include "proxy/records_other.h"
#include "proxy/tidegate.h"

void CProvider::get_connect_Hba_info_list(std::vector<HbaPortEntry>& HBA_vec) {
  DebugPrintf("GetHbaPortPropsByProxy() enter\n");
  // The record is large (58 KB): it lives on the heap for the one call.
  std::unique_ptr<hbaInfoList> list(new (std::nothrow) hbaInfoList());
  if (list == nullptr || Tidegate::get_connect_Hba_info_list(list.get()) != 0) {
    DebugPrintf(
        "OOP!!! CProvider::get_connect_Hba_info_list()  return VDS_E_INTERNAL_ERROR, line %d\n",
        __LINE__);
    return;
  }
  const auto count = static_cast<size_t>(list->count);  // the command refuses counts beyond 32
  std::vector<ConnectedHba>& connected = m_inventory->ConnectedHbaList;
  connected.clear();
  // Once one of the proxy's ports was found among the library's, none after it is added.
  bool found = false;
  for (size_t i = 0; i < count; ++i) {
    const hbaInfo& record = list->entries[i];
    ConnectedHba port{};
    port.type = static_cast<char>(record.type);
    port.portNumber = record.portNumber;
    std::memcpy(port.wwpn, record.wwpn, sizeof(port.wwpn));
    connected.push_back(port);
    for (const HbaPortEntry& entry : HBA_vec) {
      if (std::memcmp(entry.prop.wwnPort.rguchWwn, record.wwpn, 8) == 0) {
        found = true;
        break;
      }
    }
    if (found) continue;
    HbaPortEntry entry{};
    std::memcpy(entry.prop.wwnNode.rguchWwn, record.wwpn, 8);
    std::memcpy(entry.prop.wwnPort.rguchWwn, record.wwpn, 8);
    entry.prop.type = VDS_HPT_NPORT;
    entry.prop.status = VDS_HPS_ONLINE;
    entry.scsiPortNumber = record.portNumber;
    HBA_vec.push_back(entry);
    const uint8_t* w = record.wwpn;
    DebugPrintf(
        "GetHbaPortPropByProxy() adding HBA port=%d type=%c "
        "wwpn=%02x%02x%02x%02x%02x%02x%02x%02x\n",
        record.portNumber, port.type, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
  }
  DebugPrintf("GetHbaPortPropsByProxy() exit (%d HBAs from tidegate)\n", static_cast<int>(count));
}
