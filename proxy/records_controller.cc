// Codecs of controllerData and its sub-records. Everything is in one file so that the nested
// records inline into the controllerData conversion, which has to keep pace with the network.
#include "proxy/records_controller.h"

VELA_DEFINE_RECORD_CODEC(driveLocation, DriveLocation, VELA_DRIVE_LOCATION_ROWS)
VELA_DEFINE_RECORD_CODEC(memberDrive, MemberDrive, VELA_MEMBER_DRIVE_ROWS)
VELA_DEFINE_RECORD_CODEC(cacheParams, CacheParams, VELA_CACHE_PARAMS_ROWS)
VELA_DEFINE_RECORD_CODEC(addressRecord, AddressRecord, VELA_ADDRESS_RECORD_ROWS)
VELA_DEFINE_RECORD_CODEC(controllerParams, ControllerParams, VELA_CONTROLLER_PARAMS_ROWS)
VELA_DEFINE_RECORD_CODEC(port, Port, VELA_PORT_ROWS)
VELA_DEFINE_RECORD_CODEC(controller, Controller, VELA_CONTROLLER_ROWS)
VELA_DEFINE_RECORD_CODEC(advNetInterface, AdvNetInterface, VELA_ADV_NET_INTERFACE_ROWS)
VELA_DEFINE_RECORD_CODEC(enclosure, Enclosure, VELA_ENCLOSURE_ROWS)
VELA_DEFINE_RECORD_CODEC(drive, Drive, VELA_DRIVE_ROWS)
VELA_DEFINE_RECORD_CODEC(array, Array, VELA_ARRAY_ROWS)
VELA_DEFINE_RECORD_CODEC(partition, Partition, VELA_PARTITION_ROWS)
VELA_DEFINE_RECORD_CODEC(controllerData, ControllerData, VELA_CONTROLLER_DATA_ROWS)
