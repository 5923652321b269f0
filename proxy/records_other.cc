// Codecs of the records other than controllerData; the sub-records they share with it
// (addressRecord, array, partition, ...) are those of records_controller.cc.
#include "proxy/records_other.h"

VELA_DEFINE_RECORD_CODEC(subsystem, Subsystem, VELA_SUBSYSTEM_ROWS)
VELA_DEFINE_RECORD_CODEC(event, Event, VELA_EVENT_ROWS)
VELA_DEFINE_RECORD_CODEC(getEvent, GetEvent, VELA_GET_EVENT_ROWS)
VELA_DEFINE_RECORD_CODEC(mapRecord, MapRecord, VELA_MAP_RECORD_ROWS)
VELA_DEFINE_RECORD_CODEC(partitionView, PartitionView, VELA_PARTITION_VIEW_ROWS)
VELA_DEFINE_RECORD_CODEC(customViewEntry, CustomViewEntry, VELA_CUSTOM_VIEW_ENTRY_ROWS)
VELA_DEFINE_RECORD_CODEC(customView, CustomView, VELA_CUSTOM_VIEW_ROWS)
VELA_DEFINE_RECORD_CODEC(createArray, CreateArray, VELA_CREATE_ARRAY_ROWS)
VELA_DEFINE_RECORD_CODEC(addArrayPart, AddArrayPart, VELA_ADD_ARRAY_PART_ROWS)
VELA_DEFINE_RECORD_CODEC(expandPart, ExpandPart, VELA_EXPAND_PART_ROWS)
VELA_DEFINE_RECORD_CODEC(unifiedControllerData, UnifiedControllerData,
                         VELA_UNIFIED_CONTROLLER_DATA_ROWS)
VELA_DEFINE_RECORD_CODEC(backingStoreEntry, BackingStoreEntry, VELA_BACKING_STORE_ENTRY_ROWS)
VELA_DEFINE_RECORD_CODEC(masterVolumeEntry, MasterVolumeEntry, VELA_MASTER_VOLUME_ENTRY_ROWS)
VELA_DEFINE_RECORD_CODEC(snapshotEntry, SnapshotEntry, VELA_SNAPSHOT_ENTRY_ROWS)
VELA_DEFINE_RECORD_CODEC(RetndSnList, RetndSnList, VELA_RETND_SN_LIST_ROWS)
VELA_DEFINE_RECORD_CODEC(hbaInfo, HbaInfo, VELA_HBA_INFO_ROWS)
VELA_DEFINE_RECORD_CODEC(hbaInfoList, HbaInfoList, VELA_HBA_INFO_LIST_ROWS)
