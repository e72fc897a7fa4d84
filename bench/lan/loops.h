// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_BENCH_LAN_LOOPS_H
#define LIBSSDP_BENCH_LAN_LOOPS_H

#include <sys/types.h>

#include "gate.h"

// The processes that are measured. Each runs in a child process until it is killed.
namespace bench {

constexpr const char* kGateUuid = "gate";
constexpr const char* kRefreshedUuid = "peer";

// Receives on the group and does nothing.
void BareLoop(Gate& gate);

// The same on a second thread of its process, as a library's must: system calls are dearer there.
void BareThreadLoop(Gate& gate);

// On a second thread too, and does what is fixed for every datagram of a listener: the buffer is
// cleared before, one setting is copied out of an ordered map under a lock behind it.
void FixedLoop(Gate& gate);

// Receives on the group and answers with a constant of the length of the library's answers.
void BareReplyLoop(Gate& gate);

// A host of the library. It searches once, so that the load generator learns where its search
// replies go to.
void LibraryHost(Gate& gate);

// A host of the library that counts in m_received the refreshes of one known peer, kRefreshedUuid.
void CrowdedHost(Gate& gate);

// A host whose listener stands at the gate: its main thread announces, and sends the same bytes
// without the library, in turn. m_result is the quotient of their CPU times.
void AnnouncingHost(Gate& gate);

// Starts one of them as a child process, which ends with this process at the latest.
pid_t StartChild(void (*loop)(Gate&), Gate& gate);
void EndChild(pid_t child);

}  // namespace bench

#endif
