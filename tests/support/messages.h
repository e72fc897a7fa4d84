// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_MESSAGES_H
#define LIBSSDP_TESTS_SUPPORT_MESSAGES_H

#include <string>

// The messages of a peer with the search target urn:schemas-example-org:device:Light:1, as they
// travel.
namespace support {

std::string Alive(const std::string& uuid, const std::string& status = "on", int max_age = 1800);
std::string Byebye(const std::string& uuid, const std::string& status = "on");
std::string Response(const std::string& uuid, const std::string& status = "on", int max_age = 1800);
std::string MSearch(int mx = 1);

}  // namespace support

#endif
