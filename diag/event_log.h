// Administrator events: the system event log (source "VelaVDSProvider", event 1, the message
// itself as its one string), each also noted in the debug log. The texts meant for
// administrators are translated through the "vdsprovider" message catalog, bound by LangInit.
#ifndef VELA_DIAG_EVENT_LOG_H_
#define VELA_DIAG_EVENT_LOG_H_

// The texts meant for administrators. Pass them through gettext at the point of use, and give
// the result to a log routine as its format.
inline constexpr char kTextExpansionFailed[] =
    "The VDS Provider has detected that expansion of a vdisk or volume has failed.";
inline constexpr char kTextExpansionStarted[] =
    "The VDS Provider has started a vdisk expansion operation which may take a long time to "
    "complete.";
inline constexpr char kTextExpansionFinished[] =
    "The VDS Provider has finished a vdisk expansion operation.";
inline constexpr char kTextProxyLost[] =
    "The VDS Provider has lost its connection to the VELA Proxy service.";
inline constexpr char kTextProxyRestored[] =
    "The VDS Provider has restored its connection to the VELA Proxy service.";

// Format (Windows printf), cut at 255 characters, report, and log "Logging ... Event". No result.
void LogErrorEvent(const char* format, ...);
void LogWarningEvent(const char* format, ...);
void LogInfoEvent(const char* format, ...);

// Once at provider load: the locale from the environment, and the catalog folder "locale" below
// the PATH value of the provider's Parameters key. A failure only leaves the texts English.
void LangInit();

#endif  // VELA_DIAG_EVENT_LOG_H_
