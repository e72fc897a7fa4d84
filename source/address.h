// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_ADDRESS_H
#define LIBSSDP_SOURCE_ADDRESS_H

#include <sys/types.h>
// The BSDs want these before what uses them.
#include <sys/socket.h>

#include <ifaddrs.h>
#include <netinet/in.h>

#include <string>

// IPv4 addresses as dotted text.
namespace libSSDP {

std::string AddressText(const struct sockaddr_in& address);

// The system's interfaces at the moment of construction; none when the system can't list them.
class InterfaceList {
 public:
  InterfaceList();
  ~InterfaceList();
  InterfaceList(const InterfaceList&) = delete;
  InterfaceList& operator=(const InterfaceList&) = delete;

  // Writes the first IPv4 address of the interface `name` to `text`, which is left as it is when
  // there is none.
  void CopyAddress(const std::string& name, char (&text)[INET_ADDRSTRLEN]) const;

 private:
  struct ifaddrs* m_head;
};

}  // namespace libSSDP

#endif
