// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPBASE_H
#define LIBSSDP_SOURCE_SSDPBASE_H

#include <sys/types.h>
// The BSDs want these before what uses them.
#include <sys/socket.h>

#include <ifaddrs.h>
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

// The system's interfaces at the moment of construction: none when it can't tell them.
class InterfaceList {
 public:
  InterfaceList() : m_head(nullptr) {
    if (getifaddrs(&m_head) != 0) m_head = nullptr;  // a failed call may have left anything there
  }
  ~InterfaceList() {
    if (m_head != nullptr) freeifaddrs(m_head);
  }
  InterfaceList(const InterfaceList&) = delete;
  InterfaceList& operator=(const InterfaceList&) = delete;

  const struct ifaddrs* Head() const { return m_head; }

 private:
  struct ifaddrs* m_head;
};

// How the engine reports to the service object: (context, record, alive, searched). The record
// belongs to the caller and lives for the call.
using EngineCallback = void (*)(void* context, DeviceInfo* device, bool alive, bool searched);

// What both network workers share: the callback, the UDP socket with its addresses, how they start
// and how they stop. A worker is initialised once and de-initialised once. The socket is made by
// the derived constructor and closed by DeInit, not by the destructor.
//
// Init and DeInit belong to the owner's thread; Task runs on the worker's own and reads what the
// constructors and Init have written before it started, and the flags that tell it to end.
class SSDPBase : public WorkerThread {
 public:
  SSDPBase(EngineCallback callback, void* context);

  virtual SSDP_STATUS Init();  // starts the thread

  // Clears the run flag, shuts the socket down (which wakes a blocked receive), closes it and joins
  // the thread. Blocks until the datagram in work is done with. The socket is closed even when
  // there is no thread to join, and by the first call only.
  virtual SSDP_STATUS DeInit();

  // Whether the socket is closed and no thread is left, so that this worker can't be used again and
  // may go.
  bool IsSpent() const { return m_closed && !HasThread(); }

  // Whether this worker was started although no socket could be made for it.
  bool RunsWithoutSocket() const { return m_handle < 0 && HasThread(); }

 protected:
  // Writes the IPv4 address of the interface named `name`, if `interfaces` has one, to m_local_ip.
  void RecordLocalAddress(const InterfaceList& interfaces, const std::string& name);

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

  // The socket for every use: -1 once it is closed, for its number, which m_handle keeps, may then
  // be that of a descriptor of the host's.
  int Socket() const { return m_closed ? -1 : m_handle; }

  std::atomic<bool> m_closed;  // written by the owner's thread, read by all
  std::atomic<int> m_sending;  // threads inside Send
};

// A socket of its own for the calling process: closed when the host executes another program.
int OpenSocket();

// Sleeps, as long as the system allows sleeping in any way.
void Pause(int milliseconds);

// The address's dotted text.
std::string AddressText(const struct sockaddr_in& address);

}  // namespace libSSDP

#endif
