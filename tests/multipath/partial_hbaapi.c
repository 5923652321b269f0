/* An HBA library that lacks most entry points. */
#include <time.h>

#include <hbaapi.h>

HBA_STATUS HBA_LoadLibrary(void) { return HBA_STATUS_OK; }
