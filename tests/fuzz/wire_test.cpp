// SPDX-License-Identifier: MIT
// Datagrams whose size or sender only a real socket can show, on the loopback of the private
// network. Everything is waited for with a deadline that nothing but a fault can reach.
#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "catalogue.h"
#include "output.h"

namespace hostile {
namespace {

constexpr auto kDeadline = std::chrono::seconds(60);

sockaddr_in Address(const char* ip, uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, ip, &address.sin_addr);
  return address;
}

// A UDP socket on 10.77.0.1, or one that writes its own UDP headers.
class Sender {
 public:
  explicit Sender(uint16_t port) : m_fd(socket(AF_INET, SOCK_DGRAM, 0)) {
    const int reuse = 1;
    setsockopt(m_fd, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
    const sockaddr_in own = Address("10.77.0.1", port);
    EXPECT_EQ(bind(m_fd, reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
    const timeval deadline = {60, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof(deadline));
  }
  Sender() : m_fd(socket(AF_INET, SOCK_RAW, IPPROTO_UDP)) {}
  ~Sender() { close(m_fd); }
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  void ToGroup(const std::string& bytes) const {
    const sockaddr_in group = Address("239.255.255.250", 1900);
    ASSERT_EQ(sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&group),
                     sizeof(group)),
              static_cast<ssize_t>(bytes.size()));
  }

  std::string Receive() const {
    char bytes[2048];
    const ssize_t size = recv(m_fd, bytes, sizeof(bytes), 0);
    return size < 0 ? "nothing came" : std::string(bytes, static_cast<size_t>(size));
  }

 private:
  const int m_fd;
};

// `bytes` behind a UDP header from port 0. Without a checksum, which IPv4 lets one leave out.
std::string FromPortZero(const std::string& bytes) {
  udphdr header = {};
  header.dest = htons(1900);
  header.len = htons(static_cast<uint16_t>(sizeof(header) + bytes.size()));
  return std::string(reinterpret_cast<const char*>(&header), sizeof(header)) + bytes;
}

// The running service, and the events that it reports.
class Wire : public testing::Test {
 protected:
  Wire() {
    libSSDP::CreateSSDP(false);
    fuzz::Set({});
    libSSDP::SetCallback(&Wire::OnEvent, this);
    EXPECT_EQ(libSSDP::Initialize(), libSSDP::SSDP_SUCCESS);
  }
  ~Wire() override {
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
    auto* wire = static_cast<Wire*>(context);
    const std::lock_guard<std::mutex> lock(wire->m_mutex);
    wire->m_events.push_back(std::to_string(event) +
                             (device ? " " + device->m_uuid + " " + device->m_status : ""));
    wire->m_came.notify_one();
  }

  std::mutex m_mutex;
  std::condition_variable m_came;
  std::vector<std::string> m_events;
};

TEST_F(Wire, TheLargestDatagramIsSeenUpToByte512) {
  const Sender sender(0);
  sender.ToGroup(With(kAlive, "Status: on", "Status: " + std::string(65507 - 205, 's')));
  EXPECT_EQ(Next(), "1 1234 " + std::string(512 - 201 - 4, 's'));
}

TEST_F(Wire, EmptyAndTinyDatagramsAreNothing) {
  const Sender sender(0);
  for (const char* bytes : {"", "N", "", "\n"}) sender.ToGroup(bytes);
  sender.ToGroup(kAlive);
  EXPECT_EQ(Next(), "1 1234 on");
}

TEST_F(Wire, AShortDatagramAfterALongOneIsSeenAlone) {
  const Sender sender(0);
  sender.ToGroup(With(kAlive, "Status: on", "Status: " + std::string(2000, 's')));
  sender.ToGroup(kAlive.substr(0, kAlive.find("USN: ")));
  sender.ToGroup(With(kAlive, "1234", "5678"));
  EXPECT_EQ(Next(), "1 1234 " + std::string(512 - 201 - 4, 's'));
  EXPECT_EQ(Next(), "1 5678 on");
}

TEST_F(Wire, ASearchFromOurOwnPortIsAnsweredAndLeadsToNothingElse) {
  const Sender sender(1900);  // bound to the address, it gets what is sent there
  sender.ToGroup(With(kSearch, "MX: 3", "MX: 1"));
  EXPECT_EQ(Next(), "8");
  EXPECT_EQ(sender.Receive().substr(0, 17), "HTTP/1.1 200 OK\r\n");
  sender.ToGroup(kAlive);
  EXPECT_EQ(Next(), "1 1234 on");
}

// The system won't send to port 0: the answer fails, and that is reported.
TEST_F(Wire, ASearchFromPortZeroCantBeAnswered) {
  const Sender raw;
  const support::Output output;
  raw.ToGroup(FromPortZero(With(kSearch, "MX: 3", "MX: 1")));
  EXPECT_EQ(Next(), "8");
  raw.ToGroup(FromPortZero(kAlive));
  EXPECT_EQ(Next(), "1 1234 on");
  EXPECT_EQ(output.Text(),
            "[#] ProcessMSearch: bytes == rconfig.m_response_header.length() failed. \n"
            " source/ssdplistener.cpp\n");
}

}  // namespace
}  // namespace hostile
