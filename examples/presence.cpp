// SPDX-License-Identifier: MIT
// A lamp with a table of its own: prints which lamps come, change, leave and expire, and restarts
// the service when it is deaf. Run it as "presence UUID STATUS"; it ends with Ctrl-C.
#include <libssdp.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

using libSSDP::DeviceInfo;

static constexpr int kNotifyTimeOut = 30;   // seconds that peers remember us after a message
static constexpr int kAnnounceEvery = 10;   // seconds: more often, so that one may be lost
static constexpr size_t kMostPeers = 1000;  // any sender can announce any number of UUIDs

struct Presence {
  std::string own_uuid;
  std::atomic<bool> heard_ourselves{false};  // since the last check
  std::mutex mutex;  // guards both below: the callback runs on the library's threads
  std::map<std::string, DeviceInfo> peers;
  std::vector<std::string> news;  // not printed yet
};

// Texts from the network are any bytes: replaces those that a terminal might obey.
static std::string Clean(std::string text) {
  for (char& byte : text) byte = byte < ' ' || byte > '~' ? '?' : byte;
  return text;
}

static void AddNews(Presence& presence, const DeviceInfo& peer, const std::string& news) {
  if (presence.news.size() >= kMostPeers) return;  // nobody reads what we print
  presence.news.push_back(Clean(peer.m_uuid + ' ' + news));
}

// The library receives and announces nothing while this runs: it must not block on output.
static void OnDevice(const DeviceInfo*, DeviceInfo* device, unsigned int event, void* context) {
  if (event == libSSDP::SSDP_SEARCH_RECEIVED) return;  // has no device
  Presence& presence = *static_cast<Presence*>(context);
  const std::lock_guard<std::mutex> lock(presence.mutex);
  const auto known = presence.peers.find(device->m_uuid);
  if (event == libSSDP::SSDP_DEVICE_REMOVED) {
    if (known == presence.peers.end()) return;  // unknown devices say byebye too
    AddNews(presence, *device, "has left");
    presence.peers.erase(known);
  } else if (device->m_uuid == presence.own_uuid) {
    presence.heard_ourselves = true;
  } else if (known == presence.peers.end()) {
    if (presence.peers.size() >= kMostPeers) return;
    AddNews(presence, *device, "is here: " + device->m_address + ", " + device->m_status);
    presence.peers[device->m_uuid] = *device;
  } else {
    // A new status comes with event 0, as every repeated announcement does.
    if (known->second.m_address != device->m_address)
      AddNews(presence, *device, "has moved to " + device->m_address);
    if (known->second.m_status != device->m_status)
      AddNews(presence, *device, "is " + device->m_status);
    known->second = *device;
  }
}

// The library drops an expired peer without an event. An expiry at the limit never passes.
static void DropExpired(Presence& presence) {
  const int64_t now = std::min<int64_t>(std::time(nullptr), INT32_MAX);
  for (auto peer = presence.peers.begin(); peer != presence.peers.end();) {
    const auto entry = peer++;
    if (entry->second.m_expiry >= now) continue;
    AddNews(presence, entry->second, "has expired");
    presence.peers.erase(entry);
  }
}

static void PrintNews(Presence& presence) {
  std::vector<std::string> news;
  {
    const std::lock_guard<std::mutex> lock(presence.mutex);
    DropExpired(presence);
    news.swap(presence.news);
  }
  for (const auto& line : news) std::puts(line.c_str());  // may block: not under the lock
  std::fflush(stdout);
}

// Without a network at CreateSSDP, or with its interface deleted since, the service hears nothing,
// not even itself, although its calls succeed. Initialize follows even if Uninitialize fails.
static void RestartIfDeaf(Presence& presence) {
  if (presence.heard_ourselves.exchange(false)) return;
  std::puts("deaf: restarting");
  libSSDP::Uninitialize();
  if (libSSDP::Initialize() == libSSDP::SSDP_SUCCESS) libSSDP::Search();
}

int main(int argc, char** argv) {
  sigset_t stop;  // blocked before the library's threads start, and waited for below
  sigemptyset(&stop);
  for (const int number : {SIGINT, SIGTERM}) sigaddset(&stop, number);
  sigprocmask(SIG_BLOCK, &stop, nullptr);
  Presence presence;
  presence.own_uuid = argc > 1 ? argv[1] : "lamp-1";
  // The library draws its response delays from rand: lamps with one seed answer all at once.
  std::srand(static_cast<unsigned>(std::hash<std::string>()(presence.own_uuid)));
  if (libSSDP::CreateSSDP(true) != libSSDP::SSDP_SUCCESS) return 1;
  libSSDP::SetDomainName("example-org");
  libSSDP::SetDeviceType("Lamp");
  libSSDP::SetVersionInfo("1");
  libSSDP::SetUUID(presence.own_uuid);
  libSSDP::SetStatus(argc > 2 ? argv[2] : "on");
  libSSDP::SetNotifyTimeOut(kNotifyTimeOut);
  libSSDP::SetMSearchTimeOut(1);
  libSSDP::SetCallback(OnDevice, &presence);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) std::_Exit(1);
  libSSDP::Search();  // those that are here already
  const timespec second = {1, 0};
  for (int seconds = 1; sigtimedwait(&stop, nullptr, &second) < 0; ++seconds) {
    PrintNews(presence);
    if (seconds % kAnnounceEvery != 0) continue;
    RestartIfDeaf(presence);
    libSSDP::Announce();
  }
  if (libSSDP::Uninitialize() != libSSDP::SSDP_SUCCESS) std::_Exit(1);  // its threads still run
  libSSDP::DestroySSDP();
}
