// SPDX-License-Identifier: MIT
#include "ssdphandler.h"
#include "address.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "golden.h"
#include "output.h"
#include "scripted_system.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::Set;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class OpenHandler : public SSDPHandler {
 public:
  using SSDPBase::m_group_addr;
  using SSDPBase::m_handle;
  using SSDPBase::m_local_addr;
  using SSDPBase::m_local_ip;
  using SSDPHandler::SSDPHandler;
};

class Handler : public testing::Test {
 protected:
  // What one announcement puts on the wire, or the reason why there is none.
  std::string Announced(const char* nts = "ssdp:alive") {
    m_system.sent.clear();
    EXPECT_EQ(m_handler.AnnounceNetwork(nts, nullptr), 0);
    return m_system.sent.size() == 1 ? m_system.sent[0].data : "not one datagram";
  }

  std::string Searched() {
    m_system.sent.clear();
    EXPECT_EQ(m_handler.SearchNetwork(nullptr), 0);
    return m_system.sent.size() == 1 ? m_system.sent[0].data : "not one datagram";
  }

  // What a send prints that fails because `unreadable` can't be read.
  std::string FailureOf(SSDP_STATUS (*send)(SSDPHandler&), const std::string& unreadable) {
    seam::failures.get_config = [&](const std::string& name) { return name == unreadable; };
    SSDP_STATUS status = 0;
    const std::string output = OutputOf([&] { status = send(m_handler); });
    seam::failures = {};
    EXPECT_EQ(status, 1);
    EXPECT_THAT(m_system.sent, IsEmpty());
    return output;
  }

  static SSDP_STATUS Announce(SSDPHandler& handler) {
    return handler.AnnounceNetwork("ssdp:alive", nullptr);
  }
  static SSDP_STATUS Search(SSDPHandler& handler) { return handler.SearchNetwork(nullptr); }

  support::ScriptedSystem m_system;
  support::Engine m_engine;
  support::HookedStore m_store;
  OpenHandler m_handler{&support::Engine::Callback, &m_store, &m_engine};
};

TEST_F(Handler, OpensThenBindsThenChoosesTheMulticastInterface) {
  EXPECT_THAT(m_system.log, ElementsAre("socket", "fcntl", "bind", "setsockopt"));
  EXPECT_EQ(m_handler.m_handle, 1000);
}

TEST_F(Handler, BindsToAnEphemeralPortOnAllAddresses) {
  sockaddr_in bound = {};
  socklen_t size = 0;
  seam::calls.bind = [&](int, const sockaddr* address, socklen_t length) {
    std::memcpy(&bound, address, sizeof(bound));
    size = length;
    return 0;
  };
  const OpenHandler handler(&support::Engine::Callback, &m_store, nullptr);
  EXPECT_EQ(bound.sin_family, AF_INET);
  EXPECT_EQ(bound.sin_port, 0);
  EXPECT_EQ(bound.sin_addr.s_addr, 0u);
  EXPECT_EQ(size, 16u);
}

TEST_F(Handler, LeavesTheMulticastInterfaceToTheSystem) {
  int fd = 0, level = 0, option = 0;
  std::string value;
  seam::calls.setsockopt = [&](int a, int b, int c, const void* data, socklen_t length) {
    fd = a;
    level = b;
    option = c;
    value.assign(static_cast<const char*>(data), length);
    return 0;
  };
  const OpenHandler handler(&support::Engine::Callback, &m_store, nullptr);
  EXPECT_EQ(fd, handler.m_handle);
  EXPECT_EQ(level, IPPROTO_IP);
  EXPECT_EQ(option, IP_MULTICAST_IF);
  EXPECT_EQ(value, std::string(4, '\0'));
}

TEST_F(Handler, KnowsTheGroup) {
  EXPECT_EQ(m_handler.m_group_addr.sin_family, AF_INET);
  EXPECT_EQ(ntohs(m_handler.m_group_addr.sin_port), 1900);
  EXPECT_EQ(AddressText(m_handler.m_group_addr), "239.255.255.250");
  EXPECT_STREQ(m_handler.m_local_ip, "");
}

