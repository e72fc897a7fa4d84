// SPDX-License-Identifier: MIT
#include "process.h"

#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <vector>

#include "memory.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZED true
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZED true
#endif
#endif
#ifndef SANITIZED
#define SANITIZED false
#endif

namespace support {

namespace {

std::vector<std::string> Entries(const char* directory) {
  std::vector<std::string> names;
  DIR* handle = opendir(directory);
  if (handle == nullptr) return names;
  while (const dirent* entry = readdir(handle))
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  closedir(handle);
  return names;
}

}  // namespace

bool Await(const std::function<bool()>& condition) {
  const double deadline = Now() + 60;
  while (!condition()) {
    if (Now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

int Scaled(const char* what, int full) {
  const char* given = std::getenv("LIBSSDP_LIFECYCLE_DIVISOR");
  const int divisor = given != nullptr
                          ? std::max(1, static_cast<int>(std::strtol(given, nullptr, 10)))
                      : SANITIZED ? 20
                                  : 1;
  const int count = std::max(1, full / divisor);
  std::printf("%s: %d\n", what, count);
  return count;
}

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

size_t Threads() {
  return Entries("/proc/self/task").size();
}

size_t Descriptors() {
  return Entries("/proc/self/fd").size();
}

std::set<std::string> Sockets() {
  std::set<std::string> sockets;
  for (const std::string& name : Entries("/proc/self/fd")) {
    char target[64];
    const ssize_t length = readlink(("/proc/self/fd/" + name).c_str(), target, sizeof(target));
    const std::string text(target, length > 0 ? static_cast<size_t>(length) : 0);
    if (text.rfind("socket:", 0) == 0) sockets.insert(text);
  }
  return sockets;
}

size_t MallocBytes() {
  return SANITIZED ? 0 : mallinfo2().uordblks;
}

std::string ThreadName(const char* thread) {
  std::ifstream file("/proc/self/task/" + std::string(thread) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

Held HeldNow() {
  return {Threads(), Descriptors(), memory::LiveBlocks(), memory::LiveBytes()};
}

std::ostream& operator<<(std::ostream& out, const Held& held) {
  return out << held.threads << " threads, " << held.descriptors << " descriptors, " << held.blocks
             << " blocks, " << held.bytes << " bytes";
}

Held HeldOnceDownTo(size_t threads) {
  Await([&] { return Threads() <= threads; });
  return HeldNow();
}

}  // namespace support
