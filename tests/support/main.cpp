// SPDX-License-Identifier: MIT
#include "private_network.h"

int main(int argc, char** argv) {
  return support::RunTests(argc, argv);
}
