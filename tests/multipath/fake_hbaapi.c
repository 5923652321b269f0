/* A small HBA API library with known adapters, for the tests of the run-time loading. Built
 * against the platform's own hbaapi.h, so it also checks that our records keep its layout.
 * FAKE_HBA_MODE=absurd reports an absurd adapter count; =fail fails HBA_LoadLibrary. */
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <hbaapi.h>

static const char* Mode(void) {
  const char* mode = getenv("FAKE_HBA_MODE");
  return mode ? mode : "";
}

static int g_loaded;

HBA_STATUS HBA_LoadLibrary(void) {
  if (strcmp(Mode(), "fail") == 0) return HBA_STATUS_ERROR;
  g_loaded = 1;
  return HBA_STATUS_OK;
}

HBA_STATUS HBA_FreeLibrary(void) {
  g_loaded = 0;
  return HBA_STATUS_OK;
}

HBA_UINT32 HBA_GetNumberOfAdapters(void) {
  if (strcmp(Mode(), "absurd") == 0) return 1000000;
  return g_loaded ? 2 : 0;
}

HBA_STATUS HBA_GetAdapterName(HBA_UINT32 index, char* name) {
  if (index > 1) return HBA_STATUS_ERROR_ILLEGAL_INDEX;
  strcpy(name, index == 0 ? "fake-0" : "fake-1");
  return HBA_STATUS_OK;
}

HBA_HANDLE HBA_OpenAdapter(char* name) {
  if (strcmp(name, "fake-0") == 0) return 10;
  if (strcmp(name, "fake-1") == 0) return 11;
  return 0;
}

void HBA_CloseAdapter(HBA_HANDLE handle) { (void)handle; }

static void SetWwn(HBA_WWN* wwn, unsigned char last) {
  static const unsigned char kBase[8] = {0x21, 0x00, 0x00, 0x24, 0xff, 0x00, 0x00, 0x00};
  memcpy(wwn->wwn, kBase, 8);
  wwn->wwn[7] = last;
}

HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES* attributes) {
  if (handle != 10 && handle != 11) return HBA_STATUS_ERROR_INVALID_HANDLE;
  memset(attributes, 0, sizeof(*attributes));
  strcpy(attributes->Manufacturer, "Fake");
  SetWwn(&attributes->NodeWWN, handle == 10 ? 0x10 : 0x11);
  attributes->NumberOfPorts = handle == 10 ? 2 : 1;
  return HBA_STATUS_OK;
}

HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE handle, HBA_UINT32 index,
                                        HBA_PORTATTRIBUTES* port) {
  if (handle != 10 && handle != 11) return HBA_STATUS_ERROR_INVALID_HANDLE;
  memset(port, 0, sizeof(*port));
  SetWwn(&port->NodeWWN, handle == 10 ? 0x10 : 0x11);
  SetWwn(&port->PortWWN, (unsigned char)(handle == 10 ? 0x20 + index : 0x30));
  port->PortType = HBA_PORTTYPE_NPORT;
  port->PortState = HBA_PORTSTATE_ONLINE;
  port->PortSpeed = HBA_PORTSPEED_2GBIT;
  port->PortSupportedSpeed = HBA_PORTSPEED_2GBIT | HBA_PORTSPEED_1GBIT;
  strcpy(port->OSDeviceName, handle == 10 ? (index == 0 ? "/sys/class/scsi_host/host3"
                                                        : "/sys/class/scsi_host/host12")
                                          : "none");
  return HBA_STATUS_OK;
}

HBA_STATUS HBA_GetFcpTargetMappingV2(HBA_HANDLE handle, HBA_WWN portWwn,
                                     HBA_FCPTARGETMAPPINGV2* mapping) {
  if (handle != 10 || portWwn.wwn[7] != 0x20) return HBA_STATUS_ERROR_ILLEGAL_WWN;
  /* Three rows: target 0 twice (two LUNs) and target 1. */
  HBA_UINT32 room = mapping->NumberOfEntries;
  mapping->NumberOfEntries = 3;
  if (room < 3) return HBA_STATUS_ERROR_MORE_DATA;
  for (int i = 0; i < 3; ++i) {
    HBA_FCPSCSIENTRYV2* row = &mapping->entry[i];
    strcpy(row->ScsiId.OSDeviceName, "/dev/sdb");
    row->ScsiId.ScsiTargetNumber = i < 2 ? 0 : 1;
    row->ScsiId.ScsiOSLun = (HBA_UINT32)i;
    SetWwn(&row->FcpId.PortWWN, (unsigned char)(i < 2 ? 0xa0 : 0xa1));
  }
  return HBA_STATUS_OK;
}
