// SPDX-License-Identifier: MIT
// A program whose standard output nobody reads any more.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/udp.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <future>

#include "host.h"
#include "process.h"
#include "seam.h"

namespace {

std::atomic<int> heard{0}, searched{0};

void OnEvent(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event, void*) {
  if (event == libSSDP::SSDP_SEARCH_RECEIVED)
    ++searched;
  else if (device->m_uuid == "peer")
    ++heard;
}

// A search that seems to come from port 0, to which no response can be sent.
bool SearchFromPortZero() {
  const std::string query = host::Query(1);
  udphdr header = {};
  header.dest = htons(1900);
  header.len = htons(static_cast<uint16_t>(sizeof(header) + query.size()));
  std::string datagram(reinterpret_cast<const char*>(&header), sizeof(header));
  datagram += query;
  sockaddr_in group = {};
  group.sin_family = AF_INET;
  group.sin_addr.s_addr = inet_addr("239.255.255.250");
  const int handle = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_UDP);
  const ssize_t sent = sendto(handle, datagram.data(), datagram.size(), 0,
                              reinterpret_cast<const sockaddr*>(&group), sizeof(group));
  seam::real.close(handle);
  return sent == static_cast<ssize_t>(datagram.size());
}

// A full pipe is standard output from construction to destruction.
class FullPipe {
 public:
  FullPipe() : m_saved(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    EXPECT_EQ(pipe2(m_pipe, O_CLOEXEC), 0);
    fcntl(m_pipe[1], F_SETFL, O_NONBLOCK);
    while (write(m_pipe[1], "full", 4) > 0) {
    }
    fcntl(m_pipe[1], F_SETFL, 0);
    dup2(m_pipe[1], STDOUT_FILENO);
  }
  ~FullPipe() {
    Drain();
    std::fflush(stdout);
    dup2(m_saved, STDOUT_FILENO);
    for (const int fd : {m_saved, m_pipe[0], m_pipe[1]}) seam::real.close(fd);
  }
  FullPipe(const FullPipe&) = delete;
  FullPipe& operator=(const FullPipe&) = delete;

  void Drain() {
    fcntl(m_pipe[0], F_SETFL, O_NONBLOCK);
    char bytes[4096];
    while (read(m_pipe[0], bytes, sizeof(bytes)) > 0) {
    }
  }

 private:
  const int m_saved;
  int m_pipe[2];
};

TEST(FullOutput, StopsNeitherTheListenerNorTheStop) {
  constexpr int kSearches = 100;  // whose failure lines are more than a stream's buffer holds
  heard = searched = 0;
  seam::calls.rand = [] { return 0; };
  host::Peer peer;
  auto light = std::make_unique<host::Light>(false, OnEvent);
  bool sent = true, all_searched = false, all_heard = false, stopped = false;
  {
    FullPipe pipe;
    light->Start();
    for (int i = 0; i < kSearches; ++i) {
      sent = SearchFromPortZero() && sent;
      if (!support::Await([&] { return searched > i; })) break;
    }
    all_searched = searched == kSearches;
    for (int i = 0; i < 20; ++i) sent = peer.Tell(host::Alive("peer", "on")) && sent;
    all_heard = all_searched && support::Await([] { return heard == 20; });
    auto stop = std::async(std::launch::async, [&] { light->Stop(); });
    stopped = stop.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
    if (!stopped) pipe.Drain();  // lets it end
  }
  seam::Reset();
  EXPECT_TRUE(sent);
  EXPECT_TRUE(all_searched);
  EXPECT_TRUE(all_heard);
  EXPECT_TRUE(stopped);
}

}  // namespace
