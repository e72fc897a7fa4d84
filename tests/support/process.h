// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_PROCESS_H
#define LIBSSDP_TESTS_SUPPORT_PROCESS_H

#include <cstddef>
#include <functional>
#include <ostream>
#include <set>
#include <string>

// What the process holds, measured from inside, and how tests wait and scale.
namespace support {

// Waits for an event, never for a period: until `condition` holds, at most a minute.
bool Await(const std::function<bool()>& condition);

// `full` in a plain build; a twentieth of it where a sanitizer makes everything slow, or
// 1/LIBSSDP_LIFECYCLE_DIVISOR of it where that is set (for valgrind). Prints what will be run.
int Scaled(const char* what, int full);

double Now();  // seconds, monotonic

size_t Threads();
size_t Descriptors();
std::set<std::string> Sockets();             // "socket:[INODE]" of each open one
size_t MallocBytes();                        // all of malloc's, C code included; 0 under sanitizers
std::string ThreadName(const char* thread);  // of a /proc/self/task entry

// Everything that must be flat over many lives of the library.
struct Held {
  size_t threads, descriptors, blocks, bytes;
  bool operator==(const Held& other) const {
    return threads == other.threads && descriptors == other.descriptors && blocks == other.blocks &&
           bytes == other.bytes;
  }
};
Held HeldNow();
std::ostream& operator<<(std::ostream& out, const Held& held);

// What the process holds once it has no more than `threads` threads: a joined thread stays in the
// system's list for a moment. Compare its result, not a later HeldNow(): a failure's message takes
// memory of its own.
Held HeldOnceDownTo(size_t threads);

}  // namespace support

#endif
