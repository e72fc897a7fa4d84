// SPDX-License-Identifier: MIT
// The smallest application of the library, for its resident memory.
#include <libssdp.h>
#include <unistd.h>

int main() {
  libSSDP::CreateSSDP(true);
  libSSDP::SetNotifyTimeOut(1800);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) return 1;
  for (;;) pause();
}
