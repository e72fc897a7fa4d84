// SPDX-License-Identifier: MIT
#include <cerrno>
#include <limits>

#include "targets.h"
#include "trial.h"

namespace fuzz {

namespace {

const char* const kUuids[] = {"a", "b", "own", "", "0f8fad5b-d9cb-469f-a165-70867728950e"};
const char* const kAges[] = {"60", "0", "-1", "1800", "2147483647", "99999999999999999999", "x"};
const char* const kStatuses[] = {"on", "off", "", "uuid:c", "ssdp:alive", "NTS: ssdp:byebye"};
const char* const kTargets[] = {"urn:schemas-example-org:device:Light:1",
                                "urn:schemas-example-org:device:Light:10",
                                "urn:schemas-example-org:device:Fan:1"};
const char* const kMx[] = {"3", "1", "0", "-2", "2147483647", "9223372036854775808", ""};

template <typename List>
const char* Pick(const List& list, unsigned choice) {
  return list[choice % std::size(list)];
}

// The life of one service, in steps. Each step is a byte that says what and bytes that say how.
class Life {
 public:
  explicit Life(const std::string& input) : m_reader(input) {}

  void Live() {
    while (!m_reader.AtEnd()) {
      m_last_announce = 0;
      m_reads = m_trial.world.ClockReads();
      m_trial.world.Serve([this] { return PassEnds(); });
      if (m_restarts) Restart();
      m_restarts = false;
    }
    m_trial.chance.sends_fail = false;
  }

 private:
  // The service pauses after each of its passes: judges the pass, then lives on to the next.
  bool PassEnds() {
    const unsigned reads = m_trial.world.ClockReads() - m_reads;
    bool announces = m_trial.model.IsAnnounceDue(m_last_announce);
    if (m_trial.SomethingFailed()) announces = reads > 1;  // without memory it may not try
    if (announces) m_last_announce = m_trial.chance.now;
    m_trial.model.Pass(announces);
    m_trial.Judge();
    while (!m_reader.AtEnd() && Step()) continue;
    m_reads = m_trial.world.ClockReads();
    return !m_reader.AtEnd() && !m_restarts;
  }

  // One step; false when the service's own turn has come.
  bool Step() {
    const unsigned step = m_reader.Byte() % 20;
    m_restarts = step == 1;
    if (step < 2) return false;
    if (step < 8) Change(step);
    if (step >= 8 && step < 16) Receive(step);
    if (step >= 16) HostActs(step);
    return true;
  }

  void Change(unsigned step) {
    Chance& chance = m_trial.chance;
    if (step == 2) chance.now += m_reader.Byte();
    if (step == 3) chance.now -= m_reader.Byte();
    if (step == 4) chance.now += m_reader.Int();
    chance.now = OnTheClock(chance.now);
    if (step == 5) chance.random = m_reader.Int() & std::numeric_limits<int>::max();
    if (step == 6) chance.host_throws = m_reader.Byte() % 4 == 0;
    if (step == 7) SetSomething();
  }

  void Receive(unsigned step) {
    const auto raw = [this] { return From(m_reader.Bytes(m_reader.Byte())); };
    if (step == 8) m_trial.Unicast(Several(raw));
    if (step == 9) m_trial.Group(Several(raw));
    if (step == 10) m_trial.Group(Several([this] { return Search(); }));
    if (step == 11) m_trial.Unicast(Several([this] { return Reply(); }));
    if (step == 12) m_trial.Group({{"", 0, 0, ENOBUFS}, From(""), Alive()});
    if (step == 13) m_trial.Group(Several([this] { return Byebye(); }));
    if (step > 13) m_trial.Group(Several([this] { return Alive(); }));
  }

  void HostActs(unsigned step) {
    if (step == 16) m_trial.chance.host_calls = m_reader.Byte() % 2 == 0;
    if (step == 17) m_trial.chance.sends_fail = m_reader.Byte() % 2 == 0;
    if (step == 18) Call(libSSDP::Announce, m_trial.model.Announce("ssdp:alive"));
    if (step == 19) Call(libSSDP::Search, m_trial.model.Search());
  }

  void Call(libSSDP::SSDP_STATUS (*call)(), bool sends) {
    {
      const memory::Counted counted;
      const bool succeeds = call() == libSSDP::SSDP_SUCCESS;
      Require(succeeds == sends || m_trial.SomethingFailed(), "a call that fails sends nothing");
    }
    m_trial.Judge();
  }

  template <typename Make>
  Trial::Arrivals Several(Make make) {
    Trial::Arrivals arrivals;
    for (unsigned count = m_reader.Byte() % 4 + 1; count > 0; --count) arrivals.push_back(make());
    return arrivals;
  }

  Arrival From(const std::string& bytes) {
    const uint8_t who = m_reader.Byte();
    return {bytes, 0x0A000000U + who % 4U, static_cast<uint16_t>(who * 257)};
  }

  Arrival Alive() { return Notification("ssdp:alive"); }
  Arrival Byebye() { return Notification("ssdp:byebye"); }

  Arrival Notification(const std::string& nts) {
    const std::string target = Pick(kTargets, m_reader.Byte() / 64U);
    return From("NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=" +
                Age() + "\r\nNTS: " + nts + "\r\nNT: " + target + "\r\nUSN: uuid:" + Uuid() +
                "::" + target + "\r\nStatus: " + Status() + "\r\n\r\n");
  }

  Arrival Reply() {
    const std::string target = Pick(kTargets, m_reader.Byte() / 64U);
    return From("HTTP/1.1 200 OK\r\nCache-Control: max-age=" + Age() + "\r\nST: " + target +
                "\r\nUSN: uuid:" + Uuid() + "::" + target + "\r\nStatus: " + Status() + "\r\n\r\n");
  }

  Arrival Search() {
    return From(std::string("M-SEARCH * HTTP/1.1\r\nMX: ") + Pick(kMx, m_reader.Byte()) +
                "\r\nST: " + Pick(kTargets, m_reader.Byte() / 64U) + "\r\n\r\n");
  }

  std::string Age() { return Pick(kAges, m_reader.Byte()); }
  std::string Uuid() { return Pick(kUuids, m_reader.Byte()); }

  // Now and then so long that the datagram is cut, somewhere.
  std::string Status() {
    const uint8_t choice = m_reader.Byte();
    if (choice >= 224)
      return std::string(size_t{m_reader.Byte()} * 4, 's');  // NOLINT: no list of two characters
    return Pick(kStatuses, choice);
  }

  void SetSomething() {
    const uint8_t what = m_reader.Byte();
    struct Settings& settings = m_trial.model.settings;
    if (what % 3 == 0) settings.notify_timeout = what / 3 - 5;
    if (what % 3 == 1) settings.status = Pick(kStatuses, what / 3U);
    if (what % 3 == 2) settings.uuid = Pick(kUuids, what / 3U);
    Set(settings);
  }

  void Restart() {
    m_trial.chance.sends_fail = false;  // or there would be no stop
    m_trial.world.Uninitialize();
    m_trial.model.Announce("ssdp:byebye");
    m_trial.model.table.clear();
    m_trial.Judge();
    m_trial.world.Initialize();
    m_trial.model.Initialize();
    m_trial.Judge();
  }

  Trial m_trial;
  Reader m_reader;
  bool m_restarts = false;
  int64_t m_last_announce = 0;
  unsigned m_reads = 0;
};

}  // namespace

void Service(const std::string& input) {
  Life(input).Live();
}

}  // namespace fuzz
