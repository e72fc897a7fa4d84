// SPDX-License-Identifier: MIT
#include "ssdpbase.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "report.h"

namespace libSSDP {

namespace {

constexpr int LONGEST_USE_MS = 1000;         // that closing a socket waits for
constexpr int FAILED_RECEIVE_PAUSE_MS = 20;  // so that a broken socket doesn't burn a core

}  // namespace

SSDPBase::SSDPBase(EngineCallback callback, void* context)
    : m_engine_callback(callback),
      m_engine_context(context),
      m_handle(0),
      m_local_addr(),
      m_group_addr(),
      m_local_ip(),
      m_closed(false),
      m_sending(0) {}

SSDP_STATUS SSDPBase::Init() {
  if (!SSDP_CHECK(Start() == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDPBase::DeInit() {
  if (!SSDP_CHECK(Stop() == SSDP_SUCCESS)) return SSDP_FAILURE;
  if (!m_closed) {
    m_closed = true;
    CloseSocket();
  }
  if (!SSDP_CHECK(Join() == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

void SSDPBase::LeaveSocket() {
  if (m_closed) return;
  m_closed = true;
  close(m_handle);  // no shutdown, which would end the parent's use too
}

void SSDPBase::CloseSocket() {
  shutdown(m_handle, SHUT_RDWR);  // fails with ENOTCONN, and wakes a blocked receive all the same
  // Don't close the descriptor while a thread uses it: its number may be reused. Wait for a bounded
  // time only: a callback may block, and on some systems only closing wakes a blocked receive.
  for (int waited = 0; (IsRunning() || m_sending > 0) && waited < LONGEST_USE_MS; ++waited)
    Pause(1);
  close(m_handle);
}

void SSDPBase::Receive(Datagram& datagram) {
  std::memset(&datagram, 0, sizeof(datagram));
  socklen_t length = sizeof(datagram.from);
  const int handle = Socket();
  const ssize_t received =
      handle < 0 ? -1
                 : recvfrom(handle, datagram.text, sizeof(datagram.text) - 1, 0,
                            reinterpret_cast<struct sockaddr*>(&datagram.from), &length);
  // No datagram (an empty datagram has a source address). After a stop this is how the loop ends.
  const bool nothing = received < 0 || datagram.from.sin_family == AF_UNSPEC;
  if (nothing && IsStarted()) Pause(FAILED_RECEIVE_PAUSE_MS);
}

std::optional<size_t> SSDPBase::Send(const std::string& message, const struct sockaddr_in& to) {
  ++m_sending;  // before m_closed is read: either CloseSocket waits or this send sees it closed
  const ssize_t sent = sendto(Socket(), message.data(), message.length(), 0,
                              reinterpret_cast<const struct sockaddr*>(&to), sizeof(to));
  --m_sending;
  if (sent < 0) return std::nullopt;
  return static_cast<size_t>(sent);
}

void Pause(int milliseconds) {
  // A sandbox that refuses usleep shall not make a loop spin.
  if (usleep(static_cast<useconds_t>(milliseconds) * 1000) != 0) poll(nullptr, 0, milliseconds);
}

int OpenSocket() {
  const int handle = socket(AF_INET, SOCK_DGRAM, 0);
  // A failure is ignored: a descriptor that stays open across exec is better than no socket.
  if (handle >= 0) fcntl(handle, F_SETFD, FD_CLOEXEC);
  return handle;
}

}  // namespace libSSDP
