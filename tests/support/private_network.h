// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_PRIVATE_NETWORK_H
#define LIBSSDP_TESTS_SUPPORT_PRIVATE_NETWORK_H

#include <string>

// No test may send a byte out of the machine. A test program's main calls EnterPrivateNetwork
// before anything else, while it has one thread.
namespace support {

// Moves the process into user, mount and network namespaces of its own, in which it is root and
// loopback is the only interface: up, 10.77.0.1/24, and with the route for multicast. Empty when
// done, else the reason why the kernel or the system didn't let it.
std::string EnterPrivateNetwork();

// The main of a test program: enters the private network and runs the tests. Where that isn't
// possible no test runs, the reason is printed, and the result is 77, which CTest reports as
// skipped; with LIBSSDP_REQUIRE_NETWORK set in the environment it is a failure.
int RunTests(int argc, char** argv);

}  // namespace support

#endif
