// SPDX-License-Identifier: MIT
// A program that is linked with the C++ library and does nothing, for its resident memory.
#include <unistd.h>

int main() {
  for (;;) pause();
}