TEST_F(Handler, ReportsEverySocketStepThatFailsAndIsConstructedAllTheSame) {
  m_system.log.clear();
  seam::calls.socket = [](int, int, int) { return -1; };
  seam::calls.bind = [](int, const sockaddr*, socklen_t) { return -1; };
  seam::calls.setsockopt = [](int, int, int, const void*, socklen_t) { return -1; };
  const std::string output =
      OutputOf([&] { OpenHandler(&support::Engine::Callback, &m_store, nullptr); });
  EXPECT_EQ(output,
            "[#] SSDPHandler: (m_handle >= 0) failed. (error creating socket) \n"
            " source/ssdphandler.cpp\n"
            "[#] SSDPHandler: (bind(m_handle, (struct sockaddr * ) &m_local_addr, "
            "sizeof(m_local_addr)) == 0) failed. (error binding socket) \n"
            " source/ssdphandler.cpp\n"
            "[#] SSDPHandler: (setsockopt(m_handle, IPPROTO_IP, IP_MULTICAST_IF, &localInterface, "
            "sizeof(localInterface)) == 0) failed. (Unable to set IP_MULTICAST_IF) \n"
            " source/ssdphandler.cpp\n");
}

TEST_F(Handler, ClosesNoSocketWhenDestroyed) {
  m_system.log.clear();
  { const OpenHandler handler(&support::Engine::Callback, &m_store, nullptr); }
  EXPECT_THAT(m_system.log, ElementsAre("socket", "fcntl", "bind", "setsockopt"));
}

TEST_F(Handler, LooksAtTheInterfacesThenStartsItsThread) {
  sockaddr_in address = support::Address("10.1.2.3", 0);
  ifaddrs entry = {};
  entry.ifa_name = const_cast<char*>("eth0");
  entry.ifa_addr = reinterpret_cast<sockaddr*>(&address);
  ifaddrs* freed = nullptr;
  seam::calls.getifaddrs = [&](ifaddrs** list) {
    m_system.log.push_back("getifaddrs");
    *list = &entry;
    return 0;
  };
  seam::calls.freeifaddrs = [&](ifaddrs* list) {
    m_system.log.push_back("freeifaddrs");
    freed = list;
  };
  Set(m_store, &NetworkInterfaceConfig::m_network_interface, std::string("eth0"));
  m_system.log.clear();
  m_system.LogSettings();
  EXPECT_EQ(m_handler.Init(), 0);
  EXPECT_THAT(m_system.log, ElementsAre("getifaddrs", "get ssdp_config_network_interface",
                                        "freeifaddrs", "pthread_create"));
  EXPECT_EQ(freed, &entry);
  EXPECT_STREQ(m_handler.m_local_ip, "10.1.2.3");
}

TEST_F(Handler, StartsWithoutTheConfiguredInterface) {
  Set(m_store, &NetworkInterfaceConfig::m_network_interface, std::string("eth9"));
  EXPECT_EQ(m_handler.Init(), 0);
  EXPECT_TRUE(m_handler.IsStarted());
  EXPECT_STREQ(m_handler.m_local_ip, "");
}

TEST_F(Handler, StartsWithoutAListOfInterfaces) {
  seam::calls.getifaddrs = [](ifaddrs**) { return -1; };
  SSDP_STATUS status = 1;
  EXPECT_EQ(OutputOf([&] { status = m_handler.Init(); }), "");
  EXPECT_EQ(status, 0);
}

TEST_F(Handler, StartsWithoutTheInterfaceSetting) {
  seam::failures.get_config = [](const std::string&) { return true; };
  SSDP_STATUS status = 1;
  EXPECT_EQ(OutputOf([&] { status = m_handler.Init(); }),
            "[#] Init: m_ssdpstore->GetConfig(SSDP_CONFIG_NETWORK_INTERFACE, config) == "
            "SSDP_SUCCESS failed. (GetConfig failed) \n source/ssdphandler.cpp\n");
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(m_handler.IsStarted());
}

