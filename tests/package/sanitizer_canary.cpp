// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/socket.h>

#include <limits>

// Planted bugs. A sanitizer that sees none of them, because of the private network or of the seam,
// would pass everything else too; CTest expects each report.
namespace {

int* volatile kept = nullptr;
volatile size_t one_too_many = 17;
volatile int number = std::numeric_limits<int>::max();
int shared_number = 0;

void* Count(void*) {
  for (int i = 0; i < 1000; ++i) shared_number = shared_number + 1;
  return nullptr;
}

TEST(Planted, Leak) {
  kept = new int(1);
  kept = nullptr;
}

// By a system call that goes through the seam.
TEST(Planted, BufferOverflow) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
  const char sent[17] = "sixteen letters.";
  char received[16];
  send(ends[0], sent, sizeof(sent), 0);
  recvfrom(ends[1], received, one_too_many, 0, nullptr, nullptr);
}

TEST(Planted, SignedOverflow) {
  number = number + 1;
}

TEST(Planted, Race) {
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, Count, nullptr), 0);
  Count(nullptr);
  pthread_join(thread, nullptr);
}

}  // namespace
