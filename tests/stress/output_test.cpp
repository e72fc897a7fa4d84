// SPDX-License-Identifier: MIT
// A program whose standard output nobody reads any more.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <future>

#include "application.h"
#include "messages.h"
#include "peer.h"
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
  support::Peer peer;
  auto application = std::make_unique<support::Application>(false, OnEvent);
  bool sent = true, all_searched = false, all_heard = false, stopped = false;
  {
    FullPipe pipe;
    application->Start();
    for (int i = 0; i < kSearches; ++i) {
      sent = support::SendFromPortZero(support::MSearch()) && sent;
      if (!support::Await([&] { return searched > i; })) break;
    }
    all_searched = searched == kSearches;
    for (int i = 0; i < 20; ++i) sent = peer.Send(support::Alive("peer", "on")) && sent;
    all_heard = all_searched && support::Await([] { return heard == 20; });
    auto stop = std::async(std::launch::async, [&] { application->Stop(); });
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
