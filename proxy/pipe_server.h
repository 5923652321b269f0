// The heartbeat channel: a server endpoint the proxy connects to once per message, the named
// pipe "\\.\pipe\VELA_Proxy_<n>" with <n> the low 16 bits of the process id (on POSIX a
// Unix-domain stream socket VELA_Proxy_<n> in $VELA_PIPE_DIR, default /tmp; see
// platform/pipe_endpoint.h).
#ifndef VELA_PROXY_PIPE_SERVER_H_
#define VELA_PROXY_PIPE_SERVER_H_

#include <atomic>
#include <cstdint>
#include <string>

// 1 while the recv_events loop runs; ProxyUnInit waits for it to fall.
extern std::atomic<int> g_recvEventsRunning;

// The number in the endpoint's name, which negotiate_listen_port tells the proxy.
uint16_t PipeNumber();
// The endpoint's name, VELA_Proxy_<n>.
std::string PipeName();
// Host path of the endpoint.
std::string PipeSocketPath();

// Creates the endpoint (removing a stale file of the same name) and starts the recv_events
// thread, which holds a module lock until it is joined; an endpoint whose thread still serves it
// is kept as it is. Returns 0, or 1 when the endpoint could not be made.
int create_listen();
// Wakes recv_events out of its wait for a client so that it sees the terminating flag.
void delete_listener();
// True from create_listen until the thread has closed the endpoint.
bool PipeListenerActive();
// Joins the recv_events thread once its running flag has fallen, giving back the module lock it
// held; one still running is left (joinable, holding its lock) to a later call, the next
// create_listen or StopPipeThread.
void ReleasePipeThread();
// For the module detach: ends the recv_events thread, if there is one, and joins it.
void StopPipeThread();

#endif  // VELA_PROXY_PIPE_SERVER_H_
