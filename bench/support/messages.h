// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_BENCH_SUPPORT_MESSAGES_H
#define LIBSSDP_BENCH_SUPPORT_MESSAGES_H

#include <string>

// The datagrams that the benchmarks send, and the settings of the device that receives them.
namespace bench {

constexpr const char* kDomain = "schemas-example-org";
constexpr const char* kType = "Light";
constexpr const char* kVersion = "1";
constexpr const char* kTarget = "urn:schemas-example-org:device:Light:1";
constexpr const char* kOtherTarget = "urn:schemas-example-org:device:Radio:1";
constexpr const char* kStatus = "ready";

// The 36 characters of a peer's UUID.
std::string Uuid(int peer);

// The same of one maker's devices: the first 24 characters are those of every other.
std::string UuidOfOneMaker(int peer);

std::string Notify(const std::string& target, const std::string& uuid);
std::string SearchReply(const std::string& target, const std::string& uuid);
std::string MSearch(const std::string& target);

}  // namespace bench

#endif
