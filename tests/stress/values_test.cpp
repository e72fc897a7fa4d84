// SPDX-License-Identifier: MIT
// Settings that change while messages are composed: each message holds whole values, of one moment
// or the next, and not a byte of anything else.
#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "application.h"
#include "process.h"
#include "seam.h"

namespace {

const std::string kA(70, 'a');
const std::string kB(40, 'b');

// Every message that may be seen: each value from either of the two settings.
std::vector<std::string> AllOf(const std::string& pattern) {
  std::vector<std::string> all;
  for (int bits = 0; bits < 8; ++bits) {
    std::string text = pattern;
    const auto put = [&](const char* place, const std::string& value) {
      const size_t at = text.find(place);
      if (at != std::string::npos) text.replace(at, std::strlen(place), value);
    };
    put("<age>", bits & 1 ? "1111111111" : "222");
    put("<status>", bits & 2 ? kA : kB);
    put("<uuid>", bits & 4 ? kA : kB);
    all.push_back(text);
  }
  return all;
}

const char kAlive[] =
    "NOTIFY * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "Cache-Control: max-age=<age>\r\n"
    "NTS: ssdp:alive\r\n"
    "NT: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:<uuid>::urn:schemas-example-org:device:Light:1\r\n"
    "Status: <status>\r\n"
    "\r\n";

const char kSearch[] =
    "M-SEARCH * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "MX: <age>\r\n"
    "ST: urn:schemas-example-org:device:Light:1\r\n"
    "USER-AGENT: \r\n"
    "\r\n";

const char kAnswer[] =
    "HTTP/1.1 200 OK\r\n"
    "Cache-Control: max-age=<age>\r\n"
    "DATE: Sun Nov 15 14:22:59 2026\n"
    "\r"
    "EXT: \r\n"
    "SERVER: \r\n"
    "ST: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:<uuid>::urn:schemas-example-org:device:Light:1\r\n"
    "Status: <status>\r\n"
    "\r\n";

// All messages on the way out, counted by their text.
class Wire {
 public:
  Wire() {
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_count[std::string(static_cast<const char*>(data), size)];
      }
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
  }
  ~Wire() { seam::Reset(); }

  std::map<std::string, int> Count() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
  }

 private:
  std::mutex m_mutex;
  std::map<std::string, int> m_count;
};

void SetTo(bool first) {
  EXPECT_EQ(libSSDP::SetUUID(first ? kA : kB), 0);
  EXPECT_EQ(libSSDP::SetStatus(first ? kA : kB), 0);
  EXPECT_EQ(libSSDP::SetNotifyTimeOut(first ? 1111111111 : 222), 0);
  EXPECT_EQ(libSSDP::SetMSearchTimeOut(first ? 1111111111 : 222), 0);
}

// Whether messages of each kind were sent with more than one set of values.
bool AllChanged(const std::map<std::string, int>& count) {
  for (const char* pattern : {kAlive, kSearch, kAnswer}) {
    size_t variants = 0;
    for (const std::string& allowed : AllOf(pattern)) variants += count.count(allowed);
    if (variants < 2) return false;
  }
  return true;
}

// Checks that every message in `count` is one of the allowed; says how many of each kind came.
void ExpectWhole(std::map<std::string, int> count) {
  for (const char* pattern : {kAlive, kSearch, kAnswer}) {
    int messages = 0;
    size_t variants = 0;
    for (const std::string& allowed : AllOf(pattern)) {
      const auto found = count.find(allowed);
      if (found == count.end()) continue;
      messages += found->second;
      ++variants;
      count.erase(found);
    }
    std::cout << messages << " messages in " << variants << " variants of "
              << std::string(pattern, std::strcspn(pattern, "\r")) << '\n';
    EXPECT_GT(variants, 1u) << "nothing changed meanwhile";
  }
  for (const auto& [text, times] : count) ADD_FAILURE() << times << " times a torn\n" << text;
}

TEST(ChangingValues, AreNeverTornOnTheWire) {
  const int turns = support::Scaled("messages of each kind", 20000);
  const auto ignore = [](const libSSDP::DeviceInfo*, libSSDP::DeviceInfo*, unsigned int, void*) {};
  seam::calls.rand = [] { return 0; };
  seam::calls.time = [](time_t*) { return time_t{0}; };
  seam::calls.ctime_r = [](const time_t*, char* text) {
    return std::strcpy(text, "Sun Nov 15 14:22:59 2026\n");
  };
  Wire wire;
  support::Application application(false, ignore);
  SetTo(true);
  application.Start();

  std::atomic<bool> over{false};
  std::vector<std::thread> setters;
  for (int t = 0; t < 2; ++t)
    setters.emplace_back([&] {
      for (int i = 0; !over; ++i) SetTo(i % 2 == 0);
    });
  std::thread announcer([&] {
    for (int i = 0; i < turns; ++i) EXPECT_EQ(libSSDP::Announce(), 0);
  });
  // A search comes back to our own listener, which answers it if its queue had room.
  for (int i = 0; i < turns; ++i) {
    EXPECT_EQ(libSSDP::Search(), 0);
    if (i % 8 == 0) std::this_thread::yield();
  }
  announcer.join();
  // On a busy machine all of these may have left before a setter ran even once: send more until
  // each kind has been seen to change.
  EXPECT_TRUE(support::Await([&] {
    libSSDP::Announce();
    libSSDP::Search();
    const std::map<std::string, int> count = wire.Count();
    int answers = 0;
    for (const auto& [text, times] : count)
      if (text.rfind("HTTP", 0) == 0) answers += times;
    return answers > turns / 20 && AllChanged(count);
  }));
  over = true;
  for (std::thread& setter : setters) setter.join();
  std::map<std::string, int> count = wire.Count();
  application.Stop();
  ExpectWhole(std::move(count));
}

}  // namespace