TEST_F(Handler, ReturnsThatItsThreadCannotBeStarted) {
  seam::calls.pthread_create = [](auto...) { return EAGAIN; };
  SSDP_STATUS status = 0;
  OutputOf([&] { status = m_handler.Init(); });
  EXPECT_EQ(status, 1);
}

TEST_F(Handler, SendsTheGoldenMessagesOfALamp) {
  support::SetLamp(m_store);
  m_store.Init();
  EXPECT_EQ(Announced("ssdp:alive"), golden::kLampAlive);
  EXPECT_EQ(Announced("ssdp:byebye"), golden::kLampByebye);
  EXPECT_EQ(Searched(), golden::kLampSearch);
}

TEST_F(Handler, SendsTheGoldenMessagesOfAPump) {
  support::SetPump(m_store);
  m_store.Init();
  EXPECT_EQ(Announced("ssdp:alive"), golden::kPumpAlive);
  EXPECT_EQ(Announced("ssdp:byebye"), golden::kPumpByebye);
  EXPECT_EQ(Searched(), golden::kPumpSearch);
}

TEST_F(Handler, SendsTheGoldenMessagesOfNothing) {
  m_store.Init();
  EXPECT_EQ(Announced("ssdp:alive"), golden::kBlankAlive);
  EXPECT_EQ(Announced("ssdp:byebye"), golden::kBlankByebye);
  EXPECT_EQ(Searched(), golden::kBlankSearch);
}

TEST_F(Handler, SendsOneDatagramToTheGroup) {
  m_store.Init();
  m_system.log.clear();
  Announced();
  EXPECT_THAT(m_system.log, ElementsAre("sendto"));
  EXPECT_EQ(m_system.sent[0].socket, 1000);
  EXPECT_EQ(m_system.sent[0].address, "239.255.255.250");
  EXPECT_EQ(m_system.sent[0].port, 1900);
  EXPECT_EQ(m_system.sent[0].flags, 0);
  EXPECT_EQ(m_system.sent[0].address_length, 16u);
  m_system.log.clear();
  Searched();
  EXPECT_THAT(m_system.log, ElementsAre("sendto"));
  EXPECT_EQ(m_system.sent[0].socket, 1000);
  EXPECT_EQ(m_system.sent[0].address, "239.255.255.250");
  EXPECT_EQ(m_system.sent[0].port, 1900);
  EXPECT_EQ(m_system.sent[0].flags, 0);
  EXPECT_EQ(m_system.sent[0].address_length, 16u);
}

TEST_F(Handler, ReadsTheSettingsOfAnAnnouncementAtEverySend) {
  support::SetLamp(m_store);
  m_store.Init();
  Announced();
  Set(m_store, &NotifyTimeoutConfig::m_notify_timeout, -5);
  Set(m_store, &DeviceStatusConfig::m_status, std::string("busy"));
  Set(m_store, &DeviceUUIDConfig::m_uuid, std::string("5678"));
  EXPECT_EQ(Announced(),
            "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=-5\r\n"
            "NTS: ssdp:alive\r\nNT: urn:schemas-example-org:device:Light:1\r\n"
            "USN: uuid:5678::urn:schemas-example-org:device:Light:1\r\nStatus: busy\r\n\r\n");
  m_system.log.clear();
  m_system.LogSettings();
  Announced();
  EXPECT_THAT(m_system.log,
              ElementsAre("get ssdp_config_notify_header", "get ssdp_config_notify_timeout",
                          "get ssdp_config_status", "get ssdp_config_uuid", "sendto"));
}

TEST_F(Handler, ReadsTheSettingsOfASearchAtEverySend) {
  m_store.Init();
  Searched();
  Set(m_store, &MSearchTimeoutConfig::m_msearch_timeout, 7);
  m_system.log.clear();
  m_system.LogSettings();
  EXPECT_EQ(Searched(),
            "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
            "MX: 7\r\nST: urn::device::\r\nUSER-AGENT: \r\n\r\n");
  EXPECT_THAT(m_system.log, ElementsAre("get ssdp_config_msearch_header",
                                        "get ssdp_config_msearch_timeout", "sendto"));
}

