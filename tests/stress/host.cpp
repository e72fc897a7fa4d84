// SPDX-License-Identifier: MIT
#include "host.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace host {

namespace {

const std::string kTarget = "urn:schemas-example-org:device:Light:1";

sockaddr_in Address(const char* ip, uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(ip);
  return address;
}

}  // namespace

Light::Light(bool announce, libSSDP::SSDPCallback callback, void* context) {
  EXPECT_EQ(libSSDP::CreateSSDP(announce), 0);
  libSSDP::SetDomainName("schemas-example-org");
  libSSDP::SetDeviceType("Light");
  libSSDP::SetVersionInfo("1");
  libSSDP::SetUUID("ourselves");
  libSSDP::SetStatus("on");
  libSSDP::SetNotifyTimeOut(1800);
  libSSDP::SetMSearchTimeOut(1);
  libSSDP::SetCallback(callback, context);
}

Light::~Light() {
  if (m_running) Stop();
  libSSDP::DestroySSDP();
}

void Light::Start() {
  EXPECT_EQ(libSSDP::Initialize(), 0);
  m_running = true;
}

void Light::Stop() {
  EXPECT_EQ(libSSDP::Uninitialize(), 0);
  m_running = false;
}

std::string Alive(const std::string& uuid, const std::string& status, int max_age) {
  return "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=" +
         std::to_string(max_age) + "\r\nNTS: ssdp:alive\r\nNT: " + kTarget +
         "\r\nUSN: uuid:" + uuid + "::" + kTarget + "\r\nStatus: " + status + "\r\n\r\n";
}

std::string ByeBye(const std::string& uuid) {
  return "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=1800\r\n"
         "NTS: ssdp:byebye\r\nNT: " +
         kTarget + "\r\nUSN: uuid:" + uuid + "::" + kTarget + "\r\nStatus: off\r\n\r\n";
}

std::string Query(int mx) {
  return "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: " +
         std::to_string(mx) + "\r\nST: " + kTarget + "\r\nUSER-AGENT: test\r\n\r\n";
}

std::string Reply(const std::string& uuid, const std::string& status) {
  return "HTTP/1.1 200 OK\r\nCache-Control: max-age=1800\r\nDATE: Sun Nov 15 14:22:59 2026\n\r"
         "EXT: \r\nSERVER: test\r\nST: " +
         kTarget + "\r\nUSN: uuid:" + uuid + "::" + kTarget + "\r\nStatus: " + status + "\r\n\r\n";
}

Peer::Peer() : m_handle(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_in ours = Address("10.77.0.1", 0);
  EXPECT_EQ(bind(m_handle, reinterpret_cast<const sockaddr*>(&ours), sizeof(ours)), 0);
}

Peer::~Peer() {
  close(m_handle);
}

bool Peer::Tell(const std::string& message) {
  return Tell(message, Address("239.255.255.250", 1900));
}

bool Peer::Tell(const std::string& message, sockaddr_in to) {
  return sendto(m_handle, message.data(), message.size(), 0, reinterpret_cast<sockaddr*>(&to),
                sizeof(to)) == static_cast<ssize_t>(message.size());
}

std::string Peer::Hear() {
  pollfd ready = {m_handle, POLLIN, 0};
  if (poll(&ready, 1, 60000) <= 0) return "";
  char text[2048];
  const ssize_t length = recv(m_handle, text, sizeof(text), 0);
  return std::string(text, length > 0 ? static_cast<size_t>(length) : 0);
}

sockaddr_in SearchSocket() {
  for (int handle = 3; handle < 256; ++handle) {
    sockaddr_in local = {};
    socklen_t length = sizeof(local);
    if (getsockname(handle, reinterpret_cast<sockaddr*>(&local), &length) != 0) continue;
    if (local.sin_family != AF_INET || local.sin_addr.s_addr != INADDR_ANY) continue;
    if (local.sin_port != htons(1900)) return Address("10.77.0.1", ntohs(local.sin_port));
  }
  ADD_FAILURE() << "the library has no socket for replies";
  return {};
}

}  // namespace host
