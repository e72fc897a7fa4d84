// SPDX-License-Identifier: MIT
// peer NUMBER seeded|unseeded: one application of the library among many, controlled by lines on
// its standard input:
//
//     start TIMEOUT   starts the service, which announces by itself when TIMEOUT is above 0
//     search MX       sends one search
//
// It prints the lengths of an M-SEARCH, a NOTIFY and a search response, then "started", and at the
// end of its input "event SECONDS EVENT PEER THREAD" lines.
#include <sys/prctl.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>

#include "bench.h"

namespace {

char* text = nullptr;
size_t size = 0;
FILE* events = open_memstream(&text, &size);

void OnEvent(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event, void*) {
  char thread[16];
  prctl(PR_GET_NAME, thread);
  const std::chrono::duration<double> now = std::chrono::steady_clock::now().time_since_epoch();
  std::fprintf(events, "event %.6f %u %s %s\n", now.count(), event,
               device != nullptr ? device->m_uuid.c_str() : "-", thread);
}

void Start(int number, int timeout) {
  bench::Configure(timeout > 0);
  libSSDP::SetUUID(bench::Uuid(number));
  if (timeout > 0) libSSDP::SetNotifyTimeOut(timeout);
  libSSDP::SetCallback(OnEvent, nullptr);
  libSSDP::Initialize();
  std::puts("started");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (std::string(argv[2]) == "seeded") std::srand(std::random_device()());
  std::printf("%zu %zu %zu\n", bench::MSearch(bench::kTarget).size(),
              bench::Notify(bench::kTarget, bench::Uuid(0)).size(),
              bench::SearchResponse(bench::kTarget, bench::Uuid(0)).size());
  std::string command;
  for (int argument = 0; std::cin >> command >> argument;) {
    if (command == "start") Start(std::atoi(argv[1]), argument);
    if (command == "search") {
      libSSDP::SetMSearchTimeOut(argument);
      libSSDP::Search();
    }
  }
  if (libSSDP::Uninitialize() != libSSDP::SSDP_SUCCESS) return 1;
  std::fclose(events);
  std::fputs(text, stdout);
  return libSSDP::DestroySSDP();
}