TEST_F(Handler, NeverChangesTheTemplates) {
  support::SetLamp(m_store);
  m_store.Init();
  const std::string first = Announced(), search = Searched();
  EXPECT_EQ(Announced(), first);
  EXPECT_EQ(Searched(), search);
}

TEST_F(Handler, WritesTimeoutsAsSignedDecimalNumbers) {
  m_store.Init();
  const std::pair<int, const char*> numbers[] = {{0, "=0\r\n"},
                                                 {-2147483647 - 1, "=-2147483648\r\n"},
                                                 {2147483647, "=2147483647\r\n"},
                                                 {1000000, "=1000000\r\n"}};
  for (const auto& [number, text] : numbers) {
    Set(m_store, &NotifyTimeoutConfig::m_notify_timeout, number);
    EXPECT_THAT(Announced(), testing::HasSubstr(text));
  }
}

// Each value is looked for from the start of what the insertions before have made of the message.
TEST_F(Handler, InsertsTheValuesInAFixedOrder) {
  m_store.Init();
  Set(m_store, &DeviceStatusConfig::m_status, std::string("NTS: Cache-Control: max-age="));
  Set(m_store, &DeviceUUIDConfig::m_uuid, std::string("Status: "));
  EXPECT_EQ(Announced("Cache-Control: max-age=Status: USN: uuid:"),
            "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=-1\r\n"
            "NTS: Cache-Control: max-age=Status: NTS: Cache-Control: max-age=USN: uuid:Status: "
            "\r\nNT: urn::device::\r\nUSN: uuid:::urn::device::\r\nStatus: \r\n\r\n");
}

TEST_F(Handler, InsertsAtTheWrappedIndexWhenATemplateLacksItsHeaders) {
  Set(m_store, &MSearchHeaderConfig::m_msearch_header, std::string("abcdef"));
  EXPECT_EQ(Searched(), "abc-1def");
  Set(m_store, &NotifyHeaderConfig::m_notify_header, std::string("0123456789abcdefghijklmnop"));
  Set(m_store, &DeviceStatusConfig::m_status, std::string("S"));
  Set(m_store, &DeviceUUIDConfig::m_uuid, std::string("U"));
  // NTS at 4, max-age at 22, Status at 7, USN at 9, one after the other.
  EXPECT_EQ(Announced("N"), "0123N45S6U789abcdefghijk-1lmnop");
}

TEST_F(Handler, ReportsAndSendsNothingWhileTheTemplatesAreEmpty) {
  SSDP_STATUS status = 0;
  EXPECT_THAT(OutputOf([&] { status = Announce(m_handler); }), StartsWith("[#] AnnounceNetwork: "));
  EXPECT_EQ(status, 1);
  status = 0;
  EXPECT_THAT(OutputOf([&] { status = Search(m_handler); }), StartsWith("[#] SearchNetwork: "));
  EXPECT_EQ(status, 1);
  EXPECT_THAT(m_system.sent, IsEmpty());
}

TEST_F(Handler, ReportsAndSendsNothingWhenATemplateIsTooShort) {
  for (size_t length : {0u, 3u, 4u, 9u, 21u}) {
    SCOPED_TRACE(length);
    Set(m_store, &NotifyHeaderConfig::m_notify_header, std::string(length, 'x'));
    SSDP_STATUS status = 0;
    EXPECT_THAT(OutputOf([&] { status = m_handler.AnnounceNetwork("", nullptr); }),
                StartsWith("[#] AnnounceNetwork: InsertAfter("));
    EXPECT_EQ(status, 1);
    EXPECT_THAT(m_system.sent, IsEmpty());
  }
}

