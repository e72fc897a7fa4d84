// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPBASE_H
#define LIBSSDP_SOURCE_SSDPBASE_H

#include <sys/types.h>
// The BSDs want these before what uses them.
#include <sys/socket.h>

#include <netinet/in.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "worker.h"

namespace libSSDP {

constexpr uint16_t SSDP_PORT = 1900;        // UPnP Device Architecture 1.1, 1.2.2
constexpr size_t SSDP_DATAGRAM_SIZE = 512;  // what a receiver reads of a datagram

// One received datagram as text. It ends at the first NUL or after the bytes received, whichever
// comes first; a longer datagram is cut to what fits.
struct Datagram {
  char text[SSDP_DATAGRAM_SIZE + 1];  // and a terminator
  struct sockaddr_in from;
};

// How the workers report to the service: (context, record, alive, searched). The caller owns the
// record, which is valid during the call.
using EngineCallback = void (*)(void* context, DeviceInfo* device, bool alive, bool searched);

// What both network workers share: the callback, the UDP socket with its addresses, start and stop.
// A worker is initialized once and de-initialized once. The derived constructor opens the socket;
// DeInit closes it, the destructor doesn't.
//
// Init and DeInit run on the owner's thread, Task on the worker's. Task reads what the constructors
// and Init wrote before the thread started, and the flags that end it.
class SSDPBase : public WorkerThread {
 public:
  SSDPBase(EngineCallback callback, void* context);

  virtual SSDP_STATUS Init();  // starts the thread

  // Clears the run flag, shuts the socket down (which wakes a blocked receive), closes it and joins
  // the thread. Blocks until the current datagram has been processed. The socket is closed even
  // when there is no thread to join, and by the first call only.
  virtual SSDP_STATUS DeInit();

  // Whether this worker has been stopped: socket closed, thread joined. It can't be started again.
  bool IsSpent() const { return m_closed && !HasThread(); }

  // Whether this worker was started without a socket.
  bool RunsWithoutSocket() const { return m_handle < 0 && IsStarted(); }

  // In a child process: closes the socket, which stays open in the parent. This worker can then
  // only be replaced.
  void LeaveSocket();

 protected:
  // Waits for a datagram. A failure leaves an empty text, which matches nothing, and pauses, so
  // that a loop over a broken socket doesn't burn a core.
  void Receive(Datagram& datagram);

  // Sends one datagram, on any thread. Returns the number of bytes sent; nothing on failure.
  std::optional<size_t> Send(const std::string& message, const struct sockaddr_in& to);

  const EngineCallback m_engine_callback;
  void* const m_engine_context;  // not owned
  int m_handle;                  // the socket; hides the thread's handle of the same name
  struct sockaddr_in m_local_addr;
  struct sockaddr_in m_group_addr;
  char m_local_ip[INET_ADDRSTRLEN];

 private:
  void CloseSocket();

  // The socket, or -1 once it is closed. m_handle keeps the number, which the application may be
  // using again by then.
  int Socket() const { return m_closed ? -1 : m_handle; }

  std::atomic<bool> m_closed;  // written by the owner's thread, read by all threads
  std::atomic<int> m_sending;  // threads inside Send
};

// Opens a UDP socket that is closed on exec; -1 on failure.
int OpenSocket();

// Sleeps, by poll where a sandbox refuses usleep.
void Pause(int milliseconds);

}  // namespace libSSDP

#endif
