// The Virtual Disk Service declarations: types and interfaces.
#ifndef VELA_PLATFORM_VDS_H_
#define VELA_PLATFORM_VDS_H_

#include "platform/vds_interfaces.h"
#include "platform/vds_types.h"

#endif  // VELA_PLATFORM_VDS_H_