TEST_F(Handler, ReportsWhatAnAnnouncementCannotRead) {
  m_store.Init();
  EXPECT_EQ(FailureOf(&Announce, "ssdp_config_notify_header"),
            "[#] AnnounceNetwork: m_ssdpstore->GetConfig(config.m_name, config) == SSDP_SUCCESS"
            " failed. \n source/ssdphandler.cpp\n");
  EXPECT_EQ(FailureOf(&Announce, "ssdp_config_notify_timeout"),
            "[#] AnnounceNetwork: m_ssdpstore->GetConfig(notifytoconfig.m_name, notifytoconfig)"
            " == SSDP_SUCCESS failed. \n source/ssdphandler.cpp\n");
  EXPECT_EQ(FailureOf(&Announce, "ssdp_config_status"),
            "[#] AnnounceNetwork: m_ssdpstore->GetConfig(statusconfig.m_name, statusconfig) == "
            "SSDP_SUCCESS failed. \n source/ssdphandler.cpp\n");
  EXPECT_EQ(FailureOf(&Announce, "ssdp_config_uuid"),
            "[#] AnnounceNetwork: m_ssdpstore->GetConfig(uuidconfig.m_name, uuidconfig) == "
            "SSDP_SUCCESS failed. \n source/ssdphandler.cpp\n");
}

TEST_F(Handler, ReportsWhatASearchCannotRead) {
  m_store.Init();
  EXPECT_EQ(FailureOf(&Search, "ssdp_config_msearch_header"),
            "[#] SearchNetwork: m_ssdpstore->GetConfig(config.m_name, config) == SSDP_SUCCESS"
            " failed. \n source/ssdphandler.cpp\n");
  EXPECT_EQ(FailureOf(&Search, "ssdp_config_msearch_timeout"),
            "[#] SearchNetwork: m_ssdpstore->GetConfig(msearchconfig.m_name, msearchconfig) == "
            "SSDP_SUCCESS failed. \n source/ssdphandler.cpp\n");
}

TEST_F(Handler, ReportsASendThatFailsOrIsShortOrLong) {
  m_store.Init();
  for (ssize_t bytes : {-1, 0, 10, 100000}) {
    SCOPED_TRACE(bytes);
    int sends = 0;
    seam::calls.sendto = [&](auto...) { return ++sends, bytes; };
    SSDP_STATUS status = 0;
    EXPECT_EQ(OutputOf([&] { status = Announce(m_handler); }),
              "[#] AnnounceNetwork: bytes == config.m_notify_header.length() failed. \n"
              " source/ssdphandler.cpp\n");
    EXPECT_EQ(status, 1);
    status = 0;
    EXPECT_EQ(OutputOf([&] { status = Search(m_handler); }),
              "[#] SearchNetwork: bytes == config.m_msearch_header.length() failed. \n"
              " source/ssdphandler.cpp\n");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(sends, 2);  // no retry
  }
}

TEST_F(Handler, HoldsNoLockWhileItSends) {
  m_store.Init();
  m_system.log.clear();
  m_system.LogLocks();
  Searched();
  EXPECT_THAT(m_system.log, ElementsAre("lock", "unlock", "lock", "unlock", "sendto"));
}

TEST_F(Handler, PrintsNothingWhenAllGoesWell) {
  EXPECT_EQ(OutputOf([this] {
              m_store.Init();
              m_handler.Init();
              Announce(m_handler);
              Search(m_handler);
              m_handler.DeInit();
            }),
            "");
}

// With the real system, in the private network.
TEST(RealHandler, FailsToSendAfterDeInit) {
  SSDPStorage store;
  store.Init();
  SSDPHandler handler(&support::Engine::Callback, &store, nullptr);
  EXPECT_EQ(handler.AnnounceNetwork("ssdp:alive", nullptr), 0);  // before Init too
  EXPECT_EQ(handler.Init(), 0);
  EXPECT_EQ(handler.SearchNetwork(nullptr), 0);
  EXPECT_EQ(handler.DeInit(), 0);
  SSDP_STATUS announced = 0, searched = 0;
  EXPECT_EQ(OutputOf([&] { announced = handler.AnnounceNetwork("ssdp:alive", nullptr); }),
            "[#] AnnounceNetwork: bytes == config.m_notify_header.length() failed. \n"
            " source/ssdphandler.cpp\n");
  EXPECT_EQ(OutputOf([&] { searched = handler.SearchNetwork(nullptr); }),
            "[#] SearchNetwork: bytes == config.m_msearch_header.length() failed. \n"
            " source/ssdphandler.cpp\n");
  EXPECT_EQ(announced, 1);
  EXPECT_EQ(searched, 1);
}

}  // namespace
}  // namespace libSSDP
