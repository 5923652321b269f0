// The module is built with hidden symbols; this marks the few it exports.
#ifndef VELA_PROVIDER_EXPORT_H_
#define VELA_PROVIDER_EXPORT_H_

#define VELA_EXPORT __attribute__((visibility("default")))

#endif  // VELA_PROVIDER_EXPORT_H_
