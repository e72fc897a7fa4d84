// SPDX-License-Identifier: MIT
// Datagrams whose size or sender only a real socket can show, on the loopback of the private
// network. Everything is waited for with a deadline that nothing but a fault can reach.

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "catalogue.h"
#include "output.h"
#include "peer.h"

namespace hostile {
namespace {

using support::Peer;

constexpr auto kDeadline = std::chrono::seconds(60);

// The running service, and the events that it reports.
class RealSocket : public testing::Test {
 protected:
  RealSocket() {
    libSSDP::CreateSSDP(false);
    fuzz::Set({});
    libSSDP::SetCallback(&RealSocket::OnEvent, this);
    EXPECT_EQ(libSSDP::Initialize(), libSSDP::SSDP_SUCCESS);
  }
  ~RealSocket() override {
    EXPECT_EQ(libSSDP::Uninitialize(), libSSDP::SSDP_SUCCESS);
    libSSDP::DestroySSDP();
  }

  // The next event, as "EVENT UUID STATUS".
  std::string Next() {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_came.wait_for(lock, kDeadline, [this] { return !m_events.empty(); })) return "no event";
    const std::string event = m_events.front();
    m_events.erase(m_events.begin());
    return event;
  }

 private:
  static void OnEvent(const DeviceInfo*, DeviceInfo* device, unsigned event, void* context) {
    auto* wire = static_cast<RealSocket*>(context);
    const std::lock_guard<std::mutex> lock(wire->m_mutex);
    wire->m_events.push_back(std::to_string(event) +
                             (device ? " " + device->m_uuid + " " + device->m_status : ""));
    wire->m_came.notify_one();
  }

  std::mutex m_mutex;
  std::condition_variable m_came;
  std::vector<std::string> m_events;
};

TEST_F(RealSocket, TheLargestDatagramIsSeenUpToByte512) {
  const Peer sender;
  EXPECT_TRUE(sender.Send(With(kAlive, "Status: on", "Status: " + std::string(65507 - 205, 's'))));
  EXPECT_EQ(Next(), "1 1234 " + std::string(512 - 201 - 4, 's'));
}

TEST_F(RealSocket, EmptyAndTinyDatagramsAreNothing) {
  const Peer sender;
  for (const char* bytes : {"", "N", "", "\n"}) EXPECT_TRUE(sender.Send(bytes));
  EXPECT_TRUE(sender.Send(kAlive));
  EXPECT_EQ(Next(), "1 1234 on");
}

TEST_F(RealSocket, AShortDatagramAfterALongOneIsSeenAlone) {
  const Peer sender;
  EXPECT_TRUE(sender.Send(With(kAlive, "Status: on", "Status: " + std::string(2000, 's'))));
  EXPECT_TRUE(sender.Send(kAlive.substr(0, kAlive.find("USN: "))));
  EXPECT_TRUE(sender.Send(With(kAlive, "1234", "5678")));
  EXPECT_EQ(Next(), "1 1234 " + std::string(512 - 201 - 4, 's'));
  EXPECT_EQ(Next(), "1 5678 on");
}

TEST_F(RealSocket, ASearchFromOurOwnPortIsAnsweredAndLeadsToNothingElse) {
  Peer sender(1900);  // bound to the address, it gets what is sent there
  EXPECT_TRUE(sender.Send(With(kSearch, "MX: 3", "MX: 1")));
  EXPECT_EQ(Next(), "8");
  EXPECT_EQ(sender.Receive().substr(0, 17), "HTTP/1.1 200 OK\r\n");
  EXPECT_TRUE(sender.Send(kAlive));
  EXPECT_EQ(Next(), "1 1234 on");
}

// The system won't send to port 0: the answer fails, and that is reported.
TEST_F(RealSocket, ASearchFromPortZeroCantBeAnswered) {
  const support::Output output;
  EXPECT_TRUE(support::SendFromPortZero(With(kSearch, "MX: 3", "MX: 1")));
  EXPECT_EQ(Next(), "8");
  EXPECT_TRUE(support::SendFromPortZero(kAlive));
  EXPECT_EQ(Next(), "1 1234 on");
  EXPECT_EQ(output.Text(),
            "[#] ProcessMSearch: bytes == rconfig.m_response_header.length() failed. \n"
            " source/ssdplistener.cpp\n");
}

}  // namespace
}  // namespace hostile
